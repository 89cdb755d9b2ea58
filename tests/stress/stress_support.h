// What the stress and crash tests share: the load taken from the
// environment, stations run under a deadline, a start barrier between worker
// processes, and the result files in which each worker lists what it owns.
#ifndef KVTEST_STRESS_SUPPORT_H
#define KVTEST_STRESS_SUPPORT_H

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kvtest.h"
#include "raw_check.h"

namespace stress {

// An integer from the environment, or fallback when unset or not a number.
int EnvInt(const char* name, int fallback);

// How hard a stress test pushes: KVSTRESS_WORKERS processes, each doing up
// to KVSTRESS_OPS operations and stopping after KVSTRESS_SECONDS at the
// latest. Windows emulation starts processes slowly, so the defaults shrink
// there.
struct Load {
  int workers;
  int ops;
  int seconds;
};
Load LoadFromEnv(int workers, int ops);

// Waits until `count` processes have called Arrive for the same barrier
// (marker files "<prefix><i>" in dir); false after timeoutMs.
bool Arrive(const std::string& dir, const std::string& prefix, int self, int count, int32_t timeoutMs);

// A worker's report: how many operations it did, what it owns at the end
// (number -> tag), and anything it saw go wrong.
struct Report {
  int64_t ops = 0;
  std::map<int32_t, int64_t> owned;
  std::vector<std::string> problems;
};
void WriteReport(const std::string& path, const Report& report);
Report ReadReport(const std::string& path);

// The reports of all workers merged: numbers owned by two workers are
// problems. Prints a line with operations and operations per second.
struct Merged {
  int64_t ops = 0;
  std::map<int32_t, std::pair<int, int64_t>> owner;  // number -> {worker, tag}
  std::vector<std::string> problems;
  std::vector<std::string> reports;  // the workers' report files
};
Merged MergeReports(const std::vector<std::string>& paths, const char* what, int64_t elapsedMs);

// Runs load.workers processes of worker `name` under a deadline, each with
// the arguments lead..., its number, operations, seconds, its report file
// (in dir), tail...; every one must end with 0. Returns the merged reports.
Merged RunStations(const std::string& name, const std::string& dir, const Load& load, const char* what,
                   const std::vector<std::string>& lead, const std::vector<std::string>& tail);

// Records of the DBA stress and crash tests: {state 1, 0, tag (8 bytes)},
// the rest filled from the tag so a record torn between two writers shows.
std::vector<uint8_t> TaggedRecord(int32_t size, int64_t tag);
// The tag of item n of a record file (size, capacity) as it lies on disk.
int64_t TagOnDisk(const rawcheck::Image& img, int32_t size, int32_t capacity, int32_t n);

// Fails the current test with the defects listed, if there are any.
void ExpectClean(const rawcheck::Defects& defects, const char* what);

}  // namespace stress

#endif  // KVTEST_STRESS_SUPPORT_H
