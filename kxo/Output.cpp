#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Failure.h"
#include "System.h"
#include "Text.h"

namespace kxo {

bool WritesToTerminal() { return sys::IsTerminal(stdout); }

void WriteData(const std::string& utf8) {
  errno = 0;
  const bool written = std::fwrite(utf8.data(), 1, utf8.size(), stdout) == utf8.size();
  if (!written || std::fflush(stdout) != 0) {
    const std::string reason = errno == 0 ? "the system refused" : std::strerror(errno);
    throw FileFailure(kExitSystem, "standard output", "cannot be written (" + reason + ")");
  }
}

void Say(const std::string& line) {
  const std::string whole = "kxo: " + Escaped(line) + "\n";
  std::fwrite(whole.data(), 1, whole.size(), stderr);
}

}  // namespace kxo
