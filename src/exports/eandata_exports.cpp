// EANDATA_*: EAN check digits and own EAN codes, forwarding to src/ean.
#include "exports/guard.h"
#include "ean/eandata.h"
#include "kvdata/eandata.h"

extern "C" {

KV_API int32_t EANDATA_IstCodeOK(const char* code, int32_t kind) KV_TRY(int32_t) { return kv::ean::IsCodeOk(code, kind); } KV_CATCH(0)
KV_API int32_t EANDATA_IstEsEinEAN8_Code(const char* code) KV_TRY(int32_t) { return kv::ean::IsEan8(code); } KV_CATCH(0)
KV_API int32_t EANDATA_EAN_Vervollstaendigen(char* code) KV_TRY(int32_t) { return kv::ean::Complete(code, false); } KV_CATCH(0)
KV_API int32_t EANDATA_EAN_AusTabelle_Vervollstaendigen(char* code) KV_TRY(int32_t) { return kv::ean::Complete(code, true); } KV_CATCH(0)
KV_API int32_t EANDATA_EAN_KomplettierenbeiUPC(char* code) KV_TRY(int32_t) { return kv::ean::WidenUpc(code); } KV_CATCH(0)
KV_API int32_t EANDATA_ErzeugeEigeneEAN(char* buffer) KV_TRY(int32_t) { return kv::ean::GenerateOwnCode(buffer); } KV_CATCH(0)
KV_API void EANDATA_Init(const char* path) KV_TRY_VOID { kv::ean::Init(path); } KV_CATCH_VOID

}  // extern "C"
