// One nested open of a reference-counted file for the span of a scope.
//
// Each family keeps one descriptor per file for the whole process and counts
// how deeply it is open: only the outermost open and the matching close touch
// the file. The four counters disagree about what a failed open leaves
// behind, and each keeps its behaviour because callers outside the library
// balance their calls around it:
//
//   counter                       a failed open ...            so after a failure
//   ----------------------------  ---------------------------  ----------------------------
//   DBA file     (dba::Open)      counts: count 1, handle -1   the close is still owed
//   key file     (KeyFileOpen)    does not count; the count    no close
//                                 also stops at INT16_MAX
//   fixed record (fixed::Open)    does not count               no close
//   lock db      (OpenLockDb)     counts, but the close only   the close is harmless: it
//                                 counts down with a handle    does nothing without one
//
// Inside the library nobody writes those rules out again: a scope opens
// through NestedOpen<Rule>, tests it, and its end does what the counter
// needs. A rule is a struct with the descriptor type, Open, Close and
// kCloseAfterFailure; the DBA and fixed-record rules are here, the key
// file's sits with the key file.
#ifndef KV_CORE_NESTED_OPEN_H
#define KV_CORE_NESTED_OPEN_H

#include "core/dba_file.h"
#include "core/fixed_records.h"

namespace kv {

template <class Rule>
class NestedOpen {
 public:
  using File = typename Rule::File;
  explicit NestedOpen(File* f) : f_(f), ok_(Rule::Open(f)) {}
  ~NestedOpen() {
    if (ok_ || Rule::kCloseAfterFailure) Rule::Close(f_);
  }
  NestedOpen(const NestedOpen&) = delete;
  NestedOpen& operator=(const NestedOpen&) = delete;
  explicit operator bool() const { return ok_; }

 private:
  File* f_;
  bool ok_;
};

struct DbaOpenRule {
  using File = DbaFile;
  static constexpr bool kCloseAfterFailure = true;
  [[nodiscard]] static bool Open(DbaFile* f) { return dba::Open(f) != 0; }
  static void Close(DbaFile* f) { dba::Close(f); }
};

struct FixedOpenRule {
  using File = fixed::File;
  static constexpr bool kCloseAfterFailure = false;
  [[nodiscard]] static bool Open(fixed::File* f) { return f != nullptr && fixed::Open(*f) != kInvalidHandle; }
  static void Close(fixed::File* f) { fixed::Close(*f); }
};

using DbaOpen = NestedOpen<DbaOpenRule>;
using FixedOpen = NestedOpen<FixedOpenRule>;

}  // namespace kv

#endif  // KV_CORE_NESTED_OPEN_H
