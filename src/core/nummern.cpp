// Number ranges: read and write one counter of NUMMERN.DAT.
//
// The file is opened and closed inside every call and no lock is taken; the
// families that hand out numbers check them against their own files.
#include "core/nummern.h"

#include <cstring>

#include "kvdata/kvhost.h"
#include "services/cause.h"
#include "services/fileio.h"
#include "services/hostui.h"
#include "services/platform.h"
#include "services/storage.h"
#include "services/strings.h"

namespace kv::nummern {

namespace {

// Index = counter number; the table ends with a null entry.
const char* const kNames[kNamedCounters + 1] = {
    "RETOUREN NR",
    "RECHNUNGS NR",
    "AUFTRAGS NR",
    "LIEFERSCHEIN NR",
    "WARENEINGANGS NR",
    "UMLAGER NR",
    "UMTAUSCH NR",
    "INVENTUR NR",
    "KUNDENBESTELL NR",
    "LIEFREKLA NR",
    "EU_DATEI NR",
    "EIGENE EAN-ARTIKEL-NR",
    "EIGENE EAN-LIEFERANT-NR",
    nullptr,
};

char g_path[kMaxPath] = "";

bool ValidIndex(int32_t index) { return index >= 0 && index < kCounterCount; }

int32_t GetCounter(const unsigned char* image, int32_t index) {
  const unsigned char* p = image + 4 * index;
  return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                              static_cast<uint32_t>(p[2]) << 16 |
                              static_cast<uint32_t>(p[3]) << 24);
}

void PutCounter(unsigned char* image, int32_t index, int32_t value) {
  unsigned char* p = image + 4 * index;
  uint32_t v = static_cast<uint32_t>(value);
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

// Reads the whole file image over the cleared buffer; a short file leaves
// zeros behind its end.
void ReadImage(FileHandle h, unsigned char* image) {
  FileIO_SetPos(h, 0);
  FileIO_Read(h, image, kFileSize);
}

// Without its counters a program cannot go on handing out numbers, so a
// failed read stops the whole process after telling the user.
[[noreturn]] void FatalError(int32_t textId) {
  HostFatal(LibString(textId), LibString(kStrProductName), 1);
}

// Asks whether to look for the file again (Yes) or to create it anew (No).
bool UserWantsToSearchAgain() {
  return HostMessageBox(LibString(kStrNummernQuestion), LibString(kStrProductName),
                        KV_MB_YESNO | KV_MB_ICONQUESTION) == KV_IDYES;
}

bool SamePath(const char* a, const char* b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    bool sepA = IsPathSep(*a), sepB = IsPathSep(*b);
    if (sepA != sepB || (!sepA && *a != *b)) return false;
  }
  return *a == *b;
}

// A NUMMERN.DAT lying beside the library (where older installations kept
// it) moves into the data directory when that has none yet. The copy is
// deleted only once the move has succeeded.
void AdoptModuleDirectoryFile() {
  char moduleFile[kMaxPath];
  if (!FileIO_GetModuleDirectory(moduleFile)) return;
  size_t n = std::strlen(moduleFile);
  if (n + std::strlen(kFileName) >= static_cast<size_t>(kMaxPath)) return;
  std::memcpy(moduleFile + n, kFileName, std::strlen(kFileName) + 1);
  if (FileIO_Exist(g_path) || !FileIO_Exist(moduleFile) || SamePath(moduleFile, g_path)) return;
  if (FileIO_CopyFile(moduleFile, g_path, 0)) FileIO_DeleteFile(moduleFile);
}

}  // namespace

const char* CounterName(int32_t index) {
  return index >= 0 && index < kNamedCounters ? kNames[index] : nullptr;
}

const char* FilePath() { return g_path; }

void Init(const char* path) {
  if (path == nullptr) return;
  char directory[kMaxPath];
  if (!CopyPath(directory, path)) return;
  FileIO_PathRemoveFileName(directory);
  if (std::strlen(directory) + std::strlen(kFileName) >= static_cast<size_t>(kMaxPath)) return;
  std::strcpy(g_path, directory);
  std::strcat(g_path, kFileName);
  AdoptModuleDirectoryFile();
}

int32_t ReadCounter(int32_t* value, int32_t index) {
  if (value == nullptr || !ValidIndex(index)) return Refuse(value ? "counter outside 0..199" : "no value pointer");
  StorageBlock buffer(kFileSize);
  if (!buffer) {
    *value = 0;
    FatalError(kStrMallocErrorNummern);
  }
  auto* image = static_cast<unsigned char*>(buffer.get());
  std::memset(image, 0, kFileSize);
  FileHandle h = FileIO_OpenRWS(g_path);
  if (h == kInvalidHandle) {
    *value = 0;
    FatalError(kStrFileErrorNummern);
  }
  ReadImage(h, image);
  FileIO_Close(h);
  *value = GetCounter(image, index);
  return 1;
}

int32_t WriteCounter(int32_t value, int32_t index) {
  if (!ValidIndex(index) || g_path[0] == '\0') {
    return Refuse(g_path[0] ? "counter outside 0..199" : "number-range file not set up (Nummern_Init)");
  }
  StorageBlock buffer(kFileSize);
  if (!buffer) return 0;
  auto* image = static_cast<unsigned char*>(buffer.get());
  std::memset(image, 0, kFileSize);
  FileHandle h = FileIO_OpenRWS(g_path);
  // The question reads "create anew? ... or search again? (J/N)", yet Yes
  // searches again and No creates: users know it this way round.
  while (h == kInvalidHandle && UserWantsToSearchAgain()) h = FileIO_OpenRWS(g_path);
  if (h == kInvalidHandle) {
    // A new file holds this counter only; every other one starts at 0.
    h = FileIO_CreateRWS(g_path);
    if (h == kInvalidHandle) return 0;
  } else {
    ReadImage(h, image);
  }
  PutCounter(image, index, value);
  FileIO_SetPos(h, 0);
  int32_t written = FileIO_Write(h, image, kFileSize);
  FileIO_Close(h);
  return written == kFileSize ? 1 : 0;
}

bool ReadAll(const char* path, std::array<int32_t, kCounterCount>& counters) {
  unsigned char image[kFileSize] = {};
  FileHandle h = FileIO_OpenROS(path);
  if (h == kInvalidHandle) return false;
  ReadImage(h, image);
  FileIO_Close(h);
  for (int32_t i = 0; i < kCounterCount; ++i) counters[i] = GetCounter(image, i);
  return true;
}

}  // namespace kv::nummern
