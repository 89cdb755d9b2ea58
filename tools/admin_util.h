// What every command of the tool shares: exit codes, error lines, the data
// directory argument and raw file reads.
#ifndef KVDATA_ADMIN_UTIL_H
#define KVDATA_ADMIN_UTIL_H

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace kvtool {

// Exit codes of every command: success; defects found or operation
// refused; usage error or a file or directory that cannot be opened.
constexpr int kExitOk = 0;
constexpr int kExitDefects = 1;
constexpr int kExitUnusable = 2;

// Text of an operating-system error number.
std::string SystemErrorText(int err);

// Writes "kvdata <command>: <what> (<file>: <system error>)" to stderr (the
// parenthesis only with a file, the system error only when err != 0).
void PrintError(const std::string& command, const std::string& what, const std::string& file = {}, int err = 0);

// PrintError, then ends the command with `code`.
[[noreturn]] void Fail(const std::string& command, const std::string& what, const std::string& file = {},
                       int err = 0, int code = kExitUnusable);

// The positional data directory of a command; the environment variable
// KVDATA_DIR stands in when it is not given.
CLI::Option* AddDirOption(CLI::App& app, std::string& dir, const char* description = "data directory");

// The directory with a trailing separator; ends the command with exit
// code 2 when it is not an existing directory.
std::string OpenDataDirectory(const std::string& command, const std::string& dir);

// The whole file; false (and *err = errno) when it cannot be read.
bool ReadWholeFile(const std::string& path, std::vector<uint8_t>* out, int* err);

// Little-endian words inside a byte buffer (0 past its end).
int32_t Word32(const std::vector<uint8_t>& b, int64_t at);
int16_t Word16(const std::vector<uint8_t>& b, int64_t at);

// True when standard error is a terminal (progress lines go there only then).
bool StderrIsTerminal();

// A line of progress on a terminal: "<label> 37%", rewritten in place.
class Progress {
 public:
  explicit Progress(std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  void Update(int64_t done, int64_t total);

 private:
  std::string label_;
  int last_ = -1;
  bool on_;
};

}  // namespace kvtool

#endif  // KVDATA_ADMIN_UTIL_H
