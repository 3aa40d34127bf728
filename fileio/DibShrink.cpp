// Built without contraction of floating-point operations, so that every processor makes the same
// picture.

#include <algorithm>
#include <new>

#include "DibBlock.h"

namespace kx_gen {

namespace {

constexpr int64_t kMaxSize = 0xFFFF;
constexpr uint16_t kDepth = 24;
constexpr size_t kChannels = 3;

// The way along one direction of the source: which target line the current source line falls into,
// and how much of it already into the next one.
class Steps {
 public:
  Steps(uint16_t source, uint16_t target) : source_(source), target_(target) {}

  // Goes on to the next source line.
  void advance() {
    if (straddles_) {
      counter_ = static_cast<uint16_t>(counter_ - source_);
      ++line_;
    }
    counter_ = static_cast<uint16_t>(counter_ + target_);
    straddles_ = counter_ > source_;
    nextWeight_ =
        straddles_ ? static_cast<float>(counter_ - source_) / static_cast<float>(target_) : 0.0F;
  }

  size_t line() const { return line_; }
  bool straddles() const { return straddles_; }
  float nextWeight() const { return nextWeight_; }
  float weight() const { return 1.0F - nextWeight_; }

 private:
  uint16_t source_;
  uint16_t target_;
  uint16_t counter_ = 0;
  size_t line_ = 0;
  bool straddles_ = false;
  float nextWeight_ = 0;
};

// The sums of what falls into each pixel of the target, rows from the bottom up.
class Sums {
 public:
  Sums(uint16_t width, uint16_t height) : width_(width) {
    const uint64_t cells = static_cast<uint64_t>(width) * kChannels * height;
    if (cells > std::numeric_limits<size_t>::max() / sizeof(float)) return;
    cells_.reset(new (std::nothrow) float[static_cast<size_t>(cells)]());
  }

  bool isValid() const { return cells_ != nullptr; }
  const float* row(size_t y) const { return cells_.get() + y * width_ * kChannels; }

  void addRow(const unsigned char* pixels, uint16_t sourceWidth, const Steps& rows) {
    Steps columns(sourceWidth, width_);
    for (uint16_t x = 0; x < sourceWidth; ++x, pixels += kChannels) {
      columns.advance();
      add(rows.line(), columns, pixels, rows.weight());
      if (rows.straddles()) add(rows.line() + 1, columns, pixels, rows.nextWeight());
    }
  }

 private:
  void add(size_t y, const Steps& columns, const unsigned char* pixel, float rowWeight) {
    float* const cell = cells_.get() + (y * width_ + columns.line()) * kChannels;
    addPixel(cell, pixel, rowWeight * columns.weight());
    if (columns.straddles()) addPixel(cell + kChannels, pixel, rowWeight * columns.nextWeight());
  }

  static void addPixel(float* cell, const unsigned char* pixel, float weight) {
    for (size_t i = 0; i < kChannels; ++i) cell[i] += static_cast<float>(pixel[i]) * weight;
  }

  uint16_t width_;
  std::unique_ptr<float[]> cells_;
};

// A picture to be shrunk, with a header of either form.
class Source {
 public:
  explicit Source(const unsigned char* block)
      : block_(block), width_(DIBWidth(block)), height_(DIBHeight(block)) {}

  // True when the picture can be shrunk to this size: it is whole, with 3 bytes a pixel or more.
  bool holds(uint16_t width, uint16_t height, uint64_t size) const {
    if (bitCountOf(block_) < kDepth || isRunLength() || width == 0 || height == 0) return false;
    if (width_ < width || width_ > kMaxSize || rowCount() < height || rowCount() > kMaxSize) {
      return false;
    }
    return bitsOffset() + rowSize() * static_cast<uint64_t>(rowCount()) <= size;
  }

  uint16_t width() const { return static_cast<uint16_t>(width_); }
  uint16_t height() const { return static_cast<uint16_t>(rowCount()); }
  // Counted from the bottom of the picture.
  const unsigned char* row(uint32_t index) const {
    const uint32_t stored = height_ < 0 ? height() - 1u - index : index;
    return block_ + static_cast<size_t>(bitsOffset() + rowSize() * stored);
  }

 private:
  bool isRunLength() const { return hasInfoHeader(block_) && InfoDib(block_).isRunLength(); }
  int64_t rowCount() const { return height_ < 0 ? -height_ : height_; }
  uint64_t rowSize() const { return bmp::rowSize(bitCountOf(block_), width()); }
  // FindDIBBits, before it is known that the block reaches so far.
  uint64_t bitsOffset() const { return uint64_t{getLe32(block_)} + PaletteSize(block_); }

  const unsigned char* block_;
  int64_t width_;
  int64_t height_;
};

// Rounded in double precision, unlike what leads there.
unsigned char toByte(float value) {
  const double rounded = static_cast<double>(value) + 0.5;
  return static_cast<unsigned char>(std::clamp(rounded, 0.0, 255.0));
}

void putRow(unsigned char* row, const float* sums, uint16_t width, float scale) {
  const size_t count = width * kChannels;
  for (size_t i = 0; i < count; ++i) row[i] = toByte(sums[i] * scale);
  std::memset(row + count, 0, static_cast<size_t>(bmp::rowSize(kDepth, width)) - count);
}

void* shrunk(const Source& source, uint16_t width, uint16_t height) {
  Sums sums(width, height);
  OwnedHandle result(CreateDIB(width, height, kDepth));
  if (!sums.isValid() || result == nullptr) return nullptr;

  Steps rows(source.height(), height);
  for (uint32_t y = 0; y < source.height(); ++y) {
    rows.advance();
    sums.addRow(source.row(y), source.width(), rows);
  }
  const float scale = static_cast<float>(static_cast<uint32_t>(width) * height) /
                      static_cast<float>(static_cast<uint32_t>(source.width()) * source.height());
  unsigned char* const bits = FindDIBBits(MemGetPtr(result.get()));
  for (size_t y = 0; y < height; ++y) {
    putRow(bits + y * bmp::rowSize(kDepth, width), sums.row(y), width, scale);
  }
  return result.release();
}

}  // namespace

void* ShrinkDIB(void* const& dib, unsigned short width, unsigned short height) {
  const auto* block = static_cast<const unsigned char*>(MemGetPtr(dib));
  if (block == nullptr) return nullptr;
  const uint64_t size = MemGetSize(dib);
  const bool isFit = holdsHeader(block, size) && Source(block).holds(width, height, size);
  void* const result = isFit ? shrunk(Source(block), width, height) : nullptr;
  MemReleasePtr(dib);
  return result;
}

}  // namespace kx_gen
