#include "salvage/Front.h"

#include <algorithm>
#include <limits>

#include "Exception.h"
#include "salvage/Frame.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

constexpr size_t kTableEntriesOffset = format::kHeaderTablePos + format::kHeaderCountSize;
constexpr size_t kEntrySizeOffset = 2;  // in an entry of the table, behind the id
constexpr size_t kLastIdSize = 4;
constexpr size_t kNewFlagSize = 1;

/// The library keeps the size of the table in 16 bits.
uint64_t SlotsBegin(size_t entries) {
  const auto size =
      static_cast<uint16_t>(format::kHeaderCountSize + format::kHeaderRecordSize * entries);
  return static_cast<uint64_t>(format::kHeaderTablePos) + size;
}

bool IsFieldOf(uint16_t header, uint32_t tag, uint32_t length) {
  const Field* field = FindField(HeaderFields(header), tag);
  return field != nullptr && (field->type == FieldType::kText || field->size == length);
}

/// Whether one byte is all in which two numbers differ.
bool DifferInOneByte(uint32_t a, uint32_t b) {
  int count = 0;
  for (uint32_t rest = a ^ b; rest != 0; rest >>= 8) count += (rest & 0xFF) != 0 ? 1 : 0;
  return count == 1;
}

}  // namespace

void Front::Tell(Code code, int message, size_t offset, const std::string& expected,
                 const std::string& found) {
  teller_.Tell(
      {code, true, std::min(offset, file_.size()), 0, 0, std::nullopt, message, expected, found});
}

RowArea Front::Read() {
  RowArea area;
  if (!ReadInfo()) return area;
  if (HasHeaders(kind_)) ReadTable();
  slotsEnd_ = HasHeaders(kind_) ? slotsEnd_ : format::kHeaderTablePos;
  if (!isInfoSound_ && !IsDocument()) return area;
  if (HasHeaders(kind_) && !isTableReadable_) TellTableCut();
  CheckSlotSizes();
  const Place place = Locate();
  TellAstray(place);
  const size_t headersEnd = place.hasExtra ? place.extra : place.rows;
  CheckSlots(headersEnd);
  if (!isTableTrusted_) SearchHeaders(headersEnd);
  CheckExtra(place);
  ReportExtra(place);
  area.isReadable = true;
  area.begin = place.rows;
  FindAstray(place.rows, area);
  if (libraryPlace_) area.libraryBegin = libraryPlace_->rows;
  area.declaredRows = declaredRows_;
  // Without headers between them, what damaged the first row may have damaged the count too.
  const bool isAlone = !HasHeaders(kind_) && place.rows < file_.size() && !IsRowPlace(place.rows);
  const bool hasHeader = !HasHeaders(kind_) ||
                         std::any_of(table_.begin(), table_.end(), [this](const TableEntry& entry) {
                           return HeaderSize(kind_, entry.id) != 0;
                         });
  area.isCountTrusted = isInfoSound_ && isTableTrusted_ && hasHeader && !isAlone;
  return area;
}

// --- Information block ---

bool Front::ReadInfo() {
  if (file_.size() < format::kDbInfoSize) {
    Tell(Code::kTooShort, kx_gen::kMsgCheckCode, 0,
         "an information block of " + CountedBytes(format::kDbInfoSize),
         CountedBytes(file_.size()));
    return false;
  }
  version_ = ShortNumber(file_, format::kVersionOffset);
  declaredRows_ = Number(file_, format::kRowCountOffset);
  if (Number(file_, format::kCheckCodeOffset) != format::kCheckCode) {
    isInfoSound_ = false;
    unsigned char code[4];
    kx_gen::putLe32(code, format::kCheckCode);
    Tell(Code::kCheckCode, kx_gen::kMsgCheckCode, format::kCheckCodeOffset,
         "the check code " + Hex(code, sizeof(code)), Hex(file_, format::kCheckCodeOffset, 4));
  }
  if (!IsVersionOf(kind_, version_)) {
    isInfoSound_ = false;
    const bool isMemory = kind_ == Kind::kMemory;
    Tell(Code::kVersion, isMemory ? kx_gen::kMsgMemOutlineVersion : kx_gen::kMsgNewerVersion,
         format::kVersionOffset,
         "version " + std::to_string(NewestVersion(kind_)) + " of an " + NameOf(kind_),
         std::to_string(version_));
  }
  return true;
}

/// Whether a file without a sound information block has anything else of one of ours.
bool Front::IsDocument() {
  return Number(file_, format::kCheckCodeOffset) == format::kCheckCode || AreSlotsSane() ||
         NextLikelyRow(file_, format::kHeaderTablePos, file_.size()) < file_.size();
}

// --- Header table ---

void Front::ReadTable() {
  slotsEnd_ = file_.size();
  if (!Holds(file_.size(), format::kHeaderTablePos, format::kHeaderCountSize)) return;
  const size_t count = ShortNumber(file_, format::kHeaderTablePos);
  if (!Holds(file_.size(), kTableEntriesOffset, count * format::kHeaderRecordSize)) return;
  isTableReadable_ = true;
  std::vector<bool> seen(std::numeric_limits<uint16_t>::max() + 1u);
  std::vector<TableEntry> repeated;
  for (size_t i = 0; i < count; ++i) {
    const size_t offset = kTableEntriesOffset + i * format::kHeaderRecordSize;
    const uint16_t id = ShortNumber(file_, offset);
    const TableEntry entry = {offset, id, Number(file_, offset + kEntrySizeOffset), 0};
    (seen[id] ? repeated : table_).push_back(entry);
    seen[id] = true;
  }
  slotsEnd_ = SlotsBegin(table_.size());
  for (TableEntry& entry : table_) {
    entry.slot = slotsEnd_;
    slotsEnd_ += entry.size;
  }
  TellRepeated(repeated);
}

/// In one finding: a damaged count makes entries of all that follows.
void Front::TellRepeated(const std::vector<TableEntry>& repeated) {
  if (repeated.empty()) return;
  const TableEntry& first = repeated.front();
  std::string found = "header " + std::to_string(first.id) + " again";
  if (repeated.size() > 1) found += ", and " + std::to_string(repeated.size() - 1) + " more";
  teller_.Tell({Code::kTableRepeat, false, first.offset, 0, first.id, std::nullopt, 0,
                "each header once", found});
}

void Front::TellTableCut() {
  const size_t there = file_.size() - format::kHeaderTablePos;
  if (there < format::kHeaderCountSize) {
    Tell(Code::kTableCut, kx_gen::kMsgReadError, format::kHeaderTablePos, "the number of headers",
         Hex(file_, format::kHeaderTablePos, format::kHeaderCountSize));
    return;
  }
  const size_t count = ShortNumber(file_, format::kHeaderTablePos);
  Tell(
      Code::kTableCut, kx_gen::kMsgReadError, format::kHeaderTablePos,
      "a table of " + std::to_string(count) + " headers",
      "room for " + std::to_string((there - format::kHeaderCountSize) / format::kHeaderRecordSize));
}

void Front::CheckSlotSizes() {
  for (const TableEntry& entry : table_) {
    const uint32_t least = HeaderSize(kind_, entry.id);
    if (entry.size >= least) continue;
    teller_.Tell({Code::kSlotSmall, true, entry.offset + kEntrySizeOffset, 0, entry.id,
                  std::nullopt, kx_gen::kMsgHeaderSizeChanged,
                  "a slot of at least " + CountedBytes(least), CountedBytes(entry.size)});
  }
}

// --- Where things are ---

Front::Place Front::Locate() {
  if (!HasHeaders(kind_) || isTableReadable_) libraryPlace_ = PlaceAt(slotsEnd_);
  isTableTrusted_ = !HasHeaders(kind_) || isTableReadable_;
  if (libraryPlace_ && (IsRowPlace(libraryPlace_->rows) || IsWholeWithoutRows())) {
    return *libraryPlace_;
  }
  const size_t row = NextLikelyRow(file_, format::kHeaderTablePos, file_.size());
  if (row == file_.size()) return PlaceWithoutRows();
  if (!HasHeaders(kind_)) return libraryPlace_ ? *libraryPlace_ : Place{false, 0, 0, row};
  if (isTableReadable_ && IsTableLikely()) {
    if (const auto place = PlaceBefore(slotsEnd_, row)) return *place;
  }
  if (const auto place = PlaceByDefault(row)) {
    isTableTrusted_ = isTableReadable_ && slotsEnd_ == DefaultSlotsEnd();
    return *place;
  }
  isTableTrusted_ = isTableReadable_ && IsTableLikely();
  if (isTableTrusted_ && libraryPlace_ && libraryPlace_->rows <= row) return *libraryPlace_;
  return Place{false, 0, 0, row};
}

/// Whether a file that says it has no rows ends where they would begin. What looks like a row in
/// the slot of an unknown header is part of that header then.
bool Front::IsWholeWithoutRows() const {
  return isTableReadable_ && declaredRows_ == 0 && libraryPlace_->rows == file_.size() &&
         IsTableLikely();
}

Front::Place Front::PlaceWithoutRows() {
  isTableTrusted_ = isTableTrusted_ && IsTableLikely();
  if (libraryPlace_) return *libraryPlace_;
  return Place{false, 0, 0, file_.size()};
}

size_t Front::ExtraSize() const {
  if (kind_ == Kind::kOutline) return format::kDeletedCountSize;
  return version_ == 0 ? kLastIdSize : kLastIdSize + kNewFlagSize;
}

/// What a reader finds behind slots that end here; nothing when the file ends inside it.
std::optional<Front::Place> Front::PlaceAt(uint64_t slotsEnd) const {
  if (!HasHeaders(kind_)) return Place{false, 0, 0, format::kHeaderTablePos};
  if (slotsEnd > file_.size()) return std::nullopt;
  const auto extra = static_cast<size_t>(slotsEnd);
  if (!Holds(file_.size(), extra, ExtraSize())) return std::nullopt;
  if (kind_ == Kind::kCategory) return Place{true, extra, 0, extra + ExtraSize()};
  const uint32_t count = Number(file_, extra);
  const size_t rows = extra + format::kDeletedCountSize;
  if ((file_.size() - rows) / format::kDeletedIdSize < count) return std::nullopt;
  return Place{true, extra, count, rows + count * format::kDeletedIdSize};
}

/// The same when a row is known to stand at `row` and one byte of the count, or the version, may be
/// damaged.
std::optional<Front::Place> Front::PlaceBefore(uint64_t slotsEnd, size_t row) const {
  if (slotsEnd > row) return std::nullopt;
  const auto extra = static_cast<size_t>(slotsEnd);
  const size_t size = row - extra;
  if (kind_ == Kind::kCategory) {
    if (size != kLastIdSize && size != kLastIdSize + kNewFlagSize) return std::nullopt;
    return Place{true, extra, 0, row};
  }
  if (size < format::kDeletedCountSize || size % format::kDeletedIdSize != 0) return std::nullopt;
  const auto count =
      static_cast<uint32_t>((size - format::kDeletedCountSize) / format::kDeletedIdSize);
  if (!DifferInOneByte(count, Number(file_, extra))) return std::nullopt;
  return Place{true, extra, count, row};
}

std::optional<Front::Place> Front::PlaceByDefault(size_t row) const {
  const auto place = PlaceAt(DefaultSlotsEnd());
  if (place && IsRowPlace(place->rows)) return place;
  return AreDefaultSlotsSane() ? PlaceBefore(DefaultSlotsEnd(), row) : std::nullopt;
}

bool Front::AreDefaultSlotsSane() const {
  uint64_t slot = SlotsBegin(HeadersOf(kind_).size());
  for (const uint16_t id : HeadersOf(kind_)) {
    const uint32_t size = HeaderSize(kind_, id);
    if (!IsSlotSane({0, id, size, slot})) return false;
    slot += size;
  }
  return true;
}

uint64_t Front::DefaultSlotsEnd() const {
  uint64_t end = SlotsBegin(HeadersOf(kind_).size());
  for (const uint16_t id : HeadersOf(kind_)) end += HeaderSize(kind_, id);
  return end;
}

bool Front::IsRowPlace(size_t pos) const {
  return IsLikelyRow(file_, pos) || IsHeadlessRow(file_, pos);
}

bool Front::IsTableLikely() const { return AreSlotsSane() || slotsEnd_ == DefaultSlotsEnd(); }

bool Front::AreSlotsSane() const {
  const auto isKnown = [this](const TableEntry& entry) { return HeaderSize(kind_, entry.id) != 0; };
  return std::any_of(table_.begin(), table_.end(), isKnown) &&
         std::all_of(table_.begin(), table_.end(),
                     [&](const TableEntry& entry) { return !isKnown(entry) || IsSlotSane(entry); });
}

bool Front::IsSlotSane(const TableEntry& entry) const {
  if (entry.size < HeaderSize(kind_, entry.id) || entry.slot > file_.size()) return false;
  const auto slot = static_cast<size_t>(entry.slot);
  if (!Holds(file_.size(), slot, format::kSlotLengthSize)) return false;
  const uint32_t length = Number(file_, slot);
  const size_t block = slot + format::kSlotLengthSize;
  if (length > entry.size - format::kSlotLengthSize) return false;
  return Holds(file_.size(), block, length) && (length == 0 || IsTag(file_, block, block + length));
}

void Front::TellAstray(const Place& place) {
  if (isTableTrusted_ || !isTableReadable_ || place.rows == file_.size()) return;
  teller_.Tell({Code::kTableAstray, declaredRows_ > 0, format::kHeaderTablePos, 0, 0, std::nullopt,
                0, "a header table that leads to the first row, at " + std::to_string(place.rows),
                "one whose slots end at " + std::to_string(slotsEnd_)});
}

// --- Slots ---

void Front::CheckSlots(size_t headersEnd) {
  for (const TableEntry& entry : table_) {
    const bool isSound = HeaderSize(kind_, entry.id) == 0 || CheckSlot(entry);
    if (isTableTrusted_) Report(entry, isSound, headersEnd);
  }
}

/// As the library reads the slot. True when the block can be kept as it stands.
bool Front::CheckSlot(const TableEntry& entry) {
  const size_t slot = SumUpTo(file_.size(), 0, entry.slot);
  Finding cut = {Code::kSlotCut,
                 true,
                 slot,
                 0,
                 entry.id,
                 std::nullopt,
                 kx_gen::kMsgReadError,
                 "the length of the header's block",
                 Hex(file_, slot, format::kSlotLengthSize)};
  if (!Holds(file_.size(), slot, format::kSlotLengthSize)) {
    teller_.Tell(cut);
    return false;
  }
  const uint32_t length = Number(file_, slot);
  if (static_cast<uint64_t>(length) + format::kSlotLengthSize > entry.size) {
    teller_.Tell(
        {Code::kSlotLength, true, slot, 0, entry.id, std::nullopt, kx_gen::kMsgRecordedHeaderTooBig,
         "a block that fits its slot of " + CountedBytes(entry.size), CountedBytes(length)});
    return false;
  }
  const size_t begin = slot + format::kSlotLengthSize;
  if (!Holds(file_.size(), begin, length)) {
    cut.expected = "a block of " + CountedBytes(length);
    cut.found = CountedBytes(file_.size() - begin);
    teller_.Tell(cut);
    return false;
  }
  Block block;
  ScanBlock(file_, begin, begin + length, block);
  const Owner owner = {HeaderFields(entry.id), slot, 0, entry.id, true};
  const bool isSound = CheckBlock(file_, block, owner, teller_.GetSink());
  CheckFill(entry, begin + length);
  return isSound;
}

void Front::CheckFill(const TableEntry& entry, size_t used) {
  const size_t end = SumUpTo(file_.size(), 0, entry.slot + entry.size);
  size_t pos = used;
  while (pos < end && file_[pos] == 0) ++pos;
  if (pos >= end) return;
  fills_.push_back(pos);
  teller_.Tell({Code::kSlotFill, false, pos, 0, entry.id, std::nullopt, 0,
                "00 up to the end of the slot at " + std::to_string(end), Hex(file_, pos, 1)});
}

/// Rows, one behind the other, up to where the rows are looked for or to the end of the slot.
void Front::FindAstray(size_t rowsBegin, RowArea& area) const {
  if (fills_.empty()) return;
  size_t pos = NextLikelyRow(file_, fills_.front(), rowsBegin);
  while (pos < rowsBegin) {
    const Frame frame = FrameAt(file_, pos);
    const bool isRow = frame.IsWhole() && frame.End() <= rowsBegin;
    if (isRow) area.astray.push_back(pos);
    pos = NextLikelyRow(file_, isRow ? frame.End() : pos + 1, rowsBegin);
  }
}

/// Where bytes are missing ahead of a slot, its block stands elsewhere.
void Front::Report(const TableEntry& entry, bool isSound, size_t headersEnd) {
  const size_t slot = SumUpTo(file_.size(), 0, entry.slot);
  const size_t end = SumUpTo(file_.size(), 0, entry.slot + entry.size);
  HeaderPart part;
  part.id = entry.id;
  part.offset = slot;
  part.isKnown = HeaderSize(kind_, entry.id) != 0;
  part.isSound = isSound;
  part.slot = file_.subspan(slot, end - slot);
  const bool isInFile = entry.slot + entry.size <= file_.size();
  part.slotSize = isInFile ? entry.size : static_cast<uint32_t>(end - slot);
  Salvager salvager(file_, HeaderFields(entry.id));
  if (part.isKnown && isSound) {
    part.block = file_.subspan(slot + format::kSlotLengthSize, Number(file_, slot));
  } else if (part.isKnown && Holds(end, slot, format::kSlotLengthSize)) {
    part.pieces = salvager.FromBlock(slot + format::kSlotLengthSize, BlockEndOf(entry, end));
  }
  if (part.isKnown && !isSound) {
    const auto count =
        std::count_if(part.pieces.begin(), part.pieces.end(), [&](const Piece& piece) {
          return !piece.isCut && IsFieldOf(entry.id, piece.tag, piece.length);
        });
    if (ReportFound(entry.id, headersEnd, static_cast<size_t>(count))) return;
    if (part.pieces.empty()) {
      teller_.GetReporter().OnHeaderLost(entry.id);
      return;
    }
  }
  teller_.GetTotals().isDocument = true;
  teller_.GetReporter().OnHeader(part);
}

/// Of a damaged block: by its length, unless its entries lead further than that. Where bytes are
/// missing, rows may stand in its slot.
size_t Front::BlockEndOf(const TableEntry& entry, size_t slotEnd) const {
  const size_t begin = static_cast<size_t>(entry.slot) + format::kSlotLengthSize;
  slotEnd = NextLikelyRow(file_, begin, slotEnd);
  const uint32_t length = Number(file_, begin - format::kSlotLengthSize);
  if (!Holds(slotEnd, begin, length)) return slotEnd;
  Block block;
  ScanBlock(file_, begin, slotEnd, block);
  return std::max(begin + length, block.stopOffset);
}

// --- Headers whose place nothing tells ---

void Front::SearchHeaders(size_t end) {
  for (const uint16_t id : HeadersOf(kind_)) {
    const bool isFound = ReportFound(id, end, 1);
    if (!isFound && id != format::kConduitHeaderId) teller_.GetReporter().OnHeaderLost(id);
  }
}

/// Looks for a block with more than `count` of the header's fields.
bool Front::ReportFound(uint16_t id, size_t end, size_t count) {
  Block block;
  const bool isConduit = id == format::kConduitHeaderId;
  const bool isFound =
      isConduit ? !isTableTrusted_ && FindConduitBlock(block) : FindBlockOf(id, end, count, block);
  if (!isFound) return false;
  const size_t slot = block.begin - format::kSlotLengthSize;
  Salvager salvager(file_, HeaderFields(id));
  HeaderPart part;
  part.id = id;
  part.slotSize = HeaderSize(kind_, id);
  part.offset = slot;
  part.isKnown = true;
  const Owner owner = {HeaderFields(id), slot, 0, id, true};
  part.isSound = CheckBlock(file_, block, owner, [](const Finding&) {});
  part.block = file_.subspan(block.begin, block.end - block.begin);
  if (!part.isSound) part.pieces = salvager.FromBlock(block.begin, block.end);
  teller_.GetTotals().isDocument = true;
  teller_.GetReporter().OnHeader(part);
  return true;
}

/// The conduit header's fields are its own, so that only its usual place tells it.
bool Front::FindConduitBlock(Block& block) const {
  const size_t count = isTableReadable_ ? table_.size() : HeadersOf(kind_).size();
  const auto slot = static_cast<size_t>(SlotsBegin(count));
  if (!Holds(file_.size(), slot, format::kSlotLengthSize)) return false;
  const uint32_t length = Number(file_, slot);
  const size_t begin = slot + format::kSlotLengthSize;
  if (length == 0 || length > format::kConduitHeaderSize - format::kSlotLengthSize) return false;
  if (!Holds(file_.size(), begin, length)) return false;
  ScanBlock(file_, begin, begin + length, block);
  return block.stop == Stop::kEnd && !block.entries.empty();
}

/// The block ahead of `end` whose length is right and that has most of the header's fields.
bool Front::FindBlockOf(uint16_t id, size_t end, size_t count, Block& best) const {
  constexpr size_t kEntriesMax = 1u << 20;  // looked at in all
  size_t bestScore = count;
  size_t entriesSeen = 0;
  Block block;
  for (size_t pos = SlotsBegin(0); pos < end && entriesSeen < kEntriesMax; ++pos) {
    const size_t begin = pos + format::kSlotLengthSize;
    if (!IsTag(file_, begin, end)) continue;
    const uint32_t length = Number(file_, pos);
    if (!Holds(end, begin, length)) continue;
    ScanBlock(file_, begin, begin + length, block);
    entriesSeen += block.entries.size();
    const size_t score = block.stop == Stop::kEnd ? ScoreOf(block, id) : 0;
    if (score <= bestScore || IsOfOtherHeader(block, id, score)) continue;
    bestScore = score;
    std::swap(best, block);
  }
  return bestScore > count;
}

/// Headers share the numbers of their tags.
bool Front::IsOfOtherHeader(const Block& block, uint16_t id, size_t score) const {
  const auto headers = HeadersOf(kind_);
  return std::any_of(headers.begin(), headers.end(),
                     [&](uint16_t other) { return other != id && ScoreOf(block, other) >= score; });
}

size_t Front::ScoreOf(const Block& block, uint16_t id) const {
  return static_cast<size_t>(
      std::count_if(block.entries.begin(), block.entries.end(),
                    [id](const Entry& entry) { return IsFieldOf(id, entry.tag, entry.length); }));
}

// --- Between slots and rows ---

void Front::CheckExtra(const Place& place) {
  if (!HasHeaders(kind_) || !isTableReadable_) return;
  const size_t extra = SumUpTo(file_.size(), 0, slotsEnd_);
  const bool isOutline = kind_ == Kind::kOutline;
  if (!Holds(file_.size(), extra, ExtraSize())) {
    Tell(Code::kExtraCut, kx_gen::kMsgReadError, extra,
         isOutline ? "the number of deleted ids" : "the last id and the new flag",
         Hex(file_, extra, ExtraSize()));
  } else if (!libraryPlace_) {
    Tell(Code::kExtraCut, kx_gen::kMsgReadError, extra,
         std::to_string(Number(file_, extra)) + " deleted ids",
         "room for " +
             std::to_string((file_.size() - extra - ExtraSize()) / format::kDeletedIdSize));
  }
  const bool hasOtherCount =
      isOutline && place.hasExtra && place.extra == extra && Number(file_, extra) != place.idCount;
  if (!hasOtherCount) return;
  teller_.Tell({Code::kIdCount, declaredRows_ > 0, extra, 0, 0, std::nullopt, 0,
                std::to_string(place.idCount) + " deleted ids, up to the first row",
                std::to_string(Number(file_, extra))});
}

void Front::ReportExtra(const Place& place) {
  ExtraPart part;
  part.isFound = place.hasExtra;
  part.offset = place.extra;
  if (place.hasExtra && kind_ == Kind::kOutline) {
    part.deletedIds = file_.subspan(place.extra + format::kDeletedCountSize,
                                    place.idCount * format::kDeletedIdSize);
  } else if (place.hasExtra) {
    part.lastId = Number(file_, place.extra);
    if (place.rows - place.extra > kLastIdSize) part.newFlag = file_[place.extra + kLastIdSize];
  }
  if (HasHeaders(kind_)) teller_.GetReporter().OnExtra(part);
}

}  // namespace kxo::salvage
