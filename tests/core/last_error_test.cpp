// Why a call failed: the code and text the exports leave per thread, across
// real files and an exception thrown inside the library; and that success
// leaves them alone. (A lock held by another process: dba_concurrency_test.)
#include <cstring>
#include <string>
#include <functional>
#include <vector>

#include "dba_util.h"
#include "kvdata/bbaumlib.h"
#include "kvdata/dba.h"
#include "kvdata/kvhost.h"
#include "kvdata/nummern.h"
#include "kvtest.h"
#include "services/fault.h"
#include "services/fileio.h"
#include "services/platform.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <thread>
#endif

namespace {

constexpr int32_t R = 32;  // record size
constexpr int32_t C = 4;   // identifier capacity

struct LastError {
  int32_t code;
  std::string text;
};
LastError Last() { return {KVHOST_LastError(), KVHOST_LastErrorText()}; }

class LastErrorTest : public kvtest::DataDirTest {
 protected:
  void SetUp() override { KVHOST_ClearLastError(); }
  void TearDown() override {
    KVHOST_SetLockTimeout(10000);
    KVHOST_SetQuestionHandler(nullptr, nullptr);
    KVHOST_ClearLastError();
    kvtest::DataDirTest::TearDown();
  }
};

int32_t AnswerNo(const char*, const char*, uint32_t, void*) { return 0; }

// Runs fn on a thread of its own and waits for it (the Windows cross build's
// thread model has no std::thread).
#ifdef _WIN32
DWORD WINAPI RunFunction(void* fn) {
  (*static_cast<const std::function<void()>*>(fn))();
  return 0;
}
#endif

void OnAnotherThread(const std::function<void()>& fn) {
#ifdef _WIN32
  HANDLE t = CreateThread(nullptr, 0, &RunFunction, const_cast<std::function<void()>*>(&fn), 0, nullptr);
  ASSERT_NE(t, nullptr);
  ASSERT_EQ(WaitForSingleObject(t, 30000), WAIT_OBJECT_0);
  CloseHandle(t);
#else
  std::thread(fn).join();
#endif
}

TEST_F(LastErrorTest, EachFailureSaysWhyAndNamesTheFileSuccessLeavesItAlone) {
  const std::string path = file("SHOP.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_EQ(DBA_NeueDBA(&f), 1);
  ASSERT_EQ(DBA_NewITEM(&f), 1);
  std::vector<uint8_t> record = kvtest::Record(R, 1, 77), back(R);
  ASSERT_EQ(DBA_WriteDATA(&f, 1, record.data()), 1);
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_NONE);
  EXPECT_STREQ(KVHOST_LastErrorText(), "");

  // Not found: function, operation, path and the system's words.
  DbaFile gone = kvtest::MakeDba(file("GONE.DBA"), R, C);
  EXPECT_EQ(DBA_ReadDATA(&gone, 1, back.data()), 0);
  LastError e = Last();
  EXPECT_EQ(e.code, KV_ERR_NOT_FOUND);
  EXPECT_EQ(e.text.rfind("DBA_ReadDATA: open ", 0), 0u) << e.text;
  EXPECT_NE(e.text.find(file("GONE.DBA")), std::string::npos) << e.text;
  EXPECT_GT(e.text.size(), e.text.rfind(": ") + 2) << "no system text: " << e.text;

  // Successful calls leave it, even one that failed to open a file on the
  // way and then created it (the number-range question answered No).
  ASSERT_EQ(DBA_ReadDATA(&f, 1, back.data()), 1);
  EXPECT_EQ(back, record);
  Nummern_Init(file("SHOP.DBA").c_str());
  KVHOST_SetQuestionHandler(&AnswerNo, nullptr);
  ASSERT_EQ(Nummern_NummernSchreiben(41, 2), 1);
  int32_t counter = 0;
  ASSERT_EQ(Nummern_NummernLesen(&counter, 2), 1);
  EXPECT_EQ(counter, 41);
  EXPECT_EQ(Last().code, e.code);
  EXPECT_EQ(Last().text, e.text);

  // Bad arguments, caught before any file is touched.
  EXPECT_EQ(DBA_ReadDATA(nullptr, 1, back.data()), 0);
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_BAD_ARGUMENT);
  EXPECT_EQ(DBA_WriteDATA(&f, 0, record.data()), 0);
  EXPECT_EQ(Last().code, KV_ERR_BAD_ARGUMENT);
  EXPECT_NE(Last().text.find("DBA_WriteDATA"), std::string::npos) << Last().text;
  EXPECT_EQ(Nummern_NummernLesen(nullptr, 2), 0);
  EXPECT_NE(Last().text.find("Nummern_NummernLesen"), std::string::npos) << Last().text;

  // Damaged: a free head far beyond the format's last item.
  std::vector<uint8_t> image = kvtest::ReadFileBytes(path);
  std::vector<uint8_t> damaged = image;
  kvtest::PutI32(damaged, 8, 0x7FFFFFF0);
  kvtest::WriteFileBytes(path, damaged);
  EXPECT_EQ(DBA_NewITEM(&f), 0);
  EXPECT_EQ(Last().code, KV_ERR_DAMAGED);
  EXPECT_NE(Last().text.find(path), std::string::npos) << Last().text;
  EXPECT_EQ(kvtest::ReadFileBytes(path), damaged);

  // Full: every one of the 256000 slots counted, none free.
  std::vector<uint8_t> full = image;
  kvtest::PutI32(full, 8, 0);
  kvtest::PutI32(full, 16, DBA_MAX_SLOTS);
  kvtest::WriteFileBytes(path, full);
  EXPECT_EQ(DBA_NewITEM(&f), 0);
  EXPECT_EQ(Last().code, KV_ERR_FULL);
  EXPECT_EQ(Last().text.rfind("DBA_NewITEM: ", 0), 0u) << Last().text;
  EXPECT_EQ(kvtest::ReadFileBytes(path), full);

  KVHOST_ClearLastError();
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_NONE);
  EXPECT_STREQ(KVHOST_LastErrorText(), "");
}

TEST_F(LastErrorTest, EachThreadHasItsOwn) {
  int32_t value = 0;
  EXPECT_EQ(Nummern_NummernLesen(&value, 500), 0);
  ASSERT_EQ(KVHOST_LastError(), KV_ERR_BAD_ARGUMENT);
  const std::string mine = KVHOST_LastErrorText();

  LastError atStart{-1, ""}, afterFailure{-1, ""};
  OnAnotherThread([&] {
    atStart = Last();
    DbaFile gone = kvtest::MakeDba(file("NONE.DBA"), R, C);
    EXPECT_EQ(DBA_UsedITEMs(&gone), 0);
    afterFailure = Last();
  });
  EXPECT_EQ(atStart.code, KV_ERR_NONE);
  EXPECT_EQ(atStart.text, "");
  EXPECT_EQ(afterFailure.code, KV_ERR_NOT_FOUND);
  EXPECT_NE(afterFailure.text.find("DBA_UsedITEMs"), std::string::npos) << afterFailure.text;
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_BAD_ARGUMENT);
  EXPECT_EQ(KVHOST_LastErrorText(), mine);
}

// An exception thrown inside the library (here: the allocator) never leaves
// the C interface; the call fails as documented, nothing is written, and the
// next call works.
TEST_F(LastErrorTest, AnExceptionInsideBecomesTheFailureResult) {
  std::vector<uint8_t> image(800);
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 13 + 5);
  kvtest::WriteFileBytes(file("NUMMERN.DAT"), image);
  Nummern_Init(file("X.DBA").c_str());

  kv::fault::Arm(kv::fault::Kind::Throw, 0);
  EXPECT_EQ(Nummern_NummernSchreiben(99, 3), 0);
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_NO_MEMORY);
  EXPECT_STREQ(KVHOST_LastErrorText(), "Nummern_NummernSchreiben: out of memory");
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), image);

  // A key file's descriptor is allocated before the file is created: no
  // descriptor, no file. Without the fault the same call creates the file,
  // and the open that failed on the way is no failure of the call.
  const std::string keys = file("MAPTEST.DBA");
  kv::fault::Arm(kv::fault::Kind::Throw, 0);
  EXPECT_EQ(BBAUMLIB_Init(keys.c_str(), 44, 16), nullptr);
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_NO_MEMORY);
  EXPECT_STREQ(KVHOST_LastErrorText(), "BBAUMLIB_Init: out of memory");
  EXPECT_FALSE(kvtest::FileExists(keys));
  BaumKeyDatei* d = BBAUMLIB_Init(keys.c_str(), 44, 16);
  ASSERT_NE(d, nullptr);
  EXPECT_TRUE(kvtest::FileExists(keys));
  BBAUMLIB_Exit(d);
  EXPECT_STREQ(KVHOST_LastErrorText(), "BBAUMLIB_Init: out of memory");

  ASSERT_EQ(Nummern_NummernSchreiben(99, 3), 1);
  kvtest::PutI32(image, 12, 99);
  EXPECT_EQ(kvtest::ReadFileBytes(file("NUMMERN.DAT")), image);
}

}  // namespace
