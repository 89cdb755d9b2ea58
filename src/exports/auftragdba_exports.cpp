// AUFTRAGDBA_*: orders and order positions, forwarding to src/document.
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

KV_API void AUFTRAGDBA_Init(int32_t flag, const char* path) { Init(flag, path); }
KV_API int32_t AUFTRAGDBA_PLUS_ARCHIVE_Init(int32_t flag, const char* path, const char* archiveRoot) {
  return InitWithArchive(flag, path, archiveRoot);
}
KV_API int32_t AUFTRAGDBA_SwitchArchivePath(void) { return SwitchArchivePath(); }
KV_API char* AUFTRAGDBA_CreateFileName(int32_t auftragsNr, char* out, int32_t withDirectory) {
  return CreateFileName(auftragsNr, out, withDirectory);
}
KV_API char* AUFTRAGDBA_MakeFileName(int32_t auftragsNr, char* out) { return CreateFileName(auftragsNr, out, 1); }
KV_API void AUFTRAGDBA_GetAUFTRAGSizeAndName(int32_t* count, char* path) { CountAndName(count, path); }

KV_API int32_t AUFTRAGDBA_GetAUFTRAGIDFromName(const char* name) {
  if (name == nullptr) return 0;
  char dir[kv::kMaxPath], bare[kv::kMaxPath];
  kv::FileIO_Separate(name, dir, bare);
  for (const OrderFile& f : ListOrderFiles()) {
    char own[32];
    CreateFileName(f.number, own, 0);
    if (NameMatches(own, bare)) return f.number;
  }
  return 0;
}

KV_API int32_t AUFTRAGDBA_NextFreeAuftrag(void) { return NextFreeNumber(); }
KV_API int32_t AUFTRAGDBA_NeuerAuftrag(void) { return NewNumber(); }

KV_API int32_t AUFTRAGDBA_Open(int32_t auftragsNr) { return Open(auftragsNr); }
KV_API void AUFTRAGDBA_Close(int32_t handle) { kv::FileIO_Close(handle); }
KV_API void AUFTRAGDBA_FileClose(int32_t handle) { kv::FileIO_Close(handle); }
KV_API int32_t AUFTRAGDBA_ReadAuftragsKopf(int32_t handle, void* kopf) { return ReadHeader(handle, kopf, kFormat560); }
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopf(int32_t handle, void* kopf) {
  return WriteHeader(handle, kopf, true, kFormat560);
}
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo(int32_t handle, void* kopf, int32_t stamp) {
  return WriteHeader(handle, kopf, stamp != 0, kFormat560);
}
KV_API int32_t AUFTRAGDBA_ReadPosition(int32_t handle, int32_t p, int32_t referenz, void* position) {
  return ReadPosition(handle, p, referenz, position, kFormat560);
}
KV_API int32_t AUFTRAGDBA_WritePosition(int32_t handle, int32_t p, int32_t referenz, void* position) {
  return WritePosition(handle, p, referenz, position, true, kFormat560);
}
KV_API int32_t AUFTRAGDBA_WritePositionMitTimeInfo(int32_t handle, int32_t p, int32_t referenz, void* position,
                                                   int32_t stamp) {
  return WritePosition(handle, p, referenz, position, stamp != 0, kFormat560);
}
KV_API int32_t AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(int32_t handle, int32_t count, void* buffer) {
  return ReadAllPositions(handle, count, buffer);
}
KV_API int32_t AUFTRAGDBA_NextPOSITIONWithOpenFile(int32_t handle, int32_t* p, void* position) {
  return NextPositionInFile(handle, p, position);
}

KV_API int32_t AUFTRAGDBA_LeseAuftragsKopf(int32_t auftragsNr, void* kopf) {
  return ReadHeaderOf(auftragsNr, kopf, kFormat560);
}
KV_API int32_t AUFTRAGDBA_SchreibeAuftragsKopf(int32_t auftragsNr, void* kopf) {
  return WriteHeaderOf(auftragsNr, kopf, kFormat560);
}
KV_API int32_t AUFTRAGDBA_LesePOSITION(int32_t auftragsNr, int32_t p, void* position) {
  return ReadPositionOf(auftragsNr, p, 0, position);
}
KV_API int32_t AUFTRAGDBA_LeseReferenzPOSITION(int32_t auftragsNr, int32_t p, void* position) {
  return ReadPositionOf(auftragsNr, p, 1, position);
}
KV_API int32_t AUFTRAGDBA_SchreibePOSITION(int32_t auftragsNr, int32_t p, void* position) {
  return WritePositionOf(auftragsNr, p, 0, position, kFormat560);
}
KV_API int32_t AUFTRAGDBA_SchreibeReferenzPOSITION(int32_t auftragsNr, int32_t p, void* position) {
  return WritePositionOf(auftragsNr, p, 1, position, kFormat560);
}
KV_API int32_t AUFTRAGDBA_SchreibePOSITIONPlusReferenzabgleich(int32_t auftragsNr, int32_t p, void* position) {
  return WritePositionWithReference(auftragsNr, p, position);
}
KV_API int32_t AUFTRAGDBA_NeuePOSITION(int32_t auftragsNr, void* position) {
  return NewPosition(auftragsNr, position, kFormat560);
}
KV_API int32_t AUFTRAGDBA_NextFreePOSITION(int32_t auftragsNr) { return NextFreePosition(auftragsNr, kFormat560); }
KV_API int32_t AUFTRAGDBA_NextPOSITION(int32_t auftragsNr, int32_t* p, void* position) {
  return NextPosition(auftragsNr, p, position);
}
KV_API int32_t AUFTRAGDBA_LoeschePOSITION(int32_t auftragsNr, int32_t p) { return DeletePosition(auftragsNr, p); }
KV_API int32_t AUFTRAGDBA_PositionenLoeschen(int32_t auftragsNr) { return DeleteAllPositions(auftragsNr); }
KV_API int32_t AUFTRAGDBA_LoescheAuftrag(int32_t auftragsNr) { return DeleteOrder(auftragsNr); }
KV_API int32_t AUFTRAGDBA_LoescheAlleAuftraege(void) { return DeleteAllOrders(); }
KV_API void AUFTRAGDBA_ClearAuftrag(void* kopf) {
  if (kopf != nullptr) std::memset(kopf, 0, AUFTRAGDBA_BLOCK);
}
KV_API int32_t AUFTRAGDBA_AuftragIstNochLeer(int32_t auftragsNr) { return IsStillEmpty(auftragsNr); }
KV_API int32_t AUFTRAGDBA_Move_To_Archive(int32_t auftragsNr) { return MoveToArchive(auftragsNr, true); }
KV_API int32_t AUFTRAGDBA_Move_From_Archive(int32_t auftragsNr) { return MoveToArchive(auftragsNr, false); }

KV_API void* AUFTRAGDBA_NextPOSITIONSADR_VomSpeicher(void* speicher, int32_t count, int32_t* p) {
  return NextPositionAddress(speicher, count, p);
}
KV_API int32_t AUFTRAGDBA_NextPOSITION_VomSpeicher(const void* speicher, int32_t count, int32_t* p,
                                                   void* position) {
  if (position == nullptr) return 0;
  const void* found = NextPositionAddress(const_cast<void*>(speicher), count, p);
  if (found == nullptr) return 0;
  std::memcpy(position, found, AUFTRAGDBA_BLOCK);
  return 1;
}
KV_API int32_t AUFTRAGDBA_SetPOSDATA(void* speicher, int32_t count, int32_t p, int32_t referenz,
                                     const void* position) {
  return SetPositionInImage(speicher, count, p, referenz, position);
}

KV_API int32_t AUFTRAGDBA_MitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context) {
  return ForEachHeader(callback, context, nullptr, 0, false);
}
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegenVonLieferant(AUFTRAGDBA_KopfCallback callback, void* context,
                                                         AUFTRAGDBA_LieferantFilter filter, int32_t lieferantNr) {
  if (filter == nullptr) return 0;
  return ForEachHeader(callback, context, filter, lieferantNr, false);
}
KV_API int32_t AUFTRAGDBA_MitAllenAuftraegenProzentAnzeige(AUFTRAGDBA_KopfCallback callback, void* context) {
  return ForEachHeader(callback, context, nullptr, 0, true);
}
KV_API int32_t AUFTRAGDBA_MitAllenAuftragsnummern(AUFTRAGDBA_NummerCallback callback, void* context) {
  return ForEachNumber(callback, context);
}
KV_API int32_t AUFTRAGDBA_AendernMitAllenAuftraegen(AUFTRAGDBA_KopfCallback callback, void* context) {
  return ChangeEachHeader(callback, context, kFormat560);
}

KV_API int32_t AUFTRAGDBA_LeseAuftragsKopf550(int32_t auftragsNr, void* kopf) {
  return ReadHeaderOf(auftragsNr, kopf, kFormat550);
}
KV_API int32_t AUFTRAGDBA_ReadAuftragsKopf550(int32_t handle, void* kopf) { return ReadHeader(handle, kopf, kFormat550); }
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopf550(int32_t handle, void* kopf) {
  return WriteHeader(handle, kopf, true, kFormat550);
}
KV_API int32_t AUFTRAGDBA_WriteAuftragsKopfMitTimeInfo550(int32_t handle, void* kopf, int32_t stamp) {
  return WriteHeader(handle, kopf, stamp != 0, kFormat550);
}
KV_API int32_t AUFTRAGDBA_SchreibeAuftragsKopf550(int32_t auftragsNr, void* kopf) {
  return WriteHeaderOf(auftragsNr, kopf, kFormat550);
}
KV_API int32_t AUFTRAGDBA_ReadPosition550(int32_t handle, int32_t p, int32_t referenz, void* position) {
  return ReadPosition(handle, p, referenz, position, kFormat550);
}
KV_API int32_t AUFTRAGDBA_SchreibePOSITION550(int32_t auftragsNr, int32_t p, void* position) {
  return WritePositionOf(auftragsNr, p, 0, position, kFormat550);
}
KV_API int32_t AUFTRAGDBA_NeuePOSITION550(int32_t auftragsNr, void* position) {
  return NewPosition(auftragsNr, position, kFormat550);
}
KV_API int32_t AUFTRAGDBA_NextFreePOSITION550(int32_t auftragsNr) { return NextFreePosition(auftragsNr, kFormat550); }
KV_API int32_t AUFTRAGDBA_AendernMitAllenAuftraegen550(AUFTRAGDBA_KopfCallback callback, void* context) {
  return ChangeEachHeader(callback, context, kFormat550);
}

KV_API int32_t KV_STDCALL AUFTRAGDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) {
  return DoUpdate(newVersion, oldVersion);
}

}  // extern "C"
