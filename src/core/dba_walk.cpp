// Walks over the used items of a DBA file, the external-identifier tables,
// the reorganisation that rebuilds the free chain from the item heads, and
// the copy into a file of another record size.
//
// A walk stops after it has delivered the used count it read at its start,
// so items freed during the walk do not shorten it and a header whose used
// count is too low hides the items at the end. Only state -1 counts as free
// here; DBA_Reo frees every state below 1.
#include <cstring>
#include <vector>

#include "core/dba_file.h"
#include "core/dba_progress.h"
#include "services/action.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace kv::dba {

namespace {

int64_t TablePosition(const DbaFile* f, bool tableB, int32_t index) {
  if (f == nullptr || index < 1 || f->idCapacity < 0) return -1;
  return DBA_HEADER_SIZE + (tableB ? int64_t{4} * f->idCapacity : 0) + int64_t{4} * (index - 1);
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

// Progress of one walk, shown every k-th item on a host progress display.
class WalkProgress {
 public:
  explicit WalkProgress(int32_t total) : step_(ProgressStep(total)) {
    dlg_ = Action_OpenDlg(nullptr, 0);
    Action_ProgressStart(dlg_, 1, total);
  }
  ~WalkProgress() {
    Action_ProgressEnd(dlg_);
    Action_CloseDlg(dlg_);
  }
  void Item() {
    if (++done_ % step_ == 0) Action_ProgressTo(dlg_, done_);
  }

 private:
  int32_t step_, done_ = 0;
  ActionDlg dlg_;
};

enum class Mode { Each, ReadWrite, Deleting, ExternIds, ExternIdsReadWrite };

// The five callback walkers share this loop; they differ only in what a
// callback result means (see include/kvdata/dba.h).
DbaFile* Walk(DbaFile* f, DbaItemCallback cb, Mode mode) {
  if (!Usable(f) || cb == nullptr || f->recordSize > DBA_WALK_BUFFER_SIZE) return nullptr;
  // The buffer comes first: should it fail to allocate, nothing is open yet.
  std::vector<unsigned char> buffer(DBA_WALK_BUFFER_SIZE);
  if (!Open(f)) return nullptr;
  int32_t n = FirstItem(f, buffer.data());
  WalkProgress progress(f->walkLimit);
  for (; n != 0; n = NextItem(f, buffer.data())) {
    progress.Item();
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
  f->cursor = 1;
  f->delivered = 0;
  DbaHeader h;
  if (FileIO_SetPos(f->handle, 0) != 0 || FileIO_Read(f->handle, &h, sizeof h) != sizeof h) {
    f->walkLimit = 0;
    return 0;
  }
  f->walkLimit = h.usedCount;
  return NextItem(f, buffer);
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
  // One past the last slot whose head can be read (never beyond the limit).
  int32_t end = 1;
  DbaItemHead head;
  while (end <= DBA_MAX_SLOTS && ReadItemHead(f, end, &head)) ++end;
  h.freeHead = 0;
  h.usedCount = 0;
  h.slotCount = 0;
  ActionDlg dlg = Action_OpenDlg(nullptr, 0);
  Action_ProgressStart(dlg, 1, end - 1);
  const int32_t step = ProgressStep(end - 1);
  // Downwards, so that the rebuilt chain runs in ascending item order. The
  // slot count becomes the highest used item; free slots above it stay in
  // the chain, and the next append starts after the slot count again.
  for (int32_t n = end - 1; n >= 1; --n) {
    if ((end - n) % step == 0) Action_ProgressTo(dlg, end - n);
    if (!ReadItemHead(f, n, &head)) continue;
    if (head.state < 1) {
      WriteItemHead(f, n, DbaItemHead{-1, h.freeHead});
      h.freeHead = n;
    } else {
      ++h.usedCount;
      if (n > h.slotCount) h.slotCount = n;
    }
  }
  Action_ProgressEnd(dlg);
  Action_CloseDlg(dlg);
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
