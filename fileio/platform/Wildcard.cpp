#include "Wildcard.h"

#include <cstdint>
#include <utility>

namespace kx_platform {
namespace {

bool IsIn(uint32_t c, uint32_t first, uint32_t last) { return first <= c && c <= last; }

/// In these ranges capital and small letters alternate, the capital on the even code point.
bool IsEvenCapital(uint32_t c) {
  return IsIn(c, 0x100, 0x12F) || IsIn(c, 0x132, 0x137) || IsIn(c, 0x14A, 0x177) ||
         IsIn(c, 0x460, 0x481) || IsIn(c, 0x48A, 0x4BF) || IsIn(c, 0x4D0, 0x52F) ||
         IsIn(c, 0x1E00, 0x1E95) || IsIn(c, 0x1EA0, 0x1EFF);
}

/// In these, on the odd one.
bool IsOddCapital(uint32_t c) {
  return IsIn(c, 0x139, 0x148) || IsIn(c, 0x179, 0x17E) || IsIn(c, 0x4C1, 0x4CE);
}

uint32_t FoldLatin(uint32_t c) {
  if (IsIn(c, 'A', 'Z')) return c + 0x20;
  if (IsIn(c, 0xC0, 0xDE) && c != 0xD7) return c + 0x20;
  if (c == 0x178) return 0xFF;
  if (IsEvenCapital(c)) return c | 1;
  if (IsOddCapital(c)) return c + (c & 1);
  return c;
}

uint32_t FoldGreekOrCyrillic(uint32_t c) {
  if (c == 0x386) return 0x3AC;
  if (IsIn(c, 0x388, 0x38A)) return c + 0x25;
  if (c == 0x38C) return 0x3CC;
  if (IsIn(c, 0x38E, 0x38F)) return c + 0x3F;
  if (IsIn(c, 0x391, 0x3AB) && c != 0x3A2) return c + 0x20;
  if (IsIn(c, 0x400, 0x40F)) return c + 0x50;
  if (IsIn(c, 0x410, 0x42F)) return c + 0x20;
  return FoldLatin(c);
}

/// How many elements the character at `at` takes: two for a surrogate pair.
size_t CharacterLength(std::wstring_view text, size_t at) {
  const bool isPair = IsIn(static_cast<uint32_t>(text[at]), 0xD800, 0xDBFF) &&
                      at + 1 < text.size() &&
                      IsIn(static_cast<uint32_t>(text[at + 1]), 0xDC00, 0xDFFF);
  return isPair ? 2 : 1;
}

/// The UTF-16 units of a name, in lower case. Names are ordered by them, so that the order is the
/// same where wide characters are wider.
class UnitReader {
 public:
  explicit UnitReader(std::wstring_view text) : text_(text) {}

  bool IsAtEnd() const { return at_ == text_.size() && low_ == 0; }

  uint32_t Take() {
    if (low_ != 0) return std::exchange(low_, 0);
    const auto c = static_cast<uint32_t>(FoldCase(text_[at_++]));
    if (c <= 0xFFFF) return c;
    low_ = 0xDC00 + (c & 0x3FF);
    return 0xD800 + ((c - 0x10000) >> 10);
  }

 private:
  std::wstring_view text_;
  size_t at_ = 0;
  uint32_t low_ = 0;  // the second half of a surrogate pair
};

/// Where a run of `*` may resume: the pattern behind it and the first name position not tried yet.
struct Restart {
  bool set = false;
  size_t pattern = 0;
  size_t name = 0;
};

class Matcher {
 public:
  Matcher(std::wstring_view pattern, std::wstring_view name) : pattern_(pattern), name_(name) {}

  bool Run() {
    while (true) {
      if (p_ == pattern_.size() && n_ == name_.size()) return true;
      if (!Step() && !Resume()) return false;
    }
  }

 private:
  /// The dot of `.*` needs no dot of a name that ends here.
  bool IsAtDotStar() const { return pattern_.substr(p_, 2) == L".*"; }

  /// Consumes one character of the pattern; false when it does not fit.
  bool Step() {
    if (p_ == pattern_.size()) return false;
    if (pattern_[p_] == L'*') {
      restart_ = {true, ++p_, n_};
      return true;
    }
    if (n_ == name_.size()) {
      if (!IsAtDotStar()) return false;
    } else if (pattern_[p_] == L'?') {
      n_ += CharacterLength(name_, n_);
    } else if (FoldCase(pattern_[p_]) == FoldCase(name_[n_])) {
      ++n_;
    } else {
      return false;
    }
    ++p_;
    return true;
  }

  /// Lets the last `*` take one character more.
  bool Resume() {
    if (!restart_.set || restart_.name == name_.size()) return false;
    restart_.name += CharacterLength(name_, restart_.name);
    p_ = restart_.pattern;
    n_ = restart_.name;
    return true;
  }

  std::wstring_view pattern_;
  std::wstring_view name_;
  size_t p_ = 0;
  size_t n_ = 0;
  Restart restart_;
};

}  // namespace

wchar_t FoldCase(wchar_t character) {
  const auto c = static_cast<uint32_t>(character);
  if (IsIn(c, 0x370, 0x42F)) return static_cast<wchar_t>(FoldGreekOrCyrillic(c));
  return static_cast<wchar_t>(FoldLatin(c));
}

int CompareIgnoringCase(std::wstring_view a, std::wstring_view b) {
  UnitReader left(a);
  UnitReader right(b);
  while (!left.IsAtEnd() && !right.IsAtEnd()) {
    const uint32_t x = left.Take();
    const uint32_t y = right.Take();
    if (x != y) return x < y ? -1 : 1;
  }
  if (left.IsAtEnd() && right.IsAtEnd()) return 0;
  return left.IsAtEnd() ? -1 : 1;
}

bool HasWildcards(std::wstring_view name) {
  return name.find_first_of(L"*?") != std::wstring_view::npos;
}

bool MatchesWildcard(std::wstring_view pattern, std::wstring_view name) {
  return Matcher(pattern, name).Run();
}

}  // namespace kx_platform
