#include "services/lock_ranges.h"

#include <atomic>

#include <climits>

namespace kv {

namespace {
// Set by the host from any thread, read by every waiting lock.
std::atomic<int32_t> g_lock_timeout_ms{10000};
}  // namespace

bool HeldRanges::Overlaps(int64_t position, int64_t length) const {
  return std::any_of(ranges_.begin(), ranges_.end(), [&](const Range& r) {
    return position < r.position + r.length && r.position < position + length;
  });
}

bool HeldRanges::RemoveExact(int64_t position, int64_t length) {
  auto it = std::find_if(ranges_.begin(), ranges_.end(), [&](const Range& r) {
    return r.position == position && r.length == length;
  });
  if (it == ranges_.end()) return false;
  ranges_.erase(it);
  return true;
}

bool LockableRange(int64_t position, int64_t length) {
  return position >= 0 && length >= 1 && position <= INT64_MAX - length;
}

void FileIO_SetLockTimeout(int32_t milliseconds) {
  if (milliseconds >= 0) g_lock_timeout_ms = milliseconds;
}
int32_t FileIO_GetLockTimeout() { return g_lock_timeout_ms; }

}  // namespace kv
