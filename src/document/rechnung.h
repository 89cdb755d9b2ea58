// Invoices: one plain file per invoice in the invoice directory, the 872-byte
// invoice record followed by 376-byte detail records one after the other.
// Current format 610. Sizes and format are the public header's
// (RECHNUNGDBA_RECORD, _DETAIL, _VERSION); the record's status word and
// version word are the only fields the library touches.
#ifndef KV_DOCUMENT_RECHNUNG_H
#define KV_DOCUMENT_RECHNUNG_H

#include <cstdint>

#include "document/doc_files.h"
#include "kvdata/rechnungdba.h"
#include "services/fileio.h"

namespace kv::rechnung {

constexpr int32_t kStatusOffset = 504;
constexpr int32_t kVersionOffset = 548;

void Init(int32_t prefix, const char* path);
// The invoice directory and its archive (PLUS_ARCHIVE_Init, SwitchArchivePath).
doc::Directories& Dirs();
char* CreateFileName(int32_t number, char* out);

FileHandle Create(int32_t number);
int32_t Exists(int32_t number);
int32_t Delete(int32_t number);
int32_t WriteRecord(FileHandle h, void* record);
int32_t ReadRecord(FileHandle h, void* record);
int32_t WriteDetail(FileHandle h, const void* detail);
int32_t ReadDetail(FileHandle h, void* detail);
int32_t ChangeStatus(int32_t number, int32_t status, void* copy);
int32_t GetStatus(int32_t number);

// Opens an invoice file of the invoice or the archive directory (read-only
// or read-write); -1 for any other path.
FileHandle OpenFile(const char* path, bool writable);
FileHandle FindFirst(const char* pattern, char* path);
int32_t FindNext(FileHandle h, char* path);
void FindClose(FileHandle h);
int32_t MoveToArchive(const char* path, bool toArchive);

// The upgrade steps, in order; each rewrites every invoice file of the
// directories it covers that is not yet at its target version.
int32_t DoUpdate(int32_t newVersion, int32_t oldVersion);
// One file: copies it to "<path>XX" with the version word set to `target`,
// deletes the original and renames the copy. 1 when rewritten, 0 when the
// file was already at the target or could not be rewritten (then untouched).
int32_t UpgradeFile(const char* path, int32_t target);

}  // namespace kv::rechnung

#endif  // KV_DOCUMENT_RECHNUNG_H
