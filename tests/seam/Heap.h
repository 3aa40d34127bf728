/// The heap as this program sees it: how many blocks there are, and allocations that fail. `new`,
/// `malloc`, `calloc` and `realloc` count alike, each on the thread that asks.
#pragma once

namespace kx_seam {

/// While one of these lives, the n-th allocation of its thread fails, counted from 1, or with
/// `goesOn` that one and all behind it.
class FailingAllocation {
 public:
  explicit FailingAllocation(long nth, bool goesOn = false);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();
  static bool HasFailed();
};

/// The blocks that this thread allocated, less those that it freed: a number to compare with
/// another.
long countBlocks();

/// For those who stand in for another heap: whether this allocation is to succeed.
bool mayAllocate();

}  // namespace kx_seam
