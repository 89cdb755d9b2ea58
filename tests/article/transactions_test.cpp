// Transactions on single items, field by field: each test states the whole
// record it expects, so a field changed that should stay shows up too.
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
    r.location = 4, r.locationDate = 40000, r.documentRef = 900, r.quantity = 1;
    id_ = DATABASE_NeuesTeil(&r);
    ASSERT_NE(id_, 0);
  }
  // A sale at location; its flag word is all ones, of which only bits 7..15 are taken.
  EinzelteilVerkauf Sale(int32_t location, uint16_t vat) const {
    return {.item = id_, .documentRef = 901, .previousDocumentRef = 899, .location = location, .saleRef = 31,
            .customer = customer_, .quantity = 1, .flags = 0xFFFF, .saleDate = 45100, .saleTime = 700, .vatCode = vat,
            .reserved38 = 0};
  }
  EinzelteilBuchung Booking(int32_t location, uint16_t date) const {
    return {.reserved0 = -1, .item = id_, .inventoryRef = 61, .reserved12 = 0, .location = location,
            .reserved20 = 0, .quantity = 3, .date = date, .reserved30 = 0};
  }
  void Sell(EinzelteilVerkauf sale) { ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1); }
  // The item on disk equals want in every byte.
  void ExpectItem(const Einzelteil& want) {
    Einzelteil got = ReadItem(id_);
    const uint8_t* x = reinterpret_cast<const uint8_t*>(&want);
    const uint8_t* y = reinterpret_cast<const uint8_t*>(&got);
    for (size_t i = 0; i < sizeof want; ++i) ASSERT_EQ(x[i], y[i]) << "byte " << i;
  }
  int32_t customer_ = 0;
  int32_t id_ = 0;
};

TEST_F(TransactionTest, SaleSetsTheBookedFieldsAndNothingElse) {
  Einzelteil want = ReadItem(id_);
  Sell(Sale(4, 6));  // same location, VAT code out of range
  want.flags = static_cast<int16_t>(0xFF83), want.customer = customer_;
  want.saleRef = 31, want.documentRef = 901, want.previousDocumentRef = 899;
  want.saleDate = 45100, want.saleTime = 700;
  ExpectItem(want);  // location unchanged: its date kept; VAT code 6 not taken
  ExpectChain(dir(), Chain::Customer, customer_, {id_});

  // Another location takes the sale date as location date; VAT 65535 is
  // ignored, 0 taken; the same customer is not linked twice.
  Sell(Sale(8, 65535));
  want.location = 8, want.locationDate = 45100;
  ExpectItem(want);
  ExpectChain(dir(), Chain::Customer, customer_, {id_});
  EinzelteilVerkauf sale = Sale(8, 0);
  Sell(sale);
  EXPECT_EQ(ReadItem(id_).vatCode, 0);

  // A sale without a customer leaves the item outside every chain.
  sale.customer = 0;
  Sell(sale);
  ExpectChain(dir(), Chain::Customer, customer_, {});
  EXPECT_EQ(ReadItem(id_).customer, 0);
}

TEST_F(TransactionTest, ReturnsAndUnusedSlotsAreNotSold) {
  EinzelteilVerkauf sale = Sale(4, 1);
  sale.item = id_ + 1;  // a free slot
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 0);
  Einzelteil r = ReadItem(id_);
  r.flags |= DATABASE_FLAG_RETOURE;
  WriteItem(id_, r);
  Einzelteil probe;
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
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
  mem.flags = 0, mem.custPrev = 5;
  ASSERT_EQ(DATABASE_EinzelteilVerkauf_to_ET(&sale, &mem), 1);
  EXPECT_EQ(mem.customer, customer_);
  EXPECT_EQ(mem.custPrev, 0);
  EXPECT_EQ(static_cast<uint16_t>(mem.flags), 0xFF82);
  ExpectChain(dir(), Chain::Customer, customer_, {});
}

TEST_F(TransactionTest, ExchangeUndoesTheSaleAndAdoptsTheArticleVat) {
  Sell(Sale(4, 1));
  Einzelteil want = ReadItem(id_);
  EinzelteilBuchung b = Booking(9, 45200);
  ASSERT_EQ(DATABASE_EinzelteilUmtauschen(&b, 0x1234), 1);
  want.flags = DATABASE_FLAG_BENUTZT, want.saleTime = 0x1234;
  want.previousDocumentRef = 901, want.documentRef = want.saleRef = want.customer = 0;
  want.location = 9, want.locationDate = want.exchangeDate = 45200, want.exchangeCount = 1;
  want.vatCode = 3;  // the article's code
  ExpectItem(want);
  ExpectChain(dir(), Chain::Customer, customer_, {});

  // An unsold item: only the return bit and the time change.
  want.flags |= DATABASE_FLAG_RETOURE;
  WriteItem(id_, want);
  ASSERT_EQ(DATABASE_EinzelteilUmtauschen(&b, 0x2222), 1);
  want.flags = DATABASE_FLAG_BENUTZT, want.saleTime = 0x2222;
  ExpectItem(want);
  b.item = id_ + 1;
  EXPECT_EQ(DATABASE_EinzelteilUmtauschen(&b, 1), 0) << "slot not in use";

  // In memory: no chain, VAT code kept, customer fields zeroed together.
  Einzelteil mem = want;
  mem.flags = static_cast<int16_t>(0x8000 | DATABASE_FLAG_VERKAUFT | DATABASE_FLAG_BENUTZT);
  mem.customer = 12, mem.custNext = 13, mem.vatCode = 5;
  EXPECT_NE(DATABASE_EinzelteilUmtausch_to_ET(&b, &mem, 77), 0);
  EXPECT_EQ(mem.flags, DATABASE_FLAG_BENUTZT);
  EXPECT_EQ(mem.customer + mem.custNext, 0);
  EXPECT_EQ(mem.vatCode, 5);
  EXPECT_EQ(DATABASE_EinzelteilUmtausch_to_ET(&b, &mem, 78), 0) << "no longer sold";
  EXPECT_EQ(mem.saleTime, 78);
}

TEST_F(TransactionTest, ReturnLeavesFlagWordZeroOrDeletesTheItem) {
  Sell(Sale(4, 1));
  EinzelteilBuchung b = Booking(6, 45300);
  ASSERT_EQ(DATABASE_EinzelteilRetournieren(&b, 0), 1);
  Einzelteil r = ReadItem(id_);
  EXPECT_EQ(r.flags, 0) << "no longer in use";
  EXPECT_EQ(r.location, 6) << "the exchange ran first";
  EXPECT_EQ(r.exchangeCount, 1);
  EXPECT_EQ(r.article, 2) << "the data stays";
  ExpectChain(dir(), Chain::Customer, customer_, {});
  EXPECT_EQ(DATABASE_EinzelteilRetournieren(&b, 0), 0) << "not in use any more";

  Einzelteil second = NewRecord(2, 0);
  b.item = DATABASE_NeuesTeil(&second);
  ASSERT_EQ(DATABASE_EinzelteilRetournieren(&b, 1), 1);
  EXPECT_EQ(ReadItem(b.item).flags, 0);
  EXPECT_EQ(ReadItem(b.item).article, 0);
  ExpectChain(dir(), Chain::Article, 2, {id_});
}

TEST_F(TransactionTest, TransfersMoveUnsoldItemsAndKeepSoldOnesDates) {
  Einzelteil want = ReadItem(id_);
  EinzelteilBuchung b = Booking(11, 45400);
  ASSERT_EQ(DATABASE_EinzelteilUmlagern(&b), 1);
  want.location = 11, want.locationDate = 45400, want.quantity = 3;
  ExpectItem(want);

  Sell(Sale(11, 1));
  want = ReadItem(id_);
  b = Booking(12, 45500);
  b.quantity = 9;
  auto image = kvtest::ReadFileBytes(file(DATABASE_FILE_NAME));
  EXPECT_EQ(DATABASE_EinzelteilUmlagern(&b), 0) << "sold";
  EXPECT_EQ(kvtest::ReadFileBytes(file(DATABASE_FILE_NAME)), image);
  ASSERT_EQ(DATABASE_EinzelteilUmlagernAuchVerkaufte(&b), 1);
  want.location = 12;  // date and quantity kept for a sold item
  ExpectItem(want);
  EXPECT_EQ(DATABASE_EinzelteilUmlagerung_to_ET(&b, &want), 0);
  want.flags = DATABASE_FLAG_BENUTZT;
  EXPECT_EQ(DATABASE_EinzelteilUmlagerung_to_ET(&b, &want), 1);
  EXPECT_EQ(want.location, 12);
  EXPECT_EQ(want.quantity, 9);
}

TEST_F(TransactionTest, InventoryAndQuantityChanges) {
  Einzelteil want = ReadItem(id_);
  EinzelteilBuchung b = Booking(71, 45600);
  ASSERT_EQ(DATABASE_EinzelteilInventarisieren(&b), 1);
  want.inventoryValueRef = 71, want.inventoryDate = 45600, want.inventoryRef = 61;
  want.flags = DATABASE_FLAG_BENUTZT | DATABASE_FLAG_INVENTUR;
  ExpectItem(want);  // a single item keeps quantity 1

  // A quantity item adds the counted quantity, its inventory reference stays.
  want.flags |= DATABASE_FLAG_MENGE, want.quantity = 3, want.inventoryRef = 0;
  WriteItem(id_, want);
  ASSERT_EQ(DATABASE_EinzelteilInventarisieren(&b), 1);
  want.quantity = 6;
  ExpectItem(want);

  int32_t req[DATABASE_CHANGE_REQUEST_WORDS] = {0, id_, 0, 0, 0, 0, -5, 0, 0};
  ASSERT_EQ(DATABASE_EinzelteilMengeAendern(req), 1);
  EXPECT_EQ(ReadItem(id_).quantity, 1);
  ASSERT_EQ(DATABASE_EinzelteilMengeAendern(req), 1);
  EXPECT_EQ(ReadItem(id_).quantity, 0) << "not below 0";
  // The second counter is added to, without a floor.
  ASSERT_EQ(DATABASE_EinzelteilMengeSetzen(req), 1);
  ASSERT_EQ(DATABASE_EinzelteilMengeSetzen(req), 1);
  EXPECT_EQ(ReadItem(id_).quantity2, -10);
}

TEST_F(TransactionTest, ValueChangesFollowTheMaskAndPricesFollowTheArticle) {
  Einzelteil want = ReadItem(id_);
  int32_t req[DATABASE_CHANGE_REQUEST_WORDS] = {0x02 | 0x20 | 0x01, id_, 1, 2, 3, 4, 5, 6, 7};
  ASSERT_EQ(DATABASE_EinzelteilWertAendern(req), 1);
  want.price1First = 1, want.price2Second = 5, want.value = 7;
  ExpectItem(want);

  // The article's price pairs are 100 .. 105.
  ASSERT_EQ(DATABASE_EinzelteilPreisanpassungAnArtikel(id_), 1);
  int32_t* prices[] = {&want.price1First, &want.price1Second, &want.price2First,
                       &want.price2Second, &want.price3First, &want.price3Second};
  for (int i = 0; i < 6; ++i) *prices[i] = 100 + i;
  ExpectItem(want);

  EXPECT_EQ(DATABASE_GetEinzelteilMWST_Satz(id_), 1);
  EXPECT_EQ(DATABASE_GetArtikel_MWST_SatzViaEinzelteil(id_), 3);
  EXPECT_EQ(DATABASE_EinzelteilMWSTanpassungAnArtikel(id_), 3);
  EXPECT_EQ(DATABASE_GetEinzelteilMWST_Satz(id_), 3);
  // An item whose article cannot be read keeps its code and reports it.
  want.article = kArticles + 5, want.vatCode = 4;
  WriteItem(id_, want);
  EXPECT_EQ(DATABASE_EinzelteilMWSTanpassungAnArtikel(id_), 4);
  EXPECT_EQ(DATABASE_GetArtikel_MWST_SatzViaEinzelteil(id_), -1);
  EXPECT_EQ(DATABASE_EinzelteilPreisanpassungAnArtikel(id_), 0);
  ASSERT_EQ(DATABASE_Init(kItems, (dir() + "nowhere/").c_str()), 1);
  EXPECT_EQ(DATABASE_EinzelteilMWSTanpassungAnArtikel(id_), 2) << "file cannot be opened";
}

}  // namespace
}  // namespace articletest
