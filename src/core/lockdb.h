// The lock database MMLOCK.DBA (one-byte locks), function lock files in
// func_locks and the lock log, behind the KVLOCKDB_* exports.
//
// All state is process-wide: the data directory given to Init, the lock
// database handle with its nesting count, the station's IP and user texts
// and the two switches (blocking, logging).
#ifndef KV_CORE_LOCKDB_H
#define KV_CORE_LOCKDB_H

#include <cstdint>
#include <string>

#include "services/fileio.h"

namespace kv::lockdb {

constexpr const char* kLockDbName = "MMLOCK.DBA";
constexpr const char* kLogName = "kvlogfile.txt";
constexpr const char* kLogLockName = "kvlogfile.lok";
constexpr const char* kFunctionLockDir = "func_locks";
constexpr int32_t kLockDbSize = 14;
constexpr int32_t kIpChars = 35;
constexpr int32_t kUserChars = 63;

// Byte lock attempts: one try, then up to kByteLockWaits waits of
// kByteLockWaitMs with a try after each.
constexpr int32_t kByteLockWaits = 10;
constexpr int32_t kByteLockWaitMs = 100;
// A function lock file this old (seconds) or older is orphaned.
constexpr int64_t kFunctionLockOrphanAge = 31;
constexpr int32_t kPollMs = 100;
// The log lock: a lock file older than this (seconds) is deleted; the event
// is dropped after waiting kLogLockTimeoutMs.
constexpr int64_t kLogLockMaxAge = 20;
constexpr int32_t kLogLockTimeoutMs = 10000;

const char* Init(const char* path);
void SetStation(const char* ip, const char* user, int32_t blockingEnabled);
int32_t CreateLockDb();
int32_t OpenLockDb();
void CloseLockDb();
int32_t LockByte(int32_t byteNumber);
int32_t UnlockByte(int32_t byteNumber);
int32_t BlockingStart(const char* name, int32_t timeoutMs);
void BlockingStop(const char* name);
void SetLogEnabled(bool enabled);
void LogEvent(const char* ip, const char* user, const char* function, int32_t w1, int32_t w2,
              int32_t w3);
void Exit();

// Inspection, for the tool and the tests.
int32_t OpenCount();
FileHandle LockDbHandle();
[[nodiscard]] bool BlockingEnabled();
// Full path of a file of the data directory ("" before Init).
std::string DataFile(const char* name);
// Path of the lock file of function `name`; "" when it does not fit or the
// name would reach outside func_locks (a separator, "..", a drive colon, a
// character Windows refuses in names, a device name such as NUL).
std::string FunctionLockPath(const char* name);

// The byte of MMLOCK.DBA, far beyond its 14, that a station holds while it
// deletes an orphaned lock file.
constexpr int64_t kOrphanGuardByte = 0x40000000;

// Seconds a lock file has stood unchanged, as this station judges it: the
// larger of (now - its stamp) and the time this station has watched that
// stamp unchanged on its own clock. A stamp in the future thus counts as
// just written. known is false when its attributes cannot be read; gone is
// true as well when that is because nothing is at the name any more.
struct LockFileAge {
  bool known;
  int64_t seconds;
  bool gone = false;
};
LockFileAge AgeOfLockFile(const char* path);

// How a lock file found in the way is to be treated.
enum class Staleness {
  kLive,      // a holder may still use it: wait
  kOrphaned,  // its holder is gone: delete quietly
  kAged,      // older than its age limit: delete and tell
  kGone,      // nothing is at the name now: create again at once, delete nothing
};
// A lock that keeps being gone when looked at, yet cannot be created, is
// retried at once this many times in a row before it is waited for.
constexpr int32_t kGoneRetries = 10;
using StaleTest = Staleness (*)(const char* path);
// The test for function lock files: orphaned from kFunctionLockOrphanAge
// seconds on, gone when nothing is at the name.
Staleness FunctionLockStaleness(const char* path);

// Re-runs `test` on the lock file `path` and deletes the file unless it is
// live, with no other process of the installation doing the same at that
// moment. Returns the verdict, or kLive when nothing was deleted although
// the verdict said to; kGone deletes nothing.
Staleness RemoveStaleLockFile(const char* path, StaleTest test);

}  // namespace kv::lockdb

#endif  // KV_CORE_LOCKDB_H
