// Nummern_*: number ranges, forwarding to src/core.
#include "core/nummern.h"
#include "kvdata/nummern.h"

extern "C" {

KV_API void Nummern_Init(const char* path) { kv::nummern::Init(path); }
KV_API int32_t Nummern_NummernLesen(int32_t* value, int32_t index) {
  return kv::nummern::ReadCounter(value, index);
}
KV_API int32_t Nummern_NummernSchreiben(int32_t value, int32_t index) {
  return kv::nummern::WriteCounter(value, index);
}

}  // extern "C"
