// BBAUMLIB_*: key files, forwarding to src/index.
#include "index/keyfile.h"
#include "kvdata/bbaumlib.h"

namespace ix = kv::index;

extern "C" {

KV_API BaumKeyDatei* BBAUMLIB_Init(const char* path, int32_t recordSize, int32_t slotCount) {
  return ix::KeyFileInit(path, recordSize, slotCount);
}
KV_API void BBAUMLIB_Exit(BaumKeyDatei* file) { ix::KeyFileExit(file); }
KV_API int32_t BBAUMLIB_OeffneDatenbank(BaumKeyDatei* file) { return ix::KeyFileOpen(file); }
KV_API void BBAUMLIB_SchliesseDatenbank(BaumKeyDatei* file) { ix::KeyFileClose(file); }
KV_API int32_t BBAUMLIB_ErzeugeDatenbank(BaumKeyDatei* file, AvlProgressFn progress) {
  return ix::KeyFileCreate(file, progress);
}
KV_API int32_t BBAUMLIB_ErweitereDatenbank(BaumKeyDatei* file, AvlProgressFn progress, int32_t newCount) {
  return ix::KeyFileExtend(file, progress, newCount);
}
KV_API int32_t BBAUMLIB_ErzeugeAVLBaum(BaumKeyDatei* file, AvlProgressFn progress) {
  return ix::KeyFileClearTree(file, progress);
}
KV_API int32_t BBAUMLIB_ReadDBAHeader(BaumKeyDatei* file) { return ix::KeyFileReadHeader(file); }
KV_API int32_t BBAUMLIB_WriteDBAHeader(BaumKeyDatei* file) { return ix::KeyFileWriteHeader(file); }
KV_API int32_t BBAUMLIB_Version(BaumKeyDatei* file) { return ix::KeyFileVersion(file); }
KV_API uint32_t BBAUMLIB_GetLastWriteTime(BaumKeyDatei* file) { return ix::KeyFileLastWriteTime(file); }
KV_API int32_t BBAUMLIB_GetSizeAndName(BaumKeyDatei* file, int32_t* count, char* name) {
  return ix::KeyFileSizeAndName(file, count, name);
}
KV_API int32_t BBAUMLIB_ReadBAUMKEY(BaumKeyDatei* file, int32_t slot, void* record) {
  return ix::KeyFileReadRecord(file, slot, record);
}
KV_API int32_t BBAUMLIB_WriteBAUMKEY(BaumKeyDatei* file, int32_t slot, const void* record) {
  return ix::KeyFileWriteRecord(file, slot, record);
}
KV_API int32_t BBAUMLIB_LeseBAUMKEY(BaumKeyDatei* file, int32_t slot, void* record) {
  return ix::KeyFileLeseRecord(file, slot, record);
}
KV_API int32_t BBAUMLIB_SchreibeBAUMKEY(BaumKeyDatei* file, int32_t slot, const void* record) {
  return ix::KeyFileSchreibeRecord(file, slot, record);
}
KV_API int32_t BBAUMLIB_ReadFreeList(BaumKeyDatei* file, void* record) { return ix::KeyFileReadFreeList(file, record); }
KV_API int32_t BBAUMLIB_WriteFreeList(BaumKeyDatei* file, const void* record) {
  return ix::KeyFileWriteFreeList(file, record);
}
KV_API int32_t BBAUMLIB_GetNextFree(BaumKeyDatei* file) { return ix::KeyFileNextFree(file); }
KV_API int32_t BBAUMLIB_BenutzteBAUMKEYs(BaumKeyDatei* file) { return ix::KeyFileUsedCount(file); }
KV_API int32_t BBAUMLIB_BAUMKEYVorhanden(BaumKeyDatei* file, const void* record) {
  return ix::KeyFileFind(file, record);
}
KV_API int32_t BBAUMLIB_BAUMKEYAnlegen(BaumKeyDatei* file, void* record) { return ix::KeyFileAdd(file, record); }
KV_API int32_t BBAUMLIB_BAUMKEYLoeschen(BaumKeyDatei* file, int32_t slot) { return ix::KeyFileRemove(file, slot); }
KV_API int32_t BBAUMLIB_LockBAUMKEY(BaumKeyDatei* file, int32_t slot) { return ix::KeyFileLockSlot(file, slot); }
KV_API int32_t BBAUMLIB_UnlockBAUMKEY(BaumKeyDatei* file, int32_t slot) { return ix::KeyFileUnlockSlot(file, slot); }
KV_API int32_t BBAUMLIB_MitAllenBAUMKEYs(BaumKeyDatei* file, AvlVisitFn visit) { return ix::KeyFileWalk(file, visit); }
KV_API void BBAUMLIB_SetNewBaumProc(BaumKeyDatei* file, AvlVisitFn visit) { ix::KeyFileSetVisit(file, visit); }
KV_API void BBAUMLIB_RestoreOldBaumProc(BaumKeyDatei* file, AvlVisitFn /*visit*/) { ix::KeyFileRestoreVisit(file); }
KV_API int32_t BBAUMLIB_ErzeugeFreelist(BaumKeyDatei* file, AvlProgressFn progress) {
  return ix::KeyFileRebuildFreeList(file, progress);
}
KV_API int32_t BBAUMLIB_Reorganisieren(BaumKeyDatei* file, AvlProgressFn progress1, AvlProgressFn progress2,
                                       AvlProgressFn progress3, AvlProgressFn progress4, BaumKeyDuplicateFn duplicate) {
  return ix::KeyFileReorganise(file, progress1, progress2, progress3, progress4, duplicate);
}

}  // extern "C"
