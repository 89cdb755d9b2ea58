// SEPA bank data: German IBANs from bank code and account number, and BICs
// from the bank-code table of the data directory.
//
// The bank-code table is the file BLZ.TXT of the data directory, in the
// fixed-width layout of the Bundesbank's bank-code file: one bank per line,
// bank code in columns 1-8, BIC in columns 140-150 (blank for banks without
// one). Several lines may share a bank code (branches); the first line with
// a BIC wins. The table is read once and kept until the file changes.
#ifndef KV_SERVICES_SEPA_H
#define KV_SERVICES_SEPA_H

#include <cstdint>

namespace kv {

constexpr int32_t kIbanSize = 35;  // buffer for an IBAN, terminator included
constexpr int32_t kBicSize = 12;   // buffer for a BIC (11 characters + terminator)
constexpr const char* kBankCodeFile = "BLZ.TXT";

// IBAN for country "DE": "DE", two ISO 13616 check digits (98 - mod 97), the
// 8-digit bank code and the account number left-padded with zeros to 10
// digits, into iban (kIbanSize bytes). 1 on success; 0 (empty iban) for a
// null pointer, another country, a bank code that is not 8 digits or an
// account that is not 1..10 digits.
int32_t SEPA_MakeIBAN(const char* bankCode, const char* account, const char* country, char* iban);

// BIC of the bank with bankCode from BLZ.TXT of the data directory, into bic
// (kBicSize bytes). 1 when found; 0 with an empty bic when there is no file,
// no such bank or no BIC for it.
int32_t SEPA_BANKEN_BIC_Ermitteln(const char* bankCode, char* bic);

// The data directory whose BLZ.TXT is read (set by the customer family's
// Init); a trailing separator is added when missing.
void SEPA_SetDataDirectory(const char* directory);

}  // namespace kv

#endif  // KV_SERVICES_SEPA_H
