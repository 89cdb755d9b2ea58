// The library's string table: numbered texts in German, English and Dutch.
#ifndef KV_SERVICES_STRINGS_H
#define KV_SERVICES_STRINGS_H

#include <cstdint>

namespace kv {

constexpr int32_t kStrMallocErrorNummern = 102;  // "Malloc Error <-> NummernDBA"
constexpr int32_t kStrFileErrorNummern = 103;    // "File Error <-> NummernDBA"
constexpr int32_t kStrProductName = 104;         // "KALVORA"
constexpr int32_t kStrNummernQuestion = 108;     // number-range file missing: ask

// Copies text id in the current language into buffer (size bytes); returns
// its length, 0 for an unknown id (buffer then holds an empty string).
int32_t LoadStringExternResource(void* module, int32_t id, char* buffer, int32_t size);
// The text itself (never null; "" for an unknown id).
const char* LibString(int32_t id);

int32_t CurrentLanguage();

}  // namespace kv

#endif  // KV_SERVICES_STRINGS_H
