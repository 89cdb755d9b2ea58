#include "article/bezlib.h"

#include <cstring>

#include "core/fixed_records.h"
#include "services/process_state.h"
#include "kvdata/bezlib.h"

namespace kv::bezlib {

namespace {
// The family's file: family state, one thread at a time.
fixed::File& S() { return FamilyState<fixed::File, struct Designations>(); }

bool IsDesignation(int32_t n) { return n >= 1 && n <= S().count; }
// Handles are the family's own: a foreign handle would read another file
// under this family's bounds.
bool IsOwnHandle(int32_t handle) { return S().openCount > 0 && handle == S().handle; }
}  // namespace

int32_t init(int32_t count, const char* path) {
  return fixed::InitFile(S(), path, BEZLIB_FILE_NAME, BEZLIB_RECORD_SIZE, count, nullptr) ? 1 : 0;
}

int32_t open() { return fixed::Open(S()); }
void close() { fixed::Close(S()); }

int32_t lock_record(int32_t n) { return S().openCount > 0 && fixed::LockRecord(S(), n) ? 1 : 0; }
int32_t unlock_record(int32_t n) { return S().openCount > 0 && fixed::UnlockRecord(S(), n) ? 1 : 0; }

int32_t read_record(int32_t handle, int32_t n, void* record) {
  return IsDesignation(n) && IsOwnHandle(handle) && fixed::ReadRecord(S(), n, record) ? 1 : 0;
}

int32_t write_record(int32_t handle, int32_t n, const void* record) {
  return IsDesignation(n) && IsOwnHandle(handle) && fixed::WriteRecord(S(), n, record) ? 1 : 0;
}

int32_t lese(int32_t n, void* record) { return IsDesignation(n) && fixed::ReadOnce(S(), n, record) ? 1 : 0; }

int32_t schreibe(int32_t n, const void* record) {
  return IsDesignation(n) && fixed::WriteOnce(S(), n, record) ? 1 : 0;
}

// The slot search and the write of the new record happen under the lock of
// record 0, so two stations never enter their designations into one slot.
int32_t new_designation(const char* text) {
  if (text == nullptr || open() == kInvalidHandle) return 0;
  int32_t found = 0;
  if (fixed::LockRecord(S(), 0)) {
    Bezeichnung b;
    for (int32_t n = 1; n <= S().count && found == 0; ++n) {
      if (!fixed::ReadRecord(S(), n, &b)) break;
      if (b.inUse != 0) continue;
      std::memset(&b, 0, sizeof b);
      b.inUse = 1;
      std::strncpy(b.text, text, BEZLIB_TEXT_SIZE - 1);
      found = fixed::WriteRecord(S(), n, &b) ? n : -1;
    }
    (void)fixed::UnlockRecord(S(), 0);  // our own lock: nothing to do if it fails
  }
  close();
  return found > 0 ? found : 0;
}

// A designation that still heads items is not freed: its items would point
// at a slot that the next new designation reuses.
int32_t remove(int32_t n) {
  if (!IsDesignation(n) || open() == kInvalidHandle) return 0;
  int32_t result = 0;
  if (fixed::LockRecord(S(), n)) {
    Bezeichnung b;
    if (fixed::ReadRecord(S(), n, &b) && b.firstItem == 0 && b.lastItem == 0) {
      std::memset(&b, 0, sizeof b);
      result = fixed::WriteRecord(S(), n, &b) ? 1 : 0;
    }
    (void)fixed::UnlockRecord(S(), n);  // our own lock: nothing to do if it fails
  }
  close();
  return result;
}

}  // namespace kv::bezlib
