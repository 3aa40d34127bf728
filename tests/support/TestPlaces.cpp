#include "TestPlaces.h"

namespace kx_test {

namespace fs = std::filesystem;

fs::path sourceFolder() { return KX_SOURCE_DIR; }

fs::path goldenFolder() { return sourceFolder() / "tests" / "golden"; }

fs::path programFolder() { return KX_BIN_DIR; }

fs::path realInputsFolder() {
  const fs::path folder = KX_TEST_DATA;
  std::error_code ignored;
  return !folder.empty() && fs::is_directory(folder, ignored) ? folder : fs::path();
}

}  // namespace kx_test
