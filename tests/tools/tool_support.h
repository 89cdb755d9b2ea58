// Runs the kvdata tool as a process and gives its exit code and output; a
// fixture whose data directory the tool's demo has built.
#ifndef KVTEST_TOOL_SUPPORT_H
#define KVTEST_TOOL_SUPPORT_H

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "kvtest.h"

namespace tooltest {

struct Result {
  int code = -1;
  std::string out, err;
  nlohmann::json Json() const { return nlohmann::json::parse(out); }  // throws when it is no JSON
};

inline std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

inline std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

// `env` is put in front of the command ("KVDATA_DIR=... ").
inline Result Tool(const std::vector<std::string>& args, const std::string& env = "env -u KVDATA_DIR") {
  static kvtest::TempDir outputs;
  static int serial = 0;
  const std::string out = outputs.file("out" + std::to_string(++serial)), err = out + ".err";
  // A tool that hangs is ended after two minutes (exit code 124).
  std::string cmd = env + " timeout -k 5 120 " + Quote(KVDATA_TOOL_PATH);
  for (const std::string& a : args) cmd += " " + Quote(a);
  cmd += " >" + Quote(out) + " 2>" + Quote(err) + " </dev/null";
  const int status = std::system(cmd.c_str());
  Result r;
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  r.out = Slurp(out);
  r.err = Slurp(err);
  return r;
}

// A data directory made by `kvdata demo`, in a directory of its own.
class DemoDirTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    data_ = dir() + "shop/";
    const Result r = Tool({"demo", data_});
    ASSERT_EQ(r.code, 0) << r.out << r.err;
  }
  std::string data(const std::string& name = "") const { return data_ + name; }

 private:
  std::string data_;
};

}  // namespace tooltest

#endif  // KVTEST_TOOL_SUPPORT_H
