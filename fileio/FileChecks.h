// What the sources of the file family share: the checks they report and small text helpers.
#pragma once

#include <algorithm>
#include <cwchar>

#include "File.h"

namespace kx_gen {

// The source name under which every check of disk files, searches, times and paths reports.
constexpr char kFileSource[] = ".\\File";

// The line of each check and each throw. They identify the check in the log and stay as they are
// when the sources change.
enum FileLine : int {
  // Paths
  kLineRootPath = 76,
  kLineRootFirstSeparator = 93,
  kLineRootSecondSeparator = 94,
  kLineNumberedPath = 149,
  kLineNumberedResult = 210,
  kLineValidNamePath = 1075,
  kLineValidatePath = 1173,

  // Disk files
  kLineSetPath = 237,
  kLineSetLengthOpen = 280,
  kLineSetLengthFailed = 285,
  kLineRenameFailed = 292,
  kLineRemoveFailed = 299,
  kLineMoveFrom = 304,
  kLineMoveTo = 305,
  kLineMoveFailed = 308,
  kLineCopyFrom = 313,
  kLineCopyTo = 314,
  kLineCopyFailed = 317,
  kLineOpenAccess = 349,
  kLineOpenShare = 357,
  kLineOpenFailed = 399,
  kLineReadFailed = 428,
  kLineReadShort = 433,
  kLineWriteFailed = 448,
  kLineBeginOpen = 458,
  kLineEndOpen = 465,
  kLineSeekOpen = 472,
  kLineSeekFrom = 473,
  kLineSeekFailed = 480,
  kLineFlushFailed = 511,
  kLinePositionOpen = 518,
  kLinePositionFailed = 524,
  kLinePositionKept = 540,
  kLineEofOpen = 548,
  kLineStatusSize = 1024,

  // File search
  kLineFindFullPath = 620,
  kLineFindMask = 655,
  kLineFindNext = 732,
  kLineFindRoot = 750,
  kLineFindName = 783,
  kLineFindLength = 794,

  // Times
  kLineTimeDay = 816,
  kLineTimeMonth = 818,
  kLineTimeYear = 820,
  kLineTimeResult = 824,
};

// What the flags of an opening ask the system for; 0 for flags without a meaning.
DWORD accessOf(unsigned int flags);
DWORD shareOf(unsigned int flags);

// Null text means "".
inline const wchar_t* textOrEmpty(const wchar_t* text) { return text == nullptr ? L"" : text; }

// Copies as much of `text` as fits ahead of the terminator. A null `buffer` is left alone.
inline void copyText(wchar_t* buffer, const wchar_t* text, size_t size = format::kMaxPath) {
  if (buffer == nullptr || size == 0) return;
  const size_t length = std::min(std::wcslen(text), size - 1);
  std::wmemmove(buffer, text, length);
  buffer[length] = L'\0';
}

// Sets the times of a status. A time that the file system does not keep is 0 and stays 0, and the
// write time stands in for the other two.
void setStatusTimes(CFileStatus& status, const FILETIME& creation, const FILETIME& access,
                    const FILETIME& write);

}  // namespace kx_gen
