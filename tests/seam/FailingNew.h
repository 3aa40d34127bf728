/// Makes `new` fail on request, in this program only.
#pragma once

namespace kx_seam {

/// While one of these lives, `allowed` allocations succeed and all others fail, or, with
/// `failures`, only so many behind them. Allocations are counted on the thread that made it.
class AllocationLimit {
 public:
  static constexpr long kAllOthers = -1;

  explicit AllocationLimit(long allowed, long failures = kAllOthers);
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
  ~AllocationLimit();
};

/// Nothing that a test does makes as many: by then it has ended well.
constexpr long kMostAllocations = 3000;

}  // namespace kx_seam
