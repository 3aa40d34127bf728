#include "Document.h"

#include <algorithm>
#include <utility>

#include "FileKind.h"
#include "Text.h"

namespace kxo {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using kx_gen::_String;
using kx_gen::COutlineRecord;

namespace {

/// Where wide text has 16 bits, a character may be two units, which stay together.
void DropLastCharacter(std::wstring& text) {
  text.pop_back();
  if (!text.empty() && (text.back() & ~0x3FF) == 0xD800) text.pop_back();
}

}  // namespace

Document::Document(std::string name) : name_(std::move(name)) {}

Document::~Document() = default;

void Document::OpenToRead(const fs::path& file) { kxo::OpenToRead(*this, name_, file); }

void Document::OpenToEdit(const fs::path& file) { kxo::OpenToEdit(*this, name_, file); }

void Document::ReadOneHeader(unsigned short id) {
  InHeader(id, [this, id] { return ReadHeader(id); });
}

void Document::ReadHeaders() {
  for (const uint16_t id :
       {format::kConduitHeaderId, format::kSharedHeaderId, format::kPrivateOutlineHeaderId}) {
    ReadOneHeader(id);
  }
}

bool Document::HasHeader(unsigned short id) {
  const auto& headers = GetHeaderManager().GetReadList();
  return std::any_of(headers.begin(), headers.end(),
                     [id](const kx_gen::THeaderInfo* info) { return info->record.id == id; });
}

Outline Document::ReadOutline() {
  ReadOneHeader(format::kPrivateOutlineHeaderId);
  ReadAllRows();
  return GetOutline();
}

Outline Document::ReadWhole() {
  for (const uint16_t id :
       {format::kConduitHeaderId, format::kSharedHeaderId, format::kPrivateOutlineHeaderId}) {
    ReadStoredHeader(*this, name_, id);
  }
  ReadAllRows();
  return GetWhole();
}

void Document::ReadAllRows() {
  kxo::ReadAllRows(*this, name_, FirstRowsOffset(), "the deleted ids");
}

Outline Document::GetOutline() {
  Outline outline;
  outline.title = GetTitle();
  AddItems(outline, Lacking::kThrows);
  return outline;
}

void Document::AddItems(Outline& outline, Lacking lacking) {
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    unsigned level = 0;
    Item item = InRowOf(*this, name_, i, [&] {
      return ItemOf(static_cast<COutlineRecord&>(*getRecord(i)), level, lacking);
    });
    outline.Add(level, std::move(item));
  }
}

Outline Document::GetWhole() {
  Outline outline;
  outline.headers = TableOf(GetHeaderManager(), salvage::Kind::kOutline);
  outline.headers.conduit =
      InHeader(format::kConduitHeaderId, [this] { return ExtrasOf(*GetConduitHeader()); });
  outline.shared = InHeader(format::kSharedHeaderId, [this] { return FieldsOf(Shared()); });
  outline.view =
      InHeader(format::kPrivateOutlineHeaderId, [&] { return ViewOf(Private(), outline.title); });
  const kx_gen::CDeletedThoughts& deleted = GetDeletedThoughts();
  for (size_t i = 0; i < deleted.GetCount(); ++i) {
    outline.deletedIds.push_back(static_cast<uint32_t>(deleted.GetId(i)));
  }
  AddItems(outline, Lacking::kIsDefault);
  return outline;
}

std::string Document::GetTitle() {
  return InHeader(format::kPrivateOutlineHeaderId, [this] {
    _String title;
    GetOutlineTitle(title);
    return FromWide(title);
  });
}

void Document::TakeItems(const Outline& outline) {
  WhileWriting(name_, [&] {
    for (const Outline::Node& node : outline.GetNodes()) {
      auto& row = static_cast<COutlineRecord&>(*GetRecordset()->Append());
      FillRow(row, node.level, node.item);
    }
  });
}

void Document::TakeWhole(const Outline& outline) {
  WhileWriting(name_, [&] {
    TakeTable(GetHeaderManager(), outline.headers);
    InitNewDatabase();
    FillHeader(*GetConduitHeader(), outline.headers.conduit);
    FillHeader(Shared(), outline.shared);
    FillHeader(Private(), outline.title, outline.view);
    for (const uint32_t id : outline.deletedIds) AddDeletedId(id);
  });
  TakeItems(outline);
}

bool Document::TitleFits() {
  const size_t size = Private().getTaggedDataManager().size() + format::kSlotLengthSize;
  const HeaderTable table = TableOf(GetHeaderManager(), salvage::Kind::kOutline);
  return std::any_of(table.slots.begin(), table.slots.end(), [size](const HeaderSlot& slot) {
    return slot.id == format::kPrivateOutlineHeaderId && slot.sizeBytes >= size;
  });
}

bool Document::TakesTitle(const std::wstring& title) {
  Private().SetOutlineTitle(title.c_str());
  return TitleFits();
}

void Document::TakeTitle(const std::string& title) {
  WhileWriting(name_, [&] {
    std::wstring kept = ToWide(title);
    if (TakesTitle(kept)) return;
    // A character takes a byte at least.
    kept.resize(std::min<size_t>(kept.size(), format::kPrivateOutlineHeaderSize));
    while (!kept.empty() && !TakesTitle(kept)) DropLastCharacter(kept);
  });
}

void Document::Save(const fs::path& file, bool mayReplace) {
  SaveAs(*this, name_, file, mayReplace);
}

unsigned long Document::RowsEnd() {
  const size_t ids = GetDeletedThoughts().GetCount();
  return EndOfRows(*this, FirstRowsOffset() + format::kDeletedCountSize +
                              static_cast<unsigned long>(format::kDeletedIdSize * ids));
}

void CheckIsDocument(const std::string& name, const fs::path& file) {
  CheckKind(name, file, salvage::Kind::kOutline);
}

std::unique_ptr<Document> OpenDocument(const std::string& name, const fs::path& file) {
  CheckIsDocument(name, file);
  auto document = std::make_unique<Document>(name);
  document->OpenToRead(file);
  return document;
}

}  // namespace kxo
