// Demo step: byte and function locks, the lock log and a few numbers handed
// out from the number ranges.
#include <deque>
#include <fstream>
#include <ostream>
#include <string>

#include "core/lockdb.h"
#include "core/nummern.h"
#include "kvdata/kvhost.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/nummern.h"
#include "services/fileio.h"
#include "tool.h"

namespace {

// The number-range question of a fresh directory: create the file.
int32_t AnswerNo(const char* caption, const char* /*text*/, uint32_t /*flags*/, void* context) {
  *static_cast<std::ostream*>(context) << "  " << caption
                                       << " asks about the missing NUMMERN.DAT: answered No (create it)\n";
  return 0;
}

// The next order number: read the counter, count on, write it back.
int32_t NextOrderNumber(std::ostream& out) {
  constexpr int32_t kOrders = 2;
  int32_t last = 0;
  if (!Nummern_NummernLesen(&last, kOrders)) return 0;
  if (!Nummern_NummernSchreiben(last + 1, kOrders)) return 0;
  out << "  " << kv::nummern::CounterName(kOrders) << ": " << last << " -> " << last + 1 << "\n";
  return last + 1;
}

int Run(const std::string& dir, std::ostream& out) {
  std::string anyFile = dir + "TEILE.DBA";
  if (KVLOCKDB_Init(anyFile.c_str()) == nullptr) return 1;
  KVLOCKDB_IPUSERInit("192.168.10.21", "KASSE1", 1);
  KVLOCKDB_EnableLog();
  out << "lock database " << kv::lockdb::DataFile(kv::lockdb::kLockDbName) << "\n";

  if (KVLOCKDB_LockDB(12) != 1) return 2;
  out << "byte 12 locked (nesting " << kv::lockdb::OpenCount() << ")\n";
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "START DATABASE_EinzelteilVerkaufen", 12, 0, 0);
  KVLOCKDB_UnlockDB(12);
  out << "byte 12 released (lock database "
      << (kv::lockdb::LockDbHandle() == kv::kInvalidHandle ? "closed" : "open") << ")\n";

  const char* function = "AUFTRAGDBA_NeuerAuftrag";
  if (KVLOCKDB_Blocking_Start(function, 5000) != 1) return 3;
  out << "function lock " << kv::lockdb::FunctionLockPath(function) << " held\n";
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "START AUFTRAGDBA_NeuerAuftrag", 0, 0, 0);

  // Orders take their numbers from the number ranges. A fresh directory has
  // no NUMMERN.DAT: the first write asks, and "No" creates the file.
  Nummern_Init(anyFile.c_str());
  if (!kv::FileIO_Exist(kv::nummern::FilePath())) {
    KVHOST_SetQuestionHandler(&AnswerNo, &out);
    int32_t created = Nummern_NummernSchreiben(1000, 2);
    KVHOST_SetQuestionHandler(nullptr, nullptr);
    if (!created) return 4;
  }
  out << "numbers in " << kv::nummern::FilePath() << ":\n";
  for (int i = 0; i < 3; ++i) {
    int32_t number = NextOrderNumber(out);
    if (number == 0) return 5;
    KVLOCKDB_Log_Event("SAME IP", "SAME USER", " AUFTRAGDBA_NeuerAuftrag nummer", number, i, -1);
  }
  KVLOCKDB_Blocking_Stop(function);
  out << "function lock released\n";

  std::ifstream log(kv::lockdb::DataFile(kv::lockdb::kLogName), std::ios::binary);
  std::deque<std::string> tail;
  for (std::string line; std::getline(log, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    tail.push_back(line);
    if (tail.size() > 5) tail.pop_front();
  }
  out << "lock log, last " << tail.size() << " lines:\n";
  for (const std::string& line : tail) out << "  " << line << "\n";
  KVLOCKDB_Exit();
  return tail.empty() ? 6 : 0;
}

kvtool::DemoRegistrar demo(30, "Locks between workstations and number ranges", Run);

}  // namespace
