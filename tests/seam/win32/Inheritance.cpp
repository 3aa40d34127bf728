#include "Inheritance.h"

namespace kx_seam {

bool isInherited(HANDLE handle) {
  DWORD flags = 0;
  return GetHandleInformation(handle, &flags) != FALSE && (flags & HANDLE_FLAG_INHERIT) != 0;
}

}  // namespace kx_seam
