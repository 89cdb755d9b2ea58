/* Key files (BBAUMLIB_*): a persistent unique index of 32-byte keys. Each
 * key record has its 14-byte tree node stored right behind it, so a key is
 * found, added or removed through a balanced tree (the BAVL_* instance)
 * without reading the whole file. The ID mapping files MAPARTID.DBA,
 * MAPMWID.DBA, MAPEANID.DBA and MAPALTID.DBA are key files with 44-byte
 * records.
 *
 * File layout (integers little-endian, R = record size >= 44):
 *   0                      40  header: version (600), last-write time
 *                              (seconds since 1970, low 32 bits), 8 words 0
 *   40 + n*(R+14)           R  key record of slot n, n = 0 .. slotCount
 *   40 + n*(R+14) + R      14  tree node of slot n (AvlKnoten)
 * Key record (BaumKey): a word cleared on free, the 32 key bytes, the
 * payload (0 = slot not in use), the next free slot (0 = end of chain).
 * Slot 0 is not a key: its payload is the used count, its next-free word the
 * first free slot, its key bytes hold the search key of the current search,
 * and the parent word of its node holds the tree root. Keys compare as 32
 * signed bytes (0x80..0xFF sort before 0x00..0x7F; bytes after a 0 count).
 *
 * The free chain. A new file chains slots 1, 3, 5, ... only (and, for an
 * even slot count, ends in slotCount + 1, which counts as full); removing a
 * key puts its slot alone on the chain, cutting off the rest. This is how
 * existing files behave. BBAUMLIB_ErzeugeFreelist (or BBAUMLIB_Reorganisieren)
 * links every free slot in ascending order; run it after creating or
 * extending a file and after removals when BBAUMLIB_BAUMKEYAnlegen reports 0.
 *
 * Sharing one key file between processes. Insertion and deletion in the tree
 * hold the byte lock on the 4 root bytes, but the search key is written into
 * slot 0 (shared by everybody) and the free chain is read and rewritten
 * without a lock. So every process that adds, finds or removes keys in a
 * shared key file must hold one lock of its own around each such call (for
 * example a byte lock on a separate lock file, or a lock-database lock) and
 * around the BBAUMLIB_SchreibeBAUMKEY that sets the new key's payload.
 * BBAUMLIB_LockBAUMKEY locks one slot's record and node for a
 * read-modify-write of its payload; it does not protect the tree.
 *
 * Every function takes the descriptor first; a null descriptor, a slot out
 * of range or a null buffer gives the failure result (0, -1 for the used
 * count) and touches no file. The key operations, the header functions and
 * the walks open and close the file themselves (nested inside a caller's
 * BBAUMLIB_OeffneDatenbank they cost nothing); BBAUMLIB_ReadBAUMKEY,
 * BBAUMLIB_WriteBAUMKEY and the slot locks need the caller's open. */
#ifndef KVDATA_BBAUMLIB_H
#define KVDATA_BBAUMLIB_H

#include <stddef.h>

#include "kv_export.h"
#include "avl.h"

KV_EXTERN_C_BEGIN

#define BBAUMLIB_HEADER_SIZE 40
#define BBAUMLIB_NODE_SIZE 14
#define BBAUMLIB_KEY_SIZE 32
#define BBAUMLIB_MIN_RECORD_SIZE 44
#define BBAUMLIB_MAX_RECORD_SIZE 65536
#define BBAUMLIB_CURRENT_VERSION 600
#define BBAUMLIB_PATH_SIZE 260

/* The first 44 bytes of every key record (a larger record size leaves the
 * rest to the caller). */
KV_PACK_BEGIN
typedef struct BaumKey {
    int32_t head;                  /*  0: caller's word, cleared when the slot is freed */
    uint8_t key[BBAUMLIB_KEY_SIZE]; /*  4: the key, all 32 bytes compared */
    int32_t payload;               /* 36: value the key maps to; 0 = slot not in use */
    int32_t nextFree;              /* 40: next free slot, 0 = end (slot 0: first free) */
} BaumKey;

/* The 40-byte file header. */
typedef struct BaumKeyHeader {
    int32_t version;         /*  0: 600 on creation */
    uint32_t lastWriteTime;  /*  4: seconds since 1970 (low 32 bits) */
    int32_t reserved[8];     /*  8: written as 0 */
} BaumKeyHeader;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(BaumKey) == 44, "BaumKey is 44 bytes");
KV_STATIC_ASSERT(offsetof(BaumKey, head) == 0, "BaumKey.head");
KV_STATIC_ASSERT(offsetof(BaumKey, key) == 4, "BaumKey.key");
KV_STATIC_ASSERT(offsetof(BaumKey, payload) == 36, "BaumKey.payload");
KV_STATIC_ASSERT(offsetof(BaumKey, nextFree) == 40, "BaumKey.nextFree");
KV_STATIC_ASSERT(sizeof(BaumKeyHeader) == 40, "BaumKeyHeader is 40 bytes");
KV_STATIC_ASSERT(offsetof(BaumKeyHeader, version) == 0, "BaumKeyHeader.version");
KV_STATIC_ASSERT(offsetof(BaumKeyHeader, lastWriteTime) == 4, "BaumKeyHeader.lastWriteTime");
KV_STATIC_ASSERT(offsetof(BaumKeyHeader, reserved) == 8, "BaumKeyHeader.reserved");

/* In-memory descriptor of one key file, made by BBAUMLIB_Init, freed by
 * BBAUMLIB_Exit. The tree callbacks receive the descriptor itself (the
 * tree's compareContext); storeContext carries the file handle. */
typedef struct BaumKeyDatei {
    int32_t slotCount;       /* capacity: highest slot number */
    int32_t recordSize;      /* R, bytes per key record (44 for the ID maps) */
    uint8_t header[BBAUMLIB_HEADER_SIZE]; /* header as last read or written */
    AvlBaum tree;            /* callbacks bound to this file; Visit replaceable */
    int32_t handle;          /* open file handle, -1 when closed */
    struct BaumKeyDatei* self; /* the descriptor, handed to the callbacks */
    int32_t currentElement;  /* slot to insert or delete */
    int16_t openCount;       /* nesting of BBAUMLIB_OeffneDatenbank */
    char path[BBAUMLIB_PATH_SIZE]; /* full file name */
} BaumKeyDatei;

/* Called by BBAUMLIB_Reorganisieren for a slot whose key is already in the
 * tree under existingSlot; the slot stays out of the tree. */
typedef void (KV_CALLBACK *BaumKeyDuplicateFn)(int32_t slot, int32_t existingSlot);

/* ---- Descriptor, file ---------------------------------------------------- */

/* New descriptor for the key file at path. If the file does not open it is
 * created (BBAUMLIB_ErzeugeDatenbank) and its tree cleared; the file is
 * left closed either way. Null for a null or too long path, recordSize
 * outside 44..65536, slotCount < 1, or no memory. A file that could not be
 * created shows when BBAUMLIB_OeffneDatenbank returns 0. */
KV_API BaumKeyDatei* BBAUMLIB_Init(const char* path, int32_t recordSize, int32_t slotCount);
/* Closes the file if still open and frees the descriptor; null is harmless. */
KV_API void BBAUMLIB_Exit(BaumKeyDatei* file);
/* Nested open: only the first level opens (read/write, shared). 1 if the
 * file is open afterwards; a failed first open leaves the count at 0. */
KV_API int32_t BBAUMLIB_OeffneDatenbank(BaumKeyDatei* file);
/* Nested close: only the last level closes. */
KV_API void BBAUMLIB_SchliesseDatenbank(BaumKeyDatei* file);
/* Creates (truncates) the file: slot 0 with first free 1, slots 1..count-1
 * linked to slot + 2, the last slot ending the chain, the header {600, now}.
 * progress(i) for i = 0 .. slotCount. The tree is not cleared (see
 * BBAUMLIB_ErzeugeAVLBaum). 1 on success; 0 if the descriptor is open or
 * the file cannot be created or written. */
KV_API int32_t BBAUMLIB_ErzeugeDatenbank(BaumKeyDatei* file, AvlProgressFn progress);
/* Grows the file to newCount slots: the new slots are cleared and chained
 * among themselves (not to slot 0: run BBAUMLIB_ErzeugeFreelist), the
 * header's time is stamped. 1 on success; 0 if newCount is not above the
 * current count or the file does not open. */
KV_API int32_t BBAUMLIB_ErweitereDatenbank(BaumKeyDatei* file, AvlProgressFn progress, int32_t newCount);
/* Clears the tree: root 0 and a cleared node in every slot (BAVL_NeuerBaum).
 * 1, or 0 if the file does not open. */
KV_API int32_t BBAUMLIB_ErzeugeAVLBaum(BaumKeyDatei* file, AvlProgressFn progress);

/* ---- Header ---------------------------------------------------------------- */

/* Read the 40 header bytes into file->header / write them from it. 1 if 40
 * bytes moved. */
KV_API int32_t BBAUMLIB_ReadDBAHeader(BaumKeyDatei* file);
KV_API int32_t BBAUMLIB_WriteDBAHeader(BaumKeyDatei* file);
/* Header word 0 as read from the file (0 for a null descriptor or a failed
 * read). */
KV_API int32_t BBAUMLIB_Version(BaumKeyDatei* file);
/* Reads the header and returns word 1 (0 on failure). */
KV_API uint32_t BBAUMLIB_GetLastWriteTime(BaumKeyDatei* file);
/* Slot count into *count and the path into name (260 bytes). 1, or 0 for a
 * null argument. */
KV_API int32_t BBAUMLIB_GetSizeAndName(BaumKeyDatei* file, int32_t* count, char* name);

/* ---- Key records ------------------------------------------------------------ */

/* Raw R-byte read / write of slot n on an open file; 1 if R bytes moved.
 * Read takes 0..slotCount, write 1..slotCount (slot 0 only through
 * BBAUMLIB_WriteFreeList). No lock. */
KV_API int32_t BBAUMLIB_ReadBAUMKEY(BaumKeyDatei* file, int32_t slot, void* record);
KV_API int32_t BBAUMLIB_WriteBAUMKEY(BaumKeyDatei* file, int32_t slot, const void* record);
/* Open, read slot 0..slotCount, close. */
KV_API int32_t BBAUMLIB_LeseBAUMKEY(BaumKeyDatei* file, int32_t slot, void* record);
/* Open, write slot 1..slotCount, close. This is how a caller sets the
 * payload of a key it has just added. */
KV_API int32_t BBAUMLIB_SchreibeBAUMKEY(BaumKeyDatei* file, int32_t slot, const void* record);
/* Read / write slot 0's record (the free-list head). 1 if R bytes moved. */
KV_API int32_t BBAUMLIB_ReadFreeList(BaumKeyDatei* file, void* record);
KV_API int32_t BBAUMLIB_WriteFreeList(BaumKeyDatei* file, const void* record);
/* First free slot from slot 0; 0 if the chain is empty or the read fails. */
KV_API int32_t BBAUMLIB_GetNextFree(BaumKeyDatei* file);
/* Used count from slot 0; -1 if the file does not open. */
KV_API int32_t BBAUMLIB_BenutzteBAUMKEYs(BaumKeyDatei* file);

/* ---- Keys ---------------------------------------------------------------------- */

/* Slot holding a key equal to record's 32 key bytes (BaumKey layout), or 0.
 * Writes the search key into slot 0. Caller's lock when shared (above). */
KV_API int32_t BBAUMLIB_BAUMKEYVorhanden(BaumKeyDatei* file, const void* record);
/* Slot of the key in record (R bytes, BaumKey layout): the existing one
 * (nothing changes), or a slot taken
 * from the free chain into which record is written with payload and next
 * set to 0 (also in the caller's buffer) and which is inserted into the
 * tree. The caller then writes the payload with BBAUMLIB_SchreibeBAUMKEY:
 * until then the slot counts as free for BBAUMLIB_Reorganisieren. 0 when the
 * chain is empty or ends outside the file (full), or on failure. Holds the
 * root lock inside the tree; caller's lock when shared (above). */
KV_API int32_t BBAUMLIB_BAUMKEYAnlegen(BaumKeyDatei* file, void* record);
/* Removes slot n's key from the tree and frees the slot: the record is
 * cleared, the slot becomes the whole free chain, the used count drops.
 * 1 on success; 0 if n is out of range or its key is not in the tree under
 * slot n (nothing changes then). Caller's lock when shared (above). */
KV_API int32_t BBAUMLIB_BAUMKEYLoeschen(BaumKeyDatei* file, int32_t slot);
/* Byte lock on the record and node (R + 14 bytes) of slot n, 1..slotCount,
 * waiting up to the host lock time-out; the file must be open. 1 on
 * success. */
KV_API int32_t BBAUMLIB_LockBAUMKEY(BaumKeyDatei* file, int32_t slot);
KV_API int32_t BBAUMLIB_UnlockBAUMKEY(BaumKeyDatei* file, int32_t slot);

/* ---- Walks and upkeep -------------------------------------------------------------- */

/* Walks all keys in order, calling visit(descriptor, slot, depth) with the
 * AVL_MitBaum stop rule, then puts the default visit back. The file is open
 * during the walk, so visit may use BBAUMLIB_ReadBAUMKEY. Returns the walk's
 * result (1); 0 for a null argument or when the file does not open. */
KV_API int32_t BBAUMLIB_MitAllenBAUMKEYs(BaumKeyDatei* file, AvlVisitFn visit);
/* Sets the tree's Visit slot (null puts the default back). */
KV_API void BBAUMLIB_SetNewBaumProc(BaumKeyDatei* file, AvlVisitFn visit);
/* Puts the default visit (always 1) back. The second argument is what the
 * caller set; it is accepted for symmetry and not used. */
KV_API void BBAUMLIB_RestoreOldBaumProc(BaumKeyDatei* file, AvlVisitFn visit);
/* Rebuilds the free chain: every slot with payload 0 in ascending order, the
 * used count from the others. progress(n) for n = slotCount .. 1, then once
 * more with 0. 1, or 0 if the file does not open or a read fails. Run it
 * when nobody else adds or removes keys. */
KV_API int32_t BBAUMLIB_ErzeugeFreelist(BaumKeyDatei* file, AvlProgressFn progress);
/* Rebuilds chain and tree. Every slot with payload 0 is cleared and chained
 * in ascending order and the used count recounted (progress2 every k-th slot,
 * k = DBA_GetAnzeigeTeiler(slotCount)); the tree is cleared (progress1 per
 * slot) and every slot with a payload inserted again in slot order
 * (progress3); a slot whose key is already in the tree is reported through
 * duplicate(slot, existingSlot) and left out of the tree (its record stays).
 * A last pass (progress4) takes any payload-0 slot still in the tree out of
 * it without touching chain or count. Any function may be null. 1, or 0 if
 * the file does not open. Run it when nobody else uses the file. */
KV_API int32_t BBAUMLIB_Reorganisieren(BaumKeyDatei* file, AvlProgressFn progress1, AvlProgressFn progress2,
                                       AvlProgressFn progress3, AvlProgressFn progress4, BaumKeyDuplicateFn duplicate);

KV_EXTERN_C_END

#endif /* KVDATA_BBAUMLIB_H */
