/// Pictures scaled down.
#pragma once

#include <cstdint>

#include "pictures/OwnedHandle.h"

namespace kxo {

struct PictureSize {
  uint32_t width = 0;
  uint32_t height = 0;
};

/// Of a bitmap in the form of NormalizeDib.h, as the next takes.
PictureSize SizeOfDib(void* dib);

/// The largest size with the proportions of `whole` that is not above `most`, which is at least 1
/// by 1; `whole` where it fits.
PictureSize FittedInto(const PictureSize& whole, const PictureSize& most);

/// The picture scaled down to this size, with 24 bits a pixel. Null where the library does not
/// scale: a side of 65,535 pixels and more, together with the new one. Throws std::bad_alloc.
OwnedHandle Shrunk(void* dib, const PictureSize& size);

}  // namespace kxo
