// The designation, EAN-item and item-extras files: slots, locks, the
// refusal to free a designation that still heads items.
#include <string>

#include "article_support.h"
#include "services/fileio.h"

namespace articletest {
namespace {

class SmallFamiliesTest : public ArticleTest {};

TEST_F(SmallFamiliesTest, DesignationsTakeFreeSlotsAndLiveWhileTheyHaveItems) {
  int32_t a = BEZLIB_NeueBezeichnung("Rock");
  // \xe4 = ä
  int32_t b = BEZLIB_NeueBezeichnung("Rock lang, mit einem Namen der l\xe4nger ist als das Feld erlaubt, ganz sicher");
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 2);
  auto bytes = kvtest::ReadFileBytes(file(BEZLIB_FILE_NAME));
  ASSERT_EQ(bytes.size(), 40u + (kDesignations + 1u) * 128u);
  EXPECT_EQ(kvtest::I32At(bytes, 0), 600);
  EXPECT_EQ(kvtest::I32At(bytes, 40 + 128 + 8), 1);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&bytes[40 + 128 + 12])), "Rock");
  EXPECT_EQ(bytes[40 + 2 * 128 + 12 + 63], 0) << "long text cut inside its field";

  Bezeichnung d;
  ASSERT_EQ(BEZLIB_LeseBezeichnung(a, &d), 1);
  d.firstItem = d.lastItem = 17;
  ASSERT_EQ(BEZLIB_SchreibeBezeichnung(a, &d), 1);
  EXPECT_EQ(BEZLIB_BezeichnungLoeschen(a), 0) << "still heads an item";
  d.firstItem = d.lastItem = 0;
  ASSERT_EQ(BEZLIB_SchreibeBezeichnung(a, &d), 1);
  EXPECT_EQ(BEZLIB_BezeichnungLoeschen(a), 1);
  EXPECT_EQ(BEZLIB_NeueBezeichnung("Weste"), a);

  EXPECT_EQ(BEZLIB_LeseBezeichnung(0, &d), 0);
  EXPECT_EQ(BEZLIB_LeseBezeichnung(kDesignations + 1, &d), 0);
  EXPECT_EQ(BEZLIB_NeueBezeichnung(nullptr), 0);
  EXPECT_EQ(BEZLIB_LockBezeichnung(a), 0) << "file not open";
  int32_t h = BEZLIB_OeffneDatenbank();
  ASSERT_NE(h, -1);
  ASSERT_EQ(BEZLIB_LockBezeichnung(a), 1);
  kv::FileHandle other = kv::FileIO_OpenRWS(file(BEZLIB_FILE_NAME).c_str());
  EXPECT_EQ(kv::FileIO_TryLock(other, 40 + 128 * a, 128), 0);
  EXPECT_EQ(kv::FileIO_TryLock(other, 40 + 128 * (a + 1), 1), 1);
  kv::FileIO_Close(other);
  EXPECT_EQ(BEZLIB_ReadBezeichnung(h, a, &d), 1);
  EXPECT_STREQ(d.text, "Weste");
  EXPECT_EQ(BEZLIB_ReadBezeichnung(h + 1000, a, &d), 0) << "not the family's handle";
  ASSERT_EQ(BEZLIB_UnlockBezeichnung(a), 1);
  BEZLIB_SchliesseDatenbank();
  for (int i = 3; i <= kDesignations; ++i) ASSERT_NE(BEZLIB_NeueBezeichnung("x"), 0);
  EXPECT_EQ(BEZLIB_NeueBezeichnung("voll"), 0) << "file full";
}

TEST_F(SmallFamiliesTest, EanEntriesAndExtrasAreAddressedByTheItem) {
  ASSERT_EQ(EANTEILE_Schreibe_EAN_Einzelteil(12, "4006381333931"), 1);
  auto bytes = kvtest::ReadFileBytes(file(EANTEILE_FILE_NAME));
  ASSERT_EQ(bytes.size(), 40u + (kItems + 1u) * 20u);
  EXPECT_EQ(kvtest::I32At(bytes, 40 + 12 * 20), 12);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&bytes[40 + 12 * 20 + 4])), "4006381333931");
  char ean[EANTEILE_EAN_SIZE];
  ASSERT_EQ(EANTEILE_Lese_EAN_Einzelteil(12, ean), 1);
  EXPECT_STREQ(ean, "4006381333931");
  EXPECT_EQ(EANTEILE_Lese_EAN_Einzelteil(13, ean), 0);
  EXPECT_STREQ(ean, "");
  for (auto [n, bad] : {std::pair<int32_t, const char*>{13, "40063813339312"}, {13, "40x"}, {0, "1"}, {kItems + 1, "1"}})
    EXPECT_EQ(EANTEILE_Schreibe_EAN_Einzelteil(n, bad), 0) << n << " " << bad;
  ASSERT_EQ(EANTEILE_Loesche_EAN_Einzelteil(12), 1);
  EXPECT_EQ(EANTEILE_Lese_EAN_Einzelteil(12, ean), 0);
  auto after = kvtest::ReadFileBytes(file(EANTEILE_FILE_NAME));
  EXPECT_TRUE(std::all_of(after.begin() + 40, after.end(), [](uint8_t c) { return c == 0; }));

  TeileZusatz z{};
  z.item = 99;  // replaced by the item number
  std::strcpy(z.text, "Kratzer links");
  ASSERT_EQ(TeileZusatz_Schreibe(7, &z), 1);
  TeileZusatz back;
  ASSERT_EQ(TeileZusatz_Lese(7, &back), 1);
  EXPECT_EQ(back.item, 7);
  EXPECT_STREQ(back.text, "Kratzer links");
  EXPECT_EQ(TeileZusatz_Lese(8, &back), 0);
  ASSERT_EQ(TeileZusatz_Loesche(7), 1);
  EXPECT_EQ(TeileZusatz_Lese(7, &back), 0);
  EXPECT_EQ(TeileZusatz_Schreibe(7, nullptr), 0);

  // A larger count on the next Init enlarges the files and keeps entries.
  ASSERT_EQ(EANTEILE_Schreibe_EAN_Einzelteil(5, "123"), 1);
  ASSERT_EQ(EANTEILE_Init(kItems + 10, dir().c_str()), 1);
  EXPECT_EQ(kvtest::FileSize(file(EANTEILE_FILE_NAME)), 40 + (kItems + 11) * 20);
  ASSERT_EQ(EANTEILE_Lese_EAN_Einzelteil(5, ean), 1);
  EXPECT_STREQ(ean, "123");
}

}  // namespace
}  // namespace articletest
