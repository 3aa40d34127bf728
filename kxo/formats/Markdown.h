/// Outlines as Markdown: a nested list below a heading that is the title.
///
/// - An item's text is the first paragraph of a list item, its note the further ones. A checked
/// item
///   has a task mark. An empty text is an empty comment, and a list within a list a level without
///   an item.
/// - Line breaks are hard breaks, the end of a paragraph, or character references, so that there
///   are as many when they come back. Where all of them are Windows', a comment in front says so.
/// - What Markdown would read as markup stands behind a backslash or as a character reference.
///
/// Nothing else is carried: no folding, ids, flags or drawings.
#pragma once

#include "formats/Format.h"

namespace kxo {

/// Whether all line breaks are Windows', in front of everything else.
constexpr const char* kWindowsLineBreaks = "<!-- line breaks: CRLF -->";

Exported WriteMarkdown(const Outline& outline, const ExportPlace& place);

/// Takes any Markdown. Items are headings and what lists hold, below the heading in front of them;
/// paragraphs below an item, code and quotes too, become its note, others an item. The first
/// heading is the title when it begins the file and no other has its rank. Links keep their
/// addresses, HTML is kept as it is; other markup of words is counted in `notes`.
Outline ReadMarkdown(const ImportSource& source, ImportNotes& notes);

}  // namespace kxo
