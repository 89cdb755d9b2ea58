/* Additional data of single items (TeileZusatz_*).
 *
 * File "TEILEZUS.DBA" (or the file named) given to TeileZusatz_Init:
 *   0            40    header: word 0 = version (600), word 1 = time stamp
 *                      (seconds since 1970, low 32 bits), rest zero
 *   40 + 128*n   128   extras of single item n, n = 0 .. count (the count
 *                      of the single-item file; record 0 is never used)
 * A record is addressed by the item identifier and is all zero when the
 * item has no extras. Writes and deletions take the record's byte-range lock. */
#ifndef KVDATA_TEILEZUSATZ_H
#define KVDATA_TEILEZUSATZ_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define TEILEZUSATZ_FILE_NAME "TEILEZUS.DBA"
#define TEILEZUSATZ_RECORD_SIZE 128
#define TEILEZUSATZ_TEXT_SIZE 120

KV_PACK_BEGIN
typedef struct TeileZusatz {
    int32_t item;                       /*   0: item identifier, 0 = no extras */
    int32_t serialFlags;                /*   4: free bits of the application */
    char text[TEILEZUSATZ_TEXT_SIZE];   /*   8: additional text (serial number, remark), zero-terminated */
} TeileZusatz;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(TeileZusatz) == 128, "item extras record is 128 bytes");
KV_STATIC_ASSERT(offsetof(TeileZusatz, item) == 0, "item");
KV_STATIC_ASSERT(offsetof(TeileZusatz, serialFlags) == 4, "serialFlags");
KV_STATIC_ASSERT(offsetof(TeileZusatz, text) == 8, "text");

/* Remembers the file's path and the count, creates a missing file or
 * enlarges a smaller one: 1 on success, else 0.
 * `path` names the file itself ("C:\DATA\TEILEZUS.DBA", or a file name of the
 * caller's own), or the data directory: an existing directory ("C:\DATA")
 * or any path ending in a separator ("C:\DATA\"), to which "TEILEZUS.DBA"
 * is appended. An existing file is found whatever the case of its name.
 */
KV_API int32_t TeileZusatz_Init(int32_t count, const char* path);
/* Reads the extras of item (1 .. count): 1 when it has some, else 0. */
KV_API int32_t TeileZusatz_Lese(int32_t item, void* record);
/* Stores extras for item (1 .. count); the record's item field is set to
 * item. 1 when written, else 0. */
KV_API int32_t TeileZusatz_Schreibe(int32_t item, const void* record);
/* Removes the extras of item: 1 when the empty record was written (also
 * when there were none), else 0. */
KV_API int32_t TeileZusatz_Loesche(int32_t item);

KV_EXTERN_C_END

#endif /* KVDATA_TEILEZUSATZ_H */
