#include "salvage/Bytes.h"

#include <algorithm>

namespace kxo::salvage {

std::string CountedBytes(uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string Hex(const unsigned char* bytes, size_t count) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) text += ' ';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  return text;
}

std::string Hex(Bytes file, size_t pos, size_t count) {
  const size_t there = pos < file.size() ? std::min(count, file.size() - pos) : 0;
  if (there == 0) return "the end of the file";
  return Hex(file.data() + pos, there) + (there < count ? " and the end of the file" : "");
}

}  // namespace kxo::salvage
