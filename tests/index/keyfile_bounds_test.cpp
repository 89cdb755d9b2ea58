// Key files whose tree links were damaged on disk: links far past the end
// and links back up the tree. No key operation writes outside the slots
// the file may have, and a walk ends after visiting each slot at most once.
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "kvdata/bbaumlib.h"
#include "kvtest.h"

namespace {

constexpr int32_t kSlots = 10, kR = 44, kStride = kR + 14;

BaumKey Key(const char* text) {
  BaumKey k{};
  std::memcpy(k.key, text, std::strlen(text));
  return k;
}

int64_t NodeAt(int32_t slot) { return 40 + int64_t{slot} * kStride + kR; }

class DamagedKeyFile : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    path = file("MAPTEST.DBA");
    d = BBAUMLIB_Init(path.c_str(), kR, kSlots);
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(BBAUMLIB_ErzeugeFreelist(d, nullptr), 1);
    for (const char* k : {"m", "f", "t"}) {
      BaumKey key = Key(k);
      ASSERT_GT(BBAUMLIB_BAUMKEYAnlegen(d, &key), 0) << k;
    }
  }
  void TearDown() override {
    BBAUMLIB_Exit(d);
    kvtest::DataDirTest::TearDown();
  }
  int32_t Root() { return kvtest::I32At(kvtest::ReadFileBytes(path), static_cast<size_t>(NodeAt(0))); }
  // Sets the left and right links of slot's node on disk.
  void Link(int32_t slot, int32_t left, int32_t right) {
    auto bytes = kvtest::ReadFileBytes(path);
    kvtest::PutI32(bytes, static_cast<size_t>(NodeAt(slot)) + 4, left);
    kvtest::PutI32(bytes, static_cast<size_t>(NodeAt(slot)) + 8, right);
    kvtest::WriteFileBytes(path, bytes);
  }
  std::string path;
  BaumKeyDatei* d = nullptr;
};

TEST_F(DamagedKeyFile, LinksPastTheEndNeverGrowTheFile) {
  const int32_t root = Root();
  ASSERT_GT(root, 0);
  Link(root, INT_MAX, 0x40000000);
  const int64_t size = kvtest::FileSize(path);
  for (const char* k : {"a", "z", "n", "b"}) {
    BaumKey key = Key(k);
    BBAUMLIB_BAUMKEYAnlegen(d, &key);
    BBAUMLIB_BAUMKEYVorhanden(d, &key);
  }
  BBAUMLIB_BAUMKEYLoeschen(d, root);
  BBAUMLIB_Reorganisieren(d, nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(kvtest::FileSize(path), size);
}

int32_t g_visits = 0;
int32_t KV_CALLBACK CountVisit(void*, int32_t, int32_t) {
  // A hard stop far beyond any sound walk, so that a regression fails
  // instead of walking 2^64 nodes.
  return ++g_visits < 100000 ? 1 : 0;
}

TEST_F(DamagedKeyFile, AWalkThroughLinksBackUpTheTreeEnds) {
  const int32_t root = Root();
  ASSERT_GT(root, 0);
  g_visits = 0;
  BBAUMLIB_MitAllenBAUMKEYs(d, CountVisit);
  EXPECT_EQ(g_visits, 3);
  // Both children point back at the root: every level doubles the walk.
  Link(root, root, root);
  g_visits = 0;
  BBAUMLIB_MitAllenBAUMKEYs(d, CountVisit);
  EXPECT_LE(g_visits, kSlots + 1);
  EXPECT_GE(g_visits, 1);
}

}  // namespace
