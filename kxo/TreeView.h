/// An outline as a tree of lines for people.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Outline.h"
#include "Output.h"

namespace kxo {

struct TreeOptions {
  bool notes = false;
  bool ids = false;
  bool numbers = false;
  bool all = false;  ///< What lies below folded items, too.
  size_t depth = 0;  ///< Levels from the top; 0 for as many as there are.
};

/// For each row whether it is to be seen: those below folded items and below the depth are not.
std::vector<bool> VisibleRows(const Outline& outline, const TreeOptions& options);

/// Title and visible rows. On a terminal with box lines, colours where it has them, and lines
/// broken at its width; elsewhere with blanks, and texts as they are.
std::string DrawTree(const Outline& outline, const TreeOptions& options, const Screen& screen);

}  // namespace kxo
