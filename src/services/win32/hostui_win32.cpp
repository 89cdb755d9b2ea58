// Default host user interface on Windows: the system's message box, beep and
// wait cursor. A host that wants its own dialogs installs handlers through
// KVHOST_*; those take precedence (see hostui.cpp).
#include <windows.h>

#include <cstdio>

#include "kvdata/kvhost.h"
#include "services/hostui.h"
#include "services/hostui_impl.h"

namespace kv {

namespace {

// The library's dialogs are modal to the whole task: the shop programs call
// it from their main window's thread, and a number-range question or an
// upgrade failure must be answered before anything else happens.
UINT BoxStyle(uint32_t flags) { return static_cast<UINT>(flags) | MB_TASKMODAL | MB_SETFOREGROUND; }

}  // namespace

void DefaultMessage(const char* caption, const char* text, uint32_t flags) {
  MessageBoxA(nullptr, text, caption, BoxStyle(flags));
}

int32_t DefaultQuestion(const char* caption, const char* text, uint32_t flags) {
  return MessageBoxA(nullptr, text, caption, BoxStyle(flags)) == IDYES ? 1 : 0;
}

// The console takes Windows-1252 bytes as they are: a console program runs
// with the ANSI code page, the same as the library's texts.
void ConsoleErrorLine(const char* text) {
  std::fprintf(stderr, "%s\n", text ? text : "");
  std::fflush(stderr);
}

void DefaultBeep(uint32_t type) { MessageBeep(static_cast<UINT>(type)); }

void DefaultWaitCursor(bool on) {
  // The previous cursor is restored when the wait ends; nested waits keep
  // the hourglass until the outermost one ends.
  static HCURSOR previous = nullptr;
  static int depth = 0;
  if (on) {
    HCURSOR old = SetCursor(LoadCursorA(nullptr, IDC_WAIT));
    if (depth++ == 0) previous = old;
  } else if (depth > 0 && --depth == 0) {
    SetCursor(previous ? previous : LoadCursorA(nullptr, IDC_ARROW));
  }
}

}  // namespace kv
