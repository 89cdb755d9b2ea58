// Work memory for the span of one call. Blocks from Storage_Allocate are
// freed only by Storage_Deallocate.
#ifndef KV_SERVICES_STORAGE_H
#define KV_SERVICES_STORAGE_H

#include <cstdint>

#include "services/platform.h"
#include <cstddef>

namespace kv {

// A block of `bytes` bytes (not cleared), or null (callers test for null).
void* Storage_Allocate(int64_t bytes);
// Frees a block; null is harmless.
void Storage_Deallocate(void* block);

// Owns one Storage_Allocate block for a scope.
class StorageBlock : Pinned {
 public:
  explicit StorageBlock(int64_t bytes) : p_(Storage_Allocate(bytes)) {}
  ~StorageBlock() { Storage_Deallocate(p_); }
  void* get() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }

 private:
  void* p_;
};

}  // namespace kv

#endif  // KV_SERVICES_STORAGE_H
