#include "Peer.h"

#include <sys/socket.h>

#include <csignal>
#include <cwchar>
#include <stdexcept>

namespace kx_seam {
namespace {

struct Request {
  enum Kind { kOpen, kClose } kind;
  DWORD access;
  DWORD share;
  DWORD disposition;
  wchar_t name[MAX_PATH];
};

/// The child's life: it ends when the other side closes the socket.
void serve(int socket) {
  HANDLE file = INVALID_HANDLE_VALUE;
  Request request = {};
  while (::read(socket, &request, sizeof(request)) == sizeof(request)) {
    DWORD error = 0;
    if (request.kind == Request::kOpen) {
      file = CreateFileW(request.name, request.access, request.share, nullptr, request.disposition,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
      if (file == INVALID_HANDLE_VALUE) error = GetLastError();
    } else if (file != INVALID_HANDLE_VALUE) {
      CloseHandle(file);
      file = INVALID_HANDLE_VALUE;
    }
    if (::write(socket, &error, sizeof(error)) != sizeof(error)) return;
  }
}

DWORD ask(int socket, const Request& request) {
  DWORD error = 0;
  if (::write(socket, &request, sizeof(request)) != sizeof(request) ||
      ::read(socket, &error, sizeof(error)) != sizeof(error)) {
    throw std::runtime_error("the second process is gone");
  }
  return error;
}

}  // namespace

Peer::Peer() {
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

Peer::~Peer() {
  ::close(socket_);
  if (child_ > 0) ::waitpid(child_, nullptr, 0);
}

DWORD Peer::Open(const std::wstring& name, DWORD access, DWORD share, DWORD disposition) {
  Request request = {};
  request.kind = Request::kOpen;
  request.access = access;
  request.share = share;
  request.disposition = disposition;
  name.copy(request.name, MAX_PATH - 1);
  return ask(socket_, request);
}

void Peer::Close() {
  Request request = {};
  request.kind = Request::kClose;
  ask(socket_, request);
}

void Peer::Crash() {
  ::kill(child_, SIGKILL);
  ::waitpid(child_, nullptr, 0);
  child_ = -1;
}

}  // namespace kx_seam
