// Number ranges: read and write one counter of NUMMERN.DAT.
//
// The file is opened and closed inside every call. Nummern_* take no lock;
// the families that must never hand out a number twice (order numbers, own
// EAN codes) go through UpdateCounters, which locks the counter's bytes
// around its read, increment and write.
#include "core/nummern.h"

#include <cstring>

#include "kvdata/kvhost.h"
#include "services/cause.h"
#include "services/fileio.h"
#include "services/le_fields.h"
#include "services/hostui.h"
#include "services/name_resolve.h"
#include "services/platform.h"
#include "services/storage.h"
#include "services/strings.h"
#include "services/process_state.h"

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

// Family state, one thread at a time (services/process_state.h).
auto& NumbersFile() { return FamilyState<char[kMaxPath], struct NumberRangePath>(); }

bool ValidIndex(int32_t index) { return index >= 0 && index < kCounterCount; }

int32_t GetCounter(const unsigned char* image, int32_t index) { return le::GetI32(image, 4 * static_cast<size_t>(index)); }

void PutCounter(unsigned char* image, int32_t index, int32_t value) {
  le::PutI32(image, 4 * static_cast<size_t>(index), value);
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
  FileIO_ResolveNameCase(moduleFile);
  if (FileIO_Exist(NumbersFile()) || !FileIO_Exist(moduleFile) || SamePath(moduleFile, NumbersFile())) return;
  if (FileIO_CopyFile(moduleFile, NumbersFile(), 0)) FileIO_DeleteFile(moduleFile);
}

}  // namespace

const char* CounterName(int32_t index) {
  return index >= 0 && index < kNamedCounters ? kNames[index] : nullptr;
}

const char* FilePath() { return NumbersFile(); }

void Init(const char* path) {
  if (path == nullptr) return;
  char directory[kMaxPath];
  if (!DataDirectoryOf(path, directory)) return;
  std::string file = ResolvedFileIn(directory, kFileName);
  if (!CopyPath(NumbersFile(), file.c_str())) return;
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
  FileHandle h = FileIO_OpenRWS(NumbersFile());
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
  if (!ValidIndex(index) || NumbersFile()[0] == '\0') {
    return Refuse(NumbersFile()[0] ? "counter outside 0..199" : "number-range file not set up (Nummern_Init)");
  }
  StorageBlock buffer(kFileSize);
  if (!buffer) return 0;
  auto* image = static_cast<unsigned char*>(buffer.get());
  std::memset(image, 0, kFileSize);
  FileHandle h = FileIO_OpenRWS(NumbersFile());
  // The question reads "create anew? ... or search again? (J/N)", yet Yes
  // searches again and No creates: users know it this way round.
  while (h == kInvalidHandle && UserWantsToSearchAgain()) {
    FileIO_ResolveNameCase(NumbersFile());  // it may have come back under another case
    h = FileIO_OpenRWS(NumbersFile());
  }
  if (h == kInvalidHandle) {
    FileIO_ResolveNameCase(NumbersFile());  // never a second file beside one spelled otherwise
    h = FileIO_OpenRWS(NumbersFile());
  }
  if (h == kInvalidHandle) {
    // A new file holds this counter only; every other one starts at 0.
    h = FileIO_CreateRWS(NumbersFile());
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

bool UpdateCounters(int32_t first, int32_t count, const std::function<bool(int32_t* values)>& next) {
  if (count < 1 || count > kCounterCount || !ValidIndex(first) || !ValidIndex(first + count - 1) || !next)
    return false;
  FileHandle h = FileIO_OpenRWS(NumbersFile());
  if (h == kInvalidHandle) FatalError(kStrFileErrorNummern);
  const int64_t position = int64_t{4} * first;
  const int32_t length = 4 * count;
  bool ok = false;
  if (FileIO_Lock(h, position, length)) {
    unsigned char bytes[kFileSize] = {};  // a short file reads as zeros
    int32_t values[kCounterCount];
    if (FileIO_SetPos(h, position) == position) {
      FileIO_Read(h, bytes, length);
      for (int32_t i = 0; i < count; ++i) values[i] = GetCounter(bytes, i);
      if (next(values)) {
        for (int32_t i = 0; i < count; ++i) PutCounter(bytes, i, values[i]);
        ok = FileIO_SetPos(h, position) == position && FileIO_Write(h, bytes, length) == length;
      }
    }
    FileIO_Unlock(h, position, length);
  }
  FileIO_Close(h);
  return ok;
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
