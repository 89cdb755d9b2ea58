/* Orders and order positions, one file per order (AUFTRAGDBA_*). */
#ifndef KVDATA_AUFTRAGDBA_H
#define KVDATA_AUFTRAGDBA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_AUFTRAGDBA_H */
