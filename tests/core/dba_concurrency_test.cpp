// The header lock held by another process: taking or freeing an item waits
// for it, or gives up at the time-out, changes nothing and says why.
#include "core/dba_file.h"
#include "dba_util.h"
#include "kvdata/kvhost.h"
#include "services/platform.h"

namespace {

constexpr int32_t R = 32;
constexpr int32_t C = 2;

class DbaConcurrencyTest : public kvtest::DataDirTest {};

TEST_F(DbaConcurrencyTest, NewItemWaitsForTheHeaderLockOrGivesUpAtTheTimeOut) {
  const std::string path = file("WAIT.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  // The file is only read while nobody holds a lock on it: on Windows a
  // locked range cannot be read through another handle.
  const auto image = kvtest::ReadFileBytes(path);

  kvtest::Worker w = kvtest::HoldHeader(path, R, C, file("m1"), 700);
  ASSERT_TRUE(kvtest::AwaitFile(file("m1")));
  KVHOST_SetLockTimeout(100);
  KVHOST_ClearLastError();
  EXPECT_EQ(DBA_NewITEM(&f), 0);  // gives up instead of working unlocked
  const std::string why = KVHOST_LastErrorText();
  EXPECT_EQ(KVHOST_LastError(), KV_ERR_LOCKED);
  EXPECT_EQ(why.rfind("DBA_NewITEM: lock ", 0), 0u) << why;
  KVHOST_SetLockTimeout(10000);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(path), image);

  w = kvtest::HoldHeader(path, R, C, file("m2"), 500);
  ASSERT_TRUE(kvtest::AwaitFile(file("m2")));
  EXPECT_EQ(DBA_NewITEM(&f), 1);  // waits for the holder
  EXPECT_EQ(KVHOST_LastErrorText(), why);  // success leaves the report alone
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadHeader(path).usedCount, 1);
}

TEST_F(DbaConcurrencyTest, ADeleteRefusedAtTheHeaderLockChangesNothingAndSaysSo) {
  const std::string path = file("REFUSE.DBA");
  DbaFile f = kvtest::MakeDba(path, R, C);
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  ASSERT_EQ(DBA_NewITEM(&f), 1);
  ASSERT_EQ(DBA_WriteDATA(&f, 1, kvtest::Record(R, 1, 9).data()), 1);
  const auto image = kvtest::ReadFileBytes(path);
  const std::vector<uint8_t> cleared(R, 0);

  kvtest::Worker w = kvtest::HoldHeader(path, R, C, file("m1"), 1500);
  ASSERT_TRUE(kvtest::AwaitFile(file("m1")));
  KVHOST_SetLockTimeout(100);
  DBA_DeleteITEM(&f, 1);
  EXPECT_FALSE(kv::dba::FreeItem(&f, 1, cleared.data()));
  KVHOST_SetLockTimeout(10000);
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_EQ(kvtest::ReadFileBytes(path), image);

  // Free, the same call writes the record given and the free head in one.
  EXPECT_TRUE(kv::dba::FreeItem(&f, 1, cleared.data()));
  auto b = kvtest::ReadFileBytes(path);
  const size_t at = static_cast<size_t>(R) + 40 + 8 * C;
  EXPECT_EQ(kvtest::I32At(b, at), -1);
  EXPECT_EQ(kvtest::I32At(b, at + 8), 0);
  EXPECT_EQ(kvtest::ReadHeader(path).usedCount, 0);
  EXPECT_EQ(kvtest::ReadHeader(path).freeHead, 1);
}

}  // namespace
