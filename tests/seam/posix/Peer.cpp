#include "Peer.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "PeerRequest.h"

namespace kx_seam {
namespace {

/// The child's life: it ends when the other side closes the socket.
void serve(int socket) {
  HANDLE file = INVALID_HANDLE_VALUE;
  PeerRequest request;
  while (::read(socket, &request, sizeof(request)) == sizeof(request)) {
    const DWORD error = carryOut(request, &file);
    if (::write(socket, &error, sizeof(error)) != sizeof(error)) return;
  }
}

}  // namespace

class Peer::Process {
 public:
  Process() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
      throw std::runtime_error("no socket");
    }
    child_ = ::fork();
    if (child_ == 0) {
      ::close(ends[0]);
      serve(ends[1]);
      ::_exit(0);
    }
    ::close(ends[1]);
    socket_ = ends[0];
  }
  ~Process() {
    ::close(socket_);
    if (child_ > 0) ::waitpid(child_, nullptr, 0);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  DWORD Ask(const PeerRequest& request) const {
    DWORD error = 0;
    if (::write(socket_, &request, sizeof(request)) != sizeof(request) ||
        ::read(socket_, &error, sizeof(error)) != sizeof(error)) {
      throw std::runtime_error("the second process is gone");
    }
    return error;
  }

  void End() {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
    child_ = -1;
  }

 private:
  int socket_ = -1;
  int child_ = -1;
};

Peer::Peer() : process_(std::make_unique<Process>()) {}

Peer::~Peer() = default;

DWORD Peer::Open(const std::wstring& name, DWORD access, DWORD share, DWORD disposition) {
  return process_->Ask(openingOf(name, access, share, disposition));
}

void Peer::Close() { process_->Ask({}); }

void Peer::Crash() { process_->End(); }

}  // namespace kx_seam
