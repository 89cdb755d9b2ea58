// The operating system's number for the last failed call (errno on POSIX,
// GetLastError on Windows), for messages that quote it.
#ifndef KV_SERVICES_SYSERROR_H
#define KV_SERVICES_SYSERROR_H

#include <cstdint>

namespace kv {

int32_t LastSystemError();

}  // namespace kv

#endif  // KV_SERVICES_SYSERROR_H
