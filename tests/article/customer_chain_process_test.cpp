// Two tills sell items to one customer at once while the office keeps
// saving that customer from a copy it read before the first sale: the
// customer's chain ends up with every item sold, once, with sound links.
#include <set>
#include <string>

#include "../core/dba_test_util.h"
#include "article_support.h"
#include "kvdata/kvhost.h"
#include "services/platform.h"

namespace articletest {
namespace {

constexpr int kPerTill = 30;

bool AwaitGo(const std::string& dir) {
  for (int waited = 0; !kvtest::FileExists(dir + "go"); ++waited) {
    if (waited > 2000) return false;
    kv::SleepMs(5);
  }
  return true;
}

// args: data directory, customer, first item. Sells kPerTill items from the
// first one to the customer.
KVTEST_WORKER(till_sells) {
  if (!InitFamilies(args.at(0), false) || !AwaitGo(args.at(0))) return 2;
  const int32_t customer = std::stoi(args.at(1));
  const int32_t first = std::stoi(args.at(2));
  for (int32_t id = first; id < first + kPerTill; ++id) {
    EinzelteilVerkauf sale{.item = id, .documentRef = id, .previousDocumentRef = 0, .location = 1,
                           .saleRef = 1, .customer = customer, .quantity = 1, .flags = 0,
                           .saleDate = 45000, .saleTime = 600, .vatCode = 1, .reserved38 = 0};
    if (DATABASE_EinzelteilVerkaufen(&sale) != 1) return 3;
  }
  return 0;
}

// args: data directory, customer. Saves the customer from the copy it read
// at the start, over and over, while the tills sell.
KVTEST_WORKER(office_saves) {
  if (!InitFamilies(args.at(0), false)) return 2;
  const int32_t customer = std::stoi(args.at(1));
  Kunde copy;
  if (KundenDBA_LeseKunde(customer, &copy) != 1 || !AwaitGo(args.at(0))) return 3;
  for (int i = 0; i < 2 * kPerTill; ++i) {
    Kunde k = copy;  // heads as they were before the first sale
    std::snprintf(k.text1, sizeof k.text1, "edit %d", i);
    if (KundenDBA_SchreibeKunde(customer, &k, 1) != 1) return 4;
  }
  return 0;
}

// args: data directory, item, customer, marker, milliseconds. A station
// moving the item out of the customer's chain: it holds the item's record,
// and after a while wants the customer's record too, then lets both go.
KVTEST_WORKER(move_tail_away) {
  if (!InitFamilies(args.at(0), false)) return 2;
  const int32_t item = std::stoi(args.at(1));
  const int32_t customer = std::stoi(args.at(2));
  if (DATABASE_OeffneDatenbank() == -1 || DATABASE_LockEinzelteil(item) != 1) return 3;
  kvtest::WriteFileBytes(args.at(3), {1});
  kv::SleepMs(std::stoi(args.at(4)));
  DbaFile customers = kvtest::MakeDba(args.at(0) + "KUNDEN.DBA", KUNDE_RECORD_SIZE, 0);
  if (DBA_OpenDBA(&customers) != 1 || DBA_LockDATA(&customers, customer) != 1) return 4;
  DBA_UnlockDATA(&customers, customer);
  DBA_CloseDBA(&customers);
  DATABASE_UnlockEinzelteil(item);
  DATABASE_SchliesseDatenbank();
  return 0;
}

// args: data directory, customer, marker, milliseconds. The office holding
// the customer's record (a long edit) for a while.
KVTEST_WORKER(hold_customer) {
  DbaFile customers = kvtest::MakeDba(args.at(0) + "KUNDEN.DBA", KUNDE_RECORD_SIZE, 0);
  if (DBA_OpenDBA(&customers) != 1 || DBA_LockDATA(&customers, std::stoi(args.at(1))) != 1) return 2;
  kvtest::WriteFileBytes(args.at(2), {1});
  kv::SleepMs(std::stoi(args.at(3)));
  DBA_UnlockDATA(&customers, std::stoi(args.at(1)));
  DBA_CloseDBA(&customers);
  return 0;
}

class CustomerChainProcessTest : public ArticleTest {
 protected:
  void TearDown() override {
    KVHOST_SetLockTimeout(10000);
    ArticleTest::TearDown();
  }
};

TEST_F(CustomerChainProcessTest, AnAppendGivesWayToAStationMovingTheTailAway) {
  PutArticle(1, "Hose", 1);
  const int32_t customer = NewCustomer();
  ASSERT_NE(customer, 0);
  Einzelteil rx = NewRecord(1, 0), ry = NewRecord(1, 0);
  const int32_t x = DATABASE_NeuesTeil(&rx), y = DATABASE_NeuesTeil(&ry);
  ASSERT_TRUE(x != 0 && y != 0);
  EinzelteilVerkauf sale{.item = x, .documentRef = 1, .previousDocumentRef = 0, .location = 1,
                         .saleRef = 1, .customer = customer, .quantity = 1, .flags = 0,
                         .saleDate = 45000, .saleTime = 600, .vatCode = 1, .reserved38 = 0};
  ASSERT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);

  // The tail x is held by a station that will want the customer next; this
  // till appends y meanwhile. Waiting for x while holding the customer would
  // hold both stations until the time-out and lose y's link.
  kvtest::Worker w = kvtest::SpawnWorker(
      "move_tail_away", {dir(), std::to_string(x), std::to_string(customer), file("m"), "300"});
  for (int waited = 0; !kvtest::FileExists(file("m")); ++waited) {
    ASSERT_LT(waited, 2000);
    kv::SleepMs(5);
  }
  KVHOST_SetLockTimeout(3000);
  sale.item = y;
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  ExpectChain(dir(), Chain::Customer, customer, {x, y});
}

TEST_F(CustomerChainProcessTest, ASaleToACustomerHeldPastTheTimeOutWritesNothing) {
  PutArticle(1, "Jacke", 1);
  const int32_t customer = NewCustomer();
  ASSERT_NE(customer, 0);
  Einzelteil rx = NewRecord(1, 0);
  const int32_t x = DATABASE_NeuesTeil(&rx);
  ASSERT_NE(x, 0);
  kvtest::Worker w = kvtest::SpawnWorker("hold_customer", {dir(), std::to_string(customer), file("m"), "1500"});
  for (int waited = 0; !kvtest::FileExists(file("m")); ++waited) {
    ASSERT_LT(waited, 2000);
    kv::SleepMs(5);
  }
  // A customer whose lock cannot be had is still a customer: the sale must
  // not go through leaving the item named after him but outside his chain.
  KVHOST_SetLockTimeout(300);
  EinzelteilVerkauf sale{.item = x, .documentRef = 1, .previousDocumentRef = 0, .location = 1,
                         .saleRef = 1, .customer = customer, .quantity = 1, .flags = 0,
                         .saleDate = 45000, .saleTime = 600, .vatCode = 1, .reserved38 = 0};
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 0);
  Einzelteil now;
  ASSERT_NE(DATABASE_OeffneDatenbank(), -1);
  ASSERT_EQ(DATABASE_LeseEinzelteil(x, &now), 1);
  DATABASE_SchliesseDatenbank();
  EXPECT_EQ(int32_t{now.customer}, 0);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);

  KVHOST_SetLockTimeout(3000);
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  ExpectChain(dir(), Chain::Customer, customer, {x});
}

TEST_F(CustomerChainProcessTest, TwoTillsAndTheOfficeNeverLoseALink) {
  PutArticle(1, "Hemd", 1);
  const int32_t customer = NewCustomer();
  ASSERT_NE(customer, 0);
  std::vector<int32_t> ids;
  for (int i = 0; i < 2 * kPerTill; ++i) {
    Einzelteil r = NewRecord(1, 0);
    ids.push_back(DATABASE_NeuesTeil(&r));
    ASSERT_NE(ids.back(), 0);
  }
  std::vector<kvtest::Worker> workers;
  workers.push_back(kvtest::SpawnWorker("till_sells", {dir(), std::to_string(customer), std::to_string(ids[0])}));
  workers.push_back(
      kvtest::SpawnWorker("till_sells", {dir(), std::to_string(customer), std::to_string(ids[kPerTill])}));
  workers.push_back(kvtest::SpawnWorker("office_saves", {dir(), std::to_string(customer)}));
  kvtest::WriteFileBytes(file("go"), {1});
  for (auto& w : workers) EXPECT_EQ(kvtest::WaitWorker(w), 0);

  // WalkChain checks every back link, the owner fields and the head's last.
  std::vector<int32_t> walked = WalkChain(dir(), Chain::Customer, customer);
  std::set<int32_t> linked(walked.begin(), walked.end());
  EXPECT_EQ(walked.size(), linked.size()) << "an item is linked twice";
  EXPECT_EQ(linked, std::set<int32_t>(ids.begin(), ids.end()));
  Kunde k;
  ASSERT_EQ(KundenDBA_LeseKunde(customer, &k), 1);
  EXPECT_EQ(std::string(k.text1).rfind("edit ", 0), 0u);  // the office's saves went through
}

}  // namespace
}  // namespace articletest
