/// A folder for what must be a file for a while.
#pragma once

#include <filesystem>
#include <system_error>

#include "Failure.h"
#include "System.h"

namespace kxo {

/// A fresh folder for this user alone, which goes away with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_(sys::MakeTemporaryFolder()) {
    if (path_.empty()) {
      throw Failure(kExitSystem, "no temporary folder can be made; set TMPDIR to one that can");
    }
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& GetPath() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace kxo
