// POSIX clock, sleep, exit and mutex.
#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

#include "services/platform.h"

namespace kv {

int64_t UnixTimeNow() { return static_cast<int64_t>(::time(nullptr)); }

LocalTime LocalTimeNow() {
  struct timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  time_t secs = ts.tv_sec;
  struct tm tm;
  localtime_r(&secs, &tm);
  return LocalTime{.year = tm.tm_year + 1900, .month = tm.tm_mon + 1, .day = tm.tm_mday,
                   .hour = tm.tm_hour, .minute = tm.tm_min, .second = tm.tm_sec,
                   .millisecond = static_cast<int32_t>(ts.tv_nsec / 1000000), .dayOfWeek = tm.tm_wday};
}

int64_t MonotonicMs() {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void SleepMs(int32_t milliseconds) {
  if (milliseconds <= 0) return;
  struct timespec req = {milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&req, &req) != 0 && errno == EINTR) {
  }
}

void ProcessExit(int32_t code) {
  std::fflush(nullptr);
  std::exit(code);
}

int32_t ProcessId() { return static_cast<int32_t>(::getpid()); }

static_assert(sizeof(pthread_mutex_t) <= 64, "mutex storage");

Mutex::Mutex() { new (storage_) pthread_mutex_t(PTHREAD_MUTEX_INITIALIZER); }
Mutex::~Mutex() { pthread_mutex_destroy(reinterpret_cast<pthread_mutex_t*>(storage_)); }
void Mutex::Lock() { pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(storage_)); }
void Mutex::Unlock() { pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(storage_)); }

}  // namespace kv
