// Address texts of a customer and the emptiness rule.
//
// Every field is read bounded by its size: a record whose strings lack their
// terminator (a damaged file, an old program) prints each field up to its
// last byte and never more, so the text cannot grow past
// KUNDE_ADRESSE_MAX bytes.
#include <cstring>
#include <string>

#include "partner/kunden.h"

namespace kv::partner {

namespace {

constexpr const char* kLineEnd = "\r\n";

template <size_t N>
std::string Field(const char (&field)[N]) {
  return std::string(field, strnlen(field, N));
}

template <size_t N>
bool FieldEmpty(const char (&field)[N]) {
  return field[0] == '\0';
}

// salutation / [title ][first name ]surname / street / [country ][postal code ]city
std::string AddressLines(const Kunde& k) {
  std::string s = Field(k.salutation) + kLineEnd;
  if (!FieldEmpty(k.title)) s += Field(k.title) + ' ';
  if (!FieldEmpty(k.firstName)) s += Field(k.firstName) + ' ';
  s += Field(k.surname) + kLineEnd;
  s += Field(k.street) + kLineEnd;
  if (!FieldEmpty(k.countryCode)) s += Field(k.countryCode) + ' ';
  if (!FieldEmpty(k.postalCode)) s += Field(k.postalCode) + ' ';
  s += Field(k.city) + kLineEnd;
  return s;
}

// The longest assembled text, every field at full size.
constexpr size_t kLongestLines = sizeof(Kunde::salutation) + 2 + sizeof(Kunde::title) + 1 +
                                 sizeof(Kunde::firstName) + 1 + sizeof(Kunde::surname) + 2 +
                                 sizeof(Kunde::street) + 2 + sizeof(Kunde::countryCode) + 1 +
                                 sizeof(Kunde::postalCode) + 1 + sizeof(Kunde::city) + 2;
static_assert(kLongestLines + 1 == KUNDE_ADRESSE_MAX, "address bound");
static_assert(sizeof(Kunde::freeAddress) <= KUNDE_ADRESSE_MAX, "free-form address bound");
static_assert(KUNDE_ADRESSE_TELEFON_MAX ==
                  KUNDE_ADRESSE_MAX + KUNDE_TELEFON_LABEL_MAX + 1 + sizeof(Kunde::telephone) + 2,
              "address with telephone bound");

void Put(char* text, const std::string& s) { std::memcpy(text, s.c_str(), s.size() + 1); }

// Reads the customer after checking the number against the slot count.
bool ReadForAddress(int32_t number, Kunde& k) {
  if (number < 1 || number > MaxNumber()) return false;
  return dba::ReadData(&CustomerFile(), number, &k) != 0;
}

}  // namespace

int32_t IsEmpty(const void* record, int32_t mode) {
  if (record == nullptr || mode != 0) return 0;
  const Kunde& k = *static_cast<const Kunde*>(record);
  return FieldEmpty(k.surname) || FieldEmpty(k.street) || FieldEmpty(k.postalCode) || FieldEmpty(k.city) ? 1 : 0;
}

int32_t Address(int32_t number, char* text, int32_t mode) {
  Kunde k;
  if (text == nullptr || !ReadForAddress(number, k)) return 0;
  // The free-form address is kept terminated inside its field: an
  // unterminated one is cut at 255 characters.
  size_t freeLength = strnlen(k.freeAddress, sizeof k.freeAddress - 1);
  if (freeLength >= KUNDE_FREIE_ADRESSE_MIN) {
    Put(text, std::string(k.freeAddress, freeLength));
    return 1;
  }
  if (IsEmpty(&k, mode)) return 1;
  Put(text, AddressLines(k));
  return 1;
}

int32_t AddressWithTelephone(int32_t number, char* text, const char* label) {
  Kunde k;
  if (text == nullptr || !ReadForAddress(number, k)) return 0;
  std::string s = AddressLines(k);
  if (!FieldEmpty(k.telephone)) {
    if (label != nullptr) s.append(label, strnlen(label, KUNDE_TELEFON_LABEL_MAX));
    s += ' ' + Field(k.telephone) + kLineEnd;
  }
  Put(text, s);
  return 1;
}

}  // namespace kv::partner
