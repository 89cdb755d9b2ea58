// Fixed-record files: a 40-byte header whose first word is the format
// version and second word a time stamp (seconds since 1970, low 32 bits),
// followed by records 0 .. count of one fixed size, record n at
// 40 + n * size. The article, single-item, designation, EAN-item and
// item-extra files all share this shape; this module holds the parts they
// have in common (reference-counted open, positioned record I/O, creation,
// enlargement, the copy / delete / rename rewrite) so that each family only
// adds its own rules.
#ifndef KV_CORE_FIXED_RECORDS_H
#define KV_CORE_FIXED_RECORDS_H

#include <cstdint>

#include "services/fileio.h"

namespace kv::fixed {

constexpr int32_t kHeaderSize = 40;
constexpr int32_t kCurrentVersion = 600;

// Process-wide state of one family's file.
struct File {
  char path[kMaxPath] = {};   // full path of the file, empty before Init
  int32_t recordSize = 0;     // bytes per record
  int32_t count = 0;          // highest record number (the file holds 0 .. count)
  FileHandle handle = kInvalidHandle;
  int32_t openCount = 0;      // nesting depth of Open
};

// Sets the sizes and the path of the family's file from the path given to
// its Init: that path itself names the file, unless it names an existing
// directory or ends in a separator; then `name` is appended. An existing
// file is found whatever the case of its name. Closes nothing. False when
// the path does not fit.
[[nodiscard]] bool Setup(File& f, const char* initPath, const char* name, int32_t recordSize, int32_t count);
// Reference-counted open (read-write, shared): the handle, or -1.
FileHandle Open(File& f);
// Drops one reference; the last closes the file.
void Close(File& f);

// 40 + n * recordSize, computed in 64 bits.
inline int64_t RecordPos(int32_t recordSize, int32_t n) {
  return kHeaderSize + static_cast<int64_t>(n) * recordSize;
}

// The highest record number a call may address through handle h: the
// larger of the family's count and the last whole record the file holds (a
// file enlarged by a station with a larger count stays usable). Checked
// before any I/O, so that no number from a caller or from a damaged record
// can make the file grow past its records. -1 for a bad handle.
int32_t HighestRecord(FileHandle h, int32_t recordSize, int32_t count);
// True when records first .. first + n - 1 all lie within HighestRecord.
[[nodiscard]] bool RecordsWithin(FileHandle h, int32_t recordSize, int32_t count, int32_t first, int32_t n);

// Positions and moves exactly `size` bytes; true only when all moved.
[[nodiscard]] bool ReadAt(FileHandle h, int64_t pos, void* buffer, int32_t size);
[[nodiscard]] bool WriteAt(FileHandle h, int64_t pos, const void* buffer, int32_t size);

// Record n of an open family file, n in 0 .. count; false otherwise.
[[nodiscard]] bool ReadRecord(const File& f, int32_t n, void* record);
[[nodiscard]] bool WriteRecord(const File& f, int32_t n, const void* record);
// Byte-range lock / unlock of the record's own bytes on the open handle.
[[nodiscard]] bool LockRecord(const File& f, int32_t n);
[[nodiscard]] bool UnlockRecord(const File& f, int32_t n);
// As LockRecord without waiting for another handle's lock.
[[nodiscard]] bool TryLockRecord(const File& f, int32_t n);

// Setup, then creates the file when it is missing (records 0 .. count,
// each filled by clear) or enlarges it when it holds fewer. True when the
// file is there with all its records.
using ClearFn = void (*)(void* record);
[[nodiscard]] bool InitFile(File& f, const char* initPath, const char* name, int32_t recordSize, int32_t count,
              ClearFn clear);
// Open, read record n, close. False for n outside 0 .. count.
[[nodiscard]] bool ReadOnce(File& f, int32_t n, void* record);
// Open, write record n, close (no lock: callers that read-modify-write
// hold the record lock around both).
[[nodiscard]] bool WriteOnce(File& f, int32_t n, const void* record);
// Open, lock record n, write it, unlock, close.
[[nodiscard]] bool WriteLocked(File& f, int32_t n, const void* record);

// Called with the number of records written so far.
using ProgressFn = void (*)(int32_t written, void* context);

// Creates (or truncates) the file: header {600, now, 0...}, then records
// 0 .. count, each filled by clear (all zero when clear is null). The
// progress function, when given, is called after every 100th record.
// True when every record was written.
[[nodiscard]] bool Create(const File& f, ClearFn clear, ProgressFn progress = nullptr, void* context = nullptr);
// Appends empty records until the file holds 0 .. count and stamps the
// header; true when it does afterwards (also when it already did).
[[nodiscard]] bool Enlarge(const File& f, ClearFn clear);

// Header version of the file at path (opened on its own handle); 0 when it
// cannot be opened or read.
int32_t FileVersion(const char* path);
// Sets the header's time stamp to now on a handle of its own.
[[nodiscard]] bool StampHeader(const char* path);

// Rewrites the file at path under a new version number following the
// protocol every upgrade keeps: copy header and records into
// "<path>.<version>", delete the old file, rename the copy into place.
// Records are copied whole, recordSize bytes at a time, at their positions.
[[nodiscard]] bool RewriteAsVersion(const char* path, int32_t recordSize, int32_t newVersion);

}  // namespace kv::fixed

#endif  // KV_CORE_FIXED_RECORDS_H
