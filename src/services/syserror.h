// The operating system's number for the last failed call (errno on POSIX,
// GetLastError on Windows), for messages that quote it.
#ifndef KV_SERVICES_SYSERROR_H
#define KV_SERVICES_SYSERROR_H

#include <cstddef>
#include <cstdint>

namespace kv {

enum class Cause : int32_t;

int32_t LastSystemError();
// The system's text for an error number ("No such file or directory"),
// without a line end, into buffer (size bytes with the terminator).
void SystemErrorText(int32_t systemError, char* buffer, size_t size);
// What an error number means to a caller: not found, full (no space) or I/O.
Cause CauseOfSystemError(int32_t systemError);

}  // namespace kv

#endif  // KV_SERVICES_SYSERROR_H
