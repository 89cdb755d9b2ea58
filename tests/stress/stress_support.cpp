#include "stress_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "services/platform.h"

namespace stress {

int EnvInt(const char* name, int fallback) {
  const char* v = std::getenv(name);
  if (v == nullptr || *v == '\0') return fallback;
  char* end = nullptr;
  long n = std::strtol(v, &end, 10);
  return (end != nullptr && *end == '\0' && n > 0 && n < 1000000000) ? static_cast<int>(n) : fallback;
}

Load LoadFromEnv(int workers, int ops) {
#if defined(_WIN32)
  workers = workers > 3 ? 3 : workers;
  ops /= 4;
  const int seconds = 10;
#else
  const int seconds = 15;
#endif
  return {EnvInt("KVSTRESS_WORKERS", workers), EnvInt("KVSTRESS_OPS", ops), EnvInt("KVSTRESS_SECONDS", seconds)};
}

bool Arrive(const std::string& dir, const std::string& prefix, int self, int count, int32_t timeoutMs) {
  kvtest::WriteFileBytes(dir + prefix + std::to_string(self), {1});
  const int64_t end = kv::MonotonicMs() + timeoutMs;
  for (int i = 0; i < count; ++i) {
    while (!kvtest::FileExists(dir + prefix + std::to_string(i))) {
      if (kv::MonotonicMs() > end) return false;
      kv::SleepMs(2);
    }
  }
  return true;
}

// One line per fact: "ops N", "own NUMBER TAG", "problem TEXT".
void WriteReport(const std::string& path, const Report& report) {
  std::ofstream out(path + ".part");
  out << "ops " << report.ops << '\n';
  for (const auto& [n, tag] : report.owned) out << "own " << n << ' ' << tag << '\n';
  // A fault that repeats every round would fill the disk; the first few say it.
  for (size_t i = 0; i < report.problems.size() && i < 50; ++i) out << "problem " << report.problems[i] << '\n';
  if (report.problems.size() > 50) out << "problem  ... and " << report.problems.size() - 50 << " more\n";
  out.close();
  std::rename((path + ".part").c_str(), path.c_str());
}

Report ReadReport(const std::string& path) {
  Report r;
  std::ifstream in(path);
  if (!in) {
    r.problems.push_back("no report " + path);
    return r;
  }
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string kind;
    words >> kind;
    if (kind == "ops") {
      words >> r.ops;
    } else if (kind == "own") {
      int32_t n;
      int64_t tag;
      words >> n >> tag;
      r.owned[n] = tag;
    } else if (kind == "problem") {
      std::string rest;
      std::getline(words, rest);
      r.problems.push_back(rest);
    }
  }
  return r;
}

Merged MergeReports(const std::vector<std::string>& paths, const char* what, int64_t elapsedMs) {
  Merged m;
  for (size_t w = 0; w < paths.size(); ++w) {
    Report r = ReadReport(paths[w]);
    m.ops += r.ops;
    for (const std::string& p : r.problems) m.problems.push_back("worker " + std::to_string(w) + ":" + p);
    for (const auto& [n, tag] : r.owned) {
      auto [it, fresh] = m.owner.emplace(n, std::pair{static_cast<int>(w), tag});
      if (!fresh) {
        m.problems.push_back("number " + std::to_string(n) + " is owned by workers " + std::to_string(it->second.first) +
                             " and " + std::to_string(w));
      }
    }
  }
  m.reports = paths;
  const double seconds = elapsedMs > 0 ? elapsedMs / 1000.0 : 0.001;
  std::printf("[ stress ] %s: %zu workers, %lld operations in %.1f s (%.0f ops/s), %zu numbers owned at the end\n",
              what, paths.size(), static_cast<long long>(m.ops), seconds, m.ops / seconds, m.owner.size());
  std::fflush(stdout);
  return m;
}

Merged RunStations(const std::string& name, const std::string& dir, const Load& load, const char* what,
                   const std::vector<std::string>& lead, const std::vector<std::string>& tail) {
  std::vector<std::vector<std::string>> args;
  std::vector<std::string> reports;
  for (int w = 0; w < load.workers; ++w) {
    reports.push_back(dir + "report" + std::to_string(w));
    args.push_back(lead);
    for (const std::string& a : {std::to_string(w), std::to_string(load.ops), std::to_string(load.seconds), reports.back()})
      args.back().push_back(a);
    args.back().insert(args.back().end(), tail.begin(), tail.end());
  }
  const int64_t start = kv::MonotonicMs();
  const std::vector<int> codes = kvtest::RunWorkers(name, args, 1000 * (load.seconds + 60));
  for (size_t w = 0; w < codes.size(); ++w) EXPECT_EQ(codes[w], 0) << what << ": station " << w;
  return MergeReports(reports, what, kv::MonotonicMs() - start);
}

std::vector<uint8_t> TaggedRecord(int32_t size, int64_t tag) {
  std::vector<uint8_t> r(static_cast<size_t>(size), static_cast<uint8_t>(tag));
  const int32_t head[2] = {1, 0};
  std::memcpy(r.data(), head, 8);
  std::memcpy(r.data() + 8, &tag, 8);
  return r;
}

int64_t TagOnDisk(const rawcheck::Image& img, int32_t size, int32_t capacity, int32_t n) {
  const int64_t at = 40 + 8 * int64_t{capacity} + int64_t{n} * size + 8;
  return int64_t{static_cast<uint32_t>(img.I32(at))} | (int64_t{img.I32(at + 4)} << 32);
}

void ExpectClean(const rawcheck::Defects& defects, const char* what) {
  EXPECT_TRUE(defects.empty()) << what << ": " << defects.size() << " defects\n" << rawcheck::Describe(defects);
}

}  // namespace stress
