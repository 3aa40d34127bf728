/// The drawing functions of Windows that the library uses, over small bitmaps and palettes in
/// memory. There is no screen: the screen's device context stands for one of 32 bits a pixel,
/// without a palette of its own.
///
/// Bitmaps are sections of 1, 4, 8, 16 (5 bits a colour), 24 or 32 bits, uncompressed. Handles that
/// are none are refused with error 6, what a call cannot do with error 87. One thread at a time may
/// draw into a bitmap; the calls themselves may come from any.
#pragma once

#include "KxPlatform.h"

using HGDIOBJ = void*;

struct RGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
};

struct BITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};

struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
};

struct BITMAP {
  LONG bmType;
  LONG bmWidth;
  LONG bmHeight;
  LONG bmWidthBytes;
  WORD bmPlanes;
  WORD bmBitsPixel;
  void* bmBits;
};

struct PALETTEENTRY {
  BYTE peRed;
  BYTE peGreen;
  BYTE peBlue;
  BYTE peFlags;
};

struct LOGPALETTE {
  WORD palVersion;
  WORD palNumEntries;
  PALETTEENTRY palPalEntry[1];
};

constexpr DWORD BI_RGB = 0;
constexpr UINT DIB_RGB_COLORS = 0;
constexpr DWORD SRCCOPY = 0x00CC0020;
constexpr int DEFAULT_PALETTE = 15;
constexpr int BITSPIXEL = 12;
constexpr int PLANES = 14;
constexpr int RASTERCAPS = 38;
constexpr int SIZEPALETTE = 104;
constexpr int RC_PALETTE = 0x0100;

HDC GetDC(HWND window);  ///< Of the screen.
int ReleaseDC(HWND window, HDC dc);
HDC CreateCompatibleDC(HDC dc);  ///< In memory, with a stock bitmap of one pixel selected.
BOOL DeleteDC(HDC dc);
int GetDeviceCaps(HDC dc, int index);

/// The header's colour count tells how many colours are read; 0: as many as the depth has.
HBITMAP CreateDIBSection(HDC dc, const BITMAPINFO* info, UINT usage, void** bits, HANDLE section,
                         DWORD offset);
/// For bitmaps alone, and into a memory context alone. A bitmap goes into one context at a time.
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
/// Not of a selected bitmap. Stock objects stay, and that counts as success.
BOOL DeleteObject(HGDIOBJ object);
/// Fills a BITMAP for a bitmap, a WORD with the number of entries for a palette. Returns how many
/// bytes it filled or, with a null buffer, would fill.
int GetObjectW(HANDLE object, int size, void* buffer);
HGDIOBJ GetStockObject(int index);  ///< The default palette alone: 20 colours.
/// Between memory contexts, copying alone. A colour that the target lacks becomes its nearest one.
BOOL BitBlt(HDC target, int x, int y, int width, int height, HDC source, int sourceX, int sourceY,
            DWORD operation);
/// The colour table of the bitmap that is selected.
UINT GetDIBColorTable(HDC dc, UINT start, UINT count, RGBQUAD* colors);
BOOL GdiFlush();  ///< Drawing is never put off.

HPALETTE CreatePalette(const LOGPALETTE* palette);
/// Returns how many entries were copied; with null entries, how many there are.
UINT GetPaletteEntries(HPALETTE palette, UINT start, UINT count, PALETTEENTRY* entries);
HPALETTE SelectPalette(HDC dc, HPALETTE palette, BOOL forceBackground);
UINT RealizePalette(HDC dc);  ///< No entry of such a screen ever changes: 0.
