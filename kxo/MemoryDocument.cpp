#include "MemoryDocument.h"

#include <utility>

#include "DatabaseFile.h"

namespace kxo {

using kx_gen::CLinkedOutlRec;

MemoryDocument::MemoryDocument(std::string name) : name_(std::move(name)) {}

MemoryDocument::~MemoryDocument() = default;

void MemoryDocument::OpenAndRead(const std::filesystem::path& file) {
  OpenToRead(*this, name_, file);
  ReadAllRows(*this, name_, kx_gen::format::kDbInfoSize, "the rows");
}

Outline MemoryDocument::GetItems(Lacking lacking) {
  Outline outline;
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    unsigned level = 0;
    Item item = InRowOf(*this, name_, i, [&] {
      return ItemOf(static_cast<CLinkedOutlRec&>(*getRecord(static_cast<unsigned long>(i))), level,
                    lacking);
    });
    outline.Add(level, std::move(item));
  }
  return outline;
}

void MemoryDocument::TakeItems(const Outline& outline) {
  for (const Outline::Node& node : outline.GetNodes()) {
    FillRow(static_cast<CLinkedOutlRec&>(*GetRecordset()->Append()), node.level, node.item);
  }
}

}  // namespace kxo
