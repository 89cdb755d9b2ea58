#include "services/syserror.h"

#include <cstdio>
#include <cstring>

#include "services/cause.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#endif

namespace kv {

int32_t LastSystemError() {
#ifdef _WIN32
  return static_cast<int32_t>(GetLastError());
#else
  return static_cast<int32_t>(errno);
#endif
}

void SystemErrorText(int32_t systemError, char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return;
  buffer[0] = '\0';
#ifdef _WIN32
  DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                           static_cast<DWORD>(systemError), 0,
                           buffer, static_cast<DWORD>(size), nullptr);
  while (n > 0 && (buffer[n - 1] == '\n' || buffer[n - 1] == '\r' || buffer[n - 1] == '.')) buffer[--n] = '\0';
  if (n == 0) std::snprintf(buffer, size, "system error %ld", static_cast<long>(systemError));
#else
  // strerror_r comes in two flavours (XSI returns int, GNU a pointer); the
  // overloads below take whichever this C library declares.
  struct Pick {
    static const char* Result(int rc, const char* buf) { return rc == 0 ? buf : nullptr; }
    static const char* Result(const char* text, const char*) { return text; }
  };
  char local[256] = "";
  const char* text = Pick::Result(strerror_r(systemError, local, sizeof local), local);
  if (text == nullptr || text[0] == '\0') {
    std::snprintf(buffer, size, "system error %d", static_cast<int>(systemError));
  } else {
    std::snprintf(buffer, size, "%s", text);
  }
#endif
}

Cause CauseOfSystemError(int32_t systemError) {
#ifdef _WIN32
  switch (systemError) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
      return Cause::kNotFound;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return Cause::kFull;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return Cause::kLocked;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
      return Cause::kNoMemory;
    default:
      return Cause::kIo;
  }
#else
  switch (systemError) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
      return Cause::kNotFound;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return Cause::kFull;
    case ENOMEM:
      return Cause::kNoMemory;
    default:
      return Cause::kIo;
  }
#endif
}

}  // namespace kv
