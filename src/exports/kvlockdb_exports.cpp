// KVLOCKDB_*: lock database, function locks and lock log, forwarding to src/core.
#include "exports/guard.h"
#include "core/lockdb.h"
#include "kvdata/kvlockdb.h"

extern "C" {

KV_API const char* KVLOCKDB_Init(const char* path) KV_TRY(const char*) { return kv::lockdb::Init(path); } KV_CATCH(nullptr)
KV_API void KVLOCKDB_IPUSERInit(const char* ip, const char* user, int32_t blockingEnabled) KV_TRY_VOID {
  kv::lockdb::SetStation(ip, user, blockingEnabled);
} KV_CATCH_VOID
KV_API int32_t KVLOCKDB_ErzeugeLockDB(void) KV_TRY(int32_t) { return kv::lockdb::CreateLockDb(); } KV_CATCH(0)
KV_API int32_t KVLOCKDB_OeffneLockDB(void) KV_TRY(int32_t) { return kv::lockdb::OpenLockDb(); } KV_CATCH(-1)
KV_API void KVLOCKDB_SchliesseLockDB(void) KV_TRY_VOID { kv::lockdb::CloseLockDb(); } KV_CATCH_VOID
KV_API int32_t KVLOCKDB_LockDB(int32_t byteNumber) KV_TRY(int32_t) { return kv::lockdb::LockByte(byteNumber); } KV_CATCH(0)
KV_API int32_t KVLOCKDB_UnlockDB(int32_t byteNumber) KV_TRY(int32_t) { return kv::lockdb::UnlockByte(byteNumber); } KV_CATCH(0)
KV_API int32_t KVLOCKDB_Blocking_Start(const char* name, int32_t timeoutMs) KV_TRY(int32_t) {
  return kv::lockdb::BlockingStart(name, timeoutMs);
} KV_CATCH(0)
KV_API void KVLOCKDB_Blocking_Stop(const char* name) KV_TRY_VOID { kv::lockdb::BlockingStop(name); } KV_CATCH_VOID
KV_API void KVLOCKDB_EnableLog(void) KV_TRY_VOID { kv::lockdb::SetLogEnabled(true); } KV_CATCH_VOID
KV_API void KVLOCKDB_DisableLog(void) KV_TRY_VOID { kv::lockdb::SetLogEnabled(false); } KV_CATCH_VOID
KV_API void KVLOCKDB_Log_Event(const char* ip, const char* user, const char* function,
                               int32_t w1, int32_t w2, int32_t w3) KV_TRY_VOID {
  kv::lockdb::LogEvent(ip, user, function, w1, w2, w3);
} KV_CATCH_VOID
KV_API void KVLOCKDB_Exit(void) KV_TRY_VOID { kv::lockdb::Exit(); } KV_CATCH_VOID

}  // extern "C"
