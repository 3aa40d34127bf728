// Documents as large as anybody makes them, written and read.
#include <chrono>
#include <iostream>

#include "FailingCalls.h"
#include "KxLayout.h"
#include "OutlineDB.h"
#include "Pictures.h"
#include "SafeSave.h"
#include "Sizes.h"

namespace kx_large {
namespace {

namespace fs = std::filesystem;

using kx_gen::_String;
using kx_gen::CFile;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;

/// Tells how long a step of a test took.
class Stopwatch {
 public:
  void Tell(const char* what) {
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double> seconds = now - start_;
    std::cout << what << ": " << seconds.count() << " s\n";
    start_ = now;
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

COutlineRecord& rowOf(COutlineDB& db, unsigned long index) {
  return static_cast<COutlineRecord&>(*db.getRecord(index));
}

COutlineRecord& append(COutlineDB& db) {
  return static_cast<COutlineRecord&>(*db.GetRecordset()->Append());
}

class LargeDocumentsTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fast_ = kx_seam::fastFolder(folder());
    fs::create_directories(fast_);
    file_ = (fast_ / "document.kxo").wstring();
  }
  void TearDown() override {
    if (fast_ != folder()) fs::remove_all(fast_);
    KxTest::TearDown();
  }

  void Save(COutlineDB& db) const {
    Stopwatch watch;
    db.InitNewDatabase();
    kx_gen::SaveDatabaseFile(db, file_.c_str());
    watch.Tell("saved");
  }
  void Read(COutlineDB& db) const {
    Stopwatch watch;
    ASSERT_EQ(db.Open(file_.c_str(), CFile::modeRead), 1);
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
    watch.Tell("read");
  }

 private:
  std::wstring file_;
  fs::path fast_;
};

TEST_F(LargeDocumentsTest, AMillionRowsAreWrittenAndRead) {
  {
    COutlineDB db;
    Stopwatch watch;
    for (unsigned long i = 0; i < kManyRows; ++i) {
      COutlineRecord& row = append(db);
      row.SetId(i + 1);
      row.SetIndent(static_cast<unsigned char>(i % 7));
      row.SetText(std::to_wstring(i).c_str());
    }
    watch.Tell("made");
    Save(db);
  }
  COutlineDB db;
  ASSERT_NO_FATAL_FAILURE(Read(db));
  ASSERT_EQ(static_cast<unsigned long>(db.GetRecordset()->getSize()), kManyRows);
  _String text;
  unsigned long wrong = 0;
  for (unsigned long i = 0; i < kManyRows; ++i) {
    COutlineRecord& row = rowOf(db, i);
    row.GetText(text);
    const bool isRight =
        row.GetId() == i + 1 && row.GetIndent() == i % 7 && text == std::to_wstring(i);
    if (!isRight) ++wrong;
  }
  EXPECT_EQ(wrong, 0u);
  Stopwatch watch;
  db.DeleteAll(true);
  watch.Tell("all rows deleted, their ids kept");
  EXPECT_EQ(db.GetDeletedThoughts().GetCount(), kManyRows);
}

TEST_F(LargeDocumentsTest, ALongNoteAndALargeDrawingAreWrittenAndRead) {
  const Bytes picture = kx_test::picture(kPictureSide, kPictureSide, 24);
  std::wstring note;
  for (size_t i = 0; note.size() < kNoteLength; ++i) note += L"word " + std::to_wstring(i) + L"\n";
  note.resize(kNoteLength);
  {
    COutlineDB db;
    COutlineRecord& row = append(db);
    row.SetNote(note.c_str());
    row.SetDrawing(kx_test::handleOf(picture).release());
    ASSERT_TRUE(row.HasDrawing());
    Save(db);
  }
  COutlineDB db;
  ASSERT_NO_FATAL_FAILURE(Read(db));
  ASSERT_EQ(db.GetRecordset()->getSize(), 1);
  COutlineRecord& row = rowOf(db, 0);
  _String read;
  row.GetNote(read);
  EXPECT_TRUE(read == note);
  long width = 0;
  long height = 0;
  row.GetDrawingSize(width, height);
  EXPECT_EQ(width, kPictureSide);
  EXPECT_EQ(height, kPictureSide);
  const kx_test::Handle drawing(row.GetDrawing());
  ASSERT_NE(drawing, nullptr);
  EXPECT_TRUE(kx_test::bitsOf(kx_test::dataOf(drawing)) == kx_test::bitsOf(picture));
}

TEST_F(LargeDocumentsTest, EveryLevelOfIndentIsWrittenAndRead) {
  {
    COutlineDB db;
    for (unsigned i = 0; i < kLevels; ++i) append(db).SetIndent(static_cast<unsigned char>(i));
    Save(db);
  }
  COutlineDB db;
  ASSERT_NO_FATAL_FAILURE(Read(db));
  ASSERT_EQ(static_cast<unsigned>(db.GetRecordset()->getSize()), kLevels);
  for (unsigned i = 0; i < kLevels; ++i) EXPECT_EQ(rowOf(db, i).GetIndent(), i);
}

TEST_F(LargeDocumentsTest, AHundredThousandDeletedIdsAreWrittenAndRead) {
  {
    COutlineDB db;
    for (unsigned long i = 0; i < kDeletedIds; ++i) db.AddDeletedId(3 * i + 1);
    append(db).SetText(L"the row behind them");
    Save(db);
  }
  COutlineDB db;
  ASSERT_NO_FATAL_FAILURE(Read(db));
  EXPECT_EQ(db.GetDeletedThoughts().GetCount(), kDeletedIds);
  unsigned long found = 0;
  for (unsigned long i = 0; i < kDeletedIds; i += 997) {
    if (db.IsDeleted(3 * i + 1) && !db.IsDeleted(3 * i + 2)) ++found;
  }
  EXPECT_EQ(found, (kDeletedIds + 996) / 997);
  _String text;
  rowOf(db, 0).GetText(text);
  EXPECT_EQ(text, L"the row behind them");
}

}  // namespace
}  // namespace kx_large
