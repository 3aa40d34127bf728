/// Broken-down times without the C runtime's shared record, so that threads do not disturb each
/// other.
#pragma once

#include <cstdint>
#include <ctime>

/// Fill `*out` for a count of seconds since 1970, UTC; false when the C runtime refuses.
bool kx_GmtTime(uint32_t seconds, std::tm* out);
bool kx_LocalTime(uint32_t seconds, std::tm* out);
