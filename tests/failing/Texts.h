/// Rows and headers for the operations: made before anything fails.
#pragma once

#include <string>
#include <vector>

#include "KX_FileIO.h"
#include "KxTest.h"

namespace kx_failing {

/// Texts, notes and a picture for as many rows.
class Contents {
 public:
  explicit Contents(unsigned long rows);
  unsigned long CountRows() const { return static_cast<unsigned long>(texts_.size()); }
  const wchar_t* TextOf(unsigned long row) const { return texts_[row].c_str(); }

  /// Sets every field of a row; every twentieth gets the picture.
  void FillRow(kx_gen::COutlineRecord& row, unsigned long index) const;
  /// Sets headers, deleted ids and rows of an outline, in place of those that it has.
  void FillOutline(kx_gen::COutlineDB& db) const;
  /// A new handle with the picture; null when memory ran out.
  void* MakePicture() const;

 private:
  std::vector<std::wstring> texts_;
  std::vector<std::wstring> notes_;
  kx_test::Bytes picture_;
};

/// All that a database's rows and headers hold, as one number. Asks for every value.
class Digest {
 public:
  void Add(const void* data, size_t size);
  void AddNumber(unsigned long number) { Add(&number, sizeof(number)); }
  void AddText(const kx_gen::_String& text) { Add(text.data(), text.size() * sizeof(wchar_t)); }
  /// False when there was no memory for a drawing, which is then null.
  bool AddRow(kx_gen::COutlineRecord& row);
  bool AddOutline(kx_gen::COutlineDB& db);
  uint64_t Get() const { return value_; }

 private:
  uint64_t value_ = 14695981039346656037u;
};

}  // namespace kx_failing
