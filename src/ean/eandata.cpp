// Check digits follow the GS1 modulo-10 rule. Non-digits are not rejected up
// front: they count as -1 in the sum, so a code with a stray letter almost
// always fails its check digit, and existing codes judged by the old program
// keep exactly the same verdict.
#include "ean/eandata.h"

#include <cstring>

#include "services/fileio.h"
#include "services/name_resolve.h"
#include "services/process_state.h"

namespace kv::ean {

namespace {

constexpr int32_t kWorkDigits = 13;  // a working copy holds 13 digits + NUL

// Family state, one thread at a time (services/process_state.h).
auto& Directory() { return FamilyState<char[kMaxPath], struct EanDataDirectory>(); }

int32_t BoundedLength(const char* s, int32_t max) {
  int32_t n = 0;
  while (n < max && s[n] != '\0') ++n;
  return n;
}

// Length check per kind; longer strings than 13 never pass.
bool HasKindShape(const char* code, int32_t kind) {
  const int32_t len = BoundedLength(code, kWorkDigits + 1);
  switch (kind) {
    case kEan13: return len == 13;
    case kUpcA: return len == 12 && code[0] != '\0' && std::strchr("016789", code[0]) != nullptr;
    case kEan8: return len == 8;
    default: return false;
  }
}

}  // namespace

int32_t DigitValue(char c) { return (c >= '0' && c <= '9') ? c - '0' : -1; }

int32_t Weight(int32_t kind, int32_t p) {
  const bool even = (p % 2) == 0;
  switch (kind) {
    case kEan13: return even ? 1 : 3;
    case kUpcA:
    case kEan8: return even ? 3 : 1;
    default: return 1;
  }
}

int32_t CheckDigitOfSum(int32_t sum) { return (((sum + 10) / 10) * 10 - sum) % 10; }

int32_t IsCodeOk(const char* code, int32_t kind) {
  if (code == nullptr || !HasKindShape(code, kind)) return 0;
  char copy[kWorkDigits + 1] = {};
  std::strncpy(copy, code, kWorkDigits);
  const int32_t len = static_cast<int32_t>(std::strlen(copy));
  int32_t sum = 0;
  for (int32_t p = 0; p < len - 1; ++p) sum += DigitValue(copy[p]) * Weight(kind, p);
  return CheckDigitOfSum(sum) == DigitValue(copy[len - 1]) ? 1 : 0;
}

int32_t IsEan8(const char* code) {
  if (code == nullptr || BoundedLength(code, 9) != 8) return 0;
  return IsCodeOk(code, kEan8);
}

int32_t Complete(char* code, bool fromTable) {
  if (code == nullptr) return 0;
  if (BoundedLength(code, 13) == 12) {
    // A leading zero adds nothing to the sum; the weights stay tied to the
    // positions, so skipping it changes nothing but the loop's start.
    const int32_t first = (!fromTable && code[0] == '0') ? 1 : 0;
    int32_t sum = 0;
    for (int32_t p = first; p < 12; ++p) {
      const int32_t v = DigitValue(code[p]);
      if (v >= 0) sum += v * Weight(kEan13, p);
    }
    code[12] = static_cast<char>('0' + CheckDigitOfSum(sum));
    code[13] = '\0';
  }
  return IsCodeOk(code, kEan13);
}

int32_t WidenUpc(char* code) {
  if (code == nullptr) return 0;
  if (BoundedLength(code, 13) == 12) {
    if (IsCodeOk(code, kUpcA)) {
      std::memmove(code + 1, code, 13);  // 12 digits and the terminator
      code[0] = '0';
    } else {
      code[0] = '\0';  // an invalid UPC-A code must not survive as a half EAN
    }
  }
  return IsCodeOk(code, kEan13);
}

void Init(const char* path) {
  (void)DataDirectoryOf(path, Directory());
}

const char* DataDirectory() { return Directory(); }

}  // namespace kv::ean
