// kvdata keys FILE: the keys of a key file in order, checked on the way.
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "index/keyfile.h"
#include "index/keyfile_check.h"
#include "kvdata/bbaumlib.h"
#include "services/fileio.h"
#include "admin_util.h"
#include "tool.h"

#include <nlohmann/json.hpp>

namespace {

// Printable bytes as they are, others as \xNN, up to the last non-zero byte.
std::string ShowKey(const uint8_t* key) {
  int end = BBAUMLIB_KEY_SIZE;
  while (end > 0 && key[end - 1] == 0) --end;
  std::string out;
  for (int i = 0; i < end; ++i) {
    if (key[i] >= 0x20 && key[i] < 0x7F && key[i] != '\\') {
      out += static_cast<char>(key[i]);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", key[i]);
      out += hex;
    }
  }
  return out;
}

int ListKeys(const std::string& path, int32_t recordSize, bool json) {
  kv::FileHandle probe = kv::FileIO_OpenROS(path.c_str());
  if (probe == kv::kInvalidHandle) kvtool::Fail("keys", "cannot open the file", path, errno);
  const int32_t slots = kv::index::KeyFileSlotsInSize(recordSize, kv::FileIO_Size(probe));
  kv::FileIO_Close(probe);
  if (slots < 1) {
    kvtool::Fail("keys", "too short for a key file with " + std::to_string(recordSize) + "-byte records", path, 0,
                 kvtool::kExitDefects);
  }
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), recordSize, slots);
  kv::index::KeyFileCheck check;
  const bool read = d != nullptr && kv::index::CheckKeyFile(d, &check);
  BBAUMLIB_Exit(d);
  if (!read) kvtool::Fail("keys", "cannot read the file", path);
  if (json) {
    nlohmann::json keys = nlohmann::json::array();
    for (const auto& e : check.keys) {
      keys.push_back({{"slot", e.slot}, {"payload", e.record.payload}, {"key", ShowKey(e.record.key)}});
    }
    nlohmann::json j = {{"file", path},           {"slots", slots},
                        {"record_size", recordSize}, {"keys", keys},
                        {"height", check.height}, {"used_count", check.usedCount},
                        {"slots_with_payload", check.slotsWithPayload},
                        {"free_chain", {{"length", check.chainLength}, {"ends_in", check.chainEnd}}},
                        {"defects", check.defects}};
    std::cout << j.dump(2) << "\n";
    return check.defects.empty() ? 0 : kvtool::kExitDefects;
  }
  std::printf("%s: %d slots of %d bytes\n", path.c_str(), slots, recordSize);
  std::printf("%8s %11s  %s\n", "slot", "payload", "key");
  for (const auto& e : check.keys) {
    std::printf("%8d %11d  %s\n", e.slot, e.record.payload, ShowKey(e.record.key).c_str());
  }
  std::printf("%zu keys in the tree (height %d), used count %d, %d slots hold a payload\n", check.keys.size(),
              check.height, check.usedCount, check.slotsWithPayload);
  std::printf("free chain: %d slots, ends in %d\n", check.chainLength, check.chainEnd);
  for (const auto& line : check.defects) std::printf("DEFECT: %s\n", line.c_str());
  if (check.defects.empty()) std::printf("no defects\n");
  return check.defects.empty() ? 0 : kvtool::kExitDefects;
}

void Setup(CLI::App& app) {
  auto path = std::make_shared<std::string>();
  auto recordSize = std::make_shared<int32_t>(BBAUMLIB_MIN_RECORD_SIZE);
  auto json = std::make_shared<bool>(false);
  app.add_flag("--json", *json, "write the result as JSON");
  app.add_option("file", *path, "key file, e.g. MAPARTID.DBA")->required();
  app.add_option("--record-size", *recordSize, "bytes per key record")
      ->check(CLI::Range(BBAUMLIB_MIN_RECORD_SIZE, BBAUMLIB_MAX_RECORD_SIZE));
  app.callback([path, recordSize, json] {
    const int rc = ListKeys(*path, *recordSize, *json);
    if (rc != 0) throw CLI::RuntimeError(rc);
  });
}

kvtool::CommandRegistrar registrar("keys", "list a key file's keys in order and check its tree and free chain", Setup);

}  // namespace
