/* Single-item file TEILE.DBA and its transactions (DATABASE_*, Database_*). */
#ifndef KVDATA_DATABASE_H
#define KVDATA_DATABASE_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_DATABASE_H */
