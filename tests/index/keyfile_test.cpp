// Key files on disk: the byte image of a new file, the free chain as it is
// created, cut and rebuilt, keys that differ only in late or high bytes,
// reorganisation, the walk, slot locks, bad input, the ID mapping files, the
// check finding damage, and two processes adding keys to one file.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "article/idmap.h"
#include "index/keyfile.h"
#include "index/keyfile_check.h"
#include "index/keyfile_internal.h"
#include "kvdata/artlib.h"
#include "kvdata/avl.h"
#include "kvdata/bbaumlib.h"
#include "kvtest.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace {

using kvtest::I32At;

constexpr int32_t kStride = 44 + 14;

BaumKey Key(const std::string& bytes, int32_t payload = 0) {
  BaumKey k{};
  std::memcpy(k.key, bytes.data(), std::min<size_t>(bytes.size(), sizeof k.key));
  k.payload = payload;
  return k;
}

constexpr int32_t kProcessSlots = 1000;

// The generation counter the rotating worker publishes, in the lock file
// behind the lock byte.
int32_t ReadGeneration(kv::FileHandle lock) {
  int32_t g = -1;
  if (kv::FileIO_SetPos(lock, 4) != 4 || kv::FileIO_Read(lock, &g, 4) != 4) return -1;
  return g;
}

std::string Generation(const char* what, int32_t g) { return std::string(what) + "-" + std::to_string(g); }

// args: key file, lock file, steps. Under the lock, step g removes the key
// gen-(g-1), rebuilds the free chain, adds gen-g and fill-g with payload g
// and publishes g; the tree restructures as it goes. Another process
// looking up keys under the same lock must see exactly generation g.
KVTEST_WORKER(rotate_keys) {
  BaumKeyDatei* d = BBAUMLIB_Init(args.at(0).c_str(), 44, kProcessSlots);
  kv::FileHandle lock = kv::FileIO_OpenRWS(args.at(1).c_str());
  const int32_t steps = std::stoi(args.at(2));
  if (d == nullptr || lock == kv::kInvalidHandle) return 2;
  const int64_t deadline = kv::MonotonicMs() + 60000;
  for (int32_t g = 1; g <= steps;) {
    if (kv::MonotonicMs() > deadline) return 8;
    if (!kv::FileIO_Lock(lock, 0, 1)) return 3;
    // Each generation waits until the other process has looked at it.
    int32_t seen = -1;
    if (kv::FileIO_SetPos(lock, 8) != 8 || kv::FileIO_Read(lock, &seen, 4) != 4) return 9;
    if (seen != g - 1) {
      kv::FileIO_Unlock(lock, 0, 1);
      continue;
    }
    BaumKey old = Key(Generation("gen", g - 1));
    const int32_t oldSlot = BBAUMLIB_BAUMKEYVorhanden(d, &old);
    if (g > 1 && (oldSlot <= 0 || BBAUMLIB_BAUMKEYLoeschen(d, oldSlot) != 1)) return 4;
    if (BBAUMLIB_ErzeugeFreelist(d, nullptr) != 1) return 5;
    for (const char* what : {"gen", "fill"}) {
      BaumKey k = Key(Generation(what, g));
      const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
      k.payload = g;
      if (slot <= 0 || BBAUMLIB_SchreibeBAUMKEY(d, slot, &k) != 1) return 6;
    }
    if (kv::FileIO_SetPos(lock, 4) != 4 || kv::FileIO_Write(lock, &g, 4) != 4) return 7;
    kv::FileIO_Unlock(lock, 0, 1);
    ++g;
  }
  kv::FileIO_Close(lock);
  BBAUMLIB_Exit(d);
  return 0;
}

class KeyFileTest : public kvtest::DataDirTest {
 protected:
  void TearDown() override {
    BBAUMLIB_Exit(d_);
    kvtest::DataDirTest::TearDown();
  }
  BaumKeyDatei* Make(int32_t slots, bool fullChain, const char* name = "MAPTEST.DBA") {
    BBAUMLIB_Exit(d_);
    path_ = file(name);
    d_ = BBAUMLIB_Init(path_.c_str(), 44, slots);
    if (d_ != nullptr && fullChain) {
      EXPECT_EQ(BBAUMLIB_ErzeugeFreelist(d_, nullptr), 1);
    }
    return d_;
  }
  // Adds the key and writes its payload, as callers do.
  int32_t Add(const std::string& key, int32_t payload) {
    BaumKey k = Key(key);
    const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d_, &k);
    if (slot > 0) {
      k.payload = payload;
      EXPECT_EQ(BBAUMLIB_SchreibeBAUMKEY(d_, slot, &k), 1);
    }
    return slot;
  }
  // Adds the keys with payloads from `payload` on; their slots.
  std::vector<int32_t> AddAll(std::initializer_list<const char*> keys, int32_t payload) {
    std::vector<int32_t> slots;
    for (const char* key : keys) slots.push_back(Add(key, payload++));
    return slots;
  }
  int32_t Find(const std::string& key) {
    BaumKey k = Key(key);
    return BBAUMLIB_BAUMKEYVorhanden(d_, &k);
  }
  BaumKey Slot(int32_t n) {
    BaumKey k{};
    EXPECT_EQ(BBAUMLIB_LeseBAUMKEY(d_, n, &k), 1);
    return k;
  }
  kv::index::KeyFileCheck Check() {
    kv::index::KeyFileCheck c;
    EXPECT_TRUE(kv::index::CheckKeyFile(d_, &c));
    return c;
  }
  BaumKeyDatei* OpenIdMap(const std::string& dataDir, const char* name) {
    BBAUMLIB_Exit(d_);
    path_ = file(name);
    return d_ = kv::idmap::InitIdMapFile(dataDir.c_str(), name);
  }
  std::vector<int32_t> Chain() {
    std::vector<int32_t> chain;
    for (int32_t n = BBAUMLIB_GetNextFree(d_); n >= 1 && n <= d_->slotCount && chain.size() < 100;
         n = Slot(n).nextFree) {
      chain.push_back(n);
    }
    return chain;
  }

  std::string path_;
  BaumKeyDatei* d_ = nullptr;
};

TEST_F(KeyFileTest, NewFileImage) {
  const uint32_t before = kv::UnixTimeNow32();
  ASSERT_NE(Make(5, false), nullptr);
  const uint32_t after = kv::UnixTimeNow32();
  EXPECT_EQ(d_->handle, -1);  // left closed
  EXPECT_EQ(d_->openCount, 0);

  std::vector<uint8_t> image = kvtest::ReadFileBytes(path_);
  ASSERT_EQ(image.size(), 40u + 6 * kStride);
  const uint32_t stamp = static_cast<uint32_t>(I32At(image, 4));
  EXPECT_GE(stamp, before);
  EXPECT_LE(stamp, after);
  std::vector<uint8_t> expected(image.size(), 0);
  kvtest::PutI32(expected, 0, 600);
  kvtest::PutI32(expected, 4, static_cast<int32_t>(stamp));
  kvtest::PutI32(expected, 40 + 40, 1);  // slot 0: first free 1
  for (int32_t i = 1; i <= 4; ++i) kvtest::PutI32(expected, 40 + i * kStride + 40, i + 2);
  EXPECT_EQ(image, expected);  // slot 5 ends its chain, every node cleared

  EXPECT_EQ(Chain(), (std::vector<int32_t>{1, 3, 5}));
  int32_t count = 0;
  char name[260];
  EXPECT_EQ(BBAUMLIB_GetSizeAndName(d_, &count, name), 1);
  EXPECT_EQ((std::vector<int64_t>{BBAUMLIB_Version(d_), BBAUMLIB_GetLastWriteTime(d_), BBAUMLIB_BenutzteBAUMKEYs(d_), count}),
            (std::vector<int64_t>{600, stamp, 0, 5}));
  EXPECT_EQ(path_, name);

  // A second descriptor on the existing file leaves it alone.
  BaumKeyDatei* again = BBAUMLIB_Init(path_.c_str(), 44, 5);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(kvtest::ReadFileBytes(path_), image);
  BBAUMLIB_Exit(again);
}

TEST_F(KeyFileTest, ChainAsCreatedRunsOutAndIsRebuilt) {
  ASSERT_NE(Make(6, false), nullptr);
  // The chain of a new file skips every other slot and then points past
  // slot 6: full after three keys.
  EXPECT_EQ(AddAll({"a", "b", "c", "d"}, 10), (std::vector<int32_t>{1, 3, 5, 0}));
  EXPECT_EQ(BBAUMLIB_BenutzteBAUMKEYs(d_), 3);

  std::vector<int32_t> calls;
  static std::vector<int32_t>* sink;
  sink = &calls;
  EXPECT_EQ(BBAUMLIB_ErzeugeFreelist(d_, [](int32_t n) { sink->push_back(n); }), 1);
  EXPECT_EQ(calls, (std::vector<int32_t>{6, 5, 4, 3, 2, 1, 0}));
  EXPECT_EQ(Chain(), (std::vector<int32_t>{2, 4, 6}));
  EXPECT_EQ(AddAll({"d", "e", "f", "g"}, 13), (std::vector<int32_t>{2, 4, 6, 0}));
  EXPECT_EQ(Find("c"), 5);
  EXPECT_EQ(int32_t{Slot(5).payload}, 12);
  const auto c = Check();
  EXPECT_TRUE(c.defects.empty()) << c.defects.front();
  EXPECT_EQ(c.keys.size(), 6u);
}

TEST_F(KeyFileTest, AllThirtyTwoBytesCountAndCompareSigned) {
  ASSERT_NE(Make(20, true), nullptr);
  const std::string afterZeroA("A\0x", 3), afterZeroB("A\0y", 3);
  const std::string lastByteA = std::string(31, 'k') + "1", lastByteB = std::string(31, 'k') + "2";
  const std::string high("\x80", 1), low("\x7f", 1), zero("\0", 1);
  const int32_t sa = Add(afterZeroA, 1), sb = Add(afterZeroB, 2);
  const int32_t la = Add(lastByteA, 3), lb = Add(lastByteB, 4);
  const int32_t h = Add(high, 5), l = Add(low, 6), z = Add(zero, 7);
  EXPECT_NE(sa, sb);
  EXPECT_NE(la, lb);
  EXPECT_EQ(Find(afterZeroB), sb);
  EXPECT_EQ(Find(lastByteA), la);
  EXPECT_EQ(Find(std::string("A\0z", 3)), 0);

  // Adding a key that is there returns its slot and writes nothing.
  EXPECT_EQ(Find(low), l);
  const auto image = kvtest::ReadFileBytes(path_);
  BaumKey again = Key(low);
  EXPECT_EQ(BBAUMLIB_BAUMKEYAnlegen(d_, &again), l);
  EXPECT_EQ(kvtest::ReadFileBytes(path_), image);

  // The walk delivers signed byte order: 0x80 < 0x00 < "A.." < "k.." < 0x7F.
  static std::vector<int32_t> order;
  order.clear();
  EXPECT_EQ(BBAUMLIB_MitAllenBAUMKEYs(d_, [](void* ctx, int32_t n, int32_t) {
              EXPECT_EQ(static_cast<BaumKeyDatei*>(ctx)->self, ctx);
              order.push_back(n);
              return 1;
            }),
            1);
  EXPECT_EQ(order, (std::vector<int32_t>{h, z, sa, sb, la, lb, l}));
  // The caller's visit is gone again afterwards.
  order.clear();
  BBAUMLIB_MitAllenBAUMKEYs(d_, [](void*, int32_t n, int32_t) {
    order.push_back(n);
    return 0;
  });
  EXPECT_EQ(order.front(), h);
  EXPECT_EQ(order.size(), 3u);  // stopped at once; its ancestors still visited
}

TEST_F(KeyFileTest, RemovedSlotBecomesTheWholeChain) {
  ASSERT_NE(Make(10, true), nullptr);
  const int32_t a = Add("alpha", 1), b = Add("beta", 2), c = Add("gamma", 3);
  EXPECT_EQ(BBAUMLIB_BAUMKEYLoeschen(d_, a), 1);
  EXPECT_EQ(BBAUMLIB_BAUMKEYLoeschen(d_, c), 1);
  EXPECT_EQ(Chain(), (std::vector<int32_t>{c}));
  const BaumKey cleared{};
  BaumKey slot = Slot(a);
  EXPECT_EQ(std::memcmp(&slot, &cleared, sizeof slot), 0);
  EXPECT_EQ(BBAUMLIB_BenutzteBAUMKEYs(d_), 1);
  EXPECT_EQ(Find("alpha"), 0);
  EXPECT_EQ(Find("beta"), b);
  EXPECT_EQ(BBAUMLIB_BAUMKEYLoeschen(d_, a), 0);  // not in the tree any more

  EXPECT_EQ(Add("delta", 4), c);
  EXPECT_EQ(Add("epsilon", 5), 0);  // chain ended with the freed slot
  EXPECT_EQ(BBAUMLIB_ErzeugeFreelist(d_, nullptr), 1);
  EXPECT_EQ(Add("epsilon", 5), a);
  const auto check = Check();
  EXPECT_TRUE(check.defects.empty());
  EXPECT_EQ(check.usedCount, 3);
}

std::vector<std::pair<int32_t, int32_t>> g_duplicates;
std::vector<int32_t> g_pass[4];

TEST_F(KeyFileTest, ReorganisationRebuildsChainAndTreeAndReportsDuplicates) {
  ASSERT_NE(Make(20, true), nullptr);
  const int32_t k1 = Add("k1", 1), k2 = Add("k2", 2), k3 = Add("k3", 3);
  BaumKey unwritten = Key("k4");  // added, payload never written
  const int32_t k4 = BBAUMLIB_BAUMKEYAnlegen(d_, &unwritten);
  ASSERT_GT(k4, 0);
  EXPECT_EQ(BBAUMLIB_BAUMKEYLoeschen(d_, k1), 1);
  // A second copy of k2, written past the tree.
  BaumKey copy = Key("k2", 99);
  ASSERT_EQ(BBAUMLIB_SchreibeBAUMKEY(d_, 15, &copy), 1);

  g_duplicates.clear();
  for (auto& p : g_pass) p.clear();
  EXPECT_EQ(BBAUMLIB_Reorganisieren(
                d_, [](int32_t n) { g_pass[0].push_back(n); }, [](int32_t n) { g_pass[1].push_back(n); },
                [](int32_t n) { g_pass[2].push_back(n); }, [](int32_t n) { g_pass[3].push_back(n); },
                [](int32_t slot, int32_t existing) { g_duplicates.emplace_back(slot, existing); }),
            1);
  EXPECT_EQ(g_duplicates, (std::vector<std::pair<int32_t, int32_t>>{{15, k2}}));
  EXPECT_EQ(g_pass[0].size(), 21u);  // every slot, then one past
  EXPECT_EQ(g_pass[1], (std::vector<int32_t>{20, 10}));
  EXPECT_EQ(g_pass[2], (std::vector<int32_t>{10, 20}));
  EXPECT_EQ(g_pass[3], (std::vector<int32_t>{10, 20}));

  EXPECT_EQ(Find("k4"), 0);  // payload 0: treated as free
  EXPECT_EQ(Slot(k4).key[0], 0);
  EXPECT_EQ(Find("k2"), k2);
  EXPECT_EQ(Find("k3"), k3);
  std::vector<int32_t> expectedChain;
  for (int32_t n = 1; n <= 20; ++n) {
    if (n != k2 && n != k3 && n != 15) expectedChain.push_back(n);
  }
  EXPECT_EQ(Chain(), expectedChain);
  const auto check = Check();
  EXPECT_EQ(check.usedCount, 3);
  ASSERT_EQ(check.defects.size(), 1u);
  EXPECT_EQ(check.defects[0], "slot 15 holds payload 99 but is not in the tree");
}

TEST_F(KeyFileTest, NestedOpenExtensionAndSlotLocks) {
  ASSERT_NE(Make(5, true), nullptr);
  EXPECT_EQ(BBAUMLIB_OeffneDatenbank(d_), 1);
  const int32_t h = d_->handle;
  EXPECT_EQ(BBAUMLIB_OeffneDatenbank(d_), 1);
  EXPECT_EQ(d_->handle, h);
  BBAUMLIB_SchliesseDatenbank(d_);
  EXPECT_EQ(d_->handle, h);
  EXPECT_EQ(Add("one", 1), 1);
  BBAUMLIB_SchliesseDatenbank(d_);
  EXPECT_EQ(d_->handle, -1);

  ASSERT_EQ(BBAUMLIB_ErweitereDatenbank(d_, nullptr, 8), 1);
  EXPECT_EQ(d_->slotCount, 8);
  EXPECT_EQ(kvtest::FileSize(path_), 40 + 8 * kStride + 44);
  EXPECT_EQ((std::vector<int32_t>{Slot(6).nextFree, Slot(8).nextFree}), (std::vector<int32_t>{7, 0}));
  EXPECT_EQ(BBAUMLIB_ErweitereDatenbank(d_, nullptr, 8), 0);
  EXPECT_EQ(BBAUMLIB_ErzeugeFreelist(d_, nullptr), 1);
  for (int i = 2; i <= 8; ++i) EXPECT_EQ(Add("key" + std::to_string(i), i), i);
  EXPECT_EQ(Find("one"), 1);
  EXPECT_TRUE(Check().defects.empty());

  // A slot lock keeps another handle off that slot's bytes only.
  BaumKeyDatei* other = BBAUMLIB_Init(path_.c_str(), 44, 8);
  ASSERT_EQ(BBAUMLIB_OeffneDatenbank(d_), 1);
  ASSERT_EQ(BBAUMLIB_OeffneDatenbank(other), 1);
  const int32_t timeout = kv::FileIO_GetLockTimeout();
  kv::FileIO_SetLockTimeout(0);
  // Evaluated left to right: lock 3, 3 from the other, 4 from the other,
  // unlock 3, 3 from the other.
  EXPECT_EQ((std::vector<int32_t>{BBAUMLIB_LockBAUMKEY(d_, 3), BBAUMLIB_LockBAUMKEY(other, 3),
                                  BBAUMLIB_LockBAUMKEY(other, 4), BBAUMLIB_UnlockBAUMKEY(d_, 3),
                                  BBAUMLIB_LockBAUMKEY(other, 3)}),
            (std::vector<int32_t>{1, 0, 1, 1, 1}));
  kv::FileIO_SetLockTimeout(timeout);
  BBAUMLIB_SchliesseDatenbank(other);
  BBAUMLIB_SchliesseDatenbank(d_);
  BBAUMLIB_Exit(other);
}

TEST_F(KeyFileTest, BadInputFailsAndChangesNothing) {
  const std::string p = file("X.DBA");
  for (auto* d : {BBAUMLIB_Init(nullptr, 44, 10), BBAUMLIB_Init(p.c_str(), 43, 10), BBAUMLIB_Init(p.c_str(), 44, 0)}) {
    EXPECT_EQ(d, nullptr);
  }
  EXPECT_FALSE(kvtest::FileExists(p));
  BaumKey k = Key("x");
  EXPECT_EQ((std::vector<int32_t>{BBAUMLIB_OeffneDatenbank(nullptr), BBAUMLIB_BAUMKEYAnlegen(nullptr, &k),
                                  BBAUMLIB_BAUMKEYVorhanden(nullptr, &k), BBAUMLIB_BenutzteBAUMKEYs(nullptr),
                                  BBAUMLIB_Version(nullptr), BBAUMLIB_MitAllenBAUMKEYs(nullptr, nullptr),
                                  BBAUMLIB_Reorganisieren(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)}),
            (std::vector<int32_t>{0, 0, 0, -1, 0, 0, 0}));

  ASSERT_NE(Make(4, true), nullptr);
  Add("x", 1);
  Find(std::string());  // the search scratch in slot 0 now holds a free slot's (empty) key
  const auto image = kvtest::ReadFileBytes(path_);
  // Slots out of range, no record, the file not open (Write/Read/Lock),
  // deleting slot 0, past the end and a free slot.
  const std::vector<int32_t> results{
      BBAUMLIB_LeseBAUMKEY(d_, -1, &k),    BBAUMLIB_LeseBAUMKEY(d_, 5, &k),   BBAUMLIB_SchreibeBAUMKEY(d_, 0, &k),
      BBAUMLIB_SchreibeBAUMKEY(d_, 5, &k), BBAUMLIB_SchreibeBAUMKEY(d_, 1, nullptr),
      BBAUMLIB_WriteBAUMKEY(d_, 1, &k),    BBAUMLIB_ReadBAUMKEY(d_, 1, &k),   BBAUMLIB_LockBAUMKEY(d_, 1),
      BBAUMLIB_BAUMKEYLoeschen(d_, 0),     BBAUMLIB_BAUMKEYLoeschen(d_, 5),   BBAUMLIB_BAUMKEYLoeschen(d_, 2)};
  EXPECT_EQ(results, std::vector<int32_t>(results.size(), 0));
  EXPECT_EQ(kvtest::ReadFileBytes(path_), image);

  // A descriptor whose file cannot exist.
  BaumKeyDatei* missing = BBAUMLIB_Init(file("no/such/dir/K.DBA").c_str(), 44, 4);
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ((std::vector<int32_t>{BBAUMLIB_OeffneDatenbank(missing), BBAUMLIB_BAUMKEYAnlegen(missing, &k),
                                  BBAUMLIB_BenutzteBAUMKEYs(missing), BBAUMLIB_ErzeugeAVLBaum(missing, nullptr)}),
            (std::vector<int32_t>{0, 0, -1, 0}));
  BBAUMLIB_Exit(missing);
}

TEST_F(KeyFileTest, SixtyFourThousandSlotsFilledAndSearched) {
  constexpr int32_t kSlots = 64000;
  ASSERT_NE(Make(kSlots, true), nullptr);
  ASSERT_EQ(BBAUMLIB_OeffneDatenbank(d_), 1);
  auto keyOf = [](int32_t i) { return "ID" + std::to_string((i * 7919) % kSlots); };
  for (int32_t i = 0; i < kSlots; ++i) ASSERT_EQ(Add(keyOf(i), i + 1), i + 1) << i;
  EXPECT_EQ(Add("one too many", 1), 0);
  for (int32_t i = 0; i < kSlots; i += 7) ASSERT_EQ(Find(keyOf(i)), i + 1);
  EXPECT_EQ(Find("ID64000"), 0);
  BBAUMLIB_SchliesseDatenbank(d_);
  const auto check = Check();
  EXPECT_TRUE(check.defects.empty());
  EXPECT_EQ(check.keys.size(), static_cast<size_t>(kSlots));
  EXPECT_LE(check.height, 23);
  EXPECT_EQ(check.usedCount, kSlots);
}

// The map size follows the article family's maximum.
TEST_F(KeyFileTest, IdMapFilesAreCreatedOrGrownWithEverySlotChained) {
  ASSERT_EQ(ARTLIB_Init(100, dir().c_str()), 600);
  ASSERT_NE(OpenIdMap(dir(), "MAPARTID.DBA"), nullptr);
  EXPECT_EQ(d_->slotCount, 64000);
  EXPECT_EQ(d_->recordSize, 44);
  EXPECT_EQ(Check().chainLength, d_->slotCount);

  // An older, smaller file keeps its keys and grows, here to a maximum
  // number of articles above 64000.
  ASSERT_EQ(ARTLIB_Init(64123, dir().c_str()), 600);
  ASSERT_NE(Make(1000, true, "MAPEANID.DBA"), nullptr);
  const int32_t slot = Add("4006381333931", 7);
  ASSERT_NE(OpenIdMap(dir(), "MAPEANID.DBA"), nullptr);
  EXPECT_EQ(d_->slotCount, 64123);
  EXPECT_EQ(Find("4006381333931"), slot);
  auto check = Check();
  EXPECT_TRUE(check.defects.empty());
  EXPECT_EQ(check.chainLength, d_->slotCount - 1);
  // Opening again changes nothing.
  const auto image = kvtest::ReadFileBytes(path_);
  ASSERT_NE(OpenIdMap(dir() + "/", "MAPEANID.DBA"), nullptr);
  EXPECT_EQ(kvtest::ReadFileBytes(path_), image);
  EXPECT_EQ(kv::idmap::InitIdMapFile(nullptr, "MAPALTID.DBA"), nullptr);
  EXPECT_EQ(kv::idmap::InitIdMapFile(file("missing/").c_str(), "MAPALTID.DBA"), nullptr);
}

TEST_F(KeyFileTest, CheckReportsDamagedBalanceOrderAndChain) {
  ASSERT_NE(Make(10, true), nullptr);
  for (const char* k : {"b", "a", "c"}) Add(k, 1);  // root b (slot 1)
  ASSERT_TRUE(Check().defects.empty());
  auto image = kvtest::ReadFileBytes(path_);
  image[40 + 1 * kStride + 44 + 12] = 1;             // balance of the root
  image[40 + 2 * kStride + 4] = 'z';                 // slot 2 ("a") now sorts last
  kvtest::PutI32(image, 40 + 5 * kStride + 40, 4);   // free chain 4 -> 5 -> 4
  kvtest::WriteFileBytes(path_, image);
  EXPECT_EQ(Check().defects, (std::vector<std::string>{"slot 1 is out of order after slot 2",
                                                       "slot 1 has balance 1, its subtrees differ by 0",
                                                       "free chain runs into slot 4 again"}));
}

// The key file as a plain model: key records in a vector, the tree as an
// AVL_ tree over nodes in memory. Each operation is done on both, and the
// file must hold exactly the model's bytes afterwards: whatever the key file
// keeps in memory during an operation, it must read and write as if it
// went to the file every time.
struct KeyFileModel {
  std::vector<std::array<uint8_t, 44>> rec;
  std::vector<AvlKnoten> node;
  int32_t root = 0;
  int64_t size = 0;  // the file's length: an extension leaves the last node out
  AvlBaum tree{};

  static KeyFileModel* M(void* c) { return static_cast<KeyFileModel*>(c); }
  const uint8_t* key(int32_t slot) const { return rec[static_cast<size_t>(slot)].data() + 4; }
  int32_t i32(int32_t slot, int offset) const {
    int32_t v;
    std::memcpy(&v, rec[static_cast<size_t>(slot)].data() + offset, 4);
    return v;
  }
  void set(int32_t slot, int offset, int32_t v) { std::memcpy(rec[static_cast<size_t>(slot)].data() + offset, &v, 4); }

  explicit KeyFileModel(const std::vector<uint8_t>& image, int32_t slots)
      : rec(slots + 1), node(slots + 1), size(static_cast<int64_t>(image.size())) {
    for (int32_t n = 0; n <= slots; ++n) std::memcpy(rec[n].data(), image.data() + 40 + n * kStride, 44);
    tree.ReadNode = [](void* c, int32_t n, AvlKnoten* out) { return *out = M(c)->node.at(n), 1; };
    tree.WriteNode = [](void* c, int32_t n, const AvlKnoten* in) {
      M(c)->size = std::max<int64_t>(M(c)->size, 40 + int64_t{n + 1} * kStride);
      return M(c)->node.at(n) = *in, 1;
    };
    tree.GetRoot = [](void* c, int32_t* r) { return *r = M(c)->root, 1; };
    tree.SetRoot = [](void* c, int32_t r) { return M(c)->root = r, 1; };
    tree.Compare = [](void* c, int32_t a, int32_t b) {
      for (int i = 0; i < 32; ++i) {
        const auto x = static_cast<int8_t>(M(c)->key(a)[i]), y = static_cast<int8_t>(M(c)->key(b)[i]);
        if (x != y) return x < y ? -1 : 1;
      }
      return 0;
    };
    tree.storeContext = tree.compareContext = this;
  }
  int32_t Search(const uint8_t* k) {
    std::memcpy(rec[0].data() + 4, k, 32);
    return AVL_Suchen(&tree);
  }
  int32_t Add(const BaumKey& k) {
    if (const int32_t found = Search(k.key)) return found;
    const int32_t n = i32(0, 40);
    if (n < 1 || n >= static_cast<int32_t>(rec.size())) return 0;
    set(0, 40, i32(n, 40));
    set(0, 36, i32(0, 36) + 1);
    std::memcpy(rec[n].data(), &k, 44);
    set(n, 36, 0);
    set(n, 40, 0);
    tree.currentElement = n;
    return AVL_Einfuegen(&tree) > 0 ? n : 0;
  }
  int32_t Remove(int32_t n) {
    std::array<uint8_t, 32> k;
    std::memcpy(k.data(), key(n), 32);
    if (Search(k.data()) != n) return 0;
    tree.currentElement = n;
    AVL_Loeschen(&tree);
    rec[n].fill(0);
    set(0, 40, n);
    set(0, 36, i32(0, 36) - 1);
    return 1;
  }
  // Nodes on the way from the root to slot n (parent links may be stale,
  // so the way is found from the top).
  int32_t Depth(int32_t n) {
    int32_t depth = 1;
    for (int32_t p = root; p != n && p != 0 && depth < 64; ++depth) {
      p = tree.Compare(this, n, p) < 0 ? node[p].left : node[p].right;
    }
    return depth;
  }
  // What extending the file does: new slots chained among themselves, their
  // records written one by one, no node after the last.
  void Grow(int32_t slots) {
    const auto from = static_cast<int32_t>(rec.size());
    rec.resize(static_cast<size_t>(slots) + 1);
    node.resize(static_cast<size_t>(slots) + 1);
    for (int32_t n = from; n <= slots; ++n) set(n, 40, n < slots ? n + 1 : 0);
    size = std::max<int64_t>(size, 40 + int64_t{slots} * kStride + 44);
  }
  // What rebuilding the free chain does: every payload-0 slot, ascending.
  void RebuildChain() {
    int32_t chain = 0, used = 0;
    for (int32_t n = static_cast<int32_t>(rec.size()) - 1; n >= 1; --n) {
      if (i32(n, 36) == 0) {
        set(n, 40, chain);
        chain = n;
      } else {
        ++used;
      }
    }
    set(0, 40, chain);
    set(0, 36, used);
  }
  // The file as the model has it; the header (its time stamp) is the file's.
  std::vector<uint8_t> Image(std::vector<uint8_t> image) const {
    image.resize(static_cast<size_t>(size));
    const auto put = [&](size_t at, const void* bytes, size_t n) {
      if (at < image.size()) std::memcpy(image.data() + at, bytes, std::min(n, image.size() - at));
    };
    for (size_t n = 0; n < rec.size(); ++n) {
      put(40 + n * kStride, rec[n].data(), 44);
      AvlKnoten k = n == 0 ? AvlKnoten{root, 0, 0, 0} : node[n];
      put(40 + n * kStride + 44, &k, 14);
    }
    return image;
  }
};

// Random adds, payload writes, removals and lookups, done on the file and on
// the model; after every step the file must hold exactly the model's bytes.
// At step `growAt` the file is extended to `growTo` slots.
void RunAgainstModel(BaumKeyDatei* d, const std::string& path, uint32_t seed, int32_t growAt, int32_t growTo) {
  KeyFileModel model(kvtest::ReadFileBytes(path), d->slotCount);
  std::mt19937 rng(seed);
  std::vector<BaumKey> pool(static_cast<size_t>(std::max(d->slotCount, growTo)) * 4 / 3);
  for (BaumKey& k : pool) {
    for (uint8_t& b : k.key) b = static_cast<uint8_t>(rng() % 4 == 0 ? 0 : rng());
  }
  ASSERT_EQ(BBAUMLIB_OeffneDatenbank(d), 1);
  for (int step = 0; step < 700; ++step) {
    const uint32_t what = rng() % 10;
    if (step == growAt) {
      ASSERT_EQ(BBAUMLIB_ErweitereDatenbank(d, nullptr, growTo), 1);
      model.Grow(growTo);
    } else if (what < 5) {
      BaumKey k = pool[rng() % pool.size()];
      const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
      ASSERT_EQ(slot, model.Add(k)) << step;
      BaumKey stored{};
      if (slot > 0 && BBAUMLIB_LeseBAUMKEY(d, slot, &stored) == 1 && stored.payload == 0) {
        k.payload = step + 1;  // the caller's payload write
        ASSERT_EQ(BBAUMLIB_WriteBAUMKEY(d, slot, &k), 1);
        model.set(slot, 36, step + 1);
      }
    } else if (what < 8) {
      const int32_t slot = static_cast<int32_t>(rng() % static_cast<uint32_t>(d->slotCount)) + 1;
      ASSERT_EQ(BBAUMLIB_BAUMKEYLoeschen(d, slot), model.Remove(slot)) << step;
    } else {
      const BaumKey& k = pool[rng() % pool.size()];
      const int64_t reads = kv::index::KeyFileReadCount();
      const int32_t slot = BBAUMLIB_BAUMKEYVorhanden(d, &k);
      ASSERT_EQ(slot, model.Search(k.key)) << step;
      // Slot 0 (search key and root) and every slot on the way, once each
      // at most: what an earlier call read is kept while the file is unchanged.
      if (slot > 0) {
        EXPECT_LE(kv::index::KeyFileReadCount() - reads, model.Depth(slot) + 1) << step;
      }
    }
    if (step % 50 == 49) {  // freed slots join the chain again
      ASSERT_EQ(BBAUMLIB_ErzeugeFreelist(d, nullptr), 1);
      model.RebuildChain();
    }
    const std::vector<uint8_t> image = kvtest::ReadFileBytes(path);
    ASSERT_EQ(image, model.Image(image)) << step;
  }
  BBAUMLIB_SchliesseDatenbank(d);
}

TEST_F(KeyFileTest, EveryOperationLeavesExactlyTheBytesOfThePlainModel) {
  ASSERT_NE(Make(90, true), nullptr);
  RunAgainstModel(d_, path_, 11, -1, 0);
  EXPECT_TRUE(Check().defects.empty());
}

// The same with what the key file may keep in memory cut to a few slots, as
// a file far larger than the limits would have it: most slots then lie past
// the slots kept side by side and go through the small map, which is emptied
// again and again. Halfway the file grows, past what was kept for it.
TEST_F(KeyFileTest, SmallCacheLimitsAndAGrowingFileKeepTheModelsBytes) {
  struct Limits {
    kv::index::SlotCacheLimits before = kv::index::SetSlotCacheLimits({24 * kStride, 16 * kStride});
    ~Limits() { kv::index::SetSlotCacheLimits(before); }
  } limits;
  ASSERT_NE(Make(70, true), nullptr);
  RunAgainstModel(d_, path_, 23, 350, 110);
  EXPECT_EQ(d_->slotCount, 110);
  EXPECT_TRUE(Check().defects.empty());
}

// One process looks keys up, keeping its file open, while another adds and
// removes keys between the lookups: every answer must be that of the file
// as the other process left it, never of what the looking process read
// before. The looking process also repeats each lookup, which an unchanged
// file serves from what it kept.
TEST_F(KeyFileTest, LookupsSeeEveryChangeAnotherProcessMakes) {
  ASSERT_NE(Make(kProcessSlots, true, "MAPEANID.DBA"), nullptr);
  for (int32_t i = 0; i < 40; ++i) ASSERT_GT(Add("base-" + std::to_string(i * 7919 % 1000), i + 1), 0);
  const std::string lockPath = file("MAPEANID.LCK");
  kvtest::WriteFileBytes(lockPath, std::vector<uint8_t>(12, 0));
  kv::FileHandle lock = kv::FileIO_OpenRWS(lockPath.c_str());
  ASSERT_NE(lock, kv::kInvalidHandle);
  ASSERT_EQ(BBAUMLIB_OeffneDatenbank(d_), 1);
  kv::FileStamp stamp;
  const bool keeps = kv::FileIO_Stamp(d_->handle, &stamp);

  constexpr int32_t kSteps = 25;
  kvtest::Worker w = kvtest::SpawnWorker("rotate_keys", {path_, lockPath, std::to_string(kSteps)});
  const int64_t deadline = kv::MonotonicMs() + 120000;
  int exitCode = -1;
  int32_t seen = 0, last = -1, lookups = 0, freeRepeats = 0;
  bool ended = false;
  while (!ended && kv::MonotonicMs() < deadline) {
    ended = kvtest::WaitWorkerFor(w, 0, &exitCode);
    ASSERT_TRUE(kv::FileIO_Lock(lock, 0, 1));
    const int32_t g = ReadGeneration(lock);
    ASSERT_GE(g, 0);
    if (g == last) {  // nothing new yet: give the other process the lock
      kv::FileIO_Unlock(lock, 0, 1);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      continue;
    }
    if (g >= 1) ++seen;
    last = g;
    if (g >= 1) {
      const int32_t slot = Find(Generation("gen", g));
      ASSERT_GT(slot, 0) << "generation " << g;
      EXPECT_EQ(int32_t{Slot(slot).payload}, g);
      ASSERT_GT(Find(Generation("fill", g)), 0) << g;
    }
    ASSERT_EQ(Find(Generation("gen", g - 1)), 0) << g;
    ASSERT_EQ(Find(Generation("fill", g + 1)), 0) << g;
    const std::string base = "base-" + std::to_string(g % 40 * 7919 % 1000);
    ASSERT_GT(Find(base), 0) << g;
    const int64_t reads = kv::index::KeyFileReadCount();
    ASSERT_GT(Find(base), 0) << g;
    if (kv::index::KeyFileReadCount() == reads) ++freeRepeats;
    ++lookups;
    ASSERT_TRUE(kv::FileIO_SetPos(lock, 8) == 8 && kv::FileIO_Write(lock, &g, 4) == 4);  // looked at
    kv::FileIO_Unlock(lock, 0, 1);
  }
  if (!ended) kvtest::KillWorker(w);
  ASSERT_TRUE(ended) << "the worker did not finish in time";
  EXPECT_EQ(exitCode, 0);
  EXPECT_EQ(last, kSteps);
  EXPECT_EQ(seen, kSteps);  // each generation waited for its lookups
  // Where the file layer vouches for its stamps, repeated lookups of an
  // unchanged file read nothing.
  if (keeps && stamp.exact) {
    EXPECT_GT(freeRepeats, 0) << lookups;
  }
  BBAUMLIB_SchliesseDatenbank(d_);
  kv::FileIO_Close(lock);
  EXPECT_TRUE(Check().defects.empty());
}

}  // namespace
