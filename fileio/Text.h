// Library text at its exits: UTF-16, the narrow text of string tags, the narrow text of the log.
#pragma once

#include <string>

namespace kx_gen {

/// UTF-16 of library text: above 0xFFFF a surrogate pair, above 0x10FFFF U+FFFD; lone surrogates
/// pass.
std::u16string toUtf16(const wchar_t* text, size_t length);
/// Library text of UTF-16; lone surrogates pass.
std::wstring fromUtf16(const char16_t* units, size_t length);

/// How long a text is where its length is limited: a character that takes a surrogate pair counts
/// twice on every system.
size_t unitsOf(const std::wstring& text);
/// Cuts a text to at most `most` UTF-16 units, which may halve a pair; true when it did.
bool cutToUnits(std::wstring& text, size_t most);

/// The narrow form of a string tag's text, without its terminator: the code page where decoding
/// gives the same text back, else UTF-8 with lone surrogates in their three-byte form.
std::string encodeNarrow(const wchar_t* text);
/// The text of a string tag: UTF-8 where the bytes are valid UTF-8, else the code page.
void decodeNarrow(const char* bytes, size_t length, std::wstring& out);
inline std::wstring decodeNarrow(const char* bytes, size_t length) {
  std::wstring out;
  decodeNarrow(bytes, length, out);
  return out;
}

/// One byte of the system's ANSI code page a UTF-16 unit, `?` for what does not fit.
std::string toLogText(const wchar_t* text, size_t length);

}  // namespace kx_gen
