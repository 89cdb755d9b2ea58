/* DBA record files: the generic engine under most record families.
 *
 * A DBA file holds fixed-size records ("items") addressed by a 1-based item
 * number, a free chain of deleted items, a per-item reference count, and two
 * 32-bit tables that map items to external identifiers and back.
 *
 * File layout (all integers 32-bit little-endian):
 *   0            40      header (DbaHeader below)
 *   40           4*C     table A: external identifier of item n at 40 + 4*(n-1)
 *   40 + 4*C     4*C     table B: item number of external identifier e at 40 + 4*C + 4*(e-1)
 *   n*R + 40 + 8*C  R    item n (R = record size), n >= 1; item 0 is never used
 * Every item begins with an 8-byte head: {state / reference count, next free};
 * state -1 marks a free item.
 *
 * Locks (byte ranges, per handle, shared by every workstation):
 *   header lock  bytes 0..39            (DBA_NewITEM, DBA_DeleteITEM)
 *   item lock    the R bytes of item n  (families around read-modify-write)
 *   order        item before header where both are held.
 *
 * Several stations: DBA_NewITEM and DBA_DeleteITEM change the free chain and
 * the counts only under the header lock, so two stations never take one item.
 * A crash (a station switched off, a killed process) can leave, at most once
 * per interrupted call:
 *   - an append cut before its header write: one free slot past the slot
 *     count that no chain reaches (the next append steps past it);
 *   - a delete cut between item head and header: one free item outside the
 *     chain, still counted as used;
 *   - a family killed between DBA_NewITEM and its first write of the item:
 *     one item out of the chain whose head still says free (counted as used,
 *     skipped by the walks).
 * Walks skip all three, and no item ever has two owners; DBA_Reo (run when
 * nobody else works on the file) links them into the chain and recounts.
 *
 * Every function takes the caller-owned descriptor first. A null descriptor,
 * an item number below 1, a null buffer or a negative length give the failure
 * result (0, or a null pointer where the result is a descriptor) and touch no
 * file. Results 1/0 mean success/failure unless a function says otherwise.
 *
 * Bounds. Nothing is ever read or written past the end of item
 * DBA_MAX_SLOTS, i.e. past byte 40 + 8*C + (DBA_MAX_SLOTS + 1)*R: an item
 * number above DBA_MAX_SLOTS, a length or an identifier-table index that
 * would reach past that end gets the failure result before any I/O, and the
 * file keeps its size. Within that end positions are not compared with the
 * slot count (the search files write past it by design), and the identifier
 * tables are not compared with their capacity. */
#ifndef KVDATA_DBA_H
#define KVDATA_DBA_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define DBA_HEADER_SIZE 40
#define DBA_ITEM_HEAD_SIZE 8
#define DBA_MAX_SLOTS 256000
#define DBA_CURRENT_VERSION 600
#define DBA_PATH_SIZE 260
/* Record buffer of the callback walkers; larger record sizes are refused. */
#define DBA_WALK_BUFFER_SIZE 8192
/* Largest record size a descriptor may have: what the walkers can hold. A
 * descriptor with a larger (or smaller than DBA_ITEM_HEAD_SIZE) record size
 * gets the failure result from every function and touches no file. */
#define DBA_MAX_RECORD_SIZE DBA_WALK_BUFFER_SIZE

/* Descriptor of one DBA file. The family owns it: it fills recordSize,
 * idCapacity and path (and sets handle = -1, openCount = 0) before first use. */
typedef struct DbaFile {
    int32_t handle;      /* file handle, -1 while closed */
    int32_t recordSize;  /* bytes per item, item head included */
    int32_t cursor;      /* next item number DBA_NextITEM examines */
    int32_t delivered;   /* items the current walk has delivered */
    int32_t walkLimit;   /* the walk stops when delivered reaches it */
    int32_t idCapacity;  /* entries in each identifier table (C) */
    char path[DBA_PATH_SIZE]; /* full path, zero-terminated */
    int32_t openCount;   /* nesting depth of DBA_OpenDBA, 0 when closed */
} DbaFile;

KV_STATIC_ASSERT(sizeof(DbaFile) == 288, "DbaFile layout");

/* The 40-byte file header as it lies on disk. */
KV_PACK_BEGIN
typedef struct DbaHeader {
    int32_t version;        /*  0: format version, 600 for new files */
    uint32_t lastChange;    /*  4: seconds since 1970 (low 32 bits), set by new/delete */
    int32_t freeHead;       /*  8: first free item, 0 = chain empty */
    int32_t usedCount;      /* 12: items in use */
    int32_t slotCount;      /* 16: highest item that exists in the file */
    int32_t idCapacity;     /* 20: C, entries per identifier table */
    uint8_t reserved[16];   /* 24: never read */
} DbaHeader;

/* The first 8 bytes of every item. */
typedef struct DbaItemHead {
    int32_t state;          /* 0: -1 = free, else reference count */
    int32_t nextFree;       /* 4: next free item when free, 0 = end */
} DbaItemHead;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(DbaHeader) == 40, "DBA header is 40 bytes");
KV_STATIC_ASSERT(sizeof(DbaItemHead) == 8, "DBA item head is 8 bytes");
KV_STATIC_ASSERT(offsetof(DbaHeader, lastChange) == 4, "DbaHeader.lastChange");
KV_STATIC_ASSERT(offsetof(DbaHeader, freeHead) == 8, "DbaHeader.freeHead");
KV_STATIC_ASSERT(offsetof(DbaHeader, usedCount) == 12, "DbaHeader.usedCount");
KV_STATIC_ASSERT(offsetof(DbaHeader, slotCount) == 16, "DbaHeader.slotCount");
KV_STATIC_ASSERT(offsetof(DbaHeader, idCapacity) == 20, "DbaHeader.idCapacity");
KV_STATIC_ASSERT(offsetof(DbaHeader, reserved) == 24, "DbaHeader.reserved");
KV_STATIC_ASSERT(offsetof(DbaItemHead, nextFree) == 4, "DbaItemHead.nextFree");
KV_STATIC_ASSERT(offsetof(DbaFile, path) == 24, "DbaFile.path");
KV_STATIC_ASSERT(offsetof(DbaFile, openCount) == 284, "DbaFile.openCount");

/* Walk callbacks: item number (or external identifier) and the record buffer
 * (DBA_WALK_BUFFER_SIZE bytes, the record at its start). What the result
 * means depends on the walker. */
typedef int32_t (KV_CALLBACK *DbaItemCallback)(int32_t item, void* record);

/* ---- Creating, inspecting, opening ------------------------------------- */

/* Open-or-create: if the file opens, reads its header under the header lock
 * into the descriptor (cursor := free head, delivered := 0, walkLimit :=
 * slot count, idCapacity := header capacity) and closes; otherwise creates
 * it with DBA_InitDBA. Returns non-zero on success, 0 on failure. */
KV_API int32_t DBA_NeueDBA(DbaFile* file);
/* Creates (truncates) the file: header {600, now, 0, 0, 0, C} and 2*C zero
 * words. Always ends with handle -1 and openCount 0; returns the descriptor
 * (null for a null descriptor). Check the result with DBA_InspectExistingDBA. */
KV_API DbaFile* KV_STDCALL DBA_InitDBA(DbaFile* file);
/* The open branch of DBA_NeueDBA; never creates. 1 if the file opened. */
KV_API int32_t DBA_InspectExistingDBA(DbaFile* file);
/* Nested open: the first level opens read/write; deeper levels only count.
 * A failed first open still leaves openCount 1 with handle -1 (later opens
 * count up and keep failing; the matching close resets). 1 if the handle is
 * valid. */
KV_API int32_t DBA_OpenDBA(DbaFile* file);
/* Nested close: below 2 levels closes and resets to handle -1, count 0.
 * Returns the descriptor. */
KV_API DbaFile* DBA_CloseDBA(DbaFile* file);

/* ---- Header -------------------------------------------------------------- */

/* Read / write the 40 header bytes at offset 0 of an open file; no lock.
 * 1 if exactly 40 bytes moved. */
KV_API int32_t DBA_GetHEADER(DbaFile* file, void* header40);
KV_API int32_t DBA_SetHEADER(DbaFile* file, const void* header40);
/* Lock / unlock header bytes 0..39 (waits up to the host lock time-out). */
KV_API int32_t DBA_LockHEADER(DbaFile* file);
KV_API int32_t DBA_UnlockHEADER(DbaFile* file);
/* Header offset 0 (0 if the file does not open). */
KV_API int32_t DBA_GetVersion(DbaFile* file);
/* Writes header offset 0; returns the result of the final close (the
 * descriptor), null if the open failed. */
KV_API DbaFile* DBA_SetVersion(DbaFile* file, int32_t version);
/* Header offset 4 (0 if the file does not open). */
KV_API uint32_t DBA_GetLastWriteTime(DbaFile* file);
/* Used count from the header; 0 if the open or the read fails. */
KV_API int32_t DBA_UsedITEMs(DbaFile* file);

/* ---- Item data ----------------------------------------------------------- */

/* Seek to item n and read / write length bytes; the file must be open; no
 * lock. 1 if exactly length bytes moved; 0 when the position is <= 0. */
KV_API int32_t DBA_GetDATA(DbaFile* file, int32_t item, void* buffer, int32_t length);
KV_API int32_t DBA_SetDATA(DbaFile* file, int32_t item, const void* buffer, int32_t length);
/* Open (read-only when not yet open), read recordSize bytes, close. */
KV_API int32_t DBA_ReadDATA(DbaFile* file, int32_t item, void* buffer);
/* Open, write recordSize bytes, close. */
KV_API int32_t DBA_WriteDATA(DbaFile* file, int32_t item, const void* buffer);
/* Lock / unlock the recordSize bytes of item n (file open). */
KV_API int32_t DBA_LockDATA(DbaFile* file, int32_t item);
KV_API int32_t DBA_UnlockDATA(DbaFile* file, int32_t item);
/* Lock / unlock length bytes from the position of item n. */
KV_API int32_t DBA_LockBlockDATA(DbaFile* file, int32_t item, int32_t length);
KV_API int32_t DBA_UnlockBlockDATA(DbaFile* file, int32_t item, int32_t length);

/* ---- Items --------------------------------------------------------------- */

/* Takes an item from the free chain or appends one (header lock held while
 * the chain is read and rewritten, released around the append). An item
 * taken from above the slot count (a reorganisation leaves free slots there
 * in the chain) raises the slot count to it in the same header write, so
 * every item in use lies within the slot count. An append starts past the
 * last whole slot in the file (and past the slot count), never over a slot
 * that exists; it writes the record, zeroed but for its head {-1, old free
 * head}, in one write, then the header. The item's head is left free (-1):
 * the caller writes the whole record afterwards. Returns the item number,
 * 0 when the file is full (256000) or cannot grow. */
KV_API int32_t DBA_NewITEM(DbaFile* file);
/* The number the next DBA_NewITEM will return, without taking it (appends a
 * slot when the chain is empty); 0 if the file is full. */
KV_API int32_t DBA_NextFreeITEM(DbaFile* file);
/* Frees item n: writes its head {-1, old free head}, then the header (free
 * head := n, used count - 1, time stamped), under the item lock, then the
 * header lock. Item 0 is ignored. When either lock is refused past the host
 * lock time-out, nothing is changed (the item's head still shows its old
 * state).
 * A second delete of the same item is not detected: it would link the item
 * into the chain twice and count it down twice. Another station may free an
 * item between a caller's read and its delete, so a direct caller frees like
 * this: DBA_OpenDBA, DBA_LockDATA(n), read the item head; only when its state
 * is not -1, DBA_DeleteITEM(n) (it runs under the caller's item lock, taken
 * through the same descriptor); read the head again to tell a freed item
 * (-1) from a refused one; DBA_UnlockDATA(n), DBA_CloseDBA. */
KV_API void DBA_DeleteITEM(DbaFile* file, int32_t item);
/* 1 if the item's 8-byte head can be read (free items count), 0 for item 0
 * or a number past the end. */
KV_API int32_t DBA_ValidITEM(DbaFile* file, int32_t item);
/* Add / subtract 1 to the item's reference count (no lock, no bound).
 * Return the result of the final close (the descriptor), null if the open
 * failed. */
KV_API DbaFile* DBA_IncREF(DbaFile* file, int32_t item);
KV_API DbaFile* DBA_DecREF(DbaFile* file, int32_t item);
/* Moves one reference from oldItem to newItem (new incremented first).
 * Returns oldItem when both are equal (nothing written), otherwise the
 * descriptor's address as DBA_IncREF/DBA_DecREF return it (0 if an open
 * failed). */
KV_API intptr_t DBA_ChangeREF(DbaFile* file, int32_t oldItem, int32_t newItem);
/* Progress step for a walk over count items: <=200: 10; <=20000: 100;
 * <=200000: 1000; above: 10000. */
KV_API int32_t DBA_GetAnzeigeTeiler(int32_t count);

/* ---- Walks, identifier tables, reorganisation ----------------------------- */

/* First / next used item (state word not -1) of an open file, its record in
 * buffer (recordSize bytes). 0 at the end, when the header cannot be read,
 * or when the walk has delivered the used count taken at its start. */
KV_API int32_t DBA_FirstITEM(DbaFile* file, void* buffer);
KV_API int32_t DBA_NextITEM(DbaFile* file, void* buffer);

/* Callback walkers: each opens the file, walks every used item into an
 * 8192-byte buffer of its own and closes; they return the result of the final
 * close (the descriptor), null when the open failed or the record size is
 * above 8192 (nothing is walked then).
 *   DBA_MitJedemITEM            result ignored.
 *   DBA_MitAllenITEMsRW         < 0 stops; > 0 writes the record back; 0 goes on.
 *   DBA_MitAllenITEMsLoeschWeg  > 0 writes back; 0 stops; < 0 deletes the item.
 *   DBA_MitAllenExternIDsRW     items with an external identifier only, called
 *                               with that identifier; result ignored.
 *   DBA_MitAllenExternIDsREadWrite  as above; > 0 writes the record back. */
KV_API DbaFile* DBA_MitJedemITEM(DbaFile* file, DbaItemCallback callback);
KV_API DbaFile* DBA_MitAllenITEMsRW(DbaFile* file, DbaItemCallback callback);
KV_API DbaFile* DBA_MitAllenITEMsLoeschWeg(DbaFile* file, DbaItemCallback callback);
KV_API DbaFile* DBA_MitAllenExternIDsRW(DbaFile* file, DbaItemCallback callback);
KV_API DbaFile* DBA_MitAllenExternIDsREadWrite(DbaFile* file, DbaItemCallback callback);

/* Identifier tables of an open file; no lock, no bound against the capacity.
 * Get returns the entry (0 = none or read failure); Set returns 1 if 4 bytes
 * were written. */
KV_API int32_t DBA_GetExternID_from_ID(DbaFile* file, int32_t item);
KV_API int32_t DBA_SetExternID_from_ID(DbaFile* file, int32_t item, int32_t externId);
KV_API int32_t DBA_GetID_from_ExternID(DbaFile* file, int32_t externId);
KV_API int32_t DBA_SetID_from_ExternID(DbaFile* file, int32_t externId, int32_t item);

/* Rebuilds free chain (ascending), used count and slot count (= highest used
 * item) from the item heads; counts below 1 are freed. Takes no lock: run it
 * when nobody else works on the file. Returns the final close's result. */
KV_API DbaFile* DBA_Reo(DbaFile* file);
/* Copies every item (free ones too) of oldFile into newFile, created empty,
 * calling converter(n, buffer) between read and write. The caller writes the
 * new file's header and tables. */
KV_API void DBA_ResizeDBA(DbaFile* oldFile, DbaFile* newFile, DbaItemCallback converter);

KV_EXTERN_C_END

#endif /* KVDATA_DBA_H */
