/// Device-independent bitmaps: packed blocks (DibLayout.h), held in memory handles (MemAPI.h).
///
/// A `const void* dib` is the block itself, which the caller knows to be whole; a `void*` handle is
/// one of MemAlloc, and a bitmap that does not fit its handle is refused. Headers of 40 bytes are
/// information headers, all others are taken for core headers. What returns a new bitmap returns a
/// handle, which the caller frees with MemFree, and null when memory ran out.
#pragma once

#include "File.h"
#include "KxPlatform.h"

namespace kx_gen {

// --- What a header tells ---

KX_API long DIBWidth(const void* dib);   ///< In pixels.
KX_API long DIBHeight(const void* dib);  ///< Negative: the rows stand from the top down.
/// The entries of the colour table: as many as the header counts, or as the depth has.
KX_API unsigned short DIBNumColors(const void* dib);
KX_API unsigned short PaletteSize(const void* dib);  ///< In bytes.
/// The pixels: right behind header and colour table.
KX_API unsigned char* FindDIBBits(void* dib);
KX_API const unsigned char* FindDIBBits(const void* dib);

// --- New bitmaps ---

/// A white picture. The depth is rounded up to 1, 4, 8 or 24; above 24 it is 4. The header's image
/// size is 0: a caller that stores the bitmap as a drawing must set it first, or the drawing has no
/// pixels.
KX_API void* CreateDIB(unsigned long width, unsigned long height, unsigned short bits);
/// A handle with the same data, to the last byte; null for null.
KX_API void* CopyHandle(void* handle);
/// The top left corner of a picture. Null when the picture is smaller than that, run-length coded,
/// or has another header than the information header.
KX_API void* ClipDIB(const void* dib, int width, int height);
/// The picture at the top left of a larger, white one. Null when the picture is as large as that
/// already, higher than it, run-length coded, or has another header than the information header. A
/// picture that is wider, but not higher, loses its right side.
KX_API void* ResizeDIB(const void* dib, int width, int height);
/// A picture of 24 bits or more, with a header of either form, scaled down by averaging areas, as
/// one of 24 bits with the image size 0. Its pixels are read as 3 bytes each. Null for fewer bits,
/// and for sizes of 0 or beyond the picture's own, which ends at 65,535. Sums run in 16 bits: a
/// picture's width and the new one together, and likewise the heights, give an even scaling up to
/// that number only.
KX_API void* ShrinkDIB(void* const& dib, unsigned short width, unsigned short height);

// --- BMP files ---

/// The bitmap that the file holds from its position on, which must be its beginning, in a handle as
/// large as the file (what the bitmap leaves is zero). Null when it is no BMP file or cannot be
/// read.
KX_API void* ReadDIBFile(CFile& file);
/// Writes a BMP file at the file's position and returns 1; 0 when the bitmap is null, has another
/// header than the information header, or sizes that no file has. What the file throws passes.
KX_API int SaveDIB(const void* dib, CFile& file);

// --- The system's drawing objects ---

/// How many colours the device's palette has, or the device where that has none; null: the screen.
/// At most 2 to the 24th.
KX_API int PalEntriesOnDevice(HDC device);
/// A palette of evenly spread colours, 2, 16 or 256 of them, whichever covers `colors`; 0 and less:
/// as many as the device has.
KX_API HPALETTE CreateHalftonePalette(HDC device, int colors);
/// The palette of a bitmap's colour table. Returns 1, or 0 and null when there is none.
KX_API int CreateDIBPalette(const unsigned char* dib, HPALETTE* palette);
/// The picture of a system bitmap in a new handle: 1, 4 or 8 bits as the bitmap has, else 24. The
/// colours come from the palette, without one from the bitmap itself. The image size is set.
KX_API void* BitmapToDIB(HBITMAP bitmap, HPALETTE palette);
/// A system bitmap with the picture of an uncompressed bitmap with an information header. The
/// palette, unless it is null, is realised on the screen for that.
KX_API HBITMAP DIBToBitmap(const void* dib, HPALETTE palette);
/// The same, with a palette of the bitmap's own colours.
KX_API HBITMAP ConvertDIBtoBitmap(const void* dib);
/// Frees a bitmap or palette that one of these functions made: DeleteObject, for callers on systems
/// that have none. Returns 0 for anything else.
KX_API int DeleteGdiObject(void* object);

/// A bitmap with its palette. Copies share both, and the last one frees them.
class KX_API CDib {
 public:
  CDib() = default;  ///< Without a bitmap.
  CDib(const CDib& other);
  CDib& operator=(const CDib& other);
  ~CDib();

  // The handles stay this object's; null when there is none.
  void* GetHDIB() const;
  HPALETTE GetPalette() const;
  SIZE GetSize() const { return size_; }  ///< In pixels, as `InitDIBData` read it.

  /// Takes a copy by MemDuplicate, whose last 4 bytes are zero, in place of the present bitmap.
  /// Throws as `InitDIBData` does.
  void ReplaceHDIB(void* const& dib);
  /// Forgets the bitmap without freeing it. It is now the caller's; where copies share it, it stays
  /// theirs, and the last of them frees it.
  void DetachDib();
  /// Reads the size and makes the palette anew. Throws message 22, and frees the bitmap, when it is
  /// wider or higher than 2 to the 31st less one; one whose rows stand from the top down counts as
  /// such. A bitmap that lacks a part of its header is freed.
  void InitDIBData();

  /// Loads a BMP file. False, with nothing changed, when it cannot be opened; message 23 when no
  /// bitmap could be read from it, message 22 as `InitDIBData`.
  bool LoadDIBFile(const wchar_t* path);
  /// Writes a BMP file, over what is there. Returns 1, or 0 when that did not work.
  int SaveDIBFile(const wchar_t* path) const;

 private:
  struct Share;
  void setHandle(void* dib);

  Share* dib_ = nullptr;
  Share* palette_ = nullptr;
  SIZE size_ = {};
};

}  // namespace kx_gen
