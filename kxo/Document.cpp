#include "Document.h"

#include <algorithm>
#include <utility>

#include "Failure.h"
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

std::string TextOf(COutlineRecord& row) {
  _String text;
  row.GetText(text);
  return FromWide(text);
}

std::optional<std::string> NoteOf(COutlineRecord& row) {
  if (!row.HasNote()) return std::nullopt;
  _String note;
  row.GetNote(note);
  return FromWide(note);
}

std::optional<Drawing> DrawingOf(COutlineRecord& row) {
  if (!row.HasDrawing()) return std::nullopt;
  Drawing drawing;
  row.GetDrawingSize(drawing.width, drawing.height);
  row.getTaggedDataManager().getTagDataSize(format::kTagDrawing, &drawing.sizeBytes);
  return drawing;
}

Item ItemOf(COutlineRecord& row) {
  Item item;
  item.id = static_cast<uint32_t>(row.GetId());
  item.text = TextOf(row);
  item.note = NoteOf(row);
  item.expanded = row.GetExpanded();
  item.checked = row.GetChecked();
  item.isNew = row.IsNew();
  item.changed = row.IsChanged();
  item.deleted = row.IsDeleted();
  item.empty = row.IsEmpty();
  item.archived = row.IsArchived();
  item.sortChanged = row.IsSortChanged();
  item.drawing = DrawingOf(row);
  return item;
}

void FillRow(COutlineRecord& row, const Outline::Node& node) {
  const Item& item = node.item;
  row.SetId(item.id);
  row.SetIndent(static_cast<unsigned char>(node.level));
  row.SetText(ToWide(item.text).c_str());
  if (item.note) {
    row.SetNote(ToWide(*item.note).c_str());
  } else {
    row.DeleteNote();
  }
  row.SetExpanded(item.expanded);
  row.SetChecked(item.checked);
  row.SetNew(item.isNew);
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
  WhileReading(
      name_, [this](const CException&) { return PlaceOfLastRow(); }, [this] { ReadRows(); });
  return GetOutline();
}

Outline Document::GetOutline() {
  Outline outline;
  outline.title = GetTitle();
  const auto count = static_cast<size_t>(GetRecordset()->getSize());
  for (size_t i = 0; i < count; ++i) {
    unsigned level = 0;
    Item item = ReadItem(i, level);
    outline.Add(level, std::move(item));
  }
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
        level = row.GetIndent();
        return ItemOf(row);
      });
}

void Document::TakeItems(const Outline& outline) {
  WhileWriting(name_, [&] {
    for (const Outline::Node& node : outline.GetNodes()) {
      FillRow(static_cast<COutlineRecord&>(*GetRecordset()->Append()), node);
    }
  });
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
