// KVLOCKDB_*: lock database, function locks and lock log, forwarding to src/core.
#include "core/lockdb.h"
#include "kvdata/kvlockdb.h"

extern "C" {

KV_API const char* KVLOCKDB_Init(const char* path) { return kv::lockdb::Init(path); }
KV_API void KVLOCKDB_IPUSERInit(const char* ip, const char* user, int32_t blockingEnabled) {
  kv::lockdb::SetStation(ip, user, blockingEnabled);
}
KV_API int32_t KVLOCKDB_ErzeugeLockDB(void) { return kv::lockdb::CreateLockDb(); }
KV_API int32_t KVLOCKDB_OeffneLockDB(void) { return kv::lockdb::OpenLockDb(); }
KV_API void KVLOCKDB_SchliesseLockDB(void) { kv::lockdb::CloseLockDb(); }
KV_API int32_t KVLOCKDB_LockDB(int32_t byteNumber) { return kv::lockdb::LockByte(byteNumber); }
KV_API int32_t KVLOCKDB_UnlockDB(int32_t byteNumber) { return kv::lockdb::UnlockByte(byteNumber); }
KV_API int32_t KVLOCKDB_Blocking_Start(const char* name, int32_t timeoutMs) {
  return kv::lockdb::BlockingStart(name, timeoutMs);
}
KV_API void KVLOCKDB_Blocking_Stop(const char* name) { kv::lockdb::BlockingStop(name); }
KV_API void KVLOCKDB_EnableLog(void) { kv::lockdb::SetLogEnabled(true); }
KV_API void KVLOCKDB_DisableLog(void) { kv::lockdb::SetLogEnabled(false); }
KV_API void KVLOCKDB_Log_Event(const char* ip, const char* user, const char* function,
                               int32_t w1, int32_t w2, int32_t w3) {
  kv::lockdb::LogEvent(ip, user, function, w1, w2, w3);
}
KV_API void KVLOCKDB_Exit(void) { kv::lockdb::Exit(); }

}  // extern "C"
