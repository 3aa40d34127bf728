#include "Utf8.h"

namespace kx_posix {
namespace {

/// The first byte of a sequence tells its length; 0 for a byte that starts none.
size_t SequenceLength(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first <= 0xDF) return 2;
  if (first >= 0xE0 && first <= 0xEF) return 3;
  if (first >= 0xF0 && first <= 0xF4) return 4;
  return 0;
}

bool IsWellFormed(uint32_t codePoint, size_t length) {
  static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return codePoint >= kSmallest[length] && codePoint <= 0x10FFFF && !IsSurrogate(codePoint);
}

char ContinuationByte(uint32_t codePoint, int shift) {
  return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
}

}  // namespace

uint32_t TakeCodePoint(std::wstring_view text, size_t* at) {
  const auto c = static_cast<uint32_t>(text[(*at)++]);
  if (c > 0x10FFFF) return kReplacementCharacter;
  if (!IsHighSurrogate(c) || *at == text.size()) return c;
  const auto low = static_cast<uint32_t>(text[*at]);
  if (!IsLowSurrogate(low)) return c;
  ++*at;
  return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
}

bool TakeUtf8(std::string_view bytes, size_t* at, uint32_t* codePoint) {
  const auto first = static_cast<unsigned char>(bytes[*at]);
  const size_t length = SequenceLength(first);
  if (length == 0 || bytes.size() - *at < length) return false;
  uint32_t value = length == 1 ? first : first & (0x7Fu >> length);
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(bytes[*at + i]);
    if ((next & 0xC0) != 0x80) return false;
    value = (value << 6) | (next & 0x3Fu);
  }
  if (!IsWellFormed(value, length)) return false;
  *at += length;
  *codePoint = value;
  return true;
}

void AppendUtf8(uint32_t codePoint, std::string* bytes) {
  if (codePoint < 0x80) {
    bytes->push_back(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    bytes->push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
    bytes->push_back(ContinuationByte(codePoint, 0));
  } else if (codePoint < 0x10000) {
    bytes->push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
    bytes->push_back(ContinuationByte(codePoint, 6));
    bytes->push_back(ContinuationByte(codePoint, 0));
  } else {
    bytes->push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
    bytes->push_back(ContinuationByte(codePoint, 12));
    bytes->push_back(ContinuationByte(codePoint, 6));
    bytes->push_back(ContinuationByte(codePoint, 0));
  }
}

}  // namespace kx_posix
