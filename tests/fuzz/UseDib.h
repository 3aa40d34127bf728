/// Every function that takes a bitmap.
#pragma once

#include "FuzzSupport.h"

namespace kx_fuzz {

/// A handle with any contents.
void useHandle(void* dib);
/// A handle with a header and its colour table: a whole picture goes also to what trusts its
/// callers to give one.
void usePicture(void* dib);

}  // namespace kx_fuzz
