#include "TemporaryName.h"

#include <gtest/gtest.h>

#include <set>

namespace kx_platform {
namespace {

TEST(TemporaryNameTest, NamesAreKnownForWhatTheyAre) {
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(IsTemporaryName(NewTemporaryName()));
  EXPECT_TRUE(IsTemporaryName(L".kx-save-0123456789abcdef.tmp"));
}

TEST(TemporaryNameTest, NoNameIsGivenTwice) {
  std::set<std::wstring> names;
  for (int i = 0; i < 1000; ++i) names.insert(NewTemporaryName());
  EXPECT_EQ(names.size(), 1000u);
}

TEST(TemporaryNameTest, OtherNamesAreNone) {
  for (const wchar_t* name :
       {L"", L".kx-save-.tmp", L".kx-save-0123456789abcde.tmp", L".kx-save-0123456789abcdef0.tmp",
        L".kx-save-0123456789ABCDEF.tmp", L".kx-save-0123456789abcdeg.tmp",
        L"xkx-save-0123456789abcdef.tmp", L".kx-save-0123456789abcdef.tmq",
        L".kx-save-0123456789abcdef", L"doc.kxo"}) {
    EXPECT_FALSE(IsTemporaryName(name));
  }
}

}  // namespace
}  // namespace kx_platform
