#include "RowChange.h"

#include <new>
#include <string>
#include <vector>

#include "KxFormat.h"
#include "Text.h"

namespace kxo {

namespace format = kx_gen::format;

using kx_gen::_String;
using kx_gen::COutlineRecord;
using kx_gen::CTaggedDataManager;

namespace {

constexpr uint32_t kTextTag = format::kStringTagBase + format::kStringText;
constexpr uint32_t kNoteTag = format::kStringTagBase + format::kStringNote;

void Check(long result) { CTaggedDataManager::ProcessError("RowChange", 0, result, nullptr); }

bool IsMarked(COutlineRecord& row, uint32_t tag) {
  bool isMarked = false;
  Check(row.getTaggedDataManager().getTagChanged(tag, &isMarked));
  return isMarked;
}

void Mark(COutlineRecord& row, uint32_t tag, bool isMarked) {
  Check(row.getTaggedDataManager().setTagChanged(tag, isMarked));
}

std::wstring TextOf(COutlineRecord& row) {
  _String text;
  row.GetText(text);
  return std::wstring(text);
}

std::wstring NoteOf(COutlineRecord& row) {
  _String note;
  if (row.HasNote()) row.GetNote(note);
  return std::wstring(note);
}

Difference DifferenceOf(COutlineRecord& row, COutlineRecord& before) {
  const bool sameContent = row.GetIndent() == before.GetIndent() && TextOf(row) == TextOf(before) &&
                           row.HasNote() == before.HasNote() && NoteOf(row) == NoteOf(before) &&
                           row.GetChecked() == before.GetChecked() &&
                           row.HasDrawing() == before.HasDrawing() &&
                           DrawingBlockOf(row) == DrawingBlockOf(before);
  if (!sameContent) return Difference::kContent;
  return row.GetExpanded() == before.GetExpanded() ? Difference::kNone : Difference::kFolding;
}

/// The library compares with the stored row, which may have marks that were not synchronised yet:
/// they stay.
void MarkFields(COutlineRecord& row, COutlineRecord& before) {
  row.UpdateChangedFields(&before);
  for (const uint32_t tag :
       {format::kTagIndent, kTextTag, format::kTagExpanded, format::kTagChecked}) {
    if (IsMarked(before, tag)) Mark(row, tag, true);
  }
  if (before.HasNote() && IsMarked(before, kNoteTag)) Mark(row, kNoteTag, true);
}

/// The library wants a note for that, so a row that has none gets one for so long.
void MarkRow(COutlineRecord& row, COutlineRecord& before) {
  const bool lacksNote = !row.HasNote();
  if (lacksNote) PutNote(row, "");
  MarkFields(row, before);
  if (lacksNote) Mark(row, kNoteTag, before.HasNote());
  row.updateRecordChanged();
  if (lacksNote) row.DeleteNote();
  // A drawing that is gone left no mark behind.
  const bool lostDrawing = before.HasDrawing() && !row.HasDrawing();
  if (before.IsChanged() || lostDrawing) row.SetChanged(true);
}

}  // namespace

Difference ChangeRow(COutlineRecord& row, const std::function<void(COutlineRecord&)>& change) {
  COutlineRecord before;
  before = row;
  change(row);
  const Difference difference = DifferenceOf(row, before);
  if (difference != Difference::kNone) MarkRow(row, before);
  return difference;
}

void PutText(COutlineRecord& row, const std::string& text) {
  const std::wstring wide = ToWide(text);
  row.SetText(wide.c_str());
  if (TextOf(row) != wide) throw std::bad_alloc();
}

void PutNote(COutlineRecord& row, const std::string& note) {
  const std::wstring wide = ToWide(note);
  row.SetNote(wide.c_str());
  if (!row.HasNote() || NoteOf(row) != wide) throw std::bad_alloc();
}

std::vector<unsigned char> DrawingBlockOf(COutlineRecord& row) {
  if (!row.HasDrawing()) return {};
  CTaggedDataManager& tags = row.getTaggedDataManager();
  unsigned long size = 0;
  Check(tags.getTagDataSize(format::kTagDrawing, &size));
  const char* const data = tags.getDataPtr(format::kTagDrawing, size);
  return data == nullptr ? std::vector<unsigned char>()
                         : std::vector<unsigned char>(data, data + size);
}

}  // namespace kxo
