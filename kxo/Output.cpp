#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Failure.h"
#include "System.h"
#include "Text.h"

namespace kxo {

bool WritesToTerminal() { return sys::IsTerminal(stdout); }

Screen OutputScreen() {
  if (!WritesToTerminal()) return {};
  // Set to anything but nothing, whatever it is.
  const bool wantsColours = sys::Variable("NO_COLOR").empty();
  return {true, wantsColours && sys::CanColour(stdout), sys::TerminalWidth(stdout)};
}

std::string Shown(const std::string& utf8) {
  return WritesToTerminal() ? Escaped(utf8) : OnOneLine(utf8);
}

void WriteData(const std::string& utf8) {
  errno = 0;
  if (!sys::Write(stdout, utf8)) {
    const std::string reason = errno == 0 ? "the system refused" : std::strerror(errno);
    throw FileFailure(kExitSystem, "standard output", "cannot be written (" + reason + ")");
  }
}

void Say(const std::string& line) { sys::Write(stderr, "kxo: " + Escaped(line) + "\n"); }

}  // namespace kxo
