// The texts of system errors when memory runs out on the way.
#include <gtest/gtest.h>

#include "Exception.h"
#include "LimitedMalloc.h"
#include "WinApi.h"

namespace {

constexpr unsigned long kWithoutText = 0x20000123;

TEST(ErrorTextExhaustionTest, AReasonWithoutATextIsItsNumber) {
  wchar_t* text = nullptr;
  {
    const kx_seam::LargestRequest nothing(0);  // the reason's text is made of it, the report not
    text = kx_gen::FormatLastError(kWithoutText);
  }
  EXPECT_STREQ(text,
               L"FormatMessage failed on error 0x20000123 for the following reason: error 317");
  LocalFree(text);
}

TEST(ErrorTextExhaustionTest, AKnownCodeWhoseTextCannotBeMadeIsReported) {
  wchar_t* text = nullptr;
  {
    const kx_seam::LargestRequest nothing(0);
    text = kx_gen::FormatLastError(2);
  }
  EXPECT_STREQ(text, L"FormatMessage failed on error 0x2 for the following reason: error 8");
  LocalFree(text);
}

}  // namespace
