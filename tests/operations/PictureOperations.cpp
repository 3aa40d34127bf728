// Bitmaps of every depth, the drawing form, the coder, BMP files.

#include "World.h"

namespace kx_operations {

namespace {

namespace bmp = kx_gen::bmp;

/// The next of a row of numbers that look like chance and are none.
uint32_t mixed(uint32_t& state) {
  state = state * 1664525u + 1013904223u;
  return state >> 8;
}

void putLe(Bytes& bytes, size_t at, uint32_t value, size_t size) {
  kx_gen::putLittleEndian(bytes.data() + at, value, size);
}

/// A bitmap with a full colour table and pixels that differ from place to place. A negative height
/// stands from the top down.
Bytes makePicture(int32_t width, int32_t height, uint16_t bits, uint32_t seed) {
  const size_t colors = bmp::colorsOfDepth(bits);
  const auto rowCount = static_cast<uint64_t>(height < 0 ? -int64_t{height} : height);
  const auto rows =
      static_cast<size_t>(bmp::rowsSize(bits, static_cast<uint32_t>(width), rowCount));
  const size_t front = bmp::kInfoHeaderSize + colors * bmp::kColorSize;
  Bytes dib(front + rows);
  putLe(dib, bmp::kHeaderSizeOffset, bmp::kInfoHeaderSize, 4);
  putLe(dib, bmp::kWidthOffset, static_cast<uint32_t>(width), 4);
  putLe(dib, bmp::kHeightOffset, static_cast<uint32_t>(height), 4);
  putLe(dib, bmp::kPlanesOffset, 1, 2);
  putLe(dib, bmp::kBitCountOffset, bits, 2);
  putLe(dib, bmp::kImageSizeOffset, static_cast<uint32_t>(rows), 4);
  uint32_t state = seed;
  for (size_t i = 0; i < colors; ++i) {
    putLe(dib, bmp::kInfoHeaderSize + i * bmp::kColorSize, mixed(state) & 0xFFFFFF, 4);
  }
  for (size_t i = front; i < dib.size(); ++i) dib[i] = static_cast<unsigned char>(mixed(state));
  return dib;
}

void picture(World& world, Words& words) {
  Handle& handle = world.handle(words);
  const auto width = words.as<int32_t>();
  const auto height = words.as<int32_t>();
  const auto bits = words.as<uint16_t>();
  handle = handleOf(makePicture(width, height, bits, words.as<uint32_t>()));
}

/// A bitmap of 24 bits with the older header.
void corePicture(World& world, Words& words) {
  Handle& handle = world.handle(words);
  const auto width = words.as<uint16_t>();
  const auto height = words.as<uint16_t>();
  const Bytes whole = makePicture(width, height, 24, words.as<uint32_t>());
  Bytes core(bmp::kCoreHeaderSize);
  putLe(core, bmp::kHeaderSizeOffset, bmp::kCoreHeaderSize, 4);
  putLe(core, bmp::kCoreWidthOffset, width, 2);
  putLe(core, bmp::kCoreHeightOffset, height, 2);
  putLe(core, bmp::kCorePlanesOffset, 1, 2);
  putLe(core, bmp::kCoreBitCountOffset, 24, 2);
  core.insert(core.end(), whole.begin() + bmp::kInfoHeaderSize, whole.end());
  handle = handleOf(core);
}

void blankPicture(World& world, Words& words) {
  Handle& handle = world.handle(words);
  const auto width = words.as<unsigned long>();
  const auto height = words.as<unsigned long>();
  handle.reset(kx_gen::CreateDIB(width, height, words.as<unsigned short>()));
  world.tell(summary(dataOf(handle)));
}

/// Sets the 4 bytes at an offset.
void setField(World& world, Words& words) {
  Handle& handle = world.handle(words);
  Bytes data = dataOf(handle);
  const auto offset = words.as<size_t>();
  if (offset + 4 > data.size()) throw ScriptError("there is no such field");
  putLe(data, offset, words.as<uint32_t>(), 4);
  handle = handleOf(data);
}

void describe(World& world, Words& words) {
  const Handle& handle = world.handle(words);
  const Bytes data = dataOf(handle);
  if (data.empty()) {
    world.tell("none");
    return;
  }
  const void* dib = data.data();
  world.tell(std::to_string(kx_gen::DIBWidth(dib)) + "x" + std::to_string(kx_gen::DIBHeight(dib)) +
             " colours " + std::to_string(kx_gen::DIBNumColors(dib)) + " table " +
             std::to_string(kx_gen::PaletteSize(dib)) + " " + summary(data));
}

// --- From one to another ---

using Resizing = void* (*)(const void* dib, int width, int height);

void resized(World& world, Words& words, Resizing call) {
  const Bytes source = dataOf(world.handle(words));
  Handle& target = world.handle(words);
  const auto width = words.as<int>();
  target.reset(call(source.data(), width, words.as<int>()));
  world.tell(target != nullptr ? summary(dataOf(target)) : "null");
}

void clip(World& world, Words& words) { resized(world, words, kx_gen::ClipDIB); }

void enlarge(World& world, Words& words) { resized(world, words, kx_gen::ResizeDIB); }

void shrink(World& world, Words& words) {
  void* const source = world.handle(words).get();
  Handle& target = world.handle(words);
  const auto width = words.as<unsigned short>();
  target.reset(kx_gen::ShrinkDIB(source, width, words.as<unsigned short>()));
  world.tell(target != nullptr ? summary(dataOf(target)) : "null");
}

void copyPicture(World& world, Words& words) {
  const Handle& source = world.handle(words);
  Handle copy(kx_gen::CopyHandle(source.get()));
  world.handle(words) = std::move(copy);
}

void duplicate(World& world, Words& words) {
  const Handle& source = world.handle(words);
  Handle copy(MemDuplicate(source.get()));
  world.tell(summary(dataOf(copy)));
  world.handle(words) = std::move(copy);
}

void toDrawing(World& world, Words& words) {
  Handle source = handleOf(dataOf(world.handle(words)));
  Handle& target = world.handle(words);
  target.reset(kx_gen::ConvertDibToInternalFormat(source.get()));
  if (target != nullptr) source.release();  // freed with the conversion
  world.tell(target != nullptr ? summary(dataOf(target)) : "null");
}

void fromDrawing(World& world, Words& words) {
  const Handle& source = world.handle(words);
  Handle dib(kx_gen::ConvertInternalFormatToDib(source.get()));
  world.tell(dib != nullptr ? summary(dataOf(dib)) : "null");
  world.handle(words) = std::move(dib);
}

/// To a bitmap of the system's and back, with the picture's own palette.
void throughSystem(World& world, Words& words) {
  const Bytes source = dataOf(world.handle(words));
  Handle& target = world.handle(words);
  HPALETTE palette = nullptr;
  kx_gen::CreateDIBPalette(source.data(), &palette);
  HBITMAP bitmap = kx_gen::DIBToBitmap(source.data(), palette);
  target.reset(kx_gen::BitmapToDIB(bitmap, palette));
  kx_gen::DeleteGdiObject(bitmap);
  kx_gen::DeleteGdiObject(palette);
  world.tell(target != nullptr ? summary(dataOf(target)) : "null");
}

// --- The coder ---

void setData(World& world, Words& words) {
  Handle& handle = world.handle(words);
  handle = handleOf(words.bytes());
}

/// Bytes that look like chance, out of so many values, each so many times.
void noise(World& world, Words& words) {
  Handle& handle = world.handle(words);
  Bytes bytes(words.as<size_t>());
  const auto values = words.as<uint32_t>();
  const auto times = words.as<size_t>();
  auto state = words.as<uint32_t>();
  unsigned char value = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % times == 0) value = static_cast<unsigned char>(mixed(state) % values);
    bytes[i] = value;
  }
  handle = handleOf(bytes);
}

void compress(World& world, Words& words) {
  Bytes source = dataOf(world.handle(words));
  kx_gen::CCompression coder;
  unsigned char* out = nullptr;
  unsigned long length = 0;
  coder.Compress(source.data(), static_cast<unsigned long>(source.size()), out, &length);
  const Bytes coded(out, out + length);
  world.handle(words) = handleOf(coded);
  world.tell(coded.size() <= 32 ? hex(coded) : summary(coded));
}

void expand(World& world, Words& words) {
  Bytes source = dataOf(world.handle(words));
  kx_gen::CCompression coder;
  unsigned char* out = nullptr;
  unsigned long length = 0;
  coder.Decompress(source.data(), static_cast<unsigned long>(source.size()), out, &length);
  const Bytes plain(out, out + length);
  world.handle(words) = handleOf(plain);
  world.tell(plain.size() <= 32 ? hex(plain) : summary(plain));
}

// --- BMP files ---

void savePicture(World& world, Words& words) {
  const Bytes dib = dataOf(world.handle(words));
  kx_gen::CFile file;
  file.Open(words.text().c_str(), kx_gen::CFile::modeCreate | kx_gen::CFile::modeWrite);
  world.tell(kx_gen::SaveDIB(dib.data(), file));
}

void loadPicture(World& world, Words& words) {
  Handle& handle = world.handle(words);
  kx_gen::CFile file;
  file.Open(words.text().c_str(), kx_gen::CFile::modeRead);
  handle.reset(kx_gen::ReadDIBFile(file));
  world.tell(handle != nullptr ? summary(dataOf(handle)) : "null");
}

/// A bitmap object: from one file into another.
void copyBitmapFile(World& world, Words& words) {
  kx_gen::CDib dib;
  world.tell(dib.LoadDIBFile(words.text().c_str()));
  const SIZE size = dib.GetSize();
  world.tell(std::to_string(size.cx) + "x" + std::to_string(size.cy));
  world.tell(dib.SaveDIBFile(words.text().c_str()));
}

void tellData(World& world, Words& words) {
  const Bytes data = dataOf(world.handle(words));
  world.tell(data.size() <= 64 ? hex(data) : summary(data));
}

}  // namespace

Operations pictureOperations() {
  return {
      {"picture", picture},
      {"core-picture", corePicture},
      {"blank-picture", blankPicture},
      {"picture-field", setField},
      {"describe", describe},
      {"clip", clip},
      {"enlarge", enlarge},
      {"shrink", shrink},
      {"copy-picture", copyPicture},
      {"duplicate", duplicate},
      {"to-drawing", toDrawing},
      {"from-drawing", fromDrawing},
      {"through-system", throughSystem},
      {"data", setData},
      {"noise", noise},
      {"compress", compress},
      {"expand-data", expand},
      {"save-picture", savePicture},
      {"load-picture", loadPicture},
      {"copy-bitmap-file", copyBitmapFile},
      {"tell-data", tellData},
  };
}

}  // namespace kx_operations
