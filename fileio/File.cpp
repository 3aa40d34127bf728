#include "File.h"

#include <climits>
#include <typeinfo>

#include "Exception.h"
#include "FileChecks.h"
#include "FileSearch.h"
#include "Throw.h"
#include "WinApi.h"
#include "kx_assert.h"

namespace kx_gen {
namespace {

constexpr unsigned int kAccessMask = 0x0003;
constexpr unsigned int kShareMask = 0x0070;

// Positions and lengths have 32 bits, and all ones means that a call failed.
constexpr uint64_t kPositionLimit = 0xFFFFFFFFu;
constexpr uint64_t kNoPosition = ~uint64_t{0};

[[noreturn]] void throwIoException(MessageId message, int line) {
  throwTraced(kFileSource, line, message, numberOf(message));
}

// Returns only where the system refused without giving a reason.
void throwFileException(DWORD error, const wchar_t* name, int line) {
  traceThrow(kFileSource, line);
  if (error == NO_ERROR) return;
  const auto osError = static_cast<int32_t>(error);
  _ThrowFileException(CFileException::OsErrorToException(osError), osError, name);
}

DWORD desiredAccess(unsigned int flags) {
  const DWORD access = accessOf(flags);
  kx_Check(access != 0, kFileSource, kLineOpenAccess);
  return access;
}

DWORD shareMode(unsigned int flags) {
  const unsigned int sharing = flags & kShareMask;
  kx_Check(sharing <= CFile::shareDenyNone, kFileSource, kLineOpenShare);
  return shareOf(flags);
}

DWORD creationDisposition(unsigned int flags) {
  if ((flags & CFile::modeCreate) == 0) return OPEN_EXISTING;
  return (flags & CFile::modeNoTruncate) != 0 ? OPEN_ALWAYS : CREATE_ALWAYS;
}

// Moves the system's position by a distance of 64 bits, so that a result that does not fit 32 bits
// is seen. Returns the new position, or kNoPosition with the old one kept.
uint64_t movePointer(HANDLE handle, int64_t distance, DWORD from) {
  const auto bits = static_cast<uint64_t>(distance);
  auto high = static_cast<LONG>(static_cast<uint32_t>(bits >> 32));
  SetLastError(NO_ERROR);
  const DWORD low =
      SetFilePointer(handle, static_cast<LONG>(static_cast<uint32_t>(bits)), &high, from);
  if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) return kNoPosition;
  return (uint64_t{static_cast<uint32_t>(high)} << 32) | low;
}

// Seeks to a position that may be more than a `long` of 32 bits takes.
unsigned long seekFromBegin(CFile& file, unsigned long position) {
  if (position <= static_cast<unsigned long>(LONG_MAX)) {
    return file.Seek(static_cast<long>(position), FILE_BEGIN);
  }
  file.Seek(LONG_MAX, FILE_BEGIN);
  return file.Seek(static_cast<long>(position - LONG_MAX), FILE_CURRENT);
}

// The position of the end; the file goes back to `position`.
unsigned long findEnd(CFile& file, unsigned long position) {
  const unsigned long end = file.SeekToEnd();
  kx_Check(seekFromBegin(file, position) == position, kFileSource, kLinePositionKept);
  return end;
}

CTime statusTime(const FILETIME& time) {
  if (time.dwLowDateTime == 0 && time.dwHighDateTime == 0) return {};
  return {time, -1};
}

unsigned char attributesOf(const _String& path) {
  if (path.empty()) return 0;
  const DWORD attributes = GetFileAttributesW(path);
  return attributes == INVALID_FILE_ATTRIBUTES ? 0 : static_cast<unsigned char>(attributes);
}

// The system itself would fault on a null name, so that is refused ahead of the call.
bool moveFile(const wchar_t* from, const wchar_t* to) {
  if (from != nullptr && to != nullptr) return MoveFileW(from, to) != 0;
  SetLastError(ERROR_INVALID_PARAMETER);
  return false;
}

bool copyFile(const wchar_t* from, const wchar_t* to) {
  constexpr BOOL kFailIfExists = 1;
  if (from != nullptr && to != nullptr) return CopyFileW(from, to, kFailIfExists) != 0;
  SetLastError(ERROR_INVALID_PARAMETER);
  return false;
}

}  // namespace

DWORD accessOf(unsigned int flags) {
  switch (flags & kAccessMask) {
    case CFile::modeRead:
      return GENERIC_READ;
    case CFile::modeWrite:
      return GENERIC_WRITE;
    case CFile::modeReadWrite:
      return GENERIC_READ | GENERIC_WRITE;
    default:
      return 0;
  }
}

DWORD shareOf(unsigned int flags) {
  switch (flags & kShareMask) {
    case CFile::shareDenyWrite:
      return FILE_SHARE_READ;
    case CFile::shareDenyRead:
      return FILE_SHARE_WRITE;
    case CFile::shareDenyNone:
      return FILE_SHARE_READ | FILE_SHARE_WRITE;
    default:
      return 0;
  }
}

void setStatusTimes(CFileStatus& status, const FILETIME& creation, const FILETIME& access,
                    const FILETIME& write) {
  status.lastWriteTime = statusTime(write);
  status.creationTime = statusTime(creation);
  status.lastAccessTime = statusTime(access);
  if (status.creationTime == CTime()) status.creationTime = status.lastWriteTime;
  if (status.lastAccessTime == CTime()) status.lastAccessTime = status.lastWriteTime;
}

CFile::CFile() : handle_(INVALID_HANDLE_VALUE) {}

CFile::~CFile() { CFile::Close(); }

int CFile::Open(const wchar_t* name, unsigned int flags) {
  if (handle_ != INVALID_HANDLE_VALUE) Close();
  const wchar_t* const path = textOrEmpty(name);
  const DWORD access = desiredAccess(flags);
  const DWORD share = shareMode(flags);
  SECURITY_ATTRIBUTES security = {};
  security.nLength = sizeof(security);
  security.bInheritHandle = (flags & modeNoInherit) == 0;
  handle_ = CreateFileW(path, access, share, &security, creationDisposition(flags),
                        FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle_ == INVALID_HANDLE_VALUE) throwFileException(GetLastError(), path, kLineOpenFailed);
  flags_ = flags;
  flagsKnown_ = 1;
  SetFilePath(path);
  return 1;
}

void CFile::Close() {
  if (handle_ == INVALID_HANDLE_VALUE) return;
  CloseHandle(handle_);
  handle_ = INVALID_HANDLE_VALUE;
}

void CFile::SetFilePath(const wchar_t* path) {
  kx_Check(path != nullptr, kFileSource, kLineSetPath);
  path_ = path;
}

unsigned int CFile::Write(const void* data, unsigned int count) {
  DWORD written = 0;
  if (!WriteFile(handle_, data, count, &written, nullptr)) {
    throwFileException(GetLastError(), path_, kLineWriteFailed);
  }
  return written;
}

unsigned int CFile::Read(void* buffer, unsigned int count) {
  DWORD read = 0;
  if (!ReadFile(handle_, buffer, count, &read, nullptr)) {
    throwIoException(kMsgReadError, kLineReadFailed);
  }
  if (read < count) throwIoException(kMsgReadError, kLineReadShort);
  return count;
}

unsigned long CFile::Seek(long offset, unsigned int from) { return seekHandle(offset, from); }

unsigned long CFile::seekHandle(int64_t offset, unsigned int from) {
  kx_Check(IsOpen(), kFileSource, kLineSeekOpen);
  kx_Check(from <= FILE_END, kFileSource, kLineSeekFrom);
  // From the beginning it either comes to a good place or stays where it was.
  const bool mayGoTooFar = from != FILE_BEGIN || static_cast<uint64_t>(offset) >= kPositionLimit;
  const uint64_t before = mayGoTooFar ? movePointer(handle_, 0, FILE_CURRENT) : kNoPosition;
  const uint64_t after = movePointer(handle_, offset, from);
  if (after >= kPositionLimit) {
    if (before != kNoPosition) movePointer(handle_, static_cast<int64_t>(before), FILE_BEGIN);
    throwIoException(kMsgFileIo, kLineSeekFailed);
  }
  return static_cast<unsigned long>(after);
}

unsigned long CFile::GetPosition() const {
  kx_Check(IsOpen(), kFileSource, kLinePositionOpen);
  const uint64_t position = movePointer(handle_, 0, FILE_CURRENT);
  if (position >= kPositionLimit) throwIoException(kMsgFileIo, kLinePositionFailed);
  return static_cast<unsigned long>(position);
}

void CFile::Flush() {
  if (handle_ == INVALID_HANDLE_VALUE) return;
  if (!FlushFileBuffers(handle_)) throwIoException(kMsgWriteError, kLineFlushFailed);
}

bool CFile::IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }

void CFile::SetLength(unsigned long length) {
  kx_Check(handle_ != INVALID_HANDLE_VALUE, kFileSource, kLineSetLengthOpen);
  seekHandle(static_cast<int64_t>(length), FILE_BEGIN);
  if (!SetEndOfFile(handle_)) throwFileException(GetLastError(), nullptr, kLineSetLengthFailed);
}

// A class derived from this one may have another idea of where its end is. Otherwise the system is
// asked, which takes one call where going there and back takes five: before a header is read, its
// length is compared with the file's, and those calls were a third of opening a small document.
unsigned long CFile::GetLength() {
  const unsigned long position = GetPosition();
  if (typeid(*this) == typeid(CFile)) {
    DWORD high = 0;
    const DWORD low = GetFileSize(handle_, &high);
    if (high == 0 && low < kPositionLimit) return low;
  }
  return findEnd(*this, position);
}

void CFile::Attach(unsigned int handle) {
  handle_ = reinterpret_cast<HANDLE>(static_cast<intptr_t>(static_cast<int32_t>(handle)));
  flagsKnown_ = 0;
  SeekToBegin();
}

unsigned int CFile::GetFileHandle() const {
  return static_cast<unsigned int>(reinterpret_cast<intptr_t>(handle_));
}

_String CFile::GetFilePath() const { return path_; }

_String CFile::GetFileDrive() const { return kx_gen::GetFileDrive(path_); }

_String CFile::GetFileDir() const { return kx_gen::GetFileDir(path_); }

_String CFile::GetFileTitle() const { return kx_gen::GetFileTitle(path_); }

_String CFile::GetFileExt() const { return kx_gen::GetFileExt(path_); }

_String CFile::GetNextValidNumberedName(const wchar_t* other) const {
  return kx_gen::GetNextValidNumberedName(path_, other);
}

void CFile::SeekToBegin() {
  kx_Check(IsOpen(), kFileSource, kLineBeginOpen);
  Seek(0, FILE_BEGIN);
}

unsigned long CFile::SeekToEnd() {
  kx_Check(IsOpen(), kFileSource, kLineEndOpen);
  return Seek(0, FILE_END);
}

bool CFile::IsEOF() {
  kx_Check(IsOpen(), kFileSource, kLineEofOpen);
  const unsigned long position = GetPosition();
  return findEnd(*this, position) == position;
}

void CFile::Rename(const wchar_t* from, const wchar_t* to) {
  if (!moveFile(from, to)) throwFileException(GetLastError(), nullptr, kLineRenameFailed);
}

void CFile::Remove(const wchar_t* name) {
  if (!DeleteFileW(textOrEmpty(name))) {
    throwFileException(GetLastError(), nullptr, kLineRemoveFailed);
  }
}

void CFile::Move(const wchar_t* from, const wchar_t* to) {
  kx_Check(from != nullptr, kFileSource, kLineMoveFrom);
  kx_Check(to != nullptr, kFileSource, kLineMoveTo);
  if (!moveFile(from, to)) throwFileException(GetLastError(), nullptr, kLineMoveFailed);
}

void CFile::Copy(const wchar_t* from, const wchar_t* to) {
  kx_Check(from != nullptr, kFileSource, kLineCopyFrom);
  kx_Check(to != nullptr, kFileSource, kLineCopyTo);
  if (!copyFile(from, to)) throwFileException(GetLastError(), nullptr, kLineCopyFailed);
}

bool CFile::GetStatus(CFileStatus& status) const {
  status = CFileStatus();
  copyText(status.fullName, path_);
  if (handle_ == INVALID_HANDLE_VALUE) return true;
  FILETIME creation = {};
  FILETIME access = {};
  FILETIME write = {};
  if (!GetFileTime(handle_, &creation, &access, &write)) return false;
  status.size = GetFileSize(handle_, nullptr);
  if (status.size == INVALID_FILE_SIZE) return false;
  status.attribute = attributesOf(path_);
  setStatusTimes(status, creation, access, write);
  return true;
}

bool CFile::GetStatus(const wchar_t* name, CFileStatus& status) {
  const _String path(name);  // the caller may take the name from the status itself
  status = CFileStatus();
  FullPath(status.fullName, path);
  WIN32_FIND_DATAW found = {};
  const HANDLE search = kx_FindFirst(path, &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  kx_FindClose(search);
  kx_Check(found.nFileSizeHigh == 0, kFileSource, kLineStatusSize);
  status.attribute = static_cast<unsigned char>(found.dwFileAttributes & 0x7F);
  status.size = found.nFileSizeLow;
  setStatusTimes(status, found.ftCreationTime, found.ftLastAccessTime, found.ftLastWriteTime);
  return true;
}

}  // namespace kx_gen
