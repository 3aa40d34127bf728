/// A module with the texts of LongTexts.inc, and of fileio/StringTable.inc.
#pragma once

#include "Module.h"

namespace kx_seam {

HINSTANCE moduleWithLongTexts();

}  // namespace kx_seam
