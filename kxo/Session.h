/// Where one run of the tool was started, and where it works.
#pragma once

#include <filesystem>
#include <string>

namespace kxo {

std::filesystem::path PathOf(const std::string& utf8);
std::string NameOf(const std::filesystem::path& path);  ///< UTF-8.

/// The library writes its log into the current folder. From its construction on, a session
/// therefore works in the user's state folder, or in a fresh temporary one that goes away with it,
/// and takes the names that the user gives relative to the folder in which the tool was started.
class Session {
 public:
  Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  /// The absolute path of a name that the user gave.
  std::filesystem::path Absolute(const std::string& name) const;
  /// The same, without links and dots, of something that exists and is no folder.
  std::filesystem::path ExistingFile(const std::string& name) const;
  /// The same, of something that need not exist, in a folder that does.
  std::filesystem::path PlaceForFile(const std::string& name) const;

 private:
  void Enter(const std::filesystem::path& folder);

  std::filesystem::path start_;      // empty when it could not be had
  std::filesystem::path temporary_;  // empty when the state folder serves
};

}  // namespace kxo
