#include "LimitedMalloc.h"

#include <algorithm>
#include <limits>

namespace {

constexpr size_t kNoLimit = std::numeric_limits<size_t>::max();

thread_local size_t largestAllowed = kNoLimit;
thread_local size_t largestAsked = 0;
thread_local long grantedLeft = 0;

}  // namespace

namespace kx_seam {

LargestRequest::LargestRequest(size_t largest, long granted) {
  largestAllowed = largest;
  grantedLeft = granted;
  largestAsked = 0;
}

LargestRequest::~LargestRequest() { largestAllowed = kNoLimit; }

size_t LargestRequest::asked() const { return largestAsked; }

}  // namespace kx_seam

namespace {

bool isGranted(size_t size) {
  largestAsked = std::max(largestAsked, size);
  return size <= largestAllowed || grantedLeft-- > 0;
}

}  // namespace

// The linker leads the program's calls of the heap here (--wrap); what it renames is reserved.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __real_malloc(size_t size);
void* __real_realloc(void* block, size_t size);

void* __wrap_malloc(size_t size) { return isGranted(size) ? __real_malloc(size) : nullptr; }

void* __wrap_realloc(void* block, size_t size) {
  return isGranted(size) ? __real_realloc(block, size) : nullptr;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
