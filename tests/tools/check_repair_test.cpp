// check, repair, status and info against the demo's directory, damaged on
// purpose in the ways a crash or a faulty station leaves files.
#include <filesystem>
#include <map>
#include <tuple>
#include <set>

#include "kvdata/artlib.h"
#include "kvdata/database.h"
#include "kvdata/dba.h"
#include "tool_support.h"

namespace {

using kvtest::I32At;
using kvtest::PutI32;
using kvtest::ReadFileBytes;
using kvtest::WriteFileBytes;
using tooltest::Tool;

namespace fs = std::filesystem;

class CheckRepairTest : public tooltest::DemoDirTest {
 protected:
  // The copy repair kept of `name` (there must be exactly one).
  std::vector<uint8_t> Backup(const std::string& name) {
    std::vector<std::string> found;
    for (const auto& e : fs::directory_iterator(data())) {
      const std::string n = e.path().filename().string();
      if (n.rfind(name + ".bak-", 0) == 0) found.push_back(n);
    }
    EXPECT_EQ(found.size(), 1u) << name;
    return found.empty() ? std::vector<uint8_t>{} : ReadFileBytes(data(found[0]));
  }

  void ExpectHealthy() {
    const auto r = Tool({"check", data(), "--json"});
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_TRUE(r.Json()["healthy"].get<bool>());
  }

  // Items 2..5 appended to article 17's chain behind the demo's item 1.
  void AddItems() {
    ASSERT_EQ(ARTLIB_Init(1000, data().c_str()), ARTLIB_CURRENT_VERSION);
    ASSERT_EQ(DATABASE_Init(5000, data().c_str()), 1);
    for (int i = 0; i < 4; ++i) {
      Einzelteil item;
      DATABASE_ClearEinzelteil(&item);
      item.flags = DATABASE_FLAG_BENUTZT;
      item.article = 17;
      ASSERT_EQ(DATABASE_NeuesTeil(&item), 2 + i);
    }
  }
  static size_t Item(int32_t n) { return 40 + 142 * static_cast<size_t>(n); }
};

TEST_F(CheckRepairTest, DemoDirectoryIsHealthyAndStatusListsEveryFile) {
  ExpectHealthy();
  const auto status = Tool({"status", data(), "--json"});
  ASSERT_EQ(status.code, 0) << status.err;
  std::map<std::string, nlohmann::json> files;
  const nlohmann::json all = status.Json();
  for (const auto& f : all["files"]) files[f["file"].get<std::string>()] = f;
  ASSERT_TRUE(files.count("KUNDEN.DBA") && files.count("AUFTRAG/AFT01004.DAT") && files.count("MAPEANID.DBA"));
  EXPECT_FALSE(files["KUNDEN.DBA"]["upgrade_due"].get<bool>());
  const std::tuple<const char*, const char*, int> fields[] = {{"KUNDEN.DBA", "version", 540}, {"KUNDEN.DBA", "used", 3},
      {"TEILE.DBA", "capacity", 5000}, {"TEILE.DBA", "used", 1}, {"KUNDSUCH.DBA", "used", 3}};
  for (const auto& [name, field, value] : fields) EXPECT_EQ(files[name][field], value) << name << " " << field;
}

// A free chain through a used item and a search entry that disagrees with
// its customer: check names both, a dry run changes nothing, repair fixes
// both and keeps a copy of what it changed.
TEST_F(CheckRepairTest, FreeChainThroughUsedItemAndStaleSearchEntryAreRepaired) {
  std::vector<uint8_t> demo = ReadFileBytes(data("DEMO.DBA"));
  PutI32(demo, 8, 3);  // free head -> item 3, which is in use
  WriteFileBytes(data("DEMO.DBA"), demo);
  std::vector<uint8_t> search = ReadFileBytes(data("KUNDSUCH.DBA"));
  const size_t entry1 = 40 + 12;
  search[entry1 + 4] = 'X';
  WriteFileBytes(data("KUNDSUCH.DBA"), search);

  const auto check = Tool({"check", data()});
  EXPECT_EQ(check.code, 1);
  EXPECT_NE(check.out.find("DEFECT DEMO.DBA record 3: the free chain passes through item 3, which is in use"),
            std::string::npos)
      << check.out;
  EXPECT_NE(check.out.find("DEFECT KUNDSUCH.DBA record 1: the name search entry of customer 1"), std::string::npos);
  const auto json = Tool({"check", data(), "--json"});
  EXPECT_EQ(json.code, 1);
  EXPECT_FALSE(json.Json()["healthy"].get<bool>());
  EXPECT_EQ(json.Json()["defects"].size(), 2u);

  const auto dry = Tool({"repair", data(), "--dry-run"});
  EXPECT_EQ(dry.code, 0) << dry.err;
  EXPECT_NE(dry.out.find("would reorganise"), std::string::npos);
  EXPECT_EQ(ReadFileBytes(data("DEMO.DBA")), demo);
  EXPECT_EQ(ReadFileBytes(data("KUNDSUCH.DBA")), search);

  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 0) << repair.out << repair.err;
  EXPECT_EQ(Backup("DEMO.DBA"), demo);
  EXPECT_EQ(Backup("KUNDSUCH.DBA"), search);
  const std::vector<uint8_t> fixed = ReadFileBytes(data("DEMO.DBA"));
  EXPECT_EQ(I32At(fixed, 8), 0);   // no free item
  EXPECT_EQ(I32At(fixed, 12), 6);  // used
  EXPECT_EQ(I32At(fixed, 16), 6);  // slots
  EXPECT_TRUE(std::equal(fixed.begin() + 24, fixed.end(), demo.begin() + 24));
  const std::vector<uint8_t> rebuilt = ReadFileBytes(data("KUNDSUCH.DBA"));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&rebuilt[entry1 + 4]), 7), std::string("M\xFCller\0", 7));
  ExpectHealthy();
}

// A customer whose record lost its count (as a save of a freshly taken
// number did) comes back through the customer file's reorganisation, which
// keeps every record that has a surname; its chain of items stays whole.
TEST_F(CheckRepairTest, CustomerMarkedFreeComesBackWithItsChain) {
  std::vector<uint8_t> customers = ReadFileBytes(data("KUNDEN.DBA"));
  PutI32(customers, 40 + 2 * 1299, -1);
  PutI32(customers, 12, 7);
  WriteFileBytes(data("KUNDEN.DBA"), customers);
  const auto check = Tool({"check", data()});
  EXPECT_EQ(check.code, 1);
  EXPECT_NE(check.out.find("DEFECT KUNDEN.DBA record 2: item 2 is marked free but is not on the free chain"),
            std::string::npos)
      << check.out;
  EXPECT_NE(check.out.find("note   TEILE.DBA: 1 items name a customer that has been deleted"), std::string::npos);

  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 0) << repair.out << repair.err;
  const std::vector<uint8_t> after = ReadFileBytes(data("KUNDEN.DBA"));
  EXPECT_EQ(I32At(after, 12), 3);
  EXPECT_EQ(I32At(after, 40 + 2 * 1299), 1);
  EXPECT_EQ(I32At(after, 40 + 2 * 1299 + 911), 1);  // first item of the chain
  EXPECT_NE(Tool({"customers", data()}).out.find("Mustermann"), std::string::npos);
  ExpectHealthy();
}

TEST_F(CheckRepairTest, ItemChainIsRelinkedInTheOrderItsLinksProve) {
  AddItems();
  std::vector<uint8_t> items = ReadFileBytes(data("TEILE.DBA"));
  PutI32(items, Item(3) + 4, 0);  // 3 -> 4 lost
  PutI32(items, Item(4) + 0, 0);  // 4 <- 3 lost
  WriteFileBytes(data("TEILE.DBA"), items);

  const auto check = Tool({"check", data()});
  EXPECT_EQ(check.code, 1);
  EXPECT_NE(check.out.find("item 4 of article 17 cannot be reached from its head"), std::string::npos) << check.out;
  EXPECT_NE(check.out.find("repair: relink the chain"), std::string::npos);

  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 0) << repair.out << repair.err;
  EXPECT_NE(repair.out.find("relink the chain of article 17: 1 2 3 4 5"), std::string::npos) << repair.out;
  const std::vector<uint8_t> after = ReadFileBytes(data("TEILE.DBA"));
  for (int32_t n = 1; n <= 5; ++n) {
    EXPECT_EQ(I32At(after, Item(n) + 0), n - 1) << n;
    EXPECT_EQ(I32At(after, Item(n) + 4), n == 5 ? 0 : n + 1) << n;
  }
  EXPECT_EQ(Backup("TEILE.DBA"), items);
  ExpectHealthy();
}

TEST_F(CheckRepairTest, ChainWhoseOrderIsInDoubtIsLeftAlone) {
  AddItems();
  std::vector<uint8_t> items = ReadFileBytes(data("TEILE.DBA"));
  PutI32(items, Item(2) + 4, 0);  // item 3 hangs loose between 2 and 4
  PutI32(items, Item(3) + 0, 0);
  PutI32(items, Item(3) + 4, 0);
  PutI32(items, Item(4) + 0, 0);
  WriteFileBytes(data("TEILE.DBA"), items);
  const std::vector<uint8_t> articles = ReadFileBytes(data("ARTIKEL.DBA"));

  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 1);
  EXPECT_NE(repair.out.find("cannot repair: TEILE.DBA"), std::string::npos) << repair.out;
  EXPECT_EQ(ReadFileBytes(data("TEILE.DBA")), items);
  EXPECT_EQ(ReadFileBytes(data("ARTIKEL.DBA")), articles);
}

TEST_F(CheckRepairTest, KeyFileCycleIsFoundAndTheTreeRebuilt) {
  std::vector<uint8_t> keys = ReadFileBytes(data("MAPEANID.DBA"));
  auto node = [](int32_t slot) { return 40 + 58 * static_cast<size_t>(slot) + 44; };
  const int32_t root = I32At(keys, node(0));
  const int32_t left = I32At(keys, node(root) + 4);
  ASSERT_GT(left, 0);
  PutI32(keys, node(left) + 4, root);  // the left child's left leads back to the root
  WriteFileBytes(data("MAPEANID.DBA"), keys);

  const auto check = Tool({"check", data(), "--json"});
  EXPECT_EQ(check.code, 1);
  bool cycle = false;
  const nlohmann::json found = check.Json();
  for (const auto& d : found["defects"]) {
    cycle |= d["file"] == "MAPEANID.DBA" && d["what"].get<std::string>().find("cycle") != std::string::npos;
  }
  EXPECT_TRUE(cycle) << check.out;
  EXPECT_EQ(Tool({"keys", data("MAPEANID.DBA")}).code, 1);

  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 0) << repair.out << repair.err;
  const auto listed = Tool({"keys", data("MAPEANID.DBA"), "--json"});
  ASSERT_EQ(listed.code, 0) << listed.out;
  std::vector<std::string> inOrder;
  const nlohmann::json keys2 = listed.Json();
  for (const auto& k : keys2["keys"]) inOrder.push_back(k["key"].get<std::string>());
  EXPECT_EQ(inOrder, (std::vector<std::string>{"4006381333931", "5449000000996", "9783161484100"}));
  ExpectHealthy();
}

// A customer file that waits for its upgrade is the family's to convert
// first: repair leaves it exactly as it is.
TEST_F(CheckRepairTest, FileWaitingForAnUpgradeIsRefused) {
  std::vector<uint8_t> customers = ReadFileBytes(data("KUNDEN.DBA"));
  PutI32(customers, 0, 530);
  PutI32(customers, 12, 7);  // used count
  WriteFileBytes(data("KUNDEN.DBA"), customers);

  const auto status = Tool({"status", data(), "--json"});
  const nlohmann::json files = status.Json();
  for (const auto& f : files["files"]) {
    if (f["file"] == "KUNDEN.DBA") {
      EXPECT_TRUE(f["upgrade_due"].get<bool>());
    }
  }
  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 1);
  EXPECT_NE(repair.out.find("refused: reorganise the customer file"), std::string::npos) << repair.out;
  EXPECT_EQ(ReadFileBytes(data("KUNDEN.DBA")), customers);
}

// Damage no library operation can undo is listed with "not repaired" and
// left exactly as it is; repair says so with exit code 1.
TEST_F(CheckRepairTest, TornDocumentsAndShortNumberFileAreReportedNotTouched) {
  std::vector<uint8_t> order = ReadFileBytes(data("AUFTRAG/AFT01004.DAT"));
  order.resize(order.size() - 100);
  WriteFileBytes(data("AUFTRAG/AFT01004.DAT"), order);
  std::vector<uint8_t> invoice = ReadFileBytes(data("RECHNUNG/RECH00100001.REC"));
  invoice.push_back(0);
  WriteFileBytes(data("RECHNUNG/RECH00100001.REC"), invoice);
  std::vector<uint8_t> numbers = ReadFileBytes(data("NUMMERN.DAT"));
  numbers.resize(400);
  WriteFileBytes(data("NUMMERN.DAT"), numbers);

  const auto check = Tool({"check", data(), "--json"});
  EXPECT_EQ(check.code, 1);
  std::set<std::string> files;
  const nlohmann::json j = check.Json();
  for (const auto& d : j["defects"]) {
    files.insert(d["file"].get<std::string>());
    EXPECT_EQ(d["repair"], "none: not repaired automatically");
  }
  EXPECT_EQ(files, (std::set<std::string>{"AUFTRAG/AFT01004.DAT", "RECHNUNG/RECH00100001.REC", "NUMMERN.DAT"}));
  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 1);
  EXPECT_NE(repair.out.find("nothing repair can do"), std::string::npos) << repair.out;
  EXPECT_EQ(ReadFileBytes(data("AUFTRAG/AFT01004.DAT")), order);
  EXPECT_EQ(ReadFileBytes(data("NUMMERN.DAT")), numbers);
}

TEST_F(CheckRepairTest, InfoKnowsSearchAndFixedRecordFiles) {
  for (const char* name : {"KUNDSUCH.DBA", "KUNDBLZSUCH.DBA", "KUNDEN.DBA", "ARTIKEL.DBA", "TEILE.DBA"}) {
    const auto r = Tool({"info", data(name), "--json"});
    EXPECT_EQ(r.code, 0) << name << r.out;
    EXPECT_TRUE(r.Json()["size_ok"].get<bool>()) << name;
  }
  EXPECT_EQ(Tool({"info", data("TEILE.DBA"), "--json"}).Json()["kind"], "fixed records");
  std::vector<uint8_t> customers = ReadFileBytes(data("KUNDEN.DBA"));
  customers.resize(customers.size() - 10);  // a torn last record
  WriteFileBytes(data("KUNDEN.DBA"), customers);
  const auto torn = Tool({"info", data("KUNDEN.DBA")});
  EXPECT_EQ(torn.code, 1);
  EXPECT_NE(torn.out.find("MISMATCH"), std::string::npos) << torn.out;
  const auto walk = Tool({"walk", data("KUNDSUCH.DBA"), "--json"});
  EXPECT_EQ(walk.code, 0);
  EXPECT_EQ(walk.Json()["items"].size(), 3u);
}

}  // namespace
