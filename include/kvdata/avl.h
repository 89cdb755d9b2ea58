/* AVL tree over a caller-supplied node store (AVL_*), with the AvlBaum descriptor and AvlKnoten node. */
#ifndef KVDATA_AVL_H
#define KVDATA_AVL_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_AVL_H */
