// BBAUMLIB_*: key files, forwarding to src/index.
#include "exports/guard.h"
#include "index/keyfile.h"
#include "kvdata/bbaumlib.h"

namespace ix = kv::index;

// A slot's record read and written, once on the open file and once opening
// the file around the transfer: the same pair of signatures each time.
#define KV_KEY_RECORD_EXPORTS(Read, Write, read, write)                                        \
  KV_API int32_t Read(BaumKeyDatei* file, int32_t slot, void* record) KV_TRY(int32_t) {        \
    return ix::read(file, slot, record);                                                       \
  } KV_CATCH(0)                                                                                \
  KV_API int32_t Write(BaumKeyDatei* file, int32_t slot, const void* record) KV_TRY(int32_t) { \
    return ix::write(file, slot, record);                                                      \
  } KV_CATCH(0)

extern "C" {

KV_API BaumKeyDatei* BBAUMLIB_Init(const char* path, int32_t recordSize, int32_t slotCount) KV_TRY(BaumKeyDatei*) {
  return ix::KeyFileInit(path, recordSize, slotCount);
} KV_CATCH(nullptr)
KV_API void BBAUMLIB_Exit(BaumKeyDatei* file) KV_TRY_VOID { ix::KeyFileExit(file); } KV_CATCH_VOID
KV_API int32_t BBAUMLIB_OeffneDatenbank(BaumKeyDatei* file) KV_TRY(int32_t) { return ix::KeyFileOpen(file); } KV_CATCH(0)
KV_API void BBAUMLIB_SchliesseDatenbank(BaumKeyDatei* file) KV_TRY_VOID { ix::KeyFileClose(file); } KV_CATCH_VOID
KV_API int32_t BBAUMLIB_ErzeugeDatenbank(BaumKeyDatei* file, AvlProgressFn progress) KV_TRY(int32_t) {
  return ix::KeyFileCreate(file, progress);
} KV_CATCH(0)
KV_API int32_t BBAUMLIB_ErweitereDatenbank(BaumKeyDatei* file, AvlProgressFn progress, int32_t newCount) KV_TRY(int32_t) {
  return ix::KeyFileExtend(file, progress, newCount);
} KV_CATCH(0)
KV_API int32_t BBAUMLIB_ErzeugeAVLBaum(BaumKeyDatei* file, AvlProgressFn progress) KV_TRY(int32_t) {
  return ix::KeyFileClearTree(file, progress);
} KV_CATCH(0)
KV_API int32_t BBAUMLIB_ReadDBAHeader(BaumKeyDatei* file) KV_TRY(int32_t) { return ix::KeyFileReadHeader(file); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_WriteDBAHeader(BaumKeyDatei* file) KV_TRY(int32_t) { return ix::KeyFileWriteHeader(file); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_Version(BaumKeyDatei* file) KV_TRY(int32_t) { return ix::KeyFileVersion(file); } KV_CATCH(0)
KV_API uint32_t BBAUMLIB_GetLastWriteTime(BaumKeyDatei* file) KV_TRY(uint32_t) { return ix::KeyFileLastWriteTime(file); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_GetSizeAndName(BaumKeyDatei* file, int32_t* count, char* name) KV_TRY(int32_t) {
  return ix::KeyFileSizeAndName(file, count, name);
} KV_CATCH(0)
KV_KEY_RECORD_EXPORTS(BBAUMLIB_ReadBAUMKEY, BBAUMLIB_WriteBAUMKEY, KeyFileReadRecord, KeyFileWriteRecord)
KV_KEY_RECORD_EXPORTS(BBAUMLIB_LeseBAUMKEY, BBAUMLIB_SchreibeBAUMKEY, KeyFileLeseRecord, KeyFileSchreibeRecord)
KV_API int32_t BBAUMLIB_ReadFreeList(BaumKeyDatei* file, void* record) KV_TRY(int32_t) { return ix::KeyFileReadFreeList(file, record); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_WriteFreeList(BaumKeyDatei* file, const void* record) KV_TRY(int32_t) {
  return ix::KeyFileWriteFreeList(file, record);
} KV_CATCH(0)
KV_API int32_t BBAUMLIB_GetNextFree(BaumKeyDatei* file) KV_TRY(int32_t) { return ix::KeyFileNextFree(file); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_BenutzteBAUMKEYs(BaumKeyDatei* file) KV_TRY(int32_t) { return ix::KeyFileUsedCount(file); } KV_CATCH(-1)
KV_API int32_t BBAUMLIB_BAUMKEYVorhanden(BaumKeyDatei* file, const void* record) KV_TRY(int32_t) {
  return ix::KeyFileFind(file, record);
} KV_CATCH(0)
KV_API int32_t BBAUMLIB_BAUMKEYAnlegen(BaumKeyDatei* file, void* record) KV_TRY(int32_t) { return ix::KeyFileAdd(file, record); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_BAUMKEYLoeschen(BaumKeyDatei* file, int32_t slot) KV_TRY(int32_t) { return ix::KeyFileRemove(file, slot); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_LockBAUMKEY(BaumKeyDatei* file, int32_t slot) KV_TRY(int32_t) { return ix::KeyFileLockSlot(file, slot); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_UnlockBAUMKEY(BaumKeyDatei* file, int32_t slot) KV_TRY(int32_t) { return ix::KeyFileUnlockSlot(file, slot); } KV_CATCH(0)
KV_API int32_t BBAUMLIB_MitAllenBAUMKEYs(BaumKeyDatei* file, AvlVisitFn visit) KV_TRY(int32_t) { return ix::KeyFileWalk(file, visit); } KV_CATCH(0)
KV_API void BBAUMLIB_SetNewBaumProc(BaumKeyDatei* file, AvlVisitFn visit) KV_TRY_VOID { ix::KeyFileSetVisit(file, visit); } KV_CATCH_VOID
KV_API void BBAUMLIB_RestoreOldBaumProc(BaumKeyDatei* file, AvlVisitFn /*visit*/) KV_TRY_VOID { ix::KeyFileRestoreVisit(file); } KV_CATCH_VOID
KV_API int32_t BBAUMLIB_ErzeugeFreelist(BaumKeyDatei* file, AvlProgressFn progress) KV_TRY(int32_t) {
  return ix::KeyFileRebuildFreeList(file, progress);
} KV_CATCH(0)
KV_API int32_t BBAUMLIB_Reorganisieren(BaumKeyDatei* file, AvlProgressFn progress1, AvlProgressFn progress2,
                                       AvlProgressFn progress3, AvlProgressFn progress4, BaumKeyDuplicateFn duplicate) KV_TRY(int32_t) {
  return ix::KeyFileReorganise(file, progress1, progress2, progress3, progress4, duplicate);
} KV_CATCH(0)

}  // extern "C"
