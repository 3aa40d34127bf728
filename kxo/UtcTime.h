/// Times as the tool prints them.
#pragma once

#include <fmt/format.h>

#include <chrono>
#include <string>

namespace kxo {

/// "2026-01-02T03:04:05Z".
inline std::string UtcTime(std::chrono::sys_seconds time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

}  // namespace kxo
