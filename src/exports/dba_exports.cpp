// DBA_*: the record-file engine's exported C interface, forwarding to src/core.
#include "core/dba_file.h"
#include "core/dba_progress.h"
#include "kvdata/dba.h"

namespace d = kv::dba;

extern "C" {

KV_API int32_t DBA_NeueDBA(DbaFile* file) { return d::NeueDba(file); }
KV_API DbaFile* KV_STDCALL DBA_InitDBA(DbaFile* file) { return d::InitDba(file); }
KV_API int32_t DBA_InspectExistingDBA(DbaFile* file) { return d::InspectExisting(file); }
KV_API int32_t DBA_OpenDBA(DbaFile* file) { return d::Open(file); }
KV_API DbaFile* DBA_CloseDBA(DbaFile* file) { return d::Close(file); }
KV_API int32_t DBA_GetHEADER(DbaFile* file, void* header40) { return d::GetHeader(file, header40); }
KV_API int32_t DBA_SetHEADER(DbaFile* file, const void* header40) { return d::SetHeader(file, header40); }
KV_API int32_t DBA_LockHEADER(DbaFile* file) { return d::LockHeader(file); }
KV_API int32_t DBA_UnlockHEADER(DbaFile* file) { return d::UnlockHeader(file); }
KV_API int32_t DBA_GetVersion(DbaFile* file) { return d::GetVersion(file); }
KV_API DbaFile* DBA_SetVersion(DbaFile* file, int32_t version) { return d::SetVersion(file, version); }
KV_API uint32_t DBA_GetLastWriteTime(DbaFile* file) { return d::GetLastWriteTime(file); }
KV_API int32_t DBA_UsedITEMs(DbaFile* file) { return d::UsedItems(file); }
KV_API int32_t DBA_GetDATA(DbaFile* file, int32_t item, void* buffer, int32_t length) {
  return d::GetData(file, item, buffer, length);
}
KV_API int32_t DBA_SetDATA(DbaFile* file, int32_t item, const void* buffer, int32_t length) {
  return d::SetData(file, item, buffer, length);
}
KV_API int32_t DBA_ReadDATA(DbaFile* file, int32_t item, void* buffer) { return d::ReadData(file, item, buffer); }
KV_API int32_t DBA_WriteDATA(DbaFile* file, int32_t item, const void* buffer) {
  return d::WriteData(file, item, buffer);
}
KV_API int32_t DBA_LockDATA(DbaFile* file, int32_t item) { return d::LockData(file, item); }
KV_API int32_t DBA_UnlockDATA(DbaFile* file, int32_t item) { return d::UnlockData(file, item); }
KV_API int32_t DBA_LockBlockDATA(DbaFile* file, int32_t item, int32_t length) {
  return d::LockBlock(file, item, length);
}
KV_API int32_t DBA_UnlockBlockDATA(DbaFile* file, int32_t item, int32_t length) {
  return d::UnlockBlock(file, item, length);
}
KV_API int32_t DBA_NewITEM(DbaFile* file) { return d::NewItem(file); }
KV_API int32_t DBA_NextFreeITEM(DbaFile* file) { return d::NextFreeItem(file); }
KV_API void DBA_DeleteITEM(DbaFile* file, int32_t item) { d::DeleteItem(file, item); }
KV_API int32_t DBA_ValidITEM(DbaFile* file, int32_t item) { return d::ValidItem(file, item); }
KV_API DbaFile* DBA_IncREF(DbaFile* file, int32_t item) { return d::IncRef(file, item); }
KV_API DbaFile* DBA_DecREF(DbaFile* file, int32_t item) { return d::DecRef(file, item); }
KV_API intptr_t DBA_ChangeREF(DbaFile* file, int32_t oldItem, int32_t newItem) {
  return d::ChangeRef(file, oldItem, newItem);
}
KV_API int32_t DBA_GetAnzeigeTeiler(int32_t count) { return d::ProgressStep(count); }

KV_API int32_t DBA_FirstITEM(DbaFile* file, void* buffer) { return d::FirstItem(file, buffer); }
KV_API int32_t DBA_NextITEM(DbaFile* file, void* buffer) { return d::NextItem(file, buffer); }
KV_API DbaFile* DBA_MitJedemITEM(DbaFile* file, DbaItemCallback callback) { return d::ForEachItem(file, callback); }
KV_API DbaFile* DBA_MitAllenITEMsRW(DbaFile* file, DbaItemCallback callback) {
  return d::ForEachItemRW(file, callback);
}
KV_API DbaFile* DBA_MitAllenITEMsLoeschWeg(DbaFile* file, DbaItemCallback callback) {
  return d::ForEachItemDeleting(file, callback);
}
KV_API DbaFile* DBA_MitAllenExternIDsRW(DbaFile* file, DbaItemCallback callback) {
  return d::ForEachExternId(file, callback);
}
KV_API DbaFile* DBA_MitAllenExternIDsREadWrite(DbaFile* file, DbaItemCallback callback) {
  return d::ForEachExternIdRW(file, callback);
}
KV_API int32_t DBA_GetExternID_from_ID(DbaFile* file, int32_t item) { return d::GetExternId(file, item); }
KV_API int32_t DBA_SetExternID_from_ID(DbaFile* file, int32_t item, int32_t externId) {
  return d::SetExternId(file, item, externId);
}
KV_API int32_t DBA_GetID_from_ExternID(DbaFile* file, int32_t externId) { return d::GetIdFromExtern(file, externId); }
KV_API int32_t DBA_SetID_from_ExternID(DbaFile* file, int32_t externId, int32_t item) {
  return d::SetIdFromExtern(file, externId, item);
}
KV_API DbaFile* DBA_Reo(DbaFile* file) { return d::Reorganise(file); }
KV_API void DBA_ResizeDBA(DbaFile* oldFile, DbaFile* newFile, DbaItemCallback converter) {
  d::Resize(oldFile, newFile, converter);
}

}  // extern "C"
