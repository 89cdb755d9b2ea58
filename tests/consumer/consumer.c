/* A C program that embeds an installed kvdata, built four ways by
 * scripts/check_consumers.sh (CMake package and pkg-config, shared and
 * static). It checks that the headers compile as C, that the library it runs
 * against is the version it was compiled for, that a record file can be
 * created and filled, and that a failing call says why.
 * usage: kvdata_consumer DIRECTORY   (exit code 0 = every step worked) */
#include <stdio.h>
#include <string.h>

#include <kvdata/kvdata.h>
#include <kvdata/version.h>

int main(int argc, char** argv) {
  DbaFile file;
  DbaFile missing;
  int32_t first, second;
  if (argc < 2) return 64;
  if (KVHOST_Version() != KVDATA_VERSION_NUMBER) return 1;

  memset(&file, 0, sizeof file);
  file.handle = -1;
  file.recordSize = 24;
  file.idCapacity = 4;
  snprintf(file.path, sizeof file.path, "%s/CONSUMER.DBA", argv[1]);
  if (DBA_NeueDBA(&file) == 0) return 2;
  if (DBA_OpenDBA(&file) == 0) return 3;
  first = DBA_NewITEM(&file);
  second = DBA_NewITEM(&file);
  DBA_CloseDBA(&file);
  if (first != 1 || second != 2) return 4;
  if (KVHOST_LastError() != KV_ERR_NONE) return 5;

  /* A file that is not there: 0, and the reason names it. */
  missing = file;
  snprintf(missing.path, sizeof missing.path, "%s/MISSING.DBA", argv[1]);
  if (DBA_UsedITEMs(&missing) != 0 || KVHOST_LastError() != KV_ERR_NOT_FOUND) return 6;
  if (strstr(KVHOST_LastErrorText(), "MISSING.DBA") == NULL) return 7;

  printf("kvdata %s: items %d and %d in %s; a missing file reports \"%s\"\n", KVDATA_VERSION_STRING,
         (int)first, (int)second, file.path, KVHOST_LastErrorText());
  return 0;
}
