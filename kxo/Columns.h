/// Texts on a terminal, where some characters take two columns and others none.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kxo {

/// The columns that a text takes: East Asian characters and emoji two, what combines with the
/// character before it none.
size_t WidthOf(std::string_view utf8);
/// The text with blanks behind it up to a width.
std::string PaddedTo(size_t width, const std::string& utf8);
/// The text with blanks before it up to a width.
std::string PaddedBefore(size_t width, const std::string& utf8);
/// The text in lines of at most this width, broken at blanks where there are any. There is a line
/// at least; a character that is wider stands alone.
std::vector<std::string> BrokenAt(size_t width, std::string_view utf8);

}  // namespace kxo
