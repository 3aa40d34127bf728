/// File times (100-nanosecond steps since 1601) and the system's seconds since 1970.
#pragma once

#include <cstdint>
#include <ctime>

#include "KxPlatform.h"

namespace kx_posix {

constexpr int64_t kStepsPerSecond = 10'000'000;
constexpr int64_t kSecondsFrom1601To1970 = 11'644'473'600;

inline FILETIME ToFileTime(uint64_t steps) {
  return {static_cast<DWORD>(steps), static_cast<DWORD>(steps >> 32)};
}

inline uint64_t ToSteps(const FILETIME& time) {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

inline FILETIME ToFileTime(int64_t seconds, int64_t nanoseconds) {
  const int64_t steps = (seconds + kSecondsFrom1601To1970) * kStepsPerSecond + nanoseconds / 100;
  return ToFileTime(static_cast<uint64_t>(steps));
}

inline timespec ToTimespec(const FILETIME& time) {
  const auto steps = static_cast<int64_t>(ToSteps(time));
  timespec result = {};
  result.tv_sec = static_cast<time_t>(steps / kStepsPerSecond - kSecondsFrom1601To1970);
  result.tv_nsec = static_cast<decltype(result.tv_nsec)>(steps % kStepsPerSecond * 100);
  return result;
}

}  // namespace kx_posix
