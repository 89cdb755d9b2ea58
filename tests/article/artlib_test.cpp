// The article file: record positions and the shifted lock range, nested
// open counts of the own and the foreign file, validity test, creation,
// enlargement and the upgrade chain from old versions.
#include <string>

#include "article_support.h"
#include "kvdata/kvhost.h"
#include "services/fault.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace articletest {
namespace {

class ArtlibTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override { ASSERT_EQ(ARTLIB_Init(10, dir().c_str()), ARTLIB_CURRENT_VERSION); }
  std::string path() const { return file(ARTLIB_FILE_NAME); }
};

TEST_F(ArtlibTest, RecordsLieAt40Plus660nAndCarryTheirWriteTime) {
  auto fresh = kvtest::ReadFileBytes(path());
  ASSERT_EQ(fresh.size(), 40u + 11u * 660u);
  EXPECT_EQ(kvtest::I32At(fresh, 0), 600);
  EXPECT_NEAR(static_cast<double>(static_cast<uint32_t>(kvtest::I32At(fresh, 4))),
              static_cast<double>(kv::UnixTimeNow32()), 5.0);
  EXPECT_EQ(ARTLIB_FilePos(3), 40 + 3 * 660);
  EXPECT_EQ(ARTLIB_FilePos(-1), -1);

  // One write changes exactly the fields of record 3, and stamps it in
  // the file and in the caller's record.
  ArtikelRecord a;
  ARTLIB_ClearArtikel(&a);
  a.firstItem = 11, a.lastItem = 12, a.price2Second = 0x01020304, a.vatCode = 5;
  std::strcpy(a.text, "Mantel");
  int64_t before = kv::UnixTimeNow();
  ASSERT_EQ(ARTLIB_SchreibeArtikel(3, &a), 1);
  const int64_t stamped = a.lastWrite;  // packed field: no reference to it
  EXPECT_GE(stamped, before);
  size_t at = 40 + 3 * 660;
  std::vector<uint8_t> want = fresh;
  for (auto [off, v] : {std::pair{0, 11}, {4, 12}, {24, 0x01020304}}) kvtest::PutI32(want, at + off, v);
  std::memcpy(&want[at + 87], "Mantel", 6);
  want[at + 146] = 5;
  std::memcpy(&want[at + 169], &a.lastWrite, 8);
  auto bytes = kvtest::ReadFileBytes(path());
  EXPECT_EQ(bytes, want);

  ArtikelRecord back;
  EXPECT_EQ(ARTLIB_LeseArtikel(0, &back), 0) << "record 0 is not an article";
  ASSERT_EQ(ARTLIB_SchreibeArtikel(0, &a), 1) << "but it can be written";
  EXPECT_EQ(kvtest::I32At(kvtest::ReadFileBytes(path()), 40), 11);
  EXPECT_EQ(ARTLIB_LeseArtikel(11, &back), 0) << "beyond the end of the file";

  std::vector<uint8_t> two(2 * 660);
  int32_t h = ARTLIB_OeffneDatenbank();
  ASSERT_EQ(ARTLIB_BlockReadArtikel(h, 3, 2, two.data()), 2 * 660);
  EXPECT_EQ(kvtest::I32At(two, 0), 11);
  EXPECT_EQ(ARTLIB_BlockReadArtikel(h, 10, 2, two.data()), 660) << "only one record left";
  EXPECT_EQ(ARTLIB_BlockReadArtikel(h, 11, 1, two.data()), 0) << "behind the end";
  uint8_t header[40];
  ASSERT_EQ(ARTLIB_ReadDBAHeader(h, header), 1);
  ARTLIB_SchliesseDatenbank();
  std::vector<uint8_t> all(bytes.size() + 100);
  EXPECT_EQ(ARTLIB_ReadComplete(all.data(), static_cast<int32_t>(all.size())), static_cast<int32_t>(bytes.size()));
  EXPECT_EQ(std::memcmp(all.data(), header, 40), 0);
}

TEST_F(ArtlibTest, RecordLockCoversTheRangeAt660nNotTheRecord) {
  ASSERT_NE(ARTLIB_OeffneDatenbank(), -1);
  ASSERT_EQ(ARTLIB_LockArtikel(2), 1);
  kv::FileHandle other = kv::FileIO_OpenRWS(path().c_str());
  EXPECT_EQ(kv::FileIO_TryLock(other, 2 * 660, 1), 0) << "first byte of the range";
  EXPECT_EQ(kv::FileIO_TryLock(other, 3 * 660 - 1, 1), 0) << "last byte of the range";
  // The last 40 bytes of record 2 lie outside its lock.
  EXPECT_EQ(kv::FileIO_TryLock(other, 3 * 660, 40), 1);
  EXPECT_EQ(ARTLIB_LockArtikel(2), 0) << "a held range is not taken twice";
  ASSERT_EQ(ARTLIB_UnlockArtikel(2), 1);
  EXPECT_EQ(kv::FileIO_TryLock(other, 2 * 660, 660), 1);
  kv::FileIO_Close(other);
  ARTLIB_SchliesseDatenbank();
  EXPECT_EQ(ARTLIB_LockArtikel(2), 0) << "no lock without an open file";
}

TEST_F(ArtlibTest, ValidArticleNeedsMatchingTextAndANonZeroWordAndEnlargementKeepsIt) {
  ArtikelRecord a;
  ARTLIB_ClearArtikel(&a);
  std::strcpy(a.text, "Hemd");
  ASSERT_EQ(ARTLIB_SchreibeArtikel(4, &a), 1);
  EXPECT_EQ(ARTLIB_TesteAufGueltigenArtikel(4, "Hemd"), 0) << "first 36 bytes all zero";
  a.price3Second = 1;  // the ninth word
  ASSERT_EQ(ARTLIB_SchreibeArtikel(4, &a), 1);
  EXPECT_EQ(ARTLIB_TesteAufGueltigenArtikel(4, "Hemd"), 1);
  for (auto [n, text] : {std::pair<int32_t, const char*>{4, "hemd"}, {4, "Hemd "}, {0, "Hemd"}, {4, nullptr}})
    EXPECT_EQ(ARTLIB_TesteAufGueltigenArtikel(n, text), 0) << n << (text ? text : "(null)");

  // Enlargement keeps the records.
  PutArticle(10, "letzter", 3);
  ASSERT_EQ(ARTLIB_Init(20, dir().c_str()), 600);
  EXPECT_EQ(kvtest::FileSize(path()), 40 + 11 * 660) << "Init does not enlarge an existing file";
  ASSERT_EQ(ARTLIB_ErweitereDatenbank(), 1);
  EXPECT_EQ(kvtest::FileSize(path()), 40 + 21 * 660);
  ASSERT_EQ(ARTLIB_LeseArtikel(10, &a), 1);
  EXPECT_STREQ(a.text, "letzter");
}

TEST_F(ArtlibTest, OpensNestAndTheForeignFileHasItsOwnHandleAndCount) {
  int32_t h1 = ARTLIB_OeffneDatenbank();
  ASSERT_NE(h1, -1);
  EXPECT_EQ(ARTLIB_OeffneDatenbank(), h1);
  ARTLIB_SchliesseDatenbank();
  ArtikelRecord a;
  EXPECT_EQ(ARTLIB_ReadArtikel(h1, 1, &a), 1) << "still open after one close";
  ARTLIB_SchliesseDatenbank();
  EXPECT_EQ(ARTLIB_ReadArtikel(h1, 1, &a), 0) << "closed after the second";

  kvtest::TempDir other;
  ASSERT_EQ(ARTLIB_Init(5, other.path().c_str()), 600);
  PutArticle(2, "fremd", 1);
  ASSERT_EQ(ARTLIB_Init(10, dir().c_str()), 600);

  EXPECT_EQ(ARTLIB_LeseArtikelAusFremderDB(2, &a), 0) << "nothing open yet";
  EXPECT_EQ(ARTLIB_OeffneFremdeDatenbank(file("missing.dba").c_str()), -1);
  std::string foreign = other.file(ARTLIB_FILE_NAME);
  int32_t f1 = ARTLIB_OeffneFremdeDatenbank(foreign.c_str());
  ASSERT_NE(f1, -1);
  EXPECT_EQ(ARTLIB_OeffneFremdeDatenbank("ignored while open"), f1);
  int32_t own = ARTLIB_OeffneDatenbank();
  EXPECT_NE(own, f1);
  ARTLIB_SchliesseDatenbank();
  ArtikelRecord b;
  ASSERT_EQ(ARTLIB_LeseArtikelAusFremderDB(2, &b), 1);
  EXPECT_STREQ(b.text, "fremd");
  EXPECT_EQ(ARTLIB_LeseArtikelAusFremderDB(0, &b), 0);
  ASSERT_EQ(ARTLIB_LeseArtikel(2, &b), 1);
  EXPECT_STREQ(b.text, "") << "the own file is another file";
  ARTLIB_SchliesseFremdeDatenbank();
  EXPECT_EQ(ARTLIB_LeseArtikelAusFremderDB(2, &b), 1);
  ARTLIB_SchliesseFremdeDatenbank();
  EXPECT_EQ(ARTLIB_LeseArtikelAusFremderDB(2, &b), 0);
}

void KV_CALLBACK RecordProgress(int32_t event, int32_t, int32_t value, const char*, void* context) {
  if (event == KV_PROGRESS_START || event == KV_PROGRESS_STEP)
    static_cast<std::vector<std::pair<int32_t, int32_t>>*>(context)->push_back({event, value});
}

// An old file: header version, some records with known fields and
// arbitrary bytes elsewhere.
std::vector<uint8_t> OldFile(int32_t version) {
  std::vector<uint8_t> bytes(40 + 4 * 660, 0);
  kvtest::PutI32(bytes, 0, version);
  kvtest::PutI32(bytes, 4, 12345);
  for (size_t i = 40; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7);
  kvtest::PutI32(bytes, 40 + 2 * 660, 901);  // first item of article 2
  std::memcpy(&bytes[40 + 2 * 660 + 87], "Alt\0", 4);
  return bytes;
}

TEST_F(ArtlibTest, UpgradeFrom510CarriesEveryRecordAndLeavesNoTemporaryFile) {
  // A copy whose header goes through but whose first record does not keeps
  // the old file.
  kvtest::WriteFileBytes(path(), OldFile(510));
  kv::fault::Arm(kv::fault::Kind::Write, 1);
  EXPECT_EQ(ARTLIB_Init(3, dir().c_str()), 0);
  kv::fault::Reset();
  EXPECT_EQ(kvtest::ReadFileBytes(path()), OldFile(510));
  EXPECT_FALSE(kvtest::FileExists(path() + ".520"));

  for (int32_t version : {510, 530, 590}) {
    SCOPED_TRACE(version);
    std::vector<uint8_t> old = OldFile(version);
    kvtest::WriteFileBytes(path(), old);
    EXPECT_EQ(ARTLIB_Version(), version);
    std::vector<std::pair<int32_t, int32_t>> events;
    KVHOST_SetProgressHandler(&RecordProgress, &events);
    int32_t result = ARTLIB_Init(3, dir().c_str());
    KVHOST_SetProgressHandler(nullptr, nullptr);
    ASSERT_EQ(result, 600);
    // The walk over the records reports its progress.
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), std::make_pair(KV_PROGRESS_START, 4));
    EXPECT_EQ(events.back(), std::make_pair(KV_PROGRESS_STEP, 4));
    auto now = kvtest::ReadFileBytes(path());
    ASSERT_EQ(now.size(), old.size());
    EXPECT_EQ(kvtest::I32At(now, 0), 600);
    EXPECT_NE(kvtest::I32At(now, 4), 12345) << "restamped";
    EXPECT_TRUE(std::equal(old.begin() + 8, old.end(), now.begin() + 8));
    EXPECT_TRUE(ARTLIB_TesteAufGueltigenArtikel(2, "Alt"));
    for (const char* leftover : {".520", ".540", ".600"})
      EXPECT_FALSE(kvtest::FileExists(path() + leftover)) << leftover;
  }
  // A current file and a newer one are left alone.
  EXPECT_EQ(ARTLIB_DoUpdate(600, 600), 1);
  EXPECT_EQ(ARTLIB_DoUpdate(600, 510), 0) << "the file is not a 510 file";
  std::vector<uint8_t> newer = OldFile(700);
  kvtest::WriteFileBytes(path(), newer);
  EXPECT_EQ(ARTLIB_Init(3, dir().c_str()), 700);
  EXPECT_EQ(kvtest::ReadFileBytes(path()), newer);
  std::vector<uint8_t> old = OldFile(510);
  kvtest::WriteFileBytes(path(), old);
  // A step whose new file cannot take the old one's place leaves the old
  // file whole under its name, and no new file beside it.
  kv::fault::Arm(kv::fault::Kind::Rename, 0);
  EXPECT_EQ(ARTLIB_DoUpdate(600, 510), 0);
  kv::fault::Reset();
  EXPECT_EQ(kvtest::ReadFileBytes(path()), old);
  EXPECT_FALSE(kvtest::FileExists(path() + ".520"));
  EXPECT_EQ(ARTLIB_DoUpdate(600, 510), 1);
  EXPECT_EQ(ARTLIB_Version(), 600);
}

}  // namespace
}  // namespace articletest
