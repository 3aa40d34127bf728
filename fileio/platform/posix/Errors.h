/// The last error of the calling thread, and what the system's own error numbers become there.
#pragma once

#include "WinApi.h"

namespace kx_posix {

DWORD ErrorFromErrno(int error);

/// Sets the last error and returns false, for `return Fail(...)`.
bool Fail(DWORD error);
bool FailFromErrno();

}  // namespace kx_posix
