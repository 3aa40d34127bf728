/// What a search of a folder found, told one by one.
#pragma once

#include <vector>

#include "WinApi.h"

namespace kx_platform {

/// Sorts `matches` by name and gives a search handle for them; the first is `*data` already. With
/// no matches: INVALID_HANDLE_VALUE and error 2.
HANDLE OpenSnapshot(std::vector<WIN32_FIND_DATAW> matches, WIN32_FIND_DATAW* data);
/// False with error 18 after the last match, with 6 for a handle that is no search.
bool NextInSnapshot(HANDLE search, WIN32_FIND_DATAW* data);
bool CloseSnapshot(HANDLE search);

}  // namespace kx_platform
