// Throughput of the DBA record engine on a real file: taking and writing new
// items, reading items by number, walking all used items.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "kvdata/dba.h"

namespace {

constexpr int32_t kRecordSize = 1299;  // a customer record

struct DbaFixture {
  std::filesystem::path dir;
  DbaFile f{};
  explicit DbaFixture(const char* name) {
    dir = std::filesystem::temp_directory_path() / ("kvbench-" + std::string(name));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    f.handle = -1;
    f.recordSize = kRecordSize;
    f.idCapacity = 0;
    std::snprintf(f.path, sizeof f.path, "%s", (dir / "BENCH.DBA").string().c_str());
    DBA_NeueDBA(&f);
  }
  ~DbaFixture() { std::filesystem::remove_all(dir); }
  void Fill(int32_t count) {
    std::vector<char> rec(kRecordSize, 'x');
    int32_t one = 1;
    std::memcpy(rec.data(), &one, 4);
    DBA_OpenDBA(&f);
    for (int32_t i = 0; i < count; ++i) DBA_WriteDATA(&f, DBA_NewITEM(&f), rec.data());
    DBA_CloseDBA(&f);
  }
};

void BM_NewAndWrite(benchmark::State& state) {
  DbaFixture fx("new");
  std::vector<char> rec(kRecordSize, 'x');
  int32_t one = 1;
  std::memcpy(rec.data(), &one, 4);
  DBA_OpenDBA(&fx.f);  // a caller's bracket: the inner open/close pairs only count
  for (auto _ : state) {
    int32_t n = DBA_NewITEM(&fx.f);
    if (n == 0) {
      state.SkipWithError("file full");
      break;
    }
    DBA_WriteDATA(&fx.f, n, rec.data());
  }
  DBA_CloseDBA(&fx.f);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NewAndWrite)->Iterations(20000);

void BM_ReadByNumber(benchmark::State& state) {
  DbaFixture fx("read");
  const int32_t count = 20000;
  fx.Fill(count);
  std::vector<char> rec(kRecordSize);
  int32_t n = 0;
  DBA_OpenDBA(&fx.f);
  for (auto _ : state) {
    n = n % count + 1;
    benchmark::DoNotOptimize(DBA_ReadDATA(&fx.f, (n * 7919) % count + 1, rec.data()));
  }
  DBA_CloseDBA(&fx.f);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadByNumber);

int32_t CountItem(int32_t, void*) { return 1; }

void BM_WalkAll(benchmark::State& state) {
  DbaFixture fx("walk");
  fx.Fill(static_cast<int32_t>(state.range(0)));
  for (auto _ : state) DBA_MitJedemITEM(&fx.f, CountItem);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WalkAll)->Arg(20000);

}  // namespace

BENCHMARK_MAIN();
