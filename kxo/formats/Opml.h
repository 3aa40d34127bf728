/// Outlines in OPML.
#pragma once

#include <string>

#include "Outline.h"
#include "formats/Format.h"
#include "formats/ImportNotes.h"

namespace kxo {

/// OPML 2.0: the head's title and expansionState; of each item its place, `text`, `_note` and
/// `_status`. Drawings become PNG files beside it; all else stands in attributes of our own
/// namespace (OpmlFields.h).
Exported WriteOpml(const Outline& outline, const ExportPlace& place);

/// The outline in the bytes of an OPML file: what is written, and for check marks `_complete`,
/// `complete` and `checked` too. All else is counted in `notes`. The items are marked new, as items
/// are that no other device has seen, unless our attributes tell more. Throws a Failure that names
/// the file and the place.
Outline ReadOpml(const ImportSource& source, ImportNotes& notes);

}  // namespace kxo
