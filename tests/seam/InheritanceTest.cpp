// Handles that programs started by this one get, and those that they do not.
#include "File.h"
#include "Inheritance.h"
#include "SeamSupport.h"

namespace kx_seam {
namespace {

using kx_gen::CFile;

class InheritanceTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "0123456789");
  }
};

TEST_F(InheritanceTest, OnlyInheritableHandlesReachOtherPrograms) {
  for (const BOOL inherit : {FALSE, TRUE}) {
    SECURITY_ATTRIBUTES security = {sizeof(security), nullptr, inherit};
    const HANDLE handle =
        CreateFileW(L"a.txt", GENERIC_READ, 0, &security, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, handle);
    EXPECT_EQ(inherit != FALSE, isInherited(handle));
    CloseHandle(handle);
  }
}

TEST_F(InheritanceTest, FilesAreInheritedUnlessTheFlagsSayOtherwise) {
  const auto reachesOthers = [](unsigned int flags) {
    CFile file;
    file.Open(L"a.txt", flags);
    // Handles have 32 bits that count, on every system.
    const auto handle = static_cast<int32_t>(file.GetFileHandle());
    return isInherited(reinterpret_cast<HANDLE>(static_cast<intptr_t>(handle)));
  };
  EXPECT_TRUE(reachesOthers(CFile::modeRead));
  EXPECT_FALSE(reachesOthers(CFile::modeRead | CFile::modeNoInherit));
  EXPECT_TRUE(reachesOthers(CFile::modeReadWrite | CFile::modeCreate));
  EXPECT_FALSE(reachesOthers(CFile::modeReadWrite | CFile::modeCreate | CFile::modeNoInherit));
}

}  // namespace
}  // namespace kx_seam
