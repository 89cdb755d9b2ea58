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
// A free head whose item is not marked free (-1) is a damaged chain: the
// engine refuses to hand that item out rather than give a used record a
// second owner; DBA_Reo repairs the chain.
#include "core/dba_file.h"

#include <bit>
#include <cstring>

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

// A byte-range lock for one scope. When the lock is refused because this very
// handle already holds an overlapping range, the caller of the engine holds
// it (for example DBA_LockDATA before DBA_DeleteITEM): the operation then
// runs under that lock and leaves it to its owner.
class HeldRange {
 public:
  HeldRange(FileHandle h, int64_t position, int64_t length) : h_(h), position_(position), length_(length) {
    if (FileIO_Lock(h, position, length)) {
      taken_ = ok_ = true;
    } else {
      ok_ = FileIO_HoldsLock(h, position, length) != 0;
    }
  }
  ~HeldRange() { Release(); }
  HeldRange(const HeldRange&) = delete;
  HeldRange& operator=(const HeldRange&) = delete;
  bool ok() const { return ok_; }
  bool taken() const { return taken_; }
  void Release() {
    if (taken_) FileIO_Unlock(h_, position_, length_);
    taken_ = false;
  }

 private:
  FileHandle h_;
  int64_t position_, length_;
  bool taken_ = false;
  bool ok_ = false;
};

bool ReadHeaderOn(FileHandle h, DbaHeader* header) {
  return FileIO_SetPos(h, 0) == 0 && FileIO_Read(h, header, kHeaderSize) == kHeaderSize;
}

bool ReadHeadOn(FileHandle h, const DbaFile* f, int32_t item, DbaItemHead* head) {
  const int64_t pos = ItemPosition(f, item);
  return pos > 0 && FileIO_SetPos(h, pos) == pos && FileIO_Read(h, head, sizeof *head) == sizeof *head;
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

// Appends slot n = slot count + 1: a zeroed record, then the item head
// {-1, old free head}, then the header (free head := n, slot count := n).
// Works through `h`, which holds the header lock; returns n or 0.
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
  // The append starts after the slot count. A reorganisation leaves free
  // slots above the slot count in the chain; once they are in use, the
  // append steps over them instead of zeroing a record that has an owner.
  int32_t n = header.slotCount + 1;
  DbaItemHead existing;
  while (n <= DBA_MAX_SLOTS && ReadHeadOn(h, f, n, &existing) && existing.state != -1) ++n;
  if (n > DBA_MAX_SLOTS) {
    NoteFailure(Cause::kFull, "%s: all %d items in use", f->path, DBA_MAX_SLOTS);
    return 0;
  }
  const int64_t pos = ItemPosition(f, n);
  int32_t written = 0;
  if (void* zero = Storage_Allocate(f->recordSize)) {
    std::memset(zero, 0, static_cast<size_t>(f->recordSize));
    if (FileIO_SetPos(h, pos) == pos) written = FileIO_Write(h, zero, f->recordSize);
    Storage_Deallocate(zero);
  }
  // A free head that pointed one past the last slot meant "append next".
  DbaItemHead head = {-1, header.freeHead == n ? 0 : header.freeHead};
  if (FileIO_SetPos(h, pos) == pos) FileIO_Write(h, &head, sizeof head);
  if (written != f->recordSize) return 0;  // the slot head stays; the header does not count it
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
    h.lastChange = UnixTimeNow32();
    if (WriteHeaderOn(f->handle, h)) result = n;
    break;
  }
  Close(f);
  return result;
}

DbaFile* AddToRef(DbaFile* f, int32_t item, int32_t delta) {
  if (!Usable(f) || item < 1) return nullptr;
  if (!Open(f)) return nullptr;
  DbaItemHead head;
  // Unlike a blind read-modify-write, a slot that cannot be read is not
  // written: that would extend the file with a made-up head.
  if (ReadItemHead(f, item, &head)) {
    head.state += delta;
    WriteItemHead(f, item, head);
  }
  return Close(f);
}

}  // namespace

bool Usable(const DbaFile* f) {
  if (f != nullptr && f->recordSize >= DBA_ITEM_HEAD_SIZE && f->idCapacity >= 0 &&
      f->idCapacity <= kMaxIdCapacity && PathTerminated(f)) {
    return true;
  }
  return Refuse(f == nullptr ? "no descriptor" : "descriptor: record size, identifier capacity or path out of range");
}

int64_t ItemPosition(const DbaFile* f, int32_t item) {
  if (!Usable(f) || item < 1) return -1;
  return int64_t{item} * f->recordSize + kHeaderSize + int64_t{8} * f->idCapacity;
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

int32_t GetData(DbaFile* f, int32_t item, void* buffer, int32_t length) {
  if (buffer == nullptr || length < 1) return 0;
  int64_t pos = ItemPosition(f, item);
  if (pos <= 0 || f->handle == kInvalidHandle || FileIO_SetPos(f->handle, pos) != pos) return 0;
  return FileIO_Read(f->handle, buffer, length) == length ? 1 : 0;
}

int32_t SetData(DbaFile* f, int32_t item, const void* buffer, int32_t length) {
  if (buffer == nullptr || length < 1) return 0;
  int64_t pos = ItemPosition(f, item);
  if (pos <= 0 || f->handle == kInvalidHandle || FileIO_SetPos(f->handle, pos) != pos) return 0;
  return FileIO_Write(f->handle, buffer, length) == length ? 1 : 0;
}

int32_t ReadData(DbaFile* f, int32_t item, void* buffer) {
  if (!Usable(f)) return 0;
  if (item < 1 || buffer == nullptr) return Refuse(item < 1 ? "item number below 1" : "no buffer");
  if (!OpenWith(f, true)) return 0;  // a failed open leaves count 1, handle -1
  int32_t r = GetData(f, item, buffer, f->recordSize);
  Close(f);
  return r;
}

int32_t WriteData(DbaFile* f, int32_t item, const void* buffer) {
  if (!Usable(f)) return 0;
  if (item < 1 || buffer == nullptr) return Refuse(item < 1 ? "item number below 1" : "no buffer");
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

void DeleteItem(DbaFile* f, int32_t item) {
  if (!Usable(f) || item < 1 || !Open(f)) return;
  HeldRange itemLock(f->handle, ItemPosition(f, item), f->recordSize);
  DbaItemHead head;
  if (itemLock.ok() && ReadItemHead(f, item, &head)) {
    HeldRange headerLock(f->handle, 0, kHeaderSize);
    DbaHeader h;
    // A second delete of a free item is not detected: it links the item in
    // again (a self-link, which the allocation treats as the chain's end)
    // and counts down again, as the files have always behaved.
    if (headerLock.ok() && ReadHeaderOn(f->handle, &h) && HeaderSane(h) &&
        WriteItemHead(f, item, DbaItemHead{-1, h.freeHead})) {
      h.freeHead = item;
      h.usedCount -= 1;
      h.lastChange = UnixTimeNow32();
      WriteHeaderOn(f->handle, h);
    }
  }
  itemLock.Release();
  Close(f);
}

int32_t ValidItem(DbaFile* f, int32_t item) {
  if (!Usable(f) || item < 1 || !Open(f)) return 0;
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
