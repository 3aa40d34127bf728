#include "LimitedMalloc.h"

#include <algorithm>
#include <limits>

namespace {

constexpr size_t kNoLimit = std::numeric_limits<size_t>::max();

thread_local size_t largestAllowed = kNoLimit;
thread_local size_t largestAsked = 0;

}  // namespace

namespace kx_seam {

LargestRequest::LargestRequest(size_t largest) {
  largestAllowed = largest;
  largestAsked = 0;
}

LargestRequest::~LargestRequest() { largestAllowed = kNoLimit; }

size_t LargestRequest::asked() const { return largestAsked; }

}  // namespace kx_seam

// The linker leads the program's calls of malloc here (--wrap); what it renames is reserved.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void* __real_malloc(size_t size);

extern "C" void* __wrap_malloc(size_t size) {
  largestAsked = std::max(largestAsked, size);
  return size <= largestAllowed ? __real_malloc(size) : nullptr;
}
// NOLINTEND(bugprone-reserved-identifier)
