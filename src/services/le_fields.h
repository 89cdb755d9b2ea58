// Little-endian 16- and 32-bit fields at a byte offset of a file image.
// The files are little-endian whatever the host is, and a field may sit at
// any offset (packed records, raw headers), so fields are assembled byte by
// byte; the compiler turns that into one load or store on x86.
#ifndef KV_SERVICES_LE_FIELDS_H
#define KV_SERVICES_LE_FIELDS_H

#include <cstddef>
#include <cstdint>

namespace kv::le {

inline uint16_t GetU16(const void* image, size_t offset) {
  const auto* p = static_cast<const uint8_t*>(image) + offset;
  return static_cast<uint16_t>(p[0] | p[1] << 8);
}
inline int16_t GetI16(const void* image, size_t offset) { return static_cast<int16_t>(GetU16(image, offset)); }

inline uint32_t GetU32(const void* image, size_t offset) {
  const auto* p = static_cast<const uint8_t*>(image) + offset;
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}
inline int32_t GetI32(const void* image, size_t offset) { return static_cast<int32_t>(GetU32(image, offset)); }

inline void PutU16(void* image, size_t offset, uint16_t value) {
  auto* p = static_cast<uint8_t*>(image) + offset;
  p[0] = static_cast<uint8_t>(value);
  p[1] = static_cast<uint8_t>(value >> 8);
}

inline void PutU32(void* image, size_t offset, uint32_t value) {
  auto* p = static_cast<uint8_t*>(image) + offset;
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(value >> (8 * i));
}
inline void PutI32(void* image, size_t offset, int32_t value) { PutU32(image, offset, static_cast<uint32_t>(value)); }

}  // namespace kv::le

#endif  // KV_SERVICES_LE_FIELDS_H
