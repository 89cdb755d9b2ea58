// EAN-13 text of an EAN-item identifier: seven digits supplier part, five
// digits article part, then the check digit.
#include <cstdio>
#include <cstring>

#include "ean/eandata.h"

namespace kv::ean {

int32_t FormatOwnCode(int32_t supplierPart, int32_t articlePart, char* out) {
  if (out == nullptr) return 0;
  char text[32];
  std::snprintf(text, sizeof text, "%07ld%05ld", static_cast<long>(supplierPart),
                static_cast<long>(articlePart));
  // Parts wider than their fields give a longer text that stays uncompleted;
  // only the first 13 characters fit the caller's 14-byte buffer.
  std::memcpy(out, text, 13);
  out[13] = '\0';
  return Complete(out, false);
}

}  // namespace kv::ean
