#include "article_support.h"

namespace articletest {

bool InitFamilies(const std::string& dir, bool create, int32_t items) {
  return kvtest::InitShop(dir, items, kArticles, kDesignations, "kasse1") &&
         (!create || DATABASE_CreateDatenbank(nullptr) == 1);
}

void PutArticle(int32_t n, const char* text, uint16_t vat, int32_t p) {
  ArtikelRecord a;
  ASSERT_EQ(ARTLIB_LeseArtikel(n, &a), 1);
  std::strncpy(a.text, text, sizeof a.text - 1);
  a.vatCode = vat;
  int32_t* prices = &a.price1First;
  for (int i = 0; i < 6; ++i) prices[i] = p + i;
  ASSERT_EQ(ARTLIB_SchreibeArtikel(n, &a), 1);
}

int32_t NewCustomer() {
  int32_t n = KundenDBA_NeuerKunde();
  Kunde record{};
  if (n == 0 || KundenDBA_LeseKunde(n, &record) != 1) return 0;
  std::strcpy(record.surname, "Kundin");
  return KundenDBA_SchreibeKunde(n, &record, 1) == 1 ? n : 0;
}

Einzelteil ReadItem(int32_t id) {
  Einzelteil r;
  std::memset(&r, 0xEE, sizeof r);
  EXPECT_EQ(DATABASE_LeseEinzelteil(id, &r), 1) << "item " << id;
  return r;
}

DiskHead HeadOnDisk(const std::string& dir, Chain chain, int32_t owner) {
  if (chain == Chain::Customer) {
    Kunde record{};
    EXPECT_EQ(KundenDBA_LeseKunde(owner, &record), 1);
    return {record.firstItem, record.lastItem};
  }
  bool article = chain == Chain::Article;
  auto bytes = kvtest::ReadFileBytes(dir + (article ? ARTLIB_FILE_NAME : BEZLIB_FILE_NAME));
  size_t at = 40 + static_cast<size_t>(owner) * (article ? ARTLIB_RECORD_SIZE : BEZLIB_RECORD_SIZE);
  return {kvtest::I32At(bytes, at), kvtest::I32At(bytes, at + 4)};
}

std::vector<int32_t> WalkChain(const std::string& dir, Chain chain, int32_t owner) {
  size_t prevAt = chain == Chain::Article ? 0 : chain == Chain::Designation ? 12 : 24;
  auto items = kvtest::ReadFileBytes(dir + DATABASE_FILE_NAME);
  DiskHead h = HeadOnDisk(dir, chain, owner);
  std::vector<int32_t> ids;
  int32_t prev = 0;
  for (int32_t id = h.first; id != 0 && ids.size() <= kItems;) {
    size_t at = 40 + static_cast<size_t>(id) * DATABASE_RECORD_SIZE + prevAt;
    EXPECT_EQ(kvtest::I32At(items, at), prev) << "prev of " << id;
    EXPECT_EQ(kvtest::I32At(items, at + 8), owner) << "owner of " << id;
    ids.push_back(id);
    prev = id;
    id = kvtest::I32At(items, at + 4);
  }
  EXPECT_EQ(h.last, prev) << "head last, owner " << owner;
  return ids;
}

void WriteItem(int32_t id, const Einzelteil& r) {
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  EXPECT_EQ(DATABASE_WriteEinzelteil(id, &r), 1);
  DATABASE_SchliesseDatenbank();
}

int32_t LastIdOnDisk(const std::string& dir) {
  return kvtest::I32At(kvtest::ReadFileBytes(dir + DATABASE_FILE_NAME), 40 + 60);
}

}  // namespace articletest
