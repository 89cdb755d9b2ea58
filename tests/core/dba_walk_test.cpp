// Walks, identifier tables, reorganisation and resizing over files with
// free items in between.
#include <algorithm>
#include <array>

#include "core/dba_file.h"
#include "dba_util.h"
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
  // The chain is used up first; taking 8..10 raises the slot count with each,
  // so that no item in use lies above it; then the append follows slot 10.
  for (int32_t expect : {1, 2, 4, 5, 6, 8, 9, 10, 11}) {
    int32_t n = DBA_NewITEM(&f_);
    ASSERT_EQ(n, expect);
    EXPECT_EQ(kvtest::ReadHeader(path_).slotCount, n < 7 ? 7 : n);
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

namespace {

// The read-only walkers read items ahead in blocks; what a callback gets,
// and when, must be what the item-by-item walk gives: the same items with
// the same bytes, writes made by earlier callbacks seen, the end of a cut
// file in the same place, and the descriptor's walk state alike.
class DbaReadAheadTest : public kvtest::DataDirTest {
 public:
  static constexpr int32_t kR = 8000, kC = 200, kItems = 150;  // several blocks

 protected:
  void SetUp() override {
    path_ = file("AHEAD.DBA");
    f_ = MakeDba(path_, kR, kC);
    ASSERT_NE(DBA_NeueDBA(&f_), 0);
    for (int32_t n = 1; n <= kItems; ++n) {
      ASSERT_EQ(DBA_NewITEM(&f_), n);
      std::vector<uint8_t> rec = kvtest::Record(kR, 1, n);
      rec[kR - 1] = static_cast<uint8_t>(n);  // the last byte counts too
      ASSERT_EQ(DBA_WriteDATA(&f_, n, rec.data()), 1);
    }
    for (int32_t n : {1, 2, 31, 32, 33, 64, 100, 149}) DBA_DeleteITEM(&f_, n);
    ASSERT_EQ(DBA_OpenDBA(&f_), 1);
    for (int32_t n = 1; n <= kItems; n += 3) DBA_SetExternID_from_ID(&f_, n, 1000 + n);
    DBA_CloseDBA(&f_);
  }
  // Item number, tag and last byte of every item the plain walk delivers.
  std::vector<std::array<int32_t, 3>> PlainWalk() {
    std::vector<std::array<int32_t, 3>> got;
    std::vector<uint8_t> buf(kR);
    EXPECT_EQ(DBA_OpenDBA(&f_), 1);
    for (int32_t n = DBA_FirstITEM(&f_, buf.data()); n; n = DBA_NextITEM(&f_, buf.data())) {
      got.push_back({n, I32At(buf, 8), buf[kR - 1]});
    }
    DBA_CloseDBA(&f_);
    return got;
  }
  std::string path_;
  DbaFile f_;
};

std::vector<std::array<int32_t, 3>> g_got;

int32_t Collect(int32_t n, void* rec) {
  const auto* b = static_cast<const uint8_t*>(rec);
  int32_t tag;
  std::memcpy(&tag, b + 8, 4);
  g_got.push_back({n, tag, b[DbaReadAheadTest::kR - 1]});
  return 0;
}

TEST_F(DbaReadAheadTest, ReadOnlyWalksDeliverWhatTheItemByItemWalkDelivers) {
  const auto plain = PlainWalk();
  ASSERT_EQ(plain.size(), static_cast<size_t>(kItems - 8));
  g_got.clear();
  DBA_MitJedemITEM(&f_, Collect);
  EXPECT_EQ(g_got, plain);

  // Identifier walk: the table entry of each item with an identifier.
  static std::vector<std::pair<int32_t, int32_t>> ids;
  ids.clear();
  DBA_MitAllenExternIDsRW(&f_, [](int32_t ext, void* rec) -> int32_t {
    int32_t tag;
    std::memcpy(&tag, static_cast<char*>(rec) + 8, 4);
    ids.emplace_back(ext, tag);
    return 1;
  });
  std::vector<std::pair<int32_t, int32_t>> expected;
  for (const auto& item : plain) {
    if ((item[0] - 1) % 3 == 0) expected.emplace_back(1000 + item[0], item[1]);
  }
  EXPECT_EQ(ids, expected);

  // A file cut inside item 120: both walks end before it.
  std::vector<uint8_t> image = kvtest::ReadFileBytes(path_);
  image.resize(static_cast<size_t>(120) * kR + 40 + 8 * kC + kR / 2);
  kvtest::WriteFileBytes(path_, image);
  const auto cut = PlainWalk();
  ASSERT_EQ(cut.back()[0], 119);
  const int32_t cursor = f_.cursor, delivered = f_.delivered;
  g_got.clear();
  DBA_MitJedemITEM(&f_, Collect);
  EXPECT_EQ(g_got, cut);
  EXPECT_EQ(f_.cursor, cursor);
  EXPECT_EQ(f_.delivered, delivered);
}

// Callbacks that change items ahead of the walk through the open
// descriptor: the walk delivers them as changed, and an item freed ahead is
// skipped, exactly as when each item is read when the walk comes to it.
TEST_F(DbaReadAheadTest, ChangesMadeByCallbacksShowWhenTheWalkGetsThere) {
  static DbaFile* f;
  f = &f_;
  g_got.clear();
  DBA_MitJedemITEM(&f_, [](int32_t n, void* rec) -> int32_t {
    Collect(n, rec);
    if (n == 3) {
      std::vector<uint8_t> changed = kvtest::Record(DbaReadAheadTest::kR, 1, 7777);
      DBA_SetDATA(f, 20, changed.data(), DbaReadAheadTest::kR);  // ahead, same block
      DBA_SetDATA(f, 90, changed.data(), DbaReadAheadTest::kR);  // ahead, later block
      DBA_DeleteITEM(f, 40);
    }
    return 0;
  });
  std::vector<int32_t> numbers;
  for (const auto& item : g_got) {
    numbers.push_back(item[0]);
    if (item[0] == 20 || item[0] == 90) {
      EXPECT_EQ(item[1], 7777);
    }
  }
  EXPECT_EQ(std::count(numbers.begin(), numbers.end(), 40), 0);
  // The walk limit was taken at the start; the file ends before it is
  // reached again.
  EXPECT_EQ(numbers.size(), static_cast<size_t>(kItems - 9));
  EXPECT_EQ(numbers.back(), 150);

  static std::vector<int32_t> ids;
  ids.clear();
  DBA_MitAllenExternIDsRW(&f_, [](int32_t ext, void*) -> int32_t {
    ids.push_back(ext);
    if (ext == 1004) DBA_SetExternID_from_ID(f, 70, 5070);  // item 70's entry, ahead
    return 0;
  });
  EXPECT_NE(std::find(ids.begin(), ids.end(), 5070), ids.end());
}

// The reorganisation reads the heads a block at a time, from the end of the
// file down; the chain and counts must come out as from reading every head:
// ascending chain of every state below 1, slot count the highest used item,
// and a last item cut short left out.
TEST_F(DbaReadAheadTest, ReorganisationOverManyBlocksCountsEveryHead) {
  std::vector<uint8_t> image = kvtest::ReadFileBytes(path_);
  const size_t base = 40 + 8 * kC;
  for (int32_t n : {5, 70, 71, 140}) kvtest::PutI32(image, base + static_cast<size_t>(n) * kR, n % 2 == 0 ? 0 : -7);
  image.resize(base + static_cast<size_t>(kItems) * kR + 4);  // item 150's head cut in half
  kvtest::WriteFileBytes(path_, image);
  std::vector<int32_t> chain;
  int32_t used = 0, highest = 0;
  for (int32_t n = 1; n < kItems; ++n) {
    if (I32At(image, base + static_cast<size_t>(n) * kR) < 1) {
      chain.push_back(n);
    } else {
      ++used;
      highest = n;
    }
  }
  ASSERT_NE(DBA_Reo(&f_), nullptr);
  const DbaHeader h = kvtest::ReadHeader(path_);
  EXPECT_EQ(h.usedCount, used);
  EXPECT_EQ(h.slotCount, highest);
  EXPECT_EQ(kvtest::FreeChain(path_, kR, kC), chain);
  EXPECT_EQ(kvtest::ReadFileBytes(path_).size(), image.size());  // nothing written past the end
}

}  // namespace
