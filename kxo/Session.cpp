#include "Session.h"

#include <system_error>

#include "Failure.h"
#include "System.h"

namespace kxo {

namespace fs = std::filesystem;

fs::path PathOf(const std::string& utf8) { return std::u8string(utf8.begin(), utf8.end()); }

std::string NameOf(const fs::path& path) {
  const std::u8string utf8 = path.u8string();
  return {utf8.begin(), utf8.end()};
}

Session::Session() {
  std::error_code error;
  start_ = fs::current_path(error);
  const fs::path state = sys::StateFolder();
  if (!state.empty() && sys::MakeWritableFolder(state)) {
    Enter(state);
    return;
  }
  temporary_ = sys::MakeTemporaryFolder();
  if (temporary_.empty()) {
    throw Failure(kExitSystem, "no folder can be written for the log; set TMPDIR to one that can");
  }
  Enter(temporary_);
}

Session::~Session() {
  if (temporary_.empty()) return;
  std::error_code ignored;
  fs::current_path(temporary_.root_path(), ignored);
  fs::remove_all(temporary_, ignored);
}

void Session::Enter(const fs::path& folder) {
  std::error_code error;
  fs::current_path(folder, error);
  if (error) throw FileFailure(kExitSystem, NameOf(folder), error.message());
}

fs::path Session::Absolute(const std::string& name) const {
  if (name.empty()) throw Failure(kExitSystem, "a file name is empty; name a file");
  fs::path path = PathOf(name);
  if (path.is_absolute()) return path;
  if (start_.empty()) {
    throw FileFailure(kExitSystem, name, "the current folder is gone", "give an absolute path");
  }
  return start_ / path;
}

fs::path Session::ExistingFile(const std::string& name) const {
  std::error_code error;
  fs::path path = fs::canonical(Absolute(name), error);
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
    throw FileFailure(kExitSystem, name, "there is no such file", "check the name");
  }
  if (error) throw FileFailure(kExitSystem, name, error.message());
  if (fs::is_directory(path, error)) {
    throw FileFailure(kExitSystem, name, "this is a folder", "name a file in it");
  }
  return path;
}

fs::path Session::PlaceForFile(const std::string& name) const {
  const fs::path path = Absolute(name);
  if (!path.has_filename() || path.filename() == "." || path.filename() == "..") {
    throw FileFailure(kExitSystem, name, "this names a folder", "name a file in it");
  }
  std::error_code error;
  const fs::path folder = fs::canonical(path.parent_path(), error);
  if (error) {
    throw FileFailure(kExitSystem, name, "its folder cannot be used (" + error.message() + ")",
                      "make the folder first, or name another");
  }
  return folder / path.filename();
}

}  // namespace kxo
