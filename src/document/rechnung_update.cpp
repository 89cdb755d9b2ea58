// Upgrade of the invoice files. The record layouts of the formats before 610
// are not known to this library, so no step moves fields around: a step
// carries every byte of the file unchanged and sets the version word of the
// invoice record to its target, following the XX rewrite protocol. Files
// already at or above a step's target (or too short to hold an invoice
// record) are left as they are, so running an upgrade twice changes nothing.
#include <cstring>
#include <string>

#include "document/doc_files.h"
#include "document/rechnung.h"
#include "services/le_fields.h"
#include "services/storage.h"

namespace kv::rechnung {

namespace {

struct Step {
  int32_t target;
  int32_t oldBelow;     // runs when old < oldBelow
  bool withArchive;     // also over the archive directory
};
constexpr Step kSteps[] = {
    {550, 541, false}, {560, 551, false}, {570, 561, true}, {580, 571, true},
    {600, 581, true},  {605, 601, true},  {610, 606, true},
};

int32_t CopyWithVersion(FileHandle src, FileHandle dst, int64_t size, int32_t target) {
  constexpr int32_t kChunk = 64 * 1024;
  StorageBlock buffer(kChunk);
  if (!buffer) return 0;
  char* bytes = static_cast<char*>(buffer.get());
  for (int64_t done = 0; done < size;) {
    const int32_t n = static_cast<int32_t>(size - done < kChunk ? size - done : kChunk);
    if (FileIO_Read(src, bytes, n) != n) return 0;
    if (done == 0) le::PutI32(bytes, kVersionOffset, target);  // first chunk holds the record
    if (FileIO_Write(dst, bytes, n) != n) return 0;
    done += n;
  }
  return 1;
}

void UpgradeDirectory(const char* directory, int32_t target) {
  doc::FinishInterruptedRewrites(directory, "RECH*.*XX");
  const std::vector<std::string> files = doc::ListFiles(directory, "RECH*.*");
  Progress progress(nullptr, static_cast<int32_t>(files.size()), doc::DocumentProgress(true));
  for (const std::string& path : files) {
    progress.Step();
    // Invoice files only: "RECH*.*" also matches the XX copies and names
    // the family never made, which an upgrade must not rewrite.
    const size_t cut = path.find_last_of("/\\");
    if (!doc::IsDocumentName(path.c_str() + (cut == std::string::npos ? 0 : cut + 1), "RECH", ".REC")) continue;
    UpgradeFile(path.c_str(), target);
  }
}

}  // namespace

int32_t UpgradeFile(const char* path, int32_t target) {
  FileHandle src = FileIO_OpenRWS(path);
  if (src == kInvalidHandle) return 0;
  const int64_t size = FileIO_Size(src);
  int32_t version = 0;
  const bool readable = size >= RECHNUNGDBA_RECORD && FileIO_SetPos(src, kVersionOffset) == kVersionOffset &&
                        FileIO_Read(src, &version, 4) == 4 && FileIO_SetPos(src, 0) == 0;
  if (!readable || version >= target) {
    FileIO_Close(src);
    return 0;
  }
  char temp[kMaxPath];
  FileHandle dst = doc::TempPathFor(path, temp) ? FileIO_CreateRWS(temp) : kInvalidHandle;
  int32_t ok = dst != kInvalidHandle && CopyWithVersion(src, dst, size, target);
  FileIO_Close(src);
  FileIO_Close(dst);
  if (!ok) {
    if (dst != kInvalidHandle) FileIO_DeleteFile(temp);
    return 0;
  }
  return doc::ReplaceWithTemp(path, temp);
}

int32_t DoUpdate(int32_t newVersion, int32_t oldVersion) {
  for (const Step& s : kSteps) {
    if (newVersion < s.target || oldVersion >= s.oldBelow) continue;
    UpgradeDirectory(Dirs().current, s.target);
    if (s.withArchive && Dirs().Switch()) {
      UpgradeDirectory(Dirs().current, s.target);
      Dirs().Switch();
    }
  }
  return 0;
}

}  // namespace kv::rechnung
