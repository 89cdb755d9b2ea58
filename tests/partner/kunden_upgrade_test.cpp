// Upgrades of old customer files: 520 -> 530 -> 540 with the field moves and
// IBAN/BIC derivation, the oldest format with its extension file, the
// extension merge, and upgrades interrupted by a failing rename.
#include <cstring>
#include <tuple>

#include "blz_file.h"
#include "kunden_fixture.h"
#include "kvdata/kvhost.h"
#include "services/fault.h"
#include "services/sepa.h"

namespace {

using kvtest::I32At;
using Bytes = std::vector<uint8_t>;

// Where each field of the 574-byte record lands in the 1299-byte record
// (string fields have a target size, raw fields 0).
struct Move {
  int from, to, size, toSize;
};
const Move kMoves[] = {
    {0, 0, 4, 0},       {4, 4, 4, 0},       {8, 8, 2, 0},       {10, 10, 9, 9},     {19, 19, 21, 21},
    {40, 40, 41, 65},   {81, 105, 41, 65},  {122, 170, 41, 65}, {163, 235, 5, 5},   {168, 240, 7, 9},
    {175, 249, 41, 65}, {216, 314, 21, 21}, {237, 335, 21, 21}, {258, 356, 41, 65}, {299, 421, 41, 65},
    {340, 486, 41, 65}, {381, 551, 21, 21}, {402, 572, 20, 20}, {422, 592, 8, 0},   {430, 600, 8, 0},
    {438, 608, 9, 9},   {447, 617, 11, 11}, {458, 628, 13, 13}, {471, 641, 13, 13}, {484, 654, 13, 13},
    {516, 783, 12, 0},  {528, 795, 2, 0},   {530, 797, 12, 12}, {542, 809, 32, 0},
};

void PutString(Bytes& b, int at, int size, const std::string& s) {
  std::fill(b.begin() + at, b.begin() + at + size, 0);
  std::memcpy(&b[at], s.data(), std::min<size_t>(s.size(), size - 1));
}

// An old record of `size` bytes with a distinct value in every field.
Bytes OldRecord(int size, int customer, const char* country, const char* bankCode, const char* account) {
  Bytes b(size, 0);
  for (const Move& m : kMoves) {
    if (m.from + m.size > size) continue;
    if (m.toSize == 0) {
      for (int i = 0; i < m.size; ++i) b[m.from + i] = static_cast<uint8_t>(customer * 16 + m.from + i);
    } else {
      PutString(b, m.from, m.size,
                std::string("C").append(std::to_string(customer)).append("@").append(std::to_string(m.from)) +
                    "xxxxxxxxxxxxxxxxxxx");
    }
  }
  kvtest::PutI32(b, 0, 1);
  PutString(b, 163, 5, country);
  if (size > 447) {
    PutString(b, 438, 9, bankCode);
    PutString(b, 447, 11, account);
  }
  return b;
}

// The 1299-byte record the moves make of an old record (IBAN and BIC aside).
Bytes Moved(const Bytes& old, bool withExtensionWords = true) {
  Bytes n(1299, 0);
  for (const Move& m : kMoves) {
    if (m.from + m.size > static_cast<int>(old.size())) continue;
    if (!withExtensionWords && m.from == 430) continue;
    int len = m.size;
    if (m.toSize != 0) len = std::min<int>(strnlen(reinterpret_cast<const char*>(&old[m.from]), m.size), m.toSize - 1);
    std::memcpy(&n[m.to], &old[m.from], len);
  }
  return n;
}

// What the user was shown: "caption|flags|text", and the beeps.
std::string g_message;
int g_beeps = 0;
void KV_CALLBACK OnMessage(const char* caption, const char* text, uint32_t flags, void*) {
  g_message = std::string(caption) + std::string("|").append(std::to_string(flags)) + "|" + text;
}
void KV_CALLBACK OnBeep(uint32_t, void*) { ++g_beeps; }

class KundenUpgradeTest : public kvtest::KundenTest {
 protected:
  // Each test builds its old files first and then sets the family up.
  void SetUp() override {
    g_message.clear();
    g_beeps = 0;
    KVHOST_SetMessageHandler(OnMessage, nullptr);
    KVHOST_SetBeepHandler(OnBeep, nullptr);
  }
  void TearDown() override {
    KVHOST_SetMessageHandler(nullptr, nullptr);
    KVHOST_SetBeepHandler(nullptr, nullptr);
    KundenTest::TearDown();
  }

  // A DBA file built by the engine with the given records, version and
  // freed items.
  void MakeDba(const char* name, int size, int version, const std::vector<Bytes>& records,
               std::vector<int32_t> freed = {}) {
    DbaFile f{};
    f.handle = -1;
    f.recordSize = size;
    std::strcpy(f.path, file(name).c_str());
    ASSERT_NE(DBA_NeueDBA(&f), 0);
    DBA_SetVersion(&f, version);
    for (const Bytes& r : records) {
      int32_t n = DBA_NewITEM(&f);
      ASSERT_EQ(DBA_WriteDATA(&f, n, r.data()), 1);
    }
    // The old programs cleared a record before freeing it.
    for (int32_t n : freed) {
      ASSERT_EQ(DBA_WriteDATA(&f, n, Bytes(size, 0).data()), 1);
      DBA_DeleteITEM(&f, n);
    }
  }

  Bytes Customer(int32_t n) {
    Bytes b(1299);
    EXPECT_EQ(KundenDBA_LeseKunde(n, b.data()), 1);
    return b;
  }
};

TEST_F(KundenUpgradeTest, From520To540MovesEveryFieldAndDerivesIbanAndBic) {
  kvtest::WriteBlzFile(dir(), {{"37040044", "COBADEFFXXX"}});
  std::vector<Bytes> old = {OldRecord(550, 1, "D", "37040044", "532013000"),
                            OldRecord(550, 2, "NL", "37040044", "532013000"),
                            OldRecord(550, 3, "D", "11111111", "42"), OldRecord(550, 4, "DK", "", "42"),
                            OldRecord(550, 5, "D", "37040044", "1")};
  MakeDba("KUNDEN.DBA", 550, 520, old, {4});
  kvtest::WriteFileBytes(file("KUNDSUCH.DBA"), Bytes(100, 0x55));  // stale
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  ASSERT_EQ(KundenDBA_GetVersion(), 520);

  EXPECT_EQ(KundenDBA_DoUpdate(540, 520), 0);
  EXPECT_EQ(g_message, "");
  EXPECT_EQ(KundenDBA_GetVersion(), 540);
  for (const char* gone : {"KUNDEN530.DBA", "KUNDEN540.DBA"}) EXPECT_FALSE(kvtest::FileExists(file(gone)));

  // Every field moved; IBAN and BIC derived for German customers, the BIC
  // only where the bank is in the table.
  char iban3[kv::kIbanSize], iban5[kv::kIbanSize];
  ASSERT_EQ(kv::SEPA_MakeIBAN("11111111", "42", "DE", iban3), 1);
  ASSERT_EQ(kv::SEPA_MakeIBAN("37040044", "1", "DE", iban5), 1);
  for (auto [n, iban, bic] : {std::tuple<int32_t, const char*, const char*>{1, "DE89370400440532013000", "COBADEFFXXX"},
                              {2, "", ""}, {3, iban3, ""}, {5, iban5, "COBADEFFXXX"}}) {
    Bytes want = Moved(old[n - 1]);
    std::strcpy(reinterpret_cast<char*>(&want[858]), iban);
    std::strcpy(reinterpret_cast<char*>(&want[841]), bic);
    EXPECT_EQ(Customer(n), want) << "customer " << n;
  }

  // The freed number stays free; the search files were rebuilt.
  EXPECT_EQ(KundenDBA_NeuerKunde(), 4);
  EXPECT_EQ(NameItem(2), kvtest::SearchEntry(12, "C2@81xx"));
  EXPECT_EQ(BankItem(5), kvtest::SearchEntry(24, "37040044", "1"));

  // Nothing left to do.
  EXPECT_EQ(KundenDBA_DoUpdate(540, 540), 1);
  EXPECT_EQ(KundenDBA_CheckConversionRequired(file("KUNDEN.DBA").c_str()), 540);
}

TEST_F(KundenUpgradeTest, AFailedSwapKeepsTheOldFileAndTellsTheUser) {
  std::vector<Bytes> old = {OldRecord(574, 1, "D", "37040044", "532013000"), OldRecord(574, 2, "D", "", "")};
  MakeDba("KUNDEN.DBA", 574, 530, old);
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  Bytes original = kvtest::ReadFileBytes(file("KUNDEN.DBA"));

  // The swap of the new file into place fails: the old file is still
  // there, complete, and the new one is gone.
  kv::fault::Arm(kv::fault::Kind::Rename, 0);
  EXPECT_EQ(KundenDBA_DoUpdate(540, 530), 0);
  kv::fault::Reset();
  EXPECT_EQ(kvtest::ReadFileBytes(file("KUNDEN.DBA")), original);
  EXPECT_FALSE(kvtest::FileExists(file("KUNDEN540.DBA")));
  EXPECT_EQ(g_message.rfind("KALVORA|64|Kundendaten kopieren gescheiter, Grund ist Fehler Nr.", 0), 0u);
  EXPECT_NE(g_message.find(". \nBitte Quendor informieren!"), std::string::npos);
  EXPECT_EQ(g_beeps, 1);
  // The next attempt goes through.
  g_message.clear();
  EXPECT_EQ(KundenDBA_DoUpdate(540, 530), 0);
  EXPECT_EQ(g_message, "");
  EXPECT_EQ(KundenDBA_GetVersion(), 540);
  Bytes want = Moved(old[0]);
  std::memcpy(&want[858], "DE89370400440532013000", 23);
  EXPECT_EQ(Customer(1), want);
}

TEST_F(KundenUpgradeTest, OldestFormatTakesTheExtensionFileIntoTheRecord) {
  std::vector<Bytes> old = {OldRecord(438, 1, "D", "", ""), OldRecord(438, 2, "NL", "", ""),
                            OldRecord(438, 3, "D", "", "")};
  std::vector<Bytes> ext;
  for (int i = 1; i <= 3; ++i) {
    Bytes e(100, 0);
    kvtest::PutI32(e, 0, 1);
    for (int j = 4; j < 100; ++j) e[j] = static_cast<uint8_t>(0x40 + i + j);
    PutString(e, 8, 9, std::string("1001001").append(std::to_string(i)));
    PutString(e, 17, 11, std::to_string(1000 * i));
    ext.push_back(e);
  }
  MakeDba("KUNDEN.DBA", 438, 400, old, {3});
  MakeDba("KUNDENEW.DBA", 100, 400, ext);
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);

  EXPECT_EQ(KundenDBA_CheckConversionRequired(file("KUNDEN.DBA").c_str()), 540);
  EXPECT_FALSE(kvtest::FileExists(file("KUNDENEW.DBA")) || kvtest::FileExists(file("NKUNDEN.DBA")));
  EXPECT_EQ(KundenDBA_GetVersion(), 540);
  for (int32_t n : {1, 2}) {
    Bytes want = Moved(old[n - 1], false);
    std::memcpy(&want[600], ext[n - 1].data(), 100);
    EXPECT_EQ(Customer(n), want) << n;
    EXPECT_EQ(BankItem(n), kvtest::SearchEntry(24, std::string("1001001").append(std::to_string(n)), std::to_string(1000 * n)));
    EXPECT_EQ(NameItem(n), kvtest::SearchEntry(12, std::string("C").append(std::to_string(n)) + "@81xx"));
  }
  // The freed customer stays free.
  EXPECT_EQ(KundenDBA_NeuerKunde(), 3);
}

// Init on a directory that still holds the oldest format must not fill the
// search files from records it cannot read yet: after the conversion no
// freed number may still be found by name or bank.
TEST_F(KundenUpgradeTest, OldestFormatLeavesNoSearchEntriesForFreedNumbers) {
  std::vector<Bytes> old, ext;
  for (int i = 1; i <= 12; ++i) {
    old.push_back(OldRecord(438, i, "D", "", ""));
    Bytes e(100, 0);
    PutString(e, 8, 9, std::string("1001001").append(std::to_string(i % 10)));
    PutString(e, 17, 11, std::to_string(i));
    ext.push_back(e);
  }
  MakeDba("KUNDEN.DBA", 438, 400, old, {1, 2, 3});
  MakeDba("KUNDENEW.DBA", 100, 400, ext);
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  ASSERT_EQ(KundenDBA_CheckConversionRequired(file("KUNDEN.DBA").c_str()), 540);
  for (int32_t n : {1, 2, 3}) {
    Bytes name = NameItem(n), bank = BankItem(n);
    EXPECT_TRUE(name.empty() || name == Bytes(12, 0)) << n;
    EXPECT_TRUE(bank.empty() || bank == Bytes(24, 0)) << n;
  }
  EXPECT_EQ(NameItem(4), kvtest::SearchEntry(12, "C4@81xx"));
  EXPECT_EQ(BankItem(12), kvtest::SearchEntry(24, "10010012", "12"));
}

TEST_F(KundenUpgradeTest, ExtensionMergeAndVersionOfAFreshFile) {
  // A fresh file (version 600) is already in the current layout.
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  EXPECT_EQ(KundenDBA_GetVersion(), 600);
  EXPECT_EQ(KundenDBA_CheckConversionRequired(file("KUNDEN.DBA").c_str()), 540);
  EXPECT_EQ(KundenDBA_GetVersion(), 540);

  Kunde k = kvtest::MakeKunde("Ext");
  kvtest::SetText(k.referenceText, "REFERENZ");
  int32_t a = AddKunde(k);
  int32_t b = AddKunde(kvtest::MakeKunde("Ohne"));
  Bytes e(100, 0);
  for (int j = 0; j < 100; ++j) e[j] = static_cast<uint8_t>(j + 1);
  MakeDba("KUNDENEW.DBA", 100, 400, {e});
  Bytes want = Customer(a), beforeB = Customer(b);
  std::remove(file("KUNDSUCH.DBA").c_str());

  EXPECT_EQ(KundenDBA_AddEWtoK(file("KUNDEN.DBA").c_str()), 1);
  EXPECT_FALSE(kvtest::FileExists(file("KUNDENEW.DBA")));
  std::memcpy(&want[600], e.data(), 100);
  std::fill(want.begin() + 797, want.begin() + 809, 0);
  EXPECT_EQ(Customer(a), want);
  EXPECT_EQ(Customer(b), beforeB);  // no extension record for it
  EXPECT_EQ(NameItem(b), kvtest::SearchEntry(12, "Ohne"));
  EXPECT_EQ(KundenDBA_AddEWtoK(file("KUNDEN.DBA").c_str()), 0);  // nothing to merge any more
}

}  // namespace
