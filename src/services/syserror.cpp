#include "services/syserror.h"

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

}  // namespace kv
