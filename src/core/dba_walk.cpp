// Walks over the used items of a DBA file, the external-identifier tables,
// the reorganisation that rebuilds the free chain from the item heads, and
// the copy into a file of another record size.
//
// A walk stops after it has delivered the used count it read at its start,
// so items freed during the walk do not shorten it and a header whose used
// count is too low hides the items at the end. Only state -1 counts as free
// here; DBA_Reo frees every state below 1.
//
// The walkers whose callbacks write nothing back (DBA_MitJedemITEM and
// DBA_MitAllenExternIDsRW) read ahead: a block of items, and for the
// identifier walk the block's table entries, in one read each, instead of a
// head read and a record read per item. They deliver exactly what the
// item-by-item walk delivers, cursor and count included. A callback that
// writes (to any file: the engine cannot tell which) would make the block
// stale, so the first write of the process during the walk sends the rest of
// it back to reading each item when it comes to it. Another process's
// change shows when the block is read instead of when the item is; the walk
// takes no lock either way. The read-write walkers read every item just
// before its callback.
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/dba_file.h"
#include "services/action.h"
#include "services/fileio.h"
#include "services/le_fields.h"
#include "services/platform.h"
#include "services/progress.h"

namespace kv::dba {

namespace {

// Entry `index` of table A or B. An index above the capacity lands in the
// next table or among the items, as it always has; one whose entry would lie
// past the last item the format allows is refused.
int64_t TablePosition(const DbaFile* f, bool tableB, int32_t index) {
  if (!Usable(f) || index < 1) return -1;
  const int64_t pos = DBA_HEADER_SIZE + (tableB ? int64_t{4} * f->idCapacity : 0) + int64_t{4} * (index - 1);
  return WithinFormat(f, pos, 4) ? pos : -1;
}

int32_t ReadTable(DbaFile* f, bool tableB, int32_t index) {
  int64_t pos = TablePosition(f, tableB, index);
  int32_t value = 0;
  if (pos < 0 || f->handle == kInvalidHandle || FileIO_SetPos(f->handle, pos) != pos ||
      FileIO_Read(f->handle, &value, 4) != 4) {
    return 0;
  }
  return value;
}

int32_t WriteTable(DbaFile* f, bool tableB, int32_t index, int32_t value) {
  int64_t pos = TablePosition(f, tableB, index);
  if (pos < 0 || f->handle == kInvalidHandle || FileIO_SetPos(f->handle, pos) != pos) return 0;
  return FileIO_Write(f->handle, &value, 4) == 4 ? 1 : 0;
}

// Puts the walk state at the start: cursor 1, nothing delivered, and as
// many items to deliver as the header counts in use (none when the header
// cannot be read; false then).
bool StartWalk(DbaFile* f) {
  f->cursor = 1;
  f->delivered = 0;
  DbaHeader h;
  if (FileIO_SetPos(f->handle, 0) != 0 || FileIO_Read(f->handle, &h, sizeof h) != sizeof h) {
    f->walkLimit = 0;
    return false;
  }
  f->walkLimit = h.usedCount;
  return true;
}

enum class Mode { Each, ReadWrite, Deleting, ExternIds, ExternIdsReadWrite };

// A read-ahead block of at most this many bytes of items.
constexpr int32_t kReadAheadBytes = 256 * 1024;

// The item-by-item walk of FirstItem / NextItem over blocks read ahead.
class ReadAhead {
 public:
  ReadAhead(DbaFile* f, bool tableEntries)
      : f_(f), tableEntries_(tableEntries), perBlock_(std::max(1, kReadAheadBytes / f->recordSize)) {}

  // As FirstItem / NextItem; *externId gets table A's entry of the item when
  // the walk reads table entries.
  int32_t First(void* buffer, int32_t* externId) { return StartWalk(f_) ? Next(buffer, externId) : 0; }

  int32_t Next(void* buffer, int32_t* externId) {
    while (f_->delivered < f_->walkLimit && f_->cursor >= 1) {
      const int32_t n = f_->cursor;
      if (!itemByItem_ && (!filled_ || n < first_ || n - first_ >= perBlock_)) Fill(n);
      // A write since the block was read, or an item the block does not
      // hold whole (the end of the file, or a range locked on Windows):
      // from here on every item is read when the walk comes to it.
      if (!itemByItem_ && (FileIO_WriteGeneration() != generation_ || !Holds(n))) itemByItem_ = true;
      if (itemByItem_) {
        const int32_t item = NextItem(f_, buffer);
        if (item != 0 && tableEntries_) *externId = ReadTable(f_, false, item);
        return item;
      }
      f_->cursor = n < INT32_MAX ? n + 1 : 0;
      const unsigned char* item = block_.data() + int64_t{n - first_} * f_->recordSize;
      DbaItemHead head;
      std::memcpy(&head, item, sizeof head);
      if (head.state == -1) continue;
      std::memcpy(buffer, item, static_cast<size_t>(f_->recordSize));
      ++f_->delivered;
      if (tableEntries_) *externId = le::GetI32(table_.data(), static_cast<size_t>(n - first_) * 4);
      return n;
    }
    return 0;
  }

 private:
  static int32_t ReadBlock(DbaFile* f, int64_t position, std::vector<unsigned char>& into) {
    if (position <= 0 || FileIO_SetPos(f->handle, position) != position) return 0;
    return std::max(0, FileIO_Read(f->handle, into.data(), static_cast<int32_t>(into.size())));
  }

  void Fill(int32_t from) {
    const int32_t count = static_cast<int32_t>(std::min<int64_t>(perBlock_, int64_t{INT32_MAX} - from + 1));
    block_.resize(static_cast<size_t>(count) * static_cast<size_t>(f_->recordSize));
    got_ = ReadBlock(f_, ItemPosition(f_, from), block_);
    if (tableEntries_) {
      table_.resize(static_cast<size_t>(count) * 4);
      tableGot_ = ReadBlock(f_, TablePosition(f_, false, from), table_);
    }
    first_ = from;
    filled_ = true;
    generation_ = FileIO_WriteGeneration();
  }

  // True when the block holds item n's record (and its table entry) whole.
  bool Holds(int32_t n) const {
    const int64_t i = n - first_;
    return (i + 1) * f_->recordSize <= got_ && (!tableEntries_ || (i + 1) * 4 <= tableGot_);
  }

  DbaFile* f_;
  bool tableEntries_;
  int32_t perBlock_;
  bool filled_ = false, itemByItem_ = false;
  int32_t first_ = 0;
  int64_t got_ = 0, tableGot_ = 0;
  uint64_t generation_ = 0;
  std::vector<unsigned char> block_, table_;
};

// DBA_MitJedemITEM and DBA_MitAllenExternIDsRW: the callback's result is
// not looked at and nothing is written back.
DbaFile* WalkReadOnly(DbaFile* f, DbaItemCallback cb, bool externIds, unsigned char* buffer) {
  ReadAhead ahead(f, externIds);
  int32_t ext = 0;
  int32_t n = ahead.First(buffer, &ext);
  Progress progress(nullptr, f->walkLimit);
  for (; n != 0; n = ahead.Next(buffer, &ext)) {
    progress.Step();
    if (!externIds) {
      cb(n, buffer);
    } else if (ext != 0) {
      cb(ext, buffer);
    }
  }
  return Close(f);
}

// The five callback walkers share this loop; they differ only in what a
// callback result means (see include/kvdata/dba.h).
DbaFile* Walk(DbaFile* f, DbaItemCallback cb, Mode mode) {
  if (!Usable(f) || cb == nullptr || f->recordSize > DBA_WALK_BUFFER_SIZE) return nullptr;
  // The buffer comes first: should it fail to allocate, nothing is open yet.
  std::vector<unsigned char> buffer(DBA_WALK_BUFFER_SIZE);
  if (!Open(f)) return nullptr;
  if (mode == Mode::Each || mode == Mode::ExternIds) {
    return WalkReadOnly(f, cb, mode == Mode::ExternIds, buffer.data());
  }
  int32_t n = FirstItem(f, buffer.data());
  Progress progress(nullptr, f->walkLimit);
  for (; n != 0; n = NextItem(f, buffer.data())) {
    progress.Step();
    int32_t r;
    switch (mode) {
      case Mode::Each:
        cb(n, buffer.data());
        break;
      case Mode::ReadWrite:
        r = cb(n, buffer.data());
        if (r < 0) return Close(f);
        if (r > 0) SetData(f, n, buffer.data(), f->recordSize);
        break;
      case Mode::Deleting:
        r = cb(n, buffer.data());
        if (r == 0) return Close(f);
        if (r > 0) SetData(f, n, buffer.data(), f->recordSize);
        if (r < 0) DeleteItem(f, n);
        break;
      case Mode::ExternIds:
      case Mode::ExternIdsReadWrite: {
        int32_t ext = ReadTable(f, false, n);
        if (ext == 0) break;
        r = cb(ext, buffer.data());
        if (mode == Mode::ExternIdsReadWrite && r > 0) SetData(f, n, buffer.data(), f->recordSize);
        break;
      }
    }
  }
  return Close(f);
}

}  // namespace

int32_t FirstItem(DbaFile* f, void* buffer) {
  if (!Usable(f) || buffer == nullptr || f->handle == kInvalidHandle) return 0;
  return StartWalk(f) ? NextItem(f, buffer) : 0;
}

int32_t NextItem(DbaFile* f, void* buffer) {
  if (!Usable(f) || buffer == nullptr) return 0;
  while (f->delivered < f->walkLimit && f->cursor >= 1) {
    const int32_t n = f->cursor;
    f->cursor = n < INT32_MAX ? n + 1 : 0;
    DbaItemHead head;
    if (!ReadItemHead(f, n, &head)) return 0;  // the end of the file ends the walk
    if (head.state == -1) continue;
    if (GetData(f, n, buffer, f->recordSize) != 1) return 0;
    ++f->delivered;
    return n;
  }
  return 0;
}

DbaFile* ForEachItem(DbaFile* f, DbaItemCallback cb) { return Walk(f, cb, Mode::Each); }
DbaFile* ForEachItemRW(DbaFile* f, DbaItemCallback cb) { return Walk(f, cb, Mode::ReadWrite); }
DbaFile* ForEachItemDeleting(DbaFile* f, DbaItemCallback cb) { return Walk(f, cb, Mode::Deleting); }
DbaFile* ForEachExternId(DbaFile* f, DbaItemCallback cb) { return Walk(f, cb, Mode::ExternIds); }
DbaFile* ForEachExternIdRW(DbaFile* f, DbaItemCallback cb) { return Walk(f, cb, Mode::ExternIdsReadWrite); }

int32_t GetExternId(DbaFile* f, int32_t item) { return ReadTable(f, false, item); }
int32_t SetExternId(DbaFile* f, int32_t item, int32_t externId) { return WriteTable(f, false, item, externId); }
int32_t GetIdFromExtern(DbaFile* f, int32_t externId) { return ReadTable(f, true, externId); }
int32_t SetIdFromExtern(DbaFile* f, int32_t externId, int32_t item) { return WriteTable(f, true, externId, item); }

DbaFile* Reorganise(DbaFile* f) {
  if (f == nullptr || !Open(f)) return nullptr;
  DbaHeader h;
  if (FileIO_SetPos(f->handle, 0) != 0 || FileIO_Read(f->handle, &h, sizeof h) != sizeof h ||
      h.idCapacity < 0 || h.idCapacity > kMaxIdCapacity) {
    return Close(f);
  }
  f->idCapacity = h.idCapacity;
  if (!Usable(f)) return Close(f);
  // One past the last slot whose head can be read (never beyond the limit):
  // from the file's length, or item by item where that is unknown.
  int32_t end = 1;
  DbaItemHead head;
  const int64_t size = FileIO_Size(f->handle);
  const int64_t base = ItemPosition(f, 1) - f->recordSize;
  if (size >= 0 && base >= 0) {
    const int64_t last = size - base - DBA_ITEM_HEAD_SIZE < f->recordSize
                             ? 0
                             : (size - base - DBA_ITEM_HEAD_SIZE) / f->recordSize;
    end = static_cast<int32_t>(std::min<int64_t>(last, DBA_MAX_SLOTS)) + 1;
  } else {
    while (end <= DBA_MAX_SLOTS && ReadItemHead(f, end, &head)) ++end;
  }
  h.freeHead = 0;
  h.usedCount = 0;
  h.slotCount = 0;
  {  // the display closes before the header is written
    Progress progress(nullptr, end - 1);
    // Downwards, so that the rebuilt chain runs in ascending item order. The
    // slot count becomes the highest used item; free slots above it stay in
    // the chain, and the next append starts after the slot count again. The
    // heads are read a block of items at a time; a block that comes back
    // short (a range another program holds locked) is read item by item.
    const int32_t perBlock = ItemsPerBlock(f);
    std::vector<unsigned char> block(static_cast<size_t>(perBlock) * static_cast<size_t>(f->recordSize));
    for (int32_t hi = end - 1; hi >= 1;) {
      const int32_t lo = std::max(1, hi - perBlock + 1);
      const bool whole = ReadItems(f, lo, block.data(), hi - lo + 1) == hi - lo + 1;
      for (int32_t n = hi; n >= lo; --n) {
        progress.At(end - n, end - n);
        if (whole) {
          std::memcpy(&head, block.data() + int64_t{n - lo} * f->recordSize, sizeof head);
        } else if (!ReadItemHead(f, n, &head)) {
          continue;
        }
        if (head.state < 1) {
          (void)WriteItemHead(f, n, DbaItemHead{-1, h.freeHead});  // as the engine always did
          h.freeHead = n;
        } else {
          ++h.usedCount;
          if (n > h.slotCount) h.slotCount = n;
        }
      }
      hi = lo - 1;
    }
  }
  if (FileIO_SetPos(f->handle, 0) == 0) FileIO_Write(f->handle, &h, sizeof h);
  return Close(f);
}

void Resize(DbaFile* oldFile, DbaFile* newFile, DbaItemCallback converter) {
  if (!Usable(oldFile) || !Usable(newFile) || oldFile->recordSize > DBA_WALK_BUFFER_SIZE ||
      newFile->recordSize > DBA_WALK_BUFFER_SIZE) {
    return;
  }
  std::vector<unsigned char> buffer(DBA_WALK_BUFFER_SIZE);  // before anything is opened
  if (!Open(oldFile)) return;
  FileHandle created = FileIO_CreateRWS(newFile->path);
  if (created == kInvalidHandle) {
    Close(oldFile);
    return;
  }
  if (newFile->openCount > 0) FileIO_Close(newFile->handle);
  newFile->handle = created;
  newFile->openCount = 1;
  for (int32_t n = 1; n <= DBA_MAX_SLOTS; ++n) {
    std::memset(buffer.data(), 0, buffer.size());
    if (GetData(oldFile, n, buffer.data(), oldFile->recordSize) != 1) break;
    if (converter != nullptr) converter(n, buffer.data());
    SetData(newFile, n, buffer.data(), newFile->recordSize);
  }
  Close(newFile);
  Close(oldFile);
}

}  // namespace kv::dba
