/// What the tests of `kxo check` and `kxo recover` share: documents, and watching that they stay as
/// they are.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "KxFormat.h"
#include "ToolTest.h"

namespace kxo_test {

class SalvageTool : public ToolTest {
 protected:
  void SetUp() override;

  /// Runs the program and expects that each of these files keeps its bytes and its time.
  ProgramRun KxoBeside(const std::vector<std::string>& files,
                       const std::vector<std::string>& arguments) const;
  void WriteGolden(const std::string& golden, const std::string& name) const;
  /// good.kxo with this byte changed, as bad.kxo.
  void WriteWithByte(size_t offset, unsigned char value) const;
  nlohmann::json JsonOf(const ProgramRun& run) const;

  /// good.kxo: three items, the last one deleted, and 7 in the list of deleted ids.
  std::string good_;

  static constexpr size_t kIdsOffset = 1309;
  static constexpr size_t kRow1 = kIdsOffset + 8;
  static constexpr size_t kFront = 8;  ///< Of a row: start tag and length.
  size_t row2_ = 0;
  size_t row3_ = 0;
};

}  // namespace kxo_test
