#include "Pictures.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "TestPlaces.h"

namespace kx_test {

namespace {

constexpr size_t kHeader = 40;

uint32_t field(const Bytes& dib, size_t offset, size_t size) {
  uint32_t value = 0;
  for (size_t i = size; i > 0; --i) value = value << 8 | dib.at(offset + i - 1);
  return value;
}

/// As many colours as the header counts, or as the depth has.
size_t colorsIn(const Bytes& dib) {
  const uint32_t used = field(dib, 32, 4);
  const uint32_t bits = field(dib, 14, 2);
  if (used != 0) return used;
  return bits == 1 || bits == 4 || bits == 8 ? size_t{1} << bits : 0;
}

uint32_t colorAt(const Bytes& dib, size_t at) {
  return static_cast<uint32_t>(dib[at + 2]) << 16 | static_cast<uint32_t>(dib[at + 1]) << 8 |
         dib[at];
}

uint32_t pixelAt(const Bytes& dib, size_t row, size_t x, size_t bits) {
  if (bits == 24) return colorAt(dib, row + 3 * x);
  const size_t perByte = 8 / bits;
  const size_t shift = (perByte - 1 - x % perByte) * bits;
  const size_t index =
      static_cast<size_t>(dib[row + x / perByte] >> shift) & ((size_t{1} << bits) - 1);
  return index < colorsIn(dib) ? colorAt(dib, kHeader + 4 * index) : 0;
}

}  // namespace

Handle handleOf(const Bytes& data) {
  Handle handle(MemAlloc(static_cast<unsigned long>(data.size())));
  if (!data.empty()) std::memcpy(MemGetPtr(handle.get()), data.data(), data.size());
  return handle;
}

Bytes dataOf(void* handle) {
  return handle == nullptr ? Bytes() : bytesOf(MemGetPtr(handle), MemGetSize(handle));
}

Bytes headerBytes(const Header& header) {
  return join({le32(header.size), le32(static_cast<uint32_t>(header.width)),
               le32(static_cast<uint32_t>(header.height)), le16(1), le16(header.bits),
               le32(header.compression), le32(header.imageSize),
               le32(static_cast<uint32_t>(header.resolution)),
               le32(static_cast<uint32_t>(header.resolution)), le32(header.used), le32(0)});
}

Bytes coreHeader(uint16_t width, uint16_t height, uint16_t bits) {
  return join({le32(12), le16(width), le16(height), le16(1), le16(bits)});
}

size_t rowSizeOf(size_t bits, size_t width) { return (bits * width + 31) / 32 * 4; }

Bytes colorTable(unsigned count) {
  Bytes table;
  for (unsigned i = 0; i < count; ++i) {
    table = join({table, le32(((i * 37) & 0xFF) << 16 | (255 - i) << 8 | ((i * 11 + 5) & 0xFF))});
  }
  return table;
}

Bytes pictureOf(int32_t width, int32_t height, uint16_t bits, const Bytes& rows) {
  Header header;
  header.width = width;
  header.height = height;
  header.bits = bits;
  header.imageSize = static_cast<uint32_t>(rows.size());
  return join({headerBytes(header), bits <= 8 ? colorTable(1u << bits) : Bytes(), rows});
}

Bytes picture(int32_t width, int32_t height, uint16_t bits) {
  Noise noise(static_cast<uint32_t>(width) * 31 + bits);
  Bytes rows;
  for (int32_t y = 0; y < std::abs(height); ++y) {
    Bytes row(rowSizeOf(bits, static_cast<size_t>(width)), 0);
    const size_t pixelBits = static_cast<size_t>(width) * bits;
    for (size_t i = 0; i < pixelBits / 8; ++i) row[i] = static_cast<unsigned char>(noise.next());
    const size_t rest = pixelBits % 8;
    if (rest > 0) {
      row[pixelBits / 8] = static_cast<unsigned char>(noise.next() & (0xFF00u >> rest) & 0xFF);
    }
    rows.insert(rows.end(), row.begin(), row.end());
  }
  return pictureOf(width, height, bits, rows);
}

Bytes withField(Bytes dib, size_t offset, uint32_t value) {
  const Bytes bytes = le32(value);
  std::copy(bytes.begin(), bytes.end(), dib.begin() + static_cast<std::ptrdiff_t>(offset));
  return dib;
}

Bytes bitsOf(const Bytes& dib) {
  const size_t front = kHeader + 4 * colorsIn(dib);
  return slice(dib, front, dib.size() - front);
}

Bytes bmpFile(const Bytes& dib, size_t bitsAt) {
  return join({{'B', 'M'},
               le32(static_cast<uint32_t>(14 + dib.size())),
               zeros(4),
               le32(static_cast<uint32_t>(14 + bitsAt)),
               dib});
}

Bytes bmpFile(const Bytes& dib) { return bmpFile(dib, dib.size() - bitsOf(dib).size()); }

std::vector<uint32_t> pixelsOf(const Bytes& dib) {
  if (dib.size() < kHeader || field(dib, 0, 4) != kHeader || field(dib, 16, 4) != 0) return {};
  const size_t width = field(dib, 4, 4);
  const auto height = static_cast<int32_t>(field(dib, 8, 4));
  const auto rows = static_cast<size_t>(std::abs(height));
  const size_t bits = field(dib, 14, 2);
  if (bits != 1 && bits != 4 && bits != 8 && bits != 24) return {};
  const size_t front = kHeader + 4 * colorsIn(dib);
  if (front + rowSizeOf(bits, width) * rows > dib.size()) return {};
  std::vector<uint32_t> pixels;
  for (size_t y = 0; y < rows; ++y) {
    const size_t stored = height < 0 ? y : rows - 1 - y;
    const size_t row = front + rowSizeOf(bits, width) * stored;
    for (size_t x = 0; x < width; ++x) pixels.push_back(pixelAt(dib, row, x, bits));
  }
  return pixels;
}

Handle dibOf(const Bytes& drawing) {
  const Handle block = handleOf(drawing);
  return Handle(kx_gen::ConvertInternalFormatToDib(block.get()));
}

Bytes drawingOf(const Bytes& dib) {
  Handle source = handleOf(dib);
  const Handle block(kx_gen::ConvertDibToInternalFormat(source.get()));
  if (block != nullptr) source.release();  // freed with the conversion
  return dataOf(block);
}

Bytes Noise::bytes(size_t count) {
  Bytes made(count);
  for (unsigned char& byte : made) byte = static_cast<unsigned char>(next() >> 8);
  return made;
}

std::vector<std::filesystem::path> realPictures() {
  std::vector<std::filesystem::path> found;
  const std::filesystem::path folder = realInputsFolder() / "bmp";
  if (realInputsFolder().empty() || !std::filesystem::exists(folder)) return found;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".bmp") found.push_back(entry.path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace kx_test
