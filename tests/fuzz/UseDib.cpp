#include "UseDib.h"

#include <cstdlib>

#include "DibLayout.h"
#include "UseDatabase.h"

namespace kx_fuzz {

namespace {

void measure(const void* picture) {
  kx_gen::DIBWidth(picture);
  kx_gen::DIBHeight(picture);
  kx_gen::DIBNumColors(picture);
  kx_gen::PaletteSize(picture);
}

void reshape(const void* picture) {
  for (const int side : {1, 7, 100}) {
    const Handle clipped(kx_gen::ClipDIB(picture, side, side));
    const Handle resized(kx_gen::ResizeDIB(picture, side, side));
  }
}

void toSystem(const void* picture) {
  kx_gen::DeleteGdiObject(kx_gen::DIBToBitmap(picture, nullptr));
  HBITMAP bitmap = kx_gen::ConvertDIBtoBitmap(picture);
  const Handle back(kx_gen::BitmapToDIB(bitmap, nullptr));
  kx_gen::DeleteGdiObject(bitmap);
}

/// A large picture only once, since every pixel is looked at and the whole may take a second.
void shrink(void* dib) {
  constexpr unsigned long kLargeSize = 1u << 20;
  for (const unsigned short side : {7, 1, 100}) {
    const Handle shrunk(kx_gen::ShrinkDIB(dib, side, side));
    if (MemGetSize(dib) > kLargeSize) return;
  }
}

void throughDrawing(void* dib) {
  Handle copy(kx_gen::CopyHandle(dib));
  const Handle block(kx_gen::ConvertDibToInternalFormat(copy.get()));
  if (block.get() != nullptr) copy.release();
  const Handle back(kx_gen::ConvertInternalFormatToDib(block.get()));
}

/// Whether the pixels that the header counts are there. A drawing may have been stored with fewer.
bool isWhole(void* dib) {
  const auto* const picture = static_cast<const unsigned char*>(MemGetPtr(dib));
  const auto width = static_cast<uint64_t>(std::llabs(kx_gen::DIBWidth(picture)));
  const auto height = static_cast<uint64_t>(std::llabs(kx_gen::DIBHeight(picture)));
  const uint64_t bits = kx_gen::getLe16(picture + kx_gen::bmp::kBitCountOffset);
  const uint64_t row = (bits * width + 31) / 32 * 4;
  const auto start = static_cast<uint64_t>(kx_gen::FindDIBBits(picture) - picture);
  const uint64_t size = MemGetSize(dib);
  return start <= size && (row == 0 || height <= (size - start) / row);
}

void inClass(void* dib) {
  kx_test::attempt([&] {
    kx_gen::CDib picture;
    picture.ReplaceHDIB(dib);
    const kx_gen::CDib copy = picture;
    const std::wstring path = scratchFile("saved", nullptr, 0);
    if (copy.SaveDIBFile(path.c_str()) != 0) picture.LoadDIBFile(path.c_str());
  });
}

}  // namespace

void useHandle(void* dib) {
  if (dib == nullptr) return;
  shrink(dib);
  inClass(dib);
  throughDrawing(dib);
}

void usePicture(void* dib) {
  if (dib == nullptr) return;
  useHandle(dib);
  if (!isWhole(dib)) return;
  const void* const picture = MemGetPtr(dib);
  measure(picture);
  reshape(picture);
  toSystem(picture);
}

}  // namespace kx_fuzz
