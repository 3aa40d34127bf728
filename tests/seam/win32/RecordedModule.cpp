// The test program holds the library's objects and its string resources itself: it is the module
// that a DLL would have recorded when it was loaded.
#include "Module.h"
#include "WinApi.h"

namespace kx_seam {
namespace {

[[maybe_unused]] const bool isRecorded = [] {
  kx_SetModule(GetModuleHandleW(nullptr));
  return true;
}();

}  // namespace
}  // namespace kx_seam
