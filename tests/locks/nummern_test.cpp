// The number-range file: byte-exact counters, the missing-file question, the
// fatal read error and the file that moves in from beside the library.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "core/nummern.h"
#include "kvdata/kvhost.h"
#include "kvdata/nummern.h"
#include "kvtest.h"
#include "services/fault.h"
#include "services/fileio.h"

namespace {

using kvtest::I32At;

// Answers the number-range question from a script and records what was asked.
struct ScriptedUser {
  std::vector<int> answers;                 // KV_IDYES / KV_IDNO, in order
  std::function<void()> beforeAnswer;       // runs before every answer
  std::vector<std::string> asked;

  static int32_t Answer(const char* caption, const char* text, uint32_t flags, void* context) {
    auto* self = static_cast<ScriptedUser*>(context);
    EXPECT_STREQ(caption, "KALVORA");
    EXPECT_EQ(flags, static_cast<uint32_t>(KV_MB_YESNO | KV_MB_ICONQUESTION));
    self->asked.push_back(text);
    if (self->beforeAnswer) self->beforeAnswer();
    size_t n = self->asked.size() - 1;
    return n < self->answers.size() && self->answers[n] == KV_IDYES ? 1 : 0;
  }
};

std::vector<uint8_t> PatternImage(size_t size) {
  std::vector<uint8_t> image(size);
  for (size_t i = 0; i < size; ++i) image[i] = static_cast<uint8_t>(i * 37 + 11);
  return image;
}

class NummernTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    KVHOST_SetLanguage(KV_LANG_GERMAN);
    Nummern_Init(file("AUFTRAG.DBA").c_str());
    KVHOST_SetQuestionHandler(&ScriptedUser::Answer, &user_);
  }
  void TearDown() override {
    KVHOST_SetQuestionHandler(nullptr, nullptr);
    KVHOST_SetLanguage(KV_LANG_GERMAN);
    kvtest::DataDirTest::TearDown();
  }
  std::string Numbers() { return file("NUMMERN.DAT"); }

  ScriptedUser user_;
};

TEST_F(NummernTest, WritingOneCounterLeavesTheOther199ByteForByte) {
  std::vector<uint8_t> image = PatternImage(800);
  kvtest::WriteFileBytes(Numbers(), image);
  ASSERT_EQ(Nummern_NummernSchreiben(0x01020304, 2), 1);
  ASSERT_EQ(Nummern_NummernSchreiben(-5, 199), 1);
  kvtest::PutI32(image, 8, 0x01020304);
  kvtest::PutI32(image, 796, -5);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), image);
  for (int32_t counter : {2, 199, 7}) {
    int32_t value = 0;
    ASSERT_EQ(Nummern_NummernLesen(&value, counter), 1);
    EXPECT_EQ(value, I32At(image, static_cast<size_t>(counter) * 4)) << counter;
  }
  EXPECT_TRUE(user_.asked.empty());

  // A short file reads as zeros and grows to its full size on a write.
  std::vector<uint8_t> head = PatternImage(100);
  kvtest::WriteFileBytes(Numbers(), head);
  int32_t value = -1;
  ASSERT_EQ(Nummern_NummernLesen(&value, 30), 1);
  EXPECT_EQ(value, 0);
  ASSERT_EQ(Nummern_NummernSchreiben(77, 3), 1);
  head.resize(800, 0);
  kvtest::PutI32(head, 12, 77);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), head);
}

// The missing file: Yes searches again, No creates a file holding only the
// counter being written; a file put back before Yes keeps all its counters.
TEST_F(NummernTest, MissingFileQuestionYesSearchesAgainNoCreatesAFreshFile) {
  const std::string german =
      "Die NummernDBA wurde nicht gefunden!\nDie NummernDBA neu anlegen? (L\xF6scht alle "
      "bestehenden fortlaufenden Nummern!)\nOder erneut danach suchen? (J/N)";
  const std::string dutch =
      "De NummernDBA werd niet gevonden!\nDe NummernDBA nieuw aanmaken? (Wist alle bestaande "
      "oplopende nummers!)\nOf opnieuw zoeken? (J/N)";
  const struct {
    int32_t language;
    std::vector<int> answers;
    bool putBack;
    const std::string& text;
  } cases[] = {
      {KV_LANG_GERMAN, {KV_IDYES, KV_IDNO}, false, german},
      {KV_LANG_GERMAN, {KV_IDYES}, true, german},
      {KV_LANG_DUTCH, {KV_IDNO}, false, dutch},
  };
  for (const auto& c : cases) {
    kv::FileIO_DeleteFile(Numbers().c_str());
    KVHOST_SetLanguage(c.language);
    std::vector<uint8_t> image = c.putBack ? PatternImage(800) : std::vector<uint8_t>(800, 0);
    user_ = ScriptedUser{};
    user_.answers = c.answers;
    if (c.putBack) user_.beforeAnswer = [&] { kvtest::WriteFileBytes(Numbers(), image); };
    ASSERT_EQ(Nummern_NummernSchreiben(4711, 5), 1);
    EXPECT_EQ(user_.asked, std::vector<std::string>(c.answers.size(), c.text));
    kvtest::PutI32(image, 20, 4711);
    EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), image) << c.language << " " << c.answers.size();
  }
}

TEST_F(NummernTest, BadArgumentsAndNoMemoryReturnZeroAndTouchNothing) {
  int32_t value = 1234;
  EXPECT_EQ((std::vector<int32_t>{Nummern_NummernLesen(&value, 200), Nummern_NummernLesen(&value, -1),
                                  Nummern_NummernLesen(nullptr, 2), Nummern_NummernSchreiben(5, 200),
                                  Nummern_NummernSchreiben(5, -7), value}),
            (std::vector<int32_t>{0, 0, 0, 0, 0, 1234}));
  EXPECT_TRUE(user_.asked.empty());
  EXPECT_FALSE(kvtest::FileExists(Numbers()));

  kvtest::WriteFileBytes(Numbers(), PatternImage(800));
  kv::fault::Arm(kv::fault::Kind::Allocate, 0);
  EXPECT_EQ(Nummern_NummernSchreiben(5, 1), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), PatternImage(800));

  // Thirteen counters have names, the rest none.
  EXPECT_STREQ(kv::nummern::CounterName(0), "RETOUREN NR");
  EXPECT_STREQ(kv::nummern::CounterName(12), "EIGENE EAN-LIEFERANT-NR");
  EXPECT_TRUE(kv::nummern::CounterName(13) == nullptr && kv::nummern::CounterName(-1) == nullptr);
}

using NummernDeathTest = NummernTest;

TEST_F(NummernDeathTest, ReadWithoutTheFileEndsTheProcessWithCode1) {
  KVHOST_SetQuestionHandler(nullptr, nullptr);
  int32_t value = 0;
  EXPECT_EXIT(Nummern_NummernLesen(&value, 2), ::testing::ExitedWithCode(1), "KALVORA: File Error <-> NummernDBA");
  kvtest::WriteFileBytes(Numbers(), PatternImage(800));
  EXPECT_EXIT((kv::fault::Arm(kv::fault::Kind::Allocate, 0), Nummern_NummernLesen(&value, 2)),
              ::testing::ExitedWithCode(1), "Malloc Error <-> NummernDBA");
}

// A host's fatal handler hears of the missing file in place of the message
// box (a message box would end the child with code 3); whether it returns
// or ends the process itself, the process does not go on.
void TellAndReturn(const char* caption, const char* text, int32_t exitCode, void*) {
  std::fprintf(stderr, "fatal handler: %s / %s / %d\n", caption, text, static_cast<int>(exitCode));
}
void TellAndExit7(const char*, const char*, int32_t, void*) { std::_Exit(7); }
void MessageBoxShown(const char*, const char*, uint32_t, void*) { std::_Exit(3); }

TEST_F(NummernDeathTest, AFatalHandlerIsToldFirstAndTheProcessEndsAllTheSame) {
  int32_t value = 0;
  auto readWith = [&](KvFatalHandler handler) {
    KVHOST_SetMessageHandler(&MessageBoxShown, nullptr);
    KVHOST_SetFatalHandler(handler, nullptr);
    Nummern_NummernLesen(&value, 2);
    std::_Exit(0);  // never reached: the read does not come back
  };
  EXPECT_EXIT(readWith(&TellAndReturn), ::testing::ExitedWithCode(1),
              "fatal handler: KALVORA / File Error <-> NummernDBA / 1");
  EXPECT_EXIT(readWith(&TellAndExit7), ::testing::ExitedWithCode(7), "");
  // Removing the handler brings the message back.
  EXPECT_EXIT((KVHOST_SetFatalHandler(&TellAndReturn, nullptr), KVHOST_SetFatalHandler(nullptr, nullptr),
               Nummern_NummernLesen(&value, 2)),
              ::testing::ExitedWithCode(1), "KALVORA: File Error <-> NummernDBA");
}

// Stands in for the library's own directory for one test, so that no file
// is ever put beside the test programs, which all test programs share.
struct ModuleFile {
  kvtest::TempDir moduleDir;
  std::string path = moduleDir.file("NUMMERN.DAT");
  ModuleFile() { kv::FileIO_SetModuleDirectoryOverride(moduleDir.path().c_str()); }
  ~ModuleFile() { kv::FileIO_SetModuleDirectoryOverride(nullptr); }
};

TEST_F(NummernTest, FileBesideTheLibraryMovesIntoAnEmptyDataDirectory) {
  ModuleFile beside;
  std::vector<uint8_t> image = PatternImage(800);

  // A data directory that has its own file keeps it; the other stays put.
  kvtest::WriteFileBytes(Numbers(), {1, 2, 3, 4});
  kvtest::WriteFileBytes(beside.path, image);
  Nummern_Init(file("AUFTRAG.DBA").c_str());
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_TRUE(kvtest::FileExists(beside.path));

  ASSERT_TRUE(kv::FileIO_DeleteFile(Numbers().c_str()));
  Nummern_Init(file("AUFTRAG.DBA").c_str());
  EXPECT_FALSE(kvtest::FileExists(beside.path));
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), image);
  int32_t value = 0;
  ASSERT_EQ(Nummern_NummernLesen(&value, 2), 1);
  EXPECT_EQ(value, I32At(image, 8));
}

}  // namespace
