// The ID mapping files: key files with 44-byte records that map 32-byte
// external identifiers (article IDs, EAN codes, ...) to numbers.
#ifndef KV_ARTICLE_IDMAP_H
#define KV_ARTICLE_IDMAP_H

#include <cstdint>

#include "kvdata/bbaumlib.h"

namespace kv::idmap {

constexpr const char* kIdMapFileNames[] = {"MAPARTID.DBA", "MAPMWID.DBA", "MAPEANID.DBA", "MAPALTID.DBA"};
constexpr int32_t kIdMapRecordSize = 44;
constexpr int32_t kIdMapMinSlots = 64000;

// Slots an ID mapping file should have: 64000, or the maximum number of
// articles given to the article family's Init where that is larger.
int32_t IdMapSlotCount();

// Opens (creating it if missing) the ID mapping file fileName in dataDir
// (with or without a trailing separator). A new file gets its whole free
// chain linked; an existing file smaller than IdMapSlotCount() is extended
// and its chain rebuilt; a larger one keeps all its slots. Returns the
// descriptor (file closed) or null on bad input, no memory, or when the
// file cannot be created.
BaumKeyDatei* InitIdMapFile(const char* dataDir, const char* fileName);

}  // namespace kv::idmap

#endif  // KV_ARTICLE_IDMAP_H
