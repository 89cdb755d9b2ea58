// The guard around every exported function: no exception leaves the C
// interface, and a call that fails reports why through KVHOST_LastError.
//
//   KV_API int32_t DBA_NewITEM(DbaFile* file) KV_TRY(int32_t) {
//     ...body as it always was...
//   } KV_CATCH(0)
//
// The body runs as a lambda. When it returns the function's failure result
// (the value given to KV_CATCH), the cause that the library recorded on the
// way (services/cause.h) becomes the thread's last error; any other result
// leaves the last error alone. For a result that is a legitimate answer as
// well as the failure result (a count of 0, "no such key"), the last error
// changes only when something actually failed on the way. An exception is
// caught (std::bad_alloc first), becomes the last error, and the function
// returns its failure result. Void functions use KV_TRY_VOID / KV_CATCH_VOID:
// they report a recorded cause, as they have no result to fail with.
#ifndef KV_EXPORTS_GUARD_H
#define KV_EXPORTS_GUARD_H

#include <exception>
#include <new>
#include <utility>

#include "services/cause.h"

namespace kv::exports {

// Records the exception being handled as the failure of the call; called
// from inside a catch handler, where `throw;` rethrows it to be told apart.
inline void NoteException(ExportCall& call, const char* function) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    call.Exception(function, Cause::kNoMemory, "out of memory");
  } catch (const std::exception& e) {
    call.Exception(function, Cause::kInternal, e.what());
  } catch (...) {
    call.Exception(function, Cause::kInternal, "unexpected exception");
  }
}

template <class R, class Body>
R Guarded(const char* function, Body&& body, R failure) noexcept {
  ExportCall call;
  try {
    R result = body();
    if (result == failure) call.Fail(function);
    return result;
  } catch (...) {
    NoteException(call, function);
  }
  return failure;
}

template <class Body>
void GuardedVoid(const char* function, Body&& body) noexcept {
  ExportCall call;
  try {
    body();
    call.Fail(function);
  } catch (...) {
    NoteException(call, function);
  }
}

}  // namespace kv::exports

#define KV_TRY(type) { return ::kv::exports::Guarded<type>(__func__, [&]() -> type
#define KV_CATCH(failure) , (failure)); }
#define KV_TRY_VOID { ::kv::exports::GuardedVoid(__func__, [&]() -> void
#define KV_CATCH_VOID ); }

#endif  // KV_EXPORTS_GUARD_H
