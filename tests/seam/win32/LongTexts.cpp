// The test program holds the library's objects and its string resources itself: it is the module
// that a DLL would have recorded when it was loaded.
#include "LongTexts.h"

#include "WinApi.h"

namespace kx_seam {

HINSTANCE moduleWithLongTexts() { return GetModuleHandleW(nullptr); }

namespace {

[[maybe_unused]] const bool isRecorded = [] {
  kx_SetModule(moduleWithLongTexts());
  return true;
}();

}  // namespace
}  // namespace kx_seam
