#include "Contents.h"

#include "DatabaseFile.h"
#include "Document.h"
#include "Failure.h"
#include "InputFile.h"
#include "StoredFields.h"
#include "salvage/Reader.h"

namespace kxo {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using salvage::Kind;

namespace {

class MemoryFile : public kx_gen::CMemOutlDB {
 public:
  explicit MemoryFile(std::string name) : name_(std::move(name)) {}
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() override = default;

  void Take(const Contents& contents);
  Contents Get();
  const std::string& GetName() const { return name_; }

 private:
  std::string name_;
};

void MemoryFile::Take(const Contents& contents) {
  for (const Outline::Node& node : contents.outline.GetNodes()) {
    FillRow(static_cast<kx_gen::CLinkedOutlRec&>(*GetRecordset()->Append()), node.level, node.item);
  }
}

Contents MemoryFile::Get() {
  Contents contents;
  contents.kind = Kind::kMemory;
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    unsigned level = 0;
    Item item = InRowOf(*this, name_, i, [&] {
      return ItemOf(static_cast<kx_gen::CLinkedOutlRec&>(*getRecord(i)), level,
                    Lacking::kIsDefault);
    });
    contents.outline.Add(level, std::move(item));
  }
  return contents;
}

class CategoryFile : public kx_gen::CCategoryDB {
 public:
  explicit CategoryFile(std::string name) : name_(std::move(name)) {}
  CategoryFile(const CategoryFile&) = delete;
  CategoryFile& operator=(const CategoryFile&) = delete;
  ~CategoryFile() override = default;

  void ReadExtraRows() override;
  void WriteExtraRows() override;
  void Take(const Contents& contents);
  Contents Get();
  unsigned long ExtraOffset() { return getFirstRowStartPosReading(); }
  const std::string& GetName() const { return name_; }

 private:
  std::string name_;
  unsigned int lastId_ = format::kFirstCategoryId;  // which the database keeps to itself
};

void CategoryFile::ReadExtraRows() {
  const unsigned long begin = GetPosition();
  CCategoryDB::ReadExtraRows();
  const unsigned long end = GetPosition();
  Seek(static_cast<long>(begin), 0);
  *this >> lastId_;
  Seek(static_cast<long>(end), 0);
}

void CategoryFile::WriteExtraRows() { *this << lastId_ << static_cast<unsigned char>(isNew()); }

void CategoryFile::Take(const Contents& contents) {
  const CategoryList& list = contents.categories;
  TakeTable(GetHeaderManager(), list.headers);
  // The kind's own would add a category.
  CDatabase::InitNewDatabase();  // NOLINT(bugprone-parent-virtual-call)
  FillHeader(*GetConduitHeader(), list.headers.conduit);
  lastId_ = list.lastId;
  setNewFlag(list.isNew);
  for (const Category& category : list.slots) {
    FillRow(static_cast<kx_gen::CCategoryRecord&>(*GetRecordset()->Append()), category);
  }
}

Contents CategoryFile::Get() {
  Contents contents;
  contents.kind = Kind::kCategory;
  CategoryList& list = contents.categories;
  list.lastId = lastId_;
  list.isNew = isNew();
  list.headers = TableOf(GetHeaderManager(), Kind::kCategory);
  list.headers.conduit = InHeaderOf(*this, name_, format::kConduitHeaderId,
                                    [this] { return ExtrasOf(*GetConduitHeader()); });
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    list.slots.push_back(InRowOf(*this, name_, i, [&] {
      return CategoryOf(static_cast<kx_gen::CCategoryRecord&>(*getRecord(i)), Lacking::kIsDefault);
    }));
  }
  return contents;
}

Contents ReadMemory(const std::string& name, const fs::path& file) {
  MemoryFile db(name);
  OpenToRead(db, name, file);
  ReadAllRows(db, name, format::kDbInfoSize, "the rows");
  return db.Get();
}

Contents ReadCategories(const std::string& name, const fs::path& file) {
  CategoryFile db(name);
  OpenToRead(db, name, file);
  ReadStoredHeader(db, name, format::kConduitHeaderId);
  ReadAllRows(db, name, db.ExtraOffset(), "the last id");
  return db.Get();
}

Contents ReadOutlineContents(const std::string& name, const fs::path& file) {
  Contents contents;
  contents.outline = OpenDocument(name, file)->ReadWhole();
  return contents;
}

/// What the file would hold is what was to be saved: only then is it worth its place.
template <class File>
void SaveHeld(File& file, const Contents& contents, const fs::path& path, bool mayReplace) {
  WhileWriting(file.GetName(), [&] { file.Take(contents); });
  if (!(file.Get() == contents)) {
    throw FileFailure(kExitDamaged, file.GetName(), "a file cannot hold this as it is");
  }
  SaveAs(file, file.GetName(), path, mayReplace);
}

/// An outline document as the others.
class OutlineFile : public Document {
 public:
  using Document::Document;
  void Take(const Contents& contents) { TakeWhole(contents.outline); }
  Contents Get() {
    Contents contents;
    contents.outline = GetWhole();
    return contents;
  }
};

template <class File>
void SaveAsKind(const std::string& name, const Contents& contents, const fs::path& path,
                bool mayReplace) {
  File file(name);
  SaveHeld(file, contents, path, mayReplace);
}

}  // namespace

size_t Contents::CountItems() const {
  return kind == Kind::kCategory ? categories.slots.size() : outline.GetNodes().size();
}

Kind KindOfFile(const std::string& name, const fs::path& file) {
  return salvage::GuessKind(ReadFileBytes(name, file));
}

Contents ReadContents(const std::string& name, const fs::path& file, Kind kind) {
  switch (kind) {
    case Kind::kMemory:
      return ReadMemory(name, file);
    case Kind::kCategory:
      return ReadCategories(name, file);
    default:
      return ReadOutlineContents(name, file);
  }
}

void SaveContents(const std::string& name, const Contents& contents, const fs::path& file,
                  bool mayReplace) {
  switch (contents.kind) {
    case Kind::kMemory:
      return SaveAsKind<MemoryFile>(name, contents, file, mayReplace);
    case Kind::kCategory:
      return SaveAsKind<CategoryFile>(name, contents, file, mayReplace);
    default:
      return SaveAsKind<OutlineFile>(name, contents, file, mayReplace);
  }
}

}  // namespace kxo
