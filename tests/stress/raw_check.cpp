#include "raw_check.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

namespace rawcheck {

namespace {

template <typename... Parts>
std::string Say(const Parts&... parts) {
  std::ostringstream out;
  (out << ... << parts);
  return out.str();
}

constexpr int32_t kMaxSlots = 256000;
constexpr int32_t kLiveMarker = static_cast<int32_t>(0xFF0000FFu);

// Customer record fields this checker needs.
constexpr int32_t kCustomerSize = 1299;
constexpr int64_t kFlags = 8, kSurname = 105, kBankCode = 608, kAccount = 617, kFirstItem = 911, kLastItem = 915;

// Single-item record.
constexpr int32_t kItemSize = 142;
constexpr int64_t kItemValue = 100, kItemFlags = 140;
constexpr int16_t kInUseBit = 0x0001;

// Heads of the item chains in their owners' files.
constexpr int32_t kArticleSize = 660, kDesignationSize = 128;
constexpr int64_t kDesignationInUse = 8;

}  // namespace

Image::Image(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return;
  exists_ = true;
  bytes_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

int32_t Image::I32(int64_t at) const {
  if (!Has(at, 4)) return 0;
  int32_t v;
  std::memcpy(&v, bytes_.data() + at, 4);
  return v;
}

int16_t Image::I16(int64_t at) const {
  if (!Has(at, 2)) return 0;
  int16_t v;
  std::memcpy(&v, bytes_.data() + at, 2);
  return v;
}

uint8_t Image::U8(int64_t at) const { return Has(at, 1) ? bytes_[static_cast<size_t>(at)] : 0; }

std::string Image::Text(int64_t at, int64_t length) const {
  std::string s;
  for (int64_t i = 0; i < length && Has(at + i, 1) && bytes_[static_cast<size_t>(at + i)] != 0; ++i) {
    s.push_back(static_cast<char>(bytes_[static_cast<size_t>(at + i)]));
  }
  return s;
}

int32_t ReadWord(const std::string& path, int64_t offset) {
  std::ifstream in(path, std::ios::binary);
  int32_t v = 0;
  if (!in.seekg(offset) || !in.read(reinterpret_cast<char*>(&v), 4)) return 0;
  return v;
}

namespace {

DbaState ReadDba(const Image& img, const std::string& name, int32_t R, bool exact) {
  DbaState s;
  auto& d = s.defects;
  if (!img.exists()) {
    d.push_back(Say(name, ": missing"));
    return s;
  }
  if (img.size() < 40) {
    d.push_back(Say(name, ": ", img.size(), " bytes, shorter than the header"));
    return s;
  }
  s.version = img.I32(0);
  s.freeHead = img.I32(8);
  s.usedCount = img.I32(12);
  s.slotCount = img.I32(16);
  s.capacity = img.I32(20);
  if (s.capacity < 0 || s.capacity > 4 * kMaxSlots) {
    d.push_back(Say(name, ": identifier table capacity ", s.capacity));
    return s;
  }
  const int64_t base = 40 + 8 * int64_t{s.capacity};
  if (img.size() < base) {
    d.push_back(Say(name, ": ", img.size(), " bytes, shorter than header and tables (", base, ")"));
    return s;
  }
  // A station killed inside an append may leave part of an item past the
  // last whole one (a write is not atomic across pages): no header or chain
  // names it and the next append writes over it, so it is no defect.
  const int64_t area = img.size() - base;
  if (area > 0 && area < R) {
    d.push_back(Say(name, ": ", area, " bytes after the tables, short of the unused item 0"));
  }
  s.slotsInFile = area >= 2 * R ? static_cast<int32_t>(area / R - 1) : 0;
  if (s.slotCount < 0 || s.slotCount > kMaxSlots) d.push_back(Say(name, ": slot count ", s.slotCount));
  if (s.slotCount > s.slotsInFile) {
    d.push_back(Say(name, ": slot count ", s.slotCount, " but only ", s.slotsInFile, " items in the file"));
  }
  if (s.usedCount < 0) d.push_back(Say(name, ": used count ", s.usedCount));

  int32_t positive = 0;
  for (int32_t n = 1; n <= s.slotsInFile; ++n) {
    int32_t st = img.I32(base + int64_t{n} * R);
    s.state[n] = st;
    if (st != -1) s.used.insert(n);
    if (st >= 1) ++positive;
    if (st >= 1 && n > s.slotCount) {
      d.push_back(Say(name, ": item ", n, " is in use above the slot count ", s.slotCount,
                      " (the next append would hand it out again)"));
    }
  }

  std::set<int32_t> chained;
  for (int32_t n = s.freeHead; n != 0;) {
    if (n < 1 || n > s.slotsInFile) {
      d.push_back(Say(name, ": free chain leaves the file at item ", n, " (after ", s.freeChain.size(), " items)"));
      break;
    }
    if (!chained.insert(n).second) {
      d.push_back(Say(name, ": free chain loops back to item ", n, " after ", s.freeChain.size(), " items"));
      break;
    }
    s.freeChain.push_back(n);
    if (s.state[n] != -1) d.push_back(Say(name, ": item ", n, " is on the free chain with state ", s.state[n]));
    n = img.I32(base + int64_t{n} * R + 4);
  }
  for (const auto& [n, st] : s.state) {
    if (st < 1 && !chained.count(n)) s.leaked.push_back(n);
  }
  s.countSkew = s.usedCount - positive;
  // A walk stops after used-count items: more items that it delivers than
  // the header counts means the last ones are never reached.
  if (static_cast<int32_t>(s.used.size()) > s.usedCount) {
    d.push_back(Say(name, ": used count ", s.usedCount, " but a walk delivers ", s.used.size(),
                    " items: it stops before the last ones"));
  }
  if (exact) {
    for (int32_t n : s.leaked) {
      d.push_back(Say(name, ": item ", n, " with state ", s.state[n], " is neither in use nor on the free chain"));
    }
    if (s.usedCount > static_cast<int32_t>(s.used.size())) {
      d.push_back(Say(name, ": used count ", s.usedCount, " but ", s.used.size(), " items in use"));
    }
  }
  return s;
}

// Signed byte comparison of two 32-byte keys, as the key file orders them.
int CompareKeys(const std::string& a, const std::string& b) {
  for (size_t i = 0; i < 32; ++i) {
    auto x = static_cast<int8_t>(a[i]), y = static_cast<int8_t>(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

std::string Bytes(const Image& img, int64_t at, int64_t length) {
  std::string s;
  for (int64_t i = 0; i < length; ++i) s.push_back(static_cast<char>(img.U8(at + i)));
  return s;
}

}  // namespace

DbaState CheckDba(const std::string& path, int32_t recordSize, bool exact) {
  return ReadDba(Image(path), path.substr(path.find_last_of("/\\") + 1), recordSize, exact);
}

CustomerState CheckCustomers(const std::string& dir, bool exact, bool freeEntriesZero) {
  CustomerState c;
  Image main(dir + "KUNDEN.DBA"), names(dir + "KUNDSUCH.DBA"), banks(dir + "KUNDBLZSUCH.DBA");
  c.dba = ReadDba(main, "KUNDEN.DBA", kCustomerSize, exact);
  c.defects = c.dba.defects;
  auto& d = c.defects;
  const int64_t base = 40 + 8 * int64_t{c.dba.capacity};
  const int64_t nameBase = 40 + 8 * int64_t{names.I32(20)};
  const int64_t bankBase = 40 + 8 * int64_t{banks.I32(20)};
  if (!names.exists()) d.push_back("KUNDSUCH.DBA: missing");
  if (!banks.exists()) d.push_back("KUNDBLZSUCH.DBA: missing");
  for (const auto& [n, st] : c.dba.state) {
    const int64_t rec = base + int64_t{n} * kCustomerSize;
    const int64_t ne = nameBase + int64_t{n} * 12, be = bankBase + int64_t{n} * 24;
    if (st >= 1 && main.I16(rec + kFlags) == 0 && main.U8(rec + kSurname) == 0) {
      c.taken.push_back(n);
      if (exact) d.push_back(Say("KUNDEN.DBA: customer ", n, " was handed out and never saved"));
    } else if (st >= 1) {
      const size_t before = d.size();
      if (!names.Has(ne, 12)) {
        d.push_back(Say("KUNDSUCH.DBA: no name entry for customer ", n));
      } else if (names.I32(ne) != kLiveMarker || Bytes(names, ne + 4, 7) != Bytes(main, rec + kSurname, 7) ||
                 names.U8(ne + 11) != 0) {
        d.push_back(Say("KUNDSUCH.DBA: name entry of customer ", n, " is \"", names.Text(ne + 4, 8),
                        "\" (marker ", names.I32(ne), "), the record's surname \"", main.Text(rec + kSurname, 65), "\""));
      }
      std::string code = main.Text(rec + kBankCode, 9).substr(0, 8);
      std::string account = main.Text(rec + kAccount, 11).substr(0, 10);
      if (!banks.Has(be, 24)) {
        d.push_back(Say("KUNDBLZSUCH.DBA: no bank entry for customer ", n));
      } else if (banks.I32(be) != kLiveMarker || banks.Text(be + 4, 9) != code || banks.Text(be + 13, 11) != account ||
                 banks.U8(be + 12) != 0 || banks.U8(be + 23) != 0) {
        d.push_back(Say("KUNDBLZSUCH.DBA: bank entry of customer ", n, " is ", banks.Text(be + 4, 9), "/",
                        banks.Text(be + 13, 11), ", the record's ", code, "/", account));
      }
      if (d.size() != before) c.searchMismatch.insert(n);
    } else if (freeEntriesZero && st == -1) {
      if (names.Has(ne, 4) && names.I32(ne) != 0) {
        d.push_back(Say("KUNDSUCH.DBA: free customer ", n, " still has the name entry \"", names.Text(ne + 4, 8), "\""));
      }
      if (banks.Has(be, 4) && banks.I32(be) != 0) {
        d.push_back(Say("KUNDBLZSUCH.DBA: free customer ", n, " still has a bank entry"));
      }
    }
  }
  return c;
}

ItemState CheckItems(const std::string& dir) {
  ItemState s;
  auto& d = s.defects;
  Image items(dir + "TEILE.DBA"), articles(dir + "ARTIKEL.DBA"), designations(dir + "BEZLIB.DBA"),
      customers(dir + "KUNDEN.DBA");
  for (auto [img, name] : {std::pair{&items, "TEILE.DBA"}, std::pair{&articles, "ARTIKEL.DBA"},
                           std::pair{&designations, "BEZLIB.DBA"}, std::pair{&customers, "KUNDEN.DBA"}}) {
    if (!img->exists()) d.push_back(Say(name, ": missing"));
  }
  if (!d.empty()) return s;
  if ((items.size() - 40) % kItemSize != 0) d.push_back(Say("TEILE.DBA: ragged size ", items.size()));
  s.records = static_cast<int32_t>((items.size() - 40) / kItemSize);
  const int32_t articleCount = static_cast<int32_t>((articles.size() - 40) / kArticleSize);
  const int32_t designationCount = static_cast<int32_t>((designations.size() - 40) / kDesignationSize);
  const int64_t customerBase = 40 + 8 * int64_t{customers.I32(20)};
  const int32_t customerCount = static_cast<int32_t>(
      std::max<int64_t>(0, (customers.size() - customerBase) / kCustomerSize - 1));

  auto itemAt = [](int32_t id) { return 40 + int64_t{id} * kItemSize; };
  auto inUse = [&](int32_t id) { return id >= 1 && id < s.records && (items.I16(itemAt(id) + kItemFlags) & kInUseBit); };
  for (int32_t id = 1; id < s.records; ++id) {
    if (inUse(id)) s.inUse[id] = items.I32(itemAt(id) + kItemValue);
  }

  struct Kind {
    const char* name;
    int64_t prev, next, owner;
    int32_t owners;
    const Image* file;                      // where the heads lie
    std::function<int64_t(int32_t)> head;   // position of the owner's {first, last}
    std::function<bool(int32_t)> alive;     // may the owner hold items?
  };
  const Kind kinds[] = {
      {"article", 0, 4, 8, articleCount - 1, &articles, [](int32_t a) { return 40 + int64_t{a} * kArticleSize; },
       [](int32_t) { return true; }},
      {"designation", 12, 16, 20, designationCount - 1, &designations,
       [](int32_t b) { return 40 + int64_t{b} * kDesignationSize; },
       [&](int32_t b) { return designations.I32(40 + int64_t{b} * kDesignationSize + kDesignationInUse) == 1; }},
      {"customer", 24, 28, 32, customerCount, &customers,
       [&](int32_t c) { return customerBase + int64_t{c} * kCustomerSize + kFirstItem; },
       [&](int32_t c) { return customers.I32(customerBase + int64_t{c} * kCustomerSize) >= 1; }},
  };
  static_assert(kLastItem - kFirstItem == 4);

  for (const Kind& k : kinds) {
    std::map<int32_t, int32_t> placed;  // item -> owner whose chain holds it
    std::set<int32_t>& broken = s.broken[k.name];
    for (int32_t o = 1; o <= k.owners; ++o) {
      const size_t defectsBefore = d.size();
      const int32_t headFirst = k.file->I32(k.head(o)), headLast = k.file->I32(k.head(o) + 4);
      if (headFirst == 0 && headLast == 0) continue;
      if (!k.alive(o)) d.push_back(Say("free ", k.name, " ", o, " still heads a chain (", headFirst, "..", headLast, ")"));
      int32_t prev = 0;
      for (int32_t id = headFirst; id != 0;) {
        if (id < 1 || id >= s.records) {
          d.push_back(Say(k.name, " ", o, ": chain leaves the file at item ", id));
          break;
        }
        auto [it, fresh] = placed.emplace(id, o);
        if (!fresh) {
          d.push_back(it->second == o ? Say(k.name, " ", o, ": chain loops back to item ", id)
                                      : Say("item ", id, " is in the chains of ", k.name, "s ", it->second, " and ", o));
          break;
        }
        const int64_t at = itemAt(id);
        if (!inUse(id)) d.push_back(Say(k.name, " ", o, ": free item ", id, " is in the chain"));
        if (items.I32(at + k.owner) != o) {
          d.push_back(Say(k.name, " ", o, ": item ", id, " in the chain names ", k.name, " ", items.I32(at + k.owner)));
        }
        if (items.I32(at + k.prev) != prev) {
          d.push_back(Say(k.name, " ", o, ": item ", id, " links back to ", items.I32(at + k.prev), ", its predecessor is ", prev));
        }
        prev = id;
        id = items.I32(at + k.next);
      }
      if (headLast != prev) d.push_back(Say(k.name, " ", o, ": head names ", headLast, " as last, the chain ends at ", prev));
      if (d.size() != defectsBefore) broken.insert(o);
    }
    for (const auto& [id, value] : s.inUse) {
      const int64_t at = itemAt(id);
      const int32_t owner = items.I32(at + k.owner);
      if (owner <= 0) {
        if (items.I32(at + k.prev) != 0 || items.I32(at + k.next) != 0) {
          d.push_back(Say("item ", id, " has no ", k.name, " but ", k.name, " links ", items.I32(at + k.prev), "/",
                          items.I32(at + k.next)));
          broken.insert(0);
        }
        continue;
      }
      auto it = placed.find(id);
      if (it == placed.end()) {
        d.push_back(Say("item ", id, " names ", k.name, " ", owner, " but is in no ", k.name, " chain"));
        broken.insert(owner);
      }
    }
  }
  return s;
}

KeyFileState CheckKeyFile(const std::string& path, int32_t R) {
  KeyFileState s;
  auto& d = s.defects;
  Image img(path);
  const int64_t slotSize = R + 14;
  if (!img.exists() || img.size() < 40 + slotSize) {
    d.push_back(Say("key file ", path, ": missing or shorter than one slot"));
    return s;
  }
  if ((img.size() - 40) % slotSize != 0) d.push_back(Say("key file: ragged size ", img.size()));
  s.slotCount = static_cast<int32_t>((img.size() - 40) / slotSize - 1);
  auto rec = [&](int32_t n) { return 40 + int64_t{n} * slotSize; };
  auto node = [&](int32_t n) { return rec(n) + R; };
  auto payload = [&](int32_t n) { return img.I32(rec(n) + 36); };
  auto key = [&](int32_t n) { return Bytes(img, rec(n) + 4, 32); };

  std::set<int32_t> used;
  for (int32_t n = 1; n <= s.slotCount; ++n) {
    if (payload(n) != 0) used.insert(n);
  }
  s.used = static_cast<int32_t>(used.size());
  if (payload(0) != s.used) d.push_back(Say("key file: slot 0 counts ", payload(0), " keys, ", s.used, " slots hold one"));

  // The tree, depth first: order, balance, every node once.
  std::set<int32_t> inTree;
  std::vector<int32_t> order;
  std::function<int(int32_t, int)> height = [&](int32_t n, int depth) -> int {
    if (n == 0) return 0;
    if (n < 1 || n > s.slotCount) {
      d.push_back(Say("key file: tree names slot ", n, " outside 1..", s.slotCount));
      return 0;
    }
    if (depth > 64 || !inTree.insert(n).second) {
      d.push_back(Say("key file: tree reaches slot ", n, " twice"));
      return 0;
    }
    const int hl = height(img.I32(node(n) + 4), depth + 1);
    order.push_back(n);
    const int hr = height(img.I32(node(n) + 8), depth + 1);
    const int16_t balance = img.I16(node(n) + 12);
    if (balance != hr - hl || balance < -1 || balance > 1) {
      d.push_back(Say("key file: slot ", n, " has balance ", balance, ", its subtrees differ by ", hr - hl));
    }
    return 1 + std::max(hl, hr);
  };
  height(img.I32(node(0)), 0);
  for (size_t i = 1; i < order.size(); ++i) {
    if (CompareKeys(key(order[i - 1]), key(order[i])) >= 0) {
      d.push_back(Say("key file: slots ", order[i - 1], " and ", order[i], " are out of order in the tree"));
    }
  }
  for (int32_t n : inTree) {
    if (!used.count(n)) d.push_back(Say("key file: free slot ", n, " is in the tree"));
  }
  for (int32_t n : used) {
    if (!inTree.count(n)) d.push_back(Say("key file: slot ", n, " holds a key but is not in the tree"));
    s.payloadByKey[key(n)] = payload(n);
  }

  std::set<int32_t> chained;
  for (int32_t n = img.I32(rec(0) + 40); n != 0 && n != s.slotCount + 1; n = img.I32(rec(n) + 40)) {
    if (n < 1 || n > s.slotCount) {
      d.push_back(Say("key file: free chain leaves the file at slot ", n));
      break;
    }
    if (!chained.insert(n).second) {
      d.push_back(Say("key file: free chain loops back to slot ", n));
      break;
    }
    if (payload(n) != 0) d.push_back(Say("key file: slot ", n, " holds a key and is on the free chain"));
  }
  return s;
}

Defects CheckNumbers(const std::string& path, const std::set<int32_t>& used, int32_t limit) {
  Defects d;
  Image img(path);
  if (img.size() != 800) {
    d.push_back(Say("NUMMERN.DAT: ", img.size(), " bytes instead of 800"));
    return d;
  }
  for (int32_t i = 0; i < 200; ++i) {
    int32_t v = img.I32(4 * int64_t{i});
    if (used.count(i) ? (v < 0 || v > limit) : v != 0) d.push_back(Say("NUMMERN.DAT: counter ", i, " holds ", v));
  }
  return d;
}

std::string Describe(const Defects& defects, size_t max) {
  std::string out;
  for (size_t i = 0; i < defects.size() && i < max; ++i) out += "  " + defects[i] + "\n";
  if (defects.size() > max) out += Say("  ... and ", defects.size() - max, " more\n");
  return out;
}

}  // namespace rawcheck
