#include "article/teilezusatz.h"

#include <cstring>

#include "core/fixed_records.h"
#include "services/process_state.h"
#include "kvdata/teilezusatz.h"

namespace kv::teilezusatz {

namespace {
// The family's file: family state, one thread at a time.
fixed::File& S() { return FamilyState<fixed::File, struct ItemExtras>(); }

bool IsItem(int32_t item) { return item >= 1 && item <= S().count; }
}  // namespace

int32_t init(int32_t count, const char* path) {
  return fixed::InitFile(S(), path, TEILEZUSATZ_FILE_NAME, TEILEZUSATZ_RECORD_SIZE, count, nullptr)
             ? 1
             : 0;
}

int32_t read(int32_t item, void* record) {
  if (!IsItem(item) || record == nullptr) return 0;
  TeileZusatz z;
  if (!fixed::ReadOnce(S(), item, &z) || z.item != item) return 0;
  std::memcpy(record, &z, sizeof z);
  return 1;
}

int32_t write(int32_t item, const void* record) {
  if (!IsItem(item) || record == nullptr) return 0;
  TeileZusatz z;
  std::memcpy(&z, record, sizeof z);
  z.item = item;
  return fixed::WriteLocked(S(), item, &z) ? 1 : 0;
}

int32_t remove(int32_t item) {
  if (!IsItem(item)) return 0;
  TeileZusatz empty{};
  return fixed::WriteLocked(S(), item, &empty) ? 1 : 0;
}

}  // namespace kv::teilezusatz
