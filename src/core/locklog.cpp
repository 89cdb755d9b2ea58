// The lock log: one line per event, appended under the log lock.
#include "core/locklog.h"

#include <cstdio>

#include "core/lockdb.h"
#include "services/hostui.h"

namespace kv::locklog {

namespace {

// kvlogfile.lok is created delete-on-close, so on Windows it vanishes with
// its holder. A POSIX process of this library that dies leaves it behind;
// its mark and the missing holder lock then show that nobody holds it, and
// it is treated as already gone. Any other lock file (the Windows program's
// holds no byte-range lock at all) is judged by its age alone: waited for
// while it is 20 seconds old or younger, deleted with a message after that.
// One whose attributes cannot be read is waited for; a name with nothing
// behind it any more is tried for again at once.
lockdb::Staleness LogLockStaleness(const char* path) {
  if (FileIO_LockFileHolderAlive(path) == 0) return lockdb::Staleness::kOrphaned;
  lockdb::LockFileAge age = lockdb::AgeOfLockFile(path);
  if (age.gone) return lockdb::Staleness::kGone;
  if (!age.known) return lockdb::Staleness::kLive;
  return age.seconds > lockdb::kLogLockMaxAge ? lockdb::Staleness::kAged : lockdb::Staleness::kLive;
}

}  // namespace

std::string FormatLine(const LocalTime& t, int32_t w1, int32_t w2, int32_t w3, const char* ip,
                       const char* user, const char* function) {
  char head[128];
  std::snprintf(head, sizeof head,
                "[%04d-%02d-%02d %02d:%02d:%02d.%03d] W1:%08d W2:%08d W3:%08d IP: ", t.year,
                t.month, t.day, t.hour, t.minute, t.second, t.millisecond, w1, w2, w3);
  std::string line(head);
  line += ip;
  line += " UserID: ";
  line += user;
  line += " - Function: ";
  line += function;
  line += "\r\n";
  return line;
}

FileHandle AcquireLogLock(const char* lockPath) {
  int32_t waited = 0, goneInARow = 0;
  for (;;) {
    FileHandle h = FileIO_CreateNewExclusive(lockPath, true);
    if (h != kInvalidHandle) return h;
    lockdb::Staleness verdict = lockdb::RemoveStaleLockFile(lockPath, LogLockStaleness);
    if (verdict == lockdb::Staleness::kOrphaned) continue;
    if (verdict == lockdb::Staleness::kGone && ++goneInARow <= lockdb::kGoneRetries) continue;
    goneInARow = 0;
    if (verdict == lockdb::Staleness::kAged) {
      char message[96];
      // "Verwaiste Lock-Datei gelöscht (älter als %d Sekunden)."
      std::snprintf(message, sizeof message,
                    "Verwaiste Lock-Datei gel\xF6scht (\xE4lter als %d Sekunden).",
                    static_cast<int>(lockdb::kLogLockMaxAge));
      ConsoleErrorLine(message);
      continue;
    }
    SleepMs(lockdb::kPollMs);
    waited += lockdb::kPollMs;
    if (waited >= lockdb::kLogLockTimeoutMs) return kInvalidHandle;
  }
}

bool AppendLine(const char* logPath, const std::string& line) {
  FileHandle h = FileIO_OpenAppend(logPath);
  if (h == kInvalidHandle) return false;
  int32_t n = static_cast<int32_t>(line.size());
  bool ok = FileIO_Write(h, line.data(), n) == n;
  FileIO_Close(h);
  return ok;
}

}  // namespace kv::locklog
