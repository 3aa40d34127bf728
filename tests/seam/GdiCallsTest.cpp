// The drawing calls over bitmaps and palettes: what they do.
#include <gmock/gmock.h>

#include <random>
#include <vector>

#include "GdiSupport.h"

namespace kx_seam {
namespace {

using testing::ElementsAre;

class GdiCallsTest : public kx_test::KxTest {};

// --- Contexts ---

TEST_F(GdiCallsTest, TheScreenHas32BitsAndNoPalette) {
  const Screen screen;
  EXPECT_EQ(GetDeviceCaps(screen.get(), BITSPIXEL), 32);
  EXPECT_EQ(GetDeviceCaps(screen.get(), PLANES), 1);
  EXPECT_EQ(GetDeviceCaps(screen.get(), RASTERCAPS) & RC_PALETTE, 0);
  EXPECT_EQ(GetDeviceCaps(screen.get(), SIZEPALETTE), 0);
  EXPECT_EQ(refusal([] { return GetDeviceCaps(nullptr, BITSPIXEL); }), kInvalidHandle);
}

// --- Bitmaps ---

TEST_F(GdiCallsTest, ABitmapTellsItsForm) {
  for (const LONG height : {5, -5}) {
    const Section section(Form(21, height, 4));
    BITMAP description = {};
    EXPECT_EQ(GetObjectW(section.get(), sizeof(description), &description),
              static_cast<int>(sizeof(BITMAP)));
    EXPECT_EQ(description.bmWidth, 21);
    EXPECT_EQ(description.bmHeight, 5);
    EXPECT_EQ(description.bmWidthBytes, 12);
    EXPECT_EQ(description.bmPlanes, 1);
    EXPECT_EQ(description.bmBitsPixel, 4);
    EXPECT_EQ(description.bmBits, section.bits);
    EXPECT_EQ(GetObjectW(section.get(), 0, nullptr), static_cast<int>(sizeof(BITMAP)));
  }
}

TEST_F(GdiCallsTest, ANewBitmapIsBlack) {
  const Section section(Form(3, 2, 24));
  EXPECT_EQ(std::vector<unsigned char>(section.bits, section.bits + 24),
            std::vector<unsigned char>(24, 0));
}

TEST_F(GdiCallsTest, ABitmapHasAsManyColoursAsItsFormCounts) {
  Form form(1, 1, 4);
  for (BYTE i = 0; i < 16; ++i) form.colors[i] = {i, 1, 2, 0};
  form.header.biClrUsed = 3;
  const Section counted(form);
  const Canvas canvas(counted.get());
  RGBQUAD colors[20] = {};
  EXPECT_EQ(GetDIBColorTable(canvas.get(), 0, 20, colors), 16u);
  EXPECT_TRUE(colors[2] == (RGBQUAD{2, 1, 2, 0}));
  EXPECT_TRUE(colors[3] == RGBQUAD{});
  form.header.biClrUsed = 0;
  const Section full(form);
  SelectObject(canvas.get(), full.get());
  EXPECT_EQ(GetDIBColorTable(canvas.get(), 15, 20, colors), 1u);
  EXPECT_TRUE(colors[0] == (RGBQUAD{15, 1, 2, 0}));
  EXPECT_EQ(GetDIBColorTable(canvas.get(), 16, 1, colors), 0u);
  const Screen screen;
  EXPECT_EQ(GetDIBColorTable(screen.get(), 0, 1, colors), 0u);
  EXPECT_EQ(GetDIBColorTable(nullptr, 0, 1, colors), 0u);
}

TEST_F(GdiCallsTest, SelectingGivesTheBitmapBefore) {
  const Section first(Form(1, 1, 24));
  const Section second(Form(1, 1, 24));
  const Canvas canvas(first.get());
  EXPECT_NE(canvas.before(), nullptr) << "the bitmap of one pixel";
  EXPECT_EQ(SelectObject(canvas.get(), second.get()), first.get());
  EXPECT_EQ(SelectObject(canvas.get(), second.get()), second.get());
  EXPECT_EQ(SelectObject(canvas.get(), canvas.before()), second.get());
}

// --- Copying ---

/// What a 24-bit picture of one row shows of pixels that are copied there.
std::vector<unsigned char> shown(const Section& target, size_t count) {
  return std::vector<unsigned char>(target.bits, target.bits + count);
}

TEST_F(GdiCallsTest, CopyingTranslatesBetweenDepths) {
  Form indexed(4, 1, 4);
  indexed.colors[0] = {10, 20, 30, 0};
  indexed.colors[9] = {40, 50, 60, 0};
  const Section source(indexed);
  source.bits[0] = 0x90;
  source.bits[1] = 0x09;
  const Section target(Form(4, 1, 24));
  const Canvas from(source.get());
  const Canvas to(target.get());
  EXPECT_EQ(BitBlt(to.get(), 0, 0, 4, 1, from.get(), 0, 0, SRCCOPY), TRUE);
  EXPECT_THAT(shown(target, 12), ElementsAre(40, 50, 60, 10, 20, 30, 10, 20, 30, 40, 50, 60));
}

TEST_F(GdiCallsTest, CopyingBetweenEveryTwoDepthsKeepsBlackAndWhite) {
  for (const WORD fromBits : {1, 4, 8, 16, 24, 32}) {
    for (const WORD toBits : {1, 4, 8, 16, 24, 32}) {
      Form fromForm(2, 1, fromBits);
      fromForm.colors[0] = {255, 255, 255, 0};
      Form toForm(2, 1, toBits);
      toForm.colors[1] = {255, 255, 255, 0};
      Form plain(2, 1, 24);
      const Section original(plain);
      std::memset(original.bits, 255, 3);
      const Section source(fromForm);
      const Section target(toForm);
      const Section back(plain);
      const Canvas first(original.get());
      const Canvas second(source.get());
      const Canvas third(target.get());
      const Canvas fourth(back.get());
      BitBlt(second.get(), 0, 0, 2, 1, first.get(), 0, 0, SRCCOPY);
      BitBlt(third.get(), 0, 0, 2, 1, second.get(), 0, 0, SRCCOPY);
      BitBlt(fourth.get(), 0, 0, 2, 1, third.get(), 0, 0, SRCCOPY);
      GdiFlush();
      EXPECT_THAT(shown(back, 6), ElementsAre(255, 255, 255, 0, 0, 0)) << fromBits << ' ' << toBits;
    }
  }
}

TEST_F(GdiCallsTest, CopyingBetweenEqualFormsKeepsIndices) {
  const Form form(2, 1, 8);  // all colours black
  const Section source(form);
  source.bits[0] = 77;
  const Section target(form);
  const Canvas from(source.get());
  const Canvas to(target.get());
  BitBlt(to.get(), 0, 0, 2, 1, from.get(), 0, 0, SRCCOPY);
  EXPECT_EQ(target.bits[0], 77);
}

TEST_F(GdiCallsTest, CopyingStaysInsideBothBitmaps) {
  const Section source(Form(4, 1, 8));
  for (unsigned char i = 0; i < 4; ++i) source.bits[i] = static_cast<unsigned char>(i + 1);
  const auto copied = [&](int x, int width, int sourceX) {
    const Section target(Form(4, 1, 8));
    const Canvas from(source.get());
    const Canvas to(target.get());
    EXPECT_EQ(BitBlt(to.get(), x, 0, width, 1, from.get(), sourceX, 0, SRCCOPY), TRUE);
    return shown(target, 4);
  };
  EXPECT_THAT(copied(0, 100, 0), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(copied(2, 100, 0), ElementsAre(0, 0, 1, 2));
  EXPECT_THAT(copied(-2, 100, 0), ElementsAre(3, 4, 0, 0));
  EXPECT_THAT(copied(0, 100, 2), ElementsAre(3, 4, 0, 0));
  EXPECT_THAT(copied(0, 100, -2), ElementsAre(0, 0, 1, 2));
  EXPECT_THAT(copied(1, 2, 1), ElementsAre(0, 2, 3, 0));
  EXPECT_THAT(copied(0, 0x7FFFFFFF, -0x7FFFFFFF), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(copied(-0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF), ElementsAre(0, 0, 0, 0));
}

TEST_F(GdiCallsTest, CopyingWithinOneBitmapReadsBeforeItWrites) {
  const Section section(Form(4, 1, 8));
  for (unsigned char i = 0; i < 4; ++i) section.bits[i] = static_cast<unsigned char>(i + 1);
  const Canvas canvas(section.get());
  BitBlt(canvas.get(), 1, 0, 3, 1, canvas.get(), 0, 0, SRCCOPY);
  EXPECT_THAT(shown(section, 4), ElementsAre(1, 1, 2, 3));
}

/// The bits of a bitmap whose rows stand from the top, and a copy of a part bit by bit.
class Pixels {
 public:
  Pixels(const Section& section, LONG width, LONG height, WORD depth)
      : depth_(depth), rowSize_((static_cast<size_t>(width) * depth + 31) / 32 * 4) {
    bytes_.assign(section.bits, section.bits + rowSize_ * static_cast<size_t>(height));
  }
  bool Bit(LONG x, LONG y, unsigned bit) const {
    return (bytes_[Byte(x, y, bit)] >> (7 - Place(x, bit) % 8) & 1) != 0;
  }
  void SetBit(LONG x, LONG y, unsigned bit, bool value) {
    unsigned char& byte = bytes_[Byte(x, y, bit)];
    const auto mask = static_cast<unsigned char>(0x80 >> Place(x, bit) % 8);
    byte = static_cast<unsigned char>(value ? byte | mask : byte & ~mask);
  }
  /// These pixels, but for a part that is copied from others.
  Pixels With(const Pixels& source, RECT from, POINT to) const {
    Pixels copy = *this;
    for (LONG y = 0; y < from.bottom - from.top; ++y) {
      for (LONG x = 0; x < from.right - from.left; ++x) {
        for (unsigned bit = 0; bit < depth_; ++bit) {
          copy.SetBit(to.x + x, to.y + y, bit, source.Bit(from.left + x, from.top + y, bit));
        }
      }
    }
    return copy;
  }
  bool operator==(const Pixels& other) const { return bytes_ == other.bytes_; }

 private:
  size_t Place(LONG x, unsigned bit) const { return static_cast<size_t>(x) * depth_ + bit; }
  size_t Byte(LONG x, LONG y, unsigned bit) const {
    return static_cast<size_t>(y) * rowSize_ + Place(x, bit) / 8;
  }

  WORD depth_;
  size_t rowSize_;
  std::vector<unsigned char> bytes_;
};

TEST_F(GdiCallsTest, AnyPartIsCopiedToAnyPlaceAlsoWithinOneBitmap) {
  constexpr LONG kWidth = 37;
  constexpr LONG kHeight = 6;
  std::minstd_rand random(1);
  const auto below = [&](LONG limit) { return static_cast<LONG>(random() % limit); };
  for (const WORD depth : {1, 4, 8, 16, 24, 32}) {
    const Section one(Form(kWidth, -kHeight, depth));
    const Section other(Form(kWidth, -kHeight, depth));
    const Canvas canvas(one.get());
    const Canvas second(other.get());
    const size_t size = (static_cast<size_t>(kWidth) * depth + 31) / 32 * 4 * kHeight;
    for (int round = 0; round < 300; ++round) {
      for (size_t i = 0; i < size; ++i) one.bits[i] = static_cast<unsigned char>(random());
      for (size_t i = 0; i < size; ++i) other.bits[i] = static_cast<unsigned char>(random());
      const LONG width = 1 + below(kWidth);
      const LONG height = 1 + below(kHeight);
      const LONG left = below(kWidth - width + 1);
      const LONG top = below(kHeight - height + 1);
      const RECT from = {left, top, left + width, top + height};
      const POINT to = {below(kWidth - width + 1), below(kHeight - height + 1)};
      // Wine's own copy within a bitmap of one bit reads what it has written.
      const bool within = depth > 1 && round % 2 == 0;
      const Pixels before(one, kWidth, kHeight, depth);
      const Pixels source(within ? one : other, kWidth, kHeight, depth);
      BitBlt(canvas.get(), to.x, to.y, width, height, (within ? canvas : second).get(), left, top,
             SRCCOPY);
      GdiFlush();
      EXPECT_TRUE(Pixels(one, kWidth, kHeight, depth) == before.With(source, from, to))
          << depth << " bits, round " << round;
    }
  }
}

TEST_F(GdiCallsTest, RowsAreCountedFromTheTop) {
  const Section upright(Form(1, 2, 8));
  const Section topDown(Form(1, -2, 8));
  topDown.bits[0] = 5;
  const Canvas from(topDown.get());
  const Canvas to(upright.get());
  BitBlt(to.get(), 0, 0, 1, 2, from.get(), 0, 0, SRCCOPY);
  EXPECT_EQ(upright.bits[4], 5) << "the upper row is the last";
}

// --- Palettes ---

TEST_F(GdiCallsTest, APaletteKeepsItsEntries) {
  const HPALETTE palette = paletteOf({{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}});
  ASSERT_NE(palette, nullptr);
  PALETTEENTRY entries[4] = {};
  EXPECT_EQ(GetPaletteEntries(palette, 0, 0, nullptr), 3u);
  EXPECT_EQ(GetPaletteEntries(palette, 1, 4, entries), 2u);
  EXPECT_EQ(entries[0].peRed, 4);
  EXPECT_EQ(entries[1].peBlue, 9);
  EXPECT_EQ(GetPaletteEntries(palette, 3, 1, entries), 0u);
  WORD count = 0;
  EXPECT_EQ(GetObjectW(palette, sizeof(count), &count), 2);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(GetObjectW(palette, 0, nullptr), 2);
  EXPECT_EQ(DeleteObject(palette), TRUE);
}

TEST_F(GdiCallsTest, SelectingGivesThePaletteBefore) {
  const Screen screen;
  const HGDIOBJ stock = GetStockObject(DEFAULT_PALETTE);
  const HPALETTE palette = paletteOf({{1, 2, 3, 0}});
  EXPECT_EQ(SelectPalette(screen.get(), palette, FALSE), stock);
  EXPECT_EQ(RealizePalette(screen.get()), 0u);
  EXPECT_EQ(SelectPalette(screen.get(), static_cast<HPALETTE>(stock), FALSE), palette);
  EXPECT_EQ(DeleteObject(palette), TRUE);
}

TEST_F(GdiCallsTest, StockObjectsStay) {
  const HGDIOBJ palette = GetStockObject(DEFAULT_PALETTE);
  EXPECT_EQ(DeleteObject(palette), TRUE);
  EXPECT_EQ(GetPaletteEntries(static_cast<HPALETTE>(palette), 0, 0, nullptr), 20u);
  const Section section(Form(1, 1, 24));
  HGDIOBJ onePixel = nullptr;
  {
    const Canvas canvas(section.get());
    onePixel = canvas.before();
  }
  EXPECT_EQ(DeleteObject(onePixel), TRUE);
  const Canvas canvas(section.get());
  EXPECT_EQ(canvas.before(), onePixel);
}

}  // namespace
}  // namespace kx_seam
