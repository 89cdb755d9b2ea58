// The string table compiled into the library (there are no resources).
#include <cstdint>

#include "services/strings.h"
#include "services/strings_table.h"

namespace kv {

namespace {

struct Entry {
  int32_t id;
  const char* text[3];  // German, English, Dutch
};

const Entry kTable[] = {
    {kStrMallocErrorNummern, {KV_TEXT_102, KV_TEXT_102, KV_TEXT_102}},
    {kStrFileErrorNummern, {KV_TEXT_103, KV_TEXT_103, KV_TEXT_103}},
    {kStrProductName, {KV_TEXT_104, KV_TEXT_104, KV_TEXT_104}},
    {kStrNummernQuestion, {KV_TEXT_108_DE, KV_TEXT_108_DE, KV_TEXT_108_NL}},
};

}  // namespace

const char* LibString(int32_t id) {
  for (const Entry& e : kTable) {
    if (e.id == id) return e.text[CurrentLanguage()];
  }
  return "";
}

}  // namespace kv
