// KundenDBA_*, KundenSuchDBA_*, KundenBLZSuchDBA_*, KundenZweiteDBA_*: the
// customer family's exported C interface, forwarding to src/partner.
#include <cstring>

#include "kvdata/kundendba.h"
#include "partner/kunden.h"

using namespace kv::partner;

namespace {

int32_t OpenResult(DbaFile& f) { return DBA_OpenDBA(&f); }
int32_t CloseResult(DbaFile& f) { return DBA_CloseDBA(&f) != nullptr ? 1 : 0; }

int32_t ReadEntry(DbaFile& f, int32_t number, void* entry) {
  return InRange(number) && entry != nullptr ? DBA_ReadDATA(&f, number, entry) : 0;
}
int32_t WriteEntry(DbaFile& f, int32_t number, const void* entry) {
  return InRange(number) && entry != nullptr ? DBA_WriteDATA(&f, number, entry) : 0;
}

}  // namespace

extern "C" {

KV_API int32_t KundenDBA_Init(const char* path) { return Init(path); }

KV_API void KundenDBA_GetSizeAndName(int32_t* count, char* path) {
  if (count != nullptr) *count = KUNDEN_MAX;
  if (path != nullptr) std::memcpy(path, CustomerFile().path, DBA_PATH_SIZE);
}

KV_API int32_t KundenDBA_GetMAX(void) { return MaxNumber(); }
KV_API int32_t KundenDBA_GetVersion(void) { return DBA_GetVersion(&CustomerFile()); }
KV_API int32_t KundenDBA_CheckConversionRequired(const char* path) { return CheckConversionRequired(path); }
KV_API int32_t KV_STDCALL KundenDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) {
  return DoUpdate(newVersion, oldVersion);
}
KV_API int32_t KundenDBA_CreateHeader(int32_t count, int32_t version) { return CreateHeader(count, version); }
KV_API int32_t KundenDBA_AddEWtoK(const char* path) { return MergeExtension(path); }

KV_API int32_t KundenDBA_Open(void) { return OpenBracket(); }
KV_API int32_t KundenDBA_Close(void) { return CloseBracket(); }
KV_API int32_t KundenDBA_NeuerKunde(void) { return NewNumber(); }
KV_API int32_t KundenDBA_NextFreeKunde(void) { return DBA_NextFreeITEM(&CustomerFile()); }

KV_API int32_t KundenDBA_LeseKunde(int32_t number, void* record) {
  return InRange(number) && record != nullptr ? DBA_ReadDATA(&CustomerFile(), number, record) : 0;
}
KV_API int32_t KundenDBA_SchreibeKunde(int32_t number, void* record, int32_t updateSearch) {
  return Write(number, record, updateSearch);
}
KV_API int32_t KundenDBA_LoescheKunde(int32_t number) { return Delete(number); }
KV_API int32_t KundenDBA_SchreibeImportKunde(int32_t number, void* record) { return WriteImport(number, record); }
KV_API void KundenDBA_ClearKunde(void* record) {
  if (record != nullptr) Clear(*static_cast<Kunde*>(record));
}
KV_API int32_t KundenDBA_Read(int32_t number, void* record) {
  return InRange(number) && record != nullptr ? DBA_GetDATA(&CustomerFile(), number, record, KUNDE_RECORD_SIZE) : 0;
}
KV_API int32_t KundenDBA_Write(int32_t number, void* record) { return WriteOpen(number, record); }
KV_API int32_t KundenDBA_ReadBlock(int32_t first, void* records, int32_t count) {
  return ReadBlock(first, records, count);
}
KV_API int32_t KundenDBA_WriteBlock(int32_t first, void* records, int32_t count) {
  return WriteBlock(first, records, count);
}
KV_API void KundenDBA_SetLastWriteTime(void* record) {
  if (record != nullptr) Stamp(*static_cast<Kunde*>(record));
}

KV_API int32_t KundenDBA_MitAllenKunden(DbaItemCallback callback) { return ForEach(CustomerFile(), callback, false); }
KV_API int32_t KundenDBA_MitAllenKundenRW(DbaItemCallback callback) { return ForEach(CustomerFile(), callback, true); }
KV_API int32_t KundenDBA_KundenAlleBenutzbar(void) { return AllUsable(); }
KV_API int32_t KundenDBA_Reo(void) { return Reorganise(); }

KV_API int32_t KundenDBA_KundenerklaerungAusgeben(int32_t number) { return SetDeclaration(number, true); }
KV_API int32_t KundenDBA_KundenerklaerungSetzenLoeschen(int32_t number, int32_t on) {
  return SetDeclaration(number, on == 1);
}
KV_API int32_t KundenDBA_KundenerklaerungSchonAusgegeben(int32_t number) { return DeclarationIssued(number); }
KV_API int32_t KundenDBA_KundeIstLeer(const void* record, int32_t mode) { return IsEmpty(record, mode); }
KV_API int32_t KundenDBA_Adresse(int32_t number, char* text, int32_t mode) { return Address(number, text, mode); }
KV_API int32_t KundenDBA_AdresseMitTelefon(int32_t number, char* text, const char* label) {
  return AddressWithTelephone(number, text, label);
}

KV_API int32_t KundenSuchDBA_Open(void) { return OpenResult(NameSearchFile()); }
KV_API int32_t KundenSuchDBA_Close(void) { return CloseResult(NameSearchFile()); }
KV_API int32_t KundenSuchDBA_Read(int32_t number, void* entry) { return ReadEntry(NameSearchFile(), number, entry); }
KV_API int32_t KundenSuchDBA_ReadBlock(int32_t first, void* entries, int32_t count) {
  return SearchReadBlock(NameSearchFile(), first, entries, count);
}
KV_API int32_t KundenSuchDBA_Write(int32_t number, const void* entry) {
  return WriteEntry(NameSearchFile(), number, entry);
}
KV_API int32_t KundenBLZSuchDBA_Open(void) { return OpenResult(BankSearchFile()); }
KV_API int32_t KundenBLZSuchDBA_Close(void) { return CloseResult(BankSearchFile()); }
KV_API int32_t KundenBLZSuchDBA_Read(int32_t number, void* entry) { return ReadEntry(BankSearchFile(), number, entry); }
KV_API int32_t KundenBLZSuchDBA_ReadBlock(int32_t first, void* entries, int32_t count) {
  return SearchReadBlock(BankSearchFile(), first, entries, count);
}
KV_API int32_t KundenBLZSuchDBA_Write(int32_t number, const void* entry) {
  return WriteEntry(BankSearchFile(), number, entry);
}

KV_API int32_t KundenZweiteDBA_Init(const char* path) { return InitSecond(path); }
KV_API int32_t KundenZweiteDBA_LeseKunde(int32_t number, void* record) {
  return InRange(number) && record != nullptr ? DBA_ReadDATA(&SecondCustomerFile(), number, record) : 0;
}
KV_API int32_t KundenZweiteDBA_MitAllenKunden(DbaItemCallback callback) {
  return ForEach(SecondCustomerFile(), callback, false);
}

}  // extern "C"
