/* Number ranges in NUMMERN.DAT (Nummern_*).
 *
 * NUMMERN.DAT in the data directory is exactly 800 bytes: 200 signed 32-bit
 * little-endian counters, counter i at byte 4*i, no header. The counters in
 * use: 0 returns, 1 invoices, 2 orders, 3 delivery notes, 4 goods-in,
 * 5 transfers, 6 exchanges, 7 stocktakes, 8 customer orders, 9 supplier
 * complaints, 10 EU file, 11 own EAN article number, 12 own EAN supplier
 * number. Callers read a counter, compute the next value and write it back;
 * no lock is taken, so two stations can hand out one number twice and callers
 * that need uniqueness check against their own files. */
#ifndef KVDATA_NUMMERN_H
#define KVDATA_NUMMERN_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* Sets the number-range file to NUMMERN.DAT in the data directory named by
 * `path`: the path of any file in it (only its directory part is used), or
 * the directory itself, with or without a trailing separator. An existing
 * file is found whatever the case of its name. When that file does not
 * exist but a NUMMERN.DAT lies beside the library module, that one is moved
 * into the data directory (copied, then deleted). Must run before the other
 * two functions. */
KV_API void Nummern_Init(const char* path);
/* Reads counter `index` (0..199) into *value. 1 on success. When the file is
 * missing or no work memory is left, shows a message box ("File Error <->
 * NummernDBA" / "Malloc Error <-> NummernDBA") and ENDS THE PROCESS with exit
 * code 1. A null value or an index outside 0..199 returns 0 at once, touching
 * nothing. A file shorter than 800 bytes reads as zeros beyond its end. */
KV_API int32_t Nummern_NummernLesen(int32_t* value, int32_t index);
/* Stores `value` as counter `index` (0..199), leaving the other 199 counters
 * byte for byte as they are. When the file is missing the host is asked (a
 * Yes/No question): Yes looks for the file again, No creates a new file in
 * which every other counter is 0. 1 on success; 0 when no work memory is
 * left, the file could be neither opened nor created, or the index is outside
 * 0..199 (nothing is touched then). */
KV_API int32_t Nummern_NummernSchreiben(int32_t value, int32_t index);

KV_EXTERN_C_END

#endif /* KVDATA_NUMMERN_H */
