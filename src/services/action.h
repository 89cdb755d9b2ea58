// Progress displays of long walks and conversions, forwarded to the host's
// progress handler (KVHOST_SetProgressHandler); silent by default.
#ifndef KV_SERVICES_ACTION_H
#define KV_SERVICES_ACTION_H

#include <cstdint>

namespace kv {

using ActionDlg = int32_t;  // 0 = no display

ActionDlg Action_OpenDlg(void* owner, int32_t kind);
void Action_SetDlgTitel(ActionDlg dlg, const char* text);
void Action_SetDlgText(ActionDlg dlg, const char* text);
void Action_ProgressStart(ActionDlg dlg, int32_t first, int32_t total);
// Advances by one step.
void Action_Progress(ActionDlg dlg);
void Action_ProgressEnd(ActionDlg dlg);
void Action_TimerProc(ActionDlg dlg);
void Action_CloseDlg(ActionDlg dlg);

// Reports "count done" on a display directly (used by walkers that advance
// every k-th item, k from DBA_GetAnzeigeTeiler).
void Action_ProgressTo(ActionDlg dlg, int32_t done);

}  // namespace kv

#endif  // KV_SERVICES_ACTION_H
