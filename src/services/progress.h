// The progress display of one long walk (a file walk, a rebuild, an upgrade
// copy), shown through the host's progress handler. Every walk of the library
// reports through this one class; the options say how a walk's display
// looks, so that hosts see the same events they always have.
#ifndef KV_SERVICES_PROGRESS_H
#define KV_SERVICES_PROGRESS_H

#include <cstdint>

#include "services/platform.h"

#include "services/action.h"

namespace kv {

// Walks over count items update their display every k-th item:
// <=200: 10; <=20000: 100; <=200000: 1000; above: 10000.
int32_t ProgressStep(int32_t count);

class Progress : Pinned {
 public:
  struct Options {
    int32_t first = 1;       // the value the display starts from
    bool eachItem = false;   // advance on every Step rather than every k-th
    bool reportEnd = false;  // report the final count when the walk ends
    bool show = true;        // false: no display at all
  };

  // Opens a display (titled when title is not null) for total items; a
  // total beyond 32 bits is shown as INT32_MAX.
  Progress(const char* title, int64_t total) : Progress(title, total, Options{}) {}
  Progress(const char* title, int64_t total, const Options& options);
  ~Progress();

  // One more item done.
  void Step();
  // For walks that count on their own (the key-file passes): shows `done`
  // when `counter` is a multiple of the step.
  void At(int32_t counter, int32_t done) const;
  int32_t total() const { return total_; }

 private:
  ActionDlg dlg_;
  Options options_;
  int32_t total_;
  int32_t step_;
  int32_t done_ = 0;
};

// Walks whose display shows the final count when they end (record copies,
// customer walks).
inline constexpr Progress::Options kProgressEndReported{.reportEnd = true};

}  // namespace kv

#endif  // KV_SERVICES_PROGRESS_H
