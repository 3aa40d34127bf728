/// What the tool takes from its user's environment.
#pragma once

#include <filesystem>

namespace kx_failing {

/// Where this user's programs keep their state.
void setStateFolder(const std::filesystem::path& folder);

}  // namespace kx_failing
