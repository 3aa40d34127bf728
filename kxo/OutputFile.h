/// A file that the tool makes of bytes that it has in memory.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kxo {

/// Writes the file whole or not at all: beside it, and renamed into its place. Without `mayReplace`
/// there must not be one of that name. `name` is the file as messages call it. Throws a Failure.
void WriteFile(const std::string& name, const std::filesystem::path& path, std::string_view bytes,
               bool mayReplace);

/// Throws the Failure with which WriteFile would end for what stands in the file's place already.
void CheckPlace(const std::string& name, const std::filesystem::path& path, bool mayReplace);

}  // namespace kxo
