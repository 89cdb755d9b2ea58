// The integrity check of a whole data directory, shared by `check`,
// `status` and `repair`. It reads raw bytes only: no family is initialised,
// nothing is upgraded, created or written, so it is safe while the shop
// works (a record changed during the run may show as a passing defect).
#ifndef KVDATA_DIR_CHECK_H
#define KVDATA_DIR_CHECK_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kvtool {

// What `repair` does about a finding.
enum class RepairKind {
  kNone,                // nothing automatic: restore the file or ask the application
  kDbaReorganise,       // rebuild free chain, used and slot count from the item heads
  kCustomerReorganise,  // the customer file's own reorganisation (then the engine's)
  kRebuildSearchFiles,  // rebuild KUNDSUCH.DBA and KUNDBLZSUCH.DBA from KUNDEN.DBA
  kKeyFileReorganise,   // rebuild a key file's free chain and tree from its slots
  kRelinkChain,         // rewrite one item chain in the order its links leave no doubt about
};

enum class ChainKind { kArticle, kDesignation, kCustomer };

struct Finding {
  bool defect = true;  // false: a documented normal state, reported as a note
  std::string file;    // name relative to the data directory
  int64_t record = -1; // item, slot or record number; -1 for the file as a whole
  std::string what;
  RepairKind repair = RepairKind::kNone;
  // For kRelinkChain: the chain, its owner and the items in their order.
  ChainKind chain = ChainKind::kArticle;
  int32_t owner = 0;
  std::vector<int32_t> order;
};

struct FileReport {
  std::string name;      // relative to the data directory
  std::string kind;      // "DBA file", "key file", "fixed records", ...
  int32_t version = 0;   // 0 when the file has none
  int32_t current = 0;   // the version this release writes
  bool upgradeDue = false;
  int64_t used = -1;     // records in use, -1 when not known
  int64_t capacity = -1; // records the file can hold, -1 when not known
  int64_t lastWrite = 0; // seconds since 1970: the header's stamp, else the file's time
  int64_t size = 0;
};

struct DirectoryCheck {
  std::vector<FileReport> files;
  std::vector<Finding> findings;
  int32_t Defects() const;
  int32_t Notes() const;
};

// Progress of a long file: (file name, records done, records in all).
using CheckProgress = std::function<void(const std::string& file, int64_t done, int64_t total)>;

// Checks every known file of `dir` (ending in a separator). A file that
// cannot be read is a defect of its own, never a reason to stop.
DirectoryCheck CheckDirectory(const std::string& dir, const CheckProgress& progress = {});

// "reorganise the DBA file", ...
const char* RepairText(RepairKind kind);
const char* ChainName(ChainKind kind);

}  // namespace kvtool

#endif  // KVDATA_DIR_CHECK_H
