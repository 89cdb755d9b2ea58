// TEILE.DBA: the file, plain record access, identifier allocation, deletion
// and the flag tests. The chains are in chains.cpp, the transactions in
// transactions.cpp.
#include "article/database.h"

#include <cstddef>
#include <cstring>

#include "core/fixed_records.h"
#include "services/process_state.h"
#include "article/artlib.h"
#include "article/teilezusatz.h"
#include "ean/eanteile.h"
#include "kvdata/artlib.h"
#include "services/texdefs.h"

namespace kv::database {

namespace {

// The family's state, one thread at a time (services/process_state.h).
struct State {
  fixed::File file;
  DatabaseProgressCallback progress = nullptr;
};
State& S() { return FamilyState<State>(); }

constexpr int32_t kSize = DATABASE_RECORD_SIZE;

void ClearRecord(void* record) { clear(*static_cast<Einzelteil*>(record)); }

void ForwardProgress(int32_t written, void*) {
  if (S().progress != nullptr) S().progress(written);
}

}  // namespace

// ---- file ------------------------------------------------------------------

int32_t init(int32_t size, const char* path) {
  if (S().file.openCount > 0) {
    FileIO_Close(S().file.handle);
    S().file.handle = kInvalidHandle;
    S().file.openCount = 0;
  }
  if (size < 2) {
    S().file.path[0] = '\0';
    return 0;
  }
  return fixed::Setup(S().file, path, DATABASE_FILE_NAME, kSize, size) ? 1 : 0;
}

void size_and_name(int32_t* size, char* path) {
  if (size != nullptr) *size = S().file.count;
  if (path != nullptr) (void)CopyPath(path, S().file.path);  // both hold kMaxPath
}

int32_t create(DatabaseProgressCallback progress) {
  S().progress = progress;
  bool ok = fixed::Create(S().file, ClearRecord, ForwardProgress, nullptr);
  S().progress = nullptr;
  return ok ? 1 : 0;
}

int32_t enlarge() { return fixed::Enlarge(S().file, ClearRecord) ? 1 : 0; }
int32_t open() { return fixed::Open(S().file); }
void close() { fixed::Close(S().file); }
int32_t version() { return fixed::FileVersion(S().file.path); }

int32_t read_header(int32_t handle, void* header) {
  return fixed::ReadAt(handle, 0, header, fixed::kHeaderSize) ? 1 : 0;
}

int32_t write_header(int32_t handle, const void* header) {
  return fixed::WriteAt(handle, 0, header, fixed::kHeaderSize) ? 1 : 0;
}

int32_t file_pos(int32_t n) {
  int64_t pos = fixed::RecordPos(kSize, n);
  return n < 0 || pos > INT32_MAX ? -1 : static_cast<int32_t>(pos);
}

// Files of older releases share the header and the 142-byte record; what
// differed in their records was never written down, so the upgrade carries
// every record whole to the same place (copy, delete, rename) and only the
// version word changes.
int32_t do_update(int32_t newVersion, int32_t oldVersion) {
  if (newVersion != DATABASE_CURRENT_VERSION || oldVersion <= 0 || oldVersion > newVersion) return 0;
  int32_t current = version();
  if (current != oldVersion) return 0;
  if (current == newVersion) return 1;
  return fixed::RewriteAsVersion(S().file.path, kSize, newVersion) ? 1 : 0;
}

// ---- records ---------------------------------------------------------------

int32_t read(int32_t id, void* record) {
  return S().file.openCount > 0 && fixed::ReadRecord(S().file, id, record) ? 1 : 0;
}

int32_t write(int32_t id, const void* record) {
  return S().file.openCount > 0 && fixed::WriteRecord(S().file, id, record) ? 1 : 0;
}

int32_t get(int32_t id, void* record) {
  if (read(id, record) != 1) return 0;
  int32_t flags = static_cast<const Einzelteil*>(record)->flags;
  return (flags & DATABASE_FLAG_RETOURE) != 0 || (flags & DATABASE_FLAG_BENUTZT) == 0 ? 0 : 1;
}

int32_t lese(int32_t id, void* record) {
  if (open() == kInvalidHandle) return 0;
  int32_t r = read(id, record);
  close();
  return r;
}

int32_t valid(int32_t id, void* record) {
  if (open() == kInvalidHandle) return 0;
  int32_t r = get(id, record);
  close();
  return r;
}

int32_t lock(int32_t id) { return S().file.openCount > 0 && fixed::LockRecord(S().file, id) ? 1 : 0; }
int32_t unlock(int32_t id) { return S().file.openCount > 0 && fixed::UnlockRecord(S().file, id) ? 1 : 0; }
int32_t try_lock(int32_t id) { return S().file.openCount > 0 && fixed::TryLockRecord(S().file, id) ? 1 : 0; }
int32_t holds_lock(int32_t id) {
  return S().file.openCount > 0 && id >= 0 && id <= S().file.count &&
                 FileIO_HoldsLock(S().file.handle, fixed::RecordPos(kSize, id), kSize) != 0
             ? 1
             : 0;
}

// Byte count of a block of records, 0 when it does not start (a read) or
// wholly lie (a write) within the records the file may have, the larger of
// N and the records in the file: a block write never makes the file grow
// past them, a read may end short at the end of the file.
static int32_t block_bytes(int32_t handle, int32_t first, int32_t count, bool write) {
  int64_t bytes = static_cast<int64_t>(count) * kSize;
  if (first < 0 || count <= 0 || bytes > INT32_MAX) return 0;
  return fixed::RecordsWithin(handle, kSize, S().file.count, first, write ? count : 1) ? static_cast<int32_t>(bytes)
                                                                                     : 0;
}

int32_t block_read(int32_t handle, int32_t first, void* buffer, int32_t count) {
  int32_t bytes = block_bytes(handle, first, count, false);
  if (bytes == 0 || buffer == nullptr || FileIO_SetPos(handle, fixed::RecordPos(kSize, first)) < 0) return 0;
  return FileIO_Read(handle, buffer, bytes) > 0 ? 1 : 0;
}

int32_t block_write(int32_t handle, int32_t first, const void* buffer, int32_t count) {
  int32_t bytes = block_bytes(handle, first, count, true);
  if (bytes == 0 || buffer == nullptr || FileIO_SetPos(handle, fixed::RecordPos(kSize, first)) < 0) return 0;
  return FileIO_Write(handle, buffer, bytes) > 0 ? 1 : 0;
}

// ---- allocation --------------------------------------------------------------
// Record 0 remembers the last identifier handed out (word 60). The search
// continues after it; at N it wraps, not to 1 but to 1001, so the low
// identifiers 1 .. 1000 are handed out only on the first pass through a new
// file, and record N itself is never handed out. A second wrap means every
// slot from 1001 on is taken.
int32_t free_id() {
  Einzelteil r;
  if (read(0, &r) != 1) return 0;
  int32_t wraps = 0;
  for (int64_t candidate = static_cast<int64_t>(r.price1First) + 1;; ++candidate) {
    if (candidate >= S().file.count || candidate < 1) {
      if (++wraps == 2) return 0;
      candidate = DATABASE_FIRST_ID_AFTER_WRAP;
      if (candidate >= S().file.count) return 0;
    }
    if (read(static_cast<int32_t>(candidate), &r) != 1) return 0;
    if ((r.flags & DATABASE_FLAG_BENUTZT) == 0 && r.price1First == 0) return static_cast<int32_t>(candidate);
  }
}

// Stamps and writes a freshly linked item; unlinks it again when the write
// fails, so that no chain points at a slot that holds nothing.
static bool write_new(int32_t id, Einzelteil& r) {
  r.creationTime = TEXDEFS_GetUhrZeit(nullptr);
  if (write(id, &r) == 1) return true;
  unlink(r);
  return false;
}

// Links and writes item id while the caller holds the lock that keeps the
// slot its own (record 0 for a number just handed out, or the item's own).
// Nobody waits for a free slot's lock, so keeping it between attempts
// holds up no other station.
static bool link_new(int32_t id, Einzelteil& r) {
  Patience patience;
  for (;;) {
    Einzelteil attempt = r;
    ChainResult result = try_link(id, attempt);
    if (result == ChainResult::kDone || result == ChainResult::kIncomplete) {
      r = attempt;
      return write_new(id, r);
    }
    if (result != ChainResult::kBusy || !patience.pause()) return false;
  }
}

int32_t new_item(const void* record) {
  if (record == nullptr) return 0;
  Einzelteil r;
  std::memcpy(&r, record, sizeof r);
  if (open() == kInvalidHandle) return 0;
  int32_t id = 0;
  if (lock(0) == 1) {
    id = free_id();
    if (id != 0 && !link_new(id, r)) id = 0;
    Einzelteil control;
    if (id != 0 && read(0, &control) == 1) {
      control.price1First = id;
      write(0, &control);
    }
    unlock(0);
  }
  close();
  return id;
}

int32_t new_item_with_id(int32_t id, const void* record) {
  if (id <= 0 || id > S().file.count || record == nullptr) return 0;
  Einzelteil r;
  std::memcpy(&r, record, sizeof r);
  if (open() == kInvalidHandle) return 0;
  int32_t result = 0;
  if (lock(id) == 1) {
    if (link_new(id, r)) result = id;
    unlock(id);
  }
  close();
  return result;
}

// The item is unlinked from all its chains and cleared under its lock, or
// left exactly as it was. While a neighbour is busy the item's own lock is
// let go as well (the neighbour's holder may be waiting for it) and the
// delete starts again from a fresh read.
int32_t delete_item(int32_t id) {
  if (id < 1 || id >= S().file.count) return 0;
  int32_t result = 0;
  RetryWhileBusy(id, [&] {
    ChainResult chains = ChainResult::kFailed;
    Einzelteil r;
    if (read(id, &r) == 1) {
      chains = try_unlink(id, r);
      if (chains == ChainResult::kDone || chains == ChainResult::kIncomplete) {
        clear(r);
        result = write(id, &r);
      }
    }
    return chains == ChainResult::kBusy;
  });
  if (result == 1) {
    // The EAN entry and the extras belong to the slot; the next item that
    // takes it must not inherit them.
    eanteile::remove(id);
    teilezusatz::remove(id);
  }
  return result;
}

int32_t item_vat(int32_t id) {
  Einzelteil r;
  return lese(id, &r) == 1 ? r.vatCode : -1;
}

int32_t article_vat(int32_t id) {
  Einzelteil r;
  ArtikelRecord a;
  if (lese(id, &r) != 1 || artlib::lese(r.article, &a) != 1) return -1;
  return a.vatCode;
}

// ---- records in memory -----------------------------------------------------------

// The creation time and the VAT code survive: a slot that is cleared and
// written back keeps them.
void clear(Einzelteil& r) {
  uint16_t creation = r.creationTime;
  uint16_t vat = r.vatCode;
  std::memset(&r, 0, sizeof r);
  r.creationTime = creation;
  r.vatCode = vat;
  r.date1 = r.inventoryDate = r.locationDate = r.exchangeDate = r.saleDate = DATABASE_CLEARED_DATE;
}

int32_t flag(const void* record, int32_t mask) {
  if (record == nullptr) return 0;
  return static_cast<uint16_t>(static_cast<const Einzelteil*>(record)->flags) & mask;
}

int32_t is_quantity(const void* record) {
  if (record == nullptr || static_cast<const Einzelteil*>(record)->quantity < 2) return 0;
  return flag(record, DATABASE_FLAG_MENGE);
}

int32_t is_ean_quantity(const void* record) {
  constexpr int32_t both = DATABASE_FLAG_EAN | DATABASE_FLAG_MENGE;
  return flag(record, both) == both ? both : 0;
}

int32_t quantity(const void* record) {
  if (record == nullptr) return 0;
  return flag(record, DATABASE_FLAG_MENGE) != 0 ? static_cast<const Einzelteil*>(record)->quantity : 1;
}

}  // namespace kv::database
