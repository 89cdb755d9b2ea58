// EANTEILE_EATtoEANS: the EAN text of an EAN-item identifier, forwarding to src/ean.
#include "ean/eandata.h"
#include "kvdata/eanteile.h"

extern "C" {

KV_API int32_t EANTEILE_EATtoEANS(int32_t supplierPart, int32_t articlePart, char* out) {
  return kv::ean::FormatOwnCode(supplierPart, articlePart, out);
}

}  // extern "C"
