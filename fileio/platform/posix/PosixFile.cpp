#include <unistd.h>

#include <cerrno>
#include <limits>
#include <optional>

#include "Errors.h"
#include "OpenFile.h"
#include "SystemCalls.h"

using kx_posix::AccessOf;
using kx_posix::CloseFile;
using kx_posix::DescriptorOf;
using kx_posix::Disposition;
using kx_posix::Fail;
using kx_posix::FailFromErrno;
using kx_posix::FileFacts;
using kx_posix::Flush;
using kx_posix::GetFacts;
using kx_posix::OpenRequest;
using kx_posix::OpenResult;
using kx_posix::Read;
using kx_posix::Seek;
using kx_posix::SetLength;
using kx_posix::Write;

namespace {

/// The descriptor of a handle that has the access; -1 with the last error set otherwise.
int DescriptorWith(HANDLE file, DWORD access) {
  const int fd = DescriptorOf(file);
  const std::optional<DWORD> allowed = AccessOf(fd);
  if (!allowed) return -1;
  if ((*allowed & access) == access) return fd;
  Fail(ERROR_ACCESS_DENIED);
  return -1;
}

/// Moves `count` bytes by as many calls as it takes. Stops early at the end of the file; false when
/// a call fails, with what was moved before in `*moved`.
template <class Transfer>
bool MoveBytes(DWORD count, DWORD* moved, Transfer transfer) {
  while (*moved < count) {
    const ssize_t step = transfer(*moved, count - *moved);
    if (step == -1) return false;
    if (step == 0) return true;
    *moved += static_cast<DWORD>(step);
  }
  return true;
}

bool ReadBytes(HANDLE file, void* buffer, DWORD count, DWORD* moved) {
  const int fd = DescriptorWith(file, GENERIC_READ);
  if (fd == -1) return false;
  if (count == 0) return true;
  if (buffer == nullptr) return Fail(ERROR_NOACCESS);
  const auto transfer = [&](DWORD done, DWORD left) {
    return Read(fd, static_cast<unsigned char*>(buffer) + done, left);
  };
  return MoveBytes(count, moved, transfer) || FailFromErrno();
}

bool WriteBytes(HANDLE file, const void* data, DWORD count, DWORD* moved) {
  const int fd = DescriptorWith(file, GENERIC_WRITE);
  if (fd == -1) return false;
  if (count == 0) return true;
  if (data == nullptr) return Fail(ERROR_INVALID_USER_BUFFER);
  const auto transfer = [&](DWORD done, DWORD left) {
    return Write(fd, static_cast<const unsigned char*>(data) + done, left);
  };
  if (MoveBytes(count, moved, transfer)) return true;
  return errno == EFAULT ? Fail(ERROR_INVALID_USER_BUFFER) : FailFromErrno();
}

std::optional<Disposition> DispositionOf(DWORD disposition) {
  switch (disposition) {
    case CREATE_ALWAYS:
      return Disposition::kCreateAlways;
    case OPEN_EXISTING:
      return Disposition::kOpenExisting;
    case OPEN_ALWAYS:
      return Disposition::kOpenAlways;
    default:
      return std::nullopt;
  }
}

/// Where a position counts from; false with errno set.
bool GetOrigin(int fd, DWORD from, int64_t* origin) {
  if (from == FILE_BEGIN) {
    *origin = 0;
    return true;
  }
  if (from == FILE_CURRENT) {
    *origin = Seek(fd, 0, SEEK_CUR);
    return *origin != -1;
  }
  FileFacts facts;
  if (!GetFacts(fd, &facts)) return false;
  *origin = static_cast<int64_t>(facts.size);
  return true;
}

/// The distance that a caller means: 64 bits when it gives a high word, else 32 with their sign.
int64_t DistanceOf(LONG low, const LONG* high) {
  if (high == nullptr) return low;
  const auto bits =
      (static_cast<uint64_t>(static_cast<uint32_t>(*high)) << 32) | static_cast<uint32_t>(low);
  return static_cast<int64_t>(bits);
}

/// The error that forbids moving to `origin` + `distance`.
DWORD PositionError(int64_t origin, int64_t distance, bool is64Bit) {
  if (distance > std::numeric_limits<int64_t>::max() - origin) return ERROR_INVALID_PARAMETER;
  const int64_t position = origin + distance;
  if (position < 0) return ERROR_NEGATIVE_SEEK;
  const bool isInRange = is64Bit || position <= std::numeric_limits<uint32_t>::max();
  return isInRange ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

/// The new position, -1 with the last error set.
int64_t MoveTo(int fd, int64_t distance, DWORD from, bool is64Bit) {
  int64_t origin = 0;
  if (!GetOrigin(fd, from, &origin)) {
    FailFromErrno();
    return -1;
  }
  const DWORD error = PositionError(origin, distance, is64Bit);
  if (error != ERROR_SUCCESS) {
    Fail(error);
    return -1;
  }
  if (from == FILE_CURRENT && distance == 0) return origin;
  const off_t position = Seek(fd, origin + distance, SEEK_SET);
  if (position == -1) FailFromErrno();
  return position;
}

DWORD FailSeek(DWORD error) {
  Fail(error);
  return INVALID_SET_FILE_POINTER;
}

}  // namespace

HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                   DWORD disposition, DWORD /*attributes*/, HANDLE /*templateFile*/) {
  const std::optional<Disposition> known = DispositionOf(disposition);
  if (!known) {
    Fail(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  OpenRequest request;
  request.info = {access & (GENERIC_READ | GENERIC_WRITE), share};
  request.disposition = *known;
  request.isInherited = security != nullptr && security->bInheritHandle != FALSE;
  const OpenResult result = OpenFile(kx_posix::ToFileName(name), request);
  if (result.fd == -1) {
    Fail(result.error);
    return INVALID_HANDLE_VALUE;
  }
  const bool isNewsworthy = result.existed && *known != Disposition::kOpenExisting;
  SetLastError(isNewsworthy ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return kx_posix::HandleOf(result.fd);
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read, LPOVERLAPPED /*overlapped*/) {
  DWORD moved = 0;
  const bool isDone = ReadBytes(file, buffer, count, &moved);
  if (read != nullptr) *read = moved;
  return isDone;
}

BOOL WriteFile(HANDLE file, LPCVOID data, DWORD count, LPDWORD written,
               LPOVERLAPPED /*overlapped*/) {
  DWORD moved = 0;
  const bool isDone = WriteBytes(file, data, count, &moved);
  if (written != nullptr) *written = moved;
  return isDone;
}

DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD origin) {
  const int fd = DescriptorWith(file, 0);
  if (fd == -1) return INVALID_SET_FILE_POINTER;
  if (origin > FILE_END) return FailSeek(ERROR_INVALID_PARAMETER);
  const bool is64Bit = distanceHigh != nullptr;
  const int64_t position = MoveTo(fd, DistanceOf(distance, distanceHigh), origin, is64Bit);
  if (position == -1) return INVALID_SET_FILE_POINTER;
  const auto low = static_cast<DWORD>(position);
  if (is64Bit) *distanceHigh = static_cast<LONG>(position >> 32);
  // The only position that looks like a failure.
  if (low == INVALID_SET_FILE_POINTER) SetLastError(ERROR_SUCCESS);
  return low;
}

BOOL SetEndOfFile(HANDLE file) {
  const int fd = DescriptorWith(file, GENERIC_WRITE);
  if (fd == -1) return FALSE;
  const off_t position = Seek(fd, 0, SEEK_CUR);
  return (position != -1 && SetLength(fd, position) != -1) || FailFromErrno();
}

BOOL FlushFileBuffers(HANDLE file) {
  const int fd = DescriptorWith(file, GENERIC_WRITE);
  if (fd == -1) return FALSE;
  // What cannot be flushed (a device, a pipe) holds nothing back.
  return Flush(fd) != -1 || errno == EINVAL || FailFromErrno();
}

BOOL CloseHandle(HANDLE file) { return CloseFile(DescriptorOf(file)) || FailFromErrno(); }

BOOL GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME access, LPFILETIME write) {
  const int fd = DescriptorWith(file, 0);
  if (fd == -1) return FALSE;
  FileFacts facts;
  if (!GetFacts(fd, &facts)) return FailFromErrno();
  if (creation != nullptr) *creation = facts.creation;
  if (access != nullptr) *access = facts.access;
  if (write != nullptr) *write = facts.write;
  return TRUE;
}

DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh) {
  const int fd = DescriptorWith(file, 0);
  if (fd == -1) return INVALID_FILE_SIZE;
  FileFacts facts;
  if (!GetFacts(fd, &facts)) {
    FailFromErrno();
    return INVALID_FILE_SIZE;
  }
  if (sizeHigh != nullptr) *sizeHigh = static_cast<DWORD>(facts.size >> 32);
  const auto low = static_cast<DWORD>(facts.size);
  if (low == INVALID_FILE_SIZE) SetLastError(ERROR_SUCCESS);
  return low;
}
