// A bitmap's block as the library reads it: its header's numbers, its rows, and whether a handle
// holds all of it.
#pragma once

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "Dib.h"
#include "DibLayout.h"
#include "KxLittleEndian.h"
#include "MemAPI.h"

namespace kx_gen {

struct HandleFree {
  void operator()(void* handle) const { MemFree(handle); }
};
using OwnedHandle = std::unique_ptr<void, HandleFree>;

// A new handle, unless it would have more than 32 bits of data.
inline OwnedHandle newHandle(uint64_t size) {
  if (size > std::numeric_limits<uint32_t>::max()) return nullptr;
  return OwnedHandle(MemAlloc(static_cast<unsigned long>(size)));
}

// The drawing format of a bitmap, which stays its owner's; null when it cannot be converted.
OwnedHandle internalFormatOf(void* dib);

inline unsigned char* dataOf(const OwnedHandle& handle) {
  return static_cast<unsigned char*>(MemGetPtr(handle.get()));
}

inline bool hasInfoHeader(const unsigned char* dib) {
  return getLe32(dib + bmp::kHeaderSizeOffset) == bmp::kInfoHeaderSize;
}

inline unsigned bitCountOf(const unsigned char* dib) {
  return getLe16(dib + (hasInfoHeader(dib) ? bmp::kBitCountOffset : bmp::kCoreBitCountOffset));
}

// True when the header, of whichever form, lies within `size` bytes.
inline bool holdsHeader(const unsigned char* dib, uint64_t size) {
  if (size < bmp::kHeaderSizeSize) return false;
  return size >= (hasInfoHeader(dib) ? bmp::kInfoHeaderSize : bmp::kCoreHeaderSize);
}

// A block that begins with an information header.
class InfoDib {
 public:
  explicit InfoDib(const unsigned char* block) : block_(block) {}

  const unsigned char* header() const { return block_; }
  const unsigned char* colors() const { return block_ + bmp::kInfoHeaderSize; }
  int32_t width() const { return static_cast<int32_t>(getLe32(block_ + bmp::kWidthOffset)); }
  int32_t height() const { return static_cast<int32_t>(getLe32(block_ + bmp::kHeightOffset)); }
  // Rows, whichever way up they stand.
  uint32_t rowCount() const {
    const auto stored = static_cast<uint32_t>(height());
    return height() < 0 ? 0 - stored : stored;
  }
  uint16_t bitCount() const { return getLe16(block_ + bmp::kBitCountOffset); }
  bool isRunLength() const { return bmp::isRunLength(getLe32(block_ + bmp::kCompressionOffset)); }
  uint32_t imageSize() const { return getLe32(block_ + bmp::kImageSizeOffset); }

  // In bytes; a negative width has no rows.
  uint64_t rowSize() const {
    return width() < 0 ? bmp::kTooLarge : bmp::rowSize(bitCount(), static_cast<uint32_t>(width()));
  }
  uint64_t rowsSize() const {
    return width() < 0 ? bmp::kTooLarge
                       : bmp::rowsSize(bitCount(), static_cast<uint32_t>(width()), rowCount());
  }
  size_t bitsOffset() const { return bmp::kInfoHeaderSize + PaletteSize(block_); }

  // Counted from the top of the picture.
  const unsigned char* row(uint32_t index) const {
    const uint32_t stored = height() < 0 ? index : rowCount() - 1 - index;
    return block_ + bitsOffset() + static_cast<size_t>(rowSize() * stored);
  }

  // True when this many bytes of pixels lie within a block of `size` bytes.
  bool holdsBits(uint64_t bitsSize, uint64_t size) const {
    return bitsOffset() <= size && bitsSize <= size - bitsOffset();
  }

 private:
  const unsigned char* block_;
};

// What a new header says; its other fields are 0.
struct InfoHeader {
  uint32_t width = 0;
  uint32_t height = 0;
  uint16_t bitCount = 0;
};

inline void putInfoHeader(unsigned char* dib, const InfoHeader& header) {
  std::memset(dib, 0, bmp::kInfoHeaderSize);
  putLe32(dib + bmp::kHeaderSizeOffset, bmp::kInfoHeaderSize);
  putLe32(dib + bmp::kWidthOffset, header.width);
  putLe32(dib + bmp::kHeightOffset, header.height);
  putLe16(dib + bmp::kPlanesOffset, 1);
  putLe16(dib + bmp::kBitCountOffset, header.bitCount);
}

}  // namespace kx_gen
