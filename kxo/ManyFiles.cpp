#include "ManyFiles.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "InputFile.h"
#include "Output.h"
#include "Text.h"

namespace kxo {

namespace fs = std::filesystem;

namespace {

bool IsDocumentName(const fs::path& path) { return LowerCase(NameOf(path.extension())) == ".kxo"; }

}  // namespace

ManyFiles::ManyFiles(const Session& session, const std::vector<std::string>& paths) {
  for (const std::string& name : paths) {
    std::error_code error;
    const bool isFolder =
        name != kStandardStream && fs::is_directory(session.Absolute(name), error);
    if (isFolder) {
      AddFolder(name, session.Absolute(name));
    } else {
      AddFile(name);
    }
  }
}

void ManyFiles::AddFile(const std::string& name) {
  const auto isThere = [this, &name] {
    return std::find(names_.begin(), names_.end(), name) != names_.end();
  };
  if (name == kStandardStream && isThere()) {
    throw Failure(kExitSystem, "standard input is named twice; it can be read once");
  }
  names_.push_back(name);
}

/// Folders that cannot be read are told of like files.
void ManyFiles::AddFolder(const std::string& name, const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> folders;
  std::vector<std::string> found;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    const fs::path& path = entry->path();
    // Links to folders might lead in circles.
    if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
      folders.push_back(path.filename());
    } else if (IsDocumentName(path) && !entry->is_directory(ignored)) {
      found.push_back(NameOf(PathOf(name) / path.filename()));
    }
  }
  if (error) AddTrouble(name, FileFailure(kExitSystem, name, error.message()));
  std::sort(found.begin(), found.end());
  names_.insert(names_.end(), found.begin(), found.end());
  std::sort(folders.begin(), folders.end());
  for (const fs::path& below : folders) AddFolder(NameOf(PathOf(name) / below), folder / below);
}

void ManyFiles::ForEach(const std::function<void(const std::string&)>& use) {
  for (const std::string& name : names_) {
    try {
      use(name);
    } catch (const Failure& failure) {
      AddTrouble(InputName(name), failure);
    }
  }
}

void ManyFiles::AddTrouble(const std::string& name, const Failure& failure) {
  troubles_.push_back({name, failure.GetExitCode(), failure.what()});
}

Json ManyFiles::JsonOfFailures() const {
  Json failures = Json::array();
  for (const Trouble& trouble : troubles_) {
    Json failure = Json::object();
    failure["file"] = trouble.name;
    failure["failure"] = trouble.line;
    failures.push_back(std::move(failure));
  }
  return failures;
}

ExitCode ManyFiles::CommonCode() const {
  const ExitCode first = troubles_.front().exitCode;
  const bool isCommon = std::all_of(troubles_.begin(), troubles_.end(),
                                    [first](const Trouble& t) { return t.exitCode == first; });
  return isCommon ? first : kExitSystem;
}

void ManyFiles::End() const {
  if (troubles_.empty()) return;
  const bool allFailed = troubles_.size() >= names_.size();
  const ExitCode code = allFailed ? CommonCode() : kExitSomeFailed;
  if (troubles_.size() == 1 && allFailed) throw Failure(code, troubles_.front().line);
  for (const Trouble& trouble : troubles_) Say(trouble.line);
  throw Failure(code, std::to_string(troubles_.size()) + " of " +
                          Counted(std::max(names_.size(), troubles_.size()), "document") +
                          " cannot be read");
}

}  // namespace kxo
