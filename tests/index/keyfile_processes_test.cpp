// Two processes adding keys to one key file, each holding a lock of its own
// (a byte lock on a separate lock file) around every add and payload write.
#include <cstring>
#include <string>
#include <vector>

#include "index/keyfile_check.h"
#include "kvdata/bbaumlib.h"
#include "kvtest.h"
#include "services/fileio.h"

namespace {

constexpr int32_t kSlots = 1000;
constexpr int32_t kKeysPerWorker = 250;

std::string KeyText(const std::string& prefix, int32_t i) { return prefix + "-" + std::to_string(i * 37 % 1000); }

BaumKey KeyRecord(const std::string& text) {
  BaumKey k{};
  std::memcpy(k.key, text.data(), text.size());
  return k;
}

// args: key file, lock file, key prefix
KVTEST_WORKER(add_keys) {
  BaumKeyDatei* d = BBAUMLIB_Init(args.at(0).c_str(), 44, kSlots);
  kv::FileHandle lock = kv::FileIO_OpenRWS(args.at(1).c_str());
  if (d == nullptr || lock == kv::kInvalidHandle) return 2;
  int failures = 0;
  for (int32_t i = 0; i < kKeysPerWorker; ++i) {
    if (!kv::FileIO_Lock(lock, 0, 1)) return 3;
    BaumKey k = KeyRecord(KeyText(args.at(2), i));
    const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
    k.payload = i + 1;
    if (slot <= 0 || BBAUMLIB_SchreibeBAUMKEY(d, slot, &k) != 1) ++failures;
    kv::FileIO_Unlock(lock, 0, 1);
  }
  kv::FileIO_Close(lock);
  BBAUMLIB_Exit(d);
  return failures == 0 ? 0 : 1;
}

class KeyFileProcessesTest : public kvtest::DataDirTest {};

TEST_F(KeyFileProcessesTest, TwoWritersUnderTheCallersLockLeaveAValidTree) {
  const std::string path = file("MAPARTID.DBA");
  const std::string lockPath = file("MAPARTID.LCK");
  kvtest::WriteFileBytes(lockPath, {0});
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), 44, kSlots);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(BBAUMLIB_ErzeugeFreelist(d, nullptr), 1);

  const auto codes = kvtest::RunWorkers("add_keys", {{path, lockPath, "north"}, {path, lockPath, "south"}});
  EXPECT_EQ(codes, (std::vector<int>{0, 0}));

  for (const char* prefix : {"north", "south"}) {
    for (int32_t i = 0; i < kKeysPerWorker; ++i) {
      BaumKey k = KeyRecord(KeyText(prefix, i));
      const int32_t slot = BBAUMLIB_BAUMKEYVorhanden(d, &k);
      ASSERT_GT(slot, 0) << prefix << i;
      BaumKey stored{};
      ASSERT_EQ(BBAUMLIB_LeseBAUMKEY(d, slot, &stored), 1);
      EXPECT_EQ(int32_t{stored.payload}, i + 1);
    }
  }
  kv::index::KeyFileCheck check;
  ASSERT_TRUE(kv::index::CheckKeyFile(d, &check));
  EXPECT_TRUE(check.defects.empty()) << check.defects.front();
  EXPECT_EQ(check.usedCount, 2 * kKeysPerWorker);
  EXPECT_EQ(check.keys.size(), static_cast<size_t>(2 * kKeysPerWorker));
  BBAUMLIB_Exit(d);
}

}  // namespace
