/// A document that the user names, to be read and nothing else.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Contents.h"
#include "FileKind.h"
#include "InputFile.h"
#include "Session.h"
#include "TemporaryFolder.h"

namespace kxo {

/// Where its bytes are: the file itself, or for "-" a private copy of standard input.
class InputPlace {
 public:
  InputPlace(const Session& session, const std::string& name);

  const std::string& GetName() const { return name_; }  ///< As messages call it.
  const std::filesystem::path& GetPath() const { return path_; }
  /// What kind of file it is, by its bytes.
  salvage::Kind LookForKind() const { return KindOfFile(name_, path_); }
  /// Reads what is shown of it; not of a category file.
  Outline ReadTree(salvage::Kind kind) const { return kxo::ReadTree(name_, path_, kind); }

 private:
  void CopyStandardInput(const Session& session);

  std::string name_;
  std::unique_ptr<TemporaryFolder> folder_;  // of the copy
  std::filesystem::path path_;
};

}  // namespace kxo
