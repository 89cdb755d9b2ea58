// Every input the fuzzers ever crashed on, replayed through its target in
// every build: tests/fuzz/regressions/<target>/<file>. The seeds each
// target makes go through it as well, so the targets themselves stay
// working where no fuzzer runs.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "kvtest.h"
#include "targets.h"

namespace {

namespace fs = std::filesystem;

kvfuzz::Bytes Load(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return kvfuzz::Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(FuzzRegressions, EveryRecordedInputRunsThroughItsTarget) {
  const fs::path root = KVFUZZ_REGRESSIONS;
  ASSERT_TRUE(fs::is_directory(root)) << root;
  int replayed = 0;
  for (const auto& dir : fs::directory_iterator(root)) {
    if (!dir.is_directory()) continue;
    const kvfuzz::Target* t = kvfuzz::FindTarget(dir.path().filename().string());
    ASSERT_NE(t, nullptr) << "no fuzz target for " << dir.path();
    for (const auto& f : fs::directory_iterator(dir.path())) {
      const kvfuzz::Bytes input = Load(f.path());
      SCOPED_TRACE(f.path().string());
      kvfuzz::RunOne(*t, input.data(), input.size());
      ++replayed;
    }
  }
  EXPECT_GT(replayed, 0);
  kvfuzz::EmptyDirectory(kvfuzz::ScratchDir());
}

TEST(FuzzRegressions, SeedsOfEveryTargetRunThroughIt) {
  for (const kvfuzz::Target& t : kvfuzz::Targets()) {
    kvfuzz::EmptyDirectory(kvfuzz::ScratchDir());
    const auto seeds = t.seeds(kvfuzz::ScratchDir());
    ASSERT_FALSE(seeds.empty()) << t.name;
    for (const kvfuzz::Bytes& s : seeds) {
      EXPECT_GT(s.size(), 0u) << t.name;
      kvfuzz::RunOne(t, s.data(), s.size());
    }
  }
  kvfuzz::EmptyDirectory(kvfuzz::ScratchDir());
}

}  // namespace
