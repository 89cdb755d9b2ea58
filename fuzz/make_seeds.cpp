// Writes the seed inputs of every fuzz target, made by the library itself,
// into <corpus root>/<target>/seed-<n>. Existing corpus files stay.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "targets.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <corpus root>\n", argv[0]);
    return 2;
  }
  namespace fs = std::filesystem;
  for (const kvfuzz::Target& t : kvfuzz::Targets()) {
    kvfuzz::EmptyDirectory(kvfuzz::ScratchDir());
    const auto seeds = t.seeds(kvfuzz::ScratchDir());
    const fs::path dir = fs::path(argv[1]) / t.name;
    fs::create_directories(dir);
    for (size_t i = 0; i < seeds.size(); ++i) {
      std::ofstream out(dir / ("seed-" + std::to_string(i)), std::ios::binary | std::ios::trunc);
      out.write(reinterpret_cast<const char*>(seeds[i].data()), static_cast<std::streamsize>(seeds[i].size()));
    }
    std::printf("%-10s %zu seed(s)\n", t.name, seeds.size());
  }
  kvfuzz::EmptyDirectory(kvfuzz::ScratchDir());
  fs::remove(kvfuzz::ScratchDir().substr(0, kvfuzz::ScratchDir().size() - 1));
  return 0;
}
