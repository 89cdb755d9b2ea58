/* Designation file (BEZLIB_*).
 *
 * A designation groups single items under one name; its record holds the
 * head of the designation's single-item chain. A designation lives as long
 * as it has items: the single-item family deletes it when it unlinks the
 * last one.
 *
 * File "BEZLIB.DBA" (or the file named) given to BEZLIB_Init:
 *   0            40    header: word 0 = version (600), word 1 = time stamp
 *                      (seconds since 1970, low 32 bits), rest zero
 *   40 + 128*n   128   designation record n, n = 0 .. count; record 0 is
 *                      not a designation: its lock serialises allocation
 *
 * Record lock: BEZLIB_LockBezeichnung(n) locks exactly the 128 bytes of
 * record n on the family's handle, which must be open. */
#ifndef KVDATA_BEZLIB_H
#define KVDATA_BEZLIB_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define BEZLIB_FILE_NAME "BEZLIB.DBA"
#define BEZLIB_RECORD_SIZE 128
#define BEZLIB_TEXT_SIZE 64

KV_PACK_BEGIN
typedef struct Bezeichnung {
    int32_t firstItem;              /*  0: first single item of the chain, 0 = none */
    int32_t lastItem;               /*  4: last single item of the chain, 0 = none */
    int32_t inUse;                  /*  8: 1 = designation exists, 0 = free slot */
    char text[BEZLIB_TEXT_SIZE];    /* 12: the designation, zero-terminated, Windows-1252 */
    uint8_t reserved[52];           /* 76: zero */
} Bezeichnung;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(Bezeichnung) == 128, "designation record is 128 bytes");
KV_STATIC_ASSERT(offsetof(Bezeichnung, firstItem) == 0, "firstItem");
KV_STATIC_ASSERT(offsetof(Bezeichnung, lastItem) == 4, "lastItem");
KV_STATIC_ASSERT(offsetof(Bezeichnung, inUse) == 8, "inUse");
KV_STATIC_ASSERT(offsetof(Bezeichnung, text) == 12, "text");

/* Remembers the file's path and the count, creates a missing file with
 * records 0 .. count or enlarges a smaller one: 1 on success, else 0.
 * `path` names the file itself ("C:\DATA\BEZLIB.DBA", or a file name of the
 * caller's own), or the data directory: an existing directory ("C:\DATA")
 * or any path ending in a separator ("C:\DATA\"), to which "BEZLIB.DBA"
 * is appended. An existing file is found whatever the case of its name.
 */
KV_API int32_t BEZLIB_Init(int32_t count, const char* path);
/* Nested open (read-write, shared): the handle, or -1. */
KV_API int32_t BEZLIB_OeffneDatenbank(void);
/* Drops one open level; the last closes the file. */
KV_API void BEZLIB_SchliesseDatenbank(void);
/* Locks / unlocks the bytes of record n (0 .. count) on the open handle;
 * the lock waits up to the lock time-out. 1 on success, else 0. */
KV_API int32_t BEZLIB_LockBezeichnung(int32_t n);
KV_API int32_t BEZLIB_UnlockBezeichnung(int32_t n);
/* Read / write record n (1 .. count) through handle: 1 when all 128 bytes moved. */
KV_API int32_t BEZLIB_ReadBezeichnung(int32_t handle, int32_t n, void* record);
KV_API int32_t BEZLIB_WriteBezeichnung(int32_t handle, int32_t n, const void* record);
/* Open, read / write record n (1 .. count), close: 1 or 0. No lock is
 * taken: a read-modify-write holds BEZLIB_LockBezeichnung around both. */
KV_API int32_t BEZLIB_LeseBezeichnung(int32_t n, void* record);
KV_API int32_t BEZLIB_SchreibeBezeichnung(int32_t n, const void* record);
/* Enters a new designation with an empty chain into the first free slot,
 * under the lock of record 0: its number, 0 when the file is full, text is
 * null or the file cannot be written. */
KV_API int32_t BEZLIB_NeueBezeichnung(const char* text);
/* Frees designation n (1 .. count) under its record lock: 1 when written. */
KV_API int32_t BEZLIB_BezeichnungLoeschen(int32_t n);

KV_EXTERN_C_END

#endif /* KVDATA_BEZLIB_H */
