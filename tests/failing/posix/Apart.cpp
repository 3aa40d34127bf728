#include "Apart.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kx_failing {

int runApart(const std::function<int()>& call) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    const int result = call();
    std::fflush(nullptr);
    ::_exit(result);
  }
  int status = -1;
  if (child > 0) ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Redirected::Redirected(std::FILE* stream, const std::filesystem::path& file)
    : stream_(stream), before_(::dup(::fileno(stream))) {
  std::fflush(stream_);
  const int opened = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(opened, ::fileno(stream_));
  ::close(opened);
}

Redirected::~Redirected() {
  std::fflush(stream_);
  ::dup2(before_, ::fileno(stream_));
  ::close(before_);
}

}  // namespace kx_failing
