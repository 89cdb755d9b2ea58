// Platform defaults behind the host UI (posix/ or win32/ supplies them).
#ifndef KV_SERVICES_HOSTUI_IMPL_H
#define KV_SERVICES_HOSTUI_IMPL_H

#include <cstdint>

#include "kvdata/kvhost.h"

namespace kv {

void DefaultMessage(const char* caption, const char* text, uint32_t flags);
// Non-zero for Yes.
int32_t DefaultQuestion(const char* caption, const char* text, uint32_t flags);
void DefaultBeep(uint32_t type);
void DefaultWaitCursor(bool on);

// Host handlers, dispatched to by the services (null = default).
// Installed through KVHOST_* (src/exports/kvhost_exports.cpp), handler and
// context as one; the handler's type says which of the six of kvhost.h.
template <class Fn>
void SetHandler(Fn f, void* c);

void ReportProgress(int32_t event, int32_t dialog, int32_t value, const char* text);

}  // namespace kv

#endif  // KV_SERVICES_HOSTUI_IMPL_H
