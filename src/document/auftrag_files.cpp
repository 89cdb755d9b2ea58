// Order directory, file names and the block I/O of one order file.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "document/auftrag.h"
#include "document/doc_files.h"
#include "services/cause.h"
#include "services/le_fields.h"
#include "services/name_resolve.h"
#include "services/platform.h"
#include "services/process_state.h"
#include "services/storage.h"

namespace kv::auftrag {

namespace {

// One order directory and one archive directory for the whole process; the
// switch swaps them so that every operation works on the archive instead.
// Family state, one thread at a time (services/process_state.h).
struct State {
  doc::Directories dirs{".\\AUFTRAG\\", doc::ArchiveRule::kOrders};
  int32_t initFlag = 0;
};
State& S() { return FamilyState<State>(); }

using le::GetI32;
using le::PutU32;

bool FirstWordSet(const void* position) {
  return le::GetU16(position, 0) != 0;
}

int64_t BlockOffset(int32_t p, int32_t reference, const Format& f) {
  const int64_t block = 2 * static_cast<int64_t>(p) - (reference ? 0 : 1);
  return block * f.blockSize;
}

// Order files are addressed with 32-bit byte positions, as the bulk read of
// all positions is: a block ending past 2^31 - 1 is a failed seek, refused
// before any I/O (a position number near INT32_MAX would otherwise make a
// file of hundreds of terabytes).
bool Addressable(int64_t offset, int32_t size) {
  if (offset + size <= INT32_MAX) return true;
  NoteFailure(Cause::kBadArgument, "order block at byte %lld: past the 2 GiB an order file can address",
              static_cast<long long>(offset));
  return false;
}

int32_t ReadBlockAt(FileHandle h, int64_t offset, void* buffer, int32_t size) {
  if (buffer == nullptr || !Addressable(offset, size) || FileIO_SetPos(h, offset) != offset) return 0;
  return FileIO_Read(h, buffer, size) == size ? 1 : 0;
}

int32_t WriteBlockAt(FileHandle h, int64_t offset, const void* buffer, int32_t size) {
  if (buffer == nullptr || !Addressable(offset, size) || FileIO_SetPos(h, offset) != offset) return 0;
  return FileIO_Write(h, buffer, size) == size ? 1 : 0;
}

// Position p and, with the very same bytes (stamp included), its reference copy.
int32_t WritePair(FileHandle h, int32_t p, void* position, const Format& f) {
  return WritePosition(h, p, 0, position, true, f) && WritePosition(h, p, 1, position, false, f);
}

// Opens order `number` read-write under its documented name, or, when that
// misses, under the spelling it has on disk (an order copied from Windows as
// "aft00012.dat"). Only a miss reads the directory. With create, an order
// that exists under no spelling is created under the documented name; one
// that exists but does not open is never created a second time beside it.
FileHandle OpenOrder(int32_t number, bool create) {
  char name[32], path[kMaxPath];
  CreateFileName(number, name, 0);
  if (!doc::JoinPath(S().dirs.current, name, path)) return kInvalidHandle;
  FileHandle h = FileIO_OpenRWS(path);
  if (h != kInvalidHandle) return h;
  char other[kMaxPath];
  if (doc::SpelledOtherwise(S().dirs.current, name, other)) return FileIO_OpenRWS(other);
  return create && !FileIO_Exist(path) ? FileIO_CreateRWS(path) : kInvalidHandle;
}

FileHandle OpenOrCreate(int32_t number) { return OpenOrder(number, true); }

}  // namespace

// ---- directories and names -------------------------------------------------

void Init(int32_t flag, const char* path) {
  S().initFlag = flag;
  S().dirs.Init(path);
}

int32_t InitFlag() { return S().initFlag; }
doc::Directories& Dirs() { return S().dirs; }

char* CreateFileName(int32_t number, char* out, int32_t withDirectory) {
  if (out == nullptr) return nullptr;
  char name[32];
  if (number < 100000) {
    std::snprintf(name, sizeof name, "AFT%05d.DAT", number);
  } else if (number < 100000000) {
    std::snprintf(name, sizeof name, "AFT%08d.DAT", number);
  } else {
    std::snprintf(name, sizeof name, "AFT%010d.DAT", number);
  }
  if (withDirectory) {
    (void)doc::JoinPath(S().dirs.current, name, out);
  } else {
    std::strcpy(out, name);
  }
  return out;
}

// ---- blocks of one open file -------------------------------------------------

FileHandle Open(int32_t number) { return OpenOrder(number, false); }

bool ExistingFile(int32_t number, char* path) {
  char name[32];
  CreateFileName(number, name, 0);
  if (!doc::PathOnDisk(S().dirs.current, name, path)) return false;
  return FileIO_Exist(path) != 0;
}

int32_t ReadHeader(FileHandle h, void* header, const Format& f) {
  return ReadBlockAt(h, 0, header, f.blockSize);
}

int32_t WriteHeader(FileHandle h, void* header, bool stamp, const Format& f) {
  if (header == nullptr) return 0;
  if (stamp) {
    PutU32(header, kHeaderTimeOffset, UnixTimeNow32());
    PutU32(header, kHeaderVersionOffset, static_cast<uint32_t>(f.version));
  }
  return WriteBlockAt(h, 0, header, f.blockSize);
}

int32_t ReadPosition(FileHandle h, int32_t p, int32_t reference, void* position, const Format& f) {
  if (p < 1) return 0;
  return ReadBlockAt(h, BlockOffset(p, reference, f), position, f.blockSize);
}

int32_t WritePosition(FileHandle h, int32_t p, int32_t reference, void* position, bool stamp,
                      const Format& f) {
  if (p < 1 || position == nullptr) return 0;
  // The 3980-byte positions of format 550 have no time field.
  if (stamp && f.blockSize > kPositionTimeOffset) {
    PutU32(position, kPositionTimeOffset, UnixTimeNow32());
  }
  return WriteBlockAt(h, BlockOffset(p, reference, f), position, f.blockSize);
}

int32_t PositionCount(FileHandle h, const Format& f) {
  // Position p reads in full exactly when the file reaches 2p blocks, so
  // the count follows from the length without reading gigabytes.
  // Only the addressable part of the file counts.
  const int64_t size = std::min<int64_t>(FileIO_Size(h), INT32_MAX);
  if (size < 0) return 0;
  return static_cast<int32_t>(size / (2 * static_cast<int64_t>(f.blockSize)));
}

int32_t ReadAllPositions(FileHandle h, int32_t count, void* buffer) {
  if (h == kInvalidHandle || buffer == nullptr || count < 1) return 0;
  const int64_t bytes = 2 * static_cast<int64_t>(count) * kFormat560.blockSize;
  if (bytes > INT32_MAX) return 0;  // one transfer cannot report more
  return FileIO_Read(h, buffer, static_cast<int32_t>(bytes));
}

// ---- whole orders by number ----------------------------------------------------

int32_t ReadHeaderOf(int32_t number, void* header, const Format& f) {
  if (header == nullptr) return 0;
  return ReadHeaderAndClose(Open(number), header, f);
}

int32_t ReadHeaderAndClose(FileHandle h, void* header, const Format& f) {
  std::memset(header, 0, static_cast<size_t>(f.blockSize));
  if (h == kInvalidHandle) return 0;
  const int32_t ok = ReadHeader(h, header, f);
  FileIO_Close(h);
  if (!ok) std::memset(header, 0, static_cast<size_t>(f.blockSize));
  return ok;
}

int32_t WriteHeaderOf(int32_t number, void* header, const Format& f) {
  if (header == nullptr) return 0;
  FileHandle h = OpenOrCreate(number);
  if (h == kInvalidHandle) return 0;
  const int32_t ok = WriteHeader(h, header, true, f);
  FileIO_Close(h);
  return ok;
}

int32_t ReadPositionOf(int32_t number, int32_t p, int32_t reference, void* position) {
  if (position == nullptr) return 0;
  int32_t ok = 0;
  FileHandle h = Open(number);
  if (h != kInvalidHandle) {
    ok = ReadPosition(h, p, reference, position, kFormat560) && FirstWordSet(position);
    FileIO_Close(h);
  }
  if (!ok) std::memset(position, 0, static_cast<size_t>(kFormat560.blockSize));
  return ok;
}

int32_t WritePositionOf(int32_t number, int32_t p, int32_t reference, void* position,
                        const Format& f) {
  if (position == nullptr || p < 1) return 0;
  FileHandle h = Open(number);  // positions need the order's header first
  if (h == kInvalidHandle) return 0;
  const int32_t ok = WritePosition(h, p, reference, position, true, f);
  FileIO_Close(h);
  return ok;
}

int32_t WritePositionWithReference(int32_t number, int32_t p, void* position) {
  if (position == nullptr || p < 1) return 0;
  FileHandle h = Open(number);
  if (h == kInvalidHandle) return 0;
  const int32_t ok = WritePair(h, p, position, kFormat560);
  FileIO_Close(h);
  return ok;
}

int32_t NewPosition(int32_t number, void* position, const Format& f) {
  if (position == nullptr) return 0;
  FileHandle h = Open(number);
  if (h == kInvalidHandle) return 0;
  const int32_t p = PositionCount(h, f) + 1;
  const int32_t ok = WritePair(h, p, position, f);
  FileIO_Close(h);
  return ok ? p : 0;
}

int32_t NextFreePosition(int32_t number, const Format& f) {
  FileHandle h = Open(number);
  if (h == kInvalidHandle) return 1;
  const int32_t count = PositionCount(h, f);
  FileIO_Close(h);
  return count + 1;
}

int32_t DeletePosition(int32_t number, int32_t p) {
  // The blocks stay where they are so that the numbers of the following
  // positions do not change; a zero first word marks the position missing.
  FileHandle h = Open(number);
  if (h == kInvalidHandle) return 0;
  int32_t ok = 0;
  if (p >= 1 && p <= PositionCount(h, kFormat560)) {
    StorageBlock zero(kFormat560.blockSize);
    if (zero) {
      std::memset(zero.get(), 0, static_cast<size_t>(kFormat560.blockSize));
      ok = WritePosition(h, p, 0, zero.get(), false, kFormat560) &&
           WritePosition(h, p, 1, zero.get(), false, kFormat560);
    }
  }
  FileIO_Close(h);
  return ok;
}

int32_t DeleteOrder(int32_t number) {
  char name[32], path[kMaxPath];
  CreateFileName(number, name, 0);
  if (!doc::JoinPath(S().dirs.current, name, path)) return 1;
  if (!FileIO_DeleteFile(path) && doc::SpelledOtherwise(S().dirs.current, name, path)) {
    FileIO_DeleteFile(path);
  }
  return 1;
}

int32_t IsStillEmpty(int32_t number) {
  StorageBlock header(kFormat560.blockSize);
  if (!header) return 0;  // cannot tell: never report an order as empty
  ReadHeaderOf(number, header.get(), kFormat560);
  const char* h = static_cast<const char*>(header.get());
  if (std::memcmp(h + kHeaderKindOffset, "SLR", 3) == 0) return h[kHeaderSlrTextOffset] == 0;
  return GetI32(h, kHeaderContentOffset) == 0;
}

int32_t MoveToArchive(int32_t number, bool toArchive) {
  if (S().dirs.archive[0] == '\0' || !FileIO_PathExist(S().dirs.archive)) return 0;
  char name[32];
  CreateFileName(number, name, 0);
  // The file keeps the name it has on disk, whatever its case.
  return toArchive ? doc::MoveDocument(S().dirs.current, S().dirs.archive, name)
                   : doc::MoveDocument(S().dirs.archive, S().dirs.current, name);
}

// ---- positions ahead of *p -------------------------------------------------------

int32_t NextPositionInFile(FileHandle h, int32_t* p, void* position) {
  if (h == kInvalidHandle || p == nullptr || position == nullptr) return 0;
  const int32_t count = PositionCount(h, kFormat560);
  for (int32_t q = (*p < 0 ? 0 : *p) + 1; q <= count; ++q) {
    if (ReadPosition(h, q, 0, position, kFormat560) && FirstWordSet(position)) {
      *p = q;
      return 1;
    }
  }
  return 0;
}

int32_t NextPosition(int32_t number, int32_t* p, void* position) {
  FileHandle h = Open(number);
  if (h == kInvalidHandle) return 0;
  const int32_t ok = NextPositionInFile(h, p, position);
  FileIO_Close(h);
  return ok;
}

void* NextPositionAddress(void* image, int32_t count, int32_t* p) {
  if (image == nullptr || p == nullptr) return nullptr;
  for (int32_t q = (*p < 0 ? 0 : *p) + 1; q <= count; ++q) {
    char* block = static_cast<char*>(image) + 2 * static_cast<int64_t>(q - 1) * kFormat560.blockSize;
    if (FirstWordSet(block)) {
      *p = q;
      return block;
    }
  }
  return nullptr;
}

int32_t SetPositionInImage(void* image, int32_t count, int32_t p, int32_t reference,
                           const void* position) {
  if (image == nullptr || position == nullptr || p < 1 || p > count) return 0;
  const int64_t block = 2 * static_cast<int64_t>(p - 1) + (reference ? 1 : 0);
  std::memcpy(static_cast<char*>(image) + block * kFormat560.blockSize, position,
              static_cast<size_t>(kFormat560.blockSize));
  return 1;
}

}  // namespace kv::auftrag
