/// Drawings on their way out.
#pragma once

#include <string>

#include "Outline.h"
#include "pictures/Png.h"
#include "pictures/StoredDrawing.h"

namespace kxo {

/// Its PNG file; empty for a damaged drawing.
inline std::string PngOf(const Drawing& drawing) {
  const auto* block = reinterpret_cast<const unsigned char*>(drawing.block.data());
  const OwnedHandle dib = DibOfBlock(block, drawing.block.size());
  return dib ? EncodePng(dib.get()) : std::string();
}

}  // namespace kxo
