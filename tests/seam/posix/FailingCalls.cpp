#include "FailingCalls.h"

#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <string>

#include "Errors.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

long left = 0;
bool failsOn = false;
int error = 0;

int errnoOf(Refusal refusal) {
  constexpr int kNumbers[] = {ENOSPC, EIO, EACCES};
  return kNumbers[static_cast<int>(refusal)];
}

int refuse(kx_posix::SystemCall /*call*/, size_t* /*count*/) {
  --left;
  const bool fails = failsOn ? left <= 0 : left == 0;
  return fails ? error : 0;
}

}  // namespace

long errorNumberOf(Refusal refusal) {
  return static_cast<long>(kx_posix::ErrorFromErrno(errnoOf(refusal)));
}

FailingFileCall::FailingFileCall(long nth, bool goesOn, Refusal refusal) {
  left = nth;
  failsOn = goesOn;
  error = errnoOf(refusal);
  kx_posix::SetCallHook(refuse);
}

FailingFileCall::~FailingFileCall() { kx_posix::SetCallHook(nullptr); }

bool FailingFileCall::HasFailed() { return left <= 0; }

size_t countOpenHandles() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<size_t>(std::distance(descriptors, std::filesystem::directory_iterator()));
}

std::filesystem::path fastFolder(const std::filesystem::path& fallback) {
  const std::filesystem::path memory = "/dev/shm";
  if (::access(memory.c_str(), W_OK | X_OK) != 0) return fallback;
  return memory / ("kx_failing_" + std::to_string(::getpid()));
}

}  // namespace kx_seam
