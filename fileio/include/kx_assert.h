/// The trace log and the assertions that report into it.
#pragma once

#include "KxPlatform.h"

/// Writes one line to the trace log "FileIO.txt" in the current folder. The format is parsed by the
/// library itself, alike on every system: %s and %ls take wide text, %S and %hs narrow text, a null
/// text prints "(null)". At most 20,480 UTF-16 units; a longer line is cut after an assertion.
/// Keeps GetLastError() and errno as they were.
KX_API void KX_Trace(const wchar_t* format, ...);

/// The log writer: narrow text in the C runtime's printf form, then a line end. The first line of a
/// process truncates the log, every later one appends. A line that cannot be written is dropped.
KX_API void WriteLogLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Reports a failed assertion in the log and returns 0: execution goes on. A pending quit message
/// of the calling thread is posted again.
KX_API int kx_AssertFailedLine(const char* fileName, int line);

/// Nonzero when `p` is not null, `size` bytes there can be read and, with `forWriting`, written.
KX_API int kx_PWIsValidAddress(const void* p, unsigned int size, int forWriting);

/// The library's assertion: reports a false `condition` under the name and line that identify the
/// check (constants of the check, not of the source), and gives the condition back, so that the
/// caller can refuse what it must not go on with.
inline bool kx_Check(bool condition, const char* fileName, int line) {
  if (!condition && kx_AssertFailedLine(fileName, line) == 1) __builtin_trap();
  return condition;
}
