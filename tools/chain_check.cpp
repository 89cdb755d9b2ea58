// The links between files: customers against their two search files, and
// the three doubly linked chains of single items against their heads in the
// article, designation and customer records.
#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "admin_util.h"
#include "check_internal.h"
#include "dba_tool_util.h"
#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/kundendba.h"
#include "services/encoding.h"

namespace kvtool {

void CheckOtherDba(CheckContext& c, const std::string& name) {
  std::vector<uint8_t> b;
  int err = 0;
  if (!ReadWholeFile(c.dir + name, &b, &err) || b.size() < DBA_HEADER_SIZE) {
    c.Add(false, name, -1, "not a DBA file this tool knows: not checked", RepairKind::kNone);
    return;
  }
  DbaHeader h;
  std::memcpy(&h, b.data(), sizeof h);
  const int32_t r = GuessRecordSize(c.dir + name, h, static_cast<int64_t>(b.size()), 0);
  if (r < DBA_ITEM_HEAD_SIZE) {
    c.Add(false, name, -1, "record size unknown (not a DBA file, or one with no items): not checked",
          RepairKind::kNone);
    return;
  }
  CheckDbaFile(c, name, r, DBA_CURRENT_VERSION, RepairKind::kDbaReorganise, nullptr);
}

namespace {

constexpr uint32_t kLiveMarker = KUNDE_SUCH_MARKER;

std::string Bounded(const uint8_t* p, size_t n) {
  return std::string(reinterpret_cast<const char*>(p), strnlen(reinterpret_cast<const char*>(p), n));
}

void CheckSearchFiles(CheckContext& c, const DbaImage& cust, const DbaImage* names, const DbaImage* banks) {
  int32_t stale = 0, defects = 0;
  auto defect = [&](const std::string& file, int32_t n, std::string what) {
    if (defects++ < 20) c.Add(true, file, n, std::move(what), RepairKind::kRebuildSearchFiles);
  };
  for (int32_t n = 1; n <= cust.slotsInFile; ++n) {
    const bool used = cust.Used(n);
    const uint8_t* rec = cust.bytes.data() + cust.ItemPos(n);
    if (names != nullptr) {
      const bool present = n <= names->slotsInFile;
      const uint32_t marker = present ? static_cast<uint32_t>(names->State(n)) : 0;
      const uint8_t* e = present ? names->bytes.data() + names->ItemPos(n) : nullptr;
      if (used && marker != kLiveMarker) {
        defect(names->name, n, Format("customer %d has no name search entry", n));
      } else if (used && std::memcmp(e + 4, rec + 105, 7) != 0) {
        defect(names->name, n,
               Format("the name search entry of customer %d reads \"%s\", the surname begins \"%s\"", n,
                      kv::Cp1252ToUtf8(Bounded(e + 4, 7).c_str()).c_str(),
                      kv::Cp1252ToUtf8(Bounded(rec + 105, 7).c_str()).c_str()));
      } else if (!used && marker == kLiveMarker) {
        ++stale;
      }
    }
    if (banks != nullptr) {
      const bool present = n <= banks->slotsInFile;
      const uint32_t marker = present ? static_cast<uint32_t>(banks->State(n)) : 0;
      const uint8_t* e = present ? banks->bytes.data() + banks->ItemPos(n) : nullptr;
      if (used && marker != kLiveMarker) {
        defect(banks->name, n, Format("customer %d has no bank search entry", n));
      } else if (used && (Bounded(e + 4, 8) != Bounded(rec + 608, 8) || Bounded(e + 13, 10) != Bounded(rec + 617, 10))) {
        defect(banks->name, n,
               Format("the bank search entry of customer %d reads %s / %s, the customer has %s / %s", n,
                      Bounded(e + 4, 8).c_str(), Bounded(e + 13, 10).c_str(), Bounded(rec + 608, 8).c_str(),
                      Bounded(rec + 617, 10).c_str()));
      }
    }
  }
  if (defects > 20) {
    c.Add(true, "KUNDSUCH.DBA", -1, Format("%d search entries in all disagree with the customers", defects),
          RepairKind::kRebuildSearchFiles);
  }
  if (stale > 0) {
    c.Add(false, names->name, -1, Format("%d search entries belong to freed customers (they stay until reused)", stale),
          RepairKind::kNone);
  }
}

// One kind of item chain: where its links lie in the item and where its
// heads are.
struct ChainSpec {
  ChainKind kind;
  int32_t prevOff, nextOff, ownerOff;
  const char* headFile;
};

class ChainChecker {
 public:
  ChainChecker(CheckContext& c, const LinkedFiles& f, const ChainSpec& chain) : c_(c), f_(f), s_(chain) {}

  void Run() {
    std::map<int32_t, std::vector<int32_t>> owned;  // owner -> its items, ascending
    int32_t deletedCustomer = 0;
    for (int32_t n = 1; n <= f_.itemCount; ++n) {
      if (!Used(n)) continue;
      const int32_t o = Owner(n);
      if (s_.kind == ChainKind::kDesignation && o <= 0) continue;
      if (s_.kind == ChainKind::kCustomer && o == 0) continue;
      if (s_.kind == ChainKind::kCustomer && !HeadExists(o)) {
        ++deletedCustomer;
        continue;
      }
      owned[o].push_back(n);
    }
    if (deletedCustomer > 0) {
      c_.Add(false, f_.itemsName, -1, Format("%d items name a customer that has been deleted", deletedCustomer),
             RepairKind::kNone);
    }
    std::set<int32_t> owners;
    for (const auto& [o, items] : owned) owners.insert(o);
    for (int32_t o : HeadOwners()) owners.insert(o);
    for (int32_t o : owners) CheckOwner(o, owned[o]);
  }

 private:
  const uint8_t* Item(int32_t n) const { return f_.items.data() + 40 + static_cast<int64_t>(n) * DATABASE_RECORD_SIZE; }
  int32_t Field(int32_t n, int32_t off) const { return Word32(f_.items, 40 + int64_t{n} * DATABASE_RECORD_SIZE + off); }
  bool Used(int32_t n) const { return n >= 1 && n <= f_.itemCount && (Word16(f_.items, 40 + int64_t{n} * DATABASE_RECORD_SIZE + 140) & DATABASE_FLAG_BENUTZT) != 0; }
  int32_t Owner(int32_t n) const { return Field(n, s_.ownerOff); }
  int32_t Prev(int32_t n) const { return Field(n, s_.prevOff); }
  int32_t Next(int32_t n) const { return Field(n, s_.nextOff); }

  bool HeadExists(int32_t o) const {
    switch (s_.kind) {
      case ChainKind::kArticle: return o >= 0 && o <= f_.articleCount;
      case ChainKind::kDesignation: return o >= 1 && o <= f_.designationCount;
      case ChainKind::kCustomer: return f_.customers && f_.customers->Used(o);
    }
    return false;
  }
  // First and last item of owner o's chain.
  std::pair<int32_t, int32_t> Head(int32_t o) const {
    switch (s_.kind) {
      case ChainKind::kArticle:
        return {Word32(f_.articles, 40 + int64_t{o} * ARTLIB_RECORD_SIZE), Word32(f_.articles, 44 + int64_t{o} * ARTLIB_RECORD_SIZE)};
      case ChainKind::kDesignation:
        return {Word32(f_.designations, 40 + int64_t{o} * BEZLIB_RECORD_SIZE),
                Word32(f_.designations, 44 + int64_t{o} * BEZLIB_RECORD_SIZE)};
      case ChainKind::kCustomer:
        return {Word32(f_.customers->bytes, f_.customers->ItemPos(o) + 911),
                Word32(f_.customers->bytes, f_.customers->ItemPos(o) + 915)};
    }
    return {0, 0};
  }
  std::vector<int32_t> HeadOwners() const {
    std::vector<int32_t> v;
    int32_t from = s_.kind == ChainKind::kArticle ? 0 : 1;
    int32_t to = s_.kind == ChainKind::kArticle       ? f_.articleCount
                 : s_.kind == ChainKind::kDesignation ? f_.designationCount
                 : f_.customers                       ? f_.customers->slotsInFile
                                                      : 0;
    for (int32_t o = from; o <= to; ++o) {
      if (!HeadExists(o)) continue;
      auto [first, last] = Head(o);
      if (first != 0 || last != 0) v.push_back(o);
    }
    return v;
  }

  std::string Who(int32_t o) const { return Format("%s %d", ChainName(s_.kind), o); }

  // Follows one direction from `start` while the items are the owner's,
  // in use and not yet seen; the reason it stopped goes into *why.
  std::vector<int32_t> Walk(int32_t o, int32_t start, bool forward, std::string* why) const {
    std::vector<int32_t> seq;
    std::set<int32_t> seen;
    int32_t from = 0;
    for (int32_t n = start; n != 0; n = forward ? Next(n) : Prev(n)) {
      const std::string origin = from == 0 ? std::string("its head") : Format("item %d", from);
      if (n < 1 || n > f_.itemCount) {
        *why = Format("the chain of %s leads from %s to item %d, outside the file", Who(o).c_str(), origin.c_str(), n);
      } else if (seen.count(n) != 0) {
        *why = Format("the chain of %s runs into item %d a second time (a cycle)", Who(o).c_str(), n);
      } else if (!Used(n)) {
        *why = Format("the chain of %s leads from %s to item %d, which is not in use", Who(o).c_str(), origin.c_str(), n);
      } else if (Owner(n) != o) {
        *why = Format("the chain of %s leads from %s to item %d, which belongs to %s", Who(o).c_str(), origin.c_str(), n,
                      Who(Owner(n)).c_str());
      }
      if (!why->empty()) break;
      seen.insert(n);
      seq.push_back(n);
      from = n;
    }
    return seq;
  }

  void CheckOwner(int32_t o, const std::vector<int32_t>& items) {
    const std::string file = f_.itemsName;
    if (!HeadExists(o)) {
      c_.Add(true, file, items.empty() ? -1 : items.front(),
             Format("%zu items name %s, which is not in %s", items.size(), Who(o).c_str(), s_.headFile),
             RepairKind::kNone);
      return;
    }
    auto [first, last] = Head(o);
    std::vector<std::string> problems;
    std::vector<int64_t> where;
    std::string why;
    std::vector<int32_t> forward = Walk(o, first, true, &why);
    if (!why.empty()) {
      problems.push_back(why);
      where.push_back(forward.empty() ? -1 : forward.back());
    }
    for (size_t i = 1; i < forward.size(); ++i) {
      if (Prev(forward[i]) != forward[i - 1]) {
        problems.push_back(Format("in the chain of %s item %d's next is %d, but item %d's previous is %d",
                                  Who(o).c_str(), forward[i - 1], forward[i], forward[i], Prev(forward[i])));
        where.push_back(forward[i]);
      }
    }
    if (!forward.empty() && Prev(forward.front()) != 0) {
      problems.push_back(Format("the first item %d of %s has a previous item %d", forward.front(), Who(o).c_str(),
                                Prev(forward.front())));
      where.push_back(forward.front());
    }
    if (why.empty() && (forward.empty() ? 0 : forward.back()) != last) {
      problems.push_back(Format("the head of %s gives %d as the last item, the chain ends at %d", Who(o).c_str(), last,
                                forward.empty() ? 0 : forward.back()));
      where.push_back(-1);
    }
    const std::set<int32_t> reached(forward.begin(), forward.end());
    for (int32_t n : items) {
      if (reached.count(n) == 0) {
        problems.push_back(Format("item %d of %s cannot be reached from its head", n, Who(o).c_str()));
        where.push_back(n);
      }
    }
    if (problems.empty()) return;

    std::string back;
    std::vector<int32_t> backward = Walk(o, last, false, &back);
    std::reverse(backward.begin(), backward.end());
    std::vector<int32_t> order = Unambiguous(forward, backward, items);
    // A customer number can be given out again after a delete; items keep
    // the old number. Only a head that already names one of the items says
    // the chain is this customer's.
    if (s_.kind == ChainKind::kCustomer &&
        std::find(items.begin(), items.end(), first) == items.end() &&
        std::find(items.begin(), items.end(), last) == items.end()) {
      order.clear();
    }
    for (size_t i = 0; i < problems.size() && i < 10; ++i) {
      Finding f;
      f.file = where[i] >= 0 ? file : std::string(s_.headFile);
      f.record = where[i];
      f.what = problems[i];
      f.repair = order.empty() ? RepairKind::kNone : RepairKind::kRelinkChain;
      f.chain = s_.kind;
      f.owner = o;
      if (i == 0) f.order = order;
      c_.out->findings.push_back(std::move(f));
    }
  }

  // The chain order the links leave no doubt about: the forward walk and the
  // backward walk (both in chain order) joined, when together they hold
  // exactly the owner's items once each. Empty when in doubt.
  static std::vector<int32_t> Unambiguous(const std::vector<int32_t>& forward, const std::vector<int32_t>& backward,
                                          const std::vector<int32_t>& items) {
    const std::set<int32_t> want(items.begin(), items.end());
    auto exactly = [&](const std::vector<int32_t>& v) {
      return v.size() == want.size() && std::set<int32_t>(v.begin(), v.end()) == want;
    };
    if (exactly(forward)) return forward;
    if (exactly(backward)) return backward;
    std::vector<int32_t> joined = forward;
    joined.insert(joined.end(), backward.begin(), backward.end());
    if (exactly(joined)) return joined;
    return {};
  }

  CheckContext& c_;
  const LinkedFiles& f_;
  ChainSpec s_;
};

}  // namespace

void CheckLinks(CheckContext& c, const LinkedFiles& f) {
  if (f.customers) {
    CheckSearchFiles(c, *f.customers, f.nameSearch ? &*f.nameSearch : nullptr, f.bankSearch ? &*f.bankSearch : nullptr);
  }
  if (f.itemCount < 0) return;
  const ChainSpec specs[] = {
      {ChainKind::kArticle, 0, 4, 8, "ARTIKEL.DBA"},
      {ChainKind::kDesignation, 12, 16, 20, "BEZLIB.DBA"},
      {ChainKind::kCustomer, 24, 28, 32, "KUNDEN.DBA"},
  };
  for (const ChainSpec& s : specs) {
    if (s.kind == ChainKind::kArticle && f.articleCount < 0) continue;
    if (s.kind == ChainKind::kDesignation && f.designationCount < 0) continue;
    if (s.kind == ChainKind::kCustomer && !f.customers) continue;
    ChainChecker(c, f, s).Run();
  }
}

}  // namespace kvtool
