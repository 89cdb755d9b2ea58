// KundenDBA_*, KundenSuchDBA_*, KundenBLZSuchDBA_*, KundenZweiteDBA_*: the
// customer family's exported C interface, forwarding to src/partner.
#include "exports/guard.h"
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

// The name search and the bank-code search are one kind of file with one set
// of five functions; each file's names are given where it is instantiated.
#define KV_CUSTOMER_SEARCH_EXPORTS(file, Open, Close, Read, ReadBlock, Write)             \
  KV_API int32_t Open(void) KV_TRY(int32_t) { return OpenResult(file()); } KV_CATCH(0)    \
  KV_API int32_t Close(void) KV_TRY(int32_t) { return CloseResult(file()); } KV_CATCH(0)  \
  KV_API int32_t Read(int32_t number, void* entry) KV_TRY(int32_t) {                      \
    return ReadEntry(file(), number, entry);                                              \
  } KV_CATCH(0)                                                                           \
  KV_API int32_t ReadBlock(int32_t first, void* entries, int32_t count) KV_TRY(int32_t) { \
    return SearchReadBlock(file(), first, entries, count);                                \
  } KV_CATCH(0)                                                                           \
  KV_API int32_t Write(int32_t number, const void* entry) KV_TRY(int32_t) {               \
    return WriteEntry(file(), number, entry);                                             \
  } KV_CATCH(0)

extern "C" {

KV_API int32_t KundenDBA_Init(const char* path) KV_TRY(int32_t) { return Init(path); } KV_CATCH(0)

KV_API void KundenDBA_GetSizeAndName(int32_t* count, char* path) KV_TRY_VOID {
  if (count != nullptr) *count = KUNDEN_MAX;
  if (path != nullptr) std::memcpy(path, CustomerFile().path, DBA_PATH_SIZE);
} KV_CATCH_VOID

KV_API int32_t KundenDBA_GetMAX(void) KV_TRY(int32_t) { return MaxNumber(); } KV_CATCH(0)
KV_API int32_t KundenDBA_GetVersion(void) KV_TRY(int32_t) { return DBA_GetVersion(&CustomerFile()); } KV_CATCH(0)
KV_API int32_t KundenDBA_CheckConversionRequired(const char* path) KV_TRY(int32_t) { return CheckConversionRequired(path); } KV_CATCH(0)
KV_API int32_t KV_STDCALL KundenDBA_DoUpdate(int32_t newVersion, int32_t oldVersion) KV_TRY(int32_t) {
  return DoUpdate(newVersion, oldVersion);
} KV_CATCH(0)
KV_API int32_t KundenDBA_CreateHeader(int32_t count, int32_t version) KV_TRY(int32_t) { return CreateHeader(count, version); } KV_CATCH(0)
KV_API int32_t KundenDBA_AddEWtoK(const char* path) KV_TRY(int32_t) { return MergeExtension(path); } KV_CATCH(0)

KV_API int32_t KundenDBA_Open(void) KV_TRY(int32_t) { return OpenBracket(); } KV_CATCH(0)
KV_API int32_t KundenDBA_Close(void) KV_TRY(int32_t) { return CloseBracket(); } KV_CATCH(0)
KV_API int32_t KundenDBA_NeuerKunde(void) KV_TRY(int32_t) { return NewNumber(); } KV_CATCH(0)
KV_API int32_t KundenDBA_NextFreeKunde(void) KV_TRY(int32_t) { return DBA_NextFreeITEM(&CustomerFile()); } KV_CATCH(0)

KV_API int32_t KundenDBA_LeseKunde(int32_t number, void* record) KV_TRY(int32_t) {
  return InRange(number) && record != nullptr ? DBA_ReadDATA(&CustomerFile(), number, record) : 0;
} KV_CATCH(0)
KV_API int32_t KundenDBA_SchreibeKunde(int32_t number, void* record, int32_t updateSearch) KV_TRY(int32_t) {
  return Write(number, record, updateSearch);
} KV_CATCH(0)
KV_API int32_t KundenDBA_LoescheKunde(int32_t number) KV_TRY(int32_t) { return Delete(number); } KV_CATCH(0)
KV_API int32_t KundenDBA_SchreibeImportKunde(int32_t number, void* record) KV_TRY(int32_t) { return WriteImport(number, record); } KV_CATCH(0)
KV_API void KundenDBA_ClearKunde(void* record) KV_TRY_VOID {
  if (record != nullptr) Clear(*static_cast<Kunde*>(record));
} KV_CATCH_VOID
KV_API int32_t KundenDBA_Read(int32_t number, void* record) KV_TRY(int32_t) {
  return InRange(number) && record != nullptr ? DBA_GetDATA(&CustomerFile(), number, record, KUNDE_RECORD_SIZE) : 0;
} KV_CATCH(0)
KV_API int32_t KundenDBA_Write(int32_t number, void* record) KV_TRY(int32_t) { return WriteOpen(number, record); } KV_CATCH(0)
KV_API int32_t KundenDBA_ReadBlock(int32_t first, void* records, int32_t count) KV_TRY(int32_t) {
  return ReadBlock(first, records, count);
} KV_CATCH(0)
KV_API int32_t KundenDBA_WriteBlock(int32_t first, void* records, int32_t count) KV_TRY(int32_t) {
  return WriteBlock(first, records, count);
} KV_CATCH(0)
KV_API void KundenDBA_SetLastWriteTime(void* record) KV_TRY_VOID {
  if (record != nullptr) Stamp(*static_cast<Kunde*>(record));
} KV_CATCH_VOID

KV_API int32_t KundenDBA_MitAllenKunden(DbaItemCallback callback) KV_TRY(int32_t) { return ForEach(CustomerFile(), callback, false); } KV_CATCH(0)
KV_API int32_t KundenDBA_MitAllenKundenRW(DbaItemCallback callback) KV_TRY(int32_t) { return ForEach(CustomerFile(), callback, true); } KV_CATCH(0)
KV_API int32_t KundenDBA_KundenAlleBenutzbar(void) KV_TRY(int32_t) { return AllUsable(); } KV_CATCH(0)
KV_API int32_t KundenDBA_Reo(void) KV_TRY(int32_t) { return Reorganise(); } KV_CATCH(0)

KV_API int32_t KundenDBA_KundenerklaerungAusgeben(int32_t number) KV_TRY(int32_t) { return SetDeclaration(number, true); } KV_CATCH(0)
KV_API int32_t KundenDBA_KundenerklaerungSetzenLoeschen(int32_t number, int32_t on) KV_TRY(int32_t) {
  return SetDeclaration(number, on == 1);
} KV_CATCH(0)
KV_API int32_t KundenDBA_KundenerklaerungSchonAusgegeben(int32_t number) KV_TRY(int32_t) { return DeclarationIssued(number); } KV_CATCH(0)
KV_API int32_t KundenDBA_KundeIstLeer(const void* record, int32_t mode) KV_TRY(int32_t) { return IsEmpty(record, mode); } KV_CATCH(0)
KV_API int32_t KundenDBA_Adresse(int32_t number, char* text, int32_t mode) KV_TRY(int32_t) { return Address(number, text, mode); } KV_CATCH(0)
KV_API int32_t KundenDBA_AdresseMitTelefon(int32_t number, char* text, const char* label) KV_TRY(int32_t) {
  return AddressWithTelephone(number, text, label);
} KV_CATCH(0)

KV_CUSTOMER_SEARCH_EXPORTS(NameSearchFile, KundenSuchDBA_Open, KundenSuchDBA_Close, KundenSuchDBA_Read,
                           KundenSuchDBA_ReadBlock, KundenSuchDBA_Write)
KV_CUSTOMER_SEARCH_EXPORTS(BankSearchFile, KundenBLZSuchDBA_Open, KundenBLZSuchDBA_Close, KundenBLZSuchDBA_Read,
                           KundenBLZSuchDBA_ReadBlock, KundenBLZSuchDBA_Write)

KV_API int32_t KundenZweiteDBA_Init(const char* path) KV_TRY(int32_t) { return InitSecond(path); } KV_CATCH(0)
KV_API int32_t KundenZweiteDBA_LeseKunde(int32_t number, void* record) KV_TRY(int32_t) {
  return InRange(number) && record != nullptr ? DBA_ReadDATA(&SecondCustomerFile(), number, record) : 0;
} KV_CATCH(0)
KV_API int32_t KundenZweiteDBA_MitAllenKunden(DbaItemCallback callback) KV_TRY(int32_t) {
  return ForEach(SecondCustomerFile(), callback, false);
} KV_CATCH(0)

}  // extern "C"
