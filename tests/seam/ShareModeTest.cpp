#include "SeamSupport.h"
#include "ShareRule.h"

namespace kx_seam {
namespace {

class ShareModeTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "0123456789");
  }
};

TEST_F(ShareModeTest, TwoHandlesConflictExactlyByTheRule) {
  for (const Sharing& first : kAllSharings) {
    for (const Sharing& second : kAllSharings) {
      const Opened holder(L"a.txt", first.access, OPEN_EXISTING, first.share);
      ASSERT_TRUE(holder.isOpen());
      const Opened other(L"a.txt", second.access, OPEN_EXISTING, second.share);
      EXPECT_EQ(expectedRefusal(first, second), other.refusal()) << first << second;
    }
  }
}

TEST_F(ShareModeTest, TheDispositionPlaysNoPart) {
  for (const Sharing& first : kAllSharings) {
    for (const Sharing& second : kAllSharings) {
      for (const DWORD disposition : {CREATE_ALWAYS, OPEN_ALWAYS}) {
        const Opened holder(L"a.txt", first.access, disposition, first.share);
        ASSERT_TRUE(holder.isOpen());
        const Opened other(L"a.txt", second.access, disposition, second.share);
        EXPECT_EQ(expectedRefusal(first, second), other.refusal()) << first << second;
      }
    }
  }
}

TEST_F(ShareModeTest, AHandleWithoutAccessConflictsWithNone) {
  const Opened exclusive(L"a.txt", kReadWrite);
  const Opened without(L"a.txt", 0);
  EXPECT_TRUE(exclusive.isOpen());
  EXPECT_TRUE(without.isOpen());
  EXPECT_TRUE(Opened(L"a.txt", 0).isOpen());
}

TEST_F(ShareModeTest, AHandleWithoutAccessDeniesNothing) {
  const Opened without(L"a.txt", 0);
  EXPECT_TRUE(Opened(L"a.txt", kReadWrite).isOpen());
}

TEST_F(ShareModeTest, ClosingReleasesWhatTheHandleHeld) {
  for (const Sharing& sharing : kAllSharings) {
    Opened(L"a.txt", sharing.access, OPEN_EXISTING, sharing.share).Close();
    EXPECT_TRUE(Opened(L"a.txt", kReadWrite).isOpen()) << sharing;
  }
}

TEST_F(ShareModeTest, ARefusedOpeningHoldsNothing) {
  const Opened reader(L"a.txt", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ);
  EXPECT_EQ(32u, Opened(L"a.txt", kReadWrite).refusal());
  EXPECT_TRUE(Opened(L"a.txt", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ).isOpen());
}

TEST_F(ShareModeTest, ManyHandlesOfOneFileAreComparedWithEach) {
  const Opened first(L"a.txt", GENERIC_READ, OPEN_EXISTING, kShareAll);
  const Opened second(L"a.txt", GENERIC_READ, OPEN_EXISTING, kShareAll);
  Opened writer(L"a.txt", GENERIC_WRITE, OPEN_EXISTING, kShareAll);
  EXPECT_EQ(32u, Opened(L"a.txt", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ).refusal());
  writer.Close();
  EXPECT_EQ(0u, Opened(L"a.txt", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ).refusal());
}

TEST_F(ShareModeTest, DifferentWritingsOfTheNameShareTheSameFile) {
  const Opened holder(L"a.txt", kReadWrite);
  EXPECT_EQ(32u, Opened(path(L"a.txt"), GENERIC_READ, OPEN_EXISTING, kShareAll).refusal());
  EXPECT_EQ(32u, Opened(L".\\x\\..\\a.txt.", GENERIC_READ, OPEN_EXISTING, kShareAll).refusal());
}

}  // namespace
}  // namespace kx_seam
