// RechnungDBA_*: invoices, forwarding to src/document.
#include "exports/guard.h"
#include <cstring>

#include "document/rechnung.h"
#include "kvdata/rechnungdba.h"

extern "C" {

KV_API void RechnungDBA_Init(int32_t prefix, const char* path) KV_TRY_VOID { kv::rechnung::Init(prefix, path); } KV_CATCH_VOID
KV_API int32_t RechnungDBA_PLUS_ARCHIVE_Init(int32_t prefix, const char* path, const char* archiveRoot) KV_TRY(int32_t) {
  kv::rechnung::Init(prefix, path);
  return kv::rechnung::Dirs().SetUpArchive(path, archiveRoot);
} KV_CATCH(0)
KV_API int32_t RechnungDBA_SwitchArchivePath(void) KV_TRY(int32_t) { return kv::rechnung::Dirs().Switch(); } KV_CATCH(0)
KV_API char* RechnungDBA_CreateFileName(int32_t number, char* out) KV_TRY(char*) { return kv::rechnung::CreateFileName(number, out); } KV_CATCH(nullptr)
KV_API int32_t RechnungDBA_New(int32_t number) KV_TRY(int32_t) { return kv::rechnung::Create(number); } KV_CATCH(-1)
KV_API int32_t RechnungDBA_Open(const char* path) KV_TRY(int32_t) { return kv::rechnung::OpenFile(path, false); } KV_CATCH(-1)
KV_API int32_t RechnungDBA_WriteOpen(const char* path) KV_TRY(int32_t) { return kv::rechnung::OpenFile(path, true); } KV_CATCH(-1)
KV_API void RechnungDBA_Close(int32_t handle) KV_TRY_VOID { kv::FileIO_Close(handle); } KV_CATCH_VOID
KV_API int32_t RechnungDBA_RechnungExists(int32_t number) KV_TRY(int32_t) { return kv::rechnung::Exists(number); } KV_CATCH(0)
KV_API int32_t RechnungDBA_Delete(int32_t number) KV_TRY(int32_t) { return kv::rechnung::Delete(number); } KV_CATCH(0)
KV_API int32_t RechnungDBA_WriteRECHNUNG(int32_t handle, void* rechnung) KV_TRY(int32_t) {
  return kv::rechnung::WriteRecord(handle, rechnung);
} KV_CATCH(0)
KV_API int32_t RechnungDBA_ReadRECHNUNG(int32_t handle, void* rechnung) KV_TRY(int32_t) {
  return kv::rechnung::ReadRecord(handle, rechnung);
} KV_CATCH(0)
KV_API int32_t RechnungDBA_WriteRECHNUNGDETAIL(int32_t handle, const void* detail) KV_TRY(int32_t) {
  return kv::rechnung::WriteDetail(handle, detail);
} KV_CATCH(0)
KV_API int32_t RechnungDBA_ReadRECHNUNGDETAIL(int32_t handle, void* detail) KV_TRY(int32_t) {
  return kv::rechnung::ReadDetail(handle, detail);
} KV_CATCH(0)
KV_API void RechnungDBA_ClearRECHNUNG(void* rechnung) KV_TRY_VOID {
  if (rechnung != nullptr) std::memset(rechnung, 0, RECHNUNGDBA_RECORD);
} KV_CATCH_VOID
KV_API void RechnungDBA_ClearRECHNUNGDETAIL(void* detail) KV_TRY_VOID {
  if (detail != nullptr) std::memset(detail, 0, RECHNUNGDBA_DETAIL);
} KV_CATCH_VOID
KV_API int32_t RechnungDBA_Change_Status(int32_t number, int32_t status, void* kopie) KV_TRY(int32_t) {
  return kv::rechnung::ChangeStatus(number, status, kopie);
} KV_CATCH(0)
KV_API int32_t RechnungDBA_Hole_Status(int32_t number) KV_TRY(int32_t) { return kv::rechnung::GetStatus(number); } KV_CATCH(0)
KV_API int32_t RechnungDBA_FindFirst(const char* pattern, char* path) KV_TRY(int32_t) { return kv::rechnung::FindFirst(pattern, path); } KV_CATCH(-1)
KV_API int32_t RechnungDBA_FindNext(int32_t findHandle, char* path) KV_TRY(int32_t) { return kv::rechnung::FindNext(findHandle, path); } KV_CATCH(0)
KV_API void RechnungDBA_FindClose(int32_t findHandle) KV_TRY_VOID { kv::rechnung::FindClose(findHandle); } KV_CATCH_VOID
KV_API int32_t RechnungDBA_Move_To_Archive(const char* path) KV_TRY(int32_t) { return kv::rechnung::MoveToArchive(path, true); } KV_CATCH(0)
KV_API int32_t RechnungDBA_Move_From_Archive(const char* path) KV_TRY(int32_t) { return kv::rechnung::MoveToArchive(path, false); } KV_CATCH(0)
KV_API int32_t RechnungDBA_GetVersion(void) KV_TRY(int32_t) { return RECHNUNGDBA_VERSION; } KV_CATCH(0)
KV_API int32_t KV_STDCALL RechnungDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) KV_TRY(int32_t) {
  return kv::rechnung::DoUpdate(newVersion, oldVersion);
} KV_CATCH(0)

}  // extern "C"
