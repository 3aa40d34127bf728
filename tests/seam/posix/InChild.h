/// A piece of a test in a process of its own.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace kx_seam {

/// For what the system refuses to everybody but root: who a child becomes where root runs the
/// tests.
constexpr uid_t kOrdinaryUser = 65534;

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
