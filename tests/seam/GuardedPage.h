/// Memory with an end that can be felt.
#pragma once

#include <cstddef>

namespace kx_seam {

/// A page that may be used, with one behind it that may not.
class GuardedPage {
 public:
  GuardedPage();
  ~GuardedPage();
  GuardedPage(const GuardedPage&) = delete;
  GuardedPage& operator=(const GuardedPage&) = delete;
  unsigned char* start() const { return start_; }
  size_t size() const { return size_; }
  void MakeReadOnly();

 private:
  size_t size_;
  unsigned char* start_;
};

}  // namespace kx_seam
