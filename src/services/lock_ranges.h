// Byte-range lock bookkeeping shared by the platforms' file layers.
//
// The system lock calls differ (OFD locks, LockFileEx), but the rules on
// top of them are the same everywhere: a handle may not lock a range that
// overlaps one it already holds, an unlock must name exactly a range that was
// locked, and FileIO_Lock polls a busy range up to the lock time-out.
#ifndef KV_SERVICES_LOCK_RANGES_H
#define KV_SERVICES_LOCK_RANGES_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "services/fileio.h"
#include "services/platform.h"

namespace kv {

// The ranges one handle holds.
class HeldRanges {
 public:
  [[nodiscard]] bool Overlaps(int64_t position, int64_t length) const;
  void Add(int64_t position, int64_t length) { ranges_.push_back({position, length}); }
  // Forgets exactly this range; false when it is not held.
  [[nodiscard]] bool RemoveExact(int64_t position, int64_t length);
  void Clear() { ranges_.clear(); }
  [[nodiscard]] bool Empty() const { return ranges_.empty(); }

 private:
  struct Range {
    int64_t position;
    int64_t length;
  };
  std::vector<Range> ranges_;
};

// A range a lock may cover: position >= 0, length >= 1, end within int64.
[[nodiscard]] bool LockableRange(int64_t position, int64_t length);

enum class LockAttempt { kTaken, kBusy, kFailed };

// Calls tryOnce() until the range is taken or the attempt fails outright;
// while it is busy (another handle holds it) and `wait` is set, polls with
// pauses growing from 1 to 16 ms up to the lock time-out. True when taken.
template <typename TryOnce>
[[nodiscard]] bool PollLock(bool wait, TryOnce tryOnce) {
  const int64_t deadline = MonotonicMs() + (wait ? FileIO_GetLockTimeout() : 0);
  int32_t pause = 1;
  for (;;) {
    LockAttempt a = tryOnce();
    if (a != LockAttempt::kBusy) return a == LockAttempt::kTaken;
    int64_t now = MonotonicMs();
    if (now >= deadline) return false;
    SleepMs(static_cast<int32_t>(std::min<int64_t>(pause, deadline - now)));
    pause = std::min(pause * 2, 16);
  }
}

}  // namespace kv

#endif  // KV_SERVICES_LOCK_RANGES_H
