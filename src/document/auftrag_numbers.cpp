// Order numbers from number range 2. A new number is read, counted on and
// written back under a lock on the counter, so two workstations never take
// the same one; the probe for an existing order file skips numbers that are
// already taken (by files older than the counter, or written by hand).
#include "core/nummern.h"
#include "document/auftrag.h"
#include "services/storage.h"

namespace kv::auftrag {

namespace {

// The first number after `current` whose order file does not exist yet.
int32_t NextFreeAfter(int32_t current) {
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

}  // namespace

// Only a look: the counter is read without a lock and not written.
int32_t NextFreeNumber() {
  int32_t current = 0;
  nummern::ReadCounter(&current, kNumberRange);
  return NextFreeAfter(current);
}

int32_t NewNumber() {
  int32_t n = 0;
  // Refused, n stays 0: no number.
  (void)nummern::UpdateCounters(kNumberRange, 1, [&](int32_t* counter) {
    n = NextFreeAfter(counter[0]);
    counter[0] = n;
    return true;
  });
  return n;
}

}  // namespace kv::auftrag
