// The path functions of File.h: splitting, roots, and names that do not exist yet.
#include <algorithm>
#include <cwchar>

#include "File.h"
#include "FileChecks.h"
#include "Text.h"
#include "Wildcard.h"
#include "WinApi.h"
#include "kx_assert.h"

namespace kx_gen {
namespace {

constexpr wchar_t kSeparators[] = L"\\/";
constexpr wchar_t kDigits[] = L"0123456789";

struct PathPieces {
  _String drive;
  _String dir;
  _String title;
  _String ext;
};

bool isSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool hasDrive(const std::wstring& path) { return path.size() > 1 && path[1] == L':'; }

bool isRooted(const std::wstring& path) {
  const size_t start = hasDrive(path) ? 2 : 0;
  return path.size() > start && isSeparator(path[start]);
}

PathPieces splitPath(const wchar_t* path) {
  PathPieces pieces;
  std::wstring rest = textOrEmpty(path);
  if (hasDrive(rest)) {
    pieces.drive = rest.substr(0, 2);
    rest.erase(0, 2);
  }
  const size_t separator = rest.find_last_of(kSeparators);
  if (separator != std::wstring::npos) {
    pieces.dir = rest.substr(0, separator + 1);
    rest.erase(0, separator + 1);
  }
  const size_t dot = std::min(rest.rfind(L'.'), rest.size());
  pieces.title = rest.substr(0, dot);
  pieces.ext = rest.substr(dot);
  return pieces;
}

// Where the share name that follows the two separators at `start` ends, its separator included.
size_t endOfShare(const std::wstring& path, size_t start) {
  kx_Check(isSeparator(path[start]), kFileSource, kLineRootFirstSeparator);
  kx_Check(isSeparator(path[start + 1]), kFileSource, kLineRootSecondSeparator);
  const size_t serverEnd = path.find_first_of(kSeparators, start + 2);
  if (serverEnd == std::wstring::npos) return path.size();
  const size_t shareEnd = path.find_first_of(kSeparators, serverEnd + 1);
  return shareEnd == std::wstring::npos ? path.size() : shareEnd + 1;
}

size_t endOfRoot(const std::wstring& path) {
  for (size_t i = 0; i + 1 < path.size(); ++i) {
    if (isSeparator(path[i]) && isSeparator(path[i + 1])) return endOfShare(path, i);
  }
  const size_t separator = path.find_first_of(kSeparators);
  return separator == std::wstring::npos ? path.size() : separator + 1;
}

// A title without the number that an earlier call gave it.
_String baseTitle(const _String& title) {
  const size_t last = title.find_last_not_of(kDigits);
  if (last == std::wstring::npos || last + 1 == title.size() || title[last] != L'-') return title;
  return title.substr(0, last).c_str();
}

// The first of title-1, title-2, ... that is accepted.
template <class Accept>
_String numberedName(const wchar_t* path, Accept accept) {
  const PathPieces pieces = splitPath(path);
  const _String base = baseTitle(pieces.title);
  _String candidate;
  int number = 0;
  do {
    candidate.FormatString(L"%s%s%s-%d%s", pieces.drive.c_str(), pieces.dir.c_str(), base.c_str(),
                           ++number, pieces.ext.c_str());
  } while (!accept(candidate));
  kx_Check(ValidateFilePath(candidate), kFileSource, kLineNumberedResult);
  return candidate;
}

_String withShortTitle(const wchar_t* path) {
  PathPieces pieces = splitPath(path);
  if (!cutToUnits(pieces.title, format::kMaxFileTitle)) return path;
  return CFile::CreateFilePath(pieces.drive, pieces.dir, pieces.title, pieces.ext);
}

bool existsInFolder(const wchar_t* folder, const wchar_t* path) {
  const PathPieces pieces = splitPath(path);
  return IsFileExist(CFile::CreateFilePath(folder, pieces.title, pieces.ext));
}

}  // namespace

void _tsplitpath(const wchar_t* path, wchar_t* drive, wchar_t* dir, wchar_t* title, wchar_t* ext) {
  const PathPieces pieces = splitPath(path);
  copyText(drive, pieces.drive);
  copyText(dir, pieces.dir);
  copyText(title, pieces.title);
  copyText(ext, pieces.ext);
}

wchar_t* _tfullpath(wchar_t* dst, const wchar_t* src, unsigned int size) {
  const wchar_t* const path = textOrEmpty(src);
  if (dst == nullptr) return nullptr;
  if (isRooted(path)) {
    if (std::wcslen(path) >= size) return nullptr;
    copyText(dst, path, size);
    return dst;
  }
  const DWORD length = GetFullPathNameW(*path == L'\0' ? L"." : path, size, dst, nullptr);
  return length != 0 && length < size ? dst : nullptr;
}

void GetRoot(const wchar_t* path, wchar_t* root) {
  kx_Check(path != nullptr, kFileSource, kLineRootPath);
  wchar_t work[format::kMaxPath] = {};
  copyText(work, textOrEmpty(path));
  const std::wstring text = work;
  copyText(root, text.substr(0, endOfRoot(text)).c_str());
}

int FullPath(wchar_t* dst, const wchar_t* src) {
  copyText(dst, textOrEmpty(src));
  return 1;
}

bool IsFileExist(const wchar_t* path) { return CFileFind().FindFile(textOrEmpty(path)); }

bool ValidateFilePath(const wchar_t* path) {
  kx_Check(path != nullptr, kFileSource, kLineValidatePath);
  const PathPieces pieces = splitPath(path);
  const bool placed = !pieces.drive.empty() || isRooted(pieces.dir);
  return placed && !pieces.dir.empty() && !pieces.title.empty() && !pieces.ext.empty();
}

_String GetFileDrive(const wchar_t* path) { return splitPath(path).drive; }

_String GetFileDir(const wchar_t* path) { return splitPath(path).dir; }

_String GetFileTitle(const wchar_t* path) { return splitPath(path).title; }

_String GetFileExt(const wchar_t* path) { return splitPath(path).ext; }

_String GetNextValidNumberedName(const wchar_t* path, const wchar_t* /*other*/) {
  kx_Check(path != nullptr, kFileSource, kLineNumberedPath);
  return numberedName(path, [](const _String& candidate) { return !IsFileExist(candidate); });
}

_String GetValidFileName(const wchar_t* path, const wchar_t* otherFolder, const wchar_t* stopName) {
  kx_Check(ValidateFilePath(path), kFileSource, kLineValidNamePath);
  const auto isFree = [otherFolder](const _String& candidate) {
    return !IsFileExist(candidate) &&
           (otherFolder == nullptr || !existsInFolder(otherFolder, candidate));
  };
  _String name = withShortTitle(path);
  if (isFree(name)) return name;
  return numberedName(name, [&](const _String& candidate) {
    return (stopName != nullptr && kx_platform::CompareIgnoringCase(candidate, stopName) == 0) ||
           isFree(candidate);
  });
}

_String CFile::CreateFilePath(const wchar_t* folder, const wchar_t* name) {
  return CreateFilePath(L"", folder, name, L"");
}

_String CFile::CreateFilePath(const wchar_t* folder, const wchar_t* title, const wchar_t* ext) {
  return CreateFilePath(L"", folder, title, ext);
}

_String CFile::CreateFilePath(const wchar_t* drive, const wchar_t* folder, const wchar_t* title,
                              const wchar_t* ext) {
  _String path = textOrEmpty(drive);
  const std::wstring dir = textOrEmpty(folder);
  path += dir;
  if (!dir.empty() && !isSeparator(dir.back())) path += L'\\';
  path += textOrEmpty(title);
  const std::wstring extension = textOrEmpty(ext);
  if (!extension.empty() && extension[0] != L'.') path += L'.';
  path += extension;
  return path;
}

}  // namespace kx_gen
