#include "FileSearch.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "FindSnapshot.h"
#include "Wildcard.h"

namespace {

/// A search of the system's, ended with its scope.
class Search {
 public:
  Search(const wchar_t* pattern, WIN32_FIND_DATAW* data) : handle_(FindFirstFileW(pattern, data)) {}
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() {
    if (!IsRunning()) return;
    const DWORD error = GetLastError();
    FindClose(handle_);
    SetLastError(error);
  }
  bool IsRunning() const { return handle_ != INVALID_HANDLE_VALUE; }
  bool Next(WIN32_FIND_DATAW* data) const { return FindNextFileW(handle_, data) != FALSE; }

 private:
  HANDLE handle_;
};

/// Lists what `systemPattern` finds and `pattern` matches. The system's own matching is too wide:
/// through a file's short name, `*.kxo` would find `x.kxob`.
bool ListMatches(const std::wstring& systemPattern, std::wstring_view pattern,
                 std::vector<WIN32_FIND_DATAW>* matches) {
  WIN32_FIND_DATAW data;
  const Search search(systemPattern.c_str(), &data);
  if (!search.IsRunning()) return false;
  do {
    if (kx_platform::MatchesWildcard(pattern, data.cFileName)) matches->push_back(data);
  } while (search.Next(&data));
  // A list that the system cut short must not pass for a whole one.
  return GetLastError() == ERROR_NO_MORE_FILES;
}

HANDLE FindOne(const wchar_t* name, WIN32_FIND_DATAW* data) {
  const HANDLE search = FindFirstFileW(name, data);
  if (search == INVALID_HANDLE_VALUE) return search;
  FindClose(search);
  return kx_platform::OpenSnapshot({*data}, data);
}

}  // namespace

HANDLE kx_FindFirst(const wchar_t* pattern, WIN32_FIND_DATAW* data) {
  const std::wstring text = pattern != nullptr ? pattern : L"";
  const size_t nameStart = text.find_last_of(L"\\/:") + 1;  // npos + 1 is 0
  const std::wstring name = text.substr(nameStart);
  if (!kx_platform::HasWildcards(name)) return FindOne(text.c_str(), data);
  std::vector<WIN32_FIND_DATAW> matches;
  if (!ListMatches(text.substr(0, nameStart) + L"*", name, &matches)) return INVALID_HANDLE_VALUE;
  return kx_platform::OpenSnapshot(std::move(matches), data);
}

bool kx_FindNext(HANDLE search, WIN32_FIND_DATAW* data) {
  return kx_platform::NextInSnapshot(search, data);
}

bool kx_FindClose(HANDLE search) { return kx_platform::CloseSnapshot(search); }
