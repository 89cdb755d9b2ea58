// The texts of the library's string table, in Windows-1252, for every
// language. Plain string-literal macros, because the same texts are compiled
// into the POSIX table (strings_posix.cpp) and into the Windows resource
// (win32/kvdata.rc, which the resource compiler preprocesses).
//
// On Windows text `id` of language `lang` is string resource
// 1000 * lang + id (lang: 0 German, 1 English, 2 Dutch).
#ifndef KV_SERVICES_STRINGS_TABLE_H
#define KV_SERVICES_STRINGS_TABLE_H

#define KV_TEXT_102 "Malloc Error <-> NummernDBA"
#define KV_TEXT_103 "File Error <-> NummernDBA"
#define KV_TEXT_104 "KALVORA"

/* \xF6 = o umlaut */
#define KV_TEXT_108_DE                                                                  \
  "Die NummernDBA wurde nicht gefunden!\nDie NummernDBA neu anlegen? (L\xF6scht alle " \
  "bestehenden fortlaufenden Nummern!)\nOder erneut danach suchen? (J/N)"
#define KV_TEXT_108_NL                                                                 \
  "De NummernDBA werd niet gevonden!\nDe NummernDBA nieuw aanmaken? (Wist alle bestaande " \
  "oplopende nummers!)\nOf opnieuw zoeken? (J/N)"

#endif
