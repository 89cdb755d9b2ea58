// Clock, sleep, process exit and the in-process mutex, behind one small layer
// so that nothing outside src/services talks to the operating system.
#ifndef KV_SERVICES_PLATFORM_H
#define KV_SERVICES_PLATFORM_H

#include <cstdint>

namespace kv {

// Seconds since 1970-01-01 UTC.
int64_t UnixTimeNow();
// Low 32 bits of UnixTimeNow(), as file headers stamp it.
inline uint32_t UnixTimeNow32() { return static_cast<uint32_t>(UnixTimeNow()); }

struct LocalTime {
  int32_t year, month, day;               // 2026, 1..12, 1..31
  int32_t hour, minute, second, millisecond;
  int32_t dayOfWeek;                      // 0 = Sunday
};
// Current local time of day with milliseconds.
LocalTime LocalTimeNow();

// Milliseconds from an arbitrary start, monotonic.
int64_t MonotonicMs();
void SleepMs(int32_t milliseconds);

// Ends the process with the given exit code after flushing standard streams.
[[noreturn]] void ProcessExit(int32_t code);

// Process id, for unique names.
int32_t ProcessId();

// Base of the objects that stand for something held or going on (a mutex,
// a lock, an exported call, a progress display): such an object is never
// copied, only made and ended in one scope.
class Pinned {
 public:
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

 protected:
  Pinned() = default;
  ~Pinned() = default;
};

// A plain in-process mutex (a critical section on Windows).
class Mutex : Pinned {
 public:
  Mutex();
  ~Mutex();
  void Lock();
  void Unlock();

 private:
  alignas(8) unsigned char storage_[64];
};

class MutexLock : Pinned {
 public:
  explicit MutexLock(Mutex& m) : m_(m) { m_.Lock(); }
  ~MutexLock() { m_.Unlock(); }

 private:
  Mutex& m_;
};

}  // namespace kv

#endif  // KV_SERVICES_PLATFORM_H
