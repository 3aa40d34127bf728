#include "Environment.h"

#include <cstdlib>

namespace kx_failing {
namespace {

constexpr const char* kStateVariable = "XDG_STATE_HOME";
constexpr const char* kTemporaryVariable = "TMPDIR";

std::optional<std::string> ValueOf(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

void SetValue(const char* name, const std::optional<std::string>& value) {
  if (value) {
    ::setenv(name, value->c_str(), 1);
  } else {
    ::unsetenv(name);
  }
}

}  // namespace

Environment::Environment(const std::filesystem::path& state, const std::filesystem::path& temporary)
    : state_(ValueOf(kStateVariable)), temporary_(ValueOf(kTemporaryVariable)) {
  SetValue(kStateVariable, state.native());
  SetValue(kTemporaryVariable, temporary.native());
}

Environment::~Environment() {
  SetValue(kStateVariable, state_);
  SetValue(kTemporaryVariable, temporary_);
}

}  // namespace kx_failing
