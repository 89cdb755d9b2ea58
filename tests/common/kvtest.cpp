#include "kvtest.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "services/fault.h"

namespace fs = std::filesystem;

namespace kvtest {

namespace {

std::map<std::string, WorkerFn>& Registry() {
  static std::map<std::string, WorkerFn> r;
  return r;
}

}  // namespace

TempDir::TempDir() {
  static int counter = 0;
  fs::path base = fs::temp_directory_path();
  for (int attempt = 0; attempt < 1000; ++attempt) {
    char name[64];
    std::snprintf(name, sizeof name, "kvtest-%lld-%d-%d",
                  static_cast<long long>(std::rand()) ^ static_cast<long long>(reinterpret_cast<intptr_t>(this)),
                  ++counter, attempt);
    fs::path p = base / name;
    std::error_code ec;
    if (fs::create_directory(p, ec)) {
      path_ = p.string();
      if (!path_.empty() && path_.back() != '/' && path_.back() != '\\') path_ += fs::path::preferred_separator;
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary directory");
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

void DataDirTest::TearDown() { kv::fault::Reset(); }

std::vector<uint8_t> ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

int64_t FileSize(const std::string& path) {
  std::error_code ec;
  auto n = fs::file_size(path, ec);
  return ec ? -1 : static_cast<int64_t>(n);
}

bool FileExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

bool AwaitFile(const std::string& path, int32_t timeoutMs) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!FileExists(path)) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

int WaitWorker(Worker& worker) {
  int code = -1;
  if (WaitWorkerFor(worker, kWorkerDeadlineMs, &code)) return code;
  KillWorker(worker);
  return -2;
}

void AgeFile(const std::string& path, int64_t secondsAgo) {
  std::error_code ec;
  fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::seconds(secondsAgo), ec);
}

std::string WithoutDrive(const std::string& path) {
  return path.size() >= 2 && path[1] == ':' ? path.substr(2) : path;
}

int32_t I32At(const std::vector<uint8_t>& b, size_t o) {
  uint32_t v = static_cast<uint32_t>(b.at(o)) | static_cast<uint32_t>(b.at(o + 1)) << 8 |
               static_cast<uint32_t>(b.at(o + 2)) << 16 | static_cast<uint32_t>(b.at(o + 3)) << 24;
  return static_cast<int32_t>(v);
}

int16_t I16At(const std::vector<uint8_t>& b, size_t o) {
  return static_cast<int16_t>(static_cast<uint16_t>(b.at(o) | b.at(o + 1) << 8));
}

void PutI32(std::vector<uint8_t>& b, size_t o, int32_t value) {
  uint32_t v = static_cast<uint32_t>(value);
  for (int i = 0; i < 4; ++i) b.at(o + i) = static_cast<uint8_t>(v >> (8 * i));
}

WorkerRegistrar::WorkerRegistrar(const char* name, WorkerFn fn) { Registry()[name] = fn; }

std::vector<int> RunWorkers(const std::string& name, const std::vector<std::vector<std::string>>& argsPerWorker,
                            int32_t deadlineMs) {
  std::vector<Worker> workers;
  for (const auto& args : argsPerWorker) workers.push_back(SpawnWorker(name, args));
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(deadlineMs);
  std::vector<int> codes;
  for (Worker& w : workers) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    int code = -1;
    if (!WaitWorkerFor(w, static_cast<int32_t>(std::max<int64_t>(0, left.count())), &code)) {
      KillWorker(w);
      code = -2;
    }
    codes.push_back(code);
  }
  return codes;
}

bool RunWorkerIfRequested(int argc, char** argv, int* exitCode) {
  if (argc < 3 || std::strcmp(argv[1], "--kv-worker") != 0) return false;
  auto it = Registry().find(argv[2]);
  if (it == Registry().end()) {
    std::fprintf(stderr, "unknown worker %s\n", argv[2]);
    *exitCode = 127;
    return true;
  }
  std::vector<std::string> args(argv + 3, argv + argc);
  *exitCode = it->second(args);
  return true;
}

}  // namespace kvtest
