/// The tree of a memory outline, whose rows tell it twice: by their levels, and by the internal ids
/// that they name as their parents'.
#pragma once

#include "Outline.h"

namespace kxo {

/// The items in the tree that the ids make: each below its parent, siblings as in the file, levels
/// as deep as they stand. Where the ids make no tree, because one is 0, stands twice, leads nowhere
/// or in a circle, the outline as it is, in the tree of the stored levels.
Outline LinkedTree(Outline outline);
/// The same items without what only rows of memory outlines store, so that a document can hold
/// them.
Outline WithoutLinks(Outline outline);
/// Whether the ids make a tree.
bool IsLinked(const Outline& outline);

}  // namespace kxo
