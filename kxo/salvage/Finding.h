/// One thing that is wrong with a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kxo::salvage {

/// What is wrong. The order is that of the file; the name of each is in NameOf.
enum class Code {
  // The information block.
  kTooShort,
  kCheckCode,
  kVersion,
  // The header table.
  kTableCut,
  kTableRepeat,
  kTableAstray,
  // Slots.
  kSlotSmall,
  kSlotCut,
  kSlotLength,
  kSlotFill,
  // What stands ahead of the rows.
  kExtraCut,
  kIdCount,
  // Blocks of tagged data.
  kTagCode,
  kTagOverrun,
  kTagOrder,
  // Fields.
  kFieldAbsent,
  kFieldLong,
  kTextEnd,
  kTextNull,
  kDrawing,
  kDrawingPixels,
  kCategoryId,
  // Rows.
  kRowStart,
  kRowLength,
  kRowEnd,
  kRowCut,
  kRowPart,
  kRowAstray,
  kGap,
  kRowsMissing,
  // Behind the declared rows.
  kBehindRows,
  kLeftover,
};

const char* NameOf(Code code);  ///< "row-start".

struct Finding {
  Code code = Code::kTooShort;
  /// An error makes the library fail when it reads this; it reads on over anything else.
  bool error = true;
  size_t offset = 0;
  size_t row = 0;       ///< Counted from 1 among the rows found; 0: not about a row.
  uint16_t header = 0;  ///< Its id; 0: not about a header.
  std::optional<uint32_t> tag;
  int message = 0;  ///< The library's message; 0: none.
  std::string expected;
  std::string found;
};

}  // namespace kxo::salvage
