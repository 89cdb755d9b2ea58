// The scoped nested open over the two counters that disagree about a failed
// open: whatever the counter, the scope leaves it as it found it, so that a
// file missing for one operation is found by the next once it exists, and an
// open that a caller holds around the scope stays open.
#include <cstring>

#include "core/fixed_records.h"
#include "core/nested_open.h"
#include "dba_util.h"

namespace {

using kv::FileHandle;
using kv::kInvalidHandle;

using NestedOpenTest = kvtest::DataDirTest;

TEST_F(NestedOpenTest, DbaScopeUndoesTheCountOfAFailedOpenAndNestsInsideTheCallersOpen) {
  DbaFile f = kvtest::MakeDba(file("LATER.DBA"), 16, 2);
  {
    kv::DbaOpen open(&f);
    EXPECT_FALSE(open);
    EXPECT_EQ(f.openCount, 1) << "a failed DBA open counts";
  }
  EXPECT_EQ(f.openCount, 0);
  EXPECT_EQ(f.handle, kInvalidHandle);

  // Once the file exists the next scope opens it: nothing of the failure is
  // left in the descriptor.
  ASSERT_NE(DBA_NeueDBA(&f), 0);
  {
    kv::DbaOpen open(&f);
    ASSERT_TRUE(open);
    EXPECT_NE(f.handle, kInvalidHandle);
  }
  EXPECT_EQ(f.openCount, 0);

  ASSERT_EQ(DBA_OpenDBA(&f), 1);
  const FileHandle outer = f.handle;
  {
    kv::DbaOpen open(&f);
    ASSERT_TRUE(open);
    EXPECT_EQ(f.openCount, 2);
    EXPECT_EQ(f.handle, outer) << "a nested open reuses the caller's handle";
  }
  EXPECT_EQ(f.openCount, 1);
  EXPECT_EQ(f.handle, outer);
  DBA_CloseDBA(&f);
  EXPECT_EQ(f.openCount, 0);
}

TEST_F(NestedOpenTest, FixedRecordScopeLeavesNoCountAfterAFailedOpen) {
  kv::fixed::File f;
  const std::string path = file("REC.DAT");
  std::strcpy(f.path, path.c_str());
  f.recordSize = 8;
  f.count = 3;
  {
    kv::FixedOpen open(&f);
    EXPECT_FALSE(open);
    EXPECT_EQ(f.openCount, 0) << "a failed fixed-record open does not count";
  }
  EXPECT_EQ(f.openCount, 0);
  {
    kv::FixedOpen open(nullptr);
    EXPECT_FALSE(open);
  }

  ASSERT_TRUE(kv::fixed::Create(f, nullptr));
  ASSERT_NE(kv::fixed::Open(f), kInvalidHandle);
  {
    kv::FixedOpen open(&f);
    ASSERT_TRUE(open);
    EXPECT_EQ(f.openCount, 2);
  }
  EXPECT_EQ(f.openCount, 1);
  EXPECT_NE(f.handle, kInvalidHandle);
  kv::fixed::Close(f);
  EXPECT_EQ(f.openCount, 0);
  EXPECT_EQ(f.handle, kInvalidHandle);
}

}  // namespace
