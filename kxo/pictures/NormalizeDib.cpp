#include "pictures/NormalizeDib.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>

#include "DibLayout.h"
#include "KxLittleEndian.h"
#include "pictures/OwnedHandle.h"
#include "pictures/TrueColor.h"

namespace kxo {

namespace {

namespace bmp = kx_gen::bmp;
using kx_gen::getLe16;
using kx_gen::getLe32;
using kx_gen::putLe16;
using kx_gen::putLe32;

constexpr size_t kMasksOffset = bmp::kInfoHeaderSize;  // in headers that hold the masks themselves
constexpr size_t kMaskSize = 4;
constexpr size_t kMaskCount = 3;  // red, green, blue; transparency is not looked at
constexpr uint32_t kMaskedHeaderSize = kMasksOffset + kMaskCount * kMaskSize;
constexpr uint32_t kOldHeaderSizeMin = 16;  // of another system: fields at the end may be missing,
constexpr uint32_t kOldHeaderSize = 64;     // and compressions from 3 on mean something else

// A run-length coded picture may be this large whatever its coded size, or this many times its
// coded size.
constexpr uint64_t kSparseSizeMax = 16u << 20;
constexpr uint64_t kRunLengthFactor = 256;

/// A packed bitmap of known size.
struct Block {
  const unsigned char* data = nullptr;
  size_t size = 0;
};

/// What a header tells, and where things stand in the block.
struct Picture {
  uint32_t width = 0;
  uint32_t height = 0;
  bool topDown = false;
  uint16_t depth = 0;
  uint32_t compression = bmp::kPlain;
  uint32_t masks[kMaskCount] = {};
  size_t colorsAt = 0;
  size_t colorSize = bmp::kColorSize;
  size_t colorCount = 0;
  size_t bitsAt = 0;

  uint16_t TargetDepth() const { return depth > 8 ? kTrueColor : depth; }
  uint64_t TargetSize() const { return bmp::rowsSize(TargetDepth(), width, height); }
};

bool IsDepth(uint16_t depth) {
  return depth == 1 || depth == 4 || depth == 8 || depth == 16 || depth == 24 || depth == 32;
}

bool IsOldHeader(uint32_t headerSize) {
  return headerSize < bmp::kInfoHeaderSize || headerSize == kOldHeaderSize;
}

bool TakeSize(int64_t width, int64_t height, Picture& picture) {
  picture.width = static_cast<uint32_t>(width);
  picture.topDown = height < 0;
  picture.height = static_cast<uint32_t>(height < 0 ? -height : height);
  return width > 0 && height != 0 && IsDepth(picture.depth);
}

bool ReadCoreHeader(const unsigned char* header, Picture& picture) {
  picture.depth = getLe16(header + bmp::kCoreBitCountOffset);
  picture.colorSize = bmp::kCoreColorSize;
  picture.colorCount = bmp::colorsOfDepth(picture.depth);
  return TakeSize(getLe16(header + bmp::kCoreWidthOffset), getLe16(header + bmp::kCoreHeightOffset),
                  picture);
}

/// Headers shorter than 40 bytes have zeros for what they lack.
bool ReadInfoHeader(const unsigned char* header, uint32_t headerSize, Picture& picture) {
  unsigned char whole[bmp::kInfoHeaderSize] = {};
  std::memcpy(whole, header, std::min<size_t>(headerSize, sizeof(whole)));
  picture.depth = getLe16(whole + bmp::kBitCountOffset);
  picture.compression = getLe32(whole + bmp::kCompressionOffset);
  const uint32_t used = getLe32(whole + bmp::kColorsUsedOffset);
  picture.colorCount = used != 0 ? used : bmp::colorsOfDepth(picture.depth);
  return TakeSize(static_cast<int32_t>(getLe32(whole + bmp::kWidthOffset)),
                  static_cast<int32_t>(getLe32(whole + bmp::kHeightOffset)), picture);
}

bool IsReadable(const Picture& picture, uint32_t headerSize) {
  switch (picture.compression) {
    case bmp::kPlain:
      return true;
    case bmp::kRunLength8:
      return picture.depth == 8;
    case bmp::kRunLength4:
      return picture.depth == 4;
    case bmp::kBitFields:
    case bmp::kAlphaBitFields:
      return !IsOldHeader(headerSize) && (picture.depth == 16 || picture.depth == 32);
    default:
      return false;
  }
}

/// Where the masks of bit fields stand behind the header, they take room there.
size_t MasksBehindHeader(const Picture& picture, uint32_t headerSize) {
  if (headerSize >= kMaskedHeaderSize) return 0;
  if (picture.compression == bmp::kBitFields) return kMaskCount * kMaskSize;
  return picture.compression == bmp::kAlphaBitFields ? (kMaskCount + 1) * kMaskSize : 0;
}

void TakeMasks(const Block& dib, uint32_t headerSize, Picture& picture) {
  constexpr uint32_t kPlain16[kMaskCount] = {0x7C00, 0x03E0, 0x001F};
  constexpr uint32_t kPlain32[kMaskCount] = {0xFF0000, 0x00FF00, 0x0000FF};
  const bool isPlain = picture.compression == bmp::kPlain;
  const unsigned char* const stored =
      dib.data + (headerSize >= kMaskedHeaderSize ? kMasksOffset : headerSize);
  for (size_t i = 0; i < kMaskCount; ++i) {
    picture.masks[i] = !isPlain              ? getLe32(stored + i * kMaskSize)
                       : picture.depth == 16 ? kPlain16[i]
                                             : kPlain32[i];
  }
}

/// `bitsAt` is where a file says that the pixels begin, 0 when nothing does.
std::optional<Picture> ReadHeader(const Block& dib, size_t bitsAt) {
  if (dib.size < bmp::kHeaderSizeSize) return std::nullopt;
  const uint32_t headerSize = getLe32(dib.data + bmp::kHeaderSizeOffset);
  const bool isCore = headerSize == bmp::kCoreHeaderSize;
  if (headerSize > dib.size || (!isCore && headerSize < kOldHeaderSizeMin)) return std::nullopt;
  Picture picture;
  const bool isRead =
      isCore ? ReadCoreHeader(dib.data, picture) : ReadInfoHeader(dib.data, headerSize, picture);
  if (!isRead || !IsReadable(picture, headerSize)) return std::nullopt;

  picture.colorsAt = headerSize + MasksBehindHeader(picture, headerSize);
  if (picture.colorsAt > dib.size) return std::nullopt;
  if (picture.depth == 16 || picture.depth == 32) TakeMasks(dib, headerSize, picture);
  const uint64_t end =
      picture.colorsAt + static_cast<uint64_t>(picture.colorCount) * picture.colorSize;
  picture.bitsAt = bitsAt >= picture.colorsAt
                       ? bitsAt
                       : static_cast<size_t>(std::min<uint64_t>(end, dib.size + uint64_t{1}));
  if (picture.bitsAt > dib.size) return std::nullopt;
  picture.colorCount = std::min<size_t>({picture.colorCount, bmp::colorsOfDepth(picture.depth),
                                         (picture.bitsAt - picture.colorsAt) / picture.colorSize});
  return picture;
}

/// The new bitmap, while its rows are filled.
class Target {
 public:
  explicit Target(const Picture& picture)
      : picture_(picture),
        colors_(bmp::colorsOfDepth(picture.TargetDepth())),
        rowSize_(static_cast<size_t>(bmp::rowSize(picture.TargetDepth(), picture.width))) {
    const uint64_t size = BitsAt() + picture.TargetSize();
    if (size > UINT32_MAX) return;
    handle_.reset(MemAlloc(static_cast<unsigned long>(size)));
    if (handle_ == nullptr) throw std::bad_alloc();
    data_ = static_cast<unsigned char*>(MemGetPtr(handle_.get()));
    std::memset(data_, 0, static_cast<size_t>(size));
    PutHeader();
  }

  bool IsValid() const { return data_ != nullptr; }
  void* Release() { return handle_.release(); }

  void PutColors(const Block& dib) {
    for (size_t i = 0; i < picture_.colorCount; ++i) {
      std::memcpy(data_ + bmp::kInfoHeaderSize + i * bmp::kColorSize,
                  dib.data + picture_.colorsAt + i * picture_.colorSize, bmp::kCoreColorSize);
    }
  }

  /// The row that stands at place `stored` in the source.
  unsigned char* Row(uint32_t stored) {
    const uint32_t place = picture_.topDown ? picture_.height - 1 - stored : stored;
    return data_ + BitsAt() + rowSize_ * place;
  }
  size_t rowSize() const { return rowSize_; }

 private:
  size_t BitsAt() const { return bmp::kInfoHeaderSize + colors_ * bmp::kColorSize; }

  void PutHeader() {
    putLe32(data_ + bmp::kHeaderSizeOffset, bmp::kInfoHeaderSize);
    putLe32(data_ + bmp::kWidthOffset, picture_.width);
    putLe32(data_ + bmp::kHeightOffset, picture_.height);
    putLe16(data_ + bmp::kPlanesOffset, 1);
    putLe16(data_ + bmp::kBitCountOffset, picture_.TargetDepth());
    putLe32(data_ + bmp::kImageSizeOffset, static_cast<uint32_t>(picture_.TargetSize()));
  }

  const Picture& picture_;
  size_t colors_;
  size_t rowSize_;
  OwnedHandle handle_;
  unsigned char* data_ = nullptr;
};

/// One colour channel of bit fields: its bits, moved to the bottom, as 0 to 255.
class Channel {
 public:
  explicit Channel(uint32_t mask) : mask_(mask) {
    while (mask_ != 0 && (mask_ >> shift_ & 1) == 0) ++shift_;
    max_ = mask_ >> shift_;
  }
  unsigned char Of(uint32_t pixel) const {
    if (max_ == 0) return 0;
    const uint64_t value = (pixel & mask_) >> shift_;
    return static_cast<unsigned char>((value * 255 + max_ / 2) / max_);
  }

 private:
  uint32_t mask_;
  unsigned shift_ = 0;
  uint64_t max_ = 0;
};

void ConvertRow(const Picture& picture, const unsigned char* source, unsigned char* row) {
  const Channel red(picture.masks[0]);
  const Channel green(picture.masks[1]);
  const Channel blue(picture.masks[2]);
  const size_t pixelSize = picture.depth / 8u;
  for (uint32_t x = 0; x < picture.width; ++x, source += pixelSize, row += kChannels) {
    const auto pixel = static_cast<uint32_t>(kx_gen::getLittleEndian(source, pixelSize));
    row[0] = blue.Of(pixel);
    row[1] = green.Of(pixel);
    row[2] = red.Of(pixel);
  }
}

bool CopyRows(const Picture& picture, const Block& bits, Target& target) {
  if (bmp::rowsSize(picture.depth, picture.width, picture.height) > bits.size) return false;
  const auto sourceRowSize = static_cast<size_t>(bmp::rowSize(picture.depth, picture.width));
  for (uint32_t y = 0; y < picture.height; ++y) {
    const unsigned char* const source = bits.data + sourceRowSize * y;
    if (picture.depth == picture.TargetDepth()) {
      std::memcpy(target.Row(y), source, target.rowSize());
    } else {
      ConvertRow(picture, source, target.Row(y));
    }
  }
  return true;
}

/// Expands run-length coded pixels: pairs of a count and a colour (4 bits: two colours that take
/// turns), or of 0 and an escape.
class RunLengthReader {
 public:
  RunLengthReader(const Picture& picture, const Block& bits, Target& target)
      : picture_(picture), bits_(bits), target_(target) {}

  /// False when the coded pixels end within an item. A missing end mark is forgiven.
  bool Run() {
    while (at_ + 2 <= bits_.size) {
      const unsigned char first = bits_.data[at_];
      const unsigned char second = bits_.data[at_ + 1];
      at_ += 2;
      if (first > 0) {
        PutRun(first, second);
      } else if (second == kEndOfPicture) {
        return true;
      } else if (!Escape(second)) {
        return false;
      }
    }
    return at_ == bits_.size;
  }

 private:
  enum : unsigned char { kEndOfRow = 0, kEndOfPicture = 1, kMove = 2 };

  bool Is4() const { return picture_.depth == 4; }

  void PutRun(unsigned count, unsigned char colors) {
    for (unsigned i = 0; i < count; ++i) {
      Put(Is4() ? (i % 2 == 0 ? colors >> 4 : colors & 0x0F) : colors);
    }
  }

  bool Escape(unsigned char escape) {
    if (escape == kEndOfRow) {
      x_ = 0;
      ++y_;
      return true;
    }
    return escape == kMove ? Move() : PutLiterals(escape);
  }

  bool Move() {
    if (bits_.size - at_ < 2) return false;
    x_ += bits_.data[at_];
    y_ += bits_.data[at_ + 1];
    at_ += 2;
    return true;
  }

  /// Literal colours take a whole number of 16-bit words.
  bool PutLiterals(unsigned count) {
    const size_t size = Is4() ? (count + 1) / 2 : count;
    if (bits_.size - at_ < size) return false;
    const unsigned char* const colors = bits_.data + at_;
    for (unsigned i = 0; i < count; ++i) {
      Put(!Is4() ? colors[i] : i % 2 == 0 ? colors[i / 2] >> 4 : colors[i / 2] & 0x0F);
    }
    at_ = std::min(at_ + (size + 1) / 2 * 2, bits_.size);
    return true;
  }

  /// Pixels beside the picture are dropped.
  void Put(int color) {
    const uint64_t x = x_++;
    if (x >= picture_.width || y_ >= picture_.height) return;
    unsigned char* const row = target_.Row(static_cast<uint32_t>(y_));
    if (!Is4()) {
      row[x] = static_cast<unsigned char>(color);
      return;
    }
    const unsigned shift = x % 2 == 0 ? 4 : 0;
    unsigned char& byte = row[x / 2];
    byte = static_cast<unsigned char>((byte & ~(0x0F << shift)) | (color << shift));
  }

  const Picture& picture_;
  const Block& bits_;
  Target& target_;
  size_t at_ = 0;
  uint64_t x_ = 0;
  uint64_t y_ = 0;
};

/// What the pixels need is there, or can be coded in what is there.
bool IsPlausible(const Picture& picture, const Block& bits) {
  if (!bmp::isRunLength(picture.compression)) {
    return bmp::rowsSize(picture.depth, picture.width, picture.height) <= bits.size;
  }
  return picture.TargetSize() <= std::max(kSparseSizeMax, bits.size * kRunLengthFactor);
}

void* Normalized(const Block& dib, size_t bitsAt) {
  const std::optional<Picture> picture = ReadHeader(dib, bitsAt);
  if (!picture) return nullptr;
  const Block bits = {dib.data + picture->bitsAt, dib.size - picture->bitsAt};
  if (!IsPlausible(*picture, bits)) return nullptr;
  Target target(*picture);
  if (!target.IsValid()) return nullptr;
  target.PutColors(dib);
  const bool isRead = bmp::isRunLength(picture->compression)
                          ? RunLengthReader(*picture, bits, target).Run()
                          : CopyRows(*picture, bits, target);
  return isRead ? target.Release() : nullptr;
}

}  // namespace

void* NormalizeBmp(const unsigned char* file, size_t size) {
  if (file == nullptr || size < bmp::kFileHeaderSize ||
      getLe16(file + bmp::kFileTypeOffset) != bmp::kFileType) {
    return nullptr;
  }
  const uint32_t bitsAt = getLe32(file + bmp::kFileBitsOffset);
  return Normalized({file + bmp::kFileHeaderSize, size - bmp::kFileHeaderSize},
                    bitsAt < bmp::kFileHeaderSize ? 0 : bitsAt - bmp::kFileHeaderSize);
}

void* NormalizeDib(void* dib) {
  if (dib == nullptr) return nullptr;
  const auto* data = static_cast<const unsigned char*>(MemGetPtr(dib));
  void* const normalized = Normalized({data, MemGetSize(dib)}, 0);
  MemReleasePtr(dib);
  return normalized;
}

}  // namespace kxo
