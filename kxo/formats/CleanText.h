/// Texts on their way into a file that must be UTF-8: what a document may hold and the file may
/// not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Text.h"

namespace kxo {

/// Replaces by U+FFFD what is no character, and counts.
class CleanText {
 public:
  /// Texts without null characters and lone surrogates.
  std::string Of(std::string_view text) {
    return Replaced(text, [](char32_t c) { return c == 0; });
  }
  /// Texts that XML takes: without control characters but tab and line breaks either.
  std::string OfXml(std::string_view text) {
    return Replaced(text, [](char32_t c) {
      return (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0xFFFE || c == 0xFFFF;
    });
  }
  /// A sentence about what was replaced, if anything was.
  void TellInto(std::vector<std::string>& told) const {
    if (count_ == 0) return;
    told.push_back("not carried: " + Counted(count_, "character") +
                   " that such a file cannot hold; U+FFFD stands there");
  }

 private:
  template <class Predicate>
  std::string Replaced(std::string_view text, Predicate isRefused) {
    std::string clean;
    clean.reserve(text.size());
    for (size_t pos = 0; pos < text.size();) {
      const char32_t c = NextCodePoint(text, pos);
      const bool refused = c == kNotUtf8 || IsSurrogate(c) || isRefused(c);
      if (refused) ++count_;
      AppendUtf8(clean, refused ? kReplacementCharacter : c);
    }
    return clean;
  }

  size_t count_ = 0;
};

}  // namespace kxo
