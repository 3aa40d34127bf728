#include "Text.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>

#include "KxString.h"
#include "WinApi.h"

namespace kx_gen {

namespace {

constexpr unsigned int kFallbackCodePage = 1252;  // every byte of it has a meaning

std::atomic<unsigned int> narrowCodePage{0};  // 0: the system's ANSI code page

unsigned int codePageInUse() {
  const unsigned int chosen = narrowCodePage.load();
  return chosen != 0 ? chosen : GetACP();
}

constexpr bool isHighSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool isLowSurrogate(uint32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

uint32_t joinSurrogates(uint32_t high, uint32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

void appendUtf16(std::u16string& out, uint32_t c) {
  if (c > 0x10FFFF) c = 0xFFFD;
  if (c > 0xFFFF) {
    out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
  } else {
    out.push_back(static_cast<char16_t>(c));
  }
}

void appendUtf8(std::string& out, uint32_t c) {
  const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

std::string utf8Of(const std::u16string& units) {
  std::string out;
  for (size_t i = 0; i < units.size(); ++i) {
    uint32_t c = units[i];
    if (isHighSurrogate(c) && i + 1 < units.size() && isLowSurrogate(units[i + 1])) {
      c = joinSurrogates(c, units[++i]);
    }
    appendUtf8(out, c);
  }
  return out;
}

// The code point whose shortest UTF-8 form starts at `at`, which then stands behind it; false for
// bytes that are no UTF-8. Surrogates count as valid: they are how lone ones are stored.
bool nextUtf8(const char* bytes, size_t length, size_t& at, uint32_t& c) {
  static constexpr uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  const auto byteAt = [bytes](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const uint32_t first = byteAt(at++);
  if (first < 0x80) {
    c = first;
    return true;
  }
  if (first < 0xC0 || first > 0xF7) return false;
  const size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  c = first & (0x3Fu >> more);
  for (size_t i = 0; i < more; ++i) {
    if (at == length || (byteAt(at) & 0xC0) != 0x80) return false;
    c = (c << 6) | (byteAt(at++) & 0x3Fu);
  }
  return c >= kSmallest[more] && c <= 0x10FFFF;
}

// False, with `out` unspecified, for bytes that are no UTF-8. A pair of surrogates in their
// three-byte forms is none: it is stored in four bytes.
bool decodeUtf8(const char* bytes, size_t length, std::u16string& out) {
  out.clear();
  for (size_t at = 0; at < length;) {
    uint32_t c = 0;
    if (!nextUtf8(bytes, length, at, c)) return false;
    const bool afterHigh = !out.empty() && isHighSurrogate(out.back());
    if (isLowSurrogate(c) && afterHigh) return false;
    appendUtf16(out, c);
  }
  return true;
}

// All bits together, not character by character: that takes a vector at a time. Texts are mostly
// ASCII, and every field of text that is read or set passes here.
template <class Character>
bool isAscii(const Character* text, size_t length) {
  std::make_unsigned_t<Character> bits = 0;
  for (size_t i = 0; i < length; ++i) bits |= static_cast<std::make_unsigned_t<Character>>(text[i]);
  return bits < 0x80;
}

// Characters of one kind as another's, which have room for them.
template <class To, class From>
void copyAscii(To* to, const From* from, size_t length) {
  for (size_t i = 0; i < length; ++i) to[i] = static_cast<To>(from[i]);
}

std::wstring decodeCodePage(const char* bytes, size_t length) {
  const int count = static_cast<int>(length);
  unsigned int codePage = codePageInUse();
  int needed = MultiByteToWideChar(codePage, 0, bytes, count, nullptr, 0);
  if (needed <= 0) {
    codePage = kFallbackCodePage;
    needed = MultiByteToWideChar(codePage, 0, bytes, count, nullptr, 0);
  }
  std::wstring text(static_cast<size_t>(std::max(needed, 0)), L'\0');
  if (needed > 0) MultiByteToWideChar(codePage, 0, bytes, count, text.data(), needed);
  return text;
}

// False when a character has no place in the code page.
bool encodeCodePage(const std::wstring& text, std::string& out) {
  const unsigned int codePage = codePageInUse();
  if (codePage == CP_UTF8) return false;
  const int count = static_cast<int>(text.size());
  BOOL lost = 0;
  const int needed = WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, text.data(), count,
                                         nullptr, 0, nullptr, &lost);
  if (needed <= 0 || lost != 0) return false;
  out.resize(static_cast<size_t>(needed));
  WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, text.data(), count, out.data(), needed,
                      nullptr, &lost);
  return lost == 0;
}

}  // namespace

bool setNarrowCodePage(unsigned int codePage) {
  narrowCodePage.store(codePage);
  return MultiByteToWideChar(codePageInUse(), 0, "A", 1, nullptr, 0) > 0;
}

std::u16string toUtf16(const wchar_t* text, size_t length) {
  std::u16string out;
  out.reserve(length);
  for (size_t i = 0; i < length; ++i) {
    appendUtf16(out, static_cast<std::make_unsigned_t<wchar_t>>(text[i]));
  }
  return out;
}

std::wstring fromUtf16(const char16_t* units, size_t length) {
  std::wstring out;
  out.reserve(length);
  for (size_t i = 0; i < length; ++i) {
    uint32_t c = units[i];
    const bool pair = isHighSurrogate(c) && i + 1 < length && isLowSurrogate(units[i + 1]);
    if (sizeof(wchar_t) > 2 && pair) c = joinSurrogates(c, units[++i]);
    out.push_back(static_cast<wchar_t>(c));
  }
  return out;
}

size_t unitsOf(const std::wstring& text) {
  const auto takesPair = [](uint32_t c) { return c > 0xFFFF && c <= 0x10FFFF; };
  return text.size() + static_cast<size_t>(std::count_if(text.begin(), text.end(), takesPair));
}

bool cutToUnits(std::wstring& text, size_t most) {
  if (text.size() <= most / 2 || unitsOf(text) <= most) return false;
  const std::u16string units = toUtf16(text.data(), text.size());
  text = fromUtf16(units.data(), most);
  return true;
}

std::string encodeNarrow(const wchar_t* text) {
  const size_t length = std::wcslen(text);
  std::string narrow;
  if (isAscii(text, length)) {
    narrow.resize(length);
    copyAscii(narrow.data(), text, length);
    return narrow;
  }
  const std::u16string units = toUtf16(text, length);
  const std::wstring clean = fromUtf16(units.data(), units.size());
  std::wstring back;
  if (encodeCodePage(clean, narrow)) decodeNarrow(narrow.data(), narrow.size(), back);
  if (back == clean) return narrow;
  return utf8Of(units);
}

void decodeNarrow(const char* bytes, size_t length, std::wstring& out) {
  std::u16string units;
  if (isAscii(bytes, length)) {
    out.resize(length);
    copyAscii(out.data(), bytes, length);
  } else if (decodeUtf8(bytes, length, units)) {
    out = fromUtf16(units.data(), units.size());
  } else {
    out = decodeCodePage(bytes, length);
  }
}

std::string toLogText(const wchar_t* text, size_t length) {
  if (length == 0 || isAscii(text, length)) return std::string(text, text + length);
  const int count = static_cast<int>(length);
  const size_t room = toUtf16(text, length).size();
  std::string out(room, '\0');  // zero-filled: a code page may need more bytes than there is room
  const int made = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, text, count, out.data(),
                                       static_cast<int>(room), nullptr, nullptr);
  if (made >= 0 && static_cast<size_t>(made) < room) out.resize(std::strlen(out.c_str()));
  return out;
}

}  // namespace kx_gen
