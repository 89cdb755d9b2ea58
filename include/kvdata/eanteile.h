/* EAN codes of single items (EANTEILE_*). */
#ifndef KVDATA_EANTEILE_H
#define KVDATA_EANTEILE_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_EANTEILE_H */
