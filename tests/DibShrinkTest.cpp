// Shrinking by averaging areas: the same bytes on every system.

#include <gmock/gmock.h>

#include "Dib.h"
#include "Pictures.h"

namespace {

using kx_test::Bytes;
using kx_test::Handle;
using kx_test::picture;
using kx_test::pictureOf;
using kx_test::pixelsOf;
using kx_test::slice;
using kx_test::withField;
using testing::ElementsAre;
using testing::IsEmpty;

class DibShrinkTest : public kx_test::KxTest {
 protected:
  static Bytes shrink(const Bytes& dib, unsigned short width, unsigned short height) {
    void* const source = kx_test::handleOf(dib).release();
    const Handle keeper(source);
    const Handle shrunk(kx_gen::ShrinkDIB(source, width, height));
    EXPECT_EQ(kx_test::dataOf(source), dib) << "the source is left as it was";
    return kx_test::dataOf(shrunk);
  }
};

/// FNV-1a.
uint64_t hashOf(const Bytes& bytes) {
  uint64_t hash = 14695981039346656037u;
  for (const unsigned char byte : bytes) hash = (hash ^ byte) * 1099511628211u;
  return hash;
}

/// One row in which the three channels rise slowly.
Bytes slowRow(int32_t width) {
  Bytes row;
  for (int32_t x = 0; x < width; ++x) {
    for (const int32_t value : {x * 7 >> 4, x >> 1, x >> 2}) {
      row.push_back(static_cast<unsigned char>(value));
    }
  }
  row.resize(kx_test::rowSizeOf(24, static_cast<size_t>(width)), 0);
  return pictureOf(width, 1, 24, row);
}

TEST_F(DibShrinkTest, TheResultIsAPictureOf24BitsWithoutAnImageSize) {
  const Bytes shrunk = shrink(picture(9, 8, 24), 3, 2);
  EXPECT_EQ(slice(shrunk, 0, 40), kx_test::headerBytes({3, 2, 24}));
  EXPECT_EQ(shrunk.size(), 40u + 2 * 12);
  EXPECT_EQ(slice(shrunk, 40 + 9, 3), Bytes(3, 0)) << "what pads a row is zero";
}

TEST_F(DibShrinkTest, AveragesAreRounded) {
  const Bytes rows = {0, 1, 10, 1, 1, 20, 0, 0, 0, 1, 30, 1, 2, 41, 0, 0};
  const Bytes shrunk = shrink(pictureOf(2, 2, 24, rows), 1, 1);
  EXPECT_EQ(kx_test::bitsOf(shrunk), (Bytes{1, 1, 25, 0})) << "0.5, 1.25, 25.25";
}

TEST_F(DibShrinkTest, PixelsThatStraddleCountInPartForEach) {
  const Bytes rows = {0,   30, 90,  30, 60, 120, 60, 90, 255, 0, 0, 0,  //
                      9,   9,  9,   9,  9,  9,   9,  9,  9,   0, 0, 0,  //
                      255, 0,  255, 1,  2,  3,   77, 88, 99,  0, 0, 0};
  EXPECT_EQ(kx_test::toHex(kx_test::bitsOf(shrink(pictureOf(3, 3, 24, rows), 2, 2))),
            kx_test::toHex(kx_test::fromHex("0a1e4624388f0000750375252b300000")));
}

TEST_F(DibShrinkTest, TheFullSizeGivesTheSamePixels) {
  const Bytes source = picture(17, 5, 24);
  EXPECT_EQ(pixelsOf(shrink(source, 17, 5)), pixelsOf(source));
}

TEST_F(DibShrinkTest, OneColourStaysThatColour) {
  for (const unsigned char value : {0, 1, 77, 254, 255}) {
    const Bytes source = pictureOf(35, 21, 24, Bytes(kx_test::rowSizeOf(24, 35) * 21, value));
    for (const uint32_t pixel : pixelsOf(shrink(source, 13, 11))) {
      EXPECT_EQ(pixel, value * 0x010101u);
    }
  }
}

struct Case {
  int32_t width;
  int32_t height;
  unsigned short newWidth;
  unsigned short newHeight;
  uint64_t hash;  // of the new pixels, as single precision makes them
};
void PrintTo(const Case& c, std::ostream* out) {
  *out << c.width << 'x' << c.height << " to " << c.newWidth << 'x' << c.newHeight;
}

class ShrunkBytesTest : public DibShrinkTest, public ::testing::WithParamInterface<Case> {};

TEST_P(ShrunkBytesTest, AreTheSameOnEverySystem) {
  const Case& c = GetParam();
  EXPECT_EQ(
      hashOf(kx_test::bitsOf(shrink(picture(c.width, c.height, 24), c.newWidth, c.newHeight))),
      c.hash);
}
INSTANTIATE_TEST_SUITE_P(Noise, ShrunkBytesTest,
                         ::testing::Values(Case{37, 29, 11, 7, 0x33ca023f17085389},
                                           Case{64, 64, 63, 63, 0x2025d532f538c96d},
                                           Case{100, 3, 7, 2, 0x47bd8f07ac928264},
                                           Case{13, 50, 13, 1, 0x9b96ccd02da8552a},
                                           Case{5, 4, 3, 3, 0xa7d309197480893b},
                                           Case{640, 480, 97, 61, 0xbd9f51a8c9bd2976}));

TEST_F(DibShrinkTest, TheCountersHave16Bits) {
  // Where both widths together pass 65,535 the counter starts over, and the scaling is not even.
  EXPECT_EQ(hashOf(kx_test::bitsOf(shrink(slowRow(60000), 9000, 1))), 0x8bcdfebfbdea8c05u);
  EXPECT_EQ(hashOf(kx_test::bitsOf(shrink(slowRow(40000), 30000, 1))), 0x03653551b8133688u);
  EXPECT_EQ(hashOf(kx_test::bitsOf(shrink(slowRow(65535), 65535, 1))), 0xdd22eb7fa90bfa3cu);
}

TEST_F(DibShrinkTest, APictureThatStandsFromTheTopDownIsTurned) {
  const Bytes upright = picture(12, 9, 24);
  Bytes rows;
  const Bytes bits = kx_test::bitsOf(upright);
  for (size_t y = 9; y > 0; --y) rows = kx_test::join({rows, slice(bits, (y - 1) * 36, 36)});
  EXPECT_EQ(shrink(pictureOf(12, -9, 24, rows), 5, 4), shrink(upright, 5, 4));
}

TEST_F(DibShrinkTest, EveryDepthFrom24OnIsReadAsThreeBytesAPixel) {
  // A row of 32 bits a pixel begins with blue, green, red, filler, blue, ...
  const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(kx_test::bitsOf(shrink(pictureOf(2, 1, 32, rows), 2, 1)),
            (Bytes{1, 2, 3, 4, 5, 6, 0, 0}));
  EXPECT_EQ(shrink(pictureOf(1, 1, 48, Bytes(8, 9)), 1, 1).size(), 44u);
}

Bytes withCoreHeader(uint32_t size, uint16_t width, uint16_t height, const Bytes& behind) {
  return kx_test::join({kx_test::le32(size), kx_test::le16(width), kx_test::le16(height),
                        kx_test::le16(1), kx_test::le16(24), behind});
}

TEST_F(DibShrinkTest, APictureWithACoreHeaderIsShrunkToo) {
  const Bytes source = picture(9, 8, 24);
  const Bytes core = withCoreHeader(12, 9, 8, kx_test::bitsOf(source));
  EXPECT_EQ(shrink(core, 4, 3), shrink(source, 4, 3));
  const Bytes larger = withCoreHeader(16, 9, 8, kx_test::join({Bytes(4), kx_test::bitsOf(source)}));
  EXPECT_EQ(shrink(larger, 4, 3), shrink(source, 4, 3)) << "the header is as long as it says";
  EXPECT_THAT(shrink(core, 10, 8), IsEmpty());
  EXPECT_THAT(shrink(slice(core, 0, core.size() - 1), 4, 3), IsEmpty());
  EXPECT_THAT(shrink(slice(core, 0, 11), 4, 3), IsEmpty());
  EXPECT_THAT(shrink(withField(core, 0, 0xFFFFFFFF), 4, 3), IsEmpty());
}

TEST_F(DibShrinkTest, FewerThan24BitsAreNull) {
  for (const uint16_t bits : {1, 4, 8, 16}) {
    EXPECT_THAT(shrink(picture(9, 8, bits), 3, 2), IsEmpty()) << bits;
  }
}

TEST_F(DibShrinkTest, SizesOfNothingOrBeyondThePictureAreNull) {
  const Bytes source = picture(9, 8, 24);
  EXPECT_THAT(shrink(source, 10, 8), IsEmpty());
  EXPECT_THAT(shrink(source, 9, 9), IsEmpty());
  EXPECT_THAT(shrink(source, 0, 8), IsEmpty());
  EXPECT_THAT(shrink(source, 9, 0), IsEmpty());
}

TEST_F(DibShrinkTest, ABitmapThatExceedsItsHandleIsNull) {
  const Bytes source = picture(9, 8, 24);
  EXPECT_THAT(shrink(slice(source, 0, source.size() - 1), 3, 2), IsEmpty());
  EXPECT_THAT(shrink(slice(source, 0, 39), 3, 2), IsEmpty());
  EXPECT_THAT(shrink(slice(source, 0, 3), 3, 2), IsEmpty());
  EXPECT_THAT(shrink(withField(source, 8, 9), 3, 2), IsEmpty()) << "one row too many";
  EXPECT_THAT(shrink(withField(source, 4, 0xFFFFFFFF), 3, 2), IsEmpty()) << "a negative width";
  EXPECT_THAT(shrink(withField(source, 8, 0x80000000), 3, 2), IsEmpty());
  EXPECT_THAT(shrink(withField(source, 32, 1), 3, 2), IsEmpty()) << "one colour in front";
  EXPECT_THAT(shrink(withField(source, 0, 108), 3, 2), IsEmpty()) << "another header";
  EXPECT_THAT(shrink(withField(source, 16, 1), 3, 2), IsEmpty()) << "run-length coded";
}

TEST_F(DibShrinkTest, APictureWiderThan16BitsIsNull) {
  const Bytes row(kx_test::rowSizeOf(24, 65536), 1);
  EXPECT_THAT(shrink(pictureOf(65536, 1, 24, row), 3, 1), IsEmpty());
}

TEST_F(DibShrinkTest, ANullHandleIsAssertedWhereItIsLocked) {
  void* none = nullptr;
  EXPECT_EQ(kx_gen::ShrinkDIB(none, 1, 1), nullptr);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::assertionLine(".\\MemAPI", 23)));
}

}  // namespace
