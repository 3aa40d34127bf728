#include "KXBitmap.h"

#include <algorithm>
#include <new>

#include "Compression.h"
#include "DibBlock.h"
#include "KxFormat.h"
#include "kx_assert.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = ".\\KXBitmap";
enum : int {
  kLineDibNull = 16,
  kLineHeaderSize = 62,
  kLineBlockNull = 91,
  kLineExpandedSize = 131,
};

// The bytes that the coder made, which it keeps until its next call.
struct Coded {
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
};

// A picture that fits its handle, by the image size that it has or should have.
bool isStorable(const unsigned char* dib, uint64_t size) {
  if (size < bmp::kHeaderSizeSize) return false;
  if (!kx_Check(hasInfoHeader(dib), kSource, kLineHeaderSize)) return false;
  if (!holdsHeader(dib, size)) return false;
  const InfoDib picture(dib);
  return picture.holdsBits(picture.imageSize() != 0 ? picture.imageSize() : picture.rowsSize(),
                           size);
}

// The colour table is as long as the header tells, the length of the coded bits follows it; bytes
// that a table of 16,384 colours and more leaves between its true and its 16-bit size are 0.
OwnedHandle drawingOf(const InfoDib& picture, const Coded& coded) {
  const size_t colors = DIBNumColors(picture.header()) * format::kDrawingColorSize;
  const uint64_t size =
      coded.size + colors + format::kDrawingFixedSize + format::kDrawingLengthSize;
  OwnedHandle drawing = newHandle(size);
  if (drawing == nullptr) return nullptr;
  unsigned char* const data = dataOf(drawing);
  std::memset(data, 0, static_cast<size_t>(size));

  const uint64_t bitsSize = picture.imageSize() != 0 ? picture.imageSize() : picture.rowsSize();
  data[format::kDrawingVersionOffset] = format::kDrawingVersion;
  putLe32(data + format::kDrawingWidthOffset, static_cast<uint32_t>(picture.width()));
  putLe32(data + format::kDrawingHeightOffset, static_cast<uint32_t>(picture.height()));
  putLe32(data + format::kDrawingSizeOffset, static_cast<uint32_t>(bitsSize));
  data[format::kDrawingBitsOffset] = static_cast<unsigned char>(picture.bitCount());
  unsigned char* next = data + format::kDrawingColorsOffset;
  const size_t tableSize = PaletteSize(picture.header());
  std::memcpy(next, picture.colors(), tableSize);
  next += tableSize;
  putLe32(next, static_cast<uint32_t>(coded.size));
  std::memcpy(next + format::kDrawingLengthSize, coded.bytes, coded.size);
  return drawing;
}

// A drawing block, read as far as its sizes allow.
class Drawing {
 public:
  Drawing(unsigned char* block, uint64_t size) : block_(block), size_(size) {}

  // True when colour table and coded bits lie within the block.
  bool isWhole() const {
    if (size_ < format::kDrawingFixedSize) return false;
    const uint64_t front = lengthOffset() + format::kDrawingLengthSize;
    return front <= size_ && codedSize() <= size_ - front;
  }

  InfoHeader header() const {
    InfoHeader header;
    header.width = getLe32(block_ + format::kDrawingWidthOffset);
    header.height = getLe32(block_ + format::kDrawingHeightOffset);
    header.bitCount = block_[format::kDrawingBitsOffset];
    return header;
  }
  uint32_t bitsSize() const { return getLe32(block_ + format::kDrawingSizeOffset); }
  const unsigned char* colors() const { return block_ + format::kDrawingColorsOffset; }
  size_t colorsSize() const {
    return bmp::colorsOfDepth(block_[format::kDrawingBitsOffset]) * format::kDrawingColorSize;
  }
  uint32_t codedSize() const { return getLe32(block_ + lengthOffset()); }
  unsigned char* coded() const { return block_ + lengthOffset() + format::kDrawingLengthSize; }

 private:
  size_t lengthOffset() const { return format::kDrawingColorsOffset + colorsSize(); }

  unsigned char* block_;
  uint64_t size_;
};

// The drawing of a picture; null when it does not fit its handle or memory ran out.
OwnedHandle drawingOf(unsigned char* dib, uint64_t size) {
  if (!isStorable(dib, size)) return nullptr;
  // The pixels that the header counts: none where it counts none, whatever size the drawing says.
  const InfoDib picture(dib);
  CCompression coder;
  Coded coded;
  coder.Compress(FindDIBBits(static_cast<void*>(dib)), picture.imageSize(), coded.bytes,
                 &coded.size);
  return coded.bytes != nullptr ? drawingOf(picture, coded) : nullptr;
}

OwnedHandle dibOf(const Drawing& drawing) {
  if (!drawing.isWhole()) return nullptr;
  CCompression coder;
  Coded bits;
  coder.Decompress(drawing.coded(), drawing.codedSize(), bits.bytes, &bits.size);
  if (bits.bytes == nullptr) return nullptr;
  const uint32_t bitsSize = drawing.bitsSize();
  const bool isExact = kx_Check(bits.size == bitsSize, kSource, kLineExpandedSize);
  if (!isExact && bitsSize > format::kDrawingFilledSizeMax) return nullptr;

  const uint64_t bitsOffset = bmp::kInfoHeaderSize + drawing.colorsSize();
  OwnedHandle dib = newHandle(bitsOffset + bitsSize);
  if (dib == nullptr) return nullptr;
  unsigned char* const data = dataOf(dib);
  putInfoHeader(data, drawing.header());
  std::memcpy(data + bmp::kInfoHeaderSize, drawing.colors(), drawing.colorsSize());
  const size_t copied = std::min<size_t>(bits.size, bitsSize);
  unsigned char* const pixels = FindDIBBits(static_cast<void*>(data));
  std::memcpy(pixels, bits.bytes, copied);
  std::memset(pixels + copied, 0, bitsSize - copied);
  return dib;
}

// What `convert` makes; null when memory ran out for anything that it needs.
template <class Convert>
OwnedHandle unlessExhausted(Convert convert) {
  try {
    return convert();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

OwnedHandle internalFormatOf(void* dib) {
  kx_Check(dib != nullptr, kSource, kLineDibNull);
  auto* block = static_cast<unsigned char*>(MemGetPtr(dib));
  if (block == nullptr) return nullptr;
  OwnedHandle drawing = unlessExhausted([&] { return drawingOf(block, MemGetSize(dib)); });
  MemReleasePtr(dib);
  return drawing;
}

void* ConvertDibToInternalFormat(void* dib) {
  OwnedHandle drawing = internalFormatOf(dib);
  if (drawing != nullptr) MemFree(dib);
  return drawing.release();
}

void* ConvertInternalFormatToDib(void* block) {
  kx_Check(block != nullptr, kSource, kLineBlockNull);
  auto* data = static_cast<unsigned char*>(MemGetPtr(block));
  if (data == nullptr) return nullptr;
  const Drawing drawing(data, MemGetSize(block));
  OwnedHandle dib = unlessExhausted([&] { return dibOf(drawing); });
  MemReleasePtr(block);
  return dib.release();
}

}  // namespace kx_gen
