/// What a program does that may end at any time, done in a process of its own.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>

namespace kx_failing {

/// Runs this in a copy of this process, which goes away with it. What it returns, 0 to 255, or the
/// exit code with which it ended the process; -1 when that crashed.
int runApart(const std::function<int()>& call);

/// While one of these lives, what is written to a standard stream of C goes to a file.
class Redirected {
 public:
  Redirected(std::FILE* stream, const std::filesystem::path& file);
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;
  ~Redirected();

 private:
  std::FILE* stream_;
  int before_;
};

}  // namespace kx_failing
