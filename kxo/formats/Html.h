/// Outlines as a page for browsers.
#pragma once

#include "formats/Format.h"

namespace kxo {

/// One page that needs nothing else and runs nothing: items with children are folded and unfolded
/// by the browser itself, drawings stand in it as PNG, colours follow the reader's choice of light
/// or dark. Control characters are replaced as for XML.
Exported WriteHtml(const Outline& outline, const ExportPlace& place);

}  // namespace kxo
