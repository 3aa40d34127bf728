/// The Windows functions that the library uses, on Windows: the system's own, without the macros
/// that would hide names of the library. The header of the same name for other systems stands in
/// fileio/platform/posix.
#pragma once

#include "KxPlatform.h"

#undef GetFreeSpace
#undef Yield
#undef DELETE
#undef ERROR
#undef far
#undef interface
#undef near
#undef small
