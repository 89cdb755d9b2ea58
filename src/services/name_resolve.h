// Names in a shared data directory, and the data paths that Init functions
// are given.
//
// A data directory copied from a Windows server, or written there by another
// program, may hold "kunden.dba" where the library would ask for
// "KUNDEN.DBA". Windows folds case, so those stations never notice; on a
// case-sensitive file system the library would not find the file and would
// create a second, empty one beside it, and the stations of the shop would
// then split between two files. So every path a family keeps is resolved
// once, when the family is set up or just before it creates a file: each
// component that exists on disk in another case is rewritten as spelled on
// disk. Only ASCII letters are folded, so the path keeps its length and its
// separators; what does not exist yet keeps the documented spelling. When
// several entries differ only in case and none is spelled exactly as asked,
// the first in byte order is taken, so every station picks the same one.
// Record calls never look at the directory: they use the resolved path.
#ifndef KV_SERVICES_NAME_RESOLVE_H
#define KV_SERVICES_NAME_RESOLVE_H

#include <string>

#include "services/fileio.h"

namespace kv {

// Rewrites the components of `path` (a 260-byte buffer, either separator)
// that exist on disk under another case with their spelling on disk. On
// Windows the path stays as given: the file system already folds case.
void FileIO_ResolveNameCase(char* path);
std::string ResolvedNameCase(const std::string& path);

// The platform part: true when `directory` (native form, "" for the current
// directory, otherwise ending in a separator) holds an entry named `name`
// ignoring ASCII case; `found` gets its spelling on disk (the name itself
// when it exists exactly so). False when there is none, or when the
// platform folds case itself.
[[nodiscard]] bool FindEntryIgnoringCase(const std::string& directory, const std::string& name, std::string* found);

// The file of a family that keeps one file, from the path given to its Init:
// the path itself, unless it names an existing directory or ends in a
// separator; then the family's file name is appended. Resolved as above.
// False (out empty) when the result does not fit in 260 characters.
[[nodiscard]] bool FamilyFilePath(const char* path, const char* fileName, char* out);

// The data directory from a path inside it: the path itself when it names an
// existing directory, else its directory part ("" when it has none). Ends in
// a separator unless empty; resolved as above. False when path is null or
// too long.
[[nodiscard]] bool DataDirectoryOf(const char* path, char* out);

// directory (ending in a separator, or empty) + name, resolved; empty when
// it does not fit.
std::string ResolvedFileIn(const std::string& directory, const char* name);

}  // namespace kv

#endif  // KV_SERVICES_NAME_RESOLVE_H
