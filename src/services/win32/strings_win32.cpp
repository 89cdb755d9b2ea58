// The string table as the module's resources (kvdata.rc): text `id` of
// language `lang` is string resource 1000 * lang + id, loaded with
// LoadStringA from the module that contains this code (kvdata.dll, or the
// program when the library is linked statically).
#include <windows.h>

#include <map>
#include <string>

#include "services/platform.h"
#include "services/strings.h"

namespace kv {

namespace {

HMODULE OwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCSTR>(&OwnModule), &module);
  return module;
}

}  // namespace

// Loaded texts are kept for the life of the process, so that the pointer
// LibString hands out stays valid, as a pointer into a table would.
const char* LibString(int32_t id) {
  static Mutex mutex;
  static std::map<int32_t, std::string> loaded;
  if (id < 0 || id >= 1000) return "";
  const int32_t resource = 1000 * CurrentLanguage() + id;
  MutexLock lock(mutex);
  auto it = loaded.find(resource);
  if (it != loaded.end()) return it->second.c_str();
  char buffer[1024];
  int n = LoadStringA(OwnModule(), static_cast<UINT>(resource), buffer, sizeof buffer);
  if (n <= 0) return "";
  return loaded.emplace(resource, std::string(buffer, static_cast<size_t>(n))).first->second.c_str();
}

}  // namespace kv
