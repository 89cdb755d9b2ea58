// kvdata numbers DIR: the counters of the number-range file.
#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "core/nummern.h"
#include "services/fileio.h"
#include "admin_util.h"
#include "tool.h"

#include <nlohmann/json.hpp>

namespace {

namespace nr = kv::nummern;

void PrintCounter(int32_t index, const char* name, int32_t value) {
  char line[96];
  std::snprintf(line, sizeof line, "%5d  %-25s %11d\n", index, name, value);
  std::cout << line;
}

void Setup(CLI::App& app) {
  auto dir = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  kvtool::AddDirOption(app, *dir, "data directory holding NUMMERN.DAT");
  app.add_flag("--json", *json, "write the counters as JSON");
  app.callback([dir, json] {
    std::string path = kvtool::OpenDataDirectory("numbers", *dir) + nr::kFileName;
    std::array<int32_t, nr::kCounterCount> counters{};
    if (!nr::ReadAll(path.c_str(), counters)) kvtool::Fail("numbers", "cannot open the number-range file", path, ENOENT);
    if (*json) {
      nlohmann::json named = nlohmann::json::array(), others = nlohmann::json::array();
      for (int32_t i = 0; i < nr::kCounterCount; ++i) {
        if (i < nr::kNamedCounters) {
          named.push_back({{"index", i}, {"name", nr::CounterName(i)}, {"value", counters[i]}});
        } else if (counters[i] != 0) {
          others.push_back({{"index", i}, {"value", counters[i]}});
        }
      }
      std::cout << nlohmann::json({{"file", path}, {"counters", named}, {"unnamed_in_use", others}}).dump(2) << "\n";
      return;
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
