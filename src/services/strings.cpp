// The library's string table: the current language and the copy of a text
// into a caller's buffer. The texts are in strings_table.h; LibString comes
// from the platform folder (a compiled-in table, or the DLL's resources).
#include "services/strings.h"

#include <atomic>
#include <cstring>

#include "kvdata/kvhost.h"

namespace kv {

namespace {

// Set by the host from any thread, read by every text lookup.
std::atomic<int32_t> g_language{KV_LANG_GERMAN};

}  // namespace

int32_t CurrentLanguage() { return g_language; }

int32_t LoadStringExternResource(void* /*module*/, int32_t id, char* buffer, int32_t size) {
  if (buffer == nullptr || size < 1) return 0;
  const char* text = LibString(id);
  size_t n = std::strlen(text);
  if (n >= static_cast<size_t>(size)) n = static_cast<size_t>(size) - 1;
  std::memcpy(buffer, text, n);
  buffer[n] = '\0';
  return static_cast<int32_t>(n);
}

bool SetLanguage(int32_t language) {
  if (language < KV_LANG_GERMAN || language > KV_LANG_DUTCH) return false;
  g_language = language;
  return true;
}

}  // namespace kv
