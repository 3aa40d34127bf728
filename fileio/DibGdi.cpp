// Bitmaps and palettes of the system's own.

#include <algorithm>
#include <memory>
#include <new>

#include "DibBlock.h"
#include "WinApi.h"

namespace kx_gen {

namespace {

constexpr WORD kPaletteVersion = 0x300;
constexpr int kScreenBitsMax = 24;
constexpr unsigned kIndexedColorsMax = 256;

// The screen, with a palette realised on it.
class Screen {
 public:
  explicit Screen(HPALETTE palette = nullptr) : dc_(GetDC(nullptr)) {
    if (palette == nullptr) return;
    before_ = SelectPalette(dc_, palette, FALSE);
    RealizePalette(dc_);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() {
    if (before_ != nullptr) SelectPalette(dc_, before_, FALSE);
    ReleaseDC(nullptr, dc_);
  }
  HDC dc() const { return dc_; }

 private:
  HDC dc_;
  HPALETTE before_ = nullptr;
};

// A context in memory with a bitmap selected.
class Canvas {
 public:
  explicit Canvas(HBITMAP bitmap)
      : dc_(CreateCompatibleDC(nullptr)), before_(SelectObject(dc_, bitmap)) {}
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas() {
    if (before_ != nullptr) SelectObject(dc_, before_);
    DeleteDC(dc_);
  }
  bool isValid() const { return before_ != nullptr; }
  HDC dc() const { return dc_; }

 private:
  HDC dc_;
  HGDIOBJ before_;
};

// The colours of a new palette.
class PaletteColors {
 public:
  explicit PaletteColors(size_t count)
      : count_(count), block_(new (std::nothrow) unsigned char[kFront + count * kEntrySize]()) {}

  void set(size_t index, unsigned red, unsigned green, unsigned blue) {
    const PALETTEENTRY entry = {static_cast<BYTE>(red), static_cast<BYTE>(green),
                                static_cast<BYTE>(blue), 0};
    if (block_ != nullptr) std::memcpy(&block_[kFront + index * kEntrySize], &entry, kEntrySize);
  }

  HPALETTE create() {
    if (block_ == nullptr) return nullptr;
    auto* const palette = reinterpret_cast<LOGPALETTE*>(block_.get());
    palette->palVersion = kPaletteVersion;
    palette->palNumEntries = static_cast<WORD>(count_);
    return CreatePalette(palette);
  }

 private:
  static constexpr size_t kFront = offsetof(LOGPALETTE, palPalEntry);
  static constexpr size_t kEntrySize = sizeof(PALETTEENTRY);

  size_t count_;
  std::unique_ptr<unsigned char[]> block_;
};

HPALETTE blackAndWhite() {
  PaletteColors colors(2);
  colors.set(1, 255, 255, 255);
  return colors.create();
}

// The colours that every screen has: each channel off, half on or on, and two greys.
HPALETTE sixteenColors() {
  constexpr unsigned kHalf = 128;
  constexpr unsigned kFull = 255;
  constexpr unsigned kLightGrey = 192;
  PaletteColors colors(16);
  for (unsigned i = 0; i < 16; ++i) {
    const unsigned level = i < 8 ? kHalf : kFull;
    colors.set(i, (i & 1) * level, (i >> 1 & 1) * level, (i >> 2 & 1) * level);
  }
  colors.set(7, kLightGrey, kLightGrey, kLightGrey);
  colors.set(8, kHalf, kHalf, kHalf);
  return colors.create();
}

// A cube of 6 levels a channel, and greys between them.
HPALETTE manyColors() {
  constexpr unsigned kLevels = 6;
  constexpr unsigned kStep = 255 / (kLevels - 1);
  constexpr unsigned kCube = kLevels * kLevels * kLevels;
  constexpr unsigned kGreys = kIndexedColorsMax - kCube;
  PaletteColors colors(kIndexedColorsMax);
  for (unsigned i = 0; i < kCube; ++i) {
    colors.set(i, i / (kLevels * kLevels) * kStep, i / kLevels % kLevels * kStep,
               i % kLevels * kStep);
  }
  for (unsigned i = 0; i < kGreys; ++i) {
    const unsigned level = (i + 1) * 255 / (kGreys + 1);
    colors.set(kCube + i, level, level, level);
  }
  return colors.create();
}

// A bitmap's header and colours in the system's own form.
struct SectionInfo {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[kIndexedColorsMax] = {};

  SectionInfo(LONG width, LONG height, WORD bitCount) {
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bitCount;
    header.biCompression = BI_RGB;
    header.biClrUsed = static_cast<DWORD>(colorCount());
  }
  size_t colorCount() const { return bmp::colorsOfDepth(header.biBitCount); }
  HBITMAP create(HDC dc, void** bits) const {
    return CreateDIBSection(dc, reinterpret_cast<const BITMAPINFO*>(this), DIB_RGB_COLORS, bits,
                            nullptr, 0);
  }
};
static_assert(offsetof(SectionInfo, colors) == offsetof(BITMAPINFO, bmiColors),
              "the colours stand where the system looks for them");

void takeColors(const InfoDib& dib, SectionInfo& info) {
  const size_t count = std::min<size_t>(info.colorCount(), DIBNumColors(dib.header()));
  for (size_t i = 0; i < count; ++i) {
    const unsigned char* const color = dib.colors() + i * bmp::kColorSize;
    info.colors[i] = {color[0], color[1], color[2], 0};
  }
}

void takePalette(HPALETTE palette, SectionInfo& info) {
  PALETTEENTRY entries[kIndexedColorsMax] = {};
  GetPaletteEntries(palette, 0, static_cast<UINT>(info.colorCount()), entries);
  for (size_t i = 0; i < info.colorCount(); ++i) {
    info.colors[i] = {entries[i].peBlue, entries[i].peGreen, entries[i].peRed, 0};
  }
}

// The bitmap's own colours, or where it has none those of the system.
void takeOwnColors(HDC dc, SectionInfo& info) {
  const auto count = static_cast<UINT>(info.colorCount());
  if (GetDIBColorTable(dc, 0, count, info.colors) > 0) return;
  if (count == 2) {
    info.colors[1] = {255, 255, 255, 0};
  } else {
    takePalette(static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE)), info);
  }
}

WORD depthOf(const BITMAP& bitmap) {
  const int bits = bitmap.bmPlanes * bitmap.bmBitsPixel;
  return static_cast<WORD>(bits == 1 || bits == 4 || bits == 8 ? bits : 24);
}

// A new bitmap with these colours and pixels.
void* dibOf(const SectionInfo& info, const void* bits) {
  const BITMAPINFOHEADER& header = info.header;
  OwnedHandle dib(CreateDIB(static_cast<uint32_t>(header.biWidth),
                            static_cast<uint32_t>(header.biHeight), header.biBitCount));
  if (dib == nullptr) return nullptr;
  unsigned char* const data = dataOf(dib);
  const auto size = static_cast<uint32_t>(InfoDib(data).rowsSize());
  putLe32(data + bmp::kImageSizeOffset, size);
  std::memcpy(data + bmp::kInfoHeaderSize, info.colors, info.colorCount() * sizeof(RGBQUAD));
  std::memcpy(FindDIBBits(static_cast<void*>(data)), bits, size);
  return dib.release();
}

// Draws what `source` shows into a section of this form, and takes that over.
void* drawn(const Canvas& source, const SectionInfo& info) {
  void* bits = nullptr;
  HBITMAP section = info.create(source.dc(), &bits);
  if (section == nullptr) return nullptr;
  void* dib = nullptr;
  {
    const Canvas target(section);
    const bool isDrawn =
        target.isValid() && BitBlt(target.dc(), 0, 0, info.header.biWidth, info.header.biHeight,
                                   source.dc(), 0, 0, SRCCOPY) != 0;
    GdiFlush();
    if (isDrawn) dib = dibOf(info, bits);
  }
  DeleteObject(section);
  return dib;
}

}  // namespace

int PalEntriesOnDevice(HDC device) {
  const Screen screen;
  const HDC dc = device != nullptr ? device : screen.dc();
  if ((GetDeviceCaps(dc, RASTERCAPS) & RC_PALETTE) != 0) return GetDeviceCaps(dc, SIZEPALETTE);
  const int bits = GetDeviceCaps(dc, BITSPIXEL) * GetDeviceCaps(dc, PLANES);
  return 1 << std::min(bits, kScreenBitsMax);
}

HPALETTE CreateHalftonePalette(HDC device, int colors) {
  const int wanted = colors > 0 ? colors : PalEntriesOnDevice(device);
  if (wanted <= 2) return blackAndWhite();
  return wanted <= 16 ? sixteenColors() : manyColors();
}

int CreateDIBPalette(const unsigned char* dib, HPALETTE* palette) {
  if (palette == nullptr) return 0;
  *palette = nullptr;
  const size_t count = dib == nullptr ? 0 : DIBNumColors(dib);
  if (count == 0) return 0;
  const bool isInfo = hasInfoHeader(dib);
  const unsigned char* color = dib + (isInfo ? bmp::kInfoHeaderSize : getLe32(dib));
  PaletteColors colors(count);
  for (size_t i = 0; i < count; ++i) {
    colors.set(i, color[2], color[1], color[0]);
    color += isInfo ? bmp::kColorSize : bmp::kCoreColorSize;
  }
  *palette = colors.create();
  return *palette != nullptr ? 1 : 0;
}

void* BitmapToDIB(HBITMAP bitmap, HPALETTE palette) {
  BITMAP description = {};
  if (bitmap == nullptr || GetObjectW(bitmap, sizeof(description), &description) == 0) {
    return nullptr;
  }
  const Canvas source(bitmap);
  if (!source.isValid()) return nullptr;
  SectionInfo info(description.bmWidth, description.bmHeight, depthOf(description));
  if (info.colorCount() > 0) {
    if (palette != nullptr) {
      takePalette(palette, info);
    } else {
      takeOwnColors(source.dc(), info);
    }
  }
  return drawn(source, info);
}

HBITMAP DIBToBitmap(const void* dib, HPALETTE palette) {
  const auto* block = static_cast<const unsigned char*>(dib);
  if (block == nullptr || !hasInfoHeader(block)) return nullptr;
  const InfoDib picture(block);
  if (getLe32(block + bmp::kCompressionOffset) != bmp::kPlain) return nullptr;
  SectionInfo info(picture.width(), picture.height(), picture.bitCount());
  takeColors(picture, info);
  const Screen screen(palette);
  void* bits = nullptr;
  HBITMAP bitmap = info.create(screen.dc(), &bits);
  if (bitmap == nullptr) return nullptr;
  GdiFlush();
  std::memcpy(bits, FindDIBBits(dib), static_cast<size_t>(picture.rowsSize()));
  return bitmap;
}

HBITMAP ConvertDIBtoBitmap(const void* dib) {
  HPALETTE palette = nullptr;
  CreateDIBPalette(static_cast<const unsigned char*>(dib), &palette);
  HBITMAP bitmap = DIBToBitmap(dib, palette);
  if (palette != nullptr) DeleteObject(palette);
  return bitmap;
}

int DeleteGdiObject(void* object) { return DeleteObject(object) != 0 ? 1 : 0; }

}  // namespace kx_gen
