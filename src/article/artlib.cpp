#include "article/artlib.h"

#include <cstring>

#include "core/fixed_records.h"
#include "services/process_state.h"
#include "kvdata/artlib.h"
#include "services/name_resolve.h"
#include "services/platform.h"

namespace kv::artlib {

namespace {

// The family's state, one thread at a time (services/process_state.h).
struct State {
  fixed::File own;
  // The foreign file: another installation's article file, same layout.
  fixed::File foreign;
};
State& S() { return FamilyState<State>(); }

constexpr int32_t kSize = ARTLIB_RECORD_SIZE;

}  // namespace

int32_t open() { return fixed::Open(S().own); }
void close() { fixed::Close(S().own); }

// Article numbers reach up to the larger of the configured count and the
// last record in the file; anything above is refused before any I/O.
static bool addressable(int32_t handle, int32_t n) {
  return fixed::RecordsWithin(handle, kSize, S().own.count, n, 1);
}

int32_t read_record(int32_t handle, int32_t n, void* record) {
  if (n < 0 || record == nullptr || !addressable(handle, n)) return 0;
  return fixed::ReadAt(handle, fixed::RecordPos(kSize, n), record, kSize) ? 1 : 0;
}

int32_t write_record(int32_t handle, int32_t n, void* record) {
  if (n < 0 || record == nullptr || !addressable(handle, n)) return 0;
  static_cast<ArtikelRecord*>(record)->lastWrite = UnixTimeNow();
  return fixed::WriteAt(handle, fixed::RecordPos(kSize, n), record, kSize) ? 1 : 0;
}

int32_t lese(int32_t n, void* record) {
  if (n == 0) return 0;
  int32_t h = open();
  if (h == kInvalidHandle) return 0;
  int32_t r = read_record(h, n, record);
  close();
  return r;
}

int32_t schreibe(int32_t n, void* record) {
  int32_t h = open();
  if (h == kInvalidHandle) return 0;
  int32_t r = write_record(h, n, record);
  close();
  return r;
}

// The range is 660*n, not 40 + 660*n: every workstation of an installation
// has always locked there, and a lock only serialises when all parties use
// the same range. Moving it onto the record's own bytes would let a new
// station and an old one hold "the" lock of one article at the same time.
int32_t lock_record(int32_t n) {
  if (n < 0 || S().own.openCount <= 0) return 0;
  return FileIO_Lock(S().own.handle, static_cast<int64_t>(n) * kSize, kSize) != 0 ? 1 : 0;
}

int32_t unlock_record(int32_t n) {
  if (n < 0 || S().own.openCount <= 0) return 0;
  return FileIO_Unlock(S().own.handle, static_cast<int64_t>(n) * kSize, kSize) != 0 ? 1 : 0;
}

int32_t block_read(int32_t handle, int32_t first, int32_t count, void* buffer) {
  if (first < 0 || count <= 0 || buffer == nullptr || !addressable(handle, first)) return 0;
  int64_t bytes = static_cast<int64_t>(count) * kSize;
  if (bytes > INT32_MAX) return 0;
  // The caller gets the byte count of the read and compares it with
  // count * 660 itself; a short read at the end of the file says how many
  // whole records arrived.
  int64_t pos = fixed::RecordPos(kSize, first);
  if (FileIO_SetPos(handle, pos) != pos) return 0;
  return FileIO_Read(handle, buffer, static_cast<int32_t>(bytes));
}

int32_t read_complete(void* buffer, int32_t size) {
  if (buffer == nullptr || size < 0) return -1;
  FileHandle h = FileIO_OpenROS(S().own.path);
  if (h == kInvalidHandle) return -1;
  int32_t got = FileIO_SetPos(h, 0) == 0 ? FileIO_Read(h, buffer, size) : 0;
  FileIO_Close(h);
  return got;
}

void clear(void* record) {
  if (record != nullptr) std::memset(record, 0, kSize);
}

int32_t file_pos(int32_t n) {
  int64_t pos = fixed::RecordPos(kSize, n);
  return n < 0 || pos > INT32_MAX ? -1 : static_cast<int32_t>(pos);
}

int32_t max_count() { return S().own.count; }

void size_and_name(int32_t* count, char* path) {
  if (count != nullptr) *count = S().own.count;
  if (path != nullptr) (void)CopyPath(path, S().own.path);  // both hold kMaxPath
}

uint32_t last_write_time() {
  int64_t t = FileIO_GetLastWriteTime(S().own.path);
  return t < 0 ? 0 : static_cast<uint32_t>(t);
}

int32_t is_valid_article(int32_t n, const char* text) {
  if (n <= 0 || text == nullptr) return 0;
  ArtikelRecord a;
  if (lese(n, &a) != 1) return 0;
  char stored[ARTLIB_TEXT_SIZE + 1] = {};
  std::memcpy(stored, a.text, ARTLIB_TEXT_SIZE);
  if (std::strcmp(stored, text) != 0) return 0;
  // An article that was never filled in has all nine leading words zero
  // (chain heads, the word at 8 and the three price pairs).
  int32_t words[9];
  std::memcpy(words, &a, sizeof words);
  for (int32_t w : words)
    if (w != 0) return 1;
  return 0;
}

int32_t open_foreign(const char* path) {
  if (S().foreign.openCount > 0) {
    ++S().foreign.openCount;
    return S().foreign.handle;
  }
  if (path == nullptr || !CopyPath(S().foreign.path, path)) return -1;
  FileIO_ResolveNameCase(S().foreign.path);  // another installation's, perhaps copied from Windows
  if (FileIO_Exist(S().foreign.path) == 0) return -1;
  S().foreign.recordSize = kSize;
  return fixed::Open(S().foreign);
}

int32_t read_foreign(int32_t n, void* record) {
  if (n == 0 || S().foreign.openCount <= 0) return 0;
  return read_record(S().foreign.handle, n, record);
}

void close_foreign() { fixed::Close(S().foreign); }

int32_t read_header(int32_t handle, void* header) {
  return fixed::ReadAt(handle, 0, header, fixed::kHeaderSize) ? 1 : 0;
}

int32_t write_header(int32_t handle, const void* header) {
  return fixed::WriteAt(handle, 0, header, fixed::kHeaderSize) ? 1 : 0;
}

int32_t create() { return fixed::Create(S().own, nullptr) ? 1 : 0; }
int32_t enlarge() { return fixed::Enlarge(S().own, nullptr) ? 1 : 0; }

int32_t version() { return fixed::FileVersion(S().own.path); }

// ---- upgrades -------------------------------------------------------------
// The layouts of the old releases (510, 520 .. 539, 540 .. 599) were never
// written down. What is known is where the fields the rest of the system
// relies on lie: the chain heads (0, 4), the three price pairs (12 .. 35),
// the text (87), the VAT code (146) and the time of the last write (169), in
// 660-byte records behind the 40-byte header whose first word is the
// version. Each step therefore copies the header with the step's version and
// every record whole, at the same position, into a new file, deletes the old
// file and renames the new one into place: the fields whose place is known
// arrive where the current layout expects them, and the bytes whose meaning
// is unknown are carried along unchanged instead of being thrown away. A
// step that fails half-way leaves the old file as it was.
static bool upgrade_step(int32_t target) {
  return fixed::RewriteAsVersion(S().own.path, kSize, target);
}

static int32_t upgrade_chain(int32_t current) {
  if (current == ARTLIB_CURRENT_VERSION) return current;
  if (current == 510) {
    if (!upgrade_step(520)) return 0;
    current = 520;
  }
  if (current < 540) {
    if (!upgrade_step(540)) return 0;
    current = 540;
  }
  if (current < ARTLIB_CURRENT_VERSION)
    return upgrade_step(ARTLIB_CURRENT_VERSION) ? ARTLIB_CURRENT_VERSION : 0;
  return current;
}

int32_t init(int32_t count, const char* path) {
  if (S().own.openCount > 0) {  // a re-Init drops the old file's handle
    FileIO_Close(S().own.handle);
    S().own.handle = kInvalidHandle;
    S().own.openCount = 0;
  }
  if (!fixed::Setup(S().own, path, ARTLIB_FILE_NAME, kSize, count)) return 0;
  if (FileIO_Exist(S().own.path) == 0) return create() == 1 ? ARTLIB_CURRENT_VERSION : 0;
  int32_t v = version();
  if (v <= 0) return 0;  // unreadable header: leave the file for inspection
  return upgrade_chain(v);
}

int32_t do_update(int32_t newVersion, int32_t oldVersion) {
  if (newVersion != ARTLIB_CURRENT_VERSION || oldVersion <= 0 || oldVersion > newVersion) return 0;
  if (version() != oldVersion) return 0;
  return upgrade_chain(oldVersion) == ARTLIB_CURRENT_VERSION ? 1 : 0;
}

}  // namespace kv::artlib
