// Several processes allocating, writing and freeing items of one file at
// once: no item ever has two owners, and the header and free chain agree
// with what the processes hold at the end.
#include <algorithm>
#include <fstream>
#include <map>
#include <random>

#include "core/dba_file.h"
#include "dba_test_util.h"
#include "kvdata/kvhost.h"
#include "services/platform.h"

namespace {

constexpr int32_t R = 32;
constexpr int32_t C = 2;

// Takes items, stamps each with (worker, sequence), checks the stamp is still
// its own before freeing, frees about a third again, and finally lists the
// items it still holds. Exit 1: an item it held was taken by someone else.
KVTEST_WORKER(dba_churn) {
  const std::string path = args.at(0);
  const int32_t worker = std::stoi(args.at(1));
  const int32_t rounds = std::stoi(args.at(2));
  DbaFile f = kvtest::MakeDba(path, R, C);
  std::mt19937 rng(static_cast<uint32_t>(worker) * 7919u);
  std::map<int32_t, int32_t> held;  // item -> sequence
  for (int32_t seq = 1; seq <= rounds; ++seq) {
    int32_t n = DBA_NewITEM(&f);
    if (n == 0) return 3;
    if (held.count(n)) return 1;
    std::vector<uint8_t> rec = kvtest::Record(R, 1, worker);
    std::memcpy(rec.data() + 12, &seq, 4);
    if (DBA_WriteDATA(&f, n, rec.data()) != 1) return 4;
    held[n] = seq;
    if (rng() % 3 == 0) {
      auto it = held.begin();
      std::advance(it, rng() % held.size());
      std::vector<uint8_t> back(R);
      if (DBA_ReadDATA(&f, it->first, back.data()) != 1) return 5;
      if (kvtest::I32At(back, 8) != worker || kvtest::I32At(back, 12) != it->second) return 1;
      DBA_DeleteITEM(&f, it->first);
      held.erase(it);
    }
  }
  std::ofstream out(args.at(3));
  for (auto& [n, seq] : held) out << n << ' ' << seq << '\n';
  return 0;
}

class DbaConcurrencyTest : public kvtest::DataDirTest {};

TEST_F(DbaConcurrencyTest, ProcessesNeverShareAnItemAndTheChainStaysExact) {
  const std::string path = file("SHARED.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  const int workers = 4, rounds = 1500;
  std::vector<std::vector<std::string>> args;
  for (int w = 1; w <= workers; ++w) {
    args.push_back({path, std::to_string(w), std::to_string(rounds), file("held" + std::to_string(w))});
  }
  std::vector<int> codes = kvtest::RunWorkers("dba_churn", args);
  for (int c : codes) ASSERT_EQ(c, 0);

  std::map<int32_t, int> owner;
  auto image = kvtest::ReadFileBytes(path);
  for (int w = 1; w <= workers; ++w) {
    std::ifstream in(file("held" + std::to_string(w)));
    int32_t n, seq;
    while (in >> n >> seq) {
      ASSERT_TRUE(owner.emplace(n, w).second) << "item " << n << " held twice";
      size_t pos = static_cast<size_t>(n) * R + 40 + 8 * C;
      EXPECT_EQ(kvtest::I32At(image, pos), 1);
      EXPECT_EQ(kvtest::I32At(image, pos + 8), w);
      EXPECT_EQ(kvtest::I32At(image, pos + 12), seq);
    }
  }
  DbaHeader h = kvtest::ReadHeader(path);
  EXPECT_EQ(h.usedCount, static_cast<int32_t>(owner.size()));
  std::vector<int32_t> chain = kvtest::FreeChain(path, R, C);
  std::set<int32_t> chained(chain.begin(), chain.end());
  EXPECT_EQ(chained.size(), chain.size()) << "an item is on the free chain twice";
  EXPECT_EQ(static_cast<int32_t>(chain.size() + owner.size()), h.slotCount);
  for (int32_t n : chain) EXPECT_EQ(owner.count(n), 0u) << n;
  EXPECT_EQ(static_cast<int64_t>(image.size()), int64_t{h.slotCount + 1} * R + 40 + 8 * C);
}

// Holds the header lock of a file for a while, announcing it with a marker.
KVTEST_WORKER(dba_hold_header) {
  DbaFile f = kvtest::MakeDba(args.at(0), R, C);
  if (DBA_OpenDBA(&f) != 1 || DBA_LockHEADER(&f) != 1) return 2;
  kvtest::WriteFileBytes(args.at(1), {1});
  kv::SleepMs(std::stoi(args.at(2)));
  DBA_UnlockHEADER(&f);
  DBA_CloseDBA(&f);
  return 0;
}

TEST_F(DbaConcurrencyTest, NewItemWaitsForTheHeaderLockOrGivesUpAtTheTimeOut) {
  const std::string path = file("WAIT.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  // The file is only read while nobody holds a lock on it: on Windows a
  // locked range cannot be read through another handle.
  const auto image = kvtest::ReadFileBytes(path);

  kvtest::Worker w = kvtest::SpawnWorker("dba_hold_header", {path, file("m1"), "700"});
  while (!kvtest::FileExists(file("m1"))) kv::SleepMs(5);
  KVHOST_SetLockTimeout(100);
  EXPECT_EQ(DBA_NewITEM(&f), 0);  // gives up instead of working unlocked
  KVHOST_SetLockTimeout(10000);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(path), image);

  w = kvtest::SpawnWorker("dba_hold_header", {path, file("m2"), "500"});
  while (!kvtest::FileExists(file("m2"))) kv::SleepMs(5);
  EXPECT_EQ(DBA_NewITEM(&f), 1);  // waits for the holder
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadHeader(path).usedCount, 1);
}

TEST_F(DbaConcurrencyTest, ADeleteRefusedAtTheHeaderLockChangesNothingAndSaysSo) {
  const std::string path = file("REFUSE.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  ASSERT_EQ(DBA_NewITEM(&f), 1);
  ASSERT_EQ(DBA_WriteDATA(&f, 1, kvtest::Record(R, 1, 9).data()), 1);
  const auto image = kvtest::ReadFileBytes(path);
  const std::vector<uint8_t> cleared(R, 0);

  kvtest::Worker w = kvtest::SpawnWorker("dba_hold_header", {path, file("m1"), "1500"});
  for (int waited = 0; !kvtest::FileExists(file("m1")); ++waited) {
    ASSERT_LT(waited, 2000);
    kv::SleepMs(5);
  }
  KVHOST_SetLockTimeout(100);
  DBA_DeleteITEM(&f, 1);
  EXPECT_FALSE(kv::dba::FreeItem(&f, 1, cleared.data()));
  KVHOST_SetLockTimeout(10000);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(path), image);

  // Free, the same call writes the record given and the free head in one.
  EXPECT_TRUE(kv::dba::FreeItem(&f, 1, cleared.data()));
  auto b = kvtest::ReadFileBytes(path);
  const size_t at = static_cast<size_t>(R) + 40 + 8 * C;
  EXPECT_EQ(kvtest::I32At(b, at), -1);
  EXPECT_EQ(kvtest::I32At(b, at + 8), 0);
  EXPECT_EQ(kvtest::ReadHeader(path).usedCount, 0);
  EXPECT_EQ(kvtest::ReadHeader(path).freeHead, 1);
}

}  // namespace
