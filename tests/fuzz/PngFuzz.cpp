// Any bytes as a PNG file: as they are, with the check sums put right, and as pixels in a file made
// around them. What is a picture goes through a drawing and through another PNG without a change.

#include <lodepng.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "FuzzSupport.h"
#include "UseDib.h"
#include "pictures/Png.h"
#include "pictures/StoredDrawing.h"

namespace {

using kx_fuzz::Bytes;
using kx_fuzz::Handle;

constexpr size_t kSignatureSize = 8;
constexpr size_t kChunkSize = 12;  // length, kind and check sum
constexpr size_t kHeaderSize = 13;
constexpr size_t kColorSize = 3;
constexpr size_t kSmall = 1u << 18;    // coding larger pictures again would take the time of others
constexpr size_t kExpansionMax = 256;  // of memory, in sixteenths: the file, its pixels, the bitmap

void use(const Bytes& file) {
  const Handle dib(kxo::DecodePng(file.data(), file.size()));
  if (dib.get() == nullptr || MemGetSize(dib.get()) > kSmall) return;
  kx_fuzz::usePicture(dib.get());
  const Bytes block = kxo::BlockOfDib(dib.get());
  kx_fuzz::require(!block.empty(), "a picture can be stored");
  const Handle stored(kxo::DibOfBlock(block.data(), block.size()).release());
  kx_fuzz::require(stored.contents() == dib.contents(), "a stored picture comes back");
  const std::string png = kxo::EncodePng(dib.get());
  const Bytes again(png.begin(), png.end());
  const Handle back(kxo::DecodePng(again.data(), again.size()));
  kx_fuzz::require(back.get() != nullptr, "a written picture can be read");
  kx_fuzz::require(back.contents() == dib.contents(), "a written picture comes back");
}

Bytes withChecksums(Bytes file) {
  for (size_t at = kSignatureSize; at + kChunkSize <= file.size();) {
    const size_t length = lodepng_chunk_length(file.data() + at);
    if (length > file.size() - at - kChunkSize) break;
    lodepng_chunk_generate_crc(file.data() + at);
    at += length + kChunkSize;
  }
  return file;
}

void addChunk(Bytes& file, const char* kind, const uint8_t* data, size_t size) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    file.push_back(static_cast<unsigned char>(size >> shift));
  }
  file.insert(file.end(), kind, kind + 4);
  file.insert(file.end(), data, data + size);
  file.resize(file.size() + 4);  // the check sum
}

/// A header, the number of colours and of transparent ones, those, and the pixels: a file of them.
Bytes assembled(const uint8_t* data, size_t size) {
  if (size < kHeaderSize + 2) return {};
  const uint8_t* const end = data + size;
  Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  addChunk(file, "IHDR", data, kHeaderSize);
  const uint8_t* next = data + kHeaderSize + 2;
  const auto left = [&] { return static_cast<size_t>(end - next); };
  const size_t colors = std::min<size_t>(data[kHeaderSize] * kColorSize, left());
  if (colors > 0) addChunk(file, "PLTE", next, colors);
  next += colors;
  const size_t alphas = std::min<size_t>(data[kHeaderSize + 1], left());
  if (alphas > 0) addChunk(file, "tRNS", next, alphas);
  next += alphas;

  LodePNGCompressSettings settings = lodepng_default_compress_settings;
  settings.btype = 0;
  unsigned char* pixels = nullptr;
  size_t pixelsSize = 0;
  const unsigned error = lodepng_zlib_compress(&pixels, &pixelsSize, next, left(), &settings);
  kx_fuzz::require(error == 0, "there is memory for the pixels");
  addChunk(file, "IDAT", pixels, pixelsSize);
  std::free(pixels);  // NOLINT: lodepng's malloc
  addChunk(file, "IEND", nullptr, 0);
  return withChecksums(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const kx_fuzz::Budget budget(size * kExpansionMax);
  const Bytes file(data, data + size);
  use(file);
  use(withChecksums(file));
  use(assembled(data, size));
  return 0;
}
