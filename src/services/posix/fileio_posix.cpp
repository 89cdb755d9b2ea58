// POSIX implementation of the file layer.
//
// Why open file description locks: the record engine closes and reopens
// handles of a file all the time (an append opens a private handle and closes
// it again) while other ranges of the same file are still locked through
// another handle. Classic fcntl record locks belong to the process and are
// all dropped when *any* descriptor of the file is closed, which would
// silently release those locks. OFD locks (F_OFD_SETLK) belong to the open
// file description, i.e. to one FileIO handle, exactly like LockFileEx on
// Windows. They conflict between two handles of the same process, too.
//
// What OFD locks do not give is the Windows refusal of a range that overlaps
// one the same handle already holds (the kernel would merge them) and the
// rule that an unlock releases exactly a range that was locked. A small table
// of held ranges per handle supplies both.
//
// The same table keeps each handle's position. FileIO_SetPos only records
// it, and FileIO_Read / FileIO_Write move the bytes with pread / pwrite at
// that position and advance it: a record move is one system call instead of
// a seek plus a read. The kernel's own file offset is not used (except by
// append handles, whose writes always go to the end).
//
// Closing a handle of a data file on a local file system keeps the
// descriptor for a while instead (see "Kept descriptors" below): the
// families open and close their files in every call, and the next open of
// the same name then costs one stat instead of open, fstat, fcntl and close.
#include <dirent.h>
#include <pthread.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#if defined(__linux__)
#include <sys/statfs.h>
#include <sys/utsname.h>
#endif
#include <time.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "services/cause.h"
#include "services/fault.h"
#include "services/fileio.h"
#include "services/fileio_list.h"
#include "services/lock_ranges.h"
#include "services/lockfile_mark.h"
#include "services/platform.h"
#include "services/syserror.h"
#include "services/process_state.h"

namespace kv {

namespace {

// What names the file an open found: a later open of the same name finds
// the same file, with the same outcome, only while all of it still holds.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;
  mode_t mode = 0;
  uid_t owner = 0;
  gid_t group = 0;

  bool operator==(const Identity&) const = default;
};

// The identity of a path (fd = -1) or of an open descriptor (path = ""),
// and whether it is a regular file. Asks for neither time on purpose: where
// the kernel hands out fine-grained times (Linux 6.13 and later), a stat
// that reads the change time makes the next write of the file take a fresh
// time and log the inode, which costs more than the write itself.
bool IdentityOf(int fd, const char* path, Identity* out) {
#if defined(STATX_INO)
  struct statx sx;
  const unsigned mask = STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_INO;
  if (statx(fd < 0 ? AT_FDCWD : fd, path, fd < 0 ? 0 : AT_EMPTY_PATH, mask, &sx) != 0) return false;
  if ((sx.stx_mask & mask) != mask) return false;
  *out = {static_cast<dev_t>(makedev(sx.stx_dev_major, sx.stx_dev_minor)), static_cast<ino_t>(sx.stx_ino),
          static_cast<mode_t>(sx.stx_mode), static_cast<uid_t>(sx.stx_uid), static_cast<gid_t>(sx.stx_gid)};
#else
  struct stat st;
  if ((fd < 0 ? stat(path, &st) : fstat(fd, &st)) != 0) return false;
  *out = {st.st_dev, st.st_ino, st.st_mode, st.st_uid, st.st_gid};
#endif
  return S_ISREG(out->mode);
}

struct HandleInfo {
  HeldRanges locks;           // ranges locked through this handle
  std::string deleteOnClose;  // path to remove when the handle closes
  int64_t position = 0;       // where the next read or write starts
  bool append = false;        // writes go to the end (O_APPEND)
  // Set for a plain open of an existing file on a local file system: its
  // descriptor may be kept when the handle closes (see KeepOrClose).
  std::string keepAs;         // the native path it was opened by
  int openFlags = 0;          // O_RDONLY or O_RDWR
  Identity identity;
};

std::string HandlePath(FileHandle h);

Mutex& TableMutex() { return ProcessMutex<struct PosixHandleTable>(); }
std::map<int, HandleInfo>& Handles() {
  static std::map<int, HandleInfo> table;
  return table;
}

bool Known(FileHandle h) {
  MutexLock lock(TableMutex());
  return h >= 0 && Handles().count(h) != 0;
}

// The handle's position; false for an unknown handle.
bool PositionOf(FileHandle h, int64_t* position, bool* append = nullptr) {
  MutexLock lock(TableMutex());
  auto it = h >= 0 ? Handles().find(h) : Handles().end();
  if (it == Handles().end()) return false;
  *position = it->second.position;
  if (append != nullptr) *append = it->second.append;
  return true;
}

void SetPosition(FileHandle h, int64_t position) {
  MutexLock lock(TableMutex());
  auto it = Handles().find(h);
  if (it != Handles().end()) it->second.position = position;
}

// Moves count bytes with read/pread or write/pwrite, going on after a
// partial transfer; the bytes moved. A failed system call is recorded as the
// call's cause, and so is a write that moves nothing (a full disk); a read
// that meets the end of the file is no failure here.
template <typename Transfer>
int32_t TransferAt(int fd, bool writing, int32_t count, Transfer transfer) {
  int32_t done = 0;
  while (done < count) {
    ssize_t n = transfer(done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 || (n == 0 && writing)) {
      NoteSystemFailure(n < 0 ? LastSystemError() : ENOSPC, "%s %s", writing ? "write" : "read",
                        HandlePath(fd).c_str());
    }
    if (n <= 0) break;
    done += static_cast<int32_t>(n);
  }
  return done;
}

FileHandle Register(int fd, const std::string& deletePath = {}) {
  if (fd < 0) return kInvalidHandle;
  MutexLock lock(TableMutex());
  HandleInfo info;
  info.deleteOnClose = deletePath;
  Handles()[fd] = std::move(info);
  return fd;
}

// The kernel's description of a byte range to lock (type) or unlock.
struct flock RangeRequest(int64_t position, int64_t length, short type) {
  struct flock fl;
  std::memset(&fl, 0, sizeof fl);
  fl.l_type = type;
  fl.l_whence = SEEK_SET;
  fl.l_start = position;
  fl.l_len = length;
  return fl;
}

// Opens a regular file and nothing else. A FIFO, a device or a socket in
// place of a data file would block the open (a FIFO without a writer) or
// every read after it, and a process holding the log lock meanwhile would
// stop a whole installation. So the open itself never waits (O_NONBLOCK),
// fstat decides, and anything but a regular file fails like a missing one.
// Regular files ignore O_NONBLOCK; it is cleared anyway so that the handle
// behaves exactly as a plain open would. F_SETFL changes only the status
// flags, so the flags of the open minus O_NONBLOCK are exactly what a plain
// open would have left.
int OpenRegular(const std::string& p, int flags, Identity* found = nullptr) {
  int fd;
  do {
    fd = ::open(p.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return -1;
  Identity st;
  if (!IdentityOf(fd, "", &st)) {
    ::close(fd);
    errno = ENOENT;
    return -1;
  }
  if (fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == -1) {
    ::close(fd);
    return -1;
  }
  if (found != nullptr) *found = st;
  return fd;
}

// ---- Kept descriptors ---------------------------------------------------------
//
// A closed handle of a data file keeps its descriptor here, and the next
// open of the same name with the same access takes it back when a stat of
// the name shows the very file it was opened on (device, inode) with the
// same mode and owner: then a fresh open would have found the same file and
// succeeded, and the kept descriptor is as good as a new one.
//
// What makes that hold:
// - Only local file systems (those whose times FileIO_Stamp can judge): a
//   network client's stat may answer from its attribute cache and miss a
//   rename by another station, where an open asks the server.
// - A kept descriptor holds no lock: the ranges its handle still held are
//   released when it is kept, as a close would release them.
// - A file renamed over, deleted or made again under the name has another
//   inode (the kept descriptor holds the old one, so its number cannot be
//   reused meanwhile): the stat tells, the descriptor is closed and a
//   normal open follows.
// - A forked child closes the kept descriptors it inherited: sharing one
//   open file description with the parent would merge the two processes'
//   locks on it.
// - Names this process deletes, renames or creates drop their kept
//   descriptors at once, so that no deleted file stays allocated.
// Windows keeps nothing: an open handle there stands in the way of a
// rename or delete by another station.
struct KeptDescriptor {
  std::string path;
  int flags;
  int fd;
  Identity identity;
};
constexpr size_t kMaxKept = 16;

std::vector<KeptDescriptor>& KeptDescriptors() {
  static std::vector<KeptDescriptor> kept;
  return kept;
}

// The table is held across the fork, so that the child finds it whole.
void HoldTableForFork() { TableMutex().Lock(); }
void ReleaseTableAfterFork() { TableMutex().Unlock(); }
void ForgetKeptInChild() {
  // The child's copies only: the parent's descriptors are its own.
  for (const KeptDescriptor& k : KeptDescriptors()) ::close(k.fd);
  KeptDescriptors().clear();
  TableMutex().Unlock();
}

// Closes the kept descriptors of one name.
void DropKept(const std::string& path) {
  std::vector<int> close;
  {
    MutexLock lock(TableMutex());
    auto& kept = KeptDescriptors();
    for (auto it = kept.begin(); it != kept.end();) {
      if (it->path == path) {
        close.push_back(it->fd);
        it = kept.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (int fd : close) ::close(fd);
}

bool LocalFileSystem(int fd, dev_t device);

// A kept descriptor for this open, or -1.
int TakeKept(const std::string& p, int flags, Identity* identity) {
  {
    MutexLock lock(TableMutex());
    auto& kept = KeptDescriptors();
    if (std::none_of(kept.begin(), kept.end(), [&](const KeptDescriptor& k) { return k.path == p; })) return -1;
  }
  Identity now;
  const bool named = IdentityOf(-1, p.c_str(), &now);
  int fd = -1;
  std::vector<int> stale;
  {
    MutexLock lock(TableMutex());
    auto& kept = KeptDescriptors();
    for (auto it = kept.begin(); it != kept.end();) {
      if (it->path != p) {
        ++it;
      } else if (!named || !(it->identity == now)) {
        stale.push_back(it->fd);
        it = kept.erase(it);
      } else if (fd < 0 && it->flags == flags) {
        fd = it->fd;
        *identity = it->identity;
        it = kept.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (int s : stale) ::close(s);
  return fd;
}

// Closes the descriptor of a handle that is gone from the table, or keeps it.
void KeepOrClose(int fd, const HandleInfo& info) {
  if (info.keepAs.empty()) {
    ::close(fd);
    return;
  }
  if (!info.locks.Empty()) {
    // What the close would have done: no lock outlives its handle.
    struct flock fl = RangeRequest(0, 0, F_UNLCK);
    fcntl(fd, F_OFD_SETLK, &fl);
  }
  static const bool forkHandled = pthread_atfork(HoldTableForFork, ReleaseTableAfterFork, ForgetKeptInChild) == 0;
  if (!forkHandled) {
    ::close(fd);
    return;
  }
  int evicted = -1;
  {
    MutexLock lock(TableMutex());
    auto& kept = KeptDescriptors();
    if (kept.size() >= kMaxKept) {
      evicted = kept.front().fd;
      kept.erase(kept.begin());
    }
    kept.push_back({info.keepAs, info.openFlags, fd, info.identity});
  }
  if (evicted >= 0) ::close(evicted);
}

FileHandle OpenWith(const char* path, int flags, fault::Kind kind) {
  std::string p = NativePath(path);
  if (p.empty() || fault::Fire(kind)) return kInvalidHandle;
  const bool plain = flags == O_RDONLY || flags == O_RDWR;
  Identity identity;
  int fd = plain ? TakeKept(p, flags, &identity) : -1;
  if (fd < 0) {
    if (!plain) DropKept(p);  // a create or append may change what the name holds
    fd = OpenRegular(p, flags, &identity);
    if (fd < 0) return kInvalidHandle;
    if (!plain || !LocalFileSystem(fd, identity.device)) return Register(fd);
  }
  FileHandle h = Register(fd);
  MutexLock lock(TableMutex());
  HandleInfo& info = Handles()[h];
  info.keepAs = std::move(p);
  info.openFlags = flags;
  info.identity = identity;
  return h;
}

// One attempt at the kernel lock; true when taken.
bool KernelLock(int fd, int64_t position, int64_t length, short type) {
  struct flock fl = RangeRequest(position, length, type);
  if (fcntl(fd, F_OFD_SETLK, &fl) == 0) return true;
  if (type == F_WRLCK && errno == EBADF) {
    // A read-only handle cannot hold a write lock; a shared read lock still
    // keeps every writer's exclusive lock out.
    fl.l_type = F_RDLCK;
    return fcntl(fd, F_OFD_SETLK, &fl) == 0;
  }
  return false;
}

int32_t LockRange(FileHandle h, int64_t position, int64_t length, bool wait) {
  if (!LockableRange(position, length)) return 0;
  {
    MutexLock lock(TableMutex());
    auto it = Handles().find(h);
    if (h < 0 || it == Handles().end()) return 0;
    if (it->second.locks.Overlaps(position, length)) return 0;  // held by this handle
  }
  bool taken = PollLock(wait, [&] {
    if (KernelLock(h, position, length, F_WRLCK)) return LockAttempt::kTaken;
    return errno == EAGAIN || errno == EACCES || errno == EINTR ? LockAttempt::kBusy
                                                                : LockAttempt::kFailed;
  });
  if (!taken) {
    NoteFailure(Cause::kLocked, "lock %s bytes %lld..%lld: held by another handle%s",
                HandlePath(h).c_str(), static_cast<long long>(position),
                static_cast<long long>(position + length - 1), wait ? " past the time-out" : "");
    return 0;
  }
  MutexLock lock(TableMutex());
  auto it = Handles().find(h);
  if (it != Handles().end()) it->second.locks.Add(position, length);
  return 1;
}

void FillFindData(const std::string& dir, const char* name, FindData* out) {
  std::memset(out, 0, sizeof *out);
  std::snprintf(out->name, sizeof out->name, "%s", name);
  struct stat st;
  std::string full = dir + name;
  if (stat(full.c_str(), &st) == 0) {
    out->size = st.st_size;
    out->lastWrite = st.st_mtime;
    out->isDirectory = S_ISDIR(st.st_mode) ? 1 : 0;
  }
}

// Records why an open failed (the caller may still go on, e.g. create the
// file; then nothing is reported).
FileHandle NoteOpen(const char* operation, const char* path, FileHandle h) {
  if (h != kInvalidHandle) return h;
  int32_t error = LastSystemError();
  if (error == 0) error = EIO;  // refused here (a directory, a fault test)
  NoteSystemFailure(error, "%s %s", operation, path ? path : "(null)");
  return h;
}

// The file a handle refers to, for messages ("" when it cannot be told).
std::string HandlePath(FileHandle h) {
  char link[64], target[PATH_MAX];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", static_cast<int>(h));
  ssize_t n = ::readlink(link, target, sizeof target - 1);
  if (n <= 0) return "handle " + std::to_string(h);
  return std::string(target, static_cast<size_t>(n));
}

}  // namespace

bool ListDirectoryMatches(const char* pattern, bool directories, std::vector<FindData>* out) {
  std::string p = NativePath(pattern);
  if (p.empty()) return false;
  size_t cut = p.rfind('/');
  std::string dir = cut == std::string::npos ? std::string() : p.substr(0, cut + 1);
  std::string mask = cut == std::string::npos ? p : p.substr(cut + 1);
  if (mask.empty()) mask.push_back('*');
  DIR* d = opendir(dir.empty() ? "." : dir.c_str());
  if (d == nullptr) return false;
  while (struct dirent* e = readdir(d)) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    if (!WildcardMatch(mask.c_str(), e->d_name)) continue;
    FindData fd;
    FillFindData(dir, e->d_name, &fd);
    if ((fd.isDirectory != 0) != directories) continue;
    out->push_back(fd);
  }
  closedir(d);
  return true;
}

FileHandle FileIO_OpenRWS(const char* path) {
  errno = 0;
  return NoteOpen("open", path, OpenWith(path, O_RDWR, fault::Kind::Open));
}
FileHandle FileIO_OpenROS(const char* path) {
  errno = 0;
  return NoteOpen("open", path, OpenWith(path, O_RDONLY, fault::Kind::Open));
}
FileHandle FileIO_CreateRWS(const char* path) {
  errno = 0;
  return NoteOpen("create", path, OpenWith(path, O_RDWR | O_CREAT | O_TRUNC, fault::Kind::Create));
}

void FileIO_Close(FileHandle h) {
  if (h < 0) return;
  HandleInfo info;
  {
    MutexLock lock(TableMutex());
    auto it = Handles().find(h);
    if (it == Handles().end()) return;
    info = std::move(it->second);
    Handles().erase(it);
  }
  // Unlink before close: while the name exists its holder's lock is held.
  if (!info.deleteOnClose.empty()) ::unlink(info.deleteOnClose.c_str());
  KeepOrClose(h, info);
}

int64_t FileIO_SetPos(FileHandle h, int64_t position) {
  int64_t current;
  if (position < 0 || !PositionOf(h, &current)) return -1;
  SetPosition(h, position);
  return position;
}

int64_t FileIO_SetPosFromEnd(FileHandle h, int64_t distance) {
  if (!Known(h) || distance < 0) return -1;
  const int64_t position = lseek(h, -distance, SEEK_END);
  if (position >= 0) SetPosition(h, position);
  return position;
}

int64_t FileIO_GetPos(FileHandle h) {
  int64_t position;
  bool append;
  if (!PositionOf(h, &position, &append)) return -1;
  return append ? lseek(h, 0, SEEK_CUR) : position;
}

int64_t FileIO_Size(FileHandle h) {
  if (!Known(h)) return -1;
#if defined(STATX_SIZE)
  // The size alone: asking for the times too would make the append that
  // usually follows take a fresh time stamp (see IdentityOf).
  struct statx sx;
  if (statx(h, "", AT_EMPTY_PATH, STATX_SIZE, &sx) != 0 || (sx.stx_mask & STATX_SIZE) == 0) return -1;
  return static_cast<int64_t>(sx.stx_size);
#else
  struct stat st;
  if (fstat(h, &st) != 0) return -1;
  return st.st_size;
#endif
}

namespace {

// How a file system's change times behave, as far as telling two states of
// a file apart goes.
enum class Times {
  kUntrusted,     // network or unknown: attributes may be cached or coarse
  kCoarse,        // local, set from the coarse clock (up to a second)
  kFineOnceSeen,  // local, and a change after a stat always gets a new time
};

#if defined(__linux__)
bool KernelAtLeast(int major, int minor) {
  static const int version = [] {
    struct utsname u;
    int a = 0, b = 0;
    if (uname(&u) != 0 || std::sscanf(u.release, "%d.%d", &a, &b) != 2) return 0;
    return a * 1000 + b;
  }();
  return version >= major * 1000 + minor;
}

Times TimesOf(FileHandle h, dev_t device) {
  static Mutex m;
  static std::map<dev_t, Times> known;
  MutexLock lock(m);
  auto it = known.find(device);
  if (it != known.end()) return it->second;
  struct statfs fs;
  Times t = Times::kUntrusted;
  if (fstatfs(h, &fs) == 0) {
    switch (static_cast<unsigned long>(fs.f_type)) {
      case 0xEF53UL:      // ext2/3/4
      case 0x58465342UL:  // XFS
      case 0x9123683EUL:  // Btrfs
      case 0x01021994UL:  // tmpfs
        // Multigrain time stamps came with 6.13 for exactly these four.
        t = KernelAtLeast(6, 13) ? Times::kFineOnceSeen : Times::kCoarse;
        break;
      default:
        break;
    }
  }
  known.emplace(device, t);
  return t;
}
#else
Times TimesOf(FileHandle, dev_t) { return Times::kUntrusted; }
#endif

bool LocalFileSystem(int fd, dev_t device) { return TimesOf(fd, device) != Times::kUntrusted; }

int64_t Nanoseconds(const struct timespec& t) { return int64_t{t.tv_sec} * 1000000000 + t.tv_nsec; }

}  // namespace

bool FileIO_Stamp(FileHandle h, FileStamp* out) {
  if (out == nullptr || !Known(h)) return false;
  // The clock is read before the stat: a change after the stat is stamped
  // no earlier than this.
  struct timespec before {};
#if defined(CLOCK_REALTIME_COARSE)
  clock_gettime(CLOCK_REALTIME_COARSE, &before);
#else
  clock_gettime(CLOCK_REALTIME, &before);
#endif
  struct stat st;
  if (fstat(h, &st) != 0) return false;
  out->device = static_cast<uint64_t>(st.st_dev);
  out->inode = static_cast<uint64_t>(st.st_ino);
  out->size = st.st_size;
  out->modified = Nanoseconds(st.st_mtim);
  out->changed = Nanoseconds(st.st_ctim);
  const int64_t second = 1000000000;
  // Fine-grained times carry nanoseconds; a whole-second time comes from a
  // file system or inode format that keeps seconds only, where the coarse
  // rule must hold.
  const bool settled = out->changed < Nanoseconds(before) - second;
  switch (TimesOf(h, st.st_dev)) {
    case Times::kFineOnceSeen:
      out->exact = out->changed % second != 0 || settled;
      break;
    case Times::kCoarse:
      out->exact = settled;
      break;
    case Times::kUntrusted:
      out->exact = false;
      break;
  }
  return true;
}

int32_t FileIO_Read(FileHandle h, void* buffer, int32_t count) {
  int64_t position;
  if (buffer == nullptr || count <= 0 || !PositionOf(h, &position)) return 0;
  if (fault::Fire(fault::Kind::Read)) return 0;
  char* p = static_cast<char*>(buffer);
  const int32_t done = TransferAt(h, false, count, [&](int32_t at) {
    return ::pread(h, p + at, static_cast<size_t>(count - at), static_cast<off_t>(position + at));
  });
  SetPosition(h, position + done);
  return done;
}

static std::atomic<uint64_t> g_writeGeneration{0};

uint64_t FileIO_WriteGeneration() { return g_writeGeneration.load(std::memory_order_relaxed); }

int32_t FileIO_Write(FileHandle h, const void* buffer, int32_t count) {
  g_writeGeneration.fetch_add(1, std::memory_order_relaxed);
  int64_t position;
  bool append;
  if (buffer == nullptr || count <= 0 || !PositionOf(h, &position, &append)) return 0;
  // A fault is a short write: half of the bytes reach the file, as on a
  // full disk.
  const bool cut = fault::Fire(fault::Kind::Write);
  if (cut) NoteSystemFailure(ENOSPC, "write %s", HandlePath(h).c_str());
  const int32_t want = cut ? count / 2 : count;
  const char* p = static_cast<const char*>(buffer);
  if (append) {  // the kernel's offset follows the end (see FileIO_GetPos)
    return TransferAt(h, true, want, [&](int32_t at) { return ::write(h, p + at, static_cast<size_t>(want - at)); });
  }
  const int32_t done = TransferAt(h, true, want, [&](int32_t at) {
    return ::pwrite(h, p + at, static_cast<size_t>(want - at), static_cast<off_t>(position + at));
  });
  SetPosition(h, position + done);
  return done;
}

int32_t FileIO_Lock(FileHandle h, int64_t position, int64_t length) {
  return LockRange(h, position, length, true);
}

int32_t FileIO_TryLock(FileHandle h, int64_t position, int64_t length) {
  return LockRange(h, position, length, false);
}

int32_t FileIO_Unlock(FileHandle h, int64_t position, int64_t length) {
  MutexLock lock(TableMutex());
  auto it = Handles().find(h);
  if (h < 0 || it == Handles().end()) return 0;
  if (!it->second.locks.RemoveExact(position, length)) return 0;
  struct flock fl = RangeRequest(position, length, F_UNLCK);
  fcntl(h, F_OFD_SETLK, &fl);
  return 1;
}

int32_t FileIO_HoldsLock(FileHandle h, int64_t position, int64_t length) {
  MutexLock lock(TableMutex());
  auto it = Handles().find(h);
  if (h < 0 || it == Handles().end()) return 0;
  return it->second.locks.Overlaps(position, length) ? 1 : 0;
}

int32_t FileIO_TestLock(FileHandle h, int64_t position, int64_t length) {
  if (!LockableRange(position, length) || !Known(h)) return -1;
  struct flock fl = RangeRequest(position, length, F_WRLCK);
  // F_OFD_GETLK reports a conflicting lock of any other open file
  // description, or of any process's classic record lock; this handle's own
  // locks never conflict with it.
  if (fcntl(h, F_OFD_GETLK, &fl) != 0) return -1;
  return fl.l_type == F_UNLCK ? 0 : 1;
}

int32_t FileIO_Exist(const char* path) {
  std::string p = NativePath(path);
  struct stat st;
  return !p.empty() && stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode) ? 1 : 0;
}

int32_t FileIO_PathExist(const char* directory) {
  std::string p = NativePath(directory);
  struct stat st;
  return !p.empty() && stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? 1 : 0;
}

int32_t FileIO_MakeMultiPath(const char* path) {
  std::string p = NativePath(path);
  if (p.empty()) return 0;
  for (size_t i = 1; i <= p.size(); ++i) {
    if (i == p.size() || p[i] == '/') {
      std::string part = p.substr(0, i);
      if (::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return 0;
    }
  }
  return FileIO_PathExist(path);
}

int32_t FileIO_PathCreate(const char* directory) { return FileIO_MakeMultiPath(directory); }

int32_t FileIO_DeleteFile(const char* path) {
  std::string p = NativePath(path);
  DropKept(p);
  return !p.empty() && FileIO_Exist(path) && ::unlink(p.c_str()) == 0 ? 1 : 0;
}

int32_t FileIO_RenameFile(const char* oldPath, const char* newPath) {
  std::string from = NativePath(oldPath), to = NativePath(newPath);
  if (from.empty() || to.empty() || fault::Fire(fault::Kind::Rename)) return 0;
  DropKept(from);
  DropKept(to);
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 1;
  if (errno != EINVAL && errno != ENOSYS) return 0;
  // File systems without RENAME_NOREPLACE: link + unlink refuses a target too.
  if (::link(from.c_str(), to.c_str()) != 0) return 0;
  return ::unlink(from.c_str()) == 0 ? 1 : 0;
}

int32_t FileIO_ReplaceFile(const char* from, const char* target) {
  std::string source = NativePath(from), to = NativePath(target);
  if (source.empty() || to.empty() || fault::Fire(fault::Kind::Rename)) return 0;
  DropKept(source);
  DropKept(to);
  return ::rename(source.c_str(), to.c_str()) == 0 ? 1 : 0;
}

int32_t FileIO_CopyFile(const char* source, const char* target, int32_t failIfExists) {
  std::string from = NativePath(source), to = NativePath(target);
  if (from.empty() || to.empty()) return 0;
  DropKept(to);
  int in = OpenRegular(from, O_RDONLY);
  if (in < 0) return 0;
  int out = OpenRegular(to, O_WRONLY | O_CREAT | (failIfExists ? O_EXCL : O_TRUNC));
  if (out < 0) {
    ::close(in);
    return 0;
  }
  std::vector<char> buf(1 << 16);
  bool ok = true;
  for (;;) {
    ssize_t n = ::read(in, buf.data(), buf.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) ok = false;
    if (n <= 0) break;
    for (ssize_t off = 0; off < n;) {
      ssize_t w = ::write(out, buf.data() + off, static_cast<size_t>(n - off));
      if (w < 0 && errno == EINTR) continue;
      if (w <= 0) {
        ok = false;
        break;
      }
      off += w;
    }
    if (!ok) break;
  }
  ::close(in);
  if (::close(out) != 0) ok = false;
  return ok ? 1 : 0;
}

int64_t FileIO_GetLastWriteTime(const char* path) {
  std::string p = NativePath(path);
  struct stat st;
  if (p.empty()) return -1;
  if (stat(p.c_str(), &st) != 0) return errno == ENOENT || errno == ENOTDIR ? kNoFileThere : -1;
  return st.st_mtime;
}

// A delete-on-close lock file is made under a private name, marked with its
// holder (see services/lockfile_mark.h), locked, and only then linked to its
// real name: link() fails when the name exists, so the creation stays
// exclusive, and nobody can ever see the real name without its mark and its
// holder's lock on it.
FileHandle FileIO_CreateNewExclusive(const char* path, bool deleteOnClose) {
  std::string p = NativePath(path);
  if (p.empty() || fault::Fire(fault::Kind::Create)) return kInvalidHandle;
  if (!deleteOnClose) {
    int fd = ::open(p.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    return Register(fd);
  }
  static int counter = 0;
  char tmp[kMaxPath + 64];
  std::snprintf(tmp, sizeof tmp, "%s.%d.%d.new", p.c_str(), ProcessId(), ++counter);
  int fd = ::open(tmp, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) return kInvalidHandle;
  char host[64] = "";
  if (gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
  host[sizeof host - 1] = '\0';
  char mark[kLockHolderLineMax];
  int n = std::snprintf(mark, sizeof mark, "%shost=%s pid=%d\n", kLockHolderMark, host, ProcessId());
  bool marked = n > 0 && n < static_cast<int>(sizeof mark) && ::write(fd, mark, static_cast<size_t>(n)) == n;
  if (!marked || !KernelLock(fd, 0, 1, F_WRLCK) || ::link(tmp, p.c_str()) != 0) {
    ::unlink(tmp);
    ::close(fd);
    return kInvalidHandle;
  }
  ::unlink(tmp);
  return Register(fd, p);
}

// Opened without blocking and read only when it is a regular file: a FIFO
// or device in its place is nobody's lock file.
int32_t FileIO_LockFileHolderAlive(const char* path) {
  std::string p = NativePath(path);
  if (p.empty()) return -1;
  int fd = ::open(p.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? -1 : 1;
  struct stat st;
  char head[kLockHolderLineMax];
  ssize_t got = 0;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) {
    do {
      got = ::pread(fd, head, sizeof head, 0);
    } while (got < 0 && errno == EINTR);
  }
  if (got <= 0 || !HasLockHolderMark(head, static_cast<size_t>(got))) {
    ::close(fd);
    return 2;
  }
  struct flock fl = RangeRequest(0, 1, F_WRLCK);
  int32_t alive = 1;
  if (fcntl(fd, F_OFD_GETLK, &fl) == 0) alive = fl.l_type == F_UNLCK ? 0 : 1;
  // A holder that closes removes the name before its lock goes. So a free
  // lock on a file the name no longer leads to is a lock let go of, and the
  // name may already hold the next holder's file: report it gone rather
  // than orphaned, or that file would be deleted in its stead.
  struct stat now;
  if (alive == 0 && (stat(p.c_str(), &now) != 0 || now.st_dev != st.st_dev || now.st_ino != st.st_ino)) {
    alive = -1;
  }
  ::close(fd);
  return alive;
}

FileHandle FileIO_OpenAppend(const char* path) {
  FileHandle h = OpenWith(path, O_WRONLY | O_APPEND | O_CREAT, fault::Kind::Open);
  if (h != kInvalidHandle) {
    MutexLock lock(TableMutex());
    Handles()[h].append = true;
  }
  return h;
}

int32_t FileIO_GetModuleDirectory(char* directory) {
  if (directory == nullptr) return 0;
  directory[0] = '\0';
  if (const char* forced = FileIO_ModuleDirectoryOverride()) return CopyPath(directory, forced) ? 1 : 0;
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&FileIO_GetModuleDirectory), &info) == 0 ||
      info.dli_fname == nullptr) {
    return 0;
  }
  char resolved[PATH_MAX];
  const char* name = realpath(info.dli_fname, resolved) ? resolved : info.dli_fname;
  if (!CopyPath(directory, name)) return 0;
  FileIO_PathRemoveFileName(directory);
  return directory[0] != '\0' ? 1 : 0;
}

}  // namespace kv
