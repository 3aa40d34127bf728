#include "FileNames.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

#include "Errors.h"
#include "SystemCalls.h"
#include "Utf8.h"

namespace kx_posix {
namespace {

constexpr uint32_t kRawByteBase = 0xDC00;  // U+DC80 to U+DCFF stand for the bytes 80 to FF

bool IsRawByte(uint32_t codePoint) {
  return codePoint >= kRawByteBase + 0x80 && codePoint <= kRawByteBase + 0xFF;
}

/// The names of a path, with what stands before and behind them.
struct Pieces {
  bool isRooted = false;
  bool endsInSeparator = false;
  std::vector<std::wstring_view> names;
};

Pieces SplitNames(std::wstring_view text) {
  Pieces pieces;
  pieces.isRooted = !text.empty() && IsSeparator(text.front());
  pieces.endsInSeparator = !text.empty() && IsSeparator(text.back());
  size_t start = 0;
  for (size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && !IsSeparator(text[i])) continue;
    if (i > start) pieces.names.push_back(text.substr(start, i - start));
    start = i + 1;
  }
  return pieces;
}

/// A name in front of a separator loses one trailing dot, as long as anything but dots is left.
std::wstring_view WithoutTrailingDot(std::wstring_view name) {
  if (name.back() != L'.' || name.find_first_not_of(L'.') == std::wstring_view::npos) return name;
  return name.substr(0, name.size() - 1);
}

/// The last name loses all trailing dots and blanks, unless it is `.` or `..`.
void TrimLastName(Pieces* pieces) {
  if (pieces->names.empty() || pieces->endsInSeparator) return;
  std::wstring_view& last = pieces->names.back();
  if (last == L"." || last == L"..") return;
  last = last.substr(0, last.find_last_not_of(L". ") + 1);  // npos + 1 is 0
  if (!last.empty()) return;
  pieces->names.pop_back();
  pieces->endsInSeparator = true;
}

void Resolve(Pieces* pieces) {
  std::vector<std::wstring_view> resolved;
  for (const std::wstring_view name : pieces->names) {
    if (name == L".") continue;
    const bool hasParent = !resolved.empty() && resolved.back() != L"..";
    if (name == L".." && hasParent) {
      resolved.pop_back();
    } else if (name != L".." || !pieces->isRooted) {
      resolved.push_back(name);
    }
  }
  pieces->names = resolved;
}

std::wstring Join(const Pieces& pieces) {
  std::wstring path = pieces.isRooted ? L"/" : L"";
  for (size_t i = 0; i < pieces.names.size(); ++i) {
    if (i > 0) path += L'/';
    const bool isLast = i + 1 == pieces.names.size() && !pieces.endsInSeparator;
    path += isLast ? pieces.names[i] : WithoutTrailingDot(pieces.names[i]);
  }
  return path.empty() ? L"." : path;
}

std::wstring CurrentFolder() {
  const std::unique_ptr<char, decltype(&std::free)> path(::getcwd(nullptr, 0), &std::free);
  return path != nullptr ? FromFileSystemText(path.get()) : L"";
}

/// The absolute form, empty when there is none. Rooted names are the caller's own.
std::wstring AbsoluteName(std::wstring_view name) {
  if (IsSeparator(name.front())) return std::wstring(name);
  const std::wstring current = CurrentFolder();
  if (current.empty()) return L"";
  const std::wstring whole = current + L'/' + std::wstring(name);
  Pieces pieces = SplitNames(whole);
  Resolve(&pieces);
  std::wstring path = L"/";
  for (size_t i = 0; i < pieces.names.size(); ++i) {
    if (i > 0) path += L'/';
    path += pieces.names[i];
  }
  if (pieces.endsInSeparator && !pieces.names.empty()) path += L'/';
  return path;
}

}  // namespace

std::string ToFileSystemText(std::wstring_view text) {
  std::string bytes;
  for (size_t at = 0; at < text.size();) {
    const uint32_t c = TakeCodePoint(text, &at);
    if (IsRawByte(c)) {
      bytes.push_back(static_cast<char>(c - kRawByteBase));
    } else {
      AppendUtf8(c, &bytes);
    }
  }
  return bytes;
}

std::wstring FromFileSystemText(std::string_view bytes) {
  std::wstring text;
  for (size_t at = 0; at < bytes.size();) {
    uint32_t c = 0;
    if (!TakeUtf8(bytes, &at, &c)) c = kRawByteBase + static_cast<unsigned char>(bytes[at++]);
    AppendWide(c, &text);
  }
  return text;
}

bool IsSeparator(wchar_t character) { return character == L'\\' || character == L'/'; }

bool IsBlank(std::wstring_view name) {
  return name.find_first_not_of(L' ') == std::wstring_view::npos;
}

bool HasForbiddenCharacter(std::wstring_view text) {
  constexpr std::wstring_view kForbidden = L"*?<>|\"";
  return std::any_of(text.begin(), text.end(), [&](wchar_t c) {
    return static_cast<uint32_t>(c) < 0x20 || kForbidden.find(c) != std::wstring_view::npos;
  });
}

FileName ToFileName(const wchar_t* name) {
  FileName result;
  const std::wstring_view text = name != nullptr ? name : L"";
  if (IsBlank(text)) {
    result.error = ERROR_PATH_NOT_FOUND;
    return result;
  }
  if (HasForbiddenCharacter(text)) {
    result.error = ERROR_INVALID_NAME;
    return result;
  }
  Pieces pieces = SplitNames(text);
  TrimLastName(&pieces);
  Resolve(&pieces);
  result.path = ToFileSystemText(Join(pieces));
  result.endsInSeparator = pieces.endsInSeparator;
  return result;
}

std::string FolderOf(const std::string& path) {
  const size_t last = path.rfind('/');
  if (last == std::string::npos) return ".";
  return last == 0 ? "/" : path.substr(0, last);
}

DWORD MissingError(const std::string& path) {
  FileFacts folder;
  const bool hasFolder = GetFacts(FolderOf(path), &folder) && folder.IsFolder();
  return hasFolder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

DWORD NameError(const std::string& path, int error) {
  return error == ENOENT ? MissingError(path) : ErrorFromErrno(error);
}

}  // namespace kx_posix

DWORD GetFullPathNameW(LPCWSTR name, DWORD size, LPWSTR buffer, LPWSTR* filePart) {
  const std::wstring_view text = name != nullptr ? name : L"";
  if (text.empty()) return static_cast<DWORD>(kx_posix::Fail(ERROR_INVALID_NAME));
  const std::wstring path = kx_posix::AbsoluteName(text);
  if (path.empty()) return static_cast<DWORD>(kx_posix::Fail(ERROR_PATH_NOT_FOUND));
  const auto length = static_cast<DWORD>(path.size());
  if (length >= size) return length + 1;
  path.copy(buffer, length);
  buffer[length] = L'\0';
  const size_t nameStart = path.find_last_of(L"\\/") + 1;
  if (filePart != nullptr) *filePart = nameStart < length ? buffer + nameStart : nullptr;
  return length;
}
