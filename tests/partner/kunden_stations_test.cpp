// Two stations on one customer file: a second process deletes, saves or
// holds a lock while this one works, and afterwards the free chain, the
// counts, the records and the search files are exactly what one station
// after the other would have left.
#include <set>

#include "dba_util.h"
#include "kunden_fixture.h"
#include "kvdata/kvhost.h"
#include "services/platform.h"

namespace {

using kvtest::I32At;
using kvtest::MakeKunde;
using kvtest::SetText;

constexpr int32_t R = KUNDE_RECORD_SIZE;

// A descriptor of its own on dir's KUNDEN.DBA, as another program would open
// the file through the engine.
DbaFile OwnDescriptor(const std::string& dir) { return kvtest::MakeDba(dir + "KUNDEN.DBA", R, 0); }

// args: data directory, customer, marker, milliseconds, "free" or "keep".
// Holds the customer's record lock for a while, announcing it with the
// marker; with "free" it then deletes the customer under that lock the way
// dba.h tells a direct caller to (state first, then DBA_DeleteITEM).
KVTEST_WORKER(hold_customer) {
  DbaFile f = OwnDescriptor(args.at(0));
  const int32_t n = std::stoi(args.at(1));
  if (DBA_OpenDBA(&f) != 1 || DBA_LockDATA(&f, n) != 1) return 2;
  kvtest::WriteFileBytes(args.at(2), {1});
  kv::SleepMs(std::stoi(args.at(3)));
  if (args.at(4) == "free") {
    DbaItemHead head{};
    if (DBA_GetDATA(&f, n, &head, sizeof head) != 1 || head.state == -1) return 3;
    DBA_DeleteITEM(&f, n);
    if (DBA_GetDATA(&f, n, &head, sizeof head) != 1 || head.state != -1) return 4;
  }
  DBA_UnlockDATA(&f, n);
  DBA_CloseDBA(&f);
  return 0;
}

// args: data directory, customer. Deletes it like any station.
KVTEST_WORKER(delete_customer) {
  if (KundenDBA_Init((args.at(0) + "KUNDEN.DBA").c_str()) == 0) return 2;
  return KundenDBA_LoescheKunde(std::stoi(args.at(1))) == 1 ? 0 : 3;
}

// args: data directory. Takes a number and ends before saving anything, as
// a station that is switched off would; prints nothing, exits with 0.
KVTEST_WORKER(take_number_and_stop) {
  if (KundenDBA_Init((args.at(0) + "KUNDEN.DBA").c_str()) == 0) return 2;
  return KundenDBA_NeuerKunde() != 0 ? 0 : 3;
}

class KundenStationsTest : public kvtest::KundenTest {
 protected:
  void TearDown() override {
    KVHOST_SetLockTimeout(10000);
    KundenTest::TearDown();
  }
  std::vector<uint8_t> Bytes(const char* name) { return kvtest::ReadFileBytes(file(name)); }
  DbaHeader Header() { return kvtest::ReadHeader(file("KUNDEN.DBA")); }
  std::vector<int32_t> Chain() { return kvtest::FreeChain(file("KUNDEN.DBA"), R, 0); }
};

TEST_F(KundenStationsTest, TwoStationsDeletingOneCustomerFreeItOnce) {
  int32_t a = AddKunde(MakeKunde("Anna")), b = AddKunde(MakeKunde("Bert")), c = AddKunde(MakeKunde("Cora"));
  ASSERT_EQ(Header().usedCount, 3);
  // The other station holds b while it frees it; this station's delete of b
  // waits for the lock and then finds the record free.
  kvtest::Worker w = kvtest::SpawnWorker("hold_customer", {dir(), std::to_string(b), file("m"), "400", "free"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
  EXPECT_EQ(KundenDBA_LoescheKunde(b), 1);
  ASSERT_EQ(kvtest::WaitWorker(w), 0);

  EXPECT_EQ(Chain(), std::vector<int32_t>{b});
  EXPECT_EQ(Header().usedCount, 2);
  // The number comes back once; the next one is a new slot.
  EXPECT_EQ(KundenDBA_NeuerKunde(), b);
  EXPECT_EQ(KundenDBA_NeuerKunde(), c + 1);
  EXPECT_STREQ(Read(a).surname, "Anna");
  EXPECT_STREQ(Read(c).surname, "Cora");

  // Deleted by two stations one after the other: still freed once, and the
  // second delete leaves every byte alone.
  kvtest::Worker second = kvtest::SpawnWorker("delete_customer", {dir(), std::to_string(a)});
  ASSERT_EQ(kvtest::WaitWorker(second), 0);
  const auto image = Bytes("KUNDEN.DBA");
  EXPECT_EQ(KundenDBA_LoescheKunde(a), 1);
  EXPECT_EQ(Bytes("KUNDEN.DBA"), image);
  EXPECT_EQ(Chain(), std::vector<int32_t>{a});
}

TEST_F(KundenStationsTest, ASaveOntoACustomerAnotherStationDeletedIsRefused) {
  int32_t n = AddKunde(MakeKunde("Alt"));
  AddKunde(MakeKunde("Nachbar"));
  Kunde mine = Read(n);  // the office has the customer on screen
  kvtest::Worker w = kvtest::SpawnWorker("delete_customer", {dir(), std::to_string(n)});
  ASSERT_EQ(kvtest::WaitWorker(w), 0);

  const auto customers = Bytes("KUNDEN.DBA"), names = Bytes("KUNDSUCH.DBA"), banks = Bytes("KUNDBLZSUCH.DBA");
  SetText(mine.city, "Hamburg");
  EXPECT_EQ(KundenDBA_SchreibeKunde(n, &mine, 1), 0);
  EXPECT_EQ(KundenDBA_KundenerklaerungAusgeben(n), 1);  // reads the record, saves nothing
  ASSERT_EQ(KundenDBA_Open(), 1);
  EXPECT_EQ(KundenDBA_Write(n, &mine), 0);
  EXPECT_EQ(KundenDBA_Close(), 1);
  EXPECT_EQ(Bytes("KUNDEN.DBA"), customers);
  EXPECT_EQ(Bytes("KUNDSUCH.DBA"), names);
  EXPECT_EQ(Bytes("KUNDBLZSUCH.DBA"), banks);
  const auto freed = Item("KUNDEN.DBA", n, R);
  ASSERT_EQ(KundenDBA_KundenAlleBenutzbar(), 1);  // stamps the neighbour, not the free record
  EXPECT_EQ(Item("KUNDEN.DBA", n, R), freed);

  // The chain stays sound: the number is handed out again and, being marked
  // taken at once, can be saved by its new owner.
  int32_t again = KundenDBA_NeuerKunde();
  ASSERT_EQ(again, n);
  std::vector<uint8_t> marked = Item("KUNDEN.DBA", n, R);
  std::vector<uint8_t> want = kvtest::FreedRecord();
  kvtest::PutI32(want, 0, 1);
  std::copy(marked.begin() + 907, marked.begin() + 911, want.begin() + 907);  // the stamp
  EXPECT_EQ(marked, want);
  Kunde fresh = MakeKunde("Neu");
  EXPECT_EQ(KundenDBA_SchreibeKunde(n, &fresh, 1), 1);
  EXPECT_STREQ(Read(n).surname, "Neu");
  EXPECT_EQ(Header().usedCount, 2);
}

TEST_F(KundenStationsTest, ANumberTakenByAStationThatStoppedIsFreedByTheReorganisation) {
  int32_t kept = AddKunde(MakeKunde("Bleibt"));
  kvtest::Worker w = kvtest::SpawnWorker("take_number_and_stop", {dir()});
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  const int32_t orphan = kept + 1;
  EXPECT_EQ(Header().usedCount, 2);
  EXPECT_EQ(I32At(Item("KUNDEN.DBA", orphan, R), 0), 1);  // marked taken, never saved
  ASSERT_EQ(KundenDBA_Reo(), 1);
  EXPECT_EQ(Header().usedCount, 1);
  EXPECT_EQ(Chain(), std::vector<int32_t>{orphan});
  EXPECT_EQ(KundenDBA_NeuerKunde(), orphan);
  EXPECT_STREQ(Read(kept).surname, "Bleibt");
}

TEST_F(KundenStationsTest, ADeleteRefusedAtTheHeaderLockLeavesTheCustomerAsItWas) {
  Kunde k = MakeKunde("Bleibt");
  SetText(k.bankCode, "10010010");
  int32_t n = AddKunde(k);
  const auto customers = Bytes("KUNDEN.DBA"), names = Bytes("KUNDSUCH.DBA"), banks = Bytes("KUNDBLZSUCH.DBA");
  kvtest::Worker w = kvtest::HoldHeader(file("KUNDEN.DBA"), R, 0, file("m"), 1500);
  ASSERT_TRUE(kvtest::AwaitFile(file("m")));
  KVHOST_SetLockTimeout(100);
  EXPECT_EQ(KundenDBA_LoescheKunde(n), 0);
  KVHOST_SetLockTimeout(10000);
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(Bytes("KUNDEN.DBA"), customers);
  EXPECT_EQ(Bytes("KUNDSUCH.DBA"), names);
  EXPECT_EQ(Bytes("KUNDBLZSUCH.DBA"), banks);
  // Once the lock is free the delete goes through.
  EXPECT_EQ(KundenDBA_LoescheKunde(n), 1);
  EXPECT_EQ(Item("KUNDEN.DBA", n, R), kvtest::FreedRecord());
  EXPECT_EQ(Chain(), std::vector<int32_t>{n});
}

TEST_F(KundenStationsTest, ASaveWaitsForTheCustomersLockOrGivesUpAtTheTimeOut) {
  int32_t n = AddKunde(MakeKunde("Warte"));
  Kunde k = Read(n);
  SetText(k.city, "Bremen");
  const auto customers = Bytes("KUNDEN.DBA"), names = Bytes("KUNDSUCH.DBA");
  kvtest::Worker w = kvtest::SpawnWorker("hold_customer", {dir(), std::to_string(n), file("m1"), "1500", "keep"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m1")));
  KVHOST_SetLockTimeout(100);
  EXPECT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 0);
  EXPECT_EQ(KundenDBA_LoescheKunde(n), 0);
  KVHOST_SetLockTimeout(10000);
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(Bytes("KUNDEN.DBA"), customers);
  EXPECT_EQ(Bytes("KUNDSUCH.DBA"), names);

  w = kvtest::SpawnWorker("hold_customer", {dir(), std::to_string(n), file("m2"), "300", "keep"});
  ASSERT_TRUE(kvtest::AwaitFile(file("m2")));
  EXPECT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);  // waits for the holder
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_STREQ(Read(n).city, "Bremen");
}

TEST_F(KundenStationsTest, ASaveKeepsTheChainHeadsOnDisk) {
  int32_t n = AddKunde(MakeKunde("Kette"));
  Kunde office = Read(n);  // heads 0 / 0 on the office's screen
  // Meanwhile a till links items 17..42 to the customer (the heads alone).
  Kunde till = Read(n);
  till.firstItem = 17;
  till.lastItem = 42;
  {
    DbaFile f = OwnDescriptor(dir());
    ASSERT_EQ(DBA_OpenDBA(&f), 1);
    ASSERT_EQ(DBA_SetDATA(&f, n, &till, R), 1);
    DBA_CloseDBA(&f);
  }
  SetText(office.city, "Kiel");
  office.firstItem = 0;
  office.lastItem = 0;
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &office, 1), 1);
  EXPECT_EQ(int32_t{office.firstItem}, 17);  // the caller's copy learns the heads
  EXPECT_EQ(int32_t{office.lastItem}, 42);
  Kunde back = Read(n);
  EXPECT_STREQ(back.city, "Kiel");
  EXPECT_EQ(int32_t{back.firstItem}, 17);
  EXPECT_EQ(int32_t{back.lastItem}, 42);

  ASSERT_EQ(KundenDBA_Open(), 1);
  office.firstItem = office.lastItem = 5;
  EXPECT_EQ(KundenDBA_Write(n, &office), 1);
  EXPECT_EQ(KundenDBA_Close(), 1);
  EXPECT_EQ(KundenDBA_KundenerklaerungAusgeben(n), 1);
  ASSERT_EQ(KundenDBA_KundenAlleBenutzbar(), 1);
  back = Read(n);
  EXPECT_EQ(int32_t{back.firstItem}, 17);
  EXPECT_EQ(int32_t{back.lastItem}, 42);
  EXPECT_NE(back.flags & KUNDE_FLAG_ERKLAERUNG, 0);

  // Block writes are administrative: they write the heads they are given.
  office.firstItem = office.lastItem = 5;
  ASSERT_EQ(KundenDBA_Open(), 1);
  ASSERT_EQ(KundenDBA_WriteBlock(n, &office, 1), 1);
  EXPECT_EQ(KundenDBA_Close(), 1);
  EXPECT_EQ(int32_t{Read(n).firstItem}, 5);
}

TEST_F(KundenStationsTest, EveryNumberInUseStaysWithinTheHighestNumberAfterAReorganisation) {
  std::vector<int32_t> n;
  for (const char* name : {"Eins", "Zwei", "Drei", "Vier", "Fuenf"}) n.push_back(AddKunde(MakeKunde(name)));
  ASSERT_EQ(KundenDBA_LoescheKunde(n[3]), 1);
  ASSERT_EQ(KundenDBA_LoescheKunde(n[4]), 1);
  ASSERT_EQ(KundenDBA_Reo(), 1);
  ASSERT_EQ(KundenDBA_GetMAX(), 3);  // free slots 4 and 5 stay in the chain
  EXPECT_EQ(Chain(), (std::vector<int32_t>{4, 5}));

  int32_t four = AddKunde(MakeKunde("Neu4"));
  ASSERT_EQ(four, 4);
  EXPECT_EQ(KundenDBA_GetMAX(), 4);
  char text[KUNDE_ADRESSE_MAX];
  EXPECT_EQ(KundenDBA_Adresse(four, text, 0), 1);
  int32_t five = AddKunde(MakeKunde("Neu5"));
  ASSERT_EQ(five, 5);
  EXPECT_EQ(KundenDBA_GetMAX(), 5);
  // A record an import put past the slot count is stepped over by the next
  // append, never zeroed.
  Kunde imported = MakeKunde("Import");
  ASSERT_EQ(KundenDBA_SchreibeImportKunde(7, &imported), 1);
  int32_t next = AddKunde(MakeKunde("Acht"));
  EXPECT_EQ(next, 8);
  EXPECT_STREQ(Read(7).surname, "Import");
  EXPECT_EQ(KundenDBA_GetMAX(), 8);
  ASSERT_EQ(KundenDBA_KundenAlleBenutzbar(), 1);
  EXPECT_NE(Read(five).flags & KUNDE_FLAG_BENUTZBAR, 0);
}

}  // namespace
