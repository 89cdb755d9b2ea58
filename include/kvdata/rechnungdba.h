/* Invoices, one file per invoice (RechnungDBA_*).
 *
 * Every invoice is a plain file in the invoice directory (default
 * ".\RECHNUNG\", set by RechnungDBA_Init), named by its number:
 *   n < 100000               "RECH%03d%05d.REC" (prefix number, n)
 *   100000 <= n < 10000000   "RECH%08d.REC"
 *   n >= 10000000            "RECH%010d.REC"
 * The pattern "RECH*.*" finds every invoice file of a directory.
 *
 * File layout, format 610:
 *   offset 0                      invoice record, 872 bytes
 *   offset 872 + 376 * (k - 1)    detail record k (k = 1, 2, ...)
 * Invoice record fields the library uses (all other bytes of record and
 * details belong to the application and are moved whole):
 *   +504  i32  status (RechnungDBA_Change_Status / RechnungDBA_Hole_Status)
 *   +548  i32  format version, set to 610 on every write
 *
 * Invoice files are not locked; the directories and the prefix number are
 * process-wide and not guarded. Handle functions work at the current file
 * position, so records and details are written and read one after the other.
 * Handle -1, a null buffer or a short transfer gives 0. */
#ifndef KVDATA_RECHNUNGDBA_H
#define KVDATA_RECHNUNGDBA_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

#define RECHNUNGDBA_RECORD 872
#define RECHNUNGDBA_DETAIL 376
#define RECHNUNGDBA_VERSION 610

/* Invoice directory := the directory part of path, found whatever the case
 * of its name; prefix number stored
 * (used in the names of invoices below 100000). */
KV_API void RechnungDBA_Init(int32_t prefix, const char* path);
/* RechnungDBA_Init, then archive directory := archiveRoot (one trailing
 * separator removed) followed by the invoice directory after its drive colon
 * (the whole directory when it has none), created with all parents. Returns
 * that creation's result (1), 0 for an empty or null root or a path longer
 * than 259 characters; then no archive is set (the previous one is
 * forgotten). */
KV_API int32_t RechnungDBA_PLUS_ARCHIVE_Init(int32_t prefix, const char* path, const char* archiveRoot);
/* Swaps invoice and archive directory: 1, or 0 when the archive directory
 * does not exist. Calling it again switches back. */
KV_API int32_t RechnungDBA_SwitchArchivePath(void);
/* Full documented path of invoice `number` into out (260 bytes); returns
 * out. An invoice copied from a Windows server may lie there spelled
 * otherwise ("rech00100012.rec"): the calls below that take a number or such
 * a path try the name as given first and, only when it is missing, read the
 * directory once for the same name in another case, and then act on that
 * file. None of them creates a second file beside it. */
KV_API char* RechnungDBA_CreateFileName(int32_t number, char* out);
/* Creates (or truncates) the invoice's file, under its documented name
 * unless it exists spelled otherwise: handle, -1 on failure. */
KV_API int32_t RechnungDBA_New(int32_t number);
/* Opens an invoice file by path, read only / read-write shared: handle or -1.
 * Only invoice files are opened: a name "RECH" + digits + ".REC" directly
 * in the invoice or the archive directory; any other path (another
 * directory, a "..", another family's file) gives -1. */
KV_API int32_t RechnungDBA_Open(const char* path);
KV_API int32_t RechnungDBA_WriteOpen(const char* path);
/* Closes a handle (-1 is harmless). */
KV_API void RechnungDBA_Close(int32_t handle);
/* Non-zero when the invoice's file exists. */
KV_API int32_t RechnungDBA_RechnungExists(int32_t number);
/* Deletes the invoice's file: non-zero on success. */
KV_API int32_t RechnungDBA_Delete(int32_t number);
/* Sets the record's version word to 610, then writes its 872 bytes at the
 * current position: 1 if all were written. */
KV_API int32_t RechnungDBA_WriteRECHNUNG(int32_t handle, void* rechnung);
/* Reads 872 bytes at the current position: 1 if all were read. */
KV_API int32_t RechnungDBA_ReadRECHNUNG(int32_t handle, void* rechnung);
/* Writes / reads one 376-byte detail at the current position: 1 if all moved. */
KV_API int32_t RechnungDBA_WriteRECHNUNGDETAIL(int32_t handle, const void* detail);
KV_API int32_t RechnungDBA_ReadRECHNUNGDETAIL(int32_t handle, void* detail);
/* Zero 872 / 376 bytes (null is harmless). */
KV_API void RechnungDBA_ClearRECHNUNG(void* rechnung);
KV_API void RechnungDBA_ClearRECHNUNGDETAIL(void* detail);
/* Reads the invoice record, sets its status, writes it back at offset 0
 * (version stamped): 1 if rewritten, 0 when the file cannot be opened, read
 * or written. On success the 872 rewritten bytes go to `kopie` when it is
 * not null. */
KV_API int32_t RechnungDBA_Change_Status(int32_t number, int32_t status, void* kopie);
/* The invoice's status; 0 when the file cannot be opened or read. */
KV_API int32_t RechnungDBA_Hole_Status(int32_t number);
/* Walk over the invoice directory: pattern is a file pattern in it (null or
 * "" for "RECH*.*"); the full path of each match goes to path (260 bytes).
 * A pattern with a separator, a drive colon or ".." is refused (-1), and
 * only invoice files ("RECH" + digits + ".REC") are delivered.
 * FindFirst returns a handle or -1 (nothing found, or eight walks already
 * open); FindNext 1 while another file was found. Close every walk that
 * FindFirst opened. */
KV_API int32_t RechnungDBA_FindFirst(const char* pattern, char* path);
KV_API int32_t RechnungDBA_FindNext(int32_t findHandle, char* path);
KV_API void RechnungDBA_FindClose(int32_t findHandle);
/* Renames the invoice file at `path` to archive directory + its name, as
 * spelled on disk: the rename result (0 when the target exists, in any
 * case), 0 when the archive directory
 * does not exist. `path` must be an invoice file of the invoice directory
 * (as RechnungDBA_CreateFileName or the find walk give it); anything else
 * is refused with 0 and nothing moves. */
KV_API int32_t RechnungDBA_Move_To_Archive(const char* path);
/* The reverse: archive directory + the name of `path` back to `path`, under
 * the same rule for `path`. */
KV_API int32_t RechnungDBA_Move_From_Archive(const char* path);
/* The current format version, 610. */
KV_API int32_t RechnungDBA_GetVersion(void);
/* Upgrade of the invoice files (stdcall). The steps run in this order, each
 * when newVersion reaches its target and oldVersion is below the bound:
 *   to 550 (old < 541), to 560 (old < 551): invoice directory;
 *   to 570 (old < 561), to 580 (old < 571), to 600 (old < 581),
 *   to 605 (old < 601), to 610 (old < 606): invoice and archive directory.
 * The older record layouts are not known here, so a step carries every byte
 * of a file unchanged and only sets the version word to its target: the
 * file is copied to "<name>XX", the old file deleted and the copy renamed.
 * Files already at the target, shorter than an invoice record, or "XX"
 * files are left alone; an "XX" file whose original is gone (an interrupted
 * run) is renamed into place first. Progress is shown per directory.
 * Always returns 0. */
KV_API int32_t KV_STDCALL RechnungDBA_DoUpdate(int32_t newVersion, int32_t oldVersion);

KV_EXTERN_C_END

#endif /* KVDATA_RECHNUNGDBA_H */
