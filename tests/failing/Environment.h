/// What the tool takes from its user's environment.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace kx_failing {

/// While one of these lives, this user's programs keep their state, and what they need for a while,
/// in these folders.
class Environment {
 public:
  Environment(const std::filesystem::path& state, const std::filesystem::path& temporary);
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment();

 private:
  std::optional<std::string> state_;  // as they were
  std::optional<std::string> temporary_;
};

}  // namespace kx_failing
