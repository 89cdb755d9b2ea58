// Bank-code table files for tests: lines in the fixed-width layout of the
// Bundesbank's bank-code file (bank code in columns 1-8, BIC in 140-150).
#ifndef KVTEST_PARTNER_BLZ_FILE_H
#define KVTEST_PARTNER_BLZ_FILE_H

#include <string>
#include <utility>
#include <vector>

#include "kvtest.h"

namespace kvtest {

inline std::string BlzLine(const std::string& bankCode, char feature, const std::string& name,
                           const std::string& bic) {
  std::string line(168, ' ');
  line.replace(0, 8, bankCode);
  line[8] = feature;
  line.replace(9, name.size(), name);
  line.replace(139, bic.size(), bic);
  return line + "\r\n";
}

// Writes BLZ.TXT into dir from (bank code, BIC) pairs; a branch line without
// BIC follows every bank.
inline void WriteBlzFile(const std::string& dir, const std::vector<std::pair<std::string, std::string>>& banks) {
  std::string text;
  for (const auto& [code, bic] : banks) {
    text += BlzLine(code, '1', "Bank " + code, bic);
    text += BlzLine(code, '2', "Filiale " + code, "");
  }
  WriteFileBytes(dir + "BLZ.TXT", std::vector<uint8_t>(text.begin(), text.end()));
}

}  // namespace kvtest

#endif  // KVTEST_PARTNER_BLZ_FILE_H
