// The file-by-file part of the directory check: DBA record files, key files,
// fixed-record files, the number-range file, the lock database, orders and
// invoices. The links between files (customers and their search files, the
// three item chains) are in chain_check.cpp.
#include "dir_check.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "admin_util.h"
#include "check_internal.h"
#include "kvdata/artlib.h"
#include "kvdata/auftragdba.h"
#include "kvdata/bbaumlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/dba.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/rechnungdba.h"
#include "kvdata/teilezusatz.h"
#include "services/fileio.h"

namespace kvtool {

namespace fs = std::filesystem;

std::string Format(const char* fmt, ...) {
  char line[512];
  va_list args;
  va_start(args, fmt);
  std::vsnprintf(line, sizeof line, fmt, args);
  va_end(args);
  return line;
}

void CheckContext::Add(bool defect, const std::string& file, int64_t record, std::string what,
                       RepairKind repair) {
  Finding f;
  f.defect = defect;
  f.file = file;
  f.record = record;
  f.what = std::move(what);
  f.repair = defect ? repair : RepairKind::kNone;
  out->findings.push_back(std::move(f));
}

void CheckContext::Tick(const std::string& file, int64_t done, int64_t total) const {
  if (progress != nullptr && *progress && (done % 4096 == 0 || done == total)) (*progress)(file, done, total);
}

bool CheckContext::Load(const std::string& name, std::vector<uint8_t>* bytes) {
  int err = 0;
  if (ReadWholeFile(dir + name, bytes, &err)) return true;
  Add(true, name, -1, "cannot be read: " + SystemErrorText(err), RepairKind::kNone);
  return false;
}

FileReport& CheckContext::Report(const std::string& name, const char* kind, int64_t size) {
  FileReport r;
  r.name = name;
  r.kind = kind;
  r.size = size;
  r.lastWrite = std::max<int64_t>(0, kv::FileIO_GetLastWriteTime((dir + name).c_str()));
  out->files.push_back(r);
  return out->files.back();
}

// Version word against the release's: older is an upgrade to come (the
// families upgrade when they are initialised), newer is unknown ground.
void CheckContext::Version(FileReport& r, int32_t version, int32_t current) {
  r.version = version;
  r.current = current;
  if (version < current) {
    r.upgradeDue = true;
    Add(false, r.name, -1, Format("version %d: an upgrade to %d is due (repair leaves this file alone)", version, current),
        RepairKind::kNone);
  } else if (version > current) {
    Add(true, r.name, -1, Format("version %d is newer than this release's %d", version, current), RepairKind::kNone);
  }
}

namespace {

// ---- DBA record files ----------------------------------------------------

void CheckIdTables(CheckContext& c, const DbaImage& img) {
  const std::string& name = img.name;
  const int32_t cap = img.capacity;
  auto tableA = [&](int32_t n) { return Word32(img.bytes, 40 + 4 * static_cast<int64_t>(n - 1)); };
  auto tableB = [&](int32_t e) { return Word32(img.bytes, 40 + 4 * static_cast<int64_t>(cap) + 4 * int64_t{e - 1}); };
  int32_t reported = 0;
  for (int32_t n = 1; n <= cap && reported < 20; ++n) {
    const int32_t e = tableA(n);
    if (e == 0) continue;
    if (e < 1 || e > cap) {
      c.Add(true, name, n, Format("identifier table A gives item %d the identifier %d, outside 1..%d", n, e, cap),
            RepairKind::kNone);
      ++reported;
    } else if (tableB(e) != n) {
      c.Add(true, name, n,
            Format("identifier table A gives item %d the identifier %d, but table B maps %d to item %d", n, e, e,
                   tableB(e)),
            RepairKind::kNone);
      ++reported;
    }
  }
  for (int32_t e = 1; e <= cap && reported < 20; ++e) {
    const int32_t n = tableB(e);
    if (n == 0) continue;
    if (n < 1 || n > cap || tableA(n) != e) {
      c.Add(true, name, n, Format("identifier table B maps %d to item %d, which does not name it back", e, n),
            RepairKind::kNone);
      ++reported;
    }
  }
}

// Free chain and used count against the item heads.
void CheckDbaItems(CheckContext& c, const DbaImage& img, RepairKind reorganise) {
  const std::string& name = img.name;
  const int32_t slots = img.slotsInFile;
  std::vector<uint8_t> onChain(static_cast<size_t>(slots) + 1, 0);
  int32_t above = 0;
  int32_t prev = 0;
  for (int32_t n = img.header.freeHead, steps = 0; n != 0; ++steps) {
    if (n < 1 || n > slots) {
      c.Add(true, name, prev,
            Format("the free chain leads %s to item %d, outside the %d items of the file",
                   prev == 0 ? "from the header" : Format("from item %d", prev).c_str(), n, slots),
            reorganise);
      break;
    }
    if (onChain[n]) {
      c.Add(true, name, n, Format("the free chain runs into item %d a second time (a cycle)", n), reorganise);
      break;
    }
    onChain[n] = 1;
    const int32_t state = img.State(n);
    if (state != -1) {
      c.Add(true, name, n, Format("the free chain passes through item %d, which is in use (count %d)", n, state),
            reorganise);
      break;
    }
    if (n > img.header.slotCount) ++above;
    prev = n;
    n = img.NextFree(n);
    c.Tick(name, steps, slots);
  }
  if (above > 0) {
    c.Add(false, name, -1,
          Format("%d free items above the slot count %d stay on the free chain (as after a reorganisation)", above,
                 img.header.slotCount),
          RepairKind::kNone);
  }
  int32_t used = 0, lost = 0, zero = 0, usedAbove = 0;
  for (int32_t n = 1; n <= slots; ++n) {
    const int32_t state = img.State(n);
    if (state == -1) {
      if (!onChain[n] && lost++ < 10) {
        c.Add(true, name, n,
              Format("item %d is marked free but is not on the free chain (taken and never written, or lost)", n),
              reorganise);
      }
      continue;
    }
    ++used;
    if (state < 1 && zero++ < 10) {
      c.Add(false, name, n,
            Format("item %d has count %d: walks deliver it, a reorganisation frees it", n, state), RepairKind::kNone);
    }
    if (n > img.header.slotCount && usedAbove++ < 10) {
      c.Add(true, name, n, Format("item %d is in use above the slot count %d", n, img.header.slotCount),
            reorganise);
    }
    if (n % 4096 == 0) c.Tick(name, n, slots);
  }
  if (lost > 10) c.Add(true, name, -1, Format("%d free items in all are not on the free chain", lost), reorganise);
  if (used != img.header.usedCount) {
    c.Add(true, name, -1, Format("the header counts %d items in use, the items say %d", img.header.usedCount, used),
          reorganise);
  }
}

}  // namespace

int32_t DbaImage::State(int32_t n) const { return Word32(bytes, ItemPos(n)); }
int32_t DbaImage::NextFree(int32_t n) const { return Word32(bytes, ItemPos(n) + 4); }
int64_t DbaImage::ItemPos(int32_t n) const {
  return 40 + 8 * static_cast<int64_t>(capacity) + static_cast<int64_t>(n) * recordSize;
}
bool DbaImage::Used(int32_t n) const { return n >= 1 && n <= slotsInFile && State(n) != -1; }

// Reads and checks the frame of a DBA file: header, tables, size. False
// when the rest of the file cannot be made sense of.
bool LoadDba(CheckContext& c, const std::string& name, int32_t recordSize, int32_t current, DbaImage* img) {
  img->name = name;
  img->recordSize = recordSize;
  if (!c.Load(name, &img->bytes)) return false;
  const int64_t size = static_cast<int64_t>(img->bytes.size());
  FileReport& r = c.Report(name, "DBA file", size);
  if (size < DBA_HEADER_SIZE) {
    c.Add(true, name, -1, Format("%lld bytes, shorter than the 40-byte header", static_cast<long long>(size)),
          RepairKind::kNone);
    return false;
  }
  std::memcpy(&img->header, img->bytes.data(), sizeof img->header);
  const DbaHeader& h = img->header;
  c.Version(r, h.version, current);
  r.lastWrite = h.lastChange;
  r.used = h.usedCount;
  r.capacity = DBA_MAX_SLOTS;
  if (h.idCapacity < 0 || h.idCapacity > (1 << 24)) {
    c.Add(true, name, -1, Format("identifier capacity %d in the header is impossible", h.idCapacity),
          RepairKind::kNone);
    return false;
  }
  img->capacity = h.idCapacity;
  const int64_t tables = 40 + 8 * static_cast<int64_t>(h.idCapacity);
  if (size < tables) {
    c.Add(true, name, -1,
          Format("%lld bytes, shorter than header and identifier tables (%lld)", static_cast<long long>(size),
                 static_cast<long long>(tables)),
          RepairKind::kNone);
    return false;
  }
  const int64_t body = size - tables;
  if (recordSize <= 0) return false;
  // Item 0 is a gap that exists once item 1 has been appended.
  img->slotsInFile = body >= recordSize ? static_cast<int32_t>(std::min<int64_t>(body / recordSize - 1, DBA_MAX_SLOTS)) : 0;
  // An append cut by a crash (a write of one item is not atomic across
  // pages) leaves part of an item past the last whole one. No header or
  // chain names it, and the next append writes its item over it.
  if (body % recordSize != 0) {
    c.Add(false, name, img->slotsInFile + 1,
          Format("the file ends in %lld bytes of a cut append (record size %d); the next new item writes over them",
                 static_cast<long long>(body % recordSize), recordSize),
          RepairKind::kNone);
  }
  if (h.slotCount < 0 || h.slotCount > DBA_MAX_SLOTS) {
    c.Add(true, name, -1, Format("slot count %d in the header is outside 0..%d", h.slotCount, DBA_MAX_SLOTS),
          RepairKind::kDbaReorganise);
  }
  return true;
}

void CheckDbaFile(CheckContext& c, const std::string& name, int32_t recordSize, int32_t current,
                  RepairKind reorganise, DbaImage* keep) {
  DbaImage local;
  DbaImage& img = keep != nullptr ? *keep : local;
  if (!LoadDba(c, name, recordSize, current, &img)) return;
  if (img.header.slotCount > img.slotsInFile) {
    c.Add(true, name, -1,
          Format("the header counts %d slots, the file holds %d", img.header.slotCount, img.slotsInFile), reorganise);
  }
  CheckDbaItems(c, img, reorganise);
  CheckIdTables(c, img);
}

namespace {

// ---- key files -------------------------------------------------------------

int32_t CompareSigned(const uint8_t* a, const uint8_t* b) {
  for (int i = 0; i < BBAUMLIB_KEY_SIZE; ++i) {
    const auto x = static_cast<int8_t>(a[i]), y = static_cast<int8_t>(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

class KeyFileChecker {
 public:
  KeyFileChecker(CheckContext& c, std::string name, std::vector<uint8_t> bytes, int32_t slots)
      : c_(c), name_(std::move(name)), b_(std::move(bytes)), slots_(slots),
        inTree_(static_cast<size_t>(slots) + 1, 0) {}

  int32_t Run() {
    const int32_t root = Word32(b_, Node(0));
    Subtree(root, 0, 1);
    int32_t payloads = 0;
    for (int32_t n = 1; n <= slots_; ++n) {
      c_.Tick(name_, n, slots_);
      if (Payload(n) == 0) continue;
      ++payloads;
      if (!inTree_[n]) Defect(n, Format("slot %d holds payload %d but is not in the tree", n, Payload(n)));
    }
    const int32_t used = Word32(b_, Rec(0) + 36);
    if (payloads != used) Defect(-1, Format("slot 0 counts %d keys in use, %d slots hold a payload", used, payloads));
    FreeChain(Word32(b_, Rec(0) + 40));
    if (stale_ > 0) {
      c_.Add(false, name_, -1,
             Format("%d parent links are stale (left so by the tree's double rotation; nothing reads them)", stale_),
             RepairKind::kNone);
    }
    return payloads;
  }

 private:
  int64_t Rec(int32_t n) const { return 40 + static_cast<int64_t>(n) * (BBAUMLIB_MIN_RECORD_SIZE + BBAUMLIB_NODE_SIZE); }
  int64_t Node(int32_t n) const { return Rec(n) + BBAUMLIB_MIN_RECORD_SIZE; }
  int32_t Payload(int32_t n) const { return Word32(b_, Rec(n) + 36); }
  const uint8_t* Key(int32_t n) const { return b_.data() + Rec(n) + 4; }

  void Defect(int64_t slot, std::string what) {
    if (defects_++ < 20) c_.Add(true, name_, slot, std::move(what), RepairKind::kKeyFileReorganise);
  }

  // Height of the subtree at n; checks order, balance and parent links.
  int32_t Subtree(int32_t n, int32_t parent, int32_t depth) {
    if (n == 0) return 0;
    if (n < 0 || n > slots_) {
      Defect(parent, Format("the tree links slot %d to slot %d, outside 1..%d", parent, n, slots_));
      return 0;
    }
    if (inTree_[n] || depth > 64) {
      Defect(n, Format("the tree reaches slot %d a second time (a cycle)", n));
      return 0;
    }
    inTree_[n] = 1;
    if (Word32(b_, Node(n)) != parent) ++stale_;
    const int32_t left = Word32(b_, Node(n) + 4), right = Word32(b_, Node(n) + 8);
    const int32_t balance = Word16(b_, Node(n) + 12);
    const int32_t hl = Subtree(left, n, depth + 1);
    if (Payload(n) == 0) Defect(n, Format("slot %d is in the tree with payload 0", n));
    if (last_ != 0 && CompareSigned(Key(last_), Key(n)) >= 0) {
      Defect(n, Format("slot %d is out of key order after slot %d", n, last_));
    }
    last_ = n;
    const int32_t hr = Subtree(right, n, depth + 1);
    if (balance != hr - hl || balance < -1 || balance > 1) {
      Defect(n, Format("slot %d has balance %d, its subtrees differ by %d", n, balance, hr - hl));
    }
    return 1 + std::max(hl, hr);
  }

  // Ends in 0 (or past the last slot, as a fresh file's does): complete. A
  // chain that ends while free slots remain unreached is normal, because a
  // removal clears the next link of the slot it frees.
  void FreeChain(int32_t n) {
    std::vector<uint8_t> seen(static_cast<size_t>(slots_) + 1, 0);
    int32_t onChain = 0;
    while (n >= 1 && n <= slots_) {
      if (seen[n]) {
        Defect(n, Format("the free chain runs into slot %d a second time (a cycle)", n));
        return;
      }
      seen[n] = 1;
      ++onChain;
      if (Payload(n) != 0) Defect(n, Format("the free chain holds slot %d, which has payload %d", n, Payload(n)));
      if (inTree_[n]) Defect(n, Format("the free chain holds slot %d, which is in the tree", n));
      n = Word32(b_, Rec(n) + 40);
    }
    if (n < 0) Defect(-1, Format("the free chain ends in %d", n));
    int32_t unreached = 0;
    for (int32_t s = 1; s <= slots_; ++s) unreached += Payload(s) == 0 && !seen[s];
    if (unreached > 0) {
      c_.Add(false, name_, -1,
             Format("the free chain reaches %d free slots and ends early; %d more are free (normal after removals)",
                    onChain, unreached),
             RepairKind::kNone);
    }
  }

  CheckContext& c_;
  std::string name_;
  std::vector<uint8_t> b_;
  int32_t slots_;
  std::vector<uint8_t> inTree_;
  int32_t last_ = 0;
  int32_t stale_ = 0;
  int32_t defects_ = 0;
};

void CheckKeyFile(CheckContext& c, const std::string& name) {
  std::vector<uint8_t> b;
  if (!c.Load(name, &b)) return;
  const int64_t size = static_cast<int64_t>(b.size());
  FileReport& r = c.Report(name, "key file", size);
  constexpr int32_t kSlot = BBAUMLIB_MIN_RECORD_SIZE + BBAUMLIB_NODE_SIZE;
  if (size < 40 + kSlot) {
    c.Add(true, name, -1, Format("%lld bytes, too short for a key file", static_cast<long long>(size)),
          RepairKind::kNone);
    return;
  }
  c.Version(r, Word32(b, 0), BBAUMLIB_CURRENT_VERSION);
  r.lastWrite = static_cast<uint32_t>(Word32(b, 4));
  if ((size - 40) % kSlot != 0) {
    c.Add(true, name, -1, Format("the file ends in %lld bytes of a partial slot", static_cast<long long>((size - 40) % kSlot)),
          RepairKind::kNone);
  }
  const int32_t slots = static_cast<int32_t>((size - 40) / kSlot - 1);
  r.capacity = slots;
  r.used = KeyFileChecker(c, name, std::move(b), slots).Run();
}

// ---- fixed-record files ----------------------------------------------------

// Header and whole records; returns the highest record number (-1 when the
// file cannot be used).
int32_t CheckFixedFile(CheckContext& c, const std::string& name, int32_t recordSize, std::vector<uint8_t>* keep) {
  std::vector<uint8_t> local;
  std::vector<uint8_t>& b = keep != nullptr ? *keep : local;
  if (!c.Load(name, &b)) return -1;
  const int64_t size = static_cast<int64_t>(b.size());
  FileReport& r = c.Report(name, "fixed records", size);
  if (size < 40 + recordSize) {
    c.Add(true, name, -1, Format("%lld bytes, shorter than header and record 0", static_cast<long long>(size)),
          RepairKind::kNone);
    return -1;
  }
  c.Version(r, Word32(b, 0), 600);
  r.lastWrite = static_cast<uint32_t>(Word32(b, 4));
  if ((size - 40) % recordSize != 0) {
    c.Add(true, name, -1,
          Format("the file ends in %lld bytes of a partial record (record size %d)",
                 static_cast<long long>((size - 40) % recordSize), recordSize),
          RepairKind::kNone);
  }
  const int32_t count = static_cast<int32_t>((size - 40) / recordSize - 1);
  r.capacity = count;
  return count;
}

// ---- small files and documents ----------------------------------------------

void CheckNumberFile(CheckContext& c, const std::string& name) {
  std::vector<uint8_t> b;
  if (!c.Load(name, &b)) return;
  FileReport& r = c.Report(name, "number ranges", static_cast<int64_t>(b.size()));
  r.capacity = 200;
  int32_t used = 0;
  for (int i = 0; i < 200; ++i) used += Word32(b, 4 * i) != 0;
  r.used = used;
  if (b.size() < 800) {
    c.Add(true, name, -1,
          Format("%zu bytes instead of 800: the counters past byte %zu read as 0 until one is written", b.size(),
                 b.size()),
          RepairKind::kNone);
  } else if (b.size() > 800) {
    c.Add(false, name, -1, Format("%zu bytes; only the first 800 hold counters", b.size()), RepairKind::kNone);
  }
}

void CheckLockDb(CheckContext& c, const std::string& name) {
  std::vector<uint8_t> b;
  if (!c.Load(name, &b)) return;
  c.Report(name, "lock database", static_cast<int64_t>(b.size()));
  static const char kContent[14] = "0000000000000";
  if (b.size() != 14 || std::memcmp(b.data(), kContent, 14) != 0) {
    c.Add(false, name, -1, "content differs from the 14 bytes a new one gets (only its byte locks matter)",
          RepairKind::kNone);
  }
}

void CheckOrder(CheckContext& c, const std::string& name) {
  std::error_code ec;
  const int64_t size = static_cast<int64_t>(fs::file_size(c.dir + name, ec));
  if (ec) {
    c.Add(true, name, -1, "cannot be read: " + ec.message(), RepairKind::kNone);
    return;
  }
  FileReport& r = c.Report(name, "order", size);
  if (size >= AUFTRAGDBA_BLOCK && size % AUFTRAGDBA_BLOCK == 0 && (size / AUFTRAGDBA_BLOCK) % 2 == 1) {
    std::vector<uint8_t> head(1000);
    std::FILE* fp = std::fopen((c.dir + name).c_str(), "rb");
    if (fp != nullptr) {
      head.resize(std::fread(head.data(), 1, head.size(), fp));
      std::fclose(fp);
    }
    r.used = (size / AUFTRAGDBA_BLOCK - 1) / 2;
    r.lastWrite = static_cast<uint32_t>(Word32(head, 2));
    const int32_t version = Word32(head, 994);
    r.version = version;
    r.current = AUFTRAGDBA_VERSION;
    if (version != AUFTRAGDBA_VERSION) {
      c.Add(false, name, -1, Format("header version word %d (a header written without stamping)", version),
            RepairKind::kNone);
    }
  } else if (size >= AUFTRAGDBA_BLOCK550 && size % AUFTRAGDBA_BLOCK550 == 0 && (size / AUFTRAGDBA_BLOCK550) % 2 == 1) {
    r.version = 550;
    r.current = AUFTRAGDBA_VERSION;
    r.upgradeDue = true;
    r.used = (size / AUFTRAGDBA_BLOCK550 - 1) / 2;
    c.Add(false, name, -1, "an order of format 550: an upgrade to 560 is due", RepairKind::kNone);
  } else {
    c.Add(true, name, -1,
          Format("%lld bytes: not a header plus whole positions with their reference copies",
                 static_cast<long long>(size)),
          RepairKind::kNone);
  }
}

void CheckInvoice(CheckContext& c, const std::string& name) {
  std::vector<uint8_t> b;
  if (!c.Load(name, &b)) return;
  const int64_t size = static_cast<int64_t>(b.size());
  FileReport& r = c.Report(name, "invoice", size);
  if (size < RECHNUNGDBA_RECORD || (size - RECHNUNGDBA_RECORD) % RECHNUNGDBA_DETAIL != 0) {
    c.Add(true, name, -1,
          Format("%lld bytes: not an invoice record plus whole detail records", static_cast<long long>(size)),
          RepairKind::kNone);
    return;
  }
  r.used = (size - RECHNUNGDBA_RECORD) / RECHNUNGDBA_DETAIL;
  c.Version(r, Word32(b, 548), RECHNUNGDBA_VERSION);
}

// Records 1..count for which `used` holds; -1 when the file was unusable.
int64_t CountRecords(const std::vector<uint8_t>& b, int32_t count, int32_t size, bool (*used)(const uint8_t*)) {
  if (count < 0) return -1;
  int64_t n = 0;
  for (int32_t i = 1; i <= count; ++i) n += used(b.data() + 40 + static_cast<int64_t>(i) * size);
  return n;
}

std::string Upper(std::string s) {
  for (char& ch : s) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
  return s;
}

// Files of `sub` (relative, "" or ending in a separator) whose upper-case
// name passes `match`, in name order.
std::vector<std::string> FilesIn(const std::string& dir, const std::string& sub,
                                 bool (*match)(const std::string& upper)) {
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(dir + sub, ec), end; !ec && it != end; it.increment(ec)) {
    if (!it->is_regular_file(ec)) continue;
    const std::string n = it->path().filename().string();
    if (match(Upper(n))) names.push_back(sub + n);
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool StartsEnds(const std::string& s, const char* start, const char* end) {
  const size_t a = std::strlen(start), b = std::strlen(end);
  return s.size() >= a + b && s.compare(0, a, start) == 0 && s.compare(s.size() - b, b, end) == 0;
}

}  // namespace

int32_t DirectoryCheck::Defects() const {
  return static_cast<int32_t>(std::count_if(findings.begin(), findings.end(), [](const Finding& f) { return f.defect; }));
}
int32_t DirectoryCheck::Notes() const { return static_cast<int32_t>(findings.size()) - Defects(); }

const char* RepairText(RepairKind kind) {
  switch (kind) {
    case RepairKind::kNone: return "none: not repaired automatically";
    case RepairKind::kDbaReorganise: return "reorganise the file (free chain and counts from the item heads)";
    case RepairKind::kCustomerReorganise: return "reorganise the customer file";
    case RepairKind::kRebuildSearchFiles: return "rebuild both search files from KUNDEN.DBA";
    case RepairKind::kKeyFileReorganise: return "reorganise the key file (free chain and tree from the slots)";
    case RepairKind::kRelinkChain: return "relink the chain in the order its links show";
  }
  return "";
}

const char* ChainName(ChainKind kind) {
  switch (kind) {
    case ChainKind::kArticle: return "article";
    case ChainKind::kDesignation: return "designation";
    case ChainKind::kCustomer: return "customer";
  }
  return "";
}

DirectoryCheck CheckDirectory(const std::string& dir, const CheckProgress& progress) {
  DirectoryCheck result;
  CheckContext c;
  c.dir = dir;
  c.out = &result;
  c.progress = &progress;
  LinkedFiles linked;

  const std::string sep(1, dir.back());
  for (const std::string& name : FilesIn(dir, "", [](const std::string& u) { return u.size() > 4; })) {
    const std::string u = Upper(name);
    if (u == "KUNDEN.DBA") {
      linked.customers.emplace();
      CheckDbaFile(c, name, KUNDE_RECORD_SIZE, KUNDE_VERSION, RepairKind::kCustomerReorganise, &*linked.customers);
    } else if (u == "KUNDSUCH.DBA" || u == "KUNDBLZSUCH.DBA") {
      // Entries are written at the customer's number, past the slot count:
      // only the frame is the engine's; the entries are checked against
      // the customer file.
      auto& slot = u == "KUNDSUCH.DBA" ? linked.nameSearch : linked.bankSearch;
      slot.emplace();
      if (!LoadDba(c, name, u == "KUNDSUCH.DBA" ? 12 : 24, DBA_CURRENT_VERSION, &*slot)) {
        slot.reset();
      } else {
        int64_t live = 0;
        for (int32_t n = 1; n <= slot->slotsInFile; ++n) live += static_cast<uint32_t>(slot->State(n)) == KUNDE_SUCH_MARKER;
        c.out->files.back().used = live;
      }
    } else if (u == "ARTIKEL.DBA") {
      linked.articleCount = CheckFixedFile(c, name, ARTLIB_RECORD_SIZE, &linked.articles);
    } else if (u == "TEILE.DBA") {
      linked.itemCount = CheckFixedFile(c, name, DATABASE_RECORD_SIZE, &linked.items);
      c.out->files.back().used = CountRecords(linked.items, linked.itemCount, DATABASE_RECORD_SIZE, [](const uint8_t* r) {
        return (r[140] & DATABASE_FLAG_BENUTZT) != 0;
      });
      linked.itemsName = name;
    } else if (u == "BEZLIB.DBA") {
      linked.designationCount = CheckFixedFile(c, name, BEZLIB_RECORD_SIZE, &linked.designations);
      c.out->files.back().used = CountRecords(linked.designations, linked.designationCount, BEZLIB_RECORD_SIZE,
                                              [](const uint8_t* r) { return r[8] != 0 || r[9] != 0 || r[10] != 0 || r[11] != 0; });
    } else if (u == "TEILEZUS.DBA") {
      CheckFixedFile(c, name, TEILEZUSATZ_RECORD_SIZE, nullptr);
    } else if (u == "EANTEILE.DBA") {
      CheckFixedFile(c, name, EANTEILE_RECORD_SIZE, nullptr);
    } else if (u == "MMLOCK.DBA") {
      CheckLockDb(c, name);
    } else if (u == "NUMMERN.DAT") {
      CheckNumberFile(c, name);
    } else if (StartsEnds(u, "MAP", ".DBA")) {
      CheckKeyFile(c, name);
    } else if (StartsEnds(u, "AFT", ".DAT")) {
      CheckOrder(c, name);
    } else if (StartsEnds(u, "RECH", ".REC")) {
      CheckInvoice(c, name);
    } else if (StartsEnds(u, "", ".DBA")) {
      CheckOtherDba(c, name);
    }
  }
  for (const std::string& sub : {std::string("AUFTRAG"), std::string("auftrag")}) {
    for (const std::string& name :
         FilesIn(dir, sub + sep, [](const std::string& u) { return StartsEnds(u, "AFT", ".DAT"); })) {
      CheckOrder(c, name);
    }
  }
  for (const std::string& sub : {std::string("RECHNUNG"), std::string("rechnung")}) {
    for (const std::string& name :
         FilesIn(dir, sub + sep, [](const std::string& u) { return StartsEnds(u, "RECH", ".REC"); })) {
      CheckInvoice(c, name);
    }
  }
  CheckLinks(c, linked);
  return result;
}

}  // namespace kvtool
