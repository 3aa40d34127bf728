/// The rows that every engine keeps: about 45 characters of text, and every tenth row a note of
/// 200.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kx_bench {

/// What a row says, as wide text for the library and as narrow text for the others.
struct RowText {
  std::wstring text;
  std::wstring otherText;  ///< As long as `text`; what edits put in its place.
  std::wstring note;
  std::string narrowText;
  std::string narrowOtherText;
  std::string narrowNote;
};

/// The texts repeat every thousand rows, so that making up the data costs no engine memory traffic.
const RowText& rowText(size_t row);
inline uint32_t rowId(size_t row) { return static_cast<uint32_t>(row + 1); }
/// A tree whose levels go up to 5.
uint8_t rowIndent(size_t row);

/// "kx-1000.kxo" for "kx" and 1000.
std::string fileName(const char* engine, size_t rows);

}  // namespace kx_bench
