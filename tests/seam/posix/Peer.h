/// A second process for tests that need one.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "WinApi.h"

namespace kx_seam {

/// A child of the test that opens and closes one file on request, in the current folder.
class Peer {
 public:
  Peer();
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// 0 when the child could open the file, else its last error.
  DWORD Open(const std::wstring& name, DWORD access, DWORD share,
             DWORD disposition = OPEN_EXISTING);
  void Close();
  /// Ends the child at once, without a chance to close anything.
  void Crash();

 private:
  int socket_ = -1;
  int child_ = -1;
};

/// Runs `body` in a child and gives its result, 0 to 127; -1 when the child did not end by itself.
template <class Body>
int inChild(Body body) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  int status = 0;
  if (child == -1 || ::waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace kx_seam
