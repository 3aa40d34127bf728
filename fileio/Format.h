// The one formatter of wide text, alike on every system.
#pragma once

#include <cstdarg>
#include <string>

namespace kx_gen {

/// Formats as the printf family does, with Windows' meaning of text in a wide format: %s and %ls
/// are wide, %S and %hs narrow; a null text prints "(null)". %d prints the low 32 bits as signed.
/// %n takes its argument and writes nothing.
std::wstring formatWide(const wchar_t* format, va_list args);

}  // namespace kx_gen
