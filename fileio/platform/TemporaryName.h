/// Names of the files that a save writes before they take another's place, and of nothing else: so
/// that a later save knows what an earlier one, cut short, left behind.
#pragma once

#include <string>
#include <string_view>

namespace kx_platform {

/// A name that the process has not given before, and hardly any other has: ".kx-save-", 16
/// hexadecimal digits, ".tmp".
std::wstring NewTemporaryName();
bool IsTemporaryName(std::wstring_view name);

}  // namespace kx_platform
