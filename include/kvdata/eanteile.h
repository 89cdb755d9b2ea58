/* EAN codes of single items (EANTEILE_*).
 *
 * File "EANTEILE.DBA" (or the file named) given to EANTEILE_Init:
 *   0           40   header: word 0 = version (600), word 1 = time stamp
 *                    (seconds since 1970, low 32 bits), rest zero
 *   40 + 20*n   20   entry of single item n, n = 0 .. count (the count of
 *                    the single-item file; entry 0 is never used)
 * An entry is addressed by the item identifier; it is empty (all zero) when
 * the item has no EAN. Every change is written under the entry's byte-range
 * lock (its own 20 bytes). */
#ifndef KVDATA_EANTEILE_H
#define KVDATA_EANTEILE_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define EANTEILE_FILE_NAME "EANTEILE.DBA"
#define EANTEILE_RECORD_SIZE 20
#define EANTEILE_EAN_SIZE 14

KV_PACK_BEGIN
typedef struct EanEinzelteil {
    int32_t item;                   /*  0: item identifier of the entry, 0 = empty */
    char ean[EANTEILE_EAN_SIZE];    /*  4: EAN code (up to 13 digits), zero-terminated */
    uint16_t reserved;              /* 18: zero */
} EanEinzelteil;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(EanEinzelteil) == 20, "EAN item entry is 20 bytes");
KV_STATIC_ASSERT(offsetof(EanEinzelteil, item) == 0, "item");
KV_STATIC_ASSERT(offsetof(EanEinzelteil, ean) == 4, "ean");

/* Remembers the file's path and the count, creates a missing file or
 * enlarges a smaller one: 1 on success, else 0.
 * `path` names the file itself ("C:\DATA\EANTEILE.DBA", or a file name of the
 * caller's own), or the data directory: an existing directory ("C:\DATA")
 * or any path ending in a separator ("C:\DATA\"), to which "EANTEILE.DBA"
 * is appended. An existing file is found whatever the case of its name.
 */
KV_API int32_t EANTEILE_Init(int32_t count, const char* path);
/* Stores the EAN of item (1 .. count): 1 when written; 0 for an empty or
 * non-digit EAN, one longer than 13 digits, or a failed write. */
KV_API int32_t EANTEILE_Schreibe_EAN_Einzelteil(int32_t item, const char* ean);
/* Copies the EAN of item into ean (14 bytes): 1 when the item has one, else
 * 0 (ean empty). */
KV_API int32_t EANTEILE_Lese_EAN_Einzelteil(int32_t item, char* ean);
/* Removes the EAN entry of item (1 .. count): 1 when the empty entry was
 * written (also when there was none), else 0. */
KV_API int32_t EANTEILE_Loesche_EAN_Einzelteil(int32_t item);

/* EAN texts of EAN-item identifiers */
/* Formats the identifier pair as "%07ld%05ld" (supplier part, article part)
 * into out (at least 14 bytes) and appends the EAN-13 check digit. Returns 1
 * when the result is a valid EAN-13 code; 0 for a null out or parts too wide
 * for their fields (the first 13 characters then stand uncompleted). */
KV_API int32_t EANTEILE_EATtoEANS(int32_t supplierPart, int32_t articlePart, char* out);

KV_EXTERN_C_END

#endif /* KVDATA_EANTEILE_H */
