// Win32 implementation of the file layer.
//
// A FileHandle is an index into a table of Win32 HANDLEs, so that callers
// keep the 32-bit value they store in descriptors on both 32- and 64-bit
// Windows. Every shared open passes FILE_SHARE_READ | FILE_SHARE_WRITE |
// FILE_SHARE_DELETE: several programs on several workstations hold the same
// record file open at once, and an upgrade renames or deletes files that
// another program may still have open.
//
// LockFileEx locks belong to the handle and conflict between two handles of
// the same process, which is exactly the behaviour the record engine needs.
// The table of held ranges per handle adds what the system call cannot say:
// whether a refused range is held by this very handle (refused at once: it
// would wait for itself until the time-out) or by another one (waited for),
// and which ranges FileIO_HoldsLock and an exact unlock may name. It also
// makes the answers the same, call for call, as on POSIX.
//
// The table also keeps each handle's position: FileIO_SetPos only records it,
// and FileIO_Read / FileIO_Write pass it to ReadFile / WriteFile in an
// OVERLAPPED offset, so that a record move is one system call instead of a
// SetFilePointerEx plus a transfer. Append handles leave the offset to the
// system (every write goes to the end).
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "services/cause.h"
#include "services/fault.h"
#include "services/fileio.h"
#include "services/fileio_list.h"
#include "services/lock_ranges.h"
#include "services/lockfile_mark.h"
#include "services/platform.h"
#include "services/process_state.h"

namespace kv {

namespace {

struct FileId {
  DWORD volume = 0;
  uint64_t index = 0;
  bool operator==(const FileId& o) const { return volume == o.volume && index == o.index; }
};

struct Slot {
  HANDLE handle = INVALID_HANDLE_VALUE;
  FileId file;               // which file the handle is open on
  bool append = false;       // every write goes to the end
  HeldRanges locks;          // ranges locked through this handle
  int64_t position = 0;      // where the next read or write starts
};

Mutex& TableMutex() { return ProcessMutex<struct Win32HandleTable>(); }
// Slot i is FileHandle i; a free slot has INVALID_HANDLE_VALUE.
std::vector<Slot>& Slots() {
  static std::vector<Slot> table;
  return table;
}

HANDLE Get(FileHandle h) {
  MutexLock lock(TableMutex());
  if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return INVALID_HANDLE_VALUE;
  return Slots()[static_cast<size_t>(h)].handle;
}

// The handle with its position and append mode; INVALID_HANDLE_VALUE for a
// handle that is not open.
HANDLE GetWithPosition(FileHandle h, int64_t* position, bool* append) {
  MutexLock lock(TableMutex());
  if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return INVALID_HANDLE_VALUE;
  const Slot& s = Slots()[static_cast<size_t>(h)];
  *position = s.position;
  *append = s.append;
  return s.handle;
}

void SetPosition(FileHandle h, int64_t position) {
  MutexLock lock(TableMutex());
  if (h >= 0 && static_cast<size_t>(h) < Slots().size()) Slots()[static_cast<size_t>(h)].position = position;
}

// Only disk files are data files. A named pipe, a console or a device
// ("NUL", "COM1", "\\.\pipe\x") in place of one could block every read;
// such a handle is closed again and the open fails like a missing file.
HANDLE DiskFileOnly(HANDLE handle) {
  if (handle == INVALID_HANDLE_VALUE || GetFileType(handle) == FILE_TYPE_DISK) return handle;
  CloseHandle(handle);
  SetLastError(ERROR_FILE_NOT_FOUND);
  return INVALID_HANDLE_VALUE;
}

FileHandle Register(HANDLE handle, bool append = false) {
  handle = DiskFileOnly(handle);
  if (handle == INVALID_HANDLE_VALUE) return kInvalidHandle;
  Slot slot;
  slot.handle = handle;
  slot.append = append;
  BY_HANDLE_FILE_INFORMATION info;
  if (GetFileInformationByHandle(handle, &info)) {
    slot.file.volume = info.dwVolumeSerialNumber;
    slot.file.index = (static_cast<uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
  }
  MutexLock lock(TableMutex());
  auto& slots = Slots();
  for (size_t i = 0; i < slots.size(); ++i) {
    if (slots[i].handle == INVALID_HANDLE_VALUE) {
      slots[i] = std::move(slot);
      return static_cast<FileHandle>(i);
    }
  }
  if (slots.size() >= static_cast<size_t>(INT32_MAX)) {
    CloseHandle(handle);
    return kInvalidHandle;
  }
  slots.push_back(std::move(slot));
  return static_cast<FileHandle>(slots.size() - 1);
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

FileHandle OpenWith(const char* path, DWORD access, DWORD disposition, fault::Kind kind) {
  std::string p = NativePath(path);
  if (p.empty() || fault::Fire(kind)) return kInvalidHandle;
  // A directory cannot be opened without FILE_FLAG_BACKUP_SEMANTICS, so it
  // fails here like a missing file.
  HANDLE h = CreateFileA(p.c_str(), access, kShareAll, nullptr, disposition,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  return Register(h);
}

OVERLAPPED At(int64_t position) {
  OVERLAPPED ov;
  std::memset(&ov, 0, sizeof ov);
  ov.Offset = static_cast<DWORD>(static_cast<uint64_t>(position) & 0xFFFFFFFFu);
  ov.OffsetHigh = static_cast<DWORD>(static_cast<uint64_t>(position) >> 32);
  return ov;
}

DWORD Low(int64_t v) { return static_cast<DWORD>(static_cast<uint64_t>(v) & 0xFFFFFFFFu); }
DWORD High(int64_t v) { return static_cast<DWORD>(static_cast<uint64_t>(v) >> 32); }

// One attempt at the system lock; true when taken.
bool SystemLock(HANDLE h, int64_t position, int64_t length) {
  OVERLAPPED ov = At(position);
  return LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, Low(length),
                    High(length), &ov) != 0;
}

int32_t LockRange(FileHandle h, int64_t position, int64_t length, bool wait) {
  if (!LockableRange(position, length)) return 0;
  HANDLE handle;
  {
    MutexLock lock(TableMutex());
    if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return 0;
    const Slot& s = Slots()[static_cast<size_t>(h)];
    if (s.handle == INVALID_HANDLE_VALUE) return 0;
    if (s.locks.Overlaps(position, length)) return 0;  // held by this handle
    handle = s.handle;
  }
  bool taken = PollLock(wait, [&] {
    if (SystemLock(handle, position, length)) return LockAttempt::kTaken;
    DWORD err = GetLastError();
    return err == ERROR_LOCK_VIOLATION || err == ERROR_IO_PENDING || err == ERROR_SHARING_VIOLATION
               ? LockAttempt::kBusy
               : LockAttempt::kFailed;
  });
  if (!taken) {
    NoteFailure(Cause::kLocked, "lock bytes %lld..%lld of handle %d: held by another handle%s",
                static_cast<long long>(position), static_cast<long long>(position + length - 1),
                static_cast<int>(h), wait ? " past the time-out" : "");
    return 0;
  }
  MutexLock lock(TableMutex());
  Slots()[static_cast<size_t>(h)].locks.Add(position, length);
  return 1;
}

// Byte-range locks on Windows are mandatory: a range that one handle has
// locked cannot be read or written through any other handle, not even one of
// the same process, and ReadFile/WriteFile fail outright. Windows enforces
// that itself; Wine, on which the test suite runs, does not. So the handle
// table repeats the check for the handles of this process: the library then
// behaves the same on both, and code that reads a range through one handle
// while another handle of its own holds the lock fails under Wine just as it
// would in a shop. (Locks held by other processes are left to the system.)
bool LockedByAnotherHandle(FileHandle h, int64_t length) {
  HANDLE handle;
  FileId file;
  bool append;
  LARGE_INTEGER at;
  {
    MutexLock lock(TableMutex());
    const Slot& s = Slots()[static_cast<size_t>(h)];
    handle = s.handle;
    file = s.file;
    append = s.append;
    at.QuadPart = s.position;
  }
  if (append && !GetFileSizeEx(handle, &at)) return false;
  MutexLock lock(TableMutex());
  const auto& slots = Slots();
  for (size_t i = 0; i < slots.size(); ++i) {
    if (static_cast<FileHandle>(i) == h || slots[i].handle == INVALID_HANDLE_VALUE) continue;
    if (!(slots[i].file == file)) continue;
    if (slots[i].locks.Overlaps(at.QuadPart, length)) return true;
  }
  return false;
}

// FILETIME (100 ns since 1601) to seconds since 1970.
int64_t UnixSeconds(const FILETIME& ft) {
  uint64_t t = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  return static_cast<int64_t>(t / 10000000ULL) - 11644473600LL;
}

void FillFindData(const WIN32_FIND_DATAA& w, FindData* out) {
  std::memset(out, 0, sizeof *out);
  std::snprintf(out->name, sizeof out->name, "%s", w.cFileName);
  out->size = static_cast<int64_t>((static_cast<uint64_t>(w.nFileSizeHigh) << 32) | w.nFileSizeLow);
  out->lastWrite = UnixSeconds(w.ftLastWriteTime);
  out->isDirectory = (w.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? 1 : 0;
}

DWORD Attributes(const char* path) {
  std::string p = NativePath(path);
  if (p.empty()) return INVALID_FILE_ATTRIBUTES;
  // "C:\data\" names the directory too; the trailing separator is dropped
  // except for a drive root.
  if (p.size() > 1 && p.back() == '\\' && p[p.size() - 2] != ':') p.pop_back();
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExA(p.c_str(), GetFileExInfoStandard, &data)) return INVALID_FILE_ATTRIBUTES;
  return data.dwFileAttributes;
}

}  // namespace

// The system also matches the short 8.3 names ("*.DAT" would find
// "X.DATX"); so the whole directory is listed and the long names are matched
// here, with the same rules as everywhere else.
bool ListDirectoryMatches(const char* pattern, bool directories, std::vector<FindData>* out) {
  std::string p = NativePath(pattern);
  if (p.empty()) return false;
  size_t cut = p.find_last_of("\\:");
  std::string mask = cut == std::string::npos ? p : p.substr(cut + 1);
  std::string dir = cut == std::string::npos ? std::string() : p.substr(0, cut + 1);
  if (mask.empty()) mask.push_back('*');
  std::string all = dir + "*";
  WIN32_FIND_DATAA w;
  HANDLE f = FindFirstFileA(all.c_str(), &w);
  if (f == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
  do {
    if (std::strcmp(w.cFileName, ".") == 0 || std::strcmp(w.cFileName, "..") == 0) continue;
    if (!WildcardMatch(mask.c_str(), w.cFileName)) continue;
    bool isDir = (w.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (isDir != directories) continue;
    FindData fd;
    FillFindData(w, &fd);
    out->push_back(fd);
  } while (FindNextFileA(f, &w));
  FindClose(f);
  return true;
}

// Records why an open failed (the caller may still go on, e.g. create the
// file; then nothing is reported).
static FileHandle NoteOpen(const char* operation, const char* path, FileHandle h) {
  if (h != kInvalidHandle) return h;
  DWORD error = GetLastError();
  if (error == ERROR_SUCCESS) error = ERROR_GEN_FAILURE;  // refused here (a fault test)
  NoteSystemFailure(static_cast<int32_t>(error), "%s %s", operation, path ? path : "(null)");
  return h;
}

FileHandle FileIO_OpenRWS(const char* path) {
  SetLastError(ERROR_SUCCESS);
  return NoteOpen("open", path,
                  OpenWith(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING, fault::Kind::Open));
}
FileHandle FileIO_OpenROS(const char* path) {
  SetLastError(ERROR_SUCCESS);
  return NoteOpen("open", path, OpenWith(path, GENERIC_READ, OPEN_EXISTING, fault::Kind::Open));
}
FileHandle FileIO_CreateRWS(const char* path) {
  SetLastError(ERROR_SUCCESS);
  return NoteOpen("create", path,
                  OpenWith(path, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS, fault::Kind::Create));
}

void FileIO_Close(FileHandle h) {
  HANDLE handle;
  {
    MutexLock lock(TableMutex());
    if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return;
    Slot& s = Slots()[static_cast<size_t>(h)];
    handle = s.handle;
    s.handle = INVALID_HANDLE_VALUE;
    s.locks.Clear();
  }
  // Closing releases the handle's locks; a FILE_FLAG_DELETE_ON_CLOSE file
  // disappears with its last handle.
  if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
}

int64_t FileIO_SetPos(FileHandle h, int64_t position) {
  HANDLE handle = Get(h);
  if (handle == INVALID_HANDLE_VALUE || position < 0) return -1;
  SetPosition(h, position);
  return position;
}

int64_t FileIO_SetPosFromEnd(FileHandle h, int64_t distance) {
  HANDLE handle = Get(h);
  LARGE_INTEGER size;
  if (handle == INVALID_HANDLE_VALUE || distance < 0 || !GetFileSizeEx(handle, &size)) return -1;
  if (size.QuadPart < distance) return -1;  // before the start, as SetFilePointerEx refuses it
  SetPosition(h, size.QuadPart - distance);
  return size.QuadPart - distance;
}

int64_t FileIO_GetPos(FileHandle h) {
  int64_t position;
  bool append;
  HANDLE handle = GetWithPosition(h, &position, &append);
  if (handle == INVALID_HANDLE_VALUE) return -1;
  if (!append) return position;
  LARGE_INTEGER zero, now;
  zero.QuadPart = 0;
  if (!SetFilePointerEx(handle, zero, &now, FILE_CURRENT)) return -1;
  return now.QuadPart;
}

// NTFS may put off updating a file's write time, so no stamp is offered:
// readers read again in every call.
bool FileIO_Stamp(FileHandle, FileStamp*) { return false; }

int64_t FileIO_Size(FileHandle h) {
  HANDLE handle = Get(h);
  LARGE_INTEGER size;
  if (handle == INVALID_HANDLE_VALUE || !GetFileSizeEx(handle, &size)) return -1;
  return size.QuadPart;
}

// ReadFile at the handle's position; a read at or past the end of the file
// fails with ERROR_HANDLE_EOF, which is a short read like any other.
int32_t FileIO_Read(FileHandle h, void* buffer, int32_t count) {
  int64_t position;
  bool append;
  HANDLE handle = GetWithPosition(h, &position, &append);
  if (buffer == nullptr || count <= 0 || handle == INVALID_HANDLE_VALUE) return 0;
  if (fault::Fire(fault::Kind::Read)) return 0;
  if (LockedByAnotherHandle(h, count)) {
    NoteFailure(Cause::kLocked, "read from handle %d: bytes locked by another handle", static_cast<int>(h));
    return 0;
  }
  char* p = static_cast<char*>(buffer);
  int32_t done = 0;
  while (done < count) {
    DWORD n = 0;
    OVERLAPPED ov = At(position + done);
    if (!ReadFile(handle, p + done, static_cast<DWORD>(count - done), &n, &ov)) {
      // Another process's lock on the bytes: a busy record, not a short file.
      const DWORD error = GetLastError();
      if (error == ERROR_LOCK_VIOLATION) NoteSystemFailure(static_cast<int32_t>(error), "read from handle %d", static_cast<int>(h));
      break;
    }
    if (n == 0) break;
    done += static_cast<int32_t>(n);
  }
  SetPosition(h, position + done);
  return done;
}

static std::atomic<uint64_t> g_writeGeneration{0};

uint64_t FileIO_WriteGeneration() { return g_writeGeneration.load(std::memory_order_relaxed); }

int32_t FileIO_Write(FileHandle h, const void* buffer, int32_t count) {
  g_writeGeneration.fetch_add(1, std::memory_order_relaxed);
  int64_t position;
  bool append;
  HANDLE handle = GetWithPosition(h, &position, &append);
  if (buffer == nullptr || count <= 0 || handle == INVALID_HANDLE_VALUE) return 0;
  if (LockedByAnotherHandle(h, count)) {
    NoteFailure(Cause::kLocked, "write to handle %d: bytes locked by another handle", static_cast<int>(h));
    return 0;
  }
  DWORD want = static_cast<DWORD>(count);
  // An injected fault is a short write: half of the bytes reach the file,
  // as on a full disk.
  if (fault::Fire(fault::Kind::Write)) want = static_cast<DWORD>(count / 2);
  const char* p = static_cast<const char*>(buffer);
  DWORD done = 0;
  while (done < want) {
    DWORD n = 0;
    OVERLAPPED ov = At(position + done);
    // An append handle writes at the end whatever the offset says; it gets
    // no OVERLAPPED, as before.
    if (!WriteFile(handle, p + done, want - done, &n, append ? nullptr : &ov) || n == 0) break;
    done += n;
  }
  if (!append) SetPosition(h, position + static_cast<int64_t>(done));
  if (done < static_cast<DWORD>(count)) {
    DWORD error = GetLastError();
    NoteSystemFailure(static_cast<int32_t>(error == ERROR_SUCCESS ? ERROR_DISK_FULL : error),
                      "write to handle %d", static_cast<int>(h));
  }
  return static_cast<int32_t>(done);
}

int32_t FileIO_Lock(FileHandle h, int64_t position, int64_t length) {
  return LockRange(h, position, length, true);
}

int32_t FileIO_TryLock(FileHandle h, int64_t position, int64_t length) {
  return LockRange(h, position, length, false);
}

int32_t FileIO_Unlock(FileHandle h, int64_t position, int64_t length) {
  MutexLock lock(TableMutex());
  if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return 0;
  Slot& s = Slots()[static_cast<size_t>(h)];
  if (s.handle == INVALID_HANDLE_VALUE) return 0;
  if (!s.locks.RemoveExact(position, length)) return 0;
  OVERLAPPED ov = At(position);
  UnlockFileEx(s.handle, 0, Low(length), High(length), &ov);
  return 1;
}

int32_t FileIO_HoldsLock(FileHandle h, int64_t position, int64_t length) {
  MutexLock lock(TableMutex());
  if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return 0;
  return Slots()[static_cast<size_t>(h)].locks.Overlaps(position, length) ? 1 : 0;
}

int32_t FileIO_TestLock(FileHandle h, int64_t position, int64_t length) {
  if (!LockableRange(position, length)) return -1;
  HANDLE handle;
  {
    MutexLock lock(TableMutex());
    if (h < 0 || static_cast<size_t>(h) >= Slots().size()) return -1;
    const Slot& s = Slots()[static_cast<size_t>(h)];
    if (s.handle == INVALID_HANDLE_VALUE) return -1;
    if (s.locks.Overlaps(position, length)) return 0;  // this handle's own
    handle = s.handle;
  }
  // Windows has no way to ask without locking: take the range for an
  // instant and give it back.
  if (SystemLock(handle, position, length)) {
    OVERLAPPED ov = At(position);
    UnlockFileEx(handle, 0, Low(length), High(length), &ov);
    return 0;
  }
  const DWORD err = GetLastError();
  return err == ERROR_LOCK_VIOLATION || err == ERROR_IO_PENDING || err == ERROR_SHARING_VIOLATION ? 1 : -1;
}

int32_t FileIO_Exist(const char* path) {
  DWORD a = Attributes(path);
  return a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY) ? 1 : 0;
}

int32_t FileIO_PathExist(const char* directory) {
  DWORD a = Attributes(directory);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) ? 1 : 0;
}

int32_t FileIO_MakeMultiPath(const char* path) {
  std::string p = NativePath(path);
  if (p.empty()) return 0;
  for (size_t i = 1; i <= p.size(); ++i) {
    if (i == p.size() || p[i] == '\\') {
      std::string part = p.substr(0, i);
      if (part.back() == ':' || part == "\\" || (part.size() == 2 && part == "\\\\")) continue;
      if (!CreateDirectoryA(part.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS &&
          FileIO_PathExist(part.c_str()) == 0) {
        // A server or share name ("\\server\share") cannot be created but
        // may exist; only a missing last component is a failure.
        if (i == p.size()) return 0;
      }
    }
  }
  return FileIO_PathExist(path);
}

int32_t FileIO_PathCreate(const char* directory) { return FileIO_MakeMultiPath(directory); }

int32_t FileIO_DeleteFile(const char* path) {
  std::string p = NativePath(path);
  return !p.empty() && FileIO_Exist(path) && DeleteFileA(p.c_str()) ? 1 : 0;
}

int32_t FileIO_RenameFile(const char* oldPath, const char* newPath) {
  std::string from = NativePath(oldPath), to = NativePath(newPath);
  if (from.empty() || to.empty() || fault::Fire(fault::Kind::Rename)) return 0;
  // MoveFileA refuses an existing target.
  return MoveFileA(from.c_str(), to.c_str()) ? 1 : 0;
}

int32_t FileIO_ReplaceFile(const char* from, const char* target) {
  std::string source = NativePath(from), to = NativePath(target);
  if (source.empty() || to.empty() || fault::Fire(fault::Kind::Rename)) return 0;
  return MoveFileExA(source.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) ? 1 : 0;
}

// Copied by hand rather than with CopyFileA: the source is usually a record
// file that other programs hold open for writing, and the copy must open it
// with the same full sharing as they do.
int32_t FileIO_CopyFile(const char* source, const char* target, int32_t failIfExists) {
  std::string from = NativePath(source), to = NativePath(target);
  if (from.empty() || to.empty()) return 0;
  HANDLE in = CreateFileA(from.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  in = DiskFileOnly(in);
  if (in == INVALID_HANDLE_VALUE) return 0;
  HANDLE out = DiskFileOnly(CreateFileA(to.c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                        failIfExists ? CREATE_NEW : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                        nullptr));
  if (out == INVALID_HANDLE_VALUE) {
    CloseHandle(in);
    return 0;
  }
  std::vector<char> buf(1 << 16);
  bool ok = true;
  for (;;) {
    DWORD n = 0;
    if (!ReadFile(in, buf.data(), static_cast<DWORD>(buf.size()), &n, nullptr)) ok = false;
    if (!ok || n == 0) break;
    DWORD written = 0;
    if (!WriteFile(out, buf.data(), n, &written, nullptr) || written != n) {
      ok = false;
      break;
    }
  }
  CloseHandle(in);
  if (!CloseHandle(out)) ok = false;
  return ok ? 1 : 0;
}

int64_t FileIO_GetLastWriteTime(const char* path) {
  std::string p = NativePath(path);
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (p.empty()) return -1;
  if (!GetFileAttributesExA(p.c_str(), GetFileExInfoStandard, &data)) {
    DWORD e = GetLastError();
    return e == ERROR_FILE_NOT_FOUND || e == ERROR_PATH_NOT_FOUND ? kNoFileThere : -1;
  }
  return UnixSeconds(data.ftLastWriteTime);
}

// Lock files: CREATE_NEW makes the creation exclusive, share mode 0 keeps
// every other opener out for as long as the holder's handle is open, and
// FILE_FLAG_DELETE_ON_CLOSE removes the file when that handle closes, also
// when the holder's process dies. A lock file that exists but can be opened
// therefore has no Windows holder.
FileHandle FileIO_CreateNewExclusive(const char* path, bool deleteOnClose) {
  std::string p = NativePath(path);
  if (p.empty() || fault::Fire(fault::Kind::Create)) return kInvalidHandle;
  DWORD access = GENERIC_WRITE | (deleteOnClose ? DELETE : 0);
  DWORD flags = FILE_ATTRIBUTE_NORMAL | (deleteOnClose ? FILE_FLAG_DELETE_ON_CLOSE : 0);
  HANDLE h = CreateFileA(p.c_str(), access, 0, nullptr, CREATE_NEW, flags, nullptr);
  return Register(h);
}

int32_t FileIO_LockFileHolderAlive(const char* path) {
  std::string p = NativePath(path);
  if (p.empty()) return -1;
  HANDLE h = CreateFileA(p.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h != INVALID_HANDLE_VALUE) {
    // Nobody holds it with share mode 0. A POSIX station's file on a shared
    // directory is still held while its holder's lock on the first byte
    // stands; a file without that station's mark only its age can judge.
    char head[kLockHolderLineMax];
    DWORD got = 0;
    int32_t verdict = 2;
    if (GetFileType(h) == FILE_TYPE_DISK && ReadFile(h, head, sizeof head, &got, nullptr) &&
        HasLockHolderMark(head, got)) {
      OVERLAPPED at{};
      verdict = 1;
      if (LockFileEx(h, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at)) {
        UnlockFileEx(h, 0, 1, 0, &at);
        verdict = 0;
      }
    }
    CloseHandle(h);
    return verdict;
  }
  DWORD err = GetLastError();
  if (err == ERROR_FILE_NOT_FOUND || err == ERROR_PATH_NOT_FOUND) return -1;
  // A sharing violation (the holder's share mode 0) or a file pending
  // deletion (ERROR_ACCESS_DENIED) both mean a live holder.
  return 1;
}

FileHandle FileIO_OpenAppend(const char* path) {
  std::string p = NativePath(path);
  if (p.empty() || fault::Fire(fault::Kind::Open)) return kInvalidHandle;
  // FILE_APPEND_DATA without FILE_WRITE_DATA: every write goes to the end of
  // the file in one piece, whoever else appends at the same time. Read
  // access is there so that the handle can take byte-range locks.
  HANDLE h = CreateFileA(p.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE, kShareAll, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  return Register(h, true);
}

int32_t FileIO_GetModuleDirectory(char* directory) {
  if (directory == nullptr) return 0;
  directory[0] = '\0';
  if (const char* forced = FileIO_ModuleDirectoryOverride()) return CopyPath(directory, forced) ? 1 : 0;
  // The module that contains this code: kvdata.dll, or the program itself
  // when the library is linked statically.
  HMODULE module = nullptr;
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                              GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCSTR>(&FileIO_GetModuleDirectory), &module)) {
    return 0;
  }
  char name[MAX_PATH];
  DWORD n = GetModuleFileNameA(module, name, sizeof name);
  if (n == 0 || n >= sizeof name) return 0;
  if (!CopyPath(directory, name)) return 0;
  FileIO_PathRemoveFileName(directory);
  return directory[0] != '\0' ? 1 : 0;
}

}  // namespace kv
