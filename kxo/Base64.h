/// Bytes as text, in the alphabet that has + and /.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kxo {

std::string ToBase64(std::string_view bytes);
/// Nothing for a text that ToBase64 does not make.
std::optional<std::string> FromBase64(std::string_view text);

}  // namespace kxo
