// The till sale end to end over real files: items created into an
// article's and a designation's chains, sold to one customer and then to
// another, deleted again; every head and link checked on disk after each
// step.
#include <string>

#include "article_support.h"

namespace articletest {
namespace {

class TillSaleTest : public ArticleTest {
 protected:
  void Sell(int32_t id, int32_t customer) {
    EinzelteilVerkauf sale{.item = id, .documentRef = 5000 + id, .previousDocumentRef = 0, .location = 3,
                           .saleRef = 77, .customer = customer, .quantity = 1, .flags = 0x0180,
                           .saleDate = 45000, .saleTime = 1234, .vatCode = 1, .reserved38 = 0};
    ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  }
  // The article's and the designation's chain, which always hold the same items.
  void ExpectStock(int32_t article, int32_t bez, const std::vector<int32_t>& ids) {
    ExpectChain(dir(), Chain::Article, article, ids);
    ExpectChain(dir(), Chain::Designation, bez, ids);
  }
};

TEST_F(TillSaleTest, ItemsMoveThroughArticleDesignationAndCustomerChains) {
  PutArticle(7, "Sommerkleid", 1, 1000);
  int32_t bez = BEZLIB_NeueBezeichnung("Kleid blau");
  int32_t a = NewCustomer(), b = NewCustomer();
  ASSERT_GT(bez, 0);
  ASSERT_TRUE(a != 0 && b != 0);

  std::vector<int32_t> ids;
  for (int i = 0; i < 3; ++i) {
    Einzelteil r = NewRecord(7, bez);
    ids.push_back(DATABASE_NeuesTeil(&r));
    ExpectStock(7, bez, ids);
  }
  EXPECT_EQ(ids, (std::vector<int32_t>{1, 2, 3}));
  EXPECT_EQ(LastIdOnDisk(dir()), 3);
  ASSERT_EQ(EANTEILE_Schreibe_EAN_Einzelteil(2, "4006381333931"), 1);
  TeileZusatz extra{};
  std::strcpy(extra.text, "Seriennr. 42");
  ASSERT_EQ(TeileZusatz_Schreibe(2, &extra), 1);

  // Sale of item 2 to A, then item 1 to A: A's chain in order of sale; the
  // article and designation chains are not touched by a sale.
  Sell(2, a);
  ExpectChain(dir(), Chain::Customer, a, {2});
  Sell(1, a);
  ExpectChain(dir(), Chain::Customer, a, {2, 1});
  ExpectChain(dir(), Chain::Customer, b, {});
  ExpectStock(7, bez, ids);
  Einzelteil sold = ReadItem(2);
  EXPECT_EQ(sold.flags, DATABASE_FLAG_BENUTZT | DATABASE_FLAG_VERKAUFT | 0x0180);
  EXPECT_EQ(sold.documentRef, 5002);
  EXPECT_EQ(sold.customer, a);

  // A later sale of item 2 to B moves it out of A's chain into B's.
  Sell(2, b);
  ExpectChain(dir(), Chain::Customer, a, {1});
  ExpectChain(dir(), Chain::Customer, b, {2});
  EXPECT_EQ(ReadItem(2).customer, b);

  // Deleting an item unlinks it everywhere and drops its EAN and extras.
  ASSERT_EQ(DATABASE_AltesTeilLoeschen(2), 1);
  ExpectStock(7, bez, {1, 3});
  ExpectChain(dir(), Chain::Customer, b, {});
  char ean[EANTEILE_EAN_SIZE];
  EXPECT_EQ(EANTEILE_Lese_EAN_Einzelteil(2, ean), 0);
  EXPECT_EQ(TeileZusatz_Lese(2, &extra), 0);
  EXPECT_EQ(ReadItem(2).flags, 0);
  EXPECT_EQ(ReadItem(2).saleDate, DATABASE_CLEARED_DATE);

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

TEST_F(TillSaleTest, ItemsOutsideDesignationsGivenIdentifiersAndFailedCreations) {
  // No designation, or a negative one: in the article's chain only; deleting
  // such an item leaves an unrelated empty designation alone.
  PutArticle(4, "Schal", 2);
  int32_t bez = BEZLIB_NeueBezeichnung("Schal rot");
  Einzelteil none = NewRecord(4, 0), negative = NewRecord(4, -bez);
  int32_t x = DATABASE_NeuesTeil(&none), y = DATABASE_NeuesTeil(&negative);
  ExpectChain(dir(), Chain::Designation, bez, {});
  ExpectChain(dir(), Chain::Article, 4, {x, y});
  EXPECT_EQ(ReadItem(y).bezPrev, 0);
  ASSERT_EQ(DATABASE_AltesTeilLoeschen(y), 1);
  Bezeichnung d;
  ASSERT_EQ(BEZLIB_LeseBezeichnung(bez, &d), 1);
  EXPECT_EQ(d.inUse, 1);
  ExpectChain(dir(), Chain::Article, 4, {x});

  // An item under a given identifier joins the chains but leaves the counter.
  PutArticle(9, "Jacke", 1);
  Einzelteil r = NewRecord(9, 0);
  ASSERT_EQ(DATABASE_NeuesTeilMitID(1500, &r), 1500);
  ASSERT_EQ(DATABASE_NeuesTeil(&r), 3) << "after the last identifier, not into the freed one";
  ExpectChain(dir(), Chain::Article, 9, {1500, 3});
  EXPECT_EQ(DATABASE_NeuesTeilMitID(0, &r), 0);
  // An article that cannot be read: nothing is linked or written. A
  // designation that cannot be read: the article chain joined first is left
  // again, so the item is in no chain at all.
  Einzelteil bad = NewRecord(kArticles + 10, 0), noBez = NewRecord(9, kDesignations + 5);
  EXPECT_EQ(DATABASE_NeuesTeil(&bad), 0);
  EXPECT_EQ(DATABASE_NeuesTeil(&noBez), 0);
  ExpectChain(dir(), Chain::Article, 9, {1500, 3});
  EXPECT_EQ(ReadItem(4).flags, 0);
  EXPECT_EQ(LastIdOnDisk(dir()), 3);
}

}  // namespace
}  // namespace articletest
