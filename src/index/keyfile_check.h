// A full consistency check of one key file, for the command-line tool and
// for tests: tree order and balances, slot ranges, used count and free chain.
#ifndef KV_INDEX_KEYFILE_CHECK_H
#define KV_INDEX_KEYFILE_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "kvdata/bbaumlib.h"

namespace kv::index {

struct KeyFileEntry {
  int32_t slot;
  int32_t depth;  // 1 at the root
  BaumKey record;
};

struct KeyFileCheck {
  std::vector<KeyFileEntry> keys;    // the tree's keys in order
  std::vector<std::string> defects;  // one line each, empty when all is well
  int32_t usedCount = 0;             // as slot 0 says
  int32_t slotsWithPayload = 0;      // as the slots say
  int32_t chainLength = 0;           // free slots reachable from slot 0
  int32_t chainEnd = 0;              // the value that ended the chain
  int32_t height = 0;                // of the tree
};

// Reads the whole file once, independently of the tree code. False when the
// file does not open or slot 0 cannot be read.
[[nodiscard]] bool CheckKeyFile(BaumKeyDatei* d, KeyFileCheck* out);

}  // namespace kv::index

#endif  // KV_INDEX_KEYFILE_CHECK_H
