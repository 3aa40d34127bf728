// Loading texts without a module.
#include <gmock/gmock.h>

#include "Exception.h"
#include "KxString.h"
#include "KxTest.h"
#include "Module.h"

namespace {

using kx_gen::_String;
using kx_test::assertionLine;
using testing::ElementsAre;

// Runs the test's calls with another module recorded.
class ModuleScope {
 public:
  explicit ModuleScope(HINSTANCE module) : before_(kx_GetModule()) { kx_SetModule(module); }
  ModuleScope(const ModuleScope&) = delete;
  ModuleScope& operator=(const ModuleScope&) = delete;
  ~ModuleScope() { kx_SetModule(before_); }

 private:
  HINSTANCE before_;
};

class ResourceTest : public kx_test::KxTest {};

TEST_F(ResourceTest, WithoutAModuleNothingIsLoaded) {
  const ModuleScope none(nullptr);
  _String text(L"before");
  EXPECT_FALSE(text.LoadStringW(8));
  EXPECT_EQ(std::wstring(text), L"before");
}

TEST_F(ResourceTest, WithoutAModuleAnExceptionGoesOnWithTheEmptyText) {
  const ModuleScope none(nullptr);
  const kx_gen::CException e(8ul, 7);
  EXPECT_STREQ(e.GetDescription(), L"");
  EXPECT_EQ(e.GetErrNumber(), 7ul);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertionLine("Exception", 50)));
}

}  // namespace
