// Invoice files: names with the prefix number, record and detail layout,
// status round trips, archive moves and the upgrade steps over the invoice
// and archive directories.
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "kvdata/rechnungdba.h"
#include "kvtest.h"
#include "services/fileio.h"

namespace {

using kvtest::FileExists;
using kvtest::I32At;
using kvtest::ReadFileBytes;

std::vector<uint8_t> Bytes(uint8_t seed, size_t size) { return std::vector<uint8_t>(size, seed); }

class Invoices : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    invoiceDir = dir() + "RECHNUNG/";
    ASSERT_TRUE(std::filesystem::create_directories(invoiceDir));
    RechnungDBA_PLUS_ARCHIVE_Init(7, (invoiceDir + "RECH*.*").c_str(), "");  // no archive
  }
  std::string PathOf(int32_t n) {
    char out[260];
    return RechnungDBA_CreateFileName(n, out);
  }
  // Writes an invoice whose record bytes are `seed` with `details` details.
  void MakeInvoice(int32_t n, uint8_t seed, int32_t details) {
    const int32_t h = RechnungDBA_New(n);
    ASSERT_NE(h, -1);
    auto record = Bytes(seed, RECHNUNGDBA_RECORD);
    ASSERT_EQ(RechnungDBA_WriteRECHNUNG(h, record.data()), 1);
    for (int32_t k = 1; k <= details; ++k) {
      auto detail = Bytes(static_cast<uint8_t>(seed + k), RECHNUNGDBA_DETAIL);
      ASSERT_EQ(RechnungDBA_WriteRECHNUNGDETAIL(h, detail.data()), 1);
    }
    RechnungDBA_Close(h);
  }
  std::string invoiceDir;
};

TEST_F(Invoices, NamesCarryThePrefixBelow100000) {
  const struct { int32_t n; const char* name; } cases[] = {
      {42, "RECH00700042.REC"}, {99999, "RECH00799999.REC"}, {100000, "RECH00100000.REC"},
      {9999999, "RECH09999999.REC"}, {10000000, "RECH0010000000.REC"}};
  for (const auto& c : cases) EXPECT_EQ(PathOf(c.n), invoiceDir + c.name);
  RechnungDBA_Init(123, (invoiceDir + "x.rec").c_str());
  EXPECT_EQ(PathOf(5), invoiceDir + "RECH12300005.REC");
  EXPECT_EQ(RechnungDBA_CreateFileName(5, nullptr), nullptr);
}

TEST_F(Invoices, RecordAndDetailsFollowEachOtherWithTheVersionStamped) {
  MakeInvoice(42, 0x10, 2);
  std::vector<uint8_t> image = Bytes(0x10, 872);
  image.insert(image.end(), 376, 0x11);
  image.insert(image.end(), 376, 0x12);
  kvtest::PutI32(image, 548, 610);
  EXPECT_EQ(ReadFileBytes(PathOf(42)), image);
  EXPECT_NE(RechnungDBA_RechnungExists(42), 0);
  EXPECT_EQ(RechnungDBA_RechnungExists(43), 0);

  const int32_t h = RechnungDBA_Open(PathOf(42).c_str());
  ASSERT_NE(h, -1);
  auto record = Bytes(0, RECHNUNGDBA_RECORD);
  auto detail = Bytes(0, RECHNUNGDBA_DETAIL);
  EXPECT_EQ(RechnungDBA_ReadRECHNUNG(h, record.data()), 1);
  EXPECT_EQ(RechnungDBA_ReadRECHNUNGDETAIL(h, detail.data()), 1);
  EXPECT_EQ(detail, Bytes(0x11, RECHNUNGDBA_DETAIL));
  EXPECT_EQ(RechnungDBA_ReadRECHNUNGDETAIL(h, detail.data()), 1);
  EXPECT_EQ(RechnungDBA_ReadRECHNUNGDETAIL(h, detail.data()), 0);  // no third
  EXPECT_EQ(RechnungDBA_WriteRECHNUNG(h, record.data()), 0);        // read only
  RechnungDBA_Close(h);
  EXPECT_EQ(RechnungDBA_WriteRECHNUNG(-1, record.data()), 0);
  EXPECT_EQ(RechnungDBA_ReadRECHNUNGDETAIL(-1, detail.data()), 0);
  EXPECT_EQ(RechnungDBA_Open(PathOf(43).c_str()), -1);
  RechnungDBA_ClearRECHNUNG(record.data());
  EXPECT_EQ(record, Bytes(0, RECHNUNGDBA_RECORD));

  EXPECT_NE(RechnungDBA_Delete(42), 0);
  EXPECT_FALSE(FileExists(PathOf(42)));
  EXPECT_EQ(RechnungDBA_Delete(42), 0);
}

TEST_F(Invoices, StatusRoundTripsWithoutTouchingOtherBytes) {
  MakeInvoice(8, 0x20, 1);
  auto before = ReadFileBytes(PathOf(8));
  auto copy = Bytes(0, RECHNUNGDBA_RECORD);
  EXPECT_EQ(RechnungDBA_Change_Status(8, 3, copy.data()), 1);
  EXPECT_EQ(RechnungDBA_Hole_Status(8), 3);
  auto after = ReadFileBytes(PathOf(8));
  kvtest::PutI32(before, 504, 3);
  EXPECT_EQ(after, before);
  EXPECT_TRUE(std::equal(copy.begin(), copy.end(), after.begin()));
  EXPECT_EQ(RechnungDBA_Change_Status(8, -1, nullptr), 1);
  EXPECT_EQ(RechnungDBA_Hole_Status(8), -1);

  // No file, and a file too short for a record: neither read, created nor
  // extended.
  kvtest::WriteFileBytes(PathOf(10), Bytes(5, 600));
  for (int32_t n : {9, 10}) {
    EXPECT_EQ(RechnungDBA_Hole_Status(n), 0);
    EXPECT_EQ(RechnungDBA_Change_Status(n, 3, copy.data()), 0);
  }
  EXPECT_FALSE(FileExists(PathOf(9)));
  EXPECT_EQ(kvtest::FileSize(PathOf(10)), 600);
}

TEST_F(Invoices, ArchiveMovesAndTheFindWalk) {
  EXPECT_EQ(RechnungDBA_Move_To_Archive(PathOf(1).c_str()), 0);  // no archive yet
  const std::string root = dir() + "ARCHIV";  // no trailing separator: one is added, then dropped
  ASSERT_EQ(RechnungDBA_PLUS_ARCHIVE_Init(7, (invoiceDir + "RECH*.*").c_str(), root.c_str()), 1);
  const std::string archive = root + kvtest::WithoutDrive(invoiceDir);
  for (int32_t n : {1, 2, 3}) MakeInvoice(n, static_cast<uint8_t>(n), 0);

  EXPECT_NE(RechnungDBA_Move_To_Archive(PathOf(2).c_str()), 0);
  EXPECT_TRUE(FileExists(archive + "RECH00700002.REC"));
  std::vector<std::string> found;
  char path[260];
  const int32_t fh = RechnungDBA_FindFirst(nullptr, path);
  ASSERT_NE(fh, -1);
  do found.emplace_back(path); while (RechnungDBA_FindNext(fh, path));
  RechnungDBA_FindClose(fh);
  EXPECT_EQ(found, (std::vector<std::string>{PathOf(1), PathOf(3)}));
  EXPECT_EQ(RechnungDBA_FindFirst("*.XYZ", path), -1);

  ASSERT_EQ(RechnungDBA_SwitchArchivePath(), 1);
  EXPECT_EQ(RechnungDBA_Hole_Status(2), 0x02020202);
  ASSERT_EQ(RechnungDBA_SwitchArchivePath(), 1);
  EXPECT_NE(RechnungDBA_Move_From_Archive(PathOf(2).c_str()), 0);
  EXPECT_EQ(RechnungDBA_Hole_Status(2), 0x02020202);
  EXPECT_FALSE(FileExists(archive + "RECH00700002.REC"));
}

TEST_F(Invoices, UpgradeStepsRunInOrderOverBothDirectories) {
  ASSERT_EQ(RechnungDBA_PLUS_ARCHIVE_Init(7, invoiceDir.c_str(), (dir() + "ARCHIV/").c_str()), 1);
  const std::string archive = dir() + "ARCHIV" + kvtest::WithoutDrive(invoiceDir);
  auto old = Bytes(0x33, 872 + 376);
  kvtest::PutI32(old, 548, 540);
  kvtest::WriteFileBytes(PathOf(1), old);
  kvtest::WriteFileBytes(archive + "RECH00700002.REC", old);
  kvtest::WriteFileBytes(PathOf(3), Bytes(0x44, 100));  // too short: left alone
  auto current = Bytes(0x55, 872);
  kvtest::PutI32(current, 548, 610);
  kvtest::WriteFileBytes(PathOf(4), current);
  kvtest::AgeFile(PathOf(4), 3600);
  const int64_t stamp = kv::FileIO_GetLastWriteTime(PathOf(4).c_str());

  // Only the two steps of the invoice directory.
  EXPECT_EQ(RechnungDBA_DoUpdate(560, 540), 0);
  EXPECT_EQ(I32At(ReadFileBytes(PathOf(1)), 548), 560);
  EXPECT_EQ(I32At(ReadFileBytes(archive + "RECH00700002.REC"), 548), 540);

  // From 570 on both directories; the switch is undone afterwards.
  EXPECT_EQ(RechnungDBA_DoUpdate(610, 560), 0);
  for (const std::string& path : {PathOf(1), archive + "RECH00700002.REC"}) {
    auto bytes = ReadFileBytes(path);
    EXPECT_EQ(I32At(bytes, 548), 610) << path;
    kvtest::PutI32(bytes, 548, 540);
    EXPECT_EQ(bytes, old) << path;  // every other byte carried
    EXPECT_FALSE(FileExists(path + "XX"));
  }
  EXPECT_EQ(ReadFileBytes(PathOf(3)), Bytes(0x44, 100));
  EXPECT_EQ(ReadFileBytes(PathOf(4)), current);
  EXPECT_EQ(kv::FileIO_GetLastWriteTime(PathOf(4).c_str()), stamp);  // not rewritten
  EXPECT_EQ(PathOf(1).rfind(invoiceDir, 0), 0u);

  // A step whose old-version bound excludes the caller does not run.
  kvtest::WriteFileBytes(PathOf(5), old);
  EXPECT_EQ(RechnungDBA_DoUpdate(610, 606), 0);
  EXPECT_EQ(I32At(ReadFileBytes(PathOf(5)), 548), 540);
  EXPECT_EQ(RechnungDBA_DoUpdate(600, 575), 0);
  EXPECT_EQ(I32At(ReadFileBytes(PathOf(5)), 548), 600);
  EXPECT_EQ(RechnungDBA_GetVersion(), 610);
}

}  // namespace
