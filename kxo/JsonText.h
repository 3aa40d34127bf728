/// JSON that the tool prints: keys stay in the order in which they were set.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace kxo {

using Json = nlohmann::ordered_json;

/// On one line. Text that is not UTF-8, such as a file's name or one with a lone surrogate, has
/// U+FFFD for what is not.
inline std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// The same with a line for each value.
inline std::string DumpLines(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kxo
