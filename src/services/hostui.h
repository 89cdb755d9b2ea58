// The library's one door to the user: message boxes, Yes/No questions,
// beeps and the wait cursor. Windows uses its user interface; elsewhere the
// host installs handlers through KVHOST_* (see <kvdata/kvhost.h>).
#ifndef KV_SERVICES_HOSTUI_H
#define KV_SERVICES_HOSTUI_H

#include <cstdint>

#include "services/platform.h"

namespace kv {

// Shows a message box (caption and text in Windows-1252). With KV_MB_YESNO
// in flags it asks and returns KV_IDYES or KV_IDNO; otherwise KV_IDOK.
int32_t HostMessageBox(const char* text, const char* caption, uint32_t flags);
// Ends the process with exitCode after telling the host's fatal handler, or
// without one after showing the message box (text, caption as above).
[[noreturn]] void HostFatal(const char* text, const char* caption, int32_t exitCode);
// MessageBeep.
void HostBeep(uint32_t type);
// Shows (true) or hides the wait cursor.
void HostWaitCursor(bool on);

// Writes one line of Windows-1252 text (without its line end) to standard
// error: converted to UTF-8 on POSIX, as it is on Windows.
void ConsoleErrorLine(const char* text);

// Shows the wait cursor for a scope.
class WaitCursor : Pinned {
 public:
  WaitCursor() { HostWaitCursor(true); }
  ~WaitCursor() { HostWaitCursor(false); }
};

}  // namespace kv

#endif  // KV_SERVICES_HOSTUI_H
