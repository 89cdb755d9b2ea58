#include "admin_util.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#if defined(_WIN32)
#include <io.h>
#define KV_ISATTY _isatty
#define KV_STDERR_FD 2
#else
#include <unistd.h>
#define KV_ISATTY isatty
#define KV_STDERR_FD STDERR_FILENO
#endif

#include "services/fileio.h"
#include "services/le_fields.h"

namespace kvtool {

std::string SystemErrorText(int err) { return std::strerror(err); }

void PrintError(const std::string& command, const std::string& what, const std::string& file, int err) {
  std::string line = "kvdata " + command + ": " + what;
  if (!file.empty()) line += " (" + file + (err != 0 ? ": " + SystemErrorText(err) : std::string()) + ")";
  std::cerr << line << "\n";
}

void Fail(const std::string& command, const std::string& what, const std::string& file, int err, int code) {
  PrintError(command, what, file, err);
  throw CLI::RuntimeError(code);
}

CLI::Option* AddDirOption(CLI::App& app, std::string& dir, const char* description) {
  return app.add_option("dir", dir, std::string(description) + " (default: $KVDATA_DIR)")
      ->envname("KVDATA_DIR")
      ->required();
}

std::string OpenDataDirectory(const std::string& command, const std::string& dir) {
  std::error_code ec;
  if (!std::filesystem::is_directory(dir, ec)) {
    const int err = ec ? ec.value() : (std::filesystem::exists(dir) ? ENOTDIR : ENOENT);
    Fail(command, "cannot open the data directory", dir, err);
  }
  std::string d = dir;
  if (!kv::IsPathSep(d.back())) d += kv::kPathSep;
  return d;
}

bool ReadWholeFile(const std::string& path, std::vector<uint8_t>* out, int* err) {
  out->clear();
  std::FILE* fp = std::fopen(path.c_str(), "rb");
  if (fp == nullptr) {
    *err = errno;
    return false;
  }
  uint8_t buf[1 << 16];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, fp)) > 0) out->insert(out->end(), buf, buf + n);
  const bool ok = std::ferror(fp) == 0;
  *err = ok ? 0 : errno;
  std::fclose(fp);
  return ok;
}

int32_t Word32(const std::vector<uint8_t>& b, int64_t at) {
  if (at < 0 || at + 4 > static_cast<int64_t>(b.size())) return 0;
  return kv::le::GetI32(b.data(), static_cast<size_t>(at));
}

int16_t Word16(const std::vector<uint8_t>& b, int64_t at) {
  if (at < 0 || at + 2 > static_cast<int64_t>(b.size())) return 0;
  return kv::le::GetI16(b.data(), static_cast<size_t>(at));
}

bool StderrIsTerminal() { return KV_ISATTY(KV_STDERR_FD) != 0; }

Progress::Progress(std::string label) : label_(std::move(label)), on_(StderrIsTerminal()) {}

Progress::~Progress() {
  if (on_ && last_ >= 0) std::cerr << "\r" << std::string(label_.size() + 6, ' ') << "\r" << std::flush;
}

void Progress::Update(int64_t done, int64_t total) {
  if (!on_ || total <= 0) return;
  const int percent = static_cast<int>(done * 100 / total);
  if (percent == last_) return;
  last_ = percent;
  std::cerr << "\r" << label_ << " " << percent << "%" << std::flush;
}

}  // namespace kvtool
