// File operations built only on the platform's own FileIO_* calls (find,
// delete, last-write time), the same on every system.
#include <string>

#include "services/fileio.h"
#include "services/platform.h"

namespace kv {

int32_t FileIO_DeleteFiles(const char* pattern) {
  char dir[kMaxPath];
  FileIO_ExtractPath(pattern, dir);
  FindData fd;
  FindHandle h = FileIO_FindFirstFile(pattern, &fd);
  if (h < 0) return 0;
  int32_t count = 0;
  do {
    std::string full = std::string(dir) + fd.name;
    count += FileIO_DeleteFile(full.c_str());
  } while (FileIO_FindNextFile(h, &fd));
  FileIO_FindClose(h);
  return count;
}

int64_t FileIO_GetFileAge(const char* path) {
  int64_t t = FileIO_GetLastWriteTime(path);
  return t < 0 ? -1 : UnixTimeNow() - t;
}

int32_t FileIO_DoFilesInDirectoryTree(const char* startDirectory, int32_t recurse,
                                      const char* pattern, FileVisitor callback, void* context) {
  char dir[kMaxPath];
  if (!CopyPath(dir, startDirectory) || callback == nullptr) return 0;
  FileIO_MakePathName(dir);
  std::string base(dir);
  int32_t visited = 0;
  FindData fd;
  std::string mask = base + (pattern && *pattern ? pattern : "*");
  FindHandle h = FileIO_FindFirstFile(mask.c_str(), &fd);
  if (h >= 0) {
    bool go = true;
    do {
      std::string full = base + fd.name;
      ++visited;
      go = callback(full.c_str(), &fd, context) != 0;
    } while (go && FileIO_FindNextFile(h, &fd));
    FileIO_FindClose(h);
    if (!go) return visited;
  }
  if (recurse) {
    std::string all = base + "*";
    h = FileIO_FindFirstTreeDirectory(all.c_str(), &fd);
    if (h >= 0) {
      do {
        std::string sub = base + fd.name;
        visited += FileIO_DoFilesInDirectoryTree(sub.c_str(), recurse, pattern, callback, context);
      } while (FileIO_FindNextTreeDirectory(h, &fd));
      FileIO_FindClose(h);
    }
  }
  return visited;
}

}  // namespace kv
