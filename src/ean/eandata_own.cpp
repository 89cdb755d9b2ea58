// The shop's own EAN-13 codes: "2" supplier part (2000001..2999999) and a
// five-digit article part, both kept as counters of the number-range file so
// that every workstation continues the same sequence. Both counters are read,
// counted on and written back under one lock on their bytes, so two
// workstations never print the same code.
#include <cstring>

#include "core/nummern.h"
#include "ean/eandata.h"

namespace kv::ean {

int32_t GenerateOwnCode(char* buffer) {
  if (buffer == nullptr || std::strcmp(buffer, "##") != 0) return 0;
  static_assert(kCounterArticlePart + 1 == kCounterSupplierPart, "the two counters lie side by side");
  const bool ok = nummern::UpdateCounters(kCounterArticlePart, 2, [&](int32_t* counters) {
    int32_t& article = counters[0];
    int32_t& supplier = counters[1];
    // A counter never written is 0, which the corrections below turn into
    // the first valid value of each part.
    if (supplier < kFirstSupplierPart || supplier >= kSupplierPartEnd) supplier = kFirstSupplierPart;
    if (article == 0) article = 1;
    FormatOwnCode(supplier, article, buffer);
    ++article;
    if (article > kLastArticlePart) {
      article = 1;
      ++supplier;  // no upper check here: the next call's correction handles it
    }
    return true;
  });
  return ok ? 1 : 0;
}

}  // namespace kv::ean
