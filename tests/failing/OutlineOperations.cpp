// Outlines: written in place and read, as the classes do it.
#include "KxLayout.h"
#include "Operation.h"
#include "OutlineDB.h"
#include "Texts.h"

namespace kx_failing {
namespace {

using kx_gen::CFile;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;

constexpr const char* kOutlineFile = "outline.kxo";
constexpr unsigned long kManyRows = 200;
constexpr unsigned long kFewRows = 12;

void lookAt(COutlineDB& db) {
  Digest digest;
  kx_test::attempt([&] { digest.AddOutline(db); });
}

/// Creates an outline and saves it in place.
class CreateOutline : public Operation {
 public:
  CreateOutline() : contents_(kManyRows), path_(here(L"outline.kxo")) {
    COutlineDB db;
    contents_.FillOutline(db);
    reference_ = writtenBy(db);
  }

  void Prepare() override {
    if (db_ != nullptr) db_->Close();
    removeFile(kOutlineFile);
    isWriting_ = false;
  }
  void Make() override {
    if (db_ == nullptr) db_ = std::make_unique<COutlineDB>();
  }
  std::string Run() override {
    if (db_->Open(path_.c_str(), kx_test::kCreate) == 0) return kNotOpened;
    contents_.FillOutline(*db_);
    isWriting_ = true;
    db_->WriteAllHeaders();
    db_->WriteRows();
    db_->Close();
    return "";
  }
  void Use() override { lookAt(*db_); }
  void Drop() override { db_ = nullptr; }

  void CheckFiles(const Ending& ending, Cause cause, bool /*goesOn*/) override {
    if (!ending.isDone) {
      // It is written in place: what was begun is neither old nor new, but can be looked at.
      EXPECT_TRUE(isWriting_ || bytesAt(kOutlineFile).empty());
      readWhatever<COutlineDB>(kOutlineFile);
    } else if (cause == Cause::kFileCall) {
      EXPECT_TRUE(bytesAt(kOutlineFile) == reference_);
    } else {
      // A field for which there was no memory is missing in the database; the file is as that is.
      EXPECT_TRUE(bytesAt(kOutlineFile) == writtenBy(*db_));
    }
  }

 private:
  Contents contents_;
  std::wstring path_;
  Bytes reference_;
  std::unique_ptr<COutlineDB> db_;
  bool isWriting_ = false;
};

/// Opens an outline and reads all of it.
class ReadOutline : public Operation {
 public:
  ReadOutline() : path_(here(L"outline.kxo")) {
    COutlineDB db;
    Contents(kManyRows).FillOutline(db);
    bytes_ = writtenBy(db);
    Digest digest;
    digest.AddOutline(db);
    wanted_ = digest.Get();
  }

  void Prepare() override {
    if (db_ != nullptr) db_->Close();
    if (isMade_) return;
    putBytes(kOutlineFile, bytes_);
    isMade_ = true;
  }
  void Make() override {
    if (db_ == nullptr) db_ = std::make_unique<COutlineDB>();
  }
  std::string Run() override {
    if (db_->Open(path_.c_str(), CFile::modeRead) == 0) return kNotOpened;
    db_->ReadConduitHeader();
    db_->ReadSharedHeader();
    db_->ReadPrivateHeader();
    db_->ReadRows();
    Digest digest;
    if (!digest.AddOutline(*db_)) return "no drawing";
    found_ = digest.Get();
    db_->Close();
    return "";
  }
  void Use() override { lookAt(*db_); }
  void Drop() override { db_ = nullptr; }

  void CheckFiles(const Ending& ending, Cause /*cause*/, bool /*goesOn*/) override {
    EXPECT_TRUE(bytesAt(kOutlineFile) == bytes_);
    EXPECT_TRUE(!ending.isDone || found_ == wanted_);
  }

 private:
  std::wstring path_;
  Bytes bytes_;
  uint64_t wanted_ = 0;
  uint64_t found_ = 0;
  bool isMade_ = false;
  std::unique_ptr<COutlineDB> db_;
};

/// Opens a memory outline, edits it and saves it in place.
class EditMemoryOutline : public Operation {
 public:
  EditMemoryOutline() : contents_(kFewRows + 1), path_(here(L"memory.mol")) {
    CMemOutlDB db;
    for (unsigned long i = 0; i < kFewRows; ++i) AddRow(db, i);
    old_ = writtenBy(db);
    Edit(db);
    new_ = writtenBy(db);
  }

  void Prepare() override {
    if (db_ != nullptr) db_->Close();
    putBytes("memory.mol", old_);
    isWriting_ = false;
  }
  void Make() override {
    if (db_ == nullptr) db_ = std::make_unique<CMemOutlDB>();
  }
  std::string Run() override {
    if (db_->Open(path_.c_str(), kx_test::kReadWrite) == 0) return kNotOpened;
    db_->ReadRows();
    Edit(*db_);
    isWriting_ = true;
    db_->WriteAllHeaders();
    db_->WriteRows();
    db_->Close();
    return "";
  }
  void Use() override {
    for (kx_gen::CDBRecord* row : *db_->GetRecordset()) {
      Digest digest;
      kx_test::attempt([&] { digest.AddRow(static_cast<COutlineRecord&>(*row)); });
    }
  }
  void Drop() override { db_ = nullptr; }

  void CheckFiles(const Ending& ending, Cause cause, bool /*goesOn*/) override {
    const Bytes bytes = bytesAt("memory.mol");
    if (ending.isDone) {
      EXPECT_TRUE(bytes == (cause == Cause::kFileCall ? new_ : writtenBy(*db_)));
    } else if (isWriting_) {
      readWhatever<CMemOutlDB>("memory.mol");
    } else {
      EXPECT_TRUE(bytes == old_);
    }
  }

 private:
  void AddRow(CMemOutlDB& db, unsigned long index) const {
    contents_.FillRow(static_cast<COutlineRecord&>(*db.GetRecordset()->Append()), index);
  }
  void Edit(CMemOutlDB& db) const {
    static_cast<COutlineRecord*>(db.getRecord(1))->SetText(L"A text that is quite another one");
    db.GetRecordset()->Delete(0);
    AddRow(db, kFewRows);
  }

  Contents contents_;
  std::wstring path_;
  Bytes old_;
  Bytes new_;
  bool isWriting_ = false;
  std::unique_ptr<CMemOutlDB> db_;
};

}  // namespace

void addOutlineOperations(std::vector<Listed>& list) {
  list.push_back({"create and save an outline of 200 rows",
                  [] { return std::make_unique<CreateOutline>(); }, 20, 400});
  list.push_back({"open and read an outline of 200 rows",
                  [] { return std::make_unique<ReadOutline>(); }, 30, 600});
  list.push_back({"edit and save a memory outline",
                  [] { return std::make_unique<EditMemoryOutline>(); }, 30, 40});
}

}  // namespace kx_failing
