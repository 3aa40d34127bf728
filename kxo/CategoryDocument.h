/// One category file, on the library's category database. What goes wrong is thrown as a Failure
/// that names the file and the place.
#pragma once

#include <filesystem>
#include <string>

#include "KX_FileIO.h"
#include "KxFormat.h"

namespace kxo {

class CategoryDocument : public kx_gen::CCategoryDB {
 public:
  /// `name` is the file as messages call it.
  explicit CategoryDocument(std::string name);
  CategoryDocument(const CategoryDocument&) = delete;
  CategoryDocument& operator=(const CategoryDocument&) = delete;
  ~CategoryDocument() override;

  /// Opens and reads the file; `mayEdit` as OpenToEdit of DatabaseFile.h, else for reading.
  void OpenAndRead(const std::filesystem::path& file, bool mayEdit);
  /// Saves everything as this file, so that it is the old or the new one whatever happens
  /// meanwhile. Without `mayReplace` there must not be an old one.
  void Save(const std::filesystem::path& file, bool mayReplace);

  void ReadExtraRows() override;
  /// The last id that was handed out, as the file had it: the database keeps it to itself.
  unsigned int GetLastIdRead() const { return lastIdRead_; }
  /// Where it stands in the file, with the new flag behind it where there is one.
  unsigned long ExtraOffset() { return getFirstRowStartPosReading(); }
  unsigned long ExtraSize() const { return extraSize_; }
  bool HasNewFlag() const { return GetVersionNum() > 0; }
  const std::string& GetName() const { return name_; }

  kx_gen::CCategoryRecord& Slot(size_t slot);
  size_t SlotCount() { return static_cast<size_t>(GetRecordset()->getSize()); }

 private:
  void CheckRows();

  std::string name_;
  unsigned long extraSize_ = 0;
  unsigned int lastIdRead_ = kx_gen::format::kFirstCategoryId;
};

/// UTF-8 of a category's name.
std::string CategoryNameOf(kx_gen::CCategoryRecord& category);

}  // namespace kxo
