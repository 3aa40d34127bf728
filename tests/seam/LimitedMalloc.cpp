#include "LimitedMalloc.h"

#include <algorithm>
#include <limits>

namespace {

constexpr size_t kAnySize = std::numeric_limits<size_t>::max();

thread_local size_t largestAllowed = kAnySize;
thread_local size_t largestAsked = 0;
thread_local long grantedLeft = 0;

}  // namespace

namespace kx_seam {

LargestRequest::LargestRequest(size_t largest, long granted) {
  largestAllowed = largest;
  grantedLeft = granted;
  largestAsked = 0;
}

LargestRequest::~LargestRequest() { largestAllowed = kAnySize; }

size_t LargestRequest::asked() const { return largestAsked; }

bool isGranted(size_t size) {
  largestAsked = std::max(largestAsked, size);
  return size <= largestAllowed || grantedLeft-- > 0;
}

}  // namespace kx_seam
