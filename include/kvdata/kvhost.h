/* Host hooks: how a program that embeds kvdata sees and answers the library's
 * few dialogs, beeps, wait cursors and progress reports, chooses the language
 * of the library's texts and sets the byte-range lock time-out.
 *
 * On Windows the defaults use the Windows user interface (MessageBoxA,
 * MessageBeep, the wait cursor). Elsewhere the defaults are:
 *   message   -> one line "caption: text" on standard error, converted from
 *                the ANSI code page (Windows-1252) to UTF-8;
 *   question  -> printed like a message and answered "No", so an operation
 *                that asks can always finish (the number-range question then
 *                creates the file);
 *   beep, wait cursor, progress -> nothing.
 * Passing a null handler restores the default. Handlers are process-wide and
 * are called on the thread that called into the library. */
#ifndef KVDATA_KVHOST_H
#define KVDATA_KVHOST_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* Message-box flags and answers, with the values of the Windows API. */
#define KV_MB_OK              0x00000000u
#define KV_MB_YESNO           0x00000004u
#define KV_MB_ICONHAND        0x00000010u
#define KV_MB_ICONQUESTION    0x00000020u
#define KV_MB_ICONEXCLAMATION 0x00000030u
#define KV_MB_ICONINFORMATION 0x00000040u
#define KV_IDOK  1
#define KV_IDYES 6
#define KV_IDNO  7

/* Languages of the library's string table. */
#define KV_LANG_GERMAN  0
#define KV_LANG_ENGLISH 1
#define KV_LANG_DUTCH   2

/* Progress events reported by long walks and conversions. */
#define KV_PROGRESS_OPEN  1 /* a progress display is opened; value = kind */
#define KV_PROGRESS_TITLE 2 /* text = title */
#define KV_PROGRESS_TEXT  3 /* text = line of text */
#define KV_PROGRESS_START 4 /* value = total number of steps */
#define KV_PROGRESS_STEP  5 /* value = steps done so far */
#define KV_PROGRESS_END   6
#define KV_PROGRESS_CLOSE 7

/* Shows a message (text and caption are Windows-1252). */
typedef void (KV_CALLBACK *KvMessageHandler)(const char* caption, const char* text,
                                             uint32_t flags, void* context);
/* Asks a Yes/No question; returns non-zero for Yes, 0 for No. */
typedef int32_t (KV_CALLBACK *KvQuestionHandler)(const char* caption, const char* text,
                                                 uint32_t flags, void* context);
/* Beeps; type as for MessageBeep (0 = default sound). */
typedef void (KV_CALLBACK *KvBeepHandler)(uint32_t type, void* context);
/* Shows (on != 0) or hides the wait cursor. */
typedef void (KV_CALLBACK *KvWaitCursorHandler)(int32_t on, void* context);
/* Progress of a long operation; dialog identifies one display (1, 2, ...). */
typedef void (KV_CALLBACK *KvProgressHandler)(int32_t event, int32_t dialog, int32_t value,
                                              const char* text, void* context);

KV_API void KVHOST_SetMessageHandler(KvMessageHandler handler, void* context);
KV_API void KVHOST_SetQuestionHandler(KvQuestionHandler handler, void* context);
KV_API void KVHOST_SetBeepHandler(KvBeepHandler handler, void* context);
KV_API void KVHOST_SetWaitCursorHandler(KvWaitCursorHandler handler, void* context);
KV_API void KVHOST_SetProgressHandler(KvProgressHandler handler, void* context);

/* Language of the string table: KV_LANG_GERMAN (default), _ENGLISH, _DUTCH.
 * Returns 1, or 0 for an unknown language (the setting is then unchanged). */
KV_API int32_t KVHOST_SetLanguage(int32_t language);
KV_API int32_t KVHOST_GetLanguage(void);

/* How long a byte-range lock waits for a range that another handle holds
 * before it gives up, in milliseconds (default 10000; 0 = do not wait).
 * Negative values are refused (result 0). */
KV_API int32_t KVHOST_SetLockTimeout(int32_t milliseconds);
KV_API int32_t KVHOST_GetLockTimeout(void);

/* Names the settings file that the library's settings helpers read (for
 * example the maximum number of articles); null or "" restores the default,
 * "kvdata.ini" beside the library module. */
KV_API void KVHOST_SetSettingsFile(const char* path);

/* Copies text number id of the library's string table, in the current
 * language, into buffer (size bytes including the terminator). Returns the
 * length copied, 0 for an unknown id or a null/empty buffer. */
KV_API int32_t KVHOST_LoadString(int32_t id, char* buffer, int32_t size);

/* ---- Why a call failed ----------------------------------------------------
 * Every exported function that fails (returns its documented failure result)
 * records why, per thread, like errno: KVHOST_LastError() gives the code and
 * KVHOST_LastErrorText() a text that names the function, the operation and
 * the file, and ends with the system's own words where the system failed,
 * for example
 *   "DBA_ReadDATA: open /srv/shop/KUNDEN.DBA: No such file or directory".
 * A call that succeeds leaves both alone, so they still describe the last
 * failure; a function whose failure result is also an ordinary answer (a
 * count of 0, "not found" from a search) changes them only when something
 * failed on the way (a file that does not open, a lock that stays held).
 * Each thread has its own; the text stays valid until the thread's next
 * failing call. */
#define KV_ERR_NONE         0 /* nothing failed on this thread yet (or cleared) */
#define KV_ERR_NOT_FOUND    1 /* a file or directory does not exist */
#define KV_ERR_LOCKED       2 /* a byte range or lock stayed held past the time-out */
#define KV_ERR_DAMAGED      3 /* a file's contents contradict its format */
#define KV_ERR_FULL         4 /* no free record or number left, or the disk is full */
#define KV_ERR_BAD_ARGUMENT 5 /* null pointer, number out of range, family not set up */
#define KV_ERR_IO           6 /* any other failure of the operating system */
#define KV_ERR_NO_MEMORY    7 /* the library could not allocate memory */
#define KV_ERR_INTERNAL     8 /* an unexpected error inside the library */

KV_API int32_t KVHOST_LastError(void);
/* Never null; "" when the code is KV_ERR_NONE. */
KV_API const char* KVHOST_LastErrorText(void);
/* Resets this thread's code to KV_ERR_NONE and its text to "". */
KV_API void KVHOST_ClearLastError(void);

/* ---- Version ---------------------------------------------------------------
 * The version of the library that is loaded, as one number:
 * major * 10000 + minor * 100 + patch (compare with KVDATA_VERSION_NUMBER
 * of <kvdata/version.h>, the version a program was compiled against). */
KV_API int32_t KVHOST_Version(void);

/* ---- Fatal errors ----------------------------------------------------------
 * A few failures end the process, because the program cannot go on safely:
 * reading a counter of the number-range file when NUMMERN.DAT is missing or
 * no memory is left (exit code 1). Without a handler the library shows its
 * message box (on POSIX: a line on standard error) and exits. With a handler
 * the handler is told instead of the message box: caption, text (both
 * Windows-1252) and the exit code. It may save what it must, log, or end
 * the process itself; if it returns, the library ends the process with
 * that exit code all the same. Null restores the default. */
typedef void (KV_CALLBACK *KvFatalHandler)(const char* caption, const char* text,
                                           int32_t exitCode, void* context);
KV_API void KVHOST_SetFatalHandler(KvFatalHandler handler, void* context);

KV_EXTERN_C_END

#endif /* KVDATA_KVHOST_H */
