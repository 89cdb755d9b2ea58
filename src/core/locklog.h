// The lock log kvlogfile.txt: line format, the exclusive log lock
// kvlogfile.lok and the append of one line.
#ifndef KV_CORE_LOCKLOG_H
#define KV_CORE_LOCKLOG_H

#include <cstdint>
#include <string>

#include "services/fileio.h"
#include "services/platform.h"

namespace kv::locklog {

// One log line including its "\r\n". Each number is zero-padded to eight
// places with a negative sign in front of the padding (-1 -> -0000001).
std::string FormatLine(const LocalTime& t, int32_t w1, int32_t w2, int32_t w3, const char* ip,
                       const char* user, const char* function);

// Takes the log lock: the handle of the lock file (closing it releases and
// deletes it), or -1 when it could not be had within the time-out.
FileHandle AcquireLogLock(const char* lockPath);

// Appends `line` to the log in a single write; true when all of it was written.
[[nodiscard]] bool AppendLine(const char* logPath, const std::string& line);

}  // namespace kv::locklog

#endif  // KV_CORE_LOCKLOG_H
