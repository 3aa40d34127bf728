/// How far work on many files is: one line on a terminal, written over and over.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace kxo {

/// Writes to standard error, and nothing where that is no terminal.
class Progress {
 public:
  Progress();
  /// "12 of 5000  name  (2 failed)". Not more often than one can read.
  void Show(size_t number, size_t count, const std::string& name, size_t failed);
  /// Takes the line away.
  void Clear();

 private:
  void Write(const std::string& line);

  bool isShown_;
  size_t width_ = 0;  // of the line that stands there
  std::chrono::steady_clock::time_point last_;
};

}  // namespace kxo
