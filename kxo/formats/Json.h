/// Files of all kinds as JSON that carries everything (docs/json.md).
#pragma once

#include <string>

#include "Contents.h"

namespace kxo {

/// UTF-8, ending in a line break; the same for the same contents, always. What is written and read
/// again makes a file with the same rows and headers, byte for byte.
std::string WriteJson(const Contents& contents);

/// Throws a Failure that names the file, the place in it, and what was expected there. `name` is
/// what messages call the file.
Contents ReadJson(const std::string& name, const std::string& bytes);

}  // namespace kxo
