// Order numbers taken at two stations at once: never one number twice, and a
// station that cannot get the counter's lock takes no number at all.
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

constexpr int kPerStation = 40;
constexpr int64_t kOrderCounter = 4 * 2;  // bytes of "AUFTRAGS NR"

void InitOrders(const std::string& dir) {
  AUFTRAGDBA_PLUS_ARCHIVE_Init(0, (dir + "AUFTRAG/AFT*.DAT").c_str(), "");
  Nummern_Init((dir + "NUMMERN.DAT").c_str());
}

// args: data directory, output file. Takes kPerStation order numbers once
// "go" exists and writes them one a line.
KVTEST_WORKER(take_order_numbers) {
  InitOrders(args.at(0));
  std::ofstream out(args.at(1));
  for (int waited = 0; !kvtest::FileExists(args.at(0) + "go"); ++waited) {
    if (waited > 2000) return 2;
    kv::SleepMs(5);
  }
  for (int i = 0; i < kPerStation; ++i) {
    int32_t n = AUFTRAGDBA_NeuerAuftrag();
    if (n == 0) return 3;
    out << n << "\n";
  }
  return 0;
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

TEST_F(OrderNumberProcessTest, TwoStationsNeverTakeOneOrderNumber) {
  ASSERT_EQ(Nummern_NummernSchreiben(500, 2), 1);
  std::vector<kvtest::Worker> workers;
  for (int w = 0; w < 2; ++w)
    workers.push_back(kvtest::SpawnWorker("take_order_numbers", {dir(), file("n" + std::to_string(w))}));
  kvtest::WriteFileBytes(file("go"), {1});
  for (auto& w : workers) ASSERT_EQ(kvtest::WaitWorker(w), 0);
  std::set<int32_t> all;
  for (int w = 0; w < 2; ++w) {
    std::ifstream in(file("n" + std::to_string(w)));
    for (int32_t n; in >> n;) EXPECT_TRUE(all.insert(n).second) << "order number " << n << " taken twice";
  }
  ASSERT_EQ(all.size(), 2u * kPerStation);
  EXPECT_EQ(*all.begin(), 501);
  EXPECT_EQ(*all.rbegin(), 500 + 2 * kPerStation);
  EXPECT_EQ(kvtest::I32At(kvtest::ReadFileBytes(file("NUMMERN.DAT")), kOrderCounter), 500 + 2 * kPerStation);
}

TEST_F(OrderNumberProcessTest, ACounterHeldPastTheTimeOutGivesNoNumber) {
  ASSERT_EQ(Nummern_NummernSchreiben(41, 2), 1);
  const auto image = kvtest::ReadFileBytes(file("NUMMERN.DAT"));
  kvtest::Worker w = kvtest::SpawnWorker("hold_order_counter", {file("NUMMERN.DAT"), file("m1"), "1500"});
  for (int waited = 0; !kvtest::FileExists(file("m1")); ++waited) {
    ASSERT_LT(waited, 2000);
    kv::SleepMs(5);
  }
  KVHOST_SetLockTimeout(100);
  EXPECT_EQ(AUFTRAGDBA_NeuerAuftrag(), 0);
  KVHOST_SetLockTimeout(10000);
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), image);

  w = kvtest::SpawnWorker("hold_order_counter", {file("NUMMERN.DAT"), file("m2"), "300"});
  for (int waited = 0; !kvtest::FileExists(file("m2")); ++waited) {
    ASSERT_LT(waited, 2000);
    kv::SleepMs(5);
  }
  EXPECT_EQ(AUFTRAGDBA_NeuerAuftrag(), 42);  // waits for the holder
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  auto after = image;
  kvtest::PutI32(after, kOrderCounter, 42);
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), after);
}

}  // namespace
