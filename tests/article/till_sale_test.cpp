// The till sale end to end over real files: items created into an
// article's and a designation's chains, sold to one customer and then to
// another, deleted again; every head and link checked on disk after each
// step.
#include <string>

#include "article_support.h"

namespace articletest {
namespace {

EinzelteilVerkauf SaleOf(int32_t id, int32_t customer) {
  EinzelteilVerkauf b{};
  b.item = id;
  b.documentRef = 5000 + id;
  b.location = 3;
  b.saleRef = 77;
  b.customer = customer;
  b.quantity = 1;
  b.flags = 0x0180;
  b.saleDate = 45000;
  b.saleTime = 1234;
  b.vatCode = 1;
  return b;
}

class TillSaleTest : public ArticleTest {};

TEST_F(TillSaleTest, ItemsMoveThroughArticleDesignationAndCustomerChains) {
  PutArticle(7, "Sommerkleid", 1, 1000);
  int32_t bez = BEZLIB_NeueBezeichnung("Kleid blau");
  ASSERT_GT(bez, 0);
  int32_t a = NewCustomer(), b = NewCustomer();
  ASSERT_NE(a, 0);
  ASSERT_NE(b, 0);

  std::vector<int32_t> ids;
  for (int i = 0; i < 3; ++i) {
    Einzelteil r = NewRecord(7, bez);
    int32_t id = DATABASE_NeuesTeil(&r);
    ASSERT_NE(id, 0);
    ids.push_back(id);
    ExpectChain(dir(), Chain::Article, 7, ids);
    ExpectChain(dir(), Chain::Designation, bez, ids);
  }
  EXPECT_EQ(ids, (std::vector<int32_t>{1, 2, 3}));
  auto teile = kvtest::ReadFileBytes(file(DATABASE_FILE_NAME));
  EXPECT_EQ(kvtest::I32At(teile, 40 + 60), 3) << "record 0 remembers the last identifier";
  ASSERT_EQ(EANTEILE_Schreibe_EAN_Einzelteil(2, "4006381333931"), 1);
  TeileZusatz extra{};
  std::strcpy(extra.text, "Seriennr. 42");
  ASSERT_EQ(TeileZusatz_Schreibe(2, &extra), 1);

  // Sale of item 2 to A, then item 1 to A: A's chain in order of sale.
  EinzelteilVerkauf sale = SaleOf(2, a);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  ExpectChain(dir(), Chain::Customer, a, {2});
  sale = SaleOf(1, a);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  ExpectChain(dir(), Chain::Customer, a, {2, 1});
  ExpectChain(dir(), Chain::Customer, b, {});
  // The article and designation chains are not touched by a sale.
  ExpectChain(dir(), Chain::Article, 7, ids);
  ExpectChain(dir(), Chain::Designation, bez, ids);
  Einzelteil sold = ReadItem(2);
  EXPECT_EQ(sold.flags, DATABASE_FLAG_BENUTZT | DATABASE_FLAG_VERKAUFT | 0x0180);
  EXPECT_EQ(sold.documentRef, 5002);
  EXPECT_EQ(sold.customer, a);

  // A later sale of item 2 to B moves it out of A's chain into B's.
  sale = SaleOf(2, b);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  ExpectChain(dir(), Chain::Customer, a, {1});
  ExpectChain(dir(), Chain::Customer, b, {2});
  EXPECT_EQ(ReadItem(2).customer, b);

  // Deleting an item unlinks it everywhere and drops its EAN and extras.
  ASSERT_EQ(DATABASE_AltesTeilLoeschen(2), 1);
  ExpectChain(dir(), Chain::Article, 7, {1, 3});
  ExpectChain(dir(), Chain::Designation, bez, {1, 3});
  ExpectChain(dir(), Chain::Customer, b, {});
  char ean[EANTEILE_EAN_SIZE];
  EXPECT_EQ(EANTEILE_Lese_EAN_Einzelteil(2, ean), 0);
  EXPECT_EQ(TeileZusatz_Lese(2, &extra), 0);
  Einzelteil gone = ReadItem(2);
  EXPECT_EQ(gone.flags, 0);
  EXPECT_EQ(gone.saleDate, DATABASE_CLEARED_DATE);

  ASSERT_EQ(DATABASE_AltesTeilLoeschen(1), 1);
  ExpectChain(dir(), Chain::Customer, a, {});
  Bezeichnung d;
  ASSERT_EQ(BEZLIB_LeseBezeichnung(bez, &d), 1);
  EXPECT_EQ(d.inUse, 1) << "the designation still has item 3";

  // Removing the last item of the designation deletes the designation.
  ASSERT_EQ(DATABASE_AltesTeilLoeschen(3), 1);
  ExpectChain(dir(), Chain::Article, 7, {});
  ASSERT_EQ(BEZLIB_LeseBezeichnung(bez, &d), 1);
  EXPECT_EQ(d.inUse, 0);
  EXPECT_EQ(BEZLIB_NeueBezeichnung("Hose"), bez) << "the slot is free again";

  // Every designation head change left a START / ENDED pair in the lock log.
  auto log = kvtest::ReadFileBytes(file("kvlogfile.txt"));
  std::string text(log.begin(), log.end());
  EXPECT_NE(text.find("Function: START DATABASE_AddETtoBEZKette"), std::string::npos);
  EXPECT_NE(text.find("Function: ENDED DATABASE_RemoveETfromBEZKette"), std::string::npos);
}

TEST_F(TillSaleTest, ItemsWithoutDesignationStayOutOfEveryDesignationChain) {
  PutArticle(4, "Schal", 2);
  int32_t bez = BEZLIB_NeueBezeichnung("Schal rot");
  Einzelteil none = NewRecord(4, 0);
  Einzelteil negative = NewRecord(4, -bez);
  int32_t x = DATABASE_NeuesTeil(&none);
  int32_t y = DATABASE_NeuesTeil(&negative);
  ASSERT_NE(x, 0);
  ASSERT_NE(y, 0);
  ExpectChain(dir(), Chain::Article, 4, {x, y});
  ExpectChain(dir(), Chain::Designation, bez, {});
  EXPECT_EQ(ReadItem(y).bezPrev, 0);
  ASSERT_EQ(DATABASE_AltesTeilLoeschen(y), 1);
  Bezeichnung d;
  ASSERT_EQ(BEZLIB_LeseBezeichnung(bez, &d), 1);
  EXPECT_EQ(d.inUse, 1) << "an empty but unrelated designation is not deleted";
  ExpectChain(dir(), Chain::Article, 4, {x});
}

TEST_F(TillSaleTest, ItemUnderAGivenIdentifierJoinsTheChainsAndLeavesTheCounter) {
  PutArticle(9, "Jacke", 1);
  Einzelteil r = NewRecord(9, 0);
  ASSERT_EQ(DATABASE_NeuesTeilMitID(1500, &r), 1500);
  ASSERT_EQ(DATABASE_NeuesTeil(&r), 1);
  ExpectChain(dir(), Chain::Article, 9, {1500, 1});
  EXPECT_EQ(DATABASE_NeuesTeilMitID(0, &r), 0);
  // An article that cannot be read: nothing is linked or written.
  Einzelteil bad = NewRecord(kArticles + 10, 0);
  EXPECT_EQ(DATABASE_NeuesTeil(&bad), 0);
  // A designation that cannot be read: the article chain joined first is
  // left again, so the item is in no chain at all.
  Einzelteil noBez = NewRecord(9, kDesignations + 5);
  EXPECT_EQ(DATABASE_NeuesTeil(&noBez), 0);
  ExpectChain(dir(), Chain::Article, 9, {1500, 1});
  EXPECT_EQ(ReadItem(2).flags, 0);
  EXPECT_EQ(kvtest::I32At(kvtest::ReadFileBytes(file(DATABASE_FILE_NAME)), 40 + 60), 1);
}

}  // namespace
}  // namespace articletest
