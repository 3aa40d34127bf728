/// Data on its way to standard output, in pieces: a damaged file may have more to tell of than
/// memory should hold.
#pragma once

#include <string>

#include "Output.h"

namespace kxo {

class DataStream {
 public:
  /// Throws a Failure when it cannot be written.
  void Write(const std::string& utf8) {
    text_ += utf8;
    if (text_.size() >= kPieceSize) Flush();
  }
  void Flush() {
    if (!text_.empty()) WriteData(text_);
    text_.clear();
  }

 private:
  static constexpr size_t kPieceSize = 1u << 16;
  std::string text_;
};

}  // namespace kxo
