#include "services/progress.h"

namespace kv {

int32_t ProgressStep(int32_t count) {
  if (count <= 200) return 10;
  if (count <= 20000) return 100;
  if (count <= 200000) return 1000;
  return 10000;
}

Progress::Progress(const char* title, int64_t total, const Options& options)
    : dlg_(options.show ? Action_OpenDlg(nullptr, 0) : 0),
      options_(options),
      total_(static_cast<int32_t>(total > INT32_MAX ? INT32_MAX : total)),
      step_(ProgressStep(total_)) {
  if (!dlg_) return;
  if (title != nullptr) Action_SetDlgTitel(dlg_, title);
  Action_ProgressStart(dlg_, options_.first, total_);
}

Progress::~Progress() {
  if (!dlg_) return;
  if (options_.reportEnd) Action_ProgressTo(dlg_, done_);
  Action_ProgressEnd(dlg_);
  Action_CloseDlg(dlg_);
}

void Progress::Step() {
  if (!dlg_) return;
  if (options_.eachItem) {
    Action_Progress(dlg_);
  } else if (++done_ % step_ == 0) {
    Action_ProgressTo(dlg_, done_);
  }
}

void Progress::At(int32_t counter, int32_t done) const {
  if (dlg_ && counter % step_ == 0) Action_ProgressTo(dlg_, done);
}

}  // namespace kv
