// The lock log: exact lines, concurrent writers, and the log lock left
// behind by a process that died or grew old.
#include <map>
#include <regex>
#include <string>

#include "core/locklog.h"
#include "kvdata/kvlockdb.h"
#include "kvtest.h"
#include "locks_support.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace {

using kvtest::FileExists;

// args: dir, id, lines. Logs `lines` events numbered by worker and line.
KVTEST_WORKER(log_lines) {
  std::string ip = "10.0.1." + args[1];
  lockstest::InitStation(args[0], ip.c_str(), ("kasse" + args[1]).c_str());
  std::string function = " DATABASE_Buchen worker::line " + args[1];
  for (int i = 0; i < std::stoi(args[2]); ++i) KVLOCKDB_Log_Event("", "", function.c_str(), std::stoi(args[1]), i, -i);
  return 0;
}

// args: lock path. Takes the log lock and dies holding it.
KVTEST_WORKER(die_holding_log_lock) {
  if (kv::FileIO_CreateNewExclusive(args[0].c_str(), true) == kv::kInvalidHandle) return 2;
  kv::ProcessExit(0);
}

// args: dir. Logs one event as a station of its own.
KVTEST_WORKER(log_once) {
  lockstest::InitStation(args[0], "10.0.2.1", "kasse");
  KVLOCKDB_Log_Event("", "", "START DATABASE_EinzelteilVerkaufen", 1, 0, 0);
  return 0;
}

// The stderr line of an aged log lock, in the code page of the platform.
bool IsAgedLockMessage(const std::string& err) {
  return err.rfind("Verwaiste Lock-Datei gel", 0) == 0 &&
         err.find("lter als 20 Sekunden).") != std::string::npos;
}

class LockLogTest : public lockstest::StationTest {
 protected:
  void SetUp() override { lockstest::InitStation(dir(), "192.168.0.7", "anna"); }
  std::vector<std::string> Log() { return lockstest::ReadLines(file("kvlogfile.txt")); }
};

const std::regex kLine(
    R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] W1:(-?\d+) W2:(-?\d+) W3:(-?\d+) IP: (.*) UserID: (.*) - Function: (.*))");

TEST(LockLogFormat, NumbersArePaddedToEightPlacesWithTheSignInFront) {
  kv::LocalTime t{2026, 3, 7, 8, 5, 9, 42, 6};
  EXPECT_EQ(kv::locklog::FormatLine(t, -1, 0, 12345678, "SAME IP", "SAME USER", "START X"),
            "[2026-03-07 08:05:09.042] W1:-0000001 W2:00000000 W3:12345678 IP: SAME IP "
            "UserID: SAME USER - Function: START X\r\n");
  kv::LocalTime u{1999, 12, 31, 23, 59, 59, 999, 5};
  EXPECT_EQ(kv::locklog::FormatLine(u, 2147483647, -2147483647 - 1, 7, "", "", ""),
            "[1999-12-31 23:59:59.999] W1:2147483647 W2:-2147483648 W3:00000007 IP:  "
            "UserID:  - Function: \r\n");
}

TEST_F(LockLogTest, EventsAppendLinesWithTheStoredStationTexts) {
  KVLOCKDB_Log_Event("", "", "START BEZLIB_NeueBezeichnungEintragen", 0, 0, 0);
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", " BEZLIB_ReadFreeList num::anfang::ende", 3, -1, 17);
  KVLOCKDB_DisableLog();
  KVLOCKDB_Log_Event("", "", "not written", 9, 9, 9);
  KVLOCKDB_EnableLog();
  KVLOCKDB_Log_Event("", "bernd", "STOP", 1, 2, 3);

  std::vector<std::string> lines = Log();
  ASSERT_EQ(lines.size(), 3u);
  const char* expected[3] = {
      " W1:00000000 W2:00000000 W3:00000000 IP: 192.168.0.7 UserID: anna - Function: START "
      "BEZLIB_NeueBezeichnungEintragen",
      " W1:00000003 W2:-0000001 W3:00000017 IP: SAME IP UserID: SAME USER - Function:  "
      "BEZLIB_ReadFreeList num::anfang::ende",
      " W1:00000001 W2:00000002 W3:00000003 IP: SAME IP UserID: bernd - Function: STOP",
  };
  for (int i = 0; i < 3; ++i) EXPECT_EQ(lines[i].substr(25), expected[i]) << lines[i];
  // Every line ends in CR LF, and the log lock is gone after each event.
  std::vector<uint8_t> raw = kvtest::ReadFileBytes(file("kvlogfile.txt"));
  ASSERT_GE(raw.size(), 2u);
  EXPECT_EQ(raw[raw.size() - 2], '\r');
  EXPECT_FALSE(FileExists(file("kvlogfile.lok")));
}

TEST_F(LockLogTest, ConcurrentWritersLoseAndTearNoLine) {
  const int kWorkers = 4, kLines = 40;
  std::vector<std::vector<std::string>> args;
  for (int i = 0; i < kWorkers; ++i) args.push_back({dir(), std::to_string(i), std::to_string(kLines)});
  for (int rc : kvtest::RunWorkers("log_lines", args)) EXPECT_EQ(rc, 0);

  std::vector<std::string> lines = Log();
  ASSERT_EQ(lines.size(), static_cast<size_t>(kWorkers * kLines));
  std::map<int, int> nextLine;  // per worker, its lines arrive in order
  for (const std::string& line : lines) {
    std::smatch m;
    ASSERT_TRUE(std::regex_match(line, m, kLine)) << line;
    int id = std::stoi(m[1]), n = std::stoi(m[2]);
    EXPECT_EQ(std::stoi(m[3]), -n);
    EXPECT_EQ(m[4].str(), "10.0.1." + std::to_string(id));
    EXPECT_EQ(m[5].str(), "kasse" + std::to_string(id));
    EXPECT_EQ(m[6].str(), " DATABASE_Buchen worker::line " + std::to_string(id));
    EXPECT_EQ(n, nextLine[id]++);
  }
  for (int i = 0; i < kWorkers; ++i) EXPECT_EQ(nextLine[i], kLines);
  EXPECT_FALSE(FileExists(file("kvlogfile.lok")));
}

TEST_F(LockLogTest, LogLockLeftBehindIsRecoveredQuietlyFromTheDeadAndLoudlyWhenOld) {
  std::string lok = file("kvlogfile.lok");
  ASSERT_EQ(kvtest::RunWorkers("die_holding_log_lock", {{lok}}), std::vector<int>{0});
#if defined(_WIN32)
  EXPECT_FALSE(FileExists(lok));  // the system deletes it with its dead holder
#else
  ASSERT_TRUE(FileExists(lok));  // left behind, but nobody holds it any more
  EXPECT_EQ(kv::FileIO_LockFileHolderAlive(lok.c_str()), 0);
  // It says whose it was: this host and the dead worker's process id.
  std::vector<uint8_t> raw = kvtest::ReadFileBytes(lok);
  std::string mark(raw.begin(), raw.end());
  EXPECT_EQ(mark.rfind("kvdata lock holder host=", 0), 0u) << mark;
  EXPECT_NE(mark.find(" pid="), std::string::npos) << mark;
  EXPECT_EQ(mark.back(), '\n');
#endif
  testing::internal::CaptureStderr();
  KVLOCKDB_Log_Event("", "", "START AUFTRAGDBA_Neu", 1, 0, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(Log().size(), 1u);
  EXPECT_FALSE(FileExists(lok));

  // A lock file older than twenty seconds is taken away with a message.
#if defined(_WIN32)
  // A live holder's file cannot even be touched there; what can be left
  // behind is a plain file nobody holds (a station whose connection broke),
  // and only its age can tell that its holder is gone.
  kv::FileHandle held = kv::FileIO_CreateNewExclusive(lok.c_str(), false);
  ASSERT_NE(held, kv::kInvalidHandle);
  kv::FileIO_Close(held);
  held = kv::kInvalidHandle;
#else
  kv::FileHandle held = kv::FileIO_CreateNewExclusive(lok.c_str(), true);
  ASSERT_NE(held, kv::kInvalidHandle);
  EXPECT_EQ(kv::FileIO_LockFileHolderAlive(lok.c_str()), 1);
#endif
  kvtest::AgeFile(lok, 25);
  testing::internal::CaptureStderr();
  KVLOCKDB_Log_Event("", "", "START RechnungDBA_Neu", 2, 0, 0);
  EXPECT_TRUE(IsAgedLockMessage(testing::internal::GetCapturedStderr()));
  ASSERT_EQ(Log().size(), 2u);
  EXPECT_NE(Log()[1].find("START RechnungDBA_Neu"), std::string::npos);
  kv::FileIO_Close(held);
}

// kvlogfile.lok of the Windows program is empty and holds no byte-range
// lock: it is waited for while 20 seconds old or younger, and only then
// deleted, with the message. A lock file this library marked is judged by
// its holder's lock, whichever station wrote it.
TEST_F(LockLogTest, ForeignLogLockIsWaitedForAndOnlyOurOwnMarkedOrphanGoesAtOnce) {
  // A fresh one in another data directory: the station gives up after its
  // ten seconds and leaves file and log alone.
  const std::string other = dir() + "filiale/";
  ASSERT_TRUE(kv::FileIO_MakeMultiPath(other.c_str()));
  kvtest::WriteFileBytes(other + "kvlogfile.lok", {});
  kvtest::Worker w = kvtest::SpawnWorker("log_once", {other});

  // One of 17 seconds here: waited for until past 20, then taken with the
  // message, and the event is logged.
  const std::string lok = file("kvlogfile.lok");
  kvtest::WriteFileBytes(lok, {});
  kvtest::AgeFile(lok, 17);
  testing::internal::CaptureStderr();
  KVLOCKDB_Log_Event("", "", "START AUFTRAGDBA_Neu", 1, 0, 0);
  EXPECT_TRUE(IsAgedLockMessage(testing::internal::GetCapturedStderr()));
  ASSERT_EQ(Log().size(), 1u);
  EXPECT_FALSE(FileExists(lok));

  // Marked by this library on another host whose process is gone: nobody
  // holds its first byte, so it goes at once and quietly, however fresh.
  const std::string mark = "kvdata lock holder host=kasse2 pid=4711\n";
  kvtest::WriteFileBytes(lok, std::vector<uint8_t>(mark.begin(), mark.end()));
  EXPECT_EQ(kv::FileIO_LockFileHolderAlive(lok.c_str()), 0);
  testing::internal::CaptureStderr();
  KVLOCKDB_Log_Event("", "", "START RechnungDBA_Neu", 2, 0, 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(Log().size(), 2u);
  EXPECT_FALSE(FileExists(lok));

  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_TRUE(FileExists(other + "kvlogfile.lok"));
  EXPECT_EQ(kvtest::FileSize(other + "kvlogfile.lok"), 0);
  EXPECT_FALSE(FileExists(other + "kvlogfile.txt"));
}

}  // namespace
