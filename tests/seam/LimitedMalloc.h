/// Makes large requests to `malloc` and `realloc` fail, in this program only.
#pragma once

#include <cstddef>

namespace kx_seam {

/// While one of these lives, requests of the thread that made it for more than `largest` bytes
/// fail, but for the first `granted` of them.
class LargestRequest {
 public:
  explicit LargestRequest(size_t largest, long granted = 0);
  LargestRequest(const LargestRequest&) = delete;
  LargestRequest& operator=(const LargestRequest&) = delete;
  ~LargestRequest();
  /// The bytes of the largest request since then, granted or not.
  size_t asked() const;
};

/// For those who stand in for the heap.
bool isGranted(size_t size);

}  // namespace kx_seam
