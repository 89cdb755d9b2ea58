// Settings-file helpers. The library keeps no settings file of its own; the
// host names one with KVHOST_SetSettingsFile, by default "kvdata.ini" in the
// directory of the library module.
#ifndef KV_SERVICES_INI_H
#define KV_SERVICES_INI_H

#include <cstdint>

namespace kv {

// Splits a full path into directory (with separator) and file name.
void INI_SeparateFile(const char* fullPath, char* directory, char* name);
// The settings file's directory (with separator) and name, 260 bytes each.
void INI_GetPathAndFile(char* directory, char* name);
// Makes a unique file name "<prefix><number>.TMP" in directory and creates
// the file empty so that the name stays reserved; 1 on success.
int32_t INI_CreateTempFilename(const char* directory, const char* prefix, char* outPath);
// Sets the settings file (null or empty: back to the default).
void INI_SetSettingsFile(const char* path);

}  // namespace kv

#endif  // KV_SERVICES_INI_H
