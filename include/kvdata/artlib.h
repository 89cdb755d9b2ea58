/* Article file (ARTLIB_*).
 *
 * File "ARTIKEL.DBA" (or the file named) given to ARTLIB_Init:
 *   0            40    header: word 0 = format version (600), word 1 = time
 *                      stamp (seconds since 1970, low 32 bits), rest zero
 *   40 + 660*n   660   article record n, n = 0 .. count (record 0 exists
 *                      and is not an article)
 *
 * Record lock: ARTLIB_LockArtikel(n) locks the 660 bytes at 660*n, i.e. 40
 * bytes BEFORE record n. Every workstation of an installation locks that
 * same range, so it stays exactly there; it is an agreement on a range, not
 * a cover of the record's bytes.
 *
 * The family keeps one process-wide handle on its own file with an open
 * count (ARTLIB_OeffneDatenbank / ARTLIB_SchliesseDatenbank nest), and an
 * independent handle with its own count for a foreign article file of
 * another installation or branch. */
#ifndef KVDATA_ARTLIB_H
#define KVDATA_ARTLIB_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define ARTLIB_FILE_NAME "ARTIKEL.DBA"
#define ARTLIB_HEADER_SIZE 40
#define ARTLIB_RECORD_SIZE 660
#define ARTLIB_CURRENT_VERSION 600
#define ARTLIB_TEXT_SIZE 59

KV_PACK_BEGIN
/* One article record as it lies in the file. */
typedef struct ArtikelRecord {
    int32_t firstItem;          /*   0: first single item of the article's chain, 0 = none */
    int32_t lastItem;           /*   4: last single item of the article's chain, 0 = none */
    int32_t reserved8;          /*   8: kept as written by the application */
    int32_t price1First;        /*  12: price pair 1, first value (cents) */
    int32_t price1Second;       /*  16: price pair 1, second value */
    int32_t price2First;        /*  20: price pair 2, first value */
    int32_t price2Second;       /*  24: price pair 2, second value */
    int32_t price3First;        /*  28: price pair 3, first value */
    int32_t price3Second;       /*  32: price pair 3, second value */
    uint8_t reserved36[51];     /*  36: article master data kept as written */
    char text[ARTLIB_TEXT_SIZE];/*  87: article text, zero-terminated, Windows-1252 */
    uint16_t vatCode;           /* 146: VAT code 0 .. 5 */
    uint8_t reserved148[21];    /* 148: article master data kept as written */
    int64_t lastWrite;          /* 169: seconds since 1970 of the last ARTLIB_WriteArtikel */
    uint8_t reserved177[483];   /* 177: article master data kept as written */
} ArtikelRecord;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(ArtikelRecord) == 660, "article record is 660 bytes");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, firstItem) == 0, "firstItem");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, lastItem) == 4, "lastItem");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, price1First) == 12, "price pairs");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, price3Second) == 32, "price pairs end");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, text) == 87, "text");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, vatCode) == 146, "vatCode");
KV_STATIC_ASSERT(offsetof(ArtikelRecord, lastWrite) == 169, "lastWrite");

/* Stores the article count and the file's path, creates a missing file
 * (count + 1 empty records) and upgrades an old one: 510 -> 520, then any
 * version below 540 -> 540, then any version below 600 -> 600, each step by
 * copy / delete / rename. Returns 600 when the file is current afterwards,
 * 0 when it could not be created or an upgrade step failed, and the version
 * itself for a version above 600 (left alone).
 * `path` names the file itself ("C:\DATA\ARTIKEL.DBA", or a file name of the
 * caller's own), or the data directory: an existing directory ("C:\DATA")
 * or any path ending in a separator ("C:\DATA\"), to which "ARTIKEL.DBA"
 * is appended. An existing file is found whatever the case of its name.
 */
KV_API int32_t ARTLIB_Init(int32_t count, const char* path);
/* Version word of the file, read on a handle of its own; 0 if it cannot be opened. */
KV_API int32_t ARTLIB_Version(void);
/* Nested open of the own file (read-write, shared): the handle, or -1. */
KV_API int32_t ARTLIB_OeffneDatenbank(void);
/* Drops one open level; the last closes the file. */
KV_API void ARTLIB_SchliesseDatenbank(void);
/* Article numbers. Records n and block starts are addressed up to the
 * larger of the count given to ARTLIB_Init and the last record in the file;
 * a number above that (or below 0) gets 0 before any I/O, so no number can
 * make the file grow past its records.
 * Reads record n through handle: 1 when all 660 bytes were read, else 0. */
KV_API int32_t ARTLIB_ReadArtikel(int32_t handle, int32_t n, void* record);
/* Stores the current time in record->lastWrite, then writes record n:
 * 1 when all 660 bytes were written, else 0. */
KV_API int32_t ARTLIB_WriteArtikel(int32_t handle, int32_t n, void* record);
/* n = 0 returns 0 without touching the file; else open, read, close. 0 when the open fails. */
KV_API int32_t ARTLIB_LeseArtikel(int32_t n, void* record);
/* Open, ARTLIB_WriteArtikel (record 0 included), close; 0 when the open fails. */
KV_API int32_t ARTLIB_SchreibeArtikel(int32_t n, void* record);
/* Byte-range lock of 660 bytes at 660*n on the own handle (waits up to the
 * lock time-out); the file must be open. 1 when held, else 0. */
KV_API int32_t ARTLIB_LockArtikel(int32_t n);
/* Releases the range ARTLIB_LockArtikel(n) took; 1 on success. */
KV_API int32_t ARTLIB_UnlockArtikel(int32_t n);
/* Reads count records from record first on in one read: the number of bytes
 * read (count*660 when all arrived, fewer at the end of the file); 0 for a
 * bad argument or a failed seek. */
KV_API int32_t ARTLIB_BlockReadArtikel(int32_t handle, int32_t first, int32_t count, void* buffer);
/* Reads size bytes from the start of the file (header included) on a
 * read-only handle of its own: the bytes read, -1 when the open fails. */
KV_API int32_t ARTLIB_ReadComplete(void* buffer, int32_t size);
/* Sets all 660 bytes of record to 0. */
KV_API void ARTLIB_ClearArtikel(void* record);
/* 40 + 660*n; -1 for a negative n or one whose position does not fit 32 bits. */
KV_API int32_t ARTLIB_FilePos(int32_t n);
/* The count given to ARTLIB_Init. */
KV_API int32_t ARTLIB_GetIniMaxArtikel(void);
/* The count and the full file path (260 bytes). */
KV_API void ARTLIB_GetSizeAndName(int32_t* count, char* path);
/* Last write time of the file, seconds since 1970; 0 if it cannot be read. */
KV_API uint32_t ARTLIB_GetLastWriteTime(void);
/* 1 when n > 0, article n reads, its text equals text exactly and one of its
 * nine words at offsets 0 .. 32 is non-zero; else 0. */
KV_API int32_t ARTLIB_TesteAufGueltigenArtikel(int32_t n, const char* text);
/* Nested open of a foreign article file (full path): the foreign handle, or
 * -1 when the file does not exist or cannot be opened. */
KV_API int32_t ARTLIB_OeffneFremdeDatenbank(const char* path);
/* Reads record n of the open foreign file: 0 for n = 0 or no foreign file open. */
KV_API int32_t ARTLIB_LeseArtikelAusFremderDB(int32_t n, void* record);
/* Drops one open level of the foreign file; the last closes it. */
KV_API void ARTLIB_SchliesseFremdeDatenbank(void);
/* Reads / writes the 40-byte header at position 0: 1 on success, else 0. */
KV_API int32_t ARTLIB_ReadDBAHeader(int32_t handle, void* header);
KV_API int32_t ARTLIB_WriteDBAHeader(int32_t handle, const void* header);
/* Creates (truncates) the file with count + 1 empty records: 1 or 0. */
KV_API int32_t ARTLIB_ErzeugeDatenbank(void);
/* Appends empty records until the file holds 0 .. count: 1 or 0. */
KV_API int32_t ARTLIB_ErweitereDatenbank(void);
/* Upgrades the file from version oldVersion (which its header must carry)
 * to newVersion (600): 1 on success, 0 otherwise; an unchanged current file is 1. */
KV_API int32_t KV_STDCALL ARTLIB_DoUpdate(int32_t newVersion, int32_t oldVersion);

KV_EXTERN_C_END

#endif /* KVDATA_ARTLIB_H */
