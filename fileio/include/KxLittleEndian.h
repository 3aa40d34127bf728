/// The one place where numbers become bytes: little-endian images, whatever the processor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace kx_gen {

/// Writes the low `size` bytes of `value` to `dst`, lowest first.
inline void putLittleEndian(unsigned char* dst, uint64_t value, size_t size) {
  for (size_t i = 0; i < size; ++i) dst[i] = static_cast<unsigned char>(value >> (8 * i));
}

/// The number whose `size` (at most 8) bytes stand at `src`, lowest first.
inline uint64_t getLittleEndian(const unsigned char* src, size_t size) {
  uint64_t value = 0;
  for (size_t i = 0; i < size; ++i) value |= static_cast<uint64_t>(src[i]) << (8 * i);
  return value;
}

inline void putLe16(unsigned char* dst, uint16_t value) { putLittleEndian(dst, value, 2); }
inline void putLe32(unsigned char* dst, uint32_t value) { putLittleEndian(dst, value, 4); }
inline uint16_t getLe16(const unsigned char* src) {
  return static_cast<uint16_t>(getLittleEndian(src, 2));
}
inline uint32_t getLe32(const unsigned char* src) {
  return static_cast<uint32_t>(getLittleEndian(src, 4));
}

}  // namespace kx_gen
