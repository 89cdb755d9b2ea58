#include "services/cause.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "services/syserror.h"

namespace kv {

namespace {

constexpr size_t kTextSize = 600;

struct Record {
  Cause cause = Cause::kNone;
  char text[kTextSize] = "";
};

// Per thread: what the call in progress has recorded, what the last failed
// call reported, and how deeply exported calls are nested (the library's
// own code may still call an exported function).
thread_local Record t_pending;
thread_local Record t_last;
thread_local int32_t t_depth = 0;
thread_local uint32_t t_lockRefusals = 0;

void Format(Record& r, Cause cause, const char* format, va_list args) {
  if (cause == Cause::kLocked) ++t_lockRefusals;
  r.cause = cause;
  std::vsnprintf(r.text, sizeof r.text, format, args);
}

}  // namespace

void NoteFailure(Cause cause, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Format(t_pending, cause, format, args);
  va_end(args);
}

void NoteSystemFailure(int32_t systemError, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Format(t_pending, CauseOfSystemError(systemError), format, args);
  va_end(args);
  size_t n = std::strlen(t_pending.text);
  if (n + 3 < sizeof t_pending.text) {
    std::memcpy(t_pending.text + n, ": ", 3);
    SystemErrorText(systemError, t_pending.text + n + 2, sizeof t_pending.text - n - 2);
  }
}

bool Refuse(const char* what) {
  NoteFailure(Cause::kBadArgument, "%s", what);
  return false;
}

Cause PendingCause() { return t_pending.cause; }

uint32_t LockRefusals() { return t_lockRefusals; }

ExportCall::ExportCall() : outermost_(t_depth++ == 0) {
  if (outermost_) t_pending.cause = Cause::kNone;
}

ExportCall::~ExportCall() { --t_depth; }

void ExportCall::Fail(const char* function) {
  if (!outermost_ || t_pending.cause == Cause::kNone) return;
  t_last.cause = t_pending.cause;
  std::snprintf(t_last.text, sizeof t_last.text, "%s: %s", function, t_pending.text);
}

void ExportCall::Exception(const char* function, Cause cause, const char* what) {
  NoteFailure(cause, "%s", what);
  Fail(function);
}

int32_t LastErrorCode() { return static_cast<int32_t>(t_last.cause); }
const char* LastErrorText() { return t_last.text; }
void ClearLastError() {
  t_last.cause = Cause::kNone;
  t_last.text[0] = '\0';
}

}  // namespace kv
