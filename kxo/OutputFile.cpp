#include "OutputFile.h"

#include <algorithm>
#include <random>
#include <system_error>

#include "Failure.h"
#include "LibraryErrors.h"
#include "System.h"

namespace kxo {

namespace fs = std::filesystem;

using kx_gen::CFile;

namespace {

/// A name that nobody has in this folder.
fs::path FreshNameIn(const fs::path& folder) {
  std::random_device random;
  fs::path path;
  std::error_code error;
  do {
    path = folder / (".kxo-" + std::to_string(random()) + ".tmp");
  } while (fs::exists(fs::symlink_status(path, error)));
  return path;
}

/// A file that goes away with this object, unless it was given a name.
class FreshFile {
 public:
  explicit FreshFile(const fs::path& folder) : path_(FreshNameIn(folder)) {}
  FreshFile(const FreshFile&) = delete;
  FreshFile& operator=(const FreshFile&) = delete;
  ~FreshFile() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove(path_, ignored);
  }

  void Write(std::string_view bytes) const;
  void Rename(const std::string& name, const fs::path& path);

 private:
  fs::path path_;
};

void FreshFile::Write(std::string_view bytes) const {
  constexpr size_t kPieceSize = 1u << 20;
  const sys::LibraryName libraryName(path_);
  CFile file;
  file.Open(libraryName.get(), CFile::modeCreate | CFile::modeWrite | CFile::shareExclusive);
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kPieceSize, bytes.size()))) {
    file.Write(bytes.data(), static_cast<unsigned int>(std::min(kPieceSize, bytes.size())));
  }
  file.Close();
}

/// One that is replaced keeps its permissions.
void FreshFile::Rename(const std::string& name, const fs::path& path) {
  std::error_code error;
  const fs::file_status old = fs::status(path, error);
  if (fs::exists(old)) fs::permissions(path_, old.permissions(), error);
  fs::rename(path_, path, error);
  if (error) {
    throw FileFailure(kExitSystem, name, "cannot be written (" + error.message() + ")",
                      "check the permissions of the file and its folder");
  }
  path_.clear();
}

}  // namespace

void CheckPlace(const std::string& name, const fs::path& path, bool mayReplace) {
  std::error_code error;
  if (!fs::exists(fs::symlink_status(path, error))) return;
  if (!mayReplace) FailForExisting(name);
  if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
    throw FileFailure(kExitSystem, name, "this is not a regular file", "choose another with -o");
  }
}

void WriteFile(const std::string& name, const fs::path& path, std::string_view bytes,
               bool mayReplace) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);  // through links
  const fs::path place = error ? path : real;
  FreshFile file(place.parent_path());
  WhileWriting(name, [&] { file.Write(bytes); });
  CheckPlace(name, path, mayReplace);
  file.Rename(name, place);
}

}  // namespace kxo
