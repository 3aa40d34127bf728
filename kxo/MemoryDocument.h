/// One memory outline file, on the library's memory outline database. What goes wrong is thrown as
/// a Failure that names the file and the place.
#pragma once

#include <filesystem>
#include <string>

#include "KX_FileIO.h"
#include "Outline.h"
#include "StoredFields.h"

namespace kxo {

class MemoryDocument : public kx_gen::CMemOutlDB {
 public:
  /// `name` is the file as messages call it.
  explicit MemoryDocument(std::string name);
  MemoryDocument(const MemoryDocument&) = delete;
  MemoryDocument& operator=(const MemoryDocument&) = delete;
  ~MemoryDocument() override;

  /// Opens the file for reading, while others may read too, and reads its rows.
  void OpenAndRead(const std::filesystem::path& file);
  /// The items as they are in memory: in the order of the file, at their stored levels.
  Outline GetItems(Lacking lacking);
  /// Takes the items as new rows.
  void TakeItems(const Outline& outline);
  const std::string& GetName() const { return name_; }

 private:
  std::string name_;
};

}  // namespace kxo
