/* EAN codes (EANDATA_*): check digits of EAN-13, UPC-A and EAN-8 codes,
 * completion of 12-digit codes, widening of UPC-A to EAN-13, and the shop's
 * own EAN-13 codes.
 *
 * Codes are NUL-terminated strings of decimal digits. A character that is
 * not a digit counts as -1 in the check-digit sum, so such a code normally
 * fails; it is not rejected by a separate test. Functions that write a code
 * need a buffer of at least 14 bytes. A null code gives 0 and writes nothing.
 *
 * Own codes: seven digits supplier part (2000001..2999999, so every own code
 * begins with 2, the prefix EAN reserves for in-store use), five digits
 * article part (1..99999), check digit. The parts are the counters 11
 * ("EIGENE EAN-ARTIKEL-NR") and 12 ("EIGENE EAN-LIEFERANT-NR") of the
 * number-range file NUMMERN.DAT; Nummern_Init must have run. */
#ifndef KVDATA_EANDATA_H
#define KVDATA_EANDATA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* Code kinds of EANDATA_IstCodeOK. */
#define EANDATA_KIND_EAN13 0
#define EANDATA_KIND_UPCA 1
#define EANDATA_KIND_EAN8 2

/* 1 when the code has the kind's length (EAN-13: 13; UPC-A: 12 beginning
 * with one of 0 1 6 7 8 9; EAN-8: 8) and its last character is the right
 * check digit; 0 otherwise and for any other kind. */
KV_API int32_t EANDATA_IstCodeOK(const char* code, int32_t kind);
/* 1 when the code has 8 characters and is a valid EAN-8 code. */
KV_API int32_t EANDATA_IstEsEinEAN8_Code(const char* code);
/* Appends the EAN-13 check digit to a code of exactly 12 characters (other
 * codes stay unchanged); non-digits add nothing to the sum. Returns
 * EANDATA_IstCodeOK(code, EAN-13) of the buffer afterwards. */
KV_API int32_t EANDATA_EAN_Vervollstaendigen(char* code);
/* The same completion for codes taken from a table (the sum always starts
 * at the first character; the result is the same digit). */
KV_API int32_t EANDATA_EAN_AusTabelle_Vervollstaendigen(char* code);
/* A 12-character code that is a valid UPC-A code becomes "0" + the code; a
 * 12-character code that is not is emptied (""). Other lengths stay.
 * Returns the EAN-13 validation of the buffer afterwards. */
KV_API int32_t EANDATA_EAN_KomplettierenbeiUPC(char* code);
/* Replaces a buffer holding exactly "##" by the next own EAN-13 code and
 * advances the counters (article part + 1; after 99999 the article part
 * restarts at 1 and the supplier part goes up by one). Returns the result of
 * writing counter 11 (1 on success); 0, buffer untouched, when the buffer
 * did not hold "##". No lock: concurrent generators rely on NUMMERN.DAT. */
KV_API int32_t EANDATA_ErzeugeEigeneEAN(char* buffer);
/* Stores the directory of `path` (its file name cut off; a path that names
 * an existing directory is that directory) as the directory of the EAN data
 * files. A null or over-long path leaves it empty. */
KV_API void EANDATA_Init(const char* path);

KV_EXTERN_C_END

#endif /* KVDATA_EANDATA_H */
