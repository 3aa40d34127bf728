/// Commands that read many documents: which they are, and what failed in the end.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Failure.h"
#include "JsonText.h"
#include "Session.h"

namespace kxo {

/// The documents that the user's paths name: files as they are, of folders all .kxo files below
/// them, sorted. A run over them carries on past what cannot be read. Throws a Failure when
/// standard input is among them twice.
class ManyFiles {
 public:
  ManyFiles(const Session& session, const std::vector<std::string>& paths);

  const std::vector<std::string>& GetNames() const { return names_; }
  /// Calls this for each name; a Failure that it throws is kept for the end.
  void ForEach(const std::function<void(const std::string& name)>& use);
  Json JsonOfFailures() const;
  /// Names all failures, and throws one for the run if there were any.
  void End() const;

 private:
  struct Trouble {
    std::string name;
    ExitCode exitCode;
    std::string line;
  };
  void AddFile(const std::string& name);
  void AddFolder(const std::string& name, const std::filesystem::path& folder);
  void AddTrouble(const std::string& name, const Failure& failure);
  ExitCode CommonCode() const;

  std::vector<std::string> names_;
  std::vector<Trouble> troubles_;
};

}  // namespace kxo
