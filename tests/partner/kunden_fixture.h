// Shared set-up of the customer tests: a data directory with the customer
// files, and records filled the way the shop programs fill them.
#ifndef KVTEST_PARTNER_KUNDEN_FIXTURE_H
#define KVTEST_PARTNER_KUNDEN_FIXTURE_H

#include <cstring>
#include <string>

#include "kvdata/kundendba.h"
#include "kvtest.h"

namespace kvtest {

template <size_t N>
void SetText(char (&field)[N], const char* text) {
  std::memset(field, 0, N);
  std::memcpy(field, text, strnlen(text, N - 1));
}

inline Kunde MakeKunde(const char* surname, const char* city = "Berlin") {
  Kunde k;
  KundenDBA_ClearKunde(&k);
  k.refCount = 1;
  k.flags = KUNDE_FLAG_BENUTZBAR;
  SetText(k.salutation, "Herr");
  SetText(k.firstName, "Hans");
  SetText(k.surname, surname);
  SetText(k.street, "Hauptstr. 1");
  SetText(k.countryCode, "D");
  SetText(k.postalCode, "10115");
  SetText(k.city, city);
  return k;
}

// Image of a freed customer record at the end of the free chain: zero but
// for the three date codes.
inline std::vector<uint8_t> FreedRecord() {
  std::vector<uint8_t> r(1299, 0);
  PutI32(r, 0, -1);
  r[592] = r[594] = r[598] = 33;
  return r;
}

class KundenTest : public DataDirTest {
 protected:
  void SetUp() override { ASSERT_NE(KundenDBA_Init(file("KUNDEN.DBA").c_str()), 0); }

  // Takes a number and writes the record with search update.
  int32_t AddKunde(Kunde k) {
    int32_t n = KundenDBA_NeuerKunde();
    EXPECT_NE(n, 0);
    EXPECT_EQ(KundenDBA_SchreibeKunde(n, &k, 1), 1);
    return n;
  }

  Kunde Read(int32_t n) {
    Kunde k;
    EXPECT_EQ(KundenDBA_LeseKunde(n, &k), 1) << "customer " << n;
    return k;
  }

  // Byte image of item n of a DBA file with capacity 0.
  std::vector<uint8_t> Item(const char* name, int32_t n, int32_t size) {
    std::vector<uint8_t> all = ReadFileBytes(file(name));
    size_t at = static_cast<size_t>(n) * size + 40;
    if (all.size() < at + size) return {};
    return std::vector<uint8_t>(all.begin() + at, all.begin() + at + size);
  }
  std::vector<uint8_t> NameItem(int32_t n) { return Item("KUNDSUCH.DBA", n, 12); }
  std::vector<uint8_t> BankItem(int32_t n) { return Item("KUNDBLZSUCH.DBA", n, 24); }
};

// A search entry image of size bytes: the marker, then the raw bytes of the
// name, or of bank code (at 4) and account number (at 13).
inline std::vector<uint8_t> SearchEntry(size_t size, const std::string& first, const std::string& account = "") {
  std::vector<uint8_t> e(size, 0);
  e[0] = e[3] = 0xFF;
  std::copy(first.begin(), first.end(), e.begin() + 4);
  std::copy(account.begin(), account.end(), e.begin() + 13);
  return e;
}

}  // namespace kvtest

#endif  // KVTEST_PARTNER_KUNDEN_FIXTURE_H
