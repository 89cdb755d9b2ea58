// Saves and deletes inside a KundenDBA_Open bracket, which holds the customer
// file and both search files open: the files come out byte for byte as
// without the bracket, the search files follow every change (also one made by
// another process meanwhile), and a search file missing when the bracket
// opens is found again once it is back.
#include <cstdio>
#include <filesystem>

#include "kunden_fixture.h"

namespace {

using kvtest::MakeKunde;
using kvtest::SearchEntry;
using kvtest::SetText;

constexpr int32_t R = KUNDE_RECORD_SIZE;

// args: data directory, customer, surname. Saves the customer under a new
// surname with its search entries, as another station would.
KVTEST_WORKER(rename_customer) {
  if (KundenDBA_Init((args[0] + "KUNDEN.DBA").c_str()) == 0) return 2;
  Kunde k;
  const int32_t n = std::stoi(args[1]);
  if (KundenDBA_LeseKunde(n, &k) != 1) return 3;
  SetText(k.surname, args[2].c_str());
  return KundenDBA_SchreibeKunde(n, &k, 1) == 1 ? 0 : 4;
}

class KundenBracketTest : public kvtest::KundenTest {
 protected:
  // A file's bytes without the times that differ from run to run: the
  // header's last change and every record's last-write date and time.
  std::vector<uint8_t> Untimed(const std::string& path, int32_t recordSize) {
    std::vector<uint8_t> b = kvtest::ReadFileBytes(path);
    for (size_t i = 4; i < 8 && i < b.size(); ++i) b[i] = 0;
    if (recordSize == R) {
      for (size_t at = 40 + R; at + R <= b.size(); at += R) std::fill(b.begin() + at + 907, b.begin() + at + 911, 0);
    }
    return b;
  }

  // Customers added, changed (with and without search update), deleted and
  // their numbers reused, in one directory.
  void Work(const std::string& d, bool bracket) {
    std::filesystem::create_directory(d);
    ASSERT_NE(KundenDBA_Init((d + "KUNDEN.DBA").c_str()), 0);
    if (bracket) {
      ASSERT_EQ(KundenDBA_Open(), 1);
    }
    const char* names[] = {"Adler", "Bauer", "Cordes", "Dietz", "Ernst"};
    for (int i = 0; i < 5; ++i) {
      Kunde k = MakeKunde(names[i]);
      SetText(k.bankCode, ("3704004" + std::to_string(i)).c_str());
      SetText(k.accountNumber, ("53201300" + std::to_string(i)).c_str());
      ASSERT_EQ(AddKunde(k), i + 1);
    }
    if (bracket) {
      ASSERT_EQ(KundenDBA_Open(), 1);  // a nested level changes nothing
    }
    EXPECT_EQ(KundenDBA_LoescheKunde(2), 1);
    Kunde k = Read(3);
    SetText(k.surname, "Conrad");
    SetText(k.accountNumber, "99");
    EXPECT_EQ(KundenDBA_SchreibeKunde(3, &k, 1), 1);
    if (bracket) {
      ASSERT_EQ(KundenDBA_Close(), 1);
    }
    EXPECT_EQ(AddKunde(MakeKunde("Berger")), 2);
    EXPECT_EQ(KundenDBA_LoescheKunde(5), 1);
    EXPECT_EQ(KundenDBA_LoescheKunde(5), 1);
    k = Read(1);
    SetText(k.surname, "Albers");
    EXPECT_EQ(KundenDBA_SchreibeKunde(1, &k, 0), 1);  // the name entry keeps "Adler"
    EXPECT_EQ(KundenDBA_KundenerklaerungAusgeben(4), 1);
    if (bracket) {
      ASSERT_EQ(KundenDBA_Close(), 1);
    }
  }
};

TEST_F(KundenBracketTest, SavesAndDeletesInsideTheBracketWriteTheSameBytes) {
  const std::string plain = dir() + "plain/", held = dir() + "held/";
  Work(plain, false);
  Work(held, true);
  EXPECT_EQ(Untimed(held + "KUNDEN.DBA", R), Untimed(plain + "KUNDEN.DBA", R));
  EXPECT_EQ(Untimed(held + "KUNDSUCH.DBA", 12), Untimed(plain + "KUNDSUCH.DBA", 12));
  EXPECT_EQ(Untimed(held + "KUNDBLZSUCH.DBA", 24), Untimed(plain + "KUNDBLZSUCH.DBA", 24));

  // The search files hold exactly the state of the customers after the run.
  auto at = [&](const std::string& name, int32_t n, size_t size) {
    std::vector<uint8_t> b = kvtest::ReadFileBytes(held + name);
    return std::vector<uint8_t>(b.begin() + 40 + n * size, b.begin() + 40 + (n + 1) * size);
  };
  EXPECT_EQ(at("KUNDSUCH.DBA", 1, 12), SearchEntry(12, "Adler"));
  EXPECT_EQ(at("KUNDSUCH.DBA", 2, 12), SearchEntry(12, "Berger"));
  EXPECT_EQ(at("KUNDSUCH.DBA", 3, 12), SearchEntry(12, "Conrad"));
  EXPECT_EQ(at("KUNDSUCH.DBA", 4, 12), SearchEntry(12, "Dietz"));
  EXPECT_EQ(at("KUNDSUCH.DBA", 5, 12), std::vector<uint8_t>(12, 0));
  EXPECT_EQ(at("KUNDBLZSUCH.DBA", 2, 24), SearchEntry(24, ""));
  EXPECT_EQ(at("KUNDBLZSUCH.DBA", 3, 24), SearchEntry(24, "37040042", "99"));
  EXPECT_EQ(at("KUNDBLZSUCH.DBA", 5, 24), std::vector<uint8_t>(24, 0));

}

TEST_F(KundenBracketTest, ASaveByAnotherStationDuringTheBracketIsKeptAndFollowed) {
  const int32_t a = AddKunde(MakeKunde("Adler"));
  const int32_t b = AddKunde(MakeKunde("Bauer"));
  ASSERT_EQ(KundenDBA_Open(), 1);
  Kunde k = Read(a);
  SetText(k.surname, "Albers");
  ASSERT_EQ(KundenDBA_SchreibeKunde(a, &k, 1), 1);
  kvtest::Worker w = kvtest::SpawnWorker("rename_customer", {dir(), std::to_string(b), "Busch"});
  ASSERT_EQ(kvtest::WaitWorker(w), 0);
  // Nothing of the other station's save is overwritten from memory: the
  // bracket's next save of a starts from the disk, and b reads as it wrote.
  EXPECT_STREQ(Read(b).surname, "Busch");
  EXPECT_EQ(NameItem(b), SearchEntry(12, "Busch"));
  k = Read(b);
  SetText(k.city, "Hamburg");
  ASSERT_EQ(KundenDBA_SchreibeKunde(b, &k, 1), 1);
  EXPECT_EQ(KundenDBA_LoescheKunde(a), 1);
  ASSERT_EQ(KundenDBA_Close(), 1);
  EXPECT_EQ(NameItem(a), std::vector<uint8_t>(12, 0));
  EXPECT_EQ(NameItem(b), SearchEntry(12, "Busch"));
  EXPECT_STREQ(Read(b).city, "Hamburg");
}

TEST_F(KundenBracketTest, ASearchFileMissingWhenTheBracketOpensIsFoundOnceItIsBack) {
  const int32_t n = AddKunde(MakeKunde("Adler"));
  const std::vector<uint8_t> bank = kvtest::ReadFileBytes(file("KUNDBLZSUCH.DBA"));
  ASSERT_EQ(std::remove(file("KUNDBLZSUCH.DBA").c_str()), 0);
  ASSERT_EQ(KundenDBA_Open(), 1);
  Kunde k = Read(n);
  SetText(k.bankCode, "10020030");
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);  // the name entry alone
  EXPECT_FALSE(kvtest::FileExists(file("KUNDBLZSUCH.DBA")));
  kvtest::WriteFileBytes(file("KUNDBLZSUCH.DBA"), bank);
  SetText(k.surname, "Albers");
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
  EXPECT_EQ(BankItem(n), SearchEntry(24, "10020030"));
  EXPECT_EQ(NameItem(n), SearchEntry(12, "Albers"));
  ASSERT_EQ(KundenDBA_Close(), 1);
  // The failed hold left no count behind: the file's own bracket works.
  EXPECT_EQ(KundenBLZSuchDBA_Open(), 1);
  EXPECT_EQ(KundenBLZSuchDBA_Close(), 1);
}

#ifndef _WIN32
// The bracket's saves write through the handles it opened: a search file
// moved aside after the bracket opened receives them.
TEST_F(KundenBracketTest, SavesInsideTheBracketOpenNoFile) {
  const int32_t n = AddKunde(MakeKunde("Adler"));
  ASSERT_EQ(KundenDBA_Open(), 1);
  ASSERT_EQ(std::rename(file("KUNDSUCH.DBA").c_str(), file("KUNDSUCH.OLD").c_str()), 0);
  Kunde k = Read(n);
  SetText(k.surname, "Albers");
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
  ASSERT_EQ(KundenDBA_Close(), 1);
  EXPECT_FALSE(kvtest::FileExists(file("KUNDSUCH.DBA")));
  EXPECT_EQ(Item("KUNDSUCH.OLD", n, 12), SearchEntry(12, "Albers"));
  // Closed, the bracket holds nothing: the next save looks for the file by
  // its name and, finding none, leaves the moved file alone.
  SetText(k.surname, "Busch");
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
  EXPECT_EQ(Item("KUNDSUCH.OLD", n, 12), SearchEntry(12, "Albers"));
  EXPECT_FALSE(kvtest::FileExists(file("KUNDSUCH.DBA")));
}
#endif

}  // namespace
