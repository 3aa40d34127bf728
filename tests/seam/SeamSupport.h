/// What the tests of the platform layer share.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "FileSearch.h"
#include "KxTest.h"
#include "WinApi.h"

namespace kx_seam {

constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kRealAccesses[] = {GENERIC_READ, GENERIC_WRITE, kReadWrite};
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

/// An open file, closed at the end of its scope, and the last error that opening it left.
class Opened {
 public:
  explicit Opened(const std::wstring& name, DWORD access = kReadWrite,
                  DWORD disposition = OPEN_EXISTING, DWORD share = 0)
      : handle_(Create(name, access, disposition, share)), error_(GetLastError()) {}
  ~Opened() { Close(); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

  HANDLE handle() const { return handle_; }
  bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  /// 0 when the file is open, else why it is not.
  DWORD refusal() const { return isOpen() ? 0 : error_; }
  DWORD lastError() const { return error_; }
  void Close() {
    if (isOpen()) CloseHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
  }

  static constexpr DWORD kUntouched = 0xABCD;

 private:
  static HANDLE Create(const std::wstring& name, DWORD access, DWORD disposition, DWORD share) {
    SECURITY_ATTRIBUTES security = {12, nullptr, FALSE};
    SetLastError(kUntouched);
    return CreateFileW(name.c_str(), access, share, &security, disposition, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
  }

  HANDLE handle_;
  DWORD error_;
};

/// The last error of a call that must fail; 0 when it succeeds.
template <class Result>
DWORD errorOf(Result succeeded) {
  return succeeded ? 0 : GetLastError();
}

inline void makeFile(const std::filesystem::path& path, const std::string& text = "") {
  kx_test::writeFile(path, kx_test::Bytes(text.begin(), text.end()));
}

inline std::string textOf(const std::filesystem::path& path) {
  const kx_test::Bytes bytes = kx_test::readFile(path);
  return std::string(bytes.begin(), bytes.end());
}

inline void makeReadOnly(const std::filesystem::path& path) {
  using std::filesystem::perms;
  std::filesystem::permissions(path, perms::owner_write | perms::group_write | perms::others_write,
                               std::filesystem::perm_options::remove);
}

inline void makeWritable(const std::filesystem::path& path) {
  using std::filesystem::perms;
  std::filesystem::permissions(path, perms::owner_write, std::filesystem::perm_options::add);
}

/// The names that a search finds, in its order, and the error that ended it.
struct Search {
  std::vector<std::wstring> names;
  DWORD error = 0;
};

inline Search search(const std::wstring& pattern) {
  Search result;
  WIN32_FIND_DATAW data = {};
  const HANDLE handle = kx_FindFirst(pattern.c_str(), &data);
  if (handle == INVALID_HANDLE_VALUE) {
    result.error = GetLastError();
    return result;
  }
  do {
    result.names.emplace_back(data.cFileName);
  } while (kx_FindNext(handle, &data));
  result.error = GetLastError();
  kx_FindClose(handle);
  return result;
}

}  // namespace kx_seam
