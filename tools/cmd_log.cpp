// kvdata log DIR [--tail N]: the lock log of a data directory.
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "core/lockdb.h"
#include "services/encoding.h"
#include "services/fileio.h"
#include "admin_util.h"
#include "tool.h"

#include <nlohmann/json.hpp>

namespace {

struct Options {
  std::string dir;
  int tail = 0;  // 0 = every line
  bool json = false;
};

// "[time] W1:n W2:n W3:n IP: ip UserID: user - Function: text", taken
// apart; a line of another shape is kept whole.
nlohmann::json LineJson(const std::string& line) {
  nlohmann::json j = {{"line", line}};
  const size_t close = line.find("] W1:"), w2 = line.find(" W2:"), w3 = line.find(" W3:"), ip = line.find(" IP: "),
               user = line.find(" UserID: "), fn = line.find(" - Function: ");
  if (line.empty() || line[0] != '[' || close == std::string::npos || w2 == std::string::npos ||
      w3 == std::string::npos || ip == std::string::npos || user == std::string::npos || fn == std::string::npos) {
    return j;
  }
  auto number = [](const std::string& s) { return std::strtol(s.c_str(), nullptr, 10); };
  j["time"] = line.substr(1, close - 1);
  j["w1"] = number(line.substr(close + 5, w2 - close - 5));
  j["w2"] = number(line.substr(w2 + 4, w3 - w2 - 4));
  j["w3"] = number(line.substr(w3 + 4, ip - w3 - 4));
  j["ip"] = line.substr(ip + 5, user - ip - 5);
  j["user"] = line.substr(user + 9, fn - user - 9);
  j["function"] = line.substr(fn + 13);
  return j;
}

void Setup(CLI::App& app) {
  auto opt = std::make_shared<Options>();
  kvtool::AddDirOption(app, opt->dir, "data directory holding kvlogfile.txt");
  app.add_flag("--json", opt->json, "one JSON object per line, its fields taken apart");
  app.add_option("--tail", opt->tail, "print only the last N lines")->check(CLI::NonNegativeNumber);
  app.callback([opt] {
    const std::string path = kvtool::OpenDataDirectory("log", opt->dir) + kv::lockdb::kLogName;
    // Through the file layer, which opens regular files only: a FIFO in
    // place of the log must not stall the tool.
    const kv::FileHandle h = kv::FileIO_OpenROS(path.c_str());
    if (h == kv::kInvalidHandle) kvtool::Fail("log", "cannot open the lock log", path, errno);
    std::string text;
    char chunk[1 << 16];
    for (int32_t n; (n = kv::FileIO_Read(h, chunk, sizeof chunk)) > 0;) text.append(chunk, static_cast<size_t>(n));
    kv::FileIO_Close(h);
    std::istringstream in(text);
    std::deque<std::string> lines;
    std::string line;
    while (std::getline(in, line)) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      lines.push_back(std::move(line));
      if (opt->tail > 0 && lines.size() > static_cast<size_t>(opt->tail)) lines.pop_front();
    }
    // The log is written in the stations' ANSI code page.
    if (opt->json) {
      nlohmann::json all = nlohmann::json::array();
      for (const std::string& l : lines) all.push_back(LineJson(kv::Cp1252ToUtf8(l.c_str())));
      std::cout << all.dump(2) << "\n";
      return;
    }
    for (const std::string& l : lines) std::cout << kv::Cp1252ToUtf8(l.c_str()) << "\n";
  });
}

kvtool::CommandRegistrar registrar("log", "print the lock log kvlogfile.txt", Setup);

}  // namespace
