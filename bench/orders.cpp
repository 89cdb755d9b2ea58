// Walking the positions of an order: one bulk read into memory (positions
// with their reference copies, so twice the bytes) against one open and one
// read per position.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "kvdata/auftragdba.h"

namespace {

constexpr int32_t kOrder = 1;

// A fresh order directory with one order of `positions` positions.
std::string PrepareOrder(int32_t positions) {
  static std::string dir;
  if (dir.empty()) {
    char pattern[] = "/tmp/kvdata-bench-orders-XXXXXX";
    dir = std::string(mkdtemp(pattern)) + "/";
    std::atexit([] { std::filesystem::remove_all(dir); });
  }
  AUFTRAGDBA_Init(0, dir.c_str());
  std::vector<char> block(AUFTRAGDBA_BLOCK, 0);
  AUFTRAGDBA_SchreibeAuftragsKopf(kOrder, block.data());
  AUFTRAGDBA_PositionenLoeschen(kOrder);
  block[0] = 1;
  for (int32_t p = 1; p <= positions; ++p) AUFTRAGDBA_NeuePOSITION(kOrder, block.data());
  return dir;
}

void BM_PositionByPosition(benchmark::State& state) {
  PrepareOrder(static_cast<int32_t>(state.range(0)));
  std::vector<char> position(AUFTRAGDBA_BLOCK);
  for (auto _ : state) {
    int32_t count = 0;
    for (int32_t p = 0; AUFTRAGDBA_NextPOSITION(kOrder, &p, position.data());) ++count;
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(BM_PositionByPosition)->Arg(10)->Arg(50);

void BM_AllPositionsInOneRead(benchmark::State& state) {
  const int32_t positions = static_cast<int32_t>(state.range(0));
  PrepareOrder(positions);
  std::vector<char> header(AUFTRAGDBA_BLOCK);
  std::vector<char> image(static_cast<size_t>(2) * positions * AUFTRAGDBA_BLOCK);
  for (auto _ : state) {
    const int32_t h = AUFTRAGDBA_Open(kOrder);
    AUFTRAGDBA_ReadAuftragsKopf(h, header.data());
    AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(h, positions, image.data());
    AUFTRAGDBA_Close(h);
    int32_t count = 0;
    for (int32_t p = 0; AUFTRAGDBA_NextPOSITIONSADR_VomSpeicher(image.data(), positions, &p);) ++count;
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(BM_AllPositionsInOneRead)->Arg(10)->Arg(50);

}  // namespace

BENCHMARK_MAIN();
