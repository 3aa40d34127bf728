#include "pictures/Png.h"

#include <lodepng.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "DibLayout.h"
#include "KxLittleEndian.h"
#include "pictures/NormalizeDib.h"
#include "pictures/OwnedHandle.h"
#include "pictures/TrueColor.h"

namespace kxo {

namespace {

namespace bmp = kx_gen::bmp;
using kx_gen::getLe16;
using kx_gen::getLe32;
using kx_gen::putLe16;
using kx_gen::putLe32;

constexpr std::array<unsigned char, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

/// PNG's compression makes at most this many bytes of one: a picture that would need more is not in
/// the file.
constexpr uint64_t kExpansionMax = 1032;

constexpr unsigned kOpaque = 255;
constexpr size_t kPngColorSize = 4;  // red, green, blue, alpha

/// Pixels of 1, 2, 4 or 8 bits in a row of them, the first in the highest bits.
unsigned GetPixel(const unsigned char* bytes, uint64_t pixel, unsigned depth) {
  const uint64_t bit = pixel * depth;
  const auto shift = static_cast<unsigned>(8 - depth - bit % 8);
  return static_cast<unsigned>(bytes[bit / 8] >> shift) & ((1u << depth) - 1);
}

/// Into bytes that are 0 where nothing was put yet.
void PutPixel(unsigned char* bytes, uint64_t pixel, unsigned depth, unsigned color) {
  const uint64_t bit = pixel * depth;
  const auto shift = static_cast<unsigned>(8 - depth - bit % 8);
  bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] | color << shift);
}

/// Red, green and blue become blue, green and red, and the other way round.
void SwapChannels(const unsigned char* from, unsigned char* to) {
  to[0] = from[2];
  to[1] = from[1];
  to[2] = from[0];
}

/// A bitmap in the one form, with its parts.
class Dib {
 public:
  explicit Dib(void* handle) : data_(static_cast<unsigned char*>(MemGetPtr(handle))) {}

  uint32_t Width() const { return getLe32(data_ + bmp::kWidthOffset); }
  uint32_t Height() const { return getLe32(data_ + bmp::kHeightOffset); }
  uint16_t Depth() const { return getLe16(data_ + bmp::kBitCountOffset); }
  unsigned char* Color(size_t index) const {
    return data_ + bmp::kInfoHeaderSize + index * bmp::kColorSize;
  }
  /// Counted from the top.
  unsigned char* Row(uint32_t y) const {
    const auto rowSize = static_cast<size_t>(bmp::rowSize(Depth(), Width()));
    return Color(bmp::colorsOfDepth(Depth())) + rowSize * (Height() - 1 - y);
  }

 private:
  unsigned char* data_;
};

void CheckMemory(unsigned error) {
  constexpr unsigned kOutOfMemory = 83;  // lodepng's number
  if (error == kOutOfMemory) throw std::bad_alloc();
}

// --- Out ---

/// The pixels as a PNG file takes them: from the top, rows of less than 8 bits a pixel without a
/// gap between them.
std::vector<unsigned char> PixelsFor(const Dib& dib) {
  const uint64_t width = dib.Width();
  const uint64_t bits = width * dib.Height() * dib.Depth();
  std::vector<unsigned char> pixels(static_cast<size_t>((bits + 7) / 8));
  for (uint32_t y = 0; y < dib.Height(); ++y) {
    const unsigned char* const row = dib.Row(y);
    for (uint64_t x = 0; x < width; ++x) {
      const uint64_t pixel = y * width + x;
      if (dib.Depth() == kTrueColor) {
        SwapChannels(row + x * kChannels, pixels.data() + pixel * kChannels);
      } else {
        PutPixel(pixels.data(), pixel, dib.Depth(), GetPixel(row, x, dib.Depth()));
      }
    }
  }
  return pixels;
}

void SetColors(const Dib& dib, LodePNGColorMode& mode) {
  mode.colortype = dib.Depth() == kTrueColor ? LCT_RGB : LCT_PALETTE;
  mode.bitdepth = dib.Depth() == kTrueColor ? 8 : dib.Depth();
  for (unsigned i = 0; i < bmp::colorsOfDepth(dib.Depth()); ++i) {
    const unsigned char* const color = dib.Color(i);
    CheckMemory(lodepng_palette_add(&mode, color[2], color[1], color[0], kOpaque));
  }
}

std::string Encoded(const Dib& dib) {
  lodepng::State state;
  state.encoder.auto_convert = 0;
  SetColors(dib, state.info_raw);
  SetColors(dib, state.info_png.color);
  const std::vector<unsigned char> pixels = PixelsFor(dib);
  std::vector<unsigned char> bytes;
  // Room beforehand, as nothing frees lodepng's own copy when there is none for it. What cannot be
  // compressed grows a little, and around it are colours and marks.
  constexpr size_t kAround = 4096;
  bytes.reserve(pixels.size() + pixels.size() / 8 + kAround);
  const unsigned error = lodepng::encode(bytes, pixels, dib.Width(), dib.Height(), state);
  CheckMemory(error);
  return error == 0 ? std::string(bytes.begin(), bytes.end()) : "";
}

// --- In ---

/// A colour as it shows on white; a pixel of the RGBA form.
void Flatten(const unsigned char* rgba, unsigned char* bgr) {
  const unsigned alpha = rgba[3];
  const unsigned behind = 255 * (kOpaque - alpha);
  for (size_t i = 0; i < kChannels; ++i) {
    bgr[kChannels - 1 - i] =
        static_cast<unsigned char>((rgba[i] * alpha + behind + kOpaque / 2) / kOpaque);
  }
}

/// A PNG file whose pixels are as it stores them.
struct Decoded {
  unsigned width = 0;
  unsigned height = 0;
  lodepng::State state;
  std::vector<unsigned char> pixels;

  const LodePNGColorMode& Mode() const { return state.info_png.color; }
  bool HasColors() const {
    return Mode().colortype == LCT_PALETTE ||
           (Mode().colortype == LCT_GREY && Mode().bitdepth < 16);
  }
  /// Bitmaps know no pixels of 2 bits.
  uint16_t Depth() const {
    if (!HasColors()) return kTrueColor;
    return static_cast<uint16_t>(Mode().bitdepth == 2 ? 4 : Mode().bitdepth);
  }
};

bool IsPlausible(const Decoded& png, size_t size) {
  const uint64_t row =
      (uint64_t{png.width} * lodepng_get_bpp(&png.Mode()) + 7) / 8;  // below 2 to the 36th
  return png.height <= size * kExpansionMax / std::max<uint64_t>(row, 1);
}

bool Decode(const unsigned char* bytes, size_t size, Decoded& png) {
  png.state.decoder.color_convert = 0;
  png.state.decoder.read_text_chunks = 0;
  if (lodepng_inspect(&png.width, &png.height, &png.state, bytes, size) != 0) return false;
  if (!IsPlausible(png, size)) return false;
  // The room for them, as nothing frees lodepng's own copy when there is none.
  png.pixels.reserve(lodepng_get_raw_size(png.width, png.height, &png.Mode()));
  const unsigned error = lodepng::decode(png.pixels, png.width, png.height, png.state, bytes, size);
  CheckMemory(error);
  return error == 0;
}

/// A bitmap of this size, all zeros but for its header; null when it does not fit a handle.
OwnedHandle NewDib(const Decoded& png) {
  const uint16_t depth = png.Depth();
  const uint64_t bitsSize = bmp::rowsSize(depth, png.width, png.height);
  const size_t front = bmp::kInfoHeaderSize + bmp::colorsOfDepth(depth) * bmp::kColorSize;
  if (png.width > INT32_MAX || png.height > INT32_MAX || bitsSize > UINT32_MAX - front) {
    return nullptr;
  }
  const auto size = static_cast<size_t>(front + bitsSize);
  OwnedHandle handle(MemAlloc(static_cast<unsigned long>(size)));
  if (handle == nullptr) throw std::bad_alloc();
  auto* const data = static_cast<unsigned char*>(MemGetPtr(handle.get()));
  std::memset(data, 0, size);
  putLe32(data + bmp::kHeaderSizeOffset, bmp::kInfoHeaderSize);
  putLe32(data + bmp::kWidthOffset, png.width);
  putLe32(data + bmp::kHeightOffset, png.height);
  putLe16(data + bmp::kPlanesOffset, 1);
  putLe16(data + bmp::kBitCountOffset, depth);
  putLe32(data + bmp::kImageSizeOffset, static_cast<uint32_t>(bitsSize));
  return handle;
}

void PutPalette(const LodePNGColorMode& mode, const Dib& dib) {
  const size_t count = std::min<size_t>(mode.palettesize, bmp::colorsOfDepth(dib.Depth()));
  for (size_t i = 0; i < count; ++i) Flatten(mode.palette + i * kPngColorSize, dib.Color(i));
}

/// All greys of the depth; the one that a picture may call transparent is white.
void PutGreys(const LodePNGColorMode& mode, const Dib& dib) {
  const unsigned last = (1u << mode.bitdepth) - 1;
  for (unsigned i = 0; i <= last; ++i) {
    const bool isTransparent = mode.key_defined != 0 && mode.key_r == i;
    std::memset(dib.Color(i), static_cast<int>(isTransparent ? 255 : i * 255 / last), kChannels);
  }
}

void PutColoredRow(const Decoded& png, uint32_t y, const Dib& dib) {
  const unsigned depth = png.Mode().bitdepth;
  unsigned char* const row = dib.Row(y);
  for (uint64_t x = 0; x < png.width; ++x) {
    PutPixel(row, x, dib.Depth(), GetPixel(png.pixels.data(), y * uint64_t{png.width} + x, depth));
  }
}

/// Pixels of whole bytes, by way of `rgba`, which has room for a row.
bool PutTrueRow(const Decoded& png, uint32_t y, std::vector<unsigned char>& rgba, const Dib& dib) {
  const LodePNGColorMode mode = lodepng_color_mode_make(LCT_RGBA, 8);
  const size_t rowSize = size_t{png.width} * (lodepng_get_bpp(&png.Mode()) / 8);
  const unsigned error = lodepng_convert(rgba.data(), png.pixels.data() + y * rowSize, &mode,
                                         &png.Mode(), png.width, 1);
  unsigned char* const row = dib.Row(y);
  for (size_t x = 0; x < png.width; ++x) {
    Flatten(rgba.data() + x * kPngColorSize, row + x * kChannels);
  }
  return error == 0;
}

bool PutRows(const Decoded& png, const Dib& dib) {
  if (png.HasColors()) {
    for (uint32_t y = 0; y < png.height; ++y) PutColoredRow(png, y, dib);
    return true;
  }
  std::vector<unsigned char> rgba(size_t{png.width} * kPngColorSize);
  for (uint32_t y = 0; y < png.height; ++y) {
    if (!PutTrueRow(png, y, rgba, dib)) return false;
  }
  return true;
}

}  // namespace

std::string EncodePng(void* dib) {
  const OwnedHandle normalized(NormalizeDib(dib));
  return normalized == nullptr ? "" : Encoded(Dib(normalized.get()));
}

void* DecodePng(const unsigned char* bytes, size_t size) {
  Decoded png;
  if (!IsPng(bytes, size) || !Decode(bytes, size, png)) return nullptr;
  OwnedHandle handle = NewDib(png);
  if (handle == nullptr) return nullptr;
  const Dib dib(handle.get());
  if (png.Mode().colortype == LCT_PALETTE) PutPalette(png.Mode(), dib);
  if (png.Mode().colortype == LCT_GREY && png.HasColors()) PutGreys(png.Mode(), dib);
  return PutRows(png, dib) ? handle.release() : nullptr;
}

bool IsPng(const unsigned char* bytes, size_t size) {
  return bytes != nullptr && size >= kSignature.size() &&
         std::equal(kSignature.begin(), kSignature.end(), bytes);
}

}  // namespace kxo
