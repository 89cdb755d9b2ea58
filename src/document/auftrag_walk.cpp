// Walks over the order files of the order directory, rewriting whole files
// (through the XX protocol of doc_files.h), and the upgrade from 3980-byte to
// 207108-byte blocks.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "document/auftrag.h"
#include "document/doc_files.h"
#include "services/hostui.h"
#include "services/storage.h"

namespace kv::auftrag {

namespace {

// Copies every block of `src` (blocks of `from`) into `dst` (blocks of
// `to`), each padded with zeros; header stamped with the new version and
// positions with the time. `blocks` limits the copy (-1 = all).
int32_t CopyBlocks(FileHandle src, FileHandle dst, const Format& from, const Format& to,
                   int64_t blocks) {
  StorageBlock buffer(to.blockSize);
  if (!buffer) return 0;
  const int32_t carried = from.blockSize < to.blockSize ? from.blockSize : to.blockSize;
  for (int64_t b = 0; blocks < 0 || b < blocks; ++b) {
    std::memset(buffer.get(), 0, static_cast<size_t>(to.blockSize));
    if (FileIO_SetPos(src, b * from.blockSize) != b * from.blockSize) return 0;
    const int32_t got = FileIO_Read(src, buffer.get(), carried);
    if (got <= 0) return b > 0 ? 1 : 0;  // end of file; a file needs its header
    int32_t ok;
    if (b == 0) {
      ok = WriteHeader(dst, buffer.get(), true, to);
    } else {
      const int32_t p = static_cast<int32_t>((b + 1) / 2);
      ok = WritePosition(dst, p, (b % 2) == 0 ? 1 : 0, buffer.get(), true, to);
    }
    if (!ok) return 0;
  }
  return 1;
}

// Rewrites `path` into "<path>XX" with the first `blocks` blocks and puts it
// in place of the original.
int32_t RewriteFile(const char* path, const Format& from, const Format& to, int64_t blocks) {
  char temp[kMaxPath];
  if (!doc::TempPathFor(path, temp)) return 0;
  FileHandle src = FileIO_OpenRWS(path);
  if (src == kInvalidHandle) return 0;
  FileHandle dst = FileIO_CreateRWS(temp);
  if (dst == kInvalidHandle) {
    FileIO_Close(src);
    return 0;
  }
  const int32_t ok = CopyBlocks(src, dst, from, to, blocks);
  FileIO_Close(src);
  FileIO_Close(dst);
  if (!ok) {
    FileIO_DeleteFile(temp);
    return 0;
  }
  return doc::ReplaceWithTemp(path, temp);
}

// A file already in the 207108-byte format: version 560 in the header and a
// whole number of blocks. A repeated upgrade must leave it alone.
bool IsAlready560(const char* path) {
  FileHandle h = FileIO_OpenROS(path);
  if (h == kInvalidHandle) return false;
  int32_t version = 0;
  bool known = FileIO_SetPos(h, kHeaderVersionOffset) == kHeaderVersionOffset &&
               FileIO_Read(h, &version, 4) == 4;
  const int64_t size = FileIO_Size(h);
  FileIO_Close(h);
  return known && version == kFormat560.version && size > 0 && size % kFormat560.blockSize == 0;
}

// Walks the order files under the documents' progress display; visit(file)
// returns false to end the walk.
template <typename Visit>
void WalkOrderFiles(bool showProgress, Visit visit) {
  const std::vector<OrderFile> files = ListOrderFiles();
  Progress progress(nullptr, static_cast<int64_t>(files.size()), doc::DocumentProgress(showProgress));
  for (const OrderFile& f : files) {
    progress.Step();
    if (!visit(f)) break;
  }
}

// The header of the order file at path into a zeroed buffer; 0 (buffer
// zeroed) when it does not open or is cut short.
int32_t ReadHeaderAt(const char* path, void* header) {
  return ReadHeaderAndClose(FileIO_OpenRWS(path), header, kFormat560);
}

int32_t ConvertAll550To560() {
  WaitCursor wait;
  doc::FinishInterruptedRewrites(Dirs().current, "AFT*.DATXX");
  WalkOrderFiles(true, [](const OrderFile& f) {
    if (!IsAlready560(f.path.c_str())) ConvertFile550To560(f.path.c_str());
    return true;
  });
  return 1;
}

}  // namespace

int32_t NumberFromName(const char* name) {
  if (name == nullptr || std::strlen(name) < 4) return 0;
  return static_cast<int32_t>(std::strtol(name + 3, nullptr, 10));
}

std::vector<OrderFile> ListOrderFiles() {
  std::vector<OrderFile> files;
  // Only order files: "AFT*.DAT" also matches names the family never made,
  // which no walk, rewrite or delete of orders may touch.
  for (std::string& path : doc::ListFiles(Dirs().current, "AFT*.DAT")) {
    char dir[kMaxPath], name[kMaxPath];
    FileIO_Separate(path.c_str(), dir, name);
    if (!doc::IsDocumentName(name, "AFT", ".DAT")) continue;
    files.push_back({NumberFromName(name), std::move(path)});
  }
  return files;
}

void CountAndName(int32_t* count, char* path) {
  if (path != nullptr) (void)CopyPath(path, Dirs().current);
  if (count == nullptr) return;
  // Counted as the old program did: only the find-next calls count, so the
  // first match is not included. Callers compare against this number.
  *count = 0;
  char pattern[kMaxPath];
  if (!doc::JoinPath(Dirs().current, "AFT*.DAT", pattern)) return;
  FindData fd;
  FindHandle fh = FileIO_FindFirstFile(pattern, &fd);
  if (fh == -1) return;
  while (FileIO_FindNextFile(fh, &fd)) ++*count;
  FileIO_FindClose(fh);
}

int32_t ForEachHeader(HeaderVisitor visit, void* context, HeaderFilter filter, int32_t supplier,
                      bool showProgress) {
  if (visit == nullptr) return 0;
  StorageBlock header(kFormat560.blockSize);
  if (!header) return 0;
  int32_t visited = 0;
  WalkOrderFiles(showProgress, [&](const OrderFile& f) {
    // Read from the file the walk found, as it is spelled: a lookup by
    // number would read the directory again for every file spelled otherwise.
    if (!ReadHeaderAt(f.path.c_str(), header.get())) return true;
    if (filter != nullptr && !filter(header.get(), supplier)) return true;
    ++visited;
    return visit(f.number, header.get(), context) != 0;
  });
  return visited;
}

int32_t ForEachNumber(NumberVisitor visit, void* context) {
  if (visit == nullptr) return 0;
  int32_t visited = 0;
  for (const OrderFile& f : ListOrderFiles()) {
    ++visited;
    if (visit(f.number, context) == 0) break;
  }
  return visited;
}

int32_t ChangeEachHeader(HeaderVisitor visit, void* context, const Format& fmt) {
  StorageBlock header(fmt.blockSize);
  if (!header) return 0;
  int32_t written = 0;
  WalkOrderFiles(true, [&](const OrderFile& f) {
    // A 550 header written into a 560 file would stamp it 550 and have the
    // next upgrade cut its blocks apart (a rerun after an interrupted upgrade).
    if (fmt.version == kFormat550.version && IsAlready560(f.path.c_str())) return true;
    FileHandle h = FileIO_OpenRWS(f.path.c_str());
    if (h == kInvalidHandle) return true;
    std::memset(header.get(), 0, static_cast<size_t>(fmt.blockSize));
    // A header that cannot be read in full is left as it is: writing the
    // buffer back would put zeros over the bytes the file does have.
    if (!ReadHeader(h, header.get(), fmt)) {
      FileIO_Close(h);
      return true;
    }
    // No visitor: rewrite every header as it stands.
    const int32_t action = visit != nullptr ? visit(f.number, header.get(), context) : 1;
    if (action == 1 && WriteHeader(h, header.get(), true, fmt)) ++written;
    FileIO_Close(h);
    return action >= 0;
  });
  return written;
}

int32_t DeleteAllPositions(int32_t number) {
  char path[kMaxPath];
  if (!ExistingFile(number, path)) return 0;
  return RewriteFile(path, kFormat560, kFormat560, 1);
}

int32_t DeleteAllOrders() {
  int32_t deleted = 0;
  for (const OrderFile& f : ListOrderFiles()) deleted += FileIO_DeleteFile(f.path.c_str()) ? 1 : 0;
  return deleted;
}

int32_t ConvertFile550To560(const char* path) {
  return RewriteFile(path, kFormat550, kFormat560, -1);
}

int32_t DoUpdate(int32_t newVersion, int32_t oldVersion) {
  bool ran = false;
  if (newVersion >= 550 && oldVersion <= 540) {
    WaitCursor wait;
    ChangeEachHeader(nullptr, nullptr, kFormat550);
    ran = true;
  }
  if (newVersion >= 560 && oldVersion <= 550) {
    ConvertAll550To560();
    ran = true;
  }
  return ran ? 0 : 1;
}

}  // namespace kv::auftrag
