/// UTF-8 and the characters of library text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kx_posix {

constexpr uint32_t kReplacementCharacter = 0xFFFD;

inline bool IsHighSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool IsLowSurrogate(uint32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }
inline bool IsSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

/// Takes the next code point of library text: a surrogate pair is one, a lone surrogate stays
/// itself, anything above U+10FFFF is U+FFFD.
uint32_t TakeCodePoint(std::wstring_view text, size_t* at);

/// Takes a code point of UTF-8; false, and nothing taken, where the bytes are not well-formed.
bool TakeUtf8(std::string_view bytes, size_t* at, uint32_t* codePoint);

/// Surrogates are written in their three-byte form.
void AppendUtf8(uint32_t codePoint, std::string* bytes);

/// On systems where a wide character holds any code point.
inline void AppendWide(uint32_t codePoint, std::wstring* text) {
  static_assert(sizeof(wchar_t) == 4, "wide text holds code points");
  text->push_back(static_cast<wchar_t>(codePoint));
}

}  // namespace kx_posix
