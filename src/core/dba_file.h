// The DBA record-file engine: the module behind the exported DBA_* functions.
// The functions keep the exported names' contracts (include/kvdata/dba.h);
// only what the walks share is declared here beyond them.
#ifndef KV_CORE_DBA_FILE_H
#define KV_CORE_DBA_FILE_H

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "kvdata/dba.h"
#include "services/fileio.h"

namespace kv::dba {

// A closed descriptor of the file at path, as a caller of DBA_InitDBA or
// DBA_OpenDBA fills it: no handle yet, the record size and the identifier
// table capacity (0: none).
inline DbaFile Describe(const char* path, int32_t recordSize, int32_t capacity) {
  DbaFile f;
  std::memset(&f, 0, sizeof f);
  f.handle = -1;
  f.recordSize = recordSize;
  f.idCapacity = capacity;
  std::snprintf(f.path, sizeof f.path, "%s", path);
  return f;
}

int32_t NeueDba(DbaFile* f);
DbaFile* InitDba(DbaFile* f);
int32_t InspectExisting(DbaFile* f);
int32_t Open(DbaFile* f);
DbaFile* Close(DbaFile* f);
int32_t GetHeader(DbaFile* f, void* header40);
int32_t SetHeader(DbaFile* f, const void* header40);
int32_t LockHeader(DbaFile* f);
int32_t UnlockHeader(DbaFile* f);
int32_t GetVersion(DbaFile* f);
DbaFile* SetVersion(DbaFile* f, int32_t version);
uint32_t GetLastWriteTime(DbaFile* f);
int32_t UsedItems(DbaFile* f);
int32_t GetData(DbaFile* f, int32_t item, void* buffer, int32_t length);
int32_t SetData(DbaFile* f, int32_t item, const void* buffer, int32_t length);
int32_t ReadData(DbaFile* f, int32_t item, void* buffer);
int32_t WriteData(DbaFile* f, int32_t item, const void* buffer);
int32_t LockData(DbaFile* f, int32_t item);
int32_t UnlockData(DbaFile* f, int32_t item);
int32_t LockBlock(DbaFile* f, int32_t item, int32_t length);
int32_t UnlockBlock(DbaFile* f, int32_t item, int32_t length);
int32_t NewItem(DbaFile* f);
int32_t NextFreeItem(DbaFile* f);
void DeleteItem(DbaFile* f, int32_t item);
// DBA_DeleteITEM with a result: true when the item was freed; false, with
// nothing changed, when the item or header lock was refused past the host
// lock time-out, the item head could not be read or the header is damaged.
// With image (recordSize bytes), the item is written as that record with the
// free head in its first 8 bytes, in one write with the head; otherwise only
// the head is written. Like DBA_DeleteITEM it does not look at the item's
// state: a caller that may meet an item already free tests that first, under
// the item's lock (held through the same descriptor, the free runs under it).
[[nodiscard]] bool FreeItem(DbaFile* f, int32_t item, const void* image);
// Reads / writes length bytes at `offset` inside item n of the open file
// (no lock); 1 if exactly length bytes moved. For families that change a
// few fields of a record in one write.
int32_t GetPart(DbaFile* f, int32_t item, int32_t offset, void* buffer, int32_t length);
int32_t SetPart(DbaFile* f, int32_t item, int32_t offset, const void* buffer, int32_t length);
int32_t ValidItem(DbaFile* f, int32_t item);
DbaFile* IncRef(DbaFile* f, int32_t item);
DbaFile* DecRef(DbaFile* f, int32_t item);
intptr_t ChangeRef(DbaFile* f, int32_t oldItem, int32_t newItem);

// Walks, identifier tables, reorganisation (dba_walk.cpp).
int32_t FirstItem(DbaFile* f, void* buffer);
int32_t NextItem(DbaFile* f, void* buffer);
DbaFile* ForEachItem(DbaFile* f, DbaItemCallback cb);
DbaFile* ForEachItemRW(DbaFile* f, DbaItemCallback cb);
DbaFile* ForEachItemDeleting(DbaFile* f, DbaItemCallback cb);
DbaFile* ForEachExternId(DbaFile* f, DbaItemCallback cb);
DbaFile* ForEachExternIdRW(DbaFile* f, DbaItemCallback cb);
int32_t GetExternId(DbaFile* f, int32_t item);
int32_t SetExternId(DbaFile* f, int32_t item, int32_t externId);
int32_t GetIdFromExtern(DbaFile* f, int32_t externId);
int32_t SetIdFromExtern(DbaFile* f, int32_t externId, int32_t item);
DbaFile* Reorganise(DbaFile* f);
void Resize(DbaFile* oldFile, DbaFile* newFile, DbaItemCallback converter);

// ---- shared internals --------------------------------------------------
// Largest identifier-table capacity a file may have (2 * 64 MiB of tables).
constexpr int32_t kMaxIdCapacity = 1 << 24;

// True when the descriptor can address items: not null, record size from an
// item head up to DBA_MAX_RECORD_SIZE, a sane capacity and a terminated path.
[[nodiscard]] bool Usable(const DbaFile* f);
// Byte position of item n (n*R + 40 + 8*C), -1 when n is outside
// 1..DBA_MAX_SLOTS or f unusable.
int64_t ItemPosition(const DbaFile* f, int32_t item);
// One past the last byte the format allows: the end of item DBA_MAX_SLOTS.
int64_t FormatEnd(const DbaFile* f);
// True when [position, position + length) lies within the format's bytes.
[[nodiscard]] bool WithinFormat(const DbaFile* f, int64_t position, int64_t length);
// True when every count of the header lies in its valid range.
[[nodiscard]] bool HeaderSane(const DbaHeader& h);
// Reads item n's 8-byte head on the open file.
[[nodiscard]] bool ReadItemHead(DbaFile* f, int32_t item, DbaItemHead* head);
[[nodiscard]] bool WriteItemHead(DbaFile* f, int32_t item, const DbaItemHead& head);
// Reads up to count consecutive items from `first` on the open file in one
// transfer into buffer (count * record size bytes); the number of items that
// came whole (fewer at the end of the file).
int32_t ReadItems(DbaFile* f, int32_t first, void* buffer, int32_t count);
// How many items a read-ahead block of about 256 KiB holds (at least 1).
int32_t ItemsPerBlock(const DbaFile* f);

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
  [[nodiscard]] bool ok() const { return ok_; }
  [[nodiscard]] bool taken() const { return taken_; }
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


}  // namespace kv::dba

#endif  // KV_CORE_DBA_FILE_H
