// EANTEILE_*: the EAN-item file's exported C interface, forwarding to src/ean.
#include "exports/guard.h"
#include "ean/eanteile.h"
#include "kvdata/eanteile.h"

extern "C" {

KV_API int32_t EANTEILE_Init(int32_t count, const char* path) KV_TRY(int32_t) { return kv::eanteile::init(count, path); } KV_CATCH(0)
KV_API int32_t EANTEILE_Schreibe_EAN_Einzelteil(int32_t item, const char* ean) KV_TRY(int32_t) {
  return kv::eanteile::store(item, ean);
} KV_CATCH(0)
KV_API int32_t EANTEILE_Lese_EAN_Einzelteil(int32_t item, char* ean) KV_TRY(int32_t) { return kv::eanteile::read(item, ean); } KV_CATCH(0)
KV_API int32_t EANTEILE_Loesche_EAN_Einzelteil(int32_t item) KV_TRY(int32_t) { return kv::eanteile::remove(item); } KV_CATCH(0)

}  // extern "C"
