// Drawings of outline items: stored, read back, refused, and carried through a document on disk.

#include <gmock/gmock.h>

#include <functional>

#include "LargestAllocation.h"
#include "OutlineDB.h"
#include "Pictures.h"
#include "pictures/NormalizeDib.h"

namespace {

using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::assertionLine;
using kx_test::bmpFile;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::dataOf;
using kx_test::drawingOf;
using kx_test::golden;
using kx_test::Handle;
using kx_test::join;
using kx_test::logLines;
using kx_test::picture;
using kx_test::pixelsOf;
using kx_test::slice;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::withField;
using kx_test::header_at::kImageSize;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long kDrawing = 12;

class DrawingRecordTest : public kx_test::KxTest {
 protected:
  DrawingRecordTest() { record_.Init(); }

  /// Hands a bitmap over, which the record frees.
  static void draw(COutlineRecord& record, const Bytes& dib) {
    record.SetDrawing(kx_test::handleOf(dib).release());
  }
  void draw(const Bytes& dib) { draw(record_, dib); }
  void store(const Bytes& block) {
    ASSERT_EQ(
        record_.getTaggedDataManager().setData(kDrawing, block.data(), block.size(), nullptr, 0),
        0);
  }
  Bytes stored() { return kx_test::valueOf(record_.getTaggedDataManager(), kDrawing); }
  static Bytes drawing(COutlineRecord& record) { return dataOf(Handle(record.GetDrawing())); }
  Bytes drawing() { return drawing(record_); }
  bool isMarked() { return kx_test::changedFlag(record_.getTaggedDataManager(), kDrawing); }

  COutlineRecord record_;
};

// --- Storing and reading ---

TEST_F(DrawingRecordTest, ADrawingIsStoredInTheDrawingFormUnderTag12) {
  const Bytes dib = picture(21, 9, 8);
  draw(dib);
  EXPECT_TRUE(record_.HasDrawing());
  EXPECT_EQ(stored(), drawingOf(dib));
  EXPECT_EQ(drawing(), withField(dib, kImageSize, 0));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingRecordTest, EveryCallGivesANewBitmap) {
  draw(picture(3, 3, 24));
  const Handle first(record_.GetDrawing());
  const Handle second(record_.GetDrawing());
  EXPECT_NE(first, second);
  EXPECT_EQ(dataOf(first), dataOf(second));
}

TEST_F(DrawingRecordTest, ADrawingReplacesTheOneBefore) {
  draw(picture(50, 50, 8));
  draw(picture(3, 2, 1));
  EXPECT_EQ(drawing(), withField(picture(3, 2, 1), kImageSize, 0));
  long width = 0;
  long height = 0;
  record_.GetDrawingSize(width, height);
  EXPECT_EQ(width, 3);
  EXPECT_EQ(height, 2);
}

TEST_F(DrawingRecordTest, TheSizeKeepsTheSignOfTheHeight) {
  draw(picture(3, -2, 24));
  long width = 0;
  long height = 0;
  record_.GetDrawingSize(width, height);
  EXPECT_EQ(width, 3);
  EXPECT_EQ(height, -2);
}

TEST_F(DrawingRecordTest, ADrawingMarksItsTagAndTheRecordAsChanged) {
  draw(picture(3, 2, 1));
  EXPECT_TRUE(isMarked());
  for (const unsigned long id : {6ul, 10ul, 12ul, 0x10007ul, 0x10008ul}) {
    record_.getTaggedDataManager().setTagChanged(id, false);
  }
  record_.updateRecordChanged();
  EXPECT_FALSE(record_.IsChanged());
  draw(picture(3, 2, 1));
  EXPECT_FALSE(isMarked()) << "the same drawing";
  draw(picture(3, 2, 4));
  record_.updateRecordChanged();
  EXPECT_TRUE(record_.IsChanged());
}

TEST_F(DrawingRecordTest, TheGoldenDrawingsAreReadFromARecord) {
  for (const char* name : {"drawing-1", "drawing-4", "drawing-8", "drawing-24"}) {
    store(golden(name));
    EXPECT_EQ(drawing(), dataOf(kx_test::dibOf(golden(name)))) << name;
    EXPECT_FALSE(drawing().empty());
  }
}

TEST_F(DrawingRecordTest, ABitmapWithoutImageSizeLosesItsPixels) {
  draw(withField(picture(4, 2, 24), kImageSize, 0));
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_EQ(kx_test::bitsOf(drawing()), Bytes(24, 0));
  EXPECT_THAT(logLines(), ElementsAre(assertionLine(".\\KXBitmap", 131)));
}

TEST_F(DrawingRecordTest, ADeletedDrawingIsGone) {
  draw(picture(4, 2, 24));
  record_.DeleteBitmap();
  EXPECT_FALSE(record_.HasDrawing());
  EXPECT_TRUE(
      kx_test::isTagError(thrownBy([&] { record_.GetDrawing(); }), 16, L".\\OutlineRecord"));
}

// --- Bitmaps that cannot be stored ---

TEST_F(DrawingRecordTest, ABitmapThatCannotBeConvertedStaysTheCallersAndTheDrawingStays) {
  draw(picture(4, 2, 24));
  const Bytes before = kx_test::blockOf(record_);
  const Bytes dib = picture(5, 5, 8);
  for (const Bytes& bad :
       {withField(dib, 0, 12), slice(dib, 0, dib.size() - 1), slice(dib, 0, 10)}) {
    const Handle handle = kx_test::handleOf(bad);
    record_.SetDrawing(handle.get());
    EXPECT_EQ(dataOf(handle), bad);
    EXPECT_EQ(kx_test::blockOf(record_), before);
  }
}

TEST_F(DrawingRecordTest, WithoutABitmapTheDrawingStays) {
  draw(picture(4, 2, 24));
  const Bytes before = kx_test::blockOf(record_);
  record_.SetDrawing(nullptr);
  EXPECT_EQ(kx_test::blockOf(record_), before);
  EXPECT_THAT(logLines(),
              ElementsAre(assertionLine(".\\KXBitmap", 16), assertionLine(".\\MemAPI", 23)));
}

TEST_F(DrawingRecordTest, ADrawingThatCannotBeStoredThrowsAndTheBitmapIsFreed) {
  kx_test::setBlock(record_, Bytes(40, 0xEE));
  const Thrown thrown = thrownBy([&] { draw(picture(4, 2, 24)); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 15, L".\\OutlineRecord")) << thrown;
  EXPECT_EQ(kx_test::blockOf(record_), Bytes(40, 0xEE));
}

// --- Drawings that cannot be read ---

TEST_F(DrawingRecordTest, WithoutADrawingMessage16IsThrown) {
  const Thrown initialised = thrownBy([&] { record_.GetDrawing(); });
  EXPECT_TRUE(kx_test::isTagError(initialised, 16, L".\\OutlineRecord")) << initialised;
  COutlineRecord fresh;
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { fresh.GetDrawing(); }), 16, L".\\OutlineRecord"));
  fresh.FreeData();
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { fresh.GetDrawing(); }), 16, L".\\OutlineRecord"));
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 3);
}

TEST_F(DrawingRecordTest, ACorruptBlockThrowsMessage15) {
  kx_test::setBlock(record_, Bytes(40, 0xEE));
  const Thrown thrown = thrownBy([&] { record_.GetDrawing(); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 15, L".\\OutlineRecord")) << thrown;
}

TEST_F(DrawingRecordTest, ADrawingThatRunsPastTheRecordThrowsMessage15) {
  for (const uint32_t length : {51u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    Bytes block = join({tag(1, {0}), tag(kDrawing, Bytes(50, 2))});
    const Bytes bytes = kx_test::le32(length);
    std::copy(bytes.begin(), bytes.end(), block.end() - 54);
    kx_test::setBlock(record_, block);
    kx_test::forgetAllocations();
    const Thrown thrown = thrownBy([&] { record_.GetDrawing(); });
    EXPECT_TRUE(kx_test::isTagError(thrown, 15, L".\\OutlineRecord")) << length << thrown;
    EXPECT_LT(kx_test::largestAllocation(), 100000u);
  }
}

TEST_F(DrawingRecordTest, AnAbsentDrawingBehindACutEntryThrowsMessage16) {
  Bytes block = join({tag(1, {0}), tag(2, {0})});
  block[block.size() - 2] = 0x7F;  // the second entry's length, enormous
  kx_test::setBlock(record_, block);
  kx_test::forgetAllocations();
  const Thrown thrown = thrownBy([&] { record_.GetDrawing(); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L".\\OutlineRecord")) << thrown;
  EXPECT_LT(kx_test::largestAllocation(), 100000u);
}

TEST_F(DrawingRecordTest, AnEmptyDrawingIsNull) {
  kx_test::setBlock(record_, tag(kDrawing, {}));
  EXPECT_EQ(record_.GetDrawing(), nullptr);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(DrawingRecordTest, ADamagedDrawingIsNull) {
  const Bytes block = golden("drawing-4");
  for (const size_t size : {size_t{1}, size_t{13}, size_t{14}, size_t{77}, block.size() - 1}) {
    store(slice(block, 0, size));
    EXPECT_EQ(record_.GetDrawing(), nullptr) << size;
  }
}

// --- Through a document on disk ---

class DrawingFileTest : public DrawingRecordTest {
 protected:
  /// What comes back of bitmaps that were stored in a document, one an item.
  std::vector<Bytes> throughAFile(const std::vector<Bytes>& dibs) {
    const std::wstring name = path(L"drawings.kxo");
    {
      COutlineDB db;
      EXPECT_EQ(db.Open(name.c_str(), kx_test::kCreate), 1);
      db.InitNewDatabase();
      for (const Bytes& dib : dibs) {
        draw(static_cast<COutlineRecord&>(*db.GetRecordset()->Append()), dib);
      }
      db.WriteAllHeaders();
      db.WriteRows();
      db.Close();
    }
    COutlineDB db;
    EXPECT_EQ(db.Open(name.c_str(), kx_test::kReadWrite), 1);
    db.ReadRows();
    std::vector<Bytes> back;
    for (kx_gen::CDBRecord* record : *db.GetRecordset()) {
      back.push_back(drawing(static_cast<COutlineRecord&>(*record)));
    }
    return back;
  }

  /// A bitmap saved as a BMP file and read as bytes.
  static Bytes throughABmpFile(const Bytes& dib) {
    const Handle handle = kx_test::handleOf(join({dib, Bytes(4, 0)}));
    kx_gen::CDib object;
    object.ReplaceHDIB(handle.get());
    EXPECT_EQ(object.SaveDIBFile(L"out.bmp"), 1);
    const Bytes file = kx_test::readFile("out.bmp");
    return slice(file, 14, file.size() - 14);
  }
};

TEST_F(DrawingFileTest, OwnPicturesComeBackFromDiskWithTheSamePixels) {
  std::vector<Bytes> dibs;
  for (const uint16_t bits : {1, 4, 8, 24}) {
    for (const int32_t width : {1, 7, 8, 9, 33, 200}) {
      dibs.push_back(picture(width, 100 / width + 1, bits));
      dibs.push_back(
          kx_test::pictureOf(width, 40, bits, Bytes(kx_test::rowSizeOf(bits, width) * 40, 0x11)));
    }
  }
  const std::vector<Bytes> back = throughAFile(dibs);
  ASSERT_EQ(back.size(), dibs.size());
  for (size_t i = 0; i < dibs.size(); ++i) {
    EXPECT_EQ(back[i], withField(dibs[i], kImageSize, 0)) << i;
    EXPECT_EQ(throughABmpFile(back[i]), dibs[i]) << i;
  }
}

TEST_F(DrawingFileTest, GoodPicturesComeBackFromDiskWithTheSamePixels) {
  std::vector<Bytes> originals;
  std::vector<Bytes> dibs;
  for (const auto& file : kx_test::realPictures()) {
    const Bytes contents = kx_test::readFile(file);
    originals.push_back(slice(contents, 14, contents.size() - 14));
    dibs.push_back(dataOf(Handle(kxo::NormalizeBmp(contents.data(), contents.size()))));
    ASSERT_FALSE(dibs.back().empty()) << file;
  }
  const std::vector<Bytes> back = throughAFile(dibs);
  ASSERT_EQ(back.size(), dibs.size());
  int compared = 0;
  for (size_t i = 0; i < dibs.size(); ++i) {
    const Bytes out = throughABmpFile(back[i]);
    EXPECT_EQ(out, dibs[i]) << i;
    const std::vector<uint32_t> pixels = pixelsOf(originals[i]);
    if (pixels.empty()) continue;  // coded, of 16 or 32 bits, or with another header
    EXPECT_EQ(pixelsOf(out), pixels) << i;
    ++compared;
  }
  EXPECT_TRUE(dibs.empty() || compared > 10) << compared;
}

}  // namespace
