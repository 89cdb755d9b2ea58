// kvdata locks DIR [--json]: who holds which lock of a data directory now.
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "admin_util.h"
#include "core/lockdb.h"
#include "lock_survey.h"
#include "tool.h"

namespace kvtool {

namespace {

struct Options {
  std::string dir;
  bool json = false;
};

std::string Age(int64_t age) {
  if (age < 0) return "time stamp in the future";
  return std::to_string(age) + " s old";
}

void PrintJson(const std::string& dir, const LockSurvey& s) {
  nlohmann::json j = {{"directory", dir}};
  j["lock_database"] = {{"file", kv::lockdb::kLockDbName}, {"exists", s.lockDbExists}, {"held_bytes", s.heldBytes}};
  j["function_locks"] = nlohmann::json::array();
  for (const FunctionLock& f : s.functionLocks) {
    j["function_locks"].push_back({{"name", f.name}, {"age_seconds", f.age}, {"state", StateText(f.state)}});
  }
  j["log_lock"] = {{"file", kv::lockdb::kLogLockName}, {"exists", s.logLockExists}};
  if (s.logLockExists) {
    j["log_lock"]["age_seconds"] = s.logLockAge;
    j["log_lock"]["state"] = StateText(s.logLockState);
    j["log_lock"]["holder_alive"] = s.logLockHolderAlive;
  }
  j["file_locks"] = nlohmann::json::array();
  for (const FileLocks& f : s.fileLocks) {
    j["file_locks"].push_back({{"file", f.file}, {"header", f.header}, {"records", f.records}});
  }
  j["stations"] = nlohmann::json::array();
  for (const StationLine& st : s.stations) {
    j["stations"].push_back({{"ip", st.ip}, {"user", st.user}, {"last_line", st.line}});
  }
  std::cout << j.dump(2) << "\n";
}

void PrintText(const std::string& dir, const LockSurvey& s) {
  std::cout << "data directory " << dir << "\n";
  std::cout << kv::lockdb::kLockDbName << ": ";
  if (!s.lockDbExists) {
    std::cout << "not there\n";
  } else if (s.heldBytes.empty()) {
    std::cout << "no byte locked\n";
  } else {
    std::cout << "bytes locked by other processes:";
    for (int64_t b : s.heldBytes) {
      std::cout << " " << b << (b == kv::lockdb::kOrphanGuardByte ? " (deleting an orphaned lock file)" : "");
    }
    std::cout << "\n";
  }
  std::cout << "function locks (" << kv::lockdb::kFunctionLockDir << "):" << (s.functionLocks.empty() ? " none" : "")
            << "\n";
  for (const FunctionLock& f : s.functionLocks) {
    std::cout << "  " << f.name << ": " << (f.state == LockFileState::kUnreadable ? "" : Age(f.age) + ", ")
              << StateText(f.state) << "\n";
  }
  std::cout << kv::lockdb::kLogLockName << ": ";
  if (!s.logLockExists) {
    std::cout << "not there (nobody is writing the lock log)\n";
  } else {
    std::cout << Age(s.logLockAge) << ", " << StateText(s.logLockState)
              << (s.logLockHolderAlive ? ", its holder is alive" : ", its holder is gone") << "\n";
  }
  std::cout << "byte-range locks on record files:" << (s.fileLocks.empty() ? " none" : "") << "\n";
  for (const FileLocks& f : s.fileLocks) {
    std::cout << "  " << f.file << ":" << (f.header ? " header" : "") << (f.records ? " records" : "") << "\n";
  }
  std::cout << "last lock-log line of each station:" << (s.stations.empty() ? " none" : "") << "\n";
  for (const StationLine& st : s.stations) std::cout << "  " << st.line << "\n";
}

const CommandRegistrar kLocks("locks", "who holds which lock of a data directory right now", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  AddDirOption(app, o->dir);
  app.add_flag("--json", o->json, "write the result as JSON");
  app.callback([o] {
    const std::string dir = OpenDataDirectory("locks", o->dir);
    const LockSurvey s = SurveyLocks(dir);
    if (o->json) {
      PrintJson(dir, s);
    } else {
      PrintText(dir, s);
    }
  });
});

}  // namespace

}  // namespace kvtool
