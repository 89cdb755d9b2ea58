// Helpers shared by the lock and number-range tests.
#ifndef KVTEST_LOCKS_SUPPORT_H
#define KVTEST_LOCKS_SUPPORT_H

#include <fstream>
#include <string>
#include <vector>

#include "kvdata/kvlockdb.h"
#include "kvtest.h"
#include "services/platform.h"

namespace lockstest {

// Creates an empty file (a signal between processes).
inline void Touch(const std::string& path) { kvtest::WriteFileBytes(path, {}); }

// The lines of a text file, without their line ends.
inline std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line); lines.push_back(line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
  }
  return lines;
}

// Sets up the lock module for `dir` with blocking on, as a station would.
inline void InitStation(const std::string& dir, const char* ip, const char* user) {
  KVLOCKDB_Exit();
  KVLOCKDB_Init((dir + "TEILE.DBA").c_str());
  KVLOCKDB_IPUSERInit(ip, user, 1);
  KVLOCKDB_EnableLog();
}

// A data directory whose lock module is shut down after each test.
class StationTest : public kvtest::DataDirTest {
 protected:
  void TearDown() override {
    KVLOCKDB_Exit();
    kvtest::DataDirTest::TearDown();
  }
};

}  // namespace lockstest

#endif  // KVTEST_LOCKS_SUPPORT_H
