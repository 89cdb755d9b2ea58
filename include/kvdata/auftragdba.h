/* Orders and order positions, one file per order (AUFTRAGDBA_*).
 *
 * Every order is a plain file in the order directory (default ".\AUFTRAG\",
 * set by AUFTRAGDBA_Init), named by its number:
 *   n < 100000                "AFT%05d.DAT"
 *   100000 <= n < 100000000   "AFT%08d.DAT"
 *   n >= 100000000            "AFT%010d.DAT"   (negative numbers: first row)
 *
 * File layout, format 560, block size B = 207108 (AUFTRAGDBA_BLOCK):
 *   offset 0             order header
 *   offset (2p - 1) * B  position p (p = 1, 2, ...)
 *   offset 2p * B        reference copy of position p
 * An order file ends below 2 GiB, as the 32-bit positions of every other
 * program on the same data directory require: positions from 5185 on
 * (format 550: from 269785 on) are refused (0), nothing read or written.
 * Fields the library uses (all others belong to the application and are
 * moved whole):
 *   header   +2    u32  last write, seconds since 1970 (stamped on write)
 *            +8    text order kind; "SLR" orders are empty while +226 is 0
 *            +226  u8   first byte of a text that is empty in an empty SLR
 *            +994  i32  format version (stamped 560 on write)
 *            +1046 i32  non-zero once the order holds content
 *   position +0    u16  non-zero for an existing position
 *            +206912 u32 last write, seconds since 1970 (stamped on write)
 * The older format 550 has the same layout with B = 3980 (AUFTRAGDBA_BLOCK550);
 * the ...550 functions work on it. Its positions have no time field; its
 * header is stamped with time and version 550.
 *
 * A data directory copied from a Windows server may hold an order spelled
 * otherwise ("aft00012.dat"). Every call by number finds it: the documented
 * name is tried first, and only when it is missing is the directory read
 * once for the same name in another case. Such a file is read, written,
 * deleted and archived under its own spelling, counted by the walks and
 * skipped by the number probe; no call creates a second file beside it.
 * New orders get the documented name.
 *
 * Order files are not locked; the order and archive directories are
 * process-wide and not guarded. Functions that take a number open and close
 * the file themselves; functions that take a handle work inside the caller's
 * AUFTRAGDBA_Open / AUFTRAGDBA_Close bracket. Buffers are B bytes unless
 * said otherwise; a null buffer gives 0 and nothing is written. */
#ifndef KVDATA_AUFTRAGDBA_H
#define KVDATA_AUFTRAGDBA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define AUFTRAGDBA_BLOCK 207108
#define AUFTRAGDBA_BLOCK550 3980
#define AUFTRAGDBA_VERSION 560

/* Walk callbacks; `context` is the caller's pointer handed through.
 * A header callback gets the order number and its header (B bytes) and
 * returns 0 to stop the walk. In AUFTRAGDBA_AendernMitAllenAuftraegen(550)
 * it returns 1 to have the changed header written back, 0 to leave the file
 * unchanged and -1 to stop without writing. */
typedef int32_t (KV_CALLBACK *AUFTRAGDBA_KopfCallback)(int32_t auftragsNr, void* kopf, void* context);
/* Number callback: 0 stops the walk. */
typedef int32_t (KV_CALLBACK *AUFTRAGDBA_NummerCallback)(int32_t auftragsNr, void* context);
/* Supplier filter: non-zero when the header belongs to the supplier (the
 * header's fields are the application's, so it decides). */
typedef int32_t (KV_CALLBACK *AUFTRAGDBA_LieferantFilter)(const void* kopf, int32_t lieferantNr);

/* ---- directories and names ---- */

/* Order directory := path cut after its last ':', '\' or '/' (a null or
 * over-long path leaves it as it was), found whatever the case of its name.
 * The flag is kept for the process (the library itself does not interpret
 * it). */
KV_API void AUFTRAGDBA_Init(int32_t flag, const char* path);
/* AUFTRAGDBA_Init, then archive directory := archiveRoot without its last
 * character + the path after its drive colon with a file pattern (from the
 * first '*' back to the previous separator) removed; creates it with all
 * parents. Returns that creation's result (1), 0 for an empty or null root
 * or a result longer than 259 characters; then no archive is set (the
 * previous one is forgotten and the order directory is the one in use). */
KV_API int32_t AUFTRAGDBA_PLUS_ARCHIVE_Init(int32_t flag, const char* path, const char* archiveRoot);
/* Swaps order and archive directory: 1, or 0 (nothing swapped) when the
 * archive directory does not exist. Calling it again switches back. */
KV_API int32_t AUFTRAGDBA_SwitchArchivePath(void);
/* Writes the documented file name of order `auftragsNr` into out (260
 * bytes), with the order directory in front when withDirectory != 0 (a file
 * spelled otherwise on disk is not looked up here). Returns out. */
KV_API char* AUFTRAGDBA_CreateFileName(int32_t auftragsNr, char* out, int32_t withDirectory);
/* AUFTRAGDBA_CreateFileName with the directory. */
KV_API char* AUFTRAGDBA_MakeFileName(int32_t auftragsNr, char* out);
/* count := number of "AFT*.DAT" files in the order directory minus one (the
 * first match is not counted, as the shop programs expect), 0 when none;
 * path := the order directory. Either pointer may be null. */
KV_API void AUFTRAGDBA_GetAUFTRAGSizeAndName(int32_t* count, char* path);
/* Number of the order whose file name (bare or with directory) is `name`,
 * compared without regard to case; 0 when no order file has that name. */
KV_API int32_t AUFTRAGDBA_GetAUFTRAGIDFromName(const char* name);

/* ---- order numbers (number range 2, "AUFTRAGS NR"; Nummern_Init first) ---- */

/* The range's value + 1, or the first number above it whose order file
 * cannot be read under any spelling; after 100000000 the numbers continue at 1000. Does not
 * consume the number. */
KV_API int32_t AUFTRAGDBA_NextFreeAuftrag(void);
/* AUFTRAGDBA_NextFreeAuftrag, then stores the number in range 2. No lock:
 * two workstations may get the same number until one creates its file. */
KV_API int32_t AUFTRAGDBA_NeuerAuftrag(void);

/* ---- open files ---- */

/* Opens the order's file read/write shared: handle, -1 when it does not open. */
KV_API int32_t AUFTRAGDBA_Open(int32_t auftragsNr);
/* Close a handle (-1 is harmless). Both names do the same. */
KV_API void AUFTRAGDBA_Close(int32_t handle);
KV_API void AUFTRAGDBA_FileClose(int32_t handle);
/* Read / write the header block at offset 0: 1 if all B bytes moved. The
 * write stamps time and version into the caller's header first. */
KV_API int32_t AUFTRAGDBA_ReadAuftragsKopf(int32_t handle, void* kopf);
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopf(int32_t handle, void* kopf);
/* As AUFTRAGDBA_WriteAuftragsKopf; stamps only when stamp != 0. */
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo(int32_t handle, void* kopf, int32_t stamp);
/* Position p (or its reference copy when referenz != 0): 1 if all B bytes
 * moved; 0 for p < 1 or a failed seek. The write stamps the time into the
 * caller's position first. */
KV_API int32_t AUFTRAGDBA_ReadPosition(int32_t handle, int32_t p, int32_t referenz, void* position);
KV_API int32_t AUFTRAGDBA_WritePosition(int32_t handle, int32_t p, int32_t referenz, void* position);
KV_API int32_t AUFTRAGDBA_WritePositionMitTimeInfo(int32_t handle, int32_t p, int32_t referenz, void* position, int32_t stamp);
/* One read of 2 * count * B bytes from the current file position (after
 * AUFTRAGDBA_ReadAuftragsKopf that is position 1): every position followed by
 * its reference copy. Returns the bytes read; 0 for handle -1, a null buffer,
 * count < 1 or more than 2^31 - 1 bytes. */
KV_API int32_t AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(int32_t handle, int32_t count, void* buffer);
/* The next existing position (first word non-zero) after *p in the open
 * file: reads it into position, sets *p to its number and returns 1; 0 (and
 * *p unchanged) when there is none. Start with *p = 0. */
KV_API int32_t AUFTRAGDBA_NextPOSITIONWithOpenFile(int32_t handle, int32_t* p, void* position);

/* ---- whole orders by number ---- */

/* Zeroes the buffer, reads the header: 1 if read, 0 (buffer zeroed) when
 * the file does not exist or is short. */
KV_API int32_t AUFTRAGDBA_LeseAuftragsKopf(int32_t auftragsNr, void* kopf);
/* Opens the file, or creates it; writes the header stamped; closes.
 * 1 if written, 0 for a null header or a file that cannot be made. */
KV_API int32_t AUFTRAGDBA_SchreibeAuftragsKopf(int32_t auftragsNr, void* kopf);
/* Reads position p (its reference copy): 1 if it exists (read in full and
 * first word non-zero); otherwise 0 with the buffer zeroed (also for p < 1
 * and a missing file). */
KV_API int32_t AUFTRAGDBA_LesePOSITION(int32_t auftragsNr, int32_t p, void* position);
KV_API int32_t AUFTRAGDBA_LeseReferenzPOSITION(int32_t auftragsNr, int32_t p, void* position);
/* Write position p (stamped) / its reference copy into an existing order
 * file: 1 if written, 0 for p < 1 or a missing order. Writing past the end
 * leaves zero blocks (missing positions) in between. */
KV_API int32_t AUFTRAGDBA_SchreibePOSITION(int32_t auftragsNr, int32_t p, void* position);
KV_API int32_t AUFTRAGDBA_SchreibeReferenzPOSITION(int32_t auftragsNr, int32_t p, void* position);
/* Writes position p and the same bytes (same stamp) as its reference copy,
 * so that the reference matches the position again. 1 if both written. */
KV_API int32_t AUFTRAGDBA_SchreibePOSITIONPlusReferenzabgleich(int32_t auftragsNr, int32_t p, void* position);
/* Appends a position (and the same bytes as its reference copy) to an
 * existing order: its number, 0 on failure. */
KV_API int32_t AUFTRAGDBA_NeuePOSITION(int32_t auftragsNr, void* position);
/* Number of whole positions in the file + 1 (1 for an order without file).
 * A position counts when the file holds it in full, existing or deleted. */
KV_API int32_t AUFTRAGDBA_NextFreePOSITION(int32_t auftragsNr);
/* The next existing position after *p: as AUFTRAGDBA_NextPOSITIONWithOpenFile,
 * opening and closing the order. */
KV_API int32_t AUFTRAGDBA_NextPOSITION(int32_t auftragsNr, int32_t* p, void* position);
/* Zeroes position p and its reference copy: it reads as missing, later
 * positions keep their numbers. 1 if done, 0 for a position the file does
 * not hold. */
KV_API int32_t AUFTRAGDBA_LoeschePOSITION(int32_t auftragsNr, int32_t p);
/* Removes every position, keeping the header (restamped): the file is
 * rewritten as "<name>XX", the old one deleted and the new one renamed.
 * 1 on success, 0 (file unchanged) when the order does not exist or the
 * rewrite fails. */
KV_API int32_t AUFTRAGDBA_PositionenLoeschen(int32_t auftragsNr);
/* Deletes the order's file; always 1. */
KV_API int32_t AUFTRAGDBA_LoescheAuftrag(int32_t auftragsNr);
/* Deletes every order file ("AFT" + number + ".DAT") of the order
 * directory; the number deleted. Other files matching "AFT*.DAT" stay. */
KV_API int32_t AUFTRAGDBA_LoescheAlleAuftraege(void);
/* Zeroes B bytes (null is harmless). */
KV_API void AUFTRAGDBA_ClearAuftrag(void* kopf);
/* 1 when the order is still empty: for kind "SLR" when the header byte 226
 * is 0, otherwise when the word at 1046 is 0 (a missing order is empty).
 * 0 when no work buffer can be had. */
KV_API int32_t AUFTRAGDBA_AuftragIstNochLeer(int32_t auftragsNr);
/* Renames the order's file from the order directory into the archive
 * directory (same name, as spelled on disk) / back: the rename result (0
 * when the target exists, in any case), 0 when the archive directory does
 * not exist. */
KV_API int32_t AUFTRAGDBA_Move_To_Archive(int32_t auftragsNr);
KV_API int32_t AUFTRAGDBA_Move_From_Archive(int32_t auftragsNr);

/* ---- positions in memory (image of AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher) ---- */

/* Address of the next existing position after *p in an image holding
 * `count` positions; sets *p. Null (and *p unchanged) when there is none. */
KV_API void* AUFTRAGDBA_NextPOSITIONSADR_VomSpeicher(void* speicher, int32_t count, int32_t* p);
/* As above, copying the position into `position`: 1, or 0 at the end. */
KV_API int32_t AUFTRAGDBA_NextPOSITION_VomSpeicher(const void* speicher, int32_t count, int32_t* p, void* position);
/* Puts position p (reference copy when referenz != 0) into the image:
 * 1, or 0 for p outside 1..count. Write the image back with the handle
 * functions. */
KV_API int32_t AUFTRAGDBA_SetPOSDATA(void* speicher, int32_t count, int32_t p, int32_t referenz, const void* position);

/* ---- walks over every "AFT*.DAT" file of the order directory ---- */
/* Each returns the number of orders handed to the callback. The file list is
 * taken before the first call, so callbacks may create or delete orders. */

/* Calls back with each order's header (files that cannot be read are skipped). */
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context);
/* Only the orders whose header passes filter(kopf, lieferantNr). */
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegenVonLieferant(AUFTRAGDBA_KopfCallback callback, void* context, AUFTRAGDBA_LieferantFilter filter, int32_t lieferantNr);
/* As AUFTRAGDBA_MitAllenAuftraegen with a progress display. */
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegenProzentAnzeige(AUFTRAGDBA_KopfCallback callback, void* context);
/* Calls back with each order number (nothing is read). */
KV_API int32_t AUFTRAGDBA_MitAllenAuftragsnummern(AUFTRAGDBA_NummerCallback callback, void* context);
/* Hands each header to the callback and writes it back (stamped) when the
 * callback returns 1. Returns the number of headers written. Progress
 * display. A null callback rewrites every header as it stands. Files whose
 * header cannot be read in full are skipped untouched; the 550 form also
 * skips files already in format 560 (version 560, whole blocks). */
KV_API int32_t AUFTRAGDBA_AendernMitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context);

/* ---- format 550 (block size 3980) ---- */
KV_API int32_t AUFTRAGDBA_LeseAuftragsKopf550(int32_t auftragsNr, void* kopf);
KV_API int32_t AUFTRAGDBA_ReadAuftragsKopf550(int32_t handle, void* kopf);
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopf550(int32_t handle, void* kopf);
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo550(int32_t handle, void* kopf, int32_t stamp);
KV_API int32_t AUFTRAGDBA_SchreibeAuftragsKopf550(int32_t auftragsNr, void* kopf);
KV_API int32_t AUFTRAGDBA_ReadPosition550(int32_t handle, int32_t p, int32_t referenz, void* position);
/* Writes position p of an existing 550 order: 1 if written. */
KV_API int32_t AUFTRAGDBA_SchreibePOSITION550(int32_t auftragsNr, int32_t p, void* position);
/* Appends a position (and its reference copy) to an existing 550 order:
 * its number, 0 on failure. */
KV_API int32_t AUFTRAGDBA_NeuePOSITION550(int32_t auftragsNr, void* position);
KV_API int32_t AUFTRAGDBA_NextFreePOSITION550(int32_t auftragsNr);
KV_API int32_t AUFTRAGDBA_AendernMitAllenAuftraegen550(AUFTRAGDBA_KopfCallback callback, void* context);

/* Upgrade of the order files (stdcall). With newVersion >= 550 and
 * oldVersion <= 540 every 550 header is rewritten (stamped 550); then with
 * newVersion >= 560 and oldVersion <= 550 every order file is converted from
 * 3980-byte to 207108-byte blocks: each block is carried into a zeroed new
 * block of "<name>XX", the header stamped 560 and the positions with the
 * time, the old file deleted and the new one renamed. Files already in
 * format 560 (version 560, whole blocks) are left alone, and an "XX" file
 * left by an interrupted run is renamed into place first. Both under the
 * wait cursor. Returns 1 when nothing ran, otherwise 0. */
KV_API int32_t KV_STDCALL AUFTRAGDBA_DoUpdate(int32_t newVersion, int32_t oldVersion);

KV_EXTERN_C_END

#endif /* KVDATA_AUFTRAGDBA_H */
