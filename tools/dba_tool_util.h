// Shared by the tool's commands that read DBA files.
#ifndef KVDATA_DBA_TOOL_UTIL_H
#define KVDATA_DBA_TOOL_UTIL_H

#include <cstdint>
#include <string>

#include "kvdata/dba.h"

namespace kvtool {

// Record size of a DBA file: the given one, else the size of a well-known
// file name, else the one that makes the file's length add up (0 if none).
int32_t GuessRecordSize(const std::string& path, const DbaHeader& header, int64_t fileSize, int32_t given);
// A descriptor for an existing file.
DbaFile DescribeDba(const std::string& path, int32_t recordSize, int32_t capacity);
// "2026-11-22 14:53:07" in local time.
std::string FormatUnixTime(uint32_t seconds);

}  // namespace kvtool

#endif  // KVDATA_DBA_TOOL_UTIL_H
