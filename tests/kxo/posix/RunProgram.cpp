#include "RunProgram.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace kxo_test {

namespace fs = std::filesystem;

const char* const kStateVariable = "XDG_STATE_HOME";
const char* const kTemporaryVariable = "TMPDIR";
const char* const kRefusedOutput = "No space left on device";

namespace {

constexpr int kCannotRun = 127;

/// The command line that runs the program: where the build is for another processor, behind that of
/// the emulator (KX_EMULATOR, one word a line).
std::vector<std::string> CommandLine(const fs::path& program,
                                     const std::vector<std::string>& arguments) {
  std::vector<std::string> line;
  std::istringstream emulator(KX_EMULATOR);
  for (std::string word; std::getline(emulator, word);) line.push_back(word);
  line.push_back(program);
  line.insert(line.end(), arguments.begin(), arguments.end());
  return line;
}

/// What happens between the fork and the program; never returns.
[[noreturn]] void Become(const fs::path& program, const std::vector<std::string>& arguments,
                         const RunOptions& options) {
  const std::vector<std::string> line = CommandLine(program, arguments);
  std::vector<char*> words;
  for (const std::string& word : line) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  for (const auto& [name, value] : options.environment) ::setenv(name.c_str(), value.c_str(), 1);
  for (const std::string& name : options.unset) ::unsetenv(name.c_str());
  if (::chdir(options.folder.c_str()) != 0) ::_exit(kCannotRun);
  if (options.prepare) options.prepare();
  ::execvp(words[0], words.data());
  ::_exit(kCannotRun);
}

void Redirect(int stream, const fs::path& file, int mode = O_WRONLY | O_CREAT | O_TRUNC) {
  const int fd = ::open(file.c_str(), mode, 0600);
  if (fd < 0 || ::dup2(fd, stream) < 0) ::_exit(kCannotRun);
}

int ExitCodeOf(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// A terminal ends its lines with carriage return and line feed.
std::string WithPlainLineEnds(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  return text;
}

}  // namespace

ProgramRun RunProgram(const fs::path& program, const std::vector<std::string>& arguments,
                      const RunOptions& options) {
  const fs::path out = fs::current_path() / "standard-output";
  const fs::path err = fs::current_path() / "standard-error";
  const pid_t child = ::fork();
  if (child == 0) {
    Redirect(STDIN_FILENO, options.input.empty() ? "/dev/null" : options.input, O_RDONLY);
    Redirect(STDOUT_FILENO, options.refusesOutput ? "/dev/full" : out);
    Redirect(STDERR_FILENO, err);
    Become(program, arguments, options);
  }
  ProgramRun run;
  run.exitCode = ExitCodeOf(child);
  if (!options.refusesOutput) run.out = Contents(out);
  run.err = Contents(err);
  return run;
}

ProgramRun RunOnTerminal(const fs::path& program, const std::vector<std::string>& arguments,
                         const RunOptions& options) {
  int terminal = -1;
  winsize size{};
  size.ws_col = options.columns;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) Become(program, arguments, options);
  ProgramRun run;
  std::array<char, 4096> piece{};
  ssize_t count = 0;
  while ((count = ::read(terminal, piece.data(), piece.size())) > 0) {
    run.out.append(piece.data(), static_cast<size_t>(count));
  }
  ::close(terminal);
  run.exitCode = ExitCodeOf(child);
  run.out = WithPlainLineEnds(run.out);
  return run;
}

}  // namespace kxo_test
