#include "lock_survey.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "core/lockdb.h"
#include "services/encoding.h"
#include "services/fileio.h"

namespace kvtool {

namespace {

namespace fs = std::filesystem;

// Bytes of MMLOCK.DBA probed one by one: callers use small fixed numbers.
constexpr int64_t kProbedBytes = 256;

LockFileState StateOf(int64_t age, bool readable, int64_t orphanAge) {
  if (!readable) return LockFileState::kUnreadable;
  // A time stamp in the future is fresh: the station's clock runs ahead.
  return age >= orphanAge ? LockFileState::kOrphaned : LockFileState::kFresh;
}

void ProbeLockDb(const std::string& dir, LockSurvey* s) {
  const std::string path = dir + kv::lockdb::kLockDbName;
  s->lockDbExists = kv::FileIO_Exist(path.c_str()) != 0;
  if (!s->lockDbExists) return;
  const kv::FileHandle h = kv::FileIO_OpenROS(path.c_str());
  if (h == kv::kInvalidHandle) return;
  for (int64_t b = 0; b < kProbedBytes; ++b) {
    if (kv::FileIO_TestLock(h, b, 1) == 1) s->heldBytes.push_back(b);
  }
  if (kv::FileIO_TestLock(h, kv::lockdb::kOrphanGuardByte, 1) == 1) {
    s->heldBytes.push_back(kv::lockdb::kOrphanGuardByte);
  }
  kv::FileIO_Close(h);
}

void ProbeFunctionLocks(const std::string& dir, LockSurvey* s) {
  std::error_code ec;
  std::vector<FunctionLock> found;
  for (fs::directory_iterator it(dir + kv::lockdb::kFunctionLockDir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.size() <= 4 || name.compare(name.size() - 4, 4, ".lok") != 0) continue;
    FunctionLock f;
    f.name = name.substr(0, name.size() - 4);
    const int64_t when = kv::FileIO_GetLastWriteTime(it->path().string().c_str());
    f.age = when < 0 ? -1 : kv::FileIO_GetFileAge(it->path().string().c_str());
    f.state = StateOf(f.age, when >= 0, kv::lockdb::kFunctionLockOrphanAge);
    found.push_back(f);
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  s->functionLocks = std::move(found);
}

void ProbeLogLock(const std::string& dir, LockSurvey* s) {
  const std::string path = dir + kv::lockdb::kLogLockName;
  const int32_t alive = kv::FileIO_LockFileHolderAlive(path.c_str());
  s->logLockExists = alive >= 0 && kv::FileIO_Exist(path.c_str());
  if (!s->logLockExists) return;
  s->logLockHolderAlive = alive == 1;
  const int64_t when = kv::FileIO_GetLastWriteTime(path.c_str());
  s->logLockAge = when < 0 ? -1 : kv::FileIO_GetFileAge(path.c_str());
  // The log lock counts as orphaned above its age limit, or at once when
  // its holder is known to be gone.
  s->logLockState = StateOf(s->logLockAge, when >= 0, kv::lockdb::kLogLockMaxAge + 1);
  if (!s->logLockHolderAlive && s->logLockState == LockFileState::kFresh) s->logLockState = LockFileState::kOrphaned;
}

void ProbeRecordFiles(const std::string& dir, LockSurvey* s) {
  std::error_code ec;
  std::vector<std::string> names;
  for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    if (!it->is_regular_file(ec)) continue;
    std::string n = it->path().filename().string();
    std::string u = n;
    for (char& c : u) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (u == kv::lockdb::kLockDbName) continue;
    if (u.size() > 4 && (u.compare(u.size() - 4, 4, ".DBA") == 0 || u.compare(u.size() - 4, 4, ".DAT") == 0)) {
      names.push_back(n);
    }
  }
  std::sort(names.begin(), names.end());
  for (const std::string& n : names) {
    const kv::FileHandle h = kv::FileIO_OpenROS((dir + n).c_str());
    if (h == kv::kInvalidHandle) continue;
    FileLocks f;
    f.file = n;
    f.header = kv::FileIO_TestLock(h, 0, 40) == 1;
    f.records = kv::FileIO_TestLock(h, 40, INT64_C(1) << 40) == 1;
    kv::FileIO_Close(h);
    if (f.header || f.records) s->fileLocks.push_back(f);
  }
}

// The last line of each station (IP and user) in the lock log.
void ReadStations(const std::string& dir, LockSurvey* s) {
  std::ifstream in(dir + kv::lockdb::kLogName, std::ios::binary);
  std::map<std::pair<std::string, std::string>, std::string> last;
  std::vector<std::pair<std::string, std::string>> order;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t ip = line.find(" IP: "), user = line.find(" UserID: "), fn = line.find(" - Function: ");
    if (ip == std::string::npos || user == std::string::npos || fn == std::string::npos || !(ip < user && user < fn)) {
      continue;
    }
    auto key = std::make_pair(line.substr(ip + 5, user - ip - 5), line.substr(user + 9, fn - user - 9));
    if (last.count(key) == 0) order.push_back(key);
    last[key] = line;
  }
  for (const auto& key : order) {
    s->stations.push_back({kv::Cp1252ToUtf8(key.first.c_str()), kv::Cp1252ToUtf8(key.second.c_str()),
                           kv::Cp1252ToUtf8(last[key].c_str())});
  }
}

}  // namespace

bool LockSurvey::AnyHeld(std::string* what) const {
  if (!heldBytes.empty()) {
    *what = "byte " + std::to_string(heldBytes.front()) + " of " + kv::lockdb::kLockDbName + " is locked";
    return true;
  }
  for (const FunctionLock& f : functionLocks) {
    if (f.state == LockFileState::kFresh) {
      *what = "the function lock " + f.name + " is held";
      return true;
    }
  }
  if (logLockExists && logLockState == LockFileState::kFresh) {
    *what = std::string("the lock log's lock ") + kv::lockdb::kLogLockName + " is held";
    return true;
  }
  if (!fileLocks.empty()) {
    *what = "a byte-range lock on " + fileLocks.front().file + " is held";
    return true;
  }
  return false;
}

LockSurvey SurveyLocks(const std::string& dir) {
  LockSurvey s;
  ProbeLockDb(dir, &s);
  ProbeFunctionLocks(dir, &s);
  ProbeLogLock(dir, &s);
  ProbeRecordFiles(dir, &s);
  ReadStations(dir, &s);
  return s;
}

const char* StateText(LockFileState s) {
  switch (s) {
    case LockFileState::kFresh: return "fresh";
    case LockFileState::kOrphaned: return "orphaned";
    case LockFileState::kUnreadable: return "attributes unreadable";
  }
  return "";
}

}  // namespace kvtool
