#include "Exception.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <new>

#include "KxString.h"
#include "Throw.h"
#include "WinApi.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "Exception";
enum : int {
  kLineNullDescription = 42,
  kLineMissingMessage = 50,
};

constexpr size_t kSystemTextMax = 512;          // characters of the system's text for an error
constexpr DWORD kEnglishUnitedStates = 0x0409;  // the language that is asked for

constexpr const wchar_t* kCauseNames[] = {
    L"none",          L"generic",          L"fileNotFound",
    L"badPath",       L"tooManyOpenFiles", L"accessDenied",
    L"invalidFile",   L"removeCurrentDir", L"directoryFull",
    L"badSeek",       L"hardIO",           L"sharingViolation",
    L"lockViolation", L"diskFull",         L"endOfFile",
};

const wchar_t* causeName(int cause) {
  if (cause < 0 || cause >= static_cast<int>(std::size(kCauseNames))) return L"unknown";
  return kCauseNames[cause];
}

struct OsError {
  long code;
  const char* name;
  CFileException::Cause cause;
};

using E = CFileException;

// Ascending by code. ERROR_INVALID_HANDLE, ERROR_NO_MORE_FILES and ERROR_DISK_CHANGE count as a
// file that is not found, and existing targets as denied access: callers rely on both.
constexpr OsError kOsErrors[] = {
    {0, "NO_ERROR", E::none},
    {2, "ERROR_FILE_NOT_FOUND", E::fileNotFound},
    {3, "ERROR_PATH_NOT_FOUND", E::badPath},
    {4, "ERROR_TOO_MANY_OPEN_FILES", E::tooManyOpenFiles},
    {5, "ERROR_ACCESS_DENIED", E::accessDenied},
    {6, "ERROR_INVALID_HANDLE", E::fileNotFound},
    {11, "ERROR_BAD_FORMAT", E::invalidFile},
    {12, "ERROR_INVALID_ACCESS", E::accessDenied},
    {15, "ERROR_INVALID_DRIVE", E::badPath},
    {16, "ERROR_CURRENT_DIRECTORY", E::removeCurrentDir},
    {17, "ERROR_NOT_SAME_DEVICE", E::badPath},
    {18, "ERROR_NO_MORE_FILES", E::fileNotFound},
    {19, "ERROR_WRITE_PROTECT", E::accessDenied},
    {20, "ERROR_BAD_UNIT", E::hardIO},
    {21, "ERROR_NOT_READY", E::hardIO},
    {22, "ERROR_BAD_COMMAND", E::hardIO},
    {23, "ERROR_CRC", E::hardIO},
    {24, "ERROR_BAD_LENGTH", E::badSeek},
    {25, "ERROR_SEEK", E::badSeek},
    {26, "ERROR_NOT_DOS_DISK", E::invalidFile},
    {27, "ERROR_SECTOR_NOT_FOUND", E::badSeek},
    {29, "ERROR_WRITE_FAULT", E::accessDenied},
    {30, "ERROR_READ_FAULT", E::badSeek},
    {32, "ERROR_SHARING_VIOLATION", E::sharingViolation},
    {33, "ERROR_LOCK_VIOLATION", E::lockViolation},
    {34, "ERROR_WRONG_DISK", E::badPath},
    {36, "ERROR_SHARING_BUFFER_EXCEEDED", E::tooManyOpenFiles},
    {38, "ERROR_HANDLE_EOF", E::endOfFile},
    {39, "ERROR_HANDLE_DISK_FULL", E::diskFull},
    {52, "ERROR_DUP_NAME", E::badPath},
    {53, "ERROR_BAD_NETPATH", E::badPath},
    {54, "ERROR_NETWORK_BUSY", E::accessDenied},
    {55, "ERROR_DEV_NOT_EXIST", E::badPath},
    {57, "ERROR_ADAP_HDW_ERR", E::hardIO},
    {58, "ERROR_BAD_NET_RESP", E::accessDenied},
    {59, "ERROR_UNEXP_NET_ERR", E::hardIO},
    {60, "ERROR_BAD_REM_ADAP", E::invalidFile},
    {62, "ERROR_NO_SPOOL_SPACE", E::directoryFull},
    {64, "ERROR_NETNAME_DELETED", E::accessDenied},
    {65, "ERROR_NETWORK_ACCESS_DENIED", E::accessDenied},
    {66, "ERROR_BAD_DEV_TYPE", E::invalidFile},
    {67, "ERROR_BAD_NET_NAME", E::badPath},
    {68, "ERROR_TOO_MANY_NAMES", E::tooManyOpenFiles},
    {70, "ERROR_SHARING_PAUSED", E::badPath},
    {71, "ERROR_REQ_NOT_ACCEP", E::accessDenied},
    {80, "ERROR_FILE_EXISTS", E::accessDenied},
    {82, "ERROR_CANNOT_MAKE", E::accessDenied},
    {85, "ERROR_ALREADY_ASSIGNED", E::badPath},
    {86, "ERROR_INVALID_PASSWORD", E::accessDenied},
    {88, "ERROR_NET_WRITE_FAULT", E::hardIO},
    {107, "ERROR_DISK_CHANGE", E::fileNotFound},
    {108, "ERROR_DRIVE_LOCKED", E::lockViolation},
    {111, "ERROR_BUFFER_OVERFLOW", E::badPath},
    {112, "ERROR_DISK_FULL", E::diskFull},
    {113, "ERROR_NO_MORE_SEARCH_HANDLES", E::tooManyOpenFiles},
    {114, "ERROR_INVALID_TARGET_HANDLE", E::invalidFile},
    {117, "ERROR_INVALID_CATEGORY", E::hardIO},
    {123, "ERROR_INVALID_NAME", E::badPath},
    {124, "ERROR_INVALID_LEVEL", E::badPath},
    {125, "ERROR_NO_VOLUME_LABEL", E::badPath},
    {131, "ERROR_NEGATIVE_SEEK", E::badSeek},
    {132, "ERROR_SEEK_ON_DEVICE", E::badSeek},
    {144, "ERROR_DIR_NOT_ROOT", E::badPath},
    {145, "ERROR_DIR_NOT_EMPTY", E::removeCurrentDir},
    {154, "ERROR_LABEL_TOO_LONG", E::badPath},
    {161, "ERROR_BAD_PATHNAME", E::badPath},
    {167, "ERROR_LOCK_FAILED", E::lockViolation},
    {170, "ERROR_BUSY", E::accessDenied},
    {182, "ERROR_INVALID_ORDINAL", E::invalidFile},
    {183, "ERROR_ALREADY_EXISTS", E::accessDenied},
    {191, "ERROR_INVALID_EXE_SIGNATURE", E::invalidFile},
    {193, "ERROR_BAD_EXE_FORMAT", E::invalidFile},
    {206, "ERROR_FILENAME_EXCED_RANGE", E::badPath},
    {208, "ERROR_META_EXPANSION_TOO_LONG", E::badPath},
    {267, "ERROR_DIRECTORY", E::badPath},
    {995, "ERROR_OPERATION_ABORTED", E::hardIO},
    {996, "ERROR_IO_INCOMPLETE", E::hardIO},
    {997, "ERROR_IO_PENDING", E::hardIO},
    {999, "ERROR_SWAPERROR", E::accessDenied},
};

// The system's text for a code, in `buffer` or, without one, in a block for LocalFree. Null when
// the system has none.
wchar_t* systemText(DWORD code, wchar_t* buffer, DWORD bufferChars) {
  const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  if (buffer != nullptr) {
    const DWORD made =
        FormatMessageW(flags, nullptr, code, kEnglishUnitedStates, buffer, bufferChars, nullptr);
    return made != 0 ? buffer : nullptr;
  }
  wchar_t* text = nullptr;
  const DWORD made =
      FormatMessageW(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, nullptr, code, kEnglishUnitedStates,
                     reinterpret_cast<LPWSTR>(&text), 0, nullptr);
  if (made != 0) return text;
  const DWORD failure = GetLastError();
  LocalFree(text);
  SetLastError(failure);
  return nullptr;
}

// Writes into `report` that the system had no text for `errorCode`, and why.
void describeMissingText(wchar_t* report, DWORD errorCode, DWORD failure) {
  // The reason may have no text either; asking on would not end.
  wchar_t* reason = systemText(failure, nullptr, 0);
  try {
    _String text;
    if (reason == nullptr) text.FormatString(L"error %lu", static_cast<unsigned long>(failure));
    text.FormatString(L"FormatMessage failed on error 0x%lx for the following reason: %s",
                      static_cast<unsigned long>(errorCode),
                      reason != nullptr ? reason : text.c_str());
    const size_t count = std::min(text.size(), kSystemTextMax - 1);
    std::wmemcpy(report, text.c_str(), count);
  } catch (const std::bad_alloc&) {
    report[0] = L'\0';
  }
  LocalFree(reason);
}

}  // namespace

struct SharedText::Block {
  std::atomic<long> owners;
  wchar_t text[1];
};

SharedText::SharedText(const wchar_t* text) noexcept {
  if (text == nullptr) return;
  const size_t length = std::wcslen(text);
  void* memory = std::malloc(sizeof(Block) + length * sizeof(wchar_t));
  if (memory == nullptr) return;
  block_ = new (memory) Block{{1}, {}};
  std::memcpy(block_->text, text, (length + 1) * sizeof(wchar_t));
}

SharedText::SharedText(const SharedText& other) noexcept : block_(other.block_) {
  if (block_ != nullptr) ++block_->owners;
}

SharedText& SharedText::operator=(const SharedText& other) noexcept {
  Block* const taken = other.block_;  // `other` may be this very object
  if (taken != nullptr) ++taken->owners;
  release();
  block_ = taken;
  return *this;
}

SharedText::~SharedText() { release(); }

void SharedText::release() noexcept {
  if (block_ != nullptr && --block_->owners == 0) std::free(block_);
  block_ = nullptr;
}

const wchar_t* SharedText::get() const noexcept {
  return block_ != nullptr ? block_->text : nullptr;
}

CException::CException() noexcept = default;

CException::CException(const wchar_t* description, unsigned long errNumber)
    : description_(description != nullptr ? description : L""),
      errNumber_(static_cast<uint32_t>(errNumber)) {
  kx_Check(description != nullptr, kSource, kLineNullDescription);
}

CException::CException(unsigned long messageId, unsigned long errNumber)
    : errNumber_(static_cast<uint32_t>(errNumber)) {
  try {
    _String text;
    const bool loaded = messageId <= 0xFFFFFFFFul && text.LoadStringW(static_cast<UINT>(messageId));
    kx_Check(loaded, kSource, kLineMissingMessage);
    description_ = SharedText(text.c_str());
  } catch (const std::bad_alloc&) {
    // Thrown when memory is short: the exception then goes without its text.
  }
}

CException::~CException() = default;

const wchar_t* CException::GetDescription() const {
  return description_.get() != nullptr ? description_.get() : L"Unknown exception";
}

// A catcher may hold a null pointer, thrown when memory ran out; so this stays out of line, in a
// source that is compiled without the assumption that `this` is never null.
void CException::Delete() {
  const CException* self = this;
  if (self != nullptr) delete this;
}

CFileException::CFileException() noexcept = default;

CFileException::CFileException(const wchar_t* description)
    : CException(description, kNoErrNumber) {}

CFileException::CFileException(int cause, long osError, const wchar_t* fileName)
    : cause_(cause), osError_(static_cast<int32_t>(osError)), fileName_(fileName) {
  if (cause != generic) {
    description_ = SharedText(causeName(cause));
    return;
  }
  wchar_t buffer[kSystemTextMax] = {};
  wchar_t* text = FormatLastError(static_cast<DWORD>(osError), buffer, kSystemTextMax);
  description_ = SharedText(text);
  if (text != buffer) LocalFree(text);
}

CFileException::~CFileException() = default;

CDBException::~CDBException() = default;

int CFileException::OsErrorToException(long osError) {
  const auto* const found =
      std::lower_bound(std::begin(kOsErrors), std::end(kOsErrors), osError,
                       [](const OsError& row, long code) { return row.code < code; });
  if (found == std::end(kOsErrors) || found->code != osError) return generic;
  KX_Trace(L"%S", found->name);
  return found->cause;
}

void _ThrowFileException(int cause, long osError, const wchar_t* fileName) {
  if (cause == CFileException::generic) {
    LocalFree(FormatLastError(static_cast<DWORD>(osError)));
  }
  throw new (std::nothrow) CFileException(cause, osError, fileName);
}

void traceThrow(const char* file, int line) {
  KX_Trace(L"Throw an exception FILE - %S, LINE - %d", file, line);
}

wchar_t* FormatLastError(unsigned long errorCode, wchar_t* buffer, unsigned long bufferChars) {
  const auto code = static_cast<DWORD>(errorCode);
  wchar_t* text = systemText(code, buffer, static_cast<DWORD>(bufferChars));
  if (text != nullptr) return text;
  const DWORD failure = GetLastError();
  auto* report = static_cast<wchar_t*>(LocalAlloc(LPTR, kSystemTextMax * sizeof(wchar_t)));
  if (report == nullptr) {
    OutputDebugStringW(L"Out of memory trying to FormatLastError\r\n");
    return nullptr;
  }
  describeMissingText(report, code, failure);
  return report;
}

}  // namespace kx_gen
