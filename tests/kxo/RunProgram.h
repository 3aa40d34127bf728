/// Running the real program, as a user or a script does.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kxo_test {

struct RunOptions {
  std::filesystem::path folder;                    ///< The current folder of the program.
  std::map<std::string, std::string> environment;  ///< Set beside the test's own variables.
  std::vector<std::string> unset;                  ///< Variables that the program is not to have.
  std::filesystem::path input;  ///< What it reads as standard input, if anything.
  unsigned short columns = 0;   ///< Of its terminal; 0 when that does not say, as far as it can.
  bool refusesOutput = false;   ///< Its standard output takes nothing.
  /// Called in the program's process ahead of it, on systems that make processes so.
  std::function<void()> prepare;
};

/// Texts are UTF-8.
struct ProgramRun {
  int exitCode = -1;  ///< -1 when a signal ended the program.
  std::string out;    ///< Standard output; on a terminal, what it shows, with plain line ends.
  std::string err;    ///< Standard error; empty on a terminal, which shows it too.
};

ProgramRun RunProgram(const std::filesystem::path& program,
                      const std::vector<std::string>& arguments, const RunOptions& options);
/// The same with a terminal on all three standard streams.
ProgramRun RunOnTerminal(const std::filesystem::path& program,
                         const std::vector<std::string>& arguments, const RunOptions& options);

/// The variables that name where programs keep their state, and their temporary files.
extern const char* const kStateVariable;
extern const char* const kTemporaryVariable;
/// What the system says of an output that takes nothing.
extern const char* const kRefusedOutput;

}  // namespace kxo_test
