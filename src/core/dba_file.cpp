// The DBA record-file engine: nested open/close, creation, header, item data,
// locks, allocation and freeing of items, reference counts.
//
// Why the allocation differs in two details from the plain recipe
// "read free head, take it, write header":
//  1. Appending a slot rewrites the header too. It runs on a private handle
//     (the descriptor is closed one level around it), and it takes the header
//     lock on that handle while it reads and rewrites the header, so that an
//     append can never overwrite a concurrent DBA_NewITEM / DBA_DeleteITEM of
//     another workstation. After the append, DBA_NewITEM takes whatever the
//     free head is *now*, under the lock again: another workstation may have
//     taken the appended slot in the meantime, and two owners of one item
//     would be lost data.
//  2. Freeing writes the item head {-1, old free head} before the header that
//     points to it. A crash between the two leaves a free item outside the
//     chain (DBA_Reo finds it again) instead of a chain through a used item.
//  3. A slot is appended past the last slot in the file, its record and head
//     in one write, and the header follows; taking a free item above the slot
//     count (left in the chain by DBA_Reo) raises the slot count in the same
//     header write. So an item in use never lies above the slot count, and
//     an append never zeroes a record that has an owner.
// A free head whose item is not marked free (-1) is a damaged chain: the
// engine refuses to hand that item out rather than give a used record a
// second owner; DBA_Reo repairs the chain.
//
// What a crash can leave behind (each repaired by DBA_Reo, which rebuilds the
// chain and the counts from the item heads):
//  - during an append, before the header write: one free slot outside the
//    chain at the end of the file (the next append steps past it);
//  - during a free, between item head and header: one free item outside the
//    chain, still counted as used;
//  - between DBA_NewITEM and the family's first write of the item: one item
//    taken from the chain whose head still says free (counted as used, never
//    delivered by a walk).
// None of them lets two owners share an item.
#include "core/dba_file.h"

#include <bit>
#include <cstring>
#include <vector>

#include "services/cause.h"
#include "services/fileio.h"
#include "services/platform.h"
#include "services/storage.h"

static_assert(std::endian::native == std::endian::little,
              "the record files are little-endian and read into structs directly");

namespace kv::dba {

namespace {

constexpr int64_t kHeaderSize = DBA_HEADER_SIZE;

bool PathTerminated(const DbaFile* f) {
  return std::memchr(f->path, '\0', sizeof f->path) != nullptr && f->path[0] != '\0';
}

bool ReadHeaderOn(FileHandle h, DbaHeader* header) {
  return FileIO_SetPos(h, 0) == 0 && FileIO_Read(h, header, kHeaderSize) == kHeaderSize;
}

bool WriteHeaderOn(FileHandle h, const DbaHeader& header) {
  return FileIO_SetPos(h, 0) == 0 && FileIO_Write(h, &header, kHeaderSize) == kHeaderSize;
}

int32_t OpenWith(DbaFile* f, bool readOnly) {
  if (f == nullptr) return 0;
  if (f->openCount < 1) {
    f->handle = !PathTerminated(f) ? kInvalidHandle
                : readOnly          ? FileIO_OpenROS(f->path)
                                    : FileIO_OpenRWS(f->path);
    f->openCount = 1;
  } else if (f->openCount < INT32_MAX) {
    ++f->openCount;
  }
  return f->handle != kInvalidHandle ? 1 : 0;
}

// Writes a new file: header {600, now, 0, 0, 0, C} and 2*C zero words.
bool CreateFile(DbaFile* f) {
  if (f->openCount > 0) FileIO_Close(f->handle);  // a re-creation replaces any open handle
  f->handle = kInvalidHandle;
  f->openCount = 0;
  if (!PathTerminated(f) || f->idCapacity < 0 || f->idCapacity > kMaxIdCapacity) return false;
  FileHandle h = FileIO_CreateRWS(f->path);
  if (h == kInvalidHandle) return false;
  DbaHeader header;
  std::memset(&header, 0, sizeof header);
  header.version = DBA_CURRENT_VERSION;
  header.lastChange = UnixTimeNow32();
  header.idCapacity = f->idCapacity;
  bool ok = WriteHeaderOn(h, header);
  static const char kZeros[1 << 14] = {};
  int64_t left = int64_t{8} * f->idCapacity;
  while (ok && left > 0) {
    int32_t chunk = static_cast<int32_t>(left < static_cast<int64_t>(sizeof kZeros) ? left : sizeof kZeros);
    ok = FileIO_Write(h, kZeros, chunk) == chunk;
    left -= chunk;
  }
  FileIO_Close(h);
  return ok;
}

// Reads the header of an existing file under the header lock into the
// descriptor; false when it does not open or its header is short or damaged.
bool Inspect(DbaFile* f) {
  if (!Open(f)) return false;  // a failed open leaves count 1, handle -1
  DbaHeader h;
  bool ok;
  {
    HeldRange lock(f->handle, 0, kHeaderSize);
    ok = ReadHeaderOn(f->handle, &h) && HeaderSane(h);
  }
  if (!ok) NoteFailure(Cause::kDamaged, "%s: header unreadable or out of range", f->path);
  if (ok) {
    f->cursor = h.freeHead;
    f->delivered = 0;
    f->walkLimit = h.slotCount;
    f->idCapacity = h.idCapacity;
  }
  Close(f);
  return ok;
}

// The highest item whose R bytes lie wholly in the file (0 for none). A
// piece of a slot at the end (a write cut short) does not count.
int32_t LastSlotInFile(const DbaFile* f, FileHandle h) {
  const int64_t size = FileIO_Size(h);
  const int64_t base = kHeaderSize + int64_t{8} * f->idCapacity;
  if (size < base) return 0;
  const int64_t whole = (size - base) / f->recordSize - 1;  // slot 0 is the gap
  if (whole < 0) return 0;
  return whole > DBA_MAX_SLOTS ? DBA_MAX_SLOTS : static_cast<int32_t>(whole);
}

// Appends one slot past the last slot of the file and past the slot count:
// the whole record, its head {-1, old free head} already in place, goes out
// in one write, then the header (free head := n, slot count := n).
// Works through `h`, which holds the header lock; returns n or 0.
//
// Why past the end of the file and not after the slot count: after a
// reorganisation free slots above the slot count stay in the chain, and
// records written past the slot count (imports, block writes) have owners
// the header does not know. Neither may be zeroed by an append.
// Why one write: a crash between a zeroed record and its head would leave a
// slot whose state 0 every walk delivers as an item in use. With one write,
// a crash before the header write leaves at most one free slot outside the
// chain, which DBA_Reo links in; the next append steps past it.
int32_t AppendSlotOn(DbaFile* f, FileHandle h) {
  DbaHeader header;
  if (!ReadHeaderOn(h, &header) || !HeaderSane(header)) {
    NoteFailure(Cause::kDamaged, "%s: header unreadable or out of range", f->path);
    return 0;
  }
  if (header.slotCount >= DBA_MAX_SLOTS) {
    NoteFailure(Cause::kFull, "%s: all %d items in use", f->path, DBA_MAX_SLOTS);
    return 0;
  }
  const int32_t inFile = LastSlotInFile(f, h);
  const int32_t n = (inFile > header.slotCount ? inFile : header.slotCount) + 1;
  if (n > DBA_MAX_SLOTS) {
    NoteFailure(Cause::kFull, "%s: all %d items in use", f->path, DBA_MAX_SLOTS);
    return 0;
  }
  // A free head one past the slot count where no slot exists yet is a
  // converter's "append next", not a chain to keep.
  const bool appendNext = header.freeHead == header.slotCount + 1 && header.freeHead > inFile;
  const DbaItemHead head = {-1, appendNext ? 0 : header.freeHead};
  const int64_t pos = ItemPosition(f, n);
  int32_t written = 0;
  if (void* slot = Storage_Allocate(f->recordSize)) {
    std::memset(slot, 0, static_cast<size_t>(f->recordSize));
    std::memcpy(slot, &head, sizeof head);
    if (FileIO_SetPos(h, pos) == pos) written = FileIO_Write(h, slot, f->recordSize);
    Storage_Deallocate(slot);
  }
  if (written != f->recordSize) return 0;  // a cut slot is not counted; the next append rewrites it
  header.freeHead = n;
  header.slotCount = n;
  return WriteHeaderOn(h, header) ? n : 0;
}

// Appends a slot for DBA_NewITEM / DBA_NextFreeITEM, called with the
// descriptor open and the engine's own header lock released. The work is done
// on a private handle (the descriptor is closed one level around it) that
// takes the header lock itself. When the engine's caller holds the header
// lock through the descriptor, the descriptor's handle does the work instead:
// a second handle would wait for that lock, and on Windows could not even
// read the locked bytes.
int32_t AppendSlot(DbaFile* f, bool callerHoldsHeader) {
  if (callerHoldsHeader) return AppendSlotOn(f, f->handle);
  Close(f);
  int32_t result = 0;
  FileHandle p = FileIO_OpenRWS(f->path);
  if (p != kInvalidHandle) {
    HeldRange lock(p, 0, kHeaderSize);
    if (lock.ok()) result = AppendSlotOn(f, p);
    lock.Release();
    FileIO_Close(p);
  }
  Open(f);
  return result;
}

// Takes the item at the free head under the header lock. Returns the item,
// 0 when the file is full or damaged. With take = false it only reports
// which item that would be (appending a slot when the chain is empty).
int32_t Allocate(DbaFile* f, bool take) {
  if (!Usable(f) || !Open(f)) return 0;
  int32_t result = 0;
  // Each round either takes an item or appends one; other workstations may
  // take appended slots first, so a few rounds may be needed.
  for (int round = 0; round < 64; ++round) {
    HeldRange lock(f->handle, 0, kHeaderSize);
    DbaHeader h;
    if (!lock.ok()) break;
    if (!ReadHeaderOn(f->handle, &h) || !HeaderSane(h)) {
      NoteFailure(Cause::kDamaged, "%s: header unreadable or out of range", f->path);
      break;
    }
    int32_t n = h.freeHead;
    DbaItemHead head;
    // A free head one past the last slot, where no slot exists yet, is how a
    // converter's header says "append next".
    const bool appendNext = n == 0 || (n == h.slotCount + 1 && !ReadItemHead(f, n, &head));
    if (appendNext) {
      const bool callerHolds = !lock.taken();
      lock.Release();
      const int32_t appended = AppendSlot(f, callerHolds);
      if (appended == 0) break;
      if (!take) {
        result = appended;
        break;
      }
      continue;
    }
    if (!take) {
      result = n;
      break;
    }
    if (!ReadItemHead(f, n, &head) || head.state != -1 || head.nextFree < 0 ||
        head.nextFree > DBA_MAX_SLOTS + 1) {
      // Damaged chain: never hand out an item that is not free.
      NoteFailure(Cause::kDamaged, "%s: free chain points at item %d, which is not free", f->path, n);
      break;
    }
    h.freeHead = head.nextFree == n ? 0 : head.nextFree;  // a self-link ends the chain
    h.usedCount += 1;
    // After a reorganisation free slots above the slot count stay in the
    // chain. Taking one raises the slot count with it, so that every item in
    // use lies within the bound the families walk and address by.
    if (n > h.slotCount) h.slotCount = n;
    h.lastChange = UnixTimeNow32();
    if (WriteHeaderOn(f->handle, h)) result = n;
    break;
  }
  Close(f);
  return result;
}

DbaFile* AddToRef(DbaFile* f, int32_t item, int32_t delta) {
  if (!Usable(f) || item < 1 || item > DBA_MAX_SLOTS) return nullptr;
  if (!Open(f)) return nullptr;
  DbaItemHead head;
  // Unlike a blind read-modify-write, a slot that cannot be read is not
  // written: that would extend the file with a made-up head.
  if (ReadItemHead(f, item, &head)) {
    head.state += delta;
    (void)WriteItemHead(f, item, head);  // DBA_IncREF / DecREF report nothing
  }
  return Close(f);
}

}  // namespace

bool Usable(const DbaFile* f) {
  if (f != nullptr && f->recordSize >= DBA_ITEM_HEAD_SIZE && f->recordSize <= DBA_MAX_RECORD_SIZE &&
      f->idCapacity >= 0 && f->idCapacity <= kMaxIdCapacity && PathTerminated(f)) {
    return true;
  }
  return Refuse(f == nullptr ? "no descriptor" : "descriptor: record size, identifier capacity or path out of range");
}

int64_t ItemPosition(const DbaFile* f, int32_t item) {
  if (!Usable(f) || item < 1 || item > DBA_MAX_SLOTS) return -1;
  return int64_t{item} * f->recordSize + kHeaderSize + int64_t{8} * f->idCapacity;
}

// The format's own bound, not the slot count: the search files write items
// past their slot count by design, and a family may read a block of items
// in one transfer. What no call may do is reach past the last item a file
// can ever have; with the largest record size and capacity that end lies
// near 2 GiB, so no number from a caller can make a file grow beyond it.
int64_t FormatEnd(const DbaFile* f) {
  if (!Usable(f)) return -1;
  return int64_t{DBA_MAX_SLOTS + 1} * f->recordSize + kHeaderSize + int64_t{8} * f->idCapacity;
}

bool WithinFormat(const DbaFile* f, int64_t position, int64_t length) {
  return position >= 0 && length >= 0 && position + length <= FormatEnd(f);
}

bool HeaderSane(const DbaHeader& h) {
  // The used count is not checked: a repeated delete may push it below zero,
  // and walks treat such a count as "nothing to walk".
  return h.freeHead >= 0 && h.freeHead <= DBA_MAX_SLOTS + 1 && h.slotCount >= 0 &&
         h.slotCount <= DBA_MAX_SLOTS && h.idCapacity >= 0 && h.idCapacity <= kMaxIdCapacity;
}

bool ReadItemHead(DbaFile* f, int32_t item, DbaItemHead* head) {
  return GetData(f, item, head, sizeof *head) == 1;
}

bool WriteItemHead(DbaFile* f, int32_t item, const DbaItemHead& head) {
  return SetData(f, item, &head, sizeof head) == 1;
}

int32_t ReadItems(DbaFile* f, int32_t first, void* buffer, int32_t count) {
  const int64_t pos = ItemPosition(f, first);
  if (pos <= 0 || buffer == nullptr || count < 1 || f->handle == kInvalidHandle) return 0;
  const int64_t bytes = int64_t{count} * f->recordSize;
  if (bytes > INT32_MAX || FileIO_SetPos(f->handle, pos) != pos) return 0;
  return FileIO_Read(f->handle, buffer, static_cast<int32_t>(bytes)) / f->recordSize;
}

int32_t ItemsPerBlock(const DbaFile* f) {
  constexpr int32_t kBlockBytes = 256 * 1024;
  return f->recordSize >= kBlockBytes ? 1 : kBlockBytes / f->recordSize;
}

int32_t Open(DbaFile* f) { return OpenWith(f, false); }

DbaFile* Close(DbaFile* f) {
  if (f == nullptr) return nullptr;
  if (f->openCount < 2) {
    FileIO_Close(f->handle);
    f->openCount = 0;
    f->handle = kInvalidHandle;
  } else {
    --f->openCount;
  }
  return f;
}

DbaFile* InitDba(DbaFile* f) {
  if (f != nullptr) CreateFile(f);
  return f;
}

int32_t NeueDba(DbaFile* f) {
  if (f == nullptr) return 0;
  if (Open(f)) {
    Close(f);
    return Inspect(f) ? 1 : 0;  // never re-create an existing file, even a damaged one
  }
  return CreateFile(f) ? 1 : 0;  // also resets the failed open's count
}

int32_t InspectExisting(DbaFile* f) { return f != nullptr && Inspect(f) ? 1 : 0; }

int32_t GetHeader(DbaFile* f, void* header40) {
  if (f == nullptr || header40 == nullptr || f->handle == kInvalidHandle) return 0;
  return FileIO_SetPos(f->handle, 0) == 0 && FileIO_Read(f->handle, header40, kHeaderSize) == kHeaderSize ? 1 : 0;
}

int32_t SetHeader(DbaFile* f, const void* header40) {
  if (f == nullptr || header40 == nullptr || f->handle == kInvalidHandle) return 0;
  return FileIO_SetPos(f->handle, 0) == 0 && FileIO_Write(f->handle, header40, kHeaderSize) == kHeaderSize ? 1 : 0;
}

int32_t LockHeader(DbaFile* f) { return f ? FileIO_Lock(f->handle, 0, kHeaderSize) : 0; }
int32_t UnlockHeader(DbaFile* f) { return f ? FileIO_Unlock(f->handle, 0, kHeaderSize) : 0; }

// Opens, reads the header, closes; false when the file does not open (a
// failed open returns without closing, like every caller) or the header is
// short.
static bool ReadHeaderOf(DbaFile* f, DbaHeader* h) {
  if (f == nullptr || !Open(f)) return false;
  const bool ok = ReadHeaderOn(f->handle, h);
  Close(f);
  return ok;
}

int32_t GetVersion(DbaFile* f) {
  DbaHeader h;
  return ReadHeaderOf(f, &h) ? h.version : 0;
}

DbaFile* SetVersion(DbaFile* f, int32_t version) {
  if (f == nullptr || !Open(f)) return nullptr;
  if (FileIO_SetPos(f->handle, 0) == 0) FileIO_Write(f->handle, &version, sizeof version);
  return Close(f);
}

uint32_t GetLastWriteTime(DbaFile* f) {
  DbaHeader h;
  return ReadHeaderOf(f, &h) ? h.lastChange : 0;
}

int32_t UsedItems(DbaFile* f) {
  DbaHeader h;
  return ReadHeaderOf(f, &h) ? h.usedCount : 0;
}

// Sets the open file's position to item n for a transfer of length bytes
// (which may run on into the following items); false when the transfer
// would leave the format's bytes or the file is not open.
static bool SeekForData(DbaFile* f, int32_t item, const void* buffer, int32_t length) {
  if (buffer == nullptr || length < 1) return false;
  const int64_t pos = ItemPosition(f, item);
  return pos > 0 && WithinFormat(f, pos, length) && f->handle != kInvalidHandle &&
         FileIO_SetPos(f->handle, pos) == pos;
}

int32_t GetData(DbaFile* f, int32_t item, void* buffer, int32_t length) {
  if (!SeekForData(f, item, buffer, length)) return 0;
  return FileIO_Read(f->handle, buffer, length) == length ? 1 : 0;
}

int32_t SetData(DbaFile* f, int32_t item, const void* buffer, int32_t length) {
  if (!SeekForData(f, item, buffer, length)) return 0;
  return FileIO_Write(f->handle, buffer, length) == length ? 1 : 0;
}

namespace {
// Position of `offset` inside item n, -1 when the part does not lie in it.
int64_t PartPosition(DbaFile* f, int32_t item, int32_t offset, const void* buffer, int32_t length) {
  if (buffer == nullptr || offset < 0 || length < 1 || f == nullptr || int64_t{offset} + length > f->recordSize)
    return -1;
  const int64_t pos = ItemPosition(f, item);
  if (pos <= 0 || f->handle == kInvalidHandle || FileIO_SetPos(f->handle, pos + offset) != pos + offset) return -1;
  return pos + offset;
}
}  // namespace

int32_t GetPart(DbaFile* f, int32_t item, int32_t offset, void* buffer, int32_t length) {
  if (PartPosition(f, item, offset, buffer, length) < 0) return 0;
  return FileIO_Read(f->handle, buffer, length) == length ? 1 : 0;
}

int32_t SetPart(DbaFile* f, int32_t item, int32_t offset, const void* buffer, int32_t length) {
  if (PartPosition(f, item, offset, buffer, length) < 0) return 0;
  return FileIO_Write(f->handle, buffer, length) == length ? 1 : 0;
}

int32_t ReadData(DbaFile* f, int32_t item, void* buffer) {
  if (!Usable(f)) return 0;
  if (item < 1 || item > DBA_MAX_SLOTS || buffer == nullptr) {
    return Refuse(buffer == nullptr ? "no buffer" : "item number out of range");
  }
  if (!OpenWith(f, true)) return 0;  // a failed open leaves count 1, handle -1
  int32_t r = GetData(f, item, buffer, f->recordSize);
  Close(f);
  return r;
}

int32_t WriteData(DbaFile* f, int32_t item, const void* buffer) {
  if (!Usable(f)) return 0;
  if (item < 1 || item > DBA_MAX_SLOTS || buffer == nullptr) {
    return Refuse(buffer == nullptr ? "no buffer" : "item number out of range");
  }
  if (!Open(f)) return 0;
  int32_t r = SetData(f, item, buffer, f->recordSize);
  Close(f);
  return r;
}

int32_t LockData(DbaFile* f, int32_t item) {
  int64_t pos = ItemPosition(f, item);
  return pos > 0 ? FileIO_Lock(f->handle, pos, f->recordSize) : 0;
}

int32_t UnlockData(DbaFile* f, int32_t item) {
  int64_t pos = ItemPosition(f, item);
  return pos > 0 ? FileIO_Unlock(f->handle, pos, f->recordSize) : 0;
}

int32_t LockBlock(DbaFile* f, int32_t item, int32_t length) {
  int64_t pos = ItemPosition(f, item);
  return pos > 0 && length > 0 ? FileIO_Lock(f->handle, pos, length) : 0;
}

int32_t UnlockBlock(DbaFile* f, int32_t item, int32_t length) {
  int64_t pos = ItemPosition(f, item);
  return pos > 0 && length > 0 ? FileIO_Unlock(f->handle, pos, length) : 0;
}

int32_t NewItem(DbaFile* f) { return Allocate(f, true); }
int32_t NextFreeItem(DbaFile* f) { return Allocate(f, false); }

bool FreeItem(DbaFile* f, int32_t item, const void* image) {
  if (!Usable(f) || item < 1 || item > DBA_MAX_SLOTS || !Open(f)) return false;
  bool freed = false;
  HeldRange itemLock(f->handle, ItemPosition(f, item), f->recordSize);
  DbaItemHead head;
  if (itemLock.ok() && ReadItemHead(f, item, &head)) {
    HeldRange headerLock(f->handle, 0, kHeaderSize);
    DbaHeader h;
    // A second delete of a free item is not detected here: it links the
    // item in again (a self-link, which the allocation treats as the chain's
    // end) and counts down again, as the files have always behaved. The
    // families test the item's state under its lock before they free it.
    if (headerLock.ok() && ReadHeaderOn(f->handle, &h) && HeaderSane(h)) {
      const DbaItemHead freedHead{-1, h.freeHead};
      bool itemWritten = false;
      std::vector<unsigned char> before;
      if (image != nullptr) {
        // The family's cleared record and the free head in one write; the
        // record as it was is kept to put back if the header cannot follow.
        before.resize(static_cast<size_t>(f->recordSize));
        std::vector<unsigned char> after(static_cast<const unsigned char*>(image),
                                         static_cast<const unsigned char*>(image) + f->recordSize);
        std::memcpy(after.data(), &freedHead, sizeof freedHead);
        itemWritten = GetData(f, item, before.data(), f->recordSize) == 1 &&
                      SetData(f, item, after.data(), f->recordSize) == 1;
      } else {
        itemWritten = WriteItemHead(f, item, freedHead);
      }
      if (itemWritten) {
        h.freeHead = item;
        h.usedCount -= 1;
        h.lastChange = UnixTimeNow32();
        freed = WriteHeaderOn(f->handle, h);
        if (!freed) {
          if (image != nullptr) {
            SetData(f, item, before.data(), f->recordSize);
          } else {
            (void)WriteItemHead(f, item, head);
          }
        }
      }
    }
  }
  itemLock.Release();
  Close(f);
  return freed;
}

void DeleteItem(DbaFile* f, int32_t item) { (void)FreeItem(f, item, nullptr); }  // reports nothing

int32_t ValidItem(DbaFile* f, int32_t item) {
  if (!Usable(f) || item < 1 || item > DBA_MAX_SLOTS || !Open(f)) return 0;
  DbaItemHead head;
  int32_t ok = ReadItemHead(f, item, &head) ? 1 : 0;
  Close(f);
  return ok;
}

DbaFile* IncRef(DbaFile* f, int32_t item) { return AddToRef(f, item, +1); }
DbaFile* DecRef(DbaFile* f, int32_t item) { return AddToRef(f, item, -1); }

intptr_t ChangeRef(DbaFile* f, int32_t oldItem, int32_t newItem) {
  if (oldItem == newItem) return oldItem;
  IncRef(f, newItem);
  return reinterpret_cast<intptr_t>(DecRef(f, oldItem));
}

}  // namespace kv::dba
