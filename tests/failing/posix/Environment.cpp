#include "Environment.h"

#include <cstdlib>

namespace kx_failing {

void setStateFolder(const std::filesystem::path& folder) {
  ::setenv("XDG_STATE_HOME", folder.c_str(), 1);
}

}  // namespace kx_failing
