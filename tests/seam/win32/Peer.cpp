#include "Peer.h"

#include <stdexcept>

#include "PeerRequest.h"
#include "TestPlaces.h"

namespace kx_seam {
namespace {

/// A pipe whose one end a child inherits.
class Pipe {
 public:
  enum ChildsEnd { kReading, kWriting };

  explicit Pipe(ChildsEnd childsEnd) {
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (CreatePipe(&reading, &writing, &inherited, 0) == FALSE) throw std::runtime_error("no pipe");
    child = childsEnd == kReading ? reading : writing;
    own = childsEnd == kReading ? writing : reading;
    SetHandleInformation(own, HANDLE_FLAG_INHERIT, 0);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    Close(&child);
    Close(&own);
  }
  static void Close(HANDLE* end) {
    if (*end != nullptr) CloseHandle(*end);
    *end = nullptr;
  }

  HANDLE child = nullptr;
  HANDLE own = nullptr;
};

}  // namespace

class Peer::Process {
 public:
  Process() {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = requests_.child;
    startup.hStdOutput = answers_.child;
    const std::wstring program = (kx_test::programFolder() / "kx_seam_peer.exe").wstring();
    std::wstring commandLine = L"peer";
    PROCESS_INFORMATION process = {};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                       DETACHED_PROCESS, nullptr, nullptr, &startup, &process) == FALSE) {
      throw std::runtime_error("no second process");
    }
    CloseHandle(process.hThread);
    child_ = process.hProcess;
    Pipe::Close(&requests_.child);
    Pipe::Close(&answers_.child);
  }
  ~Process() {
    Pipe::Close(&requests_.own);
    WaitForSingleObject(child_, INFINITE);
    CloseHandle(child_);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  DWORD Ask(const PeerRequest& request) const {
    DWORD error = 0;
    DWORD moved = 0;
    if (WriteFile(requests_.own, &request, sizeof(request), &moved, nullptr) == FALSE ||
        ReadFile(answers_.own, &error, sizeof(error), &moved, nullptr) == FALSE ||
        moved != sizeof(error)) {
      throw std::runtime_error("the second process is gone");
    }
    return error;
  }

  void End() const {
    TerminateProcess(child_, 1);
    WaitForSingleObject(child_, INFINITE);
  }

 private:
  Pipe requests_{Pipe::kReading};
  Pipe answers_{Pipe::kWriting};
  HANDLE child_ = nullptr;
};

Peer::Peer() : process_(std::make_unique<Process>()) {}

Peer::~Peer() = default;

DWORD Peer::Open(const std::wstring& name, DWORD access, DWORD share, DWORD disposition) {
  return process_->Ask(openingOf(name, access, share, disposition));
}

void Peer::Close() { process_->Ask({}); }

void Peer::Crash() { process_->End(); }

}  // namespace kx_seam
