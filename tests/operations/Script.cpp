#include "Script.h"

#include <cctype>
#include <cstdlib>

namespace kx_operations {

namespace {

constexpr char16_t kHighFirst = 0xD800;
constexpr char16_t kLowFirst = 0xDC00;
constexpr char16_t kLowLast = 0xDFFF;
constexpr uint32_t kPairFirst = 0x10000;

bool isBlank(char c) { return c == ' '; }

void appendCodePoint(std::u16string& units, uint32_t point) {
  if (point < kPairFirst) {
    units += static_cast<char16_t>(point);
    return;
  }
  units += static_cast<char16_t>(kHighFirst + ((point - kPairFirst) >> 10));
  units += static_cast<char16_t>(kLowFirst + ((point - kPairFirst) & 0x3FF));
}

/// Walks over one line.
class Scanner {
 public:
  explicit Scanner(const std::string& line) : line_(line) {}

  /// At a word; false at the end of the line and at a comment.
  bool findWord() {
    while (at_ < line_.size() && isBlank(line_[at_])) ++at_;
    return at_ < line_.size() && line_[at_] != '#';
  }

  bool isQuoted() const { return line_[at_] == '"'; }

  std::string plain() {
    std::string word;
    while (at_ < line_.size() && !isBlank(line_[at_]) && line_[at_] != '*') word += line_[at_++];
    return word;
  }

  std::u16string quoted() {
    std::u16string units;
    for (++at_; peek() != '"';) {
      if (peek() == '\\') {
        units += escaped();
      } else {
        appendCodePoint(units, codePoint());
      }
    }
    ++at_;
    return units;
  }

  /// The count behind a star, 1 without one.
  size_t times() {
    if (at_ == line_.size() || line_[at_] != '*') return 1;
    ++at_;
    return static_cast<size_t>(std::strtoul(plain().c_str(), nullptr, 10));
  }

 private:
  char peek() const {
    if (at_ == line_.size()) throw ScriptError("a text without its end");
    return line_[at_];
  }

  char16_t escaped() {
    ++at_;
    const char kind = peek();
    ++at_;
    switch (kind) {
      case 'n':
        return u'\n';
      case 'r':
        return u'\r';
      case 't':
        return u'\t';
      case 'u': {
        const std::string digits = line_.substr(at_, 4);
        at_ += digits.size();
        return static_cast<char16_t>(std::strtoul(digits.c_str(), nullptr, 16));
      }
      default:
        return static_cast<char16_t>(kind);
    }
  }

  /// A character of the script, which is UTF-8.
  uint32_t codePoint() {
    const auto first = static_cast<unsigned char>(line_[at_++]);
    if (first < 0x80) return first;
    const int more = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    uint32_t point = first & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
      point = point << 6 | (static_cast<unsigned char>(peek()) & 0x3Fu);
      ++at_;
    }
    return point;
  }

  const std::string& line_;
  size_t at_ = 0;
};

}  // namespace

std::wstring fromUnits(const std::u16string& units) {
  std::wstring text;
  for (size_t i = 0; i < units.size(); ++i) {
    const char16_t unit = units[i];
    const bool isPair = sizeof(wchar_t) > sizeof(char16_t) && unit >= kHighFirst &&
                        unit < kLowFirst && i + 1 < units.size() && units[i + 1] >= kLowFirst &&
                        units[i + 1] <= kLowLast;
    if (isPair) {
      const uint32_t low = units[++i] - kLowFirst;
      text +=
          static_cast<wchar_t>(kPairFirst + (static_cast<uint32_t>(unit - kHighFirst) << 10) + low);
    } else {
      text += static_cast<wchar_t>(unit);
    }
  }
  return text;
}

std::u16string toUnits(const std::wstring& text) {
  std::u16string units;
  for (const wchar_t c : text) appendCodePoint(units, static_cast<uint32_t>(c));
  return units;
}

Words::Words(const std::string& line) {
  Scanner scanner(line);
  while (scanner.findWord()) {
    Word word;
    if (scanner.isQuoted()) {
      word.text = fromUnits(scanner.quoted());
    } else {
      word.plain = scanner.plain();
      word.text.assign(word.plain.begin(), word.plain.end());
    }
    word.times = scanner.times();
    words_.push_back(word);
  }
}

const Words::Word& Words::take() {
  if (isAtEnd()) throw ScriptError("a word is missing");
  return words_[next_++];
}

std::string Words::word() { return take().plain; }

std::wstring Words::text() {
  const Word& word = take();
  std::wstring text;
  for (size_t i = 0; i < word.times; ++i) text += word.text;
  return text;
}

int64_t Words::number() {
  const std::string digits = word();
  char* end = nullptr;
  const int64_t value = std::strtoll(digits.c_str(), &end, 0);
  if (digits.empty() || *end != '\0') throw ScriptError("no number: " + digits);
  return value;
}

double Words::real() { return std::strtod(word().c_str(), nullptr); }

Bytes Words::bytes() {
  const Word& word = take();
  Bytes bytes;
  if (word.plain == "-") return bytes;
  if (word.plain.size() % 2 != 0) throw ScriptError("half a byte: " + word.plain);
  for (size_t i = 0; i < word.times; ++i) {
    for (size_t at = 0; at < word.plain.size(); at += 2) {
      const std::string digits = word.plain.substr(at, 2);
      bytes.push_back(static_cast<unsigned char>(std::strtoul(digits.c_str(), nullptr, 16)));
    }
  }
  return bytes;
}

bool Words::truth() {
  const std::string answer = word();
  if (answer != "on" && answer != "off") throw ScriptError("neither on nor off: " + answer);
  return answer == "on";
}

}  // namespace kx_operations
