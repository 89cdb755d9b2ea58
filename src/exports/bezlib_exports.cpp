// BEZLIB_*: the designation file's exported C interface, forwarding to src/article.
#include "article/bezlib.h"
#include "kvdata/bezlib.h"

namespace b = kv::bezlib;

extern "C" {

KV_API int32_t BEZLIB_Init(int32_t count, const char* path) { return b::init(count, path); }
KV_API int32_t BEZLIB_OeffneDatenbank(void) { return b::open(); }
KV_API void BEZLIB_SchliesseDatenbank(void) { b::close(); }
KV_API int32_t BEZLIB_LockBezeichnung(int32_t n) { return b::lock_record(n); }
KV_API int32_t BEZLIB_UnlockBezeichnung(int32_t n) { return b::unlock_record(n); }
KV_API int32_t BEZLIB_ReadBezeichnung(int32_t handle, int32_t n, void* record) { return b::read_record(handle, n, record); }
KV_API int32_t BEZLIB_WriteBezeichnung(int32_t handle, int32_t n, const void* record) {
  return b::write_record(handle, n, record);
}
KV_API int32_t BEZLIB_LeseBezeichnung(int32_t n, void* record) { return b::lese(n, record); }
KV_API int32_t BEZLIB_SchreibeBezeichnung(int32_t n, const void* record) { return b::schreibe(n, record); }
KV_API int32_t BEZLIB_NeueBezeichnung(const char* text) { return b::new_designation(text); }
KV_API int32_t BEZLIB_BezeichnungLoeschen(int32_t n) { return b::remove(n); }

}  // extern "C"
