/// Outlines in OPML.
#pragma once

#include <string>

#include "Outline.h"
#include "formats/Format.h"
#include "formats/ImportNotes.h"

namespace kxo {

/// The outline in the bytes of an OPML file: the head's title and expansionState; of each headline
/// its place, `text`, `_note` and check mark (`_status`, `_complete`, `complete`, `checked`). All
/// else is counted in `notes`. The items are marked new, as items are that no other device has
/// seen. Throws a Failure that names the file and the place.
Outline ReadOpml(const std::string& name, const std::string& bytes, ImportNotes& notes);
Outline ReadOpmlSource(const ImportSource& source, ImportNotes& notes);

}  // namespace kxo
