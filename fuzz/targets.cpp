// The fuzz targets. Every target works on files in one scratch directory and
// leaves the process-wide state of the families it touched pointing there;
// the next input starts from an emptied directory.
#include "targets.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

#include "core/dba_file.h"
#include "index/keyfile_check.h"
#include "kvdata/artlib.h"
#include "kvdata/auftragdba.h"
#include "kvdata/bbaumlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/dba.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvhost.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/nummern.h"
#include "kvdata/rechnungdba.h"
#include "kvdata/teilezusatz.h"

namespace fs = std::filesystem;

namespace kvfuzz {

namespace {

void WriteFile(const std::string& path, const uint8_t* data, size_t size) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (size > 0) out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

int64_t SizeOf(const std::string& path) {
  std::error_code ec;
  const auto size = fs::file_size(path, ec);
  return ec ? -1 : static_cast<int64_t>(size);
}

// A file that grew past what its format allows is the one failure that no
// result shows; it ends the run like a crash.
void ExpectAtMost(const std::string& path, int64_t limit) {
  const int64_t size = SizeOf(path);
  if (size > limit) {
    std::fprintf(stderr, "%s grew to %lld bytes (limit %lld)\n", path.c_str(), static_cast<long long>(size),
                 static_cast<long long>(limit));
    std::abort();
  }
}

DbaFile Descriptor(const std::string& path, int32_t recordSize, int32_t capacity) {
  return kv::dba::Describe(path.c_str(), recordSize, capacity);
}

int32_t Word(const uint8_t* data, size_t size, size_t at) {
  int32_t v = 0;
  if (at + 4 <= size) std::memcpy(&v, data + at, 4);
  return v;
}

// ---- DBA: header, items, walks, reorganisation -----------------------------

constexpr int32_t kDbaRecord = 24;

int32_t KV_CALLBACK KeepItem(int32_t, void*) { return 1; }
int32_t KV_CALLBACK DropOddItems(int32_t item, void*) { return item % 2 ? -1 : 1; }

void RunDba(const std::string& dir, const uint8_t* data, size_t size) {
  const std::string path = dir + "FUZZ.DBA";
  WriteFile(path, data, size);
  DbaFile f = Descriptor(path, kDbaRecord, 0);
  if (!DBA_InspectExistingDBA(&f)) return;
  const int64_t limit = std::max<int64_t>(static_cast<int64_t>(size),
                                          40 + 8 * int64_t{f.idCapacity} + int64_t{DBA_MAX_SLOTS + 1} * kDbaRecord);
  uint8_t record[DBA_WALK_BUFFER_SIZE] = {};
  int32_t items = 0;
  if (DBA_OpenDBA(&f)) {
    for (int32_t n = DBA_FirstITEM(&f, record); n != 0 && items < 64; n = DBA_NextITEM(&f, record)) ++items;
    for (int32_t n : {1, 2, f.idCapacity, f.idCapacity + 1, INT_MAX}) {
      const uint32_t next = static_cast<uint32_t>(DBA_GetExternID_from_ID(&f, n)) + 1u;
      DBA_SetExternID_from_ID(&f, n, static_cast<int32_t>(next));
      DBA_SetID_from_ExternID(&f, n, DBA_GetID_from_ExternID(&f, n));
    }
  }
  DBA_CloseDBA(&f);
  DBA_ReadDATA(&f, Word(data, size, 8), record);
  DBA_MitAllenITEMsRW(&f, KeepItem);
  DBA_MitAllenITEMsLoeschWeg(&f, DropOddItems);
  DBA_Reo(&f);
  // Last the calls that may append a slot where the header says: a slot
  // count near 256000 makes a large sparse file, which a walk or a
  // reorganisation would then read through for every input.
  const int32_t fresh = DBA_NewITEM(&f);
  if (fresh != 0) DBA_WriteDATA(&f, fresh, record);
  DBA_DeleteITEM(&f, Word(data, size, 8));
  DBA_IncREF(&f, Word(data, size, 16));
  DBA_NextFreeITEM(&f);
  ExpectAtMost(path, limit);
}

std::vector<Bytes> SeedsDba(const std::string& dir) {
  const std::string path = dir + "FUZZ.DBA";
  DbaFile f = Descriptor(path, kDbaRecord, 3);
  DBA_InitDBA(&f);
  uint8_t record[kDbaRecord] = {};
  for (int i = 0; i < 5; ++i) {
    const int32_t n = DBA_NewITEM(&f);
    record[0] = 1;
    record[8] = static_cast<uint8_t>(i);
    DBA_WriteDATA(&f, n, record);
  }
  DBA_DeleteITEM(&f, 2);
  if (DBA_OpenDBA(&f)) DBA_SetExternID_from_ID(&f, 1, 7);
  DBA_CloseDBA(&f);
  return {ReadFile(path)};
}

// ---- TEILE.DBA with its chains ---------------------------------------------

constexpr int32_t kItems = 40, kArticles = 8, kDesignations = 8;

void InitArticleFamilies(const std::string& dir) {
  const std::string any = dir + "TEILE.DBA";
  KVLOCKDB_Init(any.c_str());
  KVLOCKDB_IPUSERInit("10.0.0.1", "fuzz", 0);
  KundenDBA_Init(any.c_str());
  ARTLIB_Init(kArticles, dir.c_str());
  BEZLIB_Init(kDesignations, dir.c_str());
  EANTEILE_Init(kItems, dir.c_str());
  TeileZusatz_Init(kItems, dir.c_str());
  DATABASE_Init(kItems, dir.c_str());
}

void RunItems(const std::string& dir, const uint8_t* data, size_t size) {
  InitArticleFamilies(dir);
  const std::string path = dir + DATABASE_FILE_NAME;
  WriteFile(path, data, size);
  const int64_t limit = std::max<int64_t>(static_cast<int64_t>(size), 40 + int64_t{kItems + 1} * DATABASE_RECORD_SIZE);
  Einzelteil r;
  for (int32_t id = 0; id <= kItems; ++id) DATABASE_GueltigesEinzelteil(id, &r);
  DATABASE_OeffneDatenbank();
  DATABASE_FreieIdentnummer();
  DATABASE_SchliesseDatenbank();
  // Items chained as the file says: unlinking them follows its links.
  for (int32_t id = 1; id < kItems; id += 7) DATABASE_AltesTeilLoeschen(id);
  std::memset(&r, 0, sizeof r);
  r.flags = DATABASE_FLAG_BENUTZT;
  r.article = Word(data, size, 48) % (kArticles + 1);
  r.designation = Word(data, size, 52) % (kDesignations + 1);
  DATABASE_NeuesTeil(&r);
  ExpectAtMost(path, limit);
  ExpectAtMost(dir + ARTLIB_FILE_NAME, 40 + int64_t{kArticles + 1} * ARTLIB_RECORD_SIZE);
}

std::vector<Bytes> SeedsItems(const std::string& dir) {
  InitArticleFamilies(dir);
  DATABASE_CreateDatenbank(nullptr);
  for (int i = 0; i < 4; ++i) {
    Einzelteil r;
    std::memset(&r, 0, sizeof r);
    DATABASE_ClearEinzelteil(&r);
    r.flags = DATABASE_FLAG_BENUTZT;
    r.article = 1 + i % 2;
    r.designation = 1;
    DATABASE_NeuesTeil(&r);
  }
  return {ReadFile(dir + DATABASE_FILE_NAME)};
}

// ---- key files: search, add, walk, check ------------------------------------

constexpr int32_t kKeyRecord = 44;

int32_t KV_CALLBACK VisitAll(void*, int32_t, int32_t) { return 1; }

void RunKeyFile(const std::string& dir, const uint8_t* data, size_t size) {
  const std::string path = dir + "MAPFUZZ.DBA";
  WriteFile(path, data, size);
  // The slots the file holds (at least one): the configured count of a
  // station that opens this file.
  const int64_t slots =
      std::max<int64_t>(1, size < 40 + kKeyRecord ? 1 : (static_cast<int64_t>(size) - 40) / (kKeyRecord + 14));
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), kKeyRecord, static_cast<int32_t>(slots));
  if (d == nullptr) return;
  const int64_t limit = std::max<int64_t>(static_cast<int64_t>(size), 40 + (slots + 1) * (kKeyRecord + 14));
  BaumKey k{};
  for (int i = 0; i < 4; ++i) {
    std::memcpy(k.key, data + (size > 32u * (i + 1) ? 32u * i : 0), std::min<size_t>(size, 32));
    BBAUMLIB_BAUMKEYVorhanden(d, &k);
    const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
    if (slot > 0 && i % 2 == 1) BBAUMLIB_BAUMKEYLoeschen(d, slot);
  }
  BBAUMLIB_MitAllenBAUMKEYs(d, VisitAll);
  kv::index::KeyFileCheck check;
  (void)kv::index::CheckKeyFile(d, &check);  // only its reads of a damaged file matter here
  BBAUMLIB_ErzeugeFreelist(d, nullptr);
  BBAUMLIB_Reorganisieren(d, nullptr, nullptr, nullptr, nullptr, nullptr);
  BBAUMLIB_Exit(d);
  ExpectAtMost(path, limit);
}

std::vector<Bytes> SeedsKeyFile(const std::string& dir) {
  const std::string path = dir + "MAPFUZZ.DBA";
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), kKeyRecord, 12);
  BBAUMLIB_ErzeugeFreelist(d, nullptr);
  for (const char* text : {"m", "c", "x", "a", "e"}) {
    BaumKey k{};
    std::strcpy(reinterpret_cast<char*>(k.key), text);
    const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
    k.payload = slot;
    if (slot > 0) BBAUMLIB_SchreibeBAUMKEY(d, slot, &k);
  }
  BBAUMLIB_Exit(d);
  return {ReadFile(path)};
}

// ---- the customer file and its upgrade sources ------------------------------

// The input is split at its first word: that many bytes (bounded) for the
// customer file, the rest for the extension file of the oldest format.
void RunCustomers(const std::string& dir, const uint8_t* data, size_t size) {
  const size_t cut = std::min<size_t>(size, static_cast<uint32_t>(Word(data, size, 0)) % (size + 1));
  WriteFile(dir + "KUNDEN.DBA", data, cut);
  if (size > cut) WriteFile(dir + "KUNDENEW.DBA", data + cut, size - cut);
  const std::string any = dir + "KUNDEN.DBA";
  KundenDBA_Init(any.c_str());
  const int32_t version = KundenDBA_GetVersion();
  KundenDBA_CheckConversionRequired(any.c_str());
  KundenDBA_DoUpdate(540, version < 520 ? 520 : version);
  Kunde k;
  for (int32_t n : {1, 2, 3, KundenDBA_GetMAX()}) KundenDBA_LeseKunde(n, &k);
  char text[2048];
  KundenDBA_Adresse(1, text, 0);
  KundenDBA_Reo();
  const int64_t limit = std::max<int64_t>(static_cast<int64_t>(size), 40 + int64_t{DBA_MAX_SLOTS + 1} * 1299);
  ExpectAtMost(dir + "KUNDEN.DBA", limit);
}

std::vector<Bytes> SeedsCustomers(const std::string& dir) {
  const std::string any = dir + "KUNDEN.DBA";
  KundenDBA_Init(any.c_str());
  for (const char* name : {"Ab", "Meier", "Schulz"}) {
    Kunde k;
    KundenDBA_ClearKunde(&k);
    std::strcpy(k.surname, name);
    std::strcpy(k.city, "Bonn");
    k.flags = 1;
    const int32_t n = KundenDBA_NeuerKunde();
    KundenDBA_SchreibeKunde(n, &k, 1);
  }
  Bytes current = ReadFile(any);
  // The same customers as a file of the 574-byte format, version 530.
  Bytes old(current.begin(), current.begin() + std::min<size_t>(current.size(), 40));
  if (old.size() == 40) {
    const int32_t v530 = 530;
    std::memcpy(old.data(), &v530, 4);
    for (size_t n = 1; 40 + n * 1299 + 1299 <= current.size(); ++n) {
      old.resize(40 + (n + 1) * 574, 0);
      std::memcpy(old.data() + 40 + n * 574, current.data() + 40 + n * 1299, 574);
    }
  }
  Bytes withCut = old;
  const uint32_t cut = static_cast<uint32_t>(old.size());
  std::memcpy(withCut.data(), &cut, 4);  // the whole image is the customer file
  Bytes plain = current;
  const uint32_t all = static_cast<uint32_t>(current.size());
  std::memcpy(plain.data(), &all, 4);
  return {plain, withCut};
}

// ---- order files --------------------------------------------------------------

int32_t KV_CALLBACK VisitOrder(int32_t, void*, void*) { return 1; }

void RunOrders(const std::string& dir, const uint8_t* data, size_t size) {
  AUFTRAGDBA_Init(0, (dir + "AFT*.DAT").c_str());
  WriteFile(dir + "AFT00001.DAT", data, size);
  WriteFile(dir + "AFT00002.DAT", data, std::min<size_t>(size, 3 * 3980));
  std::vector<uint8_t> block(207108);
  AUFTRAGDBA_LeseAuftragsKopf(1, block.data());
  AUFTRAGDBA_LeseAuftragsKopf550(2, block.data());
  AUFTRAGDBA_LesePOSITION(1, 1, block.data());
  AUFTRAGDBA_NextFreePOSITION(1);
  AUFTRAGDBA_NextFreePOSITION550(2);
  AUFTRAGDBA_AuftragIstNochLeer(1);
  AUFTRAGDBA_MitAllenAuftraegen(VisitOrder, nullptr);
  const int32_t h = AUFTRAGDBA_Open(1);
  if (h != -1) {
    int32_t p = 0;
    AUFTRAGDBA_NextPOSITIONWithOpenFile(h, &p, block.data());
    AUFTRAGDBA_Close(h);
  }
  AUFTRAGDBA_DoUpdate(560, 550);
  // A conversion writes at most one 207108-byte block per 3980-byte one.
  ExpectAtMost(dir + "AFT00002.DAT", (3 + 1) * int64_t{207108});
}

std::vector<Bytes> SeedsOrders(const std::string& dir) {
  AUFTRAGDBA_Init(0, (dir + "AFT*.DAT").c_str());
  std::vector<uint8_t> block(3980, 0);
  std::memcpy(block.data() + 8, "SLR", 3);
  AUFTRAGDBA_SchreibeAuftragsKopf550(1, block.data());
  block[0] = 1;
  AUFTRAGDBA_SchreibePOSITION550(1, 1, block.data());
  return {ReadFile(dir + "AFT00001.DAT")};
}

// ---- invoice files -------------------------------------------------------------

void RunInvoices(const std::string& dir, const uint8_t* data, size_t size) {
  RechnungDBA_Init(7, (dir + "RECH*.*").c_str());
  char path[260];
  WriteFile(RechnungDBA_CreateFileName(1, path), data, size);
  RechnungDBA_Hole_Status(1);
  std::vector<uint8_t> record(RECHNUNGDBA_RECORD);
  RechnungDBA_Change_Status(1, 3, record.data());
  const int32_t h = RechnungDBA_Open(path);
  if (h != -1) {
    std::vector<uint8_t> detail(RECHNUNGDBA_DETAIL);
    RechnungDBA_ReadRECHNUNG(h, record.data());
    for (int i = 0; i < 64 && RechnungDBA_ReadRECHNUNGDETAIL(h, detail.data()); ++i) {
    }
    RechnungDBA_Close(h);
  }
  RechnungDBA_DoUpdate(610, 540);
  ExpectAtMost(path, std::max<int64_t>(static_cast<int64_t>(size), RECHNUNGDBA_RECORD));
}

std::vector<Bytes> SeedsInvoices(const std::string& dir) {
  RechnungDBA_Init(7, (dir + "RECH*.*").c_str());
  const int32_t h = RechnungDBA_New(1);
  std::vector<uint8_t> record(RECHNUNGDBA_RECORD, 0x20), detail(RECHNUNGDBA_DETAIL, 0x30);
  RechnungDBA_WriteRECHNUNG(h, record.data());
  RechnungDBA_WriteRECHNUNGDETAIL(h, detail.data());
  RechnungDBA_Close(h);
  char path[260];
  return {ReadFile(RechnungDBA_CreateFileName(1, path))};
}

// ---- NUMMERN.DAT ------------------------------------------------------------------

void RunNumbers(const std::string& dir, const uint8_t* data, size_t size) {
  WriteFile(dir + "NUMMERN.DAT", data, size);
  Nummern_Init((dir + "x").c_str());
  int32_t value = 0;
  for (int32_t i = 0; i <= 12; ++i) Nummern_NummernLesen(&value, i);
  // The counter read may be any word, INT32_MAX included: count on as the
  // file's 32-bit word does.
  Nummern_NummernSchreiben(static_cast<int32_t>(static_cast<uint32_t>(value) + 1u), 2);
  AUFTRAGDBA_Init(0, (dir + "AFT*.DAT").c_str());
  AUFTRAGDBA_NextFreeAuftrag();
  ExpectAtMost(dir + "NUMMERN.DAT", std::max<int64_t>(static_cast<int64_t>(size), 800));
}

std::vector<Bytes> SeedsNumbers(const std::string& dir) {
  Nummern_Init((dir + "x").c_str());
  for (int32_t i = 0; i <= 12; ++i) Nummern_NummernSchreiben(1000 * i + 7, i);
  return {ReadFile(dir + "NUMMERN.DAT")};
}

// ---- the lock log and the lock database --------------------------------------------

void RunLockLog(const std::string& dir, const uint8_t* data, size_t size) {
  WriteFile(dir + "kvlogfile.txt", data, size);
  WriteFile(dir + "MMLOCK.DBA", data, std::min<size_t>(size, 14));
  KVLOCKDB_Init((dir + "x").c_str());
  KVLOCKDB_IPUSERInit("10.0.0.1", "fuzz", 1);
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "START FUZZ", Word(data, size, 0), -1, 0);
  if (KVLOCKDB_LockDB(12)) KVLOCKDB_UnlockDB(12);
  if (KVLOCKDB_Blocking_Start("LCK_FUZZ", 0)) KVLOCKDB_Blocking_Stop("LCK_FUZZ");
  KVLOCKDB_Exit();
  ExpectAtMost(dir + "kvlogfile.txt", static_cast<int64_t>(size) + 4096);
}

std::vector<Bytes> SeedsLockLog(const std::string& dir) {
  KVLOCKDB_Init((dir + "x").c_str());
  KVLOCKDB_IPUSERInit("10.0.0.1", "fuzz", 1);
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "START SEED", 1, 2, 3);
  KVLOCKDB_Exit();
  return {ReadFile(dir + "kvlogfile.txt")};
}

}  // namespace

const std::vector<Target>& Targets() {
  static const std::vector<Target> targets = {
      {"dba", RunDba, SeedsDba},
      {"items", RunItems, SeedsItems},
      {"keyfile", RunKeyFile, SeedsKeyFile},
      {"customers", RunCustomers, SeedsCustomers},
      {"orders", RunOrders, SeedsOrders},
      {"invoices", RunInvoices, SeedsInvoices},
      {"numbers", RunNumbers, SeedsNumbers},
      {"locklog", RunLockLog, SeedsLockLog},
  };
  return targets;
}

const Target* FindTarget(const std::string& name) {
  for (const Target& t : Targets())
    if (name == t.name) return &t;
  return nullptr;
}

const std::string& ScratchDir() {
  static const std::string dir = [] {
    fs::path p = fs::temp_directory_path() / ("kvfuzz-" + std::to_string(::getpid()));
    fs::create_directories(p);
    std::string s = p.string();
    s.push_back(static_cast<char>(fs::path::preferred_separator));
    return s;
  }();
  return dir;
}

void EmptyDirectory(const std::string& dir) {
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(dir, ec)) fs::remove_all(e.path(), ec);
}

void RunOne(const Target& t, const uint8_t* data, size_t size) {
  static bool quiet = [] {
    // Messages and questions of the families would flood the fuzzer's
    // output; the defaults' answers are kept.
    KVHOST_SetLockTimeout(0);
    return true;
  }();
  (void)quiet;
  EmptyDirectory(ScratchDir());
  t.run(ScratchDir(), data, size);
}

}  // namespace kvfuzz
