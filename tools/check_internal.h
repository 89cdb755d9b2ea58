// Pieces of the directory check shared by its two source files.
#ifndef KVDATA_CHECK_INTERNAL_H
#define KVDATA_CHECK_INTERNAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dir_check.h"
#include "kvdata/dba.h"

namespace kvtool {

std::string Format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

struct CheckContext {
  std::string dir;
  DirectoryCheck* out = nullptr;
  const CheckProgress* progress = nullptr;

  void Add(bool defect, const std::string& file, int64_t record, std::string what, RepairKind repair);
  void Tick(const std::string& file, int64_t done, int64_t total) const;
  // The whole file; a defect and false when it cannot be read.
  bool Load(const std::string& name, std::vector<uint8_t>* bytes);
  FileReport& Report(const std::string& name, const char* kind, int64_t size);
  void Version(FileReport& r, int32_t version, int32_t current);
};

// A DBA file as read from disk.
struct DbaImage {
  std::string name;
  std::vector<uint8_t> bytes;
  DbaHeader header{};
  int32_t recordSize = 0;
  int32_t capacity = 0;     // identifier tables
  int32_t slotsInFile = 0;  // items 1..slotsInFile lie wholly in the file

  int64_t ItemPos(int32_t n) const;
  int32_t State(int32_t n) const;
  int32_t NextFree(int32_t n) const;
  bool Used(int32_t n) const;
};

bool LoadDba(CheckContext& c, const std::string& name, int32_t recordSize, int32_t current, DbaImage* img);
void CheckDbaFile(CheckContext& c, const std::string& name, int32_t recordSize, int32_t current,
                  RepairKind reorganise, DbaImage* keep);
void CheckOtherDba(CheckContext& c, const std::string& name);

// The files whose records link to each other.
struct LinkedFiles {
  std::optional<DbaImage> customers, nameSearch, bankSearch;
  std::vector<uint8_t> items, articles, designations;
  std::string itemsName;
  int32_t itemCount = -1, articleCount = -1, designationCount = -1;
};

void CheckLinks(CheckContext& c, const LinkedFiles& files);

}  // namespace kvtool

#endif  // KVDATA_CHECK_INTERNAL_H
