// A station dies in the middle of its work: killed at a random moment, or
// ended in place of its k-th write, while it creates, deletes and saves
// records or sells items. After every death the files must keep what the
// library promises (at most one leaked item until the reorganisation, no
// number owned twice, the damage of a sale confined to the customers it
// touched), and the family's reorganisation must then leave a fully
// consistent file.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

#include "families.h"
#include "dba_util.h"
#include "kvdata/dba.h"
#include "kvdata/kundendba.h"
#include "services/fault.h"
#include "services/platform.h"
#include "stress_support.h"

namespace {

constexpr int32_t R = 64;
constexpr int32_t C = 4;

// Trials per family: KVCRASH_TRIALS, fewer under Windows emulation, where
// every process start costs a great deal.
int Trials() {
#if defined(_WIN32)
  return stress::EnvInt("KVCRASH_TRIALS", 4);
#else
  return stress::EnvInt("KVCRASH_TRIALS", 10);
#endif
}

// ---- the journal a dying station keeps ----
// Each line is flushed before the station goes on, so it survives the kill:
// "begin <op> <n>" before an operation on a known number, "got <n>" when a
// new number has been handed out, "own <n> <tag>" and "gone <n>" when an
// operation has finished.
class Journal {
 public:
  explicit Journal(const std::string& path) : out_(path, std::ios::app) {}
  void Line(const std::string& text) {
    out_ << text << '\n';
    out_.flush();
  }

 private:
  std::ofstream out_;
};

// What the test knows about ownership after a station died: numbers whose
// last operation finished, and the one number (if any) it was working on.
struct Ledger {
  std::map<int32_t, int64_t> owned;
  int32_t inFlight = 0;

  void Apply(const std::string& journalPath) {
    std::ifstream in(journalPath);
    std::string line;
    inFlight = 0;
    while (std::getline(in, line)) {
      std::istringstream w(line);
      std::string kind;
      int32_t n = 0;
      w >> kind >> n;
      if (kind == "begin") {
        w >> inFlight;  // n is the operation
      } else if (kind == "got") {
        inFlight = n;
      } else if (kind == "own") {
        int64_t tag = 0;
        w >> tag;
        owned[n] = tag;
        inFlight = 0;
      } else if (kind == "gone") {
        owned.erase(n);
        inFlight = 0;
      }
    }
    std::remove(journalPath.c_str());
  }
  void WriteOwned(const std::string& path) const {
    std::ofstream out(path);
    for (const auto& [n, tag] : owned) out << n << ' ' << tag << '\n';
  }
};

std::map<int32_t, int64_t> ReadOwned(const std::string& path) {
  std::map<int32_t, int64_t> owned;
  std::ifstream in(path);
  int32_t n;
  int64_t tag;
  while (in >> n >> tag) owned[n] = tag;
  return owned;
}

// How a trial ends the station: "kill" after a random delay, or "write k".
struct Death {
  bool byWrite;
  int32_t k;
};

// Starts the station, lets it die, returns its exit code. The station writes
// a marker once it is working, so the timed kill falls into its work and not
// into its start-up.
int RunToDeath(const std::string& worker, std::vector<std::string> args, const Death& death, const std::string& marker,
               std::mt19937& rng) {
  std::remove(marker.c_str());
  args.push_back(marker);
  args.push_back(death.byWrite ? std::to_string(death.k) : "0");
  kvtest::Worker w = kvtest::SpawnWorker(worker, args);
  int code = -1;
  if (death.byWrite) {
    if (!kvtest::WaitWorkerFor(w, 60000, &code)) {
      kvtest::KillWorker(w);
      ADD_FAILURE() << "station did not reach its write " << death.k;
    }
    return code;
  }
  const int64_t end = kv::MonotonicMs() + 60000;
  while (!kvtest::FileExists(marker) && kv::MonotonicMs() < end) {
    if (kvtest::WaitWorkerFor(w, 2, &code)) return code;
  }
  kv::SleepMs(static_cast<int32_t>(rng() % 40));
  kvtest::KillWorker(w);
  return -1;
}

// Station start: arms the write fault when asked, then marks itself busy.
void StartDying(const std::vector<std::string>& args) {
  const int32_t k = std::stoi(args.back());
  if (k > 0) kv::fault::ArmExitAtWrite(k - 1);
  kvtest::WriteFileBytes(args[args.size() - 2], {1});
}

struct Figures {
  int trials = 0, byWrite = 0, killed = 0, finished = 0, leakTrials = 0, leaked = 0, damagedSales = 0;
  void Print(const char* what) const {
    std::printf("[ crash  ] %s: %d trials (%d ended at a write, %d killed on a timer, %d finished first); "
                "%d trials left %d leaked items before the reorganisation",
                what, trials, byWrite, killed, finished, leakTrials, leaked);
    if (damagedSales > 0) std::printf("; %d sales left a customer chain damaged", damagedSales);
    std::printf("\n");
    std::fflush(stdout);
  }
};

Death NextDeath(int trial, std::mt19937& rng, int32_t maxWrite) {
  return trial % 2 == 0 ? Death{true, 1 + static_cast<int32_t>(rng() % static_cast<uint32_t>(maxWrite))} : Death{false, 0};
}

void Count(Figures& f, int code) {
  ++f.trials;
  if (code == kv::fault::kCrashExitCode) {
    ++f.byWrite;
  } else if (code == 0) {
    ++f.finished;
  } else {
    ++f.killed;
  }
}

// The work of a dying station on a record file: take a number and save a
// record (tag) in it, delete an owned one, or save an owned one again; every
// step journalled. Exit 3: no number; 4: a save failed; 5: a delete failed.
struct StationOps {
  std::function<int32_t()> take;
  std::function<bool(int32_t, int64_t tag, int op)> save;
  std::function<bool(int32_t)> remove;
};

// args: file or data dir, journal, owned list, seed, marker, k.
int WorkUntilDeath(const std::vector<std::string>& args, int rounds, int64_t tag, bool newTagOnSave,
                   const StationOps& ops) {
  Journal journal(args.at(1));
  std::map<int32_t, int64_t> owned = ReadOwned(args.at(2));
  std::mt19937 rng(static_cast<uint32_t>(std::stoul(args.at(3))));
  StartDying(args);
  for (int op = 0; op < rounds; ++op) {
    const uint32_t dice = rng() % 100;
    if (dice < 45 || owned.size() < 5) {
      const int32_t n = ops.take();
      if (n == 0) return 3;
      journal.Line("got " + std::to_string(n));
      if (!ops.save(n, ++tag, op)) return 4;
      owned[n] = tag;
      journal.Line("own " + std::to_string(n) + " " + std::to_string(tag));
      continue;
    }
    auto it = owned.begin();
    std::advance(it, rng() % owned.size());
    const int32_t n = it->first;
    if (dice < 75) {
      journal.Line("begin 1 " + std::to_string(n));
      if (!ops.remove(n)) return 5;
      owned.erase(it);
      journal.Line("gone " + std::to_string(n));
    } else {
      journal.Line("begin 2 " + std::to_string(n));
      if (newTagOnSave) it->second = ++tag;
      if (!ops.save(n, it->second, op)) return 4;
      journal.Line("own " + std::to_string(n) + " " + std::to_string(it->second));
    }
  }
  return 0;
}

// ---------------------------------------------------------------- DBA engine

std::vector<uint8_t> Tagged(int64_t tag) { return stress::TaggedRecord(R, tag); }
int64_t TagOnDisk(const rawcheck::Image& img, int32_t n) { return stress::TagOnDisk(img, R, C, n); }

KVTEST_WORKER(crash_dba) {
  DbaFile f = kvtest::MakeDba(args.at(0), R, C);
  return WorkUntilDeath(args, 400, int64_t{std::stoi(args.at(3))} << 20, true,
                        {[&] { return DBA_NewITEM(&f); },
                         [&](int32_t n, int64_t tag, int) { return DBA_WriteDATA(&f, n, Tagged(tag).data()) == 1; },
                         [&](int32_t n) { return DBA_DeleteITEM(&f, n), true; }});
}

class CrashTest : public kvtest::DataDirTest {};

TEST_F(CrashTest, AStationDyingInNewDeleteOrSaveLeaksAtMostOneItemUntilTheReorganisation) {
  const std::string path = file("CRASH.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  std::mt19937 rng(2024);
  Ledger ledger;
  std::map<int32_t, int64_t> mine;  // items this test takes itself
  int64_t myTag = int64_t{1} << 40;
  Figures fig;
  for (int trial = 0; trial < Trials(); ++trial) {
    // An empty free chain, so the station's first new item is an append.
    while (rawcheck::ReadWord(path, 8) != 0) {
      const int32_t n = DBA_NewITEM(&f);
      ASSERT_NE(n, 0);
      ASSERT_EQ(DBA_WriteDATA(&f, n, Tagged(++myTag).data()), 1);
      mine[n] = myTag;
    }
    const Death death = NextDeath(trial, rng, 300);
    ledger.WriteOwned(file("owned"));
    const int code = RunToDeath("crash_dba", {path, file("journal"), file("owned"), std::to_string(trial + 1)}, death,
                                file("busy"), rng);
    Count(fig, code);
    ledger.Apply(file("journal"));
    SCOPED_TRACE("trial " + std::to_string(trial) + ", in flight: item " + std::to_string(ledger.inFlight));

    // Before the reorganisation: the structure holds, at most one item is
    // lost to the chain, and every finished item still holds its record.
    rawcheck::DbaState s = rawcheck::CheckDba(path, R, false);
    stress::ExpectClean(s.defects, "after the station died");
    EXPECT_LE(s.leaked.size(), 1u);
    EXPECT_LE(std::abs(s.countSkew), 1);
    if (!s.leaked.empty()) {
      ++fig.leakTrials;
      fig.leaked += static_cast<int>(s.leaked.size());
    }
    rawcheck::Image img(path);
    for (const auto& [n, tag] : ledger.owned) {
      if (n == ledger.inFlight) continue;
      EXPECT_GE(s.state[n], 1) << "item " << n;
      EXPECT_EQ(TagOnDisk(img, n), tag) << "item " << n;
    }
    // Another station carries on: nothing it is handed may be owned.
    for (int i = 0; i < 3; ++i) {
      const int32_t n = DBA_NewITEM(&f);
      ASSERT_NE(n, 0);
      EXPECT_FALSE(ledger.owned.count(n) && n != ledger.inFlight) << "item " << n << " handed out while owned";
      EXPECT_FALSE(mine.count(n)) << "item " << n << " handed out twice";
      ASSERT_EQ(DBA_WriteDATA(&f, n, Tagged(++myTag).data()), 1);
      if (n == ledger.inFlight) ledger.owned.erase(n);
      mine[n] = myTag;
    }

    // The reorganisation then leaves an exact file.
    ASSERT_NE(DBA_Reo(&f), nullptr);
    s = rawcheck::CheckDba(path, R, true);
    stress::ExpectClean(s.defects, "after the reorganisation");
    img = rawcheck::Image(path);
    if (ledger.inFlight != 0 && s.state[ledger.inFlight] >= 1 && !mine.count(ledger.inFlight)) {
      ledger.owned[ledger.inFlight] = TagOnDisk(img, ledger.inFlight);  // the save or delete did not happen, or did
    } else if (ledger.inFlight != 0 && !mine.count(ledger.inFlight)) {
      ledger.owned.erase(ledger.inFlight);
    }
    std::set<int32_t> expected;
    for (const auto& [n, tag] : ledger.owned) expected.insert(n);
    for (const auto& [n, tag] : mine) expected.insert(n);
    EXPECT_EQ(s.used, expected);
    for (const auto& [n, tag] : mine) EXPECT_EQ(TagOnDisk(img, n), tag) << "item " << n;
    if (HasFailure()) break;
  }
  fig.Print("DBA engine");
}

// ----------------------------------------------------------------- customers

std::string CrashName(int64_t tag) { return "Crash" + std::to_string(tag); }

// A save keeps the name (so the search entries stay) and moves the street.
KVTEST_WORKER(crash_customers) {
  if (KundenDBA_Init((args.at(0) + "KUNDEN.DBA").c_str()) == 0) return 10;
  auto save = [](int32_t n, int64_t t, int street) {
    Kunde k;
    KundenDBA_ClearKunde(&k);
    k.refCount = 1;
    k.flags = KUNDE_FLAG_BENUTZBAR;
    std::snprintf(k.surname, sizeof k.surname, "%s", CrashName(t).c_str());
    std::snprintf(k.street, sizeof k.street, "Weg %d", street);
    std::snprintf(k.bankCode, sizeof k.bankCode, "%08lld", static_cast<long long>(t % 100000000));
    return KundenDBA_SchreibeKunde(n, &k, 1) == 1;
  };
  return WorkUntilDeath(args, 300, int64_t{std::stoi(args.at(3))} * 100000, false,
                        {KundenDBA_NeuerKunde, save, [](int32_t n) { return KundenDBA_LoescheKunde(n) == 1; }});
}

TEST_F(CrashTest, AStationDyingInCustomerWorkLeavesFilesThatTheReorganisationMakesExact) {
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  std::mt19937 rng(77);
  Ledger ledger;
  Figures fig;
  int staleEntries = 0, searchRepairs = 0;
  for (int trial = 0; trial < Trials(); ++trial) {
    const Death death = NextDeath(trial, rng, 200);
    ledger.WriteOwned(file("owned"));
    const int code = RunToDeath("crash_customers", {dir(), file("journal"), file("owned"), std::to_string(trial + 1)},
                                death, file("busy"), rng);
    Count(fig, code);
    ledger.Apply(file("journal"));
    SCOPED_TRACE("trial " + std::to_string(trial) + ", in flight: customer " + std::to_string(ledger.inFlight));

    // A station that dies while deleting may leave that one customer's
    // search entries cleared (they go first, while the number is still its
    // own); a rebuild of the search files restores them.
    rawcheck::CustomerState s = rawcheck::CheckCustomers(dir(), false, false);
    stress::ExpectClean(s.dba.defects, "after the station died");
    for (int32_t n : s.searchMismatch) {
      EXPECT_EQ(n, ledger.inFlight) << "search entries of customer " << n << "\n" << rawcheck::Describe(s.defects);
      ++searchRepairs;
    }
    const size_t lost = s.dba.leaked.size() + s.taken.size();
    EXPECT_LE(lost, 1u);
    EXPECT_LE(std::abs(s.dba.countSkew), 1);
    if (lost != 0) {
      ++fig.leakTrials;
      fig.leaked += static_cast<int>(lost);
    }
    rawcheck::Image img(file("KUNDEN.DBA"));
    const int64_t base = 40 + 8 * int64_t{s.dba.capacity};
    for (const auto& [n, tag] : ledger.owned) {
      if (n == ledger.inFlight) continue;
      EXPECT_GE(s.dba.state[n], 1) << "customer " << n;
      EXPECT_EQ(img.Text(base + int64_t{n} * 1299 + 105, 65), CrashName(tag)) << "customer " << n;
    }
    // The office carries on: a new number must not be one that is owned.
    const int32_t n = KundenDBA_NeuerKunde();
    ASSERT_NE(n, 0);
    EXPECT_FALSE(ledger.owned.count(n) && n != ledger.inFlight) << "customer " << n << " handed out while owned";
    ledger.owned.erase(n);
    ASSERT_EQ(KundenDBA_LoescheKunde(n), 1);

    // The administrator's repair: reorganise, then let the next start
    // rebuild both search files from the customer file.
    ASSERT_NE(KundenDBA_Reo(), 0);
    staleEntries += static_cast<int>(rawcheck::CheckCustomers(dir(), true, true).defects.size() -
                                     rawcheck::CheckCustomers(dir(), true, false).defects.size());
    std::remove(file("KUNDSUCH.DBA").c_str());
    std::remove(file("KUNDBLZSUCH.DBA").c_str());
    ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
    s = rawcheck::CheckCustomers(dir(), true, true);
    stress::ExpectClean(s.defects, "after the reorganisation and the search-file rebuild");
    img = rawcheck::Image(file("KUNDEN.DBA"));
    const int32_t f = ledger.inFlight;
    if (f != 0 && s.dba.state[f] >= 1) {
      const std::string name = img.Text(base + int64_t{f} * 1299 + 105, 65);
      EXPECT_EQ(name.rfind("Crash", 0), 0u) << "customer " << f;
      ledger.owned[f] = std::stoll(name.substr(5));
    } else if (f != 0) {
      ledger.owned.erase(f);
    }
    std::set<int32_t> expected;
    for (const auto& [m, tag] : ledger.owned) expected.insert(m);
    EXPECT_EQ(s.dba.used, expected);
    if (HasFailure()) break;
  }
  fig.Print("customers");
  std::printf("[ crash  ] customers: %d trials left a customer in use without search entries, %d stale search "
              "entries of freed customers seen; both gone after the search-file rebuild\n", searchRepairs, staleEntries);
}

// ------------------------------------------------------------------- sales

// args: data dir, journal, owned list (unused), seed, marker, k.
KVTEST_WORKER(crash_sales) {
  if (!stress::InitFamilies(args.at(0), "till")) return 10;
  Journal journal(args.at(1));
  std::mt19937 rng(static_cast<uint32_t>(std::stoul(args.at(3))));
  std::vector<int32_t> items;
  {
    std::ifstream in(args.at(2));
    int32_t id;
    while (in >> id) items.push_back(id);
  }
  StartDying(args);
  for (int op = 0; op < 400; ++op) {
    const int32_t id = items[rng() % items.size()];
    Einzelteil r;
    if (DATABASE_LeseEinzelteil(id, &r) != 1) return 4;
    EinzelteilVerkauf sale;
    std::memset(&sale, 0, sizeof sale);
    sale.item = id;
    sale.customer = 1 + static_cast<int32_t>(rng() % stress::kCustomers);
    sale.location = 1;
    sale.quantity = 1;
    sale.vatCode = 1;
    journal.Line("sale " + std::to_string(id) + " " + std::to_string(r.customer) + " " + std::to_string(sale.customer));
    if (DATABASE_EinzelteilVerkaufen(&sale) != 1) return 5;
    journal.Line("done");
  }
  return 0;
}

TEST_F(CrashTest, AStationDyingInASaleDamagesOnlyTheChainsOfTheCustomersItSoldBetween) {
  ASSERT_TRUE(stress::InitFamilies(dir(), "office"));
  std::set<int32_t> anchors;
  ASSERT_TRUE(stress::CreateShop(&anchors));
  std::vector<int32_t> items;
  for (int i = 0; i < 60; ++i) {
    Einzelteil r = stress::Item(1 + i % 7, 1 + i % stress::kLiving, 1 + i % stress::kCustomers, 1000 + i);
    const int32_t id = DATABASE_NeuesTeil(&r);
    ASSERT_NE(id, 0);
    items.push_back(id);
  }
  {
    std::ofstream out(file("items"));
    for (int32_t id : items) out << id << '\n';
  }
  stress::ExpectClean(rawcheck::CheckItems(dir()).defects, "the shop before any sale");
  // Every trial starts from this shop: nothing in the library repairs a
  // customer chain that a dying sale has left, so damage must not pile up.
  const char* files[] = {"TEILE.DBA", "KUNDEN.DBA", "KUNDSUCH.DBA", "KUNDBLZSUCH.DBA", "ARTIKEL.DBA", "BEZLIB.DBA"};
  std::map<std::string, std::vector<uint8_t>> shop;
  for (const char* name : files) shop[name] = kvtest::ReadFileBytes(file(name));

  std::mt19937 rng(5);
  Figures fig;
  for (int trial = 0; trial < Trials(); ++trial) {
    const Death death = NextDeath(trial, rng, 400);
    std::remove(file("journal").c_str());
    const int code = RunToDeath("crash_sales", {dir(), file("journal"), file("items"), std::to_string(trial + 1)}, death,
                                file("busy"), rng);
    Count(fig, code);
    // The sale in flight: the last one the journal began and did not finish.
    int32_t id = 0, from = 0, to = 0;
    {
      std::ifstream in(file("journal"));
      std::string line;
      while (std::getline(in, line)) {
        std::istringstream w(line);
        std::string kind;
        w >> kind;
        if (kind == "sale") {
          w >> id >> from >> to;
        } else {
          id = from = to = 0;
        }
      }
    }
    SCOPED_TRACE("trial " + std::to_string(trial) + ": sale of item " + std::to_string(id) + " from customer " +
                 std::to_string(from) + " to " + std::to_string(to));
    rawcheck::ItemState s = rawcheck::CheckItems(dir());
    EXPECT_TRUE(s.broken["article"].empty()) << rawcheck::Describe(s.defects);
    EXPECT_TRUE(s.broken["designation"].empty()) << rawcheck::Describe(s.defects);
    for (int32_t c : s.broken["customer"]) {
      EXPECT_TRUE(id != 0 && (c == from || c == to)) << "customer " << c << "'s chain\n" << rawcheck::Describe(s.defects);
    }
    if (!s.broken["customer"].empty()) ++fig.damagedSales;
    stress::ExpectClean(rawcheck::CheckCustomers(dir(), true, true).defects, "customer files");
    EXPECT_EQ(s.inUse.size(), items.size() + anchors.size());
    for (const char* name : files) kvtest::WriteFileBytes(file(name), shop[name]);
    if (HasFailure()) break;
  }
  fig.Print("sales");
}

}  // namespace
