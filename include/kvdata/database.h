/* Single-item file TEILE.DBA and the transactions on single items
 * (DATABASE_*, Database_*).
 *
 * File "TEILE.DBA" (or the file named) given to DATABASE_Init, N = the
 * size given there:
 *   0            40    header: u32 version (600), u32 time stamp (seconds
 *                      since 1970 at creation), 32 zero bytes
 *   40 + 142*n   142   record of item n, n = 0 .. N
 * Record 0 is the control record: its word at 60 holds the last identifier
 * handed out, and its lock serialises allocation. Items use 1 .. N - 1.
 *
 * Every item is threaded into up to three doubly linked chains whose heads
 * (first, last) lie elsewhere: its article (ArtikelRecord, artlib.h), its
 * designation (Bezeichnung, bezlib.h; only for a designation number > 0)
 * and its customer (Kunde, kundendba.h; only for a customer number != 0).
 *
 * Locks: an item's 142 bytes are locked around every read-modify-write of
 * it; record 0 around allocation. A change of an item's chains takes, in
 * this order: the item's own lock; the locks of the other items it touches
 * (neighbours, the tail it appends to), only tried, never waited for; the
 * function lock "LCK_BEZLIB" when a designation chain changes; then the
 * head records' locks (article, designation, customers by ascending
 * number). When another item is busy, the operation lets every lock go,
 * its item's own included, pauses briefly and starts again from a fresh
 * read, for up to the host lock time-out. It writes only once it holds all
 * it needs: a change that cannot get its locks writes nothing, and the
 * operation (new item, delete, sale, exchange, return) fails with 0 and
 * leaves the item as it was. A caller of the chain functions below that
 * holds other items' locks itself must take them in the same way (try,
 * and let go when busy), or two stations can wait for each other until the
 * time-out.
 *
 * Identifiers outside 0 .. N, null records and short reads or writes give
 * the failure result and write nothing. */
#ifndef KVDATA_DATABASE_H
#define KVDATA_DATABASE_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define DATABASE_FILE_NAME "TEILE.DBA"
#define DATABASE_HEADER_SIZE 40
#define DATABASE_RECORD_SIZE 142
#define DATABASE_CURRENT_VERSION 600
/* The date a cleared record carries in each of its five date fields. */
#define DATABASE_CLEARED_DATE 33
/* After the last identifier the search wraps to here, not to 1. */
#define DATABASE_FIRST_ID_AFTER_WRAP 1001

/* Flag word bits. */
#define DATABASE_FLAG_BENUTZT   0x0001 /* slot in use */
#define DATABASE_FLAG_VERKAUFT  0x0002 /* sold */
#define DATABASE_FLAG_INVENTUR  0x0004 /* counted in an inventory */
#define DATABASE_FLAG_RETOURE   0x0008 /* return */
#define DATABASE_FLAG_EAN       0x0010 /* EAN-coded item */
#define DATABASE_FLAG_MENGE     0x0020 /* quantity item */
#define DATABASE_FLAG_RESERVED6 0x0040 /* not used by this family */
#define DATABASE_FLAG_SALE_ATTR 0xFF80 /* bits 7..15: sale attributes from the booking */

KV_PACK_BEGIN
/* One single item as it lies in TEILE.DBA. */
typedef struct Einzelteil {
    int32_t artPrev;            /*   0: previous item in the article chain, 0 = none */
    int32_t artNext;            /*   4: next item in the article chain, 0 = none */
    int32_t article;            /*   8: article number (record in ARTIKEL.DBA) */
    int32_t bezPrev;            /*  12: previous item in the designation chain */
    int32_t bezNext;            /*  16: next item in the designation chain */
    int32_t designation;        /*  20: designation number; chained only when > 0 */
    int32_t custPrev;           /*  24: previous item in the customer chain */
    int32_t custNext;           /*  28: next item in the customer chain */
    int32_t customer;           /*  32: customer number, 0 = none */
    int32_t reserved36;         /*  36: not written by this family */
    int32_t saleRef;            /*  40: sale reference; zeroed on an exchange */
    int32_t reserved44;         /*  44: zero in a cleared record */
    int32_t location;           /*  48: stock place */
    int32_t inventoryValueRef;  /*  52: inventory (value) reference of the last count */
    int32_t reserved56;         /*  56: zero in a cleared record */
    int32_t price1First;        /*  60: price pair 1, first value; record 0: last identifier handed out */
    int32_t price1Second;       /*  64: price pair 1, second value */
    int32_t documentRef;        /*  68: current sale document reference */
    int32_t reserved72;         /*  72: zero in a cleared record */
    int32_t price2First;        /*  76: price pair 2, first value */
    int32_t price2Second;       /*  80: price pair 2, second value */
    int32_t inventoryRef;       /*  84: inventory reference of a single (non-quantity) item */
    int32_t price3First;        /*  88: price pair 3, first value */
    int32_t price3Second;       /*  92: price pair 3, second value */
    int32_t previousDocumentRef;/*  96: previous sale document reference */
    int32_t value;              /* 100: item value */
    int32_t quantity;           /* 104: quantity (meaningful with DATABASE_FLAG_MENGE) */
    uint8_t reserved108[8];     /* 108: zero in a cleared record */
    int32_t quantity2;          /* 116: second quantity counter */
    uint16_t exchangeCount;     /* 120: number of exchanges */
    uint16_t creationTime;      /* 122: time of day of creation (packed) */
    uint16_t reserved124;       /* 124: zero in a cleared record */
    uint16_t vatCode;           /* 126: VAT code 0 .. 5 */
    uint16_t date1;             /* 128: date number, 33 when cleared */
    uint16_t inventoryDate;     /* 130: date of the last inventory count */
    uint16_t locationDate;      /* 132: date of the last change of location */
    uint16_t exchangeDate;      /* 134: date of the last exchange */
    uint16_t saleDate;          /* 136: date of the sale */
    uint16_t saleTime;          /* 138: time of the last sale or exchange */
    int16_t flags;              /* 140: flag word (DATABASE_FLAG_*) */
} Einzelteil;

/* What the till hands to a sale. */
typedef struct EinzelteilVerkauf {
    int32_t item;               /*  0: item identifier */
    int32_t documentRef;        /*  4: document reference */
    int32_t previousDocumentRef;/*  8: previous document reference */
    int32_t location;           /* 12: location of the sale */
    int32_t saleRef;            /* 16: sale reference */
    int32_t customer;           /* 20: customer number, 0 = none */
    int32_t quantity;           /* 24: quantity sold */
    int32_t flags;              /* 28: bits 7..15 are copied into the item's flag word */
    uint16_t saleDate;          /* 32: date number of the sale */
    uint16_t saleTime;          /* 34: time of day (packed) */
    uint16_t vatCode;           /* 36: VAT code; taken only when 0 .. 5 */
    uint16_t reserved38;        /* 38: not read */
} EinzelteilVerkauf;

/* What exchange, return, transfer and inventory read. */
typedef struct EinzelteilBuchung {
    int32_t reserved0;          /*  0: not read */
    int32_t item;               /*  4: item identifier */
    int32_t inventoryRef;       /*  8: inventory reference */
    int32_t reserved12;         /* 12: not read */
    int32_t location;           /* 16: location; for an inventory: inventory value reference */
    int32_t reserved20;         /* 20: not read */
    int32_t quantity;           /* 24: quantity */
    uint16_t date;              /* 28: date number */
    uint16_t reserved30;        /* 30: not read */
} EinzelteilBuchung;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(Einzelteil) == 142, "single item is 142 bytes");
KV_STATIC_ASSERT(offsetof(Einzelteil, artPrev) == 0, "artPrev");
KV_STATIC_ASSERT(offsetof(Einzelteil, artNext) == 4, "artNext");
KV_STATIC_ASSERT(offsetof(Einzelteil, article) == 8, "article");
KV_STATIC_ASSERT(offsetof(Einzelteil, bezPrev) == 12, "bezPrev");
KV_STATIC_ASSERT(offsetof(Einzelteil, bezNext) == 16, "bezNext");
KV_STATIC_ASSERT(offsetof(Einzelteil, designation) == 20, "designation");
KV_STATIC_ASSERT(offsetof(Einzelteil, custPrev) == 24, "custPrev");
KV_STATIC_ASSERT(offsetof(Einzelteil, custNext) == 28, "custNext");
KV_STATIC_ASSERT(offsetof(Einzelteil, customer) == 32, "customer");
KV_STATIC_ASSERT(offsetof(Einzelteil, reserved36) == 36, "reserved36");
KV_STATIC_ASSERT(offsetof(Einzelteil, saleRef) == 40, "saleRef");
KV_STATIC_ASSERT(offsetof(Einzelteil, reserved44) == 44, "reserved44");
KV_STATIC_ASSERT(offsetof(Einzelteil, location) == 48, "location");
KV_STATIC_ASSERT(offsetof(Einzelteil, inventoryValueRef) == 52, "inventoryValueRef");
KV_STATIC_ASSERT(offsetof(Einzelteil, reserved56) == 56, "reserved56");
KV_STATIC_ASSERT(offsetof(Einzelteil, price1First) == 60, "price1First");
KV_STATIC_ASSERT(offsetof(Einzelteil, price1Second) == 64, "price1Second");
KV_STATIC_ASSERT(offsetof(Einzelteil, documentRef) == 68, "documentRef");
KV_STATIC_ASSERT(offsetof(Einzelteil, reserved72) == 72, "reserved72");
KV_STATIC_ASSERT(offsetof(Einzelteil, price2First) == 76, "price2First");
KV_STATIC_ASSERT(offsetof(Einzelteil, price2Second) == 80, "price2Second");
KV_STATIC_ASSERT(offsetof(Einzelteil, inventoryRef) == 84, "inventoryRef");
KV_STATIC_ASSERT(offsetof(Einzelteil, price3First) == 88, "price3First");
KV_STATIC_ASSERT(offsetof(Einzelteil, price3Second) == 92, "price3Second");
KV_STATIC_ASSERT(offsetof(Einzelteil, previousDocumentRef) == 96, "previousDocumentRef");
KV_STATIC_ASSERT(offsetof(Einzelteil, value) == 100, "value");
KV_STATIC_ASSERT(offsetof(Einzelteil, quantity) == 104, "quantity");
KV_STATIC_ASSERT(offsetof(Einzelteil, reserved108) == 108, "reserved108");
KV_STATIC_ASSERT(offsetof(Einzelteil, quantity2) == 116, "quantity2");
KV_STATIC_ASSERT(offsetof(Einzelteil, exchangeCount) == 120, "exchangeCount");
KV_STATIC_ASSERT(offsetof(Einzelteil, creationTime) == 122, "creationTime");
KV_STATIC_ASSERT(offsetof(Einzelteil, reserved124) == 124, "reserved124");
KV_STATIC_ASSERT(offsetof(Einzelteil, vatCode) == 126, "vatCode");
KV_STATIC_ASSERT(offsetof(Einzelteil, date1) == 128, "date1");
KV_STATIC_ASSERT(offsetof(Einzelteil, inventoryDate) == 130, "inventoryDate");
KV_STATIC_ASSERT(offsetof(Einzelteil, locationDate) == 132, "locationDate");
KV_STATIC_ASSERT(offsetof(Einzelteil, exchangeDate) == 134, "exchangeDate");
KV_STATIC_ASSERT(offsetof(Einzelteil, saleDate) == 136, "saleDate");
KV_STATIC_ASSERT(offsetof(Einzelteil, saleTime) == 138, "saleTime");
KV_STATIC_ASSERT(offsetof(Einzelteil, flags) == 140, "flags");
KV_STATIC_ASSERT(sizeof(EinzelteilVerkauf) == 40, "sale booking is 40 bytes");
KV_STATIC_ASSERT(offsetof(EinzelteilVerkauf, flags) == 28, "sale booking flags");
KV_STATIC_ASSERT(offsetof(EinzelteilVerkauf, saleDate) == 32, "sale booking date");
KV_STATIC_ASSERT(offsetof(EinzelteilVerkauf, vatCode) == 36, "sale booking VAT code");
KV_STATIC_ASSERT(sizeof(EinzelteilBuchung) == 32, "item booking is 32 bytes");
KV_STATIC_ASSERT(offsetof(EinzelteilBuchung, item) == 4, "item booking item");
KV_STATIC_ASSERT(offsetof(EinzelteilBuchung, location) == 16, "item booking location");
KV_STATIC_ASSERT(offsetof(EinzelteilBuchung, quantity) == 24, "item booking quantity");
KV_STATIC_ASSERT(offsetof(EinzelteilBuchung, date) == 28, "item booking date");

/* Change request of the quantity and value changes: words [0] mask, [1]
 * item identifier, [2] .. [8] new values ([6] is also the quantity delta). */
#define DATABASE_CHANGE_REQUEST_WORDS 9

/* Called by DATABASE_CreateDatenbank with the number of records written,
 * after every 100th. */
typedef void (KV_CALLBACK *DatabaseProgressCallback)(int32_t written);

/* ---- file ---------------------------------------------------------------- */

/* Stores the size N and the file's path: 1, or 0 when N < 2 or the path
 * does not fit 260 characters. Creates nothing.
 * `path` names the file itself ("C:\DATA\TEILE.DBA", or a file name of the
 * caller's own), or the data directory: an existing directory ("C:\DATA")
 * or any path ending in a separator ("C:\DATA\"), to which "TEILE.DBA"
 * is appended. An existing file is found whatever the case of its name.
 */
KV_API int32_t DATABASE_Init(int32_t size, const char* path);
/* N and the full path of TEILE.DBA (260 bytes). */
KV_API void DATABASE_GetSizeAndName(int32_t* size, char* path);
/* Creates (truncates) the file: header, then N + 1 cleared records; the
 * callback (may be null) sees every 100th count. 1 when all were written. */
KV_API int32_t DATABASE_CreateDatenbank(DatabaseProgressCallback progress);
/* Appends cleared records until the file holds 0 .. N: 1 or 0. */
KV_API int32_t DATABASE_ErweitereDatenbank(void);
/* Nested open (read-write, shared): the handle, or -1. */
KV_API int32_t DATABASE_OeffneDatenbank(void);
/* Drops one open level; the last closes the file. */
KV_API void DATABASE_SchliesseDatenbank(void);
/* Header version read on a handle of its own; 0 when the file cannot be opened. */
KV_API int32_t DATABASE_Version(void);
/* Reads / writes the 40-byte header at position 0 through handle: 1 or 0. */
KV_API int32_t DATABASE_ReadDBAHeader(int32_t handle, void* header);
KV_API int32_t DATABASE_WriteDBAHeader(int32_t handle, const void* header);
/* 40 + 142*n; -1 for a negative n. */
KV_API int32_t DATABASE_FilePos(int32_t n);
/* Upgrades the file from oldVersion (its header's version) to newVersion
 * (600) by copy / delete / rename: 1 on success or when it is current. */
KV_API int32_t KV_STDCALL DATABASE_DoUpdate(int32_t newVersion, int32_t oldVersion);

/* ---- records (the file must be open unless said otherwise) ---------------- */

/* Reads / writes item id (0 .. N) on the open file: 1 when 142 bytes moved. */
KV_API int32_t DATABASE_ReadEinzelteil(int32_t id, void* record);
KV_API int32_t DATABASE_WriteEinzelteil(int32_t id, const void* record);
/* As DATABASE_ReadEinzelteil, then 0 for a return or a slot not in use. */
KV_API int32_t DATABASE_GetEinzelteil(int32_t id, void* record);
/* Open, DATABASE_ReadEinzelteil, close; 0 when the open fails. */
KV_API int32_t DATABASE_LeseEinzelteil(int32_t id, void* record);
/* Open, DATABASE_GetEinzelteil, close: 1 for an item in use and not a return. */
KV_API int32_t DATABASE_GueltigesEinzelteil(int32_t id, void* record);
/* Byte-range lock / unlock of item id's 142 bytes (waits up to the lock
 * time-out): 1 or 0; 0 for id outside 0 .. N or a closed file. */
KV_API int32_t DATABASE_LockEinzelteil(int32_t id);
KV_API int32_t DATABASE_UnlockEinzelteil(int32_t id);
/* Reads / writes count records from first on through handle in one call:
 * 1 when more than 0 bytes were moved. Records are addressed up to the
 * larger of N and the last record in the file: a write of records beyond
 * that, or a read starting beyond it, moves nothing and returns 0. */
KV_API int32_t Database_BlockReadET(int32_t handle, int32_t first, void* buffer, int32_t count);
KV_API int32_t Database_BlockWriteET(int32_t handle, int32_t first, const void* buffer, int32_t count);
/* Next free identifier after record 0's last one (wrapping to 1001), 0 when
 * the file is full. Does not reserve it: DATABASE_NeuesTeil does. */
KV_API int32_t DATABASE_FreieIdentnummer(void);
/* Allocates an identifier under record 0's lock, links the item (the caller
 * sets DATABASE_FLAG_BENUTZT) into its chains, stamps its creation time and
 * writes it: the identifier, or 0 (nothing allocated, no chain changed). */
KV_API int32_t DATABASE_NeuesTeil(const void* record);
/* The same under a given identifier, under that record's lock; record 0's
 * last identifier is not touched. The identifier, or 0. */
KV_API int32_t DATABASE_NeuesTeilMitID(int32_t id, const void* record);
/* Links the in-memory record of item id into its article, designation and
 * (customer != 0) customer chains; 1 when all succeeded. The locks of all
 * three are gathered first: on a failure no chain was changed. The caller
 * holds item id's lock and writes the record. A neighbour busy at another
 * station is retried here (locks the caller holds are kept) for up to the
 * lock time-out. */
KV_API int32_t DATABASE_EinzelteilEinzeigern(int32_t id, void* record);
/* Unlinks the in-memory record from all its chains: 1 when all succeeded;
 * on a refused lock no chain was changed (0). */
KV_API int32_t DATABASE_EinzelteilAuszeigern(void* record);
/* Appends item id (record in memory, links reset) to the tail of one chain
 * and updates the old tail item and the head: 1 on success. A designation
 * number <= 0 is not chained (1, no file touched). */
KV_API int32_t DATABASE_AddETtoARTKette(int32_t id, void* record);
KV_API int32_t DATABASE_AddETtoBEZKette(int32_t id, void* record);
KV_API int32_t DATABASE_AddETtoKUNDKette(int32_t id, void* record);
/* Removes the in-memory record from one chain (neighbours and head) and
 * zeroes its two links: 1 on success. Emptying a designation's chain
 * deletes the designation. */
KV_API int32_t DATABASE_RemoveETfromARTKette(void* record);
KV_API int32_t DATABASE_RemoveETfromBEZKette(void* record);
KV_API int32_t DATABASE_RemoveETfromKUNDKette(void* record);
/* Deletes item id (1 .. N-1): unlinks and clears it under its lock, then
 * removes its EAN entry and its extras. The result of the item's write; 0
 * (item and chains exactly as they were) when the locks of its neighbours
 * or heads could not be had within the lock time-out. */
KV_API int32_t DATABASE_AltesTeilLoeschen(int32_t id);
/* The item's VAT code, -1 when the file cannot be opened or the read fails. */
KV_API int32_t DATABASE_GetEinzelteilMWST_Satz(int32_t id);
/* The VAT code of the item's article, -1 on any failure. */
KV_API int32_t DATABASE_GetArtikel_MWST_SatzViaEinzelteil(int32_t id);

/* ---- records in memory -------------------------------------------------------- */

/* Clears a record: bytes 0..121 and 124..125 zero, the five dates 33,
 * 138..141 zero; the creation time (122) and the VAT code (126) stay. */
KV_API void DATABASE_ClearEinzelteil(void* record);
/* Flag tests: the positive ones return the masked bit(s), the negative ones
 * 1 or 0; a null record counts as all bits clear. */
KV_API int32_t DATABASE_Einzelteil_ist_benutzt(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_nicht_benutzt(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_verkauft(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_nicht_verkauft(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_Retoure(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_keine_Retoure(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_EAN_codiert(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_nicht_EAN_codiert(const void* record);
/* Quantity item: bit 5 set AND quantity >= 2 (a quantity of 0 or 1 is not one). */
KV_API int32_t DATABASE_Einzelteil_ist_Menge(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_keine_Menge(const void* record);
/* Bits 4 and 5 both set (returns 0x30). */
KV_API int32_t DATABASE_Einzelteil_ist_EANMENGENTEIL(const void* record);
KV_API int32_t DATABASE_Einzelteil_ist_kein_EANMENGENTEIL(const void* record);
/* The quantity with bit 5 set, else 1; 0 for a null record. */
KV_API int32_t DATABASE_GetMenge(const void* record);

/* ---- transactions (each under the item's lock unless said otherwise) ------ */

/* Sale: refused (0) for an item not in use or a return; sets sold and the
 * sale attributes, moves the item to the booking's customer chain, writes:
 * 1 when written. 0, nothing written, when the move's locks could not be
 * had within the lock time-out. A customer whose record cannot be read
 * leaves the item outside every customer chain (still written). */
KV_API int32_t DATABASE_EinzelteilVerkaufen(const void* booking);
/* The sale's field changes on a record in memory; the customer is set and
 * its links zeroed without touching a chain. 1, or 0 for a return. */
KV_API int32_t DATABASE_EinzelteilVerkauf_to_ET(const void* booking, void* record);
/* Exchange: clears the return bit and sets the time; a sold item becomes
 * unsold, leaves its customer chain and takes its article's VAT code. The
 * write's result; 0 for an item not in use, and 0 with nothing written when
 * the chain's locks could not be had within the lock time-out. */
KV_API int32_t DATABASE_EinzelteilUmtauschen(const void* booking, uint16_t time);
/* The exchange on a record in memory (no chain, VAT code kept): non-zero
 * when the item was sold. */
KV_API int32_t DATABASE_EinzelteilUmtausch_to_ET(const void* booking, void* record, uint16_t time);
/* Return: with deleteItem != 0 the item is deleted (DATABASE_AltesTeilLoeschen);
 * else it is exchanged and its flag word is left as 0 (no longer in use).
 * The result of the last write or of the deletion. */
KV_API int32_t DATABASE_EinzelteilRetournieren(const void* booking, int32_t deleteItem);
/* Transfer of an unsold item in use: location, location date, quantity. 1 when written. */
KV_API int32_t DATABASE_EinzelteilUmlagern(const void* booking);
/* Transfer of any item in use: location always, date and quantity only when unsold. */
KV_API int32_t DATABASE_EinzelteilUmlagernAuchVerkaufte(const void* booking);
/* The transfer on a record in memory: 1 if in use and not sold (and changed), else 0. */
KV_API int32_t DATABASE_EinzelteilUmlagerung_to_ET(const void* booking, void* record);
/* Inventory count of an item in use: 1 when written. */
KV_API int32_t DATABASE_EinzelteilInventarisieren(const void* booking);
/* Adds request word [6] to the quantity (not below 0): 1 when written. */
KV_API int32_t DATABASE_EinzelteilMengeAendern(const int32_t* request);
/* Adds request word [6] to the second quantity counter (it adds, although
 * the name says set; callers rely on that): 1 when written. */
KV_API int32_t DATABASE_EinzelteilMengeSetzen(const int32_t* request);
/* Copies the masked words of the request into the price pairs and the
 * value (0x02 [2] -> 60, 0x04 [3] -> 76, 0x08 [4] -> 88, 0x10 [5] -> 64,
 * 0x20 [6] -> 80, 0x40 [7] -> 92, 0x01 [8] -> 100): 1 when written. */
KV_API int32_t DATABASE_EinzelteilWertAendern(const int32_t* request);
/* Copies the article's three price pairs into the item (no lock): 1 when written. */
KV_API int32_t DATABASE_EinzelteilPreisanpassungAnArtikel(int32_t id);
/* Sets the item's VAT code to its article's (no lock): the item's code
 * afterwards; 2 when the file cannot be opened, the old code when the
 * article cannot be read. */
KV_API uint16_t DATABASE_EinzelteilMWSTanpassungAnArtikel(int32_t id);

KV_EXTERN_C_END

#endif /* KVDATA_DATABASE_H */
