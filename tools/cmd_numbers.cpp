// kvdata numbers DIR: the counters of the number-range file.
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "core/nummern.h"
#include "services/fileio.h"
#include "tool.h"

namespace {

namespace nr = kv::nummern;

std::string WithSeparator(std::string dir) {
  if (!dir.empty() && !kv::IsPathSep(dir.back())) dir += kv::kPathSep;
  return dir;
}

void PrintCounter(int32_t index, const char* name, int32_t value) {
  char line[96];
  std::snprintf(line, sizeof line, "%5d  %-25s %11d\n", index, name, value);
  std::cout << line;
}

void Setup(CLI::App& app) {
  auto dir = std::make_shared<std::string>();
  app.add_option("dir", *dir, "data directory holding NUMMERN.DAT")->required();
  app.callback([dir] {
    std::string path = WithSeparator(*dir) + nr::kFileName;
    std::array<int32_t, nr::kCounterCount> counters{};
    if (!nr::ReadAll(path.c_str(), counters)) {
      std::cerr << "cannot open " << path << "\n";
      throw CLI::RuntimeError(1);
    }
    std::cout << path << "\n";
    for (int32_t i = 0; i < nr::kNamedCounters; ++i) PrintCounter(i, nr::CounterName(i), counters[i]);
    int32_t others = 0;
    for (int32_t i = nr::kNamedCounters; i < nr::kCounterCount; ++i) {
      if (counters[i] == 0) continue;
      if (others++ == 0) std::cout << "unnamed counters in use:\n";
      PrintCounter(i, "", counters[i]);
    }
    if (others == 0) std::cout << "no unnamed counter in use\n";
  });
}

kvtool::CommandRegistrar registrar("numbers", "print the counters of NUMMERN.DAT", Setup);

}  // namespace
