// Shared test support: a fresh data directory per test, file helpers, and
// worker processes (the test program started again as a worker) for tests
// across real processes.
#ifndef KVTEST_KVTEST_H
#define KVTEST_KVTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kvtest {

// A new empty directory under the system's temporary directory, removed with
// everything in it on destruction. path() ends with a separator.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + name; }

 private:
  std::string path_;
};

// Fixture: every test gets its own data directory.
class DataDirTest : public ::testing::Test {
 protected:
  std::string dir() const { return tmp_.path(); }
  std::string file(const std::string& name) const { return tmp_.file(name); }
  void TearDown() override;  // disarms fault injection

 private:
  TempDir tmp_;
};

std::vector<uint8_t> ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes);
int64_t FileSize(const std::string& path);  // -1 if missing
bool FileExists(const std::string& path);
// Polls until the file exists (a marker another process writes); false
// once timeoutMs have passed without it.
bool AwaitFile(const std::string& path, int32_t timeoutMs = 20000);
// Sets a file's modification time to `secondsAgo` seconds before now.
void AgeFile(const std::string& path, int64_t secondsAgo);

// The path without a leading drive ("C:"), as archive directories mirror it.
std::string WithoutDrive(const std::string& path);

// Little-endian reads from a byte image.
int32_t I32At(const std::vector<uint8_t>& bytes, size_t offset);
int16_t I16At(const std::vector<uint8_t>& bytes, size_t offset);
void PutI32(std::vector<uint8_t>& bytes, size_t offset, int32_t value);

// ---- worker processes ----
// A worker is a function of the test program, registered by name with
// KVTEST_WORKER, that runs in a separate process started by SpawnWorker; its
// result is the process exit code.
using WorkerFn = int (*)(const std::vector<std::string>& args);
struct WorkerRegistrar {
  WorkerRegistrar(const char* name, WorkerFn fn);
};
#define KVTEST_WORKER(name)                                                         \
  static int name##_worker(const std::vector<std::string>& args);                 \
  static ::kvtest::WorkerRegistrar name##_registrar(#name, &name##_worker);        \
  static int name##_worker(const std::vector<std::string>& args)

struct Worker {
  int64_t id = -1;  // process id / handle
};
// Starts the test program again as worker `name` with args.
Worker SpawnWorker(const std::string& name, const std::vector<std::string>& args);
// Waits for it; its exit code, or -1 if it did not exit normally. A worker
// still running after kWorkerDeadlineMs is killed and reported as -2.
constexpr int32_t kWorkerDeadlineMs = 240000;
int WaitWorker(Worker& worker);
// Waits at most timeoutMs: true and *exitCode set (-1 if it did not exit
// normally, for example when it was killed) once it has ended; false while it
// still runs, the handle kept.
bool WaitWorkerFor(Worker& worker, int32_t timeoutMs, int* exitCode);
// Ends a running worker at once (SIGKILL; TerminateProcess on Windows) and
// reaps it. Whatever it was writing stays as far as it got.
void KillWorker(Worker& worker);
// Starts several, waits for all, returns their exit codes; one still
// running deadlineMs after the start is killed and reported as -2.
std::vector<int> RunWorkers(const std::string& name, const std::vector<std::vector<std::string>>& argsPerWorker,
                            int32_t deadlineMs = kWorkerDeadlineMs);

// Called by main(): runs the worker named on the command line, if any.
// Returns true (and sets exitCode) when this process is a worker.
bool RunWorkerIfRequested(int argc, char** argv, int* exitCode);

}  // namespace kvtest

#endif  // KVTEST_KVTEST_H
