// Many stations on the customer file and its two search files. First every
// station works through a shared list of customers, each shared by two
// stations that read it and then either delete it or save it back, so the
// same customer is deleted twice at once or saved after the other station
// freed it. Then each station creates, saves and deletes customers of its
// own, on numbers that a reorganisation has put above the slot count.
#include <cstring>
#include <random>

#include "kvdata/kundendba.h"
#include "services/platform.h"
#include "stress_support.h"

namespace {

constexpr int32_t kShared = 120;  // customers 1..kShared, created before the stations start
constexpr int32_t kSpare = 60;    // kShared+1..kShared+kSpare, freed and reorganised away

template <size_t N>
void Put(char (&field)[N], const std::string& text) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

Kunde Customer(const std::string& surname, int64_t tag) {
  Kunde k;
  KundenDBA_ClearKunde(&k);
  k.refCount = 1;
  k.flags = KUNDE_FLAG_BENUTZBAR;
  Put(k.surname, surname);
  Put(k.street, "Lindenweg " + std::to_string(tag % 1000));
  Put(k.city, "Kassel");
  Put(k.bankCode, std::to_string(10000000 + tag % 89999999));
  Put(k.accountNumber, std::to_string(tag % 1000000000));
  return k;
}

std::string SharedName(int32_t n) { return "Geteilt" + std::to_string(n); }
std::string OwnName(int worker, int64_t seq) { return "S" + std::to_string(worker) + "-" + std::to_string(seq); }

// args: data dir, worker, ops, seconds, report, workers.
KVTEST_WORKER(customer_stress) {
  const std::string dir = args.at(0);
  const int worker = std::stoi(args.at(1)), ops = std::stoi(args.at(2)), workers = std::stoi(args.at(5));
  const int64_t end = kv::MonotonicMs() + 1000LL * std::stoi(args.at(3));
  if (KundenDBA_Init((dir + "KUNDEN.DBA").c_str()) == 0) return 10;
  stress::Report rep;
  std::mt19937 rng(777u + static_cast<uint32_t>(worker));
  if (!stress::Arrive(dir, "shared_go", worker, workers, 60000)) return 9;

  // Shared customers: this station and its neighbour both take customer n.
  for (int32_t n = 1; n <= kShared; ++n) {
    if (n % workers != worker && (n + 1) % workers != worker) continue;
    Kunde k;
    if (KundenDBA_LeseKunde(n, &k) != 1) continue;
    ++rep.ops;
    if (k.refCount != 1) continue;  // already freed by the neighbour
    if (rng() % 2 == 0) {
      KundenDBA_LoescheKunde(n);  // 0 is a fair answer when the neighbour won
    } else {
      KundenDBA_SchreibeKunde(n, &k, 1);  // refused when the neighbour freed it
    }
  }
  if (!stress::Arrive(dir, "own_go", worker, workers, 60000)) return 9;

  int64_t seq = 0;
  std::map<int32_t, std::string> names;
  auto mine = [&](int32_t n, Kunde& k) {
    if (KundenDBA_LeseKunde(n, &k) == 1 && k.refCount == 1 && names[n] == k.surname) return true;
    rep.problems.push_back(" customer " + std::to_string(n) + " (" + names[n] + ") was changed by someone else: \"" +
                           std::string(k.surname) + "\"");
    rep.owned.erase(n);
    names.erase(n);
    return false;
  };
  for (; rep.ops < ops && kv::MonotonicMs() < end; ++rep.ops) {
    const uint32_t dice = rng() % 100;
    if (dice < 40 || rep.owned.empty()) {
      const int32_t n = KundenDBA_NeuerKunde();
      if (n == 0) {
        rep.problems.push_back(" KundenDBA_NeuerKunde returned 0");
        break;
      }
      if (rep.owned.count(n)) rep.problems.push_back(" customer " + std::to_string(n) + " handed out again while owned");
      // Address, walks and KundenDBA_KundenAlleBenutzbar stop at this bound.
      const int32_t max = KundenDBA_GetMAX();
      if (n > max) {
        rep.problems.push_back(" customer " + std::to_string(n) + " handed out above KundenDBA_GetMAX " + std::to_string(max));
      }
      ++seq;
      Kunde k = Customer(OwnName(worker, seq), seq);
      if (KundenDBA_SchreibeKunde(n, &k, 1) != 1) {
        rep.problems.push_back(" first save of new customer " + std::to_string(n) + " failed");
        continue;
      }
      rep.owned[n] = seq;
      names[n] = k.surname;
      continue;
    }
    auto it = rep.owned.begin();
    std::advance(it, rng() % rep.owned.size());
    const int32_t n = it->first;
    Kunde k;
    if (!mine(n, k)) continue;
    if (dice < 65) {
      if (KundenDBA_LoescheKunde(n) != 1) rep.problems.push_back(" deleting own customer " + std::to_string(n) + " failed");
      rep.owned.erase(n);
      names.erase(n);
    } else {
      ++seq;
      Kunde changed = Customer(k.surname, seq);
      if (KundenDBA_SchreibeKunde(n, &changed, 1) != 1) {
        rep.problems.push_back(" saving own customer " + std::to_string(n) + " failed");
      }
    }
  }
  stress::WriteReport(args.at(4), rep);
  return 0;
}

class CustomerStressTest : public kvtest::DataDirTest {};

TEST_F(CustomerStressTest, SharedDeletesAndSavesAndOwnCustomersKeepAllThreeFilesInStep) {
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  for (int32_t n = 1; n <= kShared + kSpare; ++n) {
    ASSERT_EQ(KundenDBA_NeuerKunde(), n);
    Kunde k = Customer(SharedName(n), n);
    ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
  }
  for (int32_t n = kShared + 1; n <= kShared + kSpare; ++n) ASSERT_EQ(KundenDBA_LoescheKunde(n), 1);
  ASSERT_NE(KundenDBA_Reo(), 0);
  ASSERT_EQ(KundenDBA_GetMAX(), kShared);
  stress::ExpectClean(rawcheck::CheckCustomers(dir(), true, true).defects, "before the stations start");

  const stress::Load load = stress::LoadFromEnv(4, 3000);
  stress::Merged m = stress::RunStations("customer_stress", dir(), load, "customers", {dir()}, {std::to_string(load.workers)});
  EXPECT_TRUE(m.problems.empty()) << rawcheck::Describe(m.problems);

  rawcheck::CustomerState after = rawcheck::CheckCustomers(dir(), true, true);
  stress::ExpectClean(after.defects, "customer files");
  // Every customer in use is either a shared one still under its own name or
  // one that exactly one station owns, under that station's name.
  rawcheck::Image img(file("KUNDEN.DBA"));
  for (int32_t n : after.dba.used) {
    const std::string surname = img.Text(40 + 8 * int64_t{after.dba.capacity} + int64_t{n} * 1299 + 105, 65);
    auto it = m.owner.find(n);
    if (it == m.owner.end()) {
      EXPECT_EQ(surname, SharedName(n)) << "customer " << n << " is in use but nobody owns it";
    } else {
      EXPECT_EQ(surname, OwnName(it->second.first, it->second.second)) << "customer " << n;
    }
  }
  for (const auto& [n, who] : m.owner) EXPECT_TRUE(after.dba.used.count(n)) << "owned customer " << n << " is free";
  EXPECT_GE(KundenDBA_GetMAX(), after.dba.used.empty() ? 0 : *after.dba.used.rbegin());
}

}  // namespace
