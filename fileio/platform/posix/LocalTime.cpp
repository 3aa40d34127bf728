#include "LocalTime.h"

#include <ctime>

bool kx_GmtTime(uint32_t seconds, std::tm* out) {
  const auto time = static_cast<std::time_t>(seconds);
  return gmtime_r(&time, out) != nullptr;
}

bool kx_LocalTime(uint32_t seconds, std::tm* out) {
  const auto time = static_cast<std::time_t>(seconds);
  tzset();  // localtime_r itself need not notice that the zone changed
  return localtime_r(&time, out) != nullptr;
}
