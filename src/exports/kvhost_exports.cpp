// KVHOST_*: the host's hooks into the library.
#include "exports/guard.h"
#include "kvdata/kvhost.h"
#include "kvdata/version.h"
#include "services/cause.h"
#include "services/fileio.h"
#include "services/hostui_impl.h"
#include "services/ini.h"
#include "services/strings.h"

namespace kv {
bool SetLanguage(int32_t language);
}

// Every setter installs the host handler of its own type with its context.
#define KV_HANDLER_SETTER(name, Handler)                                                                           \
  KV_API void name(Handler handler, void* context) KV_TRY_VOID { kv::SetHandler(handler, context); } KV_CATCH_VOID

extern "C" {

KV_HANDLER_SETTER(KVHOST_SetMessageHandler, KvMessageHandler)
KV_HANDLER_SETTER(KVHOST_SetQuestionHandler, KvQuestionHandler)
KV_HANDLER_SETTER(KVHOST_SetBeepHandler, KvBeepHandler)
KV_HANDLER_SETTER(KVHOST_SetWaitCursorHandler, KvWaitCursorHandler)
KV_HANDLER_SETTER(KVHOST_SetProgressHandler, KvProgressHandler)
KV_API int32_t KVHOST_SetLanguage(int32_t language) KV_TRY(int32_t) { return kv::SetLanguage(language) ? 1 : 0; } KV_CATCH(0)
KV_API int32_t KVHOST_GetLanguage(void) KV_TRY(int32_t) { return kv::CurrentLanguage(); } KV_CATCH(0)
KV_API int32_t KVHOST_SetLockTimeout(int32_t milliseconds) KV_TRY(int32_t) {
  if (milliseconds < 0) return kv::Refuse("lock time-out below 0") ? 1 : 0;
  kv::FileIO_SetLockTimeout(milliseconds);
  return 1;
} KV_CATCH(0)
KV_API int32_t KVHOST_GetLockTimeout(void) KV_TRY(int32_t) { return kv::FileIO_GetLockTimeout(); } KV_CATCH(0)
KV_API void KVHOST_SetSettingsFile(const char* path) KV_TRY_VOID { kv::INI_SetSettingsFile(path); } KV_CATCH_VOID
KV_API int32_t KVHOST_LoadString(int32_t id, char* buffer, int32_t size) KV_TRY(int32_t) {
  return kv::LoadStringExternResource(nullptr, id, buffer, size);
} KV_CATCH(0)


// The last-error functions are not guarded: they cannot fail, and a guard
// would only touch what they report.
KV_API int32_t KVHOST_LastError(void) { return kv::LastErrorCode(); }
KV_API const char* KVHOST_LastErrorText(void) { return kv::LastErrorText(); }
KV_API void KVHOST_ClearLastError(void) { kv::ClearLastError(); }
KV_API int32_t KVHOST_Version(void) KV_TRY(int32_t) { return KVDATA_VERSION_NUMBER; } KV_CATCH(0)
KV_HANDLER_SETTER(KVHOST_SetFatalHandler, KvFatalHandler)

}  // extern "C"
