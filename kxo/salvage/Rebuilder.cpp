#include "salvage/Rebuilder.h"

#include <algorithm>
#include <functional>
#include <new>
#include <string_view>

#include "Text.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

using kx_gen::CDatabase;
using kx_gen::CFileStream;

namespace {

/// A slot that claims more than this is written as large as what it holds.
constexpr uint32_t kKnownSlotSizeMax = 1u << 20;

unsigned long Size(const std::vector<unsigned char>& block) {
  return static_cast<unsigned long>(block.size());
}

/// What blocks answer when they have no memory, so that none is written without what it lacks.
void CheckMemory(long result) {
  if (result != 0) throw std::bad_alloc();
}

/// Replaces a header's whole block.
void SetBlock(kx_gen::CTaggedDataHeader& header, Bytes block) {
  header.FreeData();
  CheckMemory(header.getTaggedDataManager().insert(0, reinterpret_cast<const char*>(block.data()),
                                                   static_cast<unsigned long>(block.size())));
}

/// The bytes of one value in a block that is in order; empty when it lacks the tag.
Bytes ValueIn(Bytes block, uint32_t tag) {
  for (size_t pos = 0; IsTag(block, pos, block.size());) {
    const Entry entry = EntryAt(block, pos);
    if (!Fits(entry, block.size()) || entry.tag > tag) break;
    if (entry.tag == tag) return block.subspan(entry.Value(), entry.length);
    pos = entry.End();
  }
  return {};
}

uint32_t NumberOf(Bytes value) {
  return static_cast<uint32_t>(
      kx_gen::getLittleEndian(value.data(), std::min<size_t>(value.size(), 4)));
}

uint64_t HashOf(Bytes bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return std::hash<std::string_view>()(text);
}

void MarkDeleted(std::vector<unsigned char>& block) {
  const Bytes flags = ValueIn(block, format::kTagFlagByte);
  if (!flags.empty()) {
    block[static_cast<size_t>(flags.data() - block.data())] |= format::flagMask(format::kDelBitPos);
  }
}

}  // namespace

/// Writes the extra values as they were found.
class Rebuilder::Category : public kx_gen::CCategoryDB {
 public:
  Category() = default;
  Category(const Category&) = delete;
  Category& operator=(const Category&) = delete;
  ~Category() override = default;

  void WriteExtraRows() override { *this << lastId << newFlag; }

  unsigned int lastId = format::kFirstCategoryId;
  unsigned char newFlag = 1;
};

/// Stands for every row in the set: the library writes rows in order, and each time it writes this
/// one it gets the next row's block. So that the memory of a rebuilt document does not grow with
/// what the library's own rows take.
class Rebuilder::NextRow : public kx_gen::CDBRecord {
 public:
  explicit NextRow(Rebuilder& rebuilder) : rebuilder_(rebuilder) {}
  NextRow(const NextRow&) = delete;
  NextRow& operator=(const NextRow&) = delete;
  ~NextRow() override = default;

  void Write(CFileStream& stream) override {
    if (next_ == rebuilder_.rows_.size()) next_ = 0;
    const std::vector<unsigned char> block = rebuilder_.BlockOfRow(rebuilder_.rows_[next_++]);
    FreeData();
    getTaggedDataManager().insert(0, reinterpret_cast<const char*>(block.data()), Size(block));
    if (GetRecSize() != block.size()) throw std::bad_alloc();
    CDBRecord::Write(stream);
  }

 private:
  Rebuilder& rebuilder_;
  size_t next_ = 0;
};

Rebuilder::Rebuilder(Bytes file, RebuildOptions options, LossSink sink)
    : file_(file), options_(options), sink_(std::move(sink)) {}

Rebuilder::~Rebuilder() {
  if (db_ != nullptr) db_->GetRecordset()->emptyRS();  // none of them is the set's own
}

void Rebuilder::Lose(const char* code, size_t offset, const std::string& what) {
  sink_({code, offset, 0, 0, std::nullopt, what});
}

void Rebuilder::OnStart(const Overview& overview) {
  overview_ = overview;
  fields_ = RowFields(overview.kind);
  categoryIds_.assign(format::kLastCategoryId + 1, false);
  if (overview.kind == Kind::kOutline) {
    db_ = std::make_unique<kx_gen::COutlineDB>();
  } else if (overview.kind == Kind::kMemory) {
    db_ = std::make_unique<kx_gen::CMemOutlDB>();
  } else {
    db_ = std::make_unique<Category>();
  }
}

void Rebuilder::OnFinding(const Finding& finding) {
  if (finding.code == Code::kTableCut || finding.code == Code::kTableAstray) {
    Lose("table", finding.offset,
         "the header table cannot be used: headers that only other programs know are lost");
  } else if (finding.code == Code::kTextNull) {
    sink_({"text", finding.offset, finding.row, finding.header, finding.tag,
           "a 00 stands in it, behind which programs show nothing; kept so"});
  } else if (finding.code == Code::kDrawingPixels) {
    sink_({"drawing", finding.offset, finding.row, finding.header, finding.tag,
           "its pixels are more or fewer than it says; kept so"});
  }
}

// --- Headers ---

void Rebuilder::OnHeader(const HeaderPart& part) {
  kx_gen::CHeaderManager& headers = db_->GetHeaderManager();
  headersFound_.push_back(part.id);
  kx_gen::CTaggedDataHeader* header = part.isKnown ? headers.GetHeaderPtr(part.id) : nullptr;
  uint32_t size = part.slotSize;
  if (header != nullptr) {
    FillHeader(part, *header);
    const auto used = static_cast<uint32_t>(header->getTaggedDataManager().size());
    const uint32_t least = std::max(HeaderSize(overview_.kind, part.id),
                                    static_cast<uint32_t>(used + format::kSlotLengthSize));
    size = std::max(least, size <= kKnownSlotSizeMax ? size : least);
  }
  headers.AddHeader({part.id, size});
  if (header == nullptr) {
    headers.GetReadList().back()->slot.assign(part.slot.begin(), part.slot.end());
  }
}

void Rebuilder::FillHeader(const HeaderPart& part, kx_gen::CTaggedDataHeader& header) {
  if (part.isSound) {
    SetBlock(header, part.block);
    return;
  }
  const Fields fields = HeaderFields(part.id);
  const Mender mender(file_, fields);
  Loss where = {"field", part.offset, 0, part.id, std::nullopt, ""};
  const std::vector<Value> values = mender.ValuesOf(part.pieces, where, sink_);
  // What is lost keeps the default that the header was made with.
  kx_gen::CTaggedDataManager& tags = header.getTaggedDataManager();
  for (const Value& value : values) {
    CheckMemory(tags.setData(value.tag, value.data.data(),
                             static_cast<unsigned long>(value.data.size()), nullptr,
                             value.version));
    tags.setTagChanged(value.tag, (value.flags & format::kTagFlagChanged) != 0);
  }
  for (const Field* field : mender.Missing(values)) {
    if (field->presence == Presence::kAdded) continue;
    where.tag = field->tag;
    where.what = "lost; a new document's value now";
    sink_(where);
  }
}

void Rebuilder::OnHeaderLost(uint16_t id) {
  sink_({"header", 0, 0, id, std::nullopt,
         "the " + NameOfHeader(id) + " lost; a new document's values now"});
}

// --- Between headers and rows ---

void Rebuilder::OnExtra(const ExtraPart& part) {
  if (overview_.kind == Kind::kCategory) {
    auto& category = static_cast<Category&>(*db_);
    if (part.isFound) {
      category.lastId = part.lastId;
      category.newFlag = part.newFlag.value_or(1);
    }
    largestCategoryId_ = part.isFound ? 0 : format::kFirstCategoryId;
  } else {
    auto& outline = static_cast<kx_gen::COutlineDB&>(*db_);
    for (size_t pos = 0; pos < part.deletedIds.size(); pos += format::kDeletedIdSize) {
      deletedIds_.push_back(Number(part.deletedIds, pos));
      outline.AddDeletedId(deletedIds_.back());
    }
    std::sort(deletedIds_.begin(), deletedIds_.end());
  }
  if (part.isFound) return;
  Lose("extra", part.offset,
       overview_.kind == Kind::kOutline ? "the list of deleted ids lost; it is empty now"
                                        : "the last id lost; it is the largest one now");
}

// --- Rows ---

void Rebuilder::OnRow(const RowPart& part) {
  const bool isLeftover = part.place == RowPlace::kLeftover;
  if (!IsWanted(part)) {
    if (counts_.leftBehind++ == 0) firstLeftBehind_ = part.offset;
    return;
  }
  if (isLeftover && counts_.leftovers++ == 0) firstLeftover_ = part.offset;
  Keep(part);
}

void Rebuilder::Keep(const RowPart& part) {
  Row row;
  row.isSound = part.isSound;
  row.isDeleted = part.place != RowPlace::kDeclared && IsInDeletedList(part);
  if (row.isDeleted) {
    sink_({"deleted", part.offset, part.number, 0, std::nullopt,
           "its id is among the deleted ones; marked as deleted"});
  }
  if (part.isSound) {
    row.block = static_cast<size_t>(part.block.data() - file_.data());
    row.length = static_cast<uint32_t>(part.block.size());
    ++counts_.whole;
  } else {
    row.firstPiece = pieces_.size();
    row.pieceCount = part.pieces.size();
    pieces_.insert(pieces_.end(), part.pieces.begin(), part.pieces.end());
    ++(TellPartial(part) ? counts_.partial : counts_.mended);
  }
  if (overview_.kind == Kind::kCategory) RememberCategoryId(part);
  rows_.push_back(row);
}

/// Returns whether anything is lost.
bool Rebuilder::TellPartial(const RowPart& part) {
  bool isLost = false;
  const LossSink sink = [&](const Loss& loss) {
    isLost = true;
    sink_(loss);
  };
  Loss loss = {"field", part.offset, part.number, 0, std::nullopt, ""};
  const Mender mender(file_, fields_);
  const std::vector<Value> values = mender.ValuesOf(part.pieces, loss, sink);
  for (const Field* field : mender.Missing(values)) {
    loss.tag = field->tag;
    loss.what = InsteadOf(*field);
    sink(loss);
  }
  if (part.unread > 0) {
    sink({"bytes", part.unreadOffset, part.number, 0, std::nullopt,
          CountedBytes(part.unread) + " of it cannot be read"});
  }
  if (part.isEndLost) {
    sink({"row-end", part.offset, part.number, 0, std::nullopt,
          "its end lost, with whatever stood there"});
  }
  return isLost;
}

/// What DefaultOf gives, in words.
std::string Rebuilder::InsteadOf(const Field& field) const {
  if (field.tag == format::kTagFlagByte) return "lost; none now, though it may have been deleted";
  if (overview_.kind != Kind::kCategory && field.tag == format::kTagIndent) {
    return "lost; that of the row before now";
  }
  if (overview_.kind == Kind::kCategory && field.tag == format::kTagCategoryId) {
    return "lost; a free one now";
  }
  return "lost; a new row's value now";
}

void Rebuilder::RememberCategoryId(const RowPart& part) {
  const auto id = IdOf(part);
  if (!id || *id >= categoryIds_.size()) return;
  categoryIds_[*id] = true;
  if (largestCategoryId_ != 0) largestCategoryId_ = std::max(largestCategoryId_, *id);
}

bool Rebuilder::IsWanted(const RowPart& part) {
  if (part.place != RowPlace::kLeftover) return true;
  return options_.takeLeftovers && !IsTakenAlready(part);
}

/// Whether the same stands among the rows ahead of the leftovers: a save that was interrupted when
/// rows had moved up leaves the last ones twice.
bool Rebuilder::IsTakenAlready(const RowPart& part) {
  constexpr size_t kSameHashMax = 8;  // compared; rows of the same hash may be made in any number
  if (!part.isSound) return false;
  if (!areContentsKnown_) LearnContents();
  const uint64_t hash = HashOf(part.block);
  auto same = std::lower_bound(rowsByContents_.begin(), rowsByContents_.end(),
                               std::pair<uint64_t, size_t>(hash, 0));
  for (size_t i = 0; i < kSameHashMax && same != rowsByContents_.end(); ++i, ++same) {
    if (same->first != hash) return false;
    const Row& row = rows_[same->second];
    if (std::ranges::equal(part.block, file_.subspan(row.block, row.length))) return true;
  }
  return false;
}

void Rebuilder::LearnContents() {
  areContentsKnown_ = true;
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (!rows_[i].isSound) continue;
    rowsByContents_.emplace_back(HashOf(file_.subspan(rows_[i].block, rows_[i].length)), i);
  }
  std::sort(rowsByContents_.begin(), rowsByContents_.end());
}

bool Rebuilder::IsInDeletedList(const RowPart& part) const {
  const auto id = IdOf(part);
  return id && *id != 0 && std::binary_search(deletedIds_.begin(), deletedIds_.end(), *id);
}

std::optional<uint32_t> Rebuilder::IdOf(const RowPart& part) const {
  static_assert(format::kTagOutlineId == format::kTagCategoryId, "the id of every kind of row");
  if (part.isSound) return NumberOf(ValueIn(part.block, format::kTagOutlineId));
  for (const Piece& piece : part.pieces) {
    if (piece.tag == format::kTagOutlineId) {
      return NumberOf(file_.subspan(piece.value, piece.length));
    }
  }
  return std::nullopt;
}

void Rebuilder::OnGap(const Gap& gap) {
  Lose("bytes", gap.offset, Counted(gap.size, "byte") + " of which no row can be made");
}

void Rebuilder::OnEnd(const Totals& totals) {
  if (!totals.isDocument) return;
  TellMissingRows(totals);
  if (largestCategoryId_ != 0) static_cast<Category&>(*db_).lastId = largestCategoryId_;
  db_->CDatabase::InitNewDatabase();
  nextRow_ = std::make_unique<NextRow>(*this);
  kx_gen::CDBRecordset& set = *db_->GetRecordset();
  for (size_t i = 0; i < rows_.size(); ++i) set.add(nextRow_.get());
  CheckMemory(static_cast<size_t>(set.getSize()) == rows_.size() ? 0 : -1);
}

void Rebuilder::TellMissingRows(const Totals& totals) {
  if (totals.rows < overview_.declaredRows) {
    Lose("rows", file_.size(),
         "the file declares " + Counted(overview_.declaredRows, "row") + ", and " +
             std::to_string(totals.rows) + " of them can be found");
  }
  TellLeftovers();
}

void Rebuilder::TellLeftovers() {
  if (counts_.leftovers > 0) {
    Lose("leftovers-taken", firstLeftover_,
         Counted(counts_.leftovers, "row") +
             " behind the last one that the file declares taken too, although deleted ones may be "
             "among them; --no-leftovers leaves them out");
  }
  if (counts_.leftBehind == 0) return;
  Lose("leftovers", firstLeftBehind_,
       Counted(counts_.leftBehind, "row") + " behind the last one that the file declares left out" +
           (options_.takeLeftovers ? ": the same stands ahead of it" : ""));
}

// --- What is written ---

std::vector<unsigned char> Rebuilder::BlockOfRow(const Row& row) {
  std::vector<unsigned char> block;
  if (row.isSound) {
    const Bytes bytes = file_.subspan(row.block, row.length);
    block.assign(bytes.begin(), bytes.end());
  } else {
    const auto first = pieces_.begin() + static_cast<std::ptrdiff_t>(row.firstPiece);
    const std::vector<Piece> pieces(first, first + static_cast<std::ptrdiff_t>(row.pieceCount));
    block = MendedBlock(pieces);
  }
  if (row.isDeleted) MarkDeleted(block);
  Remember(block);
  return block;
}

std::vector<unsigned char> Rebuilder::MendedBlock(std::span<const Piece> pieces) {
  const Mender mender(file_, fields_);
  std::vector<Value> values = mender.ValuesOf(pieces, {}, [](const Loss&) {});
  for (const Field* field : mender.Missing(values)) {
    values.push_back({field->tag, 0, format::kTagFlagChanged, DefaultOf(*field)});
  }
  std::sort(values.begin(), values.end(),
            [](const Value& a, const Value& b) { return a.tag < b.tag; });
  return BlockOf(values);
}

/// What a new row has; but a row keeps to the level of the one before it, and a category needs an
/// id of its own.
std::vector<unsigned char> Rebuilder::DefaultOf(const Field& field) {
  if (field.type == FieldType::kText) return {0};
  std::vector<unsigned char> data(field.size);
  uint32_t number = 0;
  if (overview_.kind == Kind::kCategory) {
    if (field.tag == format::kTagCategoryId) number = FreeCategoryId();
  } else if (field.tag == format::kTagIndent) {
    number = indentBefore_;
  } else if (field.tag == format::kTagExpanded) {
    number = 1;
  }
  kx_gen::putLittleEndian(data.data(), number, std::min<size_t>(data.size(), 4));
  return data;
}

void Rebuilder::Remember(const std::vector<unsigned char>& block) {
  const Bytes indent = ValueIn(block, format::kTagIndent);
  if (!indent.empty()) indentBefore_ = indent.front();
}

uint32_t Rebuilder::FreeCategoryId() {
  for (uint32_t id = format::kFirstCategoryId + 1; id <= format::kLastCategoryId; ++id) {
    if (categoryIds_[id]) continue;
    categoryIds_[id] = true;
    return id;
  }
  return format::kLastCategoryId;
}

}  // namespace kxo::salvage
