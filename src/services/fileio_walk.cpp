// File operations built only on the platform's own calls, the same on every
// system: directory listings in name order, wildcard delete, file age and
// the walk over a directory tree.
#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "services/fileio.h"
#include "services/fileio_list.h"
#include "services/platform.h"
#include "services/process_state.h"

namespace kv {

namespace {

// An open listing: its matches sorted by name, handed out one by one. Name
// order makes every walk see the same order on every file system.
struct Listing {
  std::vector<FindData> entries;
  size_t next = 0;
};

Mutex& ListingMutex() { return ProcessMutex<struct DirectoryListings>(); }
std::map<FindHandle, Listing>& Listings() {
  static std::map<FindHandle, Listing> table;
  return table;
}
FindHandle g_next_listing = 1;

FindHandle StartListing(const char* pattern, FindData* out, bool directories) {
  Listing listing;
  if (out == nullptr || !ListDirectoryMatches(pattern, directories, &listing.entries) ||
      listing.entries.empty()) {
    return -1;
  }
  std::sort(listing.entries.begin(), listing.entries.end(),
            [](const FindData& a, const FindData& b) { return std::strcmp(a.name, b.name) < 0; });
  *out = listing.entries[0];
  listing.next = 1;
  MutexLock lock(ListingMutex());
  FindHandle id = g_next_listing++;
  if (g_next_listing == INT32_MAX) g_next_listing = 1;
  Listings()[id] = std::move(listing);
  return id;
}

int32_t ContinueListing(FindHandle h, FindData* out) {
  if (out == nullptr) return 0;
  MutexLock lock(ListingMutex());
  auto it = Listings().find(h);
  if (it == Listings().end() || it->second.next >= it->second.entries.size()) return 0;
  *out = it->second.entries[it->second.next++];
  return 1;
}

}  // namespace

std::string NativePath(const char* path) {
  if (path == nullptr || path[0] == '\0') return {};
  size_t n = strnlen(path, kMaxPath);
  if (n >= static_cast<size_t>(kMaxPath)) return {};
  std::string s(path, n);
  std::replace_if(s.begin(), s.end(), IsPathSep, kPathSep);
  return s;
}

FindHandle FileIO_FindFirstFile(const char* pattern, FindData* out) {
  return StartListing(pattern, out, false);
}
int32_t FileIO_FindNextFile(FindHandle h, FindData* out) { return ContinueListing(h, out); }
void FileIO_FindClose(FindHandle h) {
  MutexLock lock(ListingMutex());
  Listings().erase(h);
}
FindHandle FileIO_FindFirstTreeDirectory(const char* pattern, FindData* out) {
  return StartListing(pattern, out, true);
}
int32_t FileIO_FindNextTreeDirectory(FindHandle h, FindData* out) { return ContinueListing(h, out); }

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
