/* A shop program in C, built against kvdata.dll through its import library
 * (libkvdata.dll.a) and the umbrella header, the way the application's own
 * programs are. Building it checks that the public headers compile as C
 * with dllimport and that the 32-bit import library resolves the decorated
 * stdcall names; running it (64-bit, under Wine) creates, opens and extends
 * a record file through the DLL.
 * usage: kvdata_dll_consumer DIRECTORY   (exit code 0 = every step worked) */
#include <stdio.h>
#include <string.h>

#include <kvdata/kvdata.h>

int main(int argc, char** argv) {
  DbaFile file;
  char text[64];
  int32_t first, second;
  if (argc < 2) return 64;
  memset(&file, 0, sizeof file);
  file.handle = -1;
  file.recordSize = 24;
  file.idCapacity = 4;
  snprintf(file.path, sizeof file.path, "%s\\CONSUMER.DBA", argv[1]);
  if (DBA_InitDBA(&file) != &file) return 1;
  if (DBA_NeueDBA(&file) == 0) return 2;
  if (DBA_OpenDBA(&file) == 0) return 3;
  first = DBA_NewITEM(&file);
  second = DBA_NewITEM(&file);
  DBA_CloseDBA(&file);
  if (first != 1 || second != 2) return 4;
  if (KVHOST_LoadString(104, text, sizeof text) != 7 || strcmp(text, "KALVORA") != 0) return 5;
  printf("kvdata.dll: record file %s with items %d and %d\n", file.path, (int)first, (int)second);
  return 0;
}
