#include "salvage/Rows.h"

#include <algorithm>

#include "Exception.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

std::string StartTag() { return "the start tag " + Hex(format::kRowStartTag, format::kRowTagSize); }
std::string EndTag() { return "the end tag " + Hex(format::kRowEndTag, format::kRowTagSize); }

}  // namespace

void Rows::Read() {
  const bool areMissing = !area_.astray.empty() && AreMissing(file_, kind_, area_);
  for (const size_t offset : area_.astray) TakeAstray(offset, areMissing);
  TellBegin();
  while (pos_ < file_.size()) {
    NoticeEnd();
    if (IsBehindDeclared()) break;
    ReadNext();
  }
  NoticeEnd();
  TellMissing();
  teller_.GetTotals().rows = count_;
  if (count_ > 0) teller_.GetTotals().isDocument = true;
  if (pos_ < file_.size()) ReadLeftovers();
}

void Rows::TellBegin() {
  isLibraryHere_ = area_.libraryBegin == area_.begin;
  if (!area_.libraryBegin) return;
  if (Declared() == 0) {
    isLibraryDone_ = true;
    if (*area_.libraryBegin < file_.size()) TellBehind(*area_.libraryBegin);
  } else if (!isLibraryHere_) {
    teller_.Tell(WhatIsWrong(FrameAt(file_, *area_.libraryBegin)));
  }
}

bool Rows::AreMissing(Bytes file, Kind kind, const RowArea& area) {
  Reporter nobody;
  Teller teller(nobody);
  RowArea withoutAstray = area;
  withoutAstray.astray.clear();
  Rows(file, kind, withoutAstray, teller).Read();
  return teller.GetTotals().rows < area.declaredRows;
}

/// Where no row is missing, one in a slot is a leftover of something else.
void Rows::TakeAstray(size_t offset, bool isWanted) {
  const Frame frame = FrameAt(file_, offset);
  if (!isWanted) {
    TakeLeftover(frame);
    return;
  }
  teller_.Tell({Code::kRowAstray, true, offset, count_ + 1, 0, std::nullopt, 0,
                "the rest of a slot", "a row of " + CountedBytes(frame.End() - offset)});
  ++astrayCount_;
  ScanBlock(file_, frame.BlockBegin(), frame.BlockEnd(), block_);
  TakeFrame(frame);
  pos_ = area_.begin;
}

/// The library stops reading behind the last declared row.
void Rows::NoticeEnd() {
  if (!isLibraryHere_ || isLibraryDone_ || LibraryCount() < Declared()) return;
  isLibraryDone_ = true;
  if (pos_ < file_.size()) TellBehind(pos_);
}

bool Rows::IsBehindDeclared() const {
  return area_.isCountTrusted && !isBroken_ && certainCount_ >= Declared();
}

void Rows::TellBehind(size_t offset) {
  if (isBehindTold_) return;
  isBehindTold_ = true;
  teller_.Tell({Code::kBehindRows, false, offset, 0, 0, std::nullopt, 0,
                "the end of the file behind " + std::to_string(Declared()) +
                    (Declared() == 1 ? " row" : " rows"),
                CountedBytes(file_.size() - offset) + " more"});
}

/// The library does not come by the rows that went astray.
void Rows::TellMissing() {
  const size_t there = isLibraryHere_ ? LibraryCount() : count_;
  if (there >= Declared()) return;
  const int message = isLibraryHere_ ? static_cast<int>(kx_gen::kMsgReadError) : 0;
  teller_.Tell({Code::kRowsMissing, true, file_.size(), count_ + 1, 0, std::nullopt, message,
                std::to_string(Declared()) + (Declared() == 1 ? " row" : " rows") +
                    (there < count_ ? " where rows begin" : ""),
                std::to_string(there)});
}

Owner Rows::OwnerOf(size_t offset) const { return {fields_, offset, count_, 0, IsError()}; }

void Rows::ReadNext() {
  const Frame frame = FrameAt(file_, pos_);
  if (!frame.IsWhole()) {
    TakeStretch(WhatIsWrong(frame), NextLikelyRow(file_, pos_ + 1, file_.size()));
    return;
  }
  ScanBlock(file_, frame.BlockBegin(), frame.BlockEnd(), block_);
  size_t row = 0;
  if (IsFalseFrame(frame, row)) {
    TakeStretch(WrongLength(frame, row), row);
  } else {
    TakeFrame(frame);
  }
}

void Rows::Report(RowPart& part) {
  part.number = count_;
  if (certainCount_ > Declared()) {
    if (area_.isCountTrusted) part.place = RowPlace::kBeyond;
    TellBehind(part.offset);
  }
  teller_.GetReporter().OnRow(part);
}

// --- Framed rows ---

void Rows::TakeFrame(const Frame& frame) {
  ++count_;
  ++certainCount_;
  RowPart part;
  part.offset = frame.begin;
  part.isSound = CheckBlock(file_, block_, OwnerOf(frame.begin), teller_.GetSink());
  CheckCategoryId();
  part.block = file_.subspan(frame.BlockBegin(), frame.length);
  if (!part.isSound) {
    part.pieces = salvager_.FromBlock(frame.BlockBegin(), frame.BlockEnd());
    CountUnread(part, frame.BlockBegin(), frame.BlockEnd());
  }
  Report(part);
  pos_ = frame.End();
}

/// A damaged length, or one that is right while bytes are missing, may lead to the end tag of a
/// later row. Then the end of this row and a whole other one stand in the frame.
bool Rows::IsFalseFrame(const Frame& frame, size_t& row) {
  if (!MayBeFalse() || frame.length > searchLeft_) return false;
  searchLeft_ -= frame.length;
  for (row = frame.BlockBegin(); row < frame.BlockEnd(); ++row) {
    row = NextLikelyRow(file_, row, frame.BlockEnd());
    const bool followsRow = row >= frame.BlockBegin() + format::kRowTagSize &&
                            row < frame.BlockEnd() && IsRowEnd(file_, row - format::kRowTagSize);
    if (followsRow && FrameAt(file_, row).IsWhole()) return true;
  }
  return false;
}

/// Sound entries up to the end of the frame speak for it, unless the last one is a text that ends
/// early.
bool Rows::MayBeFalse() const {
  if (block_.stop != Stop::kEnd) return true;
  if (block_.entries.empty()) return false;
  const Entry& last = block_.entries.back();
  const Field* field = FindField(fields_, last.tag);
  return field != nullptr && field->type == FieldType::kText &&
         FindByte(file_, last.Value(), last.End(), 0) + 1 < last.End();
}

void Rows::CheckCategoryId() {
  if (kind_ != Kind::kCategory) return;
  for (const Entry& entry : block_.entries) {
    if (entry.tag != format::kTagCategoryId || entry.length != 4) continue;
    const uint32_t id = Number(file_, entry.Value());
    const bool isHandedOut = id >= format::kFirstCategoryId && id <= format::kLastCategoryId;
    if (id == format::kUnfiledCategoryId || isHandedOut) continue;
    teller_.Tell({Code::kCategoryId, false, entry.Value(), count_, 0, entry.tag, 0,
                  "0, or an id from " + std::to_string(format::kFirstCategoryId) + " to " +
                      std::to_string(format::kLastCategoryId),
                  std::to_string(id)});
  }
}

/// What the library would meet first. The row is the next one.
Finding Rows::WhatIsWrong(const Frame& frame) const {
  Finding finding = {Code::kRowCut,
                     IsError(),
                     frame.begin,
                     count_ + 1,
                     0,
                     std::nullopt,
                     kx_gen::kMsgReadError,
                     StartTag(),
                     Hex(file_, frame.begin, format::kRowTagSize)};
  if (!Holds(file_.size(), frame.begin, format::kRowTagSize)) return finding;
  if (!frame.hasStart) {
    finding.code = Code::kRowStart;
    finding.message = kx_gen::kMsgMissingNewRecord;
    return finding;
  }
  finding.offset = frame.begin + format::kRowTagSize;
  if (!frame.hasLength || !frame.fits) {
    finding.expected =
        frame.hasLength ? "a row of " + CountedBytes(frame.length) : "a row's length";
    finding.found = frame.hasLength ? CountedBytes(file_.size() - frame.BlockBegin())
                                    : Hex(file_, finding.offset, format::kRowLengthSize);
    return finding;
  }
  finding.offset = frame.BlockEnd();
  finding.expected = EndTag();
  finding.found = Hex(file_, finding.offset, format::kRowTagSize);
  if (!Holds(file_.size(), finding.offset, format::kRowTagSize)) return finding;
  finding.code = Code::kRowEnd;
  finding.message = kx_gen::kMsgMissingEndRecord;
  return finding;
}

/// Of a frame that goes on over other rows. The library takes it for one row.
Finding Rows::WrongLength(const Frame& frame, size_t row) const {
  return {Code::kRowLength,
          IsError(),
          frame.begin + format::kRowTagSize,
          count_ + 1,
          0,
          std::nullopt,
          0,
          "a row that ends ahead of the next one, at " + std::to_string(row),
          "a length of " + CountedBytes(frame.length)};
}

// --- Stretches without a frame ---

void Rows::TakeStretch(const Finding& finding, size_t end) {
  frameFinding_ = finding;
  toldTo_ = pos_;
  isCovered_ = true;
  salvager_.FromStretch(pos_, end, [this](const Fragment& fragment) { TakeFragment(fragment); });
  SkipTo(end);
  if (!isCovered_) isBroken_ = true;
  isLibraryHere_ = false;
  pos_ = end;
}

/// The bytes up to `offset` are part of no row.
void Rows::SkipTo(size_t offset) {
  if (frameFinding_) teller_.Tell(*frameFinding_);
  frameFinding_.reset();
  if (toldTo_ >= offset) return;
  isCovered_ = false;
  const Gap gap = {toldTo_, offset - toldTo_};
  toldTo_ = offset;
  teller_.Tell({Code::kGap, IsError(), gap.offset, 0, 0, std::nullopt, 0, "rows",
                CountedBytes(gap.size) + " of no row that can be read"});
  teller_.GetReporter().OnGap(gap);
}

void Rows::TakeFragment(const Fragment& fragment) {
  if (!IsWorthARow(fragment)) return;
  if (fragment.begin == pos_) TellFrame(fragment);
  // The front of a frame that cannot be read belongs to the row behind it.
  const bool hasFront = fragment.isStarted || toldTo_ + format::kRowFrontSize != fragment.begin ||
                        fragment.pieces.front().tag != format::kTagFlagByte;
  SkipTo(hasFront ? fragment.begin : toldTo_);
  toldTo_ = std::max(toldTo_, fragment.end);
  if (!fragment.isClosed) isCovered_ = false;
  ++count_;
  if (BeginsRow(fragment)) ++certainCount_;
  TakePart(fragment);
}

bool Rows::BeginsRow(const Fragment& fragment) const {
  return fragment.isStarted || fragment.pieces.front().tag == format::kTagFlagByte;
}

/// It has its place among the others, or text of its own.
bool Rows::IsWorthARow(const Fragment& fragment) const {
  if (BeginsRow(fragment)) return true;
  return std::any_of(fragment.pieces.begin(), fragment.pieces.end(), [this](const Piece& piece) {
    const Field* field = FindField(fields_, piece.tag);
    return field != nullptr && field->type != FieldType::kNumber;
  });
}

/// Where the row goes on to its end but its length leads elsewhere, the length is what is wrong.
void Rows::TellFrame(const Fragment& fragment) {
  if (!frameFinding_ || !fragment.isClosed || !IsRowStart(file_, pos_)) return;
  const size_t begin = pos_ + format::kRowFrontSize;
  const size_t length = fragment.end - format::kRowTagSize - begin;
  const uint32_t declared = Number(file_, pos_ + format::kRowTagSize);
  if (declared == length || !fragment.isVerbatim) return;
  frameFinding_->code = Code::kRowLength;
  frameFinding_->offset = pos_ + format::kRowTagSize;
  frameFinding_->expected = "a row of " + CountedBytes(length) + ", up to the end tag";
  frameFinding_->found = "a length of " + CountedBytes(declared);
}

void Rows::TakePart(const Fragment& fragment) {
  RowPart part;
  part.offset = fragment.begin;
  part.pieces = fragment.pieces;
  if (fragment.IsWhole()) {
    ScanBlock(file_, fragment.blockBegin, fragment.blockEnd, block_);
    part.isSound = CheckBlock(file_, block_, OwnerOf(fragment.begin), teller_.GetSink());
    part.block = file_.subspan(fragment.blockBegin, fragment.blockEnd - fragment.blockBegin);
  } else {
    teller_.Tell({Code::kRowPart, IsError(), fragment.begin, count_, 0, std::nullopt, 0,
                  "a whole row", "a part with " + NamesOf(fragment.pieces)});
  }
  const size_t frameEnd = fragment.isClosed ? format::kRowTagSize : 0;
  CountUnread(part, fragment.blockBegin, fragment.end - std::min(fragment.end, frameEnd));
  part.isEndLost = !fragment.isClosed;
  Report(part);
}

void Rows::CountUnread(RowPart& part, size_t begin, size_t end) {
  const auto count = [&part](size_t from, size_t to) {
    if (to <= from) return;
    if (part.unread == 0) part.unreadOffset = from;
    part.unread += to - from;
  };
  for (const Piece& piece : part.pieces) {
    count(begin, piece.header);
    begin = std::max(begin, piece.value + piece.length);
  }
  count(begin, end);
}

std::string Rows::NamesOf(std::span<const Piece> pieces) const {
  constexpr size_t kNamesMax = 16;
  std::string names;
  for (const Piece& piece : pieces.first(std::min(pieces.size(), kNamesMax))) {
    names += (names.empty() ? "" : ", ") + NameOfTag(fields_, piece.tag);
    if (piece.isCut) names += " (its beginning)";
  }
  return names + (pieces.size() > kNamesMax ? " and more" : "");
}

// --- Behind the declared rows ---

void Rows::ReadLeftovers() {
  while (pos_ < file_.size()) {
    pos_ = NextLikelyRow(file_, pos_, file_.size());
    if (pos_ == file_.size()) return;
    const Frame frame = FrameAt(file_, pos_);
    if (frame.IsWhole()) TakeLeftover(frame);
    pos_ = frame.IsWhole() ? frame.End() : pos_ + 1;
  }
}

void Rows::TakeLeftover(const Frame& frame) {
  const size_t number = count_ + ++teller_.GetTotals().leftovers;
  teller_.Tell({Code::kLeftover, false, frame.begin, number, 0, std::nullopt, 0,
                "no row outside the declared ones",
                "a row of " + CountedBytes(frame.End() - frame.begin)});
  ReportLeftover(frame, number);
}

void Rows::ReportLeftover(const Frame& frame, size_t number) {
  ScanBlock(file_, frame.BlockBegin(), frame.BlockEnd(), block_);
  RowPart part;
  part.number = number;
  part.offset = frame.begin;
  part.place = RowPlace::kLeftover;
  const Owner owner = {fields_, frame.begin, number, 0, false};
  part.isSound = CheckBlock(file_, block_, owner, [](const Finding&) {});
  part.block = file_.subspan(frame.BlockBegin(), frame.length);
  if (!part.isSound) {
    part.pieces = salvager_.FromBlock(frame.BlockBegin(), frame.BlockEnd());
    CountUnread(part, frame.BlockBegin(), frame.BlockEnd());
  }
  teller_.GetReporter().OnRow(part);
}

}  // namespace kxo::salvage
