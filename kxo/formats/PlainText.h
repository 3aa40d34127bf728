/// Outlines as plain text: an item a line, indented by tabs.
///
/// - The first line is the title, with an empty line behind it; it is empty where there is none.
/// - The lines below that belong to an item stand one tab deeper: ": " begins a line of its note,
///   "| " a further line of its text. A line break in a text or note is that of the file.
/// - "[x] " in front of a text says that the item is checked.
/// - A backslash in front of a text says that what follows is text: what looks like one of these
///   marks, a blank or tab, or nothing at all. It also stands in front of backslashes before those.
///
/// Nothing else is carried: no folding, ids, flags or drawings.
#pragma once

#include "formats/Format.h"

namespace kxo {

Exported WritePlainText(const Outline& outline, const ExportPlace& place);

/// Takes any text. Where no line begins with a tab, blanks indent, as many for each level as the
/// line has that is indented least. Empty lines are passed over but for the one that makes the
/// first line the title.
Outline ReadPlainText(const ImportSource& source, ImportNotes& notes);

}  // namespace kxo
