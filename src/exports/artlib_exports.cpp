// ARTLIB_*: the article file's exported C interface, forwarding to src/article.
#include "exports/guard.h"
#include "article/artlib.h"
#include "kvdata/artlib.h"

namespace a = kv::artlib;

extern "C" {

KV_API int32_t ARTLIB_Init(int32_t count, const char* path) KV_TRY(int32_t) { return a::init(count, path); } KV_CATCH(0)
KV_API int32_t ARTLIB_Version(void) KV_TRY(int32_t) { return a::version(); } KV_CATCH(0)
KV_API int32_t ARTLIB_OeffneDatenbank(void) KV_TRY(int32_t) { return a::open(); } KV_CATCH(-1)
KV_API void ARTLIB_SchliesseDatenbank(void) KV_TRY_VOID { a::close(); } KV_CATCH_VOID
KV_API int32_t ARTLIB_ReadArtikel(int32_t handle, int32_t n, void* record) KV_TRY(int32_t) { return a::read_record(handle, n, record); } KV_CATCH(0)
KV_API int32_t ARTLIB_WriteArtikel(int32_t handle, int32_t n, void* record) KV_TRY(int32_t) { return a::write_record(handle, n, record); } KV_CATCH(0)
KV_API int32_t ARTLIB_LeseArtikel(int32_t n, void* record) KV_TRY(int32_t) { return a::lese(n, record); } KV_CATCH(0)
KV_API int32_t ARTLIB_SchreibeArtikel(int32_t n, void* record) KV_TRY(int32_t) { return a::schreibe(n, record); } KV_CATCH(0)
KV_API int32_t ARTLIB_LockArtikel(int32_t n) KV_TRY(int32_t) { return a::lock_record(n); } KV_CATCH(0)
KV_API int32_t ARTLIB_UnlockArtikel(int32_t n) KV_TRY(int32_t) { return a::unlock_record(n); } KV_CATCH(0)
KV_API int32_t ARTLIB_BlockReadArtikel(int32_t handle, int32_t first, int32_t count, void* buffer) KV_TRY(int32_t) {
  return a::block_read(handle, first, count, buffer);
} KV_CATCH(0)
KV_API int32_t ARTLIB_ReadComplete(void* buffer, int32_t size) KV_TRY(int32_t) { return a::read_complete(buffer, size); } KV_CATCH(-1)
KV_API void ARTLIB_ClearArtikel(void* record) KV_TRY_VOID { a::clear(record); } KV_CATCH_VOID
KV_API int32_t ARTLIB_FilePos(int32_t n) KV_TRY(int32_t) { return a::file_pos(n); } KV_CATCH(-1)
KV_API int32_t ARTLIB_GetIniMaxArtikel(void) KV_TRY(int32_t) { return a::max_count(); } KV_CATCH(0)
KV_API void ARTLIB_GetSizeAndName(int32_t* count, char* path) KV_TRY_VOID { a::size_and_name(count, path); } KV_CATCH_VOID
KV_API uint32_t ARTLIB_GetLastWriteTime(void) KV_TRY(uint32_t) { return a::last_write_time(); } KV_CATCH(0)
KV_API int32_t ARTLIB_TesteAufGueltigenArtikel(int32_t n, const char* text) KV_TRY(int32_t) { return a::is_valid_article(n, text); } KV_CATCH(0)
KV_API int32_t ARTLIB_OeffneFremdeDatenbank(const char* path) KV_TRY(int32_t) { return a::open_foreign(path); } KV_CATCH(-1)
KV_API int32_t ARTLIB_LeseArtikelAusFremderDB(int32_t n, void* record) KV_TRY(int32_t) { return a::read_foreign(n, record); } KV_CATCH(0)
KV_API void ARTLIB_SchliesseFremdeDatenbank(void) KV_TRY_VOID { a::close_foreign(); } KV_CATCH_VOID
KV_API int32_t ARTLIB_ReadDBAHeader(int32_t handle, void* header) KV_TRY(int32_t) { return a::read_header(handle, header); } KV_CATCH(0)
KV_API int32_t ARTLIB_WriteDBAHeader(int32_t handle, const void* header) KV_TRY(int32_t) { return a::write_header(handle, header); } KV_CATCH(0)
KV_API int32_t ARTLIB_ErzeugeDatenbank(void) KV_TRY(int32_t) { return a::create(); } KV_CATCH(0)
KV_API int32_t ARTLIB_ErweitereDatenbank(void) KV_TRY(int32_t) { return a::enlarge(); } KV_CATCH(0)
KV_API int32_t KV_STDCALL ARTLIB_DoUpdate(int32_t newVersion, int32_t oldVersion) KV_TRY(int32_t) {
  return a::do_update(newVersion, oldVersion);
} KV_CATCH(0)

}  // extern "C"
