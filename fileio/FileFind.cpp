// The file search of File.h.
#include <cwchar>
#include <utility>

#include "File.h"
#include "FileChecks.h"
#include "FileSearch.h"
#include "WinApi.h"
#include "kx_assert.h"

namespace kx_gen {
namespace {

constexpr wchar_t kEveryName[] = L"*.*";
constexpr wchar_t kSeparators[] = L"\\/";

// The folder in which the pattern searches.
bool takeFolder(const wchar_t* pattern, _String& folder) {
  wchar_t full[format::kMaxPath] = {};
  if (!kx_Check(_tfullpath(full, pattern, format::kMaxPath) != nullptr, kFileSource,
                kLineFindFullPath)) {
    return false;
  }
  const std::wstring path = full;
  folder = path.substr(0, path.find_last_of(kSeparators));
  return true;
}

}  // namespace

struct CFileFind::FindRecord {
  WIN32_FIND_DATAW data = {};
};

CFileFind::CFileFind() = default;

CFileFind::~CFileFind() { Close(); }

bool CFileFind::FindFile(const wchar_t* pattern, unsigned long /*flags*/) {
  Close();
  reserved_ = 0;
  const wchar_t* const wanted = pattern == nullptr ? kEveryName : pattern;
  next_ = new FindRecord;
  copyText(next_->data.cFileName, wanted);
  const HANDLE search = kx_FindFirst(wanted, &next_->data);
  DWORD error = NO_ERROR;
  if (search == INVALID_HANDLE_VALUE) {
    error = GetLastError();
  } else {
    search_ = search;
    if (!takeFolder(wanted, root_)) error = ERROR_INVALID_NAME;
  }
  if (error == NO_ERROR) return true;
  Close();
  SetLastError(error);
  return false;
}

bool CFileFind::FindNextFileW() {
  if (!kx_Check(search_ != nullptr, kFileSource, kLineFindNext)) return false;
  if (found_ == nullptr) found_ = new FindRecord;
  std::swap(found_, next_);
  if (kx_FindNext(search_, &next_->data)) return true;
  // Asked again, the last match is still the current one.
  next_->data = found_->data;
  return false;
}

void CFileFind::CloseContext() { kx_FindClose(search_); }

void CFileFind::Close() {
  delete found_;
  delete next_;
  found_ = nullptr;
  next_ = nullptr;
  if (search_ == nullptr) return;
  CloseContext();
  search_ = nullptr;
}

_String CFileFind::GetFileName() const {
  kx_Check(search_ != nullptr, kFileSource, kLineFindName);
  return found_ == nullptr ? L"" : found_->data.cFileName;
}

_String CFileFind::GetFilePath() const {
  _String path = GetRoot();
  path += separator_;
  path += GetFileName();
  return path;
}

_String CFileFind::GetFileTitle() const {
  const _String name = GetFileName();
  return name.substr(0, name.rfind(L'.')).c_str();
}

_String CFileFind::GetRoot() const {
  kx_Check(search_ != nullptr, kFileSource, kLineFindRoot);
  return root_;
}

bool CFileFind::GetLastWriteTime(FILETIME* time) const {
  if (found_ == nullptr || time == nullptr) return false;
  *time = found_->data.ftLastWriteTime;
  return true;
}

bool CFileFind::GetLastAccessTime(FILETIME* time) const {
  if (found_ == nullptr || time == nullptr) return false;
  *time = found_->data.ftLastAccessTime;
  return true;
}

bool CFileFind::GetCreationTime(FILETIME* time) const {
  if (found_ == nullptr || time == nullptr) return false;
  *time = found_->data.ftCreationTime;
  return true;
}

bool CFileFind::MatchesMask(unsigned long mask) const {
  kx_Check(search_ != nullptr, kFileSource, kLineFindMask);
  return found_ != nullptr && (found_->data.dwFileAttributes & mask) != 0;
}

bool CFileFind::IsDots() const {
  if (found_ == nullptr) return false;
  if ((found_->data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return false;
  const std::wstring name = found_->data.cFileName;
  return name == L"." || name == L"..";
}

unsigned long CFileFind::GetLength() const {
  kx_Check(search_ != nullptr, kFileSource, kLineFindLength);
  return found_ == nullptr ? 0 : found_->data.nFileSizeLow;
}

}  // namespace kx_gen
