// Windows-1252 <-> UTF-8.
#include "services/encoding.h"

#include <cstring>

namespace kv {

namespace {

// Unicode code points of Windows-1252 bytes 0x80..0x9F; 0 where the code
// page has no character (those bytes map to themselves, as Windows does).
const uint16_t kHigh[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                            0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                            0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                            0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

uint32_t CodePoint(unsigned char c) {
  if (c >= 0x80 && c <= 0x9F && kHigh[c - 0x80] != 0) return kHigh[c - 0x80];
  return c;
}

char* PutUtf8(char* out, uint32_t cp) {
  if (cp < 0x80) {
    *out++ = static_cast<char>(cp);
  } else if (cp < 0x800) {
    *out++ = static_cast<char>(0xC0 | (cp >> 6));
    *out++ = static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    *out++ = static_cast<char>(0xE0 | (cp >> 12));
    *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (cp & 0x3F));
  }
  return out;
}

}  // namespace

char* KA_Cryptor_ascii_to_utf8(char* out, const char* /*in*/, unsigned char c) {
  if (out == nullptr) return out;
  return PutUtf8(out, CodePoint(c));
}

int32_t KA_Cryptor_utf8_to_ascii(const char* in, char* out, int32_t outSize) {
  if (out == nullptr || outSize < 1) return 0;
  int32_t n = 0;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(in ? in : "");
  p += KA_Cryptor_utf8_bom(reinterpret_cast<const char*>(p));
  while (*p != 0 && n < outSize - 1) {
    uint32_t cp;
    int len;
    if (*p < 0x80) {
      cp = *p, len = 1;
    } else if ((*p & 0xE0) == 0xC0 && (p[1] & 0xC0) == 0x80) {
      cp = ((p[0] & 0x1Fu) << 6) | (p[1] & 0x3Fu), len = 2;
    } else if ((*p & 0xF0) == 0xE0 && (p[1] & 0xC0) == 0x80 && (p[2] & 0xC0) == 0x80) {
      cp = ((p[0] & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu), len = 3;
    } else if ((*p & 0xF8) == 0xF0 && (p[1] & 0xC0) == 0x80 && (p[2] & 0xC0) == 0x80 &&
               (p[3] & 0xC0) == 0x80) {
      cp = 0x110000, len = 4;  // outside the code page
    } else {
      cp = '?', len = 1;  // broken sequence
    }
    char c = '?';
    if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) {
      c = static_cast<char>(cp);
    } else {
      for (int i = 0; i < 32; ++i) {
        if (kHigh[i] == cp) c = static_cast<char>(0x80 + i);
      }
    }
    out[n++] = c;
    p += len;
  }
  out[n] = '\0';
  return n;
}

int32_t KA_Cryptor_utf8_bom(const char* text) {
  if (text != nullptr && static_cast<unsigned char>(text[0]) == 0xEF &&
      static_cast<unsigned char>(text[1]) == 0xBB && static_cast<unsigned char>(text[2]) == 0xBF) {
    return 3;
  }
  return 0;
}

std::string Cp1252ToUtf8(const char* text, std::size_t maxBytes) {
  std::string s;
  if (text == nullptr) return s;
  char tmp[4];
  for (std::size_t i = 0; i < maxBytes && text[i] != '\0'; ++i) {
    char* end = KA_Cryptor_ascii_to_utf8(tmp, nullptr, static_cast<unsigned char>(text[i]));
    s.append(tmp, static_cast<std::size_t>(end - tmp));
  }
  return s;
}

std::string Cp1252ToUtf8(const char* text) { return Cp1252ToUtf8(text, static_cast<std::size_t>(-1)); }

}  // namespace kv
