/// How the user names an item: by its row number, as kxo show --numbers prints it, or id:N.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kxo {

/// The text that tells it in the help.
constexpr const char* kItemHelp =
    "An ITEM is its row number, as kxo show --numbers prints it, or id:N with its id.\n";

/// The items of a file.
struct NamedItems {
  std::string file;  ///< As messages call it.
  size_t count = 0;
  std::function<uint32_t(size_t row)> idOf;
};
/// The row that is named, from 0. Throws a Failure when there is none, or more than one.
size_t FindItem(const NamedItems& items, const std::string& name);

/// Digits alone, below 2 to the 32nd.
std::optional<uint32_t> NumberIn(const std::string& text);

}  // namespace kxo
