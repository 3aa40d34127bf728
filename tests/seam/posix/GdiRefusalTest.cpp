// What the drawing calls refuse, and the last errors that tell why. The system's own calls leave
// none, and some would fault.
#include "GdiSupport.h"

namespace kx_seam {
namespace {

class GdiRefusalTest : public kx_test::KxTest {};

TEST_F(GdiRefusalTest, ContextsAreReleasedAsTheyWereMade) {
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

TEST_F(GdiRefusalTest, FormsThatNoBitmapHasAreRefused) {
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

TEST_F(GdiRefusalTest, ABitmapIsInOneContextAndStaysWhileItIs) {
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

TEST_F(GdiRefusalTest, WhatIsNoBitmapIsNotSelected) {
  const Canvas canvas;
  const HGDIOBJ palette = GetStockObject(DEFAULT_PALETTE);
  EXPECT_EQ(refusal([&] { return SelectObject(canvas.get(), palette); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectObject(canvas.get(), nullptr); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectObject(nullptr, palette); }), kInvalidHandle);
}

TEST_F(GdiRefusalTest, OtherCopiesAreRefused) {
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

TEST_F(GdiRefusalTest, APaletteWithoutEntriesOrOfAnotherVersionIsRefused) {
  EXPECT_EQ(refusal([] { return paletteOf({}); }), kInvalidParameter);
  EXPECT_EQ(refusal([] { return paletteOf({{1, 2, 3, 0}}, 0x200); }), kInvalidParameter);
  EXPECT_EQ(refusal([] { return CreatePalette(nullptr); }), kInvalidParameter);
}

TEST_F(GdiRefusalTest, WhatIsNoObjectIsRefused) {
  int notAnObject = 0;
  EXPECT_EQ(refusal([&] { return GetObjectW(&notAnObject, 0, nullptr); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return DeleteObject(&notAnObject); }), kInvalidHandle);
  const Canvas canvas;
  EXPECT_EQ(refusal([&] { return GetObjectW(canvas.get(), 0, nullptr); }), kInvalidParameter);
}

TEST_F(GdiRefusalTest, ABitmapTellsNothingIntoTooLittleRoom) {
  const Section section(Form(21, 5, 4));
  BITMAP description = {};
  EXPECT_EQ(refusal([&] { return GetObjectW(section.get(), 3, &description); }), kInvalidParameter);
}

TEST_F(GdiRefusalTest, ColoursGoNowhere) {
  const Section section(Form(1, 1, 4));
  const Canvas canvas(section.get());
  EXPECT_EQ(GetDIBColorTable(canvas.get(), 0, 1, nullptr), 0u);
}

TEST_F(GdiRefusalTest, ANegativeWidthCopiesNothing) {
  const Section source(Form(4, 1, 8));
  std::memset(source.bits, 7, 4);
  const Section target(Form(4, 1, 8));
  const Canvas from(source.get());
  const Canvas to(target.get());
  EXPECT_EQ(BitBlt(to.get(), 0, 0, -5, 1, from.get(), 0, 0, SRCCOPY), TRUE);
  EXPECT_EQ(std::vector<unsigned char>(target.bits, target.bits + 4),
            std::vector<unsigned char>(4, 0));
}

TEST_F(GdiRefusalTest, ADeletedPaletteIsNone) {
  const Screen screen;
  const HPALETTE palette = paletteOf({{1, 2, 3, 0}});
  EXPECT_EQ(DeleteObject(palette), TRUE);
  PALETTEENTRY entry = {};
  EXPECT_EQ(refusal([&] { return GetPaletteEntries(palette, 0, 1, &entry); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectPalette(screen.get(), palette, FALSE); }), kInvalidHandle);
  EXPECT_EQ(refusal([&] { return SelectPalette(nullptr, palette, FALSE); }), kInvalidHandle);
}

TEST_F(GdiRefusalTest, OtherStockObjectsThanThePaletteAreNone) {
  EXPECT_EQ(GetStockObject(0), nullptr);
}

}  // namespace
}  // namespace kx_seam
