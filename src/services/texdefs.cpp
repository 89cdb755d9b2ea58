// Date numbers, times of day and number texts.
#include "services/texdefs.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>

#include "services/platform.h"

namespace kv {

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int32_t* y, int32_t* m, int32_t* d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  *d = static_cast<int32_t>(doy - (153 * mp + 2) / 5 + 1);
  *m = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
  *y = static_cast<int32_t>(yoe + era * 400 + (*m <= 2));
}

const int64_t kEpoch = DaysFromCivil(1900, 1, 1) - 1;  // day 1 = 1900-01-01

bool IsLeap(int32_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int32_t DaysInMonth(int32_t y, int32_t m) {
  static const int32_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

// Reads 1..maxDigits digits; false if there are none.
bool ReadNumber(const char*& p, int32_t maxDigits, int32_t* value, int32_t* digits) {
  *value = 0;
  *digits = 0;
  while (*digits < maxDigits && std::isdigit(static_cast<unsigned char>(*p))) {
    *value = *value * 10 + (*p - '0');
    ++*digits;
    ++p;
  }
  return *digits > 0;
}

}  // namespace

uint16_t DateFromYmd(int32_t year, int32_t month, int32_t day) {
  if (month < 1 || month > 12 || day < 1 || year < 1900 || year > 2079) return 0;
  if (day > DaysInMonth(year, month)) return 0;
  int64_t n = DaysFromCivil(year, month, day) - kEpoch;
  return n >= 1 && n <= 65535 ? static_cast<uint16_t>(n) : 0;
}

bool YmdFromDate(uint16_t date, int32_t* year, int32_t* month, int32_t* day) {
  if (date == 0) return false;
  int32_t y, m, d;
  CivilFromDays(kEpoch + date, &y, &m, &d);
  if (year) *year = y;
  if (month) *month = m;
  if (day) *day = d;
  return true;
}

uint16_t PackTimeOfDay(int32_t hour, int32_t minute, int32_t second) {
  return static_cast<uint16_t>((hour << 11) | (minute << 5) | (second / 2));
}

void UnpackTimeOfDay(uint16_t packed, int32_t* hour, int32_t* minute, int32_t* second) {
  if (hour) *hour = packed >> 11;
  if (minute) *minute = (packed >> 5) & 0x3F;
  if (second) *second = (packed & 0x1F) * 2;
}

uint16_t TEXDEFS_Heute(char* buffer) {
  LocalTime t = LocalTimeNow();
  uint16_t d = DateFromYmd(t.year, t.month, t.day);
  if (buffer) TEXDEFS_IntegerToDatum(d, buffer);
  return d;
}

uint16_t TEXDEFS_GetUhrZeit(char* buffer) {
  LocalTime t = LocalTimeNow();
  if (buffer) std::snprintf(buffer, 9, "%02u:%02u:%02u", static_cast<unsigned>(t.hour) % 24u,
                  static_cast<unsigned>(t.minute) % 60u, static_cast<unsigned>(t.second) % 60u);
  return PackTimeOfDay(t.hour, t.minute, t.second);
}

uint16_t TEXDEFS_DatumToInteger(const char* text) {
  if (text == nullptr) return 0;
  const char* p = text;
  while (*p == ' ') ++p;
  int32_t day, month, year, digits;
  if (!ReadNumber(p, 2, &day, &digits) || *p++ != '.') return 0;
  if (!ReadNumber(p, 2, &month, &digits) || *p++ != '.') return 0;
  if (!ReadNumber(p, 4, &year, &digits) || (digits != 2 && digits != 4)) return 0;
  while (*p == ' ') ++p;
  if (*p != '\0') return 0;
  if (digits == 2) year += year < 80 ? 2000 : 1900;
  return DateFromYmd(year, month, day);
}

void TEXDEFS_IntegerToDatum(uint16_t date, char* text) {
  if (text == nullptr) return;
  int32_t y, m, d;
  if (!YmdFromDate(date, &y, &m, &d)) {
    text[0] = '\0';
    return;
  }
  std::snprintf(text, 11, "%02u.%02u.%04u", static_cast<unsigned>(d) % 100u, static_cast<unsigned>(m) % 100u,
                static_cast<unsigned>(y) % 10000u);
}

void TEXDEFS_DatumIntToString(uint16_t date, char* text) { TEXDEFS_IntegerToDatum(date, text); }

int32_t TEXDEFS_StringToDatum(const char* text, uint16_t* date) {
  uint16_t d = TEXDEFS_DatumToInteger(text);
  if (date) *date = d;
  return d != 0 ? 1 : 0;
}

int32_t TEXDEFS_StringToLong(const char* text, int32_t* target) {
  if (target) *target = 0;
  if (text == nullptr) return 0;
  const char* p = text;
  while (*p == ' ' || *p == '\t') ++p;
  bool negative = false;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  if (!std::isdigit(static_cast<unsigned char>(*p))) return 0;
  int64_t v = 0;
  while (std::isdigit(static_cast<unsigned char>(*p))) {
    v = v * 10 + (*p++ - '0');
    if (v > static_cast<int64_t>(INT32_MAX) + 1) return 0;
  }
  if (negative) v = -v;
  if (v > INT32_MAX || v < INT32_MIN) return 0;
  if (target) *target = static_cast<int32_t>(v);
  return 1;
}

int32_t TEXDEFS_CODE39toID(const char* code39) {
  if (code39 == nullptr) return 0;
  size_t n = std::strlen(code39);
  const char* p = code39;
  if (n >= 2 && p[0] == '*' && p[n - 1] == '*') {
    ++p;
    n -= 2;
  }
  if (n == 0 || n > 10) return 0;
  int64_t v = 0;
  for (size_t i = 0; i < n; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(p[i]))) return 0;
    v = v * 10 + (p[i] - '0');
  }
  return v <= INT32_MAX ? static_cast<int32_t>(v) : 0;
}

}  // namespace kv
