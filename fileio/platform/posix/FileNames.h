/// Names as the library writes them and as the file system takes them.
#pragma once

#include <string>
#include <string_view>

#include "WinApi.h"

namespace kx_posix {

/// UTF-8 without loss in either direction: bytes of a name on disk that are no UTF-8 are the lone
/// surrogates U+DC80 to U+DCFF in library text; other lone surrogates take three bytes.
std::string ToFileSystemText(std::wstring_view text);
std::wstring FromFileSystemText(std::string_view bytes);

/// A name made ready for the system: slashes only, none doubled, no `.` and no `..` behind a name,
/// no trailing dots or blanks.
struct FileName {
  std::string path;
  bool endsInSeparator = false;  ///< It can only name a folder; `path` has no separator at its end.
  DWORD error = ERROR_SUCCESS;   ///< Why no file can have the name; then `path` is empty.
};
FileName ToFileName(const wchar_t* name);

bool IsSeparator(wchar_t character);
/// True when the name has nothing but blanks.
bool IsBlank(std::wstring_view name);
/// True when a character stands in the text that no name may have; `*` and `?` count as such.
bool HasForbiddenCharacter(std::wstring_view text);

/// The folder that holds `path`.
std::string FolderOf(const std::string& path);
/// What a name that the system did not find is: ERROR_FILE_NOT_FOUND in a folder that exists, else
/// ERROR_PATH_NOT_FOUND.
DWORD MissingError(const std::string& path);
/// The error for a call that failed on `path` with errno.
DWORD NameError(const std::string& path, int error);

}  // namespace kx_posix
