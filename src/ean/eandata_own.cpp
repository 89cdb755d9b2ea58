// The shop's own EAN-13 codes: "2" supplier part (2000001..2999999) and a
// five-digit article part, both kept as counters of the number-range file so
// that every workstation continues the same sequence. The counters are read
// and written without a lock of their own; the number-range file is the one
// place that serialises them.
#include <cstring>

#include "ean/eandata.h"
#include "kvdata/eanteile.h"
#include "kvdata/nummern.h"

namespace kv::ean {

int32_t GenerateOwnCode(char* buffer) {
  if (buffer == nullptr || std::strcmp(buffer, "##") != 0) return 0;

  // A failed read leaves 0, which the corrections below turn into the first
  // valid value of each part.
  int32_t supplier = 0;
  Nummern_NummernLesen(&supplier, kCounterSupplierPart);
  if (supplier < kFirstSupplierPart || supplier >= kSupplierPartEnd) supplier = kFirstSupplierPart;
  int32_t article = 0;
  Nummern_NummernLesen(&article, kCounterArticlePart);
  if (article == 0) article = 1;

  EANTEILE_EATtoEANS(supplier, article, buffer);

  ++article;
  if (article > kLastArticlePart) {
    article = 1;
    ++supplier;  // no upper check here: the next call's correction handles it
  }
  Nummern_NummernSchreiben(supplier, kCounterSupplierPart);
  return Nummern_NummernSchreiben(article, kCounterArticlePart);
}

}  // namespace kv::ean
