// The customer file and its two search files: record and entry images,
// range checks, deletion, block transfers, flags, reorganisation, the
// rebuild of missing search files.
#include <cstring>

#include "kunden_fixture.h"
#include "partner/kunden.h"
#include "services/fileio.h"
#include "services/texdefs.h"

namespace {

using kvtest::I16At;
using kvtest::I32At;
using kvtest::KundenTest;
using kvtest::MakeKunde;
using kvtest::SearchEntry;
using kvtest::SetText;

TEST_F(KundenTest, WriteStoresTheRecordAndBothSearchEntriesByteExact) {
  Kunde k = MakeKunde("Ab");
  SetText(k.bankCode, "37040044");
  SetText(k.accountNumber, "532013000");
  int32_t n = AddKunde(k);
  ASSERT_EQ(n, 1);

  // Every byte of the record: the fields at their offsets, the rest zero.
  std::vector<uint8_t> r = Item("KUNDEN.DBA", n, 1299);
  std::vector<uint8_t> want(1299, 0);
  kvtest::PutI32(want, 0, 1);
  want[8] = 1;
  want[592] = want[594] = want[598] = 33;
  for (auto [at, text] : {std::pair<size_t, const char*>{19, "Herr"}, {40, "Hans"}, {105, "Ab"}, {170, "Hauptstr. 1"},
                          {235, "D"}, {240, "10115"}, {249, "Berlin"}, {608, "37040044"}, {617, "532013000"}})
    std::memcpy(&want[at], text, std::strlen(text));
  ASSERT_EQ(r.size(), 1299u);
  EXPECT_EQ(static_cast<uint16_t>(I16At(r, 907)), kv::TEXDEFS_Heute(nullptr));
  EXPECT_NE(I16At(r, 909), 0);
  std::copy(r.begin() + 907, r.begin() + 911, want.begin() + 907);
  EXPECT_EQ(r, want);

  EXPECT_EQ(NameItem(n), SearchEntry(12, "Ab"));
  EXPECT_EQ(BankItem(n), SearchEntry(24, "37040044", "532013000"));

  // A long surname gives its first seven bytes; a write without search
  // update leaves the entries alone.
  SetText(k.surname, "Mustermann");
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 0), 1);
  EXPECT_EQ(NameItem(n), SearchEntry(12, "Ab"));
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
  EXPECT_EQ(NameItem(n), SearchEntry(12, "Musterm"));
}

TEST_F(KundenTest, RangeChecksRefuseBeforeAnyFileIsTouchedAndBlocksStopOneShort) {
  Kunde k = MakeKunde("Meier");
  AddKunde(k);
  auto before = kvtest::ReadFileBytes(file("KUNDSUCH.DBA"));
  auto customers = kvtest::ReadFileBytes(file("KUNDEN.DBA"));
  for (int32_t bad : {0, -1, 256001}) {
    EXPECT_EQ((std::vector<int32_t>{KundenDBA_LeseKunde(bad, &k), KundenDBA_SchreibeKunde(bad, &k, 1),
                                    KundenDBA_SchreibeImportKunde(bad, &k), KundenDBA_LoescheKunde(bad),
                                    KundenDBA_KundenerklaerungAusgeben(bad), KundenSuchDBA_Write(bad, &before[0]),
                                    KundenZweiteDBA_LeseKunde(bad, &k)}),
              std::vector<int32_t>(7, 0)) << bad;
  }
  EXPECT_EQ(KundenDBA_SchreibeKunde(1, nullptr, 1) + KundenDBA_LeseKunde(1, nullptr), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(file("KUNDSUCH.DBA")), before);
  EXPECT_EQ(kvtest::ReadFileBytes(file("KUNDEN.DBA")), customers);

  // The highest number can be written and read singly...
  k = MakeKunde("Letzter");
  ASSERT_EQ(KundenDBA_SchreibeImportKunde(KUNDEN_MAX, &k), 1);
  EXPECT_STREQ(Read(KUNDEN_MAX).surname, "Letzter");
  Kunde back;
  // ...but a block that ends on it is refused, one that ends just before it
  // is not.
  ASSERT_EQ(KundenDBA_Open(), 1);
  EXPECT_EQ((std::vector<int32_t>{KundenDBA_ReadBlock(KUNDEN_MAX, &back, 1), KundenDBA_WriteBlock(KUNDEN_MAX, &k, 1),
                                  KundenDBA_ReadBlock(KUNDEN_MAX - 1, &back, 1), KundenDBA_ReadBlock(0, &back, 1),
                                  KundenDBA_ReadBlock(1, &back, 0)}),
            (std::vector<int32_t>{0, 0, 1, 0, 0}));

  // Three records in one transfer, each stamped.
  std::vector<Kunde> block(3);
  for (int i = 0; i < 3; ++i) {
    block[i] = MakeKunde(("Block" + std::to_string(i)).c_str());
    block[i].lastWriteDate = 0;
  }
  ASSERT_EQ(KundenDBA_WriteBlock(10, block.data(), 3), 1);
  std::vector<Kunde> read(3);
  ASSERT_EQ(KundenDBA_ReadBlock(10, read.data(), 3), 1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(std::string(read[i].surname), "Block" + std::to_string(i));
    EXPECT_EQ(+read[i].lastWriteDate, kv::TEXDEFS_Heute(nullptr));
  }
  EXPECT_EQ(KundenDBA_Close(), 1);
  // Outside an open bracket the block functions fail.
  EXPECT_EQ(KundenDBA_ReadBlock(10, read.data(), 3), 0);
}

TEST_F(KundenTest, DeclarationFlagLeavesSearchEntriesAndUsableFlagReachesAll) {
  Kunde k = MakeKunde("Erkl");
  k.flags = 0;
  int32_t n = AddKunde(k);
  KundeSuchEintrag marker{KUNDE_SUCH_MARKER, {'Z', 'Z', 'Z'}, 0};
  ASSERT_EQ(KundenSuchDBA_Write(n, &marker), 1);
  // Given out, then cleared by anything but 1; 99 is not in the file.
  EXPECT_EQ((std::vector<int32_t>{KundenDBA_KundenerklaerungAusgeben(n), KundenDBA_KundenerklaerungSchonAusgegeben(n),
                                  KundenDBA_KundenerklaerungSetzenLoeschen(n, 2),
                                  KundenDBA_KundenerklaerungSchonAusgegeben(n), KundenDBA_KundenerklaerungAusgeben(99)}),
            (std::vector<int32_t>{1, 1, 1, 0, 0}));
  EXPECT_EQ(NameItem(n)[4], 'Z');
  KundenDBA_KundenerklaerungSetzenLoeschen(n, 1);
  ASSERT_EQ(KundenDBA_KundenAlleBenutzbar(), 1);
  EXPECT_EQ(+Read(n).flags, static_cast<int>(KUNDE_FLAG_BENUTZBAR | KUNDE_FLAG_ERKLAERUNG));
}

TEST_F(KundenTest, ReorganisationKeepsNamedCustomersAndFreesTheRest) {
  int32_t named = AddKunde(MakeKunde("Named"));
  Kunde flagless = MakeKunde("Flagless");
  flagless.flags = 0;
  flagless.refCount = 0;
  SetText(flagless.text1, "keep me");
  int32_t noFlags = AddKunde(flagless);
  int32_t deleted = AddKunde(MakeKunde("Gone"));
  Kunde nameless = MakeKunde("");
  int32_t flaggedNoName = AddKunde(nameless);
  nameless.flags = 0;
  SetText(nameless.street, "junk");
  int32_t empty = AddKunde(nameless);
  ASSERT_EQ(KundenDBA_LoescheKunde(deleted), 1);

  ASSERT_EQ(KundenDBA_Reo(), 1);
  EXPECT_EQ(KundenDBA_GetVersion(), 540);
  std::vector<uint8_t> header = kvtest::ReadFileBytes(file("KUNDEN.DBA"));
  EXPECT_EQ(I32At(header, 12), 3);  // named, flagless with surname, flagged without surname
  EXPECT_EQ(I32At(header, 8), deleted);

  EXPECT_EQ(+Read(noFlags).refCount, 1);
  EXPECT_STREQ(Read(noFlags).text1, "keep me");
  EXPECT_EQ(+Read(flaggedNoName).refCount, 1);
  EXPECT_STREQ(Read(named).surname, "Named");
  // A record with neither name nor flags is cleared and freed.
  EXPECT_EQ(Item("KUNDEN.DBA", empty, 1299), kvtest::FreedRecord());
  // The free chain comes out ascending.
  EXPECT_EQ(KundenDBA_NeuerKunde(), deleted);
  EXPECT_EQ(KundenDBA_NeuerKunde(), empty);
}

TEST_F(KundenTest, DeleteFreesTheNumberOnceAndInitRebuildsMissingSearchFiles) {
  Kunde a = MakeKunde("Anton");
  SetText(a.bankCode, "10010010");
  SetText(a.accountNumber, "1234");
  int32_t na = AddKunde(a), nb = AddKunde(MakeKunde("Berta")), nc = AddKunde(MakeKunde("Conny"));
  ASSERT_EQ(KundenDBA_LoescheKunde(nb), 1);
  EXPECT_EQ(Item("KUNDEN.DBA", nb, 1299), kvtest::FreedRecord());
  EXPECT_EQ(NameItem(nb), std::vector<uint8_t>(12, 0));
  EXPECT_EQ(BankItem(nb), std::vector<uint8_t>(24, 0));
  // Deleting it again must not put the number on the free chain twice; a
  // number past the end is no customer, and nothing grows.
  ASSERT_EQ(KundenDBA_LoescheKunde(nb), 1);
  int64_t size = kvtest::FileSize(file("KUNDEN.DBA"));
  EXPECT_EQ(KundenDBA_LoescheKunde(500), 1);
  EXPECT_EQ(kvtest::FileSize(file("KUNDEN.DBA")), size);

  // Bytes behind a terminator: the rebuild copies the fields byte by byte.
  Kunde c = MakeKunde("Conny");
  std::memcpy(c.bankCode, "123\0ABCDE", 9);
  ASSERT_EQ(KundenDBA_SchreibeKunde(nc, &c, 0), 1);

  std::remove(file("KUNDSUCH.DBA").c_str());
  std::remove(file("KUNDBLZSUCH.DBA").c_str());
  // Writes skip the missing files without creating them.
  ASSERT_EQ(KundenDBA_SchreibeKunde(nc, &c, 1), 1);
  EXPECT_FALSE(kvtest::FileExists(file("KUNDSUCH.DBA")));
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);

  EXPECT_EQ(NameItem(na), SearchEntry(12, "Anton"));
  EXPECT_EQ(NameItem(nb), std::vector<uint8_t>(12, 0));  // a hole: no customer
  EXPECT_EQ(NameItem(nc), SearchEntry(12, "Conny"));
  EXPECT_EQ(BankItem(na), SearchEntry(24, "10010010", "1234"));
  EXPECT_EQ(BankItem(nc), SearchEntry(24, std::string("123\0ABCD", 8)));
  // An existing search file is left as it is.
  KundeSuchEintrag marker{KUNDE_SUCH_MARKER, {'Z'}, 0};
  ASSERT_EQ(KundenSuchDBA_Write(na, &marker), 1);
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  EXPECT_EQ(NameItem(na)[4], 'Z');
  // The freed number comes back once.
  EXPECT_EQ(KundenDBA_NeuerKunde(), nb);
  EXPECT_EQ(KundenDBA_NeuerKunde(), nc + 1);
}

TEST_F(KundenTest, CreatedHeaderAndSecondDirectory) {
  ASSERT_EQ(KundenDBA_CreateHeader(5, 540), 1);
  std::vector<uint8_t> h = kvtest::ReadFileBytes(file("KUNDEN.DBA"));
  // Version, time, free head one past the last slot, used, capacity, 0.
  EXPECT_NE(I32At(h, 4), 0);
  EXPECT_EQ((std::vector<int32_t>{I32At(h, 0), I32At(h, 8), I32At(h, 12), I32At(h, 16), I32At(h, 20)}),
            (std::vector<int32_t>{540, 6, 5, 5, 0}));
  EXPECT_EQ(KundenDBA_GetMAX(), 5);
  // Inside a header lock the library holds itself, the highest number is
  // still read and the lock stays with its owner.
  DbaFile& f = kv::partner::CustomerFile();
  ASSERT_EQ(KundenDBA_Open(), 1);
  ASSERT_NE(DBA_LockHEADER(&f), 0);
  EXPECT_EQ(KundenDBA_GetMAX(), 5);
  EXPECT_EQ(kv::FileIO_HoldsLock(f.handle, 0, DBA_HEADER_SIZE), 1);
  DBA_UnlockHEADER(&f);
  KundenDBA_Close();

  kvtest::TempDir second;
  ASSERT_NE(KundenZweiteDBA_Init(second.file("any.txt").c_str()), 0);
  EXPECT_TRUE(kvtest::FileExists(second.file("KUNDEN.DBA")));
  // Fill the second file through the main descriptors, then read it back
  // through the second one while the main one points elsewhere again.
  ASSERT_NE(KundenDBA_Init(second.file("KUNDEN.DBA").c_str()), 0);
  int32_t n = AddKunde(MakeKunde("Zweit"));
  ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0);
  Kunde back;
  ASSERT_EQ(KundenZweiteDBA_LeseKunde(n, &back), 1);
  EXPECT_STREQ(back.surname, "Zweit");
}

}  // namespace
