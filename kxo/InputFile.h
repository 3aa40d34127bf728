/// The bytes of a file that the user names, to be read and nothing else.
#pragma once

#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "Session.h"

namespace kxo {

/// What stands for standard input and output on the command line.
constexpr const char* kStandardStream = "-";

/// Reads the whole file, which others may read meanwhile but not write; "-" is standard input.
/// Throws a Failure.
std::vector<unsigned char> ReadInput(const Session& session, const std::string& name);
/// The same, of a file; no more than so many bytes of its beginning.
std::vector<unsigned char> ReadFileBytes(const std::string& name, const std::filesystem::path& path,
                                         size_t sizeMax = std::numeric_limits<size_t>::max());
/// How messages call it.
std::string InputName(const std::string& name);

}  // namespace kxo
