// Lock database, function locks and the process-wide state of the lock log.
#include "core/lockdb.h"

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>

#include "core/locklog.h"
#include "services/name_resolve.h"
#include "services/platform.h"
#include "services/process_state.h"

namespace kv::lockdb {

namespace {

struct State {
  bool initialised = false;
  char directory[kMaxPath] = "";
  char dbPath[kMaxPath] = "";
  char logPath[kMaxPath] = "";
  char logLockPath[kMaxPath] = "";
  char functionDir[kMaxPath] = "";
  FileHandle handle = kInvalidHandle;
  int32_t openCount = 0;
  char ip[kIpChars + 1] = "";
  char user[kUserChars + 1] = "";
  std::atomic<bool> blocking{false};  // off until the station says otherwise
  std::atomic<bool> logEnabled{true};
};

State& S() { return FamilyState<State>(); }

// Serialises the byte locks of the threads of this process.
Mutex& CriticalSection() { return ProcessMutex<struct LockDbByteLocks>(); }

// Guards the station's IP and user text: a host may set them on one thread
// while another writes a log line that quotes them.
Mutex& StationMutex() { return ProcessMutex<struct LockDbStation>(); }

// Copies text into a fixed buffer of `size` bytes, cutting what does not fit.
void StoreText(char* target, size_t size, const char* text) {
  std::snprintf(target, size, "%s", text);
}

bool JoinPath(char* out, const char* directory, const char* name) {
  int n = std::snprintf(out, kMaxPath, "%s%s", directory, name);
  return n >= 0 && n < kMaxPath;
}

// Where this station first saw each lock file's stamp, on its own clock.
struct Sighting {
  int64_t stamp = -1;
  int64_t firstSeenMs = 0;
};
Mutex& SightingsMutex() { return ProcessMutex<struct LockFileSightings>(); }
std::map<std::string, Sighting>& Sightings() {
  static std::map<std::string, Sighting> table;
  return table;
}
// Lock files come and go under a handful of names; a table that grows past
// this many holds mostly names nobody waits on any more.
constexpr size_t kMaxSightings = 64;

// The caller's name as the last component of a lock file's name, or not at
// all: it must stay inside func_locks and be a valid file name on every
// station, so no separator, no "..", no drive colon, none of the characters
// Windows refuses in a name, and no device name.
bool ValidFunctionName(const char* name) {
  if (name == nullptr || name[0] == '\0') return false;
  if (std::strstr(name, "..") != nullptr) return false;
  for (const char* c = name; *c != '\0'; ++c) {
    unsigned char u = static_cast<unsigned char>(*c);
    if (u < 32 || std::strchr("<>:\"/\\|?*", u) != nullptr) return false;
  }
  static const char* const kDevices[] = {"CON", "PRN", "AUX", "NUL", "COM1", "COM2", "COM3",
                                         "COM4", "COM5", "COM6", "COM7", "COM8", "COM9", "LPT1",
                                         "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7", "LPT8",
                                         "LPT9"};
  for (const char* device : kDevices) {
    size_t n = std::strlen(device);
    bool same = true;
    for (size_t i = 0; i < n && same; ++i) same = std::toupper(static_cast<unsigned char>(name[i])) == device[i];
    if (same && (name[n] == '\0' || name[n] == '.')) return false;
  }
  return true;
}

}  // namespace

// Function lock files are created and closed at once, so only their age
// tells a crashed holder from a live one. One whose attributes cannot be
// read at all is taken for orphaned: deleting it is tried, and when that
// fails as well the lock is waited for. A name with no file behind it is
// not such a file: its holder has just let go, and deleting "it" would
// delete the lock file another station creates the next moment.
Staleness FunctionLockStaleness(const char* path) {
  LockFileAge age = AgeOfLockFile(path);
  if (age.gone) return Staleness::kGone;
  if (!age.known) return Staleness::kOrphaned;
  return age.seconds >= kFunctionLockOrphanAge ? Staleness::kOrphaned : Staleness::kLive;
}

// The lock database, the log and func_locks are found whatever the case of
// their names. The log lock keeps its one spelling: it comes and goes all
// the time, and every station must create it under the same name.
const char* Init(const char* path) {
  if (path == nullptr || std::strlen(path) >= static_cast<size_t>(kMaxPath)) return nullptr;
  char directory[kMaxPath];
  if (!DataDirectoryOf(path, directory)) return nullptr;
  State fresh;
  if (!JoinPath(fresh.dbPath, directory, kLockDbName) ||
      !JoinPath(fresh.logPath, directory, kLogName) ||
      !JoinPath(fresh.logLockPath, directory, kLogLockName) ||
      !JoinPath(fresh.functionDir, directory, kFunctionLockDir)) {
    return nullptr;
  }
  FileIO_ResolveNameCase(fresh.dbPath);
  FileIO_ResolveNameCase(fresh.logPath);
  FileIO_ResolveNameCase(fresh.functionDir);
  State& s = S();
  std::memcpy(s.directory, directory, sizeof directory);
  std::memcpy(s.dbPath, fresh.dbPath, sizeof s.dbPath);
  std::memcpy(s.logPath, fresh.logPath, sizeof s.logPath);
  std::memcpy(s.logLockPath, fresh.logLockPath, sizeof s.logLockPath);
  std::memcpy(s.functionDir, fresh.functionDir, sizeof s.functionDir);
  s.initialised = true;
  if (!FileIO_Exist(s.dbPath)) CreateLockDb();
  return s.directory;
}

void SetStation(const char* ip, const char* user, int32_t blockingEnabled) {
  State& s = S();
  {
    MutexLock lock(StationMutex());
    if (ip != nullptr) StoreText(s.ip, sizeof s.ip, ip);
    if (user != nullptr) StoreText(s.user, sizeof s.user, user);
  }
  s.blocking = blockingEnabled != 0;
}

int32_t CreateLockDb() {
  static const char kContent[kLockDbSize] = {'0', '0', '0', '0', '0', '0', '0',
                                             '0', '0', '0', '0', '0', '0', '\0'};
  State& s = S();
  if (!s.initialised) return 0;
  FileHandle h = FileIO_CreateRWS(s.dbPath);
  if (h == kInvalidHandle) return 0;
  int32_t written = FileIO_Write(h, kContent, kLockDbSize);
  FileIO_Close(h);
  return written == kLockDbSize ? 1 : 0;
}

// The nesting count rises on every open, even a failed one, and falls only
// while the handle is valid. Old callers balance their calls around that, so
// it stays this way.
int32_t OpenLockDb() {
  State& s = S();
  if (s.handle == kInvalidHandle && s.initialised) s.handle = FileIO_OpenRWS(s.dbPath);
  ++s.openCount;
  return s.handle;
}

void CloseLockDb() {
  State& s = S();
  if (s.handle == kInvalidHandle) return;
  if (--s.openCount < 1) {
    FileIO_Close(s.handle);
    s.handle = kInvalidHandle;
  }
}

int32_t LockByte(int32_t byteNumber) {
  if (byteNumber < 0) return 0;
  MutexLock lock(CriticalSection());
  FileHandle h = OpenLockDb();
  if (h == kInvalidHandle) return 0;
  bool locked = FileIO_TryLock(h, byteNumber, 1) != 0;
  int32_t waits = 0;
  while (!locked && waits < kByteLockWaits) {
    SleepMs(kByteLockWaitMs);
    ++waits;
    locked = FileIO_TryLock(h, byteNumber, 1) != 0;
  }
  if (locked && waits < kByteLockWaits) return 1;
  // A byte won only on the last attempt counts as a failure. The caller will
  // not unlock it, so let it go rather than keep it through an outer level.
  if (locked) FileIO_Unlock(h, byteNumber, 1);
  CloseLockDb();
  return 0;
}

int32_t UnlockByte(int32_t byteNumber) {
  MutexLock lock(CriticalSection());
  State& s = S();
  if (s.handle != kInvalidHandle && byteNumber >= 0) FileIO_Unlock(s.handle, byteNumber, 1);
  CloseLockDb();
  return 1;
}

std::string DataFile(const char* name) {
  const State& s = S();
  if (!s.initialised) return {};
  return std::string(s.directory) + name;
}

std::string FunctionLockPath(const char* name) {
  const State& s = S();
  if (!s.initialised || !ValidFunctionName(name)) return {};
  char path[kMaxPath];
  int n = std::snprintf(path, sizeof path, "%s%c%s.lok", s.functionDir, kPathSep, name);
  if (n < 0 || n >= kMaxPath) return {};
  return path;
}

int32_t BlockingStart(const char* name, int32_t timeoutMs) {
  if (!S().blocking) return 1;
  std::string path = FunctionLockPath(name);
  if (path.empty()) return 0;
  if (!FileIO_PathExist(S().functionDir)) {
    // Made by another station since Init, perhaps spelled otherwise.
    FileIO_ResolveNameCase(S().functionDir);
    FileIO_PathCreate(S().functionDir);
    path = FunctionLockPath(name);
  }
  int32_t waited = 0, goneInARow = 0;
  for (;;) {
    FileHandle h = FileIO_CreateNewExclusive(path.c_str(), false);
    if (h != kInvalidHandle) {
      FileIO_Close(h);  // the file itself is the lock
      return 1;
    }
    // An orphan is taken over at once, and a lock let go of between the
    // creation and the look at it is tried for again at once. When nothing
    // could be deleted, or the name keeps being free while the creation
    // fails, the creation failed for another reason: that counts as a wait
    // so that the time-out still ends the loop.
    Staleness verdict = RemoveStaleLockFile(path.c_str(), FunctionLockStaleness);
    if (verdict == Staleness::kOrphaned) continue;
    if (verdict == Staleness::kGone && ++goneInARow <= kGoneRetries) continue;
    goneInARow = 0;
    if (waited >= timeoutMs) return 0;
    SleepMs(kPollMs);
    waited += kPollMs;
  }
}

void BlockingStop(const char* name) {
  if (!S().blocking) return;
  std::string path = FunctionLockPath(name);
  if (!path.empty()) FileIO_DeleteFile(path.c_str());
}

void SetLogEnabled(bool enabled) { S().logEnabled = enabled; }

void LogEvent(const char* ip, const char* user, const char* function, int32_t w1, int32_t w2,
              int32_t w3) {
  State& s = S();
  if (!s.blocking || !s.logEnabled || !s.initialised) return;
  char stationIp[sizeof s.ip], stationUser[sizeof s.user];
  {
    MutexLock station(StationMutex());
    if (ip != nullptr && ip[0] != '\0') StoreText(s.ip, sizeof s.ip, ip);
    if (user != nullptr && user[0] != '\0') StoreText(s.user, sizeof s.user, user);
    std::memcpy(stationIp, s.ip, sizeof stationIp);
    std::memcpy(stationUser, s.user, sizeof stationUser);
  }
  FileHandle lock = locklog::AcquireLogLock(s.logLockPath);
  if (lock == kInvalidHandle) return;
  std::string line = locklog::FormatLine(LocalTimeNow(), w1, w2, w3, stationIp, stationUser,
                                         function != nullptr ? function : "");
  if (!FileIO_Exist(s.logPath)) FileIO_ResolveNameCase(s.logPath);  // before creating it
  (void)locklog::AppendLine(s.logPath, line);  // a line that cannot be written is dropped
  FileIO_Close(lock);  // deletes kvlogfile.lok
}

void Exit() {
  MutexLock lock(CriticalSection());
  State& s = S();
  if (s.handle != kInvalidHandle) FileIO_Close(s.handle);
  s.handle = kInvalidHandle;
  s.openCount = 0;
  s.initialised = false;
  s.directory[0] = s.dbPath[0] = s.logPath[0] = s.logLockPath[0] = s.functionDir[0] = '\0';
}

int32_t OpenCount() { return S().openCount; }
FileHandle LockDbHandle() { return S().handle; }
bool BlockingEnabled() { return S().blocking; }

// Age of a lock file as this station judges it. The stamp comes from the
// clock of whoever wrote the file (or of the file server), the present from
// this station's clock; when the writer's clock runs ahead the stamp lies in
// the future and the difference is negative. Such a file counts as just
// written, and then for as long as this station has seen its stamp
// unchanged, measured on its own clock: so it becomes orphaned once it has
// stood unchanged for the orphan age, however far ahead the other clock
// runs. For a stamp in the past the difference of the clocks is never the
// smaller of the two, so the usual rule holds unchanged there.
LockFileAge AgeOfLockFile(const char* path) {
  int64_t stamp = FileIO_GetLastWriteTime(path);
  if (stamp < 0) return {false, 0, stamp == kNoFileThere};
  int64_t sinceStamp = UnixTimeNow() - stamp;
  int64_t nowMs = MonotonicMs();
  MutexLock lock(SightingsMutex());
  auto& table = Sightings();
  if (table.size() > kMaxSightings) table.clear();
  Sighting& seen = table[path];
  if (seen.stamp != stamp) {
    seen.stamp = stamp;
    seen.firstSeenMs = nowMs;
  }
  int64_t watched = (nowMs - seen.firstSeenMs) / 1000;
  return {true, sinceStamp > watched ? sinceStamp : watched};
}

// Taking over an orphaned lock file is a check followed by a delete. When two
// stations find the same orphan, the slower one's delete can hit the fresh
// lock file the faster one has just created in its place, and then both
// believe they hold the lock. So the check is repeated, and the delete done,
// only while holding one byte of MMLOCK.DBA far beyond its 14 bytes, which no
// caller locks. A fresh lock file never passes the repeated check. The byte
// lock belongs to a handle of its own and dies with its process, so a crash
// here blocks nobody. Without a lock database (never initialised) the check
// and delete run unguarded.
Staleness RemoveStaleLockFile(const char* path, StaleTest test) {
  constexpr int32_t kGuardAttempts = 1000;
  FileHandle guard = S().initialised ? FileIO_OpenRWS(S().dbPath) : kInvalidHandle;
  bool held = false;
  for (int32_t i = 0; guard != kInvalidHandle && i < kGuardAttempts; ++i) {
    if (FileIO_TryLock(guard, kOrphanGuardByte, 1)) {
      held = true;
      break;
    }
    SleepMs(1);
  }
  Staleness verdict = Staleness::kLive;
  if (held || guard == kInvalidHandle) {
    verdict = test(path);
    if (verdict != Staleness::kLive && verdict != Staleness::kGone && !FileIO_DeleteFile(path)) {
      verdict = Staleness::kLive;
    }
  }
  if (held) FileIO_Unlock(guard, kOrphanGuardByte, 1);
  FileIO_Close(guard);
  return verdict;
}

}  // namespace kv::lockdb
