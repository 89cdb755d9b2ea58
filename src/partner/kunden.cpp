// Customer records: import, block transfers, walks and the reorganisation.
// The operations that change one customer while other stations work live in
// kunden_shared.cpp.
#include <cstring>
#include <vector>

#include "core/dba_file.h"
#include "core/nested_open.h"

#include "partner/kunden.h"
#include "services/platform.h"
#include "services/texdefs.h"

namespace kv::partner {

namespace {

Kunde* AsKunde(void* record) { return static_cast<Kunde*>(record); }

}  // namespace

void Clear(Kunde& k) {
  std::memset(&k, 0, sizeof k);
  k.code1 = KUNDE_CODE_DEFAULT;
  k.code2 = KUNDE_CODE_DEFAULT;
  k.code3 = 0;
  k.code4 = KUNDE_CODE_DEFAULT;
}

void Stamp(Kunde& k) {
  k.lastWriteDate = TEXDEFS_Heute(nullptr);
  k.lastWriteTime = TEXDEFS_GetUhrZeit(nullptr);
}

int32_t WriteImport(int32_t number, void* record) {
  if (!InRange(number) || record == nullptr) return 0;
  Kunde* k = AsKunde(record);
  k->refCount = 1;
  k->flags |= KUNDE_FLAG_BENUTZBAR;
  k->code1 = KUNDE_CODE_DEFAULT;
  k->code2 = KUNDE_CODE_DEFAULT;
  k->code4 = KUNDE_CODE_DEFAULT;
  Stamp(*k);
  DbaFile& f = CustomerFile();
  if (DbaOpen open(&f); open) dba::SetData(&f, number, k, KUNDE_RECORD_SIZE);
  return 1;
}

// Bounds of the block transfers: the sum first + count may not pass the
// highest customer number, so the last customer can only be moved singly.
static bool BlockInRange(int32_t first, int32_t count) {
  return first >= 1 && count >= 1 && int64_t{first} + count <= KUNDEN_MAX;
}

int32_t ReadBlock(int32_t first, void* records, int32_t count) {
  if (!BlockInRange(first, count) || records == nullptr) return 0;
  return dba::GetData(&CustomerFile(), first, records, count * KUNDE_RECORD_SIZE);
}

// Block writes are administrative: they move whole records, chain heads and
// item heads included, without the customers' locks.
int32_t WriteBlock(int32_t first, void* records, int32_t count) {
  if (!BlockInRange(first, count) || records == nullptr) return 0;
  Kunde* k = AsKunde(records);
  for (int32_t i = 0; i < count; ++i) Stamp(k[i]);
  return dba::SetData(&CustomerFile(), first, records, count * KUNDE_RECORD_SIZE);
}

int32_t MaxNumber() {
  // Read from the header rather than through DBA_InspectExistingDBA, which
  // would reset the walk state of the descriptor: the address functions may
  // run inside a walk's callback.
  DbaFile& f = CustomerFile();
  DbaHeader h{};
  DbaOpen open(&f);
  int32_t ok = 0;
  if (open) {
    // A lock refused because this descriptor already holds the header (a
    // caller inside its own header lock) belongs to that caller: keep it.
    const int32_t locked = dba::LockHeader(&f);
    ok = dba::GetHeader(&f, &h);
    if (locked) dba::UnlockHeader(&f);
  }
  return ok ? h.slotCount : 0;
}

// The engine's walkers report their progress themselves.
int32_t ForEach(DbaFile& file, DbaItemCallback callback, bool readWrite) {
  if (callback == nullptr) return 0;
  DbaFile* result = readWrite ? dba::ForEachItemRW(&file, callback) : dba::ForEachItem(&file, callback);
  return result != nullptr ? 1 : 0;
}

namespace {

// The reorganisation's own pass over the records, before the engine's; false
// when the file does not open.
[[nodiscard]] bool TidyRecords(DbaFile& f) {
  DbaOpen open(&f);
  if (!open) return false;
  DbaHeader h{};
  if (dba::GetHeader(&f, &h)) {
    int32_t slots = h.slotCount;
    h.version = KUNDE_VERSION;
    h.lastChange = UnixTimeNow32();
    std::memset(reinterpret_cast<uint8_t*>(&h) + 20, 0, 20);
    dba::SetHeader(&f, &h);
    Progress progress("KUNDEN.DBA", slots, kProgressEndReported);
    // A customer already counted in use keeps the bytes it has: its write
    // is left out.
    auto tidy = [&](Kunde& k, int32_t n) {
      if (k.surname[0] != 0) {
        if (k.refCount != 1) {
          k.refCount = 1;
          dba::SetData(&f, n, &k, KUNDE_RECORD_SIZE);
        }
      } else if (k.flags == 0) {
        Clear(k);
        k.refCount = -1;
        dba::SetData(&f, n, &k, KUNDE_RECORD_SIZE);
      }
      progress.Step();
    };
    // A block of records per read; each write touches only its own record.
    // Where a block comes back short, the records are read one by one
    // again, so that the run ends at the first record that cannot be read.
    std::vector<Kunde> block(static_cast<size_t>(dba::ItemsPerBlock(&f)));
    const auto perBlock = static_cast<int32_t>(block.size());
    int32_t n = 1;
    for (int32_t got = perBlock; got == perBlock; ) {
      got = dba::ReadItems(&f, n, block.data(), perBlock);
      for (int32_t i = 0; i < got; ++i) tidy(block[static_cast<size_t>(i)], n + i);
      n += got;
    }
    Kunde k;
    for (; dba::GetData(&f, n, &k, KUNDE_RECORD_SIZE); ++n) tidy(k, n);
  }
  return true;
}

}  // namespace

// The reorganisation decides from each record whether it is a customer: a
// record with a surname is one (whatever its flags say, so that customers
// written without the usable flag survive with their data); a record with
// neither flags nor surname is cleared and freed. DBA_Reo then rebuilds the
// free chain and the counts from the reference counts set here.
int32_t Reorganise() {
  DbaFile& f = CustomerFile();
  if (!TidyRecords(f)) return 0;
  return dba::Reorganise(&f) != nullptr ? 1 : 0;
}

int32_t DeclarationIssued(int32_t number) {
  Kunde k;
  if (!InRange(number) || !dba::ReadData(&CustomerFile(), number, &k)) return 0;
  return (k.flags & KUNDE_FLAG_ERKLAERUNG) != 0 ? 1 : 0;
}

int32_t CreateHeader(int32_t count, int32_t version) {
  if (count < 0 || count > KUNDEN_MAX) return 0;
  DbaHeader h{};
  h.version = version;
  h.lastChange = UnixTimeNow32();
  h.freeHead = count + 1;
  h.usedCount = count;
  h.slotCount = count;
  DbaFile& f = CustomerFile();
  DbaOpen open(&f);
  return open ? dba::SetHeader(&f, &h) : 0;
}

int32_t SearchReadBlock(DbaFile& file, int32_t first, void* entries, int32_t count) {
  if (!InRange(first) || entries == nullptr || count < 1) return 0;
  if (count > KUNDEN_MAX) return 0;  // keeps count * entry size in range
  DbaOpen open(&file);
  return open ? dba::GetData(&file, first, entries, count * file.recordSize) : 0;
}

}  // namespace kv::partner
