// Order and invoice functions act on their own files only: in their own
// directory and its archive, with names of their own pattern. And the two
// archive directories, each derived by its family's own rule.
#include <filesystem>
#include <string>
#include <vector>

#include "document/doc_files.h"
#include "kvdata/auftragdba.h"
#include "kvdata/rechnungdba.h"
#include "kvtest.h"

namespace {

using kvtest::FileExists;
using kvtest::ReadFileBytes;

class Confinement : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    invoiceDir = dir() + "RECHNUNG/";
    ASSERT_TRUE(std::filesystem::create_directories(invoiceDir));
    ASSERT_EQ(RechnungDBA_PLUS_ARCHIVE_Init(7, (invoiceDir + "RECH*.*").c_str(), (dir() + "ARCHIV").c_str()), 1);
    archive = dir() + "ARCHIV" + kvtest::WithoutDrive(invoiceDir);
    kvtest::WriteFileBytes(file("KUNDEN.DBA"), {1, 2, 3});
    kvtest::WriteFileBytes(invoiceDir + "NOTES.REC", {4});
    kvtest::WriteFileBytes(invoiceDir + "RECHNUNG.TXT", {5});
  }
  std::string PathOf(int32_t n) {
    char out[260];
    return RechnungDBA_CreateFileName(n, out);
  }
  void MakeInvoice(int32_t n) {
    const int32_t h = RechnungDBA_New(n);
    ASSERT_NE(h, -1);
    std::vector<uint8_t> record(RECHNUNGDBA_RECORD, static_cast<uint8_t>(n));
    ASSERT_EQ(RechnungDBA_WriteRECHNUNG(h, record.data()), 1);
    RechnungDBA_Close(h);
  }
  std::string invoiceDir, archive;
};

TEST_F(Confinement, InvoiceMovesTakeOnlyInvoiceFilesOfTheInvoiceDirectory) {
  MakeInvoice(5);
  const std::vector<std::string> foreign = {
      file("KUNDEN.DBA"),                       // another family's file
      invoiceDir + "../KUNDEN.DBA",             // out through ".."
      invoiceDir + "NOTES.REC",                 // in place, not an invoice name
      dir() + "RECH00700005.REC",               // an invoice name elsewhere
      invoiceDir + "..\\RECHNUNG\\RECH00700005.REC",
      "RECH00700005.REC",                       // no directory at all
  };
  for (const std::string& p : foreign) {
    EXPECT_EQ(RechnungDBA_Move_To_Archive(p.c_str()), 0) << p;
    EXPECT_EQ(RechnungDBA_Move_From_Archive(p.c_str()), 0) << p;
    EXPECT_EQ(RechnungDBA_Open(p.c_str()), -1) << p;
    EXPECT_EQ(RechnungDBA_WriteOpen(p.c_str()), -1) << p;
  }
  EXPECT_EQ(ReadFileBytes(file("KUNDEN.DBA")), (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_TRUE(FileExists(invoiceDir + "NOTES.REC"));
  EXPECT_FALSE(FileExists(archive + "KUNDEN.DBA"));

  // The invoice itself moves there and back, and opens in either place.
  ASSERT_NE(RechnungDBA_Move_To_Archive(PathOf(5).c_str()), 0);
  const std::string archived = archive + "RECH00700005.REC";
  EXPECT_TRUE(FileExists(archived));
  const int32_t h = RechnungDBA_Open(archived.c_str());
  EXPECT_NE(h, -1);
  RechnungDBA_Close(h);
  // Back only to the invoice directory, never to another place.
  EXPECT_EQ(RechnungDBA_Move_From_Archive((dir() + "RECH00700005.REC").c_str()), 0);
  EXPECT_TRUE(FileExists(archived));
  ASSERT_NE(RechnungDBA_Move_From_Archive(PathOf(5).c_str()), 0);
  EXPECT_TRUE(FileExists(PathOf(5)));
}

TEST_F(Confinement, TheInvoiceWalkListsInvoicesOfItsDirectoryOnly) {
  MakeInvoice(1);
  MakeInvoice(2);
  char path[260];
  for (const char* pattern : {"../*.DBA", "..\\*.*", "/etc/*", "C:*.DBA", "..", "sub/RECH*.*"}) {
    EXPECT_EQ(RechnungDBA_FindFirst(pattern, path), -1) << pattern;
  }
  std::vector<std::string> found;
  const int32_t fh = RechnungDBA_FindFirst("*.*", path);
  ASSERT_NE(fh, -1);
  do found.emplace_back(path); while (RechnungDBA_FindNext(fh, path));
  RechnungDBA_FindClose(fh);
  EXPECT_EQ(found, (std::vector<std::string>{PathOf(1), PathOf(2)}));  // NOTES.REC, RECHNUNG.TXT left out
  EXPECT_EQ(RechnungDBA_FindFirst("*.TXT", path), -1);

  // An upgrade rewrites the invoices and nothing else that "RECH*.*" finds.
  std::vector<uint8_t> other(RECHNUNGDBA_RECORD + 10, 0);
  other[0] = 0x61;
  kvtest::WriteFileBytes(invoiceDir + "RECHNUNG.TXT", other);
  std::vector<uint8_t> old(RECHNUNGDBA_RECORD, 0x33);
  kvtest::PutI32(old, 548, 540);
  kvtest::WriteFileBytes(PathOf(1), old);
  RechnungDBA_DoUpdate(560, 540);
  EXPECT_EQ(ReadFileBytes(invoiceDir + "RECHNUNG.TXT"), other);
  EXPECT_EQ(kvtest::I32At(ReadFileBytes(PathOf(1)), 548), 560);
}

TEST_F(Confinement, OrderWalksAndDeletesLeaveOtherFilesAlone) {
  const std::string orderDir = dir() + "AUFTRAG/";
  ASSERT_TRUE(std::filesystem::create_directories(orderDir));
  AUFTRAGDBA_Init(0, (orderDir + "AFT*.DAT").c_str());
  std::vector<uint8_t> header(207108, 0);
  header[1046] = 1;
  ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(3, header.data()), 1);
  kvtest::WriteFileBytes(orderDir + "AFTNOTES.DAT", std::vector<uint8_t>(10, 9));
  kvtest::WriteFileBytes(orderDir + "AFT.DAT", std::vector<uint8_t>(10, 8));
  EXPECT_EQ(AUFTRAGDBA_AendernMitAllenAuftraegen(nullptr, nullptr), 1);
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 540), 0);
  EXPECT_EQ(ReadFileBytes(orderDir + "AFTNOTES.DAT"), std::vector<uint8_t>(10, 9));
  EXPECT_EQ(AUFTRAGDBA_LoescheAlleAuftraege(), 1);
  EXPECT_FALSE(FileExists(orderDir + "AFT00003.DAT"));
  EXPECT_TRUE(FileExists(orderDir + "AFTNOTES.DAT"));
  EXPECT_TRUE(FileExists(orderDir + "AFT.DAT"));
}

// Each family's archive rule, as existing installations have their archives.
TEST(ArchiveDirectories, EachFamilyKeepsItsOwnRule) {
  using kv::doc::ArchiveDirectory;
  using kv::doc::ArchiveRule;
  struct Case {
    ArchiveRule rule;
    const char* root;
    const char* path;
    const char* archive;
  };
  const Case cases[] = {
      // Orders: the root's last character goes, whatever it is; a file
      // pattern goes; a plain file name stays.
      {ArchiveRule::kOrders, "D:\\ARCHIV\\", "C:\\DATA\\AUFTRAG\\AFT*.DAT", "D:\\ARCHIV\\DATA\\AUFTRAG\\"},
      {ArchiveRule::kOrders, "D:\\ARCHIV", "C:\\DATA\\AUFTRAG\\AFT*.DAT", "D:\\ARCHI\\DATA\\AUFTRAG\\"},
      {ArchiveRule::kOrders, "/srv/arch/", "/data/auftrag/", "/srv/arch/data/auftrag/"},
      {ArchiveRule::kOrders, "/srv/arch/", "/data/auftrag/x.dat", "/srv/arch/data/auftrag/x.dat"},
      // Invoices: one trailing separator, present or not, then the
      // directory part of the path.
      {ArchiveRule::kInvoices, "D:\\ARCHIV\\", "C:\\DATA\\RECHNUNG\\RECH*.*", "D:\\ARCHIV\\DATA\\RECHNUNG\\"},
      {ArchiveRule::kInvoices, "D:\\ARCHIV", "C:\\DATA\\RECHNUNG\\RECH*.*", "D:\\ARCHIV\\DATA\\RECHNUNG\\"},
      {ArchiveRule::kInvoices, "/srv/arch", "/data/rechnung/x.rec", "/srv/arch/data/rechnung/"},
  };
  for (const Case& c : cases) {
    char out[260];
    ASSERT_TRUE(ArchiveDirectory(c.rule, c.root, c.path, out)) << c.root << " " << c.path;
    EXPECT_STREQ(out, c.archive) << c.root << " " << c.path;
  }
  char out[260] = "x";
  EXPECT_FALSE(ArchiveDirectory(ArchiveRule::kOrders, "", "/data/", out));
  EXPECT_STREQ(out, "");
  const std::string longRoot(250, 'a');
  EXPECT_FALSE(ArchiveDirectory(ArchiveRule::kInvoices, longRoot.c_str(), "/data/rechnung/x", out));
}

}  // namespace
