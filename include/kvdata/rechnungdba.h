/* Invoices, one file per invoice (RechnungDBA_*). */
#ifndef KVDATA_RECHNUNGDBA_H
#define KVDATA_RECHNUNGDBA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

KV_EXTERN_C_END

#endif /* KVDATA_RECHNUNGDBA_H */
