// Helpers shared by the one-file-per-document families (orders, invoices):
// directory listings, the rewrite protocol and progress of walks.
//
// A whole file is rewritten by writing the new content to "<name>XX" beside
// it, then renaming that over the old file in one step, so the name always
// leads to a complete file, old or new. A rewrite by an older release
// deleted the old file first; a crash after that delete leaves the complete
// new file under its XX name, and FinishInterruptedRewrites renames it on
// the next run. No crash loses a document.
#ifndef KV_DOCUMENT_DOC_FILES_H
#define KV_DOCUMENT_DOC_FILES_H

#include <cstdint>
#include <string>
#include <vector>

#include "services/fileio.h"
#include "services/progress.h"

namespace kv::doc {

// directory + name (a separator put between when the directory lacks one)
// into a 260-byte buffer; false when it does not fit.
[[nodiscard]] bool JoinPath(const char* directory, const char* name, char* out);
// directory := the directory part of path (a null or over-long path leaves
// it unchanged). Both are 260-byte buffers.
void SetDirectoryFromPath(char* directory, const char* path);
// ---- Archive directories ----
// How a family derives its archive directory from the archive root and the
// path handed to its PLUS_ARCHIVE_Init. The two families have always done it
// differently, and existing archives lie where their own rule put them, so
// each keeps its rule:
//   kOrders    the root without its last character, whatever that is (it is
//              expected to be a separator), then the path after its drive
//              colon with a file pattern ("...\AFT*.DAT", from the first '*'
//              back to the separator before it) cut off. A path without a
//              pattern is taken whole, file part included.
//              "D:\ARCHIV\" + "C:\DATA\AUFTRAG\AFT*.DAT" -> "D:\ARCHIV\DATA\AUFTRAG\"
//              "D:\ARCHIV"   + "C:\DATA\AUFTRAG\AFT*.DAT" -> "D:\ARCHI\DATA\AUFTRAG\"
//   kInvoices  the root made to end in one separator, which is then dropped
//              (so a root with or without it gives the same), then the
//              directory part of the path after its drive colon.
//              "D:\ARCHIV" + "C:\DATA\RECHNUNG\RECH*.*" -> "D:\ARCHIV\DATA\RECHNUNG\"
// The result goes to out (260 bytes); false, with out empty, for an empty
// root or a result that does not fit.
enum class ArchiveRule { kOrders, kInvoices };
[[nodiscard]] bool ArchiveDirectory(ArchiveRule rule, const char* root, const char* path, char* out);
// A family's PLUS_ARCHIVE_Init: archiveDir (260 bytes) becomes the archive of
// the family's directory at path below root, found whatever the case of its
// name and created where missing; 1 when it is there. Without a root, or
// when the directory cannot be derived, archiveDir is left empty (the
// process works without an archive from then on) and the result is 0.
int32_t SetUpArchive(ArchiveRule rule, const char* root, const char* path, char* archiveDir);

// ---- Confinement ----
// A family acts only on its own files: a bare name of its pattern (prefix,
// then digits or a minus sign, then the extension; letters compared without
// case, as the file systems of the installations do).
[[nodiscard]] bool IsDocumentName(const char* name, const char* prefix, const char* extension);
// True when path names a file directly inside directory: the same directory
// once separators are unified and a trailing one dropped, and no ".."
// anywhere. The name part goes to name (260 bytes) when it is not null.
[[nodiscard]] bool DirectlyInside(const char* path, const char* directory, char* name);
// A find pattern that stays inside the directory it is joined to: no
// separator, no drive colon, no "..".
[[nodiscard]] bool IsBarePattern(const char* pattern);

// ---- Names spelled otherwise ----
// A document file copied from a Windows server may be spelled "aft00012.dat"
// where the family asks for "AFT00012.DAT"; Windows folds case, so its
// stations never notice. A family first uses the name as documented (the
// common case, at no extra cost) and comes here only when that missed:
// true when `directory` holds no entry spelled exactly `name` but one that
// differs from it only in ASCII case (the first in byte order when there are
// several, so every station takes the same one); its path goes to out (260
// bytes). One directory read. Always false where the file system folds case.
[[nodiscard]] bool SpelledOtherwise(const char* directory, const char* name, char* out);
// directory + name, or the entry spelled otherwise when there is one: the
// path a family acts on, and never a second file beside an existing one.
[[nodiscard]] bool PathOnDisk(const char* directory, const char* name, char* out);
// Renames the document `name` from directory `from` into directory `to`,
// keeping the name as it is spelled on disk in `from`. A file at `to` with
// that name in any case refuses the move, as the exact name does. 1 on
// success.
int32_t MoveDocument(const char* from, const char* to, const char* name);

// Swaps a family's working directory with its archive directory: 1, or 0
// (nothing swapped) when the archive directory is not set or does not exist.
int32_t SwapWithArchive(char* directory, char* archive);
// A family's working directory and its archive directory, one pair for the
// whole process, with the family's archive rule. Switch swaps them so that
// every operation works on the archive instead.
struct Directories {
  Directories(const char* initial, ArchiveRule rule);
  char current[kMaxPath];
  char archive[kMaxPath] = "";
  ArchiveRule rule;
  // current := the directory part of path (the family's Init).
  void Init(const char* path) { SetDirectoryFromPath(current, path); }
  // The archive of the directory at path below root (SetUpArchive); after
  // Init, this is the family's PLUS_ARCHIVE_Init.
  int32_t SetUpArchive(const char* path, const char* root) { return doc::SetUpArchive(rule, root, path, archive); }
  // SwapWithArchive: 1, or 0 with nothing swapped.
  int32_t Switch() { return SwapWithArchive(current, archive); }
};

// Full paths of the files in `directory` matching `pattern`, in name order,
// taken before the caller changes anything.
std::vector<std::string> ListFiles(const char* directory, const char* pattern);
// "<path>XX" into a 260-byte buffer; false when it does not fit.
[[nodiscard]] bool TempPathFor(const char* path, char* out);
// Puts `temp` in place of `path` in one step (FileIO_ReplaceFile); when
// `path` is gone or the swap fails the temp file goes and the original
// stays. 1 on success.
int32_t ReplaceWithTemp(const char* path, const char* temp);
// Renames every "XX" file matching `tempPattern` in `directory` whose
// original is gone.
void FinishInterruptedRewrites(const char* directory, const char* tempPattern);

// The document walks' display: it starts at 0 and advances on every file.
inline Progress::Options DocumentProgress(bool show) { return {.first = 0, .eachItem = true, .show = show}; }

}  // namespace kv::doc

#endif  // KV_DOCUMENT_DOC_FILES_H
