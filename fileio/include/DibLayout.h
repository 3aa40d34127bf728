/// The layout of device-independent bitmaps and of BMP files. All numbers are little-endian.
///
/// A bitmap in memory is one packed block: header, colour table, pixel bits. Rows stand from the
/// bottom up (from the top down when the height is negative) and take whole groups of 4 bytes. In a
/// BMP file a header of 14 bytes stands ahead of that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace kx_gen::bmp {

// --- BMP file header ---
constexpr uint16_t kFileType = 0x4D42;  // "BM"
constexpr size_t kFileTypeOffset = 0;
constexpr size_t kFileSizeOffset = kFileTypeOffset + 2;
constexpr size_t kFileReservedOffset = kFileSizeOffset + 4;
constexpr size_t kFileBitsOffset = kFileReservedOffset + 2 + 2;
constexpr size_t kFileHeaderSize = kFileBitsOffset + 4;
static_assert(kFileHeaderSize == 14, "type, file size, two reserved, place of the bits, packed");

// --- Information header, told by its size, the first field of either header ---
constexpr size_t kHeaderSizeOffset = 0;
constexpr size_t kHeaderSizeSize = 4;
constexpr size_t kWidthOffset = kHeaderSizeOffset + kHeaderSizeSize;
constexpr size_t kHeightOffset = kWidthOffset + 4;
constexpr size_t kPlanesOffset = kHeightOffset + 4;
constexpr size_t kBitCountOffset = kPlanesOffset + 2;
constexpr size_t kCompressionOffset = kBitCountOffset + 2;
constexpr size_t kImageSizeOffset = kCompressionOffset + 4;
constexpr size_t kResolutionOffset = kImageSizeOffset + 4;  // across and down
constexpr size_t kColorsUsedOffset = kResolutionOffset + 4 + 4;
constexpr size_t kColorsImportantOffset = kColorsUsedOffset + 4;
constexpr size_t kInfoHeaderSize = kColorsImportantOffset + 4;
static_assert(kInfoHeaderSize == 40, "information header, packed");
constexpr size_t kColorSize = 4;  // blue, green, red, reserved

// --- Core header: the older form ---
constexpr size_t kCoreWidthOffset = kHeaderSizeOffset + kHeaderSizeSize;
constexpr size_t kCoreHeightOffset = kCoreWidthOffset + 2;
constexpr size_t kCorePlanesOffset = kCoreHeightOffset + 2;
constexpr size_t kCoreBitCountOffset = kCorePlanesOffset + 2;
constexpr size_t kCoreHeaderSize = kCoreBitCountOffset + 2;
static_assert(kCoreHeaderSize == 12, "core header, packed");
constexpr size_t kCoreColorSize = 3;  // blue, green, red

// --- Compression ---
constexpr uint32_t kPlain = 0;
constexpr uint32_t kRunLength8 = 1;
constexpr uint32_t kRunLength4 = 2;
constexpr uint32_t kBitFields = 3;       // 3 masks stand between header and colour table
constexpr uint32_t kAlphaBitFields = 6;  // 4 masks
constexpr bool isRunLength(uint32_t compression) {
  return compression == kRunLength8 || compression == kRunLength4;
}

// --- Sizes. What does not fit 64 bits is told as this. ---
constexpr uint64_t kTooLarge = std::numeric_limits<uint64_t>::max();

/// The bytes that one row takes. `width` has at most 32 bits.
constexpr uint64_t rowSize(uint32_t bitCount, uint64_t width) {
  return (bitCount * width + 31) / 32 * 4;
}

/// The bytes of all rows.
constexpr uint64_t rowsSize(uint32_t bitCount, uint64_t width, uint64_t height) {
  const uint64_t row = rowSize(bitCount, width);
  return height != 0 && row > kTooLarge / height ? kTooLarge : row * height;
}

/// The colours that a picture of this depth has in its table when the header does not tell.
constexpr unsigned colorsOfDepth(unsigned bitCount) {
  return bitCount == 1 || bitCount == 4 || bitCount == 8 ? 1u << bitCount : 0;
}

}  // namespace kx_gen::bmp
