/// The head's expansionState of OPML: which headlines are unfolded.
#pragma once

#include <string>

#include "Outline.h"
#include "formats/ImportNotes.h"

namespace kxo {

/// Folds every item that has children, then unfolds those that the list names. The list holds line
/// numbers, to be taken in order: each counts, from 1, the lines that are visible once the ones
/// before it are unfolded. A list that holds a 0 was counted from 0, and is read so.
void ApplyExpansionState(const std::string& list, Outline& outline, ImportNotes& notes);

}  // namespace kxo
