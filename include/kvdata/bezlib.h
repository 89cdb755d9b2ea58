/* Designation file (BEZLIB_*). */
#ifndef KVDATA_BEZLIB_H
#define KVDATA_BEZLIB_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_BEZLIB_H */
