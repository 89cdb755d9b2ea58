// kvdata locks and the refusals of kvdata repair, with locks held by other
// processes and lock files left behind by stations that are gone.
#include <chrono>
#include <filesystem>
#include <thread>

#include "kvdata/kvlockdb.h"
#include "services/fileio.h"
#include "tool_support.h"

namespace {

using kvtest::FileExists;
using kvtest::ReadFileBytes;
using kvtest::WriteFileBytes;
using tooltest::Tool;

// args: data directory, ready file, release file. Holds byte 12 of the lock
// database (as a station does around an item sale) and the header of the
// customer file (as a new customer number is taken) until told to let go.
KVTEST_WORKER(hold_lock_byte) {
  if (KVLOCKDB_Init((args[0] + "MMLOCK.DBA").c_str()) == nullptr) return 2;
  KVLOCKDB_IPUSERInit("10.0.0.7", "KASSE2", 1);
  if (KVLOCKDB_LockDB(12) != 1) return 3;
  const kv::FileHandle customers = kv::FileIO_OpenRWS((args[0] + "KUNDEN.DBA").c_str());
  if (kv::FileIO_TryLock(customers, 0, 40) != 1) return 5;
  WriteFileBytes(args[1], {});
  const bool released = kvtest::AwaitFile(args[2], 60000);
  KVLOCKDB_UnlockDB(12);
  kv::FileIO_Close(customers);
  return released ? 0 : 4;
}

class LocksTest : public tooltest::DemoDirTest {
 protected:
  void Damage() {
    damaged_ = ReadFileBytes(data("DEMO.DBA"));
    kvtest::PutI32(damaged_, 12, 99);  // used count
    WriteFileBytes(data("DEMO.DBA"), damaged_);
  }
  std::vector<uint8_t> damaged_;
};

TEST_F(LocksTest, ByteHeldByAnotherProcessIsShownAndStopsRepair) {
  Damage();
  const std::string ready = dir() + "ready", release = dir() + "release";
  kvtest::Worker w = kvtest::SpawnWorker("hold_lock_byte", {data(), ready, release});
  ASSERT_TRUE(kvtest::AwaitFile(ready, 30000));

  const auto text = Tool({"locks", data()});
  EXPECT_EQ(text.code, 0) << text.err;
  EXPECT_NE(text.out.find("MMLOCK.DBA: bytes locked by other processes: 12\n"), std::string::npos) << text.out;
  const auto json = Tool({"locks", data(), "--json"});
  const nlohmann::json j = json.Json();
  EXPECT_EQ(j["lock_database"]["held_bytes"], nlohmann::json::array({12}));
  ASSERT_EQ(j["file_locks"].size(), 1u);
  EXPECT_EQ(j["file_locks"][0]["file"], "KUNDEN.DBA");
  EXPECT_TRUE(j["file_locks"][0]["header"].get<bool>());
  EXPECT_FALSE(j["file_locks"][0]["records"].get<bool>());

  const auto repair = Tool({"repair", data()});
  EXPECT_EQ(repair.code, 1);
  EXPECT_NE(repair.err.find("kvdata repair: refused while another station works: byte 12 of MMLOCK.DBA is locked"), std::string::npos)
      << repair.err;
  EXPECT_EQ(ReadFileBytes(data("DEMO.DBA")), damaged_);

  WriteFileBytes(release, {});
  EXPECT_EQ(kvtest::WaitWorker(w), 0);
  EXPECT_NE(Tool({"locks", data()}).out.find("MMLOCK.DBA: no byte locked"), std::string::npos);
  EXPECT_EQ(Tool({"repair", data()}).code, 0);
  EXPECT_EQ(Tool({"check", data()}).code, 0);
}

// A function lock file nobody has touched for a minute belongs to a station
// that is gone; a fresh one is another station at work.
TEST_F(LocksTest, StaleFunctionLockIsOrphanedAndOnlyAFreshOneStopsRepair) {
  Damage();
  std::filesystem::create_directories(data("func_locks"));
  WriteFileBytes(data("func_locks/LCK_BEZLIB.lok"), {});
  kvtest::AgeFile(data("func_locks/LCK_BEZLIB.lok"), 60);
  WriteFileBytes(data("func_locks/ARTLIB_Reorg.lok"), {});

  const auto json = Tool({"locks", data(), "--json"});
  ASSERT_EQ(json.code, 0);
  const nlohmann::json j = json.Json();
  ASSERT_EQ(j["function_locks"].size(), 2u);
  EXPECT_EQ(j["function_locks"][0]["name"], "ARTLIB_Reorg");
  EXPECT_EQ(j["function_locks"][0]["state"], "fresh");
  EXPECT_EQ(j["function_locks"][1]["name"], "LCK_BEZLIB");
  EXPECT_EQ(j["function_locks"][1]["state"], "orphaned");
  EXPECT_GE(j["function_locks"][1]["age_seconds"].get<int64_t>(), 59);

  const auto refused = Tool({"repair", data()});
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("the function lock ARTLIB_Reorg is held"), std::string::npos) << refused.err;
  EXPECT_EQ(ReadFileBytes(data("DEMO.DBA")), damaged_);

  std::filesystem::remove(data("func_locks/ARTLIB_Reorg.lok"));
  const auto repaired = Tool({"repair", data()});
  EXPECT_EQ(repaired.code, 0) << repaired.out << repaired.err;
  // The repair's own function lock is gone again.
  EXPECT_FALSE(FileExists(data("func_locks/KVDATA_REPAIR.lok")));
}

TEST_F(LocksTest, LastLogLineOfEachStation) {
  std::string log = "[2026-01-05 08:00:00.000] W1:00000001 W2:00000000 W3:-0000001 IP: 10.0.0.1 UserID: KASSE1 - "
                    "Function: START A\r\n"
                    "[2026-01-05 08:00:01.000] W1:00000002 W2:00000000 W3:00000000 IP: 10.0.0.2 UserID: BUERO - "
                    "Function: START B\r\n"
                    "[2026-01-05 08:00:02.000] W1:00000003 W2:00000000 W3:00000000 IP: 10.0.0.1 UserID: KASSE1 - "
                    "Function: ENDED A\r\n";
  WriteFileBytes(data("kvlogfile.txt"), std::vector<uint8_t>(log.begin(), log.end()));
  const nlohmann::json j = Tool({"locks", data(), "--json"}).Json();
  ASSERT_EQ(j["stations"].size(), 2u);
  EXPECT_EQ(j["stations"][0]["user"], "KASSE1");
  EXPECT_NE(j["stations"][0]["last_line"].get<std::string>().find("ENDED A"), std::string::npos);
  EXPECT_EQ(j["stations"][1]["ip"], "10.0.0.2");
  const nlohmann::json lines = Tool({"log", data(), "--json"}).Json();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0]["w3"], -1);
  EXPECT_EQ(lines[1]["function"], "START B");
}

}  // namespace
