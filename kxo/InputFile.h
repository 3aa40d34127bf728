/// The bytes of a file that the user names, to be read and nothing else.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Session.h"

namespace kxo {

/// What stands for standard input and output on the command line.
constexpr const char* kStandardStream = "-";

/// Reads the whole file, which others may read meanwhile but not write; "-" is standard input.
/// Throws a Failure.
std::vector<unsigned char> ReadInput(const Session& session, const std::string& name);
/// The same, of a file.
std::vector<unsigned char> ReadFileBytes(const std::string& name,
                                         const std::filesystem::path& path);
/// How messages call it.
std::string InputName(const std::string& name);

}  // namespace kxo
