// Key files of 64000 slots: adds and lookups per second, and the file reads
// each one costs (the key file counts its reads).
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>

#include "index/keyfile.h"
#include "kvdata/bbaumlib.h"

namespace {

constexpr int32_t kSlots = 64000;

BaumKey KeyFor(int32_t i) {
  BaumKey k{};
  const std::string text = "EAN" + std::to_string(4006381000000LL + static_cast<int64_t>(i) * 7919 % kSlots);
  std::memcpy(k.key, text.data(), text.size());
  return k;
}

std::string BenchFile(const char* name) {
  const auto dir = std::filesystem::temp_directory_path() / "kvdata-bench-keyfile";
  std::filesystem::create_directories(dir);
  const auto path = dir / name;
  std::filesystem::remove(path);
  return path.string();
}

BaumKeyDatei* NewKeyFile(const char* name) {
  BaumKeyDatei* d = BBAUMLIB_Init(BenchFile(name).c_str(), 44, kSlots);
  if (d != nullptr) BBAUMLIB_ErzeugeFreelist(d, nullptr);
  return d;
}

void ReportReads(benchmark::State& state, int64_t readsBefore) {
  state.SetItemsProcessed(state.iterations());
  state.counters["reads_per_op"] = benchmark::Counter(
      static_cast<double>(kv::index::KeyFileReadCount() - readsBefore) / static_cast<double>(state.iterations()));
}

// Adds fresh keys to a file that fills up over the run; a new file is
// started (outside the timing) when it is full.
void BM_KeyFileAdd(benchmark::State& state) {
  BaumKeyDatei* d = NewKeyFile("add.DBA");
  BBAUMLIB_OeffneDatenbank(d);
  int32_t next = 0;
  int64_t reads = 0;
  for (auto _ : state) {
    if (next == kSlots) {
      state.PauseTiming();
      BBAUMLIB_SchliesseDatenbank(d);
      BBAUMLIB_Exit(d);
      d = NewKeyFile("add.DBA");
      BBAUMLIB_OeffneDatenbank(d);
      next = 0;
      state.ResumeTiming();
    }
    BaumKey k = KeyFor(next++);
    const int64_t before = kv::index::KeyFileReadCount();
    benchmark::DoNotOptimize(BBAUMLIB_BAUMKEYAnlegen(d, &k));
    reads += kv::index::KeyFileReadCount() - before;
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["reads_per_op"] = static_cast<double>(reads) / static_cast<double>(state.iterations());
  BBAUMLIB_SchliesseDatenbank(d);
  BBAUMLIB_Exit(d);
}
BENCHMARK(BM_KeyFileAdd)->Iterations(kSlots);

// Lookups of random present keys in a full file.
void BM_KeyFileLookup(benchmark::State& state) {
  static BaumKeyDatei* full = [] {
    BaumKeyDatei* d = NewKeyFile("lookup.DBA");
    BBAUMLIB_OeffneDatenbank(d);
    for (int32_t i = 0; i < kSlots; ++i) {
      BaumKey k = KeyFor(i);
      const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
      k.payload = i + 1;
      BBAUMLIB_WriteBAUMKEY(d, slot, &k);
    }
    return d;
  }();
  std::mt19937 rng(7);
  const int64_t before = kv::index::KeyFileReadCount();
  for (auto _ : state) {
    BaumKey k = KeyFor(static_cast<int32_t>(rng() % kSlots));
    benchmark::DoNotOptimize(BBAUMLIB_BAUMKEYVorhanden(full, &k));
  }
  ReportReads(state, before);
}
BENCHMARK(BM_KeyFileLookup);

}  // namespace

BENCHMARK_MAIN();
