#include "CategoryDocument.h"

#include <utility>

#include "DatabaseFile.h"
#include "Failure.h"
#include "FileKind.h"
#include "Text.h"

namespace kxo {

namespace fs = std::filesystem;

using kx_gen::CCategoryRecord;

CategoryDocument::CategoryDocument(std::string name) : name_(std::move(name)) {}

CategoryDocument::~CategoryDocument() = default;

void CategoryDocument::OpenAndRead(const fs::path& file, bool mayEdit) {
  if (!fs::is_regular_file(file)) {
    throw FileFailure(kExitSystem, name_, "this is not a regular file", "name a category file");
  }
  CheckKind(name_, file, salvage::Kind::kCategory);
  if (mayEdit) {
    OpenToEdit(*this, name_, file);
  } else {
    OpenToRead(*this, name_, file);
  }
  InHeaderOf(*this, name_, kx_gen::format::kConduitHeaderId, [this] { ReadConduitHeader(); });
  ReadAllRows(*this, name_, getFirstRowStartPosReading(), "the last id");
  CheckRows();
}

void CategoryDocument::ReadExtraRows() {
  const unsigned long begin = GetPosition();
  CCategoryDB::ReadExtraRows();
  const unsigned long end = GetPosition();
  Seek(static_cast<long>(begin), 0);
  *this >> lastIdRead_;
  extraSize_ = end - begin;
  Seek(static_cast<long>(end), 0);
}

/// Every field, so that a damaged one is found before anything is done.
void CategoryDocument::CheckRows() {
  for (size_t slot = 0; slot < SlotCount(); ++slot) {
    InRowOf(*this, name_, slot, [&] {
      CCategoryRecord& category = Slot(slot);
      category.GetFlag();
      category.GetCategoryId();
      category.GetLastChangedTime();
      CategoryNameOf(category);
    });
  }
}

void CategoryDocument::Save(const fs::path& file, bool mayReplace) {
  SaveAs(*this, name_, file, mayReplace);
}

CCategoryRecord& CategoryDocument::Slot(size_t slot) {
  return static_cast<CCategoryRecord&>(*getRecord(static_cast<unsigned long>(slot)));
}

std::string CategoryNameOf(CCategoryRecord& category) {
  kx_gen::_String name;
  category.GetCategoryName(name);
  return FromWide(name);
}

}  // namespace kxo
