// Numbers and sizes that would take a DBA file past the end of its format:
// every such call fails before any I/O and leaves the file byte for byte as
// it was, while numbers inside the format keep their documented results.
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "dba_util.h"
#include "kvdata/dba.h"
#include "kvtest.h"

namespace {

using kvtest::MakeDba;
using kvtest::ReadFileBytes;

constexpr int32_t kR = 16, kC = 4;

class DbaBounds : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    path = file("BOUNDS.DBA");
    f = MakeDba(path, kR, kC);
    ASSERT_NE(DBA_NeueDBA(&f), 0);
    ASSERT_EQ(DBA_NewITEM(&f), 1);
    auto r = kvtest::Record(kR, 1, 0x11);
    ASSERT_EQ(DBA_WriteDATA(&f, 1, r.data()), 1);
  }
  std::string path;
  DbaFile f;
};

TEST_F(DbaBounds, ItemNumbersPastTheLastSlotChangeNothing) {
  const auto before = ReadFileBytes(path);
  auto r = kvtest::Record(kR, 1, 0x22);
  for (int32_t n : {DBA_MAX_SLOTS + 1, INT_MAX}) {
    EXPECT_EQ(DBA_WriteDATA(&f, n, r.data()), 0) << n;
    EXPECT_EQ(DBA_ReadDATA(&f, n, r.data()), 0) << n;
    EXPECT_EQ(DBA_ValidITEM(&f, n), 0) << n;
    EXPECT_EQ(DBA_IncREF(&f, n), nullptr) << n;
    DBA_DeleteITEM(&f, n);
    ASSERT_NE(DBA_OpenDBA(&f), 0);
    EXPECT_EQ(DBA_SetDATA(&f, n, r.data(), kR), 0) << n;
    EXPECT_EQ(DBA_LockDATA(&f, n), 0) << n;
    DBA_CloseDBA(&f);
  }
  EXPECT_EQ(f.openCount, 0);
  EXPECT_EQ(ReadFileBytes(path), before);

  // A length that runs past the last slot is refused whole; the same item
  // with its own length is not.
  ASSERT_NE(DBA_OpenDBA(&f), 0);
  std::vector<uint8_t> big(static_cast<size_t>(kR) * 2, 0x33);
  EXPECT_EQ(DBA_SetDATA(&f, DBA_MAX_SLOTS, big.data(), 2 * kR), 0);
  EXPECT_EQ(DBA_SetDATA(&f, 1, big.data(), INT_MAX), 0);
  DBA_CloseDBA(&f);
  EXPECT_EQ(ReadFileBytes(path), before);
  EXPECT_EQ(DBA_WriteDATA(&f, DBA_MAX_SLOTS, r.data()), 1);
  EXPECT_EQ(kvtest::FileSize(path), 40 + 8 * kC + int64_t{DBA_MAX_SLOTS + 1} * kR);
}

TEST_F(DbaBounds, RecordSizesAboveTheWalkBufferAreRefused) {
  const auto before = ReadFileBytes(path);
  for (int32_t size : {DBA_MAX_RECORD_SIZE + 1, INT_MAX}) {
    DbaFile huge = MakeDba(path, size, kC);
    EXPECT_EQ(DBA_NewITEM(&huge), 0) << size;
    EXPECT_EQ(DBA_NextFreeITEM(&huge), 0) << size;
    std::vector<uint8_t> one(16, 0);
    ASSERT_NE(DBA_OpenDBA(&huge), 0);
    EXPECT_EQ(DBA_SetDATA(&huge, 1, one.data(), 16), 0) << size;
    DBA_CloseDBA(&huge);
    EXPECT_EQ(DBA_WriteDATA(&huge, 1, one.data()), 0) << size;
    EXPECT_EQ(DBA_Reo(&huge), &huge);  // opens and closes, rewrites nothing
    // No walker visits anything, and each leaves the descriptor closed.
    auto never = [](int32_t, void*) -> int32_t {
      ADD_FAILURE() << "a walker visited an item it cannot hold";
      return 0;
    };
    EXPECT_EQ(DBA_MitJedemITEM(&huge, never), nullptr) << size;
    EXPECT_EQ(DBA_MitAllenITEMsLoeschWeg(&huge, never), nullptr) << size;
    EXPECT_EQ(huge.openCount, 0);
  }
  EXPECT_EQ(ReadFileBytes(path), before);
  // The largest size a walker holds still works.
  DbaFile widest = MakeDba(file("WIDE.DBA"), DBA_MAX_RECORD_SIZE, 0);
  ASSERT_NE(DBA_NeueDBA(&widest), 0);
  EXPECT_EQ(DBA_NewITEM(&widest), 1);
  EXPECT_EQ(kvtest::FileSize(widest.path), 40 + 2 * DBA_MAX_RECORD_SIZE);
}

TEST_F(DbaBounds, IdentifierIndexesReachNoFurtherThanTheFormat) {
  ASSERT_NE(DBA_OpenDBA(&f), 0);
  // Past the capacity, inside the format: table A's index C + 1 is table
  // B's first entry, as the files have always behaved.
  EXPECT_EQ(DBA_SetExternID_from_ID(&f, kC + 1, 77), 1);
  EXPECT_EQ(DBA_GetID_from_ExternID(&f, 1), 77);
  DBA_CloseDBA(&f);
  const auto before = ReadFileBytes(path);
  ASSERT_NE(DBA_OpenDBA(&f), 0);
  // An index whose entry would lie past item 256000 writes nothing.
  const int32_t beyond = static_cast<int32_t>((int64_t{DBA_MAX_SLOTS + 1} * kR + 8 * kC) / 4 + 1);
  for (int32_t index : {beyond, INT_MAX, 0, -5}) {
    EXPECT_EQ(DBA_SetExternID_from_ID(&f, index, 5), 0) << index;
    EXPECT_EQ(DBA_SetID_from_ExternID(&f, index, 5), 0) << index;
    EXPECT_EQ(DBA_GetExternID_from_ID(&f, index), 0) << index;
  }
  DBA_CloseDBA(&f);
  EXPECT_EQ(ReadFileBytes(path), before);
}

}  // namespace
