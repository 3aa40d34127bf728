/// The language of the operation script: one operation a line, its verb first, then words; texts in
/// double quotes. `#` at the start of a word begins a comment.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx_operations {

using Bytes = std::vector<unsigned char>;

/// What is wrong with the script itself, not with what it does.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Library text of UTF-16 units, and back: on systems with wide characters of 32 bits a surrogate
/// pair is one character.
std::wstring fromUnits(const std::u16string& units);
std::u16string toUnits(const std::wstring& text);

/// The words of one line, taken one by one. Taking one that is not there, or is no number where one
/// is wanted, throws `ScriptError`.
class Words {
 public:
  explicit Words(const std::string& line);

  bool isAtEnd() const { return next_ == words_.size(); }
  /// A plain word.
  std::string word();
  /// Text: in quotes, with \n \r \t \" \\ and \u with a UTF-16 unit of 4 digits; `*3` right behind
  /// the quotes repeats it. A plain word is text, too.
  std::wstring text();
  /// Decimal or 0x hexadecimal, with a sign where one is wanted.
  int64_t number();
  /// The same, reduced to a type; the type's own limits are not looked at.
  template <class T>
  T as() {
    return static_cast<T>(number());
  }
  double real();
  /// Hexadecimal digits in pairs; `-` is nothing. `*3` right behind them repeats the bytes.
  Bytes bytes();
  /// `on` or `off`.
  bool truth();

 private:
  struct Word {
    std::string plain;
    std::wstring text;
    size_t times = 1;
  };
  const Word& take();

  std::vector<Word> words_;
  size_t next_ = 0;
};

}  // namespace kx_operations
