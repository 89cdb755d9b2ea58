/* EAN codes of single items (EANTEILE_*). */
#ifndef KVDATA_EANTEILE_H
#define KVDATA_EANTEILE_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* EAN texts of EAN-item identifiers */
/* Formats the identifier pair as "%07ld%05ld" (supplier part, article part)
 * into out (at least 14 bytes) and appends the EAN-13 check digit. Returns 1
 * when the result is a valid EAN-13 code; 0 for a null out or parts too wide
 * for their fields (the first 13 characters then stand uncompleted). */
KV_API int32_t EANTEILE_EATtoEANS(int32_t supplierPart, int32_t articlePart, char* out);

KV_EXTERN_C_END

#endif /* KVDATA_EANTEILE_H */
