/// The Windows functions that the library uses, on systems that have none of them: declared with
/// Windows' names and types, implemented beside this header with Windows' results and error
/// numbers. Everything above the platform folder calls them by these names. docs/platform.md
/// lists what they promise.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "KxPlatform.h"
#include "WinGdi.h"

// Types.
using LPVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPDWORD = DWORD*;
using PLONG = LONG*;
using LPBOOL = BOOL*;
using HLOCAL = void*;
using LANGID = WORD;
using UINT_PTR = uintptr_t;
using SIZE_T = size_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr size_t MAX_PATH = 260;

// Errors: every function that fails sets the calling thread's last error.
#define KX_ERROR(name, code, text) constexpr DWORD name = code;
#include "SystemErrors.inc"
#undef KX_ERROR
constexpr DWORD NO_ERROR = ERROR_SUCCESS;

DWORD GetLastError();
void SetLastError(DWORD error);

// Files. A handle is the file descriptor itself.
struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
struct OVERLAPPED;  ///< Transfers are never overlapped: always null.
using LPOVERLAPPED = OVERLAPPED*;
using LPFILETIME = FILETIME*;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(intptr_t{-1});
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x02;
constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x04;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;

HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                   DWORD disposition, DWORD attributes, HANDLE templateFile);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, LPOVERLAPPED overlapped);
BOOL WriteFile(HANDLE file, LPCVOID data, DWORD count, LPDWORD written, LPOVERLAPPED overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD origin);
BOOL SetEndOfFile(HANDLE file);
BOOL FlushFileBuffers(HANDLE file);
BOOL CloseHandle(HANDLE file);
BOOL GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME access, LPFILETIME write);
DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh);

// Whole files by name.
DWORD GetFileAttributesW(LPCWSTR name);
BOOL MoveFileW(LPCWSTR from, LPCWSTR to);
BOOL DeleteFileW(LPCWSTR name);
BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists);
/// Rooted names stay as they are, others follow the current folder.
DWORD GetFullPathNameW(LPCWSTR name, DWORD size, LPWSTR buffer, LPWSTR* filePart);

// Searches.
struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;

HANDLE FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data);
BOOL FindNextFileW(HANDLE search, LPWIN32_FIND_DATAW data);
BOOL FindClose(HANDLE search);

// Texts.
constexpr UINT CP_ACP = 0;
constexpr UINT CP_UTF8 = 65001;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x08;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x400;
constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x0100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

UINT GetACP();
/// Wide text is library text: a code point above 0xFFFF counts as the two UTF-16 units it stands
/// for when it does not fit the code page.
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR buffer,
                        int size, LPCSTR defaultChar, LPBOOL usedDefaultChar);
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR buffer,
                        int size);
DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer,
                     DWORD size, va_list* arguments);
int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size);
void OutputDebugStringW(LPCWSTR text);

// The calling thread's messages: as much of a queue as holds a quit message.
struct MSG {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD time;
  POINT pt;
};
using LPMSG = MSG*;

constexpr UINT WM_QUIT = 0x12;
constexpr UINT PM_NOREMOVE = 0;
constexpr UINT PM_REMOVE = 1;

BOOL PeekMessageW(LPMSG message, HWND window, UINT first, UINT last, UINT remove);
void PostQuitMessage(int exitCode);

// Memory.
constexpr UINT LMEM_FIXED = 0;
constexpr UINT LMEM_MOVEABLE = 0x02;
constexpr UINT LMEM_ZEROINIT = 0x40;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

HLOCAL LocalAlloc(UINT flags, SIZE_T size);
HLOCAL LocalReAlloc(HLOCAL block, SIZE_T size, UINT flags);
HLOCAL LocalFree(HLOCAL block);
SIZE_T LocalSize(HLOCAL block);
BOOL IsBadReadPtr(LPCVOID p, UINT_PTR size);
BOOL IsBadWritePtr(LPVOID p, UINT_PTR size);

// Time.
void GetSystemTime(SYSTEMTIME* time);
void GetSystemTimeAsFileTime(FILETIME* time);
BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local);
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime);
