// KVHOST_*: the host's hooks into the library.
#include "kvdata/kvhost.h"
#include "services/fileio.h"
#include "services/hostui_impl.h"
#include "services/ini.h"
#include "services/strings.h"

namespace kv {
bool SetLanguage(int32_t language);
}

extern "C" {

KV_API void KVHOST_SetMessageHandler(KvMessageHandler handler, void* context) {
  kv::SetMessageHandler(handler, context);
}
KV_API void KVHOST_SetQuestionHandler(KvQuestionHandler handler, void* context) {
  kv::SetQuestionHandler(handler, context);
}
KV_API void KVHOST_SetBeepHandler(KvBeepHandler handler, void* context) {
  kv::SetBeepHandler(handler, context);
}
KV_API void KVHOST_SetWaitCursorHandler(KvWaitCursorHandler handler, void* context) {
  kv::SetWaitCursorHandler(handler, context);
}
KV_API void KVHOST_SetProgressHandler(KvProgressHandler handler, void* context) {
  kv::SetProgressHandler(handler, context);
}
KV_API int32_t KVHOST_SetLanguage(int32_t language) { return kv::SetLanguage(language) ? 1 : 0; }
KV_API int32_t KVHOST_GetLanguage(void) { return kv::CurrentLanguage(); }
KV_API int32_t KVHOST_SetLockTimeout(int32_t milliseconds) {
  if (milliseconds < 0) return 0;
  kv::FileIO_SetLockTimeout(milliseconds);
  return 1;
}
KV_API int32_t KVHOST_GetLockTimeout(void) { return kv::FileIO_GetLockTimeout(); }
KV_API void KVHOST_SetSettingsFile(const char* path) { kv::INI_SetSettingsFile(path); }
KV_API int32_t KVHOST_LoadString(int32_t id, char* buffer, int32_t size) {
  return kv::LoadStringExternResource(nullptr, id, buffer, size);
}

}  // extern "C"
