/// Files that the operations of the tool begin with, and how those are listed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Operation.h"
#include "ToolCommand.h"

namespace kx_failing {

/// Adds what the tool is let do, with the points that it has at least.
void add(std::vector<Listed>& list, const std::string& what, long fileCallsAtLeast,
         long allocationsAtLeast, const std::function<ToolTask()>& task);
/// The same of what may end the program when memory runs out: JSON being taken down, and folders
/// being opened, take some where nothing can be thrown.
void addApart(std::vector<Listed>& list, const std::string& what, long fileCallsAtLeast,
              long allocationsAtLeast, const std::function<ToolTask()>& task);

/// The operations that only read, and those on the files of a folder.
void addToolReading(std::vector<Listed>& list);
void addToolFolders(std::vector<Listed>& list);

/// An outline with so many items, each with a note.
kx_test::Bytes documentOf(int items, const std::string& category = "");
/// A category file with the categories Home and Work and, deleted, Garden, beside the one for what
/// has none.
kx_test::Bytes categoryFile();
/// What a file holds, as JSON that carries everything.
kx_test::Bytes jsonOf(const kx_test::Bytes& file);

}  // namespace kx_failing
