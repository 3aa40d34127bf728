#include "Contents.h"

#include <optional>

#include "CategoryDocument.h"
#include "DatabaseFile.h"
#include "Document.h"
#include "Failure.h"
#include "FileKind.h"
#include "LinkedTree.h"
#include "MemoryDocument.h"
#include "StoredFields.h"

namespace kxo {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using salvage::Kind;

namespace {

class MemoryFile : public MemoryDocument {
 public:
  using MemoryDocument::MemoryDocument;
  void Take(const Contents& contents) { TakeItems(contents.outline); }
  Contents Get();
};

Contents MemoryFile::Get() {
  Contents contents;
  contents.kind = Kind::kMemory;
  contents.outline = GetItems(Lacking::kIsDefault);
  return contents;
}

class CategoryFile : public CategoryDocument {
 public:
  using CategoryDocument::CategoryDocument;
  void WriteExtraRows() override;
  void Take(const Contents& contents);
  Contents Get();

 private:
  std::optional<unsigned int> lastId_;  // that was taken
};

void CategoryFile::WriteExtraRows() {
  *this << lastId_.value_or(GetLastIdRead()) << static_cast<unsigned char>(isNew());
}

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
  list.lastId = lastId_.value_or(GetLastIdRead());
  list.isNew = isNew();
  list.headers = TableOf(GetHeaderManager(), Kind::kCategory);
  list.headers.conduit = InHeaderOf(*this, GetName(), format::kConduitHeaderId,
                                    [this] { return ExtrasOf(*GetConduitHeader()); });
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    list.slots.push_back(InRowOf(*this, GetName(), i, [&] {
      return CategoryOf(static_cast<kx_gen::CCategoryRecord&>(*getRecord(i)), Lacking::kIsDefault);
    }));
  }
  return contents;
}

Contents ReadMemory(const std::string& name, const fs::path& file) {
  MemoryFile db(name);
  db.OpenAndRead(file);
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
  Document document(name);
  document.OpenToRead(file);
  Contents contents;
  contents.outline = document.ReadWhole();
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

Outline ReadTree(const std::string& name, const fs::path& file, Kind kind) {
  if (kind == Kind::kCategory) FailForKind(name, kind, Kind::kOutline);
  if (kind == Kind::kMemory) {
    MemoryDocument document(name);
    document.OpenAndRead(file);
    return LinkedTree(document.GetItems(Lacking::kThrows));
  }
  Document document(name);
  document.OpenToRead(file);
  return document.ReadOutline();
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
