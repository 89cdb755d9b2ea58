// German IBANs and the BIC table of the data directory.
#include <cstring>

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

TEST(Sepa, GermanIbanFromBankCodeAndAccount) {
  char iban[kIbanSize];
  ASSERT_EQ(SEPA_MakeIBAN("37040044", "532013000", "DE", iban), 1);
  EXPECT_STREQ(iban, "DE89370400440532013000");  // the well-known example IBAN
  ASSERT_EQ(SEPA_MakeIBAN("10010010", "1", "DE", iban), 1);
  EXPECT_EQ(std::string(iban).substr(4), "100100100000000001");  // account padded to 10 digits
  EXPECT_EQ(Mod97(iban), 1);
  ASSERT_EQ(SEPA_MakeIBAN("50010517", "9999999999", "DE", iban), 1);
  EXPECT_EQ(std::strlen(iban), 22u);
  EXPECT_EQ(Mod97(iban), 1);
}

TEST(Sepa, BadInputGivesAnEmptyIban) {
  char iban[kIbanSize];
  const char* bad[][3] = {{"3704004", "532013000", "DE"}, {"37040044", "", "DE"},
                          {"37040044", "12345678901", "DE"}, {"37040044", "53201-3000", "DE"}};
  for (auto& b : bad) {
    std::strcpy(iban, "garbage");
    EXPECT_EQ(SEPA_MakeIBAN(b[0], b[1], b[2], iban), 0) << b[0] << " " << b[1] << " " << b[2];
    EXPECT_STREQ(iban, "");
  }
  EXPECT_EQ(SEPA_MakeIBAN(nullptr, "1", "DE", iban), 0);
  EXPECT_EQ(SEPA_MakeIBAN("37040044", "1", "DE", nullptr), 0);
}

class SepaBicTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override { SEPA_SetDataDirectory(dir().c_str()); }
};

TEST_F(SepaBicTest, LooksUpTheBicOfTheBankCodeAndFollowsFileChanges) {
  char bic[kBicSize];
  EXPECT_EQ(SEPA_BANKEN_BIC_Ermitteln("37040044", bic), 0);  // no file yet
  EXPECT_STREQ(bic, "");
  kvtest::WriteBlzFile(dir(), {{"37040044", "COBADEFFXXX"}, {"10010010", "PBNKDEFF"}});
  ASSERT_EQ(SEPA_BANKEN_BIC_Ermitteln("37040044", bic), 1);
  EXPECT_STREQ(bic, "COBADEFFXXX");
  ASSERT_EQ(SEPA_BANKEN_BIC_Ermitteln("10010010", bic), 1);
  EXPECT_STREQ(bic, "PBNKDEFF");  // trailing blanks of the column dropped
  EXPECT_EQ(SEPA_BANKEN_BIC_Ermitteln("99999999", bic), 0);
  EXPECT_STREQ(bic, "");

  // A new table (another size) is read again; a bank only known by a branch
  // line without BIC has none.
  kvtest::WriteBlzFile(dir(), {{"37040044", "COBADEFF370"}, {"20050550", ""}, {"76010085", "PBNKDEFF760"}});
  ASSERT_EQ(SEPA_BANKEN_BIC_Ermitteln("37040044", bic), 1);
  EXPECT_STREQ(bic, "COBADEFF370");
  EXPECT_EQ(SEPA_BANKEN_BIC_Ermitteln("20050550", bic), 0);
  EXPECT_EQ(SEPA_BANKEN_BIC_Ermitteln("10010010", bic), 0);
  EXPECT_EQ(SEPA_BANKEN_BIC_Ermitteln("3704004", bic), 0);  // not a bank code

  // Of several lines with a BIC, the first one counts.
  std::string text = kvtest::BlzLine("50010517", '2', "Zweig", "") + kvtest::BlzLine("50010517", '1', "Erste", "INGDDEFFXXX") +
                     kvtest::BlzLine("10010010", '1', "Andere", "PBNKDEFFXXX") +
                     kvtest::BlzLine("50010517", '2', "Spaeter", "INGDDEFF500");
  kvtest::WriteFileBytes(file("BLZ.TXT"), std::vector<uint8_t>(text.begin(), text.end()));
  ASSERT_EQ(SEPA_BANKEN_BIC_Ermitteln("50010517", bic), 1);
  EXPECT_STREQ(bic, "INGDDEFFXXX");
}

}  // namespace
