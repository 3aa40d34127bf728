/// Changing a row so that synchronisation learns what changed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "OutlineRecord.h"

namespace kxo {

/// What a change made different. Folding is how an item is shown, not what it says: it makes no
/// item a changed one.
enum class Difference { kNone, kFolding, kContent };

/// Lets `change` edit the row, then marks the fields that differ, beside those marked before, and
/// the row as changed when a field that counts is. Throws what the library throws.
Difference ChangeRow(kx_gen::COutlineRecord& row,
                     const std::function<void(kx_gen::COutlineRecord&)>& change);

// The library's setters pass over a want of memory in silence; these throw std::bad_alloc.
void PutText(kx_gen::COutlineRecord& row, const std::string& text);
void PutNote(kx_gen::COutlineRecord& row, const std::string& note);

/// The block of a row's drawing; empty without one.
std::vector<unsigned char> DrawingBlockOf(kx_gen::COutlineRecord& row);

}  // namespace kxo
