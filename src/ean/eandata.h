// EAN-13, UPC-A and EAN-8 check digits, completion of 12-digit codes, UPC
// widening and the shop's own EAN-13 codes from the two counters of the
// number-range file.
#ifndef KV_EAN_EANDATA_H
#define KV_EAN_EANDATA_H

#include <cstdint>

namespace kv::ean {

enum CodeKind : int32_t { kEan13 = 0, kUpcA = 1, kEan8 = 2 };

// Number-range counters of the own EAN codes.
constexpr int32_t kCounterArticlePart = 11;   // "EIGENE EAN-ARTIKEL-NR"
constexpr int32_t kCounterSupplierPart = 12;  // "EIGENE EAN-LIEFERANT-NR"
constexpr int32_t kFirstSupplierPart = 2000001;
constexpr int32_t kSupplierPartEnd = 3000000;  // first value out of range
constexpr int32_t kLastArticlePart = 99999;

// Value of one code character: its digit, or -1 for anything else.
int32_t DigitValue(char c);
// Weight of 0-based position p for a code kind.
int32_t Weight(int32_t kind, int32_t p);
// (((sum + 10) / 10) * 10 - sum) % 10 with C integer division.
int32_t CheckDigitOfSum(int32_t sum);

int32_t IsCodeOk(const char* code, int32_t kind);
int32_t IsEan8(const char* code);
// Appends the check digit to a 12-character code; fromTable = 0 skips a
// leading '0' in the sum, fromTable != 0 always starts at position 0.
int32_t Complete(char* code, bool fromTable);
int32_t WidenUpc(char* code);
int32_t FormatOwnCode(int32_t supplierPart, int32_t articlePart, char* out);
int32_t GenerateOwnCode(char* buffer);

void Init(const char* path);
// Directory given to Init (with its separator), empty before.
const char* DataDirectory();

}  // namespace kv::ean

#endif  // KV_EAN_EANDATA_H
