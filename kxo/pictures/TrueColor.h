/// Bitmaps in true colours, the ones without a colour table that the tool makes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kxo {

constexpr uint16_t kTrueColor = 24;  ///< Bits of a pixel.
constexpr size_t kChannels = 3;      ///< Bytes of a pixel: blue, green, red.

}  // namespace kxo
