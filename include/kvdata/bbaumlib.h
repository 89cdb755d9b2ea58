/* Persistent key files of 32-byte keys with their tree nodes on disk (BBAUMLIB_*). */
#ifndef KVDATA_BBAUMLIB_H
#define KVDATA_BBAUMLIB_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_BBAUMLIB_H */
