#include "Text.h"

#include <algorithm>
#include <array>

namespace kxo {
namespace {

constexpr char32_t kFirstSurrogate = 0xD800;
constexpr char32_t kFirstLowSurrogate = 0xDC00;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kLastCodePoint = 0x10FFFF;
constexpr char32_t kDelete = 0x7F;
constexpr char32_t kLastControl = 0x9F;

unsigned char ByteAt(std::string_view text, size_t pos) {
  return static_cast<unsigned char>(text[pos]);
}

/// Bytes behind a lead byte; 0 for ASCII, and for bytes that lead nothing.
size_t TrailCount(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  if (lead >= 0xF0 && lead <= 0xF4) return 3;
  return 0;
}

bool IsShortestForm(char32_t codePoint, size_t trailCount) {
  constexpr std::array<char32_t, 4> kSmallest = {0, 0x80, 0x800, kFirstSupplementary};
  return codePoint >= kSmallest[trailCount] && codePoint <= kLastCodePoint;
}

/// The low half behind a high surrogate at `pos`, or 0.
char32_t LowHalf(std::wstring_view text, size_t pos) {
  if (pos >= text.size()) return 0;
  const auto c = static_cast<char32_t>(text[pos]);
  return c >= kFirstLowSurrogate && IsSurrogate(c) ? c : 0;
}

bool IsHighHalf(char32_t c) { return c >= kFirstSurrogate && c < kFirstLowSurrogate; }

void AppendWide(std::wstring& text, char32_t c) {
  if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
    if (c >= kFirstSupplementary) {
      const char32_t rest = c - kFirstSupplementary;
      text += static_cast<wchar_t>(kFirstSurrogate + (rest >> 10));
      text += static_cast<wchar_t>(kFirstLowSurrogate + (rest & 0x3FF));
      return;
    }
  }
  text += static_cast<wchar_t>(c);
}

bool IsControl(char32_t c) { return c < 0x20 || (c >= kDelete && c <= kLastControl); }

bool TurnsDirection(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool BreaksLine(char32_t c) { return c == 0x2028 || c == 0x2029; }

void AppendHex(std::string& text, char32_t c, int digits) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) text += kDigits[(c >> shift) & 0xF];
}

void AppendEscape(std::string& text, char32_t c) {
  switch (c) {
    case '\t':
      text += "\\t";
      break;
    case '\n':
      text += "\\n";
      break;
    case '\r':
      text += "\\r";
      break;
    default:
      text += c < 0x80 ? "\\x" : "\\u";
      AppendHex(text, c, c < 0x80 ? 2 : 4);
  }
}

/// What is not text, lone surrogates too, becomes U+FFFD.
template <class Predicate>
std::string WithEscapes(std::string_view utf8, Predicate needsEscape) {
  std::string shown;
  for (size_t pos = 0; pos < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, pos);
    if (needsEscape(c)) {
      AppendEscape(shown, c);
    } else {
      AppendUtf8(shown, c == kNotUtf8 || IsSurrogate(c) ? kReplacementCharacter : c);
    }
  }
  return shown;
}

/// How many letters were changed, left out, added, or swapped with their neighbour.
size_t CountSlips(std::string_view a, std::string_view b) {
  std::vector<std::vector<size_t>> slips(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        slips[i][j] = i + j;
        continue;
      }
      const size_t changed = slips[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      slips[i][j] = std::min({changed, slips[i - 1][j] + 1, slips[i][j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        slips[i][j] = std::min(slips[i][j], slips[i - 2][j - 2] + 1);
      }
    }
  }
  return slips[a.size()][b.size()];
}

}  // namespace

char32_t NextCodePoint(std::string_view utf8, size_t& pos) {
  const unsigned char lead = ByteAt(utf8, pos++);
  if (lead < 0x80) return lead;
  const size_t trailCount = TrailCount(lead);
  if (trailCount == 0 || utf8.size() - pos < trailCount) return kNotUtf8;
  char32_t codePoint = lead & (0x3Fu >> trailCount);
  for (size_t i = 0; i < trailCount; ++i) {
    const unsigned char trail = ByteAt(utf8, pos + i);
    if ((trail & 0xC0) != 0x80) return kNotUtf8;
    codePoint = (codePoint << 6) | (trail & 0x3Fu);
  }
  if (!IsShortestForm(codePoint, trailCount)) return kNotUtf8;
  pos += trailCount;
  return codePoint;
}

void AppendUtf8(std::string& utf8, char32_t c) {
  const auto trail = [&utf8](char32_t bits) { utf8 += static_cast<char>(0x80 | (bits & 0x3F)); };
  if (c < 0x80) {
    utf8 += static_cast<char>(c);
  } else if (c < 0x800) {
    utf8 += static_cast<char>(0xC0 | (c >> 6));
    trail(c);
  } else if (c < kFirstSupplementary) {
    utf8 += static_cast<char>(0xE0 | (c >> 12));
    trail(c >> 6);
    trail(c);
  } else {
    utf8 += static_cast<char>(0xF0 | (c >> 18));
    trail(c >> 12);
    trail(c >> 6);
    trail(c);
  }
}

std::wstring ToWide(std::string_view utf8) {
  std::wstring text;
  for (size_t pos = 0; pos < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, pos);
    AppendWide(text, c == kNotUtf8 ? kReplacementCharacter : c);
  }
  return text;
}

std::string FromWide(std::wstring_view text) {
  std::string utf8;
  for (size_t pos = 0; pos < text.size();) {
    auto c = static_cast<char32_t>(text[pos++]);
    if (const char32_t low = LowHalf(text, pos); IsHighHalf(c) && low != 0) {
      c = kFirstSupplementary + ((c - kFirstSurrogate) << 10) + (low - kFirstLowSurrogate);
      ++pos;
    }
    AppendUtf8(utf8, c > kLastCodePoint ? kReplacementCharacter : c);
  }
  return utf8;
}

std::string Escaped(std::string_view utf8) {
  return WithEscapes(utf8,
                     [](char32_t c) { return IsControl(c) || TurnsDirection(c) || BreaksLine(c); });
}

std::string OnOneLine(std::string_view utf8) {
  return WithEscapes(utf8, [](char32_t c) { return c == '\n' || c == '\r'; });
}

std::string Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return "";
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

std::vector<std::string_view> LinesIn(std::string_view text) {
  std::vector<std::string_view> lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find_first_of("\r\n", start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
  return lines;
}

std::string MostLike(std::string_view word, const std::vector<std::string>& known) {
  constexpr size_t kLongest = 40;  // nobody mistypes more
  if (word.size() > kLongest) return "";
  std::string best;
  size_t fewest = std::max<size_t>(1, word.size() / 3) + 1;
  for (const std::string& candidate : known) {
    const size_t slips = CountSlips(LowerCase(word), candidate);
    if (slips < fewest) {
      fewest = slips;
      best = candidate;
    }
  }
  return best;
}

std::string Counted(size_t count, std::string_view singular, std::string_view plural) {
  const std::string number = std::to_string(count) + " ";
  if (count == 1) return number + std::string(singular);
  return number + (plural.empty() ? std::string(singular) + "s" : std::string(plural));
}

TextPlace PlaceAt(std::string_view utf8, size_t offset) {
  TextPlace place;
  const size_t end = std::min(offset, utf8.size());
  for (size_t pos = 0; pos < end;) {
    const char32_t c = NextCodePoint(utf8, pos);
    const bool endsLine = c == '\n' || (c == '\r' && (pos >= utf8.size() || utf8[pos] != '\n'));
    place.column = endsLine ? 1 : place.column + 1;
    if (endsLine) ++place.line;
  }
  return place;
}

std::string Named(const TextPlace& place) {
  return "line " + std::to_string(place.line) + ", column " + std::to_string(place.column);
}

}  // namespace kxo
