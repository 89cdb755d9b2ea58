// Fault injection for tests: makes the service layer fail the n-th next call
// of one kind, so that tests can drive the library's failure paths (a failed
// open, a short write, no memory) on real files. Inactive unless armed.
#ifndef KV_SERVICES_FAULT_H
#define KV_SERVICES_FAULT_H

#include <cstdint>

namespace kv::fault {

// Throw: the next Storage_Allocate throws std::bad_alloc instead of returning.
enum class Kind { Open, Create, Read, Write, Allocate, Rename, Throw, kCount };

// Arms a fault: the call number `after` + 1 of that kind from now fails
// (after = 0: the very next one). Each armed fault fires once.
void Arm(Kind kind, int32_t after);
// Exit code of a process ended by ArmExitAtWrite.
constexpr int kCrashExitCode = 86;
// Ends the process in place of write number `after` + 1 from now, with no
// clean-up at all, as a power cut or a kill would: the writes before it are
// on disk, that one and everything after it are not. Crash-consistency tests
// use it to stop a station between any two writes of an operation.
void ArmExitAtWrite(int32_t after);
// Disarms every fault.
void Reset();
// Called by the service layer: true when this call is to fail.
[[nodiscard]] bool Fire(Kind kind);

}  // namespace kv::fault

#endif  // KV_SERVICES_FAULT_H
