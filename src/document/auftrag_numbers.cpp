// Order numbers from number range 2. The range is read and written without a
// lock, so two workstations may both see the same value; the probe for an
// existing order file skips numbers that are already taken.
#include "document/auftrag.h"
#include "kvdata/nummern.h"
#include "services/storage.h"

namespace kv::auftrag {

int32_t NextFreeNumber() {
  int32_t current = 0;
  Nummern_NummernLesen(&current, kNumberRange);
  // Computed in unsigned arithmetic: a range value of 2^31 - 1 wraps to a
  // negative number instead of overflowing.
  int32_t n = static_cast<int32_t>(static_cast<uint32_t>(current) + 1u);
  // Kept as the old program had it: both conditions can never hold at once.
  if (n > 100000000 && n <= 0) n = kFirstWrappedNumber;

  StorageBlock header(kFormat560.blockSize);
  if (!header) return n;
  if (!ReadHeaderOf(n, header.get(), kFormat560)) return n;
  // After 100000000 the numbers continue at 1000, never at 1..999.
  int32_t m = n;
  do {
    m = (m >= kWrapLimit - 1) ? kFirstWrappedNumber : m + 1;
  } while (m != n && ReadHeaderOf(m, header.get(), kFormat560));
  return m;
}

int32_t NewNumber() {
  const int32_t n = NextFreeNumber();
  Nummern_NummernSchreiben(n, kNumberRange);
  return n;
}

}  // namespace kv::auftrag
