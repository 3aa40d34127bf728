#include "salvage/Salvager.h"

#include <algorithm>

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

constexpr int64_t kSectorSize = 512;

/// The next byte that may begin a tag or a frame.
size_t NextMark(Bytes file, size_t pos, size_t end) {
  const auto tagMark = static_cast<unsigned char>(format::kTagCode & 0xFF);
  const unsigned char rowMark = format::kRowStartTag[0];
  static_assert(format::kRowStartTag[0] == format::kRowEndTag[0], "one mark serves both");
  while (pos < end && file[pos] != tagMark && file[pos] != rowMark) ++pos;
  return pos;
}

}  // namespace

bool Fragment::IsWhole() const {
  const bool hasFront = isStarted || pieces.front().tag == format::kTagFlagByte;
  return isClosed && isVerbatim && hasFront;
}

std::span<const Piece> Salvager::FromBlock(size_t begin, size_t end) {
  Start(false, end);
  Open(begin, false);
  Walk(begin);
  if (runs_.back().end == end || !Mend(runs_.back().end, end, 0)) FlushCut(end);
  return pieces_;
}

void Salvager::FromStretch(size_t begin, size_t end, const Emit& emit) {
  emit_ = &emit;
  Start(true, end);
  // The start tag may be damaged where everything else of the row is in its place.
  const bool isRow = IsRowStart(file_, begin) || IsTag(file_, begin + format::kRowFrontSize, end);
  if (isRow && Holds(end, begin, format::kRowFrontSize)) {
    Open(begin, true);
    begin += format::kRowFrontSize;
  }
  Walk(begin);
  Close(end, false);
}

void Salvager::Start(bool isStretch, size_t end) {
  isStretch_ = isStretch;
  end_ = end;
  isOpen_ = false;
  pieces_.clear();
  runs_.clear();
  cut_.reset();
}

void Salvager::Walk(size_t pos) {
  while (pos < end_) {
    if (isStretch_ && TakeFrame(pos)) continue;
    if (TakeEntry(pos)) continue;
    pos = NextMark(file_, pos + 1, end_);
  }
}

bool Salvager::TakeFrame(size_t& pos) {
  if (IsRowEnd(file_, pos) || (isOpen_ && IsDeclaredEnd(pos) && runs_.back().end == pos)) {
    Close(pos, true);
    pos = SumUpTo(end_, pos, format::kRowTagSize);
    return true;
  }
  if (!IsRowStart(file_, pos) || !Holds(end_, pos, format::kRowFrontSize)) return false;
  Close(pos, false);
  Open(pos, true);
  pos += format::kRowFrontSize;
  return true;
}

bool Salvager::IsDeclaredEnd(size_t pos) const { return isStarted_ && pos == declaredEnd_; }

bool Salvager::TakeEntry(size_t& pos) {
  if (!IsTag(file_, pos, end_)) return false;
  const Entry entry = EntryAt(file_, pos);
  if (entry.tag == 0) return false;
  if (const auto length = BelievedLength(entry)) {
    Add({entry.tag, entry.offset, entry.Value(), *length, false});
    if (*length != entry.length) runs_.back().isVerbatim = false;
    pos = entry.Value() + *length;
  } else {
    RememberCut(entry);
    pos = entry.Value();
  }
  return true;
}

/// How long the entry's value is, where something besides its own length says so.
std::optional<uint32_t> Salvager::BelievedLength(const Entry& entry) {
  const auto natural = NaturalLength(entry, end_);
  if (natural == entry.length) return natural;
  if (natural && MayFollow(entry.Value() + *natural)) return natural;
  if (Fits(entry, end_) && MayFollow(entry.End())) return entry.length;
  return std::nullopt;
}

/// Whether what stands at `pos` is what stands behind an entry.
bool Salvager::MayFollow(size_t pos) const {
  if (IsTag(file_, pos, end_)) return true;
  if (isStretch_) return IsRowEnd(file_, pos) || (isOpen_ && IsDeclaredEnd(pos));
  return pos == end_;
}

/// The length that a known field's value has by itself; nothing when it does not fit.
std::optional<uint32_t> Salvager::NaturalLength(const Entry& entry, size_t end) {
  const Field* field = FindField(fields_, entry.tag);
  if (field == nullptr) return std::nullopt;
  const size_t value = entry.Value();
  if (field->type == FieldType::kDrawing) {
    if (!Fits(entry, end) || !HasSizeOfDrawing(file_.subspan(value, entry.length))) return {};
    return entry.length;
  }
  if (field->type == FieldType::kNumber) {
    return Holds(end, value, field->size) ? std::optional(field->size) : std::nullopt;
  }
  const size_t null = FindNull(value, end);
  if (null >= end) return std::nullopt;
  return static_cast<uint32_t>(null + 1 - value);
}

/// Asked about places that mostly grow: each byte is looked at once.
size_t Salvager::FindNull(size_t pos, size_t end) {
  if (pos < nullFrom_ || pos > nullAt_) {
    nullFrom_ = pos;
    nullAt_ = FindByte(file_, pos, file_.size(), 0);
  }
  return std::min(nullAt_, end);
}

/// A text whose length nothing confirms may yet be read from its beginning on.
void Salvager::RememberCut(const Entry& entry) {
  if (cut_) return;
  const Field* field = FindField(fields_, entry.tag);
  if (field == nullptr || field->type != FieldType::kText) return;
  const size_t there = end_ - entry.Value();
  const auto length = static_cast<uint32_t>(std::min<size_t>(there, entry.length));
  cut_ = Piece{entry.tag, entry.offset, entry.Value(), length, true};
}

void Salvager::Add(const Piece& piece) {
  if (isStretch_ && isOpen_ && piece.tag <= LastTag()) Close(piece.header, false);
  if (!isOpen_) Open(piece.header, false);
  if (runs_.back().end != piece.header && !Mend(runs_.back().end, piece.header, piece.tag)) {
    FlushCut(piece.header);
    runs_.push_back({pieces_.size(), piece.header, piece.header, true});
  }
  cut_.reset();
  pieces_.push_back(piece);
  runs_.back().end = piece.value + piece.length;
}

/// One entry of which code or length is damaged fills a gap exactly.
bool Salvager::Mend(size_t begin, size_t end, uint32_t tagAbove) {
  if (end < begin || end - begin < format::kTagSize) return false;
  const Entry entry = EntryAt(file_, begin);
  const size_t length = end - entry.Value();
  if (entry.tag <= LastTag() || (tagAbove != 0 && entry.tag >= tagAbove)) return false;
  const bool isText = FindByte(file_, entry.Value(), end, 0) + 1 == end;
  const Field* field = FindField(fields_, entry.tag);
  const bool isNatural =
      field != nullptr && (field->type == FieldType::kText ? isText : field->size == length);
  if (entry.length != length && !isNatural) return false;
  pieces_.push_back({entry.tag, begin, entry.Value(), static_cast<uint32_t>(length), false});
  runs_.back().end = end;
  runs_.back().isVerbatim = false;
  cut_.reset();
  return true;
}

void Salvager::FlushCut(size_t limit) {
  if (!cut_ || cut_->value > limit) return;
  Piece piece = *cut_;
  cut_.reset();
  piece.length = static_cast<uint32_t>(std::min<size_t>(piece.length, limit - piece.value));
  if (!isOpen_) Open(piece.header, false);
  if (piece.tag <= LastTag()) return;
  pieces_.push_back(piece);
  runs_.back().isVerbatim = false;
}

void Salvager::Open(size_t begin, bool isStarted) {
  isOpen_ = true;
  isStarted_ = isStarted;
  begin_ = begin;
  pieces_.clear();
  runs_.clear();
  const size_t block = isStarted ? begin + format::kRowFrontSize : begin;
  if (isStarted) {
    declaredEnd_ = static_cast<uint64_t>(block) + Number(file_, begin + format::kRowTagSize);
  }
  runs_.push_back({0, block, block, true});
}

/// The open row, if there is one, ends at `pos`, or somewhere before it.
void Salvager::Close(size_t pos, bool isClosed) {
  if (isOpen_ && runs_.back().end != pos) Mend(runs_.back().end, pos, 0);
  FlushCut(pos);
  if (isOpen_) EmitRuns(pos, isClosed);
  isOpen_ = false;
  pieces_.clear();
  runs_.clear();
}

void Salvager::EmitRuns(size_t pos, bool isClosed) {
  if (runs_.size() > 1 && BelongTogether(pos, isClosed)) {
    runs_.resize(1);
    runs_.back().isVerbatim = false;
  }
  for (size_t i = 0; i < runs_.size(); ++i) EmitRun(i, pos, isClosed);
}

void Salvager::EmitRun(size_t index, size_t pos, bool isClosed) {
  const Run& run = runs_[index];
  const bool isLast = index + 1 == runs_.size();
  const size_t behind = isLast ? pieces_.size() : runs_[index + 1].firstPiece;
  if (behind == run.firstPiece) return;
  Fragment fragment;
  fragment.isStarted = index == 0 && isStarted_;
  fragment.begin = fragment.isStarted ? begin_ : run.begin;
  fragment.isClosed = isLast && isClosed;
  const Piece& last = pieces_[behind - 1];
  fragment.end = fragment.isClosed ? SumUpTo(end_, pos, format::kRowTagSize)
                                   : std::max(run.end, last.value + last.length);
  fragment.isVerbatim = run.isVerbatim;
  fragment.blockBegin = run.begin;
  fragment.blockEnd = run.end;
  fragment.pieces = std::span(pieces_).subspan(run.firstPiece, behind - run.firstPiece);
  (*emit_)(fragment);
}

/// Whether pieces with something unreadable between them are of one row: when its length leads to
/// its end, or to as many bytes beside it as its last entry before the damage is longer or shorter.
/// Only whole sectors are believed to have come between: of rows that are alike, the beginning of
/// one and the end of another one seem to belong together too.
bool Salvager::BelongTogether(size_t pos, bool isClosed) const {
  if (!isStarted_ || !isClosed) return false;
  return pos == declaredEnd_ || (runs_.size() == 2 && HasShiftedTail(pos));
}

bool Salvager::HasShiftedTail(size_t pos) const {
  const auto shift = static_cast<int64_t>(pos) - static_cast<int64_t>(declaredEnd_);
  const size_t tail = runs_[1].begin;
  const size_t head = runs_[0].end;
  const auto between = static_cast<int64_t>(tail) - static_cast<int64_t>(head);
  if (shift > 0 && shift % kSectorSize != 0) return false;
  if (between == shift) return true;
  if (!IsTag(file_, head, tail)) return false;
  return static_cast<int64_t>(format::kTagSize) + EntryAt(file_, head).length + shift == between;
}

}  // namespace kxo::salvage
