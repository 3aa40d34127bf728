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

}  // namespace kx_seam
