/// Findings and losses as lines for people and as JSON for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "salvage/Mend.h"
#include "salvage/Reader.h"

namespace kxo::salvage {

using Json = nlohmann::ordered_json;

/// "offset 1317 (row 1 of 2): error: expected ..., found ... [row-start]".
std::string LineOf(const Finding& finding, const Overview& overview);
Json JsonOf(const Finding& finding, const Overview& overview);

/// "offset 1317 (row 1 of 2): text lost".
std::string LineOf(const Loss& loss, const Overview& overview);
Json JsonOf(const Loss& loss, const Overview& overview);

/// Text that is not UTF-8, such as a file's name, has U+FFFD for what is not.
std::string Dump(const Json& json);

}  // namespace kxo::salvage
