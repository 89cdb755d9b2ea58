// The record-file engine on real files: byte images of creation, append,
// delete; the slot limit; nested open quirks; bad input.
#include <ctime>

#include "dba_util.h"
#include "kvdata/kvhost.h"
#include "services/fault.h"

namespace {

using kvtest::I32At;
using kvtest::MakeDba;
using kvtest::ReadFileBytes;

class DbaFileTest : public kvtest::DataDirTest {
 protected:
  static constexpr int32_t R = 24;
  static constexpr int32_t C = 3;
  void SetUp() override {
    path_ = file("TEST.DBA");
    f_ = MakeDba(path_, R, C);
  }
  int64_t ItemPos(int32_t n) const { return int64_t{n} * R + 40 + 8 * C; }
  std::string path_;
  DbaFile f_;
};

TEST_F(DbaFileTest, NewFileIsHeaderPlusZeroedTables) {
  const uint32_t before = static_cast<uint32_t>(std::time(nullptr));
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  auto b = ReadFileBytes(path_);
  ASSERT_EQ(b.size(), 40u + 8 * C);
  EXPECT_EQ(I32At(b, 0), 600);
  EXPECT_GE(static_cast<uint32_t>(I32At(b, 4)), before);
  EXPECT_LE(static_cast<uint32_t>(I32At(b, 4)), before + 5);
  EXPECT_EQ(I32At(b, 8), 0);   // free head
  EXPECT_EQ(I32At(b, 12), 0);  // used
  EXPECT_EQ(I32At(b, 16), 0);  // slots
  EXPECT_EQ(I32At(b, 20), C);
  for (size_t i = 40; i < b.size(); ++i) ASSERT_EQ(b[i], 0) << i;
  EXPECT_EQ(f_.handle, -1);
  EXPECT_EQ(f_.openCount, 0);
  // A second NeueDBA inspects instead of re-creating.
  f_.idCapacity = 99;
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  EXPECT_EQ(f_.idCapacity, C);
  EXPECT_EQ(ReadFileBytes(path_), b);
}

TEST_F(DbaFileTest, AppendWritesZeroedRecordThenItemHead) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  auto b = ReadFileBytes(path_);
  // Item 1 lies after the never-written gap of item 0.
  ASSERT_EQ(b.size(), static_cast<size_t>(ItemPos(1) + R));
  for (int64_t i = ItemPos(0); i < ItemPos(1); ++i) ASSERT_EQ(b[i], 0);
  EXPECT_EQ(I32At(b, ItemPos(1)), -1);  // left free until the caller writes
  EXPECT_EQ(I32At(b, ItemPos(1) + 4), 0);
  for (int64_t i = ItemPos(1) + 8; i < ItemPos(2); ++i) ASSERT_EQ(b[i], 0);
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.freeHead, 0);
  EXPECT_EQ(h.usedCount, 1);
  EXPECT_EQ(h.slotCount, 1);
  EXPECT_EQ(DBA_NextFreeITEM(&f_), 2);  // appends a slot without taking it
  h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.freeHead, 2);
  EXPECT_EQ(h.usedCount, 1);
  EXPECT_EQ(h.slotCount, 2);
  EXPECT_EQ(DBA_NewITEM(&f_), 2);
}

TEST_F(DbaFileTest, DeleteLinksInFrontOfTheChainAndNewItemReusesLifo) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  for (int32_t i = 1; i <= 3; ++i) {
    ASSERT_EQ(DBA_NewITEM(&f_), i);
    ASSERT_EQ(DBA_WriteDATA(&f_, i, kvtest::Record(R, 1, 100 + i).data()), 1);
  }
  DbaHeader before = kvtest::ReadHeader(path_);
  kvtest::AgeFile(path_, 0);
  DBA_DeleteITEM(&f_, 2);
  DBA_DeleteITEM(&f_, 0);  // ignored
  DBA_DeleteITEM(&f_, 1);
  auto b = ReadFileBytes(path_);
  EXPECT_EQ(I32At(b, ItemPos(2)), -1);
  EXPECT_EQ(I32At(b, ItemPos(2) + 4), 0);
  EXPECT_EQ(I32At(b, ItemPos(1)), -1);
  EXPECT_EQ(I32At(b, ItemPos(1) + 4), 2);
  EXPECT_EQ(I32At(b, ItemPos(1) + 8), 101);  // the body stays as it was
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.freeHead, 1);
  EXPECT_EQ(h.usedCount, 1);
  EXPECT_EQ(h.slotCount, 3);
  EXPECT_GE(h.lastChange, before.lastChange);
  EXPECT_EQ(DBA_UsedITEMs(&f_), 1);
  EXPECT_EQ(DBA_NewITEM(&f_), 1);
  EXPECT_EQ(DBA_NewITEM(&f_), 2);
  EXPECT_EQ(DBA_NewITEM(&f_), 4);
  EXPECT_EQ(DBA_UsedITEMs(&f_), 4);
}

TEST_F(DbaFileTest, SlotLimitIs256000) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  DbaHeader h = kvtest::ReadHeader(path_);
  h.slotCount = 255999;  // no records written: the file is only extended by the append
  ASSERT_EQ(DBA_SetHEADER(&f_, &h), 1);
  DBA_CloseDBA(&f_);
  EXPECT_EQ(DBA_NewITEM(&f_), 256000);
  EXPECT_EQ(kvtest::FileSize(path_), ItemPos(256000) + R);
  EXPECT_EQ(DBA_NewITEM(&f_), 0);
  EXPECT_EQ(DBA_NextFreeITEM(&f_), 0);
  EXPECT_EQ(kvtest::ReadHeader(path_).slotCount, 256000);
}

TEST_F(DbaFileTest, ValidItemAndReferenceCounts) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  ASSERT_EQ(DBA_NewITEM(&f_), 2);
  ASSERT_EQ(DBA_WriteDATA(&f_, 1, kvtest::Record(R, 1, 7).data()), 1);
  DBA_DeleteITEM(&f_, 2);
  EXPECT_EQ(DBA_ValidITEM(&f_, 2), 1);  // free items exist
  EXPECT_EQ(DBA_ValidITEM(&f_, 0), 0);
  EXPECT_EQ(DBA_ValidITEM(&f_, 3), 0);
  EXPECT_EQ(DBA_IncREF(&f_, 1), &f_);
  EXPECT_EQ(I32At(ReadFileBytes(path_), ItemPos(1)), 2);
  auto image = ReadFileBytes(path_);
  EXPECT_EQ(DBA_ChangeREF(&f_, 1, 1), 1);
  EXPECT_EQ(ReadFileBytes(path_), image);  // nothing written
  EXPECT_NE(DBA_ChangeREF(&f_, 1, 2), 0);
  image = ReadFileBytes(path_);
  EXPECT_EQ(I32At(image, ItemPos(1)), 1);
  EXPECT_EQ(I32At(image, ItemPos(2)), 0);  // -1 + 1: no bound, no free test
  DBA_DecREF(&f_, 2);
  DBA_DecREF(&f_, 2);
  EXPECT_EQ(I32At(ReadFileBytes(path_), ItemPos(2)), -2);
  // A slot past the end is not invented by a reference change.
  DBA_IncREF(&f_, 50);
  EXPECT_EQ(static_cast<int64_t>(ReadFileBytes(path_).size()), ItemPos(3));
}

TEST_F(DbaFileTest, ProgressDivisor) {
  EXPECT_EQ(DBA_GetAnzeigeTeiler(0), 10);
  EXPECT_EQ(DBA_GetAnzeigeTeiler(200), 10);
  EXPECT_EQ(DBA_GetAnzeigeTeiler(201), 100);
  EXPECT_EQ(DBA_GetAnzeigeTeiler(20000), 100);
  EXPECT_EQ(DBA_GetAnzeigeTeiler(200000), 1000);
  EXPECT_EQ(DBA_GetAnzeigeTeiler(200001), 10000);
}

TEST_F(DbaFileTest, FailedOpenLeavesCountOneUntilTheMatchingClose) {
  std::vector<uint8_t> buf(R);
  EXPECT_EQ(DBA_ReadDATA(&f_, 1, buf.data()), 0);
  EXPECT_EQ(f_.openCount, 1);
  EXPECT_EQ(f_.handle, -1);
  EXPECT_EQ(DBA_OpenDBA(&f_), 0);  // only counts up and keeps failing
  EXPECT_EQ(f_.openCount, 2);
  DBA_CloseDBA(&f_);
  DBA_CloseDBA(&f_);
  EXPECT_EQ(f_.openCount, 0);
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  EXPECT_EQ(DBA_OpenDBA(&f_), 1);
  EXPECT_EQ(DBA_OpenDBA(&f_), 1);
  EXPECT_EQ(f_.openCount, 2);
  int32_t h = f_.handle;
  DBA_CloseDBA(&f_);
  EXPECT_EQ(f_.handle, h);  // inner close only counts
  DBA_CloseDBA(&f_);
  EXPECT_EQ(f_.handle, -1);
}

TEST_F(DbaFileTest, BadInputFailsWithoutTouchingTheFile) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  const auto image = ReadFileBytes(path_);
  std::vector<uint8_t> buf(R);
  EXPECT_EQ(DBA_NeueDBA(nullptr), 0);
  EXPECT_EQ(DBA_InitDBA(nullptr), nullptr);
  EXPECT_EQ(DBA_NewITEM(nullptr), 0);
  DBA_DeleteITEM(nullptr, 1);
  DBA_DeleteITEM(&f_, -3);
  EXPECT_EQ(DBA_ReadDATA(&f_, 0, buf.data()), 0);
  EXPECT_EQ(DBA_ReadDATA(&f_, -1, buf.data()), 0);
  EXPECT_EQ(DBA_WriteDATA(&f_, 0, buf.data()), 0);
  EXPECT_EQ(DBA_WriteDATA(&f_, 1, nullptr), 0);
  EXPECT_EQ(DBA_OpenDBA(&f_), 1);
  EXPECT_EQ(DBA_GetDATA(&f_, 1, buf.data(), -4), 0);
  EXPECT_EQ(DBA_SetDATA(&f_, -2, buf.data(), R), 0);
  EXPECT_EQ(DBA_SetExternID_from_ID(&f_, 0, 5), 0);  // would overwrite the header
  EXPECT_EQ(DBA_SetID_from_ExternID(&f_, -1, 5), 0);
  EXPECT_EQ(DBA_GetHEADER(&f_, nullptr), 0);
  DBA_CloseDBA(&f_);
  DbaFile weird = f_;
  weird.recordSize = 0;
  EXPECT_EQ(DBA_NewITEM(&weird), 0);
  weird = f_;
  weird.idCapacity = -2;  // would move items into the header
  EXPECT_EQ(DBA_WriteDATA(&weird, 1, buf.data()), 0);
  weird = f_;
  std::memset(weird.path, 'x', sizeof weird.path);  // no terminator
  EXPECT_EQ(DBA_NeueDBA(&weird), 0);
  EXPECT_EQ(DBA_NewITEM(&weird), 0);
  EXPECT_EQ(ReadFileBytes(path_), image);
}

TEST_F(DbaFileTest, ShortOrDamagedFilesAreRefusedAndNeverRecreated) {
  kvtest::WriteFileBytes(path_, std::vector<uint8_t>(10, 0x55));
  EXPECT_EQ(DBA_NeueDBA(&f_), 0);
  EXPECT_EQ(DBA_InspectExistingDBA(&f_), 0);
  EXPECT_EQ(kvtest::FileSize(path_), 10);  // nothing lost
  EXPECT_EQ(DBA_NewITEM(&f_), 0);
  EXPECT_EQ(DBA_UsedITEMs(&f_), 0);

  // A header with impossible counts.
  ASSERT_NE(DBA_InitDBA(&f_), nullptr);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  auto b = ReadFileBytes(path_);
  kvtest::PutI32(b, 16, -5);
  kvtest::WriteFileBytes(path_, b);
  EXPECT_EQ(DBA_NeueDBA(&f_), 0);
  EXPECT_EQ(DBA_NewITEM(&f_), 0);
  kvtest::PutI32(b, 16, 1);
  kvtest::PutI32(b, 8, 1);  // free head pointing at an item that is in use
  kvtest::PutI32(b, static_cast<size_t>(ItemPos(1)), 1);
  kvtest::WriteFileBytes(path_, b);
  EXPECT_EQ(DBA_NewITEM(&f_), 0);  // never a second owner
  kvtest::PutI32(b, 8, 999999);
  kvtest::WriteFileBytes(path_, b);
  EXPECT_EQ(DBA_NewITEM(&f_), 0);
  EXPECT_EQ(ReadFileBytes(path_), b);
}

TEST_F(DbaFileTest, AFailedAppendWriteLeavesTheHeaderAlone) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  auto image = ReadFileBytes(path_);
  kv::fault::Arm(kv::fault::Kind::Write, 0);  // the zeroed record comes up short
  EXPECT_EQ(DBA_NewITEM(&f_), 0);
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.slotCount, 0);
  EXPECT_EQ(h.freeHead, 0);
  EXPECT_EQ(DBA_NewITEM(&f_), 1);  // and the next append works
  kv::fault::Arm(kv::fault::Kind::Allocate, 0);
  EXPECT_EQ(DBA_NewITEM(&f_), 0);
  EXPECT_EQ(kvtest::ReadHeader(path_).slotCount, 1);
}

TEST_F(DbaFileTest, AppendStartsPastTheLastSlotInTheFileInOneWrite) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  ASSERT_EQ(DBA_NewITEM(&f_), 2);
  DBA_DeleteITEM(&f_, 2);
  // A record written past the slot count, as an import writes it: the header
  // does not know it, the append must not zero it.
  ASSERT_EQ(DBA_WriteDATA(&f_, 4, kvtest::Record(R, 1, 44).data()), 1);
  ASSERT_EQ(DBA_NewITEM(&f_), 2);  // the chain first
  ASSERT_EQ(DBA_NewITEM(&f_), 5);
  auto b = ReadFileBytes(path_);
  ASSERT_EQ(b.size(), static_cast<size_t>(ItemPos(5) + R));
  EXPECT_EQ(I32At(b, ItemPos(4) + 8), 44);
  EXPECT_EQ(I32At(b, ItemPos(5)), -1);
  EXPECT_EQ(I32At(b, ItemPos(5) + 4), 0);
  for (int64_t i = ItemPos(5) + 8; i < ItemPos(6); ++i) ASSERT_EQ(b[i], 0) << i;
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.slotCount, 5);
  EXPECT_EQ(h.usedCount, 3);
  EXPECT_EQ(h.freeHead, 0);

  // A slot cut short at the end of the file (a write that did not finish) is
  // not a slot: the next append writes it whole, under the same number.
  std::vector<uint8_t> cut = ReadFileBytes(path_);
  cut.resize(static_cast<size_t>(ItemPos(6) + R / 2), 0x5A);
  kvtest::WriteFileBytes(path_, cut);
  ASSERT_EQ(DBA_NewITEM(&f_), 6);
  b = ReadFileBytes(path_);
  ASSERT_EQ(b.size(), static_cast<size_t>(ItemPos(6) + R));
  EXPECT_EQ(I32At(b, ItemPos(6)), -1);
  for (int64_t i = ItemPos(6) + 8; i < ItemPos(7); ++i) ASSERT_EQ(b[i], 0) << i;
}

TEST_F(DbaFileTest, HeaderOnePastTheLastSlotMeansAppendNext) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  ASSERT_EQ(DBA_NewITEM(&f_), 2);
  auto b = ReadFileBytes(path_);
  kvtest::PutI32(b, 8, 3);  // a converter's header: free head = slots + 1
  kvtest::WriteFileBytes(path_, b);
  EXPECT_EQ(DBA_NewITEM(&f_), 3);
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.freeHead, 0);
  EXPECT_EQ(h.slotCount, 3);
  EXPECT_EQ(DBA_NewITEM(&f_), 4);
}

TEST_F(DbaFileTest, NewItemWorksUnderTheCallersOwnHeaderLock) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  ASSERT_EQ(DBA_LockHEADER(&f_), 1);
  KVHOST_SetLockTimeout(0);  // any wait for the header would fail at once
  EXPECT_EQ(DBA_NewITEM(&f_), 1);      // the append, under the caller's lock
  EXPECT_EQ(DBA_NextFreeITEM(&f_), 2);
  EXPECT_EQ(DBA_NewITEM(&f_), 2);
  KVHOST_SetLockTimeout(10000);
  EXPECT_EQ(DBA_UnlockHEADER(&f_), 1);  // still the caller's lock to release
  DBA_CloseDBA(&f_);
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.usedCount, 2);
  EXPECT_EQ(h.slotCount, 2);
}

TEST_F(DbaFileTest, ItemLocksBelongToTheDescriptorsHandle) {
  ASSERT_NE(DBA_NeueDBA(&f_), 0);
  ASSERT_EQ(DBA_NewITEM(&f_), 1);
  DbaFile other = MakeDba(path_, R, C);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  ASSERT_EQ(DBA_LockDATA(&f_, 1), 1);
  ASSERT_EQ(DBA_OpenDBA(&other), 1);
  DBA_CloseDBA(&other);  // closing another handle of the file keeps the lock
  ASSERT_EQ(DBA_OpenDBA(&other), 1);
  KVHOST_SetLockTimeout(0);
  EXPECT_EQ(DBA_LockDATA(&other, 1), 0);
  EXPECT_EQ(DBA_LockBlockDATA(&other, 1, 4), 0);
  EXPECT_EQ(DBA_LockDATA(&other, 2), 1);
  // The owner of the item lock can still delete under it.
  ASSERT_EQ(DBA_WriteDATA(&f_, 1, kvtest::Record(R, 1, 5).data()), 1);
  DBA_DeleteITEM(&f_, 1);
  EXPECT_EQ(kvtest::ReadHeader(path_).freeHead, 1);
  EXPECT_EQ(DBA_UnlockDATA(&f_, 1), 1);
  EXPECT_EQ(DBA_LockDATA(&other, 1), 1);
  KVHOST_SetLockTimeout(10000);
  DBA_CloseDBA(&other);
  DBA_CloseDBA(&f_);
}

}  // namespace
