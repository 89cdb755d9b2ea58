// Case resolution of data paths and the path rules of the Init functions;
// the directory lookup itself is the platform's (FindEntryIgnoringCase).
#include "services/name_resolve.h"

#include <cstring>

#include "services/fileio_list.h"

namespace kv {

void FileIO_ResolveNameCase(char* path) {
  if (path == nullptr) return;
  // NativePath only swaps separators, so an index into it is an index into
  // path as well.
  const std::string native = NativePath(path);
  if (native.empty()) return;
  std::string directory;  // resolved so far, native form, ends in a separator
  size_t i = 0;
  if (IsPathSep(native[0])) {
    directory = kPathSep;
    i = 1;
  }
  while (i < native.size()) {
    size_t end = i;
    while (end < native.size() && !IsPathSep(native[end])) ++end;
    std::string part = native.substr(i, end - i);
    if (!part.empty() && part != "." && part != "..") {
      std::string found;
      if (!FindEntryIgnoringCase(directory, part, &found) || found.size() != part.size()) return;
      std::memcpy(path + i, found.data(), found.size());
      part = found;
    }
    directory += part;
    if (end < native.size()) directory += kPathSep;
    i = end + 1;
  }
}

std::string ResolvedNameCase(const std::string& path) {
  char buffer[kMaxPath];
  if (!CopyPath(buffer, path.c_str())) return path;
  FileIO_ResolveNameCase(buffer);
  return buffer;
}

namespace {

bool EndsInSeparator(const char* path) {
  size_t n = std::strlen(path);
  return n > 0 && IsPathSep(path[n - 1]);
}

}  // namespace

bool FamilyFilePath(const char* path, const char* fileName, char* out) {
  if (out == nullptr) return false;
  out[0] = '\0';
  if (path == nullptr || fileName == nullptr) return false;
  char buffer[kMaxPath];
  if (!CopyPath(buffer, path)) return false;
  FileIO_ResolveNameCase(buffer);
  if (buffer[0] == '\0' || EndsInSeparator(buffer) || FileIO_PathExist(buffer)) {
    FileIO_MakePathName(buffer);
    if (std::strlen(buffer) + std::strlen(fileName) >= static_cast<size_t>(kMaxPath)) return false;
    std::strcat(buffer, fileName);
    FileIO_ResolveNameCase(buffer);
  }
  return CopyPath(out, buffer);
}

bool DataDirectoryOf(const char* path, char* out) {
  if (out == nullptr) return false;
  out[0] = '\0';
  char buffer[kMaxPath];
  if (path == nullptr || !CopyPath(buffer, path)) return false;
  FileIO_ResolveNameCase(buffer);
  if (!EndsInSeparator(buffer) && buffer[0] != '\0' && FileIO_PathExist(buffer)) {
    if (std::strlen(buffer) + 1 >= static_cast<size_t>(kMaxPath)) return false;
    FileIO_MakePathName(buffer);
  } else {
    FileIO_PathRemoveFileName(buffer);
  }
  return CopyPath(out, buffer);
}

std::string ResolvedFileIn(const std::string& directory, const char* name) {
  if (name == nullptr) return {};
  std::string full = directory + name;
  if (full.size() >= static_cast<size_t>(kMaxPath)) return {};
  return ResolvedNameCase(full);
}

}  // namespace kv
