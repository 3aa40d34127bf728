/// How much the large tests take, in one place.
#pragma once

namespace kx_large {

/// What rows and cycles are divided by where a processor is imitated; the build says so.
constexpr int kDivisor = KX_LARGE_DIVISOR;

constexpr int kCycles = 10000 / kDivisor;  ///< Of opening, editing, saving and closing.
constexpr unsigned long kManyRows = 1000000 / kDivisor;
constexpr unsigned long kDeletedIds = 100000;
constexpr size_t kNoteLength = 60000;  ///< Characters.
constexpr int kPictureSide = 4000;     ///< Pixels.
constexpr unsigned kLevels = 256;      ///< Indents from 0 to 255.

}  // namespace kx_large
