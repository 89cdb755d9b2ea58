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
  LocalTime t;
  t.year = tm.tm_year + 1900;
  t.month = tm.tm_mon + 1;
  t.day = tm.tm_mday;
  t.hour = tm.tm_hour;
  t.minute = tm.tm_min;
  t.second = tm.tm_sec;
  t.millisecond = static_cast<int32_t>(ts.tv_nsec / 1000000);
  t.dayOfWeek = tm.tm_wday;
  return t;
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
