// The file layer: per-handle byte-range locks that behave as on Windows,
// across handles and across processes; path helpers; directory walks;
// rename that refuses an existing target; lock files.
#include <cstring>
#include <string>
#include <vector>

#include "kvtest.h"
#include "services/fault.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace {

using namespace kv;

class FileIOTest : public kvtest::DataDirTest {
 protected:
  std::string MakeFile(const char* name, int bytes = 100) {
    std::string p = file(name);
    kvtest::WriteFileBytes(p, std::vector<uint8_t>(bytes, 0xAB));
    return p;
  }
};

TEST_F(FileIOTest, LocksBelongToTheHandleNotTheProcess) {
  std::string p = MakeFile("a.dba");
  FileHandle a = FileIO_OpenRWS(p.c_str());
  FileHandle b = FileIO_OpenRWS(p.c_str());
  FileHandle c = FileIO_OpenRWS(p.c_str());
  ASSERT_NE(a, kInvalidHandle);
  ASSERT_NE(b, kInvalidHandle);
  ASSERT_EQ(FileIO_TryLock(a, 0, 40), 1);
  // Another handle of the same process is refused...
  EXPECT_EQ(FileIO_TryLock(b, 10, 5), 0);
  // ...and closing a third handle of the file does not drop a's lock.
  FileIO_Close(c);
  EXPECT_EQ(FileIO_TryLock(b, 0, 1), 0);
  // Disjoint ranges are independent.
  EXPECT_EQ(FileIO_TryLock(b, 40, 8), 1);
  FileIO_Close(a);  // closing releases a's locks
  EXPECT_EQ(FileIO_TryLock(b, 0, 40), 1);
  FileIO_Close(b);
}

TEST_F(FileIOTest, OverlapOnTheSameHandleIsRefusedAndUnlockMustMatchExactly) {
  std::string p = MakeFile("a.dba");
  FileHandle h = FileIO_OpenRWS(p.c_str());
  ASSERT_EQ(FileIO_Lock(h, 100, 50), 1);
  EXPECT_EQ(FileIO_Lock(h, 120, 10), 0);  // same handle, overlapping
  EXPECT_EQ(FileIO_Lock(h, 149, 1), 0);
  EXPECT_EQ(FileIO_Lock(h, 150, 1), 1);    // adjacent is fine
  EXPECT_EQ(FileIO_Unlock(h, 100, 40), 0);  // not a range that was locked
  EXPECT_EQ(FileIO_Unlock(h, 100, 50), 1);
  EXPECT_EQ(FileIO_Unlock(h, 100, 50), 0);  // already released
  EXPECT_EQ(FileIO_Lock(h, 0, 0), 0);       // empty and negative ranges
  EXPECT_EQ(FileIO_Lock(h, -1, 4), 0);
  EXPECT_EQ(FileIO_Lock(kInvalidHandle, 0, 4), 0);
  FileIO_Close(h);
}

// Holds bytes 0..39 of a file for the given milliseconds, after creating a
// marker file that says it holds them.
KVTEST_WORKER(hold_header_lock) {
  FileHandle h = FileIO_OpenRWS(args.at(0).c_str());
  if (h == kInvalidHandle || FileIO_Lock(h, 0, 40) != 1) return 2;
  FileHandle marker = FileIO_CreateRWS(args.at(1).c_str());
  FileIO_Close(marker);
  SleepMs(std::stoi(args.at(2)));
  FileIO_Close(h);
  return 0;
}

// A lock waits for the range until the time-out, then gives up; held by
// another process, it is had as soon as that process lets go.
TEST_F(FileIOTest, LockWaitsForTheRangeUntilItIsReleasedOrTheTimeOutEnds) {
  std::string p = MakeFile("a.dba");
  FileHandle a = FileIO_OpenRWS(p.c_str());
  FileHandle b = FileIO_OpenRWS(p.c_str());
  ASSERT_EQ(FileIO_Lock(a, 0, 40), 1);
  const int32_t old = FileIO_GetLockTimeout();
  FileIO_SetLockTimeout(200);
  const int64_t start = MonotonicMs();
  EXPECT_EQ(FileIO_Lock(b, 0, 40), 0);
  EXPECT_GE(MonotonicMs() - start, 150);
  FileIO_SetLockTimeout(old);
  FileIO_Close(a);
  FileIO_Close(b);

  std::string marker = file("held");
  kvtest::Worker w = kvtest::SpawnWorker("hold_header_lock", {p, marker, "600"});
  ASSERT_TRUE(kvtest::AwaitFile(marker));
  FileHandle h = FileIO_OpenRWS(p.c_str());
  EXPECT_EQ(FileIO_TryLock(h, 20, 4), 0);  // held by the worker
  FileIO_SetLockTimeout(10000);
  EXPECT_EQ(FileIO_Lock(h, 20, 4), 1);     // waits until the worker closes
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  FileIO_Close(h);
}

// A tool that asks who holds what must see the other handles' and other
// processes' ranges and leave every range as it found it.
TEST_F(FileIOTest, TestLockSeesOtherHoldersAndTakesNothing) {
  std::string p = MakeFile("t.dba");
  FileHandle a = FileIO_OpenRWS(p.c_str());
  FileHandle b = FileIO_OpenROS(p.c_str());
  ASSERT_EQ(FileIO_TryLock(a, 10, 10), 1);
  EXPECT_EQ(FileIO_TestLock(b, 15, 1), 1);
  EXPECT_EQ(FileIO_TestLock(b, 20, 5), 0);
  EXPECT_EQ(FileIO_TestLock(a, 10, 10), 0);  // a handle's own range is no other holder
  EXPECT_EQ(FileIO_TestLock(b, 15, 0), -1);
  EXPECT_EQ(FileIO_TestLock(kInvalidHandle, 0, 1), -1);
  EXPECT_EQ(FileIO_TryLock(b, 20, 5), 1);    // looking took nothing
  EXPECT_EQ(FileIO_Unlock(a, 10, 10), 1);
  EXPECT_EQ(FileIO_TestLock(b, 10, 10), 0);
  FileIO_Close(a);
  FileIO_Close(b);

  const std::string marker = file("held");
  kvtest::Worker w = kvtest::SpawnWorker("hold_header_lock", {p, marker, "1500"});
  ASSERT_TRUE(kvtest::AwaitFile(marker));
  ASSERT_TRUE(kvtest::FileExists(marker));
  FileHandle h = FileIO_OpenROS(p.c_str());
  EXPECT_EQ(FileIO_TestLock(h, 39, 1), 1);
  EXPECT_EQ(FileIO_TestLock(h, 40, 60), 0);
  FileIO_Close(h);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
}

TEST_F(FileIOTest, ReadsAndWritesReportShortTransfers) {
  std::string p = file("b.dat");
  FileHandle h = FileIO_CreateRWS(p.c_str());
  ASSERT_NE(h, kInvalidHandle);
  EXPECT_EQ(FileIO_Write(h, "0123456789", 10), 10);
  EXPECT_EQ(FileIO_SetPosFromEnd(h, 0), 10);
  EXPECT_EQ(FileIO_SetPos(h, 6), 6);
  char buf[10] = {};
  EXPECT_EQ(FileIO_Read(h, buf, 10), 4);  // only 4 bytes left
  EXPECT_EQ(std::memcmp(buf, "6789", 4), 0);
  EXPECT_EQ(FileIO_Read(h, nullptr, 4), 0);
  EXPECT_EQ(FileIO_Read(h, buf, -1), 0);
  // A position far past 4 GiB is reachable: offsets are 64-bit.
  EXPECT_EQ(FileIO_SetPos(h, int64_t{5} << 30), int64_t{5} << 30);
  fault::Arm(fault::Kind::Write, 0);
  EXPECT_EQ(FileIO_SetPos(h, 0), 0);
  EXPECT_EQ(FileIO_Write(h, "abcdefgh", 8), 4);  // injected short write
  FileIO_Close(h);
  FileIO_Close(kInvalidHandle);  // harmless
}

// Each handle keeps its own position: a read or write starts where the
// handle's last SetPos, SetPosFromEnd, read or write left it, whatever the
// other handles of the file do; a read past the end stops at the end and a
// write past it extends the file. An append handle writes at the end.
TEST_F(FileIOTest, EveryHandleKeepsItsOwnPosition) {
  const std::string p = file("pos.dat");
  FileHandle a = FileIO_CreateRWS(p.c_str());
  FileHandle b = FileIO_OpenRWS(p.c_str());
  FileHandle r = FileIO_OpenROS(p.c_str());
  ASSERT_NE(a, kInvalidHandle);
  ASSERT_NE(b, kInvalidHandle);
  ASSERT_NE(r, kInvalidHandle);
  EXPECT_EQ(FileIO_GetPos(a), 0);
  EXPECT_EQ(FileIO_Write(a, "abcdefghij", 10), 10);
  EXPECT_EQ(FileIO_GetPos(a), 10);
  EXPECT_EQ(FileIO_GetPos(b), 0);  // a's write moved only a

  char buf[16] = {};
  EXPECT_EQ(FileIO_SetPos(b, 3), 3);
  EXPECT_EQ(FileIO_SetPos(r, 7), 7);
  EXPECT_EQ(FileIO_Write(a, "KL", 2), 2);  // a goes on at 10
  EXPECT_EQ(FileIO_Read(b, buf, 2), 2);
  EXPECT_EQ(std::string(buf, 2), "de");
  EXPECT_EQ(FileIO_Read(b, buf, 2), 2);  // a read goes on where the last ended
  EXPECT_EQ(std::string(buf, 2), "fg");
  EXPECT_EQ(FileIO_GetPos(b), 7);
  EXPECT_EQ(FileIO_Read(r, buf, 16), 5);  // short at the end: hij + a's KL
  EXPECT_EQ(std::string(buf, 5), "hijKL");
  EXPECT_EQ(FileIO_GetPos(r), 12);
  EXPECT_EQ(FileIO_Read(r, buf, 1), 0);

  // b writes over bytes 7..8; r, set back, reads them; a failed SetPos
  // leaves the position as it was.
  EXPECT_EQ(FileIO_Write(b, "XY", 2), 2);
  EXPECT_EQ(FileIO_SetPos(r, -1), -1);
  EXPECT_EQ(FileIO_GetPos(r), 12);
  EXPECT_EQ(FileIO_SetPosFromEnd(r, 5), 7);
  EXPECT_EQ(FileIO_Read(r, buf, 3), 3);
  EXPECT_EQ(std::string(buf, 3), "XYj");

  // A write past the end extends the file with zeros in between.
  EXPECT_EQ(FileIO_SetPos(b, 14), 14);
  EXPECT_EQ(FileIO_Write(b, "Z", 1), 1);
  EXPECT_EQ(FileIO_Size(a), 15);
  FileIO_Close(a);
  FileIO_Close(b);
  FileIO_Close(r);

  FileHandle log = FileIO_OpenAppend(p.c_str());
  ASSERT_NE(log, kInvalidHandle);
  EXPECT_EQ(FileIO_SetPos(log, 0), 0);
  EXPECT_EQ(FileIO_Write(log, "!", 1), 1);
  EXPECT_EQ(FileIO_GetPos(log), 16);
  FileIO_Close(log);
  std::vector<uint8_t> expected = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'X', 'Y', 'j', 'K', 'L', 0, 0, 'Z', '!'};
  EXPECT_EQ(kvtest::ReadFileBytes(p), expected);
}

TEST_F(FileIOTest, OpenFailsForMissingFilesDirectoriesAndOverlongPaths) {
  EXPECT_EQ(FileIO_OpenRWS(file("missing").c_str()), kInvalidHandle);
  EXPECT_EQ(FileIO_OpenROS(dir().c_str()), kInvalidHandle);
  EXPECT_EQ(FileIO_OpenRWS(nullptr), kInvalidHandle);
  std::string longPath = dir() + std::string(300, 'x');
  EXPECT_EQ(FileIO_CreateRWS(longPath.c_str()), kInvalidHandle);
  EXPECT_EQ(FileIO_Exist(longPath.c_str()), 0);
}

TEST_F(FileIOTest, PathHelpersAndBackslashPaths) {
  ASSERT_EQ(FileIO_MakeMultiPath((dir() + "sub").c_str()), 1);
  FileHandle h = FileIO_CreateRWS((dir() + "sub\\x.dat").c_str());
  ASSERT_NE(h, kInvalidHandle);
  FileIO_Close(h);
  EXPECT_TRUE(kvtest::FileExists(dir() + "sub/x.dat"));
  char buf[kMaxPath] = "C:\\kasse\\daten\\KUNDEN.DBA";
  FileIO_PathRemoveFileName(buf);
  EXPECT_STREQ(buf, "C:\\kasse\\daten\\");
  std::strcpy(buf, "/srv/data");
  FileIO_MakePathName(buf);
  EXPECT_STREQ(buf, (std::string("/srv/data") + kPathSep).c_str());
  FileIO_MakePathName(buf);  // idempotent
  EXPECT_STREQ(buf, (std::string("/srv/data") + kPathSep).c_str());
  char d[kMaxPath], n[kMaxPath];
  FileIO_Separate("/srv/data/TEILE.DBA", d, n);
  EXPECT_STREQ(d, "/srv/data/");
  EXPECT_STREQ(n, "TEILE.DBA");
  FileIO_Separate("TEILE.DBA", d, n);
  EXPECT_STREQ(d, "");
  EXPECT_STREQ(n, "TEILE.DBA");
  FileIO_ExtractPath("D:x.dat", d);
  EXPECT_STREQ(d, "D:");
  EXPECT_TRUE(WildcardMatch("AFT*.DAT", "aft00012.dat"));
  EXPECT_TRUE(WildcardMatch("RECH*.*", "RECH00700042.REC"));
  EXPECT_TRUE(WildcardMatch("*.*", "noext"));
  EXPECT_FALSE(WildcardMatch("AFT*.DAT", "AFT00012.DATX"));
  EXPECT_TRUE(WildcardMatch("A?T*", "AFT1"));
  ASSERT_EQ(FileIO_GetModuleDirectory(d), 1);
  EXPECT_EQ(FileIO_PathExist(d), 1);
  EXPECT_TRUE(IsPathSep(d[std::strlen(d) - 1]));
}

TEST_F(FileIOTest, FindWalksMatchingFilesInNameOrder) {
  MakeFile("AFT00003.DAT");
  MakeFile("AFT00001.DAT");
  MakeFile("RECH1.REC");
  ASSERT_EQ(FileIO_MakeMultiPath((dir() + "AFTDIR.DAT").c_str()), 1);  // a directory: skipped
  FindData fd;
  FindHandle h = FileIO_FindFirstFile((dir() + "AFT*.DAT").c_str(), &fd);
  ASSERT_GE(h, 0);
  std::vector<std::string> names = {fd.name};
  while (FileIO_FindNextFile(h, &fd)) names.push_back(fd.name);
  FileIO_FindClose(h);
  EXPECT_EQ(names, (std::vector<std::string>{"AFT00001.DAT", "AFT00003.DAT"}));
  EXPECT_EQ(fd.size, 100);
  EXPECT_EQ(FileIO_FindFirstFile((dir() + "NONE*.X").c_str(), &fd), -1);
  EXPECT_EQ(FileIO_DeleteFiles((dir() + "AFT*.DAT").c_str()), 2);
  EXPECT_FALSE(kvtest::FileExists(file("AFT00001.DAT")));
  EXPECT_TRUE(kvtest::FileExists(file("RECH1.REC")));
}

TEST_F(FileIOTest, RenameRefusesAnExistingTargetAndCopyHonoursItsFlag) {
  std::string a = MakeFile("a", 10), b = MakeFile("b", 20);
  EXPECT_EQ(FileIO_RenameFile(a.c_str(), b.c_str()), 0);
  EXPECT_EQ(kvtest::FileSize(b), 20);
  EXPECT_EQ(FileIO_CopyFile(a.c_str(), b.c_str(), 1), 0);
  EXPECT_EQ(FileIO_CopyFile(a.c_str(), b.c_str(), 0), 1);
  EXPECT_EQ(kvtest::FileSize(b), 10);
  EXPECT_EQ(FileIO_DeleteFile(b.c_str()), 1);
  EXPECT_EQ(FileIO_DeleteFile(b.c_str()), 0);
  EXPECT_EQ(FileIO_RenameFile(a.c_str(), b.c_str()), 1);
  EXPECT_FALSE(kvtest::FileExists(a));
}

TEST_F(FileIOTest, ExclusiveLockFilesAndOrphans) {
  std::string lok = file("x.lok");
  FileHandle h = FileIO_CreateNewExclusive(lok.c_str(), true);
  ASSERT_NE(h, kInvalidHandle);
  EXPECT_EQ(FileIO_CreateNewExclusive(lok.c_str(), true), kInvalidHandle);
  EXPECT_EQ(FileIO_CreateNewExclusive(lok.c_str(), false), kInvalidHandle);
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), 1);
  FileIO_Close(h);  // delete-on-close
  EXPECT_FALSE(kvtest::FileExists(lok));
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), -1);
  // A plain file nobody holds is another program's: only its age can tell.
  MakeFile("x.lok", 0);
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), 2);
  // One with this library's holder mark and no holder is an orphan.
  const std::string mark = "kvdata lock holder host=kasse3 pid=99\n";
  kvtest::WriteFileBytes(lok, std::vector<uint8_t>(mark.begin(), mark.end()));
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), 0);
  kvtest::AgeFile(lok, 31);
  int64_t age = FileIO_GetFileAge(lok.c_str());
  EXPECT_GE(age, 30);
  EXPECT_LE(age, 40);
}

KVTEST_WORKER(hold_lock_file_and_die) {
  FileHandle h = FileIO_CreateNewExclusive(args.at(0).c_str(), true);
  if (h == kInvalidHandle) return 2;
  std::_Exit(0);  // dies without closing
}

TEST_F(FileIOTest, ALockFileWhoseHolderDiedIsRecognisedAsOrphan) {
  std::string lok = file("y.lok");
  kvtest::Worker w = kvtest::SpawnWorker("hold_lock_file_and_die", {lok});
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
#if defined(_WIN32)
  // Windows deletes a delete-on-close file when its holder's process ends.
  EXPECT_FALSE(kvtest::FileExists(lok));
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), -1);
#else
  EXPECT_TRUE(kvtest::FileExists(lok));
  EXPECT_EQ(FileIO_LockFileHolderAlive(lok.c_str()), 0);
#endif
}

}  // namespace
