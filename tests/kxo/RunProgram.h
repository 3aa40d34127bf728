/// Running the real program, as a user or a script does.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kxo_test {

struct RunOptions {
  std::filesystem::path folder;                    ///< The current folder of the program.
  std::map<std::string, std::string> environment;  ///< Set beside the test's own variables.
  std::vector<std::string> unset;                  ///< Variables that the program is not to have.
  std::optional<size_t> fileSizeMax;               ///< In bytes; writing more is refused.
  std::filesystem::path standardOutput;            ///< Where it goes; empty: into the result.
};

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

}  // namespace kxo_test
