// Demo step: a DBA record file grows, frees and reuses items.
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>

#include "dba_tool_util.h"
#include "tool.h"

namespace kvtool {

namespace {

struct DemoRecord {
  DbaItemHead head;
  char text[56];
};
static_assert(sizeof(DemoRecord) == 64);

void PrintHeader(DbaFile& f, std::ostream& out) {
  DbaHeader h{};
  DBA_OpenDBA(&f);
  DBA_GetHEADER(&f, &h);
  DBA_CloseDBA(&f);
  out << "   header: version " << h.version << ", free head " << h.freeHead << ", used " << h.usedCount
      << ", slots " << h.slotCount << "\n";
}

int Run(const std::string& dir, std::ostream& out) {
  DbaFile f = DescribeDba(dir + "DEMO.DBA", sizeof(DemoRecord), 16);
  if (DBA_NeueDBA(&f) == 0) return 1;
  out << "created " << f.path << " (records of " << f.recordSize << " bytes, " << f.idCapacity
      << " identifier slots)\n";
  const char* names[] = {"Till 1", "Till 2", "Goods-in", "Stock", "Office"};
  for (const char* name : names) {
    int32_t n = DBA_NewITEM(&f);
    DemoRecord r{};
    r.head.state = 1;
    std::snprintf(r.text, sizeof r.text, "%s", name);
    if (n == 0 || DBA_WriteDATA(&f, n, &r) != 1) return 1;
    out << "   new item " << n << ": " << name << "\n";
  }
  PrintHeader(f, out);
  DBA_DeleteITEM(&f, 2);
  DBA_DeleteITEM(&f, 4);
  out << "   deleted items 2 and 4\n";
  PrintHeader(f, out);
  for (const char* name : {"Till 3", "Webshop", "Branch 2"}) {
    int32_t n = DBA_NewITEM(&f);
    DemoRecord r{};
    r.head.state = 1;
    std::snprintf(r.text, sizeof r.text, "%s", name);
    if (n == 0 || DBA_WriteDATA(&f, n, &r) != 1) return 1;
    out << "   new item " << n << ": " << name << (n == 4 || n == 2 ? " (reused)" : " (appended)") << "\n";
  }
  PrintHeader(f, out);
  out << "   used items in order:";
  DBA_OpenDBA(&f);
  DemoRecord r{};
  for (int32_t n = DBA_FirstITEM(&f, &r); n != 0; n = DBA_NextITEM(&f, &r)) out << " " << n << "=" << r.text;
  DBA_CloseDBA(&f);
  out << "\n";
  return DBA_UsedITEMs(&f) == 6 ? 0 : 1;
}

const DemoRegistrar kStep(10, "A DBA record file: new, delete, reuse", Run);

}  // namespace

}  // namespace kvtool
