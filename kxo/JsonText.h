/// JSON that the tool prints: keys stay in the order in which they were set. Objects and lists
/// begin as such and are filled one by one: when memory runs out, values made of a list in braces
/// are not freed, and null that was turning into an object is neither.
#pragma once

#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace kxo {

using Json = nlohmann::ordered_json;

/// An object of these.
inline Json ObjectOf(std::initializer_list<std::pair<const char*, Json>> members) {
  Json json = Json::object();
  for (const auto& [key, value] : members) json[key] = value;
  return json;
}

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
