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
 * KVLOCKDB_IPUSERInit enables blocking.
 *
 * Clocks. The age of a lock file is this station's clock minus the file's
 * last-write time, which comes from the clock of the station that wrote it
 * (or of the file server). A time stamp that lies in the future, because the
 * writer's clock runs ahead, counts as just written: such a file is fresh.
 * It counts as orphaned once this station, waiting, has seen its stamp
 * unchanged for the orphan age measured on its own clock (31 seconds for a
 * function lock, more than 20 for the log lock), however far ahead the
 * stamp lies. A file whose attributes cannot be read is neither: a function
 * lock is then tried for deletion (and waited for when that fails), the log
 * lock is waited for. Keep the clocks of all stations and of the server in
 * step; an age is only as good as their agreement.
 *
 * Other stations' log locks. The Windows program creates kvlogfile.lok
 * delete-on-close and holds no byte-range lock on it; such a file is waited
 * for while it is 20 seconds old or younger and deleted after that, with
 * the message on standard error. This library's POSIX holder writes
 * "kvdata lock holder host=<host> pid=<pid>" into the file and locks its
 * first byte while it holds it, so a file with that mark whose holder has
 * died is removed at once and quietly. */
#ifndef KVDATA_KVLOCKDB_H
#define KVDATA_KVLOCKDB_H

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* Sets the data directory to the directory part of `path` (the path of any
 * file in it, or the directory itself, with or without a trailing
 * separator). MMLOCK.DBA, kvlogfile.txt and func_locks are found whatever
 * the case of their names; kvlogfile.lok keeps that one spelling. Creates
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
 * in 100 ms steps up to `timeoutMs` while another station holds it; an
 * orphaned lock file (see Clocks above) is deleted and taken over. 1 when
 * held, or at once when blocking is disabled (nothing is checked or created
 * then). 0 on time-out, before KVLOCKDB_Init, and for a name that could
 * reach outside func_locks or is no file name on every station: null or
 * empty, containing '/', '\', "..", ':' (a drive), one of < > " | ? * or a
 * control character, or a device name (CON, PRN, AUX, NUL, COM1..9,
 * LPT1..9, also with an extension); nothing is created or deleted then.
 * The name is used as spelled: every station must spell it alike. */
KV_API int32_t KVLOCKDB_Blocking_Start(const char* name, int32_t timeoutMs);
/* Releases the function lock `name` (deletes its file) when blocking is
 * enabled; a name refused by KVLOCKDB_Blocking_Start deletes nothing. */
KV_API void KVLOCKDB_Blocking_Stop(const char* name);
/* Switches writing to the lock log on (the default) or off. */
KV_API void KVLOCKDB_EnableLog(void);
KV_API void KVLOCKDB_DisableLog(void);
/* Appends one line to kvlogfile.txt when blocking and logging are enabled:
 *   "[YYYY-MM-DD hh:mm:ss.mmm] W1:%08d W2:%08d W3:%08d IP: <ip> UserID: <user>
 *    - Function: <function>\r\n" (one line; local time).
 * A non-empty ip or user text replaces the stored one first. Waits up to
 * 10 seconds for the log lock kvlogfile.lok; a lock file older than 20
 * seconds is deleted with a line on standard error, one this library's
 * POSIX holder left behind when it died at once and quietly (see above).
 * The event is lost when
 * the lock or the log cannot be had. */
KV_API void KVLOCKDB_Log_Event(const char* ip, const char* user, const char* function,
                               int32_t w1, int32_t w2, int32_t w3);
/* Ends the module's use: closes the lock database if it is still open
 * (releasing its byte locks) and forgets the data directory. */
KV_API void KVLOCKDB_Exit(void);

KV_EXTERN_C_END

#endif /* KVDATA_KVLOCKDB_H */
