/// From an outline to a file in another format, with the pictures beside it.
#pragma once

#include <filesystem>
#include <string>

#include "formats/Format.h"

namespace kxo {

/// The file to be. What would be refused in the end is refused by the constructor, before the work.
class ExportTarget {
 public:
  /// `name` is the file as messages call it.
  ExportTarget(std::string name, std::filesystem::path path, bool mayReplace);
  /// Writes the pictures, and then the file that names them. What it was, for what there is to
  /// tell.
  Exported Write(const Format& format, const Contents& contents) const;

 private:
  std::string NameBeside(const PictureFile& picture) const;
  std::filesystem::path PlaceBeside(const PictureFile& picture) const;

  std::string name_;
  std::filesystem::path path_;
  bool mayReplace_;
};

}  // namespace kxo
