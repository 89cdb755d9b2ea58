// TeileZusatz_*: the item-extras file's exported C interface, forwarding to src/article.
#include "exports/guard.h"
#include "article/teilezusatz.h"
#include "kvdata/teilezusatz.h"

extern "C" {

KV_API int32_t TeileZusatz_Init(int32_t count, const char* path) KV_TRY(int32_t) { return kv::teilezusatz::init(count, path); } KV_CATCH(0)
KV_API int32_t TeileZusatz_Lese(int32_t item, void* record) KV_TRY(int32_t) { return kv::teilezusatz::read(item, record); } KV_CATCH(0)
KV_API int32_t TeileZusatz_Schreibe(int32_t item, const void* record) KV_TRY(int32_t) { return kv::teilezusatz::write(item, record); } KV_CATCH(0)
KV_API int32_t TeileZusatz_Loesche(int32_t item) KV_TRY(int32_t) { return kv::teilezusatz::remove(item); } KV_CATCH(0)

}  // extern "C"
