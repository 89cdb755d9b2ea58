// EANDATA_*: EAN check digits and own EAN codes, forwarding to src/ean.
#include "ean/eandata.h"
#include "kvdata/eandata.h"

extern "C" {

KV_API int32_t EANDATA_IstCodeOK(const char* code, int32_t kind) { return kv::ean::IsCodeOk(code, kind); }
KV_API int32_t EANDATA_IstEsEinEAN8_Code(const char* code) { return kv::ean::IsEan8(code); }
KV_API int32_t EANDATA_EAN_Vervollstaendigen(char* code) { return kv::ean::Complete(code, false); }
KV_API int32_t EANDATA_EAN_AusTabelle_Vervollstaendigen(char* code) { return kv::ean::Complete(code, true); }
KV_API int32_t EANDATA_EAN_KomplettierenbeiUPC(char* code) { return kv::ean::WidenUpc(code); }
KV_API int32_t EANDATA_ErzeugeEigeneEAN(char* buffer) { return kv::ean::GenerateOwnCode(buffer); }
KV_API void EANDATA_Init(const char* path) { kv::ean::Init(path); }

}  // extern "C"
