/// To and from the form in which outline records keep drawings (docs/format-drawing.md).
#pragma once

#include "KxPlatform.h"

namespace kx_gen {

/// A new handle with the drawing block of a bitmap handle, which is freed. Null, and the bitmap
/// stays, when it does not fit its handle, has no information header, or memory ran out.
///
/// As many bytes of pixels are stored as the header's image size tells. Where that is 0, as in
/// bitmaps of CreateDIB, ShrinkDIB and ConvertInternalFormatToDib, the drawing has no pixels: set
/// the image size first. The colour table is stored as long as it is, but read by depth alone: fill
/// it up first. docs/format-drawing.md tells what else the form cannot hold.
KX_API void* ConvertDibToInternalFormat(void* dib);

/// A new bitmap handle from a handle with a drawing block, which stays with the caller. The image
/// size of the bitmap is 0. A block that is not whole gives null; one whose pixels are not as long
/// as it says is asserted, and gives what there is, filled up with zeros, or null beyond 16 MiB.
///
/// The bitmap has the pixels that were stored, which may be fewer than its width and height count:
/// compare with MemGetSize before handing the block itself on.
KX_API void* ConvertInternalFormatToDib(void* block);

}  // namespace kx_gen
