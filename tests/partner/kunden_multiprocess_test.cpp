// Several processes create, write and delete customers in one data directory
// at once; afterwards every customer and both search files agree.
#include <map>
#include <set>

#include "kunden_fixture.h"

namespace {

using kvtest::MakeKunde;
using kvtest::SetText;

constexpr int kWorkers = 4;
constexpr int kPerWorker = 30;

// Built by appending: GCC 12 at -O3 warns falsely (-Wrestrict) about
// "literal" + std::string.
std::string Surname(int worker, int i) {
  return std::string("W").append(std::to_string(worker)).append("N").append(std::to_string(i));
}

// args: data directory, worker number. Prints nothing; every customer it
// keeps is written twice (a second write with search update after a
// neighbour may have been deleted), every third is deleted again.
KVTEST_WORKER(kunden_writer) {
  if (KundenDBA_Init((args[0] + "KUNDEN.DBA").c_str()) == 0) return 10;
  int worker = std::stoi(args[1]);
  for (int i = 0; i < kPerWorker; ++i) {
    int32_t n = KundenDBA_NeuerKunde();
    if (n == 0) return 11;
    Kunde k = MakeKunde(Surname(worker, i).c_str());
    SetText(k.bankCode, (std::string("1000000").append(std::to_string(worker))).c_str());
    SetText(k.accountNumber, std::to_string(i).c_str());
    if (KundenDBA_SchreibeKunde(n, &k, 1) != 1) return 12;
    if (i % 3 == 2) {
      if (KundenDBA_LoescheKunde(n) != 1) return 13;
    } else if (KundenDBA_SchreibeKunde(n, &k, 1) != 1) {
      return 14;
    }
  }
  return 0;
}

class KundenMultiProcessTest : public kvtest::KundenTest {};

std::map<int32_t, std::string> g_walked;
int32_t KV_CALLBACK Remember(int32_t n, void* record) {
  g_walked[n] = static_cast<Kunde*>(record)->surname;
  return 0;
}

TEST_F(KundenMultiProcessTest, ConcurrentWritersLeaveConsistentFiles) {
  std::vector<std::vector<std::string>> args;
  for (int w = 0; w < kWorkers; ++w) args.push_back({dir(), std::to_string(w)});
  for (int code : kvtest::RunWorkers("kunden_writer", args)) ASSERT_EQ(code, 0);

  // The walk meets every kept customer once, and nobody overwrote anybody.
  g_walked.clear();
  ASSERT_EQ(KundenDBA_MitAllenKunden(Remember), 1);
  std::set<std::string> names, kept;
  for (const auto& [n, name] : g_walked) names.insert(name);
  for (int w = 0; w < kWorkers; ++w)
    for (int i = 0; i < kPerWorker; ++i)
      if (i % 3 != 2) kept.insert(Surname(w, i));
  EXPECT_EQ(g_walked.size(), kept.size());
  EXPECT_EQ(names, kept);

  // Every number ever handed out is either a customer with matching search
  // entries or a free record with zeroed ones. Freed numbers are handed out
  // again: at most one per worker stays free.
  int32_t max = KundenDBA_GetMAX();
  EXPECT_GE(max, static_cast<int32_t>(kept.size()));
  EXPECT_LE(max, static_cast<int32_t>(kept.size()) + kWorkers);
  for (int32_t n = 1; n <= max; ++n) {
    Kunde k = Read(n);
    bool live = g_walked.count(n) != 0;
    EXPECT_EQ(+k.refCount, live ? 1 : -1) << n;
    EXPECT_EQ(NameItem(n), live ? kvtest::SearchEntry(12, std::string(k.surname).substr(0, 7))
                                : std::vector<uint8_t>(12, 0)) << n;
    EXPECT_EQ(BankItem(n), live ? kvtest::SearchEntry(24, k.bankCode, k.accountNumber)
                                : std::vector<uint8_t>(24, 0)) << n;
  }
}

}  // namespace
