#include "Kept.h"

#include "KxTest.h"
#include "TestPlaces.h"

namespace kxo_test {

std::string Kept(const std::string& name) {
  const kx_test::Bytes bytes =
      kx_test::readFile(kx_test::sourceFolder() / "tests" / "kxo" / "kept" / name);
  return {bytes.begin(), bytes.end()};
}

void WriteGolden(const std::string& name, const std::string& path) {
  const kx_test::Bytes hex = kx_test::readFile(kx_test::goldenFolder() / (name + ".hex"));
  kx_test::writeFile(path, kx_test::fromHex(std::string(hex.begin(), hex.end())));
}

}  // namespace kxo_test
