/* Number ranges in NUMMERN.DAT (Nummern_*). */
#ifndef KVDATA_NUMMERN_H
#define KVDATA_NUMMERN_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_NUMMERN_H */
