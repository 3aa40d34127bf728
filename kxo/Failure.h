/// How the tool ends when it cannot do what it was asked.
#pragma once

#include <stdexcept>
#include <string>

namespace kxo {

enum ExitCode : int {
  kExitDone = 0,
  kExitFindings = 1,    ///< What was to be looked for was found.
  kExitSystem = 2,      ///< A wrong command line, or the system refused.
  kExitDamaged = 3,     ///< The contents of a file cannot be read or carried.
  kExitLocked = 4,      ///< Another program has the file open.
  kExitSomeFailed = 5,  ///< Some of several files failed, and others did not.
};

/// One line for the user, and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exitCode, const std::string& line)
      : std::runtime_error(line), exitCode_(exitCode) {}
  ExitCode GetExitCode() const { return exitCode_; }

 private:
  ExitCode exitCode_;
};

/// About a file: its name as the user gave it, what is wrong, and what to try next (may be empty).
inline Failure FileFailure(ExitCode exitCode, const std::string& name, const std::string& wrong,
                           const std::string& advice = "") {
  return {exitCode, name + ": " + wrong + (advice.empty() ? "" : "; " + advice)};
}

}  // namespace kxo
