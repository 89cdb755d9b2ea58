// Work memory.
#include "services/storage.h"

#include <cstdlib>
#include <new>

#include "services/cause.h"
#include "services/fault.h"

namespace kv {

void* Storage_Allocate(int64_t bytes) {
  // Stands for an allocation inside a standard container, which throws: the
  // exported functions' guard must turn it into their failure result.
  if (fault::Fire(fault::Kind::Throw)) throw std::bad_alloc();
  void* block = bytes < 0 || fault::Fire(fault::Kind::Allocate)
                    ? nullptr
                    : std::malloc(bytes == 0 ? 1 : static_cast<size_t>(bytes));
  if (block == nullptr) NoteFailure(Cause::kNoMemory, "allocate %lld bytes", static_cast<long long>(bytes));
  return block;
}

void Storage_Deallocate(void* block) { std::free(block); }

}  // namespace kv
