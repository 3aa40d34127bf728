#include "LocalTime.h"

#include <ctime>

bool kx_GmtTime(uint32_t seconds, std::tm* out) {
  const auto time = static_cast<std::time_t>(seconds);
  return gmtime_s(out, &time) == 0;
}

bool kx_LocalTime(uint32_t seconds, std::tm* out) {
  const auto time = static_cast<std::time_t>(seconds);
  return localtime_s(out, &time) == 0;
}
