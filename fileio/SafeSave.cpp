#include "SafeSave.h"

#include <memory>
#include <new>
#include <vector>

#include "FileChecks.h"
#include "Replacement.h"
#include "Throw.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "SafeSave";
enum : int {
  kLinePathNull = 31,
  kLineNoRecordset = 32,
  kLineCannotCreate = 33,
  kLineCannotReplace = 34,
  kLineCannotReopen = 35,
};

[[noreturn]] void throwFileException(const wchar_t* path, int line) {
  const auto error = static_cast<int32_t>(GetLastError());
  traceThrow(kSource, line);
  _ThrowFileException(CFileException::OsErrorToException(error), error, path);
}

}  // namespace

// One save of a database into a file other than the one that it may be open on.
class DatabaseSave {
 public:
  DatabaseSave(CDatabase& db, const wchar_t* path) : db_(db), path_(path) {}
  void run(bool mayReplace);

 private:
  class Detour;
  class Memory;
  class Table;

  void write();
  CFile* ownFile() const;
  void putInPlace(bool mayReplace, CFile* own);

  CDatabase& db_;
  const wchar_t* path_;
  kx_platform::Replacement replacement_;
  unsigned long length_ = 0;
};

// While it lives, the database works on the new file.
class DatabaseSave::Detour {
 public:
  Detour(CFileStream& stream, HANDLE handle, const wchar_t* path)
      : stream_(stream), before_{stream.file_, stream.owned_, stream.window_} {
    file_.SetFilePath(path);
    file_.handle_ = handle;
    stream_.file_ = &file_;
    stream_.owned_ = nullptr;
    stream_.window_ = nullptr;
  }
  ~Detour() {
    stream_.file_ = before_.file;
    stream_.owned_ = before_.owned;
    stream_.window_ = before_.window;
    file_.handle_ = CFile().handle_;  // the handle is not this file's to close
  }
  Detour(const Detour&) = delete;
  Detour& operator=(const Detour&) = delete;

 private:
  struct Fields {
    CFile* file;
    CFileStream::OwnedFile* owned;
    StreamWindow* window;
  };
  CFileStream& stream_;
  Fields before_;
  CFile file_;
};

// What writing changes in a database beside its file; taken back unless it is to stay.
class DatabaseSave::Memory {
 public:
  explicit Memory(CDatabase& db)
      : db_(db), info_(db.dbInfo_), tableInFile_(db.headerManager_.tableInFile_) {
    for (const CDBRecord* row : *db.recordset_) positions_.push_back(row->GetPos());
    for (const THeaderInfo* info : db.headerManager_.readList_) {
      const uint32_t size = info->record.size;  // a copy: the record is packed
      slotSizes_.push_back(size);
    }
  }
  ~Memory() {
    if (!isForgotten_) takeBack();
  }
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  void forget() { isForgotten_ = true; }

 private:
  void takeBack() {
    db_.dbInfo_ = info_;
    db_.headerManager_.tableInFile_ = tableInFile_;
    for (size_t i = 0; i < positions_.size(); ++i) db_.getRecord(i)->SetPos(positions_[i]);
    for (size_t i = 0; i < slotSizes_.size(); ++i) {
      db_.headerManager_.readList_[i]->record.size = slotSizes_[i];
    }
  }

  CDatabase& db_;
  TDatabaseInfo info_;
  bool tableInFile_;
  std::vector<unsigned long> positions_;
  std::vector<uint32_t> slotSizes_;
  bool isForgotten_ = false;
};

// The table that was written, ready to become the one that is in the file: what needs memory is
// done before the file is in place.
class DatabaseSave::Table {
 public:
  explicit Table(CDatabase& db) : manager_(db.headerManager_) {
    if (db.getFirstRowStartPosWriting() == format::kHeaderTablePos) return;
    hasTable_ = true;
    for (const THeaderInfo* info : manager_.registered_) {
      if (info->present) continue;
      added_.push_back(
          std::make_unique<THeaderInfo>(THeaderInfo{info->record, info->header, false, {}}));
    }
    manager_.readList_.reserve(manager_.readList_.size() + added_.size());
  }

  void take(uint64_t fileLength) {
    if (!hasTable_) return;
    for (std::unique_ptr<THeaderInfo>& info : added_) {
      manager_.readList_.push_back(info.release());
    }
    for (THeaderInfo* info : manager_.registered_) info->present = true;
    manager_.tableInFile_ = true;
    manager_.lengthRead_ = fileLength;
  }

 private:
  CHeaderManager& manager_;
  std::vector<std::unique_ptr<THeaderInfo>> added_;
  bool hasTable_ = false;
};

void DatabaseSave::run(bool mayReplace) {
  if (!kx_Check(db_.recordset_ != nullptr, kSource, kLineNoRecordset)) {
    throwTraced(kSource, kLineNoRecordset, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  if (!replacement_.Create(path_)) throwFileException(path_, kLineCannotCreate);
  Memory before(db_);
  write();
  Table table(db_);
  CFile* const own = ownFile();
  putInPlace(mayReplace, own);
  if (own == nullptr && db_.file_ != nullptr) return;
  before.forget();
  table.take(length_);
}

void DatabaseSave::write() {
  const Detour detour(db_, replacement_.Handle(), path_);
  db_.WriteAllHeaders();
  db_.WriteRows();
  length_ = db_.GetPosition();
}

// The database's file when that is the one to be replaced and can be opened again.
CFile* DatabaseSave::ownFile() const {
  CFile* const file = db_.file_;
  const bool isKnown = file != nullptr && file->IsOpen() && file->flagsKnown_ != 0;
  return isKnown && replacement_.IsTarget(file->handle_) ? file : nullptr;
}

void DatabaseSave::putInPlace(bool mayReplace, CFile* own) {
  kx_platform::OpenMode mode;
  if (own != nullptr) {
    mode.access = accessOf(own->flags_);
    mode.share = shareOf(own->flags_);
    mode.isInherited = (own->flags_ & CFile::modeNoInherit) == 0;
  }
  HANDLE* const handle = own != nullptr ? &own->handle_ : nullptr;
  const bool isInPlace = replacement_.PutInPlace(mayReplace, handle, mode);
  if (!isInPlace) throwFileException(path_, kLineCannotReplace);
  kx_Check(own == nullptr || own->IsOpen(), kSource, kLineCannotReopen);
}

namespace {

void save(CDatabase& db, const wchar_t* path, bool mayReplace) {
  kx_Check(path != nullptr, kSource, kLinePathNull);
  DatabaseSave(db, textOrEmpty(path)).run(mayReplace);
}

}  // namespace

void SaveDatabaseFile(CDatabase& db, const wchar_t* path) { save(db, path, true); }

void SaveNewDatabaseFile(CDatabase& db, const wchar_t* path) { save(db, path, false); }

}  // namespace kx_gen
