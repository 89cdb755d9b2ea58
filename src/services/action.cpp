// Progress displays, forwarded to the host's progress handler.
#include "services/action.h"

#include "kvdata/kvhost.h"
#include "services/hostui_impl.h"

namespace kv {

namespace {
struct Dialog {
  int32_t done = 0;
};
int32_t g_next_dialog = 1;
Dialog g_dialogs[16];  // progress state per open display (wraps around)

Dialog& D(ActionDlg dlg) { return g_dialogs[static_cast<uint32_t>(dlg) % 16]; }
}  // namespace

ActionDlg Action_OpenDlg(void* /*owner*/, int32_t kind) {
  ActionDlg dlg = g_next_dialog++;
  if (g_next_dialog <= 0) g_next_dialog = 1;
  D(dlg).done = 0;
  ReportProgress(KV_PROGRESS_OPEN, dlg, kind, nullptr);
  return dlg;
}

void Action_SetDlgTitel(ActionDlg dlg, const char* text) {
  if (dlg > 0) ReportProgress(KV_PROGRESS_TITLE, dlg, 0, text);
}

void Action_SetDlgText(ActionDlg dlg, const char* text) {
  if (dlg > 0) ReportProgress(KV_PROGRESS_TEXT, dlg, 0, text);
}

void Action_ProgressStart(ActionDlg dlg, int32_t first, int32_t total) {
  if (dlg <= 0) return;
  D(dlg).done = first > 0 ? first - 1 : 0;
  ReportProgress(KV_PROGRESS_START, dlg, total, nullptr);
}

void Action_Progress(ActionDlg dlg) {
  if (dlg <= 0) return;
  ReportProgress(KV_PROGRESS_STEP, dlg, ++D(dlg).done, nullptr);
}

void Action_ProgressTo(ActionDlg dlg, int32_t done) {
  if (dlg <= 0) return;
  D(dlg).done = done;
  ReportProgress(KV_PROGRESS_STEP, dlg, done, nullptr);
}

void Action_ProgressEnd(ActionDlg dlg) {
  if (dlg > 0) ReportProgress(KV_PROGRESS_END, dlg, D(dlg).done, nullptr);
}

void Action_TimerProc(ActionDlg /*dlg*/) {}

void Action_CloseDlg(ActionDlg dlg) {
  if (dlg > 0) ReportProgress(KV_PROGRESS_CLOSE, dlg, 0, nullptr);
}

}  // namespace kv
