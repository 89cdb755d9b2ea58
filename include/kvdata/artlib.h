/* Article file (ARTLIB_*). */
#ifndef KVDATA_ARTLIB_H
#define KVDATA_ARTLIB_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_ARTLIB_H */
