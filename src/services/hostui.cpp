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

namespace kv {

namespace {

struct Handlers {
  KvMessageHandler message = nullptr;
  void* messageContext = nullptr;
  KvQuestionHandler question = nullptr;
  void* questionContext = nullptr;
  KvBeepHandler beep = nullptr;
  void* beepContext = nullptr;
  KvWaitCursorHandler waitCursor = nullptr;
  void* waitCursorContext = nullptr;
  KvProgressHandler progress = nullptr;
  void* progressContext = nullptr;
  KvFatalHandler fatal = nullptr;
  void* fatalContext = nullptr;
};

Mutex& HandlersMutex() {
  static Mutex m;
  return m;
}
Handlers& Installed() {
  static Handlers h;
  return h;
}
// A consistent copy of every handler and its context.
Handlers H() {
  MutexLock lock(HandlersMutex());
  return Installed();
}
template <class F>
void Install(F change) {
  MutexLock lock(HandlersMutex());
  change(Installed());
}

}  // namespace

int32_t HostMessageBox(const char* text, const char* caption, uint32_t flags) {
  const char* c = caption ? caption : "";
  const char* t = text ? text : "";
  Handlers h = H();
  if ((flags & 0x0Fu) == KV_MB_YESNO) {
    int32_t yes = h.question ? h.question(c, t, flags, h.questionContext) : DefaultQuestion(c, t, flags);
    return yes ? KV_IDYES : KV_IDNO;
  }
  if (h.message) {
    h.message(c, t, flags, h.messageContext);
  } else {
    DefaultMessage(c, t, flags);
  }
  return KV_IDOK;
}

void HostBeep(uint32_t type) {
  Handlers h = H();
  if (h.beep) {
    h.beep(type, h.beepContext);
  } else {
    DefaultBeep(type);
  }
}

void HostWaitCursor(bool on) {
  Handlers h = H();
  if (h.waitCursor) {
    h.waitCursor(on ? 1 : 0, h.waitCursorContext);
  } else {
    DefaultWaitCursor(on);
  }
}

void ReportProgress(int32_t event, int32_t dialog, int32_t value, const char* text) {
  Handlers h = H();
  if (h.progress) h.progress(event, dialog, value, text, h.progressContext);
}

// The host hears of it first, in place of the message box; the process ends
// whatever the handler does, since the caller cannot go on without what failed.
void HostFatal(const char* text, const char* caption, int32_t exitCode) {
  Handlers h = H();
  if (h.fatal) {
    h.fatal(caption ? caption : "", text ? text : "", exitCode, h.fatalContext);
  } else {
    HostMessageBox(text, caption, KV_MB_OK);
  }
  ProcessExit(exitCode);
}

void SetMessageHandler(KvMessageHandler f, void* c) {
  Install([&](Handlers& h) { h.message = f, h.messageContext = c; });
}
void SetQuestionHandler(KvQuestionHandler f, void* c) {
  Install([&](Handlers& h) { h.question = f, h.questionContext = c; });
}
void SetBeepHandler(KvBeepHandler f, void* c) {
  Install([&](Handlers& h) { h.beep = f, h.beepContext = c; });
}
void SetWaitCursorHandler(KvWaitCursorHandler f, void* c) {
  Install([&](Handlers& h) { h.waitCursor = f, h.waitCursorContext = c; });
}
void SetProgressHandler(KvProgressHandler f, void* c) {
  Install([&](Handlers& h) { h.progress = f, h.progressContext = c; });
}
void SetFatalHandler(KvFatalHandler f, void* c) {
  Install([&](Handlers& h) { h.fatal = f, h.fatalContext = c; });
}

}  // namespace kv
