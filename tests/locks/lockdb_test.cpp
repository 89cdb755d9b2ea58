// Byte locks on MMLOCK.DBA and function lock files, between real processes.
#include <filesystem>
#include <sstream>
#include <string>

#include "core/lockdb.h"
#include "kvdata/kvlockdb.h"
#include "kvtest.h"
#include "locks_support.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace {

using kvtest::FileExists;
using lockstest::Touch;

// args: dir, byte, ready file, release file. Holds the byte until told to
// go, then exits without unlocking: the end of the process frees it.
KVTEST_WORKER(hold_byte) {
  lockstest::InitStation(args[0], "10.0.0.2", "bernd");
  if (KVLOCKDB_LockDB(std::stoi(args[1])) != 1) return 2;
  Touch(args[2]);
  return kvtest::AwaitFile(args[3], 60000) ? 0 : 3;
}

// args: dir, journal, rounds, id. Enters the function lock again and again
// and records each entry and exit in the shared journal.
KVTEST_WORKER(compete_function) {
  lockstest::InitStation(args[0], "10.0.0.3", ("worker" + args[3]).c_str());
  auto record = [&](const char* what) {
    std::string line = std::string(what) + " " + args[3] + "\n";
    kv::FileHandle h = kv::FileIO_OpenAppend(args[1].c_str());
    kv::FileIO_Write(h, line.data(), static_cast<int32_t>(line.size()));
    kv::FileIO_Close(h);
  };
  for (int i = 0; i < std::stoi(args[2]); ++i) {
    if (KVLOCKDB_Blocking_Start("DATABASE_EinzelteilVerkaufen", 30000) != 1) return 2;
    record("enter");
    kv::SleepMs(1);
    record("leave");
    KVLOCKDB_Blocking_Stop("DATABASE_EinzelteilVerkaufen");
  }
  return 0;
}

// args: dir, go file. Tries once to take over the function lock; exit code 1
// when it holds it afterwards, 0 when not.
KVTEST_WORKER(take_over_once) {
  lockstest::InitStation(args[0], "10.0.0.4", "clara");
  // Spin rather than sleep so that all competitors start within a moment.
  int64_t until = kv::MonotonicMs() + 30000;
  while (!FileExists(args[1])) {
    if (kv::MonotonicMs() > until) return 9;
  }
  return KVLOCKDB_Blocking_Start("BEZLIB_Reorg", 0);
}

class LockDbTest : public lockstest::StationTest {
 protected:
  void SetUp() override { lockstest::InitStation(dir(), "10.0.0.1", "anna"); }
  std::string FunctionLock(const char* name) { return file("func_locks/") + name + ".lok"; }
  int64_t Age(const std::string& path) { return kv::FileIO_GetFileAge(path.c_str()); }
  // Open count and whether the database handle is open.
  void ExpectOpen(int32_t count) {
    EXPECT_EQ(kv::lockdb::OpenCount(), count);
    EXPECT_EQ(kv::lockdb::LockDbHandle() != kv::kInvalidHandle, count > 0);
  }
};

TEST_F(LockDbTest, InitCreatesTheLockDatabaseOnceAndLeavesAnExistingOneAlone) {
  std::vector<uint8_t> image(14, '0');
  image.back() = 0;
  EXPECT_EQ(kvtest::ReadFileBytes(file("MMLOCK.DBA")), image);
  kvtest::WriteFileBytes(file("MMLOCK.DBA"), {'x', 'y'});
  EXPECT_EQ(std::string(KVLOCKDB_Init(file("KUNDEN.DBA").c_str())), dir());
  EXPECT_EQ(kvtest::ReadFileBytes(file("MMLOCK.DBA")), (std::vector<uint8_t>{'x', 'y'}));
  EXPECT_EQ(KVLOCKDB_ErzeugeLockDB(), 1);
  EXPECT_EQ(kvtest::ReadFileBytes(file("MMLOCK.DBA")), image);
  EXPECT_EQ(KVLOCKDB_Init(nullptr), nullptr);
}

TEST_F(LockDbTest, ByteHeldByAnotherProcessIsRefusedAndTheNestingStaysBalanced) {
  kvtest::Worker w = kvtest::SpawnWorker("hold_byte", {dir(), "12", file("ready"), file("release")});
  ASSERT_TRUE(kvtest::AwaitFile(file("ready")));

  ASSERT_EQ(KVLOCKDB_LockDB(5), 1);
  EXPECT_EQ(KVLOCKDB_LockDB(12), 0);
  ExpectOpen(1);
  // Two held bytes need two unlocks before the database closes.
  ASSERT_EQ(KVLOCKDB_LockDB(6), 1);
  EXPECT_EQ(KVLOCKDB_LockDB(6), 0);  // already held through this very handle
  ExpectOpen(2);
  EXPECT_EQ(KVLOCKDB_UnlockDB(5), 1);
  ExpectOpen(1);
  EXPECT_EQ(KVLOCKDB_UnlockDB(6), 1);
  ExpectOpen(0);

  // The holder ends without unlocking; its byte is free afterwards.
  Touch(file("release"));
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(KVLOCKDB_LockDB(12), 1);
  EXPECT_EQ(KVLOCKDB_UnlockDB(12), 1);
  EXPECT_EQ(KVLOCKDB_LockDB(-1), 0);
}

TEST_F(LockDbTest, FailedOpenRaisesTheCountThatOnlyAValidHandleLowers) {
  ASSERT_TRUE(kv::FileIO_DeleteFile(file("MMLOCK.DBA").c_str()));
  EXPECT_EQ(KVLOCKDB_OeffneLockDB(), -1);
  EXPECT_EQ(KVLOCKDB_LockDB(3), 0);
  KVLOCKDB_SchliesseLockDB();
  EXPECT_EQ(kv::lockdb::OpenCount(), 2);

  ASSERT_EQ(KVLOCKDB_ErzeugeLockDB(), 1);
  ASSERT_EQ(KVLOCKDB_LockDB(3), 1);  // count 3: the failed opens still weigh
  EXPECT_EQ(KVLOCKDB_UnlockDB(3), 1);
  ExpectOpen(2);
  KVLOCKDB_SchliesseLockDB();
  KVLOCKDB_SchliesseLockDB();
  ExpectOpen(0);
}

TEST_F(LockDbTest, FunctionLockIsHeldByOneProcessAtATime) {
  const int kWorkers = 4, kRounds = 25;
  std::string journal = file("journal.txt");
  std::vector<std::vector<std::string>> args;
  for (int i = 0; i < kWorkers; ++i) args.push_back({dir(), journal, std::to_string(kRounds), std::to_string(i)});
  for (int rc : kvtest::RunWorkers("compete_function", args)) EXPECT_EQ(rc, 0);

  std::vector<std::string> lines = lockstest::ReadLines(journal);
  ASSERT_EQ(lines.size(), static_cast<size_t>(2 * kWorkers * kRounds));
  for (size_t i = 0; i < lines.size(); i += 2) {
    std::string who = lines[i].substr(lines[i].find(' '));
    ASSERT_EQ(lines[i], "enter" + who) << "line " << i;
    ASSERT_EQ(lines[i + 1], "leave" + who) << "two holders at line " << i;
  }
  EXPECT_FALSE(FileExists(FunctionLock("DATABASE_EinzelteilVerkaufen")));
}

// Between a station's failed creation and its look at the lock file, the
// holder may let go and a third station take the lock anew. The look then
// found no file, and that must not turn into deleting the newcomer's lock:
// two holders of one function would sell one item twice.
std::string g_newcomersLock;
kv::lockdb::Staleness LookThenAnotherStationTakesTheLock(const char* path) {
  kv::lockdb::Staleness verdict = kv::lockdb::FunctionLockStaleness(path);
  Touch(g_newcomersLock);
  return verdict;
}

TEST_F(LockDbTest, ALockLetGoOfWhileLookedAtIsNotDeletedUnderItsNextHolder) {
  namespace lk = kv::lockdb;
  g_newcomersLock = FunctionLock("DATABASE_EinzelteilVerkaufen");
  const char* lok = g_newcomersLock.c_str();
  ASSERT_TRUE(kv::FileIO_PathCreate(file("func_locks").c_str()));
  EXPECT_EQ(lk::RemoveStaleLockFile(lok, LookThenAnotherStationTakesTheLock), lk::Staleness::kGone);
  EXPECT_TRUE(FileExists(lok));
  EXPECT_EQ(KVLOCKDB_Blocking_Start("DATABASE_EinzelteilVerkaufen", 0), 0);

  // Past the orphan age the same file is taken over at once.
  kvtest::AgeFile(lok, 40);
  EXPECT_EQ(lk::RemoveStaleLockFile(lok, lk::FunctionLockStaleness), lk::Staleness::kOrphaned);
  EXPECT_FALSE(FileExists(lok));
#if !defined(_WIN32)
  // A name that is never free to create yet never leads to a file (a link
  // to nowhere) is waited for until the time-out, not retried for ever.
  std::filesystem::create_symlink(file("nowhere"), lok);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("DATABASE_EinzelteilVerkaufen", 300), 0);
  EXPECT_FALSE(FileExists(file("nowhere")));
#endif
}

TEST_F(LockDbTest, AgedLockFileIsTakenOverUnlessAnotherStationClearsOrphans) {
  std::string lok = FunctionLock("ARTLIB_Reorg");
  ASSERT_EQ(KVLOCKDB_Blocking_Start("ARTLIB_Reorg", 0), 1);
  ASSERT_TRUE(FileExists(lok));
  EXPECT_EQ(KVLOCKDB_Blocking_Start("ARTLIB_Reorg", 0), 0);  // even for its own process

  // Up to 30 seconds old the lock is waited on and left as it was. The age
  // is set from the fine clock and read against time(), the coarse one,
  // which may still show the second before: one second less is the same
  // file; a lock made afresh would be 0 seconds old.
  for (int age : {20, 30}) {
    kvtest::AgeFile(lok, age);
    EXPECT_EQ(KVLOCKDB_Blocking_Start("ARTLIB_Reorg", age == 20 ? 300 : 0), 0);
    EXPECT_GE(Age(lok), age - 1);
  }
  // Older, it is not taken while another station holds the orphan guard.
  kvtest::AgeFile(lok, 60);
  kv::FileHandle other = kv::FileIO_OpenRWS(file("MMLOCK.DBA").c_str());
  ASSERT_EQ(kv::FileIO_TryLock(other, kv::lockdb::kOrphanGuardByte, 1), 1);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("ARTLIB_Reorg", 0), 0);
  EXPECT_GE(Age(lok), 59);
  kv::FileIO_Close(other);
  kvtest::AgeFile(lok, 32);  // past 30 by either clock
  EXPECT_EQ(KVLOCKDB_Blocking_Start("ARTLIB_Reorg", 0), 1);
  EXPECT_LT(Age(lok), 5);  // a fresh lock of ours

  KVLOCKDB_Blocking_Stop("ARTLIB_Reorg");
  EXPECT_FALSE(FileExists(lok));
  EXPECT_EQ(KVLOCKDB_Blocking_Start("ARTLIB_Reorg", 0), 1);
  EXPECT_EQ(KVLOCKDB_Blocking_Start(nullptr, 0), 0);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("", 0), 0);

  // Blocking switched off grants everything, creates no lock and logs nothing.
  KVLOCKDB_IPUSERInit("10.0.0.1", "anna", 0);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("BEZLIB_Reorg", 0), 1);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("BEZLIB_Reorg", 0), 1);
  EXPECT_FALSE(FileExists(FunctionLock("BEZLIB_Reorg")));
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "START ARTLIB_Reorg", 1, 2, 3);
  EXPECT_FALSE(FileExists(file("kvlogfile.txt")));
}

TEST_F(LockDbTest, OnlyOneOfSeveralProcessesTakesOverTheSameOrphan) {
  for (int round = 0; round < 5; ++round) {
    std::string go = file("go" + std::to_string(round));
    ASSERT_EQ(KVLOCKDB_Blocking_Start("BEZLIB_Reorg", 0), 1);
    kvtest::AgeFile(FunctionLock("BEZLIB_Reorg"), 45);
    std::vector<kvtest::Worker> workers;
    for (int i = 0; i < 4; ++i) workers.push_back(kvtest::SpawnWorker("take_over_once", {dir(), go}));
    kv::SleepMs(100);  // let them all start and wait for the signal
    Touch(go);
    int winners = 0;
    for (auto& w : workers) {
      int rc = kvtest::WaitWorker(w);
      ASSERT_TRUE(rc == 0 || rc == 1) << rc;
      winners += rc;
    }
    EXPECT_EQ(winners, 1) << "round " << round;
    KVLOCKDB_Blocking_Stop("BEZLIB_Reorg");
  }
}

// Every entry below the data directory, with its size, to see that nothing
// was created or deleted anywhere.
std::string Tree(const std::string& dir) {
  std::ostringstream out;
  for (const auto& e : std::filesystem::recursive_directory_iterator(dir)) {
    out << e.path().string() << " " << (e.is_regular_file() ? e.file_size() : 0) << "\n";
  }
  return out.str();
}

TEST_F(LockDbTest, NamesReachingOutsideFuncLocksAreRefusedAndTouchNothing) {
  ASSERT_TRUE(kv::FileIO_MakeMultiPath(file("outside").c_str()));
  ASSERT_TRUE(kv::FileIO_MakeMultiPath(file("func_locks").c_str()));
  kvtest::WriteFileBytes(file("victim.lok"), {'v'});
  kvtest::WriteFileBytes(file("outside/esc.lok"), {'e'});
  kvtest::WriteFileBytes(file("kvlogfile.lok"), {});
  const std::string before = Tree(dir());
  const char* refused[] = {"../victim", "..\\victim", "../outside/esc", "..",       "a..b",
                           "sub/x",     "sub\\x",     "C:victim",       "a<b",     "a>b",
                           "a\"b",      "a|b",          "a?b",            "a*",      "tab\tname",
                           "../kvlogfile", "NUL",       "con.txt",        "Com1"};
  for (const char* name : refused) {
    SCOPED_TRACE(name);
    EXPECT_EQ(KVLOCKDB_Blocking_Start(name, 0), 0);
    KVLOCKDB_Blocking_Stop(name);
  }
  EXPECT_EQ(Tree(dir()), before);

  // Ordinary names, dots included, still work.
  EXPECT_EQ(KVLOCKDB_Blocking_Start("LCK_BEZLIB.v2", 0), 1);
  EXPECT_TRUE(FileExists(FunctionLock("LCK_BEZLIB.v2")));
  KVLOCKDB_Blocking_Stop("LCK_BEZLIB.v2");

  // With blocking off nothing is checked, granted or created.
  KVLOCKDB_IPUSERInit("10.0.0.1", "anna", 0);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("../outside/esc", 0), 1);
  KVLOCKDB_Blocking_Stop("../victim");
  EXPECT_EQ(Tree(dir()), before);
}

// A station whose clock runs ahead stamps its lock file in the future. That
// file is fresh, however far ahead; it is orphaned only once this station
// has seen it unchanged for the orphan age on its own clock.
TEST_F(LockDbTest, LockStampedInTheFutureIsFreshUntilSeenUnchangedForTheOrphanAge) {
  const std::string lok = FunctionLock("DATABASE_Reorg");
  ASSERT_EQ(KVLOCKDB_Blocking_Start("DATABASE_Reorg", 0), 1);
  kvtest::AgeFile(lok, -2);
  EXPECT_EQ(KVLOCKDB_Blocking_Start("DATABASE_Reorg", 0), 0);
  kvtest::AgeFile(lok, -3600);
  const int64_t stamp = kv::FileIO_GetLastWriteTime(lok.c_str());
  EXPECT_EQ(KVLOCKDB_Blocking_Start("DATABASE_Reorg", 500), 0);
  EXPECT_EQ(kv::FileIO_GetLastWriteTime(lok.c_str()), stamp);

  EXPECT_EQ(KVLOCKDB_Blocking_Start("DATABASE_Reorg", 3000), 0);

  // Waiting long enough, it is taken over once unchanged for 31 seconds.
  EXPECT_EQ(KVLOCKDB_Blocking_Start("DATABASE_Reorg", 60000), 1);
  EXPECT_LT(Age(lok), 5);
  EXPECT_GE(Age(lok), 0);
}

}  // namespace
