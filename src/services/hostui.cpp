// Dispatch of the library's dialogs, beeps, wait cursor and progress to the
// handlers a host installed, or to the platform defaults.
#include "services/hostui.h"

#include "kvdata/kvhost.h"
#include "services/hostui_impl.h"

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
};

Handlers& H() {
  static Handlers h;
  return h;
}

}  // namespace

int32_t HostMessageBox(const char* text, const char* caption, uint32_t flags) {
  const char* c = caption ? caption : "";
  const char* t = text ? text : "";
  Handlers& h = H();
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
  if (H().beep) {
    H().beep(type, H().beepContext);
  } else {
    DefaultBeep(type);
  }
}

void HostWaitCursor(bool on) {
  if (H().waitCursor) {
    H().waitCursor(on ? 1 : 0, H().waitCursorContext);
  } else {
    DefaultWaitCursor(on);
  }
}

void ReportProgress(int32_t event, int32_t dialog, int32_t value, const char* text) {
  if (H().progress) H().progress(event, dialog, value, text, H().progressContext);
}

void SetMessageHandler(KvMessageHandler f, void* c) { H().message = f, H().messageContext = c; }
void SetQuestionHandler(KvQuestionHandler f, void* c) { H().question = f, H().questionContext = c; }
void SetBeepHandler(KvBeepHandler f, void* c) { H().beep = f, H().beepContext = c; }
void SetWaitCursorHandler(KvWaitCursorHandler f, void* c) {
  H().waitCursor = f, H().waitCursorContext = c;
}
void SetProgressHandler(KvProgressHandler f, void* c) { H().progress = f, H().progressContext = c; }

}  // namespace kv
