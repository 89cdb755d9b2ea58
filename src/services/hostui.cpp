// Dispatch of the library's dialogs, beeps, wait cursor and progress to the
// handlers a host installed, or to the platform defaults.
//
// The handlers are process-wide. A host may install one on one thread while
// another thread is inside the library, so every handler and its context are
// written and read as a pair under one mutex; the handler itself is called
// outside it (it may call back into the library, or block on the user).
#include "services/hostui.h"

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
struct Handlers {
  Hook<KvMessageHandler> message;
  Hook<KvQuestionHandler> question;
  Hook<KvBeepHandler> beep;
  Hook<KvWaitCursorHandler> waitCursor;
  Hook<KvProgressHandler> progress;
  Hook<KvFatalHandler> fatal;
};

Mutex& HandlersMutex() { return ProcessMutex<struct HostHandlers>(); }
Handlers& Installed() {
  static Handlers h;
  return h;
}
// A consistent copy of every handler and its context.
Handlers H() {
  MutexLock lock(HandlersMutex());
  return Installed();
}
// Swaps one handler and its context as one.
template <class Fn>
void Install(Hook<Fn> Handlers::*hook, Fn f, void* c) {
  MutexLock lock(HandlersMutex());
  Installed().*hook = {f, c};
}

}  // namespace

int32_t HostMessageBox(const char* text, const char* caption, uint32_t flags) {
  const char* c = caption ? caption : "";
  const char* t = text ? text : "";
  Handlers h = H();
  if ((flags & 0x0Fu) == KV_MB_YESNO) {
    int32_t yes = h.question.fn ? h.question.fn(c, t, flags, h.question.context) : DefaultQuestion(c, t, flags);
    return yes ? KV_IDYES : KV_IDNO;
  }
  if (h.message.fn) {
    h.message.fn(c, t, flags, h.message.context);
  } else {
    DefaultMessage(c, t, flags);
  }
  return KV_IDOK;
}

void HostBeep(uint32_t type) {
  Handlers h = H();
  if (h.beep.fn) {
    h.beep.fn(type, h.beep.context);
  } else {
    DefaultBeep(type);
  }
}

void HostWaitCursor(bool on) {
  Handlers h = H();
  if (h.waitCursor.fn) {
    h.waitCursor.fn(on ? 1 : 0, h.waitCursor.context);
  } else {
    DefaultWaitCursor(on);
  }
}

void ReportProgress(int32_t event, int32_t dialog, int32_t value, const char* text) {
  Handlers h = H();
  if (h.progress.fn) h.progress.fn(event, dialog, value, text, h.progress.context);
}

// The host hears of it first, in place of the message box; the process ends
// whatever the handler does, since the caller cannot go on without what failed.
void HostFatal(const char* text, const char* caption, int32_t exitCode) {
  Handlers h = H();
  if (h.fatal.fn) {
    h.fatal.fn(caption ? caption : "", text ? text : "", exitCode, h.fatal.context);
  } else {
    HostMessageBox(text, caption, KV_MB_OK);
  }
  ProcessExit(exitCode);
}

void SetMessageHandler(KvMessageHandler f, void* c) { Install(&Handlers::message, f, c); }
void SetQuestionHandler(KvQuestionHandler f, void* c) { Install(&Handlers::question, f, c); }
void SetBeepHandler(KvBeepHandler f, void* c) { Install(&Handlers::beep, f, c); }
void SetWaitCursorHandler(KvWaitCursorHandler f, void* c) { Install(&Handlers::waitCursor, f, c); }
void SetProgressHandler(KvProgressHandler f, void* c) { Install(&Handlers::progress, f, c); }
void SetFatalHandler(KvFatalHandler f, void* c) { Install(&Handlers::fatal, f, c); }

}  // namespace kv
