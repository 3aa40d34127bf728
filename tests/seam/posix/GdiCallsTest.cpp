// The drawing calls over bitmaps and palettes in memory: results and error numbers.

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "SeamSupport.h"

namespace {

using kx_seam::errorOf;
using testing::ElementsAre;

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

HPALETTE paletteOf(const std::vector<PALETTEENTRY>& entries, WORD version = 0x300) {
  std::vector<unsigned char> block(4 + entries.size() * sizeof(PALETTEENTRY));
  auto* palette = reinterpret_cast<LOGPALETTE*>(block.data());
  palette->palVersion = version;
  palette->palNumEntries = static_cast<WORD>(entries.size());
  if (!entries.empty()) {
    std::memcpy(block.data() + 4, entries.data(), entries.size() * sizeof(PALETTEENTRY));
  }
  return CreatePalette(palette);
}

bool operator==(const RGBQUAD& a, const RGBQUAD& b) {
  return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
}

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

TEST_F(GdiCallsTest, ContextsAreReleasedAsTheyWereMade) {
  const HDC screen = GetDC(nullptr);
  const HDC memory = CreateCompatibleDC(screen);
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(refusal([&] { return DeleteDC(screen); }), 0u) << "refused without an error";
  EXPECT_EQ(DeleteDC(screen), FALSE);
  EXPECT_EQ(ReleaseDC(nullptr, memory), 0);
  EXPECT_EQ(DeleteObject(memory), FALSE);
  EXPECT_EQ(ReleaseDC(nullptr, screen), 1);
  EXPECT_EQ(DeleteDC(memory), TRUE);
  EXPECT_EQ(refusal([&] { return ReleaseDC(nullptr, screen); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return DeleteDC(memory); }), kInvalidHandle);
  EXPECT_EQ(CreateCompatibleDC(memory), nullptr);
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
    EXPECT_EQ(refusal([&] { return GetObjectW(section.get(), 3, &description); }),
              kInvalidParameter);
  }
}

TEST_F(GdiCallsTest, ANewBitmapIsBlack) {
  const Section section(Form(3, 2, 24));
  EXPECT_EQ(std::vector<unsigned char>(section.bits, section.bits + 24),
            std::vector<unsigned char>(24, 0));
}

TEST_F(GdiCallsTest, FormsThatNoBitmapHasAreRefused) {
  std::vector<Form> forms;
  for (const WORD bits : {0, 2, 3, 15, 48}) forms.emplace_back(4, 4, bits);
  forms.emplace_back(0, 4, 8);
  forms.emplace_back(-4, 4, 8);
  forms.emplace_back(4, 0, 8);
  forms.emplace_back(0x7FFFFFFF, 0x7FFFFFFF, 32);
  forms.emplace_back(4, INT32_MIN, 8);
  forms.emplace_back(4, 4, 8);
  forms.back().header.biSize = 12;
  forms.emplace_back(4, 4, 8);
  forms.back().header.biPlanes = 2;
  forms.emplace_back(4, 4, 8);
  forms.back().header.biCompression = 1;
  for (const Form& form : forms) {
    void* bits = &forms;
    EXPECT_EQ(refusal([&] {
                return CreateDIBSection(nullptr, form.info(), DIB_RGB_COLORS, &bits, nullptr, 0);
              }),
              kInvalidParameter);
    EXPECT_EQ(bits, nullptr);
  }
  const Form fine(4, 4, 8);
  EXPECT_EQ(CreateDIBSection(nullptr, nullptr, DIB_RGB_COLORS, nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(CreateDIBSection(nullptr, fine.info(), 1, nullptr, nullptr, 0), nullptr);
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
  EXPECT_EQ(GetDIBColorTable(canvas.get(), 0, 1, nullptr), 0u);
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

TEST_F(GdiCallsTest, ABitmapIsInOneContextAndStaysWhileItIs) {
  const HBITMAP bitmap =
      CreateDIBSection(nullptr, Form(1, 1, 24).info(), DIB_RGB_COLORS, nullptr, nullptr, 0);
  ASSERT_NE(bitmap, nullptr);
  {
    const Canvas canvas(bitmap);
    const Canvas other;
    const Screen screen;
    EXPECT_EQ(refusal([&] { return SelectObject(other.get(), bitmap); }), kInvalidParameter);
    EXPECT_EQ(refusal([&] { return SelectObject(screen.get(), bitmap); }), kInvalidParameter);
    EXPECT_EQ(refusal([&] { return DeleteObject(bitmap); }), kInvalidParameter);
  }
  EXPECT_EQ(DeleteObject(bitmap), TRUE);
  EXPECT_EQ(refusal([&] { return DeleteObject(bitmap); }), kInvalidHandle);
}

TEST_F(GdiCallsTest, WhatIsNoBitmapIsNotSelected) {
  const Canvas canvas;
  const HGDIOBJ palette = GetStockObject(DEFAULT_PALETTE);
  EXPECT_EQ(refusal([&] { return SelectObject(canvas.get(), palette); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectObject(canvas.get(), nullptr); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectObject(nullptr, palette); }), kInvalidHandle);
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
  EXPECT_THAT(copied(0, -5, 0), ElementsAre(0, 0, 0, 0));
}

TEST_F(GdiCallsTest, CopyingWithinOneBitmapReadsBeforeItWrites) {
  const Section section(Form(4, 1, 8));
  for (unsigned char i = 0; i < 4; ++i) section.bits[i] = static_cast<unsigned char>(i + 1);
  const Canvas canvas(section.get());
  BitBlt(canvas.get(), 1, 0, 3, 1, canvas.get(), 0, 0, SRCCOPY);
  EXPECT_THAT(shown(section, 4), ElementsAre(1, 1, 2, 3));
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

TEST_F(GdiCallsTest, OtherCopiesAreRefused) {
  const Canvas canvas;
  const Screen screen;
  const auto copy = [](HDC to, HDC from, DWORD operation) {
    return refusal([&] { return BitBlt(to, 0, 0, 1, 1, from, 0, 0, operation); });
  };
  EXPECT_EQ(copy(canvas.get(), canvas.get(), 0x00440328), kInvalidParameter);
  EXPECT_EQ(copy(screen.get(), canvas.get(), SRCCOPY), kInvalidParameter);
  EXPECT_EQ(copy(canvas.get(), screen.get(), SRCCOPY), kInvalidParameter);
  EXPECT_EQ(copy(nullptr, canvas.get(), SRCCOPY), kInvalidHandle);
  EXPECT_EQ(copy(canvas.get(), nullptr, SRCCOPY), kInvalidHandle);
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
  EXPECT_EQ(refusal([&] { return GetPaletteEntries(palette, 0, 1, entries); }), kInvalidHandle);
}

TEST_F(GdiCallsTest, APaletteWithoutEntriesOrOfAnotherVersionIsRefused) {
  EXPECT_EQ(refusal([] { return paletteOf({}); }), kInvalidParameter);
  EXPECT_EQ(refusal([] { return paletteOf({{1, 2, 3, 0}}, 0x200); }), kInvalidParameter);
  EXPECT_EQ(refusal([] { return CreatePalette(nullptr); }), kInvalidParameter);
}

TEST_F(GdiCallsTest, SelectingGivesThePaletteBefore) {
  const Screen screen;
  const HGDIOBJ stock = GetStockObject(DEFAULT_PALETTE);
  const HPALETTE palette = paletteOf({{1, 2, 3, 0}});
  EXPECT_EQ(SelectPalette(screen.get(), palette, FALSE), stock);
  EXPECT_EQ(RealizePalette(screen.get()), 0u);
  EXPECT_EQ(SelectPalette(screen.get(), static_cast<HPALETTE>(stock), FALSE), palette);
  EXPECT_EQ(DeleteObject(palette), TRUE);
  EXPECT_EQ(refusal([&] { return SelectPalette(screen.get(), palette, FALSE); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectPalette(nullptr, palette, FALSE); }), kInvalidHandle);
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
  EXPECT_EQ(GetStockObject(0), nullptr);
}

TEST_F(GdiCallsTest, WhatIsNoObjectIsRefused) {
  int notAnObject = 0;
  EXPECT_EQ(refusal([&] { return GetObjectW(&notAnObject, 0, nullptr); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return DeleteObject(&notAnObject); }), kInvalidHandle);
  const Canvas canvas;
  EXPECT_EQ(refusal([&] { return GetObjectW(canvas.get(), 0, nullptr); }), kInvalidParameter);
}

}  // namespace
