/// How thorough the longest tests are.
#pragma once

namespace kx_test {

/// Programs take many times as long under sanitizers, and where a system or a processor is
/// imitated: the build says so. What the longest tests try elsewhere, they try in part there.
constexpr bool kIsSlow = KX_IS_SLOW != 0;

/// From one place of a sweep to the next. A prime, so that every kind of place has its turn.
constexpr int kSweepStep = kIsSlow ? 3 : 1;

}  // namespace kx_test
