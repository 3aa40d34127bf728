#include "Wildcard.h"

#include <gtest/gtest.h>

#include <string>

namespace kx_seam {
namespace {

using kx_platform::CompareIgnoringCase;
using kx_platform::FoldCase;
using kx_platform::HasWildcards;
using kx_platform::MatchesWildcard;

struct Row {
  const wchar_t* pattern;
  const wchar_t* name;
  bool matches;
};

constexpr Row kRows[] = {
    {L"*", L"", true},
    {L"*", L"a.b", true},
    {L"*.*", L"a.b", true},
    {L"*.*", L"noext", true},
    {L"*.*", L".", true},
    {L"*.*", L"..", true},
    {L"*.kxo", L"x.kxo", true},
    {L"*.kxo", L"x.kxob", false},
    {L"*.kxo", L"x.kx", false},
    {L"*.kxo", L".kxo", true},
    {L"*.kxo", L"x.kxo.kxo", true},
    {L"*.kxo", L"X.KXO", true},
    {L"*.KXO", L"x.kxo", true},
    {L"a.*", L"a", true},
    {L"a.*", L"a.", true},
    {L"a.*", L"a.b.c", true},
    {L"a.*", L"ab", false},
    {L"a.*", L"ab.c", false},
    {L"a.**", L"a", true},
    {L"a.*b", L"a", false},
    {L"a.*b", L"a.xb", true},
    {L"a.?", L"a", false},
    {L"a.?", L"a.b", true},
    {L"?", L"", false},
    {L"?", L"a", true},
    {L"?", L"ab", false},
    {L"??", L"a", false},
    {L"??", L"ab", true},
    {L"???.kxo", L"ab.kxo", false},
    {L"*a*b*c*", L"xxaxxbxxcxx", true},
    {L"*a*b*c*", L"xxaxxcxxbxx", false},
    {L"a*b", L"ab", true},
    {L"a*b", L"aXbYb", true},
    {L"a*b", L"aXbY", false},
    {L"a?c*", L"abcdef", true},
    {L"abc", L"abc", true},
    {L"abc", L"ABC", true},
    {L"abc", L"abcd", false},
    {L"abcd", L"abc", false},
    {L"", L"", true},
    {L"", L"a", false},
    {L"*.", L"a", false},
    {L"*.", L"a.", true},
    {L".*", L".hidden", true},
    {L".*", L"a", false},
    {L"*.*.*", L"a", true},
    {L"*.*.*", L"a.b", true},
    {L"\x00C9t\x00E9*", L"\x00E9T\x00C9.kxo", true},
    {L"\x0416*", L"\x0436.txt", true},
    {L"\x03A9", L"\x03C9", true},
};

std::string Narrow(const wchar_t* text) {
  std::string result;
  for (; *text != 0; ++text) result += *text < 0x80 ? static_cast<char>(*text) : '#';
  return result;
}

TEST(WildcardTest, PatternsMatchWhatTheyPromise) {
  for (const Row& row : kRows) {
    EXPECT_EQ(row.matches, MatchesWildcard(row.pattern, row.name))
        << Narrow(row.pattern) << " on " << Narrow(row.name);
  }
}

TEST(WildcardTest, AQuestionMarkTakesASurrogatePairWhole) {
  const std::wstring pair = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
  EXPECT_TRUE(MatchesWildcard(L"?", pair));
  EXPECT_FALSE(MatchesWildcard(L"??", pair));
  EXPECT_TRUE(MatchesWildcard(L"a?b", L"a" + pair + L"b"));
}

TEST(WildcardTest, OnlyStarsAndQuestionMarksMakeAPattern) {
  EXPECT_TRUE(HasWildcards(L"a*"));
  EXPECT_TRUE(HasWildcards(L"?"));
  EXPECT_FALSE(HasWildcards(L""));
  EXPECT_FALSE(HasWildcards(L"a.[b]"));
}

TEST(WildcardTest, ManyStarsOverALongNameAreDecided) {
  std::wstring pattern;
  for (int i = 0; i < 60; ++i) pattern += L"*a";
  const std::wstring name = std::wstring(250, L'a') + L"b";
  EXPECT_FALSE(MatchesWildcard(pattern, name));
}

TEST(WildcardTest, FoldingKeepsWhatHasNoCase) {
  EXPECT_EQ(L'a', FoldCase(L'A'));
  EXPECT_EQ(L'1', FoldCase(L'1'));
  EXPECT_EQ(static_cast<wchar_t>(0xD7), FoldCase(static_cast<wchar_t>(0xD7)));
  EXPECT_EQ(static_cast<wchar_t>(0xFF), FoldCase(static_cast<wchar_t>(0x178)));
  EXPECT_EQ(static_cast<wchar_t>(0x13A), FoldCase(static_cast<wchar_t>(0x139)));
  EXPECT_EQ(static_cast<wchar_t>(0x17E), FoldCase(static_cast<wchar_t>(0x17D)));
  EXPECT_EQ(static_cast<wchar_t>(0x450), FoldCase(static_cast<wchar_t>(0x400)));
  EXPECT_EQ(static_cast<wchar_t>(0x4E2D), FoldCase(static_cast<wchar_t>(0x4E2D)));
}

TEST(WildcardTest, NamesCompareIgnoringCaseAndShorterFirst) {
  EXPECT_EQ(0, CompareIgnoringCase(L"AbC", L"aBc"));
  EXPECT_LT(CompareIgnoringCase(L"a", L"B"), 0);
  EXPECT_GT(CompareIgnoringCase(L"b", L"A"), 0);
  EXPECT_LT(CompareIgnoringCase(L"ab", L"abc"), 0);
}

TEST(WildcardTest, NamesAreOrderedByTheirUtf16UnitsWhateverWideCharactersHold) {
  const std::wstring half(1, static_cast<wchar_t>(0xD83D));
  EXPECT_LT(CompareIgnoringCase(L"\U0001F600", L"\uE000"), 0);
  EXPECT_GT(CompareIgnoringCase(L"\uFFFD", L"\U0010FFFF"), 0);
  EXPECT_LT(CompareIgnoringCase(L"\U0001F600", L"\U0001F601"), 0);
  EXPECT_LT(CompareIgnoringCase(L"\U0001F600", L"\U0001F600a"), 0);
  EXPECT_EQ(0, CompareIgnoringCase(L"\U0001F600A", L"\U0001F600a"));
  EXPECT_LT(CompareIgnoringCase(half, L"\U0001F600"), 0);
  EXPECT_GT(CompareIgnoringCase(half + L"\uE000", L"\U0001F600"), 0);
}

}  // namespace
}  // namespace kx_seam
