/// Bitmaps for the tests: packed blocks made field by field, memory handles around them, and the
/// pixels of either.
#pragma once

#include <memory>

#include "KxLayout.h"

namespace kx_test {

struct HandleFree {
  void operator()(void* handle) const { MemFree(handle); }
};
using Handle = std::unique_ptr<void, HandleFree>;

Handle handleOf(const Bytes& data);
Bytes dataOf(void* handle);
inline Bytes dataOf(const Handle& handle) { return dataOf(handle.get()); }

/// The fields of an information header.
struct Header {
  int32_t width = 0;
  int32_t height = 0;
  uint16_t bits = 24;
  uint32_t compression = 0;
  uint32_t imageSize = 0;
  uint32_t used = 0;
  uint32_t size = 40;
  int32_t resolution = 0;
};
Bytes headerBytes(const Header& header);
/// The older header, of 12 bytes.
Bytes coreHeader(uint16_t width, uint16_t height, uint16_t bits);
/// Where some of them lie.
namespace header_at {
constexpr size_t kWidth = 4;
constexpr size_t kHeight = 8;
constexpr size_t kBits = 14;
constexpr size_t kCompression = 16;
constexpr size_t kImageSize = 20;
constexpr size_t kUsed = 32;
}  // namespace header_at
/// The bytes of one row.
size_t rowSizeOf(size_t bits, size_t width);

/// A full colour table: all different, none grey by accident.
Bytes colorTable(unsigned count);
/// A packed bitmap of a depth with a full colour table (none above 8 bits), its image size set and
/// pixels that differ from place to place; the bytes that pad the rows are 0.
Bytes picture(int32_t width, int32_t height, uint16_t bits);
/// The same with these pixel bits.
Bytes pictureOf(int32_t width, int32_t height, uint16_t bits, const Bytes& rows);
Bytes withField(Bytes dib, size_t offset, uint32_t value);
/// Only the pixel bits of a picture with a 40-byte header.
Bytes bitsOf(const Bytes& dib);

/// A BMP file around a packed bitmap whose pixels begin at `bitsAt` of the bitmap.
Bytes bmpFile(const Bytes& dib, size_t bitsAt);
Bytes bmpFile(const Bytes& dib);

/// The colours of a plain picture of 1, 4, 8 or 24 bits with a 40-byte header, 0xRRGGBB, row by row
/// from the top left; black where the colour table ends. Empty for any other bitmap, and for one
/// that is not whole.
std::vector<uint32_t> pixelsOf(const Bytes& dib);

/// The bitmap that a record keeps the drawing block for, or null.
Handle dibOf(const Bytes& drawing);
/// The drawing block of a bitmap; empty when it could not be converted.
Bytes drawingOf(const Bytes& dib);

/// Pseudo-random bytes, the same on every system.
class Noise {
 public:
  explicit Noise(uint32_t seed) : state_(seed * 2654435761u + 1) {}
  uint32_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  uint32_t below(uint32_t limit) { return next() % limit; }
  Bytes bytes(size_t count);

 private:
  uint32_t state_;
};

/// Pictures of others, where the tests have them.
std::vector<std::filesystem::path> realPictures();

}  // namespace kx_test
