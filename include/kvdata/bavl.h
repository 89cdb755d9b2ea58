/* The AVL tree's second instance, used by the key file (BAVL_*). */
#ifndef KVDATA_BAVL_H
#define KVDATA_BAVL_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_BAVL_H */
