// Walks, identifier tables, reorganisation and resizing over files with
// free items in between.
#include "core/dba_file.h"
#include "dba_test_util.h"
#include "kvdata/kvhost.h"

namespace {

using kvtest::I32At;
using kvtest::MakeDba;

constexpr int32_t R = 16;
constexpr int32_t C = 8;

std::vector<int32_t> g_seen;
int32_t g_answer = 0;
std::map<int32_t, int32_t> g_answers;

int32_t Record(int32_t n, void* rec) {
  g_seen.push_back(n);
  int32_t tag;
  std::memcpy(&tag, static_cast<char*>(rec) + 8, 4);
  EXPECT_TRUE(tag == n * 10 || tag == n * 10 + 1) << tag;  // the item's own record
  auto it = g_answers.find(n);
  int32_t r = it != g_answers.end() ? it->second : g_answer;
  if (r > 0) {
    tag += 1;
    std::memcpy(static_cast<char*>(rec) + 8, &tag, 4);
  }
  return r;
}

class DbaWalkTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    path_ = file("WALK.DBA");
    f_ = MakeDba(path_, R, C);
    ASSERT_NE(DBA_NeueDBA(&f_), 0);
    g_seen.clear();
    g_answers.clear();
    g_answer = 0;
  }
  // Items 1..count used (tag 10*n), then the listed ones freed.
  void Fill(int32_t count, std::vector<int32_t> freed = {}) {
    for (int32_t n = 1; n <= count; ++n) {
      ASSERT_EQ(DBA_NewITEM(&f_), n);
      ASSERT_EQ(DBA_WriteDATA(&f_, n, kvtest::Record(R, 1, 10 * n).data()), 1);
    }
    for (int32_t n : freed) DBA_DeleteITEM(&f_, n);
  }
  int32_t TagOf(int32_t n) {
    return I32At(kvtest::ReadFileBytes(path_), static_cast<size_t>(n) * R + 40 + 8 * C + 8);
  }
  std::string path_;
  DbaFile f_;
};

TEST_F(DbaWalkTest, FirstAndNextSkipFreeItems) {
  std::vector<uint8_t> buf(R);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  EXPECT_EQ(DBA_FirstITEM(&f_, buf.data()), 0);  // used count 0
  DBA_CloseDBA(&f_);
  Fill(5, {2, 4});
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  std::vector<int32_t> got;
  for (int32_t n = DBA_FirstITEM(&f_, buf.data()); n; n = DBA_NextITEM(&f_, buf.data())) got.push_back(n);
  EXPECT_EQ(got, (std::vector<int32_t>{1, 3, 5}));
  EXPECT_EQ(f_.delivered, 3);
  DBA_CloseDBA(&f_);
}

TEST_F(DbaWalkTest, AUsedCountTooLowHidesTheLastItems) {
  Fill(4);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  DbaHeader h = kvtest::ReadHeader(path_);
  h.usedCount = 2;
  DBA_SetHEADER(&f_, &h);
  DBA_CloseDBA(&f_);
  DBA_MitJedemITEM(&f_, Record);
  EXPECT_EQ(g_seen, (std::vector<int32_t>{1, 2}));
}

TEST_F(DbaWalkTest, ReadWriteWalkStopsOnNegativeAndWritesOnPositive) {
  Fill(4);
  g_answers = {{1, 1}, {2, 0}, {3, -1}};
  EXPECT_EQ(DBA_MitAllenITEMsRW(&f_, Record), &f_);
  EXPECT_EQ(g_seen, (std::vector<int32_t>{1, 2, 3}));
  EXPECT_EQ(TagOf(1), 11);
  EXPECT_EQ(TagOf(2), 20);
  EXPECT_EQ(TagOf(3), 30);  // the stopping item is not written
  EXPECT_EQ(f_.openCount, 0);
}

TEST_F(DbaWalkTest, DeletingWalkReadsZeroAndNegativeTheOtherWayRound) {
  Fill(5);
  g_answers = {{1, 1}, {2, -1}, {3, 0}};
  DBA_MitAllenITEMsLoeschWeg(&f_, Record);
  EXPECT_EQ(g_seen, (std::vector<int32_t>{1, 2, 3}));  // 0 stops
  EXPECT_EQ(TagOf(1), 11);
  EXPECT_EQ(kvtest::ReadHeader(path_).usedCount, 4);
  EXPECT_EQ(kvtest::FreeChain(path_, R, C), (std::vector<int32_t>{2}));

  g_seen.clear();
  g_answers.clear();
  g_answer = -1;  // delete everything that is left
  DBA_MitAllenITEMsLoeschWeg(&f_, Record);
  EXPECT_EQ(g_seen, (std::vector<int32_t>{1, 3, 4, 5}));  // the limit taken at the start holds
  DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.usedCount, 0);
  EXPECT_EQ(kvtest::FreeChain(path_, R, C), (std::vector<int32_t>{5, 4, 3, 1, 2}));
}

TEST_F(DbaWalkTest, ExternalIdentifierTables) {
  Fill(3);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  EXPECT_EQ(DBA_SetExternID_from_ID(&f_, 1, 700), 1);
  EXPECT_EQ(DBA_SetExternID_from_ID(&f_, 3, 900), 1);
  EXPECT_EQ(DBA_SetID_from_ExternID(&f_, 7, 1), 1);
  EXPECT_EQ(DBA_GetExternID_from_ID(&f_, 3), 900);
  EXPECT_EQ(DBA_GetID_from_ExternID(&f_, 7), 1);
  EXPECT_EQ(DBA_GetExternID_from_ID(&f_, 2), 0);
  DBA_CloseDBA(&f_);
  auto b = kvtest::ReadFileBytes(path_);
  EXPECT_EQ(I32At(b, 40 + 4 * 0), 700);       // table A, item 1
  EXPECT_EQ(I32At(b, 40 + 4 * 2), 900);       // table A, item 3
  EXPECT_EQ(I32At(b, 40 + 4 * C + 4 * 6), 1);  // table B, identifier 7

  static std::vector<int32_t> ids;
  ids.clear();
  DBA_MitAllenExternIDsRW(&f_, [](int32_t ext, void*) -> int32_t {
    ids.push_back(ext);
    return 1;  // ignored: nothing written
  });
  EXPECT_EQ(ids, (std::vector<int32_t>{700, 900}));
  EXPECT_EQ(TagOf(1), 10);
  DBA_MitAllenExternIDsREadWrite(&f_, [](int32_t ext, void* rec) -> int32_t {
    std::memcpy(static_cast<char*>(rec) + 8, &ext, 4);
    return ext == 900 ? 1 : 0;
  });
  EXPECT_EQ(TagOf(1), 10);
  EXPECT_EQ(TagOf(3), 900);
}

TEST_F(DbaWalkTest, ReoRebuildsChainAndCountsFromTheHeads) {
  Fill(10);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  for (int32_t n = 1; n <= 10; ++n) {
    int32_t state = (n == 3 || n == 7) ? 2 : (n % 2 ? 0 : -7);  // 0 and negatives are free
    DBA_SetDATA(&f_, n, &state, 4);
  }
  DbaHeader h = kvtest::ReadHeader(path_);
  h.freeHead = 4;  // a nonsense chain and counts
  h.usedCount = 9;
  DBA_SetHEADER(&f_, &h);
  DBA_CloseDBA(&f_);

  std::vector<uint8_t> buf(R);
  ASSERT_EQ(DBA_OpenDBA(&f_), 1);
  h.usedCount = 10;
  DBA_SetHEADER(&f_, &h);
  std::vector<int32_t> walked;
  for (int32_t n = DBA_FirstITEM(&f_, buf.data()); n; n = DBA_NextITEM(&f_, buf.data())) walked.push_back(n);
  EXPECT_EQ(walked.size(), 10u);  // a count of 0 or -7 is not -1: the walk delivers it
  DBA_CloseDBA(&f_);

  EXPECT_EQ(DBA_Reo(&f_), &f_);
  h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.usedCount, 2);
  EXPECT_EQ(h.slotCount, 7);
  EXPECT_EQ(h.idCapacity, C);
  EXPECT_EQ(kvtest::FreeChain(path_, R, C), (std::vector<int32_t>{1, 2, 4, 5, 6, 8, 9, 10}));
  // The chain is used up first; then the append starts after slot 7 again,
  // stepping over 8..10, which are in use now.
  for (int32_t expect : {1, 2, 4, 5, 6, 8, 9, 10, 11}) {
    int32_t n = DBA_NewITEM(&f_);
    ASSERT_EQ(n, expect);
    ASSERT_EQ(DBA_WriteDATA(&f_, n, kvtest::Record(R, 1, 0).data()), 1);
  }
}

TEST_F(DbaWalkTest, ResizeCopiesEveryItemWithItsHead) {
  Fill(4, {2});
  DbaFile bigger = MakeDba(file("BIG.DBA"), 2 * R, C);
  static int32_t calls;
  calls = 0;
  DBA_ResizeDBA(&f_, &bigger, [](int32_t n, void* rec) -> int32_t {
    ++calls;
    std::memcpy(static_cast<char*>(rec) + R, &n, 4);  // fill a new field
    return 0;
  });
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(bigger.openCount, 0);
  auto b = kvtest::ReadFileBytes(file("BIG.DBA"));
  ASSERT_EQ(b.size(), static_cast<size_t>(5 * 2 * R + 40 + 8 * C));
  for (int32_t n = 1; n <= 4; ++n) {
    size_t pos = static_cast<size_t>(n) * 2 * R + 40 + 8 * C;
    EXPECT_EQ(I32At(b, pos), n == 2 ? -1 : 1);
    EXPECT_EQ(I32At(b, pos + 8), 10 * n);
    EXPECT_EQ(I32At(b, pos + R), n);
  }
  for (size_t i = 0; i < 40 + 8 * C; ++i) ASSERT_EQ(b[i], 0);  // header is the caller's
}

TEST_F(DbaWalkTest, RecordsLargerThanTheWalkBufferAreRefused) {
  DbaFile huge = MakeDba(file("HUGE.DBA"), 8193, 0);
  ASSERT_NE(DBA_NeueDBA(&huge), 0);
  // Refused by the whole engine, not only by the walkers.
  EXPECT_EQ(DBA_NewITEM(&huge), 0);
  std::vector<uint8_t> rec(8193, 0);
  rec[0] = 1;
  EXPECT_EQ(DBA_WriteDATA(&huge, 1, rec.data()), 0);
  EXPECT_EQ(kvtest::FileSize(huge.path), 40);
  EXPECT_EQ(DBA_MitJedemITEM(&huge, Record), nullptr);
  EXPECT_EQ(DBA_MitAllenITEMsLoeschWeg(&huge, Record), nullptr);
  EXPECT_TRUE(g_seen.empty());
  EXPECT_EQ(huge.openCount, 0);
}

TEST_F(DbaWalkTest, LongWalksReportProgress) {
  Fill(250);
  static int32_t steps, last;
  steps = last = 0;
  KVHOST_SetProgressHandler(
      [](int32_t event, int32_t, int32_t value, const char*, void*) {
        if (event == KV_PROGRESS_STEP) ++steps, last = value;
      },
      nullptr);
  DBA_MitJedemITEM(&f_, Record);
  KVHOST_SetProgressHandler(nullptr, nullptr);
  EXPECT_EQ(steps, 2);  // every 100th of 250 items
  EXPECT_EQ(last, 200);
}

}  // namespace
