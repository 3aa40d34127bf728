/// The frames of rows, and where rows may be.
#pragma once

#include "salvage/Bytes.h"

namespace kxo::salvage {

/// What stands where a row is expected.
struct Frame {
  size_t begin = 0;
  bool hasStart = false;
  bool hasLength = false;  ///< Its length lies in the file.
  uint32_t length = 0;
  bool fits = false;  ///< So does the block.
  bool hasEnd = false;

  bool IsWhole() const { return hasStart && hasEnd; }
  size_t BlockBegin() const { return begin + kx_gen::format::kRowFrontSize; }
  // Of one that fits.
  size_t BlockEnd() const { return BlockBegin() + length; }
  size_t End() const { return BlockEnd() + kx_gen::format::kRowTagSize; }
};

Frame FrameAt(Bytes file, size_t pos);

/// A start tag, with the rest of a frame or an entry behind it. Nothing less can be told from a
/// value that has the bytes of a start tag in it.
bool IsLikelyRow(Bytes file, size_t pos);
/// A frame around tagged data of which only the start tag is something else.
bool IsHeadlessRow(Bytes file, size_t pos);
/// The first likely row from `pos` on and before `end`, else `end`.
size_t NextLikelyRow(Bytes file, size_t pos, size_t end);

}  // namespace kxo::salvage
