/// The module whose string resources the library loads.
#pragma once

#include <cstddef>

#include "KxPlatform.h"

/// The module handle recorded when the library was loaded; null when none was.
HINSTANCE kx_GetModule();
void kx_SetModule(HINSTANCE module);

/// On systems without resource sections a module handle points to a table of texts; the library's
/// own table is recorded from the start.
struct kx_StringResource {
  unsigned int id;
  const wchar_t* text;
};

struct kx_StringResources {
  const kx_StringResource* entries;
  size_t count;
};
