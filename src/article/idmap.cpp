// ID mapping files on top of the key files.
#include "article/idmap.h"

#include <cstring>

#include "index/keyfile.h"
#include "article/artlib.h"
#include "services/progress.h"
#include "services/fileio.h"
#include "services/name_resolve.h"

namespace kv::idmap {

using namespace kv::index;

namespace {

// The key-file passes report through a plain function; while one runs for
// an ID mapping file its progress goes to the display installed here, for
// the thread that runs the pass.
thread_local const Progress* g_display = nullptr;

// Extension counts slots up.
void ShowGrowth(int32_t slot) {
  if (g_display != nullptr) g_display->At(slot, slot);
}

// Chaining counts slots down to 0.
void ShowChaining(int32_t slot) {
  if (g_display != nullptr) g_display->At(slot, g_display->total() - slot);
}

// A display that the passes of one scope report to.
class PassDisplay {
 public:
  PassDisplay(const char* title, int32_t total) : progress_(title, total) { g_display = &progress_; }
  ~PassDisplay() { g_display = nullptr; }
  PassDisplay(const PassDisplay&) = delete;
  PassDisplay& operator=(const PassDisplay&) = delete;

 private:
  Progress progress_;
};

}  // namespace

// The maps hold one key per article at most, so they follow the article
// family's configured maximum (0 until ARTLIB_Init has run).
int32_t IdMapSlotCount() {
  const int32_t articles = artlib::max_count();
  return articles > kIdMapMinSlots ? articles : kIdMapMinSlots;
}

BaumKeyDatei* InitIdMapFile(const char* dataDir, const char* fileName) {
  if (dataDir == nullptr || fileName == nullptr) return nullptr;
  char path[kMaxPath];
  if (!CopyPath(path, dataDir)) return nullptr;
  FileIO_MakePathName(path);
  if (std::strlen(path) + std::strlen(fileName) >= sizeof path) return nullptr;
  std::strcat(path, fileName);
  FileIO_ResolveNameCase(path);  // a map copied from Windows may be spelled otherwise

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
    PassDisplay display(fileName, d->slotCount);
    ok = KeyFileRebuildFreeList(d, ShowChaining) == 1;
  } else {
    const int32_t onDisk = KeyFileSlotsInSize(kIdMapRecordSize, FileIO_Size(d->handle));
    if (onDisk > wanted) {
      d->slotCount = onDisk;  // never hide keys in the upper slots
    } else if (onDisk < wanted && onDisk >= 1) {
      d->slotCount = onDisk;
      PassDisplay display(fileName, wanted);
      ok = KeyFileExtend(d, ShowGrowth, wanted) == 1 && KeyFileRebuildFreeList(d, ShowChaining) == 1;
    }
  }
  KeyFileClose(d);
  if (!ok) {
    KeyFileExit(d);
    return nullptr;
  }
  return d;
}

}  // namespace kv::idmap
