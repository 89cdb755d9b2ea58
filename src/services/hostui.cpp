// Dispatch of the library's dialogs, beeps, wait cursor and progress to the
// handlers a host installed, or to the platform defaults.
//
// The handlers are process-wide. A host may install one on one thread while
// another thread is inside the library, so every handler and its context are
// written and read as a pair under one mutex; the handler itself is called
// outside it (it may call back into the library, or block on the user).
#include "services/hostui.h"

#include <tuple>

#include "kvdata/kvhost.h"
#include "services/hostui_impl.h"
#include "services/platform.h"
#include "services/process_state.h"

namespace kv {

namespace {

// One host handler with the context it is called with; both are swapped as
// one.
template <class Fn>
struct Hook {
  Fn fn = nullptr;
  void* context = nullptr;
};
// Every handler with its context; a handler's type names its hook.
using Handlers = std::tuple<Hook<KvMessageHandler>, Hook<KvQuestionHandler>, Hook<KvBeepHandler>,
                            Hook<KvWaitCursorHandler>, Hook<KvProgressHandler>, Hook<KvFatalHandler>>;

Mutex& HandlersMutex() { return ProcessMutex<struct HostHandlers>(); }
Handlers& Installed() {
  static Handlers h;
  return h;
}
// A consistent copy of one handler and its context.
template <class Fn>
Hook<Fn> Current() {
  MutexLock lock(HandlersMutex());
  return std::get<Hook<Fn>>(Installed());
}

}  // namespace

int32_t HostMessageBox(const char* text, const char* caption, uint32_t flags) {
  const char* c = caption ? caption : "";
  const char* t = text ? text : "";
  if ((flags & 0x0Fu) == KV_MB_YESNO) {
    const auto question = Current<KvQuestionHandler>();
    int32_t yes = question.fn ? question.fn(c, t, flags, question.context) : DefaultQuestion(c, t, flags);
    return yes ? KV_IDYES : KV_IDNO;
  }
  const auto message = Current<KvMessageHandler>();
  if (message.fn) {
    message.fn(c, t, flags, message.context);
  } else {
    DefaultMessage(c, t, flags);
  }
  return KV_IDOK;
}

void HostBeep(uint32_t type) {
  const auto beep = Current<KvBeepHandler>();
  if (beep.fn) {
    beep.fn(type, beep.context);
  } else {
    DefaultBeep(type);
  }
}

void HostWaitCursor(bool on) {
  const auto waitCursor = Current<KvWaitCursorHandler>();
  if (waitCursor.fn) {
    waitCursor.fn(on ? 1 : 0, waitCursor.context);
  } else {
    DefaultWaitCursor(on);
  }
}

void ReportProgress(int32_t event, int32_t dialog, int32_t value, const char* text) {
  const auto progress = Current<KvProgressHandler>();
  if (progress.fn) progress.fn(event, dialog, value, text, progress.context);
}

// The host hears of it first, in place of the message box; the process ends
// whatever the handler does, since the caller cannot go on without what failed.
void HostFatal(const char* text, const char* caption, int32_t exitCode) {
  const auto fatal = Current<KvFatalHandler>();
  if (fatal.fn) {
    fatal.fn(caption ? caption : "", text ? text : "", exitCode, fatal.context);
  } else {
    HostMessageBox(text, caption, KV_MB_OK);
  }
  ProcessExit(exitCode);
}

template <class Fn>
void SetHandler(Fn f, void* c) {
  MutexLock lock(HandlersMutex());
  std::get<Hook<Fn>>(Installed()) = {f, c};
}
template void SetHandler(KvMessageHandler, void*);
template void SetHandler(KvQuestionHandler, void*);
template void SetHandler(KvBeepHandler, void*);
template void SetHandler(KvWaitCursorHandler, void*);
template void SetHandler(KvProgressHandler, void*);
template void SetHandler(KvFatalHandler, void*);

}  // namespace kv
