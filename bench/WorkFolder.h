/// A folder for the files of one run.
#pragma once

#include <filesystem>

namespace kx_bench {

/// A new folder, made the current one and removed at the end with all that is in it. It is made in
/// the folder that the environment variable KX_BENCH_FOLDER names, or in the system's for temporary
/// files.
class WorkFolder {
 public:
  WorkFolder();
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

 private:
  std::filesystem::path before_;
  std::filesystem::path path_;
};

}  // namespace kx_bench
