/* What the exported headers need of the system, on systems other than Windows: the export macro
 * and the Windows types that stand in signatures, with Windows' names and widths. Acceptable to
 * C99. The header of the same name for Windows stands in fileio/platform/win32/include. */
#ifndef KX_PLATFORM_H
#define KX_PLATFORM_H

/* NOLINTBEGIN(modernize-deprecated-headers,modernize-use-using): C reads this header too. */
#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

/* Marks what the shared library exports; everything else is hidden. */
#define KX_API __attribute__((visibility("default")))

typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG; /* 32 bits everywhere, unlike long */
typedef unsigned int UINT;
typedef int BOOL;
typedef wchar_t WCHAR;
typedef const wchar_t* LPCWSTR;
typedef wchar_t* LPWSTR;
typedef void* HANDLE; /* the file descriptor itself */
typedef void* HINSTANCE;
typedef void* HMODULE;
typedef void* HWND;
typedef struct HDC__* HDC;
typedef struct HBITMAP__* HBITMAP;
typedef struct HPALETTE__* HPALETTE;

typedef struct tagPOINT {
  LONG x;
  LONG y;
} POINT;

typedef struct tagSIZE {
  LONG cx;
  LONG cy;
} SIZE;

typedef struct tagRECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
} RECT;

/* 100-nanosecond steps since 1 January 1601, UTC. */
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME;

typedef struct _SYSTEMTIME {
  WORD wYear;
  WORD wMonth; /* 1 to 12 */
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
} SYSTEMTIME;

typedef struct tagWINDOWPLACEMENT {
  UINT length; /* of this structure, in bytes */
  UINT flags;
  UINT showCmd;
  POINT ptMinPosition;
  POINT ptMaxPosition;
  RECT rcNormalPosition;
} WINDOWPLACEMENT;

typedef struct tagLOGFONTW {
  LONG lfHeight;
  LONG lfWidth;
  LONG lfEscapement;
  LONG lfOrientation;
  LONG lfWeight;
  BYTE lfItalic;
  BYTE lfUnderline;
  BYTE lfStrikeOut;
  BYTE lfCharSet;
  BYTE lfOutPrecision;
  BYTE lfClipPrecision;
  BYTE lfQuality;
  BYTE lfPitchAndFamily;
  WCHAR lfFaceName[32];
} LOGFONTW;

/* NOLINTEND(modernize-deprecated-headers,modernize-use-using) */

#endif
