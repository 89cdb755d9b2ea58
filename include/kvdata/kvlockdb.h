/* Lock database MMLOCK.DBA, function lock files and the lock log (KVLOCKDB_*).
 *
 * Three ways for the workstations of one shared data directory to serialise
 * work that spans several record files:
 *   - byte locks: MMLOCK.DBA is a 14-byte file whose bytes serve as named
 *     one-byte locks (KVLOCKDB_LockDB(12) locks byte 12);
 *   - function locks: one file "func_locks/<name>.lok" per running function,
 *     created exclusively and deleted again; a lock file whose last write is
 *     31 seconds or older is taken to be orphaned and is taken over;
 *   - the lock log kvlogfile.txt: one text line per event, appended under the
 *     exclusive lock file kvlogfile.lok.
 * All state is process-wide. Function locks and the log do nothing until
 * KVLOCKDB_IPUSERInit enables blocking. */
#ifndef KVDATA_KVLOCKDB_H
#define KVDATA_KVLOCKDB_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* Sets the data directory to the directory part of `path` (the path of any
 * file in it, or the directory with a trailing separator) and creates
 * MMLOCK.DBA there when it does not exist (an existing one is left as it is).
 * Returns the directory (with its trailing separator) in a buffer owned by the
 * library, or null for a null or over-long path (nothing changes then). */
KV_API const char* KVLOCKDB_Init(const char* path);
/* Stores the station's IP text (up to 35 characters), the user text (up to 63
 * characters; longer texts are cut) and whether function locks and logging
 * are enabled (non-zero). Null texts leave the stored ones unchanged. */
KV_API void KVLOCKDB_IPUSERInit(const char* ip, const char* user, int32_t blockingEnabled);
/* Creates (or truncates) MMLOCK.DBA with its 14 bytes: 13 ASCII zeros and a
 * zero byte. 1 when all 14 bytes were written, else 0. */
KV_API int32_t KVLOCKDB_ErzeugeLockDB(void);
/* Opens MMLOCK.DBA read/write when it is not open yet and raises the nesting
 * count, also when the open fails. Returns the handle, -1 on failure. */
KV_API int32_t KVLOCKDB_OeffneLockDB(void);
/* Lowers the nesting count when the lock database is open; at the last level
 * closes it, which releases every byte lock still held through it. */
KV_API void KVLOCKDB_SchliesseLockDB(void);
/* Locks byte `byteNumber` (>= 0) of MMLOCK.DBA, trying up to 11 times with
 * 100 ms between attempts (about one second). 1 when locked: the database
 * then stays open one nesting level until KVLOCKDB_UnlockDB. 0 when another
 * handle keeps the byte, on a negative byte number, or when the lock database
 * cannot be opened (the nesting count has then still risen by one). Takes the
 * module's critical section. */
KV_API int32_t KVLOCKDB_LockDB(int32_t byteNumber);
/* Releases byte `byteNumber` and closes one nesting level. Always 1. Takes
 * the module's critical section. */
KV_API int32_t KVLOCKDB_UnlockDB(int32_t byteNumber);
/* Takes the function lock `name` (the file func_locks/<name>.lok), waiting
 * in 100 ms steps up to `timeoutMs` while another station holds it. 1 when
 * held, or at once when blocking is disabled (nothing is created then). 0 on
 * time-out, for a null or empty name, or before KVLOCKDB_Init. */
KV_API int32_t KVLOCKDB_Blocking_Start(const char* name, int32_t timeoutMs);
/* Releases the function lock `name` (deletes its file) when blocking is
 * enabled. */
KV_API void KVLOCKDB_Blocking_Stop(const char* name);
/* Switches writing to the lock log on (the default) or off. */
KV_API void KVLOCKDB_EnableLog(void);
KV_API void KVLOCKDB_DisableLog(void);
/* Appends one line to kvlogfile.txt when blocking and logging are enabled:
 *   "[YYYY-MM-DD hh:mm:ss.mmm] W1:%08d W2:%08d W3:%08d IP: <ip> UserID: <user>
 *    - Function: <function>\r\n" (one line; local time).
 * A non-empty ip or user text replaces the stored one first. Waits up to
 * 10 seconds for the log lock kvlogfile.lok; a lock file older than 20
 * seconds is deleted with a line on standard error. The event is lost when
 * the lock or the log cannot be had. */
KV_API void KVLOCKDB_Log_Event(const char* ip, const char* user, const char* function,
                               int32_t w1, int32_t w2, int32_t w3);
/* Ends the module's use: closes the lock database if it is still open
 * (releasing its byte locks) and forgets the data directory. */
KV_API void KVLOCKDB_Exit(void);

KV_EXTERN_C_END

#endif /* KVDATA_KVLOCKDB_H */
