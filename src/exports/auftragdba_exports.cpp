// AUFTRAGDBA_*: orders and order positions, forwarding to src/document.
#include "exports/guard.h"
#include <cstring>

#include "document/auftrag.h"
#include "kvdata/auftragdba.h"

namespace {

using namespace kv::auftrag;

int32_t NameMatches(const char* a, const char* b) {
  for (; *a && *b; ++a, ++b) {
    if ((*a | 0x20) != (*b | 0x20)) return 0;
  }
  return *a == *b;
}

}  // namespace

// The functions that exist once for the current 560 layout and once, named
// with 550, for the older one: the same calls with the other format.
#define KV_ORDER_FORMAT_EXPORTS(format, ReadAuftragsKopf, WriteAuftragsKopf, WriteAuftragsKopfMitTimeInfo,              \
                                ReadPositionAt, LeseAuftragsKopf, SchreibeAuftragsKopf, SchreibePOSITION, NeuePOSITION, \
                                NextFreePOSITION, AendernMitAllenAuftraegen)                                            \
  KV_API int32_t ReadAuftragsKopf(int32_t handle, void* kopf) KV_TRY(int32_t) {                                         \
    return ReadHeader(handle, kopf, format);                                                                            \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t WriteAuftragsKopf(int32_t handle, void* kopf) KV_TRY(int32_t) {                                        \
    return WriteHeader(handle, kopf, true, format);                                                                     \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t WriteAuftragsKopfMitTimeInfo(int32_t handle, void* kopf, int32_t stamp) KV_TRY(int32_t) {              \
    return WriteHeader(handle, kopf, stamp != 0, format);                                                               \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t ReadPositionAt(int32_t handle, int32_t p, int32_t referenz, void* position) KV_TRY(int32_t) {          \
    return ReadPosition(handle, p, referenz, position, format);                                                         \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t LeseAuftragsKopf(int32_t auftragsNr, void* kopf) KV_TRY(int32_t) {                                     \
    return ReadHeaderOf(auftragsNr, kopf, format);                                                                      \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t SchreibeAuftragsKopf(int32_t auftragsNr, void* kopf) KV_TRY(int32_t) {                                 \
    return WriteHeaderOf(auftragsNr, kopf, format);                                                                     \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t SchreibePOSITION(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {                      \
    return WritePositionOf(auftragsNr, p, 0, position, format);                                                         \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t NeuePOSITION(int32_t auftragsNr, void* position) KV_TRY(int32_t) {                                     \
    return NewPosition(auftragsNr, position, format);                                                                   \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t NextFreePOSITION(int32_t auftragsNr) KV_TRY(int32_t) {                                                 \
    return NextFreePosition(auftragsNr, format);                                                                        \
  } KV_CATCH(0)                                                                                                         \
  KV_API int32_t AendernMitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context) KV_TRY(int32_t) {           \
    return ChangeEachHeader(callback, context, format);                                                                 \
  } KV_CATCH(0)

// Exports over one position of an order by its number: each entry's call is
// written over the parameters auftragsNr, p and position.
#define KV_ORDER_POSITION_CALLS(X)                                                                        \
  X(AUFTRAGDBA_LesePOSITION, ReadPositionOf(auftragsNr, p, 0, position))                                  \
  X(AUFTRAGDBA_LeseReferenzPOSITION, ReadPositionOf(auftragsNr, p, 1, position))                          \
  X(AUFTRAGDBA_SchreibeReferenzPOSITION, WritePositionOf(auftragsNr, p, 1, position, kFormat560))         \
  X(AUFTRAGDBA_SchreibePOSITIONPlusReferenzabgleich, WritePositionWithReference(auftragsNr, p, position))
#define KV_ORDER_POSITION_EXPORT(name, call)                                           \
  KV_API int32_t name(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) { \
    return call;                                                                       \
  } KV_CATCH(0)

extern "C" {

KV_API void AUFTRAGDBA_Init(int32_t flag, const char* path) KV_TRY_VOID { Init(flag, path); } KV_CATCH_VOID
KV_API int32_t AUFTRAGDBA_PLUS_ARCHIVE_Init(int32_t flag, const char* path, const char* archiveRoot) KV_TRY(int32_t) {
  Init(flag, path);
  return Dirs().SetUpArchive(path, archiveRoot);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SwitchArchivePath(void) KV_TRY(int32_t) { return Dirs().Switch(); } KV_CATCH(0)
KV_API char* AUFTRAGDBA_CreateFileName(int32_t auftragsNr, char* out, int32_t withDirectory) KV_TRY(char*) {
  return CreateFileName(auftragsNr, out, withDirectory);
} KV_CATCH(nullptr)
KV_API char* AUFTRAGDBA_MakeFileName(int32_t auftragsNr, char* out) KV_TRY(char*) { return CreateFileName(auftragsNr, out, 1); } KV_CATCH(nullptr)
KV_API void AUFTRAGDBA_GetAUFTRAGSizeAndName(int32_t* count, char* path) KV_TRY_VOID { CountAndName(count, path); } KV_CATCH_VOID

KV_API int32_t AUFTRAGDBA_GetAUFTRAGIDFromName(const char* name) KV_TRY(int32_t) {
  if (name == nullptr) return 0;
  char dir[kv::kMaxPath], bare[kv::kMaxPath];
  kv::FileIO_Separate(name, dir, bare);
  for (const OrderFile& f : ListOrderFiles()) {
    char own[32];
    CreateFileName(f.number, own, 0);
    if (NameMatches(own, bare)) return f.number;
  }
  return 0;
} KV_CATCH(0)

KV_API int32_t AUFTRAGDBA_NextFreeAuftrag(void) KV_TRY(int32_t) { return NextFreeNumber(); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_NeuerAuftrag(void) KV_TRY(int32_t) { return NewNumber(); } KV_CATCH(0)

KV_API int32_t AUFTRAGDBA_Open(int32_t auftragsNr) KV_TRY(int32_t) { return Open(auftragsNr); } KV_CATCH(-1)
KV_API void AUFTRAGDBA_Close(int32_t handle) KV_TRY_VOID { kv::FileIO_Close(handle); } KV_CATCH_VOID
KV_API void AUFTRAGDBA_FileClose(int32_t handle) KV_TRY_VOID { kv::FileIO_Close(handle); } KV_CATCH_VOID
KV_API int32_t AUFTRAGDBA_WritePosition(int32_t handle, int32_t p, int32_t referenz, void* position) KV_TRY(int32_t) {
  return WritePosition(handle, p, referenz, position, true, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_WritePositionMitTimeInfo(int32_t handle, int32_t p, int32_t referenz, void* position,
                                                   int32_t stamp) KV_TRY(int32_t) {
  return WritePosition(handle, p, referenz, position, stamp != 0, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(int32_t handle, int32_t count, void* buffer) KV_TRY(int32_t) {
  return ReadAllPositions(handle, count, buffer);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_NextPOSITIONWithOpenFile(int32_t handle, int32_t* p, void* position) KV_TRY(int32_t) {
  return NextPositionInFile(handle, p, position);
} KV_CATCH(0)

KV_ORDER_POSITION_CALLS(KV_ORDER_POSITION_EXPORT)
KV_API int32_t AUFTRAGDBA_NextPOSITION(int32_t auftragsNr, int32_t* p, void* position) KV_TRY(int32_t) {
  return NextPosition(auftragsNr, p, position);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_LoeschePOSITION(int32_t auftragsNr, int32_t p) KV_TRY(int32_t) { return DeletePosition(auftragsNr, p); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_PositionenLoeschen(int32_t auftragsNr) KV_TRY(int32_t) { return DeleteAllPositions(auftragsNr); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_LoescheAuftrag(int32_t auftragsNr) KV_TRY(int32_t) { return DeleteOrder(auftragsNr); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_LoescheAlleAuftraege(void) KV_TRY(int32_t) { return DeleteAllOrders(); } KV_CATCH(0)
KV_API void AUFTRAGDBA_ClearAuftrag(void* kopf) KV_TRY_VOID {
  if (kopf != nullptr) std::memset(kopf, 0, AUFTRAGDBA_BLOCK);
} KV_CATCH_VOID
KV_API int32_t AUFTRAGDBA_AuftragIstNochLeer(int32_t auftragsNr) KV_TRY(int32_t) { return IsStillEmpty(auftragsNr); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_Move_To_Archive(int32_t auftragsNr) KV_TRY(int32_t) { return MoveToArchive(auftragsNr, true); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_Move_From_Archive(int32_t auftragsNr) KV_TRY(int32_t) { return MoveToArchive(auftragsNr, false); } KV_CATCH(0)

KV_API void* AUFTRAGDBA_NextPOSITIONSADR_VomSpeicher(void* speicher, int32_t count, int32_t* p) KV_TRY(void*) {
  return NextPositionAddress(speicher, count, p);
} KV_CATCH(nullptr)
KV_API int32_t AUFTRAGDBA_NextPOSITION_VomSpeicher(const void* speicher, int32_t count, int32_t* p,
                                                   void* position) KV_TRY(int32_t) {
  if (position == nullptr) return 0;
  const void* found = NextPositionAddress(const_cast<void*>(speicher), count, p);
  if (found == nullptr) return 0;
  std::memcpy(position, found, AUFTRAGDBA_BLOCK);
  return 1;
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SetPOSDATA(void* speicher, int32_t count, int32_t p, int32_t referenz,
                                     const void* position) KV_TRY(int32_t) {
  return SetPositionInImage(speicher, count, p, referenz, position);
} KV_CATCH(0)

KV_API int32_t AUFTRAGDBA_MitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context) KV_TRY(int32_t) {
  return ForEachHeader(callback, context, nullptr, 0, false);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegenVonLieferant(AUFTRAGDBA_KopfCallback callback, void* context,
                                                         AUFTRAGDBA_LieferantFilter filter, int32_t lieferantNr) KV_TRY(int32_t) {
  if (filter == nullptr) return 0;
  return ForEachHeader(callback, context, filter, lieferantNr, false);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegenProzentAnzeige(AUFTRAGDBA_KopfCallback callback, void* context) KV_TRY(int32_t) {
  return ForEachHeader(callback, context, nullptr, 0, true);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_MitAllenAuftragsnummern(AUFTRAGDBA_NummerCallback callback, void* context) KV_TRY(int32_t) {
  return ForEachNumber(callback, context);
} KV_CATCH(0)

KV_ORDER_FORMAT_EXPORTS(kFormat560, AUFTRAGDBA_ReadAuftragsKopf, AUFTRAGDBA_WriteAuftragsKopf,
                        AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo, AUFTRAGDBA_ReadPosition, AUFTRAGDBA_LeseAuftragsKopf,
                        AUFTRAGDBA_SchreibeAuftragsKopf, AUFTRAGDBA_SchreibePOSITION, AUFTRAGDBA_NeuePOSITION,
                        AUFTRAGDBA_NextFreePOSITION, AUFTRAGDBA_AendernMitAllenAuftraegen)
KV_ORDER_FORMAT_EXPORTS(kFormat550, AUFTRAGDBA_ReadAuftragsKopf550, AUFTRAGDBA_WriteAuftragsKopf550,
                        AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo550, AUFTRAGDBA_ReadPosition550,
                        AUFTRAGDBA_LeseAuftragsKopf550, AUFTRAGDBA_SchreibeAuftragsKopf550,
                        AUFTRAGDBA_SchreibePOSITION550, AUFTRAGDBA_NeuePOSITION550, AUFTRAGDBA_NextFreePOSITION550,
                        AUFTRAGDBA_AendernMitAllenAuftraegen550)

KV_API int32_t KV_STDCALL AUFTRAGDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) KV_TRY(int32_t) {
  return DoUpdate(newVersion, oldVersion);
} KV_CATCH(0)

}  // extern "C"
