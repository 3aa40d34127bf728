#include "LongTexts.h"

#include <iterator>

namespace kx_seam {

HINSTANCE moduleWithLongTexts() {
  static constexpr kx_StringResource kTexts[] = {
#define KX_STRING(id, text) {id, L"" text},
#include "LongTexts.inc"
#include "StringTable.inc"
#undef KX_STRING
  };
  static kx_StringResources resources = {kTexts, std::size(kTexts)};
  return &resources;
}

}  // namespace kx_seam
