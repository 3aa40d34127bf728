// What pictures, drawings and their coder do when memory runs out: null, the stated assertion, and
// nothing lost.

#include <gmock/gmock.h>

#include <memory>

#include "Compression.h"
#include "FailingNew.h"
#include "LimitedMalloc.h"
#include "OutlineRecord.h"
#include "Pictures.h"

namespace {

using kx_gen::CCompression;
using kx_gen::CDib;
using kx_gen::COutlineRecord;
using kx_seam::AllocationLimit;
using kx_seam::LargestRequest;
using kx_test::assertionLine;
using kx_test::bmpFile;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::dataOf;
using kx_test::drawingOf;
using kx_test::Handle;
using kx_test::handleOf;
using kx_test::logLines;
using kx_test::picture;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr size_t kCoderBuffer = 65536;
constexpr size_t kSmall = 100;  // less than any bitmap of these tests

const std::string kNoBuffer = assertionLine(".\\Compression", 44);
const std::string kNoGrowth = assertionLine(".\\Compression", 71);

class PictureExhaustionTest : public kx_test::KxTest {};

// --- The coder ---

TEST_F(PictureExhaustionTest, ACoderWithoutItsBufferAssertsAndMakesOneLater) {
  const LargestRequest limit(kCoderBuffer - 1);
  CCompression coder;
  EXPECT_THAT(logLines(), ElementsAre(kNoBuffer));
  clearLog();
  Bytes source(100, 7);
  unsigned char* out = source.data();
  unsigned long size = 1;
  coder.Compress(source.data(), source.size(), out, &size);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(size, 0u);
  EXPECT_THAT(logLines(), ElementsAre(kNoGrowth));
}

TEST_F(PictureExhaustionTest, ACoderMakesTheBufferThatItLackedWhenThereIsMemoryAgain) {
  const auto coder = [] {
    const LargestRequest limit(kSmall);
    return std::make_unique<CCompression>();
  }();
  Bytes source(100, 7);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  coder->Compress(source.data(), source.size(), out, &size);
  EXPECT_NE(out, nullptr);
  EXPECT_GT(size, 4u);
}

TEST_F(PictureExhaustionTest, ACoderThatCannotGrowAssertsAndGivesNothing) {
  CCompression coder;
  Bytes source(300000, 7);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  coder.Compress(source.data(), source.size(), out, &size);
  Bytes coded(out, out + size);
  CCompression another;
  for (const bool expand : {false, true}) {
    const LargestRequest limit(kCoderBuffer);
    clearLog();
    out = source.data();
    size = 1;
    if (expand) {
      another.Decompress(coded.data(), coded.size(), out, &size);
    } else {
      another.Compress(source.data(), source.size(), out, &size);
    }
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_THAT(logLines(), ElementsAre(kNoGrowth));
  }
  another.Decompress(coded.data(), coded.size(), out, &size);
  EXPECT_EQ(size, source.size()) << "it goes on when there is memory again";
}

// --- Bitmaps ---

TEST_F(PictureExhaustionTest, NewBitmapsAreNull) {
  const Bytes dib = picture(20, 20, 24);
  const Handle handle = handleOf(dib);
  void* const source = handle.get();
  {
    const LargestRequest limit(kSmall);
    EXPECT_EQ(kx_gen::CreateDIB(20, 20, 24), nullptr);
    EXPECT_EQ(kx_gen::ClipDIB(dib.data(), 10, 10), nullptr);
    EXPECT_EQ(kx_gen::ResizeDIB(dib.data(), 30, 30), nullptr);
    EXPECT_EQ(kx_gen::ShrinkDIB(source, 10, 10), nullptr);
  }
  EXPECT_THAT(logLines(), IsEmpty());
  {
    const LargestRequest limit(kSmall);
    EXPECT_EQ(kx_gen::CopyHandle(source), nullptr);
  }
  EXPECT_THAT(logLines(), ElementsAre(assertionLine(".\\Dib", 673)));
}

TEST_F(PictureExhaustionTest, ShrinkingWithoutRoomForItsSumsIsNull) {
  const Handle handle = handleOf(picture(40, 40, 24));
  void* const source = handle.get();
  const AllocationLimit none(0);
  EXPECT_EQ(kx_gen::ShrinkDIB(source, 20, 20), nullptr);
}

TEST_F(PictureExhaustionTest, ABitmapFileThatNoHandleHoldsIsMessage23) {
  kx_test::writeFile("a.bmp", bmpFile(picture(40, 40, 24)));
  CDib dib;
  const LargestRequest limit(4800);
  const Thrown thrown = thrownBy([&] { dib.LoadDIBFile(L"a.bmp"); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 23, 0xFFFFFFFF)) << thrown;
}

TEST_F(PictureExhaustionTest, AnObjectThatCannotKeepABitmapFreesIt) {
  const Handle handle = handleOf(picture(20, 20, 24));
  CDib dib;
  {
    const AllocationLimit none(0);
    dib.ReplaceHDIB(handle.get());
  }
  EXPECT_EQ(dib.GetHDIB(), nullptr);
  dib.ReplaceHDIB(handle.get());
  EXPECT_NE(dib.GetHDIB(), nullptr);
}

TEST_F(PictureExhaustionTest, AnObjectThatCannotKeepAPaletteDoesWithout) {
  const Handle handle = handleOf(picture(20, 20, 24));
  const Handle indexed = handleOf(picture(20, 20, 1));
  for (long allowed = 1; allowed < 40; ++allowed) {
    CDib dib;
    {
      const AllocationLimit limit(allowed);
      dib.ReplaceHDIB(indexed.get());
    }
    ASSERT_NE(dib.GetHDIB(), nullptr);
    EXPECT_EQ(dib.GetSize().cx, 20);
    if (dib.GetPalette() != nullptr) return;
  }
  ADD_FAILURE() << "never succeeded";
}

// --- Drawings ---

TEST_F(PictureExhaustionTest, AConversionThatCannotBeFinishedIsNullAndTheSourceStays) {
  const Bytes dib = picture(40, 40, 8);
  const Bytes drawing = drawingOf(dib);
  const Handle bitmap = handleOf(dib);
  const Handle block = handleOf(drawing);
  for (const size_t size : {kSmall, kCoderBuffer - 1}) {
    const LargestRequest limit(size);
    EXPECT_EQ(kx_gen::ConvertDibToInternalFormat(bitmap.get()), nullptr);
    EXPECT_EQ(kx_gen::ConvertInternalFormatToDib(block.get()), nullptr);
  }
  for (const long allowed : {1L, 2L}) {
    const LargestRequest limit(kSmall, allowed);
    void* const converted = kx_gen::ConvertInternalFormatToDib(block.get());
    EXPECT_EQ(converted == nullptr, allowed == 1);
    MemFree(converted);
  }
  EXPECT_EQ(dataOf(bitmap), dib);
  EXPECT_EQ(dataOf(block), drawing);
}

TEST_F(PictureExhaustionTest, AConversionWithoutACoderIsNullAndNothingIsLost) {
  const Bytes dib = picture(40, 40, 8);
  const Handle bitmap = handleOf(dib);
  const Handle block = handleOf(drawingOf(dib));
  COutlineRecord record;
  record.SetDrawing(handleOf(dib).release());
  const Bytes before = kx_test::blockOf(record);
  {
    const AllocationLimit none(0);
    EXPECT_EQ(kx_gen::ConvertDibToInternalFormat(bitmap.get()), nullptr);
    EXPECT_EQ(kx_gen::ConvertInternalFormatToDib(block.get()), nullptr);
    EXPECT_EQ(record.GetDrawing(), nullptr);
    record.SetDrawing(bitmap.get());
  }
  EXPECT_EQ(dataOf(bitmap), dib) << "it stays the caller's";
  EXPECT_EQ(kx_test::blockOf(record), before);
}

TEST_F(PictureExhaustionTest, ADrawingThatCannotBeReadIsNullAndNoError) {
  COutlineRecord record;
  record.SetDrawing(handleOf(picture(40, 40, 8)).release());
  const Bytes before = kx_test::blockOf(record);
  clearLog();
  long allowed = 0;
  for (; allowed < 10; ++allowed) {
    const LargestRequest limit(kSmall, allowed);
    const Handle dib(record.GetDrawing());
    if (dib != nullptr) break;
    EXPECT_THAT(logLines(), AnyOf(IsEmpty(), ElementsAre(kNoBuffer, kNoGrowth)));
    clearLog();
  }
  EXPECT_EQ(allowed, 4) << "the value, its handle, the coder's buffer and the bitmap";
  EXPECT_EQ(kx_test::blockOf(record), before);
}

TEST_F(PictureExhaustionTest, ADrawingThatCannotBeStoredLeavesTheRecordAsItWas) {
  const Bytes dib = picture(40, 40, 8);
  bool isStored = false;
  for (long allowed = 0; allowed < 20 && !isStored; ++allowed) {
    COutlineRecord record;
    record.SetDrawing(handleOf(picture(3, 3, 1)).release());
    const Bytes before = kx_test::blockOf(record);
    Handle handle = handleOf(dib);
    void* const source = handle.release();
    {
      const LargestRequest limit(kSmall, allowed);
      record.SetDrawing(source);
    }
    isStored = kx_test::blockOf(record) != before;
    if (!isStored) MemFree(source);
    if (isStored) {
      EXPECT_EQ(kx_test::valueOf(record.getTaggedDataManager(), 12), drawingOf(dib));
    }
  }
  EXPECT_TRUE(isStored);
}

}  // namespace
