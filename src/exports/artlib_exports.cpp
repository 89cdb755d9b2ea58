// ARTLIB_*: the article file's exported C interface, forwarding to src/article.
#include "article/artlib.h"
#include "kvdata/artlib.h"

namespace a = kv::artlib;

extern "C" {

KV_API int32_t ARTLIB_Init(int32_t count, const char* path) { return a::init(count, path); }
KV_API int32_t ARTLIB_Version(void) { return a::version(); }
KV_API int32_t ARTLIB_OeffneDatenbank(void) { return a::open(); }
KV_API void ARTLIB_SchliesseDatenbank(void) { a::close(); }
KV_API int32_t ARTLIB_ReadArtikel(int32_t handle, int32_t n, void* record) { return a::read_record(handle, n, record); }
KV_API int32_t ARTLIB_WriteArtikel(int32_t handle, int32_t n, void* record) { return a::write_record(handle, n, record); }
KV_API int32_t ARTLIB_LeseArtikel(int32_t n, void* record) { return a::lese(n, record); }
KV_API int32_t ARTLIB_SchreibeArtikel(int32_t n, void* record) { return a::schreibe(n, record); }
KV_API int32_t ARTLIB_LockArtikel(int32_t n) { return a::lock_record(n); }
KV_API int32_t ARTLIB_UnlockArtikel(int32_t n) { return a::unlock_record(n); }
KV_API int32_t ARTLIB_BlockReadArtikel(int32_t handle, int32_t first, int32_t count, void* buffer) {
  return a::block_read(handle, first, count, buffer);
}
KV_API int32_t ARTLIB_ReadComplete(void* buffer, int32_t size) { return a::read_complete(buffer, size); }
KV_API void ARTLIB_ClearArtikel(void* record) { a::clear(record); }
KV_API int32_t ARTLIB_FilePos(int32_t n) { return a::file_pos(n); }
KV_API int32_t ARTLIB_GetIniMaxArtikel(void) { return a::max_count(); }
KV_API void ARTLIB_GetSizeAndName(int32_t* count, char* path) { a::size_and_name(count, path); }
KV_API uint32_t ARTLIB_GetLastWriteTime(void) { return a::last_write_time(); }
KV_API int32_t ARTLIB_TesteAufGueltigenArtikel(int32_t n, const char* text) { return a::is_valid_article(n, text); }
KV_API int32_t ARTLIB_OeffneFremdeDatenbank(const char* path) { return a::open_foreign(path); }
KV_API int32_t ARTLIB_LeseArtikelAusFremderDB(int32_t n, void* record) { return a::read_foreign(n, record); }
KV_API void ARTLIB_SchliesseFremdeDatenbank(void) { a::close_foreign(); }
KV_API int32_t ARTLIB_ReadDBAHeader(int32_t handle, void* header) { return a::read_header(handle, header); }
KV_API int32_t ARTLIB_WriteDBAHeader(int32_t handle, const void* header) { return a::write_header(handle, header); }
KV_API int32_t ARTLIB_ErzeugeDatenbank(void) { return a::create(); }
KV_API int32_t ARTLIB_ErweitereDatenbank(void) { return a::enlarge(); }
KV_API int32_t KV_STDCALL ARTLIB_DoUpdate(int32_t newVersion, int32_t oldVersion) {
  return a::do_update(newVersion, oldVersion);
}

}  // extern "C"
