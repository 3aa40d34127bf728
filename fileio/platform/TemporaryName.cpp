#include "TemporaryName.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>

namespace kx_platform {
namespace {

constexpr std::wstring_view kStart = L".kx-save-";
constexpr std::wstring_view kEnd = L".tmp";
constexpr std::wstring_view kDigits = L"0123456789abcdef";
constexpr size_t kDigitCount = 16;

/// Spreads every bit of a number over all 64: the output function of SplitMix64 (Steele, Lea,
/// Flood, "Fast Splittable Pseudorandom Number Generators", 2014).
uint64_t Mixed(uint64_t number) {
  number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9u;
  number = (number ^ (number >> 27)) * 0x94D049BB133111EBu;
  return number ^ (number >> 31);
}

/// Where a process stands in its address space and in time tells it from others; two that agree in
/// both find the name taken, and the later one asks again.
uint64_t NextNumber() {
  static std::atomic<uint64_t> count{0};
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  const auto place = reinterpret_cast<uintptr_t>(&now);
  return Mixed(Mixed(static_cast<uint64_t>(now) + place) + ++count);
}

}  // namespace

std::wstring NewTemporaryName() {
  std::wstring name(kStart);
  uint64_t number = NextNumber();
  for (size_t i = 0; i < kDigitCount; ++i, number >>= 4) name += kDigits[number & 0xF];
  return name.append(kEnd);
}

bool IsTemporaryName(std::wstring_view name) {
  if (name.size() != kStart.size() + kDigitCount + kEnd.size()) return false;
  const std::wstring_view digits = name.substr(kStart.size(), kDigitCount);
  return name.substr(0, kStart.size()) == kStart &&
         name.substr(kStart.size() + kDigitCount) == kEnd &&
         digits.find_first_not_of(kDigits) == std::wstring_view::npos;
}

}  // namespace kx_platform
