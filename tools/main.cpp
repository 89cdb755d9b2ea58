// kvdata: inspect and demonstrate the record files of a data directory.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tool.h"

namespace kvtool {

namespace {

struct Command {
  std::string name, description;
  CommandSetup setup;
};
struct Step {
  int order;
  std::string title;
  DemoFn fn;
};

std::vector<Command>& Commands() {
  static std::vector<Command> c;
  return c;
}
std::vector<Step>& Steps() {
  static std::vector<Step> s;
  return s;
}

// A new directory "kvdata-demo-XXXXXX" under the current directory.
std::string NewDemoDirectory() {
  std::random_device rd;
  for (int attempt = 0; attempt < 100; ++attempt) {
    char name[32];
    std::snprintf(name, sizeof name, "kvdata-demo-%06u", static_cast<unsigned>(rd() % 1000000u));
    std::error_code ec;
    if (std::filesystem::create_directory(name, ec)) return std::filesystem::absolute(name).string();
  }
  throw CLI::RuntimeError("cannot create a demo directory", 1);
}

void SetupDemo(CLI::App& app) {
  auto dir = std::make_shared<std::string>();
  app.add_option("dir", *dir, "data directory to create (default: a new kvdata-demo-* folder)");
  app.callback([dir] {
    std::string d = *dir;
    if (d.empty()) {
      d = NewDemoDirectory();
    } else {
      std::error_code ec;
      std::filesystem::create_directories(d, ec);
      if (!std::filesystem::is_directory(d)) throw CLI::RuntimeError("cannot create " + d, 1);
      d = std::filesystem::absolute(d).string();
    }
    if (d.back() != '/' && d.back() != '\\') d += std::filesystem::path::preferred_separator;
    std::cout << "data directory: " << d << "\n";
    auto steps = Steps();
    std::stable_sort(steps.begin(), steps.end(), [](const Step& a, const Step& b) { return a.order < b.order; });
    for (const Step& s : steps) {
      std::cout << "\n== " << s.title << "\n";
      int rc = s.fn(d, std::cout);
      if (rc != 0) {
        std::cout << "step failed (" << rc << ")\n";
        throw CLI::RuntimeError(rc);
      }
    }
    std::cout << "\ndemo finished; the files are in " << d << "\n";
  });
}

}  // namespace

CommandRegistrar::CommandRegistrar(const char* name, const char* description, CommandSetup setup) {
  Commands().push_back({name, description, std::move(setup)});
}

DemoRegistrar::DemoRegistrar(int order, const char* title, DemoFn fn) {
  Steps().push_back({order, title, std::move(fn)});
}

}  // namespace kvtool

int main(int argc, char** argv) {
  CLI::App app{"kvdata: record files of a shared retail data directory"};
  app.require_subcommand(1);
  kvtool::SetupDemo(*app.add_subcommand("demo", "create a fresh data directory and run the main job in it"));
  auto commands = kvtool::Commands();
  std::sort(commands.begin(), commands.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  for (auto& c : commands) c.setup(*app.add_subcommand(c.name, c.description));
  CLI11_PARSE(app, argc, argv);
  return 0;
}
