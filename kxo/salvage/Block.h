/// A block of tagged data: its entries as they stand in the file, and what a reader finds in it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "salvage/Bytes.h"
#include "salvage/Fields.h"
#include "salvage/Finding.h"

namespace kxo::salvage {

struct Entry {
  size_t offset = 0;
  uint32_t tag = 0;
  uint32_t length = 0;
  size_t Value() const { return offset + kx_gen::format::kTagSize; }
  size_t End() const { return Value() + length; }  ///< Where its value is known to lie in the file.
};

/// The entry whose tag stands at `pos`.
inline Entry EntryAt(Bytes file, size_t pos) {
  return {pos, Number(file, pos + kx_gen::format::kTagIdOffset),
          Number(file, pos + kx_gen::format::kTagLengthOffset)};
}
/// Whether its value ends at `end` or before.
inline bool Fits(const Entry& entry, size_t end) { return Holds(end, entry.Value(), entry.length); }

/// Where a walk over a block ended.
enum class Stop {
  kEnd,      ///< Too few bytes for another tag are left.
  kCode,     ///< No tag code stands there.
  kOverrun,  ///< The entry there runs past the block.
};

struct Block {
  size_t begin = 0;
  size_t end = 0;
  std::vector<Entry> entries;  ///< Whole ones, in the order of the file.
  Stop stop = Stop::kEnd;
  size_t stopOffset = 0;
};

/// Walks a block that lies in the file. `block` is used again, so that it allocates once.
void ScanBlock(Bytes file, size_t begin, size_t end, Block& block);

/// Whose block it is.
struct Owner {
  Fields fields;
  size_t offset = 0;  ///< Of the row or slot.
  size_t row = 0;
  uint16_t header = 0;
  bool isError = true;  ///< Whether what makes a reader fail counts as an error here.
};

using Sink = std::function<void(const Finding&)>;

/// Tells everything that is wrong with a block, as the library's accessors would meet it. Returns
/// whether the block can be kept as it stands.
bool CheckBlock(Bytes file, const Block& block, const Owner& owner, const Sink& sink);

enum class DrawingState { kWhole, kOtherPixels, kUnreadable };
DrawingState StateOfDrawing(Bytes drawing);
/// Whether a drawing's own lengths add up to its size; its pixels are not looked at.
bool HasSizeOfDrawing(Bytes drawing);

}  // namespace kxo::salvage
