#include "dba_util.h"

#include "services/platform.h"

namespace kvtest {

// args: path, record size, capacity, marker, milliseconds.
KVTEST_WORKER(hold_dba_header) {
  DbaFile f = MakeDba(args.at(0), std::stoi(args.at(1)), std::stoi(args.at(2)));
  if (DBA_OpenDBA(&f) != 1 || DBA_LockHEADER(&f) != 1) return 2;
  WriteFileBytes(args.at(3), {1});
  kv::SleepMs(std::stoi(args.at(4)));
  DBA_UnlockHEADER(&f);
  DBA_CloseDBA(&f);
  return 0;
}

Worker HoldHeader(const std::string& path, int32_t recordSize, int32_t capacity, const std::string& marker,
                  int32_t ms) {
  return SpawnWorker("hold_dba_header",
                     {path, std::to_string(recordSize), std::to_string(capacity), marker, std::to_string(ms)});
}

}  // namespace kvtest
