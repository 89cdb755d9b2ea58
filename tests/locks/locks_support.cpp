#include "locks_support.h"

#include <fstream>

#include "kvdata/kvlockdb.h"
#include "kvtest.h"
#include "services/platform.h"

namespace lockstest {

bool WaitForFile(const std::string& path, int limitMs) {
  for (int waited = 0; waited < limitMs; waited += 5) {
    if (kvtest::FileExists(path)) return true;
    kv::SleepMs(5);
  }
  return kvtest::FileExists(path);
}

void Touch(const std::string& path) { kvtest::WriteFileBytes(path, {}); }

std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<std::string> lines;
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

void InitStation(const std::string& dir, const char* ip, const char* user) {
  KVLOCKDB_Exit();
  KVLOCKDB_Init((dir + "TEILE.DBA").c_str());
  KVLOCKDB_IPUSERInit(ip, user, 1);
  KVLOCKDB_EnableLog();
}

}  // namespace lockstest
