// EAN check digits on printed codes, completion, UPC widening and the own
// EAN generator over the number-range file.
#include <cstring>
#include <string>

#include "kvdata/eandata.h"
#include "kvdata/eanteile.h"
#include "kvdata/nummern.h"
#include "ean/eandata.h"
#include "kvtest.h"

namespace {

using kvtest::DataDirTest;

TEST(EanCheckDigit, PrintedCodesPassAndEveryWrongCheckDigitFails) {
  struct Case { const char* code; int32_t kind; };
  const Case printed[] = {
      {"4006381333931", EANDATA_KIND_EAN13}, {"5449000000996", EANDATA_KIND_EAN13},
      {"4005500087939", EANDATA_KIND_EAN13}, {"9783161484100", EANDATA_KIND_EAN13},
      {"036000291452", EANDATA_KIND_UPCA},   {"96385074", EANDATA_KIND_EAN8},
      {"012345678905", EANDATA_KIND_UPCA},   {"40170725", EANDATA_KIND_EAN8},
  };
  for (const Case& c : printed) {
    EXPECT_EQ(EANDATA_IstCodeOK(c.code, c.kind), 1) << c.code;
    std::string bad = c.code;
    const char right = bad.back();
    for (char d = '0'; d <= '9'; ++d) {
      if (d == right) continue;
      bad.back() = d;
      EXPECT_EQ(EANDATA_IstCodeOK(bad.c_str(), c.kind), 0) << bad;
    }
  }
  EXPECT_EQ(EANDATA_IstEsEinEAN8_Code("96385074"), 1);
  EXPECT_EQ(EANDATA_IstEsEinEAN8_Code("4006381333931"), 0);
  EXPECT_EQ(EANDATA_IstEsEinEAN8_Code(nullptr), 0);
}

TEST(EanCheckDigit, LengthKindAndNonDigitRules) {
  // The right digits under the wrong kind or length.
  EXPECT_EQ(EANDATA_IstCodeOK("4006381333931", EANDATA_KIND_UPCA), 0);
  EXPECT_EQ(EANDATA_IstCodeOK("036000291452", EANDATA_KIND_EAN13), 0);
  EXPECT_EQ(EANDATA_IstCodeOK("96385074", EANDATA_KIND_EAN13), 0);
  EXPECT_EQ(EANDATA_IstCodeOK("40063813339310", EANDATA_KIND_EAN13), 0);
  EXPECT_EQ(EANDATA_IstCodeOK("4006381333931", 3), 0);
  EXPECT_EQ(EANDATA_IstCodeOK("4006381333931", -1), 0);
  EXPECT_EQ(EANDATA_IstCodeOK(nullptr, 0), 0);
  // UPC-A must begin with one of 0 1 6 7 8 9: "2..." with a right digit fails.
  // 2 0 0 0 0 0 0 0 0 0 0 x: sum = 3*2 = 6, check digit 4.
  EXPECT_EQ(EANDATA_IstCodeOK("200000000004", EANDATA_KIND_UPCA), 0);
  EXPECT_EQ(EANDATA_IstCodeOK("600000000002", EANDATA_KIND_UPCA), 1);  // 3*6 = 18 -> 2
  // A non-digit counts -1 with its weight: "A" at position 1 (weight 3) in
  // an otherwise zero EAN-13 gives sum -3 and check digit 3.
  EXPECT_EQ(EANDATA_IstCodeOK("0A00000000003", EANDATA_KIND_EAN13), 1);
  EXPECT_EQ(EANDATA_IstCodeOK("0A00000000000", EANDATA_KIND_EAN13), 0);
  // A non-digit as check character never matches.
  EXPECT_EQ(EANDATA_IstCodeOK("400638133393X", EANDATA_KIND_EAN13), 0);
}

// Runs fn on a copy of `in`; checks its result and what stands in the buffer.
void ExpectRewrite(int32_t (*fn)(char*), const char* in, int32_t result, const char* out) {
  char code[32];
  std::strcpy(code, in);
  EXPECT_EQ(fn(code), result) << in;
  EXPECT_STREQ(code, out) << in;
}

TEST(EanCompletion, TwelveDigitsGetTheirCheckDigitOthersStay) {
  const auto complete = EANDATA_EAN_Vervollstaendigen;
  const auto fromTable = EANDATA_EAN_AusTabelle_Vervollstaendigen;
  ExpectRewrite(complete, "400638133393", 1, "4006381333931");
  ExpectRewrite(fromTable, "978316148410", 1, "9783161484100");
  // A leading zero: both forms give the same digit.
  ExpectRewrite(complete, "012345678901", 1, "0123456789012");
  ExpectRewrite(fromTable, "012345678901", 1, "0123456789012");
  // Other lengths are only validated.
  ExpectRewrite(complete, "4006381333931", 1, "4006381333931");
  ExpectRewrite(complete, "12345", 0, "12345");
  // Non-digits add nothing to the completion sum, but the result then fails
  // validation, where they count -1. Without the 3 (weight 3) of
  // 400638133393 the sum drops by 9: check digit 1 becomes 0.
  ExpectRewrite(complete, "40063813339A", 0, "40063813339A0");
  EXPECT_EQ(complete(nullptr), 0);
  EXPECT_EQ(fromTable(nullptr), 0);
}

TEST(EanCompletion, UpcWideningPrependsZeroOrEmptiesTheBuffer) {
  const auto widen = EANDATA_EAN_KomplettierenbeiUPC;
  ExpectRewrite(widen, "012345678905", 1, "0012345678905");
  ExpectRewrite(widen, "036000291452", 1, "0036000291452");
  ExpectRewrite(widen, "200000000004", 0, "");  // right digit, but not a UPC-A prefix
  ExpectRewrite(widen, "036000291453", 0, "");
  ExpectRewrite(widen, "4006381333931", 1, "4006381333931");  // already EAN-13
  EXPECT_EQ(widen(nullptr), 0);
}

TEST(EanIdentifierText, FormatsSevenAndFiveDigitsWithCheckDigit) {
  char out[14];
  EXPECT_EQ(EANTEILE_EATtoEANS(2000001, 99999, out), 1);
  EXPECT_STREQ(out, "2000001999998");
  EXPECT_EQ(EANTEILE_EATtoEANS(400638, 13339, out), 1);
  EXPECT_STREQ(out, "0400638133390");
  EXPECT_EQ(EANTEILE_EATtoEANS(1, 1, nullptr), 0);
}

class OwnEan : public DataDirTest {
 protected:
  void SetUp() override {
    kvtest::WriteFileBytes(file("NUMMERN.DAT"), std::vector<uint8_t>(800, 0));
    Nummern_Init(file("NUMMERN.DAT").c_str());
    EANDATA_Init(file("EANDATA.DAT").c_str());
  }
  int32_t Counter(int32_t index) {
    return kvtest::I32At(kvtest::ReadFileBytes(file("NUMMERN.DAT")), 4 * static_cast<size_t>(index));
  }
};

TEST_F(OwnEan, SequenceRunsAcrossTheArticlePartRollOver) {
  ASSERT_EQ(Nummern_NummernSchreiben(2000001, 12), 1);
  ASSERT_EQ(Nummern_NummernSchreiben(99998, 11), 1);
  ASSERT_EQ(Nummern_NummernSchreiben(77, 10), 1);
  const char* expected[] = {"2000001999981", "2000001999998", "2000002000013", "2000002000020"};
  for (const char* want : expected) {
    char code[14] = "##";
    EXPECT_EQ(EANDATA_ErzeugeEigeneEAN(code), 1);
    EXPECT_STREQ(code, want);
    EXPECT_EQ(EANDATA_IstCodeOK(code, EANDATA_KIND_EAN13), 1);
  }
  EXPECT_EQ(Counter(12), 2000002);
  EXPECT_EQ(Counter(11), 3);
  EXPECT_EQ(Counter(10), 77);  // neighbours untouched
  EXPECT_EQ(kvtest::FileSize(file("NUMMERN.DAT")), 800);
  EXPECT_EQ(std::string(kv::ean::DataDirectory()), dir());  // from EANDATA_Init
}

TEST_F(OwnEan, OutOfRangeCountersRestartAtTheFirstOwnCode) {
  for (int32_t supplier : {0, 1999999, 3000000, -5}) {
    ASSERT_EQ(Nummern_NummernSchreiben(supplier, 12), 1);
    ASSERT_EQ(Nummern_NummernSchreiben(0, 11), 1);
    char code[14] = "##";
    EXPECT_EQ(EANDATA_ErzeugeEigeneEAN(code), 1);
    EXPECT_EQ(std::string(code).substr(0, 12), "200000100001") << supplier;
    EXPECT_EQ(Counter(12), 2000001);
    EXPECT_EQ(Counter(11), 2);
  }
  // The supplier part is written back unchecked past its range and
  // corrected on the next call.
  ASSERT_EQ(Nummern_NummernSchreiben(2999999, 12), 1);
  ASSERT_EQ(Nummern_NummernSchreiben(99999, 11), 1);
  char code[14] = "##";
  EXPECT_EQ(EANDATA_ErzeugeEigeneEAN(code), 1);
  EXPECT_EQ(std::string(code).substr(0, 12), "299999999999");
  EXPECT_EQ(Counter(12), 3000000);
  std::strcpy(code, "##");
  EXPECT_EQ(EANDATA_ErzeugeEigeneEAN(code), 1);
  EXPECT_EQ(std::string(code).substr(0, 12), "200000100001");
}

TEST_F(OwnEan, OnlyTheMarkerIsReplacedAndNothingElseIsCounted) {
  ASSERT_EQ(Nummern_NummernSchreiben(2000005, 12), 1);
  ASSERT_EQ(Nummern_NummernSchreiben(10, 11), 1);
  const auto before = kvtest::ReadFileBytes(file("NUMMERN.DAT"));
  for (const char* text : {"#", "###", "", "4006381333931", "## "}) {
    char code[14];
    std::strcpy(code, text);
    EXPECT_EQ(EANDATA_ErzeugeEigeneEAN(code), 0) << text;
    EXPECT_STREQ(code, text);
  }
  EXPECT_EQ(EANDATA_ErzeugeEigeneEAN(nullptr), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), before);
}

TEST_F(OwnEan, WithoutANumberRangeFileTheProcessEnds) {
  // Handing out a code that could repeat is worse than stopping: reading the
  // counters without their file ends the process.
  Nummern_Init(file("missing/NUMMERN.DAT").c_str());
  char code[14] = "##";
  EXPECT_EXIT(EANDATA_ErzeugeEigeneEAN(code), ::testing::ExitedWithCode(1), "");
}

}  // namespace
