#include "Inheritance.h"

#include <fcntl.h>

#include <cstdint>

namespace kx_seam {

bool isInherited(HANDLE handle) {
  const int descriptor = static_cast<int>(reinterpret_cast<intptr_t>(handle));
  return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
}

}  // namespace kx_seam
