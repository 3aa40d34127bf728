// PNG pictures to and from bitmaps: every depth, colour form and transparency, and damage.

#include "pictures/Png.h"

#include <gmock/gmock.h>
#include <lodepng.h>

#include <algorithm>

#include "LargestAllocation.h"
#include "Pictures.h"
#include "pictures/NormalizeDib.h"
#include "pictures/StoredDrawing.h"

namespace {

using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::dataOf;
using kx_test::Handle;
using kx_test::join;
using kx_test::le32;
using kx_test::picture;
using kx_test::pictureOf;
using kx_test::pixelsOf;
using kx_test::slice;
using kx_test::withField;
using kx_test::header_at::kBits;
using kx_test::header_at::kImageSize;
using kx_test::header_at::kUsed;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr size_t kIhdr = 16;  // width, height, depth, colour form ... in a PNG file
constexpr uint16_t kDepths[] = {1, 4, 8, 24};

class PngTest : public kx_test::KxTest {};

Bytes encoded(const Bytes& dib) {
  const Handle handle = kx_test::handleOf(dib);
  Bytes png = bytesOf(kxo::EncodePng(handle.get()));
  EXPECT_EQ(dataOf(handle), dib) << "the source stays";
  return png;
}

Bytes decoded(const Bytes& png) {
  kx_test::forgetAllocations();
  const Handle dib(kxo::DecodePng(png.data(), png.size()));
  EXPECT_LE(kx_test::largestAllocation(), std::max(size_t{1} << 20, 2100 * png.size()));
  return dataOf(dib);
}

/// A PNG file of raw pixels in this form, made by the coder itself.
Bytes pngOf(LodePNGColorType form, unsigned depth, unsigned width, unsigned height,
            const Bytes& pixels, const std::vector<uint32_t>& rgbaColors = {},
            bool isInterlaced = false) {
  lodepng::State state;
  state.encoder.auto_convert = 0;
  for (LodePNGColorMode* mode : {&state.info_raw, &state.info_png.color}) {
    mode->colortype = form;
    mode->bitdepth = depth;
    for (const uint32_t color : rgbaColors) {
      lodepng_palette_add(mode, color >> 24, color >> 16 & 0xFF, color >> 8 & 0xFF, color & 0xFF);
    }
  }
  state.info_png.interlace_method = isInterlaced ? 1 : 0;
  Bytes png;
  EXPECT_EQ(lodepng::encode(png, pixels, width, height, state), 0u);
  return png;
}

/// The file with the check sum of every chunk put right.
Bytes withChecksums(Bytes png) {
  for (size_t at = 8; at + 12 <= png.size();) {
    const size_t length = lodepng_chunk_length(png.data() + at);
    if (length > png.size() - at - 12) break;
    lodepng_chunk_generate_crc(png.data() + at);
    at += length + 12;
  }
  return png;
}

uint16_t bitsOfPicture(const Bytes& dib) { return static_cast<uint16_t>(dib.at(kBits)); }

// --- Out and in again ---

TEST_F(PngTest, EveryDepthComesBackAsTheSameBitmap) {
  for (const uint16_t bits : kDepths) {
    for (const int width : {1, 2, 3, 7, 8, 9, 31, 32, 33, 100}) {
      const Bytes dib = picture(width, 5, bits);
      const Bytes png = encoded(dib);
      EXPECT_TRUE(kxo::IsPng(png.data(), png.size()));
      EXPECT_EQ(decoded(png), dib) << bits << " bits, width " << width;
    }
  }
}

TEST_F(PngTest, APictureHasTheBitsAndTheColoursOfItsBitmap) {
  for (const uint16_t bits : kDepths) {
    const Bytes png = encoded(picture(9, 4, bits));
    unsigned width = 0;
    unsigned height = 0;
    lodepng::State state;
    ASSERT_EQ(lodepng_inspect(&width, &height, &state, png.data(), png.size()), 0u);
    EXPECT_EQ(width, 9u);
    EXPECT_EQ(height, 4u);
    EXPECT_EQ(state.info_png.color.colortype, bits == 24 ? LCT_RGB : LCT_PALETTE);
    EXPECT_EQ(state.info_png.color.bitdepth, bits == 24 ? 8u : bits);
    Bytes pixels;
    ASSERT_EQ(lodepng::decode(pixels, width, height, png, LCT_RGB, 8), 0u);
    std::vector<uint32_t> colors;
    for (size_t i = 0; i < pixels.size(); i += 3) {
      colors.push_back(static_cast<uint32_t>(pixels[i]) << 16 | pixels[i + 1] << 8 | pixels[i + 2]);
    }
    EXPECT_EQ(colors, pixelsOf(picture(9, 4, bits))) << bits;
  }
}

TEST_F(PngTest, TheSameBitmapGivesTheSameBytes) {
  for (const uint16_t bits : kDepths) {
    EXPECT_EQ(encoded(picture(40, 30, bits)), encoded(picture(40, 30, bits)));
  }
}

TEST_F(PngTest, BitmapsInOtherFormsAreNormalised) {
  const Bytes topDown = picture(6, -3, 8);
  EXPECT_EQ(pixelsOf(decoded(encoded(topDown))), pixelsOf(topDown));
  EXPECT_EQ(decoded(encoded(withField(picture(6, 3, 4), kImageSize, 0))), picture(6, 3, 4));
  EXPECT_EQ(bitsOfPicture(decoded(encoded(picture(6, 3, 32)))), 24);
}

TEST_F(PngTest, WhatIsNoWholeBitmapGivesNoPicture) {
  EXPECT_EQ(kxo::EncodePng(nullptr), "");
  EXPECT_THAT(encoded({1, 2, 3}), IsEmpty());
  const Bytes dib = picture(6, 3, 8);
  EXPECT_THAT(encoded(slice(dib, 0, dib.size() - 1)), IsEmpty());
}

// --- Stored drawings ---

TEST_F(PngTest, AStoredBlockComesBackFromItsPictureByteForByte) {
  for (const uint16_t bits : kDepths) {
    const Bytes block = kx_test::drawingOf(picture(50, 20, bits));
    ASSERT_FALSE(block.empty());
    const Handle dib(kxo::DibOfBlock(block.data(), block.size()).release());
    EXPECT_EQ(dataOf(dib), picture(50, 20, bits)) << "with its image size";
    const std::string png = kxo::EncodePng(dib.get());
    const Handle back = kx_test::handleOf(decoded(bytesOf(png)));
    EXPECT_EQ(kxo::BlockOfDib(back.get()), block) << bits;
  }
}

TEST_F(PngTest, ADamagedBlockGivesNoBitmap) {
  const Bytes block = kx_test::drawingOf(picture(5, 2, 4));
  EXPECT_EQ(kxo::DibOfBlock(nullptr, 0), nullptr);
  for (size_t size = 0; size < block.size(); ++size) {
    EXPECT_EQ(kxo::DibOfBlock(block.data(), size), nullptr) << size;
  }
  const Bytes fewer = withField(block, 5, 3);  // a row more than there are pixels
  EXPECT_EQ(kxo::DibOfBlock(fewer.data(), fewer.size()), nullptr);
}

TEST_F(PngTest, NoBitmapGivesNoBlock) {
  EXPECT_THAT(kxo::BlockOfDib(nullptr), IsEmpty());
  const Handle handle = kx_test::handleOf({1, 2, 3});
  EXPECT_THAT(kxo::BlockOfDib(handle.get()), IsEmpty());
}

// --- Pictures of others ---

TEST_F(PngTest, AColourTableIsKeptAndFilledUpWithBlack) {
  const std::vector<uint32_t> colors = {0x102030FF, 0x405060FF, 0x708090FF};
  const Bytes dib = decoded(pngOf(LCT_PALETTE, 4, 3, 1, {0x01, 0x20}, colors));
  EXPECT_EQ(bitsOfPicture(dib), 4);
  EXPECT_EQ(slice(dib, 40, 16), join({le32(0x102030), le32(0x405060), le32(0x708090), le32(0)}));
  EXPECT_EQ(slice(dib, kUsed, 4), le32(0));
  EXPECT_THAT(pixelsOf(dib), ElementsAre(0x102030, 0x405060, 0x708090));
}

TEST_F(PngTest, PixelsOf2BitsGet4) {
  const std::vector<uint32_t> colors = {0x000000FF, 0x111111FF, 0x222222FF, 0x333333FF};
  const Bytes dib = decoded(pngOf(LCT_PALETTE, 2, 5, 1, {0x1B, 0xC0}, colors));
  EXPECT_EQ(bitsOfPicture(dib), 4);
  EXPECT_THAT(pixelsOf(dib), ElementsAre(0, 0x111111, 0x222222, 0x333333, 0x333333));
}

TEST_F(PngTest, GreysOfUpTo8BitsGetATable) {
  const Bytes of1 = decoded(pngOf(LCT_GREY, 1, 3, 1, {0xA0}));
  EXPECT_EQ(bitsOfPicture(of1), 1);
  EXPECT_THAT(pixelsOf(of1), ElementsAre(0xFFFFFF, 0, 0xFFFFFF));
  const Bytes of2 = decoded(pngOf(LCT_GREY, 2, 4, 1, {0x1B}));
  EXPECT_EQ(bitsOfPicture(of2), 4);
  EXPECT_THAT(pixelsOf(of2), ElementsAre(0, 0x555555, 0xAAAAAA, 0xFFFFFF));
  const Bytes of8 = decoded(pngOf(LCT_GREY, 8, 3, 1, {0, 0x80, 0xFF}));
  EXPECT_EQ(bitsOfPicture(of8), 8);
  EXPECT_THAT(pixelsOf(of8), ElementsAre(0, 0x808080, 0xFFFFFF));
}

TEST_F(PngTest, SixteenBitsAColourKeepTheUpperEight) {
  const Bytes grey = decoded(pngOf(LCT_GREY, 16, 1, 1, {0x12, 0x34}));
  EXPECT_EQ(bitsOfPicture(grey), 24);
  EXPECT_THAT(pixelsOf(grey), ElementsAre(0x121212));
  const Bytes rgb = decoded(pngOf(LCT_RGB, 16, 1, 1, {0x12, 0, 0x34, 0, 0x56, 0}));
  EXPECT_THAT(pixelsOf(rgb), ElementsAre(0x123456));
}

TEST_F(PngTest, TransparencyShowsWhite) {
  const Bytes rgba =
      decoded(pngOf(LCT_RGBA, 8, 3, 1, {10, 20, 30, 0, 10, 20, 30, 255, 0, 0, 0, 51}));
  EXPECT_THAT(pixelsOf(rgba), ElementsAre(0xFFFFFF, 0x0A141E, 0xCCCCCC));
  const Bytes greys = decoded(pngOf(LCT_GREY_ALPHA, 8, 2, 1, {0, 255, 0, 51}));
  EXPECT_EQ(bitsOfPicture(greys), 24);
  EXPECT_THAT(pixelsOf(greys), ElementsAre(0, 0xCCCCCC));
  const Bytes table = decoded(pngOf(LCT_PALETTE, 1, 2, 1, {0x40}, {0x00000033, 0x0A141EFF}));
  EXPECT_EQ(bitsOfPicture(table), 1);
  EXPECT_THAT(pixelsOf(table), ElementsAre(0xCCCCCC, 0x0A141E));
}

TEST_F(PngTest, AColourThatIsCalledTransparentIsWhite) {
  lodepng::State state;
  state.encoder.auto_convert = 0;
  for (LodePNGColorMode* mode : {&state.info_raw, &state.info_png.color}) {
    mode->colortype = LCT_GREY;
    mode->bitdepth = 4;
    mode->key_defined = 1;
    mode->key_r = mode->key_g = mode->key_b = 3;
  }
  Bytes png;
  ASSERT_EQ(lodepng::encode(png, Bytes{0x23, 0x40}, 3, 1, state), 0u);
  EXPECT_THAT(pixelsOf(decoded(png)), ElementsAre(0x222222, 0xFFFFFF, 0x444444));
}

TEST_F(PngTest, InterlacedPicturesAreRead) {
  const Bytes pixels = kx_test::Noise(7).bytes(size_t{13} * 11 * 3);
  EXPECT_EQ(decoded(pngOf(LCT_RGB, 8, 13, 11, pixels, {}, true)),
            decoded(pngOf(LCT_RGB, 8, 13, 11, pixels)));
}

// --- Damage ---

TEST_F(PngTest, WhatIsNoPngFileIsRefused) {
  EXPECT_EQ(kxo::DecodePng(nullptr, 0), nullptr);
  EXPECT_THAT(decoded({}), IsEmpty());
  EXPECT_THAT(decoded(kx_test::bmpFile(picture(3, 3, 24))), IsEmpty());
  EXPECT_THAT(decoded(bytesOf(std::string("\x89PNG\r\n\x1A\n"))), IsEmpty());
}

TEST_F(PngTest, CutFilesAreRefused) {
  for (const uint16_t bits : kDepths) {
    const Bytes png = encoded(picture(9, 4, bits));
    for (size_t size = 0; size < png.size(); ++size) {
      EXPECT_THAT(decoded(slice(png, 0, size)), IsEmpty()) << bits << " cut to " << size;
    }
  }
}

TEST_F(PngTest, AChangedByteIsNoticed) {
  const Bytes png = encoded(picture(5, 2, 4));
  for (size_t at = 0; at < png.size(); ++at) {
    Bytes changed = png;
    changed[at] ^= 0x41;
    EXPECT_THAT(decoded(changed), IsEmpty()) << at;
  }
}

TEST_F(PngTest, ChangedBytesUnderRightChecksumsAreSafe) {
  for (const uint16_t bits : kDepths) {
    const Bytes png = encoded(picture(9, 4, bits));
    for (size_t at = kIhdr - 4; at < png.size(); ++at) {
      for (const int value : {0x00, 0x01, 0x02, 0x10, 0x7F, 0x80, 0xFF}) {
        Bytes changed = png;
        changed[at] = static_cast<unsigned char>(value);
        const Bytes dib = decoded(withChecksums(changed));
        EXPECT_EQ(dib.empty(), pixelsOf(dib).empty());
      }
    }
  }
}

TEST_F(PngTest, SizesThatTheFileCannotHoldTakeNoMemory) {
  const Bytes png = encoded(picture(9, 4, 24));
  for (const unsigned char high : {0x00, 0x10, 0x7F, 0x80, 0xFF}) {
    Bytes huge = png;
    for (const size_t field : {kIhdr, kIhdr + 4}) {
      huge[field] = high;
      huge[field + 1] = 0xFF;
    }
    EXPECT_THAT(decoded(withChecksums(huge)), IsEmpty()) << static_cast<int>(high);
  }
}

}  // namespace
