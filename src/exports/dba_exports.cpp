// DBA_*: the record-file engine's exported C interface, forwarding to src/core.
#include "exports/guard.h"
#include "core/dba_file.h"
#include "services/progress.h"
#include "kvdata/dba.h"

namespace d = kv::dba;

// The walks over a file's items: each takes the file and a callback and
// answers the file, or NULL when it could not walk.
#define KV_DBA_WALKS(X)                                   \
  X(DBA_MitJedemITEM, d::ForEachItem)                     \
  X(DBA_MitAllenITEMsRW, d::ForEachItemRW)                \
  X(DBA_MitAllenITEMsLoeschWeg, d::ForEachItemDeleting)   \
  X(DBA_MitAllenExternIDsRW, d::ForEachExternId)          \
  X(DBA_MitAllenExternIDsREadWrite, d::ForEachExternIdRW)
#define KV_DBA_WALK_EXPORT(name, walk)                                             \
  KV_API DbaFile* name(DbaFile* file, DbaItemCallback callback) KV_TRY(DbaFile*) { \
    return walk(file, callback);                                                   \
  } KV_CATCH(nullptr)

extern "C" {

KV_API int32_t DBA_NeueDBA(DbaFile* file) KV_TRY(int32_t) { return d::NeueDba(file); } KV_CATCH(0)
KV_API DbaFile* KV_STDCALL DBA_InitDBA(DbaFile* file) KV_TRY(DbaFile*) { return d::InitDba(file); } KV_CATCH(nullptr)
KV_API int32_t DBA_InspectExistingDBA(DbaFile* file) KV_TRY(int32_t) { return d::InspectExisting(file); } KV_CATCH(0)
KV_API int32_t DBA_OpenDBA(DbaFile* file) KV_TRY(int32_t) { return d::Open(file); } KV_CATCH(0)
KV_API DbaFile* DBA_CloseDBA(DbaFile* file) KV_TRY(DbaFile*) { return d::Close(file); } KV_CATCH(nullptr)
KV_API int32_t DBA_GetHEADER(DbaFile* file, void* header40) KV_TRY(int32_t) { return d::GetHeader(file, header40); } KV_CATCH(0)
KV_API int32_t DBA_SetHEADER(DbaFile* file, const void* header40) KV_TRY(int32_t) { return d::SetHeader(file, header40); } KV_CATCH(0)
KV_API int32_t DBA_LockHEADER(DbaFile* file) KV_TRY(int32_t) { return d::LockHeader(file); } KV_CATCH(0)
KV_API int32_t DBA_UnlockHEADER(DbaFile* file) KV_TRY(int32_t) { return d::UnlockHeader(file); } KV_CATCH(0)
KV_API int32_t DBA_GetVersion(DbaFile* file) KV_TRY(int32_t) { return d::GetVersion(file); } KV_CATCH(0)
KV_API DbaFile* DBA_SetVersion(DbaFile* file, int32_t version) KV_TRY(DbaFile*) { return d::SetVersion(file, version); } KV_CATCH(nullptr)
KV_API uint32_t DBA_GetLastWriteTime(DbaFile* file) KV_TRY(uint32_t) { return d::GetLastWriteTime(file); } KV_CATCH(0)
KV_API int32_t DBA_UsedITEMs(DbaFile* file) KV_TRY(int32_t) { return d::UsedItems(file); } KV_CATCH(0)
KV_API int32_t DBA_GetDATA(DbaFile* file, int32_t item, void* buffer, int32_t length) KV_TRY(int32_t) {
  return d::GetData(file, item, buffer, length);
} KV_CATCH(0)
KV_API int32_t DBA_SetDATA(DbaFile* file, int32_t item, const void* buffer, int32_t length) KV_TRY(int32_t) {
  return d::SetData(file, item, buffer, length);
} KV_CATCH(0)
KV_API int32_t DBA_ReadDATA(DbaFile* file, int32_t item, void* buffer) KV_TRY(int32_t) { return d::ReadData(file, item, buffer); } KV_CATCH(0)
KV_API int32_t DBA_WriteDATA(DbaFile* file, int32_t item, const void* buffer) KV_TRY(int32_t) {
  return d::WriteData(file, item, buffer);
} KV_CATCH(0)
KV_API int32_t DBA_LockDATA(DbaFile* file, int32_t item) KV_TRY(int32_t) { return d::LockData(file, item); } KV_CATCH(0)
KV_API int32_t DBA_UnlockDATA(DbaFile* file, int32_t item) KV_TRY(int32_t) { return d::UnlockData(file, item); } KV_CATCH(0)
KV_API int32_t DBA_LockBlockDATA(DbaFile* file, int32_t item, int32_t length) KV_TRY(int32_t) {
  return d::LockBlock(file, item, length);
} KV_CATCH(0)
KV_API int32_t DBA_UnlockBlockDATA(DbaFile* file, int32_t item, int32_t length) KV_TRY(int32_t) {
  return d::UnlockBlock(file, item, length);
} KV_CATCH(0)
KV_API int32_t DBA_NewITEM(DbaFile* file) KV_TRY(int32_t) { return d::NewItem(file); } KV_CATCH(0)
KV_API int32_t DBA_NextFreeITEM(DbaFile* file) KV_TRY(int32_t) { return d::NextFreeItem(file); } KV_CATCH(0)
KV_API void DBA_DeleteITEM(DbaFile* file, int32_t item) KV_TRY_VOID { d::DeleteItem(file, item); } KV_CATCH_VOID
KV_API int32_t DBA_ValidITEM(DbaFile* file, int32_t item) KV_TRY(int32_t) { return d::ValidItem(file, item); } KV_CATCH(0)
KV_API DbaFile* DBA_IncREF(DbaFile* file, int32_t item) KV_TRY(DbaFile*) { return d::IncRef(file, item); } KV_CATCH(nullptr)
KV_API DbaFile* DBA_DecREF(DbaFile* file, int32_t item) KV_TRY(DbaFile*) { return d::DecRef(file, item); } KV_CATCH(nullptr)
KV_API intptr_t DBA_ChangeREF(DbaFile* file, int32_t oldItem, int32_t newItem) KV_TRY(intptr_t) {
  return d::ChangeRef(file, oldItem, newItem);
} KV_CATCH(0)
KV_API int32_t DBA_GetAnzeigeTeiler(int32_t count) KV_TRY(int32_t) { return kv::ProgressStep(count); } KV_CATCH(0)

KV_API int32_t DBA_FirstITEM(DbaFile* file, void* buffer) KV_TRY(int32_t) { return d::FirstItem(file, buffer); } KV_CATCH(0)
KV_API int32_t DBA_NextITEM(DbaFile* file, void* buffer) KV_TRY(int32_t) { return d::NextItem(file, buffer); } KV_CATCH(0)
KV_DBA_WALKS(KV_DBA_WALK_EXPORT)
KV_API int32_t DBA_GetExternID_from_ID(DbaFile* file, int32_t item) KV_TRY(int32_t) { return d::GetExternId(file, item); } KV_CATCH(0)
KV_API int32_t DBA_SetExternID_from_ID(DbaFile* file, int32_t item, int32_t externId) KV_TRY(int32_t) {
  return d::SetExternId(file, item, externId);
} KV_CATCH(0)
KV_API int32_t DBA_GetID_from_ExternID(DbaFile* file, int32_t externId) KV_TRY(int32_t) { return d::GetIdFromExtern(file, externId); } KV_CATCH(0)
KV_API int32_t DBA_SetID_from_ExternID(DbaFile* file, int32_t externId, int32_t item) KV_TRY(int32_t) {
  return d::SetIdFromExtern(file, externId, item);
} KV_CATCH(0)
KV_API DbaFile* DBA_Reo(DbaFile* file) KV_TRY(DbaFile*) { return d::Reorganise(file); } KV_CATCH(nullptr)
KV_API void DBA_ResizeDBA(DbaFile* oldFile, DbaFile* newFile, DbaItemCallback converter) KV_TRY_VOID {
  d::Resize(oldFile, newFile, converter);
} KV_CATCH_VOID

}  // extern "C"
