#include "pictures/StoredDrawing.h"

#include <cstring>
#include <new>

#include "KXBitmap.h"
#include "pictures/NormalizeDib.h"
#include "salvage/Block.h"

namespace kxo {

OwnedHandle DibOfBlock(const unsigned char* block, size_t size) {
  if (block == nullptr || size == 0) return nullptr;
  const OwnedHandle copy(MemAlloc(static_cast<unsigned long>(size)));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(MemGetPtr(copy.get()), block, size);
  MemReleasePtr(copy.get());
  const OwnedHandle dib(kx_gen::ConvertInternalFormatToDib(copy.get()));
  const bool isReadable =
      salvage::StateOfDrawing({block, size}) != salvage::DrawingState::kUnreadable;
  if (dib == nullptr && isReadable) throw std::bad_alloc();
  return OwnedHandle(NormalizeDib(dib.get()));
}

std::vector<unsigned char> BlockOfDib(void* dib) {
  OwnedHandle normalized(NormalizeDib(dib));
  if (normalized == nullptr) return {};
  const OwnedHandle block(kx_gen::ConvertDibToInternalFormat(normalized.get()));
  if (block == nullptr) throw std::bad_alloc();  // whatever is normalised can be stored
  (void)normalized.release();                    // freed with the conversion
  const auto* const data = static_cast<const unsigned char*>(MemGetPtr(block.get()));
  std::vector<unsigned char> bytes(data, data + MemGetSize(block.get()));
  MemReleasePtr(block.get());
  return bytes;
}

}  // namespace kxo
