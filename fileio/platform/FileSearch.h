/// The search of a folder as the library wants it on every system: one matcher of patterns
/// (Wildcard.h) and a sorted snapshot, so that files that come or go meanwhile change nothing.
#pragma once

#include "WinApi.h"

/// Fills `*data` with the first file or folder that matches. INVALID_HANDLE_VALUE when there is
/// none, with the reason as the last error: 2 no match, 3 no such folder, 267 a file used as a
/// folder, 123 a wildcard in a folder part. The handle is for the two functions below only.
HANDLE kx_FindFirst(const wchar_t* pattern, WIN32_FIND_DATAW* data);
/// False with error 18 after the last match.
bool kx_FindNext(HANDLE search, WIN32_FIND_DATAW* data);
bool kx_FindClose(HANDLE search);
