/// Findings and losses as lines for people and as JSON for programs.
#pragma once

#include <string>

#include "JsonText.h"
#include "salvage/Mend.h"
#include "salvage/Reader.h"

namespace kxo::salvage {

using kxo::Dump;
using kxo::Json;

/// "offset 1317 (row 1 of 2): error: expected ..., found ... [row-start]".
std::string LineOf(const Finding& finding, const Overview& overview);
Json JsonOf(const Finding& finding, const Overview& overview);

/// "offset 1317 (row 1 of 2): text lost".
std::string LineOf(const Loss& loss, const Overview& overview);
Json JsonOf(const Loss& loss, const Overview& overview);

}  // namespace kxo::salvage
