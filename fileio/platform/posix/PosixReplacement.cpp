#include <fcntl.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "Errors.h"
#include "OpenFile.h"
#include "Replacement.h"
#include "ShareMarks.h"
#include "SystemCalls.h"
#include "TemporaryName.h"

using kx_posix::CloseFile;
using kx_posix::DescriptorOf;
using kx_posix::Disposition;
using kx_posix::Fail;
using kx_posix::FailFromErrno;
using kx_posix::FileFacts;
using kx_posix::FileName;
using kx_posix::FolderOf;
using kx_posix::Gate;
using kx_posix::GetFacts;
using kx_posix::HandleInfo;
using kx_posix::NameError;
using kx_posix::Open;
using kx_posix::OpenRequest;
using kx_posix::OpenResult;
using kx_posix::Remove;
using kx_posix::RenameToFreeName;
using kx_posix::SetMode;

namespace kx_platform {
namespace {

constexpr int kMaxLinks = 40;      // in a row, as the system itself follows them
constexpr int kMaxAttempts = 100;  // to find a free name, or a target that stays the same meanwhile
constexpr uint32_t kPermissionBits = 07777;
constexpr mode_t kPrivateFile = 0600;
constexpr HandleInfo kExclusive = {GENERIC_READ | GENERIC_WRITE, 0};

/// Makes `*path` what it leads to, which need not exist. Only the last name can be a link that has
/// to be followed here: the folders' links are the system's business.
bool FollowLinks(std::string* path) {
  for (int i = 0; i < kMaxLinks; ++i) {
    std::string target;
    if (!kx_posix::ReadLink(*path, &target)) {
      return errno == EINVAL || errno == ENOENT || Fail(NameError(*path, errno));
    }
    *path = target[0] == '/' ? target : FolderOf(*path) + "/" + target;
  }
  return Fail(ERROR_PATH_NOT_FOUND);
}

/// What nobody may write is not replaced either.
bool IsReplaceable(const FileFacts& facts) { return facts.IsRegular() && !facts.IsReadOnly(); }

/// Nobody has an abandoned file open, whereas a save has its own.
void RemoveAbandoned(const std::string& folder) {
  std::vector<std::string> names;
  if (!kx_posix::ListFolder(folder, &names)) return;
  for (const std::string& name : names) {
    if (!IsTemporaryName(kx_posix::FromFileSystemText(name))) continue;
    FileName file = {folder, false, ERROR_SUCCESS};
    file.path.append("/").append(name);
    OpenRequest request;
    request.info = kExclusive;
    const OpenResult found = kx_posix::OpenFile(file, request);
    if (found.fd == -1) continue;
    if (found.facts.IsRegular()) Remove(file.path);
    CloseFile(found.fd);
  }
}

/// The old file, open without a handle's marks: whoever may not write it may not replace it.
class OldFile {
 public:
  explicit OldFile(const std::string& path)
      : fd_(Open(path, O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0)) {}
  ~OldFile() {
    if (fd_ != -1) kx_posix::Close(fd_);
  }
  OldFile(const OldFile&) = delete;
  OldFile& operator=(const OldFile&) = delete;
  bool IsOpen() const { return fd_ != -1; }
  int Descriptor() const { return fd_; }

 private:
  int fd_;
};

/// While it lives nobody else can open the file, if nobody had when it was made.
class Claim {
 public:
  Claim(int fd, const HandleInfo& held) : fd_(fd), held_(held) {
    // Who has a file for itself need not ask: others that knock meanwhile would look like users.
    const bool hasAlone = held.access != 0 && held.share == 0;
    isGranted_ = hasAlone || kx_posix::ClaimUnused(fd, IsReadable(fd), held);
  }
  ~Claim() {
    if (isGranted_) kx_posix::ShareAgain(fd_, held_);
  }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;
  bool IsGranted() const { return isGranted_; }

 private:
  static bool IsReadable(int fd) { return (::fcntl(fd, F_GETFL) & O_ACCMODE) != O_WRONLY; }
  int fd_;
  HandleInfo held_;
  bool isGranted_;
};

/// A folder, open before it is changed, so that a refusal comes before the change.
class Folder {
 public:
  explicit Folder(const std::string& path)
      : fd_(Open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0)), error_(fd_ == -1 ? errno : 0) {}
  ~Folder() {
    if (fd_ != -1) kx_posix::Close(fd_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  /// False with errno set. A folder that may be changed but not read is flushed with all the rest.
  bool IsUsable() const {
    errno = error_;
    return fd_ != -1 || error_ == EACCES;
  }
  /// False with errno set; some file systems keep their folders without being asked (EINVAL).
  bool Flush(int fileInIt) const {
    const int result = fd_ != -1 ? kx_posix::Flush(fd_) : kx_posix::FlushAll(fileInIt);
    return result != -1 || errno == EINVAL;
  }

 private:
  int fd_;
  int error_;
};

/// Where the owner cannot be kept, as only the superuser can give files away, the group may be; and
/// where neither can, nobody new comes to the old group's rights.
bool KeepOwner(int fd, const FileFacts& now, const FileFacts& old, uint32_t* mode) {
  if (now.user == old.user && now.group == old.group) return true;
  if (kx_posix::SetOwner(fd, old.user, old.group) != -1) return true;
  if (errno != EPERM) return false;
  if (now.group == old.group) return true;
  if (kx_posix::SetOwner(fd, now.user, old.group) != -1) return true;
  if (errno != EPERM) return false;
  *mode = (*mode & ~070u) | ((*mode & 07u) << 3);
  return true;
}

bool KeepPermissions(int fd, int oldFile, const FileFacts& old) {
  FileFacts now;
  if (!GetFacts(fd, &now)) return false;
  uint32_t mode = old.mode & kPermissionBits;
  if (!KeepOwner(fd, now, old, &mode)) return false;
  return kx_posix::CopyAccessList(oldFile, fd) != -1 && SetMode(fd, mode) != -1;
}

bool IsFile(int fd, const FileFacts& facts) {
  FileFacts own;
  return fd != -1 && GetFacts(fd, &own) && own.IsSameFileAs(facts);
}

}  // namespace

class Replacement::Impl {
 public:
  Impl() = default;
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  bool Create(const wchar_t* path);
  HANDLE Handle() const { return kx_posix::HandleOf(fd_); }
  bool IsTarget(int fd) const;
  /// `own` is the caller's descriptor of the target, -1 when there is none.
  bool PutInPlace(bool mayReplace, int own, const HandleInfo& held);
  /// Gives up the new file, which is in place: opened as `mode` says.
  HANDLE HandOver(const OpenMode& mode);

 private:
  enum class Outcome { kDone, kRefused, kChanged };

  bool CreateTemporary(const std::string& folder, mode_t mode);
  Outcome TakeFreeName();
  Outcome Replace(const FileFacts& old, int own, const HandleInfo& held);
  Outcome Swap();
  bool FlushFile() const;

  std::string target_;
  std::optional<FileFacts> old_;  // as found at first
  std::string temporary_;
  bool hasTemporary_ = false;  // it may be there, and is this save's
  int fd_ = -1;
};

Replacement::Impl::~Impl() {
  // Before it is closed: nobody else has it open then.
  if (hasTemporary_) Remove(temporary_);
  if (fd_ != -1) CloseFile(fd_);
}

bool Replacement::Impl::Create(const wchar_t* path) {
  FileName name = kx_posix::ToFileName(path);
  if (name.error != ERROR_SUCCESS) return Fail(name.error);
  if (name.endsInSeparator) {
    return Fail(kx_posix::FolderNameError(name, Disposition::kCreateAlways));
  }
  if (!FollowLinks(&name.path)) return false;
  target_ = name.path;
  FileFacts old;
  if (GetFacts(target_, &old)) {
    if (!IsReplaceable(old)) return Fail(ERROR_ACCESS_DENIED);
    old_ = old;
  } else if (const DWORD error = NameError(target_, errno); error != ERROR_FILE_NOT_FOUND) {
    return Fail(error);
  }
  const std::string folder = FolderOf(target_);
  RemoveAbandoned(folder);
  return CreateTemporary(folder, old_ ? kPrivateFile : OpenRequest().newFileMode);
}

bool Replacement::Impl::CreateTemporary(const std::string& folder, mode_t mode) {
  OpenRequest request;
  request.info = kExclusive;
  request.disposition = Disposition::kCreateNew;
  request.newFileMode = mode;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    temporary_ = folder + "/" + kx_posix::ToFileSystemText(NewTemporaryName());
    hasTemporary_ = true;  // also where it is made and then cannot be opened as it should be
    const OpenResult made = kx_posix::OpenFile({temporary_, false, ERROR_SUCCESS}, request);
    fd_ = made.fd;
    if (made.error != ERROR_ALREADY_EXISTS) return fd_ != -1 || Fail(made.error);
    hasTemporary_ = false;
  }
  return Fail(ERROR_ALREADY_EXISTS);
}

bool Replacement::Impl::IsTarget(int fd) const {
  FileFacts target;
  return GetFacts(target_, &target) && IsFile(fd, target);
}

bool Replacement::Impl::FlushFile() const {
  return kx_posix::Seek(fd_, 0, SEEK_SET) != -1 && kx_posix::Flush(fd_) != -1;
}

bool Replacement::Impl::PutInPlace(bool mayReplace, int own, const HandleInfo& held) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    FileFacts old;
    const bool isThere = kx_posix::GetFactsOfLink(target_, &old);
    if (!isThere && errno != ENOENT) return Fail(NameError(target_, errno));
    if (isThere && !mayReplace) return Fail(ERROR_FILE_EXISTS);
    const Outcome outcome = isThere ? Replace(old, own, held) : TakeFreeName();
    if (outcome != Outcome::kChanged) return outcome == Outcome::kDone;
  }
  return Fail(ERROR_SHARING_VIOLATION);
}

Replacement::Impl::Outcome Replacement::Impl::TakeFreeName() {
  const auto refuse = [](int error) {
    errno = error;
    FailFromErrno();
    return Outcome::kRefused;
  };
  if (old_ && SetMode(fd_, old_->mode & kPermissionBits) == -1) return refuse(errno);
  if (!FlushFile()) return refuse(errno);
  const Folder folder(FolderOf(target_));
  if (!folder.IsUsable()) return refuse(errno);
  if (RenameToFreeName(temporary_, target_) == -1) {
    return errno == EEXIST ? Outcome::kChanged : refuse(errno);
  }
  hasTemporary_ = false;
  if (folder.Flush(fd_)) return Outcome::kDone;
  const int error = errno;
  hasTemporary_ = RenameToFreeName(target_, temporary_) != -1;
  return hasTemporary_ ? refuse(error) : Outcome::kDone;
}

Replacement::Impl::Outcome Replacement::Impl::Replace(const FileFacts& old, int own,
                                                      const HandleInfo& held) {
  if (!IsReplaceable(old)) {
    Fail(ERROR_ACCESS_DENIED);
    return Outcome::kRefused;
  }
  const OldFile file(target_);
  if (!file.IsOpen() && errno == ENOENT) return Outcome::kChanged;
  if (!file.IsOpen() || !KeepPermissions(fd_, file.Descriptor(), old) || !FlushFile()) {
    FailFromErrno();
    return Outcome::kRefused;
  }
  // A handle without access has no marks that would be in the way, and none to claim with.
  const bool claimsOwn = held.access != 0 && IsFile(own, old);
  const int claimant = claimsOwn ? own : file.Descriptor();
  const Gate gate(claimant);
  const Claim claim(claimant, claimsOwn ? held : kx_posix::kUnmarked);
  FileFacts named;
  const bool isStillNamed = kx_posix::GetFactsOfLink(target_, &named) && IsFile(claimant, named);
  if (!isStillNamed) return Outcome::kChanged;
  if (claim.IsGranted()) return Swap();
  Fail(ERROR_SHARING_VIOLATION);
  return Outcome::kRefused;
}

/// The old file keeps a name until the folder is on the disk, so that there is a way back.
Replacement::Impl::Outcome Replacement::Impl::Swap() {
  const auto refuse = [](int error) {
    errno = error;
    FailFromErrno();
    return Outcome::kRefused;
  };
  const Folder folder(FolderOf(target_));
  if (!folder.IsUsable()) return refuse(errno);
  const bool isExchanged = kx_posix::Exchange(temporary_, target_) != -1;
  if (!isExchanged) {
    const bool isUnknown = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    if (!isUnknown || kx_posix::Rename(temporary_, target_) == -1) return refuse(errno);
  }
  hasTemporary_ = isExchanged;
  if (!folder.Flush(fd_) && isExchanged) {
    const int error = errno;
    if (kx_posix::Exchange(temporary_, target_) != -1) return refuse(error);
  }
  if (isExchanged && Remove(temporary_) != -1) hasTemporary_ = false;
  return Outcome::kDone;
}

HANDLE Replacement::Impl::HandOver(const OpenMode& mode) {
  const HandleInfo info = {mode.access, mode.share};
  kx_posix::RememberHandle(fd_, info);
  kx_posix::ShareAgain(fd_, info.access != 0 ? info : kx_posix::kUnmarked);
  if (mode.isInherited) ::fcntl(fd_, F_SETFD, 0);
  const HANDLE handle = Handle();
  fd_ = -1;
  return handle;
}

Replacement::Replacement() : impl_(std::make_unique<Impl>()) {}

Replacement::~Replacement() = default;

bool Replacement::Create(const wchar_t* path) { return impl_->Create(path); }

HANDLE Replacement::Handle() const { return impl_->Handle(); }

bool Replacement::IsTarget(HANDLE file) const { return impl_->IsTarget(DescriptorOf(file)); }

bool Replacement::PutInPlace(bool mayReplace, HANDLE* open, const OpenMode& mode) {
  const int own = open != nullptr ? DescriptorOf(*open) : -1;
  if (!impl_->PutInPlace(mayReplace, own, {mode.access, mode.share})) return false;
  if (open == nullptr) return true;
  *open = impl_->HandOver(mode);
  CloseFile(own);
  return true;
}

}  // namespace kx_platform
