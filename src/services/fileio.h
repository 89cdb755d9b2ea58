// File access for every record family: open/create/close, positions,
// reads and writes, per-handle byte-range locks, existence, path helpers,
// delete/rename/copy and directory walks.
//
// A handle is a 32-bit value; -1 (kInvalidHandle) means failure or closed.
// Positions are 64-bit so that no offset computation can overflow, although
// records are addressed with 32-bit numbers. Paths are at most 259 characters
// plus the terminator; a longer path fails like a missing file. Both '\' and
// '/' are accepted as separators on every platform; paths this layer builds
// use kPathSep.
//
// Byte-range locks behave as on Windows everywhere:
//   - they belong to the handle, not to the process: closing one handle of a
//     file never drops a lock held through another handle;
//   - a range that overlaps one already held is refused, even when the same
//     handle holds it;
//   - an unlock releases exactly a range that was locked, nothing else.
// On POSIX they are advisory (open file description locks); on Windows they
// are mandatory. The library takes its documented locks around every
// read-modify-write, so its own operations behave alike on both.
#ifndef KV_SERVICES_FILEIO_H
#define KV_SERVICES_FILEIO_H

#include <cstdint>

namespace kv {

using FileHandle = int32_t;
constexpr FileHandle kInvalidHandle = -1;
constexpr int kMaxPath = 260;  // buffer size including the terminator

#if defined(_WIN32)
constexpr char kPathSep = '\\';
#else
constexpr char kPathSep = '/';
#endif

[[nodiscard]] inline bool IsPathSep(char c) { return c == '/' || c == '\\'; }

// Open an existing file for shared read/write (no create); -1 on failure.
FileHandle FileIO_OpenRWS(const char* path);
// Open an existing file for shared read only; -1 on failure.
FileHandle FileIO_OpenROS(const char* path);
// Create or truncate, read/write, shared; -1 on failure.
FileHandle FileIO_CreateRWS(const char* path);
// Closes; -1 is harmless. Releases every lock the handle holds; a handle
// from FileIO_CreateNewExclusive(..., deleteOnClose=true) deletes its file.
void FileIO_Close(FileHandle h);

// Seek from the start; new position, -1 on failure.
int64_t FileIO_SetPos(FileHandle h, int64_t position);
// Seek to `distance` bytes before the end; new position (the file length for
// distance 0), -1 on failure.
int64_t FileIO_SetPosFromEnd(FileHandle h, int64_t distance);
// Current position, -1 on failure.
int64_t FileIO_GetPos(FileHandle h);
// Bytes read / written at the current position (fewer than asked at the end
// of the file or on an error; 0 for a bad handle, null buffer or count < 0).
int32_t FileIO_Read(FileHandle h, void* buffer, int32_t count);
int32_t FileIO_Write(FileHandle h, const void* buffer, int32_t count);
// Length of an open file, -1 on failure.
int64_t FileIO_Size(FileHandle h);
// What an open file's contents are known by between two calls: identity,
// size and both change times. `exact` says that any later change of the
// file, by any process on the machine, is bound to give a different stamp:
// true on local file systems whose times are fine-grained once looked at
// (Linux 6.13 and later: ext4, XFS, Btrfs, tmpfs), and on older kernels when
// the file's last change lies over a second back. False where a change could
// go unseen: a change within the clock tick of the last one on coarse time
// stamps, network file systems that cache attributes, and Windows (no
// stamp there). A reader may keep bytes across calls only on an exact stamp.
struct FileStamp {
  uint64_t device = 0;
  uint64_t inode = 0;
  int64_t size = -1;
  int64_t modified = 0;  // nanoseconds since 1970
  int64_t changed = 0;   // nanoseconds since 1970 (status change)
  bool exact = false;
  bool SameFileState(const FileStamp& o) const {
    return device == o.device && inode == o.inode && size == o.size && modified == o.modified && changed == o.changed;
  }
};
// The stamp of an open file (one fstat); false for a bad handle or where the
// platform has none.
bool FileIO_Stamp(FileHandle h, FileStamp* out);
// A number that changes with every FileIO_Write of this process, through any
// handle. Lets a reader that holds bytes read ahead tell whether the process
// may have changed them since.
uint64_t FileIO_WriteGeneration();

// Exclusive byte-range lock. Waits, polling, while another handle holds an
// overlapping range, up to the host lock time-out (KVHOST_SetLockTimeout).
// Non-zero on success; 0 on time-out, overlap with a range this handle
// already holds, length < 1, position < 0 or a bad handle.
int32_t FileIO_Lock(FileHandle h, int64_t position, int64_t length);
// As FileIO_Lock without waiting.
int32_t FileIO_TryLock(FileHandle h, int64_t position, int64_t length);
// Releases exactly a range this handle locked; 0 if it holds no such range.
int32_t FileIO_Unlock(FileHandle h, int64_t position, int64_t length);
// 1 if this handle holds a locked range overlapping [position, position +
// length), else 0. Lets a caller that was refused tell its own lock (taken
// earlier through the same handle) from another handle's.
int32_t FileIO_HoldsLock(FileHandle h, int64_t position, int64_t length);
// Whether another handle (of this or any process) holds a lock overlapping
// [position, position + length): 1 when one does, 0 when the range is free,
// -1 for a bad handle or range. Looks without disturbing a holder: nothing
// is locked on POSIX; on Windows the range is taken and given back at once
// when it is free, which a holder that tries at that instant sees as a
// passing refusal (every locker in the library polls). For tools that ask
// who holds what.
int32_t FileIO_TestLock(FileHandle h, int64_t position, int64_t length);
// The wait of FileIO_Lock in milliseconds (default 10000; 0 = no wait).
void FileIO_SetLockTimeout(int32_t milliseconds);
int32_t FileIO_GetLockTimeout();

// Non-zero if a regular file exists at path.
int32_t FileIO_Exist(const char* path);
// 1 if the directory exists.
int32_t FileIO_PathExist(const char* directory);
// Creates the directory and its missing parents; 1 if it exists afterwards.
int32_t FileIO_PathCreate(const char* directory);
// Makes `path` (a 260-byte buffer) end with a separator so that a file name
// can be appended; an empty path stays empty.
void FileIO_MakePathName(char* path);
// Creates every directory of a multi-level path (a trailing separator is
// optional); 1 if the whole path exists afterwards.
int32_t FileIO_MakeMultiPath(const char* path);
// Cuts the file name off a full path in place, keeping the trailing
// separator ("C:\data\x.dba" -> "C:\data\"); no separator: empty string.
void FileIO_PathRemoveFileName(char* path);
// Copies the directory part (with its trailing separator) into directory.
void FileIO_ExtractPath(const char* fullPath, char* directory);
// Splits a full path into directory (with separator) and file name.
void FileIO_Separate(const char* fullPath, char* directory, char* name);

// Non-zero on success.
int32_t FileIO_DeleteFile(const char* path);
// Deletes every file matching a wildcard pattern ('*', '?' in the file
// name); returns the number deleted.
int32_t FileIO_DeleteFiles(const char* pattern);
// Renames; fails (0) when the target exists, as on Windows.
int32_t FileIO_RenameFile(const char* oldPath, const char* newPath);
// Puts the file `from` in place of `target` in one step: the name `target`
// leads to its old file or to the new one at every moment, never to
// nothing, so neither a crash nor another station's open in between finds
// the file missing (and creates an empty one). A missing target is simply
// created. Non-zero on success; on failure both files are as they were.
int32_t FileIO_ReplaceFile(const char* from, const char* target);
// Copies; with failIfExists != 0 an existing target is not overwritten.
int32_t FileIO_CopyFile(const char* source, const char* target, int32_t failIfExists);

// Seconds since 1970 of the file's last write; kNoFileThere when nothing is
// at the path (it may have just been deleted), -1 when it is there but its
// attributes cannot be read.
constexpr int64_t kNoFileThere = -2;
int64_t FileIO_GetLastWriteTime(const char* path);
// Seconds between now and the file's last write; -1 if it cannot be read.
int64_t FileIO_GetFileAge(const char* path);

// Directory listing. Entries are delivered in name order; "." and ".." are
// never delivered. Names compare case-insensitively with the pattern.
struct FindData {
  char name[kMaxPath];  // bare file name
  int64_t size;         // bytes
  int64_t lastWrite;    // seconds since 1970
  int32_t isDirectory;  // non-zero for a directory
};
using FindHandle = int32_t;  // -1 = nothing found
// First file (not directory) matching the pattern; -1 if none.
FindHandle FileIO_FindFirstFile(const char* pattern, FindData* out);
// Non-zero while another match was found.
int32_t FileIO_FindNextFile(FindHandle h, FindData* out);
void FileIO_FindClose(FindHandle h);
// The same for the subdirectories of a directory (pattern "dir/*").
FindHandle FileIO_FindFirstTreeDirectory(const char* pattern, FindData* out);
int32_t FileIO_FindNextTreeDirectory(FindHandle h, FindData* out);
// Calls callback(full path, data, context) for every file matching pattern
// (for example "*.DBA") in startDirectory and, with recurse != 0, below it.
// A callback result of 0 stops the walk. Returns the number of files visited.
using FileVisitor = int32_t (*)(const char* fullPath, const FindData* data, void* context);
int32_t FileIO_DoFilesInDirectoryTree(const char* startDirectory, int32_t recurse,
                                      const char* pattern, FileVisitor callback, void* context);

// ---- Lock files --------------------------------------------------------
// Creates a new file exclusively (write access, no sharing, fails when the
// file exists). With deleteOnClose the file disappears when the handle is
// closed; and because a POSIX process that dies cannot delete it, the POSIX
// holder also marks the file with its host and process id and keeps a lock
// on its first byte for as long as the handle is open, so that
// FileIO_LockFileHolderAlive can tell a live holder from an orphan
// (services/lockfile_mark.h). Returns the handle or -1.
FileHandle FileIO_CreateNewExclusive(const char* path, bool deleteOnClose);
// For a delete-on-close lock file: 1 while a live handle holds it (or it
// cannot be opened at all, as a Windows holder's file), 0 when it carries
// this library's holder mark but nobody holds it (orphan), 2 when it can be
// read but carries no mark (another program's lock file, which only its age
// can judge), -1 when the file does not exist or the name has just moved on
// to another file.
int32_t FileIO_LockFileHolderAlive(const char* path);
// Opens (creating if needed) for appending with shared read; every write
// goes to the end of the file in one piece. -1 on failure.
FileHandle FileIO_OpenAppend(const char* path);

// Case-insensitive wildcard match of a bare file name ('*', '?'; "*.*"
// matches every name, as on Windows).
[[nodiscard]] bool WildcardMatch(const char* pattern, const char* name);
// Copies src into a 260-byte buffer; false (dst empty) when it does not fit.
[[nodiscard]] bool CopyPath(char* dst, const char* src);

// Directory of the module (shared library or executable) that contains the
// library, with a trailing separator, into a 260-byte buffer; 1 on success.
int32_t FileIO_GetModuleDirectory(char* directory);
// Tests only: makes FileIO_GetModuleDirectory report `directory` instead
// (null restores the real one), so that a test never drops files beside the
// test programs, which every test program shares.
void FileIO_SetModuleDirectoryOverride(const char* directory);
// The override, or null.
const char* FileIO_ModuleDirectoryOverride();

}  // namespace kv

#endif  // KV_SERVICES_FILEIO_H
