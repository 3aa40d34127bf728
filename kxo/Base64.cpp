#include "Base64.h"

#include <cstdint>

namespace kxo {

namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kFill = '=';

/// Up to three bytes, as the upper ones of 24 bits.
uint32_t GroupOf(std::string_view bytes) {
  uint32_t group = 0;
  for (size_t i = 0; i < 3; ++i) {
    group = (group << 8) | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u);
  }
  return group;
}

}  // namespace

std::string ToBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t pos = 0; pos < bytes.size(); pos += 3) {
    const std::string_view piece = bytes.substr(pos, 3);
    const uint32_t group = GroupOf(piece);
    for (size_t i = 0; i < 4; ++i) {
      text += i <= piece.size() ? kDigits[(group >> (18 - 6 * i)) & 63] : kFill;
    }
  }
  return text;
}

std::optional<std::string> FromBase64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  uint32_t group = 0;
  unsigned bits = 0;
  for (const char c : text) {
    if (c == kFill) break;
    const size_t digit = kDigits.find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    group = (group << 6) | static_cast<uint32_t>(digit);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>((group >> bits) & 0xFF);
  }
  // What is left over must be as it is written: fill up to whole groups, and bits that are 0.
  if (ToBase64(bytes) != text) return std::nullopt;
  return bytes;
}

}  // namespace kxo
