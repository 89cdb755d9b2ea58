// kvdata: inspect and demonstrate the record files of a data directory.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "admin_util.h"
#include <kvdata/kvhost.h>
#include <kvdata/version.h>

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
  Fail("demo", "cannot create a demo directory", std::filesystem::current_path().string(), EEXIST);
}

void SetupDemo(CLI::App& app) {
  auto dir = std::make_shared<std::string>();
  app.add_option("dir", *dir, "new or empty data directory (default: a new kvdata-demo-* folder)");
  app.callback([dir] {
    std::string d = *dir;
    if (d.empty()) {
      d = NewDemoDirectory();
    } else {
      // The demo creates, deletes and reorganises records: it never works
      // in a directory that holds anything, least of all a shop's data.
      std::error_code ec;
      if (std::filesystem::exists(d, ec)) {
        if (!std::filesystem::is_directory(d, ec)) Fail("demo", "not a directory", d, ENOTDIR);
        if (!std::filesystem::is_empty(d, ec)) {
          Fail("demo", "refused: the directory is not empty", d, ENOTEMPTY, kExitDefects);
        }
      }
      std::filesystem::create_directories(d, ec);
      if (!std::filesystem::is_directory(d)) Fail("demo", "cannot create the directory", d, ec.value());
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
        Fail("demo", "step \"" + s.title + "\" failed with " + std::to_string(rc), d, 0, kExitDefects);
      }
    }
    std::cout << "\ndemo finished; the files are in " << d << "\n";
  });
}

// "kvdata 0.1.0", and the loaded library's version where it differs.
std::string VersionText() {
  std::string text = "kvdata " KVDATA_VERSION_STRING;
  const int32_t loaded = KVHOST_Version();
  if (loaded != KVDATA_VERSION_NUMBER) {
    text += " (library " + std::to_string(loaded / 10000) + "." + std::to_string(loaded / 100 % 100) + "." +
            std::to_string(loaded % 100) + ")";
  }
  return text;
}

const char* ErrorName(int32_t code) {
  switch (code) {
    case KV_ERR_NOT_FOUND: return "not found";
    case KV_ERR_LOCKED: return "locked";
    case KV_ERR_DAMAGED: return "damaged";
    case KV_ERR_FULL: return "full";
    case KV_ERR_BAD_ARGUMENT: return "bad argument";
    case KV_ERR_IO: return "I/O error";
    case KV_ERR_NO_MEMORY: return "no memory";
    case KV_ERR_INTERNAL: return "internal error";
    default: return "error";
  }
}

}  // namespace

// A command that failed after a library call failed says why the library
// refused, e.g. "kvdata: library: not found: DBA_ReadDATA: open X: No such file".
void PrintLastLibraryError(std::ostream& out) {
  const int32_t code = KVHOST_LastError();
  if (code == KV_ERR_NONE) return;
  out << "kvdata: library: " << ErrorName(code) << ": " << KVHOST_LastErrorText() << "\n";
}

CommandRegistrar::CommandRegistrar(const char* name, const char* description, CommandSetup setup) {
  Commands().push_back({name, description, std::move(setup)});
}

DemoRegistrar::DemoRegistrar(int order, const char* title, DemoFn fn) {
  Steps().push_back({order, title, std::move(fn)});
}

}  // namespace kvtool

namespace {

// The subcommand that was parsed, for error lines ("" before one is known).
std::string SubcommandName(const CLI::App& app) {
  for (const CLI::App* sub : app.get_subcommands()) return sub->get_name();
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"kvdata: record files of a shared retail data directory"};
  app.set_version_flag("--version", kvtool::VersionText());
  app.require_subcommand(1);
  app.footer(
      "Exit codes: 0 success; 1 defects found or operation refused; 2 usage error, or a file or\n"
      "directory that cannot be opened. Commands that take a data directory read KVDATA_DIR when\n"
      "it is not given.");
  kvtool::SetupDemo(*app.add_subcommand("demo", "create a fresh data directory and run the main job in it"));
  auto commands = kvtool::Commands();
  std::sort(commands.begin(), commands.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  for (auto& c : commands) c.setup(*app.add_subcommand(c.name, c.description));
  KVHOST_ClearLastError();
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {
    return app.exit(e);  // --help
  } catch (const CLI::RuntimeError& e) {
    // A command's callback has said what went wrong (or says it here) and
    // chosen the exit code.
    if (std::string(e.what()) != "Runtime error") {
      kvtool::PrintError(SubcommandName(app), e.what());
    }
    kvtool::PrintLastLibraryError(std::cerr);
    return e.get_exit_code();
  } catch (const CLI::ParseError& e) {
    const std::string name = SubcommandName(app);
    kvtool::PrintError(name.empty() ? std::string("usage") : name, e.what());
    std::cerr << "run 'kvdata " << (name.empty() ? "" : name + " ") << "--help' for the usage\n";
    return kvtool::kExitUnusable;
  } catch (const std::exception& e) {
    kvtool::PrintError(SubcommandName(app), e.what());
    return kvtool::kExitUnusable;
  }
  return kvtool::kExitOk;
}
