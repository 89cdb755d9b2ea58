// Why an operation failed, recorded where it fails, the way errno is: the
// file layer records a failed open or a lock time-out with the file's path
// and the system's text, the engines record a damaged or full file or a
// refused argument. The exported functions then report the cause of their
// own failure through KVHOST_LastError / KVHOST_LastErrorText (see
// src/exports/guard.h), so no export has to work it out itself.
//
// Everything here is per thread. A cause recorded during a call that in the
// end succeeds (an open that fails before the file is created) is dropped
// when the call returns; only a call that fails makes it visible.
#ifndef KV_SERVICES_CAUSE_H
#define KV_SERVICES_CAUSE_H

#include <cstdint>

#include "services/platform.h"

namespace kv {

// The values are those of KV_ERR_* in <kvdata/kvhost.h>.
enum class Cause : int32_t {
  kNone = 0,
  kNotFound = 1,     // file or directory missing
  kLocked = 2,       // a byte range or lock stayed held past the time-out
  kDamaged = 3,      // a file's contents contradict its format
  kFull = 4,         // no free record / number left, or no space on the disk
  kBadArgument = 5,  // null pointer, number out of range, family not set up
  kIo = 6,           // any other failure of the operating system
  kNoMemory = 7,     // an allocation failed
  kInternal = 8,     // an unexpected error inside the library
};

// Records the cause of the failure in progress; the text (printf format)
// names the operation and the file. The last record of a call wins.
void NoteFailure(Cause cause, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
// The same, ending the text with the system's own text for systemError.
// The cause comes from the system error: not found, full (no space), I/O.
void NoteSystemFailure(int32_t systemError, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
// Records a refused argument and returns false, for `return Refuse("...")`.
[[nodiscard]] bool Refuse(const char* what);

// The cause recorded by the current call so far (kNone if none).
Cause PendingCause();

// How often this thread has met a byte range that another handle holds: a
// lock refused past the time-out, or (on Windows) a read or write refused
// because another handle locks the bytes. A caller that must tell "busy"
// from "missing" after a failed read compares it before and after.
uint32_t LockRefusals();

// ---- used by the exported functions' guard -----------------------------
// One exported call on this thread. The outermost one starts with no
// pending cause; Fail() makes the pending cause the thread's last error.
class ExportCall : Pinned {
 public:
  ExportCall();
  ~ExportCall();
  // The call returned its failure result: the pending cause (if any was
  // recorded) becomes the last error, prefixed with the function's name.
  void Fail(const char* function);
  // An exception reached the export: recorded, and made the last error.
  void Exception(const char* function, Cause cause, const char* what);

 private:
  bool outermost_;
};

// The thread's last error as the exports report it.
int32_t LastErrorCode();
const char* LastErrorText();
void ClearLastError();

}  // namespace kv

#endif  // KV_SERVICES_CAUSE_H
