/// The thrown error types. They are always thrown as heap pointers; whoever catches one releases it
/// with `Delete()`. A thrown pointer is null when memory ran out, so test it before use.
#pragma once

#include "KxPlatform.h"
#include "kx_assert.h"

namespace kx_gen {

/// Identifiers of the library's message texts (string resources). The texts stand in
/// fileio/StringTable.inc.
enum MessageId : unsigned long {
  kMsgInitializing = 1,
  kMsgUnknownStructure = 2,
  kMsgDifferentStructure = 3,
  kMsgNewerVersion = 4,
  kMsgMissingNewRecord = 5,
  kMsgMissingEndRecord = 6,
  kMsgOpenProblem = 7,
  kMsgReadError = 8,
  kMsgWriteError = 9,
  kMsgFileIo = 10,
  kMsgOutOfMemory = 11,
  kMsgHeaderTooBig = 12,
  kMsgCheckCode = 13,
  kMsgRecordedHeaderTooBig = 14,
  kMsgDataCorruption = 15,
  kMsgDataNotFound = 16,
  kMsgDataOverflow = 17,
  kMsgUnknownData = 18,
  kMsgNoFreeCategoryId = 19,
  kMsgHeaderSizeChanged = 20,
  kMsgTooManyCategories = 21,
  kMsgImageTooBig = 22,
  kMsgCannotLoadDib = 23,
  kMsgCannotSaveDib = 24,
  kMsgMemOutlineVersion = 25,
};

/// The error number of a thrower that gives none.
constexpr unsigned long kNoErrNumber = 0xFFFFFFFFul;

/// Text on the heap that its copies share; the last one frees it.
class KX_API SharedText {
 public:
  SharedText() noexcept = default;                          ///< No text.
  explicit SharedText(const wchar_t* text) noexcept;        ///< A copy of `text`; null stays null.
  SharedText(const SharedText& other) noexcept;             ///< Shares the text.
  SharedText& operator=(const SharedText& other) noexcept;  ///< Shares the text.
  ~SharedText();
  const wchar_t* get() const noexcept;  ///< Null when there is none, or memory ran out.

 private:
  struct Block;
  void release() noexcept;
  Block* block_ = nullptr;
};

/// Base of everything that the library throws. Copies share the description.
class KX_API CException {
 public:
  CException() noexcept;  ///< No description, error number 0xFFFFFFFF.
  /// Keeps a copy of `description`; null is asserted and taken as "".
  CException(const wchar_t* description, unsigned long errNumber);
  /// Takes the text of string resource `messageId`; "" with an assertion when it cannot be loaded.
  CException(unsigned long messageId, unsigned long errNumber);
  CException(const CException&) = default;
  CException& operator=(const CException&) = default;
  virtual ~CException();

  /// The description, "Unknown exception" when there is none. Lives as long as this object.
  const wchar_t* GetDescription() const;
  /// The number that the thrower gave; `kNoErrNumber` when it gave none.
  unsigned long GetErrNumber() const { return errNumber_; }
  /// Destroys and frees the object; on a null pointer it does nothing.
  void Delete();

 protected:
  SharedText description_;
  unsigned long errNumber_ = kNoErrNumber;
};

/// A failure that the system reported for a file.
class KX_API CFileException : public CException {
 public:
  /// What went wrong, as far as the system's error code tells.
  enum Cause : int {
    none = 0,
    generic = 1,
    fileNotFound = 2,
    badPath = 3,
    tooManyOpenFiles = 4,
    accessDenied = 5,
    invalidFile = 6,
    removeCurrentDir = 7,
    directoryFull = 8,
    badSeek = 9,
    hardIO = 10,
    sharingViolation = 11,
    lockViolation = 12,
    diskFull = 13,
    endOfFile = 14,
  };

  CFileException() noexcept;  ///< No description, cause none, system error 0, no name.
  explicit CFileException(const wchar_t* description);  ///< The same with a description.
  /// The description is the cause's name, or the system's text for `osError` when the cause is
  /// `generic`. `fileName` may be null.
  CFileException(int cause, long osError, const wchar_t* fileName);
  CFileException(const CFileException&) = default;
  CFileException& operator=(const CFileException&) = default;
  ~CFileException() override;

  int GetCause() const { return cause_; }       ///< A `Cause`, or whatever number was given.
  long GetOsError() const { return osError_; }  ///< The system's error code.
  /// The name that the failing call was given, or null. Lives as long as this object.
  const wchar_t* GetFileName() const { return fileName_.get(); }

  /// The cause for a system error code (1, generic, for an unlisted one); traces the code's name.
  static int OsErrorToException(long osError);

 private:
  int cause_ = none;
  int32_t osError_ = 0;
  SharedText fileName_;
};

/// A failure of the database layers: what a database file must not hold. Built as its base is.
class KX_API CDBException : public CException {
 public:
  CDBException() noexcept = default;
  CDBException(const wchar_t* description, unsigned long errNumber)
      : CException(description, errNumber) {}
  CDBException(unsigned long messageId, unsigned long errNumber)
      : CException(messageId, errNumber) {}
  CDBException(const CDBException&) = default;
  CDBException& operator=(const CDBException&) = default;
  ~CDBException() override;
};

/// Throws a new `CFileException*`; null when memory ran out. `fileName` may be null.
[[noreturn]] KX_API void _ThrowFileException(int cause, long osError, const wchar_t* fileName);

/// The system's text (U.S. English) for `errorCode`, in `buffer` of `bufferChars` characters. With
/// a null buffer, or when the text could not be had, in a buffer of the system's own that the
/// caller releases with LocalFree. Null when memory ran out.
KX_API wchar_t* FormatLastError(unsigned long errorCode, wchar_t* buffer = nullptr,
                                unsigned long bufferChars = 0);

}  // namespace kx_gen
