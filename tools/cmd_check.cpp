// kvdata check DIR [--json]: the integrity of a whole data directory.
// kvdata status DIR [--json]: version, capacity and last write per file.
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "admin_util.h"
#include "dba_tool_util.h"
#include "dir_check.h"
#include "tool.h"

namespace kvtool {

namespace {

struct Options {
  std::string dir;
  bool json = false;
};

std::string Where(const Finding& f) {
  return f.record >= 0 ? f.file + " record " + std::to_string(f.record) : f.file;
}

nlohmann::json FindingJson(const Finding& f) {
  nlohmann::json j = {{"file", f.file}, {"what", f.what}};
  j["record"] = f.record >= 0 ? nlohmann::json(f.record) : nlohmann::json(nullptr);
  if (f.defect) j["repair"] = RepairText(f.repair);
  return j;
}

nlohmann::json FileJson(const FileReport& r) {
  nlohmann::json j = {{"file", r.name}, {"kind", r.kind}, {"size", r.size}, {"upgrade_due", r.upgradeDue}};
  j["version"] = r.version != 0 ? nlohmann::json(r.version) : nlohmann::json(nullptr);
  j["current_version"] = r.current != 0 ? nlohmann::json(r.current) : nlohmann::json(nullptr);
  j["used"] = r.used >= 0 ? nlohmann::json(r.used) : nlohmann::json(nullptr);
  j["capacity"] = r.capacity >= 0 ? nlohmann::json(r.capacity) : nlohmann::json(nullptr);
  j["last_write"] = r.lastWrite > 0 ? nlohmann::json(FormatUnixTime(static_cast<uint32_t>(r.lastWrite)))
                                    : nlohmann::json(nullptr);
  return j;
}

DirectoryCheck RunCheck(const std::string& dir) {
  std::unique_ptr<Progress> bar;
  std::string current;
  return CheckDirectory(dir, [&](const std::string& file, int64_t done, int64_t total) {
    if (file != current) {
      current = file;
      bar = std::make_unique<Progress>("checking " + file);
    }
    bar->Update(done, total);
  });
}

void Check(const Options& o) {
  const std::string dir = OpenDataDirectory("check", o.dir);
  const DirectoryCheck result = RunCheck(dir);
  if (result.files.empty() && result.findings.empty()) {
    Fail("check", "no file of a data directory found: nothing to check", dir, 0, kExitUnusable);
  }
  if (o.json) {
    nlohmann::json j = {{"directory", dir}, {"healthy", result.Defects() == 0}};
    j["files"] = nlohmann::json::array();
    for (const FileReport& r : result.files) j["files"].push_back(FileJson(r));
    j["defects"] = nlohmann::json::array();
    j["notes"] = nlohmann::json::array();
    for (const Finding& f : result.findings) j[f.defect ? "defects" : "notes"].push_back(FindingJson(f));
    std::cout << j.dump(2) << "\n";
  } else {
    for (const Finding& f : result.findings) {
      if (!f.defect) continue;
      std::cout << "DEFECT " << Where(f) << ": " << f.what << "\n       repair: " << RepairText(f.repair) << "\n";
    }
    for (const Finding& f : result.findings) {
      if (!f.defect) std::cout << "note   " << Where(f) << ": " << f.what << "\n";
    }
    std::cout << dir << ": " << result.files.size() << " files checked, " << result.Defects() << " defects, "
              << result.Notes() << " notes: " << (result.Defects() == 0 ? "healthy" : "NOT healthy") << "\n";
  }
  if (result.Defects() != 0) throw CLI::RuntimeError(kExitDefects);
}

void Status(const Options& o) {
  const std::string dir = OpenDataDirectory("status", o.dir);
  const DirectoryCheck result = CheckDirectory(dir);
  if (o.json) {
    nlohmann::json j = {{"directory", dir}, {"files", nlohmann::json::array()}};
    for (const FileReport& r : result.files) j["files"].push_back(FileJson(r));
    std::cout << j.dump(2) << "\n";
    return;
  }
  std::printf("%-26s %-14s %8s %-12s %10s %10s  %s\n", "file", "kind", "version", "upgrade", "used", "capacity",
              "last write");
  for (const FileReport& r : result.files) {
    const std::string version = r.version != 0 ? std::to_string(r.version) : "-";
    const std::string upgrade = r.upgradeDue ? "due (" + std::to_string(r.current) + ")" : "no";
    const std::string used = r.used >= 0 ? std::to_string(r.used) : "-";
    const std::string cap = r.capacity >= 0 ? std::to_string(r.capacity) : "-";
    const std::string when = r.lastWrite > 0 ? FormatUnixTime(static_cast<uint32_t>(r.lastWrite)) : "-";
    std::printf("%-26s %-14s %8s %-12s %10s %10s  %s\n", r.name.c_str(), r.kind.c_str(), version.c_str(),
                upgrade.c_str(), used.c_str(), cap.c_str(), when.c_str());
  }
  std::printf("%zu files\n", result.files.size());
}

const CommandRegistrar kCheck("check", "check every file of a data directory and the links between them (read-only)",
                              [](CLI::App& app) {
                                auto o = std::make_shared<Options>();
                                AddDirOption(app, o->dir);
                                app.add_flag("--json", o->json, "write the result as JSON");
                                app.callback([o] { Check(*o); });
                              });

const CommandRegistrar kStatus("status", "version, upgrade, records used and last write of each file",
                               [](CLI::App& app) {
                                 auto o = std::make_shared<Options>();
                                 AddDirOption(app, o->dir);
                                 app.add_flag("--json", o->json, "write the result as JSON");
                                 app.callback([o] { Status(*o); });
                               });

}  // namespace

}  // namespace kvtool
