// EANTEILE_EATtoEANS: the EAN text of an EAN-item identifier, forwarding to src/ean.
#include "exports/guard.h"
#include "ean/eandata.h"
#include "kvdata/eanteile.h"

extern "C" {

KV_API int32_t EANTEILE_EATtoEANS(int32_t supplierPart, int32_t articlePart, char* out) KV_TRY(int32_t) {
  return kv::ean::FormatOwnCode(supplierPart, articlePart, out);
} KV_CATCH(0)

}  // extern "C"
