/// Text inside the tool is UTF-8 in std::string; the library's is wide. What lies between the two,
/// and how text is made fit to be seen.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kxo {

/// What NextCodePoint gives for bytes that are not UTF-8; above every code point.
constexpr char32_t kNotUtf8 = 0x110000;
constexpr char32_t kReplacementCharacter = 0xFFFD;

/// The code point at `pos`, which moves behind it. Bytes that are not UTF-8 give kNotUtf8, one at a
/// time. A surrogate in its three-byte form passes, as the library's texts may hold a lone one.
char32_t NextCodePoint(std::string_view utf8, size_t& pos);
void AppendUtf8(std::string& utf8, char32_t codePoint);
constexpr bool IsSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

/// Library text; what is not UTF-8 becomes U+FFFD.
std::wstring ToWide(std::string_view utf8);
/// UTF-8 of library text; lone surrogates take their three-byte form.
std::string FromWide(std::wstring_view text);

/// The text as a terminal may have it: control characters, and the marks that turn the direction of
/// what follows, as escapes. What is not text, such as a lone surrogate, becomes U+FFFD.
std::string Escaped(std::string_view utf8);
/// The text on one line: its line breaks as escapes, what is not text as U+FFFD, all else as it is.
std::string OnOneLine(std::string_view utf8);

std::string Trimmed(std::string_view text);  ///< Without blanks, tabs and line breaks at its ends.
std::string LowerCase(std::string_view text);  ///< ASCII letters only.

/// The lines of a text, ended as on Windows, Unix or the old Macintosh. An end is no further line.
std::vector<std::string_view> LinesIn(std::string_view text);

/// The one of these words that somebody who mistyped `word` most likely meant; empty when none is
/// near.
std::string MostLike(std::string_view word, const std::vector<std::string>& known);

/// "1 item", "2 items"; with the plural given, "2 entries".
std::string Counted(size_t count, std::string_view singular, std::string_view plural = "");

/// A place in a text, both from 1; columns count characters.
struct TextPlace {
  size_t line = 1;
  size_t column = 1;
};
TextPlace PlaceAt(std::string_view utf8, size_t offset);
std::string Named(const TextPlace& place);  ///< "line 3, column 14".

}  // namespace kxo
