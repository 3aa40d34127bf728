/// File name patterns, matched alike on every system.
#pragma once

#include <string_view>

namespace kx_platform {

/// The lower case form of a character of the Latin, Greek and Cyrillic scripts; every other
/// character is its own. Independent of the locale.
wchar_t FoldCase(wchar_t character);

/// Orders two names ignoring case: negative, zero or positive.
int CompareIgnoringCase(std::wstring_view a, std::wstring_view b);

/// True when `name` contains `*` or `?`, which makes it a pattern.
bool HasWildcards(std::wstring_view name);

/// `*` stands for any run of characters, `?` for exactly one; `.*` also matches where the name
/// ends, so that `*.*` matches every name. Ignores case.
bool MatchesWildcard(std::wstring_view pattern, std::wstring_view name);

}  // namespace kx_platform
