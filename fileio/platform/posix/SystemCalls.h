/// Every call that file operations make to the system, in one place: interrupted calls are made
/// again here, and a test can make any of them fail.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "KxPlatform.h"

namespace kx_posix {

enum class SystemCall {
  kOpen,
  kClose,
  kRead,
  kWrite,
  kSeek,
  kSetLength,
  kFlush,
  kStatus,
  kGate,
  kMark,
  kProbe,
  kRename,
  kRemove,
  kList,
  kSetTimes,
  kReadLink,
  kPermissions,
};

/// Asked before every call, transfers with their byte count. Returns 0 to let the call happen,
/// having lowered `*count` perhaps, or the errno that it shall fail with. Null asks nobody.
using CallHook = int (*)(SystemCall call, size_t* count);
void SetCallHook(CallHook hook);

/// What the system knows of a file.
struct FileFacts {
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t size = 0;
  uint32_t mode = 0;
  uint32_t user = 0;
  uint32_t group = 0;
  FILETIME creation = {0, 0};  ///< The write time where the file system keeps no creation time.
  FILETIME access = {0, 0};
  FILETIME write = {0, 0};

  bool IsFolder() const;
  bool IsRegular() const;
  /// Nobody may write it, which is what the read-only attribute says elsewhere.
  bool IsReadOnly() const { return (mode & 0222) == 0; }
  /// FILE_ATTRIBUTE_ flags.
  DWORD Attributes() const;
  bool IsSameFileAs(const FileFacts& other) const {
    return device == other.device && inode == other.inode;
  }
};

// Each returns -1 (false) with errno set when the system refuses.
int Open(const std::string& path, int flags, mode_t mode);
int Close(int fd);
ssize_t Read(int fd, void* buffer, size_t count);
ssize_t Write(int fd, const void* data, size_t count);
off_t Seek(int fd, off_t offset, int origin);
int SetLength(int fd, off_t length);
int Flush(int fd);
int FlushAll(int fd);  ///< The whole file system that the descriptor belongs to.
bool GetFacts(int fd, FileFacts* facts);
bool GetFacts(const std::string& path, FileFacts* facts);              ///< Of what a link leads to.
bool GetFactsOfLink(const std::string& path, FileFacts* facts);        ///< Of a link itself.
int Rename(const std::string& from, const std::string& to);            ///< Replaces what is there.
int RenameToFreeName(const std::string& from, const std::string& to);  ///< EEXIST if it is not.
/// What each name stands for is the other's afterwards; EINVAL or ENOSYS where that is unknown.
int Exchange(const std::string& a, const std::string& b);
int Remove(const std::string& path);
bool ReadLink(const std::string& path, std::string* target);  ///< EINVAL for what is no link.
int SetMode(int fd, mode_t mode);
int SetOwner(int fd, uint32_t user, uint32_t group);
/// Copies the access list that a file has beside its mode; fine when there is none.
int CopyAccessList(int from, int to);
int SetWriteTime(int fd, const FILETIME& write);
bool ListFolder(const std::string& path, std::vector<std::string>* names);

/// Tries for the exclusive gate on an open file; EWOULDBLOCK when somebody else has it.
int TryGate(int fd);
int LeaveGate(int fd);
/// Locks a byte range for the open file description; EAGAIN when somebody else has it.
int Mark(int fd, bool exclusive, off_t start, off_t length);
int Unmark(int fd, off_t start, off_t length);
/// 1 when another open file description holds a mark in the range, 0 when none does, -1 on failure.
int Probe(int fd, off_t start, off_t length);

}  // namespace kx_posix
