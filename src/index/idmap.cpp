// ID mapping files on top of the key files.
#include "index/idmap.h"

#include <cstring>

#include "index/keyfile.h"
#include "services/fileio.h"

namespace kv::index {

int32_t IdMapSlotCount() { return kIdMapMinSlots; }

BaumKeyDatei* InitIdMapFile(const char* dataDir, const char* fileName) {
  if (dataDir == nullptr || fileName == nullptr) return nullptr;
  char path[kMaxPath];
  if (!CopyPath(path, dataDir)) return nullptr;
  FileIO_MakePathName(path);
  if (std::strlen(path) + std::strlen(fileName) >= sizeof path) return nullptr;
  std::strcat(path, fileName);

  const int32_t wanted = IdMapSlotCount();
  const bool existed = FileIO_Exist(path) != 0;
  BaumKeyDatei* d = KeyFileInit(path, kIdMapRecordSize, wanted);
  if (d == nullptr) return nullptr;
  if (KeyFileOpen(d) != 1) {
    KeyFileExit(d);
    return nullptr;
  }
  bool ok = true;
  if (!existed) {
    // A new file chains only every other slot; link them all.
    ok = KeyFileRebuildFreeList(d, nullptr) == 1;
  } else {
    const int32_t onDisk = KeyFileSlotsInSize(kIdMapRecordSize, FileIO_Size(d->handle));
    if (onDisk > wanted) {
      d->slotCount = onDisk;  // never hide keys in the upper slots
    } else if (onDisk < wanted && onDisk >= 1) {
      d->slotCount = onDisk;
      ok = KeyFileExtend(d, nullptr, wanted) == 1 && KeyFileRebuildFreeList(d, nullptr) == 1;
    }
  }
  KeyFileClose(d);
  if (!ok) {
    KeyFileExit(d);
    return nullptr;
  }
  return d;
}

}  // namespace kv::index
