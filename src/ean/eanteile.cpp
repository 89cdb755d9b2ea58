#include "ean/eanteile.h"

#include <cstring>

#include "core/fixed_records.h"
#include "services/process_state.h"
#include "kvdata/eanteile.h"

namespace kv::eanteile {

namespace {
// The family's file: family state, one thread at a time.
fixed::File& S() { return FamilyState<fixed::File, struct EanItems>(); }

bool IsItem(int32_t item) { return item >= 1 && item <= S().count; }

bool IsEanText(const char* ean) {
  size_t len = ean == nullptr ? 0 : std::strlen(ean);
  if (len == 0 || len >= EANTEILE_EAN_SIZE) return false;
  for (size_t i = 0; i < len; ++i)
    if (ean[i] < '0' || ean[i] > '9') return false;
  return true;
}
}  // namespace

int32_t init(int32_t count, const char* path) {
  return fixed::InitFile(S(), path, EANTEILE_FILE_NAME, EANTEILE_RECORD_SIZE, count, nullptr) ? 1 : 0;
}

int32_t store(int32_t item, const char* ean) {
  if (!IsItem(item) || !IsEanText(ean)) return 0;
  EanEinzelteil e{};
  e.item = item;
  std::memcpy(e.ean, ean, std::strlen(ean));
  return fixed::WriteLocked(S(), item, &e) ? 1 : 0;
}

int32_t read(int32_t item, char* ean) {
  if (ean == nullptr) return 0;
  ean[0] = '\0';
  EanEinzelteil e;
  if (!IsItem(item) || !fixed::ReadOnce(S(), item, &e) || e.item != item) return 0;
  std::memcpy(ean, e.ean, EANTEILE_EAN_SIZE);
  ean[EANTEILE_EAN_SIZE - 1] = '\0';
  return ean[0] != '\0' ? 1 : 0;
}

int32_t remove(int32_t item) {
  if (!IsItem(item)) return 0;
  EanEinzelteil empty{};
  return fixed::WriteLocked(S(), item, &empty) ? 1 : 0;
}

}  // namespace kv::eanteile
