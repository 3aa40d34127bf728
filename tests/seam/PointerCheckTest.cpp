// Checks of pointers at the edges of the memory that may be used.
#include <gtest/gtest.h>

#include <cstring>

#include "GuardedPage.h"
#include "WinApi.h"

namespace kx_seam {
namespace {

TEST(PointerCheckPagesTest, MemoryIsGoodUpToTheGuardPageAndBadFromItsFirstByteOn) {
  const GuardedPage page;
  EXPECT_FALSE(IsBadReadPtr(page.start(), page.size()));
  EXPECT_FALSE(IsBadWritePtr(page.start(), page.size()));
  EXPECT_TRUE(IsBadReadPtr(page.start(), page.size() + 1));
  EXPECT_TRUE(IsBadWritePtr(page.start(), page.size() + 1));
  EXPECT_FALSE(IsBadReadPtr(page.start() + page.size() - 1, 1));
  EXPECT_TRUE(IsBadReadPtr(page.start() + page.size() - 1, 2));
  EXPECT_TRUE(IsBadReadPtr(page.start() + page.size(), 1));
  EXPECT_TRUE(IsBadWritePtr(page.start() + page.size(), 1));
}

TEST(PointerCheckPagesTest, ReadOnlyMemoryIsBadForWritingOnly) {
  GuardedPage page;
  page.start()[0] = 0x5A;
  page.MakeReadOnly();
  EXPECT_FALSE(IsBadReadPtr(page.start(), page.size()));
  EXPECT_TRUE(IsBadWritePtr(page.start(), 1));
  EXPECT_EQ(0x5A, page.start()[0]);
}

TEST(PointerCheckPagesTest, CheckingForWritingChangesNothing) {
  const GuardedPage page;
  std::memset(page.start(), 0xC3, page.size());
  EXPECT_FALSE(IsBadWritePtr(page.start(), page.size()));
  for (size_t i = 0; i < page.size(); ++i) ASSERT_EQ(0xC3, page.start()[i]);
}

}  // namespace
}  // namespace kx_seam
