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

extern "C" {

KV_API void AUFTRAGDBA_Init(int32_t flag, const char* path) KV_TRY_VOID { Init(flag, path); } KV_CATCH_VOID
KV_API int32_t AUFTRAGDBA_PLUS_ARCHIVE_Init(int32_t flag, const char* path, const char* archiveRoot) KV_TRY(int32_t) {
  return InitWithArchive(flag, path, archiveRoot);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SwitchArchivePath(void) KV_TRY(int32_t) { return SwitchArchivePath(); } KV_CATCH(0)
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
KV_API int32_t AUFTRAGDBA_ReadAuftragsKopf(int32_t handle, void* kopf) KV_TRY(int32_t) { return ReadHeader(handle, kopf, kFormat560); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopf(int32_t handle, void* kopf) KV_TRY(int32_t) {
  return WriteHeader(handle, kopf, true, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo(int32_t handle, void* kopf, int32_t stamp) KV_TRY(int32_t) {
  return WriteHeader(handle, kopf, stamp != 0, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_ReadPosition(int32_t handle, int32_t p, int32_t referenz, void* position) KV_TRY(int32_t) {
  return ReadPosition(handle, p, referenz, position, kFormat560);
} KV_CATCH(0)
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

KV_API int32_t AUFTRAGDBA_LeseAuftragsKopf(int32_t auftragsNr, void* kopf) KV_TRY(int32_t) {
  return ReadHeaderOf(auftragsNr, kopf, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SchreibeAuftragsKopf(int32_t auftragsNr, void* kopf) KV_TRY(int32_t) {
  return WriteHeaderOf(auftragsNr, kopf, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_LesePOSITION(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {
  return ReadPositionOf(auftragsNr, p, 0, position);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_LeseReferenzPOSITION(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {
  return ReadPositionOf(auftragsNr, p, 1, position);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SchreibePOSITION(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {
  return WritePositionOf(auftragsNr, p, 0, position, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SchreibeReferenzPOSITION(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {
  return WritePositionOf(auftragsNr, p, 1, position, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SchreibePOSITIONPlusReferenzabgleich(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {
  return WritePositionWithReference(auftragsNr, p, position);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_NeuePOSITION(int32_t auftragsNr, void* position) KV_TRY(int32_t) {
  return NewPosition(auftragsNr, position, kFormat560);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_NextFreePOSITION(int32_t auftragsNr) KV_TRY(int32_t) { return NextFreePosition(auftragsNr, kFormat560); } KV_CATCH(0)
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
KV_API int32_t AUFTRAGDBA_AendernMitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context) KV_TRY(int32_t) {
  return ChangeEachHeader(callback, context, kFormat560);
} KV_CATCH(0)

KV_API int32_t AUFTRAGDBA_LeseAuftragsKopf550(int32_t auftragsNr, void* kopf) KV_TRY(int32_t) {
  return ReadHeaderOf(auftragsNr, kopf, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_ReadAuftragsKopf550(int32_t handle, void* kopf) KV_TRY(int32_t) { return ReadHeader(handle, kopf, kFormat550); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopf550(int32_t handle, void* kopf) KV_TRY(int32_t) {
  return WriteHeader(handle, kopf, true, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo550(int32_t handle, void* kopf, int32_t stamp) KV_TRY(int32_t) {
  return WriteHeader(handle, kopf, stamp != 0, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SchreibeAuftragsKopf550(int32_t auftragsNr, void* kopf) KV_TRY(int32_t) {
  return WriteHeaderOf(auftragsNr, kopf, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_ReadPosition550(int32_t handle, int32_t p, int32_t referenz, void* position) KV_TRY(int32_t) {
  return ReadPosition(handle, p, referenz, position, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_SchreibePOSITION550(int32_t auftragsNr, int32_t p, void* position) KV_TRY(int32_t) {
  return WritePositionOf(auftragsNr, p, 0, position, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_NeuePOSITION550(int32_t auftragsNr, void* position) KV_TRY(int32_t) {
  return NewPosition(auftragsNr, position, kFormat550);
} KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_NextFreePOSITION550(int32_t auftragsNr) KV_TRY(int32_t) { return NextFreePosition(auftragsNr, kFormat550); } KV_CATCH(0)
KV_API int32_t AUFTRAGDBA_AendernMitAllenAuftraegen550(AUFTRAGDBA_KopfCallback callback, void* context) KV_TRY(int32_t) {
  return ChangeEachHeader(callback, context, kFormat550);
} KV_CATCH(0)

KV_API int32_t KV_STDCALL AUFTRAGDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) KV_TRY(int32_t) {
  return DoUpdate(newVersion, oldVersion);
} KV_CATCH(0)

}  // extern "C"
