// RechnungDBA_*: invoices, forwarding to src/document.
#include <cstring>

#include "document/rechnung.h"
#include "kvdata/rechnungdba.h"

extern "C" {

KV_API void RechnungDBA_Init(int32_t prefix, const char* path) { kv::rechnung::Init(prefix, path); }
KV_API int32_t RechnungDBA_PLUS_ARCHIVE_Init(int32_t prefix, const char* path, const char* archiveRoot) {
  return kv::rechnung::InitWithArchive(prefix, path, archiveRoot);
}
KV_API int32_t RechnungDBA_SwitchArchivePath(void) { return kv::rechnung::SwitchArchivePath(); }
KV_API char* RechnungDBA_CreateFileName(int32_t number, char* out) { return kv::rechnung::CreateFileName(number, out); }
KV_API int32_t RechnungDBA_New(int32_t number) { return kv::rechnung::Create(number); }
KV_API int32_t RechnungDBA_Open(const char* path) { return kv::rechnung::OpenFile(path, false); }
KV_API int32_t RechnungDBA_WriteOpen(const char* path) { return kv::rechnung::OpenFile(path, true); }
KV_API void RechnungDBA_Close(int32_t handle) { kv::FileIO_Close(handle); }
KV_API int32_t RechnungDBA_RechnungExists(int32_t number) { return kv::rechnung::Exists(number); }
KV_API int32_t RechnungDBA_Delete(int32_t number) { return kv::rechnung::Delete(number); }
KV_API int32_t RechnungDBA_WriteRECHNUNG(int32_t handle, void* rechnung) {
  return kv::rechnung::WriteRecord(handle, rechnung);
}
KV_API int32_t RechnungDBA_ReadRECHNUNG(int32_t handle, void* rechnung) {
  return kv::rechnung::ReadRecord(handle, rechnung);
}
KV_API int32_t RechnungDBA_WriteRECHNUNGDETAIL(int32_t handle, const void* detail) {
  return kv::rechnung::WriteDetail(handle, detail);
}
KV_API int32_t RechnungDBA_ReadRECHNUNGDETAIL(int32_t handle, void* detail) {
  return kv::rechnung::ReadDetail(handle, detail);
}
KV_API void RechnungDBA_ClearRECHNUNG(void* rechnung) {
  if (rechnung != nullptr) std::memset(rechnung, 0, RECHNUNGDBA_RECORD);
}
KV_API void RechnungDBA_ClearRECHNUNGDETAIL(void* detail) {
  if (detail != nullptr) std::memset(detail, 0, RECHNUNGDBA_DETAIL);
}
KV_API int32_t RechnungDBA_Change_Status(int32_t number, int32_t status, void* kopie) {
  return kv::rechnung::ChangeStatus(number, status, kopie);
}
KV_API int32_t RechnungDBA_Hole_Status(int32_t number) { return kv::rechnung::GetStatus(number); }
KV_API int32_t RechnungDBA_FindFirst(const char* pattern, char* path) { return kv::rechnung::FindFirst(pattern, path); }
KV_API int32_t RechnungDBA_FindNext(int32_t findHandle, char* path) { return kv::rechnung::FindNext(findHandle, path); }
KV_API void RechnungDBA_FindClose(int32_t findHandle) { kv::rechnung::FindClose(findHandle); }
KV_API int32_t RechnungDBA_Move_To_Archive(const char* path) { return kv::rechnung::MoveToArchive(path, true); }
KV_API int32_t RechnungDBA_Move_From_Archive(const char* path) { return kv::rechnung::MoveToArchive(path, false); }
KV_API int32_t RechnungDBA_GetVersion(void) { return kv::rechnung::kVersion; }
KV_API int32_t KV_STDCALL RechnungDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) {
  return kv::rechnung::DoUpdate(newVersion, oldVersion);
}

}  // extern "C"
