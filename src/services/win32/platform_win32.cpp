// Win32 clock, sleep, exit and the critical section behind kv::Mutex.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "services/platform.h"

namespace kv {

int64_t UnixTimeNow() {
  FILETIME ft;
  GetSystemTimeAsFileTime(&ft);
  uint64_t t = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  return static_cast<int64_t>(t / 10000000ULL) - 11644473600LL;  // 1601 -> 1970
}

LocalTime LocalTimeNow() {
  SYSTEMTIME st;
  GetLocalTime(&st);
  return LocalTime{.year = st.wYear, .month = st.wMonth, .day = st.wDay,
                   .hour = st.wHour, .minute = st.wMinute, .second = st.wSecond,
                   .millisecond = st.wMilliseconds, .dayOfWeek = st.wDayOfWeek};
}

int64_t MonotonicMs() { return static_cast<int64_t>(GetTickCount64()); }

void SleepMs(int32_t milliseconds) {
  if (milliseconds > 0) Sleep(static_cast<DWORD>(milliseconds));
}

void ProcessExit(int32_t code) {
  std::fflush(nullptr);
  std::exit(code);
}

int32_t ProcessId() { return static_cast<int32_t>(GetCurrentProcessId()); }

static_assert(sizeof(CRITICAL_SECTION) <= 64, "mutex storage");

Mutex::Mutex() {
  auto* cs = new (storage_) CRITICAL_SECTION;
  InitializeCriticalSection(cs);
}
Mutex::~Mutex() { DeleteCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(storage_)); }
void Mutex::Lock() { EnterCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(storage_)); }
void Mutex::Unlock() { LeaveCriticalSection(reinterpret_cast<CRITICAL_SECTION*>(storage_)); }

}  // namespace kv
