#include "SystemCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>

#include "FileTimes.h"
#include "WinApi.h"

namespace kx_posix {
namespace {

static_assert(sizeof(off_t) == 8, "share marks lie beyond 32 bits");

std::atomic<CallHook> callHook{nullptr};

/// True when the hook lets the call happen; otherwise errno is what it said.
bool IsLet(SystemCall call, size_t* count) {
  const CallHook hook = callHook.load(std::memory_order_relaxed);
  if (hook == nullptr) return true;
  const int error = hook(call, count);
  if (error == 0) return true;
  errno = error;
  return false;
}

/// Makes a call until it is not interrupted.
template <class Call>
auto Repeat(SystemCall kind, Call call) -> decltype(call()) {
  while (true) {
    size_t unused = 0;
    const auto result = IsLet(kind, &unused) ? call() : decltype(call()){-1};
    if (result != -1 || errno != EINTR) return result;
  }
}

template <class Call>
ssize_t RepeatTransfer(SystemCall kind, size_t count, Call call) {
  while (true) {
    size_t allowed = count;
    const ssize_t result = IsLet(kind, &allowed) ? call(allowed) : -1;
    if (result != -1 || errno != EINTR) return result;
  }
}

FileFacts FactsFrom(const struct statx& data) {
  FileFacts facts;
  facts.device = makedev(data.stx_dev_major, data.stx_dev_minor);
  facts.inode = data.stx_ino;
  facts.size = data.stx_size;
  facts.mode = data.stx_mode;
  facts.user = data.stx_uid;
  facts.group = data.stx_gid;
  facts.access = ToFileTime(data.stx_atime.tv_sec, data.stx_atime.tv_nsec);
  facts.write = ToFileTime(data.stx_mtime.tv_sec, data.stx_mtime.tv_nsec);
  const bool hasCreation = (data.stx_mask & STATX_BTIME) != 0;
  facts.creation =
      hasCreation ? ToFileTime(data.stx_btime.tv_sec, data.stx_btime.tv_nsec) : facts.write;
  return facts;
}

bool GetFactsAt(int fd, const char* path, int flags, FileFacts* facts) {
  struct statx data = {};
  const auto call = [&] {
    return ::statx(fd, path, flags, STATX_BASIC_STATS | STATX_BTIME, &data);
  };
  if (Repeat(SystemCall::kStatus, call) == -1) return false;
  *facts = FactsFrom(data);
  return true;
}

struct flock RangeLock(short type, off_t start, off_t length) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return lock;
}

/// For file systems that cannot rename without replacing.
int LinkAndRemove(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) == 0) {
    if (::unlink(from.c_str()) == 0) return 0;
    const int error = errno;
    ::unlink(to.c_str());
    errno = error;
    return -1;
  }
  if (errno == EEXIST) return -1;
  struct stat data = {};
  if (::lstat(to.c_str(), &data) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::rename(from.c_str(), to.c_str());
}

}  // namespace

void SetCallHook(CallHook hook) { callHook.store(hook, std::memory_order_relaxed); }

bool FileFacts::IsFolder() const { return S_ISDIR(mode); }
bool FileFacts::IsRegular() const { return S_ISREG(mode); }

DWORD FileFacts::Attributes() const {
  const DWORD kind = IsFolder() ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  return IsReadOnly() ? kind | FILE_ATTRIBUTE_READONLY : kind;
}

int Open(const std::string& path, int flags, mode_t mode) {
  return Repeat(SystemCall::kOpen, [&] { return ::open(path.c_str(), flags, mode); });
}

int Close(int fd) {
  size_t unused = 0;
  const bool isLet = IsLet(SystemCall::kClose, &unused);
  const int hookError = errno;
  // The descriptor is gone even when the call reports an error.
  const int result = ::close(fd);
  if (isLet) return result;
  errno = hookError;
  return -1;
}

ssize_t Read(int fd, void* buffer, size_t count) {
  const auto call = [&](size_t allowed) { return ::read(fd, buffer, allowed); };
  return RepeatTransfer(SystemCall::kRead, count, call);
}

ssize_t Write(int fd, const void* data, size_t count) {
  const auto call = [&](size_t allowed) { return ::write(fd, data, allowed); };
  return RepeatTransfer(SystemCall::kWrite, count, call);
}

off_t Seek(int fd, off_t offset, int origin) {
  return Repeat(SystemCall::kSeek, [&] { return ::lseek(fd, offset, origin); });
}

int SetLength(int fd, off_t length) {
  return Repeat(SystemCall::kSetLength, [&] { return ::ftruncate(fd, length); });
}

int Flush(int fd) {
  return Repeat(SystemCall::kFlush, [&] { return ::fsync(fd); });
}

int FlushAll(int fd) {
  return Repeat(SystemCall::kFlush, [&] { return ::syncfs(fd); });
}

bool GetFacts(int fd, FileFacts* facts) { return GetFactsAt(fd, "", AT_EMPTY_PATH, facts); }

bool GetFacts(const std::string& path, FileFacts* facts) {
  return GetFactsAt(AT_FDCWD, path.c_str(), 0, facts);
}

bool GetFactsOfLink(const std::string& path, FileFacts* facts) {
  return GetFactsAt(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, facts);
}

int Rename(const std::string& from, const std::string& to) {
  return Repeat(SystemCall::kRename, [&] { return ::rename(from.c_str(), to.c_str()); });
}

int RenameToFreeName(const std::string& from, const std::string& to) {
  const auto call = [&] {
    const int result = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    const bool isUnknown = result == -1 && (errno == EINVAL || errno == ENOSYS);
    return isUnknown ? LinkAndRemove(from, to) : result;
  };
  return Repeat(SystemCall::kRename, call);
}

int Exchange(const std::string& a, const std::string& b) {
  return Repeat(SystemCall::kRename, [&] {
    return ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
  });
}

int Remove(const std::string& path) {
  return Repeat(SystemCall::kRemove, [&] { return ::unlink(path.c_str()); });
}

bool ReadLink(const std::string& path, std::string* target) {
  std::array<char, PATH_MAX> text{};
  const ssize_t length = Repeat(SystemCall::kReadLink,
                                [&] { return ::readlink(path.c_str(), text.data(), text.size()); });
  if (length == -1) return false;
  target->assign(text.data(), static_cast<size_t>(length));
  return true;
}

int SetMode(int fd, mode_t mode) {
  return Repeat(SystemCall::kPermissions, [&] { return ::fchmod(fd, mode); });
}

int SetOwner(int fd, uint32_t user, uint32_t group) {
  return Repeat(SystemCall::kPermissions, [&] { return ::fchown(fd, user, group); });
}

int CopyAccessList(int from, int to) {
  constexpr const char* kList = "system.posix_acl_access";
  std::array<char, 4096> list{};
  const ssize_t size = Repeat(SystemCall::kPermissions,
                              [&] { return ::fgetxattr(from, kList, list.data(), list.size()); });
  if (size == -1) return errno == ENODATA || errno == ENOTSUP ? 0 : -1;
  return Repeat(SystemCall::kPermissions,
                [&] { return ::fsetxattr(to, kList, list.data(), static_cast<size_t>(size), 0); });
}

int SetWriteTime(int fd, const FILETIME& write) {
  struct timespec times[2] = {};
  times[0].tv_nsec = UTIME_OMIT;
  times[1] = ToTimespec(write);
  return Repeat(SystemCall::kSetTimes, [&] { return ::futimens(fd, times); });
}

bool ListFolder(const std::string& path, std::vector<std::string>* names) {
  size_t unused = 0;
  if (!IsLet(SystemCall::kList, &unused)) return false;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path.c_str()), &::closedir);
  if (folder == nullptr) return false;
  int error = 0;
  while (true) {
    errno = 0;
    const dirent* entry = ::readdir(folder.get());
    error = errno;
    if (entry == nullptr) break;
    names->emplace_back(entry->d_name);
  }
  errno = error;
  return error == 0;
}

int TryGate(int fd) {
  return Repeat(SystemCall::kGate, [&] { return ::flock(fd, LOCK_EX | LOCK_NB); });
}

int LeaveGate(int fd) { return ::flock(fd, LOCK_UN); }

int Mark(int fd, bool exclusive, off_t start, off_t length) {
  struct flock lock = RangeLock(exclusive ? F_WRLCK : F_RDLCK, start, length);
  return Repeat(SystemCall::kMark, [&] { return ::fcntl(fd, F_OFD_SETLK, &lock); });
}

int Unmark(int fd, off_t start, off_t length) {
  struct flock lock = RangeLock(F_UNLCK, start, length);
  return Repeat(SystemCall::kMark, [&] { return ::fcntl(fd, F_OFD_SETLK, &lock); });
}

int Probe(int fd, off_t start, off_t length) {
  struct flock lock = RangeLock(F_WRLCK, start, length);
  const auto call = [&] { return ::fcntl(fd, F_OFD_GETLK, &lock); };
  if (Repeat(SystemCall::kProbe, call) == -1) return -1;
  return lock.l_type == F_UNLCK ? 0 : 1;
}

}  // namespace kx_posix
