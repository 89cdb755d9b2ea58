// SEPA bank data: IBAN check digits and the BIC table.
#include "services/sepa.h"

#include <cstring>
#include <algorithm>
#include <string>
#include <vector>

#include "services/fileio.h"
#include "services/name_resolve.h"

namespace kv {

namespace {

bool AllDigits(const char* s, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (s[i] < '0' || s[i] > '9') return false;
  }
  return true;
}

// ISO 13616: move the country and "00" behind the BBAN, letters become
// 10..35, and the remainder mod 97 of that number gives 98 - remainder.
int32_t CheckDigits(const std::string& bban, const char* country) {
  std::string digits = bban;
  for (int i = 0; i < 2; ++i) digits += std::to_string(country[i] - 'A' + 10);
  digits += "00";
  int32_t rest = 0;
  for (char c : digits) rest = (rest * 10 + (c - '0')) % 97;
  return 98 - rest;
}

// One line of the bank-code table that carries a BIC. (A type of this file
// only, so that no container instantiation leaves the library's exports.)
struct BicEntry {
  char bankCode[9];
  char bic[kBicSize];
};

// The parsed bank-code table of one file version, sorted by bank code with
// lines of the same bank code in file order.
struct BicTable {
  std::string path;
  int64_t lastWrite = -1;
  int64_t size = -1;
  std::vector<BicEntry> bics;
};

// The bank-code file of the data directory, spelled as on disk; fixed when
// the directory is set.
std::string& BankCodePath() {
  static std::string path;
  return path;
}

BicTable& Table() {
  static BicTable table;
  return table;
}

constexpr size_t kBicColumn = 139;  // column 140, 0-based
constexpr size_t kBicLength = 11;   // columns 140-150

void ParseLine(const std::string& line, std::vector<BicEntry>& bics) {
  if (line.size() < 8 || !AllDigits(line.c_str(), 8)) return;
  if (line.size() <= kBicColumn) return;
  std::string bic = line.substr(kBicColumn, kBicLength);
  while (!bic.empty() && (bic.back() == ' ' || bic.back() == '\r')) bic.pop_back();
  if (bic.empty()) return;
  BicEntry e{};
  std::memcpy(e.bankCode, line.data(), 8);
  std::memcpy(e.bic, bic.data(), bic.size());
  bics.push_back(e);
}

bool CodeLess(const BicEntry& a, const BicEntry& b) { return std::strcmp(a.bankCode, b.bankCode) < 0; }

// Loads the table when the file is new or has changed since the last load.
// False when there is no readable file.
bool LoadTable(const std::string& path) {
  BicTable& t = Table();
  FileHandle h = FileIO_OpenROS(path.c_str());
  if (h == kInvalidHandle) {
    t = BicTable{};
    return false;
  }
  int64_t size = FileIO_Size(h);
  int64_t lastWrite = FileIO_GetLastWriteTime(path.c_str());
  if (t.path == path && t.size == size && t.lastWrite == lastWrite) {
    FileIO_Close(h);
    return true;
  }
  t = BicTable{};
  std::string text;
  char chunk[65536];
  int32_t got;
  while ((got = FileIO_Read(h, chunk, sizeof chunk)) > 0) text.append(chunk, static_cast<size_t>(got));
  FileIO_Close(h);
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    ParseLine(text.substr(start, end - start), t.bics);
    start = end + 1;
  }
  std::stable_sort(t.bics.begin(), t.bics.end(), CodeLess);  // the first line of a bank wins
  t.path = path;
  t.size = size;
  t.lastWrite = lastWrite;
  return true;
}

}  // namespace

int32_t SEPA_MakeIBAN(const char* bankCode, const char* account, const char* country, char* iban) {
  if (iban == nullptr) return 0;
  iban[0] = '\0';
  if (bankCode == nullptr || account == nullptr || country == nullptr) return 0;
  if (std::strcmp(country, "DE") != 0) return 0;
  size_t blzLen = strnlen(bankCode, 9);
  size_t accLen = strnlen(account, 11);
  if (blzLen != 8 || !AllDigits(bankCode, 8)) return 0;
  if (accLen < 1 || accLen > 10 || !AllDigits(account, accLen)) return 0;
  std::string bban(bankCode, 8);
  bban += std::string(10 - accLen, '0');
  bban.append(account, accLen);
  int32_t check = CheckDigits(bban, country);
  std::string result = std::string(country, 2) + static_cast<char>('0' + check / 10) +
                       static_cast<char>('0' + check % 10) + bban;
  std::memcpy(iban, result.c_str(), result.size() + 1);
  return 1;
}

int32_t SEPA_BANKEN_BIC_Ermitteln(const char* bankCode, char* bic) {
  if (bic == nullptr) return 0;
  bic[0] = '\0';
  if (bankCode == nullptr || strnlen(bankCode, 9) != 8) return 0;
  if (!LoadTable(BankCodePath())) return 0;
  BicEntry key{};
  std::memcpy(key.bankCode, bankCode, 8);
  const std::vector<BicEntry>& bics = Table().bics;
  auto it = std::lower_bound(bics.begin(), bics.end(), key, CodeLess);
  if (it == bics.end() || std::strcmp(it->bankCode, key.bankCode) != 0) return 0;
  std::memcpy(bic, it->bic, sizeof it->bic);
  return 1;
}

void SEPA_SetDataDirectory(const char* directory) {
  std::string dir = directory ? directory : "";
  if (!dir.empty() && !IsPathSep(dir.back())) dir += kPathSep;
  BankCodePath() = ResolvedFileIn(dir, kBankCodeFile);
}

}  // namespace kv
