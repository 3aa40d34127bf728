// Any picture in the form that drawings can hold: every depth, header, coding and mask, and damage.

#include "pictures/NormalizeDib.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "LargestAllocation.h"
#include "Pictures.h"

namespace {

using kx_test::bmpFile;
using kx_test::Bytes;
using kx_test::coreHeader;
using kx_test::dataOf;
using kx_test::Handle;
using kx_test::Header;
using kx_test::headerBytes;
using kx_test::join;
using kx_test::le16;
using kx_test::le32;
using kx_test::picture;
using kx_test::pictureOf;
using kx_test::pixelsOf;
using kx_test::slice;
using kx_test::withField;
using kx_test::zeros;
using kx_test::header_at::kBits;
using kx_test::header_at::kCompression;
using kx_test::header_at::kHeight;
using kx_test::header_at::kImageSize;
using kx_test::header_at::kUsed;
using kx_test::header_at::kWidth;
using testing::IsEmpty;

class NormalizeDibTest : public kx_test::KxTest {};

/// The file's picture in a handle, as bytes; empty for null.
Bytes normalizedFile(const Bytes& file) {
  kx_test::forgetAllocations();
  const Handle dib(kxo::NormalizeBmp(file.data(), file.size()));
  EXPECT_LE(kx_test::largestAllocation(), std::max(size_t{17} << 20, 2 * file.size()));
  return dataOf(dib);
}

/// The same result from a file and from a handle.
Bytes normalized(const Bytes& dib, size_t bitsAt) {
  Bytes fromFile = normalizedFile(bmpFile(dib, bitsAt));
  const Handle handle = kx_test::handleOf(dib);
  EXPECT_EQ(dataOf(Handle(kxo::NormalizeDib(handle.get()))), fromFile);
  EXPECT_EQ(dataOf(handle), dib) << "the source stays";
  return fromFile;
}

Bytes normalized(const Bytes& dib) {
  return normalized(dib, dib.size() - kx_test::bitsOf(dib).size());
}

/// A picture whose pixels stand behind a front of this many bytes.
Bytes normalizedBehind(const Bytes& front, const Bytes& bits) {
  return normalized(join({front, bits}), front.size());
}

Bytes grey(unsigned count) {
  Bytes table;
  for (unsigned i = 0; i < count; ++i) table = join({table, le32(i * 0x010101)});
  return table;
}

// --- Plain pictures ---

TEST_F(NormalizeDibTest, APictureInThatFormStaysAsItIs) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes dib = picture(19, 7, bits);
    EXPECT_EQ(normalized(dib), dib) << bits;
  }
}

TEST_F(NormalizeDibTest, TheImageSizeIsSetAndResolutionAndCountsAreCleared) {
  Header header{5, 2, 8};
  header.used = 256;
  header.resolution = 2835;
  const Bytes rows = {1, 2, 3, 4, 5, 0, 0, 0, 6, 7, 8, 9, 10, 0, 0, 0};
  const Bytes front = join({headerBytes(header), kx_test::colorTable(256)});
  EXPECT_EQ(normalizedBehind(front, rows), pictureOf(5, 2, 8, rows));
}

TEST_F(NormalizeDibTest, AColourTableIsFilledUpWithBlackOrCut) {
  Header header{2, 1, 4};
  header.used = 3;
  const Bytes rows = {0x12, 0, 0, 0};
  const Bytes colors = kx_test::colorTable(16);
  const Bytes front = join({headerBytes(header), slice(colors, 0, 12)});
  EXPECT_EQ(slice(normalizedBehind(front, rows), 40, 64), join({slice(colors, 0, 12), zeros(52)}));
  header.used = 20;
  const Bytes longer = join({headerBytes(header), kx_test::colorTable(20)});
  EXPECT_EQ(normalizedBehind(longer, rows), pictureOf(2, 1, 4, rows));
}

TEST_F(NormalizeDibTest, ReservedBytesOfColoursAreCleared) {
  Bytes dib = picture(3, 3, 1);
  const Bytes clean = dib;
  dib[43] = 0xEE;
  EXPECT_EQ(normalized(dib), clean);
}

TEST_F(NormalizeDibTest, AColourTableBesideTrueColoursIsDropped) {
  Header header{2, 1, 24};
  header.used = 2;
  const Bytes rows = {1, 2, 3, 4, 5, 6, 0, 0};
  EXPECT_EQ(normalizedBehind(join({headerBytes(header), grey(2)}), rows),
            pictureOf(2, 1, 24, rows));
}

TEST_F(NormalizeDibTest, RowsFromTheTopDownAreTurned) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes dib = picture(19, -7, bits);
    const Bytes turned = normalized(dib);
    EXPECT_EQ(slice(turned, kHeight, 4), le32(7));
    EXPECT_EQ(pixelsOf(turned), pixelsOf(dib)) << bits;
  }
}

TEST_F(NormalizeDibTest, AGapBetweenColoursAndPixelsIsLeftOut) {
  const Bytes dib = picture(6, 3, 8);
  const size_t front = 40 + 1024;
  const Bytes gap = join({slice(dib, 0, front), Bytes(10, 0xEE), slice(dib, front, 24)});
  EXPECT_EQ(normalizedFile(bmpFile(gap, front + 10)), dib);
}

TEST_F(NormalizeDibTest, WhereAFileDoesNotSayTheyStandPixelsFollowTheColours) {
  const Bytes dib = picture(6, 3, 8);
  EXPECT_EQ(normalizedFile(withField(bmpFile(dib), 10, 0)), dib);
  EXPECT_EQ(normalizedFile(withField(bmpFile(dib), 10, 20)), dib) << "inside the header";
}

TEST_F(NormalizeDibTest, ColoursEndWhereTheFileSaysThatThePixelsBegin) {
  const Bytes rows = {1, 1, 0, 0};
  const Bytes dib = join({headerBytes({2, 1, 8}), grey(4), rows});
  EXPECT_EQ(normalizedFile(bmpFile(dib, 40 + 16)),
            join({headerBytes({2, 1, 8, 0, 4}), grey(4), zeros(252 * 4), rows}));
}

// --- Headers ---

Bytes threeByteColors(const Bytes& table) {
  Bytes colors;
  for (size_t i = 0; i < table.size(); i += 4) colors = join({colors, slice(table, i, 3)});
  return colors;
}

TEST_F(NormalizeDibTest, CoreHeadersWithColoursOfThreeBytesAreRead) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes dib = picture(19, 7, bits);
    const Bytes rows = kx_test::bitsOf(dib);
    const Bytes colors = bits == 24 ? Bytes() : slice(dib, 40, size_t{4} << bits);
    EXPECT_EQ(normalizedBehind(join({coreHeader(19, 7, bits), threeByteColors(colors)}), rows), dib)
        << bits;
  }
}

TEST_F(NormalizeDibTest, LongerAndShorterHeadersAreRead) {
  const Bytes dib = picture(19, 7, 4);
  const Bytes rest = slice(dib, 40, dib.size() - 40);
  for (const uint32_t size : {16u, 17u, 36u, 52u, 56u, 64u, 108u, 124u}) {
    Bytes header = slice(withField(dib, 0, size), 0, 40);
    header.resize(size, 0xEE);
    EXPECT_EQ(normalized(join({header, rest}), size + 64), dib) << size;
  }
}

TEST_F(NormalizeDibTest, OtherHeaderSizesAreRefused) {
  for (const uint32_t size : {0u, 4u, 11u, 13u, 15u, 0xFFFFFFFFu}) {
    EXPECT_THAT(normalized(withField(picture(4, 4, 24), 0, size)), IsEmpty()) << size;
  }
}

TEST_F(NormalizeDibTest, SizesOfNothingAndOtherDepthsAreRefused) {
  const Bytes dib = picture(4, 4, 24);
  EXPECT_THAT(normalized(withField(dib, kWidth, 0), 40), IsEmpty());
  EXPECT_THAT(normalized(withField(dib, kHeight, 0), 40), IsEmpty());
  EXPECT_THAT(normalized(withField(dib, kWidth, 0xFFFFFFFF), 40), IsEmpty());
  for (const uint16_t bits : {0, 2, 3, 5, 7, 15, 23, 31, 33, 48, 64, 256}) {
    Bytes other = dib;
    other[kBits] = static_cast<unsigned char>(bits);
    other[kBits + 1] = static_cast<unsigned char>(bits >> 8);
    EXPECT_THAT(normalized(other, 40), IsEmpty()) << bits;
  }
}

TEST_F(NormalizeDibTest, OtherCompressionsAreRefused) {
  for (const uint32_t compression : {1u, 2u, 3u, 4u, 5u, 7u, 11u, 0xFFFFFFFFu}) {
    EXPECT_THAT(normalized(withField(picture(4, 4, 24), kCompression, compression), 40), IsEmpty());
  }
  EXPECT_THAT(normalized(withField(picture(4, 4, 8), kCompression, 2)), IsEmpty());
  EXPECT_THAT(normalized(withField(picture(4, 4, 4), kCompression, 1)), IsEmpty());
  Bytes header = slice(withField(withField(picture(4, 4, 32), 0, 64), kCompression, 3), 0, 40);
  header.resize(64, 0);
  EXPECT_THAT(normalizedBehind(header, zeros(64)), IsEmpty()) << "a coding of another system";
}

// --- True colours ---

/// One pixel of 16 or 32 bits as 0xRRGGBB.
uint32_t colorOf(const Bytes& front, uint16_t bits, uint32_t pixel) {
  const Bytes dib = normalizedBehind(front, kx_test::le(pixel, 4));
  const std::vector<uint32_t> pixels = pixelsOf(dib);
  EXPECT_EQ(slice(dib, kBits, 2), le16(24)) << bits;
  return pixels.size() == 1 ? pixels[0] : 0xDEADBEEF;
}

TEST_F(NormalizeDibTest, PixelsOf16BitsHave5BitsAColour) {
  const Bytes front = headerBytes({1, 1, 16});
  EXPECT_EQ(colorOf(front, 16, 0x0000), 0x000000u);
  EXPECT_EQ(colorOf(front, 16, 0x7FFF), 0xFFFFFFu);
  EXPECT_EQ(colorOf(front, 16, 0x7C00), 0xFF0000u);
  EXPECT_EQ(colorOf(front, 16, 0x03E0), 0x00FF00u);
  EXPECT_EQ(colorOf(front, 16, 0x801F), 0x0000FFu);
  EXPECT_EQ(colorOf(front, 16, 0x4210), 0x848484u) << "16 of 31";
}

TEST_F(NormalizeDibTest, PixelsOf32BitsLoseTheirFourthByte) {
  EXPECT_EQ(colorOf(headerBytes({1, 1, 32}), 32, 0x7F123456), 0x123456u);
}

TEST_F(NormalizeDibTest, MasksBehindTheHeaderAreRead) {
  Header header{1, 1, 16};
  header.compression = 3;
  const Bytes masks565 = join({le32(0xF800), le32(0x07E0), le32(0x001F)});
  const Bytes front = join({headerBytes(header), masks565});
  EXPECT_EQ(colorOf(front, 16, 0xF81F), 0xFF00FFu);
  EXPECT_EQ(colorOf(front, 16, 0x07E0), 0x00FF00u);
  EXPECT_EQ(colorOf(front, 16, 0x0400), 0x008200u) << "32 of 63";
  header.bits = 32;
  const Bytes wide = join({le32(0x3FF00000), le32(0x000FFC00), le32(0x000003FF)});
  EXPECT_EQ(colorOf(join({headerBytes(header), wide}), 32, 0x3FF00000), 0xFF0000u);
  EXPECT_EQ(colorOf(join({headerBytes(header), wide}), 32, 0x00080000), 0x008000u) << "512 of 1023";
  header.compression = 6;
  const Bytes withAlpha = join({le32(0xFF), le32(0xFF00), le32(0xFF0000), le32(0xFF000000)});
  EXPECT_EQ(colorOf(join({headerBytes(header), withAlpha}), 32, 0x80563412), 0x123456u);
}

TEST_F(NormalizeDibTest, MasksInsideLongerHeadersAreRead) {
  for (const uint32_t size : {52u, 56u, 108u, 124u}) {
    Header header{1, 1, 32};
    header.compression = 3;
    header.size = size;
    Bytes front = join({headerBytes(header), le32(0xFF), le32(0xFF00), le32(0xFF0000)});
    front.resize(size, 0xEE);
    EXPECT_EQ(colorOf(front, 32, 0x00563412), 0x123456u) << size;
  }
}

TEST_F(NormalizeDibTest, AMaskOfNothingOrOfEverythingIsSafe) {
  Header header{1, 1, 32};
  header.compression = 3;
  const Bytes front = join({headerBytes(header), le32(0), le32(0xFFFFFFFF), le32(0x80000001)});
  EXPECT_EQ(colorOf(front, 32, 0xFFFFFFFF), 0x00FFFFu);
  EXPECT_EQ(colorOf(front, 32, 0), 0u);
}

TEST_F(NormalizeDibTest, ColoursInFrontOfTruePixelsArePassedOver) {
  Header header{1, 1, 16};
  header.used = 2;
  EXPECT_EQ(colorOf(join({headerBytes(header), grey(2)}), 16, 0x7C00), 0xFF0000u);
}

// --- Run-length coding ---

class RunLengthTest : public NormalizeDibTest {
 protected:
  /// The rows, from the bottom, of a coded picture.
  static Bytes expanded(uint16_t bits, int32_t width, int32_t height, const Bytes& coded) {
    Header header{width, height, bits};
    header.compression = bits == 8 ? 1 : 2;
    header.imageSize = static_cast<uint32_t>(coded.size());
    const Bytes front = join({headerBytes(header), grey(1u << bits)});
    const Bytes dib = normalizedBehind(front, coded);
    return dib.empty() ? dib : kx_test::bitsOf(dib);
  }
  static Bytes of8(int32_t width, int32_t height, const Bytes& coded) {
    return expanded(8, width, height, coded);
  }
  static Bytes of4(int32_t width, int32_t height, const Bytes& coded) {
    return expanded(4, width, height, coded);
  }
};

TEST_F(RunLengthTest, RunsLiteralsRowsAndTheEnd) {
  EXPECT_EQ(of8(4, 2, {3, 7, 1, 8, 0, 0, 0, 4, 1, 2, 3, 4, 0, 1}), (Bytes{7, 7, 7, 8, 1, 2, 3, 4}));
  EXPECT_EQ(of4(6, 1, {4, 0x12, 2, 0x34, 0, 1}), (Bytes{0x12, 0x12, 0x34, 0}));
  EXPECT_EQ(of4(7, 1, {0, 7, 0x12, 0x34, 0x56, 0x70, 0, 1}), (Bytes{0x12, 0x34, 0x56, 0x70}));
}

TEST_F(RunLengthTest, LiteralsTakeWholeWords) {
  EXPECT_EQ(of8(4, 1, {0, 3, 1, 2, 3, 0xEE, 1, 9, 0, 1}), (Bytes{1, 2, 3, 9}));
  EXPECT_EQ(of4(8, 1, {0, 5, 0x12, 0x34, 0x5E, 0xEE, 3, 0xAB, 0, 1}),
            (Bytes{0x12, 0x34, 0x5A, 0xBA}));
}

TEST_F(RunLengthTest, MovesLeaveColour0) {
  EXPECT_EQ(of8(4, 3, {1, 9, 0, 2, 1, 2, 2, 8, 0, 1}), (Bytes{9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 8}));
  EXPECT_EQ(of4(4, 1, {1, 0x90, 0, 2, 2, 0, 1, 0x80, 0, 1}), (Bytes{0x90, 0x08, 0, 0}));
  EXPECT_EQ(of8(4, 2, {0, 1}), zeros(8));
}

TEST_F(RunLengthTest, WhatReachesBesideThePictureIsDropped) {
  EXPECT_EQ(of8(4, 1, {200, 7, 1, 9, 0, 0, 5, 8, 0, 1}), (Bytes{7, 7, 7, 7}));
  EXPECT_EQ(of8(4, 2, {0, 2, 255, 255, 0, 2, 255, 255, 4, 7, 0, 1}), zeros(8));
  EXPECT_EQ(of4(3, 1, {200, 0x12, 0, 1}), (Bytes{0x12, 0x10, 0, 0}));
}

TEST_F(RunLengthTest, AMissingEndIsForgivenAndACutItemRefused) {
  EXPECT_EQ(of8(4, 1, {4, 7}), (Bytes{7, 7, 7, 7}));
  EXPECT_THAT(of8(4, 1, {4}), IsEmpty());
  EXPECT_THAT(of8(4, 1, {4, 7, 0}), IsEmpty());
  EXPECT_THAT(of8(4, 1, {0, 4, 1, 2, 3}), IsEmpty());
  EXPECT_THAT(of8(4, 1, {0, 2, 1}), IsEmpty());
  EXPECT_THAT(of4(8, 1, {0, 5, 0x12, 0x34}), IsEmpty());
}

TEST_F(RunLengthTest, RowsFromTheTopDownAreTurned) {
  EXPECT_EQ(of8(4, -2, {4, 7, 0, 0, 4, 8, 0, 1}), (Bytes{8, 8, 8, 8, 7, 7, 7, 7}));
}

TEST_F(RunLengthTest, APictureFarLargerThanItsCodeIsRefused) {
  EXPECT_THAT(of8(0x7FFFFFFF, 2, {4, 7, 0, 1}), IsEmpty());
  EXPECT_THAT(of8(70000, 70000, {4, 7, 0, 1}), IsEmpty());
  EXPECT_THAT(of4(0x7FFFFFFF, INT32_MIN, {4, 7, 0, 1}), IsEmpty());
  EXPECT_EQ(of8(4096, 1024, {4, 7, 0, 1}).size(), size_t{4096} * 1024);
}

// --- Damage ---

TEST_F(NormalizeDibTest, WhatIsNoBmpFileIsRefused) {
  EXPECT_EQ(kxo::NormalizeBmp(nullptr, 100), nullptr);
  EXPECT_EQ(kxo::NormalizeDib(nullptr), nullptr);
  const Bytes file = bmpFile(picture(4, 4, 24));
  for (const size_t at : {0, 1}) {
    Bytes other = file;
    other[at] ^= 1;
    EXPECT_THAT(normalizedFile(other), IsEmpty());
  }
}

TEST_F(NormalizeDibTest, CutPlainPicturesAreRefused) {
  for (const uint16_t bits : {1, 4, 8, 16, 24, 32}) {
    const Bytes file = bmpFile(picture(5, 3, bits));
    EXPECT_FALSE(normalizedFile(file).empty()) << bits;
    for (size_t size = 0; size < file.size(); ++size) {
      EXPECT_THAT(normalizedFile(slice(file, 0, size)), IsEmpty()) << bits << " cut to " << size;
    }
  }
}

/// Null, or a bitmap in the promised form, which becomes a drawing and comes back; the last is
/// tried where it does not take long.
void expectForm(const Bytes& dib) {
  if (dib.empty()) return;
  EXPECT_EQ(slice(dib, 0, 4), le32(40));
  EXPECT_EQ(slice(dib, kCompression, 4), le32(0));
  EXPECT_EQ(slice(dib, kUsed, 8), zeros(8));
  EXPECT_EQ(slice(dib, kImageSize, 4), le32(static_cast<uint32_t>(kx_test::bitsOf(dib).size())));
  if (dib.size() > 1u << 20) return;
  EXPECT_FALSE(pixelsOf(dib).empty());
  EXPECT_EQ(dataOf(kx_test::dibOf(kx_test::drawingOf(dib))), withField(dib, kImageSize, 0));
}

TEST_F(NormalizeDibTest, EveryChangedByteIsSafe) {
  Header coded{6, 2, 4};
  coded.compression = 2;
  Header masked{3, 2, 32};
  masked.compression = 3;
  const Bytes masks = join({le32(0xFF), le32(0xFF00), le32(0xFF0000)});
  const Bytes files[] = {
      bmpFile(picture(5, 2, 4)),
      bmpFile(picture(5, -2, 24)),
      bmpFile(join({headerBytes(coded), grey(16), {4, 0x12, 0, 4, 0x34, 0x56, 0, 2, 1, 1, 0, 1}}),
              104),
      bmpFile(join({headerBytes(masked), masks, zeros(24)}), 52),
      bmpFile(join({coreHeader(3, 2, 1), {0, 0, 0, 255, 255, 255}, zeros(8)}), 18),
  };
  for (const Bytes& file : files) {
    EXPECT_FALSE(normalizedFile(file).empty());
    for (size_t at = 0; at < file.size(); ++at) {
      for (const int value : {0x00, 0x01, 0x02, 0x10, 0x7F, 0x80, 0xFF}) {
        Bytes changed = file;
        changed[at] = static_cast<unsigned char>(value);
        expectForm(normalizedFile(changed));
      }
    }
  }
}

// --- Pictures of others ---

TEST_F(NormalizeDibTest, GoodPicturesThatShowTheSameGiveTheSamePixels) {
  std::map<std::string, std::vector<uint32_t>> pixels;
  for (const auto& path : kx_test::realPictures()) {
    const Bytes dib = normalizedFile(kx_test::readFile(path));
    expectForm(dib);
    pixels[path.stem().string()] = pixelsOf(dib);
    EXPECT_FALSE(dib.empty()) << path;
  }
  const std::vector<std::vector<std::string>> groups = {
      {"pal8", "pal8-0", "pal8rle", "pal8topdown", "pal8os2", "pal8v4", "pal8v5"},
      {"pal4", "pal4rle"},
      {"rgb24", "rgb24pal", "rgb32", "rgb32bf", "rgb32bfdef"},
      {"rgb16", "rgb16bfdef"},
      {"rgb16-565", "rgb16-565pal"},
      {"pal1", "pal1wb"}};
  for (const auto& group : groups) {
    for (const std::string& name : group) EXPECT_EQ(pixels[name], pixels[group[0]]) << name;
  }
}

}  // namespace
