#include "Wine.h"

#include <windows.h>

namespace kx_test {

bool onWine() {
  static const bool found =
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  return found;
}

}  // namespace kx_test
