// The texts of system errors, in buffers of the caller's and of the system's own.
#include <gtest/gtest.h>

#include <cwchar>
#include <memory>

#include "Exception.h"
#include "FailingNew.h"
#include "KxTest.h"
#include "WinApi.h"

namespace {

using kx_gen::FormatLastError;

constexpr unsigned long kUnknown = 0x20000123;

struct LocalRelease {
  void operator()(wchar_t* text) const { LocalFree(text); }
};
using LocalText = std::unique_ptr<wchar_t, LocalRelease>;

// The text for a code as the system has it.
std::wstring systemText(unsigned long code) {
  wchar_t text[512] = {};
  return FormatLastError(code, text, 512) == text ? text : L"none";
}

std::wstring report(const std::wstring& code, unsigned long reason) {
  return L"FormatMessage failed on error 0x" + code + L" for the following reason: " +
         systemText(reason);
}

class ErrorTextTest : public kx_test::KxTest {};

TEST_F(ErrorTextTest, WithoutABufferTheSystemMakesOne) {
  const LocalText text(FormatLastError(2));
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text.get(), systemText(2));
  EXPECT_NE(text.get(), systemText(3));
}

TEST_F(ErrorTextTest, EveryListedCodeHasATextOfItsOwn) {
  for (const unsigned long code : {0ul, 2ul, 5ul, 32ul, 80ul, 112ul, 183ul, 267ul, 998ul}) {
    const LocalText text(FormatLastError(code));
    ASSERT_NE(text, nullptr) << code;
    EXPECT_EQ(std::wstring(text.get()).rfind(L"FormatMessage failed", 0), std::wstring::npos);
    EXPECT_GT(std::wcslen(text.get()), 0u) << code;
  }
}

TEST_F(ErrorTextTest, AnUnknownCodeIsReportedWithTheReason) {
  const LocalText text(FormatLastError(kUnknown));
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text.get(), report(L"20000123", ERROR_MR_MID_NOT_FOUND));
}

TEST_F(ErrorTextTest, AnUnknownCodeIsReportedInABufferOfItsOwn) {
  wchar_t given[512] = L"untouched";
  const LocalText text(FormatLastError(kUnknown, given, 512));
  ASSERT_NE(text, nullptr);
  EXPECT_NE(text.get(), given);
  EXPECT_EQ(text.get(), report(L"20000123", ERROR_MR_MID_NOT_FOUND));
}

TEST_F(ErrorTextTest, ABufferThatIsTooSmallIsReportedToo) {
  wchar_t given[3] = {};
  const LocalText text(FormatLastError(2, given, 3));
  ASSERT_NE(text, nullptr);
  EXPECT_NE(text.get(), given);
  EXPECT_EQ(text.get(), report(L"2", ERROR_INSUFFICIENT_BUFFER));
}

TEST_F(ErrorTextTest, CodesHave32Bits) {
  const LocalText text(FormatLastError(static_cast<unsigned long>(-1)));
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::wstring(text.get()).rfind(L"FormatMessage failed on error 0xffffffff for ", 0),
            0u);
}

TEST_F(ErrorTextTest, TheReportIsAsLongAsItsRoom) {
  const LocalText text(FormatLastError(kUnknown));
  ASSERT_NE(text, nullptr);
  EXPECT_GE(LocalSize(text.get()), 1024u);
  EXPECT_LE(std::wcslen(text.get()), 511u);
}

TEST_F(ErrorTextTest, NothingIsLogged) {
  const LocalText known(FormatLastError(2));
  const LocalText unknown(FormatLastError(kUnknown));
  EXPECT_TRUE(kx_test::logLines().empty());
}

TEST_F(ErrorTextTest, AReportThatCannotBeFormattedIsEmpty) {
  wchar_t* text = nullptr;
  {
    const kx_seam::AllocationLimit none(0);
    text = FormatLastError(kUnknown);
  }
  const LocalText owned(text);
  EXPECT_STREQ(text, L"");
}

}  // namespace
