/// A document that goes to standard output.
#pragma once

#include <filesystem>
#include <string>

#include "TemporaryFolder.h"

namespace kxo {

/// It is made as a file in a private folder, and copied from there once it is whole.
class PipedDocument {
 public:
  /// Throws a Failure where standard output is a terminal.
  PipedDocument();

  /// How messages call where it goes.
  static std::string GetName() { return "standard output"; }
  /// Of the file, which does not exist yet.
  std::filesystem::path GetPath() const { return folder_.GetPath() / "document"; }
  void Send() const;

 private:
  TemporaryFolder folder_;
};

}  // namespace kxo
