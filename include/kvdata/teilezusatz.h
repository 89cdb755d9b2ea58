/* Additional data of single items (TeileZusatz_*). */
#ifndef KVDATA_TEILEZUSATZ_H
#define KVDATA_TEILEZUSATZ_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_TEILEZUSATZ_H */
