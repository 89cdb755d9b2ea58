// Errors and exit codes, the demo's guard, KVDATA_DIR and the exports.
#include <cstring>

#include "kvdata/kundendba.h"
#include "tool_support.h"

namespace {

using kvtest::ReadFileBytes;
using kvtest::WriteFileBytes;
using tooltest::Tool;

class CommandsTest : public kvtest::DataDirTest {};

TEST_F(CommandsTest, ErrorsGoToStderrWithTheirExitCodes) {
  const auto info = Tool({"info", "/nonexistent/X.DBA"});
  EXPECT_EQ(info.code, 2);
  EXPECT_EQ(info.out, "");
  EXPECT_EQ(info.err, "kvdata info: cannot open the file (/nonexistent/X.DBA: No such file or directory)\n");

  const auto noDir = Tool({"check"});
  EXPECT_EQ(noDir.code, 2);
  EXPECT_EQ(noDir.err.rfind("kvdata check: ", 0), 0u) << noDir.err;

  const auto missing = Tool({"check", dir() + "absent"});
  EXPECT_EQ(missing.code, 2);
  EXPECT_EQ(missing.err, "kvdata check: cannot open the data directory (" + dir() + "absent: No such file or directory)\n");

  EXPECT_EQ(Tool({"check", dir(), "--no-such-option"}).code, 2);
  const auto empty = Tool({"check", dir()});
  EXPECT_EQ(empty.code, 2);
  EXPECT_NE(empty.err.find("nothing to check"), std::string::npos) << empty.err;
  EXPECT_EQ(Tool({"export", dir(), "suppliers"}).code, 2);
  EXPECT_EQ(Tool({"numbers", dir()}).code, 2);  // no NUMMERN.DAT
}

TEST_F(CommandsTest, DemoRefusesADirectoryThatHoldsAnything) {
  const std::vector<uint8_t> shop = {1, 2, 3, 4};
  WriteFileBytes(file("KUNDEN.DBA"), shop);
  const auto r = Tool({"demo", dir()});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("kvdata demo: refused: the directory is not empty"), std::string::npos) << r.err;
  EXPECT_EQ(ReadFileBytes(file("KUNDEN.DBA")), shop);
  EXPECT_FALSE(kvtest::FileExists(file("TEILE.DBA")));
}

TEST_F(CommandsTest, DemoCustomersAreListedAndDirectoryComesFromTheEnvironment) {
  ASSERT_EQ(Tool({"demo", dir() + "shop"}).code, 0);
  const std::string env = "KVDATA_DIR=" + tooltest::Quote(dir() + "shop");
  const auto listed = Tool({"customers"}, env);
  EXPECT_EQ(listed.code, 0) << listed.err;
  EXPECT_NE(listed.out.find("Mustermann"), std::string::npos) << listed.out;
  EXPECT_NE(listed.out.find("3 customers"), std::string::npos);
  EXPECT_EQ(Tool({"check"}, env).code, 0);
  const auto numbers = Tool({"numbers", "--json"}, env);
  ASSERT_EQ(numbers.code, 0);
  EXPECT_EQ(numbers.Json()["counters"][2]["name"], "AUFTRAGS NR");
}

// Texts leave as UTF-8; a text cell that a spreadsheet would run as a
// formula is neutralised in CSV and kept as it is in JSON.
TEST_F(CommandsTest, ExportWritesUtf8AndNeutralisesFormulaCells) {
  ASSERT_EQ(Tool({"demo", dir() + "shop"}).code, 0);
  const std::string shop = dir() + "shop/";
  ASSERT_NE(KundenDBA_Init((shop + "KUNDEN.DBA").c_str()), 0);
  Kunde k;
  KundenDBA_ClearKunde(&k);
  k.refCount = 1;
  k.flags = KUNDE_FLAG_BENUTZBAR;
  std::strcpy(k.surname, "=HYPERLINK(\"x\")");
  std::strcpy(k.city, "-1+2");
  std::strcpy(k.street, "@SUM(A1)");
  const int32_t n = KundenDBA_NeuerKunde();
  ASSERT_EQ(n, 4);
  ASSERT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);

  const auto csv = Tool({"export", shop, "customers", "--format", "csv"});
  ASSERT_EQ(csv.code, 0) << csv.err;
  EXPECT_EQ(csv.out.rfind("number,refCount,flags,shortKey,salutation,firstName,surname,street,", 0), 0u);
  EXPECT_NE(csv.out.find("\r\n1,1,1,,Guten Tag,Hans,M\xC3\xBCller,Lindenstra\xC3\x9F" "e 4,"), std::string::npos) << csv.out;
  EXPECT_NE(csv.out.find("\r\n4,1,1,,,,\"'=HYPERLINK(\"\"x\"\")\",'@SUM(A1),,,'-1+2,"), std::string::npos) << csv.out;

  const auto json = Tool({"export", shop, "customers", "--format", "json"});
  ASSERT_EQ(json.code, 0);
  const nlohmann::json rows = json.Json();
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0]["surname"], "M\xC3\xBCller");
  EXPECT_EQ(rows[3]["surname"], "=HYPERLINK(\"x\")");
  EXPECT_EQ(rows[3]["city"], "-1+2");

  const nlohmann::json items = Tool({"export", shop, "items", "--format", "json"}).Json();
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0]["article"], 17);
  EXPECT_EQ(items[0]["customer"], 2);
  EXPECT_EQ(Tool({"export", shop, "articles", "--format", "json"}).Json()[0]["text"], "Sommerkleid Leinen");
  EXPECT_EQ(Tool({"export", shop, "orders", "--format", "json"}).Json()[0]["positions"], 3);
  EXPECT_EQ(Tool({"export", shop, "invoices", "--format", "json"}).Json()[0]["status"], 2);
}

}  // namespace
