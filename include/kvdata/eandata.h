/* EAN check digits, completion and own EAN codes (EANDATA_*). */
#ifndef KVDATA_EANDATA_H
#define KVDATA_EANDATA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_EANDATA_H */
