// Demo step: customers with their search files, an address, a delete and a
// reorganisation.
#include <cstring>
#include <ostream>
#include <string>

#include "kvdata/kundendba.h"
#include "services/encoding.h"
#include "tool.h"

namespace kvtool {

namespace {

template <size_t N>
void Put(char (&field)[N], const char* text) {
  std::memset(field, 0, N);
  std::memcpy(field, text, strnlen(text, N - 1));
}

struct Sample {
  const char* firstName;
  const char* surname;  // Windows-1252
  const char* street;
  const char* postalCode;
  const char* city;
  const char* bankCode;
  const char* account;
};

const Sample kSamples[] = {
    {"Hans", "M\xFCller", "Lindenstra\xDF" "e 4", "10115", "Berlin", "37040044", "532013000"},  // Müller, Lindenstraße
    {"Petra", "Schmidt", "Hafenweg 12", "20457", "Hamburg", "", ""},
    {"Jan", "de Vries", "Kerkstraat 1", "1012", "Amsterdam", "", ""},
};

void PrintSearchEntries(int32_t max, std::ostream& out) {
  KundenSuchDBA_Open();
  KundenBLZSuchDBA_Open();
  for (int32_t n = 1; n <= max; ++n) {
    KundeSuchEintrag name{};
    KundeBLZSuchEintrag bank{};
    KundenSuchDBA_Read(n, &name);
    KundenBLZSuchDBA_Read(n, &bank);
    out << "   " << n << ": name entry ";
    if (name.marker == KUNDE_SUCH_MARKER) {
      out << '"' << kv::Cp1252ToUtf8(name.name, sizeof name.name) << '"';
    } else {
      out << "(deleted)";
    }
    if (bank.marker == KUNDE_SUCH_MARKER && bank.bankCode[0] != 0) {
      out << ", bank entry " << bank.bankCode << " / " << bank.accountNumber;
    }
    out << "\n";
  }
  KundenBLZSuchDBA_Close();
  KundenSuchDBA_Close();
}

int Run(const std::string& dir, std::ostream& out) {
  std::string path = dir + "KUNDEN.DBA";
  if (KundenDBA_Init(path.c_str()) == 0) return 1;
  out << "customer file " << path << " with KUNDSUCH.DBA and KUNDBLZSUCH.DBA\n";
  for (const Sample& s : kSamples) {
    Kunde k;
    KundenDBA_ClearKunde(&k);
    k.refCount = 1;
    k.flags = KUNDE_FLAG_BENUTZBAR;
    Put(k.salutation, "Guten Tag");
    Put(k.firstName, s.firstName);
    Put(k.surname, s.surname);
    Put(k.street, s.street);
    Put(k.countryCode, s.bankCode[0] ? "D" : "");
    Put(k.postalCode, s.postalCode);
    Put(k.city, s.city);
    Put(k.bankCode, s.bankCode);
    Put(k.accountNumber, s.account);
    int32_t n = KundenDBA_NeuerKunde();
    if (n == 0 || KundenDBA_SchreibeKunde(n, &k, 1) != 1) return 1;
    out << "   new customer " << n << ": " << kv::Cp1252ToUtf8(s.surname) << "\n";
  }
  char text[KUNDE_ADRESSE_TELEFON_MAX] = {0};
  if (KundenDBA_Adresse(1, text, 0) != 1) return 1;
  std::string address = kv::Cp1252ToUtf8(text);
  out << "address of customer 1:\n";
  for (size_t at = 0, end; (end = address.find("\r\n", at)) != std::string::npos; at = end + 2) {
    out << "   | " << address.substr(at, end - at) << "\n";
  }
  if (KundenDBA_LoescheKunde(2) != 1) return 1;
  out << "deleted customer 2\n";
  if (KundenDBA_Reo() != 1) return 1;
  out << "reorganised: version " << KundenDBA_GetVersion() << ", next new customer gets number "
      << KundenDBA_NextFreeKunde() << "\n";
  out << "search entries:\n";
  PrintSearchEntries(KundenDBA_GetMAX(), out);
  return KundenDBA_NextFreeKunde() == 2 ? 0 : 1;
}

const DemoRegistrar kStep(20, "Customers: search files, address, delete, reorganise", Run);

}  // namespace

}  // namespace kvtool
