// DATABASE_* / Database_*: the single-item file's exported C interface,
// forwarding to src/article.
#include "exports/guard.h"
#include "article/database.h"
#include "kvdata/database.h"

namespace d = kv::database;

namespace {
Einzelteil* item(void* record) { return static_cast<Einzelteil*>(record); }
const EinzelteilVerkauf* sale(const void* booking) { return static_cast<const EinzelteilVerkauf*>(booking); }
const EinzelteilBuchung* booked(const void* booking) { return static_cast<const EinzelteilBuchung*>(booking); }
}  // namespace

extern "C" {

KV_API int32_t DATABASE_Init(int32_t size, const char* path) KV_TRY(int32_t) { return d::init(size, path); } KV_CATCH(0)
KV_API void DATABASE_GetSizeAndName(int32_t* size, char* path) KV_TRY_VOID { d::size_and_name(size, path); } KV_CATCH_VOID
KV_API int32_t DATABASE_CreateDatenbank(DatabaseProgressCallback progress) KV_TRY(int32_t) { return d::create(progress); } KV_CATCH(0)
KV_API int32_t DATABASE_ErweitereDatenbank(void) KV_TRY(int32_t) { return d::enlarge(); } KV_CATCH(0)
KV_API int32_t DATABASE_OeffneDatenbank(void) KV_TRY(int32_t) { return d::open(); } KV_CATCH(-1)
KV_API void DATABASE_SchliesseDatenbank(void) KV_TRY_VOID { d::close(); } KV_CATCH_VOID
KV_API int32_t DATABASE_Version(void) KV_TRY(int32_t) { return d::version(); } KV_CATCH(0)
KV_API int32_t DATABASE_ReadDBAHeader(int32_t handle, void* header) KV_TRY(int32_t) { return d::read_header(handle, header); } KV_CATCH(0)
KV_API int32_t DATABASE_WriteDBAHeader(int32_t handle, const void* header) KV_TRY(int32_t) { return d::write_header(handle, header); } KV_CATCH(0)
KV_API int32_t DATABASE_FilePos(int32_t n) KV_TRY(int32_t) { return d::file_pos(n); } KV_CATCH(-1)
KV_API int32_t KV_STDCALL DATABASE_DoUpdate(int32_t newVersion, int32_t oldVersion) KV_TRY(int32_t) {
  return d::do_update(newVersion, oldVersion);
} KV_CATCH(0)

KV_API int32_t DATABASE_ReadEinzelteil(int32_t id, void* record) KV_TRY(int32_t) { return d::read(id, record); } KV_CATCH(0)
KV_API int32_t DATABASE_WriteEinzelteil(int32_t id, const void* record) KV_TRY(int32_t) { return d::write(id, record); } KV_CATCH(0)
KV_API int32_t DATABASE_GetEinzelteil(int32_t id, void* record) KV_TRY(int32_t) { return d::get(id, record); } KV_CATCH(0)
KV_API int32_t DATABASE_LeseEinzelteil(int32_t id, void* record) KV_TRY(int32_t) { return d::lese(id, record); } KV_CATCH(0)
KV_API int32_t DATABASE_GueltigesEinzelteil(int32_t id, void* record) KV_TRY(int32_t) { return d::valid(id, record); } KV_CATCH(0)
KV_API int32_t DATABASE_LockEinzelteil(int32_t id) KV_TRY(int32_t) { return d::lock(id); } KV_CATCH(0)
KV_API int32_t DATABASE_UnlockEinzelteil(int32_t id) KV_TRY(int32_t) { return d::unlock(id); } KV_CATCH(0)
KV_API int32_t Database_BlockReadET(int32_t handle, int32_t first, void* buffer, int32_t count) KV_TRY(int32_t) {
  return d::block_read(handle, first, buffer, count);
} KV_CATCH(0)
KV_API int32_t Database_BlockWriteET(int32_t handle, int32_t first, const void* buffer, int32_t count) KV_TRY(int32_t) {
  return d::block_write(handle, first, buffer, count);
} KV_CATCH(0)
KV_API int32_t DATABASE_FreieIdentnummer(void) KV_TRY(int32_t) { return d::free_id(); } KV_CATCH(0)
KV_API int32_t DATABASE_NeuesTeil(const void* record) KV_TRY(int32_t) { return d::new_item(record); } KV_CATCH(0)
KV_API int32_t DATABASE_NeuesTeilMitID(int32_t id, const void* record) KV_TRY(int32_t) { return d::new_item_with_id(id, record); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilEinzeigern(int32_t id, void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::link(id, *item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilAuszeigern(void* record) KV_TRY(int32_t) { return record == nullptr ? 0 : d::unlink(*item(record)); } KV_CATCH(0)
KV_API int32_t DATABASE_AddETtoARTKette(int32_t id, void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::add_to_article(id, *item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_AddETtoBEZKette(int32_t id, void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::add_to_designation(id, *item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_AddETtoKUNDKette(int32_t id, void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::add_to_customer(id, *item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_RemoveETfromARTKette(void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::remove_from_article(*item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_RemoveETfromBEZKette(void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::remove_from_designation(*item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_RemoveETfromKUNDKette(void* record) KV_TRY(int32_t) {
  return record == nullptr ? 0 : d::remove_from_customer(*item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_AltesTeilLoeschen(int32_t id) KV_TRY(int32_t) { return d::delete_item(id); } KV_CATCH(0)
KV_API int32_t DATABASE_GetEinzelteilMWST_Satz(int32_t id) KV_TRY(int32_t) { return d::item_vat(id); } KV_CATCH(-1)
KV_API int32_t DATABASE_GetArtikel_MWST_SatzViaEinzelteil(int32_t id) KV_TRY(int32_t) { return d::article_vat(id); } KV_CATCH(-1)

KV_API void DATABASE_ClearEinzelteil(void* record) KV_TRY_VOID {
  if (record != nullptr) d::clear(*item(record));
} KV_CATCH_VOID
KV_API int32_t DATABASE_Einzelteil_ist_benutzt(const void* r) KV_TRY(int32_t) { return d::flag(r, DATABASE_FLAG_BENUTZT); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_nicht_benutzt(const void* r) KV_TRY(int32_t) { return !d::flag(r, DATABASE_FLAG_BENUTZT); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_verkauft(const void* r) KV_TRY(int32_t) { return d::flag(r, DATABASE_FLAG_VERKAUFT); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_nicht_verkauft(const void* r) KV_TRY(int32_t) { return !d::flag(r, DATABASE_FLAG_VERKAUFT); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_Retoure(const void* r) KV_TRY(int32_t) { return d::flag(r, DATABASE_FLAG_RETOURE); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_keine_Retoure(const void* r) KV_TRY(int32_t) { return !d::flag(r, DATABASE_FLAG_RETOURE); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_EAN_codiert(const void* r) KV_TRY(int32_t) { return d::flag(r, DATABASE_FLAG_EAN); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_nicht_EAN_codiert(const void* r) KV_TRY(int32_t) { return !d::flag(r, DATABASE_FLAG_EAN); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_Menge(const void* r) KV_TRY(int32_t) { return d::is_quantity(r); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_keine_Menge(const void* r) KV_TRY(int32_t) { return !d::is_quantity(r); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_EANMENGENTEIL(const void* r) KV_TRY(int32_t) { return d::is_ean_quantity(r); } KV_CATCH(0)
KV_API int32_t DATABASE_Einzelteil_ist_kein_EANMENGENTEIL(const void* r) KV_TRY(int32_t) { return !d::is_ean_quantity(r); } KV_CATCH(0)
KV_API int32_t DATABASE_GetMenge(const void* r) KV_TRY(int32_t) { return d::quantity(r); } KV_CATCH(0)

KV_API int32_t DATABASE_EinzelteilVerkaufen(const void* booking) KV_TRY(int32_t) { return d::sell(sale(booking)); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilVerkauf_to_ET(const void* booking, void* record) KV_TRY(int32_t) {
  return d::sell_in_memory(sale(booking), item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilUmtauschen(const void* booking, uint16_t time) KV_TRY(int32_t) {
  return d::exchange(booked(booking), time);
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilUmtausch_to_ET(const void* booking, void* record, uint16_t time) KV_TRY(int32_t) {
  return d::exchange_in_memory(booked(booking), item(record), time);
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilRetournieren(const void* booking, int32_t deleteItem) KV_TRY(int32_t) {
  return d::give_back(booked(booking), deleteItem);
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilUmlagern(const void* booking) KV_TRY(int32_t) { return d::transfer(booked(booking), false); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilUmlagernAuchVerkaufte(const void* booking) KV_TRY(int32_t) {
  return d::transfer(booked(booking), true);
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilUmlagerung_to_ET(const void* booking, void* record) KV_TRY(int32_t) {
  return d::transfer_in_memory(booked(booking), item(record));
} KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilInventarisieren(const void* booking) KV_TRY(int32_t) { return d::count_inventory(booked(booking)); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilMengeAendern(const int32_t* request) KV_TRY(int32_t) { return d::change_quantity(request); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilMengeSetzen(const int32_t* request) KV_TRY(int32_t) { return d::add_quantity2(request); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilWertAendern(const int32_t* request) KV_TRY(int32_t) { return d::change_value(request); } KV_CATCH(0)
KV_API int32_t DATABASE_EinzelteilPreisanpassungAnArtikel(int32_t id) KV_TRY(int32_t) { return d::adopt_prices(id); } KV_CATCH(0)
KV_API uint16_t DATABASE_EinzelteilMWSTanpassungAnArtikel(int32_t id) KV_TRY(uint16_t) { return d::adopt_vat(id); } KV_CATCH(2)

}  // extern "C"
