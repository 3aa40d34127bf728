#include "Dib.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <optional>

#include "DibBlock.h"
#include "Throw.h"
#include "kx_assert.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = ".\\Dib";
enum : int {
  kLineCopyHandle = 673,
  kLineTooBig = 701,
  kLineCannotLoad,
};

constexpr unsigned char kWhite = 0xFF;

// Loading denies others writing, saving denies them everything.
constexpr unsigned int kLoadFlags = CFile::modeRead | CFile::shareDenyWrite;
constexpr unsigned int kSaveFlags =
    CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive;
static_assert(kLoadFlags == 32 && kSaveFlags == 4114, "open flags of picture files");

const unsigned char* bytesOf(const void* dib) { return static_cast<const unsigned char*>(dib); }

uint16_t roundedDepth(uint16_t bits) {
  if (bits <= 1) return 1;
  if (bits <= 4) return 4;
  if (bits <= 8) return 8;
  return bits <= 24 ? 24 : 4;
}

// A picture with rows to take over: null for any other block.
std::optional<InfoDib> pictureOf(const void* dib) {
  if (dib == nullptr || !hasInfoHeader(bytesOf(dib))) return std::nullopt;
  const InfoDib picture(bytesOf(dib));
  if (picture.width() < 0 || picture.isRunLength()) return std::nullopt;
  return picture;
}

// A white bitmap of another size with the header and colour table of `source`, its rows from the
// bottom up.
OwnedHandle newLike(const InfoDib& source, uint32_t width, uint32_t height) {
  const uint64_t bitsSize = bmp::rowsSize(source.bitCount(), width, height);
  if (bitsSize > std::numeric_limits<uint32_t>::max()) return nullptr;
  const size_t bitsOffset = source.bitsOffset();
  OwnedHandle result = newHandle(bitsOffset + bitsSize);
  if (result == nullptr) return nullptr;
  unsigned char* const data = dataOf(result);
  std::memcpy(data, source.header(), bitsOffset);
  putLe32(data + bmp::kWidthOffset, width);
  putLe32(data + bmp::kHeightOffset, height);
  putLe32(data + bmp::kImageSizeOffset, static_cast<uint32_t>(bitsSize));
  std::memset(data + bitsOffset, kWhite, static_cast<size_t>(bitsSize));
  return result;
}

// Copies the first `count` bytes of the first `rows` rows, counted from the top, into a new bitmap.
void copyRows(const InfoDib& source, const OwnedHandle& target, uint32_t rows, uint64_t count) {
  unsigned char* const data = dataOf(target);
  const InfoDib copy(data);
  if (count == 0) return;
  for (uint32_t i = 0; i < rows; ++i) {
    const auto offset = static_cast<size_t>(copy.row(i) - data);
    std::memcpy(data + offset, source.row(i), static_cast<size_t>(count));
  }
}

// The bytes of pixels that a file gets: run-length coded ones as the header counts them, others all
// rows.
uint64_t savedBitsSize(const InfoDib& dib) {
  return dib.isRunLength() ? dib.imageSize() : dib.rowsSize();
}

OwnedHandle readDib(CFile& file) {
  const unsigned long length = file.GetLength();
  if (length < bmp::kFileHeaderSize) return nullptr;
  unsigned char header[bmp::kFileHeaderSize] = {};
  if (file.Read(header, sizeof(header)) != sizeof(header) ||
      getLe16(header + bmp::kFileTypeOffset) != bmp::kFileType) {
    return nullptr;
  }
  OwnedHandle dib = newHandle(length);
  if (dib == nullptr) return nullptr;
  const auto count = static_cast<unsigned int>(length - sizeof(header));
  std::memset(dataOf(dib) + count, 0, sizeof(header));
  if (file.Read(dataOf(dib), count) != count) return nullptr;
  return dib;
}

// Runs `call`; false when it throws. What is thrown is released.
template <class Call>
bool succeeds(Call call) {
  try {
    call();
    return true;
  } catch (CException* e) {
    if (e != nullptr) e->Delete();
    return false;
  }
}

int saveHandle(void* handle, CFile& file) {
  const auto* dib = static_cast<const unsigned char*>(MemGetPtr(handle));
  if (dib == nullptr) return 0;
  const uint64_t size = MemGetSize(handle);
  const bool isWhole = holdsHeader(dib, size) && hasInfoHeader(dib) &&
                       InfoDib(dib).holdsBits(savedBitsSize(InfoDib(dib)), size);
  const int result = isWhole ? SaveDIB(dib, file) : 0;
  MemReleasePtr(handle);
  return result;
}

}  // namespace

long DIBWidth(const void* dib) {
  const unsigned char* const header = bytesOf(dib);
  return hasInfoHeader(header) ? InfoDib(header).width() : getLe16(header + bmp::kCoreWidthOffset);
}

long DIBHeight(const void* dib) {
  const unsigned char* const header = bytesOf(dib);
  return hasInfoHeader(header) ? InfoDib(header).height()
                               : getLe16(header + bmp::kCoreHeightOffset);
}

unsigned short DIBNumColors(const void* dib) {
  const unsigned char* const header = bytesOf(dib);
  const uint32_t used = hasInfoHeader(header) ? getLe32(header + bmp::kColorsUsedOffset) : 0;
  if (used != 0) return static_cast<unsigned short>(used);
  return static_cast<unsigned short>(bmp::colorsOfDepth(bitCountOf(header)));
}

unsigned short PaletteSize(const void* dib) {
  const size_t colorSize = hasInfoHeader(bytesOf(dib)) ? bmp::kColorSize : bmp::kCoreColorSize;
  return static_cast<unsigned short>(DIBNumColors(dib) * colorSize);
}

unsigned char* FindDIBBits(void* dib) {
  return static_cast<unsigned char*>(dib) + getLe32(bytesOf(dib)) + PaletteSize(dib);
}

const unsigned char* FindDIBBits(const void* dib) {
  return bytesOf(dib) + getLe32(bytesOf(dib)) + PaletteSize(dib);
}

void* CreateDIB(unsigned long width, unsigned long height, unsigned short bits) {
  InfoHeader header;
  header.width = static_cast<uint32_t>(width);
  header.height = static_cast<uint32_t>(height);
  header.bitCount = roundedDepth(bits);
  const uint64_t bitsSize = bmp::rowsSize(header.bitCount, header.width, header.height);
  if (bitsSize > std::numeric_limits<uint32_t>::max()) return nullptr;
  const uint64_t size =
      bmp::kInfoHeaderSize + bmp::colorsOfDepth(header.bitCount) * bmp::kColorSize + bitsSize;
  OwnedHandle dib = newHandle(size);
  if (dib == nullptr) return nullptr;
  std::memset(dataOf(dib), kWhite, static_cast<size_t>(size));
  putInfoHeader(dataOf(dib), header);
  return dib.release();
}

void* CopyHandle(void* handle) {
  if (handle == nullptr) return nullptr;
  const unsigned long size = MemGetSize(handle);
  OwnedHandle copy = newHandle(size);
  if (!kx_Check(copy != nullptr, kSource, kLineCopyHandle)) return nullptr;
  std::memcpy(dataOf(copy), MemGetPtr(handle), size);
  return copy.release();
}

void* ClipDIB(const void* dib, int width, int height) {
  const std::optional<InfoDib> source = pictureOf(dib);
  if (!source || width < 0 || height < 0) return nullptr;
  const auto newHeight = static_cast<uint32_t>(height);
  if (width > source->width() || newHeight > source->rowCount()) return nullptr;
  const auto newWidth = static_cast<uint32_t>(width);
  OwnedHandle clipped = newLike(*source, newWidth, newHeight);
  if (clipped == nullptr) return nullptr;
  copyRows(*source, clipped, newHeight, bmp::rowSize(source->bitCount(), newWidth));
  return clipped.release();
}

// All bytes of a row that have pixels come along. A picture that is only wider than the new size
// loses what its rows have more than the new ones.
void* ResizeDIB(const void* dib, int width, int height) {
  const std::optional<InfoDib> source = pictureOf(dib);
  if (!source || width < 0 || height < 0) return nullptr;
  const auto newWidth = static_cast<uint32_t>(width);
  const auto newHeight = static_cast<uint32_t>(height);
  const uint32_t rows = source->rowCount();
  if (newHeight < rows || (newHeight == rows && width <= source->width())) return nullptr;
  OwnedHandle resized = newLike(*source, newWidth, newHeight);
  if (resized == nullptr) return nullptr;
  const uint64_t sourceBits = static_cast<uint64_t>(source->bitCount()) * source->width();
  copyRows(*source, resized, rows,
           std::min((sourceBits + 7) / 8, bmp::rowSize(source->bitCount(), newWidth)));
  return resized.release();
}

void* ReadDIBFile(CFile& file) {
  OwnedHandle dib;
  succeeds([&] { dib = readDib(file); });
  return dib.release();
}

int SaveDIB(const void* dib, CFile& file) {
  if (dib == nullptr || !hasInfoHeader(bytesOf(dib))) return 0;
  const InfoDib source(bytesOf(dib));
  const uint64_t bitsSize = savedBitsSize(source);
  const size_t bitsOffset = bmp::kFileHeaderSize + source.bitsOffset();
  if (bitsSize > std::numeric_limits<uint32_t>::max() - bitsOffset) return 0;

  unsigned char front[bmp::kFileHeaderSize + bmp::kInfoHeaderSize] = {};
  putLe16(front + bmp::kFileTypeOffset, bmp::kFileType);
  putLe32(front + bmp::kFileSizeOffset, static_cast<uint32_t>(bitsOffset + bitsSize));
  putLe32(front + bmp::kFileBitsOffset, static_cast<uint32_t>(bitsOffset));
  unsigned char* const header = front + bmp::kFileHeaderSize;
  std::memcpy(header, source.header(), bmp::kInfoHeaderSize);
  putLe32(header + bmp::kImageSizeOffset, static_cast<uint32_t>(bitsSize));
  file.Write(front, sizeof(front));
  file.Write(source.colors(), static_cast<unsigned int>(bitsOffset - sizeof(front) + bitsSize));
  return 1;
}

// An object that copies of a CDib hold together.
struct CDib::Share {
  using Free = void (*)(void*);

  static void drop(Share*& share, Free freeObject) {
    if (share != nullptr && --share->owners == 0) {
      freeObject(share->object);
      delete share;
    }
    share = nullptr;
  }
  static Share* take(void* object, Free freeObject) {
    if (object == nullptr) return nullptr;
    auto* share = new (std::nothrow) Share;
    if (share == nullptr) {
      freeObject(object);
    } else {
      share->object = object;
    }
    return share;
  }
  static Share* join(Share* share) {
    if (share != nullptr) ++share->owners;
    return share;
  }
  static void freePalette(void* palette) { DeleteGdiObject(palette); }
  static void leave(void*) {}

  std::atomic<long> owners{1};
  void* object = nullptr;
};

CDib::CDib(const CDib& other)
    : dib_(Share::join(other.dib_)), palette_(Share::join(other.palette_)), size_(other.size_) {}

CDib& CDib::operator=(const CDib& other) {
  Share* const dib = Share::join(other.dib_);
  Share* const palette = Share::join(other.palette_);
  Share::drop(dib_, MemFree);
  Share::drop(palette_, Share::freePalette);
  dib_ = dib;
  palette_ = palette;
  size_ = other.size_;
  return *this;
}

CDib::~CDib() {
  Share::drop(dib_, MemFree);
  Share::drop(palette_, Share::freePalette);
}

void* CDib::GetHDIB() const { return dib_ == nullptr ? nullptr : dib_->object; }

HPALETTE CDib::GetPalette() const {
  return palette_ == nullptr ? nullptr : static_cast<HPALETTE>(palette_->object);
}

void CDib::setHandle(void* dib) {
  Share::drop(dib_, MemFree);
  dib_ = Share::take(dib, MemFree);
}

void CDib::ReplaceHDIB(void* const& dib) {
  setHandle(MemDuplicate(dib));  // `dib` may be the present one
  InitDIBData();
}

void CDib::DetachDib() { Share::drop(dib_, Share::leave); }

void CDib::InitDIBData() {
  Share::drop(palette_, Share::freePalette);
  void* const handle = GetHDIB();
  if (handle == nullptr) return;
  const auto* dib = static_cast<const unsigned char*>(MemGetPtr(handle));
  const uint64_t size = MemGetSize(handle);
  if (!holdsHeader(dib, size)) {
    setHandle(nullptr);
    return;
  }
  const long width = DIBWidth(dib);
  const long height = DIBHeight(dib);
  if (width < 0 || height < 0) {
    MemReleasePtr(handle);
    setHandle(nullptr);
    throwTraced(kSource, kLineTooBig, kMsgImageTooBig, kNoErrNumber);
  }
  size_.cx = static_cast<LONG>(width);
  size_.cy = static_cast<LONG>(height);
  HPALETTE palette = nullptr;
  const uint64_t colorSize = hasInfoHeader(dib) ? bmp::kColorSize : bmp::kCoreColorSize;
  const bool holdsColors = getLe32(dib) + DIBNumColors(dib) * colorSize <= size;
  if (holdsColors) CreateDIBPalette(dib, &palette);
  palette_ = Share::take(palette, Share::freePalette);
  MemReleasePtr(handle);
}

bool CDib::LoadDIBFile(const wchar_t* path) {
  CFile file;
  if (!succeeds([&] { file.Open(path, kLoadFlags); })) return false;
  setHandle(ReadDIBFile(file));
  InitDIBData();
  if (GetHDIB() == nullptr) throwTraced(kSource, kLineCannotLoad, kMsgCannotLoadDib, kNoErrNumber);
  return true;
}

int CDib::SaveDIBFile(const wchar_t* path) const {
  int result = 0;
  const bool written = succeeds([&] {
    CFile file;
    file.Open(path, kSaveFlags);
    result = saveHandle(GetHDIB(), file);
    file.Close();
  });
  return written ? result : 0;
}

}  // namespace kx_gen
