// Tills, goods-in and the office on one single-item file: stations create
// items, sell them to customers (moving them between customer chains),
// exchange and delete them, while the office keeps saving the same
// customers. Afterwards all three chains must be whole, doubly linked and
// agree with their heads in the article, designation and customer files.
#include <cstring>
#include <random>

#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/kundendba.h"
#include "services/platform.h"
#include "families.h"
#include "stress_support.h"

namespace {

using stress::kArticles;
using stress::kCustomers;
using stress::kItems;
using stress::kLiving;
using stress::InitFamilies;
using stress::Item;

// args: data dir, worker, ops, seconds, report, workers.
KVTEST_WORKER(item_stress) {
  const std::string dir = args.at(0);
  const int worker = std::stoi(args.at(1)), ops = std::stoi(args.at(2)), workers = std::stoi(args.at(5));
  const int64_t end = kv::MonotonicMs() + 1000LL * std::stoi(args.at(3));
  if (!InitFamilies(dir, "station" + std::to_string(worker))) return 10;
  stress::Report rep;
  std::mt19937 rng(4242u + static_cast<uint32_t>(worker));
  if (!stress::Arrive(dir, "items_go", worker, workers, 60000)) return 9;
  int32_t seq = 0;
  auto pick = [&](int32_t below) { return 1 + static_cast<int32_t>(rng() % static_cast<uint32_t>(below)); };
  // An operation that waits out a lock's time-out says so on standard error:
  // with its neighbours' record locks taken inside its own, two stations
  // can wait for each other until the time-out ends it.
  int64_t opStart = kv::MonotonicMs();
  uint32_t dice = 0;
  for (; rep.ops < ops && kv::MonotonicMs() < end; ++rep.ops) {
    const int64_t now = kv::MonotonicMs();
    if (now - opStart > 5000) {
      std::fprintf(stderr, "station %d: operation %d (kind %u) took %lld ms\n", worker, static_cast<int>(rep.ops) - 1,
                   dice, static_cast<long long>(now - opStart));
    }
    opStart = now;
    dice = rng() % 100;
    if (dice < 30 || rep.owned.empty()) {
      const int32_t value = (worker + 1) * 10000000 + ++seq;
      Einzelteil r = Item(pick(kArticles - 1), pick(kLiving), rng() % 3 == 0 ? pick(kCustomers) : 0, value);
      const int32_t id = DATABASE_NeuesTeil(&r);
      if (id == 0) {
        rep.problems.push_back(" DATABASE_NeuesTeil returned 0");
        break;
      }
      if (rep.owned.count(id)) rep.problems.push_back(" item " + std::to_string(id) + " handed out again while owned");
      rep.owned[id] = value;
      continue;
    }
    if (dice >= 85) {
      // The office edits a customer's address while the tills sell to it.
      const int32_t c = pick(kCustomers);
      Kunde k;
      if (KundenDBA_LeseKunde(c, &k) != 1) {
        rep.problems.push_back(" customer " + std::to_string(c) + " unreadable");
        continue;
      }
      std::snprintf(k.street, sizeof k.street, "Office %d/%d", worker, static_cast<int>(rep.ops));
      if (KundenDBA_SchreibeKunde(c, &k, 1) != 1) rep.problems.push_back(" office save failed");
      continue;
    }
    auto it = rep.owned.begin();
    std::advance(it, rng() % rep.owned.size());
    const int32_t id = it->first;
    Einzelteil r;
    if (DATABASE_LeseEinzelteil(id, &r) != 1 || !(r.flags & DATABASE_FLAG_BENUTZT) || r.value != it->second) {
      rep.problems.push_back(" item " + std::to_string(id) + " no longer holds its owner's record");
      rep.owned.erase(it);
      continue;
    }
    if (dice < 45) {
      if (DATABASE_AltesTeilLoeschen(id) != 1) rep.problems.push_back(" deleting item " + std::to_string(id) + " failed");
      rep.owned.erase(it);
    } else if (dice < 75) {
      EinzelteilVerkauf sale;
      std::memset(&sale, 0, sizeof sale);
      // Mostly its own items; now and then any item, as a till scans what
      // the customer brings.
      sale.item = rng() % 4 == 0 ? pick(kItems - 1) : id;
      sale.customer = pick(kCustomers);
      sale.location = pick(3);
      sale.quantity = 1;
      sale.saleDate = 9000;
      sale.vatCode = 1;
      DATABASE_EinzelteilVerkaufen(&sale);
    } else {
      EinzelteilBuchung back;
      std::memset(&back, 0, sizeof back);
      back.item = id;
      back.location = 2;
      back.date = 9001;
      DATABASE_EinzelteilUmtauschen(&back, 600);
    }
  }
  stress::WriteReport(args.at(4), rep);
  return 0;
}

class ItemStressTest : public kvtest::DataDirTest {};

TEST_F(ItemStressTest, SalesExchangesDeletesAndOfficeSavesKeepEveryChainWhole) {
  ASSERT_TRUE(InitFamilies(dir(), "office"));
  std::set<int32_t> anchors;
  ASSERT_TRUE(stress::CreateShop(&anchors));
  stress::ExpectClean(rawcheck::CheckItems(dir()).defects, "before the stations start");

  const stress::Load load = stress::LoadFromEnv(4, 1500);
  stress::Merged m = stress::RunStations("item_stress", dir(), load, "single items", {dir()}, {std::to_string(load.workers)});
  EXPECT_TRUE(m.problems.empty()) << rawcheck::Describe(m.problems);

  rawcheck::ItemState items = rawcheck::CheckItems(dir());
  stress::ExpectClean(items.defects, "item chains");
  stress::ExpectClean(rawcheck::CheckCustomers(dir(), true, true).defects, "customer files");
  // Every item in use is an anchor or owned by exactly one station, with
  // that station's value in it.
  for (const auto& [id, value] : items.inUse) {
    auto it = m.owner.find(id);
    if (it == m.owner.end()) {
      EXPECT_TRUE(anchors.count(id)) << "item " << id << " is in use but nobody owns it";
    } else {
      EXPECT_EQ(value, it->second.second) << "item " << id;
    }
  }
  for (const auto& [id, who] : m.owner) EXPECT_TRUE(items.inUse.count(id)) << "owned item " << id << " is free";
}

}  // namespace
