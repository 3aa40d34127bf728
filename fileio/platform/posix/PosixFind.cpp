#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "Errors.h"
#include "FileNames.h"
#include "FileSearch.h"
#include "FindSnapshot.h"
#include "SystemCalls.h"
#include "Wildcard.h"

namespace kx_posix {
namespace {

/// A pattern's folder, with the separator at its end, and the name behind it.
struct Pattern {
  std::wstring folder;
  std::wstring name;
};

Pattern SplitPattern(const wchar_t* text) {
  const std::wstring whole = text != nullptr ? text : L"";
  const size_t nameStart = whole.find_last_of(L"\\/") + 1;  // npos + 1 is 0
  return {whole.substr(0, nameStart), whole.substr(nameStart)};
}

WIN32_FIND_DATAW FindDataOf(const std::wstring& name, const FileFacts& facts) {
  WIN32_FIND_DATAW data = {};
  data.dwFileAttributes = facts.Attributes();
  data.ftCreationTime = facts.creation;
  data.ftLastAccessTime = facts.access;
  data.ftLastWriteTime = facts.write;
  data.nFileSizeHigh = facts.IsFolder() ? 0 : static_cast<DWORD>(facts.size >> 32);
  data.nFileSizeLow = facts.IsFolder() ? 0 : static_cast<DWORD>(facts.size);
  name.copy(data.cFileName, MAX_PATH - 1);
  return data;
}

/// Whether a failure says that there is nothing of that name, and not only that it cannot be seen.
bool IsAbsence(int error) {
  return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
}

/// The error for a folder that cannot be searched.
DWORD FolderError(const std::string& path, int error) {
  FileFacts facts;
  if (GetFacts(path, &facts)) {
    return facts.IsFolder() ? ErrorFromErrno(error) : ERROR_DIRECTORY;
  }
  return IsAbsence(errno) && error != EACCES ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(error);
}

bool FindByName(const Pattern& pattern, std::vector<WIN32_FIND_DATAW>* matches) {
  const FileName name = ToFileName((pattern.folder + pattern.name).c_str());
  if (name.error != ERROR_SUCCESS) return Fail(name.error);
  FileFacts facts;
  if (!GetFacts(name.path, &facts) && !GetFactsOfLink(name.path, &facts)) {
    const int error = errno;
    const bool isMissing = NameError(name.path, error) == ERROR_FILE_NOT_FOUND;
    return Fail(isMissing ? ERROR_FILE_NOT_FOUND : FolderError(FolderOf(name.path), error));
  }
  const size_t length = pattern.name.find_last_not_of(L". ") + 1;
  matches->push_back(FindDataOf(pattern.name.substr(0, length != 0 ? length : 2), facts));
  return true;
}

bool FindByPattern(const Pattern& pattern, std::vector<WIN32_FIND_DATAW>* matches) {
  const FileName folder = ToFileName(pattern.folder.empty() ? L"." : pattern.folder.c_str());
  if (folder.error != ERROR_SUCCESS) return Fail(folder.error);
  std::vector<std::string> names;
  if (!ListFolder(folder.path, &names)) return Fail(FolderError(folder.path, errno));
  for (const std::string& entry : names) {
    const std::wstring name = FromFileSystemText(entry);
    if (!kx_platform::MatchesWildcard(pattern.name, name)) continue;
    const std::string path = folder.path + '/' + entry;
    FileFacts facts;
    if (!GetFacts(path, &facts) && !GetFactsOfLink(path, &facts)) {
      // One that is gone already is no match any more; one that is there must not be left out.
      if (errno == ENOENT) continue;
      return FailFromErrno();
    }
    matches->push_back(FindDataOf(name, facts));
  }
  return true;
}

/// A folder alone names nothing in it.
bool FailWithoutName(const Pattern& pattern) {
  const FileName folder = ToFileName(pattern.folder.c_str());
  if (folder.error != ERROR_SUCCESS) return Fail(folder.error);
  FileFacts facts;
  if (!GetFacts(folder.path, &facts)) return Fail(ERROR_PATH_NOT_FOUND);
  return Fail(facts.IsFolder() ? ERROR_FILE_NOT_FOUND : ERROR_DIRECTORY);
}

bool FindMatches(const Pattern& pattern, std::vector<WIN32_FIND_DATAW>* matches) {
  if (pattern.folder.empty() && IsBlank(pattern.name)) return Fail(ERROR_PATH_NOT_FOUND);
  if (IsBlank(pattern.name)) return FailWithoutName(pattern);
  if (!kx_platform::HasWildcards(pattern.name)) return FindByName(pattern, matches);
  std::wstring literal = pattern.name;
  std::erase_if(literal, [](wchar_t c) { return c == L'*' || c == L'?'; });
  if (HasForbiddenCharacter(literal)) return Fail(ERROR_INVALID_NAME);
  return FindByPattern(pattern, matches);
}

}  // namespace
}  // namespace kx_posix

HANDLE FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
  std::vector<WIN32_FIND_DATAW> matches;
  if (!kx_posix::FindMatches(kx_posix::SplitPattern(pattern), &matches)) {
    return INVALID_HANDLE_VALUE;
  }
  return kx_platform::OpenSnapshot(std::move(matches), data);
}

BOOL FindNextFileW(HANDLE search, LPWIN32_FIND_DATAW data) {
  return kx_platform::NextInSnapshot(search, data);
}

BOOL FindClose(HANDLE search) { return kx_platform::CloseSnapshot(search); }

// The functions above are what the library wants of a search already.

HANDLE kx_FindFirst(const wchar_t* pattern, WIN32_FIND_DATAW* data) {
  return FindFirstFileW(pattern, data);
}

bool kx_FindNext(HANDLE search, WIN32_FIND_DATAW* data) {
  return FindNextFileW(search, data) != FALSE;
}

bool kx_FindClose(HANDLE search) { return FindClose(search) != FALSE; }
