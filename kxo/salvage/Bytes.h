/// The bytes of a file as salvage looks at them. Nothing here reads outside them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "KxFormat.h"
#include "KxLittleEndian.h"

namespace kxo::salvage {

using Bytes = std::span<const unsigned char>;

/// Whether `count` bytes from `pos` on lie in the first `end` bytes.
inline bool Holds(size_t end, size_t pos, size_t count) { return pos <= end && count <= end - pos; }

/// A sum that ends at `max` instead of passing it.
inline size_t SumUpTo(size_t max, size_t pos, uint64_t count) {
  return pos >= max || count >= max - pos ? max : pos + static_cast<size_t>(count);
}

inline uint32_t Number(Bytes file, size_t pos) { return kx_gen::getLe32(file.data() + pos); }
inline uint16_t ShortNumber(Bytes file, size_t pos) { return kx_gen::getLe16(file.data() + pos); }

inline bool HasBytes(Bytes file, size_t pos, const unsigned char* bytes, size_t count) {
  return Holds(file.size(), pos, count) && std::memcmp(file.data() + pos, bytes, count) == 0;
}
inline bool IsRowStart(Bytes file, size_t pos) {
  return HasBytes(file, pos, kx_gen::format::kRowStartTag, kx_gen::format::kRowTagSize);
}
inline bool IsRowEnd(Bytes file, size_t pos) {
  return HasBytes(file, pos, kx_gen::format::kRowEndTag, kx_gen::format::kRowTagSize);
}
/// Whether a whole tag, its value aside, stands at `pos` in the first `end` bytes.
inline bool IsTag(Bytes file, size_t pos, size_t end) {
  return Holds(end, pos, kx_gen::format::kTagSize) &&
         ShortNumber(file, pos + kx_gen::format::kTagCodeOffset) == kx_gen::format::kTagCode;
}

/// The first place of this byte from `pos` on and before `end`, else `end`.
inline size_t FindByte(Bytes file, size_t pos, size_t end, unsigned char byte) {
  if (pos >= end) return end;
  const void* found = std::memchr(file.data() + pos, byte, end - pos);
  if (found == nullptr) return end;
  return static_cast<size_t>(static_cast<const unsigned char*>(found) - file.data());
}

std::string CountedBytes(uint64_t count);  ///< "1 byte", "2 bytes".

/// Bytes in hex, "50 4B 03 04"; where the file ends before them, this is said.
std::string Hex(Bytes file, size_t pos, size_t count);
std::string Hex(const unsigned char* bytes, size_t count);

}  // namespace kxo::salvage
