/* Customer file KUNDEN.DBA with its two search files, and a second customer
 * file (KundenDBA_*, KundenSuchDBA_*, KundenBLZSuchDBA_*, KundenZweiteDBA_*).
 *
 * Files of the data directory (the directory part of the path given to
 * KundenDBA_Init), all DBA record files (see dba.h):
 *   KUNDEN.DBA       1299-byte Kunde records, item number = customer number
 *   KUNDSUCH.DBA     12-byte name search entries at the customer number
 *   KUNDBLZSUCH.DBA  24-byte bank search entries at the customer number
 *   KUNDENEW.DBA     100-byte extension records of old installations, merged
 *                    into the customer record and then deleted
 *   NKUNDEN.DBA, KUNDEN530.DBA, KUNDEN540.DBA  temporary upgrade targets
 *   KUNDEN.BAK       the previous customer file while an upgrade swaps the
 *                    files; removed once the new file is in place
 * The search files are secondary: throw them away and the next
 * KundenDBA_Init rebuilds them from the customer file.
 *
 * Customer numbers run from 1 to KUNDEN_MAX (256000). Every single-record
 * operation refuses a number outside that range with result 0 before it
 * touches a file. The process-wide descriptors are not guarded: one thread
 * at a time. Current record format: version 540.
 *
 * Several stations on one data directory. Every single-record change of a
 * customer (KundenDBA_SchreibeKunde, KundenDBA_Write, KundenDBA_LoescheKunde,
 * the declaration flag, KundenDBA_KundenAlleBenutzbar, and the single-item
 * chain updates) runs under that customer's record lock (its 1299 bytes in
 * KUNDEN.DBA), waiting up to the host lock time-out; refused, it writes
 * nothing and returns 0. Under the lock they decide from the record on disk:
 *   - KundenDBA_NeuerKunde marks the new number's record taken at once (a
 *     cleared record with reference count 1), so a save can tell a fresh
 *     number from one another station has freed;
 *   - a save onto a record that is free on disk (reference count -1: the
 *     customer was deleted meanwhile) is refused: 0, nothing written, the
 *     search files untouched;
 *   - a delete of a record that is free already does nothing (result 1), so
 *     a customer deleted at two stations is freed once;
 *   - the chain heads at offsets 911 and 915 (first and last single item
 *     sold to the customer) belong to the single-item file: it changes them
 *     under the customer's lock with one write of bytes 907..918 (last write
 *     date and time, both heads). Every single-record save writes the heads
 *     it finds on disk under the same lock (and copies them into the
 *     caller's record), never the caller's, so an edit in the office never
 *     drops an item a till has just linked.
 * Block writes (KundenDBA_WriteBlock), KundenDBA_MitAllenKundenRW,
 * KundenDBA_SchreibeImportKunde and the upgrades are administrative: they
 * write whole records as given, heads included, without these locks. Run
 * them when no till works on the customers.
 * A crash can leave: a number taken by KundenDBA_NeuerKunde and never saved
 * (a cleared record in use, no flags, no surname), or a customer freed whose
 * search entries are still set; KundenDBA_Reo frees the first, and search
 * entries of free numbers are never read as customers. */
#ifndef KVDATA_KUNDENDBA_H
#define KVDATA_KUNDENDBA_H

#include <stddef.h>

#include "dba.h"
#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define KUNDEN_MAX 256000
#define KUNDE_RECORD_SIZE 1299
#define KUNDE_VERSION 540
#define KUNDE_FLAG_BENUTZBAR 0x0001u   /* customer usable */
#define KUNDE_FLAG_ERKLAERUNG 0x0010u  /* customer declaration issued */
#define KUNDE_CODE_DEFAULT 33          /* codes 1, 2, 4 of a cleared record */
#define KUNDE_SUCH_MARKER 0xFF0000FFu  /* marker of a live search entry */
/* A free-form address of at least this many characters replaces the
 * assembled address lines. */
#define KUNDE_FREIE_ADRESSE_MIN 21

/* Longest text KundenDBA_Adresse writes, terminator included: every field
 * printed to its full size (a field without terminator ends at its last
 * byte), CR LF line ends, blanks between the parts. Give it a buffer of this
 * size. */
#define KUNDE_ADRESSE_MAX 328
/* KundenDBA_AdresseMitTelefon prints at most this many characters of the
 * caller's label, so its text never exceeds KUNDE_ADRESSE_TELEFON_MAX. */
#define KUNDE_TELEFON_LABEL_MAX 40
#define KUNDE_ADRESSE_TELEFON_MAX (KUNDE_ADRESSE_MAX + KUNDE_TELEFON_LABEL_MAX + 1 + 21 + 2)

/* The customer record, 1299 bytes, as it lies in KUNDEN.DBA. Strings are
 * zero-terminated Windows-1252 text in fixed fields whose size includes the
 * terminator. Bytes no field names are zero in a new record and carried
 * unchanged by every operation. */
KV_PACK_BEGIN
typedef struct Kunde {
    int32_t refCount;          /*    0: 1 = customer in use, -1 = free record (DBA item head) */
    int32_t nextFree;          /*    4: next free record (DBA item head) */
    uint16_t flags;            /*    8: KUNDE_FLAG_*; 0 = unused at reorganisation */
    char shortKey[9];          /*   10: short key, carried unchanged by every upgrade */
    char salutation[21];       /*   19: first address line */
    char firstName[65];        /*   40: printed before the surname */
    char surname[65];          /*  105: second address line; name search key */
    char street[65];           /*  170: third address line */
    char countryCode[5];       /*  235: before the postal code; "D..." = Germany */
    char postalCode[9];        /*  240 */
    char city[65];             /*  249 */
    char telephone[21];        /*  314: printed by KundenDBA_AdresseMitTelefon */
    char telephone2[21];       /*  335: second telephone */
    char text1[65];            /*  356: text field 1 */
    char text2[65];            /*  421: text field 2 */
    char text3[65];            /*  486: text field 3 */
    char shortText[21];        /*  551: short text field */
    char title[20];            /*  572: printed before the first name */
    uint16_t code1;            /*  592: 33 in a cleared or imported record */
    uint16_t code2;            /*  594: 33 in a cleared or imported record */
    uint16_t code3;            /*  596: 0 in a cleared record, kept by import */
    uint16_t code4;            /*  598: 33 in a cleared or imported record */
    /* 600..699: the 100-byte record of KUNDENEW.DBA (extension block) */
    int32_t extWord1;          /*  600: extension word 1 */
    int32_t extWord2;          /*  604: extension word 2 */
    char bankCode[9];          /*  608: German bank code (BLZ), 8 digits */
    char accountNumber[11];    /*  617: account number, up to 10 digits */
    char bankText1[13];        /*  628: bank text 1 */
    char bankText2[13];        /*  641: bank text 2 */
    char bankText3[13];        /*  654: bank text 3 */
    uint8_t extRest[33];       /*  667: rest of the extension block */
    uint8_t unused700[83];     /*  700: not used */
    int32_t value1;            /*  783: value 1 */
    int32_t value2;            /*  787: value 2 */
    int32_t value3;            /*  791: value 3 */
    int16_t value4;            /*  795: value 4 */
    char referenceText[12];    /*  797: reference text; zeroed by the extension merge */
    int32_t values5to12[8];    /*  809: values 5..12 */
    char bic[17];              /*  841: BIC, filled by the 540 upgrade */
    char iban[35];             /*  858: IBAN, filled by the 540 upgrade */
    uint8_t unused893[14];     /*  893: not used */
    uint16_t lastWriteDate;    /*  907: date number of the last write (texdefs) */
    uint16_t lastWriteTime;    /*  909: packed time of day of the last write */
    /* Heads of the customer's chain of single items sold to the customer;
     * the single-item file links and unlinks them (0 = none). */
    int32_t firstItem;         /*  911: first single item of the chain */
    int32_t lastItem;          /*  915: last single item of the chain */
    uint8_t unused919[124];    /*  919: not used */
    char freeAddress[256];     /* 1043: free-form address; used when >= 21 characters */
} Kunde;

/* Name search entry of KUNDSUCH.DBA, 12 bytes. */
typedef struct KundeSuchEintrag {
    uint32_t marker;           /*  0: KUNDE_SUCH_MARKER, 0 for a deleted customer */
    char name[7];              /*  4: first seven bytes of the surname */
    char terminator;           /* 11: always 0 */
} KundeSuchEintrag;

/* Bank search entry of KUNDBLZSUCH.DBA, 24 bytes. */
typedef struct KundeBLZSuchEintrag {
    uint32_t marker;           /*  0: KUNDE_SUCH_MARKER, 0 for a deleted customer */
    char bankCode[9];          /*  4: bank code; byte 12 always 0 */
    char accountNumber[11];    /* 13: account number; byte 23 always 0 */
} KundeBLZSuchEintrag;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(Kunde) == KUNDE_RECORD_SIZE, "Kunde is 1299 bytes");
KV_STATIC_ASSERT(offsetof(Kunde, refCount) == 0, "Kunde.refCount");
KV_STATIC_ASSERT(offsetof(Kunde, nextFree) == 4, "Kunde.nextFree");
KV_STATIC_ASSERT(offsetof(Kunde, flags) == 8, "Kunde.flags");
KV_STATIC_ASSERT(offsetof(Kunde, shortKey) == 10, "Kunde.shortKey");
KV_STATIC_ASSERT(offsetof(Kunde, salutation) == 19, "Kunde.salutation");
KV_STATIC_ASSERT(offsetof(Kunde, firstName) == 40, "Kunde.firstName");
KV_STATIC_ASSERT(offsetof(Kunde, surname) == 105, "Kunde.surname");
KV_STATIC_ASSERT(offsetof(Kunde, street) == 170, "Kunde.street");
KV_STATIC_ASSERT(offsetof(Kunde, countryCode) == 235, "Kunde.countryCode");
KV_STATIC_ASSERT(offsetof(Kunde, postalCode) == 240, "Kunde.postalCode");
KV_STATIC_ASSERT(offsetof(Kunde, city) == 249, "Kunde.city");
KV_STATIC_ASSERT(offsetof(Kunde, telephone) == 314, "Kunde.telephone");
KV_STATIC_ASSERT(offsetof(Kunde, telephone2) == 335, "Kunde.telephone2");
KV_STATIC_ASSERT(offsetof(Kunde, text1) == 356, "Kunde.text1");
KV_STATIC_ASSERT(offsetof(Kunde, text2) == 421, "Kunde.text2");
KV_STATIC_ASSERT(offsetof(Kunde, text3) == 486, "Kunde.text3");
KV_STATIC_ASSERT(offsetof(Kunde, shortText) == 551, "Kunde.shortText");
KV_STATIC_ASSERT(offsetof(Kunde, title) == 572, "Kunde.title");
KV_STATIC_ASSERT(offsetof(Kunde, code1) == 592, "Kunde.code1");
KV_STATIC_ASSERT(offsetof(Kunde, code2) == 594, "Kunde.code2");
KV_STATIC_ASSERT(offsetof(Kunde, code3) == 596, "Kunde.code3");
KV_STATIC_ASSERT(offsetof(Kunde, code4) == 598, "Kunde.code4");
KV_STATIC_ASSERT(offsetof(Kunde, extWord1) == 600, "Kunde.extWord1");
KV_STATIC_ASSERT(offsetof(Kunde, extWord2) == 604, "Kunde.extWord2");
KV_STATIC_ASSERT(offsetof(Kunde, bankCode) == 608, "Kunde.bankCode");
KV_STATIC_ASSERT(offsetof(Kunde, accountNumber) == 617, "Kunde.accountNumber");
KV_STATIC_ASSERT(offsetof(Kunde, bankText1) == 628, "Kunde.bankText1");
KV_STATIC_ASSERT(offsetof(Kunde, bankText2) == 641, "Kunde.bankText2");
KV_STATIC_ASSERT(offsetof(Kunde, bankText3) == 654, "Kunde.bankText3");
KV_STATIC_ASSERT(offsetof(Kunde, value1) == 783, "Kunde.value1");
KV_STATIC_ASSERT(offsetof(Kunde, value2) == 787, "Kunde.value2");
KV_STATIC_ASSERT(offsetof(Kunde, value3) == 791, "Kunde.value3");
KV_STATIC_ASSERT(offsetof(Kunde, value4) == 795, "Kunde.value4");
KV_STATIC_ASSERT(offsetof(Kunde, referenceText) == 797, "Kunde.referenceText");
KV_STATIC_ASSERT(offsetof(Kunde, values5to12) == 809, "Kunde.values5to12");
KV_STATIC_ASSERT(offsetof(Kunde, bic) == 841, "Kunde.bic");
KV_STATIC_ASSERT(offsetof(Kunde, iban) == 858, "Kunde.iban");
KV_STATIC_ASSERT(offsetof(Kunde, lastWriteDate) == 907, "Kunde.lastWriteDate");
KV_STATIC_ASSERT(offsetof(Kunde, lastWriteTime) == 909, "Kunde.lastWriteTime");
KV_STATIC_ASSERT(offsetof(Kunde, firstItem) == 911, "Kunde.firstItem");
KV_STATIC_ASSERT(offsetof(Kunde, lastItem) == 915, "Kunde.lastItem");
KV_STATIC_ASSERT(offsetof(Kunde, freeAddress) == 1043, "Kunde.freeAddress");
KV_STATIC_ASSERT(sizeof(KundeSuchEintrag) == 12, "name search entry is 12 bytes");
KV_STATIC_ASSERT(offsetof(KundeSuchEintrag, name) == 4, "KundeSuchEintrag.name");
KV_STATIC_ASSERT(offsetof(KundeSuchEintrag, terminator) == 11, "KundeSuchEintrag.terminator");
KV_STATIC_ASSERT(sizeof(KundeBLZSuchEintrag) == 24, "bank search entry is 24 bytes");
KV_STATIC_ASSERT(offsetof(KundeBLZSuchEintrag, bankCode) == 4, "KundeBLZSuchEintrag.bankCode");
KV_STATIC_ASSERT(offsetof(KundeBLZSuchEintrag, accountNumber) == 13, "KundeBLZSuchEintrag.accountNumber");

/* ---- Set-up, size, versions ---------------------------------------------- */

/* Fixes the data directory for the process: the directory part of path (the
 * path of any file in it), or the path itself when it names an existing
 * directory. Sets up the descriptors of the three files, each found whatever
 * the case of its name, and creates missing ones. A search file
 * that did not exist is rebuilt from the customer file (every used customer
 * gets its entry), unless the customer file still waits for an upgrade
 * (version 520 or 530): then the search files are left absent until the
 * upgrade. Returns non-zero on success (the last create/inspect or rebuild
 * result), 0 for a null path or a failure. */
KV_API int32_t KundenDBA_Init(const char* path);
/* count := 256000, path := full path of KUNDEN.DBA (260 bytes). Null
 * pointers are skipped. */
KV_API void KundenDBA_GetSizeAndName(int32_t* count, char* path);
/* Highest customer number: the slot count of KUNDEN.DBA, read from its
 * header (header lock); 0 when the file does not open. */
KV_API int32_t KundenDBA_GetMAX(void);
/* Header version of KUNDEN.DBA; 0 when it does not open. */
KV_API int32_t KundenDBA_GetVersion(void);
/* For the customer file of path's directory: 540 when it is current. A file
 * of the oldest format (version below 520) with KUNDENEW.DBA beside it is
 * converted into the 1299-byte record (NKUNDEN.DBA, then swapped in), other
 * 1299-byte files (version 600 of a fresh file) are marked 540; the result is
 * then 540. Files of version 520 or 530 are KundenDBA_DoUpdate's business:
 * their version comes back unchanged. 0 when the file does not open or the
 * conversion failed (the old files are then kept). */
KV_API int32_t KundenDBA_CheckConversionRequired(const char* path);
/* Upgrades KUNDEN.DBA of the Init directory from version oldVersion towards
 * newVersion: 520 -> 530 (550 -> 574 bytes) when newVersion >= 530 and
 * oldVersion <= 520, then 530 -> 540 (574 -> 1299 bytes, IBAN and BIC derived
 * from bank code and account for German customers) when newVersion >= 540
 * and oldVersion <= 530. Each step copies into a temporary file, then swaps
 * it in; when the swap fails the old file stays, the user gets a message box
 * ("KALVORA") and the upgrade stops. After the last step that left 1299-byte
 * records the file is reorganised and the search files are rebuilt.
 * Returns 1 when nothing was done, 0 when a conversion ran. */
KV_API int32_t KV_STDCALL KundenDBA_DoUpdate(int32_t newVersion, int32_t oldVersion);
/* Writes the header {version, now, free head count + 1, used count, slot
 * count count, capacity 0, rest 0} into KUNDEN.DBA (no lock). 1 if written,
 * 0 otherwise. The free head deliberately points one past the last slot. */
KV_API int32_t KundenDBA_CreateHeader(int32_t count, int32_t version);
/* Merges KUNDENEW.DBA (of path's directory) into the customer records: its
 * record of the same number lands at offset 600, the reference text is
 * zeroed, the name entry is written afresh; the customer file gets version
 * 540 and KUNDENEW.DBA is deleted. Returns the delete result (1 when the
 * file was deleted), 0 when a file did not open. */
KV_API int32_t KundenDBA_AddEWtoK(const char* path);

/* ---- Open bracket, numbers ------------------------------------------------ */

/* Nested open / close of KUNDEN.DBA. Open: 1 if the file is open. Close: 1.
 * While the bracket is open, KUNDSUCH.DBA and KUNDBLZSUCH.DBA are held open
 * with it (a search file that does not open is left closed), so saves and
 * deletes inside it open no file. */
KV_API int32_t KundenDBA_Open(void);
KV_API int32_t KundenDBA_Close(void);
/* Takes a free customer number (header lock) and marks its record taken:
 * a cleared record (KundenDBA_ClearKunde) with reference count 1, stamped.
 * 0 when the file is full or the record could not be marked (the number then
 * goes back to the free chain). */
KV_API int32_t KundenDBA_NeuerKunde(void);
/* The number the next KundenDBA_NeuerKunde will return; 0 when full. */
KV_API int32_t KundenDBA_NextFreeKunde(void);

/* ---- Records --------------------------------------------------------------- */

/* Reads customer number (1299 bytes) into record; opens and closes by
 * itself. 1 on success, 0 otherwise. */
KV_API int32_t KundenDBA_LeseKunde(int32_t number, void* record);
/* Under the customer's record lock: refuses (0, nothing written) when the
 * record on disk is free; copies the chain heads on disk (911, 915) into
 * record; with updateSearch != 0 writes the name and bank search entries (a
 * search file that does not open is skipped); stamps the record's last write
 * date and time and writes it. Result of the record write; 0 when the lock
 * is refused past the time-out. */
KV_API int32_t KundenDBA_SchreibeKunde(int32_t number, void* record, int32_t updateSearch);
/* Under the customer's record lock: when the record is not free yet,
 * writes it cleared with the free head in one write, frees the number
 * (header lock) and zeroes both search entries. 1 also when the record was
 * free already or lies past the end of the file; 0 for a number out of
 * range, or when a lock was refused past the time-out (the record and the
 * search entries are left as they were). */
KV_API int32_t KundenDBA_LoescheKunde(int32_t number);
/* Writes an imported record at number without taking the number from the
 * free chain: reference count 1, flag usable, codes 1, 2, 4 := 33, stamped;
 * the search files are not touched. 1 for any number in range. */
KV_API int32_t KundenDBA_SchreibeImportKunde(int32_t number, void* record);
/* Zeroes the 1299 bytes, then codes 1, 2, 4 := 33 and code 3 := 0. */
KV_API void KundenDBA_ClearKunde(void* record);
/* Read / write one record inside an open bracket (KundenDBA_Open). Write
 * saves as KundenDBA_SchreibeKunde does (record lock, refused onto a free
 * record, chain heads from disk, stamped) and updates no search file. 1 / 0
 * (0 also outside an open bracket). */
KV_API int32_t KundenDBA_Read(int32_t number, void* record);
KV_API int32_t KundenDBA_Write(int32_t number, void* record);
/* count consecutive records from first in one transfer, inside an open
 * bracket; refused (0) when first < 1, count < 1 or first + count > 256000
 * (so the last number can only be read singly). WriteBlock stamps each
 * record before the write. 1 / 0. WriteBlock is administrative: it writes
 * the records as given, item heads and chain heads included, without the
 * customers' locks; run it when no other station works on the customers. */
KV_API int32_t KundenDBA_ReadBlock(int32_t first, void* records, int32_t count);
KV_API int32_t KundenDBA_WriteBlock(int32_t first, void* records, int32_t count);
/* Last write date := today, last write time := now. */
KV_API void KundenDBA_SetLastWriteTime(void* record);

/* ---- Walks ------------------------------------------------------------------- */

/* Calls callback(number, record) for every customer in use, in number
 * order, reporting progress. The RW form writes the record back when the
 * callback returns > 0 and stops at < 0 (whole records, without locks: an
 * administrative walk). 1 when the file opened, else 0. */
KV_API int32_t KundenDBA_MitAllenKunden(DbaItemCallback callback);
KV_API int32_t KundenDBA_MitAllenKundenRW(DbaItemCallback callback);
/* Sets the usable flag (stamped write) on every customer in use
 * 1..KundenDBA_GetMAX, each under its record lock, keeping the chain heads
 * on disk; free records and records another station holds past the lock
 * time-out are left alone. The file is held open throughout. 1 when the file
 * opened, else 0. */
KV_API int32_t KundenDBA_KundenAlleBenutzbar(void);
/* Rebuilds the customer file: header version 540, change time now, its last
 * 20 bytes zeroed; a record without flags and without surname is cleared
 * and freed, a record with a surname is marked in use (its data kept); then
 * the free chain is rebuilt (DBA_Reo). No lock: run it when nobody else
 * works on the file. 1 when the file opened, else 0. */
KV_API int32_t KundenDBA_Reo(void);

/* ---- Flags, emptiness, address texts ------------------------------------------ */

/* Sets the declaration flag and saves the record (no search update).
 * 1 if the record was read, else 0. */
KV_API int32_t KundenDBA_KundenerklaerungAusgeben(int32_t number);
/* Declaration flag := set when on == 1, cleared for any other value. */
KV_API int32_t KundenDBA_KundenerklaerungSetzenLoeschen(int32_t number, int32_t on);
/* 1 when the record was read and its declaration flag is set. */
KV_API int32_t KundenDBA_KundenerklaerungSchonAusgegeben(int32_t number);
/* mode != 0: always 0. mode 0: 1 when surname, street, postal code or city
 * is empty. 0 for a null record. */
KV_API int32_t KundenDBA_KundeIstLeer(const void* record, int32_t mode);
/* Address text of a customer into text (give KUNDE_ADRESSE_MAX bytes), CR LF
 * line ends: the free-form address when it has at least 21 characters;
 * otherwise, if the record is not empty (KundenDBA_KundeIstLeer with mode),
 * salutation / [title] [first name] surname / street / [country] [postal
 * code] city. An empty record leaves text untouched and returns 1. 0 for a
 * number outside 1..KundenDBA_GetMAX, a null text or a failed read. */
KV_API int32_t KundenDBA_Adresse(int32_t number, char* text, int32_t mode);
/* The assembled address lines (no free-form, no emptiness test), then, when
 * the telephone is set, the label (at most KUNDE_TELEFON_LABEL_MAX
 * characters; null = none), a blank, the number and CR LF. Give
 * KUNDE_ADRESSE_TELEFON_MAX bytes. Results as KundenDBA_Adresse. */
KV_API int32_t KundenDBA_AdresseMitTelefon(int32_t number, char* text, const char* label);

/* ---- Search files ---------------------------------------------------------------- */

/* Plain access to KUNDSUCH.DBA (12-byte entries) and KUNDBLZSUCH.DBA
 * (24-byte entries): nested open / close (Open: 1 if open; Close: 1); Read
 * and Write of one entry (number 1..256000; 1 / 0); ReadBlock of count
 * entries from first (first must be 1..256000; 1 / 0). */
KV_API int32_t KundenSuchDBA_Open(void);
KV_API int32_t KundenSuchDBA_Close(void);
KV_API int32_t KundenSuchDBA_Read(int32_t number, void* entry);
KV_API int32_t KundenSuchDBA_ReadBlock(int32_t first, void* entries, int32_t count);
KV_API int32_t KundenSuchDBA_Write(int32_t number, const void* entry);
KV_API int32_t KundenBLZSuchDBA_Open(void);
KV_API int32_t KundenBLZSuchDBA_Close(void);
KV_API int32_t KundenBLZSuchDBA_Read(int32_t number, void* entry);
KV_API int32_t KundenBLZSuchDBA_ReadBlock(int32_t first, void* entries, int32_t count);
KV_API int32_t KundenBLZSuchDBA_Write(int32_t number, const void* entry);

/* ---- Customer file of a second data directory (read only) ------------------------ */

/* Sets up (creating it when missing) KUNDEN.DBA of path's directory (found
 * as for KundenDBA_Init). Non-zero on success, 0 for a null path or a failure. */
KV_API int32_t KundenZweiteDBA_Init(const char* path);
/* Reads customer number of the second file; 1 / 0. */
KV_API int32_t KundenZweiteDBA_LeseKunde(int32_t number, void* record);
/* Calls callback(number, record) for every customer in use of the second
 * file. 1 when the file opened, else 0. */
KV_API int32_t KundenZweiteDBA_MitAllenKunden(DbaItemCallback callback);

KV_EXTERN_C_END

#endif /* KVDATA_KUNDENDBA_H */
