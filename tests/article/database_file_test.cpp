// TEILE.DBA as a file: the image a creation writes, the cleared record,
// flag tests, identifier allocation with its wrap, and bad input that must
// fail without writing.
#include <string>

#include "article_support.h"
#include "services/fault.h"
#include "services/platform.h"

namespace articletest {
namespace {

std::vector<int32_t> g_progress;
void KV_CALLBACK Progress(int32_t written) { g_progress.push_back(written); }

class DatabaseFileTest : public kvtest::DataDirTest {
 protected:
  std::string path() const { return file(DATABASE_FILE_NAME); }
  // A small file, N = 1005, so identifiers 1001 .. 1004 follow the wrap;
  // item 1 of article 1 is in it.
  void CreateSmall() {
    ASSERT_TRUE(InitFamilies(dir(), false, 1005));
    ASSERT_EQ(DATABASE_CreateDatenbank(nullptr), 1);
    PutArticle(1, "Artikel", 1);
    Einzelteil r = NewRecord(1, 0);
    ASSERT_EQ(DATABASE_NeuesTeil(&r), 1);
  }
  void SetLastId(int32_t id) {
    auto bytes = kvtest::ReadFileBytes(path());
    kvtest::PutI32(bytes, 40 + 60, id);
    kvtest::WriteFileBytes(path(), bytes);
  }
};

TEST_F(DatabaseFileTest, CreationWritesHeaderAndClearedRecordsWithProgress) {
  ASSERT_EQ(DATABASE_Init(250, dir().c_str()), 1);
  g_progress.clear();
  uint32_t before = kv::UnixTimeNow32();
  ASSERT_EQ(DATABASE_CreateDatenbank(Progress), 1);
  auto bytes = kvtest::ReadFileBytes(path());
  ASSERT_EQ(bytes.size(), 40u + 251u * 142u);
  EXPECT_EQ(kvtest::I32At(bytes, 0), 600);
  EXPECT_GE(static_cast<uint32_t>(kvtest::I32At(bytes, 4)), before);
  EXPECT_TRUE(std::all_of(bytes.begin() + 8, bytes.begin() + 40, [](uint8_t b) { return b == 0; }));
  // Every record: zero except the five dates, which are 33.
  std::vector<uint8_t> cleared(142, 0);
  for (size_t at : {128, 130, 132, 134, 136}) cleared[at] = 33;
  for (size_t n = 0; n <= 250; ++n)
    ASSERT_TRUE(std::equal(cleared.begin(), cleared.end(), bytes.begin() + 40 + n * 142)) << n;
  EXPECT_EQ(g_progress, (std::vector<int32_t>{100, 200}));
  EXPECT_EQ(DATABASE_Version(), 600);
  EXPECT_EQ(DATABASE_FilePos(250), 40 + 250 * 142);

  int32_t size = 0;
  char name[260];
  DATABASE_GetSizeAndName(&size, name);
  EXPECT_EQ(size, 250);
  EXPECT_EQ(std::string(name), path());

  ASSERT_EQ(DATABASE_Init(300, dir().c_str()), 1);
  ASSERT_EQ(DATABASE_ErweitereDatenbank(), 1);
  auto larger = kvtest::ReadFileBytes(path());
  ASSERT_EQ(larger.size(), 40u + 301u * 142u);
  EXPECT_TRUE(std::equal(cleared.begin(), cleared.end(), larger.begin() + 40 + 300 * 142));

  // A creation whose writes fail reports 0.
  kv::fault::Arm(kv::fault::Kind::Write, 10);
  EXPECT_EQ(DATABASE_CreateDatenbank(nullptr), 0);
}

TEST_F(DatabaseFileTest, ClearingKeepsCreationTimeAndVatCodeAndQuantityNeedsTwo) {
  // Clearing keeps the creation time (122) and the VAT code (126); the
  // five dates become 33.
  Einzelteil r;
  std::memset(&r, 0x5A, sizeof r);
  DATABASE_ClearEinzelteil(&r);
  std::vector<uint8_t> want(sizeof r, 0);
  for (size_t at : {122, 123, 126, 127}) want[at] = 0x5A;
  for (size_t at : {128, 130, 132, 134, 136}) want[at] = 33;
  EXPECT_EQ(std::vector<uint8_t>(reinterpret_cast<uint8_t*>(&r), reinterpret_cast<uint8_t*>(&r + 1)), want);

  // Flag tests return the masked bits.
  r.flags = DATABASE_FLAG_BENUTZT | DATABASE_FLAG_RETOURE | DATABASE_FLAG_EAN | DATABASE_FLAG_MENGE;
  r.quantity = 1;
  EXPECT_EQ(DATABASE_Einzelteil_ist_Retoure(&r), 0x08);
  EXPECT_EQ(DATABASE_Einzelteil_ist_EANMENGENTEIL(&r), 0x30);
  EXPECT_EQ(DATABASE_Einzelteil_ist_nicht_verkauft(&r), 1);
  // Quantity 1 is deliberately no quantity item, though bit 5 is set...
  EXPECT_EQ(DATABASE_Einzelteil_ist_Menge(&r), 0);
  EXPECT_EQ(DATABASE_GetMenge(&r), 1);
  r.quantity = 2;
  EXPECT_EQ(DATABASE_Einzelteil_ist_Menge(&r), 0x20);
  // ...and a single item's quantity field is ignored.
  r.flags = static_cast<int16_t>(0x8000 | DATABASE_FLAG_BENUTZT);
  r.quantity = 7;
  EXPECT_EQ(DATABASE_GetMenge(&r), 1);
  EXPECT_EQ(DATABASE_Einzelteil_ist_benutzt(&r), 0x01);
}

TEST_F(DatabaseFileTest, AllocationWrapsTo1001AndStopsWhenFull) {
  CreateSmall();
  Einzelteil r = NewRecord(1, 0);
  EXPECT_EQ(DATABASE_NeuesTeil(&r), 2);
  SetLastId(1002);
  EXPECT_EQ(DATABASE_NeuesTeil(&r), 1003);
  EXPECT_EQ(DATABASE_NeuesTeil(&r), 1004) << "the last item below N";
  // Record 1005 = N is never handed out; the search wraps to 1001, not to 3.
  EXPECT_EQ(DATABASE_NeuesTeil(&r), 1001);
  EXPECT_EQ(DATABASE_NeuesTeil(&r), 1002);
  EXPECT_EQ(DATABASE_NeuesTeil(&r), 0) << "1001 .. 1004 taken: full";
  // A slot whose word at 60 is set counts as taken even without bit 0.
  ASSERT_EQ(DATABASE_AltesTeilLoeschen(1002), 1);
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  EXPECT_EQ(DATABASE_FreieIdentnummer(), 1002);
  Einzelteil taken;
  ASSERT_EQ(DATABASE_ReadEinzelteil(1002, &taken), 1);
  taken.price1First = 5;
  ASSERT_EQ(DATABASE_WriteEinzelteil(1002, &taken), 1);
  EXPECT_EQ(DATABASE_FreieIdentnummer(), 0);
  DATABASE_SchliesseDatenbank();
  ExpectChain(dir(), Chain::Article, 1, {1, 2, 1003, 1004, 1001});
}

TEST_F(DatabaseFileTest, BadInputFailsAndWritesNothing) {
  CreateSmall();
  Einzelteil r = NewRecord(1, 0);
  auto before = kvtest::ReadFileBytes(path());

  EXPECT_EQ(DATABASE_ReadEinzelteil(1, &r), 0) << "file not open";
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  // Out of range, an unlock of what is not locked; N itself exists.
  EXPECT_EQ((std::vector<int32_t>{DATABASE_ReadEinzelteil(-1, &r), DATABASE_ReadEinzelteil(1006, &r),
                                  DATABASE_WriteEinzelteil(1006, &r), DATABASE_LockEinzelteil(1006),
                                  DATABASE_UnlockEinzelteil(1), DATABASE_ReadEinzelteil(1005, &r)}),
            (std::vector<int32_t>{0, 0, 0, 0, 0, 1}));
  DATABASE_SchliesseDatenbank();
  EXPECT_EQ((std::vector<int32_t>{DATABASE_NeuesTeil(nullptr), DATABASE_EinzelteilVerkaufen(nullptr),
                                  DATABASE_AltesTeilLoeschen(0), DATABASE_AltesTeilLoeschen(1005),
                                  DATABASE_EinzelteilAuszeigern(nullptr), DATABASE_GetEinzelteilMWST_Satz(5000)}),
            (std::vector<int32_t>{0, 0, 0, 0, 0, -1}));
  EXPECT_EQ(kvtest::ReadFileBytes(path()), before);

  // A file shorter than its records: the missing records do not read, and a
  // transaction on them writes nothing.
  auto shortFile = before;
  shortFile.resize(40 + 500 * 142 + 70);
  kvtest::WriteFileBytes(path(), shortFile);
  Einzelteil probe;
  EXPECT_EQ(DATABASE_LeseEinzelteil(500, &probe) + DATABASE_LeseEinzelteil(700, &probe), 0);  // torn, missing
  int32_t request[DATABASE_CHANGE_REQUEST_WORDS] = {0x01, 700, 0, 0, 0, 0, 5, 0, 9};
  EXPECT_EQ(DATABASE_EinzelteilWertAendern(request), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(path()), shortFile);
  EXPECT_EQ(DATABASE_ErweitereDatenbank(), 1);
  EXPECT_EQ(kvtest::FileSize(path()), 40 + 1006 * 142);
  EXPECT_EQ(DATABASE_LeseEinzelteil(1, &probe), 1);
  EXPECT_EQ(probe.article, 1);

  EXPECT_EQ(DATABASE_Init(1, dir().c_str()), 0);
  EXPECT_EQ(DATABASE_Version(), 0);
}

TEST_F(DatabaseFileTest, OldVersionIsCarriedOverWhole) {
  CreateSmall();
  auto bytes = kvtest::ReadFileBytes(path());
  kvtest::PutI32(bytes, 0, 540);
  kvtest::WriteFileBytes(path(), bytes);
  EXPECT_EQ(DATABASE_DoUpdate(600, 500), 0) << "not a 500 file";
  ASSERT_EQ(DATABASE_DoUpdate(600, 540), 1);
  auto now = kvtest::ReadFileBytes(path());
  EXPECT_EQ(kvtest::I32At(now, 0), 600);
  EXPECT_TRUE(std::equal(bytes.begin() + 40, bytes.end(), now.begin() + 40));
  EXPECT_FALSE(kvtest::FileExists(path() + ".600"));
  EXPECT_EQ(DATABASE_DoUpdate(600, 600), 1);
}

}  // namespace
}  // namespace articletest
