// The number-range file: byte-exact counters, the missing-file question, the
// fatal read error and the file that moves in from beside the library.
#include <cstring>
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

struct Question {
  std::string caption, text;
  uint32_t flags;
};

// Answers the number-range question from a script and records what was asked.
struct ScriptedUser {
  std::vector<int> answers;                       // KV_IDYES / KV_IDNO, in order
  std::function<void(size_t)> beforeAnswer;        // runs before answer n
  std::vector<Question> asked;

  static int32_t Answer(const char* caption, const char* text, uint32_t flags, void* context) {
    auto* self = static_cast<ScriptedUser*>(context);
    size_t n = self->asked.size();
    self->asked.push_back({caption, text, flags});
    if (self->beforeAnswer) self->beforeAnswer(n);
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

  int32_t value = 0;
  ASSERT_EQ(Nummern_NummernLesen(&value, 2), 1);
  EXPECT_EQ(value, 0x01020304);
  ASSERT_EQ(Nummern_NummernLesen(&value, 199), 1);
  EXPECT_EQ(value, -5);
  ASSERT_EQ(Nummern_NummernLesen(&value, 7), 1);
  EXPECT_EQ(value, I32At(image, 28));
  EXPECT_TRUE(user_.asked.empty());
}

TEST_F(NummernTest, ShortFileReadsAsZerosAndGrowsToItsFullSizeOnWrite) {
  std::vector<uint8_t> head = PatternImage(100);
  kvtest::WriteFileBytes(Numbers(), head);
  int32_t value = -1;
  ASSERT_EQ(Nummern_NummernLesen(&value, 30), 1);
  EXPECT_EQ(value, 0);
  ASSERT_EQ(Nummern_NummernSchreiben(77, 3), 1);
  std::vector<uint8_t> expected(800, 0);
  std::memcpy(expected.data(), head.data(), head.size());
  kvtest::PutI32(expected, 12, 77);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), expected);
}

TEST_F(NummernTest, MissingFileAskedYesThenNoCreatesAFileWithOnlyThatCounter) {
  user_.answers = {KV_IDYES, KV_IDNO};
  ASSERT_EQ(Nummern_NummernSchreiben(4711, 5), 1);
  ASSERT_EQ(user_.asked.size(), 2u);
  for (const Question& q : user_.asked) {
    EXPECT_EQ(q.caption, "KALVORA");
    EXPECT_EQ(q.text,
              "Die NummernDBA wurde nicht gefunden!\nDie NummernDBA neu anlegen? (L\xF6scht alle "
              "bestehenden fortlaufenden Nummern!)\nOder erneut danach suchen? (J/N)");
    EXPECT_EQ(q.flags, KV_MB_YESNO | KV_MB_ICONQUESTION);
  }
  std::vector<uint8_t> expected(800, 0);
  kvtest::PutI32(expected, 20, 4711);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), expected);
}

TEST_F(NummernTest, YesFindsTheFileOnceItIsBackAndKeepsItsCounters) {
  std::vector<uint8_t> image = PatternImage(800);
  user_.answers = {KV_IDYES};
  user_.beforeAnswer = [&](size_t) { kvtest::WriteFileBytes(Numbers(), image); };
  ASSERT_EQ(Nummern_NummernSchreiben(12, 11), 1);
  EXPECT_EQ(user_.asked.size(), 1u);
  kvtest::PutI32(image, 44, 12);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), image);
}

TEST_F(NummernTest, TheQuestionComesInDutch) {
  KVHOST_SetLanguage(KV_LANG_DUTCH);
  user_.answers = {KV_IDNO};
  ASSERT_EQ(Nummern_NummernSchreiben(1, 0), 1);
  ASSERT_EQ(user_.asked.size(), 1u);
  EXPECT_EQ(user_.asked[0].text,
            "De NummernDBA werd niet gevonden!\nDe NummernDBA nieuw aanmaken? (Wist alle bestaande "
            "oplopende nummers!)\nOf opnieuw zoeken? (J/N)");
  EXPECT_EQ(user_.asked[0].caption, "KALVORA");
}

TEST_F(NummernTest, BadArgumentsReturnZeroAndTouchNothing) {
  int32_t value = 1234;
  EXPECT_EQ(Nummern_NummernLesen(&value, 200), 0);
  EXPECT_EQ(Nummern_NummernLesen(&value, -1), 0);
  EXPECT_EQ(Nummern_NummernLesen(nullptr, 2), 0);
  EXPECT_EQ(value, 1234);
  EXPECT_EQ(Nummern_NummernSchreiben(5, 200), 0);
  EXPECT_EQ(Nummern_NummernSchreiben(5, -7), 0);
  EXPECT_TRUE(user_.asked.empty());
  EXPECT_FALSE(kvtest::FileExists(Numbers()));
}

TEST_F(NummernTest, NoMemoryForTheWorkBufferFailsTheWrite) {
  kvtest::WriteFileBytes(Numbers(), PatternImage(800));
  kv::fault::Arm(kv::fault::Kind::Allocate, 0);
  EXPECT_EQ(Nummern_NummernSchreiben(5, 1), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(Numbers()), PatternImage(800));
}

using NummernDeathTest = NummernTest;

TEST_F(NummernDeathTest, ReadWithoutTheFileEndsTheProcessWithCode1) {
  KVHOST_SetQuestionHandler(nullptr, nullptr);
  EXPECT_EXIT(
      {
        int32_t value = 0;
        Nummern_NummernLesen(&value, 2);
      },
      ::testing::ExitedWithCode(1), "KALVORA: File Error <-> NummernDBA");
  kvtest::WriteFileBytes(Numbers(), PatternImage(800));
  EXPECT_EXIT(
      {
        int32_t value = 0;
        kv::fault::Arm(kv::fault::Kind::Allocate, 0);
        Nummern_NummernLesen(&value, 2);
      },
      ::testing::ExitedWithCode(1), "Malloc Error <-> NummernDBA");
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

TEST(NummernNames, ThirteenNamedCountersThenNone) {
  EXPECT_STREQ(kv::nummern::CounterName(0), "RETOUREN NR");
  EXPECT_STREQ(kv::nummern::CounterName(2), "AUFTRAGS NR");
  EXPECT_STREQ(kv::nummern::CounterName(12), "EIGENE EAN-LIEFERANT-NR");
  EXPECT_EQ(kv::nummern::CounterName(13), nullptr);
  EXPECT_EQ(kv::nummern::CounterName(-1), nullptr);
}

}  // namespace
