#include "Environment.h"

#include <cstdlib>

namespace kx_failing {
namespace {

constexpr const char* kState = "XDG_STATE_HOME";
constexpr const char* kTemporary = "TMPDIR";

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
    : state_(ValueOf(kState)), temporary_(ValueOf(kTemporary)) {
  SetValue(kState, state.native());
  SetValue(kTemporary, temporary.native());
}

Environment::~Environment() {
  SetValue(kState, state_);
  SetValue(kTemporary, temporary_);
}

}  // namespace kx_failing
