// Many stations on one record file: each takes, rewrites and frees items of
// its own while the others do the same, starting on a reorganised file whose
// free slots lie above the slot count. Afterwards the raw bytes must agree
// with what every station believes it owns.
#include <cstring>
#include <random>

#include "dba_util.h"
#include "kvdata/dba.h"
#include "services/platform.h"
#include "stress_support.h"

namespace {

constexpr int32_t R = 64;
constexpr int32_t C = 4;

std::vector<uint8_t> Tagged(int64_t tag) { return stress::TaggedRecord(R, tag); }

// The tag of a record read back, -1 when the record is torn.
int64_t TagOf(const std::vector<uint8_t>& r) {
  int64_t tag;
  std::memcpy(&tag, r.data() + 8, 8);
  for (int32_t i = 16; i < R; ++i) {
    if (r[i] != static_cast<uint8_t>(tag)) return -1;
  }
  return tag;
}

// args: file, worker, ops, seconds, report, barrier dir, workers.
KVTEST_WORKER(dba_stress) {
  DbaFile f = kvtest::MakeDba(args.at(0), R, C);
  const int worker = std::stoi(args.at(1)), ops = std::stoi(args.at(2));
  const int64_t end = kv::MonotonicMs() + 1000LL * std::stoi(args.at(3));
  stress::Report rep;
  if (!stress::Arrive(args.at(5), "dba_go", worker, std::stoi(args.at(6)), 60000)) return 9;
  std::mt19937 rng(1234u + static_cast<uint32_t>(worker));
  std::vector<uint8_t> back(R);
  auto mine = [&](int32_t n) -> bool {
    if (DBA_ReadDATA(&f, n, back.data()) != 1 || TagOf(back) != rep.owned[n]) {
      rep.problems.push_back(" item " + std::to_string(n) + " no longer holds its owner's record");
      return false;
    }
    return true;
  };
  int64_t seq = 0;
  for (; rep.ops < ops && kv::MonotonicMs() < end; ++rep.ops) {
    const uint32_t dice = rng() % 100;
    if (dice < 40 || rep.owned.empty()) {
      const int32_t n = DBA_NewITEM(&f);
      if (n == 0) {
        rep.problems.push_back(" DBA_NewITEM returned 0");
        break;
      }
      if (rep.owned.count(n)) rep.problems.push_back(" item " + std::to_string(n) + " handed out again while owned");
      // The slot count only grows between reorganisations, so a number
      // above it now was handed out above it.
      const int32_t slots = rawcheck::ReadWord(args.at(0), 16);
      if (n > slots) {
        rep.problems.push_back(" item " + std::to_string(n) + " handed out above the slot count " + std::to_string(slots));
      }
      const int64_t tag = int64_t{worker + 1} * 1000000000 + ++seq;
      if (DBA_WriteDATA(&f, n, Tagged(tag).data()) != 1) rep.problems.push_back(" write failed");
      rep.owned[n] = tag;
      continue;
    }
    auto it = rep.owned.begin();
    std::advance(it, rng() % rep.owned.size());
    const int32_t n = it->first;
    if (dice < 65) {
      if (mine(n)) DBA_DeleteITEM(&f, n);
      rep.owned.erase(n);
    } else if (dice < 85) {
      if (!mine(n)) continue;
      const int64_t tag = int64_t{worker + 1} * 1000000000 + ++seq;
      if (DBA_WriteDATA(&f, n, Tagged(tag).data()) != 1) rep.problems.push_back(" rewrite failed");
      rep.owned[n] = tag;
    } else {
      // A walk over the whole file, as a report at another station runs.
      if (DBA_OpenDBA(&f) == 1) {
        std::vector<uint8_t> rec(R);
        for (int32_t m = DBA_FirstITEM(&f, rec.data()); m != 0; m = DBA_NextITEM(&f, rec.data())) {
        }
      }
      DBA_CloseDBA(&f);
    }
  }
  stress::WriteReport(args.at(4), rep);
  return 0;
}

class DbaStressTest : public kvtest::DataDirTest {};

TEST_F(DbaStressTest, StationsTakingAndFreeingItemsNeverShareOneAndLeaveAnExactFile) {
  const std::string path = file("STRESS.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  // 300 items, every second one and the top half freed again, then
  // reorganised: the slot count drops to 149 with free slots above it.
  std::map<int32_t, int64_t> kept;
  for (int32_t i = 1; i <= 300; ++i) {
    ASSERT_EQ(DBA_NewITEM(&f), i);
    ASSERT_EQ(DBA_WriteDATA(&f, i, Tagged(i).data()), 1);
    kept[i] = i;
  }
  for (int32_t i = 2; i <= 300; i += (i < 150 ? 2 : 1)) {
    DBA_DeleteITEM(&f, i);
    kept.erase(i);
  }
  ASSERT_EQ(DBA_Reo(&f) != nullptr, true);
  rawcheck::DbaState before = rawcheck::CheckDba(path, R, true);
  stress::ExpectClean(before.defects, "after the reorganisation");
  ASSERT_EQ(before.slotCount, 149);

  const stress::Load load = stress::LoadFromEnv(4, 4000);
  stress::Merged m = stress::RunStations("dba_stress", dir(), load, "DBA engine", {path}, {dir(), std::to_string(load.workers)});
  EXPECT_TRUE(m.problems.empty()) << rawcheck::Describe(m.problems);

  rawcheck::DbaState after = rawcheck::CheckDba(path, R, true);
  stress::ExpectClean(after.defects, "STRESS.DBA");
  // Every item in use belongs to exactly one owner and holds its record.
  rawcheck::Image img(path);
  std::set<int32_t> expected;
  for (const auto& [n, tag] : kept) expected.insert(n);
  for (const auto& [n, who] : m.owner) expected.insert(n);
  EXPECT_EQ(after.used, expected);
  for (const auto& [n, who] : m.owner) {
    EXPECT_EQ(stress::TagOnDisk(img, R, C, n), who.second) << "item " << n << " of worker " << who.first;
  }
}

}  // namespace
