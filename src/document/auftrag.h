// Orders: one plain file per order in the order directory, a header block
// followed by the positions, each stored twice (the position and its
// reference copy, which holds the position as it was agreed, so that changes
// can be found later). Blocks are 207108 bytes in the current format 560 and
// 3980 bytes in the older format 550; block b lies at b * blockSize, so
// position p is block 2p - 1 and its reference copy block 2p. A block must
// end below 2 GiB: the other programs on the data directory address order
// files with 32-bit positions.
#ifndef KV_DOCUMENT_AUFTRAG_H
#define KV_DOCUMENT_AUFTRAG_H

#include <cstdint>
#include <string>
#include <vector>

#include "document/doc_files.h"
#include "services/action.h"
#include "services/fileio.h"

namespace kv::auftrag {

constexpr int32_t kNumberRange = 2;  // "AUFTRAGS NR"
constexpr int32_t kFirstWrappedNumber = 1000;
constexpr int32_t kWrapLimit = 100000001;

// Fields of the header and the position that the library itself touches;
// every other byte is the application's and is moved whole.
constexpr int32_t kHeaderTimeOffset = 2;       // u32 seconds since 1970
constexpr int32_t kHeaderKindOffset = 8;       // order kind text
constexpr int32_t kHeaderSlrTextOffset = 226;  // empty in an empty "SLR" order
constexpr int32_t kHeaderVersionOffset = 994;  // i32 format version
constexpr int32_t kHeaderContentOffset = 1046; // i32, non-zero once filled
constexpr int32_t kPositionTimeOffset = 206912;// u32 seconds since 1970

struct Format {
  int32_t blockSize;
  int32_t version;
};
constexpr Format kFormat560{207108, 560};
constexpr Format kFormat550{3980, 550};

// ---- directories and names (auftrag_files.cpp) ----
void Init(int32_t flag, const char* path);
int32_t InitFlag();
// The order directory and its archive (PLUS_ARCHIVE_Init, SwitchArchivePath).
doc::Directories& Dirs();
char* CreateFileName(int32_t number, char* out, int32_t withDirectory);

// ---- blocks of one open file ----
// Order `number` under its documented name or, when that is missing, under
// the spelling it has on disk (files copied from Windows); -1 when none opens.
FileHandle Open(int32_t number);
// The path of order `number` as it lies on disk (the documented one when no
// file is spelled otherwise); true when that file exists.
[[nodiscard]] bool ExistingFile(int32_t number, char* path);
int32_t ReadHeader(FileHandle h, void* header, const Format& f);
// ReadHeader on a handle opened for this one read, which it closes; the
// buffer is all zero unless the whole header came (a cut file gives no
// header: the caller never sees half of one). An invalid handle reads
// nothing.
int32_t ReadHeaderAndClose(FileHandle h, void* header, const Format& f);
int32_t WriteHeader(FileHandle h, void* header, bool stamp, const Format& f);
int32_t ReadPosition(FileHandle h, int32_t p, int32_t reference, void* position, const Format& f);
int32_t WritePosition(FileHandle h, int32_t p, int32_t reference, void* position, bool stamp,
                      const Format& f);
// Number of whole positions (with their reference copy) in the file.
int32_t PositionCount(FileHandle h, const Format& f);
int32_t ReadAllPositions(FileHandle h, int32_t count, void* buffer);

// ---- whole orders by number ----
int32_t ReadHeaderOf(int32_t number, void* header, const Format& f);
int32_t WriteHeaderOf(int32_t number, void* header, const Format& f);
int32_t ReadPositionOf(int32_t number, int32_t p, int32_t reference, void* position);
int32_t WritePositionOf(int32_t number, int32_t p, int32_t reference, void* position,
                        const Format& f);
int32_t WritePositionWithReference(int32_t number, int32_t p, void* position);
int32_t NewPosition(int32_t number, void* position, const Format& f);
int32_t NextFreePosition(int32_t number, const Format& f);
int32_t DeletePosition(int32_t number, int32_t p);
int32_t DeleteAllPositions(int32_t number);
int32_t DeleteOrder(int32_t number);
int32_t IsStillEmpty(int32_t number);
int32_t MoveToArchive(int32_t number, bool toArchive);

// ---- positions ahead of *p ----
int32_t NextPositionInFile(FileHandle h, int32_t* p, void* position);
int32_t NextPosition(int32_t number, int32_t* p, void* position);
// In an image read by ReadAllPositions holding `count` positions.
void* NextPositionAddress(void* image, int32_t count, int32_t* p);
int32_t SetPositionInImage(void* image, int32_t count, int32_t p, int32_t reference,
                           const void* position);

// ---- numbers (auftrag_numbers.cpp) ----
int32_t NextFreeNumber();
int32_t NewNumber();

// ---- walks and upgrade (auftrag_walk.cpp) ----
struct OrderFile {
  int32_t number;
  std::string path;
};
// Every "AFT*.DAT" file of the order directory, in name order.
std::vector<OrderFile> ListOrderFiles();
void CountAndName(int32_t* count, char* path);
int32_t NumberFromName(const char* name);

// Result of a header visitor: 0 stops the walk; for changing walks 1 writes
// the header back, 0 leaves it and -1 stops.
using HeaderVisitor = int32_t (*)(int32_t number, void* header, void* context);
using NumberVisitor = int32_t (*)(int32_t number, void* context);
using HeaderFilter = int32_t (*)(const void* header, int32_t supplier);
int32_t ForEachHeader(HeaderVisitor visit, void* context, HeaderFilter filter, int32_t supplier,
                      bool showProgress);
int32_t ForEachNumber(NumberVisitor visit, void* context);
int32_t ChangeEachHeader(HeaderVisitor visit, void* context, const Format& f);
int32_t DeleteAllOrders();
int32_t DoUpdate(int32_t newVersion, int32_t oldVersion);
// Converts one order file from 3980-byte to 207108-byte blocks through
// "<path>XX"; 1 on success, 0 with the old file untouched.
int32_t ConvertFile550To560(const char* path);

}  // namespace kv::auftrag

#endif  // KV_DOCUMENT_AUFTRAG_H
