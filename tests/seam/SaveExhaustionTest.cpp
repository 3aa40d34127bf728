// A save that runs out of memory, at each of its allocations: the old document stays, the new file
// goes, and the database can be saved once there is memory again.
#include <iterator>
#include <new>

#include "FailingNew.h"
#include "KxLayout.h"
#include "LimitedMalloc.h"
#include "OutlineDB.h"
#include "SafeSave.h"

namespace {

namespace fs = std::filesystem;

using kx_gen::COutlineDB;
using kx_seam::AllocationLimit;
using kx_seam::kMostAllocations;
using kx_test::Bytes;

class SaveExhaustionTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fs::create_directory("docs");
    old_ = kx_test::golden("outline-unknown");
    COutlineDB db;
    Open(db);
    AddRow(db);
    kx_gen::SaveDatabaseFile(db, file().c_str());
    db.Close();
    new_ = content();
  }

  std::wstring file() const { return path(L"docs/outline.kxo"); }
  static Bytes content() { return kx_test::readFile("docs/outline.kxo"); }
  static long CountFiles() {
    return std::distance(fs::directory_iterator("docs"), fs::directory_iterator());
  }

  void Open(COutlineDB& db) {
    kx_test::writeFile("docs/outline.kxo", old_);
    ASSERT_EQ(db.Open(file().c_str(), kx_test::kShared), 1);
    db.ReadConduitHeader();
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
  }
  static void AddRow(COutlineDB& db) {
    static_cast<kx_gen::COutlineRecord*>(db.GetRecordset()->Append())->SetText(L"one more");
  }

  /// Whether a save succeeds while a limit of this kind lives.
  template <class MakeLimit>
  bool SaveLimited(COutlineDB& db, MakeLimit makeLimit) {
    try {
      const auto limit = makeLimit();
      kx_gen::SaveDatabaseFile(db, file().c_str());
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    } catch (kx_gen::CException* e) {
      e->Delete();
      return false;
    }
  }

  /// Saves with ever more memory until that is enough.
  template <class MakeLimit>
  void SaveUntilItSucceeds(MakeLimit makeLimit) {
    for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
      SCOPED_TRACE(allowed);
      COutlineDB db;
      Open(db);
      AddRow(db);
      const bool isSaved = SaveLimited(db, [&] { return makeLimit(allowed); });
      ASSERT_EQ(content(), isSaved ? new_ : old_);
      ASSERT_EQ(CountFiles(), 1);
      ASSERT_TRUE(db.IsOpen());
      kx_gen::SaveDatabaseFile(db, file().c_str());
      ASSERT_EQ(content(), new_);
      ASSERT_EQ(CountFiles(), 1);
      if (isSaved) return;
    }
    ADD_FAILURE() << "never succeeded";
  }

  Bytes old_;
  Bytes new_;
};

TEST_F(SaveExhaustionTest, WithoutMemoryTheOldDocumentStays) {
  SaveUntilItSucceeds([](long allowed) { return AllocationLimit(allowed); });
}

TEST_F(SaveExhaustionTest, AnyAllocationThatFailsAloneLeavesTheOldOrTheNewDocument) {
  SaveUntilItSucceeds([](long allowed) { return AllocationLimit(allowed, 1); });
}

}  // namespace
