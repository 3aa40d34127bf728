// Safe saves: a document that is the old or the new one, whatever fails.
#include "CategoryDB.h"
#include "KxLayout.h"
#include "Operation.h"
#include "OutlineDB.h"
#include "SafeSave.h"
#include "Texts.h"

namespace kx_failing {
namespace {

namespace fs = std::filesystem;

using kx_gen::CCategoryDB;
using kx_gen::CDatabase;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;

/// Saves a database over an older document; with `isOpen` over the one that it has open.
class SaveSafely : public Operation {
 public:
  SaveSafely(std::unique_ptr<CDatabase> db, const std::function<void(CDatabase&)>& edit,
             bool isOpen)
      : path_(here(L"safe/document")), isOpen_(isOpen), db_(std::move(db)) {
    fs::create_directory("safe");
    old_ = writtenBy(*db_);
    edit(*db_);
    new_ = writtenBy(*db_);
  }

  void Prepare() override {
    db_->Close();
    putBytes(kFile, old_);
    Make();
  }
  void Make() override {
    if (isOpen_ && !db_->IsOpen()) db_->Open(path_.c_str(), kx_test::kReadWrite);
  }
  std::string Run() override {
    kx_gen::SaveDatabaseFile(*db_, path_.c_str());
    return "";
  }
  void Drop() override { db_->Close(); }
  void Use() override {
    EXPECT_EQ(db_->IsOpen(), isOpen_);
    kx_gen::SaveDatabaseFile(*db_, here(L"again").c_str());
    EXPECT_TRUE(bytesAt("again") == new_);
    removeFile("again");
  }

  bool IsDocumented(const Ending& ending, Cause cause, long errorNumber) const override {
    constexpr long kSharingViolation = 32;  // also where the system does not tell who has the file
    return Operation::IsDocumented(ending, cause, errorNumber) ||
           (cause == Cause::kFileCall && ending.thrown.osError == kSharingViolation);
  }
  void CheckFiles(const Ending& ending, Cause /*cause*/, bool goesOn) override {
    EXPECT_TRUE(bytesAt(kFile) == (ending.isDone ? new_ : old_));
    // A file that the system does not let go stays, and goes with the next save.
    const size_t refused = goesOn ? 1 : 0;
    EXPECT_LE(namesIn("safe").size(), 1 + refused);
  }

 private:
  static constexpr const char* kFile = "safe/document";
  std::wstring path_;
  bool isOpen_;
  std::unique_ptr<CDatabase> db_;
  Bytes old_;
  Bytes new_;
};

std::unique_ptr<Operation> saveOutline(bool isOpen) {
  auto db = std::make_unique<COutlineDB>();
  Contents(200).FillOutline(*db);
  return std::make_unique<SaveSafely>(
      std::move(db),
      [](CDatabase& edited) {
        static_cast<COutlineRecord*>(edited.GetRecordset()->Append())->SetText(L"one more");
      },
      isOpen);
}

std::unique_ptr<Operation> saveCategories() {
  auto db = std::make_unique<CCategoryDB>();
  db->AddNewCategory(0ul, L"Unfiled", 1000, 0);
  return std::make_unique<SaveSafely>(
      std::move(db),
      [](CDatabase& edited) {
        unsigned long time = 1000;
        static_cast<CCategoryDB&>(edited).AddNewCategory(L"Work", &time);
      },
      false);
}

}  // namespace

void addSaveOperations(std::vector<Listed>& list) {
  list.push_back({"save an outline of 200 rows safely", [] { return saveOutline(false); }, 30, 10});
  list.push_back({"save the open outline safely", [] { return saveOutline(true); }, 30, 10});
  list.push_back({"save categories safely", saveCategories, 30, 10});
}

}  // namespace kx_failing
