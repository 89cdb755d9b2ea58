// Helpers for tests of DBA files: a descriptor, the header and free chain
// as they lie in the file, tagged records.
#ifndef KVTEST_DBA_UTIL_H
#define KVTEST_DBA_UTIL_H

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "core/dba_file.h"
#include "kvdata/dba.h"
#include "kvtest.h"

namespace kvtest {

inline DbaFile MakeDba(const std::string& path, int32_t recordSize, int32_t capacity) {
  return kv::dba::Describe(path.c_str(), recordSize, capacity);
}

inline DbaHeader ReadHeader(const std::string& path) {
  DbaHeader h;
  std::vector<uint8_t> b = ReadFileBytes(path);
  std::memset(&h, 0, sizeof h);
  if (b.size() >= sizeof h) std::memcpy(&h, b.data(), sizeof h);
  return h;
}

// Free head, used count and slot count as they lie in the header.
inline std::vector<int32_t> Counts(const std::string& path) {
  const DbaHeader h = ReadHeader(path);
  return {h.freeHead, h.usedCount, h.slotCount};
}
using V = std::vector<int32_t>;

// A record whose head says "used by refCount" and whose body carries a tag.
inline std::vector<uint8_t> Record(int32_t recordSize, int32_t refCount, int32_t tag) {
  std::vector<uint8_t> r(static_cast<size_t>(recordSize), 0);
  std::memcpy(r.data(), &refCount, 4);
  if (recordSize >= 12) std::memcpy(r.data() + 8, &tag, 4);
  return r;
}

// The free chain from the header, as read from the file bytes; stops at a
// repeated item (returned as the last element) or after limit steps.
inline std::vector<int32_t> FreeChain(const std::string& path, int32_t recordSize, int32_t capacity,
                                      size_t limit = 300000) {
  std::vector<uint8_t> b = ReadFileBytes(path);
  std::vector<int32_t> chain;
  std::set<int32_t> seen;
  int32_t n = I32At(b, 8);
  while (n != 0 && chain.size() < limit) {
    chain.push_back(n);
    if (!seen.insert(n).second) break;
    size_t pos = static_cast<size_t>(n) * recordSize + 40 + 8 * static_cast<size_t>(capacity);
    if (pos + 8 > b.size()) break;
    n = I32At(b, pos + 4);
  }
  return chain;
}

// Starts a worker process that opens the record file, takes its header lock,
// writes the marker file and lets the lock go after ms milliseconds.
Worker HoldHeader(const std::string& path, int32_t recordSize, int32_t capacity, const std::string& marker,
                  int32_t ms);

}  // namespace kvtest

#endif  // KVTEST_DBA_UTIL_H
