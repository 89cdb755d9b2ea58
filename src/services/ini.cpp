// Settings-file helpers.
#include "services/ini.h"

#include <cstdio>
#include <cstring>

#include "services/fileio.h"
#include "services/platform.h"
#include "services/process_state.h"

namespace kv {

namespace {
// Family state, one thread at a time (services/process_state.h).
auto& SettingsFile() { return FamilyState<char[kMaxPath], struct SettingsPath>(); }
}

void INI_SetSettingsFile(const char* path) {
  if (!CopyPath(SettingsFile(), path)) SettingsFile()[0] = '\0';
}

void INI_GetPathAndFile(char* directory, char* name) {
  char full[kMaxPath];
  if (SettingsFile()[0] != '\0') {
    std::memcpy(full, SettingsFile(), sizeof full);
  } else {
    char dir[kMaxPath];
    if (!FileIO_GetModuleDirectory(dir)) dir[0] = '\0';
    int n = std::snprintf(full, sizeof full, "%s%s", dir, "kvdata.ini");
    if (n < 0 || n >= static_cast<int>(sizeof full)) full[0] = '\0';
  }
  char d[kMaxPath], n[kMaxPath];
  FileIO_Separate(full, d, n);
  if (directory) std::memcpy(directory, d, std::strlen(d) + 1);
  if (name) std::memcpy(name, n, std::strlen(n) + 1);
}

int32_t INI_CreateTempFilename(const char* directory, const char* prefix, char* outPath) {
  if (outPath == nullptr) return 0;
  outPath[0] = '\0';
  char dir[kMaxPath];
  if (!CopyPath(dir, directory)) return 0;
  FileIO_MakePathName(dir);
  static uint32_t counter = 0;
  uint32_t seed = static_cast<uint32_t>(ProcessId()) * 2654435761u ^ static_cast<uint32_t>(MonotonicMs());
  for (int attempt = 0; attempt < 1000; ++attempt) {
    char candidate[kMaxPath + 32];
    uint32_t number = (seed + ++counter) & 0xFFFFu;
    int n = std::snprintf(candidate, sizeof candidate, "%s%.3s%04X.TMP", dir, prefix ? prefix : "", number);
    if (n <= 0 || n >= kMaxPath) return 0;
    FileHandle h = FileIO_CreateNewExclusive(candidate, false);
    if (h != kInvalidHandle) {
      FileIO_Close(h);
      std::memcpy(outPath, candidate, static_cast<size_t>(n) + 1);
      return 1;
    }
  }
  return 0;
}

}  // namespace kv
