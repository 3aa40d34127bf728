#include "OutlineRecord.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "DibBlock.h"
#include "KXBitmap.h"
#include "MemAPI.h"
#include "RecordStore.h"
#include "TagAccess.h"

namespace kx_gen {

namespace {

// The plain accessors report under the class's name, what does more under the source's.
constexpr char kSource[] = "OutlineRecord";
constexpr char kSourceFile[] = ".\\OutlineRecord";
enum : int {
  kLineSetId = 31,
  kLineGetId,
  kLineSetIndent,
  kLineGetIndent,
  kLineSetText,
  kLineGetText,
  kLineDeleteText,
  kLineSetNote,
  kLineGetNote,
  kLineDeleteNote,
  kLineHasNote,
  kLineSetExpanded,
  kLineGetExpanded,
  kLineSetChecked,
  kLineGetChecked,
  kLineHasDrawing,
  kLineDeleteBitmap,
  kLineDrawingSize,
  kLineSetInternalId,
  kLineGetInternalId,
  kLineSetParentId,
  kLineGetParentId,
  kLineRecordChanged = 101,
  kLineChangedFields,
  kLineGetDrawing,
  kLineSetDrawing,
  kLineNewOutlineRecord = 121,
  kLineNewLinkedRecord,
};

constexpr long kNotStored = -1;  // mostly for want of memory

constexpr SourceLine at(int line) { return SourceLine{kSource, line}; }

constexpr uint32_t kTextTag = format::kStringTagBase + format::kStringText;
constexpr uint32_t kNoteTag = format::kStringTagBase + format::kStringNote;

constexpr FreshTag kFreshTags[] = {{format::kTagFlagByte, 1, 0},
                                   {format::kTagSortChanged, 1, 0},
                                   {format::kTagOutlineId, 4, 0},
                                   {format::kTagIndent, 1, 0},
                                   {format::kTagExpanded, 1, 1},
                                   {format::kTagChecked, 1, 0},
                                   {kTextTag, 1, 0},
                                   {kNoteTag, 1, 0}};
constexpr auto kFreshBlock =
    freshBlock<std::size(kFreshTags), freshBlockSize(kFreshTags)>(kFreshTags);

struct HeapFree {
  void operator()(void* block) const { std::free(block); }
};
using HeapBlock = std::unique_ptr<unsigned char, HeapFree>;

// A new handle with a copy of the block, which is freed; null when memory ran out.
OwnedHandle handleOf(HeapBlock block, unsigned long size) {
  OwnedHandle handle(MemAlloc(size));
  if (handle == nullptr) return nullptr;
  std::memcpy(MemGetPtr(handle.get()), block.get(), size);
  MemReleasePtr(handle.get());
  return handle;
}

}  // namespace

COutlineRecord::~COutlineRecord() = default;

void COutlineRecord::Init() {
  if (startWith(kFreshBlock.data(), kFreshBlock.size())) return;
  SetId(0);
  SetIndent(0);
  SetText(L"");
  SetNote(L"");
  SetExpanded(true);
  SetChecked(false);
}

void COutlineRecord::SetId(unsigned long id) {
  setNumber(getTaggedDataManager(), format::kTagOutlineId, static_cast<uint32_t>(id),
            at(kLineSetId));
}

unsigned long COutlineRecord::GetId() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagOutlineId, at(kLineGetId));
}

void COutlineRecord::SetIndent(unsigned char indent) {
  setNumber<uint8_t>(getTaggedDataManager(), format::kTagIndent, indent, at(kLineSetIndent));
}

unsigned char COutlineRecord::GetIndent() {
  return getNumber<uint8_t>(getTaggedDataManager(), format::kTagIndent, at(kLineGetIndent));
}

void COutlineRecord::SetText(const wchar_t* text) {
  setText(getTaggedDataManager(), format::kStringText, text, at(kLineSetText));
}

void COutlineRecord::GetText(_String& text) {
  getText(getTaggedDataManager(), format::kStringText, text, at(kLineGetText));
}

void COutlineRecord::DeleteText() {
  deleteTag(getTaggedDataManager(), kTextTag, at(kLineDeleteText));
  resize();
}

void COutlineRecord::SetNote(const wchar_t* note) {
  setText(getTaggedDataManager(), format::kStringNote, note, at(kLineSetNote));
}

void COutlineRecord::GetNote(_String& note) {
  getText(getTaggedDataManager(), format::kStringNote, note, at(kLineGetNote));
}

void COutlineRecord::DeleteNote() {
  deleteTag(getTaggedDataManager(), kNoteTag, at(kLineDeleteNote));
  resize();
}

bool COutlineRecord::HasNote() {
  return isTagPresent(getTaggedDataManager(), kNoteTag, at(kLineHasNote));
}

void COutlineRecord::SetExpanded(bool expanded) {
  setTruth(getTaggedDataManager(), format::kTagExpanded, expanded, at(kLineSetExpanded));
}

bool COutlineRecord::GetExpanded() {
  return getTruth(getTaggedDataManager(), format::kTagExpanded, at(kLineGetExpanded));
}

void COutlineRecord::SetChecked(bool checked) {
  setTruth(getTaggedDataManager(), format::kTagChecked, checked, at(kLineSetChecked));
}

bool COutlineRecord::GetChecked() {
  return getTruth(getTaggedDataManager(), format::kTagChecked, at(kLineGetChecked));
}

bool COutlineRecord::HasDrawing() {
  return isTagPresent(getTaggedDataManager(), format::kTagDrawing, at(kLineHasDrawing));
}

void COutlineRecord::DeleteBitmap() {
  deleteTag(getTaggedDataManager(), format::kTagDrawing, at(kLineDeleteBitmap));
  resize();
}

void* COutlineRecord::GetDrawing() {
  const SourceLine where = {kSourceFile, kLineGetDrawing};
  CTaggedDataManager& tags = getTaggedDataManager();
  unsigned long size = 0;
  checkResult(tags.getTagDataSize(format::kTagDrawing, &size), where);
  size = std::min(size, tags.size());  // a damaged length is found out when the value is copied
  HeapBlock drawing(static_cast<unsigned char*>(std::malloc(std::max(size, 1ul))));
  if (drawing == nullptr) return nullptr;
  checkResult(tags.getData(format::kTagDrawing, drawing.get(), &size, nullptr), where);
  if (size == 0) return nullptr;
  const OwnedHandle handle = handleOf(std::move(drawing), size);
  return handle != nullptr ? ConvertInternalFormatToDib(handle.get()) : nullptr;
}

void COutlineRecord::SetDrawing(void* dib) {
  OwnedHandle drawing = internalFormatOf(dib);
  if (drawing == nullptr) return;
  long result = 0;
  const void* const data = MemGetPtr(drawing.get());
  if (data != nullptr) {
    result = getTaggedDataManager().setData(format::kTagDrawing, data, MemGetSize(drawing.get()),
                                            nullptr, 0);
  }
  MemReleasePtr(drawing.get());
  drawing.reset();
  // That is passed over in silence: who then finds no drawing has the bitmap still.
  if (result != kNotStored) MemFree(dib);
  checkResult(result, {kSourceFile, kLineSetDrawing});
}

void COutlineRecord::GetDrawingSize(long& width, long& height) {
  width = 0;
  height = 0;
  if (!HasDrawing()) return;
  const auto* drawing = reinterpret_cast<const unsigned char*>(
      getTaggedDataManager().getDataPtr(format::kTagDrawing, format::kDrawingFixedSize));
  if (drawing == nullptr) {
    checkResult(kTagErrNotFound, at(kLineDrawingSize));
    return;
  }
  width = static_cast<int32_t>(getLe32(drawing + format::kDrawingWidthOffset));
  height = static_cast<int32_t>(getLe32(drawing + format::kDrawingHeightOffset));
}

// The id and the expanded flag are left out on purpose: folding or renumbering an item does not
// make it a changed one.
void COutlineRecord::updateRecordChanged() {
  const SourceLine where = {kSourceFile, kLineRecordChanged};
  CTaggedDataManager& tags = getTaggedDataManager();
  bool changed = isTagChanged(tags, format::kTagIndent, where) ||
                 isTagChanged(tags, kTextTag, where) || isTagChanged(tags, kNoteTag, where) ||
                 isTagChanged(tags, format::kTagChecked, where);
  if (!changed && HasDrawing()) changed = isTagChanged(tags, format::kTagDrawing, where);
  SetChanged(changed);
}

void COutlineRecord::UpdateChangedFields(COutlineRecord* other) {
  if (!kx_Check(other != nullptr, kSourceFile, kLineChangedFields)) return;
  const SourceLine where = {kSourceFile, kLineChangedFields};
  CTaggedDataManager& tags = getTaggedDataManager();
  setTagChanged(tags, format::kTagIndent, GetIndent() != other->GetIndent(), where);
  _String text;
  _String otherText;
  GetText(text);
  other->GetText(otherText);
  setTagChanged(tags, kTextTag, text != otherText, where);
  updateNoteChanged(other);
  setTagChanged(tags, format::kTagExpanded, GetExpanded() != other->GetExpanded(), where);
  setTagChanged(tags, format::kTagChecked, GetChecked() != other->GetChecked(), where);
}

void COutlineRecord::updateNoteChanged(COutlineRecord* other) {
  const SourceLine where = {kSourceFile, kLineChangedFields};
  const bool hasNote = HasNote();
  if (!other->HasNote()) {
    if (hasNote) {
      setTagChanged(getTaggedDataManager(), kNoteTag, true, where);
    } else {
      SetNote(L"");
    }
    return;
  }
  if (!hasNote) return;
  _String note;
  _String otherNote;
  GetNote(note);
  other->GetNote(otherNote);
  setTagChanged(getTaggedDataManager(), kNoteTag, note != otherNote, where);
}

CLinkedOutlRec::~CLinkedOutlRec() = default;

void CLinkedOutlRec::Init() {
  COutlineRecord::Init();
  setInternalId(0);
  setParentId(0);
}

void CLinkedOutlRec::setInternalId(unsigned long id) {
  setNumber(getTaggedDataManager(), format::kTagInternalId, static_cast<uint32_t>(id),
            at(kLineSetInternalId));
}

unsigned long CLinkedOutlRec::getInternalId() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagInternalId,
                             at(kLineGetInternalId));
}

void CLinkedOutlRec::setParentId(unsigned long id) {
  setNumber(getTaggedDataManager(), format::kTagParentId, static_cast<uint32_t>(id),
            at(kLineSetParentId));
}

unsigned long CLinkedOutlRec::getParentId() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagParentId, at(kLineGetParentId));
}

COutlineRecordset::~COutlineRecordset() = default;

CDBRecord* COutlineRecordset::CreateDBRecord() {
  return createRecord<COutlineRecord>({kSourceFile, kLineNewOutlineRecord});
}

CLinkedOutlRS::~CLinkedOutlRS() = default;

CDBRecord* CLinkedOutlRS::CreateDBRecord() {
  return createRecord<CLinkedOutlRec>({kSourceFile, kLineNewLinkedRecord});
}

}  // namespace kx_gen
