#include "dba_tool_util.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/dba_file.h"

namespace kvtool {

int32_t GuessRecordSize(const std::string& path, const DbaHeader& h, int64_t fileSize, int32_t given) {
  if (given > 0) return given;
  std::string name = path.substr(path.find_last_of("/\\") + 1);
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  struct Known {
    const char* name;
    int32_t size;
  };
  static const Known kKnown[] = {{"KUNDEN.DBA", 1299}, {"KUNDSUCH.DBA", 12}, {"KUNDBLZSUCH.DBA", 24},
                                 {"KUNDENEW.DBA", 100}, {"NKUNDEN.DBA", 1299}, {"KUNDEN530.DBA", 574},
                                 {"KUNDEN540.DBA", 1299}};
  for (const Known& k : kKnown) {
    if (name == k.name) return k.size;
  }
  const int64_t items = fileSize - 40 - int64_t{8} * h.idCapacity;
  if (h.slotCount > 0 && items > 0 && items % (h.slotCount + 1) == 0) {
    return static_cast<int32_t>(items / (h.slotCount + 1));
  }
  return 0;
}

DbaFile DescribeDba(const std::string& path, int32_t recordSize, int32_t capacity) {
  return kv::dba::Describe(path.c_str(), recordSize, capacity);
}

std::string FormatUnixTime(uint32_t seconds) {
  std::time_t t = static_cast<std::time_t>(seconds);
  std::tm tm{};
#if defined(_WIN32)
  localtime_s(&tm, &t);
#else
  localtime_r(&t, &tm);
#endif
  char buf[32];
  std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
  return buf;
}

}  // namespace kvtool
