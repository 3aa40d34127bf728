/// Whether a cost grows with the amount of work or with its square.
#pragma once

#include <algorithm>

namespace kx_test {

/// Calls `secondsFor(count)`, which does the work once and says how long it took, for a small count
/// and one `kGrowth` times as large. True when, in one of a few attempts, the large one took nearer
/// to `kGrowth` times as long than to the square of it.
template <class SecondsFor>
bool costGrowsLinearly(int smallCount, SecondsFor secondsFor) {
  constexpr int kGrowth = 8;
  constexpr int kAttempts = 5;
  constexpr double kTicks = 0.0005;  // less than that says nothing
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const double small = std::max(kTicks, secondsFor(smallCount));
    if (secondsFor(smallCount * kGrowth) < small * kGrowth * 3) return true;
  }
  return false;
}

}  // namespace kx_test
