// What the shared data directory demands of the file layer on every system:
// files stay usable by other handles while one program renames, deletes or
// copies them; appends from several handles never overwrite each other;
// locks far beyond 4 GiB; lock files that exclude other processes for as
// long as their holder lives; and wildcard walks that match the long names
// only (Windows would also match "X.DATX" against "*.DAT" through its short
// 8.3 alias).
#include <cstring>
#include <string>

#if !defined(_WIN32)
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "kvtest.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace {

using namespace kv;

class FileSharingTest : public kvtest::DataDirTest {
 protected:
  std::string MakeFile(const char* name, const std::string& bytes) {
    std::string p = file(name);
    kvtest::WriteFileBytes(p, std::vector<uint8_t>(bytes.begin(), bytes.end()));
    return p;
  }
  static std::string Text(const std::string& path) {
    auto b = kvtest::ReadFileBytes(path);
    return std::string(b.begin(), b.end());
  }
};

TEST_F(FileSharingTest, OpenFilesCanBeCopiedRenamedAndDeleted) {
  std::string a = MakeFile("ARTIKEL.DBA", "0123456789");
  FileHandle h = FileIO_OpenRWS(a.c_str());
  ASSERT_NE(h, kInvalidHandle);
  // Another program copies the file it holds open for writing...
  EXPECT_EQ(FileIO_CopyFile(a.c_str(), file("COPY.DBA").c_str(), 1), 1);
  EXPECT_EQ(Text(file("COPY.DBA")), "0123456789");
  EXPECT_EQ(FileIO_CopyFile(a.c_str(), file("COPY.DBA").c_str(), 1), 0);
  // ...renames it away, as an upgrade does; the open handle follows the file.
  EXPECT_EQ(FileIO_RenameFile(a.c_str(), file("ARTIKEL.OLD").c_str()), 1);
  EXPECT_EQ(FileIO_SetPos(h, 10), 10);
  EXPECT_EQ(FileIO_Write(h, "AB", 2), 2);
  // ...and deletes the renamed file while the handle is still open.
  EXPECT_EQ(FileIO_DeleteFile(file("ARTIKEL.OLD").c_str()), 1);
  FileIO_Close(h);
  EXPECT_FALSE(kvtest::FileExists(file("ARTIKEL.OLD")));
  // The copy may take the old name now.
  EXPECT_EQ(FileIO_RenameFile(file("COPY.DBA").c_str(), a.c_str()), 1);
  EXPECT_EQ(Text(a), "0123456789");
  EXPECT_EQ(FileIO_CopyFile(file("missing").c_str(), file("x").c_str(), 0), 0);
}

TEST_F(FileSharingTest, AppendsFromSeveralHandlesNeverOverwriteEachOther) {
  std::string log = file("kvlogfile.txt");
  FileHandle a = FileIO_OpenAppend(log.c_str());
  FileHandle b = FileIO_OpenAppend(log.c_str());
  ASSERT_NE(a, kInvalidHandle);
  ASSERT_NE(b, kInvalidHandle);
  EXPECT_EQ(FileIO_Write(a, "one\n", 4), 4);
  EXPECT_EQ(FileIO_Write(b, "two\n", 4), 4);
  EXPECT_EQ(FileIO_Write(a, "three\n", 6), 6);
  FileIO_Close(a);
  FileIO_Close(b);
  FileHandle c = FileIO_OpenAppend(log.c_str());  // reopening keeps the content
  EXPECT_EQ(FileIO_Write(c, "four\n", 5), 5);
  FileIO_Close(c);
  EXPECT_EQ(Text(log), "one\ntwo\nthree\nfour\n");
}

TEST_F(FileSharingTest, LocksBeyondFourGigabytesKeepTheirHighBits) {
  std::string p = MakeFile("big.dba", "x");
  FileHandle a = FileIO_OpenRWS(p.c_str());
  FileHandle b = FileIO_OpenRWS(p.c_str());
  const int64_t g4 = int64_t{1} << 32;
  ASSERT_EQ(FileIO_TryLock(a, g4 + 100, 10), 1);
  EXPECT_EQ(FileIO_TryLock(b, 100, 10), 1);          // the same low 32 bits
  EXPECT_EQ(FileIO_TryLock(b, g4 + 105, 1), 0);      // really held up there
  EXPECT_EQ(FileIO_TryLock(b, 3 * g4 + 100, 10), 1);
  EXPECT_EQ(FileIO_TryLock(a, g4 - 5, g4), 0);       // a length above 4 GiB reaches it
  EXPECT_EQ(FileIO_Unlock(a, g4 + 100, 10), 1);
  EXPECT_EQ(FileIO_TryLock(b, g4 + 105, 1), 1);
  FileIO_Close(a);
  FileIO_Close(b);
}

#if defined(_WIN32)
// On Windows the locks are mandatory; elsewhere only the library honours them.
TEST_F(FileSharingTest, OnWindowsALockedRangeIsClosedToEveryOtherHandle) {
  std::string p = MakeFile("TEILE.DBA", std::string(100, 'x'));
  FileHandle a = FileIO_OpenRWS(p.c_str());
  FileHandle b = FileIO_OpenRWS(p.c_str());
  ASSERT_EQ(FileIO_Lock(a, 40, 20), 1);
  char buf[20];
  FileIO_SetPos(b, 50);
  EXPECT_EQ(FileIO_Read(b, buf, 4), 0);
  FileIO_SetPos(b, 30);
  EXPECT_EQ(FileIO_Write(b, "0123456789ab", 12), 0);  // reaches into the range
  FileIO_SetPos(b, 0);
  EXPECT_EQ(FileIO_Read(b, buf, 20), 20);              // before it
  FileIO_SetPos(a, 40);
  EXPECT_EQ(FileIO_Write(a, "held", 4), 4);            // the holder may
  FileIO_Unlock(a, 40, 20);
  FileIO_SetPos(b, 40);
  EXPECT_EQ(FileIO_Read(b, buf, 4), 4);
  EXPECT_EQ(std::memcmp(buf, "held", 4), 0);
  FileIO_Close(a);
  FileIO_Close(b);
}
#endif

// Holds a delete-on-close lock file until the stop file appears.
KVTEST_WORKER(hold_lock_file) {
  FileHandle h = FileIO_CreateNewExclusive(args.at(0).c_str(), true);
  if (h == kInvalidHandle) return 2;
  FileHandle ready = FileIO_CreateRWS(args.at(1).c_str());
  FileIO_Close(ready);
  for (int i = 0; i < 3000 && !FileIO_Exist(args.at(2).c_str()); ++i) SleepMs(10);
  FileIO_Close(h);
  return 0;
}

TEST_F(FileSharingTest, ALockFileExcludesOtherProcessesWhileItsHolderLives) {
  std::string lok = file("func.lok"), ready = file("ready"), stop = file("stop");
  kvtest::Worker w = kvtest::SpawnWorker("hold_lock_file", {lok, ready, stop});
  ASSERT_TRUE(kvtest::AwaitFile(ready));
  ASSERT_TRUE(kvtest::FileExists(ready));
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), 1);
  EXPECT_EQ(FileIO_CreateNewExclusive(lok.c_str(), true), kInvalidHandle);
  EXPECT_EQ(FileIO_CreateNewExclusive(lok.c_str(), false), kInvalidHandle);
  FileIO_Close(FileIO_CreateRWS(stop.c_str()));
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), -1);  // closed: gone
  FileHandle mine = FileIO_CreateNewExclusive(lok.c_str(), true);
  EXPECT_NE(mine, kInvalidHandle);
  FileIO_Close(mine);
}

// Another station's turn on a data file this process has just closed: it
// must be able to lock what the closed handle had locked, and the file it
// puts under the name by a rename is the one this process opens next.
KVTEST_WORKER(replace_closed_file) {
  const std::string& name = args.at(0);
  FileHandle h = FileIO_OpenRWS(name.c_str());
  if (h == kInvalidHandle) return 2;
  const int32_t locked = FileIO_TryLock(h, 0, 4);
  FileIO_Close(h);
  if (locked != 1) return 3;
  const std::string fresh = name + ".NEW";
  FileHandle n = FileIO_CreateRWS(fresh.c_str());
  if (n == kInvalidHandle || FileIO_Write(n, "new!", 4) != 4) return 4;
  FileIO_Close(n);
  if (FileIO_DeleteFile(name.c_str()) != 1 || FileIO_RenameFile(fresh.c_str(), name.c_str()) != 1) return 5;
  return 0;
}

TEST_F(FileSharingTest, AReopenFindsTheFileTheNameHoldsNowAndNoLockOfTheClosedHandle) {
  std::string p = MakeFile("KUNDEN.DBA", "old.");
  for (int round = 0; round < 2; ++round) {
    FileHandle h = FileIO_OpenRWS(p.c_str());
    ASSERT_NE(h, kInvalidHandle);
    char buf[4] = {};
    ASSERT_EQ(FileIO_Read(h, buf, 4), 4);
    ASSERT_EQ(FileIO_TryLock(h, 0, 4), 1);
    FileIO_Close(h);  // the lock goes with the handle
    kvtest::Worker w = kvtest::SpawnWorker("replace_closed_file", {p});
    ASSERT_EQ(kvtest::WaitWorker(w), 0) << "round " << round;
    h = FileIO_OpenRWS(p.c_str());
    ASSERT_NE(h, kInvalidHandle);
    ASSERT_EQ(FileIO_Read(h, buf, 4), 4);
    EXPECT_EQ(std::string(buf, 4), "new!") << "round " << round;
    ASSERT_EQ(FileIO_SetPos(h, 0), 0);
    EXPECT_EQ(FileIO_Write(h, "mine", 4), 4);
    FileIO_Close(h);
    EXPECT_EQ(Text(p), "mine");
  }
}

#if !defined(_WIN32)
// A program that forks without exec: parent and child are two holders of
// locks, even on a file the parent had opened and closed before the fork.
TEST_F(FileSharingTest, AForkedChildLocksAgainstItsParent) {
  std::string p = MakeFile("ARTIKEL.DBA", "0123456789");
  FileIO_Close(FileIO_OpenRWS(p.c_str()));
  const std::string held = file("child-holds");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    FileHandle h = FileIO_OpenRWS(p.c_str());
    const bool ok = h != kInvalidHandle && FileIO_TryLock(h, 2, 3) == 1;
    if (ok) FileIO_Close(FileIO_CreateRWS(held.c_str()));
    for (int i = 0; i < 500 && ok && FileIO_Exist(p.c_str()); ++i) SleepMs(10);
    _exit(ok ? 0 : 1);
  }
  const bool childHolds = kvtest::AwaitFile(held);
  FileHandle h = FileIO_OpenRWS(p.c_str());
  ASSERT_NE(h, kInvalidHandle);
  const int32_t mine = FileIO_TryLock(h, 3, 1);
  FileIO_Close(h);
  ASSERT_EQ(FileIO_DeleteFile(p.c_str()), 1);  // lets the child go
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(childHolds);
  EXPECT_EQ(mine, 0) << "the parent took a range its child holds";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
#endif

TEST_F(FileSharingTest, WildcardsMatchTheLongNamesOnly) {
  MakeFile("KUNDEN.DBA", "1");
  MakeFile("KUNDEN.DBAX", "2");
  MakeFile("kundsuch.dba", "3");
  MakeFile("LongFileName0001.DBA", "4");
  std::vector<std::string> names;
  FindData fd;
  FindHandle h = FileIO_FindFirstFile((dir() + "*.DBA").c_str(), &fd);
  ASSERT_GE(h, 0);
  do {
    names.push_back(fd.name);
  } while (FileIO_FindNextFile(h, &fd));
  FileIO_FindClose(h);
  EXPECT_EQ(names, (std::vector<std::string>{"KUNDEN.DBA", "LongFileName0001.DBA", "kundsuch.dba"}));
  EXPECT_EQ(FileIO_FindFirstFile((dir() + "LONGFI~1.DBA").c_str(), &fd), -1);
  EXPECT_EQ(FileIO_FindNextFile(h, &fd), 0);  // closed
}

}  // namespace
