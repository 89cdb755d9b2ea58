// kvdata info FILE / kvdata walk FILE: look into a record file of the data
// directory. Both read the raw bytes: the file may be damaged.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "admin_util.h"
#include "dba_tool_util.h"
#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/eanteile.h"
#include "kvdata/teilezusatz.h"
#include "services/encoding.h"
#include "tool.h"

namespace kvtool {

namespace {

struct Options {
  std::string file;
  int32_t recordSize = 0;
  bool json = false;
};

enum class Shape { kDba, kSearch, kFixed, kKeyFile };

std::string BareUpper(const std::string& path) {
  std::string name = path.substr(path.find_last_of("/\\") + 1);
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

// How the file is laid out, by its well-known name. The search files are
// DBA files whose entries sit at the customer numbers, past the slot count;
// the article, item and designation files are fixed-record files.
Shape ShapeOf(const std::string& path, int32_t* recordSize) {
  const std::string n = BareUpper(path);
  struct Fixed {
    const char* name;
    int32_t size;
  };
  static const Fixed kFixed[] = {{ARTLIB_FILE_NAME, ARTLIB_RECORD_SIZE}, {DATABASE_FILE_NAME, DATABASE_RECORD_SIZE},
                                 {BEZLIB_FILE_NAME, BEZLIB_RECORD_SIZE}, {TEILEZUSATZ_FILE_NAME, TEILEZUSATZ_RECORD_SIZE},
                                 {EANTEILE_FILE_NAME, EANTEILE_RECORD_SIZE}};
  for (const Fixed& f : kFixed) {
    if (n == f.name) {
      *recordSize = f.size;
      return Shape::kFixed;
    }
  }
  if (n == "KUNDSUCH.DBA" || n == "KUNDBLZSUCH.DBA") return Shape::kSearch;
  if (n.rfind("MAP", 0) == 0) {
    *recordSize = 58;
    return Shape::kKeyFile;
  }
  return Shape::kDba;
}

std::vector<uint8_t> Load(const std::string& command, const std::string& path) {
  std::vector<uint8_t> b;
  int err = 0;
  if (!ReadWholeFile(path, &b, &err)) Fail(command, "cannot open the file", path, err);
  if (b.size() < DBA_HEADER_SIZE) {
    Fail(command, "shorter than the 40-byte header (" + std::to_string(b.size()) + " bytes)", path, 0, kExitDefects);
  }
  return b;
}

void Emit(const nlohmann::json& j, bool json, const std::vector<std::pair<std::string, std::string>>& lines) {
  if (json) {
    std::cout << j.dump(2) << "\n";
    return;
  }
  for (const auto& [k, v] : lines) std::printf("%-16s%s\n", k.c_str(), v.c_str());
}

void Info(const Options& o) {
  const std::vector<uint8_t> b = Load("info", o.file);
  const int64_t size = static_cast<int64_t>(b.size());
  int32_t r = 0;
  const Shape shape = ShapeOf(o.file, &r);
  const uint32_t stamp = static_cast<uint32_t>(Word32(b, 4));
  nlohmann::json j = {{"file", o.file}, {"version", Word32(b, 0)}, {"size", size}};
  std::vector<std::pair<std::string, std::string>> lines = {
      {"file", o.file}, {"version", std::to_string(Word32(b, 0))},
      {"last change", FormatUnixTime(stamp) + " (" + std::to_string(stamp) + ")"}};
  j["last_change"] = FormatUnixTime(stamp);
  bool ok = true;
  if (shape == Shape::kFixed || shape == Shape::kKeyFile) {
    const int64_t records = (size - DBA_HEADER_SIZE) / r;
    ok = (size - DBA_HEADER_SIZE) % r == 0 && records >= 1;
    const char* kind = shape == Shape::kFixed ? "fixed records" : "key file";
    j.update({{"kind", kind}, {"record_size", r}, {"records", records - 1}, {"size_ok", ok}});
    lines.push_back({"kind", std::string(kind) + " (header + records 0.." + std::to_string(records - 1) + ")"});
    lines.push_back({"record size", std::to_string(r) + (shape == Shape::kKeyFile ? " (44-byte key + 14-byte node)" : "")});
    lines.push_back({"file size", std::to_string(size) + " bytes: " + (ok ? "whole records" : "ends in a PARTIAL record")});
  } else {
    DbaHeader h;
    std::memcpy(&h, b.data(), sizeof h);
    j.update({{"kind", shape == Shape::kSearch ? "search file" : "DBA file"}, {"free_head", h.freeHead},
              {"used_count", h.usedCount}, {"slot_count", h.slotCount}, {"id_capacity", h.idCapacity}});
    lines.push_back({"free head", std::to_string(h.freeHead)});
    lines.push_back({"used count", std::to_string(h.usedCount)});
    lines.push_back({"slot count", std::to_string(h.slotCount)});
    lines.push_back({"id capacity", std::to_string(h.idCapacity)});
    lines.push_back({"file size", std::to_string(size) + " bytes"});
    r = GuessRecordSize(o.file, h, size, o.recordSize);
    const int64_t tables = 40 + int64_t{8} * h.idCapacity;
    if (r <= 0) {
      lines.push_back({"record size", "unknown (give --record-size to check the size)"});
      j["record_size"] = nullptr;
    } else if (shape == Shape::kSearch) {
      // Entries are written at the customer numbers, whatever the slot count.
      ok = size >= tables && (size - tables) % r == 0;
      const int64_t entries = size > tables ? (size - tables) / r - 1 : 0;
      j.update({{"record_size", r}, {"entries", entries}, {"size_ok", ok}});
      lines.push_back({"record size", std::to_string(r)});
      lines.push_back({"entries", std::to_string(entries) + " (at the customer numbers; the slot count does not bound them): " +
                                      (ok ? "ok" : "ends in a PARTIAL entry")});
    } else {
      const int64_t expected = h.slotCount > 0 ? tables + int64_t{h.slotCount + 1} * r : tables;
      // Free slots above the slot count stay in the file after a
      // reorganisation: the file may be longer by whole items.
      ok = size >= expected && (size - tables) % r == 0;
      j.update({{"record_size", r}, {"expected_size", expected}, {"size_ok", ok}});
      lines.push_back({"record size", std::to_string(r)});
      lines.push_back({"expected size", std::to_string(expected) + " bytes or more in whole items: " +
                                            (ok ? "ok" : "MISMATCH")});
    }
  }
  Emit(j, o.json, lines);
  if (!ok) throw CLI::RuntimeError(kExitDefects);
}

void Walk(const Options& o) {
  const std::vector<uint8_t> b = Load("walk", o.file);
  int32_t r = 0;
  const Shape shape = ShapeOf(o.file, &r);
  if (shape == Shape::kFixed || shape == Shape::kKeyFile) {
    Fail("walk", shape == Shape::kFixed ? "not a DBA file but a fixed-record file: see `kvdata export` or `kvdata item`"
                                        : "a key file: see `kvdata keys`",
         o.file);
  }
  DbaHeader h;
  std::memcpy(&h, b.data(), sizeof h);
  r = GuessRecordSize(o.file, h, static_cast<int64_t>(b.size()), o.recordSize);
  if (r < DBA_ITEM_HEAD_SIZE) Fail("walk", "record size unknown: give --record-size", o.file);
  const int64_t tables = 40 + int64_t{8} * std::max(0, h.idCapacity);
  const int64_t inFile = static_cast<int64_t>(b.size()) > tables ? (static_cast<int64_t>(b.size()) - tables) / r - 1 : 0;
  nlohmann::json items = nlohmann::json::array();
  if (!o.json) std::printf("%8s %11s  %s\n", "item", "refs", "bytes 8.. (text)");
  int32_t count = 0;
  // The engine's walk: items in order, -1 is free, at most used-count items.
  // A search file's entries are all delivered (their marker is no count).
  for (int64_t n = 1; n <= inFile && (shape == Shape::kSearch || count < h.usedCount); ++n) {
    const int64_t pos = tables + n * r;
    const int32_t refs = Word32(b, pos);
    if (refs == -1 || (shape == Shape::kSearch && refs == 0)) continue;
    std::string hex, text;
    for (int32_t i = shape == Shape::kSearch ? 4 : 8; i < r && i < 24; ++i) {
      const unsigned char c = b[static_cast<size_t>(pos + i)];
      char x[4];
      std::snprintf(x, sizeof x, "%02x ", c);
      hex += x;
      text += c >= 0x20 && c != 0x7F ? static_cast<char>(c) : '.';
    }
    const std::string utf8 = kv::Cp1252ToUtf8(text.c_str());
    if (o.json) {
      items.push_back({{"item", n}, {"refs", refs}, {"bytes", hex.substr(0, hex.empty() ? 0 : hex.size() - 1)}, {"text", utf8}});
    } else {
      std::printf("%8lld %11d  %s(%s)\n", static_cast<long long>(n), refs, hex.c_str(), utf8.c_str());
    }
    ++count;
  }
  if (o.json) {
    std::cout << nlohmann::json({{"file", o.file}, {"record_size", r}, {"items", items}}).dump(2) << "\n";
  } else {
    std::printf("%d used items\n", count);
  }
}

void AddFileOptions(CLI::App& app, const std::shared_ptr<Options>& o) {
  app.add_option("file", o->file, "record file, e.g. KUNDEN.DBA")->required();
  app.add_option("--record-size", o->recordSize, "record size in bytes (known files and plausible sizes are found)");
  app.add_flag("--json", o->json, "write the result as JSON");
}

const CommandRegistrar kInfo("info", "print a record file's header and check its size", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  AddFileOptions(app, o);
  app.callback([o] { Info(*o); });
});

const CommandRegistrar kWalk("walk", "list the used items of a DBA file", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  AddFileOptions(app, o);
  app.callback([o] { Walk(*o); });
});

}  // namespace

}  // namespace kvtool
