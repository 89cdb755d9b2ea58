#include "core/fixed_records.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "core/nested_open.h"
#include "services/action.h"
#include "services/name_resolve.h"
#include "services/cause.h"
#include "services/le_fields.h"
#include "services/platform.h"
#include "services/progress.h"

namespace kv::fixed {

bool Setup(File& f, const char* initPath, const char* name, int32_t recordSize, int32_t count) {
  f.recordSize = recordSize;
  f.count = count < 0 ? 0 : count;
  return FamilyFilePath(initPath, name, f.path);
}

FileHandle Open(File& f) {
  if (f.openCount > 0) {
    ++f.openCount;
    return f.handle;
  }
  if (f.path[0] == '\0') return kInvalidHandle;
  f.handle = FileIO_OpenRWS(f.path);
  if (f.handle != kInvalidHandle) f.openCount = 1;
  return f.handle;
}

void Close(File& f) {
  if (f.openCount <= 0) return;
  if (--f.openCount == 0) {
    FileIO_Close(f.handle);
    f.handle = kInvalidHandle;
  }
}

int32_t HighestRecord(FileHandle h, int32_t recordSize, int32_t count) {
  const int64_t size = FileIO_Size(h);
  if (size < 0 || recordSize <= 0) return -1;
  const int64_t inFile = size < kHeaderSize ? 0 : (size - kHeaderSize) / recordSize;
  const int64_t highest = inFile - 1 > count ? inFile - 1 : count;
  return highest > INT32_MAX ? INT32_MAX : static_cast<int32_t>(highest);
}

bool RecordsWithin(FileHandle h, int32_t recordSize, int32_t count, int32_t first, int32_t n) {
  if (first < 0 || n < 1) return false;
  return static_cast<int64_t>(first) + n - 1 <= HighestRecord(h, recordSize, count);
}

bool ReadAt(FileHandle h, int64_t pos, void* buffer, int32_t size) {
  if (h == kInvalidHandle || buffer == nullptr || FileIO_SetPos(h, pos) != pos) return false;
  return FileIO_Read(h, buffer, size) == size;
}

bool WriteAt(FileHandle h, int64_t pos, const void* buffer, int32_t size) {
  if (h == kInvalidHandle || buffer == nullptr || FileIO_SetPos(h, pos) != pos) return false;
  return FileIO_Write(h, buffer, size) == size;
}


static bool InRange(const File& f, int32_t n) {
  if (n >= 0 && n <= f.count) return true;
  NoteFailure(Cause::kBadArgument, "%s: record %d outside 0..%d", f.path, n, f.count);
  return false;
}

bool ReadRecord(const File& f, int32_t n, void* record) {
  return InRange(f, n) && ReadAt(f.handle, RecordPos(f.recordSize, n), record, f.recordSize);
}

bool WriteRecord(const File& f, int32_t n, const void* record) {
  return InRange(f, n) && WriteAt(f.handle, RecordPos(f.recordSize, n), record, f.recordSize);
}

bool LockRecord(const File& f, int32_t n) {
  return InRange(f, n) && FileIO_Lock(f.handle, RecordPos(f.recordSize, n), f.recordSize) != 0;
}

bool TryLockRecord(const File& f, int32_t n) {
  return InRange(f, n) && FileIO_TryLock(f.handle, RecordPos(f.recordSize, n), f.recordSize) != 0;
}

bool UnlockRecord(const File& f, int32_t n) {
  return InRange(f, n) && FileIO_Unlock(f.handle, RecordPos(f.recordSize, n), f.recordSize) != 0;
}

static void FreshHeader(uint8_t header[kHeaderSize]) {
  std::memset(header, 0, kHeaderSize);
  le::PutI32(header, 0, kCurrentVersion);
  le::PutU32(header, 4, UnixTimeNow32());
}

static std::vector<uint8_t> EmptyRecord(int32_t size, ClearFn clear) {
  std::vector<uint8_t> record(static_cast<size_t>(size), 0);
  if (clear != nullptr) clear(record.data());
  return record;
}

bool Create(const File& f, ClearFn clear, ProgressFn progress, void* context) {
  if (f.path[0] == '\0' || f.recordSize <= 0) return false;
  FileHandle h = FileIO_CreateRWS(f.path);
  if (h == kInvalidHandle) return false;
  uint8_t header[kHeaderSize];
  FreshHeader(header);
  bool ok = WriteAt(h, 0, header, kHeaderSize);
  std::vector<uint8_t> record = EmptyRecord(f.recordSize, clear);
  int32_t written = 0;
  Progress walk(f.path, static_cast<int64_t>(f.count) + 1, kProgressEndReported);
  for (int32_t n = 0; ok && n <= f.count; ++n) {
    ok = FileIO_Write(h, record.data(), f.recordSize) == f.recordSize;
    if (!ok) break;
    ++written;
    walk.Step();
    if (progress != nullptr && written % 100 == 0) progress(written, context);
  }
  FileIO_Close(h);
  return ok && written == f.count + 1;
}

bool Enlarge(const File& f, ClearFn clear) {
  if (f.path[0] == '\0' || f.recordSize <= 0) return false;
  FileHandle h = FileIO_OpenRWS(f.path);
  if (h == kInvalidHandle) return false;
  int64_t size = FileIO_Size(h);
  int64_t wanted = RecordPos(f.recordSize, f.count + 1);
  bool ok = size >= kHeaderSize;
  if (ok && size < wanted) {
    // Whole records only: a torn last record is completed with empty bytes
    // up to the next record boundary before new records follow.
    int64_t have = (size - kHeaderSize) / f.recordSize;
    std::vector<uint8_t> record = EmptyRecord(f.recordSize, clear);
    int64_t tail = size - RecordPos(f.recordSize, static_cast<int32_t>(have));
    if (tail > 0) {
      ok = WriteAt(h, size, record.data() + tail, f.recordSize - static_cast<int32_t>(tail));
      ++have;
    }
    Progress walk(f.path, f.count + 1 - have, kProgressEndReported);
    for (int64_t n = have; ok && n <= f.count; ++n) {
      ok = WriteAt(h, RecordPos(f.recordSize, static_cast<int32_t>(n)), record.data(), f.recordSize);
      walk.Step();
    }
  }
  FileIO_Close(h);
  return ok && (size >= wanted || StampHeader(f.path));
}

bool InitFile(File& f, const char* initPath, const char* name, int32_t recordSize, int32_t count,
              ClearFn clear) {
  if (f.openCount > 0) {  // a new Init drops a handle on the previous file
    FileIO_Close(f.handle);
    f.handle = kInvalidHandle;
    f.openCount = 0;
  }
  if (!Setup(f, initPath, name, recordSize, count)) return false;
  if (FileIO_Exist(f.path) == 0) return Create(f, clear);
  return Enlarge(f, clear);
}

bool ReadOnce(File& f, int32_t n, void* record) {
  if (n < 0 || n > f.count || record == nullptr) return false;
  FixedOpen open(&f);
  return open && ReadRecord(f, n, record);
}

bool WriteOnce(File& f, int32_t n, const void* record) {
  if (n < 0 || n > f.count || record == nullptr) return false;
  FixedOpen open(&f);
  return open && WriteRecord(f, n, record);
}

bool WriteLocked(File& f, int32_t n, const void* record) {
  if (n < 0 || n > f.count || record == nullptr) return false;
  FixedOpen open(&f);
  if (!open || !LockRecord(f, n)) return false;
  const bool ok = WriteRecord(f, n, record);
  (void)UnlockRecord(f, n);  // our own lock: nothing to do if it fails
  return ok;
}

int32_t FileVersion(const char* path) {
  FileHandle h = FileIO_OpenRWS(path);
  if (h == kInvalidHandle) return 0;
  int32_t version = 0;
  bool ok = ReadAt(h, 0, &version, 4);
  FileIO_Close(h);
  return ok ? version : 0;
}

bool StampHeader(const char* path) {
  FileHandle h = FileIO_OpenRWS(path);
  if (h == kInvalidHandle) return false;
  uint8_t header[kHeaderSize];
  bool ok = ReadAt(h, 0, header, kHeaderSize);
  if (ok) {
    le::PutU32(header, 4, UnixTimeNow32());
    ok = WriteAt(h, 0, header, kHeaderSize);
  }
  FileIO_Close(h);
  return ok;
}

// Copies everything behind the header, record by record; a torn record at
// the end is carried as it is.
static bool CopyRecords(const char* path, FileHandle from, FileHandle to, int64_t size, int32_t recordSize) {
  std::vector<uint8_t> record(static_cast<size_t>(recordSize));
  Progress walk(path, (size - kHeaderSize + recordSize - 1) / recordSize, kProgressEndReported);
  for (int64_t pos = kHeaderSize; pos < size; pos += recordSize) {
    int32_t chunk = static_cast<int32_t>(size - pos < recordSize ? size - pos : recordSize);
    if (!ReadAt(from, pos, record.data(), chunk) || !WriteAt(to, pos, record.data(), chunk)) return false;
    walk.Step();
  }
  return true;
}

bool RewriteAsVersion(const char* path, int32_t recordSize, int32_t newVersion) {
  char target[kMaxPath];
  int n = std::snprintf(target, sizeof target, "%s.%d", path, newVersion);
  if (n < 0 || n >= kMaxPath || recordSize <= 0) return false;
  FileHandle from = FileIO_OpenRWS(path);
  if (from == kInvalidHandle) return false;
  FileHandle to = FileIO_CreateRWS(target);
  bool ok = to != kInvalidHandle;
  uint8_t header[kHeaderSize];
  int64_t size = FileIO_Size(from);
  ok = ok && size >= kHeaderSize && ReadAt(from, 0, header, kHeaderSize);
  if (ok) {
    le::PutI32(header, 0, newVersion);
    le::PutU32(header, 4, UnixTimeNow32());
    ok = WriteAt(to, 0, header, kHeaderSize) && CopyRecords(path, from, to, size, recordSize);
  }
  FileIO_Close(from);
  FileIO_Close(to);
  // The new file takes the old one's place only once the copy is complete,
  // and in one step; a failed copy or swap leaves the old file untouched
  // and removes the new one.
  if (ok && FileIO_ReplaceFile(target, path)) return true;
  FileIO_DeleteFile(target);
  return false;
}

}  // namespace kv::fixed
