// kvdata log DIR [--tail N]: the lock log of a data directory.
#include <deque>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "core/lockdb.h"
#include "services/encoding.h"
#include "services/fileio.h"
#include "tool.h"

namespace {

struct Options {
  std::string dir;
  int tail = 0;  // 0 = every line
};

void Setup(CLI::App& app) {
  auto opt = std::make_shared<Options>();
  app.add_option("dir", opt->dir, "data directory holding kvlogfile.txt")->required();
  app.add_option("--tail", opt->tail, "print only the last N lines")->check(CLI::NonNegativeNumber);
  app.callback([opt] {
    std::string path = opt->dir;
    if (!path.empty() && !kv::IsPathSep(path.back())) path += kv::kPathSep;
    path += kv::lockdb::kLogName;
    // Through the file layer, which opens regular files only: a FIFO in
    // place of the log must not stall the tool.
    const kv::FileHandle h = kv::FileIO_OpenROS(path.c_str());
    if (h == kv::kInvalidHandle) {
      std::cerr << "no lock log: cannot open " << path << "\n";
      throw CLI::RuntimeError(1);
    }
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
    for (const std::string& l : lines) std::cout << kv::Cp1252ToUtf8(l.c_str()) << "\n";
  });
}

kvtool::CommandRegistrar registrar("log", "print the lock log kvlogfile.txt", Setup);

}  // namespace
