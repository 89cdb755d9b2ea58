// EANTEILE_*: the EAN-item file's exported C interface, forwarding to src/ean.
#include "ean/eanteile.h"
#include "kvdata/eanteile.h"

extern "C" {

KV_API int32_t EANTEILE_Init(int32_t count, const char* path) { return kv::eanteile::init(count, path); }
KV_API int32_t EANTEILE_Schreibe_EAN_Einzelteil(int32_t item, const char* ean) {
  return kv::eanteile::store(item, ean);
}
KV_API int32_t EANTEILE_Lese_EAN_Einzelteil(int32_t item, char* ean) { return kv::eanteile::read(item, ean); }
KV_API int32_t EANTEILE_Loesche_EAN_Einzelteil(int32_t item) { return kv::eanteile::remove(item); }

}  // extern "C"
