// Path helpers shared by every platform: they only look at characters.
#include <cctype>
#include <cstring>

#include "services/fileio.h"
#include "services/platform.h"
#include "services/ini.h"
#include "services/process_state.h"

namespace kv {

namespace {

size_t BoundedLength(const char* s, size_t max) {
  size_t n = 0;
  while (n < max && s[n] != '\0') ++n;
  return n;
}

// Index one past the last separator or drive colon, 0 if there is none.
size_t DirectoryLength(const char* path) {
  size_t cut = 0;
  for (size_t i = 0; path[i] != '\0'; ++i) {
    if (IsPathSep(path[i]) || path[i] == ':') cut = i + 1;
  }
  return cut;
}

}  // namespace

// The override is written by one thread and read by any: both sides hold a
// mutex, and a reader gets its own copy.
namespace {
char g_module_override[kMaxPath] = "";
Mutex& OverrideMutex() { return ProcessMutex<struct ModuleDirectoryOverride>(); }
thread_local char t_override_copy[kMaxPath];
}  // namespace

void FileIO_SetModuleDirectoryOverride(const char* directory) {
  char fresh[kMaxPath];
  if (!CopyPath(fresh, directory)) fresh[0] = '\0';
  FileIO_MakePathName(fresh);
  MutexLock lock(OverrideMutex());
  std::memcpy(g_module_override, fresh, sizeof fresh);
}

const char* FileIO_ModuleDirectoryOverride() {
  MutexLock lock(OverrideMutex());
  std::memcpy(t_override_copy, g_module_override, sizeof t_override_copy);
  return t_override_copy[0] != '\0' ? t_override_copy : nullptr;
}

bool CopyPath(char* dst, const char* src) {
  if (dst == nullptr) return false;
  dst[0] = '\0';
  if (src == nullptr) return false;
  size_t n = std::strlen(src);
  if (n >= static_cast<size_t>(kMaxPath)) return false;
  std::memcpy(dst, src, n + 1);
  return true;
}

void FileIO_MakePathName(char* path) {
  if (path == nullptr) return;
  size_t n = BoundedLength(path, kMaxPath);
  if (n == 0 || n >= static_cast<size_t>(kMaxPath) - 1) return;
  if (!IsPathSep(path[n - 1])) {
    path[n] = kPathSep;
    path[n + 1] = '\0';
  }
}

void FileIO_PathRemoveFileName(char* path) {
  if (path == nullptr) return;
  if (BoundedLength(path, kMaxPath) >= static_cast<size_t>(kMaxPath)) {
    path[0] = '\0';
    return;
  }
  path[DirectoryLength(path)] = '\0';
}

void FileIO_ExtractPath(const char* fullPath, char* directory) {
  if (directory == nullptr) return;
  if (!CopyPath(directory, fullPath)) return;
  FileIO_PathRemoveFileName(directory);
}

void FileIO_Separate(const char* fullPath, char* directory, char* name) {
  char dir[kMaxPath];
  if (!CopyPath(dir, fullPath)) {
    if (directory) directory[0] = '\0';
    if (name) name[0] = '\0';
    return;
  }
  size_t cut = DirectoryLength(dir);
  if (name) std::memcpy(name, dir + cut, std::strlen(dir + cut) + 1);
  dir[cut] = '\0';
  if (directory) std::memcpy(directory, dir, cut + 1);
}

void INI_SeparateFile(const char* fullPath, char* directory, char* name) {
  FileIO_Separate(fullPath, directory, name);
}

bool WildcardMatch(const char* pattern, const char* name) {
  if (pattern == nullptr || name == nullptr) return false;
  if (std::strcmp(pattern, "*.*") == 0) return true;
  // Iterative match with backtracking to the last '*'.
  const char* star = nullptr;
  const char* resume = nullptr;
  while (*name != '\0') {
    if (*pattern == '*') {
      star = pattern++;
      resume = name;
    } else if (*pattern == '?' ||
               std::tolower(static_cast<unsigned char>(*pattern)) ==
                   std::tolower(static_cast<unsigned char>(*name))) {
      ++pattern;
      ++name;
    } else if (star != nullptr) {
      pattern = star + 1;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == '\0';
}

}  // namespace kv
