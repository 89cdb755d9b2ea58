// libFuzzer entry of one target, chosen when the program is built
// (KVFUZZ_TARGET names it).
#include <cstdio>
#include <cstdlib>

#include "targets.h"

#ifndef KVFUZZ_TARGET
#error "KVFUZZ_TARGET names the target this program fuzzes"
#endif

namespace {
const kvfuzz::Target& ThisTarget() {
  static const kvfuzz::Target* t = kvfuzz::FindTarget(KVFUZZ_TARGET);
  if (t == nullptr) {
    std::fprintf(stderr, "no fuzz target %s\n", KVFUZZ_TARGET);
    std::abort();
  }
  return *t;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kvfuzz::RunOne(ThisTarget(), data, size);
  return 0;
}
