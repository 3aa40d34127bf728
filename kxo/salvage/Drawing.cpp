#include <algorithm>

#include "DibLayout.h"
#include "salvage/Block.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

/// Where the coded pixels begin; 0 when the block ends before that.
size_t PixelsOffset(Bytes drawing) {
  if (drawing.size() < format::kDrawingFixedSize) return 0;
  const size_t colors = kx_gen::bmp::colorsOfDepth(drawing[format::kDrawingBitsOffset]);
  const size_t offset = format::kDrawingColorsOffset + colors * format::kDrawingColorSize +
                        format::kDrawingLengthSize;
  return offset <= drawing.size() ? offset : 0;
}

uint32_t PixelsSize(Bytes drawing, size_t offset) {
  return Number(drawing, offset - format::kDrawingLengthSize);
}

/// The bytes that one group gives; `pos` moves behind it.
uint64_t SizeOfGroup(Bytes coded, size_t& pos) {
  uint64_t size = 0;
  unsigned control = ShortNumber(coded, pos);
  pos += format::kCodedControlSize;
  for (unsigned item = 0; item < format::kCodedItemsPerGroup && pos < coded.size(); ++item) {
    const bool isCopy = (control & 1) != 0;
    control >>= 1;
    if (isCopy && coded.size() - pos < format::kCodedCopySize) {
      pos = coded.size();  // a copy that is cut short ends it
      break;
    }
    size += isCopy ? (coded[pos] & format::kCodedCopyLengthMask) + 1u : 1u;
    pos += isCopy ? format::kCodedCopySize : 1;
  }
  return size;
}

/// The size of the pixels once they are decoded.
uint64_t PlainSize(Bytes coded) {
  if (coded.size() <= format::kCodedFrontSize) return 0;
  if (coded[0] == format::kCodedPlain) return coded.size() - format::kCodedFrontSize;
  uint64_t size = 0;
  size_t pos = format::kCodedFrontSize;
  while (Holds(coded.size(), pos, format::kCodedControlSize)) size += SizeOfGroup(coded, pos);
  return size;
}

}  // namespace

DrawingState StateOfDrawing(Bytes drawing) {
  const size_t offset = PixelsOffset(drawing);
  if (offset == 0) return DrawingState::kUnreadable;
  const uint32_t codedSize = PixelsSize(drawing, offset);
  if (codedSize > drawing.size() - offset) return DrawingState::kUnreadable;
  const uint32_t size = Number(drawing, format::kDrawingSizeOffset);
  if (PlainSize(drawing.subspan(offset, codedSize)) == size) return DrawingState::kWhole;
  return size > format::kDrawingFilledSizeMax ? DrawingState::kUnreadable
                                              : DrawingState::kOtherPixels;
}

bool HasSizeOfDrawing(Bytes drawing) {
  const size_t offset = PixelsOffset(drawing);
  return offset != 0 && PixelsSize(drawing, offset) == drawing.size() - offset;
}

}  // namespace kxo::salvage
