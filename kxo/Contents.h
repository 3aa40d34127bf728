/// All that a file of any kind holds, in memory.
#pragma once

#include <filesystem>
#include <string>

#include "Outline.h"
#include "salvage/Fields.h"

namespace kxo {

struct Contents {
  salvage::Kind kind = salvage::Kind::kOutline;
  Outline outline;          ///< Of an outline; of a memory outline its items alone.
  CategoryList categories;  ///< Of a category file.

  /// Items, or slots of categories.
  size_t CountItems() const;
  bool operator==(const Contents&) const = default;
};

/// Reads a file of this kind, as it stands there; never writes. `name` is what messages call it.
/// Throws a Failure that names the place.
Contents ReadContents(const std::string& name, const std::filesystem::path& file,
                      salvage::Kind kind);
/// Reads what is shown of an outline or a memory outline: the items in their tree, and the title of
/// one that has one. A field that a row lacks is damage. Throws a Failure, for a category file too.
Outline ReadTree(const std::string& name, const std::filesystem::path& file, salvage::Kind kind);
/// Saves a file that has the same rows and headers as the one that was read, byte for byte, so that
/// it is the old or the new one whatever happens meanwhile. Without `mayReplace` there must not be
/// an old one. Throws a Failure, and changes nothing, when a file cannot hold it.
void SaveContents(const std::string& name, const Contents& contents,
                  const std::filesystem::path& file, bool mayReplace);

}  // namespace kxo
