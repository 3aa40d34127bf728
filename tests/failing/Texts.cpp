#include "Texts.h"

#include <algorithm>
#include <cstring>

#include "Pictures.h"

namespace kx_failing {

using kx_gen::_String;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

namespace {

constexpr unsigned long kPictureEvery = 20;
constexpr unsigned long kDeletedIds = 5;

}  // namespace

Contents::Contents(unsigned long rows) : picture_(kx_test::picture(16, 12, 24)) {
  for (unsigned long i = 0; i < rows; ++i) {
    texts_.push_back(L"Item number " + std::to_wstring(i) + L", of a few words");
    notes_.emplace_back(i % 60, L'n');
  }
}

void* Contents::MakePicture() const {
  void* const handle = MemAlloc(static_cast<unsigned long>(picture_.size()));
  void* const data = handle != nullptr ? MemGetPtr(handle) : nullptr;
  if (data == nullptr) return nullptr;
  std::memcpy(data, picture_.data(), picture_.size());
  MemReleasePtr(handle);
  return handle;
}

void Contents::FillRow(COutlineRecord& row, unsigned long index) const {
  row.SetId(index + 1);
  row.SetIndent(static_cast<unsigned char>(index % 5));
  row.SetText(texts_[index].c_str());
  row.SetNote(notes_[index].c_str());
  row.SetExpanded(index % 2 == 0);
  row.SetChecked(index % 3 == 0);
  if (index % kPictureEvery != 0) return;
  void* const picture = MakePicture();
  if (picture == nullptr) return;
  row.SetDrawing(picture);
  // A bitmap for whose conversion there is no memory stays ours.
  if (!row.HasDrawing()) MemFree(picture);
}

void Contents::FillOutline(COutlineDB& db) const {
  db.DeleteAll(false);
  db.InitNewDatabase();
  db.SetOutlineTitle(L"A title that is longer than a string keeps in itself");
  db.SetCategoryName(L"A category that is longer than a string keeps in itself");
  db.SetSelectedIndex(3);
  db.SetOutlineWindowPos(WINDOWPLACEMENT{});
  for (unsigned long id = 1; id <= kDeletedIds; ++id) db.AddDeletedId(1000 + id);
  for (unsigned long i = 0; i < CountRows(); ++i) {
    FillRow(static_cast<COutlineRecord&>(*db.GetRecordset()->Append()), i);
  }
}

void Digest::Add(const void* data, size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (size_t i = 0; i < size; ++i) value_ = (value_ ^ bytes[i]) * 1099511628211u;
}

bool Digest::AddRow(COutlineRecord& row) {
  _String text;
  AddNumber(row.GetId());
  AddNumber(row.GetIndent());
  row.GetText(text);
  AddText(text);
  row.GetNote(text);
  AddText(text);
  AddNumber(row.GetChecked() ? 1 : 0);
  if (!row.HasDrawing()) return true;
  void* const drawing = row.GetDrawing();
  if (drawing == nullptr) return false;
  Add(MemGetPtr(drawing), MemGetSize(drawing));
  MemReleasePtr(drawing);
  MemFree(drawing);
  return true;
}

bool Digest::AddOutline(COutlineDB& db) {
  _String text;
  db.GetOutlineTitle(text);
  AddText(text);
  db.GetCategoryName(text);
  AddText(text);
  AddNumber(db.GetSelectedIndex());
  AddNumber(static_cast<unsigned long>(db.GetDeletedThoughts().GetCount()));
  return std::ranges::all_of(*db.GetRecordset(), [this](kx_gen::CDBRecord* row) {
    return AddRow(static_cast<COutlineRecord&>(*row));
  });
}

}  // namespace kx_failing
