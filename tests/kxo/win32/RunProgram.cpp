#include "RunProgram.h"

#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <fstream>
#include <iterator>

#include "CommandLineWords.h"
#include "NamePath.h"
#include "TestPlaces.h"

namespace kxo_test {

namespace fs = std::filesystem;

const char* const kStateVariable = "LOCALAPPDATA";
const char* const kTemporaryVariable = "TMP";
const char* const kRefusedOutput = "Bad file descriptor";

namespace {

constexpr int kCannotRun = 127;

std::wstring Wide(const std::string& utf8) { return PathOf(utf8).wstring(); }

/// An open file that programs may inherit.
class Inherited {
 public:
  Inherited(const fs::path& file, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES security = {sizeof(security), nullptr, TRUE};
    handle_ = ::CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &security,
                            disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  }
  Inherited(const Inherited&) = delete;
  Inherited& operator=(const Inherited&) = delete;
  ~Inherited() { ::CloseHandle(handle_); }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

struct IgnoringCase {
  bool operator()(const std::wstring& a, const std::wstring& b) const {
    return ::CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_LESS_THAN;
  }
};

/// The variables of the test with the changes that a run asks for, as a block for a new process.
std::wstring EnvironmentFor(const RunOptions& options) {
  std::map<std::wstring, std::wstring, IgnoringCase> variables;
  wchar_t* const block = ::GetEnvironmentStringsW();
  for (const wchar_t* at = block; *at != L'\0'; at += std::wcslen(at) + 1) {
    const std::wstring entry = at;
    // The current folders of drives have names that begin with the sign.
    const size_t sign = entry.find(L'=', 1);
    variables[entry.substr(0, sign)] = entry.substr(sign + 1);
  }
  ::FreeEnvironmentStringsW(block);
  for (const auto& [name, value] : options.environment) variables[Wide(name)] = Wide(value);
  for (const std::string& name : options.unset) variables.erase(Wide(name));
  std::wstring made;
  for (const auto& [name, value] : variables) made += name + L'=' + value + L'\0';
  return made + L'\0';
}

std::wstring CommandLineOf(const fs::path& program, const std::vector<std::string>& arguments) {
  std::vector<std::wstring> words = {program.wstring()};
  for (const std::string& argument : arguments) words.push_back(Wide(argument));
  return LineOf(words);
}

/// The exit code of a program with these standard streams.
int Run(const fs::path& program, const std::vector<std::string>& arguments,
        const RunOptions& options, DWORD flags, STARTUPINFOW* startup) {
  std::wstring line = CommandLineOf(program, arguments);
  std::wstring environment = EnvironmentFor(options);
  startup->cb = sizeof(*startup);
  PROCESS_INFORMATION process = {};
  if (::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                       flags | CREATE_UNICODE_ENVIRONMENT, environment.data(),
                       options.folder.c_str(), startup, &process) == FALSE) {
    return kCannotRun;
  }
  ::CloseHandle(process.hThread);
  ::WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 0;
  ::GetExitCodeProcess(process.hProcess, &code);
  ::CloseHandle(process.hProcess);
  return static_cast<int>(code);
}

std::string Contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

fs::path WithSuffix(fs::path program) { return program.replace_extension(".exe"); }

}  // namespace

ProgramRun RunProgram(const fs::path& program, const std::vector<std::string>& arguments,
                      const RunOptions& options) {
  const fs::path out = fs::current_path() / "standard-output";
  const fs::path err = fs::current_path() / "standard-error";
  ProgramRun run;
  {
    const Inherited input(options.input.empty() ? "NUL" : options.input, GENERIC_READ,
                          OPEN_EXISTING);
    const Inherited output(out, options.refusesOutput ? GENERIC_READ : GENERIC_WRITE,
                           CREATE_ALWAYS);
    const Inherited errors(err, GENERIC_WRITE, CREATE_ALWAYS);
    STARTUPINFOW startup = {};
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.get();
    startup.hStdOutput = output.get();
    startup.hStdError = errors.get();
    run.exitCode = Run(WithSuffix(program), arguments, options, DETACHED_PROCESS, &startup);
  }
  run.out = Contents(out);
  run.err = Contents(err);
  return run;
}

/// A program of its own makes the console, shows there what the program writes, and keeps it.
ProgramRun RunOnTerminal(const fs::path& program, const std::vector<std::string>& arguments,
                         const RunOptions& options) {
  const fs::path shown = fs::current_path() / "standard-output";
  std::vector<std::string> words = {NameOf(shown), NameOf(WithSuffix(program))};
  words.insert(words.end(), arguments.begin(), arguments.end());
  ProgramRun run;
  STARTUPINFOW startup = {};
  run.exitCode = Run(kx_test::programFolder() / "kxo_terminal.exe", words, options,
                     CREATE_NO_WINDOW, &startup);
  run.out = Contents(shown);
  return run;
}

}  // namespace kxo_test
