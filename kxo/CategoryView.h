/// The categories of a category file, for people and for programs.
#pragma once

#include <filesystem>
#include <string>

namespace kxo {

/// Opens and reads the file, and prints a line for each category: id, name, and what became of it;
/// or all of that as JSON. With `all` also the slots that hold none. `name` is what messages call
/// the file.
void PrintCategories(const std::string& name, const std::filesystem::path& file, bool all,
                     bool json);

}  // namespace kxo
