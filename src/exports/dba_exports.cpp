// DBA_*: the record-file engine's exported C interface, forwarding to src/core.
#include "core/dba_progress.h"
#include "kvdata/dba.h"

extern "C" {

KV_API int32_t DBA_GetAnzeigeTeiler(int32_t count) { return kv::dba::ProgressStep(count); }

}  // extern "C"
