// Between the platforms' file layers and the parts they share
// (fileio_walk.cpp): the platform lists the raw matches of a pattern, the
// shared part turns paths into the system's form.
#ifndef KV_SERVICES_FILEIO_LIST_H
#define KV_SERVICES_FILEIO_LIST_H

#include <string>
#include <vector>

#include "services/fileio.h"

namespace kv {

// Appends to `out` every entry of the pattern's directory whose name matches
// the pattern's last component with WildcardMatch: files only, or
// directories only; never "." or "..". Order does not matter. False when the
// pattern is unusable or the directory cannot be read.
[[nodiscard]] bool ListDirectoryMatches(const char* pattern, bool directories, std::vector<FindData>* out);

// The path with every separator turned into kPathSep; empty when the path is
// null, empty or too long (which then fails like a missing file).
std::string NativePath(const char* path);

}  // namespace kv

#endif  // KV_SERVICES_FILEIO_LIST_H
