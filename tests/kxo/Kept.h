/// Output that is compared with files of tests/kxo/kept.
#pragma once

#include <string>

namespace kxo_test {

/// The contents of a kept file.
std::string Kept(const std::string& name);
/// Writes a document of tests/golden, which stand there as hex text, into a file.
void WriteGolden(const std::string& name, const std::string& path);

}  // namespace kxo_test
