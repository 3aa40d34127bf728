// Documents opened, edited, saved and closed many thousand times: nothing accumulates but the
// narrow copies that traces keep by design, which are counted to the byte.
#include <iostream>
#include <memory>

#include "FailingCalls.h"
#include "Heap.h"
#include "KeptTraces.h"
#include "KxLayout.h"
#include "OutlineDB.h"
#include "SafeSave.h"
#include "Sizes.h"

namespace kx_large {
namespace {

namespace fs = std::filesystem;

using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

constexpr int kRows = 20;
constexpr int kWarmUp = 100;  // until every table of the process has the size that it keeps

class LongRunTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fast_ = kx_seam::fastFolder(folder());
    fs::create_directories(fast_);
    file_ = (fast_ / "document.kxo").wstring();
    COutlineDB db;
    db.InitNewDatabase();
    for (int i = 0; i < kRows; ++i) Row(db, db.GetRecordset()->Append(), i);
    kx_gen::SaveDatabaseFile(db, file_.c_str());
  }
  void TearDown() override {
    if (fast_ != folder()) fs::remove_all(fast_);
    KxTest::TearDown();
  }

  static void Row(COutlineDB& /*db*/, kx_gen::CDBRecord* row, int number) {
    auto& item = static_cast<COutlineRecord&>(*row);
    item.SetId(static_cast<unsigned long>(number));
    item.SetText((L"Text of row number " + std::to_wstring(number)).c_str());
    item.SetNote(std::wstring(static_cast<size_t>(number % 50), L'n').c_str());
  }

  void OpenAndEdit(COutlineDB& db, int cycle) const {
    ASSERT_EQ(db.Open(file_.c_str(), kx_test::kReadWrite), 1);
    db.ReadConduitHeader();
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
    ASSERT_EQ(db.GetRecordset()->getSize(), kRows);
    Row(db, db.getRecord(static_cast<unsigned long>(cycle % kRows)), cycle);
    db.GetRecordset()->Delete(0);
    Row(db, db.GetRecordset()->Append(), cycle);
    db.SetOutlineTitle(std::to_wstring(cycle).c_str());
  }
  static void SaveInPlace(COutlineDB& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }

  /// Runs the cycles, and checks that they leave nothing but traces behind.
  template <class Cycle>
  static void ExpectNothingAccumulates(const char* name, int cycles, Cycle cycle) {
    for (int i = 0; i < kWarmUp; ++i) cycle(i);
    const size_t handles = kx_seam::countOpenHandles();
    const KeptTraces before = kx_CountKeptTraces();
    const long blocks = kx_seam::countBlocks();
    for (int i = 0; i < cycles && !HasFatalFailure(); ++i) cycle(i);
    const KeptTraces after = kx_CountKeptTraces();
    std::cout << cycles << " cycles " << name << ": " << after.count - before.count
              << " traces kept, " << after.bytes - before.bytes << " bytes\n";
    EXPECT_EQ(kx_seam::countBlocks() - blocks, static_cast<long>(after.count - before.count));
    EXPECT_EQ(kx_seam::countOpenHandles(), handles);
  }

  std::wstring file_;

 private:
  fs::path fast_;
};

TEST_F(LongRunTest, CyclesOfNewObjectsLeaveNothingButTraces) {
  ExpectNothingAccumulates("of new objects", kCycles, [this](int i) {
    COutlineDB db;
    OpenAndEdit(db, i);
    SaveInPlace(db);
  });
}

TEST_F(LongRunTest, CyclesOfOneObjectLeaveNothingButTraces) {
  COutlineDB db;
  ExpectNothingAccumulates("of one object", kCycles, [&](int i) {
    OpenAndEdit(db, i);
    SaveInPlace(db);
    db.DeleteAll(false);  // rows of some lengths have two blocks
  });
}

TEST_F(LongRunTest, CyclesOfSafeSavesLeaveNothingButTraces) {
  ExpectNothingAccumulates("of safe saves", kCycles / 10, [this](int i) {
    COutlineDB db;
    OpenAndEdit(db, i);
    kx_gen::SaveDatabaseFile(db, file_.c_str());
  });
}

}  // namespace
}  // namespace kx_large
