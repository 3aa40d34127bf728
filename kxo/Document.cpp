#include "Document.h"

#include <algorithm>
#include <utility>

#include "Failure.h"
#include "StoredFields.h"
#include "System.h"
#include "Text.h"

namespace kxo {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using kx_gen::_String;
using kx_gen::CException;
using kx_gen::CFile;
using kx_gen::COutlineRecord;

namespace {

std::string AtOffset(unsigned long offset, const std::string& what) {
  return "offset " + std::to_string(offset) + " (" + what + ")";
}

std::string HeaderTitle(unsigned short id) {
  switch (id) {
    case format::kConduitHeaderId:
      return "conduit header";
    case format::kSharedHeaderId:
      return "shared header";
    default:
      return "private header";
  }
}

std::string PlaceOfOpening(const CException& e) {
  switch (e.GetErrNumber() + 1) {
    case kx_gen::kMsgCheckCode:
      return AtOffset(format::kCheckCodeOffset, "the check code");
    case kx_gen::kMsgNewerVersion:
      return AtOffset(format::kVersionOffset, "the version");
    default:
      return AtOffset(format::kHeaderTablePos, "the header table");
  }
}

/// Where wide text has 16 bits, a character may be two units, which stay together.
void DropLastCharacter(std::wstring& text) {
  text.pop_back();
  if (!text.empty() && (text.back() & ~0x3FF) == 0xD800) text.pop_back();
}

}  // namespace

Document::Document(std::string name) : name_(std::move(name)) {}

Document::~Document() = default;

/// The outline database's own Open keeps the reason of a failure to itself; this one throws it.
void Document::OpenOrThrow(const fs::path& file, unsigned int mode) {
  const sys::LibraryName libraryName(file);
  CDatabase::Open(libraryName.get(), mode);  // NOLINT(bugprone-parent-virtual-call)
}

void Document::OpenToRead(const fs::path& file) {
  WhileReading(name_, PlaceOfOpening,
               [&] { OpenOrThrow(file, CFile::modeRead | CFile::shareDenyWrite); });
}

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
    ReadStoredHeader(id);
  }
  ReadAllRows();
  return GetWhole();
}

void Document::ReadAllRows() {
  WhileReading(
      name_, [this](const CException&) { return PlaceOfLastRow(); }, [this] { ReadRows(); });
}

/// As it stands in the file: without the fields that the library adds to those of older files.
void Document::ReadStoredHeader(unsigned short id) {
  InHeader(id, [this, id] {
    for (const kx_gen::THeaderInfo* info : GetHeaderManager().GetReadList()) {
      if (info->record.id != id) continue;
      Seek(static_cast<long>(GetHeaderManager().GetHeaderReadPos(id)), 0);
      info->header->Read(*this, info->record.size);
    }
  });
}

Outline Document::GetOutline() {
  Outline outline;
  outline.title = GetTitle();
  AddItems(outline);
  return outline;
}

void Document::AddItems(Outline& outline) {
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    unsigned level = 0;
    Item item = ReadItem(i, level);
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
  AddItems(outline);
  return outline;
}

std::string Document::GetTitle() {
  return InHeader(format::kPrivateOutlineHeaderId, [this] {
    _String title;
    GetOutlineTitle(title);
    return FromWide(title);
  });
}

Item Document::ReadItem(size_t index, unsigned& level) {
  return WhileReading(
      name_, [this, index](const CException&) { return PlaceOfRow(index); },
      [&] {
        auto& row = static_cast<COutlineRecord&>(*getRecord(index));
        return ItemOf(row, level);
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

bool Document::TitleFits(const std::wstring& title) {
  Private().SetOutlineTitle(title.c_str());
  return Private().getTaggedDataManager().size() + format::kSlotLengthSize <=
         format::kPrivateOutlineHeaderSize;
}

void Document::TakeTitle(const std::string& title) {
  WhileWriting(name_, [&] {
    std::wstring kept = ToWide(title);
    if (TitleFits(kept)) return;
    // A character takes a byte at least.
    kept.resize(std::min<size_t>(kept.size(), format::kPrivateOutlineHeaderSize));
    while (!TitleFits(kept)) DropLastCharacter(kept);
  });
}

void Document::Save(const fs::path& file, bool mayReplace) {
  const sys::LibraryName libraryName(file);
  WhileWriting(name_, [&] {
    if (mayReplace) {
      kx_gen::SaveDatabaseFile(*this, libraryName.get());
    } else {
      kx_gen::SaveNewDatabaseFile(*this, libraryName.get());
    }
  });
}

unsigned long Document::RowsEnd() {
  const int count = GetRecordset()->getSize();
  if (count == 0) {
    return FirstRowsOffset() + format::kDeletedCountSize +
           format::kDeletedIdSize * GetDeletedThoughts().GetCount();
  }
  const kx_gen::CDBRecord& last = *getRecord(static_cast<unsigned long>(count) - 1);
  return last.GetPos() + format::kRowFrameSize + last.GetRecSize();
}

std::string Document::PlaceOfHeader(unsigned short id) {
  return AtOffset(GetHeaderManager().GetHeaderReadPos(id), HeaderTitle(id));
}

/// The row whose reading failed is the last of those that the set holds.
std::string Document::PlaceOfLastRow() {
  const int count = GetRecordset()->getSize();
  if (count > 0) return PlaceOfRow(static_cast<size_t>(count) - 1);
  return AtOffset(FirstRowsOffset(), "the deleted ids");
}

std::string Document::PlaceOfRow(size_t index) {
  return AtOffset(getRecord(index)->GetPos(),
                  "row " + std::to_string(index + 1) + " of " + std::to_string(GetRowCount()));
}

std::unique_ptr<Document> OpenDocument(const std::string& name, const fs::path& file) {
  if (!fs::is_regular_file(file)) {
    throw FileFailure(kExitSystem, name, "this is not a regular file", "name a .kxo document");
  }
  auto document = std::make_unique<Document>(name);
  document->OpenToRead(file);
  return document;
}

}  // namespace kxo
