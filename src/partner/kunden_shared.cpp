// One customer while other stations work on the same KUNDEN.DBA.
//
// Every operation that changes one customer takes that customer's record
// lock (its 1299 bytes in the customer file) and decides from the record as
// it lies on disk under that lock:
//  - a delete frees only a record that is not free yet, so two stations
//    deleting one customer free it once, and the free chain never holds a
//    number twice;
//  - a save onto a record that is free on disk is refused: the customer was
//    deleted meanwhile, and writing it back would put a used record into the
//    free chain. A freshly handed-out number is told apart because
//    KundenDBA_NeuerKunde marks its record taken (reference count 1) at once;
//  - the chain heads of the single items sold to the customer (bytes 911 and
//    915) belong to the single-item chain code, which changes them with one
//    write of bytes 907..918 while it holds the lock. A save writes the heads
//    it finds on disk under the same lock, never those of its caller's
//    (possibly old) copy, so an office edit cannot drop a till's link.
// The lock waits up to the host lock time-out; refused, the operation
// changes nothing and reports 0.
#include <cstddef>
#include <cstring>

#include "partner/kunden.h"
#include "services/texdefs.h"

namespace kv::partner {

namespace {

// Bytes 0..918: item head, the fields in front and both chain heads; what a
// save needs to read back from disk.
constexpr int32_t kThroughHeads = offsetof(Kunde, lastItem) + sizeof(int32_t);
constexpr int32_t kStampOffset = offsetof(Kunde, lastWriteDate);

KV_PACK_BEGIN
// Bytes 907..918 of the record: written as one piece.
struct StampAndHeads {
  uint16_t date;
  uint16_t time;
  int32_t first;
  int32_t last;
};
KV_PACK_END
static_assert(sizeof(StampAndHeads) == 12, "bytes 907..918");
static_assert(offsetof(Kunde, firstItem) == kStampOffset + 4, "heads follow the stamp");

// The record as it lies on disk up to the chain heads; false when it does
// not exist (past the end of the file, or cut short).
bool ReadThroughHeads(int32_t number, Kunde& k) {
  return dba::GetData(&CustomerFile(), number, &k, kThroughHeads) == 1;
}

// Saves record under the customer's lock, which the caller's scope may hold
// already. The file is open.
int32_t SaveLocked(int32_t number, Kunde& k, int32_t updateSearch) {
  CustomerLock lock(number);
  if (!lock.ok()) return 0;
  Kunde disk;
  if (ReadThroughHeads(number, disk)) {
    if (disk.refCount == -1) return 0;  // freed by another station meanwhile
    k.firstItem = disk.firstItem;
    k.lastItem = disk.lastItem;
  }
  // A number past the end of the file has no record yet: it is written as
  // given and extends the file, as a write there always has.
  if (updateSearch != 0) {
    KundeSuchEintrag name = NameEntry(k);
    WriteSearchEntry(NameSearchFile(), number, &name, sizeof name);
    KundeBLZSuchEintrag bank = BankEntry(k);
    WriteSearchEntry(BankSearchFile(), number, &bank, sizeof bank);
  }
  Stamp(k);
  return dba::SetData(&CustomerFile(), number, &k, KUNDE_RECORD_SIZE);
}

}  // namespace

CustomerLock::CustomerLock(int32_t number) {
  DbaFile& f = CustomerFile();
  opened_ = dba::Open(&f) != 0;
  if (opened_ && InRange(number)) range_.emplace(f.handle, dba::ItemPosition(&f, number), f.recordSize);
}

CustomerLock::~CustomerLock() {
  range_.reset();
  // Also after a failed open: closing resets the descriptor, so that the
  // file is found again once it exists.
  dba::Close(&CustomerFile());
}

namespace {

// NewNumber on the open file.
int32_t TakeAndMark(DbaFile& f) {
  const int32_t n = dba::NewItem(&f);
  if (n == 0) return 0;
  CustomerLock lock(n);
  Kunde k;
  Clear(k);
  k.refCount = 1;
  Stamp(k);
  if (lock.ok() && dba::SetData(&f, n, &k, KUNDE_RECORD_SIZE) == 1) return n;
  // Unmarked, the number would look freed to every save: give it back.
  (void)dba::FreeItem(&f, n, nullptr);
  return 0;
}

}  // namespace

int32_t NewNumber() {
  // One open serves taking the number and marking its record.
  DbaFile& f = CustomerFile();
  const int32_t n = dba::Open(&f) ? TakeAndMark(f) : 0;
  dba::Close(&f);
  return n;
}

int32_t Write(int32_t number, void* record, int32_t updateSearch) {
  if (!InRange(number) || record == nullptr) return 0;
  DbaFile& f = CustomerFile();
  if (!dba::Open(&f)) {
    dba::Close(&f);
    return 0;
  }
  const int32_t result = SaveLocked(number, *static_cast<Kunde*>(record), updateSearch);
  dba::Close(&f);
  return result;
}

int32_t WriteOpen(int32_t number, void* record) {
  if (!InRange(number) || record == nullptr || CustomerFile().handle == kInvalidHandle) return 0;
  return SaveLocked(number, *static_cast<Kunde*>(record), 0);
}

int32_t Delete(int32_t number) {
  if (!InRange(number)) return 0;
  CustomerLock lock(number);
  if (!lock.opened()) return 1;  // no file, no customer
  if (!lock.ok()) return 0;
  DbaFile& f = CustomerFile();
  Kunde k;
  // A number past the end of the file is not a customer, and a free record
  // has been deleted already (by another station, perhaps): nothing to do.
  if (dba::GetData(&f, number, &k, KUNDE_RECORD_SIZE) != 1 || k.refCount == -1) return 1;
  Kunde cleared;
  Clear(cleared);
  if (!dba::FreeItem(&f, number, &cleared)) return 0;
  // Still under the lock: a station that takes the number now marks and
  // saves it only after us, so these zeros cannot hit its entries.
  KundeSuchEintrag name{};
  WriteSearchEntry(NameSearchFile(), number, &name, sizeof name);
  KundeBLZSuchEintrag bank{};
  WriteSearchEntry(BankSearchFile(), number, &bank, sizeof bank);
  return 1;
}

int32_t AllUsable() {
  const int32_t max = MaxNumber();
  DbaFile& f = CustomerFile();
  if (!dba::Open(&f)) {
    dba::Close(&f);
    return 0;
  }
  Progress progress("KUNDEN.DBA", max, kProgressEndReported);
  Kunde k;
  for (int32_t n = 1; n <= max; ++n) {
    CustomerLock lock(n);
    if (lock.ok() && dba::GetData(&f, n, &k, KUNDE_RECORD_SIZE) == 1 && k.refCount != -1) {
      k.flags |= KUNDE_FLAG_BENUTZBAR;
      Stamp(k);
      dba::SetData(&f, n, &k, KUNDE_RECORD_SIZE);
    }
    progress.Step();
  }
  dba::Close(&f);
  return 1;
}

int32_t SetDeclaration(int32_t number, bool on) {
  if (!InRange(number)) return 0;
  CustomerLock lock(number);
  Kunde k;
  if (!lock.ok() || dba::GetData(&CustomerFile(), number, &k, KUNDE_RECORD_SIZE) != 1) return 0;
  if (on) {
    k.flags |= KUNDE_FLAG_ERKLAERUNG;
  } else {
    k.flags &= static_cast<uint16_t>(~KUNDE_FLAG_ERKLAERUNG);
  }
  SaveLocked(number, k, 0);
  return 1;
}

int32_t ReadChainHeads(int32_t number, int32_t* first, int32_t* last) {
  if (first == nullptr || last == nullptr) return 0;
  CustomerLock lock(number);
  if (lock.busy()) return -1;
  Kunde disk;
  if (!lock.ok() || !ReadThroughHeads(number, disk) || disk.refCount == -1) return 0;
  *first = disk.firstItem;
  *last = disk.lastItem;
  return 1;
}

int32_t WriteChainHeads(int32_t number, int32_t first, int32_t last) {
  CustomerLock lock(number);
  DbaFile& f = CustomerFile();
  int32_t state = 0;
  if (!lock.ok() || dba::GetPart(&f, number, 0, &state, sizeof state) != 1 || state == -1) return 0;
  const StampAndHeads part{static_cast<uint16_t>(TEXDEFS_Heute(nullptr)),
                           static_cast<uint16_t>(TEXDEFS_GetUhrZeit(nullptr)), first, last};
  return dba::SetPart(&f, number, kStampOffset, &part, sizeof part);
}

}  // namespace kv::partner
