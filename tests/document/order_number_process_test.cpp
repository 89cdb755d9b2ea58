// A station that cannot get the order counter's lock takes no order number
// at all, and one that can waits for the holder.
#include <filesystem>
#include <fstream>
#include <set>

#include "kvdata/auftragdba.h"
#include "kvdata/kvhost.h"
#include "kvdata/nummern.h"
#include "kvtest.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace {

constexpr int64_t kOrderCounter = 4 * 2;  // bytes of "AUFTRAGS NR"

void InitOrders(const std::string& dir) {
  AUFTRAGDBA_PLUS_ARCHIVE_Init(0, (dir + "AUFTRAG/AFT*.DAT").c_str(), "");
  Nummern_Init((dir + "NUMMERN.DAT").c_str());
}

// args: path, marker, milliseconds. Holds the order counter's lock.
KVTEST_WORKER(hold_order_counter) {
  kv::FileHandle h = kv::FileIO_OpenRWS(args.at(0).c_str());
  if (h == kv::kInvalidHandle || !kv::FileIO_Lock(h, kOrderCounter, 4)) return 2;
  kvtest::WriteFileBytes(args.at(1), {1});
  kv::SleepMs(std::stoi(args.at(2)));
  kv::FileIO_Unlock(h, kOrderCounter, 4);
  kv::FileIO_Close(h);
  return 0;
}

class OrderNumberProcessTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(std::filesystem::create_directories(dir() + "AUFTRAG/"));
    kvtest::WriteFileBytes(file("NUMMERN.DAT"), std::vector<uint8_t>(800, 0));
    InitOrders(dir());
  }
  void TearDown() override {
    KVHOST_SetLockTimeout(10000);
    DataDirTest::TearDown();
  }
};

TEST_F(OrderNumberProcessTest, ACounterHeldPastTheTimeOutGivesNoNumber) {
  ASSERT_EQ(Nummern_NummernSchreiben(41, 2), 1);
  const auto image = kvtest::ReadFileBytes(file("NUMMERN.DAT"));
  kvtest::Worker w = kvtest::SpawnWorker("hold_order_counter", {file("NUMMERN.DAT"), file("m1"), "1500"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m1")));
  KVHOST_SetLockTimeout(100);
  EXPECT_EQ(AUFTRAGDBA_NeuerAuftrag(), 0);
  KVHOST_SetLockTimeout(10000);
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), image);

  w = kvtest::SpawnWorker("hold_order_counter", {file("NUMMERN.DAT"), file("m2"), "300"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m2")));
  EXPECT_EQ(AUFTRAGDBA_NeuerAuftrag(), 42);  // waits for the holder
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  auto after = image;
  kvtest::PutI32(after, kOrderCounter, 42);
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), after);
}

}  // namespace
