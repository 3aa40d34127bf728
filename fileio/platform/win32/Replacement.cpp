#include "Replacement.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "TemporaryName.h"

namespace kx_platform {
namespace {

constexpr int kMaxAttempts = 100;    // to find a free name
constexpr int kReopenAttempts = 50;  // while others look whether the file is free
constexpr DWORD kReopenPause = 10;   // milliseconds
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kRemoving = 0x00010000;  // the access right whose own name WinApi.h takes away
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                  FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

bool Fail(DWORD error) {
  SetLastError(error);
  return false;
}

/// A handle that closes itself and keeps the last error.
class File {
 public:
  File() = default;
  File(const std::wstring& name, DWORD access, DWORD share, DWORD disposition, DWORD flags)
      : handle_(CreateFileW(name.c_str(), access, share, nullptr, disposition, flags, nullptr)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  File& operator=(File&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~File() { Close(); }

  bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }
  void Close() {
    if (!IsOpen()) return;
    const DWORD error = GetLastError();
    CloseHandle(handle_);
    SetLastError(error);
    handle_ = INVALID_HANDLE_VALUE;
  }

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
};

bool EndsInSeparator(const std::wstring& path) {
  return !path.empty() && (path.back() == L'\\' || path.back() == L'/');
}

/// Why a name that ends in a separator cannot be that of a file. Asked about it with the separator,
/// the system would look for a folder, and not tell a file from a way that is missing.
DWORD ReasonAgainstFolderName(std::wstring path) {
  while (path.size() > 1 && EndsInSeparator(path)) path.pop_back();
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return GetLastError() == ERROR_FILE_NOT_FOUND ? ERROR_INVALID_NAME : GetLastError();
  }
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ERROR_ACCESS_DENIED : ERROR_INVALID_NAME;
}

std::wstring FolderOf(const std::wstring& path) {
  return path.substr(0, path.find_last_of(L"\\/:") + 1);  // npos + 1 is 0
}

/// The file that a link leads to. A link that leads nowhere is refused: no file can be put in the
/// place that it names without replacing the link.
bool FollowLinks(std::wstring* path) {
  const File file(*path, 0, kShareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
  if (!file.IsOpen()) return false;
  std::vector<wchar_t> name(MAX_PATH);
  DWORD length = 0;
  while ((length = GetFinalPathNameByHandleW(file.get(), name.data(),
                                             static_cast<DWORD>(name.size()), 0)) > name.size()) {
    name.resize(length);
  }
  path->assign(name.data(), length);
  return length > 0;
}

/// False with the last error set for what cannot be replaced; `*isThere` tells whether it exists.
bool LookAt(const std::wstring& path, bool* isThere, DWORD* attributes) {
  *attributes = GetFileAttributesW(path.c_str());
  *isThere = *attributes != INVALID_FILE_ATTRIBUTES;
  if (!*isThere) return GetLastError() == ERROR_FILE_NOT_FOUND;
  const bool isRefused = (*attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0;
  return !isRefused || Fail(ERROR_ACCESS_DENIED);
}

/// Nobody has an abandoned file open, whereas a save has its own.
void RemoveAbandoned(const std::wstring& folder) {
  WIN32_FIND_DATAW data;
  const HANDLE search = FindFirstFileW((folder + L"*.tmp").c_str(), &data);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    if (!IsTemporaryName(data.cFileName)) continue;
    const File removed(folder + data.cFileName, kReadWrite | kRemoving, 0, OPEN_EXISTING,
                       FILE_FLAG_DELETE_ON_CLOSE);
  } while (FindNextFileW(search, &data) != FALSE);
  FindClose(search);
}

/// File systems without such lists have nothing to keep.
bool KeepAccessList(const std::wstring& from, const std::wstring& to) {
  DWORD size = 0;
  GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return true;
  std::vector<unsigned char> list(size);
  return GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, list.data(), size, &size) != 0 &&
         SetFileSecurityW(to.c_str(), DACL_SECURITY_INFORMATION, list.data()) != 0;
}

bool IsSameFile(HANDLE a, HANDLE b) {
  BY_HANDLE_FILE_INFORMATION first;
  BY_HANDLE_FILE_INFORMATION second;
  return GetFileInformationByHandle(a, &first) != 0 &&
         GetFileInformationByHandle(b, &second) != 0 &&
         first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
         first.nFileIndexHigh == second.nFileIndexHigh &&
         first.nFileIndexLow == second.nFileIndexLow;
}

}  // namespace

class Replacement::Impl {
 public:
  Impl() = default;
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl();

  bool Create(const wchar_t* path);
  HANDLE Handle() const { return file_.get(); }
  bool IsTarget(HANDLE file) const;
  bool Finish(bool mayReplace);
  bool Move(bool mayReplace);
  /// The target, opened as `mode` says; the invalid handle when the system refuses.
  HANDLE Reopen(const OpenMode& mode);

 private:
  bool IsInUse() const;

  std::wstring target_;
  std::wstring temporary_;
  File file_;
  bool isInPlace_ = false;
};

Replacement::Impl::~Impl() {
  const DWORD error = GetLastError();
  file_.Close();
  if (!temporary_.empty() && !isInPlace_) DeleteFileW(temporary_.c_str());
  SetLastError(error);
}

bool Replacement::Impl::Create(const wchar_t* path) {
  target_ = path != nullptr ? path : L"";
  if (EndsInSeparator(target_)) return Fail(ReasonAgainstFolderName(target_));
  bool isThere = false;
  DWORD attributes = 0;
  if (!LookAt(target_, &isThere, &attributes)) return false;
  const bool isLink = isThere && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (isLink && !(FollowLinks(&target_) && LookAt(target_, &isThere, &attributes))) return false;
  const std::wstring folder = FolderOf(target_);
  RemoveAbandoned(folder);
  for (int attempt = 0; attempt < kMaxAttempts && !file_.IsOpen(); ++attempt) {
    temporary_ = folder + NewTemporaryName();
    // Sharing the right to remove is what lets an open file be renamed.
    file_ = File(temporary_, kReadWrite | kRemoving, FILE_SHARE_DELETE, CREATE_NEW,
                 FILE_ATTRIBUTE_NORMAL);
    if (!file_.IsOpen() && GetLastError() != ERROR_FILE_EXISTS) break;
  }
  if (file_.IsOpen()) return !isThere || KeepAccessList(target_, temporary_);
  temporary_.clear();
  return false;
}

bool Replacement::Impl::IsTarget(HANDLE file) const {
  const File target(target_, 0, kShareAll, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
  return target.IsOpen() && IsSameFile(file, target.get());
}

/// Everything that can be done before the old file is touched.
bool Replacement::Impl::Finish(bool mayReplace) {
  bool isThere = false;
  DWORD attributes = 0;
  if (!LookAt(target_, &isThere, &attributes)) return false;
  if (isThere && !mayReplace) return Fail(ERROR_FILE_EXISTS);
  const DWORD kept = attributes & kKeptAttributes;
  if (isThere &&
      SetFileAttributesW(temporary_.c_str(), kept != 0 ? kept : FILE_ATTRIBUTE_NORMAL) == 0) {
    return false;
  }
  return SetFilePointer(file_.get(), 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER &&
         FlushFileBuffers(file_.get()) != 0;
}

bool Replacement::Impl::IsInUse() const {
  const File file(target_, kReadWrite, 0, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
  return !file.IsOpen() && GetLastError() == ERROR_SHARING_VIOLATION;
}

/// The system itself brings the folder to the disk before this returns.
bool Replacement::Impl::Move(bool mayReplace) {
  const DWORD flags = MOVEFILE_WRITE_THROUGH | (mayReplace ? MOVEFILE_REPLACE_EXISTING : 0);
  isInPlace_ = MoveFileExW(temporary_.c_str(), target_.c_str(), flags) != 0;
  if (isInPlace_) {
    file_.Close();
    return true;
  }
  const DWORD error = GetLastError();
  if (error == ERROR_ALREADY_EXISTS) return Fail(ERROR_FILE_EXISTS);
  return Fail(error == ERROR_ACCESS_DENIED && IsInUse() ? ERROR_SHARING_VIOLATION : error);
}

HANDLE Replacement::Impl::Reopen(const OpenMode& mode) {
  const DWORD error = GetLastError();
  SECURITY_ATTRIBUTES security = {sizeof(security), nullptr, mode.isInherited};
  HANDLE handle = INVALID_HANDLE_VALUE;
  for (int attempt = 0; attempt < kReopenAttempts; ++attempt) {
    handle = CreateFileW(target_.c_str(), mode.access, mode.share, &security, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle != INVALID_HANDLE_VALUE || GetLastError() != ERROR_SHARING_VIOLATION) break;
    Sleep(kReopenPause);
  }
  SetLastError(error);
  return handle;
}

Replacement::Replacement() : impl_(std::make_unique<Impl>()) {}

Replacement::~Replacement() = default;

bool Replacement::Create(const wchar_t* path) { return impl_->Create(path); }

HANDLE Replacement::Handle() const { return impl_->Handle(); }

bool Replacement::IsTarget(HANDLE file) const { return impl_->IsTarget(file); }

bool Replacement::PutInPlace(bool mayReplace, HANDLE* open, const OpenMode& mode) {
  if (!impl_->Finish(mayReplace)) return false;
  // Here nothing that is open can be replaced.
  if (open != nullptr) CloseHandle(*open);
  const bool isMoved = impl_->Move(mayReplace);
  if (open != nullptr) *open = impl_->Reopen(mode);
  return isMoved;
}

}  // namespace kx_platform
