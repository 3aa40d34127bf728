// The system's bitmaps and palettes, through the exported functions alone.

#include <gmock/gmock.h>

#include <algorithm>

#include "Dib.h"
#include "Pictures.h"

namespace {

using kx_test::Bytes;
using kx_test::dataOf;
using kx_test::Handle;
using kx_test::Header;
using kx_test::headerBytes;
using kx_test::join;
using kx_test::le16;
using kx_test::le32;
using kx_test::picture;
using kx_test::pixelsOf;
using kx_test::slice;
using kx_test::withField;
using kx_test::header_at::kBits;
using kx_test::header_at::kCompression;
using kx_test::header_at::kHeight;
using kx_test::header_at::kWidth;
using testing::IsEmpty;

/// A bitmap or palette of the system, deleted at the end of its scope.
template <class Object>
class Owned {
 public:
  explicit Owned(Object object) : object_(object) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (object_ != nullptr) kx_gen::DeleteGdiObject(object_);
  }
  Object get() const { return object_; }

 private:
  Object object_;
};
using Bitmap = Owned<HBITMAP>;
using Palette = Owned<HPALETTE>;

HPALETTE paletteOf(const Bytes& dib) {
  HPALETTE palette = nullptr;
  kx_gen::CreateDIBPalette(dib.data(), &palette);
  return palette;
}

/// What a bitmap looks like when a system bitmap was made of it, and a bitmap of that again.
Bytes thereAndBack(const Bytes& dib, HPALETTE palette = nullptr) {
  const Bitmap bitmap(kx_gen::ConvertDIBtoBitmap(dib.data()));
  if (bitmap.get() == nullptr) return {};
  return dataOf(Handle(kx_gen::BitmapToDIB(bitmap.get(), palette)));
}

/// An 8-bit picture that shows every colour of a palette once.
std::vector<uint32_t> colorsOf(HPALETTE palette) {
  Bytes rows;
  for (int i = 0; i < 256; ++i) rows.push_back(static_cast<unsigned char>(i));
  const Bytes dib = kx_test::pictureOf(256, 1, 8, rows);
  const Bitmap bitmap(kx_gen::DIBToBitmap(dib.data(), nullptr));
  const Bytes shown = dataOf(Handle(kx_gen::BitmapToDIB(bitmap.get(), palette)));
  std::vector<uint32_t> colors;
  for (size_t i = 0; i < 256; ++i) {
    const Bytes color = slice(shown, 40 + 4 * i, 4);
    colors.push_back(static_cast<uint32_t>(color[2]) << 16 | static_cast<uint32_t>(color[1]) << 8 |
                     color[0]);
  }
  return colors;
}

class GdiTest : public kx_test::KxTest {};

// --- Bitmaps ---

TEST_F(GdiTest, PicturesComeBackFromSystemBitmaps) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    for (const int32_t width : {1, 3, 8, 21, 64}) {
      const Bytes dib = picture(width, 5, bits);
      EXPECT_EQ(pixelsOf(thereAndBack(dib)), pixelsOf(dib)) << bits << ' ' << width;
    }
  }
}

TEST_F(GdiTest, TheBitmapOfASystemBitmapCanBeStored) {
  const Bytes back = thereAndBack(picture(21, 5, 8));
  Header header{21, 5, 8};
  header.imageSize = 24 * 5;
  EXPECT_EQ(slice(back, 0, 40), headerBytes(header));
  EXPECT_EQ(back.size(), 40u + 1024 + 24 * 5);
  EXPECT_EQ(pixelsOf(dataOf(kx_test::dibOf(kx_test::drawingOf(back)))), pixelsOf(back));
}

TEST_F(GdiTest, RowsFromTheTopDownAreTurned) {
  const Bytes dib = picture(9, -5, 24);
  const Bytes back = thereAndBack(dib);
  EXPECT_EQ(slice(back, kHeight, 4), le32(5));
  EXPECT_EQ(pixelsOf(back), pixelsOf(dib));
}

TEST_F(GdiTest, PicturesOf16And32BitsComeBackWith24) {
  const Bytes wide = join({headerBytes({2, 1, 32}), {1, 2, 3, 0, 4, 5, 6, 0}});
  EXPECT_EQ(pixelsOf(thereAndBack(wide)), (std::vector<uint32_t>{0x030201, 0x060504}));
  const Bytes narrow = join({headerBytes({2, 1, 16}), le16(0x7C00), le16(0x001F)});
  EXPECT_EQ(pixelsOf(thereAndBack(narrow)), (std::vector<uint32_t>{0xFF0000, 0x0000FF}));
}

TEST_F(GdiTest, AColourTableThatIsNotFullIsEnough) {
  Header header{2, 1, 8};
  header.used = 2;
  const Bytes dib = join({headerBytes(header), {1, 2, 3, 0, 4, 5, 6, 0}, {1, 0, 0, 0}});
  EXPECT_EQ(pixelsOf(thereAndBack(dib)), pixelsOf(dib));
}

TEST_F(GdiTest, AColourTableBesideTrueColoursIsPassedOver) {
  Header header{1, 1, 24};
  header.used = 2;
  const Bytes dib = join({headerBytes(header), Bytes(8, 9), {1, 2, 3, 0}});
  EXPECT_EQ(pixelsOf(thereAndBack(dib)), std::vector<uint32_t>{0x030201});
}

TEST_F(GdiTest, APaletteGivesTheColoursAndEveryPixelTheNearest) {
  const Bytes dib = kx_test::pictureOf(2, 1, 24, {250, 250, 250, 3, 2, 1, 0, 0});
  const Palette two(kx_gen::CreateHalftonePalette(nullptr, 2));
  const Bitmap bitmap(kx_gen::DIBToBitmap(dib.data(), two.get()));
  ASSERT_NE(bitmap.get(), nullptr);
  EXPECT_EQ(pixelsOf(dataOf(Handle(kx_gen::BitmapToDIB(bitmap.get(), two.get())))), pixelsOf(dib))
      << "true colours need no palette";
  Bytes indexed = picture(16, 4, 8);
  const std::vector<uint32_t> original = pixelsOf(indexed);
  const std::vector<uint32_t> shown = pixelsOf(thereAndBack(indexed, two.get()));
  ASSERT_EQ(shown.size(), original.size());
  for (size_t i = 0; i < shown.size(); ++i) {
    const uint32_t rgb = original[i];
    const auto square = [](uint32_t a, uint32_t b) { return (a - b) * (a - b); };
    const uint32_t red = rgb >> 16;
    const uint32_t green = rgb >> 8 & 255;
    const uint32_t blue = rgb & 255;
    const uint32_t dark = square(red, 0) + square(green, 0) + square(blue, 0);
    const uint32_t bright = square(red, 255) + square(green, 255) + square(blue, 255);
    if (dark == bright) continue;
    EXPECT_EQ(shown[i], bright < dark ? 0xFFFFFFu : 0u) << std::hex << rgb;
  }
}

TEST_F(GdiTest, WhatNoSystemBitmapHoldsIsNull) {
  const Bytes dib = picture(4, 4, 24);
  std::vector<Bytes> bad = {withField(dib, 0, 12),
                            withField(dib, 0, 124),
                            withField(dib, kCompression, 1),
                            withField(dib, kCompression, 3),
                            withField(dib, kWidth, 0),
                            withField(dib, kHeight, 0),
                            withField(dib, kWidth, 0xFFFFFFFF)};
  bad.push_back(dib);
  bad.back()[kBits] = 3;
  for (const Bytes& other : bad) {
    EXPECT_EQ(kx_gen::DIBToBitmap(other.data(), nullptr), nullptr);
    EXPECT_EQ(kx_gen::ConvertDIBtoBitmap(other.data()), nullptr);
  }
  EXPECT_EQ(kx_gen::DIBToBitmap(nullptr, nullptr), nullptr);
  EXPECT_EQ(kx_gen::ConvertDIBtoBitmap(nullptr), nullptr);
}

TEST_F(GdiTest, WhatIsNoSystemBitmapGivesNoBitmap) {
  EXPECT_EQ(kx_gen::BitmapToDIB(nullptr, nullptr), nullptr);
  const Palette palette(kx_gen::CreateHalftonePalette(nullptr, 2));
  EXPECT_EQ(kx_gen::BitmapToDIB(reinterpret_cast<HBITMAP>(palette.get()), nullptr), nullptr);
  Bitmap bitmap(kx_gen::ConvertDIBtoBitmap(picture(2, 2, 8).data()));
  ASSERT_NE(bitmap.get(), nullptr);
}

TEST_F(GdiTest, ADeletedObjectIsGone) {
  const HBITMAP bitmap = kx_gen::ConvertDIBtoBitmap(picture(2, 2, 8).data());
  EXPECT_EQ(kx_gen::DeleteGdiObject(bitmap), 1);
  EXPECT_EQ(kx_gen::DeleteGdiObject(bitmap), 0);
  EXPECT_EQ(kx_gen::BitmapToDIB(bitmap, nullptr), nullptr);
  EXPECT_EQ(kx_gen::DeleteGdiObject(nullptr), 0);
}

TEST_F(GdiTest, BitmapsLeaveNothingInTheLog) {
  thereAndBack(picture(4, 4, 4));
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

// --- Palettes ---

TEST_F(GdiTest, ThePaletteOfABitmapHasItsColours) {
  const Bytes dib = picture(4, 4, 8);
  const Palette palette(paletteOf(dib));
  ASSERT_NE(palette.get(), nullptr);
  const std::vector<uint32_t> colors = colorsOf(palette.get());
  for (size_t i = 0; i < 256; ++i) {
    const Bytes color = slice(dib, 40 + 4 * i, 3);
    EXPECT_EQ(colors[i], static_cast<uint32_t>(color[2]) << 16 |
                             static_cast<uint32_t>(color[1]) << 8 | color[0]);
  }
}

TEST_F(GdiTest, ACoreHeadersColoursTakeThreeBytes) {
  const Bytes dib =
      join({le32(12), le16(1), le16(1), le16(1), le16(1), {1, 2, 3, 4, 5, 6}, Bytes(4, 0)});
  const Palette palette(paletteOf(dib));
  ASSERT_NE(palette.get(), nullptr);
  EXPECT_EQ(colorsOf(palette.get())[0], 0x030201u);
  EXPECT_EQ(colorsOf(palette.get())[1], 0x060504u);
}

TEST_F(GdiTest, WithoutColoursThereIsNoPalette) {
  auto* palette = reinterpret_cast<HPALETTE>(this);
  EXPECT_EQ(kx_gen::CreateDIBPalette(picture(4, 4, 24).data(), &palette), 0);
  EXPECT_EQ(palette, nullptr);
  EXPECT_EQ(kx_gen::CreateDIBPalette(nullptr, &palette), 0);
  EXPECT_EQ(kx_gen::CreateDIBPalette(picture(4, 4, 8).data(), nullptr), 0);
  EXPECT_EQ(kx_gen::CreateDIBPalette(picture(4, 4, 8).data(), &palette), 1);
  EXPECT_EQ(kx_gen::DeleteGdiObject(palette), 1);
}

TEST_F(GdiTest, AHalftonePaletteHasTwoSixteenOr256DifferentColours) {
  const std::pair<int, size_t> kSizes[] = {{1, 2},    {2, 2},     {3, 16},        {16, 16},
                                           {17, 256}, {256, 256}, {1 << 24, 256}, {-1, 256}};
  for (const auto& [asked, size] : kSizes) {
    const Palette palette(kx_gen::CreateHalftonePalette(nullptr, asked));
    ASSERT_NE(palette.get(), nullptr);
    std::vector<uint32_t> colors = colorsOf(palette.get());
    EXPECT_EQ(colors[0], 0u);
    EXPECT_NE(std::find(colors.begin(), colors.end(), 0xFFFFFFu), colors.end());
    if (size < 256) {
      EXPECT_EQ(std::count(colors.begin() + static_cast<std::ptrdiff_t>(size), colors.end(), 0u),
                static_cast<std::ptrdiff_t>(256 - size));
    }
    std::sort(colors.begin(), colors.end());
    const auto last = std::unique(colors.begin(), colors.end());
    EXPECT_EQ(static_cast<size_t>(last - colors.begin()), size) << asked;
  }
}

TEST_F(GdiTest, TheScreenCountsItsColours) {
  EXPECT_GE(kx_gen::PalEntriesOnDevice(nullptr), 2);
  EXPECT_LE(kx_gen::PalEntriesOnDevice(nullptr), 1 << 24);
}

TEST_F(GdiTest, ACDibsPaletteIsThatOfItsBitmap) {
  const Handle handle = kx_test::handleOf(picture(4, 4, 8));
  kx_gen::CDib dib;
  dib.ReplaceHDIB(handle.get());
  const Palette own(paletteOf(picture(4, 4, 8)));
  EXPECT_EQ(colorsOf(dib.GetPalette()), colorsOf(own.get()));
}

}  // namespace
