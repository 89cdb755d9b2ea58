// Listings, the XX rewrite protocol and walk progress for document files.
#include "document/doc_files.h"

#include <cstdio>
#include <cstring>

#include "services/fileio.h"
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

int32_t SwapWithArchive(char* directory, char* archive) {
  if (archive[0] == '\0' || !FileIO_PathExist(archive)) return 0;
  char keep[kMaxPath];
  std::memcpy(keep, directory, kMaxPath);
  std::memcpy(directory, archive, kMaxPath);
  std::memcpy(archive, keep, kMaxPath);
  return 1;
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
  if (!FileIO_DeleteFile(path)) {
    FileIO_DeleteFile(temp);
    return 0;
  }
  return FileIO_RenameFile(temp, path);
}

void FinishInterruptedRewrites(const char* directory, const char* tempPattern) {
  for (const std::string& temp : ListFiles(directory, tempPattern)) {
    if (temp.size() < 3 || temp.compare(temp.size() - 2, 2, "XX") != 0) continue;
    const std::string path = temp.substr(0, temp.size() - 2);
    if (!FileIO_Exist(path.c_str())) FileIO_RenameFile(temp.c_str(), path.c_str());
  }
}

Progress::Progress(bool show, int32_t total) : dlg_(show ? Action_OpenDlg(nullptr, 0) : 0) {
  if (dlg_) Action_ProgressStart(dlg_, 0, total);
}

Progress::~Progress() {
  if (!dlg_) return;
  Action_ProgressEnd(dlg_);
  Action_CloseDlg(dlg_);
}

void Progress::Step() {
  if (dlg_) Action_Progress(dlg_);
}

}  // namespace kv::doc
