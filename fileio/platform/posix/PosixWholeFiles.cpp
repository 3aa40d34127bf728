#include <fcntl.h>

#include <cerrno>
#include <vector>

#include "Errors.h"
#include "OpenFile.h"
#include "ShareMarks.h"
#include "SystemCalls.h"
#include "Wildcard.h"

using kx_posix::Close;
using kx_posix::CloseFile;
using kx_posix::ErrorFromErrno;
using kx_posix::Fail;
using kx_posix::FailFromErrno;
using kx_posix::FileFacts;
using kx_posix::FileName;
using kx_posix::Gate;
using kx_posix::GetFacts;
using kx_posix::NameError;
using kx_posix::Open;
using kx_posix::OpenRequest;
using kx_posix::OpenResult;
using kx_posix::Read;
using kx_posix::Remove;
using kx_posix::ToFileName;
using kx_posix::Write;

namespace {

constexpr size_t kCopyBlock = size_t{1} << 20;
constexpr int kMaxAttempts = 100;  // to find a name meaning the same file twice
constexpr DWORD kSharesAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

/// Looks a name up; false with the last error set. A link that leads nowhere is there.
bool LookUp(const FileName& name, FileFacts* facts) {
  if (name.error != ERROR_SUCCESS) return Fail(name.error);
  if (!GetFacts(name.path, facts) && !kx_posix::GetFactsOfLink(name.path, facts)) {
    return Fail(NameError(name.path, errno));
  }
  return !name.endsInSeparator || facts->IsFolder() || Fail(ERROR_INVALID_NAME);
}

/// A descriptor that is open to ask who uses the file, and closed without a trace.
class Inspection {
 public:
  explicit Inspection(const std::string& path)
      : fd_(Open(path, O_RDONLY | kFlags, 0)), isReadable_(fd_ != -1) {
    if (!isReadable_ && errno == EACCES) fd_ = Open(path, O_WRONLY | kFlags, 0);
  }
  ~Inspection() {
    if (fd_ != -1) Close(fd_);
  }
  Inspection(const Inspection&) = delete;
  Inspection& operator=(const Inspection&) = delete;
  bool IsOpen() const { return fd_ != -1; }
  bool IsReadable() const { return isReadable_; }
  int Descriptor() const { return fd_; }

 private:
  static constexpr int kFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  int fd_;
  bool isReadable_;
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
  if (!facts.IsRegular()) return action();
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    const Inspection inspection(name.path);
    if (!inspection.IsOpen()) {
      return errno == EACCES ? action() : Fail(NameError(name.path, errno));
    }
    const Gate gate(inspection.Descriptor());
    const bool isUnused = kx_posix::ClaimUnused(inspection.Descriptor(), inspection.IsReadable());
    if (!IsStillNamed(inspection.Descriptor(), name.path, &facts)) continue;
    return isUnused ? action() : Fail(ERROR_SHARING_VIOLATION);
  }
  return Fail(ERROR_SHARING_VIOLATION);
}

bool IsOtherCaseOf(const FileName& from, const FileName& to) {
  const std::wstring a = kx_posix::FromFileSystemText(from.path);
  const std::wstring b = kx_posix::FromFileSystemText(to.path);
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
  request.disposition = kx_posix::Disposition::kCreateNew;
  request.newFileMode = static_cast<mode_t>(source.facts.mode & 0777);
  const OpenResult target = OpenFile(to, request);
  if (target.fd == -1) {
    return Fail(target.error == ERROR_ALREADY_EXISTS ? ERROR_FILE_EXISTS : target.error);
  }
  bool isWhole =
      CopyData(source.fd, target.fd) && kx_posix::SetWriteTime(target.fd, source.facts.write) != -1;
  int error = errno;
  if (!CloseFile(target.fd) && isWhole) {
    error = errno;
    isWhole = false;
  }
  if (isWhole) return true;
  Remove(to.path);
  return Fail(ErrorFromErrno(error));
}

bool CopyToFreeName(const OpenResult& source, const FileName& to) {
  FileFacts existing;
  const bool isTaken = to.error == ERROR_SUCCESS && GetFacts(to.path, &existing);
  return isTaken ? Fail(ERROR_FILE_EXISTS) : CopyToNew(source, to);
}

/// Opens the source for reading, with this sharing, while `action` has it.
template <class Action>
bool WithSource(const FileName& name, DWORD share, Action action) {
  OpenRequest request;
  request.info = {GENERIC_READ, share};
  const OpenResult source = kx_posix::OpenFile(name, request);
  if (source.fd == -1) return Fail(source.error);
  const bool isDone = action(source);
  CloseFile(source.fd);
  return isDone;
}

/// Moves a file to another file system, where no name of it can be made. Either both names are
/// right in the end or nothing has changed.
bool MoveAcross(const FileName& from, const FileName& to) {
  return WithSource(from, 0, [&](const OpenResult& source) {
    if (!CopyToFreeName(source, to)) return false;
    if (Remove(from.path) != -1) return true;
    FailFromErrno();
    Remove(to.path);
    return false;
  });
}

/// Renames; on failure with the errno of it, another case of the own name being no failure.
bool RenameUnused(const FileName& from, const FileName& to, const FileFacts& source) {
  if (from.path == to.path || kx_posix::RenameToFreeName(from.path, to.path) != -1) return true;
  const int error = errno;
  FileFacts target;
  const bool isOwnName = error == EEXIST && IsOtherCaseOf(from, to) && GetFacts(to.path, &target) &&
                         target.IsSameFileAs(source);
  if (isOwnName) return kx_posix::Rename(from.path, to.path) != -1 || FailFromErrno();
  return Fail(error == ENOENT ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(error));
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
  const auto rename = [&] { return RenameUnused(from, to, source); };
  if (WhileUnused(from, source, rename)) return true;
  const bool isOtherDevice = GetLastError() == ERROR_NOT_SAME_DEVICE && source.IsRegular();
  return isOtherDevice && MoveAcross(from, to);
}

bool Delete(const FileName& name) {
  FileFacts facts;
  if (!LookUp(name, &facts)) return false;
  if (facts.IsFolder() || facts.IsReadOnly()) return Fail(ERROR_ACCESS_DENIED);
  return WhileUnused(name, facts, [&] { return Remove(name.path) != -1 || FailFromErrno(); });
}

}  // namespace

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
  const FileName target = ToFileName(to);
  return WithSource(ToFileName(from), kSharesAll,
                    [&](const OpenResult& source) { return CopyToFreeName(source, target); });
}
