// Transactions on single items, field by field: what each one changes and
// what it must leave alone.
#include "article_support.h"

namespace articletest {
namespace {

class TransactionTest : public ArticleTest {
 protected:
  void SetUp() override {
    ArticleTest::SetUp();
    PutArticle(2, "Bluse", 3, 100);
    customer_ = NewCustomer();
    Einzelteil r = NewRecord(2, 0);
    r.location = 4;
    r.locationDate = 40000;
    r.documentRef = 900;
    r.quantity = 1;
    r.vatCode = 1;
    id_ = DATABASE_NeuesTeil(&r);
    ASSERT_NE(id_, 0);
  }
  EinzelteilVerkauf Sale(int32_t location, uint16_t vat) const {
    EinzelteilVerkauf b{};
    b.item = id_;
    b.documentRef = 901;
    b.previousDocumentRef = 899;
    b.location = location;
    b.saleRef = 31;
    b.customer = customer_;
    b.quantity = 1;
    b.flags = 0xFFFF;  // only bits 7..15 are taken
    b.saleDate = 45100;
    b.saleTime = 700;
    b.vatCode = vat;
    return b;
  }
  EinzelteilBuchung Booking(int32_t location, uint16_t date) const {
    EinzelteilBuchung b{};
    b.reserved0 = -1;
    b.item = id_;
    b.inventoryRef = 61;
    b.location = location;
    b.quantity = 3;
    b.date = date;
    return b;
  }
  // Compares two records except the listed fields.
  static void ExpectSameExcept(const Einzelteil& a, const Einzelteil& b, std::vector<std::pair<size_t, size_t>> skip) {
    const uint8_t* x = reinterpret_cast<const uint8_t*>(&a);
    const uint8_t* y = reinterpret_cast<const uint8_t*>(&b);
    for (size_t i = 0; i < sizeof a; ++i) {
      bool skipped = false;
      for (auto [at, len] : skip) skipped = skipped || (i >= at && i < at + len);
      if (!skipped) {
        ASSERT_EQ(x[i], y[i]) << "byte " << i;
      }
    }
  }
  int32_t customer_ = 0;
  int32_t id_ = 0;
};

#define FIELD(f) std::pair<size_t, size_t>{offsetof(Einzelteil, f), sizeof(Einzelteil::f)}

TEST_F(TransactionTest, SaleSetsTheBookedFieldsAndNothingElse) {
  Einzelteil before = ReadItem(id_);
  EinzelteilVerkauf sale = Sale(4, 6);  // same location, VAT code out of range
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  Einzelteil after = ReadItem(id_);
  EXPECT_EQ(static_cast<uint16_t>(after.flags), 0xFF83);
  EXPECT_EQ(after.locationDate, 40000) << "location unchanged: date kept";
  EXPECT_EQ(after.vatCode, 1) << "VAT code 6 is not taken";
  EXPECT_EQ(after.saleRef, 31);
  EXPECT_EQ(after.documentRef, 901);
  EXPECT_EQ(after.previousDocumentRef, 899);
  EXPECT_EQ(after.saleDate, 45100);
  EXPECT_EQ(after.saleTime, 700);
  EXPECT_EQ(after.customer, customer_);
  ExpectSameExcept(before, after,
                   {FIELD(flags), FIELD(saleRef), FIELD(documentRef), FIELD(previousDocumentRef),
                    FIELD(saleDate), FIELD(saleTime), FIELD(quantity), FIELD(customer), FIELD(location)});
  ExpectChain(dir(), Chain::Customer, customer_, {id_});

  // Another location takes the sale date as location date; VAT 65535 is ignored, 0 taken.
  sale = Sale(8, 65535);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  after = ReadItem(id_);
  EXPECT_EQ(after.locationDate, 45100);
  EXPECT_EQ(after.location, 8);
  EXPECT_EQ(after.vatCode, 1);
  ExpectChain(dir(), Chain::Customer, customer_, {id_});  // same customer: not linked twice
  sale = Sale(8, 0);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  EXPECT_EQ(ReadItem(id_).vatCode, 0);

  // A sale without a customer leaves the item outside every chain.
  sale.customer = 0;
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  ExpectChain(dir(), Chain::Customer, customer_, {});
  EXPECT_EQ(ReadItem(id_).customer, 0);
}

TEST_F(TransactionTest, ReturnsAndUnusedSlotsAreNotSold) {
  EinzelteilVerkauf sale = Sale(4, 1);
  sale.item = id_ + 1;  // a free slot
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 0);
  Einzelteil r = ReadItem(id_);
  r.flags |= DATABASE_FLAG_RETOURE;
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  ASSERT_EQ(DATABASE_WriteEinzelteil(id_, &r), 1);
  Einzelteil probe;
  EXPECT_EQ(DATABASE_GetEinzelteil(id_, &probe), 0);
  DATABASE_SchliesseDatenbank();
  EXPECT_EQ(DATABASE_GueltigesEinzelteil(id_, &probe), 0) << "in use but a return";
  auto image = kvtest::ReadFileBytes(file(DATABASE_FILE_NAME));
  sale.item = id_;
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(file(DATABASE_FILE_NAME)), image);
  EXPECT_EQ(DATABASE_EinzelteilVerkauf_to_ET(&sale, &r), 0);
  // In memory the in-use test is skipped; the customer is set without a chain.
  Einzelteil mem = NewRecord(2, 0);
  mem.flags = 0;
  mem.custPrev = 5;
  ASSERT_EQ(DATABASE_EinzelteilVerkauf_to_ET(&sale, &mem), 1);
  EXPECT_EQ(mem.customer, customer_);
  EXPECT_EQ(mem.custPrev, 0);
  EXPECT_EQ(static_cast<uint16_t>(mem.flags), 0xFF82);
  ExpectChain(dir(), Chain::Customer, customer_, {});
}

TEST_F(TransactionTest, ExchangeUndoesTheSaleAndAdoptsTheArticleVat) {
  EinzelteilVerkauf sale = Sale(4, 1);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  EinzelteilBuchung b = Booking(9, 45200);
  ASSERT_EQ(DATABASE_EinzelteilUmtauschen(&b, 0x1234), 1);
  Einzelteil r = ReadItem(id_);
  EXPECT_EQ(r.flags, DATABASE_FLAG_BENUTZT);
  EXPECT_EQ(r.previousDocumentRef, 901);
  EXPECT_EQ(r.documentRef, 0);
  EXPECT_EQ(r.saleRef, 0);
  EXPECT_EQ(r.location, 9);
  EXPECT_EQ(r.locationDate, 45200);
  EXPECT_EQ(r.exchangeDate, 45200);
  EXPECT_EQ(r.exchangeCount, 1);
  EXPECT_EQ(r.saleTime, 0x1234);
  EXPECT_EQ(r.customer, 0);
  EXPECT_EQ(r.vatCode, 3) << "the article's code";
  ExpectChain(dir(), Chain::Customer, customer_, {});

  // An unsold item: only the return bit and the time change.
  r.flags |= DATABASE_FLAG_RETOURE;
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  ASSERT_EQ(DATABASE_WriteEinzelteil(id_, &r), 1);
  DATABASE_SchliesseDatenbank();
  ASSERT_EQ(DATABASE_EinzelteilUmtauschen(&b, 0x2222), 1);
  Einzelteil again = ReadItem(id_);
  EXPECT_EQ(again.flags, DATABASE_FLAG_BENUTZT);
  EXPECT_EQ(again.saleTime, 0x2222);
  ExpectSameExcept(r, again, {FIELD(flags), FIELD(saleTime)});
  b.item = id_ + 1;
  EXPECT_EQ(DATABASE_EinzelteilUmtauschen(&b, 1), 0) << "slot not in use";

  // In memory: no chain, VAT code kept, customer fields zeroed together.
  Einzelteil mem = again;
  mem.flags = static_cast<int16_t>(0x8000 | DATABASE_FLAG_VERKAUFT | DATABASE_FLAG_BENUTZT);
  mem.customer = 12;
  mem.custNext = 13;
  mem.vatCode = 5;
  EXPECT_NE(DATABASE_EinzelteilUmtausch_to_ET(&b, &mem, 77), 0);
  EXPECT_EQ(mem.flags, DATABASE_FLAG_BENUTZT);
  EXPECT_EQ(mem.customer + mem.custNext, 0);
  EXPECT_EQ(mem.vatCode, 5);
  EXPECT_EQ(DATABASE_EinzelteilUmtausch_to_ET(&b, &mem, 78), 0) << "no longer sold";
  EXPECT_EQ(mem.saleTime, 78);
}

TEST_F(TransactionTest, ReturnLeavesFlagWordZeroOrDeletesTheItem) {
  EinzelteilVerkauf sale = Sale(4, 1);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  EinzelteilBuchung b = Booking(6, 45300);
  ASSERT_EQ(DATABASE_EinzelteilRetournieren(&b, 0), 1);
  Einzelteil r = ReadItem(id_);
  EXPECT_EQ(r.flags, 0) << "no longer in use";
  EXPECT_EQ(r.location, 6) << "the exchange ran first";
  EXPECT_EQ(r.exchangeCount, 1);
  EXPECT_EQ(r.article, 2) << "the data stays";
  ExpectChain(dir(), Chain::Article, 2, {id_});
  ExpectChain(dir(), Chain::Customer, customer_, {});
  EXPECT_EQ(DATABASE_EinzelteilRetournieren(&b, 0), 0) << "not in use any more";

  Einzelteil second = NewRecord(2, 0);
  int32_t other = DATABASE_NeuesTeil(&second);
  ASSERT_NE(other, 0);
  b.item = other;
  ASSERT_EQ(DATABASE_EinzelteilRetournieren(&b, 1), 1);
  Einzelteil gone = ReadItem(other);
  EXPECT_EQ(gone.flags, 0);
  EXPECT_EQ(gone.article, 0);
  ExpectChain(dir(), Chain::Article, 2, {id_});
}

TEST_F(TransactionTest, TransfersMoveUnsoldItemsAndKeepSoldOnesDates) {
  EinzelteilBuchung b = Booking(11, 45400);
  ASSERT_EQ(DATABASE_EinzelteilUmlagern(&b), 1);
  Einzelteil r = ReadItem(id_);
  EXPECT_EQ(r.location, 11);
  EXPECT_EQ(r.locationDate, 45400);
  EXPECT_EQ(r.quantity, 3);

  EinzelteilVerkauf sale = Sale(11, 1);
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  b = Booking(12, 45500);
  b.quantity = 9;
  auto image = kvtest::ReadFileBytes(file(DATABASE_FILE_NAME));
  EXPECT_EQ(DATABASE_EinzelteilUmlagern(&b), 0) << "sold";
  EXPECT_EQ(kvtest::ReadFileBytes(file(DATABASE_FILE_NAME)), image);
  ASSERT_EQ(DATABASE_EinzelteilUmlagernAuchVerkaufte(&b), 1);
  r = ReadItem(id_);
  EXPECT_EQ(r.location, 12);
  EXPECT_EQ(r.locationDate, 45400) << "kept for a sold item";
  EXPECT_EQ(r.quantity, 1) << "kept for a sold item";
  EXPECT_EQ(DATABASE_EinzelteilUmlagerung_to_ET(&b, &r), 0);
  r.flags = DATABASE_FLAG_BENUTZT;
  EXPECT_EQ(DATABASE_EinzelteilUmlagerung_to_ET(&b, &r), 1);
  EXPECT_EQ(r.location, 12);
  EXPECT_EQ(r.quantity, 9);
}

TEST_F(TransactionTest, InventoryAndQuantityChanges) {
  EinzelteilBuchung b = Booking(71, 45600);
  ASSERT_EQ(DATABASE_EinzelteilInventarisieren(&b), 1);
  Einzelteil r = ReadItem(id_);
  EXPECT_EQ(r.inventoryValueRef, 71);
  EXPECT_EQ(r.inventoryDate, 45600);
  EXPECT_EQ(r.inventoryRef, 61);
  EXPECT_EQ(r.quantity, 1);
  EXPECT_EQ(r.flags, DATABASE_FLAG_BENUTZT | DATABASE_FLAG_INVENTUR);

  // A quantity item adds the counted quantity, its inventory reference stays.
  r.flags |= DATABASE_FLAG_MENGE;
  r.quantity = 3;
  r.inventoryRef = 0;
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  ASSERT_EQ(DATABASE_WriteEinzelteil(id_, &r), 1);
  DATABASE_SchliesseDatenbank();
  ASSERT_EQ(DATABASE_EinzelteilInventarisieren(&b), 1);
  r = ReadItem(id_);
  EXPECT_EQ(r.quantity, 6);
  EXPECT_EQ(r.inventoryRef, 0);

  int32_t req[DATABASE_CHANGE_REQUEST_WORDS] = {0, id_, 0, 0, 0, 0, -5, 0, 0};
  ASSERT_EQ(DATABASE_EinzelteilMengeAendern(req), 1);
  EXPECT_EQ(ReadItem(id_).quantity, 1);
  req[6] = -5;
  ASSERT_EQ(DATABASE_EinzelteilMengeAendern(req), 1);
  EXPECT_EQ(ReadItem(id_).quantity, 0) << "not below 0";
  // The second counter is added to, without a floor.
  ASSERT_EQ(DATABASE_EinzelteilMengeSetzen(req), 1);
  ASSERT_EQ(DATABASE_EinzelteilMengeSetzen(req), 1);
  EXPECT_EQ(ReadItem(id_).quantity2, -10);
}

TEST_F(TransactionTest, ValueChangesFollowTheMaskAndPricesFollowTheArticle) {
  Einzelteil before = ReadItem(id_);
  int32_t req[DATABASE_CHANGE_REQUEST_WORDS] = {0x02 | 0x20 | 0x01, id_, 1, 2, 3, 4, 5, 6, 7};
  ASSERT_EQ(DATABASE_EinzelteilWertAendern(req), 1);
  Einzelteil r = ReadItem(id_);
  EXPECT_EQ(r.price1First, 1);
  EXPECT_EQ(r.price2Second, 5);
  EXPECT_EQ(r.value, 7);
  ExpectSameExcept(before, r, {FIELD(price1First), FIELD(price2Second), FIELD(value)});

  ASSERT_EQ(DATABASE_EinzelteilPreisanpassungAnArtikel(id_), 1);
  r = ReadItem(id_);
  EXPECT_EQ(r.price1First, 100);
  EXPECT_EQ(r.price1Second, 101);
  EXPECT_EQ(r.price2First, 102);
  EXPECT_EQ(r.price3Second, 105);

  EXPECT_EQ(DATABASE_GetEinzelteilMWST_Satz(id_), 1);
  EXPECT_EQ(DATABASE_GetArtikel_MWST_SatzViaEinzelteil(id_), 3);
  EXPECT_EQ(DATABASE_EinzelteilMWSTanpassungAnArtikel(id_), 3);
  EXPECT_EQ(DATABASE_GetEinzelteilMWST_Satz(id_), 3);
  // An item whose article cannot be read keeps its code and reports it.
  r.article = kArticles + 5;
  r.vatCode = 4;
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  ASSERT_EQ(DATABASE_WriteEinzelteil(id_, &r), 1);
  DATABASE_SchliesseDatenbank();
  EXPECT_EQ(DATABASE_EinzelteilMWSTanpassungAnArtikel(id_), 4);
  EXPECT_EQ(DATABASE_GetArtikel_MWST_SatzViaEinzelteil(id_), -1);
  EXPECT_EQ(DATABASE_EinzelteilPreisanpassungAnArtikel(id_), 0);
  ASSERT_EQ(DATABASE_Init(kItems, (dir() + "nowhere/").c_str()), 1);
  EXPECT_EQ(DATABASE_EinzelteilMWSTanpassungAnArtikel(id_), 2) << "file cannot be opened";
}

}  // namespace
}  // namespace articletest
