// ID mapping files: created with every slot chained, grown to the wanted
// size without losing keys; and the key-file check finding damage.
#include <cstring>
#include <string>

#include "index/idmap.h"
#include "index/keyfile.h"
#include "index/keyfile_check.h"
#include "kvdata/artlib.h"
#include "kvdata/bbaumlib.h"
#include "kvtest.h"

namespace {

using kv::index::InitIdMapFile;

// The map size follows the article family's maximum: a small one here.
class IdMapTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override { ASSERT_EQ(ARTLIB_Init(100, dir().c_str()), 600); }
};

BaumKey Key(const char* text, int32_t payload = 0) {
  BaumKey k{};
  std::memcpy(k.key, text, std::strlen(text));
  k.payload = payload;
  return k;
}

int32_t AddWithPayload(BaumKeyDatei* d, const char* text, int32_t payload) {
  BaumKey k = Key(text);
  const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
  k.payload = payload;
  if (slot > 0) BBAUMLIB_SchreibeBAUMKEY(d, slot, &k);
  return slot;
}

TEST_F(IdMapTest, NewAndSmallerFilesGetEverySlotChained) {
  BaumKeyDatei* d = InitIdMapFile(dir().c_str(), "MAPARTID.DBA");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->slotCount, 64000);
  EXPECT_EQ(d->recordSize, 44);
  kv::index::KeyFileCheck check;
  ASSERT_TRUE(kv::index::CheckKeyFile(d, &check));
  EXPECT_EQ(check.chainLength, d->slotCount);
  BBAUMLIB_Exit(d);

  // An older, smaller file keeps its keys and grows, here to a maximum
  // number of articles above 64000.
  ASSERT_EQ(ARTLIB_Init(64123, dir().c_str()), 600);
  const std::string small = file("MAPEANID.DBA");
  BaumKeyDatei* old = BBAUMLIB_Init(small.c_str(), 44, 1000);
  ASSERT_EQ(BBAUMLIB_ErzeugeFreelist(old, nullptr), 1);
  const int32_t slot = AddWithPayload(old, "4006381333931", 7);
  BBAUMLIB_Exit(old);
  d = InitIdMapFile(dir().c_str(), "MAPEANID.DBA");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->slotCount, 64123);
  BaumKey probe = Key("4006381333931");
  EXPECT_EQ(BBAUMLIB_BAUMKEYVorhanden(d, &probe), slot);
  ASSERT_TRUE(kv::index::CheckKeyFile(d, &check));
  EXPECT_TRUE(check.defects.empty());
  EXPECT_EQ(check.chainLength, d->slotCount - 1);
  BBAUMLIB_Exit(d);
  // Opening again changes nothing.
  const auto image = kvtest::ReadFileBytes(small);
  d = InitIdMapFile((dir() + "/").c_str(), "MAPEANID.DBA");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(kvtest::ReadFileBytes(small), image);
  BBAUMLIB_Exit(d);
  EXPECT_EQ(InitIdMapFile(nullptr, "MAPALTID.DBA"), nullptr);
  EXPECT_EQ(InitIdMapFile(file("missing/").c_str(), "MAPALTID.DBA"), nullptr);
}

TEST_F(IdMapTest, CheckReportsDamagedBalanceOrderAndChain) {
  const std::string path = file("K.DBA");
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), 44, 10);
  ASSERT_EQ(BBAUMLIB_ErzeugeFreelist(d, nullptr), 1);
  for (const char* k : {"b", "a", "c"}) AddWithPayload(d, k, 1);  // root b (slot 1)
  kv::index::KeyFileCheck check;
  ASSERT_TRUE(kv::index::CheckKeyFile(d, &check));
  ASSERT_TRUE(check.defects.empty());

  auto image = kvtest::ReadFileBytes(path);
  const size_t stride = 58;
  image[40 + 1 * stride + 44 + 12] = 1;                         // balance of the root
  image[40 + 2 * stride + 4] = 'z';                             // slot 2 ("a") now sorts last
  kvtest::PutI32(image, 40 + 5 * stride + 40, 4);               // free chain 4 -> 5 -> 4
  kvtest::WriteFileBytes(path, image);
  ASSERT_TRUE(kv::index::CheckKeyFile(d, &check));
  ASSERT_EQ(check.defects.size(), 3u);
  EXPECT_EQ(check.defects[0], "slot 1 is out of order after slot 2");
  EXPECT_EQ(check.defects[1], "slot 1 has balance 1, its subtrees differ by 0");
  EXPECT_EQ(check.defects[2], "free chain runs into slot 4 again");
  BBAUMLIB_Exit(d);
}

}  // namespace
