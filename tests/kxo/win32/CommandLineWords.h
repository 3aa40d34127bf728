/// The words of a command line, as Windows programs take them apart.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kxo_test {

/// Appends a word that arrives as it is: in quotes, with each backslash ahead of a quote doubled.
inline void AppendWord(std::wstring* line, std::wstring_view word) {
  if (!line->empty()) *line += L' ';
  *line += L'"';
  size_t backslashes = 0;
  for (const wchar_t c : word) {
    if (c == L'"') line->append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    *line += c;
  }
  line->append(backslashes, L'\\');
  *line += L'"';
}

inline std::wstring LineOf(const std::vector<std::wstring>& words) {
  std::wstring line;
  for (const std::wstring& word : words) AppendWord(&line, word);
  return line;
}

}  // namespace kxo_test
