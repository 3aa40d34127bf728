#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "WinApi.h"

namespace {

constexpr int kScreenBits = 32;
constexpr WORD kPaletteVersion = 0x300;

constexpr PALETTEENTRY kDefaultColors[] = {
    {0, 0, 0, 0},       {128, 0, 0, 0},     {0, 128, 0, 0},     {128, 128, 0, 0},
    {0, 0, 128, 0},     {128, 0, 128, 0},   {0, 128, 128, 0},   {192, 192, 192, 0},
    {192, 220, 192, 0}, {166, 202, 240, 0}, {255, 251, 240, 0}, {160, 160, 164, 0},
    {128, 128, 128, 0}, {255, 0, 0, 0},     {0, 255, 0, 0},     {255, 255, 0, 0},
    {0, 0, 255, 0},     {255, 0, 255, 0},   {0, 255, 255, 0},   {255, 255, 255, 0},
};

struct Object {
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;
};

/// A picture in memory, of a depth that CreateDIBSection lets through.
class Bitmap : public Object {
 public:
  explicit Bitmap(const BITMAPINFOHEADER& header) : header_(header) {
    header_.biSizeImage = static_cast<DWORD>(RowSize() * RowCount());
    bits_.resize(header_.biSizeImage);
    if (header.biBitCount <= 8) colors_.resize(size_t{1} << header.biBitCount);
    header_.biClrUsed = static_cast<DWORD>(colors_.size());
  }

  const BITMAPINFOHEADER& header() const { return header_; }
  LONG width() const { return header_.biWidth; }
  LONG height() const { return static_cast<LONG>(RowCount()); }
  WORD depth() const { return header_.biBitCount; }
  std::vector<RGBQUAD>& colors() { return colors_; }
  const std::vector<RGBQUAD>& colors() const { return colors_; }
  BYTE* bits() { return bits_.data(); }
  size_t RowSize() const {
    return (static_cast<size_t>(header_.biWidth) * header_.biBitCount + 31) / 32 * 4;
  }

  bool HasSameForm(const Bitmap& other) const {
    return depth() == other.depth() && colors_.size() == other.colors_.size() &&
           (colors_.empty() || std::memcmp(colors_.data(), other.colors_.data(),
                                           colors_.size() * sizeof(RGBQUAD)) == 0);
  }

  /// Where the pixel begins, or the byte that it shares.
  const BYTE* PixelByte(int64_t x, int64_t y) const { return bits_.data() + PixelOffset(x, y); }
  BYTE* PixelByte(int64_t x, int64_t y) { return bits_.data() + PixelOffset(x, y); }

  /// The values of pixels of one row, as many as there is room for.
  void GetRow(int64_t x, int64_t y, std::vector<DWORD>& values) const {
    const BYTE* const from = PixelByte(x, y);
    switch (depth()) {
      case 8:
        return Load<1>(from, values);
      case 16:
        return Load<2>(from, values);
      case 24:
        return Load<3>(from, values);
      case 32:
        return Load<4>(from, values);
      default:
        for (DWORD& value : values) value = Get(x++, y);
    }
  }

  void SetRow(int64_t x, int64_t y, const std::vector<DWORD>& values) {
    BYTE* const to = PixelByte(x, y);
    switch (depth()) {
      case 8:
        return Store<1>(values, to);
      case 16:
        return Store<2>(values, to);
      case 24:
        return Store<3>(values, to);
      case 32:
        return Store<4>(values, to);
      default:
        for (const DWORD value : values) Set(x++, y, value);
    }
  }

  RGBQUAD ColorOf(DWORD value) const {
    if (!colors_.empty()) return colors_[value];
    if (depth() == 16) {
      return {Widened(value), Widened(value >> 5), Widened(value >> 10), 0};
    }
    return {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8), static_cast<BYTE>(value >> 16),
            0};
  }

  DWORD ValueOf(const RGBQUAD& color) const {
    if (!colors_.empty()) return NearestColor(color);
    if (depth() == 16) {
      return (static_cast<DWORD>(color.rgbRed) >> 3) << 10 |
             (static_cast<DWORD>(color.rgbGreen) >> 3) << 5 |
             static_cast<DWORD>(color.rgbBlue) >> 3;
    }
    return static_cast<DWORD>(color.rgbRed) << 16 | static_cast<DWORD>(color.rgbGreen) << 8 |
           color.rgbBlue;
  }

  HDC selectedInto = nullptr;

 private:
  /// What the bitmap keeps of a pixel of less than a byte: an index.
  DWORD Get(int64_t x, int64_t y) const {
    return (*PixelByte(x, y) >> ShiftOf(x)) & ((1u << depth()) - 1);
  }
  void Set(int64_t x, int64_t y, DWORD value) {
    BYTE& byte = *PixelByte(x, y);
    const unsigned mask = ((1u << depth()) - 1) << ShiftOf(x);
    byte = static_cast<BYTE>((byte & ~mask) | (value << ShiftOf(x)));
  }
  unsigned ShiftOf(int64_t x) const {
    const unsigned perByte = 8u / depth();
    return (perByte - 1 - static_cast<unsigned>(x % perByte)) * depth();
  }

  /// A pixel of whole bytes is an index or the bits of a colour, the lowest first. The number of
  /// bytes is known here, since pictures of millions of pixels pass.
  template <size_t kBytes>
  static void Load(const BYTE* from, std::vector<DWORD>& values) {
    for (DWORD& value : values) {
      BYTE bytes[4] = {};
      std::memcpy(bytes, from, kBytes);
      from += kBytes;
      value = static_cast<DWORD>(bytes[3]) << 24 | static_cast<DWORD>(bytes[2]) << 16 |
              static_cast<DWORD>(bytes[1]) << 8 | bytes[0];
    }
  }
  template <size_t kBytes>
  static void Store(const std::vector<DWORD>& values, BYTE* to) {
    for (const DWORD value : values) {
      const BYTE bytes[4] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8),
                             static_cast<BYTE>(value >> 16), static_cast<BYTE>(value >> 24)};
      std::memcpy(to, bytes, kBytes);
      to += kBytes;
    }
  }

  /// 5 bits as 8.
  static BYTE Widened(DWORD value) {
    const DWORD five = value & 0x1F;
    return static_cast<BYTE>(five << 3 | five >> 2);
  }

  size_t RowCount() const {
    const auto stored = static_cast<DWORD>(header_.biHeight);
    return header_.biHeight < 0 ? DWORD{0} - stored : stored;
  }

  /// Of the row that is `y` rows below the top.
  size_t RowOffset(int64_t y) const {
    const auto fromTop = static_cast<size_t>(y);
    return RowSize() * (header_.biHeight < 0 ? fromTop : RowCount() - 1 - fromTop);
  }

  size_t PixelOffset(int64_t x, int64_t y) const {
    return RowOffset(y) + static_cast<size_t>(x) * depth() / 8;
  }

  DWORD NearestColor(const RGBQUAD& color) const {
    const auto distance = [&](const RGBQUAD& other) {
      const int blue = color.rgbBlue - other.rgbBlue;
      const int green = color.rgbGreen - other.rgbGreen;
      const int red = color.rgbRed - other.rgbRed;
      return blue * blue + green * green + red * red;
    };
    const auto nearest = std::min_element(
        colors_.begin(), colors_.end(),
        [&](const RGBQUAD& a, const RGBQUAD& b) { return distance(a) < distance(b); });
    return static_cast<DWORD>(nearest - colors_.begin());
  }

  BITMAPINFOHEADER header_;
  std::vector<RGBQUAD> colors_;
  std::vector<BYTE> bits_;
};

struct Palette : Object {
  std::vector<PALETTEENTRY> entries;
};

struct Context : Object {
  Bitmap* bitmap = nullptr;    // null in the screen's; never deleted while it is selected
  HPALETTE palette = nullptr;  // may have been deleted since
};

/// Every object there is. A handle is an object's address, and only what stands here is used.
class Objects {
 public:
  static Objects& All() {
    static Objects all;
    return all;
  }

  std::mutex mutex;

  template <class Kind>
  Kind* Find(const void* handle) const {
    const auto place = objects_.find(handle);
    Kind* const found =
        place == objects_.end() ? nullptr : dynamic_cast<Kind*>(place->second.get());
    if (found == nullptr) SetLastError(ERROR_INVALID_HANDLE);
    return found;
  }
  template <class Kind>
  Kind* Add(std::unique_ptr<Kind> object) {
    Kind* const added = object.get();
    objects_[added] = std::move(object);
    return added;
  }
  void Remove(const Object* object) { objects_.erase(object); }

  // The stock: never deleted, and the bitmap stands in every memory context at first.
  Palette* defaultPalette() const { return defaultPalette_; }
  Bitmap* onePixel() const { return onePixel_; }
  bool IsStock(const Object* object) const {
    return object == defaultPalette_ || object == onePixel_;
  }

 private:
  Objects() {
    auto palette = std::make_unique<Palette>();
    palette->entries.assign(std::begin(kDefaultColors), std::end(kDefaultColors));
    defaultPalette_ = Add(std::move(palette));
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = 1;
    header.biHeight = 1;
    header.biPlanes = 1;
    header.biBitCount = 1;
    onePixel_ = Add(std::make_unique<Bitmap>(header));
  }

  std::map<const void*, std::unique_ptr<Object>> objects_;
  Palette* defaultPalette_ = nullptr;
  Bitmap* onePixel_ = nullptr;
};

HDC HandleOf(Context* context) { return reinterpret_cast<HDC>(static_cast<Object*>(context)); }
HBITMAP HandleOf(Bitmap* bitmap) { return reinterpret_cast<HBITMAP>(static_cast<Object*>(bitmap)); }
HPALETTE HandleOf(Palette* palette) {
  return reinterpret_cast<HPALETTE>(static_cast<Object*>(palette));
}

/// Runs `call` with the objects to itself; exhausted memory gives `failed`.
template <class Result, class Call>
Result WithObjects(Result failed, Call call) {
  try {
    Objects& objects = Objects::All();
    const std::lock_guard<std::mutex> lock(objects.mutex);
    return call(objects);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return failed;
  }
}

template <class Result>
Result Refuse(Result result) {
  SetLastError(ERROR_INVALID_PARAMETER);
  return result;
}

bool IsDepth(WORD bits) {
  return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

bool CanMake(const BITMAPINFOHEADER& header) {
  constexpr uint64_t kSizeMax = std::numeric_limits<LONG>::max();
  if (header.biSize != sizeof(BITMAPINFOHEADER) || header.biCompression != BI_RGB ||
      header.biPlanes != 1 || !IsDepth(header.biBitCount) || header.biWidth <= 0 ||
      header.biHeight == 0) {
    return false;
  }
  const uint64_t rowSize =
      (static_cast<uint64_t>(header.biWidth) * header.biBitCount + 31) / 32 * 4;
  const auto rows = static_cast<uint64_t>(std::abs(static_cast<int64_t>(header.biHeight)));
  return rowSize <= kSizeMax / rows;
}

void TakeColors(const BITMAPINFO* info, Bitmap& bitmap) {
  std::vector<RGBQUAD>& colors = bitmap.colors();
  const size_t told = info->bmiHeader.biClrUsed;
  const size_t count = told == 0 ? colors.size() : std::min(told, colors.size());
  const auto* first =
      reinterpret_cast<const unsigned char*>(info) + offsetof(BITMAPINFO, bmiColors);
  if (count > 0) std::memcpy(colors.data(), first, count * sizeof(RGBQUAD));
}

BITMAP Describe(Bitmap& bitmap) {
  BITMAP description = {};
  description.bmWidth = bitmap.width();
  description.bmHeight = bitmap.height();
  description.bmWidthBytes = static_cast<LONG>(bitmap.RowSize());
  description.bmPlanes = 1;
  description.bmBitsPixel = bitmap.depth();
  description.bmBits = bitmap.bits();
  return description;
}

template <class Description>
int Fill(const Description& description, int size, void* buffer) {
  constexpr int kSize = sizeof(Description);
  if (buffer == nullptr) return kSize;
  if (size < kSize) return Refuse(0);
  std::memcpy(buffer, &description, sizeof(description));
  return kSize;
}

/// One direction of a copy between bitmaps: where it starts in each, and the steps that lie within
/// both.
struct Span {
  Span(int count, int target, LONG targetSize, int source, LONG sourceSize)
      : target(target),
        source(source),
        first(std::max<int64_t>({0, -this->target, -this->source})),
        last(std::min({int64_t{count}, targetSize - this->target, sourceSize - this->source})) {}
  int64_t target;
  int64_t source;
  int64_t first;
  int64_t last;
};

/// What a pixel of one bitmap is in another.
class Translation {
 public:
  Translation(const Bitmap& source, Bitmap& target)
      : source_(source), target_(target), isNone_(source.HasSameForm(target)) {
    if (isNone_) return;
    for (const RGBQUAD& color : source.colors()) values_.push_back(target.ValueOf(color));
  }
  bool isNone() const { return isNone_; }
  DWORD operator()(DWORD value) const {
    return values_.empty() ? target_.ValueOf(source_.ColorOf(value)) : values_[value];
  }

 private:
  const Bitmap& source_;
  const Bitmap& target_;
  bool isNone_;
  std::vector<DWORD> values_;  // of the source's colours
};

/// Copies pixels of a row. All are read before the first one is written: source and target may be
/// one row.
class RowCopy {
 public:
  RowCopy(const Bitmap& source, Bitmap& target, const Span& columns)
      : source_(source),
        target_(target),
        translation_(source, target),
        from_(columns.source + columns.first),
        to_(columns.target + columns.first),
        count_(columns.last - columns.first),
        wholeBytes_(CountWholeBytes()),
        values_(static_cast<size_t>(count_ - PixelsIn(wholeBytes_))) {}

  void operator()(int64_t sourceRow, int64_t targetRow) {
    const int64_t done = PixelsIn(wholeBytes_);
    source_.GetRow(from_ + done, sourceRow, values_);
    if (!translation_.isNone()) {
      for (DWORD& value : values_) value = translation_(value);
    }
    if (wholeBytes_ > 0) {
      std::memmove(target_.PixelByte(to_, targetRow), source_.PixelByte(from_, sourceRow),
                   wholeBytes_);
    }
    target_.SetRow(to_ + done, targetRow, values_);
  }

 private:
  int64_t PixelsIn(size_t bytes) const { return static_cast<int64_t>(bytes * 8 / source_.depth()); }
  /// Those that hold nothing but pixels of the row, and stay as they are. Pixel by pixel a large
  /// drawing takes seconds.
  size_t CountWholeBytes() const {
    const auto bitsBefore = [&](int64_t pixels) {
      return static_cast<size_t>(pixels) * source_.depth();
    };
    if (!translation_.isNone() || bitsBefore(from_) % 8 != 0 || bitsBefore(to_) % 8 != 0) return 0;
    return bitsBefore(count_) / 8;
  }

  const Bitmap& source_;
  Bitmap& target_;
  Translation translation_;
  int64_t from_;
  int64_t to_;
  int64_t count_;
  size_t wholeBytes_;
  std::vector<DWORD> values_;  // of the pixels that are copied one by one
};

/// Every row is read before it is written over: source and target may be one bitmap.
void CopyPixels(const Bitmap& source, Bitmap& target, const Span& columns, const Span& rows) {
  if (columns.first >= columns.last) return;
  RowCopy copy(source, target, columns);
  const bool fromBelow = rows.target > rows.source;
  for (int64_t i = rows.first; i < rows.last; ++i) {
    const int64_t y = fromBelow ? rows.first + rows.last - 1 - i : i;
    copy(rows.source + y, rows.target + y);
  }
}

}  // namespace

HDC GetDC(HWND) {
  return WithObjects(HDC{nullptr}, [](Objects& objects) {
    auto screen = std::make_unique<Context>();
    screen->palette = HandleOf(objects.defaultPalette());
    return HandleOf(objects.Add(std::move(screen)));
  });
}

int ReleaseDC(HWND, HDC dc) {
  return WithObjects(0, [&](Objects& objects) {
    const auto* context = objects.Find<Context>(dc);
    if (context == nullptr || context->bitmap != nullptr) return 0;
    objects.Remove(context);
    return 1;
  });
}

HDC CreateCompatibleDC(HDC dc) {
  return WithObjects(HDC{nullptr}, [&](Objects& objects) {
    if (dc != nullptr && objects.Find<Context>(dc) == nullptr) return HDC{nullptr};
    auto memory = std::make_unique<Context>();
    memory->palette = HandleOf(objects.defaultPalette());
    memory->bitmap = objects.onePixel();
    return HandleOf(objects.Add(std::move(memory)));
  });
}

BOOL DeleteDC(HDC dc) {
  return WithObjects(FALSE, [&](Objects& objects) {
    const auto* context = objects.Find<Context>(dc);
    if (context == nullptr || context->bitmap == nullptr) return FALSE;
    context->bitmap->selectedInto = nullptr;
    objects.Remove(context);
    return TRUE;
  });
}

int GetDeviceCaps(HDC dc, int index) {
  return WithObjects(0, [&](Objects& objects) {
    if (objects.Find<Context>(dc) == nullptr) return 0;
    switch (index) {
      case BITSPIXEL:
        return kScreenBits;
      case PLANES:
        return 1;
      default:
        return 0;
    }
  });
}

HBITMAP CreateDIBSection(HDC, const BITMAPINFO* info, UINT usage, void** bits, HANDLE section,
                         DWORD) {
  if (bits != nullptr) *bits = nullptr;
  return WithObjects(HBITMAP{nullptr}, [&](Objects& objects) {
    if (info == nullptr || usage != DIB_RGB_COLORS || section != nullptr ||
        !CanMake(info->bmiHeader)) {
      return Refuse(HBITMAP{nullptr});
    }
    Bitmap* const bitmap = objects.Add(std::make_unique<Bitmap>(info->bmiHeader));
    TakeColors(info, *bitmap);
    if (bits != nullptr) *bits = bitmap->bits();
    return HandleOf(bitmap);
  });
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ object) {
  return WithObjects(HGDIOBJ{nullptr}, [&](Objects& objects) {
    auto* const context = objects.Find<Context>(dc);
    auto* const bitmap = objects.Find<Bitmap>(object);
    if (context == nullptr || bitmap == nullptr) return HGDIOBJ{nullptr};
    if (context->bitmap == nullptr ||
        (bitmap->selectedInto != nullptr && bitmap->selectedInto != dc)) {
      return Refuse(HGDIOBJ{nullptr});
    }
    Bitmap* const before = context->bitmap;
    before->selectedInto = nullptr;
    if (!objects.IsStock(bitmap)) bitmap->selectedInto = dc;
    context->bitmap = bitmap;
    return HGDIOBJ{HandleOf(before)};
  });
}

BOOL DeleteObject(HGDIOBJ object) {
  return WithObjects(FALSE, [&](Objects& objects) {
    const auto* found = objects.Find<Object>(object);
    if (found == nullptr || dynamic_cast<const Context*>(found) != nullptr) return FALSE;
    if (objects.IsStock(found)) return TRUE;
    const auto* bitmap = dynamic_cast<const Bitmap*>(found);
    if (bitmap != nullptr && bitmap->selectedInto != nullptr) return Refuse(FALSE);
    objects.Remove(found);
    return TRUE;
  });
}

int GetObjectW(HANDLE object, int size, void* buffer) {
  return WithObjects(0, [&](Objects& objects) {
    auto* const found = objects.Find<Object>(object);
    if (auto* bitmap = dynamic_cast<Bitmap*>(found)) return Fill(Describe(*bitmap), size, buffer);
    if (const auto* palette = dynamic_cast<Palette*>(found)) {
      return Fill(static_cast<WORD>(palette->entries.size()), size, buffer);
    }
    return found == nullptr ? 0 : Refuse(0);
  });
}

HGDIOBJ GetStockObject(int index) {
  return WithObjects(HGDIOBJ{nullptr}, [&](Objects& objects) {
    return index == DEFAULT_PALETTE ? HGDIOBJ{HandleOf(objects.defaultPalette())} : nullptr;
  });
}

// NOLINTNEXTLINE(readability-function-size): the system's own signature
BOOL BitBlt(HDC target, int x, int y, int width, int height, HDC source, int sourceX, int sourceY,
            DWORD operation) {
  return WithObjects(FALSE, [&](Objects& objects) {
    const auto* to = objects.Find<Context>(target);
    const auto* from = objects.Find<Context>(source);
    if (to == nullptr || from == nullptr) return FALSE;
    if (to->bitmap == nullptr || from->bitmap == nullptr || operation != SRCCOPY) {
      return Refuse(FALSE);
    }
    Bitmap& into = *to->bitmap;
    const Bitmap& picture = *from->bitmap;
    CopyPixels(picture, into, Span(width, x, into.width(), sourceX, picture.width()),
               Span(height, y, into.height(), sourceY, picture.height()));
    return TRUE;
  });
}

UINT GetDIBColorTable(HDC dc, UINT start, UINT count, RGBQUAD* colors) {
  return WithObjects(UINT{0}, [&](Objects& objects) {
    const auto* context = objects.Find<Context>(dc);
    if (context == nullptr || context->bitmap == nullptr || colors == nullptr) return UINT{0};
    const std::vector<RGBQUAD>& table = context->bitmap->colors();
    if (start >= table.size()) return UINT{0};
    const UINT copied = std::min(count, static_cast<UINT>(table.size()) - start);
    std::copy_n(table.begin() + start, copied, colors);
    return copied;
  });
}

BOOL GdiFlush() { return TRUE; }

HPALETTE CreatePalette(const LOGPALETTE* palette) {
  return WithObjects(HPALETTE{nullptr}, [&](Objects& objects) {
    if (palette == nullptr || palette->palVersion != kPaletteVersion ||
        palette->palNumEntries == 0) {
      return Refuse(HPALETTE{nullptr});
    }
    auto made = std::make_unique<Palette>();
    made->entries.resize(palette->palNumEntries);
    const auto* first =
        reinterpret_cast<const unsigned char*>(palette) + offsetof(LOGPALETTE, palPalEntry);
    std::memcpy(made->entries.data(), first, made->entries.size() * sizeof(PALETTEENTRY));
    return HandleOf(objects.Add(std::move(made)));
  });
}

UINT GetPaletteEntries(HPALETTE palette, UINT start, UINT count, PALETTEENTRY* entries) {
  return WithObjects(UINT{0}, [&](Objects& objects) {
    const auto* found = objects.Find<Palette>(palette);
    if (found == nullptr) return UINT{0};
    const auto size = static_cast<UINT>(found->entries.size());
    if (entries == nullptr) return size;
    if (start >= size) return UINT{0};
    const UINT copied = std::min(count, size - start);
    std::copy_n(found->entries.begin() + start, copied, entries);
    return copied;
  });
}

HPALETTE SelectPalette(HDC dc, HPALETTE palette, BOOL) {
  return WithObjects(HPALETTE{nullptr}, [&](Objects& objects) {
    auto* const context = objects.Find<Context>(dc);
    if (context == nullptr || objects.Find<Palette>(palette) == nullptr) return HPALETTE{nullptr};
    return std::exchange(context->palette, palette);
  });
}

UINT RealizePalette(HDC dc) {
  return WithObjects(UINT{0}, [&](Objects& objects) {
    objects.Find<Context>(dc);
    return UINT{0};
  });
}
