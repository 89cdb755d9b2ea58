// Data paths of existing installations: the three forms an Init accepts,
// and data directories whose files another program left spelled in another
// case. The directories are built here byte by byte, as such a program would
// leave them.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "kvdata/artlib.h"
#include "kvdata/auftragdba.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/nummern.h"
#include "kvdata/rechnungdba.h"
#include "kvdata/teilezusatz.h"
#include "kvtest.h"
#include "services/fileio.h"
#include "services/name_resolve.h"
#include "services/sepa.h"

namespace {

namespace fs = std::filesystem;
using kvtest::FileExists;
using kvtest::ReadFileBytes;
using kvtest::WriteFileBytes;

// Separators compared alike, letters as they are.
std::string Slashed(std::string s) {
  std::replace(s.begin(), s.end(), '\\', '/');
  return s;
}
// Paths the library resolved: spelled as on disk where the file system
// tells case apart, as given where it folds case itself.
bool SameFileName(const std::string& a, const std::string& b) {
#if defined(_WIN32)
  auto upper = [](std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return Slashed(s);
  };
  return upper(a) == upper(b);
#else
  return Slashed(a) == Slashed(b);
#endif
}
std::string WithoutSeparator(std::string s) {
  while (!s.empty() && (s.back() == '/' || s.back() == '\\')) s.pop_back();
  return s;
}

// Names in a directory, as the file system reports them.
std::set<std::string> Entries(const std::string& dir) {
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
  return names;
}

// A fixed-record file as any station leaves it: header {600, stamp, 0...},
// then records 0 .. count; record 1 holds `first`.
std::vector<uint8_t> FixedImage(int32_t recordSize, int32_t count, const std::vector<uint8_t>& first) {
  std::vector<uint8_t> bytes(40 + static_cast<size_t>(recordSize) * (count + 1), 0);
  kvtest::PutI32(bytes, 0, 600);
  kvtest::PutI32(bytes, 4, 0x5F000000);
  std::copy(first.begin(), first.end(), bytes.begin() + 40 + recordSize);
  return bytes;
}

std::vector<uint8_t> Pattern(int32_t size) {
  std::vector<uint8_t> r(static_cast<size_t>(size));
  for (int32_t i = 0; i < size; ++i) r[static_cast<size_t>(i)] = static_cast<uint8_t>(i * 7 + 3);
  return r;
}

// One family that keeps one fixed-record file.
struct FixedFamily {
  const char* name;
  const char* file;
  int32_t recordSize;
  std::function<int32_t(const std::string&)> init;        // Init(count 5, path) and create
  std::function<std::vector<uint8_t>()> recordOne;        // record 1 as the family reads it
  std::function<std::vector<uint8_t>()> imageRecordOne;   // what the image puts there
};

constexpr int32_t kCount = 5;

std::vector<FixedFamily> FixedFamilies() {
  auto whole = [](int32_t size, int32_t (*read)(int32_t, void*)) {
    return [size, read] {
      std::vector<uint8_t> r(static_cast<size_t>(size), 0);
      if (!read(1, r.data())) r.clear();
      return r;
    };
  };
  auto eanEntry = [] {
    std::vector<uint8_t> r(EANTEILE_RECORD_SIZE, 0);
    kvtest::PutI32(r, 0, 1);
    std::memcpy(r.data() + 4, "4006381333931", 13);
    return r;
  };
  return {
      {"ARTLIB", ARTLIB_FILE_NAME, 660,
       [](const std::string& p) { return ARTLIB_Init(kCount, p.c_str()) == 600 ? 1 : 0; },
       whole(660, ARTLIB_LeseArtikel), [] { return Pattern(660); }},
      {"DATABASE", DATABASE_FILE_NAME, DATABASE_RECORD_SIZE,
       [](const std::string& p) {
         // Creates nothing itself; a missing file is made as a station would.
         if (!DATABASE_Init(kCount, p.c_str())) return 0;
         char file[260];
         DATABASE_GetSizeAndName(nullptr, file);
         return FileExists(file) ? 1 : DATABASE_CreateDatenbank(nullptr);
       },
       whole(DATABASE_RECORD_SIZE, DATABASE_LeseEinzelteil), [] { return Pattern(DATABASE_RECORD_SIZE); }},
      {"BEZLIB", BEZLIB_FILE_NAME, BEZLIB_RECORD_SIZE,
       [](const std::string& p) { return BEZLIB_Init(kCount, p.c_str()); },
       whole(BEZLIB_RECORD_SIZE, BEZLIB_LeseBezeichnung), [] { return Pattern(BEZLIB_RECORD_SIZE); }},
      {"EANTEILE", EANTEILE_FILE_NAME, EANTEILE_RECORD_SIZE,
       [](const std::string& p) { return EANTEILE_Init(kCount, p.c_str()); },
       [eanEntry] {
         char ean[32] = "";
         std::vector<uint8_t> r;
         if (EANTEILE_Lese_EAN_Einzelteil(1, ean)) {
           r = eanEntry();
           std::memset(r.data() + 4, 0, r.size() - 4);
           std::memcpy(r.data() + 4, ean, std::strlen(ean));
         }
         return r;
       },
       eanEntry},
      {"TeileZusatz", TEILEZUSATZ_FILE_NAME, TEILEZUSATZ_RECORD_SIZE,
       [](const std::string& p) { return TeileZusatz_Init(kCount, p.c_str()); },
       whole(TEILEZUSATZ_RECORD_SIZE, TeileZusatz_Lese),
       [] {
         std::vector<uint8_t> r = Pattern(TEILEZUSATZ_RECORD_SIZE);
         kvtest::PutI32(r, 0, 1);  // the item the extras belong to
         return r;
       }},
  };
}

class DataPathsTest : public kvtest::DataDirTest {};

// A directory with or without its separator names the family's file in it;
// any other path is the file itself, whether it exists or not.
TEST_F(DataPathsTest, FixedRecordFamiliesTakeTheirFileOrTheirDirectoryInThreeForms) {
  for (const FixedFamily& f : FixedFamilies()) {
    SCOPED_TRACE(f.name);
    const int64_t size = 40 + static_cast<int64_t>(f.recordSize) * (kCount + 1);
    const std::string sub = dir() + f.name;
    fs::create_directory(sub);

    ASSERT_EQ(f.init(sub + "/"), 1);  // with a separator
    EXPECT_EQ(kvtest::FileSize(sub + "/" + f.file), size);
    fs::remove(sub + "/" + f.file);
    ASSERT_EQ(f.init(sub), 1);  // an existing directory without one
    EXPECT_EQ(kvtest::FileSize(sub + "/" + f.file), size);
    ASSERT_EQ(f.init(sub + "/" + f.file), 1);  // the file itself, existing
    EXPECT_EQ(Entries(sub), std::set<std::string>{f.file});

    // A file of the caller's own: used as named, nothing else created; a
    // second Init finds it again and reads what the first wrote.
    const std::string own = sub + "/own_" + f.name + ".dat";
    ASSERT_EQ(f.init(own), 1);
    EXPECT_EQ(kvtest::FileSize(own), size);
    EXPECT_EQ(Entries(sub), (std::set<std::string>{f.file, "own_" + std::string(f.name) + ".dat"}));
    std::vector<uint8_t> image = FixedImage(f.recordSize, kCount, f.imageRecordOne());
    WriteFileBytes(own, image);
    ASSERT_EQ(f.init(own), 1);
    EXPECT_EQ(f.recordOne(), f.imageRecordOne());
  }
  char path[260];
  int32_t count = 0;
  ARTLIB_Init(kCount, (dir() + "ARTLIB").c_str());
  ARTLIB_GetSizeAndName(&count, path);
  EXPECT_EQ(count, kCount);
  EXPECT_EQ(Slashed(path), Slashed(dir() + "ARTLIB/ARTIKEL.DBA"));
  DATABASE_Init(kCount, (dir() + "DATABASE/own_DATABASE.dat").c_str());
  DATABASE_GetSizeAndName(&count, path);
  EXPECT_EQ(Slashed(path), Slashed(dir() + "DATABASE/own_DATABASE.dat"));
}

// Files copied from a Windows server in lower case, in a directory whose
// name the caller spells in another case: found, read, and never doubled.
TEST_F(DataPathsTest, FixedRecordFilesSpelledOtherwiseAreFoundAndNeverDoubled) {
  for (const FixedFamily& f : FixedFamilies()) {
    SCOPED_TRACE(f.name);
    const std::string sub = dir() + "Daten_" + f.name + "/";
    fs::create_directory(sub);
    std::string lower = f.file;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::vector<uint8_t> image = FixedImage(f.recordSize, kCount, f.imageRecordOne());
    WriteFileBytes(sub + lower, image);

    ASSERT_EQ(f.init(dir() + "DATEN_" + f.name), 1);
    EXPECT_EQ(f.recordOne(), f.imageRecordOne());
    EXPECT_EQ(Entries(sub), std::set<std::string>{lower});
    EXPECT_EQ(ReadFileBytes(sub + lower), image);
  }
  char path[260];
  ARTLIB_Init(kCount, (dir() + "Daten_ARTLIB/ARTIKEL.DBA").c_str());
  ARTLIB_GetSizeAndName(nullptr, path);
  EXPECT_TRUE(SameFileName(path, dir() + "Daten_ARTLIB/artikel.dba")) << path;
  EXPECT_EQ(Entries(dir() + "Daten_ARTLIB"), std::set<std::string>{"artikel.dba"});
  // Another installation's article file, opened as foreign, is found too.
  ASSERT_NE(ARTLIB_OeffneFremdeDatenbank((dir() + "DATEN_ARTLIB/ARTIKEL.DBA").c_str()), -1);
  std::vector<uint8_t> record(660, 0);
  EXPECT_EQ(ARTLIB_LeseArtikelAusFremderDB(1, record.data()), 1);
  EXPECT_EQ(record, Pattern(660));
  ARTLIB_SchliesseFremdeDatenbank();
}

// A customer file with customer 1 ("Meier") and its name search entry, in
// lower case, as the DBA engine of any station lays them out.
std::vector<uint8_t> DbaImage(int32_t version, int32_t recordSize, const std::vector<uint8_t>& item1) {
  std::vector<uint8_t> bytes(40 + 2 * static_cast<size_t>(recordSize), 0);
  kvtest::PutI32(bytes, 0, version);
  kvtest::PutI32(bytes, 12, 1);  // used
  kvtest::PutI32(bytes, 16, 1);  // slots
  std::copy(item1.begin(), item1.end(), bytes.begin() + 40 + recordSize);
  return bytes;
}

std::vector<uint8_t> Meier() {
  std::vector<uint8_t> k(KUNDE_RECORD_SIZE, 0);
  kvtest::PutI32(k, 0, 1);
  k[8] = 1;
  std::memcpy(k.data() + 105, "Meier", 5);
  return k;
}

TEST_F(DataPathsTest, CustomerFilesAreFoundWhateverTheirCaseAndTheFormOfThePath) {
  // The three forms: a file in the directory, the directory with and
  // without its separator.
  const std::string forms[3] = {dir() + "TEILE.DBA", dir(), WithoutSeparator(dir())};
  for (const std::string& form : forms) {
    SCOPED_TRACE(form);
    ASSERT_NE(KundenDBA_Init(form.c_str()), 0);
    char path[260];
    int32_t count = 0;
    KundenDBA_GetSizeAndName(&count, path);
    EXPECT_EQ(count, KUNDEN_MAX);
    EXPECT_EQ(Slashed(path), Slashed(dir() + "KUNDEN.DBA"));
  }
  EXPECT_EQ(Entries(dir()), (std::set<std::string>{"KUNDEN.DBA", "KUNDSUCH.DBA", "KUNDBLZSUCH.DBA"}));

  // Another installation's directory: its customer file and name search
  // file spelled otherwise, no bank search file yet.
  const std::string other = dir() + "Filiale/";
  fs::create_directory(other);
  std::vector<uint8_t> customers = DbaImage(KUNDE_VERSION, KUNDE_RECORD_SIZE, Meier());
  std::vector<uint8_t> entry(12, 0);
  kvtest::PutI32(entry, 0, static_cast<int32_t>(KUNDE_SUCH_MARKER));
  std::memcpy(entry.data() + 4, "Meier", 5);
  std::vector<uint8_t> names = DbaImage(600, 12, entry);
  WriteFileBytes(other + "kunden.dba", customers);
  WriteFileBytes(other + "Kundsuch.Dba", names);
  // The bank-code table beside it, in the Bundesbank's fixed columns.
  std::string blz(168, ' ');
  blz.replace(0, 9, "370400441");
  blz.replace(139, 11, "COBADEFFXXX");
  blz += "\r\n";
  WriteFileBytes(other + "blz.txt", std::vector<uint8_t>(blz.begin(), blz.end()));

  ASSERT_NE(KundenDBA_Init((dir() + "FILIALE").c_str()), 0);
  Kunde k;
  ASSERT_EQ(KundenDBA_LeseKunde(1, &k), 1);
  EXPECT_STREQ(k.surname, "Meier");
  EXPECT_EQ(Entries(other), (std::set<std::string>{"kunden.dba", "Kundsuch.Dba", "KUNDBLZSUCH.DBA", "blz.txt"}));
  EXPECT_EQ(ReadFileBytes(other + "kunden.dba"), customers);
  char bic[12] = "";
  EXPECT_EQ(kv::SEPA_BANKEN_BIC_Ermitteln("37040044", bic), 1);
  EXPECT_STREQ(bic, "COBADEFFXXX");
  EXPECT_EQ(ReadFileBytes(other + "Kundsuch.Dba"), names);  // found, so not rebuilt
  ASSERT_NE(KundenZweiteDBA_Init((other + "x").c_str()), 0);
  ASSERT_EQ(KundenZweiteDBA_LeseKunde(1, &k), 1);
  EXPECT_STREQ(k.surname, "Meier");
  EXPECT_EQ(Entries(other).size(), 4u);
}

TEST_F(DataPathsTest, NumberRangeFileIsFoundWhateverItsCaseAndTheFormOfThePath) {
  // Nothing beside the test programs may be adopted or dropped.
  kvtest::TempDir moduleDir;
  kv::FileIO_SetModuleDirectoryOverride(moduleDir.path().c_str());
  const std::string forms[3] = {dir() + "TEILE.DBA", dir(), WithoutSeparator(dir())};
  for (int i = 0; i < 3; ++i) {
    Nummern_Init(forms[i].c_str());
    ASSERT_EQ(Nummern_NummernSchreiben(100 + i, i), 1);
  }
  std::vector<uint8_t> counters = ReadFileBytes(file("NUMMERN.DAT"));
  ASSERT_EQ(counters.size(), 800u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(kvtest::I32At(counters, 4 * i), 100 + i);

  const std::string other = dir() + "Zentrale/";
  fs::create_directory(other);
  std::vector<uint8_t> image(800, 0);
  for (int i = 0; i < 200; ++i) kvtest::PutI32(image, 4 * i, 1000 + i);
  WriteFileBytes(other + "nummern.dat", image);
  Nummern_Init((dir() + "zentrale").c_str());
  int32_t value = 0;
  ASSERT_EQ(Nummern_NummernLesen(&value, 2), 1);
  EXPECT_EQ(value, 1002);
  ASSERT_EQ(Nummern_NummernSchreiben(1003, 2), 1);
  kvtest::PutI32(image, 8, 1003);
  EXPECT_EQ(ReadFileBytes(other + "nummern.dat"), image);
  EXPECT_EQ(Entries(other), std::set<std::string>{"nummern.dat"});
  kv::FileIO_SetModuleDirectoryOverride(nullptr);
}

TEST_F(DataPathsTest, LockFilesAndLogAreFoundWhateverTheirCaseAndTheFormOfThePath) {
  const std::string forms[3] = {dir() + "TEILE.DBA", dir(), WithoutSeparator(dir())};
  for (const std::string& form : forms) {
    KVLOCKDB_Exit();
    const char* directory = KVLOCKDB_Init(form.c_str());
    ASSERT_NE(directory, nullptr);
    EXPECT_EQ(Slashed(directory), Slashed(dir()));
  }
  EXPECT_EQ(Entries(dir()), std::set<std::string>{"MMLOCK.DBA"});

  // A directory left by another program: everything spelled otherwise.
  const std::string other = dir() + "Kasse/";
  fs::create_directories(other + "FUNC_LOCKS");
  const std::vector<uint8_t> lockDb = {'0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', 0};
  WriteFileBytes(other + "mmlock.dba", lockDb);
  const std::string firstLine = "[2026-01-02 03:04:05.006] W1:00000000 W2:00000000 W3:00000000 IP: x UserID: y - Function: z\r\n";
  WriteFileBytes(other + "KVLOGFILE.TXT", std::vector<uint8_t>(firstLine.begin(), firstLine.end()));

  KVLOCKDB_Exit();
  ASSERT_NE(KVLOCKDB_Init((dir() + "KASSE").c_str()), nullptr);
  KVLOCKDB_IPUSERInit("10.0.0.9", "kasse9", 1);
  ASSERT_EQ(KVLOCKDB_LockDB(3), 1);
  KVLOCKDB_UnlockDB(3);
  ASSERT_EQ(KVLOCKDB_Blocking_Start("LCK_BEZLIB", 0), 1);
  EXPECT_TRUE(FileExists(other + "FUNC_LOCKS/LCK_BEZLIB.lok"));
  KVLOCKDB_Log_Event("", "", "START BEZLIB_NeueBezeichnungEintragen", 0, 0, 0);
  KVLOCKDB_Blocking_Stop("LCK_BEZLIB");
  EXPECT_EQ(Entries(other), (std::set<std::string>{"FUNC_LOCKS", "KVLOGFILE.TXT", "mmlock.dba"}));
  EXPECT_TRUE(Entries(other + "FUNC_LOCKS").empty());
  EXPECT_EQ(ReadFileBytes(other + "mmlock.dba"), lockDb);
  std::vector<uint8_t> log = ReadFileBytes(other + "KVLOGFILE.TXT");
  std::string text(log.begin(), log.end());
  EXPECT_EQ(text.rfind(firstLine, 0), 0u);
  EXPECT_NE(text.find("Function: START BEZLIB_NeueBezeichnungEintragen\r\n"), std::string::npos);
  KVLOCKDB_Exit();
}

TEST_F(DataPathsTest, DocumentDirectoriesAreFoundWhateverTheirCase) {
  fs::create_directory(dir() + "Auftrag");
  fs::create_directory(dir() + "Rechnung");
  AUFTRAGDBA_Init(0, (dir() + "AUFTRAG/").c_str());
  RechnungDBA_Init(1, (dir() + "RECHNUNG/AFT*.DAT").c_str());
  char order[260], invoice[260];
  AUFTRAGDBA_MakeFileName(7, order);
  RechnungDBA_CreateFileName(7, invoice);
  EXPECT_TRUE(SameFileName(order, dir() + "Auftrag/AFT00007.DAT")) << order;
  EXPECT_TRUE(SameFileName(invoice, dir() + "Rechnung/RECH00100007.REC")) << invoice;
}

#if !defined(_WIN32)
// Where several spellings exist and none is exact, every station takes the
// first in byte order; an exact one always wins.
TEST_F(DataPathsTest, ResolutionPicksTheSameEntryOnEveryStation) {
  fs::create_directory(dir() + "daten");
  WriteFileBytes(dir() + "daten/kunden.dba", {1});
  WriteFileBytes(dir() + "daten/Kunden.DBA", {2});
  std::string resolved = kv::ResolvedNameCase(dir() + "DATEN/KUNDEN.DBA");
  EXPECT_EQ(ReadFileBytes(resolved), std::vector<uint8_t>{2});
  WriteFileBytes(dir() + "daten/KUNDEN.DBA", {3});
  EXPECT_EQ(kv::ResolvedNameCase(dir() + "daten/KUNDEN.DBA"), dir() + "daten/KUNDEN.DBA");
  // What does not exist keeps its spelling; "." and ".." pass through.
  EXPECT_EQ(kv::ResolvedNameCase(dir() + "DATEN/../daten/./NEU/X.DBA"), dir() + "daten/../daten/./NEU/X.DBA");
}
#endif

#if !defined(_WIN32)
// ---- one file per document, copied from a Windows server in another case ----

// An order as the program leaves it: the header block of bytes `seed`, then
// each position with its reference copy, of seed + p.
std::vector<uint8_t> OrderImage(uint8_t seed, int32_t positions) {
  std::vector<uint8_t> bytes(static_cast<size_t>(AUFTRAGDBA_BLOCK) * (1 + 2 * positions), seed);
  for (int32_t p = 1; p <= positions; ++p) {
    std::fill(bytes.begin() + static_cast<long>(AUFTRAGDBA_BLOCK) * (2 * p - 1), bytes.end(),
              static_cast<uint8_t>(seed + p));
  }
  return bytes;
}

int32_t CollectOrderNumber(int32_t n, void* context) {
  static_cast<std::vector<int32_t>*>(context)->push_back(n);
  return 1;
}
int32_t CollectHeaderByte(int32_t n, void* kopf, void* context) {
  static_cast<std::vector<int32_t>*>(context)->push_back(n * 1000 + static_cast<uint8_t*>(kopf)[100]);
  return 1;
}

// Orders spelled otherwise are read, written in place, counted by the walks,
// skipped by the number probe, deleted and archived as spelled; no call puts
// a second file beside one of them.
TEST_F(DataPathsTest, OrderFilesSpelledOtherwiseAreUsedAndNeverDoubled) {
  const std::string orders = dir() + "Auftrag/";
  fs::create_directory(orders);
  WriteFileBytes(orders + "aft00012.dat", OrderImage(0x12, 1));
  WriteFileBytes(orders + "Aft00013.Dat", OrderImage(0x13, 0));
  WriteFileBytes(orders + "AFT00014.DAT", OrderImage(0x14, 0));
  std::vector<uint8_t> ranges(800, 0);
  kvtest::PutI32(ranges, 8, 11);  // "AUFTRAGS NR": the last order handed out
  WriteFileBytes(dir() + "NUMMERN.DAT", ranges);
  Nummern_Init((dir() + "NUMMERN.DAT").c_str());
  ASSERT_EQ(AUFTRAGDBA_PLUS_ARCHIVE_Init(0, (dir() + "AUFTRAG/AFT*.DAT").c_str(), (dir() + "ARCHIV/").c_str()), 1);

  std::vector<uint8_t> block(AUFTRAGDBA_BLOCK, 0);
  ASSERT_EQ(AUFTRAGDBA_LeseAuftragsKopf(12, block.data()), 1);
  EXPECT_EQ(block[100], 0x12);
  ASSERT_EQ(AUFTRAGDBA_LesePOSITION(12, 1, block.data()), 1);
  EXPECT_EQ(block[100], 0x13);
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(12), 2);
  EXPECT_EQ(AUFTRAGDBA_AuftragIstNochLeer(13), 0);  // its content word is set

  // The probe takes 12, 13 and 14 as taken whatever their spelling.
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 15);
  EXPECT_EQ(AUFTRAGDBA_NeuerAuftrag(), 15);
  EXPECT_EQ(kvtest::I32At(ReadFileBytes(dir() + "NUMMERN.DAT"), 8), 15);

  // Writes go into the file as spelled.
  std::vector<uint8_t> header(AUFTRAGDBA_BLOCK, 0x21), position(AUFTRAGDBA_BLOCK, 0x22);
  ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(12, header.data()), 1);
  ASSERT_EQ(AUFTRAGDBA_NeuePOSITION(12, position.data()), 2);
  ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(15, header.data()), 1);  // a new order: documented name
  std::vector<uint8_t> twelve = ReadFileBytes(orders + "aft00012.dat");
  ASSERT_EQ(twelve.size(), static_cast<size_t>(AUFTRAGDBA_BLOCK) * 5);
  EXPECT_EQ(kvtest::I32At(twelve, 994), 560);
  EXPECT_EQ(twelve[100], 0x21);
  EXPECT_EQ(twelve[static_cast<size_t>(AUFTRAGDBA_BLOCK) + 100], 0x13);      // position 1 kept
  EXPECT_EQ(twelve[static_cast<size_t>(AUFTRAGDBA_BLOCK) * 4 + 100], 0x22);  // reference of 2
  EXPECT_EQ(Entries(orders),
            (std::set<std::string>{"AFT00014.DAT", "AFT00015.DAT", "Aft00013.Dat", "aft00012.dat"}));

  // Every walk sees each file once, read as it lies.
  std::vector<int32_t> numbers, headers;
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftragsnummern(CollectOrderNumber, &numbers), 4);
  std::sort(numbers.begin(), numbers.end());
  EXPECT_EQ(numbers, (std::vector<int32_t>{12, 13, 14, 15}));
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftraegen(CollectHeaderByte, &headers), 4);
  std::sort(headers.begin(), headers.end());
  EXPECT_EQ(headers, (std::vector<int32_t>{12000 + 0x21, 13000 + 0x13, 14000 + 0x14, 15000 + 0x21}));
  int32_t count = -1;
  AUFTRAGDBA_GetAUFTRAGSizeAndName(&count, nullptr);
  EXPECT_EQ(count, 3);  // the find walk does not count its first match

  // Positions cleared through the XX rewrite: the file keeps its spelling.
  EXPECT_EQ(AUFTRAGDBA_PositionenLoeschen(12), 1);
  EXPECT_EQ(kvtest::FileSize(orders + "aft00012.dat"), AUFTRAGDBA_BLOCK);
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(12), 1);

  // Archive moves keep the name as spelled, both ways; a file of the same
  // name in another case at the target refuses the move.
  const std::string archive = dir() + "ARCHIV" + kvtest::WithoutDrive(dir()) + "AUFTRAG/";
  const std::vector<uint8_t> cleared = ReadFileBytes(orders + "aft00012.dat");
  EXPECT_EQ(AUFTRAGDBA_Move_To_Archive(12), 1);
  EXPECT_EQ(ReadFileBytes(archive + "aft00012.dat"), cleared);
  EXPECT_EQ(AUFTRAGDBA_LeseAuftragsKopf(12, block.data()), 0);
  EXPECT_EQ(AUFTRAGDBA_Move_From_Archive(12), 1);
  EXPECT_EQ(ReadFileBytes(orders + "aft00012.dat"), cleared);
  WriteFileBytes(archive + "aft00014.dat", OrderImage(0x41, 0));
  EXPECT_EQ(AUFTRAGDBA_Move_To_Archive(14), 0);
  EXPECT_EQ(ReadFileBytes(orders + "AFT00014.DAT"), OrderImage(0x14, 0));
  EXPECT_EQ(ReadFileBytes(archive + "aft00014.dat"), OrderImage(0x41, 0));
  EXPECT_EQ(Entries(archive), std::set<std::string>{"aft00014.dat"});

  // Deletes remove the file as spelled, and only it.
  EXPECT_EQ(AUFTRAGDBA_LoescheAuftrag(13), 1);
  EXPECT_EQ(AUFTRAGDBA_LeseAuftragsKopf(13, block.data()), 0);
  EXPECT_EQ(Entries(orders), (std::set<std::string>{"AFT00014.DAT", "AFT00015.DAT", "aft00012.dat"}));
}

// An invoice record: status at 504, version at 548, other bytes `seed`.
std::vector<uint8_t> InvoiceImage(uint8_t seed, int32_t status, int32_t details) {
  std::vector<uint8_t> bytes(872 + 376 * static_cast<size_t>(details), seed);
  kvtest::PutI32(bytes, 504, status);
  kvtest::PutI32(bytes, 548, 610);
  return bytes;
}

// Invoices spelled otherwise: found by number and by the documented path,
// rewritten in place, archived and deleted as spelled, never doubled.
TEST_F(DataPathsTest, InvoiceFilesSpelledOtherwiseAreUsedAndNeverDoubled) {
  const std::string invoices = dir() + "rechnung/";
  fs::create_directory(invoices);
  WriteFileBytes(invoices + "rech00100012.rec", InvoiceImage(0x12, 3, 2));
  WriteFileBytes(invoices + "Rech00100013.Rec", InvoiceImage(0x13, 4, 0));
  ASSERT_EQ(RechnungDBA_PLUS_ARCHIVE_Init(1, (dir() + "RECHNUNG/RECH*.*").c_str(), (dir() + "ARCHIV").c_str()), 1);

  EXPECT_EQ(RechnungDBA_RechnungExists(12), 1);
  EXPECT_EQ(RechnungDBA_RechnungExists(14), 0);
  EXPECT_EQ(RechnungDBA_Hole_Status(12), 3);
  std::vector<uint8_t> copy(872, 0);
  ASSERT_EQ(RechnungDBA_Change_Status(12, 5, copy.data()), 1);
  std::vector<uint8_t> expected = InvoiceImage(0x12, 5, 2);
  EXPECT_EQ(ReadFileBytes(invoices + "rech00100012.rec"), expected);
  EXPECT_EQ(copy, std::vector<uint8_t>(expected.begin(), expected.begin() + 872));

  // The documented path opens the file as spelled.
  char path[260];
  RechnungDBA_CreateFileName(12, path);
  EXPECT_TRUE(SameFileName(path, dir() + "rechnung/RECH00100012.REC")) << path;
  int32_t h = RechnungDBA_Open(path);
  ASSERT_NE(h, -1);
  std::vector<uint8_t> record(872, 0), detail(376, 0);
  EXPECT_EQ(RechnungDBA_ReadRECHNUNG(h, record.data()), 1);
  EXPECT_EQ(RechnungDBA_ReadRECHNUNGDETAIL(h, detail.data()), 1);
  RechnungDBA_Close(h);
  EXPECT_EQ(detail, std::vector<uint8_t>(376, 0x12));

  // A new invoice under an existing number replaces that file, as spelled.
  h = RechnungDBA_New(13);
  ASSERT_NE(h, -1);
  std::vector<uint8_t> fresh(872, 0x31);
  EXPECT_EQ(RechnungDBA_WriteRECHNUNG(h, fresh.data()), 1);
  RechnungDBA_Close(h);
  EXPECT_EQ(ReadFileBytes(invoices + "Rech00100013.Rec"), InvoiceImage(0x31, 0x31313131, 0));
  EXPECT_EQ(Entries(invoices), (std::set<std::string>{"Rech00100013.Rec", "rech00100012.rec"}));

  // The walk reports the names as spelled.
  std::set<std::string> found;
  h = RechnungDBA_FindFirst("RECH*.*", path);
  ASSERT_NE(h, -1);
  do {
    found.insert(fs::path(path).filename().string());
  } while (RechnungDBA_FindNext(h, path));
  RechnungDBA_FindClose(h);
  EXPECT_EQ(found, (std::set<std::string>{"Rech00100013.Rec", "rech00100012.rec"}));

  // Archive moves by the documented path keep the name as spelled.
  const std::string archive = dir() + "ARCHIV" + kvtest::WithoutDrive(dir()) + "RECHNUNG/";
  RechnungDBA_CreateFileName(12, path);
  EXPECT_EQ(RechnungDBA_Move_To_Archive(path), 1);
  EXPECT_EQ(ReadFileBytes(archive + "rech00100012.rec"), expected);
  EXPECT_EQ(RechnungDBA_RechnungExists(12), 0);
  EXPECT_EQ(RechnungDBA_Move_From_Archive(path), 1);
  EXPECT_EQ(ReadFileBytes(invoices + "rech00100012.rec"), expected);
  WriteFileBytes(archive + "RECH00100013.REC", InvoiceImage(0x77, 1, 0));
  RechnungDBA_CreateFileName(13, path);
  EXPECT_EQ(RechnungDBA_Move_To_Archive(path), 0);
  EXPECT_EQ(Entries(archive), std::set<std::string>{"RECH00100013.REC"});

  EXPECT_EQ(RechnungDBA_Delete(12), 1);
  EXPECT_EQ(RechnungDBA_Delete(12), 0);
  EXPECT_EQ(Entries(invoices), std::set<std::string>{"Rech00100013.Rec"});
}
#endif

}  // namespace
