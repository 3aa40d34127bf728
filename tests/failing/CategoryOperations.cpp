// Categories, and the outlines that a renamed one reaches.
#include "CategoryDB.h"
#include "KxLayout.h"
#include "Operation.h"
#include "OutlineDB.h"
#include "Texts.h"

namespace kx_failing {
namespace {

namespace fs = std::filesystem;

using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::COutlineDB;
using kx_test::Bytes;

constexpr const char* kCategoryFile = "categories.kxc";
constexpr const wchar_t* kOldName = L"A name that is longer than what a string keeps in itself";
constexpr const wchar_t* kNewName =
    L"Another name that is longer than what a string keeps in itself";

/// Adds, renames and deletes categories of a file, and saves it in place.
class EditCategories : public Operation {
 public:
  EditCategories() : path_(here(L"categories.kxc")) {
    CCategoryDB db;
    db.AddNewCategory(0ul, L"Unfiled", 1000, 0);
    unsigned long time = 1000;
    for (const wchar_t* name : {kOldName, L"Work", L"Home"}) db.AddNewCategory(name, &time);
    old_ = writtenBy(db);
    Edit(db);
    new_ = writtenBy(db);
  }

  void Prepare() override {
    if (db_ != nullptr) db_->Close();
    putBytes(kCategoryFile, old_);
    isWriting_ = false;
  }
  void Make() override {
    if (db_ == nullptr) db_ = std::make_unique<CCategoryDB>();
  }
  std::string Run() override {
    if (db_->Open(path_.c_str(), kx_test::kReadWrite) == 0) return kNotOpened;
    db_->ReadConduitHeader();
    db_->ReadRows();
    if (!Edit(*db_)) return "not found";
    isWriting_ = true;
    db_->WriteAllHeaders();
    db_->WriteRows();
    db_->Close();
    return "";
  }
  void Use() override {
    kx_gen::_String name;
    for (kx_gen::CDBRecord* row : *db_->GetRecordset()) {
      kx_test::attempt([&] { static_cast<CCategoryRecord*>(row)->GetCategoryName(name); });
    }
    kx_test::attempt([&] { db_->FindCategory(kNewName); });
  }
  void Drop() override { db_ = nullptr; }

  void CheckFiles(const Ending& ending, Cause cause, bool /*goesOn*/) override {
    const Bytes bytes = bytesAt(kCategoryFile);
    if (ending.isDone) {
      EXPECT_TRUE(bytes == (cause == Cause::kFileCall ? new_ : writtenBy(*db_)));
    } else if (isWriting_) {
      readWhatever<CCategoryDB>(kCategoryFile);
    } else {
      EXPECT_TRUE(bytes == old_);
    }
  }

 private:
  /// False when one of the categories is not there.
  static bool Edit(CCategoryDB& db) {
    unsigned long time = 2000;
    db.AddNewCategory(L"Travel, and whatever else belongs to it", &time);
    CCategoryRecord* const renamed = db.FindCategory(kOldName);
    CCategoryRecord* const deleted = db.FindCategory(L"Work");
    if (renamed == nullptr || deleted == nullptr) return false;
    db.RenameCategory(renamed, kNewName, 2001);
    db.DeleteCategory(deleted, 2002);
    db.AddNewCategory(L"Garden", &time);
    return true;
  }

  std::wstring path_;
  Bytes old_;
  Bytes new_;
  bool isWriting_ = false;
  std::unique_ptr<CCategoryDB> db_;
};

/// Opening an outline keeps its reason to itself: message 8 is all that is left of it.
class Renaming : public Operation {
 public:
  bool IsDocumented(const Ending& ending, Cause cause, long errorNumber) const override {
    return ending.thrown.is(kx_test::Thrown::kException, kx_gen::kMsgReadError, 7) ||
           Operation::IsDocumented(ending, cause, errorNumber);
  }
};

/// Renames the category of the outlines of a folder.
class RenameInFolder : public Renaming {
 public:
  RenameInFolder() : folder_(here(L"outlines")) {
    fs::create_directories("outlines/folder.kxo");
    COutlineDB db;
    Contents(3).FillOutline(db);
    db.SetCategoryName(L"Another");
    other_ = writtenBy(db);
    db.SetCategoryName(kOldName);
    old_ = writtenBy(db);
    db.SetCategoryName(kNewName);
    db.SetCategoryChanged(true);
    db.SetOutlineChanged(true);
    new_ = writtenBy(db);
  }

  void Prepare() override {
    for (int i = 0; i < kFiles; ++i) {
      if (bytesAt(NameOf(i)) != Before(i)) putBytes(NameOf(i), Before(i));
    }
  }
  std::string Run() override {
    kx_gen::updateCategory(folder_.c_str(), L"kxo", kOldName, kNewName);
    return "";
  }

  /// Every file is the old or the new one, and none is new behind one that is not.
  void CheckFiles(const Ending& ending, Cause /*cause*/, bool /*goesOn*/) override {
    bool isReached = true;
    for (int i = 0; i < kFiles; ++i) {
      const Bytes bytes = bytesAt(NameOf(i));
      if (!HasIt(i)) {
        EXPECT_TRUE(bytes == other_) << i;
      } else if (bytes == old_) {
        EXPECT_FALSE(ending.isDone) << i;
        isReached = false;
      } else {
        EXPECT_TRUE(bytes == new_ && isReached) << i;
      }
    }
    EXPECT_EQ(namesIn("outlines").size(), kFiles + 1u);
  }

 private:
  static constexpr int kFiles = 20;
  static bool HasIt(int i) { return i % 3 != 1; }
  static std::string NameOf(int i) { return "outlines/" + std::to_string(100 + i) + ".kxo"; }
  const Bytes& Before(int i) const { return HasIt(i) ? old_ : other_; }

  std::wstring folder_;
  Bytes other_;
  Bytes old_;
  Bytes new_;
};

/// Does the same to a file whose table lacks the shared header, and so must be written anew.
class RenameInGrowingFile : public Renaming {
 public:
  RenameInGrowingFile() : folder_(here(L"growing")) {
    fs::create_directory("growing");
    // The conduit header alone, and a row.
    constexpr uint32_t kSize = kx_gen::format::kConduitHeaderSize;
    old_ = kx_test::join({kx_test::dbInfo(kx_gen::format::kOutlineVersion, 1),
                          kx_test::headerTable({{kx_gen::format::kConduitHeaderId, kSize}}),
                          kx_test::slot(kSize, {}), kx_test::le32(0),
                          kx_test::row(kx_test::plainBlock())});
    Prepare();
    Run();
    new_ = bytesAt(kFile);
  }

  void Prepare() override { putBytes(kFile, old_); }
  std::string Run() override {
    kx_gen::updateCategory(folder_.c_str(), L"kxo", L"", kNewName);
    return "";
  }
  void CheckFiles(const Ending& ending, Cause cause, bool /*goesOn*/) override {
    // The default fields that there was no memory for are missing in what was written.
    if (ending.isDone && cause == Cause::kFileCall) {
      EXPECT_TRUE(bytesAt(kFile) == new_);
    }
    readWhatever<COutlineDB>(kFile);
    EXPECT_EQ(namesIn("growing").size(), 1u);
  }

 private:
  static constexpr const char* kFile = "growing/a.kxo";
  std::wstring folder_;
  Bytes old_;
  Bytes new_;
};

}  // namespace

void addCategoryOperations(std::vector<Listed>& list) {
  list.push_back({"add, rename and delete categories and save them",
                  [] { return std::make_unique<EditCategories>(); }, 30, 40});
  list.push_back({"rename a category in a folder of 20 outlines",
                  [] { return std::make_unique<RenameInFolder>(); }, 300, 1000});
  list.push_back({"rename the category of an outline without a shared header",
                  [] { return std::make_unique<RenameInGrowingFile>(); }, 20, 50});
}

}  // namespace kx_failing
