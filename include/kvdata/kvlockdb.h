/* Lock database MMLOCK.DBA, function lock files and the lock log (KVLOCKDB_*). */
#ifndef KVDATA_KVLOCKDB_H
#define KVDATA_KVLOCKDB_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_KVLOCKDB_H */
