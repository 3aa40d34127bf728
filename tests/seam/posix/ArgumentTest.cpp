// Arguments that Windows' own calls take otherwise, and that are refused here: the process's handle
// of itself, whose value is that of no file, and a null name.
#include "SeamSupport.h"

namespace kx_seam {
namespace {

class ArgumentTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "aaa");
  }
};

TEST_F(ArgumentTest, ClosingNoFileIsError6) {
  EXPECT_EQ(6u, errorOf(CloseHandle(INVALID_HANDLE_VALUE)));
}

TEST_F(ArgumentTest, MovingFromOrToANullNameIsError87) {
  EXPECT_EQ(87u, errorOf(MoveFileW(nullptr, L"c.txt")));
  EXPECT_EQ(87u, errorOf(MoveFileW(L"a.txt", nullptr)));
  EXPECT_EQ("aaa", textOf("a.txt"));
}

}  // namespace
}  // namespace kx_seam
