#include "Errors.h"

#include <cerrno>

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

struct ErrnoRow {
  int number;
  DWORD error;
};

constexpr ErrnoRow kErrnoRows[] = {
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {ELOOP, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {EROFS, ERROR_WRITE_PROTECT},
    {ENODEV, ERROR_BAD_UNIT},
    {ENXIO, ERROR_NOT_READY},
    {EIO, ERROR_CRC},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EAGAIN, ERROR_LOCK_VIOLATION},
    {EDEADLK, ERROR_LOCK_VIOLATION},
    {ENOLCK, ERROR_SHARING_BUFFER_EXCEEDED},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {EOVERFLOW, ERROR_INVALID_PARAMETER},
    {EPIPE, ERROR_BROKEN_PIPE},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {ESPIPE, ERROR_SEEK_ON_DEVICE},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {EBUSY, ERROR_BUSY},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {EFAULT, ERROR_NOACCESS},
};

}  // namespace

DWORD GetLastError() { return lastError; }

void SetLastError(DWORD error) { lastError = error; }

namespace kx_posix {

DWORD ErrorFromErrno(int error) {
  for (const ErrnoRow& row : kErrnoRows) {
    if (row.number == error) return row.error;
  }
  return ERROR_GEN_FAILURE;
}

bool Fail(DWORD error) {
  SetLastError(error);
  return false;
}

bool FailFromErrno() { return Fail(ErrorFromErrno(errno)); }

}  // namespace kx_posix
