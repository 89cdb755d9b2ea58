// Shared set-up of the article tests: every family a single item touches,
// initialised in the test's data directory, and readers of the chains as
// they lie on disk.
#ifndef KVTEST_ARTICLE_SUPPORT_H
#define KVTEST_ARTICLE_SUPPORT_H

#include <cstring>
#include <string>
#include <vector>

#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/teilezusatz.h"
#include "kvtest.h"
#include "shop.h"

namespace articletest {

constexpr int32_t kItems = 2000;  // N of TEILE.DBA
constexpr int32_t kArticles = 50;
constexpr int32_t kDesignations = 50;

// Initialises every family in dir (which ends with a separator); creates
// TEILE.DBA when create is set. Used by tests and by worker processes.
bool InitFamilies(const std::string& dir, bool create, int32_t items = kItems);

// Writes article n with a text, a VAT code and price pairs (p, p+1, ..., p+5).
void PutArticle(int32_t n, const char* text, uint16_t vat, int32_t p = 0);
// A new customer number (0 on failure).
int32_t NewCustomer();
// An item record in use for the article and designation.
inline Einzelteil NewRecord(int32_t article, int32_t designation, int32_t customer = 0) {
  return kvtest::ItemRecord(article, designation, customer);
}
Einzelteil ReadItem(int32_t id);

// Chain links of the items as they lie in TEILE.DBA.
enum class Chain { Article, Designation, Customer };
struct DiskHead {
  int32_t first;
  int32_t last;
};
DiskHead HeadOnDisk(const std::string& dir, Chain chain, int32_t owner);
// Follows the chain from its head in the owner's record, checking every
// back link, owner field and the head's last item, as they lie on disk.
std::vector<int32_t> WalkChain(const std::string& dir, Chain chain, int32_t owner);
inline void ExpectChain(const std::string& dir, Chain chain, int32_t owner, const std::vector<int32_t>& ids) {
  EXPECT_EQ(WalkChain(dir, chain, owner), ids) << "chain of owner " << owner;
}
// Writes an item record through an open bracket of its own.
void WriteItem(int32_t id, const Einzelteil& r);
// The last identifier handed out, as record 0 of TEILE.DBA keeps it.
int32_t LastIdOnDisk(const std::string& dir);

class ArticleTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override { ASSERT_TRUE(InitFamilies(dir(), true)); }
};

}  // namespace articletest

#endif  // KVTEST_ARTICLE_SUPPORT_H
