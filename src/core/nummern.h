// The number-range file NUMMERN.DAT: 200 signed 32-bit little-endian
// counters, counter i at byte 4*i, nothing else.
#ifndef KV_CORE_NUMMERN_H
#define KV_CORE_NUMMERN_H

#include <array>
#include <cstdint>
#include <functional>

namespace kv::nummern {

constexpr const char* kFileName = "NUMMERN.DAT";
constexpr int32_t kCounterCount = 200;
constexpr int32_t kFileSize = 4 * kCounterCount;
constexpr int32_t kNamedCounters = 13;

// Name of counter `index` ("AUFTRAGS NR" for 2), null for an unnamed one.
const char* CounterName(int32_t index);

void Init(const char* path);
// The process-wide path of NUMMERN.DAT ("" before Init).
const char* FilePath();
int32_t ReadCounter(int32_t* value, int32_t index);
int32_t WriteCounter(int32_t value, int32_t index);

// For the families that must never hand out one number twice: reads the
// `count` consecutive counters from `first` under a byte-range lock on their
// bytes (waiting up to the host lock time-out), lets `next` change them in
// place, and writes them back through the same handle before the lock is
// released. Other stations doing the same wait for each other; plain
// ReadCounter / WriteCounter take no lock and are not held up on POSIX
// (on Windows the locked bytes are unreadable to them for that moment).
// A missing file ends the process, as ReadCounter does. false, with nothing
// written, when the lock is refused, a read fails or `next` returns false.
[[nodiscard]] bool UpdateCounters(int32_t first, int32_t count, const std::function<bool(int32_t* values)>& next);

// Reads every counter of the number-range file at `path` without asking or
// ending anything: false when it cannot be opened. A short file reads as
// zeros beyond its end.
[[nodiscard]] bool ReadAll(const char* path, std::array<int32_t, kCounterCount>& counters);

}  // namespace kv::nummern

#endif  // KV_CORE_NUMMERN_H
