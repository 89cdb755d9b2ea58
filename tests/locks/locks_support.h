// Helpers shared by the lock and number-range tests.
#ifndef KVTEST_LOCKS_SUPPORT_H
#define KVTEST_LOCKS_SUPPORT_H

#include <string>
#include <vector>

namespace lockstest {

// Waits (polling) until the file exists; false after `limitMs`.
bool WaitForFile(const std::string& path, int limitMs = 30000);
// Creates an empty file (a signal between processes).
void Touch(const std::string& path);
// The lines of a text file, without their line ends.
std::vector<std::string> ReadLines(const std::string& path);
// Sets up the lock module for `dir` with blocking on, as a station would.
void InitStation(const std::string& dir, const char* ip, const char* user);

}  // namespace lockstest

#endif  // KVTEST_LOCKS_SUPPORT_H
