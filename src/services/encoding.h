// Text encoding between the Windows ANSI code page (Windows-1252), in which
// every record and message is stored, and UTF-8 for export files and
// terminals.
#ifndef KV_SERVICES_ENCODING_H
#define KV_SERVICES_ENCODING_H

#include <cstdint>
#include <string>

namespace kv {

// Writes the UTF-8 form of one Windows-1252 character at out (up to 3 bytes)
// and returns the next output position.
char* KA_Cryptor_ascii_to_utf8(char* out, const char* in, unsigned char c);
// Converts UTF-8 text to Windows-1252 into out (outSize bytes, terminated);
// characters without a Windows-1252 form become '?'. Returns the length.
int32_t KA_Cryptor_utf8_to_ascii(const char* in, char* out, int32_t outSize);
// Length of a UTF-8 byte-order mark at the start of text (3 or 0).
int32_t KA_Cryptor_utf8_bom(const char* text);

std::string Cp1252ToUtf8(const char* text);
// Bounded variant: converts at most maxBytes bytes (stops at a zero byte).
std::string Cp1252ToUtf8(const char* text, std::size_t maxBytes);

}  // namespace kv

#endif  // KV_SERVICES_ENCODING_H
