#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "WinApi.h"
#include "Wine.h"

namespace kx_seam {
namespace {

/// Text with a character beyond 16 bits, as this system's wide text has it.
std::wstring withSmiley(const std::wstring& before, const std::wstring& behind) {
  if (sizeof(wchar_t) == 4) return before + static_cast<wchar_t>(0x1F600) + behind;
  return before + static_cast<wchar_t>(0xD83D) + static_cast<wchar_t>(0xDE00) + behind;
}

struct Narrowed {
  std::string bytes;
  bool usedDefault = false;
};

Narrowed narrow(UINT codePage, const std::wstring& text, const char* defaultChar = nullptr) {
  char buffer[64] = {};
  BOOL usedDefault = FALSE;
  const bool isUtf8 = codePage == CP_UTF8;
  const int length = WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()),
                                         buffer, sizeof(buffer), isUtf8 ? nullptr : defaultChar,
                                         isUtf8 ? nullptr : &usedDefault);
  return {std::string(buffer, static_cast<size_t>(length)), usedDefault != FALSE};
}

std::wstring widen(UINT codePage, const std::string& bytes, DWORD flags = 0) {
  wchar_t buffer[64] = {};
  const int length = MultiByteToWideChar(codePage, flags, bytes.data(),
                                         static_cast<int>(bytes.size()), buffer, 64);
  return std::wstring(buffer, static_cast<size_t>(length));
}

TEST(CodePageTest, WesternTextBecomesOneByteACharacter) {
  const Narrowed result = narrow(1252, L"\x00E9\x20AC\x0153 a\x7F");
  EXPECT_EQ("\xE9\x80\x9C a\x7F", result.bytes);
  EXPECT_FALSE(result.usedDefault);
}

TEST(CodePageTest, WhatDoesNotFitBecomesAQuestionMarkAUnit) {
  const Narrowed result = narrow(1252, L"\x00E9\x20AC\x0080\x4E2D\x0153");
  EXPECT_EQ("\xE9\x80??\x9C", result.bytes);
  EXPECT_TRUE(result.usedDefault);
  EXPECT_EQ("a??b", narrow(1252, withSmiley(L"a", L"b")).bytes);
  EXPECT_EQ("a__b", narrow(1252, withSmiley(L"a", L"b"), "_").bytes);
}

TEST(CodePageTest, EveryByteOfAnAnsiCodePageSurvivesTheWayThereAndBack) {
  for (const UINT page : {874u, 1250u, 1251u, 1252u, 1253u, 1254u, 1255u, 1256u, 1257u, 1258u}) {
    for (int byte = 1; byte < 256; ++byte) {
      const std::string bytes(1, static_cast<char>(byte));
      const std::wstring text = widen(page, bytes);
      ASSERT_EQ(1u, text.size()) << page << ' ' << byte;
      EXPECT_EQ(bytes, narrow(page, text).bytes) << page << ' ' << byte;
    }
  }
}

TEST(CodePageTest, TheUndefinedBytesOf1252AreControlCharacters) {
  EXPECT_EQ(L"\x0081\x008D\x008F\x0090\x009D", widen(1252, "\x81\x8D\x8F\x90\x9D"));
  EXPECT_EQ("\x81\x8D\x8F\x90\x9D", narrow(1252, L"\x0081\x008D\x008F\x0090\x009D").bytes);
}

TEST(CodePageTest, Utf8CarriesEveryCharacter) {
  EXPECT_EQ("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z",
            narrow(CP_UTF8, withSmiley(L"a\x00E9\x20AC", L"z")).bytes);
  EXPECT_EQ(withSmiley(L"a\x00E9\x20AC", L"z"),
            widen(CP_UTF8, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", MB_ERR_INVALID_CHARS));
}

TEST(CodePageTest, BytesThatAreNoUtf8AreToldOnRequest) {
  for (const char* bytes : {"\x80", "a\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                            "\xE2\x82", "\xFF", "\xE0\x80\x80"}) {
    const int length = static_cast<int>(std::strlen(bytes));
    SetLastError(0);
    EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, length, nullptr, 0));
    EXPECT_EQ(1113u, GetLastError());
    EXPECT_NE(std::wstring::npos, widen(CP_UTF8, bytes).find(static_cast<wchar_t>(0xFFFD)));
  }
}

TEST(CodePageTest, LoneSurrogatesAreNoUtf8) {
  const std::wstring lone(1, static_cast<wchar_t>(0xD800));
  EXPECT_EQ("\xEF\xBF\xBD", narrow(CP_UTF8, lone).bytes);
  EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, lone.data(), 1, nullptr, 0,
                                   nullptr, nullptr));
  EXPECT_EQ(1113u, GetLastError());
}

TEST(CodePageTest, AnsiCodePagesOfOtherRegionsHaveTheirOwnCharacters) {
  EXPECT_EQ("\xC6\xE6", narrow(1251, L"\x0416\x0436").bytes);
  EXPECT_EQ(L"\x0416\x0436", widen(1251, "\xC6\xE6"));
  EXPECT_EQ(L"\x0160\x0161", widen(1250, "\x8A\x9A"));
  EXPECT_EQ(L"\x03A9\x03CE", widen(1253, "\xD9\xFE"));
  EXPECT_EQ(L"\x011F\x0131", widen(1254, "\xF0\xFD"));
  EXPECT_EQ(L"\x05D0", widen(1255, "\xE0"));
  EXPECT_EQ(L"\x0E01", widen(874, "\xA1"));
  EXPECT_TRUE(narrow(1251, L"\x0416\x4E2D").usedDefault);
}

/// Code pages of two bytes are the system's own: a system that lacks one says so.
TEST(CodePageTest, DoubleByteCodePagesWorkOrAreError87) {
  SetLastError(0);
  if (MultiByteToWideChar(932, 0, "a", 1, nullptr, 0) == 0) {
    EXPECT_EQ(87u, GetLastError());
    return;
  }
  EXPECT_EQ("a\x93\xFA", narrow(932, L"a\x65E5").bytes);
  EXPECT_EQ(L"a\x65E5", widen(932, "a\x93\xFA", MB_ERR_INVALID_CHARS));
  EXPECT_EQ("a?", narrow(932, L"a\x0E01").bytes);
  EXPECT_EQ(0, MultiByteToWideChar(932, MB_ERR_INVALID_CHARS, "a\x93", 2, nullptr, 0));
  EXPECT_EQ(1113u, GetLastError());
}

TEST(CodePageTest, TheDefaultCodePageIsTheOneThatTheSystemNames) {
  EXPECT_EQ(narrow(GetACP(), L"\x00E9").bytes, narrow(CP_ACP, L"\x00E9").bytes);
}

TEST(CodePageTest, ALengthOfMinusOneTakesTheTerminatorAlong) {
  char bytes[8];
  EXPECT_EQ(4, WideCharToMultiByte(1252, 0, L"abc", -1, bytes, 8, nullptr, nullptr));
  EXPECT_STREQ("abc", bytes);
  wchar_t text[8];
  EXPECT_EQ(4, MultiByteToWideChar(1252, 0, "abc", -1, text, 8));
  EXPECT_EQ(std::wstring(L"abc"), text);
}

TEST(CodePageTest, WithoutABufferTheLengthIsTold) {
  EXPECT_EQ(3, WideCharToMultiByte(CP_UTF8, 0, L"\x20AC", 1, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(1, MultiByteToWideChar(CP_UTF8, 0, "\xE2\x82\xAC", 3, nullptr, 0));
}

TEST(CodePageTest, ABufferThatIsTooSmallIsError122) {
  char bytes[2];
  EXPECT_EQ(0, WideCharToMultiByte(1252, 0, L"abc", 3, bytes, 2, nullptr, nullptr));
  EXPECT_EQ(122u, GetLastError());
  wchar_t text[2];
  EXPECT_EQ(0, MultiByteToWideChar(1252, 0, "abc", 3, text, 2));
  EXPECT_EQ(122u, GetLastError());
}

TEST(CodePageTest, ImpossibleArgumentsAreError87) {
  char bytes[8];
  wchar_t text[8];
  EXPECT_EQ(0, WideCharToMultiByte(1252, 0, L"a", 0, bytes, 8, nullptr, nullptr));
  EXPECT_EQ(87u, GetLastError());
  SetLastError(0);
  EXPECT_EQ(0, MultiByteToWideChar(1252, 0, nullptr, 1, text, 8));
  EXPECT_EQ(87u, GetLastError());
  SetLastError(0);
  EXPECT_EQ(0, MultiByteToWideChar(54321, 0, "a", 1, text, 8));
  EXPECT_EQ(87u, GetLastError());
  SetLastError(0);
  BOOL used = FALSE;
  // In UTF-8 every character fits. Wine does not mind the question.
  EXPECT_EQ(kx_test::unlessOnWine(0, 1),
            WideCharToMultiByte(CP_UTF8, 0, L"a", 1, bytes, 8, nullptr, &used));
  EXPECT_EQ(kx_test::unlessOnWine(87u, 0u), GetLastError());
}

}  // namespace
}  // namespace kx_seam
