// The library's string table. Texts are Windows-1252; a non-ASCII character
// is written as a \x escape with the character in a comment.
#include "services/strings.h"

#include <cstring>

#include "kvdata/kvhost.h"

namespace kv {

namespace {

struct Entry {
  int32_t id;
  const char* text[3];  // German, English, Dutch
};

// "Die NummernDBA ... (L\xF6scht ...": \xF6 = ö
#define KV_NUMMERN_QUESTION_DE                                                       \
  "Die NummernDBA wurde nicht gefunden!\nDie NummernDBA neu anlegen? (L\xF6scht alle " \
  "bestehenden fortlaufenden Nummern!)\nOder erneut danach suchen? (J/N)"

const Entry kTable[] = {
    {kStrMallocErrorNummern,
     {"Malloc Error <-> NummernDBA", "Malloc Error <-> NummernDBA", "Malloc Error <-> NummernDBA"}},
    {kStrFileErrorNummern,
     {"File Error <-> NummernDBA", "File Error <-> NummernDBA", "File Error <-> NummernDBA"}},
    {kStrProductName, {"KALVORA", "KALVORA", "KALVORA"}},
    {kStrNummernQuestion,
     {KV_NUMMERN_QUESTION_DE, KV_NUMMERN_QUESTION_DE,
      "De NummernDBA werd niet gevonden!\nDe NummernDBA nieuw aanmaken? (Wist alle bestaande "
      "oplopende nummers!)\nOf opnieuw zoeken? (J/N)"}},
};

int32_t g_language = KV_LANG_GERMAN;

}  // namespace

int32_t CurrentLanguage() { return g_language; }

const char* LibString(int32_t id) {
  for (const Entry& e : kTable) {
    if (e.id == id) return e.text[g_language];
  }
  return "";
}

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
