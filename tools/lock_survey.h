// Who holds which lock of a data directory right now, found without
// disturbing any holder: byte locks of MMLOCK.DBA and of the record files
// are probed, lock files are looked at, never taken.
#ifndef KVDATA_LOCK_SURVEY_H
#define KVDATA_LOCK_SURVEY_H

#include <cstdint>
#include <string>
#include <vector>

namespace kvtool {

enum class LockFileState { kFresh, kOrphaned, kUnreadable };

struct FunctionLock {
  std::string name;  // the function, without ".lok"
  int64_t age = -1;  // seconds since its last write; negative when it lies in the future
  LockFileState state = LockFileState::kFresh;
};

struct FileLocks {
  std::string file;
  bool header = false;   // bytes 0..39
  bool records = false;  // any byte past the header
};

struct StationLine {
  std::string ip, user, line;  // line as UTF-8
};

struct LockSurvey {
  bool lockDbExists = false;
  std::vector<int64_t> heldBytes;  // of MMLOCK.DBA, the orphan guard byte included
  std::vector<FunctionLock> functionLocks;
  bool logLockExists = false;
  int64_t logLockAge = -1;
  LockFileState logLockState = LockFileState::kFresh;
  bool logLockHolderAlive = false;
  std::vector<FileLocks> fileLocks;  // only files with a lock held
  std::vector<StationLine> stations;  // last lock-log line of each station

  // True when another process holds anything a repair would wait for.
  bool AnyHeld(std::string* what) const;
};

// `dir` ends in a separator.
LockSurvey SurveyLocks(const std::string& dir);

const char* StateText(LockFileState s);

}  // namespace kvtool

#endif  // KVDATA_LOCK_SURVEY_H
