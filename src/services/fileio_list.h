// What each platform's file layer supplies to the shared directory listing
// (fileio_walk.cpp): the raw matches of one pattern.
#ifndef KV_SERVICES_FILEIO_LIST_H
#define KV_SERVICES_FILEIO_LIST_H

#include <vector>

#include "services/fileio.h"

namespace kv {

// Appends to `out` every entry of the pattern's directory whose name matches
// the pattern's last component with WildcardMatch: files only, or
// directories only; never "." or "..". Order does not matter. False when the
// pattern is unusable or the directory cannot be read.
bool ListDirectoryMatches(const char* pattern, bool directories, std::vector<FindData>* out);

}  // namespace kv

#endif  // KV_SERVICES_FILEIO_LIST_H
