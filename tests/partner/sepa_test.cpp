// German IBANs and the BIC table of the data directory.
#include <cstring>
#include <tuple>

#include "blz_file.h"
#include "kvtest.h"
#include "services/sepa.h"

namespace {

using namespace kv;

// Independent check of an IBAN: rotate, letters to numbers, mod 97 == 1.
int Mod97(const std::string& iban) {
  std::string r = iban.substr(4) + iban.substr(0, 4);
  int rest = 0;
  for (char c : r) {
    std::string d = (c >= 'A' && c <= 'Z') ? std::to_string(c - 'A' + 10) : std::string(1, c);
    for (char x : d) rest = (rest * 10 + (x - '0')) % 97;
  }
  return rest;
}

TEST(Sepa, GermanIbansAndBadInput) {
  char iban[kIbanSize];
  ASSERT_EQ(SEPA_MakeIBAN("37040044", "532013000", "DE", iban), 1);
  EXPECT_STREQ(iban, "DE89370400440532013000");  // the well-known example IBAN
  // The account is padded to ten digits; the check digits hold.
  for (auto [bank, account, tail] : {std::tuple{"10010010", "1", "100100100000000001"},
                                     {"50010517", "9999999999", "500105179999999999"}}) {
    ASSERT_EQ(SEPA_MakeIBAN(bank, account, "DE", iban), 1);
    EXPECT_EQ(std::string(iban).substr(4), tail);
    EXPECT_EQ(Mod97(iban), 1) << iban;
  }

  // Bad input gives an empty IBAN.
  const char* bad[][2] = {{"3704004", "532013000"}, {"37040044", ""}, {"37040044", "12345678901"},
                          {"37040044", "53201-3000"}, {nullptr, "1"}};
  for (auto& b : bad) {
    std::strcpy(iban, "garbage");
    EXPECT_EQ(SEPA_MakeIBAN(b[0], b[1], "DE", iban), 0) << b[1];
    EXPECT_STREQ(iban, "");
  }
  EXPECT_EQ(SEPA_MakeIBAN("37040044", "1", "DE", nullptr), 0);
}

class SepaBicTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override { SEPA_SetDataDirectory(dir().c_str()); }
};

TEST_F(SepaBicTest, LooksUpTheBicOfTheBankCodeAndFollowsFileChanges) {
  // Each lookup against the expected BIC, "" for none.
  auto expect = [](std::vector<std::pair<const char*, const char*>> lookups) {
    for (auto [code, want] : lookups) {
      char bic[kBicSize] = "garbage";
      EXPECT_EQ(SEPA_BANKEN_BIC_Ermitteln(code, bic), *want ? 1 : 0) << code;
      EXPECT_STREQ(bic, want) << code;
    }
  };
  expect({{"37040044", ""}});  // no file yet
  // Trailing blanks of the BIC column are dropped.
  kvtest::WriteBlzFile(dir(), {{"37040044", "COBADEFFXXX"}, {"10010010", "PBNKDEFF"}});
  expect({{"37040044", "COBADEFFXXX"}, {"10010010", "PBNKDEFF"}, {"99999999", ""}});

  // A new table (another size) is read again; a bank only known by a branch
  // line without BIC has none.
  kvtest::WriteBlzFile(dir(), {{"37040044", "COBADEFF370"}, {"20050550", ""}, {"76010085", "PBNKDEFF760"}});
  expect({{"37040044", "COBADEFF370"}, {"20050550", ""}, {"10010010", ""}, {"3704004", ""}});

  // Of several lines with a BIC, the first one counts.
  std::string text = kvtest::BlzLine("50010517", '2', "Zweig", "") + kvtest::BlzLine("50010517", '1', "Erste", "INGDDEFFXXX") +
                     kvtest::BlzLine("10010010", '1', "Andere", "PBNKDEFFXXX") +
                     kvtest::BlzLine("50010517", '2', "Spaeter", "INGDDEFF500");
  kvtest::WriteFileBytes(file("BLZ.TXT"), std::vector<uint8_t>(text.begin(), text.end()));
  expect({{"50010517", "INGDDEFFXXX"}});
}

}  // namespace
