// BEZLIB_*: the designation file's exported C interface, forwarding to src/article.
#include "exports/guard.h"
#include "article/bezlib.h"
#include "kvdata/bezlib.h"

namespace b = kv::bezlib;

extern "C" {

KV_API int32_t BEZLIB_Init(int32_t count, const char* path) KV_TRY(int32_t) { return b::init(count, path); } KV_CATCH(0)
KV_API int32_t BEZLIB_OeffneDatenbank(void) KV_TRY(int32_t) { return b::open(); } KV_CATCH(-1)
KV_API void BEZLIB_SchliesseDatenbank(void) KV_TRY_VOID { b::close(); } KV_CATCH_VOID
KV_API int32_t BEZLIB_LockBezeichnung(int32_t n) KV_TRY(int32_t) { return b::lock_record(n); } KV_CATCH(0)
KV_API int32_t BEZLIB_UnlockBezeichnung(int32_t n) KV_TRY(int32_t) { return b::unlock_record(n); } KV_CATCH(0)
KV_API int32_t BEZLIB_ReadBezeichnung(int32_t handle, int32_t n, void* record) KV_TRY(int32_t) { return b::read_record(handle, n, record); } KV_CATCH(0)
KV_API int32_t BEZLIB_WriteBezeichnung(int32_t handle, int32_t n, const void* record) KV_TRY(int32_t) {
  return b::write_record(handle, n, record);
} KV_CATCH(0)
KV_API int32_t BEZLIB_LeseBezeichnung(int32_t n, void* record) KV_TRY(int32_t) { return b::lese(n, record); } KV_CATCH(0)
KV_API int32_t BEZLIB_SchreibeBezeichnung(int32_t n, const void* record) KV_TRY(int32_t) { return b::schreibe(n, record); } KV_CATCH(0)
KV_API int32_t BEZLIB_NeueBezeichnung(const char* text) KV_TRY(int32_t) { return b::new_designation(text); } KV_CATCH(0)
KV_API int32_t BEZLIB_BezeichnungLoeschen(int32_t n) KV_TRY(int32_t) { return b::remove(n); } KV_CATCH(0)

}  // extern "C"
