// TeileZusatz_*: the item-extras file's exported C interface, forwarding to src/article.
#include "article/teilezusatz.h"
#include "kvdata/teilezusatz.h"

extern "C" {

KV_API int32_t TeileZusatz_Init(int32_t count, const char* path) { return kv::teilezusatz::init(count, path); }
KV_API int32_t TeileZusatz_Lese(int32_t item, void* record) { return kv::teilezusatz::read(item, record); }
KV_API int32_t TeileZusatz_Schreibe(int32_t item, const void* record) { return kv::teilezusatz::write(item, record); }
KV_API int32_t TeileZusatz_Loesche(int32_t item) { return kv::teilezusatz::remove(item); }

}  // extern "C"
