// An independent reader of the shared files: it knows their layouts itself,
// reads them with plain streams and never calls the library, so a fault in
// the library's own reading cannot hide a fault in its writing. Every check
// returns the defects it found as sentences, so a failing test prints what
// is wrong and where.
#ifndef KVTEST_STRESS_RAW_CHECK_H
#define KVTEST_STRESS_RAW_CHECK_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace rawcheck {

using Defects = std::vector<std::string>;

// One record file read whole. Out-of-range reads yield 0 and mark the image.
class Image {
 public:
  explicit Image(const std::string& path);
  bool exists() const { return exists_; }
  int64_t size() const { return static_cast<int64_t>(bytes_.size()); }
  int32_t I32(int64_t at) const;
  int16_t I16(int64_t at) const;
  uint8_t U8(int64_t at) const;
  bool Has(int64_t at, int64_t length) const { return at >= 0 && at + length <= size(); }
  std::string Text(int64_t at, int64_t length) const;  // up to the first 0

 private:
  bool exists_ = false;
  std::vector<uint8_t> bytes_;
};

// One 32-bit word of a file, read on its own (0 when it cannot be read).
int32_t ReadWord(const std::string& path, int64_t offset);

// ---- record files with a free chain (the DBA engine's files) ----
struct DbaState {
  Defects defects;
  int32_t version = 0, freeHead = 0, usedCount = 0, slotCount = 0, capacity = 0;
  int32_t slotsInFile = 0;        // items whose record lies whole in the file
  std::map<int32_t, int32_t> state;  // item -> state word, for every slot in the file
  std::set<int32_t> used;         // state word other than -1 (what a walk delivers)
  std::vector<int32_t> freeChain; // as followed from the header
  // Items that are neither on the free chain nor in use (state below 1):
  // taken and not yet written, or cleared and not yet freed, or a slot
  // appended but not yet counted. The reorganisation gives them back.
  std::vector<int32_t> leaked;
  // Header used count minus the items whose state is 1 or more.
  int32_t countSkew = 0;
};

// Reads a record file with record size R. Structural faults are always
// defects: short header, ragged size, slot count beyond the file or above
// 256000, a free chain that loops, leaves the file or holds an item in use,
// an item in use above the slot count, more items than the used count that
// a walk would deliver (it stops early and hides the last ones). With exact set (a quiet file: nobody
// was interrupted) leaked items and a skewed used count are defects too.
DbaState CheckDba(const std::string& path, int32_t recordSize, bool exact);

// ---- the customer file with its two search files ----
struct CustomerState {
  DbaState dba;
  Defects defects;  // dba's defects and the customer file's own
  std::set<int32_t> searchMismatch;  // customers in use whose entries do not match
  // Numbers handed out and marked taken (a cleared record in use: no flags,
  // no surname) but never saved; the reorganisation frees them.
  std::vector<int32_t> taken;
};
// Every customer in use has name and bank search entries that match its
// record; with freeEntriesZero set, every free number's entries are zero or
// absent (a delete interrupted after freeing the number leaves them, and
// only a rebuild of the search files removes them).
CustomerState CheckCustomers(const std::string& dir, bool exact, bool freeEntriesZero);

// ---- single items and their three chains ----
struct ItemState {
  Defects defects;
  int32_t records = 0;                 // N + 1
  std::map<int32_t, int32_t> inUse;    // item -> its item value word (offset 100)
  // Per chain kind ("article", "designation", "customer"): the owners
  // whose chain has a defect, so a test can tell where damage lies.
  std::map<std::string, std::set<int32_t>> broken;
};
// TEILE.DBA's article, designation and customer chains against their heads in
// ARTIKEL.DBA, BEZLIB.DBA and KUNDEN.DBA: every chain runs from its head's
// first to its head's last, back links agree, no loop, no item in two
// places, every item in use sits in the chain of each owner it names, no
// free item sits in a chain, and no free designation or customer has items.
ItemState CheckItems(const std::string& dir);

// ---- key files ----
struct KeyFileState {
  Defects defects;
  int32_t slotCount = 0, used = 0;
  std::map<std::string, int32_t> payloadByKey;  // 32 key bytes -> payload
};
// Tree order (keys ascending as signed bytes), balance words equal to the
// real height difference, every slot with a payload in the tree exactly
// once and nothing else in it, used count in slot 0, a free chain of free
// slots without a loop (it may end early: removals cut it by design).
KeyFileState CheckKeyFile(const std::string& path, int32_t recordSize);

// ---- the number-range file ----
// 800 bytes, no counter outside [0, limit], the counters not in `used` zero.
Defects CheckNumbers(const std::string& path, const std::set<int32_t>& used, int32_t limit);

// Joins defects into one printable block (empty when there are none).
std::string Describe(const Defects& defects, size_t max = 40);

}  // namespace rawcheck

#endif  // KVTEST_STRESS_RAW_CHECK_H
