// kvdata repair DIR [--dry-run]: repairs what `check` finds, with the
// library's own operations.
//
// Rules, each there to lose nothing:
//   - a file that waits for an upgrade is left alone (the family's own
//     upgrade must run first, and it expects the old layout);
//   - nothing runs while another station holds any lock of the directory,
//     and the repair holds a function lock of its own plus the header lock
//     of each DBA or key file while it reorganises that file;
//   - every file is copied to FILE.bak-<time> before its first change;
//   - search files are rebuilt from the customer file, never reorganised:
//     their live marker is a negative count to the engine, which would free
//     every entry;
//   - an item chain is relinked only in an order its remaining links prove,
//     and a customer chain only when the customer's head still names one of
//     its items (a customer number can have been given out again).
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "admin_util.h"
#include "core/dba_file.h"
#include "core/lockdb.h"
#include "dba_tool_util.h"
#include "check_internal.h"
#include "dir_check.h"
#include "index/keyfile.h"
#include "item_print.h"
#include "kvdata/artlib.h"
#include "kvdata/bbaumlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/kundendba.h"
#include "lock_survey.h"
#include "partner/kunden.h"
#include "services/fileio.h"
#include "tool.h"

namespace kvtool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kRepairLock = "KVDATA_REPAIR";
constexpr const char* kCmd = "repair";

struct Options {
  std::string dir;
  bool dryRun = false;
};

// One thing to do: a file-level operation, or one chain to relink.
struct Action {
  RepairKind kind;
  std::string file;  // the file reorganised; for chains the head file
  ChainKind chain = ChainKind::kArticle;
  int32_t owner = 0;
  std::vector<int32_t> order;

  std::string Describe() const {
    switch (kind) {
      case RepairKind::kRelinkChain: {
        std::string s = Format("relink the chain of %s %d:", ChainName(chain), owner);
        for (int32_t n : order) s += " " + std::to_string(n);
        return s;
      }
      case RepairKind::kRebuildSearchFiles: return "rebuild KUNDSUCH.DBA and KUNDBLZSUCH.DBA from KUNDEN.DBA";
      default: return std::string(RepairText(kind)) + ": " + file;
    }
  }
  // Files the action changes.
  std::vector<std::string> Files(const std::string& itemsFile) const {
    if (kind == RepairKind::kRebuildSearchFiles) return {"KUNDSUCH.DBA", "KUNDBLZSUCH.DBA"};
    if (kind == RepairKind::kRelinkChain) return {itemsFile, file};
    return {file};
  }
};

const char* HeadFile(ChainKind k) {
  return k == ChainKind::kArticle ? ARTLIB_FILE_NAME : k == ChainKind::kDesignation ? BEZLIB_FILE_NAME : "KUNDEN.DBA";
}

// The actions for the defects of one check, in the order they must run:
// file reorganisations first, the search files after the customer file
// they are built from, chains last.
std::vector<Action> Plan(const DirectoryCheck& check, bool withChains) {
  std::vector<Action> files, search, chains;
  std::set<std::pair<int, std::string>> seen;
  std::set<std::pair<int, int32_t>> chainSeen;
  for (const Finding& f : check.findings) {
    if (!f.defect || f.repair == RepairKind::kNone) continue;
    if (f.repair == RepairKind::kRelinkChain) {
      if (withChains && !f.order.empty() && chainSeen.insert({static_cast<int>(f.chain), f.owner}).second) {
        chains.push_back({f.repair, HeadFile(f.chain), f.chain, f.owner, f.order});
      }
      continue;
    }
    if (!seen.insert({static_cast<int>(f.repair), f.repair == RepairKind::kRebuildSearchFiles ? "" : f.file}).second) {
      continue;
    }
    (f.repair == RepairKind::kRebuildSearchFiles ? search : files).push_back({f.repair, f.file, ChainKind::kArticle, 0, {}});
  }
  files.insert(files.end(), search.begin(), search.end());
  files.insert(files.end(), chains.begin(), chains.end());
  return files;
}

std::string Stamp() {
  std::time_t t = std::time(nullptr);
  std::tm tm{};
  localtime_r(&t, &tm);
  char buf[32];
  std::strftime(buf, sizeof buf, "%Y%m%d-%H%M%S", &tm);
  return buf;
}

class Repairer {
 public:
  Repairer(std::string dir, const DirectoryCheck& check, std::string stamp)
      : dir_(std::move(dir)), stamp_(std::move(stamp)) {
    for (const FileReport& r : check.files) {
      reports_[r.name] = r;
      if (r.name == DATABASE_FILE_NAME) itemsFile_ = r.name;
    }
    if (itemsFile_.empty()) itemsFile_ = DATABASE_FILE_NAME;
  }
  ~Repairer() { ReleaseAll(); }

  const std::string& ItemsFile() const { return itemsFile_; }

  // A file that waits for an upgrade is not touched.
  bool Refused(const Action& a, std::string* why) const {
    for (const std::string& f : a.Files(itemsFile_)) {
      auto it = reports_.find(f);
      if (it != reports_.end() && it->second.upgradeDue) {
        *why = f + " waits for an upgrade to version " + std::to_string(it->second.current);
        return true;
      }
    }
    return false;
  }

  bool Run(const Action& a) {
    for (const std::string& f : a.Files(itemsFile_)) {
      if (!Backup(f)) return false;
    }
    switch (a.kind) {
      case RepairKind::kDbaReorganise: return ReorganiseDba(a.file);
      case RepairKind::kCustomerReorganise: return ReorganiseCustomers();
      case RepairKind::kRebuildSearchFiles: return RebuildSearchFiles();
      case RepairKind::kKeyFileReorganise: return ReorganiseKeyFile(a.file);
      case RepairKind::kRelinkChain: return Relink(a);
      case RepairKind::kNone: break;
    }
    return false;
  }

 private:
  // FILE.bak-<time>, once per file and run.
  bool Backup(const std::string& name) {
    if (!backedUp_.insert(name).second || !fs::exists(dir_ + name)) return true;
    const std::string target = dir_ + name + ".bak-" + stamp_;
    std::error_code ec;
    fs::copy_file(dir_ + name, target, fs::copy_options::none, ec);
    if (ec) {
      PrintError(kCmd, "cannot keep a copy of " + name, target, ec.value());
      return false;
    }
    std::cout << "  kept a copy: " << name << ".bak-" << stamp_ << "\n";
    return true;
  }

  // The header lock of a file on a handle of our own, held until Release.
  bool LockHeader(const std::string& name) {
    const kv::FileHandle h = kv::FileIO_OpenRWS((dir_ + name).c_str());
    if (h == kv::kInvalidHandle || kv::FileIO_TryLock(h, 0, DBA_HEADER_SIZE) != 1) {
      kv::FileIO_Close(h);
      PrintError(kCmd, "cannot lock the header of " + name + ": another station is working", dir_ + name);
      return false;
    }
    headers_[name] = h;
    return true;
  }
  void Release(const std::string& name) {
    auto it = headers_.find(name);
    if (it == headers_.end()) return;
    kv::FileIO_Unlock(it->second, 0, DBA_HEADER_SIZE);
    kv::FileIO_Close(it->second);
    headers_.erase(it);
  }
  void ReleaseAll() {
    while (!headers_.empty()) Release(headers_.begin()->first);
  }

  bool ReorganiseDba(const std::string& name) {
    std::vector<uint8_t> b;
    int err = 0;
    if (!ReadWholeFile(dir_ + name, &b, &err) || b.size() < DBA_HEADER_SIZE) {
      PrintError(kCmd, "cannot read " + name, dir_ + name, err);
      return false;
    }
    DbaHeader h;
    std::memcpy(&h, b.data(), sizeof h);
    const int32_t r = GuessRecordSize(dir_ + name, h, static_cast<int64_t>(b.size()), 0);
    if (r < DBA_ITEM_HEAD_SIZE || !LockHeader(name)) return false;
    DbaFile f = DescribeDba(dir_ + name, r, h.idCapacity);
    const bool ok = kv::dba::Reorganise(&f) != nullptr;
    Release(name);
    return ok;
  }

  bool InitCustomers() {
    const std::string path = dir_ + "KUNDEN.DBA";
    if (kv::partner::Init(path.c_str()) == 0) {
      PrintError(kCmd, "cannot open the customer file", path);
      return false;
    }
    return true;
  }

  bool ReorganiseCustomers() {
    if (!InitCustomers() || !LockHeader("KUNDEN.DBA")) return false;
    const bool ok = kv::partner::Reorganise() == 1;
    Release("KUNDEN.DBA");
    return ok;
  }

  // The customer family rebuilds a search file that is missing when it is
  // initialised: the old ones go (their copies are kept), Init makes them.
  bool RebuildSearchFiles() {
    for (const char* name : {"KUNDSUCH.DBA", "KUNDBLZSUCH.DBA"}) {
      std::error_code ec;
      fs::remove(dir_ + name, ec);
      if (ec) {
        PrintError(kCmd, std::string("cannot remove the old ") + name, dir_ + name, ec.value());
        return false;
      }
    }
    return InitCustomers();
  }

  static void KV_CALLBACK Duplicate(int32_t slot, int32_t existing) {
    std::cout << "  slot " << slot << " holds the key of slot " << existing << " again: left out of the tree\n";
  }

  bool ReorganiseKeyFile(const std::string& name) {
    const auto it = reports_.find(name);
    if (it == reports_.end() || it->second.capacity < 1 || !LockHeader(name)) return false;
    BaumKeyDatei* d = kv::index::KeyFileInit((dir_ + name).c_str(), BBAUMLIB_MIN_RECORD_SIZE,
                                             static_cast<int32_t>(it->second.capacity));
    const bool ok = d != nullptr && kv::index::KeyFileReorganise(d, nullptr, nullptr, nullptr, nullptr, Duplicate) != 0;
    kv::index::KeyFileExit(d);
    Release(name);
    return ok;
  }

  bool Relink(const Action& a) {
    const int32_t size = ItemFileSize(dir_);
    if (size == 0 || DATABASE_Init(size, dir_.c_str()) != 1 || DATABASE_OeffneDatenbank() == -1) {
      PrintError(kCmd, "cannot open the single-item file", dir_ + itemsFile_);
      return false;
    }
    bool ok = true;
    for (size_t i = 0; i < a.order.size() && ok; ++i) {
      const int32_t id = a.order[i];
      const int32_t prev = i > 0 ? a.order[i - 1] : 0;
      const int32_t next = i + 1 < a.order.size() ? a.order[i + 1] : 0;
      Einzelteil r;
      if (DATABASE_LockEinzelteil(id) != 1) {
        ok = false;
        break;
      }
      ok = DATABASE_ReadEinzelteil(id, &r) == 1;
      if (ok) {
        int32_t Einzelteil::*p = a.chain == ChainKind::kArticle       ? &Einzelteil::artPrev
                                 : a.chain == ChainKind::kDesignation ? &Einzelteil::bezPrev
                                                                      : &Einzelteil::custPrev;
        int32_t Einzelteil::*n = a.chain == ChainKind::kArticle       ? &Einzelteil::artNext
                                 : a.chain == ChainKind::kDesignation ? &Einzelteil::bezNext
                                                                      : &Einzelteil::custNext;
        r.*p = prev;
        r.*n = next;
        ok = DATABASE_WriteEinzelteil(id, &r) == 1;
      }
      DATABASE_UnlockEinzelteil(id);
    }
    DATABASE_SchliesseDatenbank();
    if (!ok) {
      PrintError(kCmd, "cannot rewrite the items of the chain", dir_ + itemsFile_);
      return false;
    }
    return WriteHead(a);
  }

  bool WriteHead(const Action& a) {
    const int32_t first = a.order.front(), last = a.order.back();
    const auto it = reports_.find(a.file);
    const int32_t count = it == reports_.end() ? 0 : static_cast<int32_t>(it->second.capacity);
    bool ok = false;
    if (a.chain == ChainKind::kArticle) {
      ArtikelRecord rec;
      const int32_t h = ARTLIB_Init(count, dir_.c_str()) == ARTLIB_CURRENT_VERSION ? ARTLIB_OeffneDatenbank() : -1;
      if (h != -1) {
        ok = ARTLIB_LockArtikel(a.owner) == 1;
        if (ok) {
          ok = ARTLIB_ReadArtikel(h, a.owner, &rec) == 1;
          rec.firstItem = first;
          rec.lastItem = last;
          ok = ok && ARTLIB_WriteArtikel(h, a.owner, &rec) == 1;
          ARTLIB_UnlockArtikel(a.owner);
        }
        ARTLIB_SchliesseDatenbank();
      }
    } else if (a.chain == ChainKind::kDesignation) {
      Bezeichnung rec;
      ok = BEZLIB_Init(count, dir_.c_str()) == 1;
      const int32_t h = ok ? BEZLIB_OeffneDatenbank() : -1;
      if (h != -1) {
        ok = BEZLIB_LockBezeichnung(a.owner) == 1;
        if (ok) {
          ok = BEZLIB_ReadBezeichnung(h, a.owner, &rec) == 1;
          rec.firstItem = first;
          rec.lastItem = last;
          ok = ok && BEZLIB_WriteBezeichnung(h, a.owner, &rec) == 1;
          BEZLIB_UnlockBezeichnung(a.owner);
        }
        BEZLIB_SchliesseDatenbank();
      } else {
        ok = false;
      }
    } else {
      Kunde k;
      ok = InitCustomers() && KundenDBA_LeseKunde(a.owner, &k) == 1;
      if (ok) {
        k.firstItem = first;
        k.lastItem = last;
        ok = KundenDBA_SchreibeKunde(a.owner, &k, 0) == 1;
      }
    }
    if (!ok) PrintError(kCmd, Format("cannot write the head of %s %d", ChainName(a.chain), a.owner), dir_ + a.file);
    return ok;
  }

  std::string dir_;
  std::string stamp_;
  std::string itemsFile_;
  std::map<std::string, FileReport> reports_;
  std::set<std::string> backedUp_;
  std::map<std::string, kv::FileHandle> headers_;
};

// Holds the repair's own function lock for its lifetime.
class RepairLock {
 public:
  explicit RepairLock(const std::string& dir) {
    const std::string anyFile = dir + kv::lockdb::kLockDbName;
    if (kv::lockdb::Init(anyFile.c_str()) == nullptr) return;
    kv::lockdb::SetStation("kvdata", "repair", 1);
    held_ = kv::lockdb::BlockingStart(kRepairLock, 0) == 1;
  }
  ~RepairLock() {
    if (held_) kv::lockdb::BlockingStop(kRepairLock);
    kv::lockdb::Exit();
  }
  bool held() const { return held_; }

 private:
  bool held_ = false;
};

// Runs the planned actions; false when one failed.
bool Execute(Repairer& repairer, const std::vector<Action>& plan, bool dryRun, int* refused) {
  bool ok = true;
  for (const Action& a : plan) {
    std::string why;
    if (repairer.Refused(a, &why)) {
      std::cout << "refused: " << a.Describe() << " (" << why << ")\n";
      ++*refused;
      continue;
    }
    std::cout << (dryRun ? "would " : "") << a.Describe() << "\n";
    if (dryRun) continue;
    if (!repairer.Run(a)) {
      PrintError(kCmd, "failed: " + a.Describe());
      ok = false;
    }
  }
  return ok;
}

void Repair(const Options& o) {
  const std::string dir = OpenDataDirectory(kCmd, o.dir);
  const DirectoryCheck before = CheckDirectory(dir);
  const std::string stamp = Stamp();  // one for every copy of this run
  // Chains are planned after the file repairs, from a fresh check: a
  // customer reorganisation changes which customers are live.
  const std::vector<Action> plan = Plan(before, o.dryRun);
  const bool chainDefects = std::any_of(before.findings.begin(), before.findings.end(), [](const Finding& f) {
    return f.defect && f.repair == RepairKind::kRelinkChain;
  });
  for (const Finding& f : before.findings) {
    if (f.defect && f.repair == RepairKind::kNone) {
      std::cout << "cannot repair: " << f.file << (f.record >= 0 ? " record " + std::to_string(f.record) : "")
                << ": " << f.what << "\n";
    }
  }
  if (plan.empty() && !chainDefects) {
    std::cout << (before.Defects() == 0 ? "nothing to repair: the directory is healthy\n" : "nothing repair can do\n");
    if (before.Defects() != 0) throw CLI::RuntimeError(kExitDefects);
    return;
  }
  int refused = 0;
  if (o.dryRun) {
    Repairer repairer(dir, before, stamp);
    Execute(repairer, plan, true, &refused);
    std::cout << "dry run: nothing was changed\n";
    return;
  }

  std::string held;
  if (SurveyLocks(dir).AnyHeld(&held)) Fail(kCmd, "refused while another station works: " + held, dir, 0, kExitDefects);
  RepairLock lock(dir);
  if (!lock.held()) Fail(kCmd, "refused: another repair is running", dir, 0, kExitDefects);

  bool ok;
  {
    Repairer repairer(dir, before, stamp);
    ok = Execute(repairer, plan, false, &refused);
  }
  if (ok && chainDefects) {
    const DirectoryCheck middle = CheckDirectory(dir);
    Repairer repairer(dir, middle, stamp);
    std::vector<Action> chains;
    for (const Action& a : Plan(middle, true)) {
      if (a.kind == RepairKind::kRelinkChain) chains.push_back(a);
    }
    ok = Execute(repairer, chains, false, &refused);
  }
  const DirectoryCheck after = CheckDirectory(dir);
  std::cout << "after the repair: " << after.Defects() << " defects, " << after.Notes() << " notes"
            << (after.Defects() == 0 ? ": healthy" : "") << "\n";
  for (const Finding& f : after.findings) {
    if (f.defect) std::cout << "  left: " << f.file << ": " << f.what << "\n";
  }
  if (!ok || refused != 0 || after.Defects() != 0) throw CLI::RuntimeError(kExitDefects);
}

const CommandRegistrar kRepair("repair", "repair what check finds, keeping a copy of every file it changes",
                               [](CLI::App& app) {
                                 auto o = std::make_shared<Options>();
                                 AddDirOption(app, o->dir);
                                 app.add_flag("--dry-run", o->dryRun, "change nothing, say what would be done");
                                 app.callback([o] { Repair(*o); });
                               });

}  // namespace

}  // namespace kvtool
