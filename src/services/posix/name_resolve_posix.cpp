// Case-insensitive lookup of one directory entry on a case-sensitive file
// system. The exact name is tried first with one stat, so a directory is
// read only when the name is missing as spelled.
#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "services/name_resolve.h"

namespace kv {

namespace {

char FoldAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool EqualIgnoringAsciiCase(const char* a, const std::string& b) {
  size_t i = 0;
  for (; a[i] != '\0' && i < b.size(); ++i) {
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return a[i] == '\0' && i == b.size();
}

}  // namespace

bool FindEntryIgnoringCase(const std::string& directory, const std::string& name, std::string* found) {
  if (found == nullptr || name.empty()) return false;
  struct stat st;
  if (lstat((directory + name).c_str(), &st) == 0) {
    *found = name;
    return true;
  }
  if (errno != ENOENT) return false;
  DIR* d = opendir(directory.empty() ? "." : directory.c_str());
  if (d == nullptr) return false;
  bool any = false;
  while (struct dirent* e = readdir(d)) {
    if (!EqualIgnoringAsciiCase(e->d_name, name)) continue;
    if (!any || std::strcmp(e->d_name, found->c_str()) < 0) *found = e->d_name;
    any = true;
  }
  closedir(d);
  return any;
}

}  // namespace kv
