// kvdata info FILE / kvdata walk FILE: look into a DBA record file.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include "dba_tool_util.h"
#include "services/encoding.h"
#include "tool.h"

namespace kvtool {

namespace {

struct Options {
  std::string file;
  int32_t recordSize = 0;
};

// Reads the header (without the engine: the file may be damaged).
bool ReadRawHeader(const std::string& path, DbaHeader* h, int64_t* size) {
  std::error_code ec;
  *size = static_cast<int64_t>(std::filesystem::file_size(path, ec));
  if (ec) return false;
  std::FILE* fp = std::fopen(path.c_str(), "rb");
  if (fp == nullptr) return false;
  bool ok = std::fread(h, sizeof *h, 1, fp) == 1;
  std::fclose(fp);
  return ok;
}

void Info(const Options& o) {
  DbaHeader h;
  int64_t size = 0;
  if (!ReadRawHeader(o.file, &h, &size)) throw CLI::RuntimeError(o.file + ": no 40-byte DBA header", 1);
  std::cout << "file            " << o.file << "\n"
            << "version         " << h.version << "\n"
            << "last change     " << FormatUnixTime(h.lastChange) << " (" << h.lastChange << ")\n"
            << "free head       " << h.freeHead << "\n"
            << "used count      " << h.usedCount << "\n"
            << "slot count      " << h.slotCount << "\n"
            << "id capacity     " << h.idCapacity << "\n"
            << "file size       " << size << " bytes\n";
  int32_t r = GuessRecordSize(o.file, h, size, o.recordSize);
  if (r <= 0) {
    std::cout << "record size     unknown (give --record-size to check the size)\n";
    return;
  }
  const int64_t tables = 40 + int64_t{8} * h.idCapacity;
  const int64_t expected = h.slotCount > 0 ? tables + int64_t{h.slotCount + 1} * r : tables;
  std::cout << "record size     " << r << "\n"
            << "expected size   " << expected << " bytes: " << (expected == size ? "ok" : "MISMATCH") << "\n";
  if (expected != size) throw CLI::RuntimeError(2);
}

void Walk(const Options& o) {
  DbaHeader h;
  int64_t size = 0;
  if (!ReadRawHeader(o.file, &h, &size)) throw CLI::RuntimeError(o.file + ": no 40-byte DBA header", 1);
  int32_t r = GuessRecordSize(o.file, h, size, o.recordSize);
  if (r < DBA_ITEM_HEAD_SIZE) throw CLI::RuntimeError("record size unknown: give --record-size", 1);
  DbaFile f = DescribeDba(o.file, r, h.idCapacity);
  if (DBA_OpenDBA(&f) != 1) {
    DBA_CloseDBA(&f);
    throw CLI::RuntimeError("cannot open " + o.file, 1);
  }
  std::vector<unsigned char> buf(static_cast<size_t>(r));
  std::printf("%8s %6s  %s\n", "item", "refs", "bytes 8.. (text)");
  int32_t count = 0;
  for (int32_t n = DBA_FirstITEM(&f, buf.data()); n != 0; n = DBA_NextITEM(&f, buf.data())) {
    int32_t refs;
    std::memcpy(&refs, buf.data(), 4);
    std::string hex, text;
    for (int32_t i = 8; i < r && i < 24; ++i) {
      char b[4];
      std::snprintf(b, sizeof b, "%02x ", buf[static_cast<size_t>(i)]);
      hex += b;
      unsigned char c = buf[static_cast<size_t>(i)];
      text += c >= 0x20 && c != 0x7F ? static_cast<char>(c) : '.';
    }
    std::printf("%8d %6d  %s(%s)\n", n, refs, hex.c_str(), kv::Cp1252ToUtf8(text.c_str()).c_str());
    ++count;
  }
  DBA_CloseDBA(&f);
  std::printf("%d used items\n", count);
}

void AddFileOptions(CLI::App& app, const std::shared_ptr<Options>& o) {
  app.add_option("file", o->file, "DBA file")->required();
  app.add_option("--record-size", o->recordSize, "record size in bytes (known files and plausible sizes are found)");
}

const CommandRegistrar kInfo("info", "print a DBA file's header and check its size", [](CLI::App& app) {
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
