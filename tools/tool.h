// Registration of the kvdata tool's subcommands and demo steps. Each command
// lives in its own tools/cmd_*.cpp and registers itself with a static
// CommandRegistrar; each family's part of `kvdata demo` registers a DemoStep.
#ifndef KVDATA_TOOL_H
#define KVDATA_TOOL_H

#include <CLI/CLI.hpp>

#include <functional>
#include <ostream>
#include <string>

namespace kvtool {

// Adds options and a callback to the subcommand `app`. The callback reports
// failure by throwing CLI::RuntimeError(exitCode).
using CommandSetup = std::function<void(CLI::App& app)>;

struct CommandRegistrar {
  CommandRegistrar(const char* name, const char* description, CommandSetup setup);
};

// One step of `kvdata demo`: works in the data directory `dir` (ends with a
// separator), prints what it did to out, returns 0 on success.
using DemoFn = std::function<int(const std::string& dir, std::ostream& out)>;

struct DemoRegistrar {
  // Steps run in ascending order: 10 DBA files, 20 customers, 30 locks and
  // numbers, 40 articles and the till sale, 50 orders, invoices and EAN
  // codes, 60 key files.
  DemoRegistrar(int order, const char* title, DemoFn fn);
};

// Prints the library's last error (code and text) to out, if there is one.
void PrintLastLibraryError(std::ostream& out);

}  // namespace kvtool

#endif  // KVDATA_TOOL_H
