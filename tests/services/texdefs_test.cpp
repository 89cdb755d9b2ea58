// Dates, times, number texts and text encoding.
#include <cstring>

#include "kvdata/kvhost.h"
#include "kvtest.h"
#include "services/encoding.h"
#include "services/strings.h"
#include "services/texdefs.h"

namespace {

using namespace kv;

TEST(Texdefs, DateNumbersRoundTripOverTheWholeRange) {
  EXPECT_EQ(DateFromYmd(1900, 1, 1), 1);
  EXPECT_EQ(DateFromYmd(1900, 2, 2), 33);
  EXPECT_EQ(DateFromYmd(2079, 6, 5), 65535);
  EXPECT_EQ(DateFromYmd(2079, 6, 6), 0);
  EXPECT_EQ(DateFromYmd(2023, 2, 29), 0);
  EXPECT_NE(DateFromYmd(2024, 2, 29), 0);
  for (uint32_t d = 1; d <= 65535; d += 7) {
    char text[11];
    TEXDEFS_IntegerToDatum(static_cast<uint16_t>(d), text);
    ASSERT_EQ(TEXDEFS_DatumToInteger(text), d) << text;
  }
  char text[11];
  TEXDEFS_IntegerToDatum(DateFromYmd(2026, 11, 22), text);
  EXPECT_STREQ(text, "22.11.2026");
  TEXDEFS_IntegerToDatum(0, text);
  EXPECT_STREQ(text, "");
}

TEST(Texdefs, DateTextsAreParsedStrictly) {
  EXPECT_EQ(TEXDEFS_DatumToInteger("1.2.2026"), DateFromYmd(2026, 2, 1));
  EXPECT_EQ(TEXDEFS_DatumToInteger("01.02.26"), DateFromYmd(2026, 2, 1));
  EXPECT_EQ(TEXDEFS_DatumToInteger("01.02.99"), DateFromYmd(1999, 2, 1));
  EXPECT_EQ(TEXDEFS_DatumToInteger("32.01.2026"), 0);
  EXPECT_EQ(TEXDEFS_DatumToInteger("01.02.2026x"), 0);
  EXPECT_EQ(TEXDEFS_DatumToInteger("2026-02-01"), 0);
  EXPECT_EQ(TEXDEFS_DatumToInteger(""), 0);
  EXPECT_EQ(TEXDEFS_DatumToInteger(nullptr), 0);
  uint16_t d = 99;
  EXPECT_EQ(TEXDEFS_StringToDatum("bad", &d), 0);
  EXPECT_EQ(d, 0);
}

TEST(Texdefs, TodayAndTimeOfDayAreConsistent) {
  char text[11];
  uint16_t today = TEXDEFS_Heute(text);
  EXPECT_GT(today, DateFromYmd(2020, 1, 1));
  EXPECT_EQ(TEXDEFS_DatumToInteger(text), today);
  EXPECT_EQ(PackTimeOfDay(23, 59, 59), (23 << 11) | (59 << 5) | 29);
  int32_t h, m, s;
  UnpackTimeOfDay(PackTimeOfDay(13, 7, 42), &h, &m, &s);
  EXPECT_EQ(h * 10000 + m * 100 + s, 130742);
  EXPECT_LT(PackTimeOfDay(9, 59, 58), PackTimeOfDay(10, 0, 0));
}

TEST(Texdefs, NumberTextsAndCode39) {
  int32_t v = 0;
  EXPECT_EQ(TEXDEFS_StringToLong("  -2147483648", &v), 1);
  EXPECT_EQ(v, INT32_MIN);
  EXPECT_EQ(TEXDEFS_StringToLong("2147483648", &v), 0);
  EXPECT_EQ(TEXDEFS_StringToLong("x1", &v), 0);
  EXPECT_EQ(TEXDEFS_CODE39toID("*0001234*"), 1234);
  EXPECT_EQ(TEXDEFS_CODE39toID("98765"), 98765);
  EXPECT_EQ(TEXDEFS_CODE39toID("*12A4*"), 0);
  EXPECT_EQ(TEXDEFS_CODE39toID("**"), 0);
  EXPECT_EQ(TEXDEFS_CODE39toID("99999999999"), 0);
}

TEST(Encoding, Windows1252ToUtf8AndBack) {
  // "Gr\xFC\xDF" = "Grüß", \x80 = €, \x9A = š
  EXPECT_EQ(Cp1252ToUtf8("Gr\xFC\xDF \x80\x9A"), "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC\xC5\xA1");
  char back[32];
  EXPECT_EQ(KA_Cryptor_utf8_to_ascii("\xEF\xBB\xBFGr\xC3\xBC\xC3\x9F \xE2\x82\xAC", back, sizeof back), 6);
  EXPECT_STREQ(back, "Gr\xFC\xDF \x80");
  EXPECT_EQ(KA_Cryptor_utf8_to_ascii("\xE4\xB8\xAD!", back, sizeof back), 2);  // no 1252 form
  EXPECT_STREQ(back, "?!");
  EXPECT_EQ(KA_Cryptor_utf8_to_ascii("abcdef", back, 4), 3);  // bounded
  EXPECT_STREQ(back, "abc");
}

}  // namespace
