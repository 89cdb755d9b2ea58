/* Customer file KUNDEN.DBA with its two search files, and a second customer file (KundenDBA_*, KundenSuchDBA_*, KundenBLZSuchDBA_*, KundenZweiteDBA_*). */
#ifndef KVDATA_KUNDENDBA_H
#define KVDATA_KUNDENDBA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_KUNDENDBA_H */
