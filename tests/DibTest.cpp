// Bitmaps: what headers tell, new ones and copies, BMP files, and the class that keeps one.

#include "Dib.h"

#include <gmock/gmock.h>
#include <cstring>

#include "Pictures.h"

namespace {

using kx_gen::CDib;
using kx_gen::CFile;
using kx_test::assertionLine;
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
using kx_test::pixelsOf;
using kx_test::slice;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::withField;
using kx_test::header_at::kCompression;
using kx_test::header_at::kHeight;
using kx_test::header_at::kImageSize;
using kx_test::header_at::kUsed;
using kx_test::header_at::kWidth;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kWhite = 0xFFFFFF;

Handle clip(const Bytes& dib, int width, int height) {
  return Handle(kx_gen::ClipDIB(dib.data(), width, height));
}
Handle resize(const Bytes& dib, int width, int height) {
  return Handle(kx_gen::ResizeDIB(dib.data(), width, height));
}

/// The pixel of a picture `width` wide.
struct Pixels {
  explicit Pixels(const Bytes& dib)
      : width(static_cast<size_t>(kx_gen::DIBWidth(dib.data()))), all(pixelsOf(dib)) {}
  uint32_t at(size_t x, size_t y) const { return all.at(y * width + x); }
  size_t height() const { return width == 0 ? 0 : all.size() / width; }
  size_t width;
  std::vector<uint32_t> all;
};

class DibTest : public kx_test::KxTest {};

// --- Headers ---

TEST_F(DibTest, WidthAndHeightComeFromEitherHeader) {
  Header header;
  header.width = 100000;
  header.height = -70000;
  EXPECT_EQ(kx_gen::DIBWidth(headerBytes(header).data()), 100000);
  EXPECT_EQ(kx_gen::DIBHeight(headerBytes(header).data()), -70000);
  EXPECT_EQ(kx_gen::DIBWidth(coreHeader(65535, 7, 1).data()), 65535);
  EXPECT_EQ(kx_gen::DIBHeight(coreHeader(5, 65534, 1).data()), 65534);
}

TEST_F(DibTest, AnyHeaderButThatOf40BytesIsACoreHeader) {
  Header header;
  header.width = 0x00050009;
  header.height = 3;
  for (const uint32_t size : {12u, 16u, 39u, 41u, 108u, 124u}) {
    header.size = size;
    EXPECT_EQ(kx_gen::DIBWidth(headerBytes(header).data()), 9) << size;
    EXPECT_EQ(kx_gen::DIBHeight(headerBytes(header).data()), 5) << size;
  }
}

TEST_F(DibTest, ColoursFollowFromTheDepth) {
  const std::pair<uint16_t, unsigned> kColors[] = {{0, 0}, {1, 2},   {2, 0},  {3, 0},  {4, 16},
                                                   {5, 0}, {8, 256}, {16, 0}, {24, 0}, {32, 0}};
  for (const auto& [bits, colors] : kColors) {
    Header header;
    header.bits = bits;
    EXPECT_EQ(kx_gen::DIBNumColors(headerBytes(header).data()), colors) << bits;
    EXPECT_EQ(kx_gen::PaletteSize(headerBytes(header).data()), colors * 4) << bits;
    EXPECT_EQ(kx_gen::DIBNumColors(coreHeader(1, 1, bits).data()), colors) << bits;
    EXPECT_EQ(kx_gen::PaletteSize(coreHeader(1, 1, bits).data()), colors * 3) << bits;
  }
}

TEST_F(DibTest, UsedColoursCountInAnInformationHeader) {
  Header header;
  for (const uint16_t bits : {1, 8, 24}) {
    header.bits = bits;
    header.used = 5;
    EXPECT_EQ(kx_gen::DIBNumColors(headerBytes(header).data()), 5);
    EXPECT_EQ(kx_gen::PaletteSize(headerBytes(header).data()), 20);
  }
  header.used = 0x10003;
  EXPECT_EQ(kx_gen::DIBNumColors(headerBytes(header).data()), 3) << "16 bits";
  header.used = 0x4001;
  EXPECT_EQ(kx_gen::PaletteSize(headerBytes(header).data()), 4) << "16 bits";
}

TEST_F(DibTest, PixelsStandBehindHeaderAndColours) {
  Bytes info = headerBytes({1, 1, 4});
  EXPECT_EQ(kx_gen::FindDIBBits(static_cast<void*>(info.data())), info.data() + 40 + 64);
  const Bytes& readOnly = info;
  EXPECT_EQ(kx_gen::FindDIBBits(readOnly.data()), info.data() + 40 + 64);
  const Bytes core = coreHeader(1, 1, 8);
  EXPECT_EQ(kx_gen::FindDIBBits(core.data()), core.data() + 12 + 768);
}

TEST_F(DibTest, AHeaderIsAsLongAsItSays) {
  for (const uint32_t size : {0u, 16u, 64u, 108u, 0x00010000u}) {
    Bytes dib = withField(coreHeader(1, 1, 4), 0, size);
    dib.resize(size + 48 + dib.size());
    EXPECT_EQ(kx_gen::FindDIBBits(static_cast<void*>(dib.data())) - dib.data(),
              static_cast<std::ptrdiff_t>(size + 48))
        << size;
    const Bytes& readOnly = dib;
    EXPECT_EQ(kx_gen::FindDIBBits(readOnly.data()) - readOnly.data(),
              static_cast<std::ptrdiff_t>(size + 48))
        << size;
  }
}

// --- CreateDIB ---

TEST_F(DibTest, ANewBitmapsDepthIsRoundedUpAndAbove24ItIs4) {
  const std::pair<unsigned short, unsigned> kDepths[] = {
      {0, 1},  {1, 1},   {2, 4},   {3, 4},  {4, 4},  {5, 8},    {6, 8},    {8, 8},
      {9, 24}, {16, 24}, {24, 24}, {25, 4}, {32, 4}, {1000, 4}, {65535, 4}};
  for (const auto& [asked, depth] : kDepths) {
    const Handle dib(kx_gen::CreateDIB(10, 3, asked));
    const Bytes data = dataOf(dib);
    const size_t colors = depth <= 8 ? size_t{1} << depth : 0;
    Header header;
    header.width = 10;
    header.height = 3;
    header.bits = static_cast<uint16_t>(depth);
    EXPECT_EQ(data, join({headerBytes(header),
                          Bytes(colors * 4 + kx_test::rowSizeOf(depth, 10) * 3, 0xFF)}))
        << asked;
  }
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(DibTest, ANewBitmapIsWhite) {
  for (const unsigned short bits : {1, 4, 8, 24}) {
    const Handle dib(kx_gen::CreateDIB(3, 2, bits));
    EXPECT_EQ(pixelsOf(dataOf(dib)), std::vector<uint32_t>(6, kWhite)) << bits;
  }
}

TEST_F(DibTest, ANewBitmapMayHaveNoPixels) {
  EXPECT_EQ(dataOf(Handle(kx_gen::CreateDIB(0, 5, 24))), headerBytes({0, 5, 24}));
  EXPECT_EQ(dataOf(Handle(kx_gen::CreateDIB(5, 0, 24))), headerBytes({5, 0, 24}));
}

TEST_F(DibTest, SizesHave32Bits) {
  constexpr auto kLong = static_cast<unsigned long>(0x100000003ull);
  EXPECT_EQ(dataOf(Handle(kx_gen::CreateDIB(kLong, kLong, 1))),
            dataOf(Handle(kx_gen::CreateDIB(3, 3, 1))));
}

TEST_F(DibTest, ABitmapThatNoHandleHoldsIsNull) {
  EXPECT_EQ(kx_gen::CreateDIB(0xFFFFFFFF, 0xFFFFFFFF, 24), nullptr);
  EXPECT_EQ(kx_gen::CreateDIB(0x10000, 0x10000, 8), nullptr);
  EXPECT_EQ(kx_gen::CreateDIB(0xFFFFFFFF, 9, 8), nullptr);
  EXPECT_EQ(kx_gen::CreateDIB(1, 0x80000000, 1), nullptr);
}

// --- CopyHandle ---

TEST_F(DibTest, ACopiedHandleHasAllTheData) {
  const Bytes data = picture(5, 5, 24);
  const Handle source = kx_test::handleOf(data);
  const Handle copy(kx_gen::CopyHandle(source.get()));
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, source);
  EXPECT_EQ(dataOf(copy), data);
  EXPECT_EQ(kx_gen::CopyHandle(nullptr), nullptr);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

// --- ClipDIB ---

TEST_F(DibTest, ClippingKeepsTheTopLeftCorner) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes source = picture(21, 9, bits);
    const Handle clipped = clip(source, 13, 4);
    ASSERT_NE(clipped, nullptr);
    const Pixels before(source);
    const Pixels after(dataOf(clipped));
    ASSERT_EQ(after.width, 13u);
    ASSERT_EQ(after.height(), 4u);
    for (size_t y = 0; y < 4; ++y) {
      for (size_t x = 0; x < 13; ++x) EXPECT_EQ(after.at(x, y), before.at(x, y)) << bits;
    }
  }
}

TEST_F(DibTest, AClippedBitmapHasTheSourcesHeaderAndColours) {
  Header header;
  header.width = 6;
  header.height = 2;
  header.bits = 8;
  header.used = 3;
  header.resolution = 2835;
  header.imageSize = 999;
  const Bytes colors = kx_test::colorTable(3);
  const Bytes source = join({headerBytes(header),
                             colors,
                             {1, 2, 3, 4, 5, 6, 0xEE, 0xEE},
                             {11, 12, 13, 14, 15, 16, 0xDD, 0xDD}});
  header.width = 5;
  header.height = 1;
  header.imageSize = 8;
  EXPECT_EQ(dataOf(clip(source, 5, 1)),
            join({headerBytes(header), colors, {11, 12, 13, 14, 15, 16, 0xDD, 0xDD}}))
      << "the new row size in bytes is taken from the left of the row";
  header.width = 3;
  header.imageSize = 4;
  EXPECT_EQ(dataOf(clip(source, 3, 1)), join({headerBytes(header), colors, {11, 12, 13, 14}}));
}

TEST_F(DibTest, ClippingToTheFullSizeIsACopy) {
  const Bytes source = picture(7, 7, 4);
  EXPECT_EQ(dataOf(clip(source, 7, 7)), source);
}

TEST_F(DibTest, ClippingToNothingLeavesHeaderAndColours) {
  const Bytes source = picture(7, 7, 1);
  for (const auto& [width, height] : {std::pair(0, 3), std::pair(3, 0), std::pair(0, 0)}) {
    const Bytes clipped = dataOf(clip(source, width, height));
    EXPECT_EQ(clipped.size(), 48u);
    EXPECT_EQ(kx_gen::DIBWidth(clipped.data()), width);
    EXPECT_EQ(kx_gen::DIBHeight(clipped.data()), height);
  }
}

TEST_F(DibTest, ClippingTurnsAPictureThatStandsFromTheTopDown) {
  const Bytes source = picture(4, -5, 24);
  const Pixels before(source);
  const Bytes clipped = dataOf(clip(source, 2, 3));
  ASSERT_EQ(kx_gen::DIBHeight(clipped.data()), 3);
  const Pixels after(clipped);
  for (size_t y = 0; y < 3; ++y) {
    for (size_t x = 0; x < 2; ++x) EXPECT_EQ(after.at(x, y), before.at(x, y));
  }
}

TEST_F(DibTest, ClippingBeyondThePictureIsNull) {
  const Bytes source = picture(7, 5, 8);
  EXPECT_EQ(clip(source, 8, 5), nullptr);
  EXPECT_EQ(clip(source, 7, 6), nullptr);
  EXPECT_EQ(clip(source, -1, 5), nullptr);
  EXPECT_EQ(clip(source, -1, 0), nullptr);
  EXPECT_EQ(clip(source, 5, -1), nullptr);
}

TEST_F(DibTest, WhatIsNoPlainPictureIsNeitherClippedNorResized) {
  const Bytes source = picture(7, 5, 8);
  std::vector<Bytes> others = {
      withField(source, 0, 12), withField(source, 0, 124), withField(source, kCompression, 1),
      withField(source, kCompression, 2), withField(source, kWidth, 0x80000001)};
  for (const Bytes& other : others) {
    EXPECT_EQ(clip(other, 1, 1), nullptr);
    EXPECT_EQ(resize(other, 100, 100), nullptr);
  }
  EXPECT_EQ(kx_gen::ClipDIB(nullptr, 1, 1), nullptr);
  EXPECT_EQ(kx_gen::ResizeDIB(nullptr, 1, 1), nullptr);
}

// --- ResizeDIB ---

TEST_F(DibTest, ResizingPutsThePictureAtTheTopLeftOfAWhiteOne) {
  for (const uint16_t bits : {4, 8, 24}) {
    const Bytes source = withField(picture(8, 3, bits), kImageSize, 0);
    const Handle resized = resize(source, 11, 5);
    ASSERT_NE(resized, nullptr);
    const Bytes data = dataOf(resized);
    const Pixels before(source);
    const Pixels after(data);
    const Bytes white =
        bits <= 8 ? slice(data, 40 + 4 * ((size_t{1} << bits) - 1), 3) : Bytes{0xFF, 0xFF, 0xFF};
    ASSERT_EQ(after.height(), 5u);
    for (size_t y = 0; y < 5; ++y) {
      for (size_t x = 0; x < 11; ++x) {
        const bool isOld = x < 8 && y < 3;
        const uint32_t last =
            static_cast<uint32_t>(white[2]) << 16 | static_cast<uint32_t>(white[1]) << 8 | white[0];
        EXPECT_EQ(after.at(x, y), isOld ? before.at(x, y) : last) << bits << ' ' << x << ' ' << y;
      }
    }
    EXPECT_EQ(slice(data, kImageSize, 4),
              le32(static_cast<uint32_t>(kx_test::rowSizeOf(bits, 11) * 5)));
    const size_t table = bits <= 8 ? size_t{4} << bits : 0;
    EXPECT_EQ(slice(data, 40, table), slice(source, 40, table)) << "the same colour table";
  }
}

TEST_F(DibTest, ResizingTakesWholeBytesOfARow) {
  // 3 pixels of 1 bit take one byte, whose other 5 bits come along.
  const Bytes source = kx_test::pictureOf(3, 1, 1, {0xA5, 0x77, 0x77, 0x77});
  EXPECT_EQ(kx_test::bitsOf(dataOf(resize(source, 20, 2))),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xA5, 0xFF, 0xFF, 0xFF}));
}

TEST_F(DibTest, ResizingToASizeNotLargerInEitherDirectionIsNull) {
  const Bytes source = picture(8, 6, 8);
  for (const auto& [width, height] :
       {std::pair(8, 6), std::pair(7, 6), std::pair(8, 5), std::pair(1, 1), std::pair(0, 0)}) {
    EXPECT_EQ(resize(source, width, height), nullptr) << width << ' ' << height;
  }
  EXPECT_NE(resize(source, 9, 6), nullptr);
  EXPECT_NE(resize(source, 8, 7), nullptr);
}

TEST_F(DibTest, ResizingToALowerPictureIsNull) {
  const Bytes source = picture(8, 6, 8);
  EXPECT_EQ(resize(source, 20, 5), nullptr);
  EXPECT_EQ(resize(source, 20, -5), nullptr);
  EXPECT_EQ(resize(source, -20, 8), nullptr);
}

TEST_F(DibTest, ResizingToANarrowerButHigherPictureCutsItsRows) {
  const Bytes source = picture(8, 2, 24);
  const Pixels before(source);
  const Pixels after(dataOf(resize(source, 3, 4)));
  ASSERT_EQ(after.all.size(), 12u);
  for (size_t y = 0; y < 4; ++y) {
    for (size_t x = 0; x < 3; ++x) EXPECT_EQ(after.at(x, y), y < 2 ? before.at(x, y) : kWhite);
  }
}

TEST_F(DibTest, ResizingToANarrowerPictureTakesAllBytesOfARowThatFit) {
  const Bytes source = kx_test::pictureOf(3, 1, 8, {1, 2, 3, 4});
  EXPECT_EQ(kx_test::bitsOf(dataOf(resize(source, 2, 2))),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3, 0xFF}));
  const Bytes wide = kx_test::pictureOf(6, 1, 8, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(kx_test::bitsOf(dataOf(resize(wide, 2, 2))),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3, 4}));
}

TEST_F(DibTest, ResizingTurnsAPictureThatStandsFromTheTopDown) {
  const Bytes source = picture(2, -2, 24);
  const Pixels before(source);
  const Bytes resized = dataOf(resize(source, 2, 3));
  EXPECT_EQ(kx_gen::DIBHeight(resized.data()), 3);
  const Pixels after(resized);
  EXPECT_EQ(after.at(1, 0), before.at(1, 0));
  EXPECT_EQ(after.at(0, 1), before.at(0, 1));
  EXPECT_EQ(after.at(0, 2), kWhite);
}

TEST_F(DibTest, APictureThatNoHandleHoldsIsNotResized) {
  const Bytes source = picture(1, 1, 24);
  EXPECT_EQ(resize(source, 0x7FFFFFFF, 0x7FFFFFFF), nullptr);
  EXPECT_EQ(resize(source, 0x7FFFFFFF, 1), nullptr);
}

// --- BMP files ---

class DibFileTest : public DibTest {
 protected:
  void put(const Bytes& file) { kx_test::writeFile("a.bmp", file); }
  static Bytes saved() { return kx_test::readFile("a.bmp"); }
  static Handle read(const Bytes& contents) {
    kx_test::writeFile("a.bmp", contents);
    CFile file;
    file.Open(L"a.bmp", CFile::modeRead);
    return Handle(kx_gen::ReadDIBFile(file));
  }
  static int save(const Bytes& dib) {
    CFile file;
    file.Open(L"a.bmp", CFile::modeCreate | CFile::modeReadWrite);
    return kx_gen::SaveDIB(dib.data(), file);
  }
};

TEST_F(DibFileTest, ReadingGivesAHandleAsLargeAsTheFile) {
  const Bytes dib = picture(5, 3, 8);
  EXPECT_EQ(dataOf(read(bmpFile(dib))), join({dib, Bytes(14, 0)}));
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(DibFileTest, WhatDoesNotBeginWithBmIsNull) {
  const Bytes file = bmpFile(picture(5, 3, 8));
  for (const size_t at : {0, 1}) {
    Bytes other = file;
    other[at] ^= 1;
    EXPECT_EQ(read(other), nullptr);
  }
}

TEST_F(DibFileTest, FewerBytesThanAFileHeaderAreNotReadAtAll) {
  const Bytes file = bmpFile(picture(5, 3, 8));
  for (size_t size = 0; size < 14; ++size) {
    EXPECT_EQ(read(slice(file, 0, size)), nullptr) << size;
    EXPECT_THAT(kx_test::logLines(), IsEmpty()) << size;
  }
  EXPECT_EQ(dataOf(read(slice(file, 0, 14))), Bytes(14, 0));
}

TEST_F(DibFileTest, ACutFileIsReadAsFarAsItGoes) {
  const Bytes dib = picture(5, 3, 8);
  const Bytes file = bmpFile(dib);
  for (size_t size = 14; size <= file.size(); ++size) {
    EXPECT_EQ(dataOf(read(slice(file, 0, size))), join({slice(dib, 0, size - 14), Bytes(14, 0)}));
  }
}

TEST_F(DibFileTest, AShortReadIsNullAndWhatWasThrownReleased) {
  put(bmpFile(picture(5, 3, 8)));
  CFile file;
  file.Open(L"a.bmp", CFile::modeRead);
  file.Seek(1, 0);  // not at the beginning: the last byte is missing
  EXPECT_EQ(kx_gen::ReadDIBFile(file), nullptr);
  file.Close();
  put(join({{'x'}, bmpFile(picture(5, 3, 8))}));
  file.Open(L"a.bmp", CFile::modeRead);
  file.Seek(1, 0);
  EXPECT_EQ(kx_gen::ReadDIBFile(file), nullptr);
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - .\\File"), 1);
}

TEST_F(DibFileTest, AClosedFileIsNull) {
  CFile file;
  EXPECT_EQ(kx_gen::ReadDIBFile(file), nullptr);
}

TEST_F(DibFileTest, AMemoryFileIsReadToo) {
  const Bytes dib = picture(5, 3, 8);
  Bytes contents = bmpFile(dib);
  kx_gen::MemFile file(contents.data(), static_cast<unsigned int>(contents.size()), 0);
  EXPECT_EQ(dataOf(Handle(kx_gen::ReadDIBFile(file))), join({dib, Bytes(14, 0)}));
}

TEST_F(DibFileTest, AMemoryFileThatEndsEarlyIsNullThoughItThrowsNothing) {
  Bytes contents = join({{'x'}, bmpFile(picture(5, 3, 8))});
  kx_gen::MemFile file(contents.data(), static_cast<unsigned int>(contents.size()), 0);
  file.Seek(1, 0);  // the last byte is missing
  EXPECT_EQ(kx_gen::ReadDIBFile(file), nullptr);
  Bytes cut = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'B', 'M'};
  kx_gen::MemFile header(cut.data(), static_cast<unsigned int>(cut.size()), 0);
  header.Seek(12, 0);
  EXPECT_EQ(kx_gen::ReadDIBFile(header), nullptr);
}

TEST_F(DibFileTest, SavingWritesBothHeadersColoursAndPixels) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes dib = picture(9, 4, bits);
    EXPECT_EQ(save(dib), 1);
    EXPECT_EQ(saved(), bmpFile(dib)) << bits;
  }
}

TEST_F(DibFileTest, SavingCountsTheImageSizeAnewAndLeavesTheBitmapAlone) {
  const Bytes dib = picture(9, 4, 8);
  for (const uint32_t wrong : {0u, 1u, 0xFFFFFFFFu}) {
    const Bytes source = withField(dib, kImageSize, wrong);
    EXPECT_EQ(save(source), 1);
    EXPECT_EQ(saved(), bmpFile(dib));
    EXPECT_EQ(source, withField(dib, kImageSize, wrong));
  }
}

TEST_F(DibFileTest, SavingKeepsTheSizeOfRunLengthCodedPixels) {
  for (const uint32_t compression : {1u, 2u}) {
    Header header;
    header.width = 4;
    header.height = 100;
    header.bits = compression == 1 ? 8 : 4;
    header.compression = compression;
    header.imageSize = 6;
    const Bytes colors = kx_test::colorTable(compression == 1 ? 256 : 16);
    const Bytes dib = join({headerBytes(header), colors, {4, 1, 4, 2, 0, 1}, {99, 99}});
    EXPECT_EQ(save(dib), 1);
    EXPECT_EQ(saved(), bmpFile(slice(dib, 0, dib.size() - 2), 40 + colors.size()));
  }
}

TEST_F(DibFileTest, SavingATableThatIsNotFullWritesItAsItIs) {
  Header header;
  header.width = 2;
  header.height = 1;
  header.bits = 8;
  header.used = 3;
  header.imageSize = 4;
  const Bytes dib = join({headerBytes(header), kx_test::colorTable(3), {0, 1, 0, 0}});
  EXPECT_EQ(save(dib), 1);
  EXPECT_EQ(saved(), bmpFile(dib, 40 + 12));
}

TEST_F(DibFileTest, SavingTakesTheAbsoluteHeight) {
  const Bytes dib = picture(9, -4, 24);
  EXPECT_EQ(save(dib), 1);
  EXPECT_EQ(saved(), bmpFile(dib));
}

TEST_F(DibFileTest, SavingRefusesNullAndOtherHeaders) {
  CFile file;
  file.Open(L"a.bmp", CFile::modeCreate | CFile::modeReadWrite);
  EXPECT_EQ(kx_gen::SaveDIB(nullptr, file), 0);
  for (const uint32_t size : {0u, 12u, 39u, 41u, 108u}) {
    EXPECT_EQ(kx_gen::SaveDIB(withField(picture(2, 2, 24), 0, size).data(), file), 0) << size;
  }
  EXPECT_EQ(file.GetLength(), 0u);
}

TEST_F(DibFileTest, SavingRefusesSizesThatNoFileHas) {
  const Bytes dib = picture(2, 2, 24);
  EXPECT_EQ(save(withField(dib, kWidth, 0xFFFFFFFF)), 0) << "a negative width";
  EXPECT_EQ(save(withField(withField(dib, kWidth, 0x7FFFFFFF), kHeight, 0x80000000)), 0);
  EXPECT_EQ(save(withField(dib, kHeight, 0x40000000)), 0);
  const Bytes coded = withField(picture(2, 2, 8), kCompression, 1);
  EXPECT_EQ(save(withField(coded, kImageSize, 0xFFFFFFFF - (14 + 40 + 1024) + 1)), 0)
      << "all parts fit 32 bits, but not together";
  EXPECT_EQ(saved(), Bytes());
}

TEST_F(DibFileTest, WhatTheFileThrowsWhileSavingPasses) {
  put({});
  CFile file;
  file.Open(L"a.bmp", CFile::modeRead);
  const Bytes dib = picture(2, 2, 24);
  const Thrown thrown = thrownBy([&] { kx_gen::SaveDIB(dib.data(), file); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
}

TEST_F(DibFileTest, WhatWasSavedReadsBack) {
  for (const uint16_t bits : {1, 4, 8, 24}) {
    const Bytes dib = picture(13, 6, bits);
    ASSERT_EQ(save(dib), 1);
    CFile file;
    file.Open(L"a.bmp", CFile::modeRead);
    const Handle back(kx_gen::ReadDIBFile(file));
    EXPECT_EQ(pixelsOf(dataOf(back)), pixelsOf(dib)) << bits;
  }
}

// --- CDib ---

class CDibTest : public DibFileTest {
 protected:
  static CDib loaded(const Bytes& dib) {
    const Handle handle = kx_test::handleOf(join({dib, Bytes(4, 0)}));
    CDib object;
    object.ReplaceHDIB(handle.get());
    return object;
  }
  static Bytes dataOf(const CDib& object) { return kx_test::dataOf(object.GetHDIB()); }
};

TEST_F(CDibTest, ANewObjectIsEmpty) {
  CDib dib;
  EXPECT_EQ(dib.GetHDIB(), nullptr);
  EXPECT_EQ(dib.GetPalette(), nullptr);
  EXPECT_EQ(dib.GetSize().cx, 0);
  EXPECT_EQ(dib.GetSize().cy, 0);
  EXPECT_EQ(sizeof(CDib), 2 * sizeof(void*) + sizeof(SIZE));
  dib.InitDIBData();
  dib.DetachDib();
  EXPECT_EQ(dib.GetHDIB(), nullptr);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CDibTest, ReplacingTakesADuplicateWhoseLastBytesAreZero) {
  Bytes data = picture(5, 3, 8);
  data.back() = 9;
  const Handle source = kx_test::handleOf(data);
  CDib dib;
  dib.ReplaceHDIB(source.get());
  EXPECT_NE(dib.GetHDIB(), source.get());
  EXPECT_EQ(dataOf(dib), join({slice(data, 0, data.size() - 4), Bytes(4, 0)}));
  EXPECT_EQ(dib.GetSize().cx, 5);
  EXPECT_EQ(dib.GetSize().cy, 3);
  EXPECT_NE(dib.GetPalette(), nullptr);
  EXPECT_EQ(kx_test::dataOf(source), data);
}

TEST_F(CDibTest, ReplacingByItsOwnBitmapWorks) {
  CDib dib = loaded(picture(5, 3, 8));
  const Bytes before = dataOf(dib);
  dib.ReplaceHDIB(dib.GetHDIB());
  EXPECT_EQ(dataOf(dib), join({slice(before, 0, before.size() - 4), Bytes(4, 0)}));
}

TEST_F(CDibTest, ReplacingByNullForgetsBitmapAndPalette) {
  CDib dib = loaded(picture(5, 3, 8));
  void* none = nullptr;
  dib.ReplaceHDIB(none);
  EXPECT_EQ(dib.GetHDIB(), nullptr);
  EXPECT_EQ(dib.GetPalette(), nullptr);
  EXPECT_EQ(dib.GetSize().cx, 5) << "the size is that of the last bitmap";
  EXPECT_EQ(dib.GetSize().cy, 3);
}

TEST_F(CDibTest, OnlyABitmapWithColoursHasAPalette) {
  EXPECT_NE(loaded(picture(5, 3, 1)).GetPalette(), nullptr);
  EXPECT_NE(loaded(picture(5, 3, 4)).GetPalette(), nullptr);
  EXPECT_EQ(loaded(picture(5, 3, 24)).GetPalette(), nullptr);
  const Bytes cut = slice(picture(5, 3, 8), 0, 40 + 100);
  const CDib withoutColors = loaded(cut);
  EXPECT_EQ(withoutColors.GetPalette(), nullptr) << "the table is not all there";
  EXPECT_EQ(withoutColors.GetSize().cx, 5);
}

TEST_F(CDibTest, ACoreHeaderGivesTheSizeToo) {
  const CDib dib = loaded(join({coreHeader(40000, 50000, 1), Bytes(6, 7)}));
  EXPECT_EQ(dib.GetSize().cx, 40000);
  EXPECT_EQ(dib.GetSize().cy, 50000);
  EXPECT_NE(dib.GetPalette(), nullptr);
}

TEST_F(CDibTest, InitReadsTheHeaderAnew) {
  CDib dib = loaded(picture(5, 3, 24));
  auto* data = static_cast<unsigned char*>(MemGetPtr(dib.GetHDIB()));
  data[kWidth] = 4;
  dib.InitDIBData();
  EXPECT_EQ(dib.GetSize().cx, 4);
}

TEST_F(CDibTest, AWidthOrHeightWithItsTopBitSetIsTooBig) {
  const Bytes source = picture(5, 3, 8);
  for (const size_t field : {kWidth, kHeight}) {
    for (const uint32_t value : {0x80000000u, 0xFFFFFFFFu, 0xFFFFFFFDu}) {
      const Handle handle = kx_test::handleOf(withField(source, field, value));
      CDib dib = loaded(source);
      kx_test::clearLog();
      const Thrown thrown = thrownBy([&] { dib.ReplaceHDIB(handle.get()); });
      EXPECT_TRUE(thrown.is(Thrown::kException, 22, 0xFFFFFFFF)) << thrown;
      EXPECT_EQ(thrown.description, L"The image is too big");
      EXPECT_EQ(dib.GetHDIB(), nullptr);
      EXPECT_EQ(dib.GetPalette(), nullptr);
      EXPECT_EQ(dib.GetSize().cx, 5) << "the size is that of the last bitmap";
      EXPECT_EQ(dib.GetSize().cy, 3);
      EXPECT_EQ(kx_test::logCount("Throw an exception FILE - .\\Dib, LINE - "), 1);
    }
  }
}

TEST_F(CDibTest, TheLargestSizeIsNotTooBig) {
  const CDib dib =
      loaded(withField(withField(picture(5, 3, 24), kWidth, 0x7FFFFFFF), kHeight, 0x7FFFFFFF));
  EXPECT_EQ(dib.GetSize().cx, 0x7FFFFFFF);
  EXPECT_EQ(dib.GetSize().cy, 0x7FFFFFFF);
}

TEST_F(CDibTest, ABitmapWithoutAWholeHeaderIsFreed) {
  const Bytes source = picture(5, 3, 24);
  for (const size_t size : {1, 3, 4, 39}) {
    const Handle handle = kx_test::handleOf(slice(source, 0, size));
    CDib dib;
    dib.ReplaceHDIB(handle.get());
    EXPECT_EQ(dib.GetHDIB(), nullptr) << size;
  }
}

TEST_F(CDibTest, DetachingGivesTheBitmapToTheCaller) {
  Handle handle;
  {
    CDib dib = loaded(picture(5, 3, 8));
    handle.reset(dib.GetHDIB());
    dib.DetachDib();
    EXPECT_EQ(dib.GetHDIB(), nullptr);
    EXPECT_NE(dib.GetPalette(), nullptr);
    EXPECT_EQ(dib.GetSize().cx, 5);
  }
  EXPECT_EQ(kx_gen::DIBWidth(MemGetPtr(handle.get())), 5);
}

TEST_F(CDibTest, CopiesShareBitmapAndPaletteAndTheLastFreesThem) {
  CDib third;
  {
    CDib first = loaded(picture(5, 3, 8));
    const CDib second(first);
    third = second;
    const CDib& itself = third;
    third = itself;
    EXPECT_EQ(second.GetHDIB(), first.GetHDIB());
    EXPECT_EQ(third.GetHDIB(), first.GetHDIB());
    EXPECT_EQ(third.GetPalette(), first.GetPalette());
    EXPECT_EQ(third.GetSize().cy, 3);
    void* none = nullptr;
    first.ReplaceHDIB(none);
    EXPECT_EQ(kx_gen::DIBWidth(MemGetPtr(second.GetHDIB())), 5);
  }
  EXPECT_EQ(kx_gen::DIBWidth(MemGetPtr(third.GetHDIB())), 5);
  EXPECT_NE(third.GetPalette(), nullptr);
}

TEST_F(CDibTest, ADetachedBitmapStaysItsCopiesAndTheLastFreesIt) {
  CDib first = loaded(picture(5, 3, 8));
  void* const bitmap = first.GetHDIB();
  const CDib second(first);
  CDib third = second;
  first.DetachDib();
  EXPECT_EQ(first.GetHDIB(), nullptr);
  EXPECT_EQ(second.GetHDIB(), bitmap);
  third.InitDIBData();
  EXPECT_EQ(third.GetHDIB(), bitmap);
  EXPECT_EQ(third.GetSize().cx, 5);
}

TEST_F(CDibTest, ABitmapThatEveryCopyDetachedIsTheCallers) {
  Handle handle;
  {
    CDib first = loaded(picture(5, 3, 8));
    CDib second(first);
    handle.reset(first.GetHDIB());
    first.DetachDib();
    second.DetachDib();
    EXPECT_EQ(second.GetHDIB(), nullptr);
  }
  EXPECT_EQ(kx_gen::DIBWidth(MemGetPtr(handle.get())), 5);
}

TEST_F(CDibTest, LoadsAFile) {
  const Bytes source = picture(13, 6, 4);
  put(bmpFile(source));
  CDib dib;
  EXPECT_TRUE(dib.LoadDIBFile(L"a.bmp"));
  EXPECT_EQ(pixelsOf(dataOf(dib)), pixelsOf(source));
  EXPECT_EQ(dib.GetSize().cx, 13);
  EXPECT_EQ(dib.GetSize().cy, 6);
  EXPECT_NE(dib.GetPalette(), nullptr);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CDibTest, AFileThatOthersReadCanBeLoadedAndOneThatOthersWriteCannot) {
  put(bmpFile(picture(13, 6, 4)));
  CFile other;
  CDib dib;
  other.Open(L"a.bmp", CFile::modeRead | CFile::shareDenyNone);
  EXPECT_TRUE(dib.LoadDIBFile(L"a.bmp"));
  other.Open(L"a.bmp", CFile::modeReadWrite | CFile::shareDenyNone);
  EXPECT_FALSE(dib.LoadDIBFile(L"a.bmp"));
}

TEST_F(CDibTest, AFileThatCannotBeOpenedIsFalseAndChangesNothing) {
  CDib dib = loaded(picture(5, 3, 8));
  void* const before = dib.GetHDIB();
  EXPECT_FALSE(dib.LoadDIBFile(L"none.bmp"));
  EXPECT_FALSE(dib.LoadDIBFile(L"nofolder\\none.bmp"));
  EXPECT_FALSE(dib.LoadDIBFile(L""));
  EXPECT_FALSE(dib.LoadDIBFile(nullptr));
  EXPECT_EQ(dib.GetHDIB(), before);
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - .\\File"), 4);
}

TEST_F(CDibTest, AFileWithoutABitmapThrowsMessage23) {
  const Bytes file = bmpFile(picture(5, 3, 8));
  for (const Bytes& contents :
       {Bytes(), slice(file, 0, 13), Bytes(100, 'x'), slice(file, 0, 14 + 20)}) {
    put(contents);
    CDib dib = loaded(picture(5, 3, 8));
    kx_test::clearLog();
    const Thrown thrown = thrownBy([&] { dib.LoadDIBFile(L"a.bmp"); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 23, 0xFFFFFFFF)) << thrown;
    EXPECT_EQ(thrown.description, L"Cannot load DIB");
    EXPECT_EQ(dib.GetHDIB(), nullptr);
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - .\\Dib, LINE - "), 1);
  }
}

TEST_F(CDibTest, AFileThatStandsFromTheTopDownThrowsMessage22) {
  put(bmpFile(picture(5, -3, 8)));
  CDib dib;
  const Thrown thrown = thrownBy([&] { dib.LoadDIBFile(L"a.bmp"); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 22, 0xFFFFFFFF)) << thrown;
  EXPECT_EQ(dib.GetHDIB(), nullptr);
}

TEST_F(CDibTest, LoadingClosesTheFile) {
  put(bmpFile(picture(5, 3, 8)));
  CDib dib;
  dib.LoadDIBFile(L"a.bmp");
  put(Bytes(20, 1));
  thrownBy([&] { dib.LoadDIBFile(L"a.bmp"); });
  CFile::Remove(L"a.bmp");
  EXPECT_FALSE(std::filesystem::exists("a.bmp"));
}

TEST_F(CDibTest, SavesAFileOverWhatIsThere) {
  put(Bytes(100000, 7));
  const Bytes source = picture(13, 6, 24);
  EXPECT_EQ(loaded(source).SaveDIBFile(L"a.bmp"), 1);
  EXPECT_EQ(saved(), bmpFile(source));
}

TEST_F(CDibTest, WithoutABitmapNothingIsSaved) {
  EXPECT_EQ(CDib().SaveDIBFile(L"a.bmp"), 0);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertionLine(".\\MemAPI", 23)));
}

TEST_F(CDibTest, AFileThatCannotBeOpenedForSavingIsZero) {
  const CDib dib = loaded(picture(5, 3, 8));
  EXPECT_EQ(dib.SaveDIBFile(L"nofolder\\a.bmp"), 0);
  EXPECT_EQ(dib.SaveDIBFile(nullptr), 0);
  put({});
  CFile other;
  other.Open(L"a.bmp", CFile::modeRead | CFile::shareDenyNone);
  EXPECT_EQ(dib.SaveDIBFile(L"a.bmp"), 0) << "somebody reads it";
}

TEST_F(CDibTest, ABitmapThatExceedsItsHandleIsNotSaved) {
  const Bytes source = picture(5, 3, 8);
  EXPECT_EQ(loaded(slice(source, 0, source.size() - 5)).SaveDIBFile(L"a.bmp"), 0);
  EXPECT_EQ(loaded(withField(source, kHeight, 4)).SaveDIBFile(L"a.bmp"), 0);
  EXPECT_EQ(loaded(withField(source, kHeight, 0x7FFFFFFF)).SaveDIBFile(L"a.bmp"), 0);
  EXPECT_EQ(loaded(withField(source, kUsed, 400)).SaveDIBFile(L"a.bmp"), 0);
  EXPECT_EQ(
      loaded(withField(withField(source, kCompression, 1), kImageSize, 5000)).SaveDIBFile(L"a.bmp"),
      0);
  EXPECT_EQ(loaded(coreHeader(1, 1, 24)).SaveDIBFile(L"a.bmp"), 0);
  EXPECT_EQ(saved(), Bytes());
}

TEST_F(CDibTest, EveryGoodPictureLoadsOrIsRefusedAsItsHeaderTells) {
  for (const auto& file : kx_test::realPictures()) {
    CDib dib;
    const bool topDown = file.filename() == "pal8topdown.bmp";
    const Thrown thrown = thrownBy([&] { EXPECT_TRUE(dib.LoadDIBFile(file.wstring().c_str())); });
    EXPECT_EQ(thrown.kind, topDown ? Thrown::kException : Thrown::kNothing) << file << thrown;
    EXPECT_EQ(dib.GetHDIB() == nullptr, topDown) << file;
  }
}

// --- Damage ---

TEST_F(CDibTest, EveryCutAndEveryChangedByteOfAFileIsSafe) {
  std::vector<Bytes> damaged;
  for (const Bytes& file : {bmpFile(picture(6, 3, 4)), bmpFile(picture(3, 3, 24))}) {
    for (size_t size = 0; size <= file.size(); ++size) damaged.push_back(slice(file, 0, size));
    for (size_t at = 0; at < file.size(); ++at) {
      for (const int value : {0x00, 0x01, 0x28, 0x7F, 0x80, 0xFF}) {
        damaged.push_back(file);
        damaged.back()[at] = static_cast<unsigned char>(value);
      }
    }
  }
  for (const Bytes& contents : damaged) {
    put(contents);
    CDib dib;
    const Thrown thrown = thrownBy([&] { dib.LoadDIBFile(L"a.bmp"); });
    EXPECT_TRUE(thrown.kind == Thrown::kNothing || thrown.is(Thrown::kException, 22, 0xFFFFFFFF) ||
                thrown.is(Thrown::kException, 23, 0xFFFFFFFF))
        << thrown;
    if (dib.GetHDIB() == nullptr) continue;
    dib.SaveDIBFile(L"b.bmp");
    void* const handle = dib.GetHDIB();
    const Handle shrunk(kx_gen::ShrinkDIB(handle, 2, 2));
    Handle copy(kx_gen::CopyHandle(handle));
    const Handle drawing(kx_gen::ConvertDibToInternalFormat(copy.get()));
    if (drawing == nullptr) continue;
    copy.release();
    const Handle back(kx_gen::ConvertInternalFormatToDib(drawing.get()));
  }
}

TEST_F(CDibTest, ASmallPictureWithACoreHeaderHasItsPalette) {
  constexpr size_t kCoreHeaderSize = 12;
  Bytes dib(kCoreHeaderSize + 256 * 3 + 4 + 4);  // a row, and the bytes that a duplicate loses
  dib[0] = kCoreHeaderSize;
  dib[4] = dib[6] = dib[8] = 1;  // width, height, planes
  dib[10] = 8;                   // bits per pixel
  void* handle = MemAlloc(static_cast<unsigned long>(dib.size()));
  std::memcpy(MemGetPtr(handle), dib.data(), dib.size());
  kx_gen::CDib object;
  object.ReplaceHDIB(handle);
  EXPECT_NE(nullptr, object.GetPalette());
  MemFree(handle);
}

}  // namespace
