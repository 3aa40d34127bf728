/// The two ways out: data to standard output, talk to standard error.
#pragma once

#include <cstddef>
#include <string>

namespace kxo {

/// Whether standard output is a terminal.
bool WritesToTerminal();
/// What standard output shows things on.
struct Screen {
  bool isTerminal = false;
  bool hasColours = false;  ///< And the user wants them.
  size_t width = 0;         ///< In columns; 0 when there is no limit.
};
Screen OutputScreen();
/// A text as standard output may have it: on one line, and for a terminal without what controls it.
std::string Shown(const std::string& utf8);
/// Throws a Failure when it cannot be written whole.
void WriteData(const std::string& utf8);
/// One line, with the tool's name in front and control characters as escapes.
void Say(const std::string& line);

}  // namespace kxo
