/// Where the tests find what they do not make themselves. The build decides.
#pragma once

#include <filesystem>

namespace kx_test {

/// The project's root folder: golden files and examples lie below it.
std::filesystem::path sourceFolder();

/// tests/golden, the files that are compared byte for byte.
std::filesystem::path goldenFolder();

/// Where the build puts programs.
std::filesystem::path programFolder();

/// Real inputs that are no part of the project (the CMake variable KX_TEST_DATA); empty when the
/// build has none or the folder does not exist.
std::filesystem::path realInputsFolder();

}  // namespace kx_test
