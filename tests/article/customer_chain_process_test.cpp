// A till appends an item to a customer's chain while another station holds
// the chain's tail and wants the customer next: the append gives way and
// the chain ends up with both items, links sound. A sale to a customer
// another station holds past the time-out writes nothing.
#include <set>
#include <string>

#include "dba_util.h"
#include "article_support.h"
#include "kvdata/kvhost.h"
#include "services/platform.h"

namespace articletest {
namespace {

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
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
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
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
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

}  // namespace
}  // namespace articletest
