#include "pictures/Shrink.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Dib.h"
#include "DibLayout.h"
#include "KxLittleEndian.h"
#include "pictures/NormalizeDib.h"
#include "pictures/TrueColor.h"

namespace kxo {

namespace bmp = kx_gen::bmp;

namespace {

constexpr uint32_t kSideMax = 65535;  // of the old and the new picture together

unsigned char* DataOf(const OwnedHandle& handle) {
  return static_cast<unsigned char*>(MemGetPtr(handle.get()));
}

/// The table's place of a pixel of 1, 4 or 8 bits.
unsigned ColorAt(const unsigned char* row, uint32_t x, unsigned depth) {
  const uint64_t bit = uint64_t{x} * depth;
  return static_cast<unsigned>(row[bit / 8] >> (8 - depth - bit % 8)) & ((1u << depth) - 1);
}

/// The same picture with 24 bits a pixel.
OwnedHandle InTrueColors(void* dib) {
  auto* const from = static_cast<unsigned char*>(MemGetPtr(dib));
  const PictureSize size = SizeOfDib(dib);
  const unsigned depth = kx_gen::getLe16(from + bmp::kBitCountOffset);
  OwnedHandle copy(kx_gen::CreateDIB(size.width, size.height, kTrueColor));
  if (copy == nullptr) throw std::bad_alloc();
  const unsigned char* const colors = from + bmp::kInfoHeaderSize;
  const unsigned char* source = kx_gen::FindDIBBits(static_cast<const void*>(from));
  unsigned char* target = kx_gen::FindDIBBits(static_cast<void*>(DataOf(copy)));
  for (uint32_t y = 0; y < size.height; ++y) {
    for (uint32_t x = 0; x < size.width; ++x) {
      const unsigned char* const color = colors + ColorAt(source, x, depth) * bmp::kColorSize;
      std::memcpy(target + size_t{x} * kChannels, color, kChannels);
    }
    source += bmp::rowSize(depth, size.width);
    target += bmp::rowSize(kTrueColor, size.width);
  }
  return copy;
}

}  // namespace

PictureSize SizeOfDib(void* dib) {
  const auto* const data = static_cast<const unsigned char*>(MemGetPtr(dib));
  return {kx_gen::getLe32(data + bmp::kWidthOffset), kx_gen::getLe32(data + bmp::kHeightOffset)};
}

PictureSize FittedInto(const PictureSize& whole, const PictureSize& most) {
  if (whole.width <= most.width && whole.height <= most.height) return whole;
  const auto scaled = [](uint64_t side, uint64_t numerator, uint64_t denominator) {
    return static_cast<uint32_t>(std::max<uint64_t>(side * numerator / denominator, 1));
  };
  if (uint64_t{most.width} * whole.height <= uint64_t{most.height} * whole.width) {
    return {most.width, scaled(whole.height, most.width, whole.width)};
  }
  return {scaled(whole.width, most.height, whole.height), most.height};
}

OwnedHandle Shrunk(void* dib, const PictureSize& size) {
  const PictureSize whole = SizeOfDib(dib);
  if (uint64_t{whole.width} + size.width > kSideMax ||
      uint64_t{whole.height} + size.height > kSideMax) {
    return nullptr;
  }
  const auto* const data = static_cast<const unsigned char*>(MemGetPtr(dib));
  const bool isTrue = kx_gen::getLe16(data + bmp::kBitCountOffset) == kTrueColor;
  const OwnedHandle copy = isTrue ? nullptr : InTrueColors(dib);
  void* const source = isTrue ? dib : copy.get();
  const OwnedHandle shrunk(kx_gen::ShrinkDIB(source, static_cast<unsigned short>(size.width),
                                             static_cast<unsigned short>(size.height)));
  if (shrunk == nullptr) throw std::bad_alloc();
  return OwnedHandle(NormalizeDib(shrunk.get()));
}

}  // namespace kxo
