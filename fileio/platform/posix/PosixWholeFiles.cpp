#include <fcntl.h>

#include <cerrno>
#include <vector>

#include "Errors.h"
#include "OpenFile.h"
#include "ShareMarks.h"
#include "SystemCalls.h"
#include "Wildcard.h"

namespace kx_posix {
namespace {

constexpr size_t kCopyBlock = size_t{1} << 20;
constexpr int kMaxAttempts = 100;  // to find a name meaning the same file twice
constexpr DWORD kSharesAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

/// Looks a name up; false with the last error set. A link that leads nowhere is there.
bool LookUp(const FileName& name, FileFacts* facts) {
  if (name.error != ERROR_SUCCESS) return Fail(name.error);
  if (!GetFacts(name.path, facts) && !GetFactsOfLink(name.path, facts)) {
    return Fail(NameError(name.path, errno));
  }
  return !name.endsInSeparator || facts->IsFolder() || Fail(ERROR_INVALID_NAME);
}

/// A descriptor that is open to ask who uses the file, and closed without a trace.
class Inspection {
 public:
  explicit Inspection(const std::string& path) {
    const int common = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    fd_ = Open(path, O_RDONLY | common, 0);
    if (fd_ == -1 && errno == EACCES) fd_ = Open(path, O_WRONLY | common, 0);
  }
  ~Inspection() {
    if (fd_ != -1) Close(fd_);
  }
  Inspection(const Inspection&) = delete;
  Inspection& operator=(const Inspection&) = delete;
  bool IsOpen() const { return fd_ != -1; }
  int Descriptor() const { return fd_; }

 private:
  int fd_ = -1;
};

/// True when the descriptor's file still has the name.
bool IsStillNamed(int fd, const std::string& path, FileFacts* facts) {
  FileFacts named;
  return GetFacts(fd, facts) && GetFacts(path, &named) && named.IsSameFileAs(*facts);
}

/// Does `action` on a file that nobody reads or writes, while no other can open it. A file that
/// this user may neither read nor write cannot be asked about; nor are folders and devices.
template <class Action>
bool WhileUnused(const FileName& name, FileFacts facts, Action action) {
  for (int attempt = 0; facts.IsRegular() && attempt < kMaxAttempts; ++attempt) {
    const Inspection inspection(name.path);
    if (!inspection.IsOpen()) return action();
    const Gate gate(inspection.Descriptor());
    if (!IsStillNamed(inspection.Descriptor(), name.path, &facts)) continue;
    if (IsInUse(inspection.Descriptor(), facts)) return Fail(ERROR_SHARING_VIOLATION);
    return action();
  }
  return action();
}

bool IsOtherCaseOf(const FileName& from, const FileName& to) {
  const std::wstring a = FromFileSystemText(from.path);
  const std::wstring b = FromFileSystemText(to.path);
  return kx_platform::CompareIgnoringCase(a, b) == 0;
}

bool CopyData(int from, int to) {
  std::vector<unsigned char> block(kCopyBlock);
  while (true) {
    const ssize_t count = Read(from, block.data(), block.size());
    if (count <= 0) return count == 0;
    for (ssize_t done = 0; done < count;) {
      const ssize_t step = Write(to, block.data() + done, static_cast<size_t>(count - done));
      if (step == -1) return false;
      done += step;
    }
  }
}

/// The new file is nobody else's until it is whole, and does not stay when it cannot be.
bool CopyToNew(const OpenResult& source, const FileName& to) {
  OpenRequest request;
  request.info = {GENERIC_WRITE, 0};
  request.disposition = Disposition::kCreateNew;
  request.newFileMode = static_cast<mode_t>(source.facts.mode & 0777);
  const OpenResult target = OpenFile(to, request);
  if (target.fd == -1) {
    return Fail(target.error == ERROR_ALREADY_EXISTS ? ERROR_FILE_EXISTS : target.error);
  }
  bool isWhole =
      CopyData(source.fd, target.fd) && SetWriteTime(target.fd, source.facts.write) != -1;
  int error = errno;
  if (!CloseFile(target.fd) && isWhole) {
    error = errno;
    isWhole = false;
  }
  if (isWhole) return true;
  Remove(to.path);
  return Fail(ErrorFromErrno(error));
}

bool CopyFile(const FileName& from, const FileName& to) {
  OpenRequest request;
  request.info = {GENERIC_READ, kSharesAll};
  const OpenResult source = OpenFile(from, request);
  if (source.fd == -1) return Fail(source.error);
  FileFacts existing;
  const bool isTaken = to.error == ERROR_SUCCESS && GetFacts(to.path, &existing);
  const bool isCopied = isTaken ? Fail(ERROR_FILE_EXISTS) : CopyToNew(source, to);
  CloseFile(source.fd);
  return isCopied;
}

/// Moves a file to another file system, where no name of it can be made.
bool MoveAcross(const FileName& from, const FileName& to) {
  if (!CopyFile(from, to)) return false;
  return Remove(from.path) != -1 || FailFromErrno();
}

bool FailMove(const FileName& from, const FileName& to, const FileFacts& source, int error) {
  FileFacts target;
  const bool isOwnName = error == EEXIST && IsOtherCaseOf(from, to) && GetFacts(to.path, &target) &&
                         target.IsSameFileAs(source);
  if (isOwnName) return Rename(from.path, to.path) != -1 || FailFromErrno();
  if (error == EXDEV && source.IsRegular()) return MoveAcross(from, to);
  if (error == ENOENT) return Fail(ERROR_PATH_NOT_FOUND);
  return Fail(ErrorFromErrno(error));
}

/// A file cannot get a name that only a folder can have.
bool FailAsFolder(const FileName& to) {
  FileFacts target;
  if (GetFacts(to.path, &target)) return Fail(ERROR_ALREADY_EXISTS);
  const DWORD error = NameError(to.path, errno);
  return Fail(error == ERROR_FILE_NOT_FOUND ? ERROR_INVALID_NAME : error);
}

bool Move(const FileName& from, const FileName& to) {
  FileFacts source;
  if (!LookUp(from, &source)) return false;
  if (to.error != ERROR_SUCCESS) return Fail(to.error);
  if (to.endsInSeparator && !source.IsFolder()) return FailAsFolder(to);
  return WhileUnused(from, source, [&] {
    if (from.path == to.path || RenameToFreeName(from.path, to.path) != -1) return true;
    return FailMove(from, to, source, errno);
  });
}

bool Delete(const FileName& name) {
  FileFacts facts;
  if (!LookUp(name, &facts)) return false;
  if (facts.IsFolder() || facts.IsReadOnly()) return Fail(ERROR_ACCESS_DENIED);
  return WhileUnused(name, facts, [&] { return Remove(name.path) != -1 || FailFromErrno(); });
}

}  // namespace
}  // namespace kx_posix

using namespace kx_posix;

DWORD GetFileAttributesW(LPCWSTR name) {
  FileFacts facts;
  return LookUp(ToFileName(name), &facts) ? facts.Attributes() : INVALID_FILE_ATTRIBUTES;
}

BOOL MoveFileW(LPCWSTR from, LPCWSTR to) {
  if (from == nullptr || to == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  return Move(ToFileName(from), ToFileName(to));
}

BOOL DeleteFileW(LPCWSTR name) { return Delete(ToFileName(name)); }

BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
  // Copies never replace a file here.
  if (from == nullptr || to == nullptr || failIfExists == FALSE) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  return CopyFile(ToFileName(from), ToFileName(to));
}
