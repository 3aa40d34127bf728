#include "ItemName.h"

#include <charconv>

#include "Failure.h"
#include "Text.h"

namespace kxo {
namespace {

size_t FindRow(const NamedItems& items, const std::string& number) {
  const std::optional<uint32_t> row = NumberIn(number);
  if (!row) {
    throw FileFailure(kExitSystem, items.file, "\"" + number + "\" names no item",
                      "give its row number, as kxo show --numbers prints it, or id:N");
  }
  if (*row >= 1 && *row <= items.count) return *row - 1;
  throw FileFailure(kExitSystem, items.file, "there is no item " + number,
                    "the document has " + Counted(items.count, "item"));
}

/// Items that were never synchronised have the id 0, all of them.
size_t FindId(const NamedItems& items, const std::string& number) {
  const std::optional<uint32_t> id = NumberIn(number);
  size_t found = items.count;
  size_t count = 0;
  for (size_t row = 0; id && row < items.count; ++row) {
    if (items.idOf(row) != *id) continue;
    found = row;
    ++count;
  }
  if (count == 1) return found;
  const std::string advice = "give a row number, as kxo show --numbers prints it";
  throw FileFailure(kExitSystem, items.file,
                    count == 0 ? "no item has the id \"" + number + "\""
                               : std::to_string(count) + " items have the id " + number,
                    advice);
}

}  // namespace

size_t FindItem(const NamedItems& items, const std::string& name) {
  const std::string prefix = "id:";
  if (name.compare(0, prefix.size(), prefix) == 0) {
    return FindId(items, name.substr(prefix.size()));
  }
  return FindRow(items, name);
}

std::optional<uint32_t> NumberIn(const std::string& text) {
  uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace kxo
