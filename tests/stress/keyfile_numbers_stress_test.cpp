// The key file shared the way its header asks (every key operation under
// one lock of the callers' own), and the number-range file, which takes no
// lock at all: its counters may hand out one number twice, but the file
// itself must stay whole, and the order numbers kvdata hands out itself must
// stay unique.
#include <cstring>
#include <random>

#include "kvdata/auftragdba.h"
#include "kvdata/bbaumlib.h"
#include "kvdata/nummern.h"
#include "services/fileio.h"
#include "services/platform.h"
#include "stress_support.h"

namespace {

constexpr int32_t kSlots = 3000;
constexpr int32_t kKeySize = 44;

// The key of a station's n-th key: readable text, then bytes above 0x7F so
// that the signed byte order is exercised.
BaumKey KeyOf(int worker, int32_t seq) {
  BaumKey k;
  std::memset(&k, 0, sizeof k);
  std::snprintf(reinterpret_cast<char*>(k.key), 20, "K%07d", seq);
  k.key[8] = static_cast<uint8_t>(0x70 + 0x11 * (seq % 3));  // 0x70, 0x81 or 0x92
  k.key[31] = static_cast<uint8_t>(worker);
  return k;
}

// args: key file, lock file, worker, ops, seconds, report, dir, workers.
KVTEST_WORKER(keyfile_stress) {
  const int worker = std::stoi(args.at(2)), ops = std::stoi(args.at(3));
  const int64_t end = kv::MonotonicMs() + 1000LL * std::stoi(args.at(4));
  BaumKeyDatei* keys = BBAUMLIB_Init(args.at(0).c_str(), kKeySize, kSlots);
  const kv::FileHandle lock = kv::FileIO_OpenRWS(args.at(1).c_str());
  if (keys == nullptr || lock == kv::kInvalidHandle) return 10;
  stress::Report rep;
  std::mt19937 rng(99u + static_cast<uint32_t>(worker));
  if (!stress::Arrive(args.at(6), "keys_go", worker, std::stoi(args.at(7)), 60000)) return 9;
  std::map<int32_t, int32_t> seqOf;  // slot -> seq of the key in it
  int32_t seq = 0;
  for (; rep.ops < ops && kv::MonotonicMs() < end; ++rep.ops) {
    // The lock polls and is not fair: under load a station may see the
    // time-out pass before its turn comes, and simply asks again.
    int refusals = 0;
    while (kv::FileIO_Lock(lock, 0, 1) != 1 && ++refusals < 20) {
    }
    if (refusals == 20) {
      rep.problems.push_back(" the callers' lock was refused 20 times in a row");
      break;
    }
    const uint32_t dice = rng() % 100;
    if (dice < 45 || rep.owned.empty()) {
      BaumKey k = KeyOf(worker, ++seq);
      int32_t slot = BBAUMLIB_BAUMKEYAnlegen(keys, &k);
      if (slot == 0) {
        // Removals cut the free chain; relink it and try once more.
        BBAUMLIB_OeffneDatenbank(keys);
        BBAUMLIB_ErzeugeFreelist(keys, nullptr);
        BBAUMLIB_SchliesseDatenbank(keys);
        slot = BBAUMLIB_BAUMKEYAnlegen(keys, &k);
      }
      if (slot > 0) {
        if (rep.owned.count(slot)) rep.problems.push_back(" slot " + std::to_string(slot) + " handed out again while owned");
        k.payload = (worker + 1) * 1000000 + seq;
        BBAUMLIB_OeffneDatenbank(keys);
        if (BBAUMLIB_WriteBAUMKEY(keys, slot, &k) != 1) rep.problems.push_back(" payload write failed");
        BBAUMLIB_SchliesseDatenbank(keys);
        rep.owned[slot] = k.payload;
        seqOf[slot] = seq;
      }
    } else {
      auto it = rep.owned.begin();
      std::advance(it, rng() % rep.owned.size());
      const int32_t slot = it->first;
      BaumKey k = KeyOf(worker, seqOf[slot]), stored;
      if (BBAUMLIB_BAUMKEYVorhanden(keys, &k) != slot || BBAUMLIB_LeseBAUMKEY(keys, slot, &stored) != 1 ||
          stored.payload != it->second) {
        rep.problems.push_back(" key of slot " + std::to_string(slot) + " is no longer found there");
        rep.owned.erase(it);
      } else if (dice < 75) {
        BBAUMLIB_BAUMKEYLoeschen(keys, slot);
        rep.owned.erase(it);
        seqOf.erase(slot);
      }
    }
    kv::FileIO_Unlock(lock, 0, 1);
  }
  kv::FileIO_Close(lock);
  BBAUMLIB_Exit(keys);
  stress::WriteReport(args.at(5), rep);
  return 0;
}

class KeyFileStressTest : public kvtest::DataDirTest {};

TEST_F(KeyFileStressTest, StationsUnderTheCallersLockKeepTreeChainAndCountSound) {
  const std::string path = file("MAPARTID.DBA"), lockPath = file("MAPARTID.LCK");
  BaumKeyDatei* keys = BBAUMLIB_Init(path.c_str(), kKeySize, kSlots);
  ASSERT_NE(keys, nullptr);
  ASSERT_EQ(BBAUMLIB_OeffneDatenbank(keys), 1);
  BBAUMLIB_ErzeugeFreelist(keys, nullptr);
  BBAUMLIB_SchliesseDatenbank(keys);
  BBAUMLIB_Exit(keys);
  kvtest::WriteFileBytes(lockPath, {0});
  stress::ExpectClean(rawcheck::CheckKeyFile(path, kKeySize).defects, "new key file");

  const stress::Load load = stress::LoadFromEnv(4, 3000);
  stress::Merged m = stress::RunStations("keyfile_stress", dir(), load, "key file", {path, lockPath}, {dir(), std::to_string(load.workers)});
  EXPECT_TRUE(m.problems.empty()) << rawcheck::Describe(m.problems);

  rawcheck::KeyFileState after = rawcheck::CheckKeyFile(path, kKeySize);
  stress::ExpectClean(after.defects, "MAPARTID.DBA");
  // Exactly the keys the stations own are in the file, each with its payload.
  EXPECT_EQ(after.used, static_cast<int32_t>(m.owner.size()));
  std::map<int64_t, int> payloads;
  for (const auto& [key, payload] : after.payloadByKey) ++payloads[payload];
  for (const auto& [slot, who] : m.owner) EXPECT_EQ(payloads[who.second], 1) << "payload of slot " << slot;
}

// args: data dir, worker, ops, seconds, report, workers, counters (1) or orders (2).
KVTEST_WORKER(numbers_stress) {
  const std::string dir = args.at(0);
  const int worker = std::stoi(args.at(1)), ops = std::stoi(args.at(2));
  const int64_t end = kv::MonotonicMs() + 1000LL * std::stoi(args.at(3));
  Nummern_Init((dir + "NUMMERN.DAT").c_str());
  AUFTRAGDBA_Init(0, (dir + "AUFTRAG.DBA").c_str());
  stress::Report rep;
  std::mt19937 rng(31u + static_cast<uint32_t>(worker));
  if (!stress::Arrive(dir, "numbers_go", worker, std::stoi(args.at(5)), 60000)) return 9;
  const bool orders = args.at(6) == "2";
  std::map<int32_t, int64_t> increments;
  for (; rep.ops < ops && kv::MonotonicMs() < end; ++rep.ops) {
    if (orders) {
      const int32_t n = AUFTRAGDBA_NeuerAuftrag();
      if (n == 0) rep.problems.push_back(" no order number");
      if (rep.owned.count(n)) rep.problems.push_back(" order number " + std::to_string(n) + " twice at one station");
      rep.owned[n] = rep.ops;
      continue;
    }
    // Counters 0..12 as the families use them: read, add one, write back.
    const int32_t index = static_cast<int32_t>(rng() % 13);
    int32_t v = -1;
    if (Nummern_NummernLesen(&v, index) != 1 || Nummern_NummernSchreiben(v + 1, index) != 1) {
      rep.problems.push_back(" counter " + std::to_string(index) + " failed");
    }
    ++increments[index];
  }
  // Increments per counter go into the report as owned "numbers" -index-1.
  for (const auto& [index, count] : increments) rep.owned[-index - 1] = count;
  stress::WriteReport(args.at(4), rep);
  return 0;
}

class NumberStressTest : public kvtest::DataDirTest {
 protected:
  stress::Merged Run(const char* kind, const char* what) {
    kvtest::WriteFileBytes(file("NUMMERN.DAT"), std::vector<uint8_t>(800, 0));
    const stress::Load load = stress::LoadFromEnv(4, 3000);
    return stress::RunStations("numbers_stress", dir(), load, what, {dir()}, {std::to_string(load.workers), kind});
  }
};

TEST_F(NumberStressTest, CountersRacingWithoutALockLeaveTheFileWhole) {
  const stress::Merged m = Run("1", "number ranges");
  // Merged ownership does not apply here (every station counts the same
  // counters); add up the increments per counter instead.
  std::map<int32_t, int64_t> increments;
  for (const std::string& r : m.reports) {
    stress::Report rep = stress::ReadReport(r);
    EXPECT_TRUE(rep.problems.empty()) << rawcheck::Describe(rep.problems);
    for (const auto& [neg, count] : rep.owned) increments[-neg - 1] += count;
  }
  int64_t total = 0, lost = 0;
  std::set<int32_t> used;
  rawcheck::Image img(file("NUMMERN.DAT"));
  for (const auto& [index, count] : increments) {
    used.insert(index);
    total += count;
    lost += count - img.I32(4 * index);
  }
  stress::ExpectClean(rawcheck::CheckNumbers(file("NUMMERN.DAT"), used, static_cast<int32_t>(total)), "NUMMERN.DAT");
  for (const auto& [index, count] : increments) EXPECT_GE(img.I32(4 * index), 1) << "counter " << index;
  std::printf("[ stress ] number ranges: %lld increments, %lld of them lost to a racing station (by design)\n",
              static_cast<long long>(total), static_cast<long long>(lost));
}

TEST_F(NumberStressTest, OrderNumbersAreNeverHandedOutTwiceBetweenStations) {
  stress::Merged m = Run("2", "order numbers");
  EXPECT_TRUE(m.problems.empty()) << rawcheck::Describe(m.problems);
  EXPECT_EQ(rawcheck::Image(file("NUMMERN.DAT")).size(), 800);
}

}  // namespace
