// kvdata keys FILE: the keys of a key file in order, checked on the way.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "index/keyfile.h"
#include "index/keyfile_check.h"
#include "kvdata/bbaumlib.h"
#include "services/fileio.h"
#include "tool.h"

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

int ListKeys(const std::string& path, int32_t recordSize) {
  kv::FileHandle probe = kv::FileIO_OpenROS(path.c_str());
  if (probe == kv::kInvalidHandle) {
    std::cerr << "cannot open " << path << "\n";
    return 1;
  }
  const int32_t slots = kv::index::KeyFileSlotsInSize(recordSize, kv::FileIO_Size(probe));
  kv::FileIO_Close(probe);
  if (slots < 1) {
    std::cerr << path << " is too short for a key file with " << recordSize << "-byte records\n";
    return 1;
  }
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), recordSize, slots);
  kv::index::KeyFileCheck check;
  const bool read = d != nullptr && kv::index::CheckKeyFile(d, &check);
  BBAUMLIB_Exit(d);
  if (!read) {
    std::cerr << "cannot read " << path << "\n";
    return 1;
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
  return check.defects.empty() ? 0 : 2;
}

void Setup(CLI::App& app) {
  auto path = std::make_shared<std::string>();
  auto recordSize = std::make_shared<int32_t>(BBAUMLIB_MIN_RECORD_SIZE);
  app.add_option("file", *path, "key file, e.g. MAPARTID.DBA")->required();
  app.add_option("--record-size", *recordSize, "bytes per key record")
      ->check(CLI::Range(BBAUMLIB_MIN_RECORD_SIZE, BBAUMLIB_MAX_RECORD_SIZE));
  app.callback([path, recordSize] {
    const int rc = ListKeys(*path, *recordSize);
    if (rc != 0) throw CLI::RuntimeError(rc);
  });
}

kvtool::CommandRegistrar registrar("keys", "list a key file's keys in order and check its tree and free chain", Setup);

}  // namespace
