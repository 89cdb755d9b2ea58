// Invoice directory, names, records, status and archive moves.
#include "document/rechnung.h"

#include <cstdio>
#include <cstring>

#include "document/doc_files.h"
#include "services/le_fields.h"
#include "services/name_resolve.h"
#include "services/process_state.h"

namespace kv::rechnung {

namespace {

// Finds of the invoice directory deliver full paths, so one directory per
// open find is kept beside the find handle.
struct OpenFind {
  FindHandle handle = -1;
  char directory[kMaxPath] = "";
};
constexpr int kMaxFinds = 8;

// Family state, one thread at a time (services/process_state.h).
struct State {
  doc::Directories dirs{".\\RECHNUNG\\", doc::ArchiveRule::kInvoices};
  int32_t prefix = 0;
  OpenFind finds[kMaxFinds];
};
State& S() { return FamilyState<State>(); }

int32_t MoveBlock(FileHandle h, void* buffer, int32_t size, bool write) {
  if (h == kInvalidHandle || buffer == nullptr) return 0;
  const int32_t n = write ? FileIO_Write(h, buffer, size) : FileIO_Read(h, buffer, size);
  return n == size ? 1 : 0;
}

bool ArchiveExists() { return S().dirs.archive[0] != '\0' && FileIO_PathExist(S().dirs.archive); }

bool IsInvoiceName(const char* name) { return doc::IsDocumentName(name, "RECH", ".REC"); }

// An invoice file of the invoice directory (or, with inArchive, of either
// directory): its bare name to name. Every path a caller hands in passes
// here, so that no call reaches a file of another family or another place.
bool OwnInvoice(const char* path, bool orArchive, char* name) {
  if (doc::DirectlyInside(path, S().dirs.current, name)) return IsInvoiceName(name);
  return orArchive && S().dirs.archive[0] != '\0' && doc::DirectlyInside(path, S().dirs.archive, name) &&
         IsInvoiceName(name);
}

// After the invoice file at path (directory + documented name) has been
// missed: path := the file spelled otherwise on disk, if there is one.
bool OnDisk(char* path) {
  char dir[kMaxPath], name[kMaxPath], other[kMaxPath];
  if (path == nullptr || path[0] == '\0') return false;
  FileIO_Separate(path, dir, name);
  if (!doc::SpelledOtherwise(dir, name, other)) return false;
  std::memcpy(path, other, sizeof other);
  return true;
}

FileHandle OpenWritable(char* path, bool writable) {
  return writable ? FileIO_OpenRWS(path) : FileIO_OpenROS(path);
}

// Opens an invoice file by its path, or by the spelling it has on disk when
// the path as given misses.
FileHandle OpenOnDisk(char* path, bool writable) {
  FileHandle h = OpenWritable(path, writable);
  if (h != kInvalidHandle || !OnDisk(path)) return h;
  return OpenWritable(path, writable);
}

}  // namespace

void Init(int32_t prefix, const char* path) {
  S().prefix = prefix;
  S().dirs.Init(path);
}

doc::Directories& Dirs() { return S().dirs; }

char* CreateFileName(int32_t number, char* out) {
  if (out == nullptr) return nullptr;
  char name[48];
  if (number < 100000) {
    std::snprintf(name, sizeof name, "RECH%03d%05d.REC", S().prefix, number);
  } else if (number < 10000000) {
    std::snprintf(name, sizeof name, "RECH%08d.REC", number);
  } else {
    std::snprintf(name, sizeof name, "RECH%010d.REC", number);
  }
  if (!doc::JoinPath(S().dirs.current, name, out)) out[0] = '\0';
  return out;
}

FileHandle Create(int32_t number) {
  // A new invoice over an old one replaces it, as under the documented name;
  // it never starts a second file beside one spelled otherwise.
  char path[kMaxPath];
  CreateFileName(number, path);
  if (path[0] != '\0' && !FileIO_Exist(path)) OnDisk(path);
  return FileIO_CreateRWS(path);
}

int32_t Exists(int32_t number) {
  char path[kMaxPath];
  if (FileIO_Exist(CreateFileName(number, path))) return 1;
  return OnDisk(path) ? FileIO_Exist(path) : 0;
}

int32_t Delete(int32_t number) {
  char path[kMaxPath];
  if (FileIO_DeleteFile(CreateFileName(number, path))) return 1;
  return OnDisk(path) ? FileIO_DeleteFile(path) : 0;
}

int32_t WriteRecord(FileHandle h, void* record) {
  if (h == kInvalidHandle || record == nullptr) return 0;
  le::PutI32(record, kVersionOffset, RECHNUNGDBA_VERSION);
  return MoveBlock(h, record, RECHNUNGDBA_RECORD, true);
}

int32_t ReadRecord(FileHandle h, void* record) { return MoveBlock(h, record, RECHNUNGDBA_RECORD, false); }

int32_t WriteDetail(FileHandle h, const void* detail) {
  return MoveBlock(h, const_cast<void*>(detail), RECHNUNGDBA_DETAIL, true);
}

int32_t ReadDetail(FileHandle h, void* detail) { return MoveBlock(h, detail, RECHNUNGDBA_DETAIL, false); }

int32_t ChangeStatus(int32_t number, int32_t status, void* copy) {
  char path[kMaxPath];
  FileHandle h = OpenOnDisk(CreateFileName(number, path), true);
  if (h == kInvalidHandle) return 0;
  unsigned char record[RECHNUNGDBA_RECORD];
  int32_t ok = ReadRecord(h, record);
  if (ok) {
    le::PutI32(record, kStatusOffset, status);
    ok = FileIO_SetPos(h, 0) == 0 && WriteRecord(h, record);
  }
  FileIO_Close(h);
  if (ok && copy != nullptr) std::memcpy(copy, record, RECHNUNGDBA_RECORD);
  return ok;
}

int32_t GetStatus(int32_t number) {
  char path[kMaxPath];
  FileHandle h = OpenOnDisk(CreateFileName(number, path), false);
  if (h == kInvalidHandle) return 0;
  unsigned char record[RECHNUNGDBA_RECORD];
  int32_t status = 0;
  if (ReadRecord(h, record)) status = le::GetI32(record, kStatusOffset);
  FileIO_Close(h);
  return status;
}

FileHandle OpenFile(const char* path, bool writable) {
  char name[kMaxPath];
  if (!OwnInvoice(path, true, name)) return kInvalidHandle;
  char own[kMaxPath];
  std::memcpy(own, path, std::strlen(path) + 1);  // fits: OwnInvoice checked the length
  return OpenOnDisk(own, writable);
}

// The walk delivers invoice files only: the pattern must stay inside the
// invoice directory, and matches that are not invoice names are skipped.
FileHandle FindFirst(const char* pattern, char* path) {
  if (path == nullptr) return -1;
  path[0] = '\0';
  int slot = 0;
  while (slot < kMaxFinds && S().finds[slot].handle != -1) ++slot;
  if (slot == kMaxFinds) return -1;
  const char* mask = (pattern && pattern[0]) ? pattern : "RECH*.*";
  char full[kMaxPath];
  if (!doc::IsBarePattern(mask) || !doc::JoinPath(S().dirs.current, mask, full)) return -1;
  FindData fd;
  FindHandle fh = FileIO_FindFirstFile(full, &fd);
  if (fh == -1) return -1;
  while (!IsInvoiceName(fd.name)) {
    if (!FileIO_FindNextFile(fh, &fd)) {
      FileIO_FindClose(fh);
      return -1;
    }
  }
  OpenFind& f = S().finds[slot];
  f.handle = fh;
  FileIO_ExtractPath(full, f.directory);
  (void)doc::JoinPath(f.directory, fd.name, path);
  return fh;
}

int32_t FindNext(FileHandle h, char* path) {
  if (path == nullptr) return 0;
  for (OpenFind& f : S().finds) {
    if (f.handle != h || h == -1) continue;
    FindData fd;
    do {
      if (!FileIO_FindNextFile(h, &fd)) return 0;
    } while (!IsInvoiceName(fd.name));
    return doc::JoinPath(f.directory, fd.name, path) ? 1 : 0;
  }
  return 0;
}

void FindClose(FileHandle h) {
  for (OpenFind& f : S().finds) {
    if (f.handle == h && h != -1) {
      FileIO_FindClose(h);
      f.handle = -1;
    }
  }
}

// Only an invoice file of the invoice directory moves, and only between
// that directory and the archive under its own name.
int32_t MoveToArchive(const char* path, bool toArchive) {
  char name[kMaxPath], dir[kMaxPath];
  if (path == nullptr || !ArchiveExists() || !OwnInvoice(path, false, name)) return 0;
  FileIO_Separate(path, dir, nullptr);
  // Moving back takes the directory the invoice had before it was archived.
  // Either way the file keeps the name it has on disk, whatever its case.
  return toArchive ? doc::MoveDocument(dir, S().dirs.archive, name) : doc::MoveDocument(S().dirs.archive, dir, name);
}

}  // namespace kv::rechnung
