/// What a file descriptor does not know of itself: the access that was asked for (the descriptor
/// may allow more) and the sharing.
#pragma once

#include <optional>

#include "WinApi.h"

namespace kx_posix {

struct HandleInfo {
  DWORD access = 0;  ///< GENERIC_READ and GENERIC_WRITE.
  DWORD share = 0;   ///< FILE_SHARE_READ and FILE_SHARE_WRITE.
};

/// The descriptor, or -1 for a handle that can be none.
int DescriptorOf(HANDLE handle);
HANDLE HandleOf(int fd);

void RememberHandle(int fd, const HandleInfo& info);
void ForgetHandle(int fd);

/// The access of an open descriptor, also of one that was opened elsewhere; nothing, with the last
/// error set, when it is not open.
std::optional<DWORD> AccessOf(int fd);

}  // namespace kx_posix
