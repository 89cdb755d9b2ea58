// Work memory.
#include "services/storage.h"

#include <cstdlib>

#include "services/fault.h"

namespace kv {

void* Storage_Allocate(int64_t bytes) {
  if (bytes < 0 || fault::Fire(fault::Kind::Allocate)) return nullptr;
  return std::malloc(bytes == 0 ? 1 : static_cast<size_t>(bytes));
}

void Storage_Deallocate(void* block) { std::free(block); }

}  // namespace kv
