/// Bitmaps to and from the block that outline records keep for a drawing.
#pragma once

#include <cstddef>
#include <vector>

#include "pictures/OwnedHandle.h"

namespace kxo {

/// The picture of a block, in the form of NormalizeDib.h. Null when the block is damaged or has
/// fewer pixels than its width and height count. Throws std::bad_alloc.
OwnedHandle DibOfBlock(const unsigned char* block, size_t size);

/// The block that a record stores for a packed bitmap in a memory handle, which stays with the
/// caller. Empty when the bitmap is no picture. Throws std::bad_alloc.
std::vector<unsigned char> BlockOfDib(void* dib);

}  // namespace kxo
