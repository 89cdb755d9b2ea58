// Two stations deleting or selling neighbouring items: the one that holds a
// neighbour's record and then wants the deleted item's record must get it,
// and a delete that cannot get its neighbours writes nothing at all.
#include <cstring>
#include <string>

#include "article_support.h"
#include "kvdata/kvhost.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace articletest {
namespace {

// args: data directory, held item, wanted item (0: none), marker,
// milliseconds, lock time-out. A station busy with the held item (a sale or
// a delete of it) that after a while wants its neighbour's record too, as
// an unlink of the held item does, then lets both go. Exit 5 when the
// wanted record stays refused past the time-out.
KVTEST_WORKER(hold_then_want) {
  if (!InitFamilies(args.at(0), false)) return 2;
  const int32_t held = std::stoi(args.at(1));
  const int32_t wanted = std::stoi(args.at(2));
  KVHOST_SetLockTimeout(std::stoi(args.at(5)));
  if (DATABASE_OeffneDatenbank() == -1 || DATABASE_LockEinzelteil(held) != 1) return 3;
  kvtest::WriteFileBytes(args.at(3), {1});
  kv::SleepMs(std::stoi(args.at(4)));
  int code = 0;
  if (wanted != 0) {
    if (DATABASE_LockEinzelteil(wanted) != 1) {
      code = 5;
    } else {
      DATABASE_UnlockEinzelteil(wanted);
    }
  }
  DATABASE_UnlockEinzelteil(held);
  DATABASE_SchliesseDatenbank();
  return code;
}

class ChainLockOrderTest : public ArticleTest {
 protected:
  void TearDown() override {
    KVHOST_SetLockTimeout(10000);
    ArticleTest::TearDown();
  }

  // Items x, y, z of article 1 and designation 1, all sold to one customer:
  // y is x's neighbour in every chain.
  void MakeThree() {
    PutArticle(1, "Jacke", 1);
    Bezeichnung b;
    std::memset(&b, 0, sizeof b);
    b.inUse = 1;
    std::snprintf(b.text, sizeof b.text, "Jacke blau");
    ASSERT_EQ(BEZLIB_SchreibeBezeichnung(1, &b), 1);
    customer_ = NewCustomer();
    ASSERT_NE(customer_, 0);
    for (int32_t* id : {&x_, &y_, &z_}) {
      Einzelteil r = NewRecord(1, 1, customer_);
      *id = DATABASE_NeuesTeil(&r);
      ASSERT_NE(*id, 0);
    }
  }

  void ExpectAllChains(const std::vector<int32_t>& ids) {
    ExpectChain(dir(), Chain::Article, 1, ids);
    ExpectChain(dir(), Chain::Designation, 1, ids);
    ExpectChain(dir(), Chain::Customer, customer_, ids);
  }

  int32_t customer_ = 0, x_ = 0, y_ = 0, z_ = 0;
};

TEST_F(ChainLockOrderTest, ADeleteGivesWayToTheStationHoldingItsNeighbour) {
  MakeThree();
  // The other station holds y and will want x: a delete of x that waited for
  // y while holding x would keep both stations waiting until the time-out
  // and then leave y linked to a freed x.
  kvtest::Worker w =
      kvtest::SpawnWorker("hold_then_want", {dir(), std::to_string(y_), std::to_string(x_), file("m"), "300", "4000"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
  KVHOST_SetLockTimeout(4000);
  EXPECT_EQ(DATABASE_AltesTeilLoeschen(x_), 1);
  EXPECT_EQ(kvtest::WaitWorker(w), 0) << "the station holding the neighbour never got the deleted item";
  ExpectAllChains({y_, z_});
  EXPECT_EQ(ReadItem(x_).flags & DATABASE_FLAG_BENUTZT, 0);
}

TEST_F(ChainLockOrderTest, ASaleGivesWayToTheStationHoldingItsCustomerNeighbour) {
  MakeThree();
  const int32_t other = NewCustomer();
  ASSERT_NE(other, 0);
  kvtest::Worker w =
      kvtest::SpawnWorker("hold_then_want", {dir(), std::to_string(z_), std::to_string(y_), file("m"), "300", "4000"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
  KVHOST_SetLockTimeout(4000);
  EinzelteilVerkauf sale{.item = y_, .documentRef = 7, .previousDocumentRef = 0, .location = 1,
                         .saleRef = 1, .customer = other, .quantity = 1, .flags = 0,
                         .saleDate = 45000, .saleTime = 600, .vatCode = 1, .reserved38 = 0};
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 1);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  ExpectChain(dir(), Chain::Customer, customer_, {x_, z_});
  ExpectChain(dir(), Chain::Customer, other, {y_});
  ExpectChain(dir(), Chain::Article, 1, {x_, y_, z_});
}

TEST_F(ChainLockOrderTest, ADeleteThatCannotGetItsNeighbourChangesNothing) {
  MakeThree();
  const Einzelteil x = ReadItem(x_), y = ReadItem(y_);
  const DiskHead article = HeadOnDisk(dir(), Chain::Article, 1);
  const DiskHead designation = HeadOnDisk(dir(), Chain::Designation, 1);
  // y stays held well past this station's time-out.
  kvtest::Worker w =
      kvtest::SpawnWorker("hold_then_want", {dir(), std::to_string(y_), "0", file("m"), "1500", "4000"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
  KVHOST_SetLockTimeout(300);
  EXPECT_EQ(DATABASE_AltesTeilLoeschen(x_), 0);
  EinzelteilVerkauf sale{.item = x_, .documentRef = 7, .previousDocumentRef = 0, .location = 2,
                         .saleRef = 1, .customer = 0, .quantity = 1, .flags = 0,
                         .saleDate = 45000, .saleTime = 600, .vatCode = 1, .reserved38 = 0};
  EXPECT_EQ(DATABASE_EinzelteilVerkaufen(&sale), 0);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);

  const Einzelteil xAfter = ReadItem(x_), yAfter = ReadItem(y_);
  EXPECT_EQ(std::memcmp(&xAfter, &x, sizeof x), 0) << "the refused delete wrote the item";
  EXPECT_EQ(std::memcmp(&yAfter, &y, sizeof y), 0) << "the refused delete wrote the neighbour";
  EXPECT_EQ(HeadOnDisk(dir(), Chain::Article, 1).first, article.first);
  EXPECT_EQ(HeadOnDisk(dir(), Chain::Designation, 1).last, designation.last);
  ExpectAllChains({x_, y_, z_});

  // Once the neighbour is free the same delete goes through.
  KVHOST_SetLockTimeout(4000);
  EXPECT_EQ(DATABASE_AltesTeilLoeschen(x_), 1);
  ExpectAllChains({y_, z_});
}

// The article record held through another handle (another station's
// chain change holding the head). On Windows the held record cannot even be
// read; a delete must then wait and give up, not unlink the item while
// leaving the article's head pointing at it.
TEST_F(ChainLockOrderTest, ADeleteWhoseArticleHeadIsHeldChangesNothing) {
  MakeThree();
  using namespace kv;
  const FileHandle h = FileIO_OpenRWS((dir() + "ARTIKEL.DBA").c_str());
  ASSERT_NE(h, kInvalidHandle);
  ASSERT_EQ(FileIO_Lock(h, ARTLIB_FilePos(1), ARTLIB_RECORD_SIZE), 1);
  KVHOST_SetLockTimeout(300);
  EXPECT_EQ(DATABASE_AltesTeilLoeschen(z_), 0);
  FileIO_Unlock(h, ARTLIB_FilePos(1), ARTLIB_RECORD_SIZE);
  FileIO_Close(h);
  ExpectAllChains({x_, y_, z_});

  KVHOST_SetLockTimeout(4000);
  EXPECT_EQ(DATABASE_AltesTeilLoeschen(z_), 1);
  ExpectAllChains({x_, y_});
}

}  // namespace
}  // namespace articletest
