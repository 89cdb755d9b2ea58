// Nummern_*: number ranges, forwarding to src/core.
#include "exports/guard.h"
#include "core/nummern.h"
#include "kvdata/nummern.h"

extern "C" {

KV_API void Nummern_Init(const char* path) KV_TRY_VOID { kv::nummern::Init(path); } KV_CATCH_VOID
KV_API int32_t Nummern_NummernLesen(int32_t* value, int32_t index) KV_TRY(int32_t) {
  return kv::nummern::ReadCounter(value, index);
} KV_CATCH(0)
KV_API int32_t Nummern_NummernSchreiben(int32_t value, int32_t index) KV_TRY(int32_t) {
  return kv::nummern::WriteCounter(value, index);
} KV_CATCH(0)

}  // extern "C"
