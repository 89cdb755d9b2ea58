// Fault injection counters (tests only arm them).
#include "services/fault.h"

#include <cstdlib>

namespace kv::fault {

namespace {
// -1 = disarmed; otherwise the number of calls still to let through.
int32_t g_countdown[static_cast<int>(Kind::kCount)];
int32_t g_exitCountdown = -1;
bool g_armed = false;
// Every kind starts disarmed, however many kinds there are.
[[maybe_unused]] const bool g_initialised = [] {
  for (int32_t& c : g_countdown) c = -1;
  return true;
}();
}  // namespace

void Arm(Kind kind, int32_t after) {
  g_countdown[static_cast<int>(kind)] = after < 0 ? 0 : after;
  g_armed = true;
}

void ArmExitAtWrite(int32_t after) {
  g_exitCountdown = after < 0 ? 0 : after;
  g_armed = true;
}

void Reset() {
  for (int32_t& c : g_countdown) c = -1;
  g_exitCountdown = -1;
  g_armed = false;
}

bool Fire(Kind kind) {
  if (!g_armed) return false;
  if (kind == Kind::Write && g_exitCountdown >= 0) {
    if (g_exitCountdown == 0) std::_Exit(kCrashExitCode);
    --g_exitCountdown;
  }
  int32_t& c = g_countdown[static_cast<int>(kind)];
  if (c < 0) return false;
  if (c == 0) {
    c = -1;
    return true;
  }
  --c;
  return false;
}

}  // namespace kv::fault
