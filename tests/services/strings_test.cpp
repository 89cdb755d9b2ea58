// The string table: every text in every language, byte for byte in
// Windows-1252 (on Windows it comes out of the module's resources through
// LoadStringA, so a resource that was not linked in, a wrong id block or a
// code-page conversion shows up here).
#include <cstring>
#include <string>

#include "kvdata/kvhost.h"
#include "kvtest.h"

namespace {

class StringTableTest : public ::testing::Test {
 protected:
  void SetUp() override { KVHOST_SetLanguage(KV_LANG_GERMAN); }
  void TearDown() override { KVHOST_SetLanguage(KV_LANG_GERMAN); }

  static std::string Load(int32_t id) {
    char buf[512];
    std::memset(buf, 'x', sizeof buf);
    int32_t n = KVHOST_LoadString(id, buf, sizeof buf);
    EXPECT_EQ(n, static_cast<int32_t>(std::strlen(buf)));
    return std::string(buf);
  }
};

const char kQuestionDe[] =
    "Die NummernDBA wurde nicht gefunden!\nDie NummernDBA neu anlegen? (L\xF6scht alle "  // \xF6 = ö
    "bestehenden fortlaufenden Nummern!)\nOder erneut danach suchen? (J/N)";
const char kQuestionNl[] =
    "De NummernDBA werd niet gevonden!\nDe NummernDBA nieuw aanmaken? (Wist alle bestaande "
    "oplopende nummers!)\nOf opnieuw zoeken? (J/N)";

TEST_F(StringTableTest, EveryTextInEveryLanguage) {
  for (int32_t lang : {KV_LANG_GERMAN, KV_LANG_ENGLISH, KV_LANG_DUTCH}) {
    SCOPED_TRACE(lang);
    ASSERT_EQ(KVHOST_SetLanguage(lang), 1);
    EXPECT_EQ(KVHOST_GetLanguage(), lang);
    EXPECT_EQ(Load(102), "Malloc Error <-> NummernDBA");
    EXPECT_EQ(Load(103), "File Error <-> NummernDBA");
    EXPECT_EQ(Load(104), "KALVORA");
    EXPECT_EQ(Load(108), lang == KV_LANG_DUTCH ? kQuestionNl : kQuestionDe);
  }
}

TEST_F(StringTableTest, OnlyTheTableIdsOfTheCurrentLanguageExist) {
  EXPECT_EQ(Load(-5), "");
  EXPECT_EQ(Load(1102), "");  // the English block is not reachable by number
  char buf[16];
  EXPECT_EQ(KVHOST_LoadString(108, nullptr, 100), 0);
  EXPECT_EQ(KVHOST_LoadString(108, buf, 0), 0);
  EXPECT_EQ(KVHOST_LoadString(102, buf, 6), 5);  // cut to the buffer
  EXPECT_STREQ(buf, "Mallo");
  ASSERT_EQ(KVHOST_SetLanguage(KV_LANG_DUTCH), 1);
  EXPECT_EQ(KVHOST_SetLanguage(7), 0);  // an unknown language changes nothing
  EXPECT_EQ(KVHOST_GetLanguage(), KV_LANG_DUTCH);
}

}  // namespace
