#include "formats/XmlText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "CodePage.h"
#include "Failure.h"
#include "System.h"
#include "Text.h"

namespace kxo {
namespace {

// NOLINTNEXTLINE(misc-unused-using-decls): the check does not see literals
using std::string_view_literals::operator""sv;

constexpr size_t kNowhere = std::string_view::npos;
constexpr std::string_view kXmlBlanks = " \t\r\n";

/// The names of Windows-1252 and of what it includes.
constexpr std::array kWesternLabels = {
    "ansi_x3.4-1968"sv, "ascii"sv,      "cp1252"sv,     "cp819"sv,           "csisolatin1"sv,
    "ibm819"sv,         "iso-8859-1"sv, "iso-ir-100"sv, "iso8859-1"sv,       "iso88591"sv,
    "iso_8859-1"sv,     "l1"sv,         "latin1"sv,     "iso_8859-1:1987"sv, "us-ascii"sv,
    "windows-1252"sv,   "x-cp1252"sv,
};
/// A file whose declaration can be read byte by byte is not in UTF-16, whatever it says.
constexpr std::array kUtf8Labels = {
    "utf-8"sv,    "utf8"sv,     "unicode-1-1-utf-8"sv, "utf-16"sv,
    "utf-16le"sv, "utf-16be"sv, "unicode"sv,           "iso-10646-ucs-2"sv,
};

/// Windows-1252 from 0x80 to 0x9F. The five bytes that it leaves undefined stand for themselves.
constexpr std::array<char16_t, 32> kWesternUpper = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

template <class Labels>
bool IsAmong(const Labels& labels, std::string_view label) {
  return std::find(labels.begin(), labels.end(), label) != labels.end();
}

std::string FromWestern(std::string_view bytes) {
  std::string utf8;
  utf8.reserve(bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    const bool mapped = byte >= 0x80 && byte < 0xA0;
    AppendUtf8(utf8, mapped ? char32_t{kWesternUpper[byte - 0x80]} : char32_t{byte});
  }
  return utf8;
}

size_t FirstNotUtf8(std::string_view bytes) {
  for (size_t pos = 0; pos < bytes.size();) {
    const size_t start = pos;
    const char32_t c = NextCodePoint(bytes, pos);
    if (c == kNotUtf8 || IsSurrogate(c)) return start;
  }
  return kNowhere;
}

[[noreturn]] void FailAtByte(const std::string& name, size_t offset, const std::string& encoding) {
  throw FileFailure(
      kExitDamaged, name,
      "damaged at offset " + std::to_string(offset) + ": the bytes there are not " + encoding,
      "name the right encoding in its first line, or save it as UTF-8");
}

std::string FromUtf8(const std::string& name, std::string_view bytes, size_t skip) {
  const std::string_view text = bytes.substr(skip);
  if (const size_t bad = FirstNotUtf8(text); bad != kNowhere) {
    FailAtByte(name, bad + skip, "UTF-8");
  }
  return std::string(text);
}

enum class ByteOrder : unsigned char { kLittle, kBig };

char32_t UnitAt(std::string_view bytes, size_t pos, ByteOrder order) {
  const auto first = static_cast<unsigned char>(bytes[pos]);
  const auto second = static_cast<unsigned char>(bytes[pos + 1]);
  return order == ByteOrder::kLittle ? first | (char32_t{second} << 8)
                                     : second | (char32_t{first} << 8);
}

std::string FromUtf16(const std::string& name, std::string_view bytes, size_t skip,
                      ByteOrder order) {
  std::string utf8;
  size_t pos = skip;
  while (pos + 2 <= bytes.size()) {
    char32_t c = UnitAt(bytes, pos, order);
    if (IsSurrogate(c)) {
      const char32_t low = pos + 4 <= bytes.size() ? UnitAt(bytes, pos + 2, order) : 0;
      if (c >= 0xDC00 || low < 0xDC00 || !IsSurrogate(low)) FailAtByte(name, pos, "UTF-16");
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      pos += 2;
    }
    AppendUtf8(utf8, c);
    pos += 2;
  }
  if (pos != bytes.size()) FailAtByte(name, pos, "UTF-16");
  return utf8;
}

std::string FromOther(const std::string& name, std::string_view bytes, size_t skip,
                      const std::string& encoding) {
  const std::optional<sys::Converted> converted = sys::ToUtf8(bytes.substr(skip), encoding);
  if (!converted) {
    throw FileFailure(kExitDamaged, name, "the encoding " + encoding + " is not known here",
                      "save the file as UTF-8");
  }
  if (converted->badOffset) FailAtByte(name, *converted->badOffset + skip, encoding);
  return converted->utf8;
}

/// The value of `encoding` in an XML declaration, in lower case; "" when it names none.
std::string DeclaredEncoding(std::string_view bytes) {
  const size_t start = bytes.find_first_not_of(kXmlBlanks);
  if (start == kNowhere || bytes.substr(start, 5) != "<?xml"sv) return "";
  const std::string_view declaration = bytes.substr(start, bytes.find("?>", start) - start);
  const size_t key = declaration.find("encoding");
  const size_t equals = key == kNowhere ? key : declaration.find('=', key);
  const size_t open = equals == kNowhere ? equals : declaration.find_first_of("\"'", equals);
  if (open == kNowhere) return "";
  const size_t close = declaration.find(declaration[open], open + 1);
  if (close == kNowhere) return "";
  return LowerCase(Trimmed(declaration.substr(open + 1, close - open - 1)));
}

std::string FromDeclared(const std::string& name, std::string_view bytes,
                         const std::string& encoding) {
  const bool wellFormed =
      encoding.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_.:") == std::string::npos;
  if (!wellFormed) {
    throw FileFailure(kExitDamaged, name, "'" + encoding + "' is no name of an encoding",
                      "save the file as UTF-8");
  }
  if (IsAmong(kWesternLabels, encoding)) return FromWestern(bytes);
  if (IsAmong(kUtf8Labels, encoding)) return FromUtf8(name, bytes, 0);
  return FromOther(name, bytes, 0, encoding);
}

/// Nothing when the file does not begin with a byte order mark, nor with the first character of XML
/// in two bytes.
std::optional<std::string> FromMarked(const std::string& name, std::string_view bytes) {
  const auto begins = [bytes](std::string_view mark) {
    return bytes.substr(0, mark.size()) == mark;
  };
  if (begins("\xEF\xBB\xBF"sv)) return FromUtf8(name, bytes, 3);
  if (begins("\xFF\xFE\0\0"sv)) return FromOther(name, bytes, 4, "utf-32le");
  if (begins("\0\0\xFE\xFF"sv)) return FromOther(name, bytes, 4, "utf-32be");
  if (begins("\xFF\xFE"sv)) return FromUtf16(name, bytes, 2, ByteOrder::kLittle);
  if (begins("\xFE\xFF"sv)) return FromUtf16(name, bytes, 2, ByteOrder::kBig);
  if (begins("<\0"sv)) return FromUtf16(name, bytes, 0, ByteOrder::kLittle);
  if (begins("\0<"sv)) return FromUtf16(name, bytes, 0, ByteOrder::kBig);
  return std::nullopt;
}

/// What the user says goes before a guess.
std::string FromUnnamed(const std::string& name, const std::string& bytes, ImportNotes& notes) {
  constexpr unsigned int kUtf8CodePage = 65001;
  if (FirstNotUtf8(bytes) == kNowhere) return bytes;
  const unsigned int chosen = ChosenCodePage();
  if (chosen == kUtf8CodePage) return FromUtf8(name, bytes, 0);
  if (chosen != 0) return FromDeclared(name, bytes, "cp" + std::to_string(chosen));
  notes.Say("names no encoding and is not UTF-8: read as Windows-1252");
  return FromWestern(bytes);
}

/// Walks through XML from one reference to the next, past all in which there are none.
class ReferenceWalk {
 public:
  explicit ReferenceWalk(std::string_view text) : text_(text) {}

  /// The offset of the next '&' that begins a reference.
  size_t Next();

 private:
  bool SkipTo(std::string_view begin, std::string_view end);
  bool SkipDoctype();

  std::string_view text_;
  size_t pos_ = 0;
};

size_t ReferenceWalk::Next() {
  while (pos_ < text_.size()) {
    pos_ = text_.find_first_of("&<", pos_);
    if (pos_ == kNowhere) break;
    if (text_[pos_] == '&') return pos_++;
    if (!SkipTo("<!--", "-->") && !SkipTo("<![CDATA[", "]]>") && !SkipTo("<?", "?>") &&
        !SkipDoctype()) {
      ++pos_;
    }
  }
  pos_ = text_.size();
  return kNowhere;
}

bool ReferenceWalk::SkipTo(std::string_view begin, std::string_view end) {
  if (text_.substr(pos_, begin.size()) != begin) return false;
  const size_t close = text_.find(end, pos_ + begin.size());
  pos_ = close == kNowhere ? text_.size() : close + end.size();
  return true;
}

bool ReferenceWalk::SkipDoctype() {
  if (text_.substr(pos_, 9) != "<!DOCTYPE"sv) return false;
  const size_t close = text_.find_first_of("[>", pos_);
  if (close != kNowhere && text_[close] == '[') return SkipTo("<!DOCTYPE", "]");
  return SkipTo("<!DOCTYPE", ">");
}

bool IsXmlCharacter(uint32_t c) { return c != 0 && c <= 0x10FFFF && !IsSurrogate(c); }

/// `digits` behind "&#", up to the semicolon.
bool IsCharacterNumber(std::string_view digits) {
  const bool hex = !digits.empty() && digits[0] == 'x';
  if (hex) digits.remove_prefix(1);
  if (digits.empty()) return false;
  uint32_t value = 0;
  for (const char c : digits) {
    const size_t digit = "0123456789abcdef"sv.find(LowerCase(std::string_view(&c, 1)));
    if (digit >= (hex ? 16u : 10u)) return false;
    value = std::min<uint32_t>(value * (hex ? 16 : 10) + static_cast<uint32_t>(digit), 0x110000);
  }
  return IsXmlCharacter(value);
}

bool IsReference(std::string_view text) {
  constexpr std::array kEntities = {"amp"sv, "lt"sv, "gt"sv, "quot"sv, "apos"sv};
  const size_t end = text.find(';');
  if (end == kNowhere) return false;
  const std::string_view inner = text.substr(1, end - 1);
  if (!inner.empty() && inner[0] == '#') return IsCharacterNumber(inner.substr(1));
  return IsAmong(kEntities, inner);
}

[[noreturn]] void FailAtCharacter(const std::string& name, const std::string& utf8, size_t offset,
                                  const std::string& wrong, const std::string& advice) {
  throw FileFailure(kExitDamaged, name,
                    "malformed XML at " + Named(PlaceAt(utf8, offset)) + ": " + wrong, advice);
}

}  // namespace

std::string XmlToUtf8(const std::string& name, const std::string& bytes, ImportNotes& notes) {
  if (std::optional<std::string> text = FromMarked(name, bytes)) return *std::move(text);
  const std::string encoding = DeclaredEncoding(bytes);
  if (!encoding.empty()) return FromDeclared(name, bytes, encoding);
  return FromUnnamed(name, bytes, notes);
}

std::string PlainToUtf8(const std::string& name, const std::string& bytes, ImportNotes& notes) {
  const std::optional<std::string> marked = FromMarked(name, bytes);
  std::string text = marked ? *marked : FromUnnamed(name, bytes, notes);
  if (const size_t null = text.find('\0'); null != std::string::npos) {
    throw FileFailure(kExitDamaged, name,
                      "no text: a null character at " + Named(PlaceAt(text, null)), "remove it");
  }
  return text;
}

void CheckCharacters(const std::string& name, const std::string& utf8) {
  constexpr size_t kLongestReference = 40;
  if (const size_t null = utf8.find('\0'); null != std::string::npos) {
    FailAtCharacter(name, utf8, null, "a null character", "remove it");
  }
  ReferenceWalk walk(utf8);
  for (size_t pos = walk.Next(); pos != kNowhere; pos = walk.Next()) {
    if (!IsReference(utf8.substr(pos, kLongestReference))) {
      FailAtCharacter(name, utf8, pos, "this & begins no reference that XML knows",
                      "write &amp; for a plain &");
    }
  }
}

}  // namespace kxo
