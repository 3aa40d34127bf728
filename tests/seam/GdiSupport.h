/// Bitmaps, contexts and palettes for the tests of the drawing calls.
#pragma once

#include <cstring>
#include <vector>

#include "SeamSupport.h"

namespace kx_seam {

constexpr DWORD kInvalidHandle = 6;
constexpr DWORD kInvalidParameter = 87;

template <class Call>
DWORD refusal(Call call) {
  SetLastError(0);
  return errorOf(call());
}

/// A bitmap's form, with room for every colour.
struct Form {
  BITMAPINFOHEADER header = {};
  RGBQUAD colors[256] = {};

  Form(LONG width, LONG height, WORD bits) {
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bits;
  }
  const BITMAPINFO* info() const { return reinterpret_cast<const BITMAPINFO*>(this); }
};

class Section {
 public:
  explicit Section(const Form& form) {
    void* bits = nullptr;
    handle_ = CreateDIBSection(nullptr, form.info(), DIB_RGB_COLORS, &bits, nullptr, 0);
    this->bits = static_cast<unsigned char*>(bits);
  }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  ~Section() { DeleteObject(handle_); }
  HBITMAP get() const { return handle_; }
  unsigned char* bits = nullptr;

 private:
  HBITMAP handle_;
};

/// A memory context, with a bitmap selected or the one that it begins with.
class Canvas {
 public:
  explicit Canvas(HBITMAP bitmap = nullptr) : dc_(CreateCompatibleDC(nullptr)) {
    if (bitmap != nullptr) before_ = SelectObject(dc_, bitmap);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas() { DeleteDC(dc_); }
  HDC get() const { return dc_; }
  HGDIOBJ before() const { return before_; }

 private:
  HDC dc_;
  HGDIOBJ before_ = nullptr;
};

class Screen {
 public:
  Screen() : dc_(GetDC(nullptr)) {}
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() { ReleaseDC(nullptr, dc_); }
  HDC get() const { return dc_; }

 private:
  HDC dc_;
};

inline HPALETTE paletteOf(const std::vector<PALETTEENTRY>& entries, WORD version = 0x300) {
  std::vector<unsigned char> block(4 + entries.size() * sizeof(PALETTEENTRY));
  auto* palette = reinterpret_cast<LOGPALETTE*>(block.data());
  palette->palVersion = version;
  palette->palNumEntries = static_cast<WORD>(entries.size());
  if (!entries.empty()) {
    std::memcpy(block.data() + 4, entries.data(), entries.size() * sizeof(PALETTEENTRY));
  }
  return CreatePalette(palette);
}

inline bool operator==(const RGBQUAD& a, const RGBQUAD& b) {
  return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
}

}  // namespace kx_seam
