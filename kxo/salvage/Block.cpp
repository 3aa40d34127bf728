#include "salvage/Block.h"

#include <algorithm>

#include "Exception.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

void ScanBlock(Bytes file, size_t begin, size_t end, Block& block) {
  block.begin = begin;
  block.end = end;
  block.entries.clear();
  block.stop = Stop::kEnd;
  size_t pos = begin;
  while (Holds(end, pos, format::kTagSize)) {
    if (!IsTag(file, pos, end)) {
      block.stop = Stop::kCode;
      break;
    }
    const Entry entry = EntryAt(file, pos);
    if (!Fits(entry, end)) {
      block.stop = Stop::kOverrun;
      break;
    }
    block.entries.push_back(entry);
    pos = entry.End();
  }
  block.stopOffset = pos;
}

namespace {

/// What a reader's search for a tag comes to. It ends at the first tag that is not lower.
struct Search {
  const Entry* entry = nullptr;  ///< Whole; null when there is none.
  int message = 0;               ///< What asking for its value throws.
  bool isCut = false;            ///< Nothing can be added at its place.
};

class Checker {
 public:
  Checker(Bytes file, const Block& block, const Owner& owner, const Sink& sink)
      : file_(file), block_(block), owner_(owner), sink_(sink) {}

  bool Check();

 private:
  Search Find(uint32_t tag) const;
  Search FindBehindEntries(uint32_t tag) const;
  bool IsStructureSound() const;
  void CheckField(const Field& field);
  void CheckValue(const Field& field, const Entry& entry);
  void CheckText(const Field& field, const Entry& entry);
  void CheckDrawing(const Field& field, const Entry& entry);
  void TellStructure();
  void TellOrder(bool& isFirst);
  void TellStop(bool& isFirst);
  void TellStructural(bool& isFirst, Finding finding);
  void Tell(Code code, int message, size_t offset, uint32_t tag, const std::string& expected,
            const std::string& found);

  Bytes file_;
  const Block& block_;
  const Owner& owner_;
  const Sink& sink_;
  bool isSound_ = true;
  bool isOrdered_ = true;
  int structureMessage_ = 0;  // of the first field that the structure keeps from the reader
  std::string kept_;          // the names of these fields
};

bool Checker::IsStructureSound() const { return isOrdered_ && block_.stop == Stop::kEnd; }

bool Checker::Check() {
  uint32_t previous = 0;
  for (const Entry& entry : block_.entries) {
    if (entry.tag <= previous) isOrdered_ = false;
    previous = entry.tag;
  }
  for (const Field& field : owner_.fields) CheckField(field);
  TellStructure();
  return isSound_;
}

Search Checker::Find(uint32_t tag) const {
  for (const Entry& entry : block_.entries) {
    if (entry.tag == tag) return {&entry, 0, false};
    if (entry.tag > tag) return {nullptr, kx_gen::kMsgDataNotFound, false};
  }
  return FindBehindEntries(tag);
}

Search Checker::FindBehindEntries(uint32_t tag) const {
  if (block_.stop == Stop::kCode) return {nullptr, kx_gen::kMsgDataCorruption, true};
  if (block_.stop == Stop::kEnd) return {nullptr, kx_gen::kMsgDataNotFound, false};
  const uint32_t last = EntryAt(file_, block_.stopOffset).tag;
  if (last == tag) return {nullptr, kx_gen::kMsgDataCorruption, true};
  return {nullptr, kx_gen::kMsgDataNotFound, last < tag};
}

void Checker::CheckField(const Field& field) {
  const Search search = Find(field.tag);
  if (search.entry != nullptr) {
    CheckValue(field, *search.entry);
    return;
  }
  const bool isAbsent = search.message == kx_gen::kMsgDataNotFound;
  const bool doesWithout = field.presence == Presence::kOptional ||
                           (field.presence == Presence::kAdded && !search.isCut);
  if (isAbsent && doesWithout) return;
  if (IsStructureSound()) {
    Tell(Code::kFieldAbsent, search.message, owner_.offset, field.tag, field.name, "none");
    return;
  }
  if (structureMessage_ == 0) structureMessage_ = search.message;
  kept_ += (kept_.empty() ? "" : ", ") + std::string(field.name);
}

void Checker::CheckValue(const Field& field, const Entry& entry) {
  if (field.type == FieldType::kText) {
    CheckText(field, entry);
  } else if (field.type == FieldType::kDrawing) {
    CheckDrawing(field, entry);
  } else if (entry.length > field.size) {
    Tell(Code::kFieldLong, kx_gen::kMsgDataOverflow, entry.offset, field.tag,
         std::string(field.name) + " of " + CountedBytes(field.size), CountedBytes(entry.length));
  }
}

void Checker::CheckText(const Field& field, const Entry& entry) {
  if (entry.length == 0) return;
  const size_t last = entry.End() - 1;
  if (file_[last] != 0) {
    Tell(Code::kTextEnd, kx_gen::kMsgDataCorruption, last, field.tag,
         std::string(field.name) + " that ends in 00", Hex(file_, last, 1));
    return;
  }
  const size_t null = FindByte(file_, entry.Value(), last, 0);
  if (null == last) return;
  Tell(Code::kTextNull, 0, null, field.tag, std::string(field.name) + " without 00 before its end",
       "00, and " + CountedBytes(last - null) + " that no reader sees");
}

void Checker::CheckDrawing(const Field& field, const Entry& entry) {
  const DrawingState state = StateOfDrawing(file_.subspan(entry.Value(), entry.length));
  if (state == DrawingState::kWhole) return;
  if (state == DrawingState::kOtherPixels) {
    Tell(Code::kDrawingPixels, 0, entry.Value(), field.tag, "as many pixels as the drawing says",
         "more or fewer");
    return;
  }
  const bool hasFront = entry.length >= format::kDrawingFixedSize;
  const int message = hasFront ? 0 : static_cast<int>(kx_gen::kMsgDataNotFound);
  Tell(Code::kDrawing, message, entry.Value(), field.tag, "a drawing that can be shown",
       CountedBytes(entry.length) + " whose lengths do not add up");
}

void Checker::Tell(Code code, int message, size_t offset, uint32_t tag, const std::string& expected,
                   const std::string& found) {
  const bool readsOn = code == Code::kTextNull || code == Code::kDrawingPixels;
  if (!readsOn) isSound_ = false;
  sink_({code, !readsOn && owner_.isError, offset, owner_.row, owner_.header, tag, message,
         expected, found});
}

/// What is wrong with the entries themselves. The first of these counts as what keeps fields from
/// the reader, where any are kept.
void Checker::TellStructure() {
  if (IsStructureSound()) return;
  isSound_ = false;
  bool isFirst = true;
  TellOrder(isFirst);
  TellStop(isFirst);
}

void Checker::TellStructural(bool& isFirst, Finding finding) {
  finding.row = owner_.row;
  finding.header = owner_.header;
  finding.error = isFirst && !kept_.empty() && owner_.isError;
  if (isFirst && !kept_.empty()) {
    finding.message = structureMessage_;
    finding.found += "; it hides " + kept_;
  }
  isFirst = false;
  sink_(finding);
}

void Checker::TellOrder(bool& isFirst) {
  uint32_t previous = 0;
  for (const Entry& entry : block_.entries) {
    if (entry.tag <= previous) {
      TellStructural(isFirst,
                     {Code::kTagOrder, false, entry.offset, 0, 0, entry.tag, 0,
                      "a tag above " + std::to_string(previous), std::to_string(entry.tag)});
    }
    previous = entry.tag;
  }
}

void Checker::TellStop(bool& isFirst) {
  const size_t offset = block_.stopOffset;
  if (block_.stop == Stop::kCode) {
    TellStructural(isFirst, {Code::kTagCode, false, offset, 0, 0, std::nullopt, 0,
                             "the tag code 74 61", Hex(file_, offset, 2)});
  } else if (block_.stop == Stop::kOverrun) {
    const Entry entry = EntryAt(file_, offset);
    TellStructural(isFirst, {Code::kTagOverrun, false, offset, 0, 0, entry.tag, 0,
                             "a value of at most " + CountedBytes(block_.end - entry.Value()),
                             CountedBytes(entry.length)});
  }
}

}  // namespace

bool CheckBlock(Bytes file, const Block& block, const Owner& owner, const Sink& sink) {
  return Checker(file, block, owner, sink).Check();
}

}  // namespace kxo::salvage
