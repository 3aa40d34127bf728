#include "Environment.h"

#include <cstdlib>

namespace kx_failing {

void setStateFolder(const std::filesystem::path& folder) {
  ::_wputenv_s(L"LOCALAPPDATA", folder.c_str());
}

}  // namespace kx_failing
