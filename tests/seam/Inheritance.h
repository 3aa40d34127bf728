/// Which handles other programs get.
#pragma once

#include "WinApi.h"

namespace kx_seam {

/// True when programs that this one starts may get the handle.
bool isInherited(HANDLE handle);

}  // namespace kx_seam
