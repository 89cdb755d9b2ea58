// Address texts: assembled lines, the free-form address, the emptiness rule,
// the telephone line, and records whose strings lack their terminator.
#include <cstring>

#include "kunden_fixture.h"

namespace {

using kvtest::KundenTest;
using kvtest::MakeKunde;
using kvtest::SetText;

class KundenAddressTest : public KundenTest {
 protected:
  // The text a function writes into a buffer pre-filled with '#', which
  // must stay untouched behind the terminator; its result goes to *result.
  template <class Fill>
  std::string Filled(Fill fill, int32_t* result) {
    std::vector<char> buf(KUNDE_ADRESSE_TELEFON_MAX + 64, '#');
    int32_t r = fill(buf.data());
    if (result) *result = r;
    auto end = std::find(buf.begin(), buf.end(), '\0');
    if (end == buf.end()) return std::string(buf.begin(), buf.end());
    EXPECT_TRUE(std::all_of(end + 1, buf.end(), [](char c) { return c == '#'; }));
    return std::string(buf.begin(), end);
  }
  std::string Address(int32_t n, int32_t mode, int32_t* result = nullptr) {
    return Filled([&](char* b) { return KundenDBA_Adresse(n, b, mode); }, result);
  }
  std::string Telephone(int32_t n, const char* label, int32_t* result = nullptr) {
    return Filled([&](char* b) { return KundenDBA_AdresseMitTelefon(n, b, label); }, result);
  }
};

TEST_F(KundenAddressTest, AssembledLinesFreeFormEmptinessAndTelephone) {
  Kunde k = MakeKunde("M\xFC" "ller");  // Müller
  SetText(k.title, "Dr.");
  int32_t full = AddKunde(k);
  EXPECT_EQ(Address(full, 0), "Herr\r\nDr. Hans M\xFCller\r\nHauptstr. 1\r\nD 10115 Berlin\r\n");

  // Optional parts are left out with their blanks.
  k = MakeKunde("Schmidt");
  SetText(k.firstName, "");
  SetText(k.countryCode, "");
  int32_t plain = AddKunde(k);
  EXPECT_EQ(Address(plain, 0), "Herr\r\nSchmidt\r\nHauptstr. 1\r\n10115 Berlin\r\n");

  // An empty city: mode 0 leaves the text alone, mode 1 prints it anyway.
  int32_t noCity = AddKunde(MakeKunde("Ohne", ""));
  int32_t r = 0;
  EXPECT_EQ(Address(noCity, 0, &r), std::string(KUNDE_ADRESSE_TELEFON_MAX + 64, '#'));
  EXPECT_EQ(r, 1);
  EXPECT_EQ(Address(noCity, 1), "Herr\r\nHans Ohne\r\nHauptstr. 1\r\nD 10115 \r\n");
  Kunde empty;
  KundenDBA_ClearKunde(&empty);
  EXPECT_EQ(KundenDBA_KundeIstLeer(&empty, 0), 1);
  EXPECT_EQ(KundenDBA_KundeIstLeer(&empty, 1), 0);
  EXPECT_EQ(KundenDBA_KundeIstLeer(&k, 0), 0);

  // A free-form address counts from 21 characters on.
  k = MakeKunde("Frei");
  SetText(k.freeAddress, "12345678901234567890");
  int32_t twenty = AddKunde(k);
  EXPECT_EQ(Address(twenty, 0), "Herr\r\nHans Frei\r\nHauptstr. 1\r\nD 10115 Berlin\r\n");
  SetText(k.freeAddress, "Firma X\r\nPostfach 12\r\n");
  SetText(k.city, "");  // the free-form address wins even over emptiness
  int32_t twentyOne = AddKunde(k);
  EXPECT_EQ(Address(twentyOne, 0), "Firma X\r\nPostfach 12\r\n");

  // The telephone line follows the assembled address, even where a
  // free-form address exists; a long label is cut; without telephone no
  // line is added.
  SetText(k.telephone, "030 1234");
  SetText(k.city, "Berlin");
  int32_t tel = AddKunde(k);
  EXPECT_EQ(Telephone(tel, "Tel.:"), "Herr\r\nHans Frei\r\nHauptstr. 1\r\nD 10115 Berlin\r\nTel.: 030 1234\r\n");
  std::string label(200, 'L');
  EXPECT_NE(Telephone(tel, label.c_str()).find(std::string(KUNDE_TELEFON_LABEL_MAX, 'L') + " 030"), std::string::npos);
  EXPECT_EQ(Telephone(full, "Tel.:"), Address(full, 0));

  // Numbers beyond the file, and a null text.
  EXPECT_EQ(Address(KundenDBA_GetMAX() + 1, 0, &r), std::string(KUNDE_ADRESSE_TELEFON_MAX + 64, '#'));
  EXPECT_EQ(r, 0);
  r = 1;
  Telephone(KundenDBA_GetMAX() + 1, "Tel.:", &r);
  EXPECT_EQ(r, 0);
  EXPECT_EQ(KundenDBA_Adresse(0, nullptr, 0), 0);
  EXPECT_EQ(KundenDBA_Adresse(full, nullptr, 0), 0);
}

TEST_F(KundenAddressTest, UnterminatedStringsStayInsideTheirFields) {
  // Every byte of the record set: no string has a terminator.
  Kunde k;
  std::memset(&k, 'X', sizeof k);
  k.refCount = 1;
  std::memset(k.freeAddress, 0, sizeof k.freeAddress);
  int32_t n = KundenDBA_NeuerKunde();
  ASSERT_EQ(KundenDBA_Open(), 1);
  ASSERT_EQ(KundenDBA_Write(n, &k), 1);
  ASSERT_EQ(KundenDBA_Close(), 1);

  std::string text = Address(n, 0);
  EXPECT_EQ(text.size(), static_cast<size_t>(KUNDE_ADRESSE_MAX - 1));
  std::string expected = std::string(21, 'X') + "\r\n" + std::string(20, 'X') + " " + std::string(65, 'X') + " " +
                         std::string(65, 'X') + "\r\n" + std::string(65, 'X') + "\r\n" + std::string(5, 'X') + " " +
                         std::string(9, 'X') + " " + std::string(65, 'X') + "\r\n";
  EXPECT_EQ(text, expected);

  std::string label(100, 'L');
  EXPECT_EQ(Telephone(n, label.c_str()).size(), static_cast<size_t>(KUNDE_ADRESSE_TELEFON_MAX - 1));

  // An unterminated free-form address is cut to 255 characters.
  std::memset(k.freeAddress, 'F', sizeof k.freeAddress);
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
  EXPECT_EQ(Address(n, 0), std::string(255, 'F'));
  // The name entry takes exactly seven bytes and its terminator.
  KundeSuchEintrag e;
  ASSERT_EQ(KundenSuchDBA_Read(n, &e), 1);
  EXPECT_EQ(std::string(e.name, 7), "XXXXXXX");
  EXPECT_EQ(+e.terminator, 0);
}

}  // namespace
