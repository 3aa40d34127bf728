// The flat interface under its guard: nothing is thrown, and a caller who goes on in spite of an
// error comes to no harm.
#include "FlatSupport.h"
#include "KxLayout.h"
#include "Operation.h"
#include "Texts.h"

namespace kx_failing {
namespace {

namespace fs = std::filesystem;

using kx_test::Bytes;

constexpr unsigned long kRows = 25;

/// The first error that the calls of one run left.
struct FirstError {
  bool isThere = false;
  unsigned long number = 0;
  unsigned long length = 0;  ///< Of its text.

  void Look() {
    if (!isThere) length = KX_FlatLastError(nullptr, 0, &number);
    isThere = length > 0;
  }
};

class FlatOperation : public Operation {
 public:
  FlatOperation() { KX_FlatGuard(1); }
  ~FlatOperation() override { KX_FlatGuard(0); }

  /// Nothing is thrown whatever happens, and the reason can be asked for.
  bool IsDocumented(const Ending& ending, Cause cause, long /*errorNumber*/) const override {
    if (ending.isDone) return !error_.isThere;
    if (ending.answer.empty() || !error_.isThere) return false;
    // Beside the cause itself: the system's refusals, and what closed files say to who goes on.
    return error_.number == kx_gen::kNoErrNumber || error_.number == kx_gen::kMsgReadError - 1 ||
           error_.number == kx_gen::kMsgFileIo - 1 ||
           (error_.number == kx_gen::kMsgOutOfMemory - 1 && cause == Cause::kAllocation);
  }

 protected:
  /// What `Run` answers.
  std::string Result() const { return error_.isThere ? "an error" : ""; }

  /// Makes a call and keeps the first error.
  template <class Call>
  auto Step(Call call) {
    struct AfterCall {
      explicit AfterCall(FirstError& first) : error(first) {}
      AfterCall(const AfterCall&) = delete;
      AfterCall& operator=(const AfterCall&) = delete;
      ~AfterCall() { error.Look(); }
      FirstError& error;
    };
    const AfterCall after(error_);
    return call();
  }
  FirstError error_;
};

/// Creates an outline, saves it in place and safely, and reads it again.
class FlatOutlineLife : public FlatOperation {
 public:
  FlatOutlineLife()
      : contents_(kRows), path_(here(L"flat.kxo")), safe_(here(L"flat-safe/safe.kxo")) {
    fs::create_directory("flat-safe");
    Make();
    Run();
    reference_ = bytesAt("flat.kxo");
    Drop();
  }

  void Prepare() override {
    if (db_ != nullptr) RV_Close(db_);
    if (reader_ != nullptr) RV_Close(reader_);
    putBytes(kSafe, kOldSafe);
    error_ = FirstError();
  }
  void Make() override {
    if (db_ == nullptr) db_ = Step(RV_CreateOutlineDB);
    if (reader_ == nullptr) reader_ = Step(RV_CreateOutlineDB);
  }
  std::string Run() override {
    if (db_ == nullptr || reader_ == nullptr) return Result();
    Step([&] { return RV_Open(db_, path_.c_str(), kx_test::kCreate); });
    Step([&] { RV_InitNewDataBase(db_); });
    Step([&] { RV_DeleteAll(db_, 0); });
    Step([&] { RV_SetOutlineTitle(db_, L"A title that is longer than a string keeps"); });
    Step([&] { RV_SetCategoryName(db_, L"A category that is longer than a string keeps"); });
    Step([&] { RV_AddDeletedId(db_, 7); });
    for (unsigned long i = 0; i < kRows; ++i) AddRow(i);
    Step([&] { return KX_SaveOutline(db_, safe_.c_str()); });
    Step([&] { RV_WriteAllHeaders(db_); });
    Step([&] { RV_WriteRows(db_); });
    Step([&] { RV_Close(db_); });
    ReadAgain();
    return Result();
  }
  void Use() override {
    for (RV_DB db : {db_, reader_}) {
      for (int i = 0; i < RV_GetSize(db); ++i) {
        const bool hasText = RV_GetRecordString(db, static_cast<unsigned long>(i)) != nullptr;
        EXPECT_EQ(hasText, KX_FlatLastError(nullptr, 0, nullptr) == 0);
      }
    }
  }
  void Drop() override {
    RV_DeleteOutlineDB(db_);
    RV_DeleteOutlineDB(reader_);
    db_ = nullptr;
    reader_ = nullptr;
  }

  void CheckFiles(const Ending& ending, Cause cause, bool goesOn) override {
    const Bytes safe = bytesAt(kSafe);
    if (ending.isDone) {
      const Bytes plain = bytesAt("flat.kxo");
      EXPECT_TRUE(safe == plain);
      if (cause == Cause::kFileCall) {
        EXPECT_TRUE(plain == reference_);
      }
    } else if (safe != kOldSafe) {
      EXPECT_TRUE(cause == Cause::kAllocation || safe == reference_);
      readWhatever<kx_gen::COutlineDB>(kSafe);
    }
    readWhatever<kx_gen::COutlineDB>("flat.kxo");
    EXPECT_LE(namesIn("flat-safe").size(), goesOn ? 2u : 1u);
  }

 private:
  static constexpr const char* kSafe = "flat-safe/safe.kxo";
  inline static const Bytes kOldSafe = {1, 2, 3};

  void AddRow(unsigned long index) {
    RV_REC row = Step([&] { return RV_AppendRecordSet(db_); });
    Step([&] { RV_SetId(row, index); });
    Step([&] { RV_SetText(row, contents_.TextOf(index)); });
    Step([&] { RV_SetNote(row, L"a note that is longer than what a string keeps"); });
    Step([&] { return RV_DuplicateRecord(db_, row); });
  }
  void ReadAgain() {
    Step([&] { return RV_Open(reader_, path_.c_str(), kx_gen::CFile::modeRead); });
    Step([&] { return RV_ReadSharedHeader(reader_); });
    Step([&] { return RV_ReadPrivateHeader(reader_); });
    Step([&] { RV_ReadRows(reader_); });
    for (unsigned long i = 0; i < kRows; ++i) {
      Step([&] { return RV_GetRecordString(reader_, i); });
    }
    Step([&] { RV_Close(reader_); });
  }

  Contents contents_;
  std::wstring path_;
  std::wstring safe_;
  Bytes reference_;
  RV_DB db_ = nullptr;
  RV_DB reader_ = nullptr;
};

/// Adds, renames and deletes categories, saves them safely, and renames one in a folder.
class FlatCategoriesLife : public FlatOperation {
 public:
  FlatCategoriesLife()
      : folder_(here(L"flat-outlines")), path_(here(L"flat-categories/categories")) {
    fs::create_directory("flat-outlines");
    fs::create_directory("flat-categories");
    kx_gen::COutlineDB db;
    db.SetCategoryName(kOld);
    old_ = writtenBy(db);
    db.SetCategoryName(kNew);
    db.SetCategoryChanged(true);
    db.SetOutlineChanged(true);
    new_ = writtenBy(db);
  }

  void Prepare() override {
    putBytes(kOutline, old_);
    putBytes(kFile, kOldFile);
    error_ = FirstError();
  }
  void Make() override {
    if (cat_ == nullptr) cat_ = Step(RV_CreateCategoryDB);
  }
  std::string Run() override {
    if (cat_ == nullptr) return Result();
    Step([&] { RV_deleteAllCategories(cat_); });
    Step([&] { return RV_AddNewCategorybyName(cat_, kOld); });
    Step([&] { return RV_AddNewCategorybyName(cat_, L"Work, and whatever belongs to it"); });
    Step([&] { RV_RenameCategory(cat_, kOld, kNew); });
    Step([&] { RV_DeleteCategorybyName(cat_, L"Work, and whatever belongs to it"); });
    Step([&] { return KX_SaveCategories(cat_, path_.c_str()); });
    Step([&] { KX_UpdateCategory(folder_.c_str(), L"kxo", kOld, kNew); });
    return Result();
  }
  void Use() override { EXPECT_GE(RV_GetCategoryRecordSize(cat_), 0); }
  void Drop() override {
    RV_DeleteCategoryDB(cat_);
    cat_ = nullptr;
  }

  void CheckFiles(const Ending& ending, Cause /*cause*/, bool goesOn) override {
    const Bytes outline = bytesAt(kOutline);
    EXPECT_TRUE(outline == new_ || (outline == old_ && !ending.isDone));
    EXPECT_TRUE(!ending.isDone || bytesAt(kFile) != kOldFile);
    if (bytesAt(kFile) != kOldFile) readWhatever<kx_gen::CCategoryDB>(kFile);
    EXPECT_LE(namesIn("flat-categories").size(), goesOn ? 2u : 1u);
  }

 private:
  static constexpr const wchar_t* kOld =
      L"A name that is longer than what a string keeps in itself";
  static constexpr const wchar_t* kNew =
      L"Another name that is longer than a string keeps in itself";
  static constexpr const char* kFile = "flat-categories/categories";
  static constexpr const char* kOutline = "flat-outlines/a.kxo";
  inline static const Bytes kOldFile = {1, 2, 3};

  std::wstring folder_;
  std::wstring path_;
  Bytes old_;
  Bytes new_;
  RV_CAT cat_ = nullptr;
};

}  // namespace

void addFlatOperations(std::vector<Listed>& list) {
  list.push_back({"live an outline's life through the guarded flat interface",
                  [] { return std::make_unique<FlatOutlineLife>(); }, 60, 200});
  list.push_back({"live the categories' life through the guarded flat interface",
                  [] { return std::make_unique<FlatCategoriesLife>(); }, 60, 60});
}

}  // namespace kx_failing
