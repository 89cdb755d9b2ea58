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

KV_EXTERN_C_END

#endif /* KVDATA_KVHOST_H */
