// Listings, the XX rewrite protocol and walk progress for document files.
#include "document/doc_files.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "services/fileio.h"
#include "services/fileio_list.h"
#include "services/name_resolve.h"

namespace kv::doc {

bool JoinPath(const char* directory, const char* name, char* out) {
  const size_t d = std::strlen(directory);
  const char sep[2] = {(d > 0 && !IsPathSep(directory[d - 1])) ? kPathSep : '\0', '\0'};
  const int n = std::snprintf(out, kMaxPath, "%s%s%s", directory, sep, name);
  if (n > 0 && n < kMaxPath) return true;
  out[0] = '\0';
  return false;
}
void SetDirectoryFromPath(char* directory, const char* path) {
  char dir[kMaxPath];
  if (!CopyPath(dir, path)) return;
  FileIO_PathRemoveFileName(dir);
  FileIO_ResolveNameCase(dir);  // AUFTRAG, RECHNUNG: found whatever their case
  std::memcpy(directory, dir, sizeof dir);
}

namespace {

char Folded(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

bool SameText(const std::string& a, const std::string& b, bool foldCase) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (foldCase ? Folded(a[i]) != Folded(b[i]) : a[i] != b[i]) return false;
  }
  return true;
}

// Separators unified to '/', runs of them collapsed, a trailing one dropped.
std::string Normalised(const std::string& path) {
  std::string out;
  for (char c : path) {
    if (IsPathSep(c)) {
      if (!out.empty() && out.back() == '/') continue;
      out.push_back('/');
    } else {
      out.push_back(c);
    }
  }
  if (out.size() > 1 && out.back() == '/') out.pop_back();
  return out;
}

bool HasParentStep(const char* path) {
  for (const char* p = path; (p = std::strstr(p, "..")) != nullptr; p += 2) {
    const bool startsPart = p == path || IsPathSep(p[-1]) || p[-1] == ':';
    const bool endsPart = p[2] == '\0' || IsPathSep(p[2]);
    if (startsPart && endsPart) return true;
  }
  return false;
}

#if defined(_WIN32)
constexpr bool kFoldCase = true;
#else
constexpr bool kFoldCase = false;
#endif

}  // namespace

bool ArchiveDirectory(ArchiveRule rule, const char* root, const char* path, char* out) {
  out[0] = '\0';
  if (root == nullptr || root[0] == '\0' || path == nullptr) return false;
  char base[kMaxPath];
  if (!CopyPath(base, root)) return false;
  if (rule == ArchiveRule::kInvoices) FileIO_MakePathName(base);
  base[std::strlen(base) - 1] = '\0';

  char tail[kMaxPath];
  if (rule == ArchiveRule::kInvoices) {
    char dir[kMaxPath];
    if (!CopyPath(dir, path)) return false;
    FileIO_PathRemoveFileName(dir);
    const char* colon = std::strchr(dir, ':');
    if (!CopyPath(tail, colon ? colon + 1 : dir)) return false;
  } else {
    const char* colon = std::strchr(path, ':');
    if (!CopyPath(tail, colon ? colon + 1 : path)) return false;
    if (char* star = std::strchr(tail, '*')) {
      char* cut = star;
      while (cut > tail && !IsPathSep(cut[-1]) && cut[-1] != ':') --cut;
      *cut = '\0';
    }
  }
  const int n = std::snprintf(out, kMaxPath, "%s%s", base, tail);
  if (n > 0 && n < kMaxPath) return true;
  out[0] = '\0';
  return false;
}

int32_t SetUpArchive(ArchiveRule rule, const char* root, const char* path, char* archiveDir) {
  archiveDir[0] = '\0';
  if (root == nullptr || root[0] == '\0' || path == nullptr) return 0;
  if (!ArchiveDirectory(rule, root, path, archiveDir)) return 0;
  FileIO_ResolveNameCase(archiveDir);  // an archive spelled otherwise is still this one
  return FileIO_MakeMultiPath(archiveDir);
}

bool IsDocumentName(const char* name, const char* prefix, const char* extension) {
  if (name == nullptr) return false;
  const size_t len = std::strlen(name), pre = std::strlen(prefix), ext = std::strlen(extension);
  if (len <= pre + ext) return false;
  if (!SameText(std::string(name, pre), prefix, true)) return false;
  if (!SameText(std::string(name + len - ext), extension, true)) return false;
  for (size_t i = pre; i < len - ext; ++i) {
    if (!((name[i] >= '0' && name[i] <= '9') || name[i] == '-')) return false;
  }
  return true;
}

bool DirectlyInside(const char* path, const char* directory, char* name) {
  if (path == nullptr || directory == nullptr || HasParentStep(path)) return false;
  const size_t len = std::strlen(path);
  if (len == 0 || len >= static_cast<size_t>(kMaxPath) || IsPathSep(path[len - 1])) return false;
  size_t cut = len;
  while (cut > 0 && !IsPathSep(path[cut - 1]) && path[cut - 1] != ':') --cut;
  if (cut == len) return false;
  std::string dir(path, cut);
  if (!SameText(Normalised(dir), Normalised(directory), kFoldCase)) return false;
  if (name != nullptr) std::memcpy(name, path + cut, len - cut + 1);
  return true;
}

bool IsBarePattern(const char* pattern) {
  if (pattern == nullptr) return false;
  for (const char* p = pattern; *p != '\0'; ++p) {
    if (IsPathSep(*p) || *p == ':') return false;
  }
  return std::strstr(pattern, "..") == nullptr;
}

bool SpelledOtherwise(const char* directory, const char* name, char* out) {
  out[0] = '\0';
  if (directory == nullptr || name == nullptr || name[0] == '\0') return false;
  // The lookup wants the native form ending in a separator ("" = current).
  std::string dir;
  if (directory[0] != '\0') {
    dir = NativePath(directory);
    if (dir.empty()) return false;
    if (!IsPathSep(dir.back())) dir += kPathSep;
  }
  std::string found;
  if (!FindEntryIgnoringCase(dir, name, &found) || found == name) return false;
  return JoinPath(directory, found.c_str(), out);
}

bool PathOnDisk(const char* directory, const char* name, char* out) {
  if (SpelledOtherwise(directory, name, out)) return true;
  return JoinPath(directory, name, out);
}

int32_t MoveDocument(const char* from, const char* to, const char* name) {
  char source[kMaxPath], target[kMaxPath], dir[kMaxPath], spelled[kMaxPath];
  if (!JoinPath(from, name, source)) return 0;
  if (!FileIO_Exist(source) && !SpelledOtherwise(from, name, source)) return 0;
  FileIO_Separate(source, dir, spelled);
  // The rename refuses an existing target; a target spelled otherwise is
  // made the target, so that it refuses as well.
  if (!PathOnDisk(to, spelled, target)) return 0;
  return FileIO_RenameFile(source, target);
}

int32_t SwapWithArchive(char* directory, char* archive) {
  if (archive[0] == '\0' || !FileIO_PathExist(archive)) return 0;
  char keep[kMaxPath];
  std::memcpy(keep, directory, kMaxPath);
  std::memcpy(directory, archive, kMaxPath);
  std::memcpy(archive, keep, kMaxPath);
  return 1;
}

Directories::Directories(const char* initial, ArchiveRule archiveRule) : rule(archiveRule) {
  std::snprintf(current, sizeof current, "%s", initial);
}

std::vector<std::string> ListFiles(const char* directory, const char* pattern) {
  std::vector<std::string> files;
  char full[kMaxPath];
  if (!JoinPath(directory, pattern, full)) return files;
  FindData fd;
  FindHandle fh = FileIO_FindFirstFile(full, &fd);
  if (fh == -1) return files;
  do {
    if (JoinPath(directory, fd.name, full)) files.emplace_back(full);
  } while (FileIO_FindNextFile(fh, &fd));
  FileIO_FindClose(fh);
  return files;
}

bool TempPathFor(const char* path, char* out) {
  const int n = std::snprintf(out, kMaxPath, "%sXX", path);
  return n > 0 && n < kMaxPath;
}

int32_t ReplaceWithTemp(const char* path, const char* temp) {
  // A document another station deleted meanwhile stays deleted.
  if (FileIO_Exist(path) && FileIO_ReplaceFile(temp, path)) return 1;
  FileIO_DeleteFile(temp);
  return 0;
}

void FinishInterruptedRewrites(const char* directory, const char* tempPattern) {
  for (const std::string& temp : ListFiles(directory, tempPattern)) {
    if (temp.size() < 3 || temp.compare(temp.size() - 2, 2, "XX") != 0) continue;
    const std::string path = temp.substr(0, temp.size() - 2);
    if (!FileIO_Exist(path.c_str())) FileIO_RenameFile(temp.c_str(), path.c_str());
  }
}

}  // namespace kv::doc
