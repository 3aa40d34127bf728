#include "SalvageSupport.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <sstream>

namespace kxo_test {

namespace format = kx_gen::format;
namespace salvage = kxo::salvage;

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Thrown;
using salvage::Code;
using salvage::Finding;
using salvage::Kind;

// --- The reader ---

std::map<uint32_t, std::string> Recorder::ValuesOf(std::span<const salvage::Piece> pieces) const {
  std::map<uint32_t, std::string> values;
  for (const salvage::Piece& piece : pieces) {
    values.emplace(piece.tag, std::string(file_.begin() + static_cast<std::ptrdiff_t>(piece.value),
                                          file_.begin() + static_cast<std::ptrdiff_t>(piece.value) +
                                              static_cast<std::ptrdiff_t>(piece.length)));
  }
  return values;
}

void Recorder::OnHeader(const salvage::HeaderPart& part) {
  headers.push_back({part.id, part.slotSize, part.isSound, ValuesOf(part.pieces)});
}

void Recorder::OnExtra(const salvage::ExtraPart& part) {
  for (size_t i = 0; i < part.deletedIds.size(); i += format::kDeletedIdSize) {
    deletedIds.push_back(kx_gen::getLe32(&part.deletedIds[i]));
  }
  lastId = part.lastId;
}

void Recorder::OnRow(const salvage::RowPart& part) {
  rows.push_back({part.number, part.offset, part.place, part.isSound,
                  part.isSound ? Bytes(part.block.begin(), part.block.end()) : Bytes(),
                  ValuesOf(part.pieces)});
}

std::string Shown(const Finding& finding) {
  std::ostringstream out;
  out << (finding.error ? "error " : "warning ") << finding.offset;
  if (finding.row != 0) out << " row " << finding.row;
  if (finding.header != 0) out << " header " << finding.header;
  if (finding.tag) out << " tag " << *finding.tag;
  out << " " << NameOf(finding.code) << ": expected " << finding.expected << ", found "
      << finding.found;
  if (finding.message != 0) out << " (" << finding.message << ")";
  return out.str();
}

std::string Shown(const std::vector<Finding>& findings) {
  std::string all;
  for (const Finding& finding : findings) all += "  " + Shown(finding) + "\n";
  return all;
}

std::vector<std::string> GoldenFiles(Kind kind) {
  switch (kind) {
    case Kind::kOutline:
      return {"outline-empty", "outline-deleted-ids", "outline-all-fields", "outline-unknown",
              "outline-unknown-edited"};
    case Kind::kMemory:
      return {"memory-outline", "memory-outline-all-fields"};
    default:
      return {"category-v1", "category-v0"};
  }
}

// --- The library ---

namespace {

// Beside the messages' ids.
constexpr unsigned kNoDrawing = 98;
constexpr unsigned kFileFailure = 99;  // a place that no file has

/// The message's id, or 0 for nothing thrown.
unsigned MessageOf(const Thrown& thrown) {
  if (thrown.kind == Thrown::kNothing) return 0;
  for (unsigned id = 1; id <= kx_gen::kMsgMemOutlineVersion; ++id) {
    const std::wstring text = kx_test::messageText(id);
    if (!text.empty() && thrown.description.compare(0, text.size(), text) == 0) return id;
  }
  return kFileFailure;
}

unsigned MessageOf(const std::function<void()>& call) { return MessageOf(kx_test::thrownBy(call)); }

unsigned FirstOf(std::initializer_list<std::function<void()>> calls) {
  for (const auto& call : calls) {
    if (const unsigned message = MessageOf(call); message != 0) return message;
  }
  return 0;
}

unsigned AskShared(kx_gen::CSharedHeader& header) {
  _String text;
  unsigned char numbering[format::kNumberingSize];
  return FirstOf({[&] { header.GetOutlineChanged(); }, [&] { header.GetSynchronized(); },
                  [&] { header.GetPrivate(); }, [&] { header.getNumbering(numbering); },
                  [&] { header.getNumberingDivider(); }, [&] { header.GetCategoryName(text); },
                  [&] { header.GetPalmMatchName(text); }});
}

unsigned AskPrivate(kx_gen::CPrivateOutlineHeader& header) {
  _String text;
  kx_gen::TStoredWindowPos pos{};
  kx_gen::TStoredFontInfo font{};
  return FirstOf({[&] { header.GetShowCheckedItems(); }, [&] { header.GetSelectedIndex(); },
                  [&] { header.GetTopIndex(); }, [&] { header.GetStoredWndPos(&pos); },
                  [&] { header.GetStoredFontInfo(&font); }, [&] { header.GetFontColor(); },
                  [&] { header.GetShowHeadingsMode(); }, [&] { header.GetFontName(text); },
                  [&] { header.GetOutlineTitle(text); }});
}

unsigned AskDrawing(COutlineRecord& item) {
  bool hasDrawing = false;
  long width = 0;
  long height = 0;
  void* dib = nullptr;
  const unsigned message =
      FirstOf({[&] { hasDrawing = item.HasDrawing(); }, [&] { item.GetDrawingSize(width, height); },
               [&] {
                 if (hasDrawing) dib = item.GetDrawing();
               }});
  const bool isShown = dib != nullptr || !hasDrawing;
  MemFree(dib);
  if (message != 0) return message;
  return isShown ? 0 : kNoDrawing;
}

unsigned AskEveryRow(CDBRecord& row) {
  return FirstOf({[&] { row.GetFlag(); }, [&] { row.IsSortChanged(); }});
}

unsigned AskItem(COutlineRecord& item) {
  _String text;
  const unsigned message =
      FirstOf({[&] { item.GetId(); }, [&] { item.GetIndent(); }, [&] { item.GetExpanded(); },
               [&] { item.GetChecked(); }, [&] { item.GetText(text); },
               [&] {
                 if (item.HasNote()) item.GetNote(text);
               }});
  if (message != 0) return message;
  if (const unsigned frame = AskEveryRow(item); frame != 0) return frame;
  return AskDrawing(item);
}

unsigned AskRow(CDBRecord& row, Kind kind) {
  if (kind == Kind::kCategory) {
    auto& category = static_cast<CCategoryRecord&>(row);
    _String name;
    if (const unsigned frame = AskEveryRow(row); frame != 0) return frame;
    return FirstOf({[&] { category.GetCategoryId(); }, [&] { category.GetLastChangedTime(); },
                    [&] { category.GetCategoryName(name); }});
  }
  if (const unsigned message = AskItem(static_cast<COutlineRecord&>(row)); message != 0) {
    return message;
  }
  if (kind != Kind::kMemory) return 0;
  auto& linked = static_cast<CLinkedOutlRec&>(row);
  return FirstOf({[&] { linked.getInternalId(); }, [&] { linked.getParentId(); }});
}

class OpenOutline : public COutlineDB {
 public:
  OpenOutline() = default;
  OpenOutline(const OpenOutline&) = delete;
  OpenOutline& operator=(const OpenOutline&) = delete;
  ~OpenOutline() override = default;
  using COutlineDB::GetPrivateOutlineHeaderPtr;
  using COutlineDB::GetSharedHeaderPtr;
};

std::unique_ptr<CDatabase> NewReadable(Kind kind) {
  if (kind == Kind::kOutline) return std::make_unique<OpenOutline>();
  if (kind == Kind::kMemory) return std::make_unique<CMemOutlDB>();
  return std::make_unique<CCategoryDB>();
}

void AskHeaders(CDatabase& db, Kind kind, LibraryReading& reading) {
  if (kind != Kind::kOutline) return;
  auto& outline = static_cast<OpenOutline&>(db);
  if (reading.headers[format::kSharedHeaderId] == 0) {
    reading.headerFields[format::kSharedHeaderId] = AskShared(*outline.GetSharedHeaderPtr());
  }
  if (reading.headers[format::kPrivateOutlineHeaderId] == 0) {
    reading.headerFields[format::kPrivateOutlineHeaderId] =
        AskPrivate(*outline.GetPrivateOutlineHeaderPtr());
  }
}

}  // namespace

LibraryReading ReadWithLibrary(const Bytes& bytes, Kind kind) {
  kx_gen::MemFile file(1u << 12);
  if (!bytes.empty()) file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
  const std::unique_ptr<CDatabase> db = NewReadable(kind);
  db->Attach(&file);
  LibraryReading reading;
  reading.open = MessageOf([&] {
    db->ReadDbInfo();
    if (kind != Kind::kMemory) db->ReadHeaderInfo();
  });
  if (reading.open != 0) return reading;
  for (const uint16_t id : salvage::HeadersOf(kind)) {
    reading.headers[id] = MessageOf([&] { db->ReadHeader(id); });
  }
  AskHeaders(*db, kind, reading);
  reading.rows = MessageOf([&] { db->ReadRows(); });
  const auto count = static_cast<size_t>(db->GetRecordset()->getSize());
  if (reading.rows != 0) reading.failedRow = count;
  for (size_t i = 0; i < (reading.rows != 0 && count > 0 ? count - 1 : count); ++i) {
    reading.rowFields.push_back(AskRow(*db->getRecord(static_cast<unsigned long>(i)), kind));
  }
  return reading;
}

bool LibraryReading::Fails() const {
  const auto hasFailed = [](const auto& step) { return step.second != 0; };
  return open != 0 || rows != 0 || std::any_of(headers.begin(), headers.end(), hasFailed) ||
         std::any_of(headerFields.begin(), headerFields.end(), hasFailed) ||
         std::any_of(rowFields.begin(), rowFields.end(), [](unsigned m) { return m != 0; });
}

// --- Recovering ---

Recovered Recover(const Bytes& bytes, salvage::RebuildOptions options, std::optional<Kind> kind) {
  Recovered recovered;
  kx_gen::MemFile file(1u << 16);  // the database lets go of it in its destructor
  salvage::Rebuilder rebuilder(
      bytes, options, [&](const salvage::Loss& loss) { recovered.losses.push_back(loss); });
  recovered.isDocument = salvage::ReadFile(bytes, kind, rebuilder).isDocument;
  recovered.counts = rebuilder.GetRows();
  if (!recovered.isDocument) return recovered;
  CDatabase& db = rebuilder.GetDatabase();
  db.Attach(&file);
  db.WriteAllHeaders();
  db.WriteRows();
  recovered.file.resize(file.GetLength());
  file.Seek(0, 0);
  file.Read(recovered.file.data(), static_cast<unsigned int>(recovered.file.size()));
  Recorder again(recovered.file);
  salvage::ReadFile(recovered.file, rebuilder.GetKind(), again);
  recovered.errors = again.totals.errors;
  for (const ReadRow& row : again.rows) recovered.rows.push_back(row.block);
  return recovered;
}

// --- Both ---

namespace {

bool IsOf(Code code, std::initializer_list<Code> codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}
bool IsOpening(Code code) {
  return IsOf(
      code, {Code::kTooShort, Code::kCheckCode, Code::kVersion, Code::kTableCut, Code::kSlotSmall});
}
bool IsSlot(Code code) { return IsOf(code, {Code::kSlotCut, Code::kSlotLength}); }
bool IsRows(Code code) {
  return IsOf(code, {Code::kExtraCut, Code::kRowStart, Code::kRowLength, Code::kRowEnd,
                     Code::kRowCut, Code::kRowsMissing});
}
bool IsBlock(Code code) { return code >= Code::kTagCode && code <= Code::kDrawing; }

const Finding* FirstError(const Recorder& reader, const std::function<bool(const Finding&)>& is) {
  for (const Finding& finding : reader.findings) {
    if (finding.error && is(finding)) return &finding;
  }
  return nullptr;
}

std::string Compared(const std::string& what, unsigned library, const Finding* finding) {
  if (library == 0 && finding == nullptr) return "";
  const bool isAlike = finding != nullptr && (finding->message == static_cast<int>(library) ||
                                              library == kNoDrawing || library == kFileFailure);
  if (library != 0 && isAlike) return "";
  return what + ": the library's message is " + std::to_string(library) +
         ", the reader's finding " + (finding == nullptr ? "none" : Shown(*finding)) + "\n";
}

/// Reading a header adds what its block lacks, so that damage to the block shows here already.
bool IsOfFields(unsigned message) { return message == kx_gen::kMsgDataCorruption; }

std::string ComparedHeader(uint16_t id, unsigned slot, unsigned fields, const Recorder& reader) {
  const auto first = [&](auto isKind) {
    return FirstError(reader, [=](const Finding& finding) {
      return finding.header == id && isKind(finding.code);
    });
  };
  const std::string name = "header " + std::to_string(id);
  std::string all = Compared(name, slot, first(IsSlot));
  const Finding* finding = first(IsBlock);
  if ((finding != nullptr) != (fields != 0)) all += Compared("fields of " + name, fields, finding);
  return all;
}

std::string ComparedHeaders(const LibraryReading& library, const Recorder& reader) {
  std::string all;
  for (const auto& [id, message] : library.headers) {
    const auto fields = library.headerFields.find(id);
    const bool areFieldsAsked = fields != library.headerFields.end();
    const unsigned slot = IsOfFields(message) ? 0 : message;
    all += ComparedHeader(id, slot, areFieldsAsked ? fields->second : message - slot, reader);
  }
  return all;
}

/// Where a damaged length makes one row of several, the library reads on and fails somewhere
/// behind.
bool IsOneRowOfSeveral(const Finding* finding) {
  return finding != nullptr && finding->code == Code::kRowLength && finding->message == 0;
}

/// The reader counts rows that went astray into a slot, first of all; the library does not come by
/// them.
size_t AstrayCount(const Recorder& reader) {
  return static_cast<size_t>(
      std::count_if(reader.findings.begin(), reader.findings.end(),
                    [](const Finding& finding) { return finding.code == Code::kRowAstray; }));
}

std::string ComparedRows(const LibraryReading& library, const Recorder& reader) {
  const size_t astray = AstrayCount(reader);
  const Finding* failure =
      FirstError(reader, [](const Finding& finding) { return IsRows(finding.code); });
  if (IsOneRowOfSeveral(failure)) return library.Fails() ? "" : "only " + Shown(*failure) + "\n";
  std::string all = Compared("rows", library.rows, failure);
  const size_t failedRow =
      failure == nullptr || failure->row == 0 ? 0 : failure->row - std::min(failure->row, astray);
  if (failure != nullptr && library.rows != 0 && failedRow != library.failedRow) {
    all += "row " + std::to_string(library.failedRow) + " fails, not " + Shown(*failure) + "\n";
  }
  for (size_t i = 0; i < library.rowFields.size(); ++i) {
    const size_t row = astray + i + 1;
    const Finding* finding =
        FirstError(reader, [row](const Finding& f) { return f.row == row && IsBlock(f.code); });
    if ((finding != nullptr) != (library.rowFields[i] != 0)) {
      all += Compared("fields of row " + std::to_string(row), library.rowFields[i], finding);
    }
  }
  return all;
}

}  // namespace

std::string Disagreement(const LibraryReading& library, const Recorder& reader) {
  std::string all =
      Compared("opening", library.open,
               FirstError(reader, [](const Finding& finding) { return IsOpening(finding.code); }));
  if (library.open == 0) all += ComparedHeaders(library, reader) + ComparedRows(library, reader);
  if (library.Fails() != (reader.totals.errors > 0)) all += "one of them fails alone\n";
  return all.empty() ? all : all + Shown(reader.findings);
}

}  // namespace kxo_test
