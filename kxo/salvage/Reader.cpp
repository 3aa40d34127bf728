#include "salvage/Reader.h"

#include <algorithm>

#include "salvage/Frame.h"
#include "salvage/Front.h"
#include "salvage/Rows.h"
#include "salvage/Teller.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

/// What speaks for each kind. Its version is worth less than what its rows or headers show.
class KindVotes {
 public:
  explicit KindVotes(Bytes file) : file_(file) {}
  Kind Decide();
  std::optional<Kind> DecideByFront();

 private:
  Kind Leading() const;
  int Votes(Kind kind) const;
  void CountVersion();
  void CountTable();
  void CountExtra(size_t slotsEnd);
  void CountRows();
  void CountRow(const Block& block);

  Bytes file_;
  int outline_ = 0;
  int memory_ = 0;
  int category_ = 0;
  // Rows that look like a kind's.
  size_t outlineRows_ = 0;
  size_t memoryRows_ = 0;
  size_t categoryRows_ = 0;
};

constexpr int kVersionVotes = 3;
constexpr int kSameVersionVotes = 1;  // the older version of category files is that of outlines
constexpr int kShapeVotes = 4;
constexpr int kTableVotes = 2;

void KindVotes::CountVersion() {
  if (!Holds(file_.size(), format::kVersionOffset, 2)) return;
  const uint16_t version = ShortNumber(file_, format::kVersionOffset);
  if (version == format::kOutlineVersion) {
    outline_ += kVersionVotes;
    category_ += kSameVersionVotes;
  } else if (version == format::kCategoryVersion) {
    category_ += kVersionVotes;
  } else if (version == format::kMemOutlineVersion) {
    memory_ += kVersionVotes;
  }
}

void KindVotes::CountTable() {
  constexpr size_t kHeadersMax = 64;
  const size_t begin = format::kHeaderTablePos + format::kHeaderCountSize;
  if (IsLikelyRow(file_, format::kHeaderTablePos) ||
      IsHeadlessRow(file_, format::kHeaderTablePos)) {
    memory_ += kShapeVotes;
    return;
  }
  if (!Holds(file_.size(), format::kHeaderTablePos, format::kHeaderCountSize)) return;
  const size_t count = ShortNumber(file_, format::kHeaderTablePos);
  if (count > kHeadersMax || !Holds(file_.size(), begin, count * format::kHeaderRecordSize)) return;
  uint64_t slotsEnd = begin + count * format::kHeaderRecordSize;
  bool hasOutlineHeader = false;
  bool hasConduit = false;
  for (size_t i = 0; i < count; ++i) {
    const size_t entry = begin + i * format::kHeaderRecordSize;
    const uint16_t id = ShortNumber(file_, entry);
    const uint32_t size = Number(file_, entry + sizeof(id));
    const bool isOutlines = id != format::kConduitHeaderId && HeaderSize(Kind::kOutline, id) != 0;
    hasOutlineHeader |= isOutlines && size >= HeaderSize(Kind::kOutline, id);
    hasConduit |= id == format::kConduitHeaderId && size >= format::kConduitHeaderSize;
    slotsEnd += size;
  }
  if (hasOutlineHeader) {
    outline_ += kShapeVotes;
  } else if (hasConduit) {
    category_ += kTableVotes;
    if (slotsEnd < file_.size()) CountExtra(static_cast<size_t>(slotsEnd));
  }
}

/// What is no count of deleted ids is a last id.
void KindVotes::CountExtra(size_t slotsEnd) {
  if (!Holds(file_.size(), slotsEnd, format::kDeletedCountSize)) return;
  const uint32_t count = Number(file_, slotsEnd);
  const size_t ids = slotsEnd + format::kDeletedCountSize;
  if ((file_.size() - ids) / format::kDeletedIdSize < count) outline_ -= kVersionVotes;
}

void KindVotes::CountRows() {
  constexpr size_t kRowsMax = 64;
  Block block;
  size_t pos = format::kHeaderTablePos;
  for (size_t i = 0; i < kRowsMax; ++i) {
    pos = NextLikelyRow(file_, pos, file_.size());
    if (pos == file_.size()) break;
    const Frame frame = FrameAt(file_, pos);
    if (frame.IsWhole()) {
      ScanBlock(file_, frame.BlockBegin(), frame.BlockEnd(), block);
      CountRow(block);
    }
    pos = frame.IsWhole() ? frame.End() : pos + 1;
  }
  const size_t most = std::max({outlineRows_, memoryRows_, categoryRows_});
  if (most == 0) return;
  if (most == categoryRows_) {
    category_ += kShapeVotes;
  } else if (most == memoryRows_) {
    memory_ += kShapeVotes;
  } else {
    outline_ += kShapeVotes;
  }
}

void KindVotes::CountRow(const Block& block) {
  const auto has = [&block](uint32_t tag) {
    return std::any_of(block.entries.begin(), block.entries.end(),
                       [tag](const Entry& entry) { return entry.tag == tag; });
  };
  if (has(format::kStringTagBase + format::kStringCategoryRecordName) ||
      has(format::kTagLastChangedTime)) {
    ++categoryRows_;
  } else if (has(format::kTagInternalId) || has(format::kTagParentId)) {
    ++memoryRows_;
  } else if (has(format::kTagIndent) || has(format::kStringTagBase + format::kStringText)) {
    ++outlineRows_;
  }
}

Kind KindVotes::Decide() {
  CountVersion();
  CountTable();
  CountRows();
  return Leading();
}

/// Rows give votes to one kind at most.
std::optional<Kind> KindVotes::DecideByFront() {
  CountVersion();
  CountTable();
  const Kind leading = Leading();
  for (const Kind kind : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
    const bool mayWin = kind != leading && Votes(kind) + kShapeVotes >= Votes(leading);
    if (mayWin) return std::nullopt;
  }
  return leading;
}

Kind KindVotes::Leading() const {
  if (outline_ >= memory_ && outline_ >= category_) return Kind::kOutline;
  return memory_ > category_ ? Kind::kMemory : Kind::kCategory;
}

int KindVotes::Votes(Kind kind) const {
  if (kind == Kind::kOutline) return outline_;
  return kind == Kind::kMemory ? memory_ : category_;
}

}  // namespace

Kind GuessKind(Bytes file) { return KindVotes(file).Decide(); }

std::optional<Kind> KindByFront(Bytes front) { return KindVotes(front).DecideByFront(); }

Totals ReadFile(Bytes file, std::optional<Kind> kind, Reporter& reporter) {
  const Kind read = kind ? *kind : GuessKind(file);
  Overview overview;
  overview.kind = read;
  if (file.size() >= format::kDbInfoSize) {
    overview.version = ShortNumber(file, format::kVersionOffset);
    overview.declaredRows = Number(file, format::kRowCountOffset);
  }
  reporter.OnStart(overview);
  Teller teller(reporter);
  const RowArea area = Front(file, read, teller).Read();
  if (area.isReadable) Rows(file, read, area, teller).Read();
  Totals& totals = teller.GetTotals();
  if (totals.errors == 0) totals.isDocument = true;
  reporter.OnEnd(totals);
  return totals;
}

}  // namespace kxo::salvage
