#include "Module.h"
#include "WinApi.h"

/// Records the instance whose string resources the library loads.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) kx_SetModule(instance);
  return TRUE;
}
