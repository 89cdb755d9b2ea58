// kvdata ean CODE: validates an EAN-13, UPC-A or EAN-8 code, or completes a
// 12-digit code with its check digit. Exit code 2 for an invalid code.
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "kvdata/eandata.h"
#include "tool.h"

namespace kvtool {

namespace {

void CheckCode(const std::string& code) {
  if (code.size() > 13) throw CLI::RuntimeError(code + ": longer than 13 characters", 2);
  char buffer[14] = {};
  std::memcpy(buffer, code.data(), code.size());
  bool ok = false;
  switch (code.size()) {
    case 13:
      ok = EANDATA_IstCodeOK(buffer, EANDATA_KIND_EAN13) != 0;
      std::cout << code << ": EAN-13 " << (ok ? "valid" : "INVALID check digit") << "\n";
      break;
    case 8:
      ok = EANDATA_IstEsEinEAN8_Code(buffer) != 0;
      std::cout << code << ": EAN-8 " << (ok ? "valid" : "INVALID check digit") << "\n";
      break;
    case 12: {
      if (EANDATA_IstCodeOK(buffer, EANDATA_KIND_UPCA)) {
        char widened[14];
        std::memcpy(widened, buffer, sizeof widened);
        EANDATA_EAN_KomplettierenbeiUPC(widened);
        std::cout << code << ": UPC-A valid, as EAN-13 " << widened << "\n";
      }
      ok = EANDATA_EAN_Vervollstaendigen(buffer) != 0;
      std::cout << code << ": completed to EAN-13 " << buffer << "\n";
      break;
    }
    default:
      std::cout << code << ": not an EAN-13, UPC-A, EAN-8 or 12-digit code\n";
  }
  if (!ok) throw CLI::RuntimeError(2);
}

const CommandRegistrar kEan("ean", "validate an EAN-13 / UPC-A / EAN-8 code or complete a 12-digit code",
                            [](CLI::App& app) {
                              auto code = std::make_shared<std::string>();
                              app.add_option("code", *code, "the code's digits")->required();
                              app.callback([code] { CheckCode(*code); });
                            });

}  // namespace

}  // namespace kvtool
