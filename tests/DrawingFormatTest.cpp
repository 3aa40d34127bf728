// The form in which records keep drawings: its bytes, what it keeps of a bitmap, what it loses, and
// what damaged blocks give.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "Dib.h"
#include "KXBitmap.h"
#include "LargestAllocation.h"
#include "Pictures.h"
#include "PlainCoder.h"

namespace {

using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::dataOf;
using kx_test::dibOf;
using kx_test::drawingOf;
using kx_test::golden;
using kx_test::Handle;
using kx_test::Header;
using kx_test::headerBytes;
using kx_test::join;
using kx_test::le32;
using kx_test::logLines;
using kx_test::picture;
using kx_test::pictureOf;
using kx_test::slice;
using kx_test::withField;
using kx_test::header_at::kHeight;
using kx_test::header_at::kImageSize;
using kx_test::header_at::kUsed;
using kx_test::header_at::kWidth;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kFilledMax = 16u << 20;

const std::string kLengthDiffers = assertionLine(".\\KXBitmap", 131);
const std::string kOtherHeader = assertionLine(".\\KXBitmap", 62);

/// A block with these fields.
struct Block {
  uint8_t version = 2;
  uint32_t width = 2;
  uint32_t height = 2;
  uint32_t size = 16;
  uint8_t bits = 24;
  Bytes colors;
  Bytes coded;
};
Bytes blockOf(const Block& block) {
  return join({{block.version},
               le32(block.width),
               le32(block.height),
               le32(block.size),
               {block.bits},
               block.colors,
               le32(static_cast<uint32_t>(block.coded.size())),
               block.coded});
}

Bytes copied(const Bytes& source) { return join({{1, 0, 0, 0}, source}); }

Bytes blackWhite() { return {0, 0, 0, 0, 255, 255, 255, 0}; }

Bytes repeated(const Bytes& row, int count) {
  Bytes rows;
  for (int i = 0; i < count; ++i) rows = join({rows, row});
  return rows;
}

Bytes tableOf16() {
  Bytes table;
  for (int i = 0; i < 16; ++i) {
    table =
        join({table, le32(static_cast<uint32_t>(16 * i | (255 - 16 * i) << 8 | (8 * i) << 16))});
  }
  return table;
}

Bytes tableOf256() {
  Bytes table;
  for (int i = 0; i < 256; ++i) {
    table = join({table, le32(static_cast<uint32_t>(i | (i ^ 0x55) << 8 | (255 - i) << 16))});
  }
  return table;
}

struct GoldenDrawing {
  const char* name;
  Header header;
  Bytes colors;
  Bytes rows;

  /// As a bitmap that is to be stored: with its image size.
  Bytes dib() const {
    Header stored = header;
    stored.imageSize = static_cast<uint32_t>(rows.size());
    return join({headerBytes(stored), colors, rows});
  }
  /// As a bitmap that was read back.
  Bytes readBack() const { return join({headerBytes(header), colors, rows}); }
};

std::vector<GoldenDrawing> goldenDrawings() {
  const Bytes manyColors = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x00, 0x11, 0, 0};
  const Bytes oneColor = {255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0, 0};
  return {
      {"drawing-1", {16, 20, 1}, blackWhite(), repeated({0xAA, 0x55, 0, 0}, 20)},
      {"drawing-4", {20, 6, 4}, tableOf16(), repeated(join({manyColors, oneColor}), 3)},
      {"drawing-8", {6, 12, 8}, tableOf256(), repeated({10, 20, 30, 40, 50, 60, 0, 0}, 12)},
      {"drawing-24", {2, 2, 24}, {}, {255, 0, 0, 0, 255, 0, 0, 0, 0, 0, 255, 255, 255, 255, 0, 0}},
  };
}

class DrawingFormatTest : public kx_test::KxTest {};

// --- Bytes ---

TEST_F(DrawingFormatTest, BitmapsOfEachDepthGiveTheGoldenBlocks) {
  for (const GoldenDrawing& drawing : goldenDrawings()) {
    EXPECT_EQ(kx_test::toHex(drawingOf(drawing.dib())), kx_test::toHex(golden(drawing.name)))
        << drawing.name;
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingFormatTest, TheGoldenBlocksGiveTheBitmaps) {
  for (const GoldenDrawing& drawing : goldenDrawings()) {
    EXPECT_EQ(kx_test::toHex(dataOf(dibOf(golden(drawing.name)))),
              kx_test::toHex(drawing.readBack()))
        << drawing.name;
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingFormatTest, TheBlockTakes18BytesBesideColoursAndCodedPixels) {
  const std::pair<uint16_t, size_t> kColors[] = {{1, 2},  {4, 16}, {8, 256},
                                                 {16, 0}, {24, 0}, {32, 0}};
  for (const auto& [bits, colors] : kColors) {
    const Bytes rows(kx_test::rowSizeOf(bits, 30) * 20, 0x5A);
    const Bytes coded = kx_test::plainCompress(rows);
    const Bytes drawing = drawingOf(pictureOf(30, 20, bits, rows));
    EXPECT_EQ(drawing.size(), 18 + 4 * colors + coded.size()) << bits;
    EXPECT_EQ(slice(drawing, 14 + 4 * colors, 4), le32(static_cast<uint32_t>(coded.size())));
    EXPECT_EQ(slice(drawing, 18 + 4 * colors, coded.size()), coded);
  }
}

TEST_F(DrawingFormatTest, PicturesOfEveryDepthComeBack) {
  for (const uint16_t bits : {1, 4, 8, 16, 24, 32}) {
    const Bytes source = picture(33, 21, bits);
    const Handle back = dibOf(drawingOf(source));
    ASSERT_NE(back, nullptr) << bits;
    EXPECT_EQ(dataOf(back), withField(source, kImageSize, 0)) << bits;
    EXPECT_EQ(kx_gen::DIBNumColors(MemGetPtr(back.get())), bits <= 8 ? 1u << bits : 0u);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingFormatTest, TheVersionIsNotLookedAt) {
  const GoldenDrawing drawing = goldenDrawings()[0];
  for (const int version : {0, 1, 3, 255}) {
    Bytes block = golden(drawing.name);
    block[0] = static_cast<unsigned char>(version);
    EXPECT_EQ(dataOf(dibOf(block)), drawing.readBack());
  }
}

TEST_F(DrawingFormatTest, WidthAndHeightAreKeptWhateverTheyAre) {
  const Bytes source =
      withField(withField(picture(2, 2, 24), kWidth, 0xFFFFFFF0), kHeight, 0x80000001);
  const Bytes drawing = drawingOf(source);
  EXPECT_EQ(slice(drawing, 1, 8), (Bytes{0xF0, 0xFF, 0xFF, 0xFF, 0x01, 0, 0, 0x80}));
  EXPECT_EQ(dataOf(dibOf(drawing)), withField(source, kImageSize, 0));
}

TEST_F(DrawingFormatTest, OnlyTheLowByteOfTheDepthIsKept) {
  const Bytes drawing = drawingOf(pictureOf(1, 1, 0x0118, Bytes(36, 1)));
  EXPECT_EQ(drawing.at(13), 0x18);
}

TEST_F(DrawingFormatTest, CompressionResolutionAndColourCountsAreLost) {
  Header header{4, 1, 8};
  header.used = 256;
  header.resolution = 2835;
  header.imageSize = 4;
  const Bytes source = join({headerBytes(header), tableOf256(), {1, 2, 3, 4}});
  EXPECT_EQ(dataOf(dibOf(drawingOf(source))),
            join({headerBytes({4, 1, 8}), tableOf256(), {1, 2, 3, 4}}));
}

TEST_F(DrawingFormatTest, TheBlockStaysWithTheCaller) {
  const Handle block = kx_test::handleOf(golden("drawing-8"));
  const Handle first(kx_gen::ConvertInternalFormatToDib(block.get()));
  const Handle second(kx_gen::ConvertInternalFormatToDib(block.get()));
  EXPECT_EQ(dataOf(first), dataOf(second));
  EXPECT_EQ(dataOf(block), golden("drawing-8"));
}

// --- The image size ---

TEST_F(DrawingFormatTest, ABitmapWithoutImageSizeIsStoredWithoutItsPixels) {
  const Bytes source = picture(6, 5, 24);
  const Bytes drawing = drawingOf(withField(source, kImageSize, 0));
  Block block;
  block.width = 6;
  block.height = 5;
  block.size = 5 * 20;
  block.coded = copied({});
  EXPECT_EQ(drawing, blockOf(block));
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_EQ(dataOf(dibOf(drawing)), join({headerBytes({6, 5, 24}), Bytes(100, 0)}));
  EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
}

TEST_F(DrawingFormatTest, WithoutImageSizeTheAbsoluteHeightCounts) {
  const Bytes drawing = drawingOf(withField(picture(6, -5, 24), kImageSize, 0));
  EXPECT_EQ(slice(drawing, 9, 4), le32(100));
}

TEST_F(DrawingFormatTest, ABitmapReadBackHasNoImageSizeAndLosesItsPixelsWhenStoredAgain) {
  const Bytes once = drawingOf(picture(6, 5, 24));
  const Bytes back = dataOf(dibOf(once));
  EXPECT_EQ(slice(back, kImageSize, 4), le32(0));
  EXPECT_EQ(kx_test::bitsOf(dataOf(dibOf(drawingOf(back)))), Bytes(100, 0));
  EXPECT_EQ(drawingOf(withField(back, kImageSize, 100)), once) << "unless its image size is set";
}

TEST_F(DrawingFormatTest, AsManyBytesOfPixelsAreStoredAsTheImageSizeTells) {
  const Bytes source = picture(6, 5, 24);
  const Bytes drawing = drawingOf(withField(source, kImageSize, 30));
  EXPECT_EQ(slice(drawing, 9, 4), le32(30));
  const Bytes back = dataOf(dibOf(drawing));
  EXPECT_EQ(back, join({headerBytes({6, 5, 24}), slice(source, 40, 30)}));
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Colour tables that are not full ---

TEST_F(DrawingFormatTest, AColourTableIsStoredAsLongAsItIsAndDoesNotSurvive) {
  for (const uint32_t used : {1u, 3u, 200u, 255u}) {
    clearLog();
    Header header{4, 2, 8};
    header.used = used;
    header.imageSize = 8;
    const Bytes table = kx_test::colorTable(used);
    const Bytes drawing = drawingOf(join({headerBytes(header), table, Bytes(8, 1)}));
    Block block;
    block.width = 4;
    block.size = 8;
    block.bits = 8;
    block.colors = table;
    block.coded = copied(Bytes(8, 1));
    EXPECT_EQ(drawing, blockOf(block)) << used;
    const Handle back = dibOf(drawing);  // read by depth, the table passes the block, or nearly
    EXPECT_EQ(back == nullptr, used < 255);
    if (back == nullptr) continue;
    EXPECT_EQ(kx_test::bitsOf(dataOf(back)), Bytes(8, 0));
    EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
  }
}

TEST_F(DrawingFormatTest, AColourTableBesideTrueColoursDoesNotSurvive) {
  Header header{2, 2, 24};
  header.used = 2;
  header.imageSize = 16;
  const Bytes drawing = drawingOf(join({headerBytes(header), blackWhite(), Bytes(16, 1)}));
  EXPECT_EQ(drawing.size(), 18u + 8 + 20);
  // The first colour is taken for the length: no coded bits at all.
  EXPECT_EQ(dataOf(dibOf(drawing)), join({headerBytes({2, 2, 24}), Bytes(16, 0)}));
  EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
}

TEST_F(DrawingFormatTest, AColourTableOfMoreThan16BitsOfBytesIsStoredAsItsSizeSays) {
  Header header{1, 1, 24};
  header.used = 0x4002;  // 65,544 bytes, which 16 bits take for 8
  header.imageSize = 4;
  const Bytes drawing = drawingOf(join({headerBytes(header), blackWhite(), {5, 6, 7, 8}}));
  const Bytes start = slice(drawing, 0, 14 + 8 + 4 + 8);
  EXPECT_EQ(drawing.size(), 18u + 4 * 0x4002 + 8);
  EXPECT_EQ(slice(start, 14, 20), join({blackWhite(), le32(8), copied({5, 6, 7, 8})}));
  EXPECT_EQ(slice(drawing, start.size(), drawing.size() - start.size()),
            Bytes(drawing.size() - start.size(), 0));
}

// --- Bitmaps that are refused ---

/// Null, and the bitmap is still the caller's.
void expectRefused(const Bytes& dib, const std::string& why) {
  const Handle source = kx_test::handleOf(dib);
  EXPECT_EQ(kx_gen::ConvertDibToInternalFormat(source.get()), nullptr) << why;
  EXPECT_EQ(dataOf(source), dib) << why;
}

TEST_F(DrawingFormatTest, NoHandleIsAssertedAndNull) {
  EXPECT_EQ(kx_gen::ConvertDibToInternalFormat(nullptr), nullptr);
  EXPECT_THAT(logLines(),
              ElementsAre(assertionLine(".\\KXBitmap", 16), assertionLine(".\\MemAPI", 23)));
  clearLog();
  EXPECT_EQ(kx_gen::ConvertInternalFormatToDib(nullptr), nullptr);
  EXPECT_THAT(logLines(),
              ElementsAre(assertionLine(".\\KXBitmap", 91), assertionLine(".\\MemAPI", 23)));
}

TEST_F(DrawingFormatTest, AnotherHeaderIsAssertedAndNull) {
  for (const uint32_t size : {0u, 12u, 39u, 41u, 108u, 124u}) {
    clearLog();
    expectRefused(withField(picture(2, 2, 24), 0, size), std::to_string(size));
    EXPECT_THAT(logLines(), ElementsAre(kOtherHeader)) << size;
  }
}

TEST_F(DrawingFormatTest, ABitmapThatExceedsItsHandleIsNull) {
  const Bytes source = picture(5, 4, 8);
  for (const size_t size :
       {size_t{1}, size_t{3}, size_t{4}, size_t{39}, size_t{40}, size_t{1063}, source.size() - 1}) {
    expectRefused(slice(source, 0, size), std::to_string(size));
  }
  expectRefused(withField(source, kImageSize, 33), "an image size of one byte more");
  expectRefused(withField(source, kImageSize, 0xFFFFFFFF), "the largest image size");
  expectRefused(withField(source, kUsed, 257), "a table of one colour more");
  const Bytes sizeless = withField(source, kImageSize, 0);
  expectRefused(withField(sizeless, kHeight, 5), "one row more");
  expectRefused(withField(sizeless, kHeight, 0x80000000), "the largest height");
  expectRefused(withField(sizeless, kWidth, 9), "longer rows");
  expectRefused(withField(sizeless, kWidth, 0xFFFFFFFF), "a negative width");
  expectRefused(withField(withField(sizeless, kWidth, 0x7FFFFFFF), kHeight, 0x7FFFFFFF), "both");
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Blocks that are not whole ---

TEST_F(DrawingFormatTest, ABlockThatDoesNotHoldItsPartsIsNull) {
  for (const GoldenDrawing& drawing : goldenDrawings()) {
    const Bytes block = golden(drawing.name);
    for (size_t size = 1; size < block.size(); ++size) {
      EXPECT_EQ(dibOf(slice(block, 0, size)), nullptr) << drawing.name << " cut to " << size;
    }
    EXPECT_EQ(dataOf(dibOf(join({block, {9, 9, 9}}))), drawing.readBack()) << "more is left alone";
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingFormatTest, ALengthBeyondTheBlockIsNull) {
  const Bytes block = golden("drawing-24");
  for (const uint32_t length : {21u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFEEu, 0xFFFFFFFFu}) {
    EXPECT_EQ(dibOf(withField(block, 14, length)), nullptr) << length;
  }
}

TEST_F(DrawingFormatTest, PixelsShorterThanToldAreFilledUpWithZeros) {
  Block block;
  for (const uint32_t size : {17u, 100u, kFilledMax}) {
    clearLog();
    block.size = size;
    block.coded = copied(Bytes(16, 7));
    const Bytes dib = dataOf(dibOf(blockOf(block)));
    EXPECT_EQ(dib.size(), 40u + size);
    EXPECT_EQ(slice(dib, 40, 16), Bytes(16, 7));
    EXPECT_EQ(std::count(dib.begin() + 56, dib.end(), 0), size - 16);
    EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
  }
}

TEST_F(DrawingFormatTest, PixelsLongerThanToldAreCut) {
  Block block;
  for (const uint32_t size : {0u, 1u, 15u}) {
    clearLog();
    block.size = size;
    block.coded = copied(Bytes(16, 7));
    EXPECT_EQ(dataOf(dibOf(blockOf(block))), join({headerBytes({2, 2, 24}), Bytes(size, 7)}));
    EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
  }
}

TEST_F(DrawingFormatTest, PixelsToldToBeBeyond16MiBThatAreNotThereAreNull) {
  Block block;
  block.coded = copied(Bytes(16, 7));
  for (const uint32_t size : {kFilledMax + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    clearLog();
    block.size = size;
    kx_test::forgetAllocations();
    EXPECT_EQ(dibOf(blockOf(block)), nullptr) << size;
    EXPECT_LT(kx_test::largestAllocation(), size_t{1} << 20);
    EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
  }
}

TEST_F(DrawingFormatTest, PixelsBeyond16MiBThatAreThereComeBack) {
  const uint32_t size = kFilledMax + 4;
  const Bytes drawing = drawingOf(pictureOf(static_cast<int32_t>(size / 4), 1, 32, Bytes(size, 3)));
  EXPECT_LT(drawing.size(), size / 4);
  EXPECT_EQ(kx_test::bitsOf(dataOf(dibOf(drawing))), Bytes(size, 3));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingFormatTest, CodedBitsShorterThanTheirHeaderAreNoPixels) {
  for (size_t size = 0; size < 4; ++size) {
    clearLog();
    Block block;
    block.coded = Bytes(size, 1);
    EXPECT_EQ(dataOf(dibOf(blockOf(block))), join({headerBytes({2, 2, 24}), Bytes(16, 0)}));
    EXPECT_THAT(logLines(), ElementsAre(kLengthDiffers));
  }
  clearLog();
  Block empty;
  empty.size = 0;
  EXPECT_EQ(dataOf(dibOf(blockOf(empty))), headerBytes({2, 2, 24}));
  EXPECT_THAT(logLines(), IsEmpty());
}

/// Whatever a block holds: null, or a bitmap as large as the block says.
void expectSafe(const Bytes& block, const std::string& what) {
  const Bytes dib = dataOf(dibOf(block));
  if (dib.empty()) return;
  const Bytes bits = {block[13], 0};
  EXPECT_EQ(slice(dib, 14, 2), bits) << what;
  EXPECT_EQ(slice(dib, 4, 8), slice(block, 1, 8)) << what;
  const size_t colors = block[13] == 1 ? 2 : block[13] == 4 ? 16 : block[13] == 8 ? 256 : 0;
  EXPECT_EQ(le32(static_cast<uint32_t>(dib.size() - 40 - 4 * colors)), slice(block, 9, 4)) << what;
}

TEST_F(DrawingFormatTest, EveryChangedByteOfABlockIsSafe) {
  for (const GoldenDrawing& drawing : goldenDrawings()) {
    const Bytes block = golden(drawing.name);
    kx_test::forgetAllocations();
    for (size_t at = 0; at < block.size(); ++at) {
      for (const int value : {0x00, 0x01, 0x04, 0x08, 0x7F, 0x80, 0xFF}) {
        Bytes changed = block;
        changed[at] = static_cast<unsigned char>(value);
        expectSafe(changed, drawing.name + std::string(" at ") + std::to_string(at));
      }
    }
    EXPECT_LE(kx_test::largestAllocation(), kFilledMax + 4096u);
  }
}

TEST_F(DrawingFormatTest, NoBlockMakesTheReaderGoAstray) {
  kx_test::Noise noise(4);
  for (int i = 0; i < 3000; ++i) {
    Bytes block = noise.bytes(1 + noise.below(1200));
    if (block.size() > 18 && i % 2 == 0) {  // a likely front
      block[11] = 0;
      block[12] = 0;
      block[13] = std::array<unsigned char, 4>{1, 4, 8, 24}[noise.below(4)];
    }
    expectSafe(block, std::to_string(i));
  }
}

// --- Pictures of others ---

TEST_F(DrawingFormatTest, GoodPicturesAsTheyAreGiveTheDocumentedBlockAndReadSafely) {
  for (const auto& file : kx_test::realPictures()) {
    clearLog();
    const Bytes contents = kx_test::readFile(file);
    const Bytes dib = join({slice(contents, 14, contents.size() - 14), Bytes(14, 0)});
    const Bytes drawing = drawingOf(dib);
    if (slice(dib, 0, 4) != le32(40)) {
      EXPECT_THAT(drawing, IsEmpty()) << file;
      EXPECT_THAT(logLines(), ElementsAre(kOtherHeader)) << file;
      continue;
    }
    const size_t table = kx_gen::PaletteSize(dib.data());
    const size_t pixelsSize = dib[kImageSize] + dib[kImageSize + 1] * size_t{256};
    const Bytes coded = kx_test::plainCompress(slice(dib, 40 + table, pixelsSize));
    EXPECT_EQ(slice(drawing, 0, 9), join({{2}, slice(dib, kWidth, 8)})) << file;
    EXPECT_EQ(drawing.at(13), dib.at(14)) << file;
    EXPECT_EQ(slice(drawing, 14, drawing.size() - 14),
              join({slice(dib, 40, table), le32(static_cast<uint32_t>(coded.size())), coded}))
        << file;
    EXPECT_THAT(logLines(), IsEmpty()) << file;
    if (dibOf(drawing) == nullptr) {
      EXPECT_THAT(logLines(), IsEmpty()) << file;
    } else {
      EXPECT_THAT(logLines(), testing::AnyOf(IsEmpty(), ElementsAre(kLengthDiffers))) << file;
    }
  }
}

}  // namespace
