// Article and single-item numbers beyond the records a file may have: the
// calls fail before any I/O and the files keep their size, while a file
// enlarged by a station with a larger count stays usable in full.
#include <climits>
#include <string>
#include <vector>

#include "article_support.h"

namespace articletest {
namespace {

class RecordBounds : public kvtest::DataDirTest {
 protected:
  std::string articles() const { return file(ARTLIB_FILE_NAME); }
};

TEST_F(RecordBounds, ArticleNumbersReachTheLargerOfCountAndFile) {
  ASSERT_EQ(ARTLIB_Init(10, dir().c_str()), ARTLIB_CURRENT_VERSION);
  const auto before = kvtest::ReadFileBytes(articles());
  ArtikelRecord a;
  ARTLIB_ClearArtikel(&a);
  for (int32_t n : {11, 1000, INT_MAX}) {
    EXPECT_EQ(ARTLIB_SchreibeArtikel(n, &a), 0) << n;
    EXPECT_EQ(ARTLIB_LeseArtikel(n, &a), 0) << n;
  }
  const int32_t h = ARTLIB_OeffneDatenbank();
  ASSERT_NE(h, -1);
  std::vector<uint8_t> block(660);
  EXPECT_EQ(ARTLIB_WriteArtikel(h, INT_MAX, &a), 0);
  EXPECT_EQ(ARTLIB_BlockReadArtikel(h, INT_MAX, 1, block.data()), 0);
  ARTLIB_SchliesseDatenbank();
  EXPECT_EQ(kvtest::ReadFileBytes(articles()), before);

  // Another station works with 20 articles and has enlarged the file; a
  // station still configured for 10 reads and writes all of them.
  ASSERT_EQ(ARTLIB_Init(20, dir().c_str()), ARTLIB_CURRENT_VERSION);
  ASSERT_EQ(ARTLIB_ErweitereDatenbank(), 1);
  ASSERT_EQ(kvtest::FileSize(articles()), 40 + 21 * 660);
  ASSERT_EQ(ARTLIB_Init(10, dir().c_str()), ARTLIB_CURRENT_VERSION);
  a.firstItem = 77;
  EXPECT_EQ(ARTLIB_SchreibeArtikel(20, &a), 1);
  ArtikelRecord back;
  EXPECT_EQ(ARTLIB_LeseArtikel(20, &back), 1);
  EXPECT_EQ(int32_t{back.firstItem}, 77);
  EXPECT_EQ(ARTLIB_SchreibeArtikel(21, &a), 0);
  EXPECT_EQ(kvtest::FileSize(articles()), 40 + 21 * 660);
}

class ItemBlockBounds : public ArticleTest {};

TEST_F(ItemBlockBounds, BlockWritesStayWithinTheRecordsOfTheFile) {
  const std::string items = file(DATABASE_FILE_NAME);
  const int64_t size = kvtest::FileSize(items);
  ASSERT_EQ(size, 40 + int64_t{kItems + 1} * DATABASE_RECORD_SIZE);
  const int32_t h = DATABASE_OeffneDatenbank();
  ASSERT_NE(h, -1);
  std::vector<uint8_t> two(2 * DATABASE_RECORD_SIZE, 0x5A);
  EXPECT_EQ(Database_BlockWriteET(h, INT_MAX, two.data(), 1), 0);
  EXPECT_EQ(Database_BlockWriteET(h, kItems, two.data(), 2), 0);  // the second lies past N
  EXPECT_EQ(Database_BlockWriteET(h, -1, two.data(), 1), 0);
  EXPECT_EQ(Database_BlockReadET(h, kItems + 1, two.data(), 1), 0);
  EXPECT_EQ(kvtest::FileSize(items), size);
  // The last two records, and a read that runs short at the end.
  EXPECT_EQ(Database_BlockWriteET(h, kItems - 1, two.data(), 2), 1);
  std::vector<uint8_t> back(2 * DATABASE_RECORD_SIZE, 0);
  EXPECT_EQ(Database_BlockReadET(h, kItems, back.data(), 2), 1);
  EXPECT_EQ(back[DATABASE_RECORD_SIZE - 1], 0x5A);
  DATABASE_SchliesseDatenbank();
  EXPECT_EQ(kvtest::FileSize(items), size);
}

}  // namespace
}  // namespace articletest
