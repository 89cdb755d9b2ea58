// Key files: 32-byte keys in fixed slots with their tree nodes beside them
// (the BBAUMLIB_* family). See include/kvdata/bbaumlib.h for the layout and
// the contracts; these are the functions behind the exports.
#ifndef KV_INDEX_KEYFILE_H
#define KV_INDEX_KEYFILE_H

#include <cstdint>

#include "kvdata/bbaumlib.h"

namespace kv::index {

BaumKeyDatei* KeyFileInit(const char* path, int32_t recordSize, int32_t slotCount);
void KeyFileExit(BaumKeyDatei* d);
int32_t KeyFileOpen(BaumKeyDatei* d);
void KeyFileClose(BaumKeyDatei* d);
int32_t KeyFileCreate(BaumKeyDatei* d, AvlProgressFn progress);
int32_t KeyFileExtend(BaumKeyDatei* d, AvlProgressFn progress, int32_t newCount);
int32_t KeyFileClearTree(BaumKeyDatei* d, AvlProgressFn progress);

int32_t KeyFileReadHeader(BaumKeyDatei* d);
int32_t KeyFileWriteHeader(BaumKeyDatei* d);
int32_t KeyFileVersion(BaumKeyDatei* d);
uint32_t KeyFileLastWriteTime(BaumKeyDatei* d);
int32_t KeyFileSizeAndName(BaumKeyDatei* d, int32_t* count, char* name);

int32_t KeyFileReadRecord(BaumKeyDatei* d, int32_t slot, void* record);
int32_t KeyFileWriteRecord(BaumKeyDatei* d, int32_t slot, const void* record);
int32_t KeyFileLeseRecord(BaumKeyDatei* d, int32_t slot, void* record);
int32_t KeyFileSchreibeRecord(BaumKeyDatei* d, int32_t slot, const void* record);
int32_t KeyFileReadFreeList(BaumKeyDatei* d, void* record);
int32_t KeyFileWriteFreeList(BaumKeyDatei* d, const void* record);
int32_t KeyFileNextFree(BaumKeyDatei* d);
int32_t KeyFileUsedCount(BaumKeyDatei* d);

int32_t KeyFileFind(BaumKeyDatei* d, const void* record);
int32_t KeyFileAdd(BaumKeyDatei* d, void* record);
int32_t KeyFileRemove(BaumKeyDatei* d, int32_t slot);
int32_t KeyFileLockSlot(BaumKeyDatei* d, int32_t slot);
int32_t KeyFileUnlockSlot(BaumKeyDatei* d, int32_t slot);

int32_t KeyFileWalk(BaumKeyDatei* d, AvlVisitFn visit);
void KeyFileSetVisit(BaumKeyDatei* d, AvlVisitFn visit);
void KeyFileRestoreVisit(BaumKeyDatei* d);
int32_t KeyFileRebuildFreeList(BaumKeyDatei* d, AvlProgressFn progress);
int32_t KeyFileReorganise(BaumKeyDatei* d, AvlProgressFn clearTree, AvlProgressFn chainPass,
                          AvlProgressFn treePass, AvlProgressFn removalPass, BaumKeyDuplicateFn duplicate);

// Byte position of slot n's record and of its node.
int64_t KeyRecordPosition(int32_t recordSize, int32_t slot);
int64_t KeyNodePosition(int32_t recordSize, int32_t slot);
// Highest slot whose record lies within a file of fileSize bytes (0 when
// there is no slot 1).
int32_t KeyFileSlotsInSize(int32_t recordSize, int64_t fileSize);
// -1, 0, +1: the two 32-byte keys compared as signed bytes.
int32_t CompareKeys(const uint8_t* a, const uint8_t* b);

// File reads made by key-file operations since the program started (for
// benchmarks and diagnostics).
int64_t KeyFileReadCount();

}  // namespace kv::index

#endif  // KV_INDEX_KEYFILE_H
