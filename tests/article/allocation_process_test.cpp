// Several processes creating items at once: no identifier is handed out
// twice, and the article and designation chains they build together hold
// every item exactly once with consistent links.
#include <fstream>
#include <set>
#include <string>

#include "article_support.h"
#include "services/platform.h"

namespace articletest {
namespace {

constexpr int kWorkers = 4;
constexpr int kItemsPerWorker = 40;

// args: data directory, designation, output file. Creates the items and
// writes their identifiers, one a line.
KVTEST_WORKER(create_items) {
  if (!InitFamilies(args.at(0), false)) return 2;
  std::ofstream out(args.at(2));
  // Start together, so that the creations really overlap.
  for (int waited = 0; !kvtest::FileExists(args.at(0) + "go"); ++waited) {
    if (waited > 2000) return 4;
    kv::SleepMs(5);
  }
  int32_t bez = std::stoi(args.at(1));
  for (int i = 0; i < kItemsPerWorker; ++i) {
    Einzelteil r = NewRecord(1, bez);
    int32_t id = DATABASE_NeuesTeil(&r);
    if (id == 0) return 3;
    out << id << "\n";
  }
  return 0;
}

class AllocationProcessTest : public ArticleTest {};

TEST_F(AllocationProcessTest, ConcurrentCreatorsGetDistinctIdsAndCompleteChains) {
  PutArticle(1, "Socken", 1);
  int32_t bez = BEZLIB_NeueBezeichnung("Socken grau");
  ASSERT_GT(bez, 0);
  std::vector<std::vector<std::string>> args;
  for (int w = 0; w < kWorkers; ++w)
    args.push_back({dir(), std::to_string(bez), file("ids" + std::to_string(w) + ".txt")});
  std::vector<kvtest::Worker> workers;  // all waiting for "go"
  for (const auto& a : args) workers.push_back(kvtest::SpawnWorker("create_items", a));
  kvtest::WriteFileBytes(file("go"), {1});
  for (auto& w : workers) EXPECT_EQ(kvtest::WaitWorker(w), 0);

  std::set<int32_t> all;
  for (const auto& a : args) {
    std::ifstream in(a[2]);
    int32_t id;
    while (in >> id) EXPECT_TRUE(all.insert(id).second) << "identifier " << id << " handed out twice";
  }
  ASSERT_EQ(all.size(), static_cast<size_t>(kWorkers * kItemsPerWorker));
  EXPECT_EQ(*all.begin(), 1);
  EXPECT_EQ(*all.rbegin(), kWorkers * kItemsPerWorker) << "no gaps";

  for (Chain chain : {Chain::Article, Chain::Designation}) {
    std::vector<int32_t> walked = WalkChain(dir(), chain, chain == Chain::Article ? 1 : bez);
    std::set<int32_t> inChain(walked.begin(), walked.end());
    EXPECT_EQ(walked.size(), inChain.size()) << "an item appears twice";
    EXPECT_EQ(inChain, all);
  }
  EXPECT_EQ(LastIdOnDisk(dir()), kWorkers * kItemsPerWorker);
}

}  // namespace
}  // namespace articletest
