/// The two ways out: data to standard output, talk to standard error.
#pragma once

#include <string>

namespace kxo {

/// Whether standard output is a terminal.
bool WritesToTerminal();
/// Throws a Failure when it cannot be written whole.
void WriteData(const std::string& utf8);
/// One line, with the tool's name in front and control characters as escapes.
void Say(const std::string& line);

}  // namespace kxo
