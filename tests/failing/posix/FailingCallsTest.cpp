// Every call that files make to the system fails, each in turn, and every allocation: what was
// promised for that comes out, nothing is lost, and everything can be used again.
#include <cctype>
#include <iostream>

#include "FailingCalls.h"
#include "Sweep.h"

namespace kx_failing {
namespace {

namespace fs = std::filesystem;

class FailingCallsTest : public kx_test::KxTest, public testing::WithParamInterface<Listed> {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fast_ = kx_seam::fastFolder(folder());
    fs::create_directories(fast_);
    fs::current_path(fast_);
  }
  void TearDown() override {
    fs::current_path(folder());
    if (fast_ != folder()) fs::remove_all(fast_);
    KxTest::TearDown();
  }

  static void Fail(Cause cause, long Listed::*atLeast) {
    const Listed& listed = GetParam();
    const Sweep sweep = failEverywhere(listed, cause);
    std::cout << listed.name << ": " << sweep << "\n";
    EXPECT_GT(sweep.last, listed.*atLeast);
  }

 private:
  fs::path fast_;
};

TEST_P(FailingCallsTest, EveryCallOfAFileMayFail) {
  Fail(Cause::kFileCall, &Listed::fileCallsAtLeast);
}

TEST_P(FailingCallsTest, EveryAllocationMayFail) {
  Fail(Cause::kAllocation, &Listed::allocationsAtLeast);
}

/// The operations that a source file adds.
auto operationsOf(void (*add)(std::vector<Listed>&)) {
  std::vector<Listed> list;
  add(list);
  return testing::ValuesIn(list);
}

/// "Create and save" becomes "CreateAndSave".
std::string titleOf(const testing::TestParamInfo<Listed>& info) {
  std::string title;
  bool isFirst = true;
  for (const char c : info.param.name) {
    const bool isInWord = std::isalnum(static_cast<unsigned char>(c)) != 0;
    if (isInWord) title += isFirst ? static_cast<char>(std::toupper(c)) : c;
    isFirst = !isInWord;
  }
  return title;
}

INSTANTIATE_TEST_SUITE_P(Outlines, FailingCallsTest, operationsOf(addOutlineOperations), titleOf);
INSTANTIATE_TEST_SUITE_P(Categories, FailingCallsTest, operationsOf(addCategoryOperations),
                         titleOf);
INSTANTIATE_TEST_SUITE_P(Saves, FailingCallsTest, operationsOf(addSaveOperations), titleOf);
INSTANTIATE_TEST_SUITE_P(Flat, FailingCallsTest, operationsOf(addFlatOperations), titleOf);
INSTANTIATE_TEST_SUITE_P(Tool, FailingCallsTest, operationsOf(addToolOperations), titleOf);

}  // namespace
}  // namespace kx_failing
