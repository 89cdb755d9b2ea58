// Dates and numbers.
//
// Date numbers (stored as 16-bit words in records): day 1 is 1900-01-01,
// counting every calendar day, so the range ends with 65535 = 2079-06-05.
// 0 means "no date". A date text is "DD.MM.YYYY".
//
// Times of day (16-bit words in records) use the packed form
// (hour << 11) | (minute << 5) | (second / 2): two-second resolution, and
// later times compare greater.
#ifndef KV_SERVICES_TEXDEFS_H
#define KV_SERVICES_TEXDEFS_H

#include <cstdint>

namespace kv {

// Today's date number; also written as text into buffer (11 bytes) when
// buffer is not null.
uint16_t TEXDEFS_Heute(char* buffer);
// Current time of day in the packed form; also written as "HH:MM:SS" into
// buffer (9 bytes) when buffer is not null.
uint16_t TEXDEFS_GetUhrZeit(char* buffer);
// Date number of a text "D.M.YYYY" / "DD.MM.YYYY" / "DD.MM.YY" (two-digit
// years: 00..79 -> 20xx, 80..99 -> 19xx); 0 for an invalid text or a date
// outside 1900-01-01 .. 2079-06-05.
uint16_t TEXDEFS_DatumToInteger(const char* text);
// Writes "DD.MM.YYYY" (11 bytes) for a date number; an empty string for 0.
void TEXDEFS_IntegerToDatum(uint16_t date, char* text);
void TEXDEFS_DatumIntToString(uint16_t date, char* text);
// Parses a date text into a date number; 1 on success, 0 (date 0) otherwise.
int32_t TEXDEFS_StringToDatum(const char* text, uint16_t* date);
// Parses a decimal 32-bit number (leading blanks and a sign allowed);
// 1 on success, 0 (target 0) for no number or an overflow.
int32_t TEXDEFS_StringToLong(const char* text, int32_t* target);
// Identifier encoded in a Code 39 label text: optional '*' start and stop
// characters around decimal digits; 0 for anything else or an overflow.
int32_t TEXDEFS_CODE39toID(const char* code39);

// Helpers shared by the date functions.
uint16_t DateFromYmd(int32_t year, int32_t month, int32_t day);  // 0 if invalid
[[nodiscard]] bool YmdFromDate(uint16_t date, int32_t* year, int32_t* month, int32_t* day);
uint16_t PackTimeOfDay(int32_t hour, int32_t minute, int32_t second);
void UnpackTimeOfDay(uint16_t packed, int32_t* hour, int32_t* minute, int32_t* second);

}  // namespace kv

#endif  // KV_SERVICES_TEXDEFS_H
