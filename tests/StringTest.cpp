// The wide string.
#include "KxString.h"

#include <gmock/gmock.h>

#include <clocale>
#include <cstdlib>
#include <type_traits>
#include <utility>

#include "KxTest.h"

namespace {

using kx_gen::_String;
using kx_test::logLines;
using testing::IsEmpty;

constexpr unsigned int kAll = 0xFFFFFFFF;
constexpr const wchar_t* kNoText = nullptr;

std::wstring plain(const _String& text) { return text; }

// A text of `length` characters, nulls where the literal has them.
template <size_t Size>
std::wstring withNulls(const wchar_t (&literal)[Size]) {
  return std::wstring(literal, Size - 1);
}

class StringTest : public kx_test::KxTest {
 protected:
  _String text_;
};

static_assert(std::is_base_of_v<std::wstring, _String>);
static_assert(!std::is_polymorphic_v<_String>);
static_assert(sizeof(_String) == sizeof(std::wstring), "no fields of its own");
static_assert(std::is_copy_constructible_v<_String> && std::is_copy_assignable_v<_String>);

// --- Construction and wide assignment ---

TEST_F(StringTest, ANewStringIsEmpty) {
  EXPECT_TRUE(text_.empty());
  EXPECT_EQ(plain(L""), L"");
  EXPECT_EQ(plain(kNoText), L"") << "no text is an empty text";
}

TEST_F(StringTest, ItIsMadeFromWideText) {
  const _String fromText(L"caf\u00E9");
  EXPECT_EQ(plain(fromText), L"caf\u00E9");
  const _String copy(fromText);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(plain(copy), L"caf\u00E9");
}

TEST_F(StringTest, WideAssignmentReplacesTheContents) {
  text_ = L"first";
  EXPECT_EQ(plain(text_), L"first");
  text_ = L'x';
  EXPECT_EQ(plain(text_), L"x");
  text_ = L'\0';
  EXPECT_EQ(plain(text_), withNulls(L"\0"));
  text_ = _String(L"other");
  EXPECT_EQ(plain(text_), L"other");
  text_ = withNulls(L"a\0b");
  EXPECT_EQ(plain(text_), withNulls(L"a\0b")) << "a standard string keeps its nulls";
  text_ = L"";
  EXPECT_TRUE(text_.empty());
  text_ = L"gone";
  text_ = kNoText;
  EXPECT_TRUE(text_.empty());
}

TEST_F(StringTest, AssignmentsChain) {
  _String other;
  other = text_ = L"both";
  EXPECT_EQ(plain(other), L"both");
  EXPECT_EQ(&(text_ = L'c'), &text_);
}

TEST_F(StringTest, ItCanBeAssignedItselfAndAPartOfItself) {
  text_ = L"0123456789";
  const _String& same = text_;
  text_ = same;
  EXPECT_EQ(plain(text_), L"0123456789");
  text_ = text_.c_str() + 4;
  EXPECT_EQ(plain(text_), L"456789");
}

TEST_F(StringTest, CopiesAreIndependent) {
  text_ = L"original";
  _String copy(text_);
  copy[0] = L'O';
  EXPECT_EQ(plain(text_), L"original");
  EXPECT_EQ(plain(copy), L"Original");
}

TEST_F(StringTest, TheOperationsOfTheStandardStringAreThere) {
  text_ = L"outline";
  text_.append(L".kxo");
  EXPECT_EQ(text_.length(), 11u);
  EXPECT_EQ(text_.find(L'.'), 7u);
  text_.erase(0, 3);
  EXPECT_EQ(plain(text_), L"line.kxo");
  EXPECT_LT(text_.compare(L"m"), 0);
}

// --- Narrow assignment ---

TEST_F(StringTest, AssignAsciiTakesOneCharacterMoreThanItsLength) {
  text_.AssignAscii("Hello", 2);
  EXPECT_EQ(plain(text_), L"Hel");
  text_.AssignAscii("Hello", 1);
  EXPECT_EQ(plain(text_), L"He");
  text_.AssignAscii("Hello", 4);
  EXPECT_EQ(plain(text_), L"Hello");
}

TEST_F(StringTest, AssignAsciiStopsAtTheTerminator) {
  for (const unsigned int length : {5u, 6u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFEu, kAll}) {
    text_ = L"before";
    text_.AssignAscii("Hello", length);
    EXPECT_EQ(plain(text_), L"Hello") << length;
  }
  text_.AssignAscii("ab\0cd", 5);
  EXPECT_EQ(plain(text_), L"ab");
}

TEST_F(StringTest, ALengthOfNothingChangesNothing) {
  text_ = L"x";
  text_.AssignAscii("", kAll);
  EXPECT_EQ(plain(text_), L"x");
  text_.AssignAscii("Hello", 0);
  EXPECT_EQ(plain(text_), L"x");
  text_.AssignAscii(nullptr, kAll);
  EXPECT_EQ(plain(text_), L"x");
  text_.AssignAscii(nullptr, 0);
  EXPECT_EQ(plain(text_), L"x");
  text_.AssignAscii(nullptr, 5);
  EXPECT_EQ(plain(text_), L"x");
}

TEST_F(StringTest, AnEmptyTextWithALengthEmptiesIt) {
  text_ = L"x";
  text_.AssignAscii("", 3);
  EXPECT_TRUE(text_.empty());
}

TEST_F(StringTest, NarrowTextIsAssignedWhole) {
  text_ = "Hello";
  EXPECT_EQ(plain(text_), L"Hello");
  text_ = 'c';
  EXPECT_EQ(plain(text_), L"c");
  text_ = "";
  EXPECT_EQ(plain(text_), L"c") << "an empty narrow text changes nothing";
  const char* const none = nullptr;
  text_ = none;
  EXPECT_EQ(plain(text_), L"c");
  const std::string longText(100000, 'y');
  text_ = longText.c_str();
  EXPECT_EQ(plain(text_), std::wstring(100000, L'y'));
}

// Runs the test's calls in a locale and goes back to the one before.
class LocaleScope {
 public:
  explicit LocaleScope(const char* name)
      : before_(std::setlocale(LC_CTYPE, nullptr)),
        isSet_(std::setlocale(LC_CTYPE, name) != nullptr) {}
  LocaleScope(const LocaleScope&) = delete;
  LocaleScope& operator=(const LocaleScope&) = delete;
  ~LocaleScope() { std::setlocale(LC_CTYPE, before_.c_str()); }
  bool isSet() const { return isSet_; }

 private:
  std::string before_;
  bool isSet_;
};

// What the C runtime makes of a narrow text; the text before where it refuses.
std::wstring runtimesText(const char* text, const std::wstring& before) {
  std::vector<wchar_t> wide(100);
  const size_t length = std::mbstowcs(wide.data(), text, wide.size());
  return length == static_cast<size_t>(-1) ? before : std::wstring(wide.data(), length);
}

TEST_F(StringTest, NarrowTextFollowsTheCurrentLocale) {
  constexpr const char* kTexts[] = {"plain", "caf\xE9", "caf\xC3\xA9", "\xFF", "ok\xC3", "\x80x"};
  int locales = 0;
  for (const char* locale : {"C", "C.UTF-8", "en_US.UTF-8", ""}) {
    const LocaleScope scope(locale);
    if (!scope.isSet()) continue;
    ++locales;
    for (const char* text : kTexts) {
      text_ = L"before";
      text_.AssignAscii(text, kAll);
      EXPECT_EQ(plain(text_), runtimesText(text, L"before")) << locale << ' ' << text;
      text_ = L"before";
      text_ = text;
      EXPECT_EQ(plain(text_), runtimesText(text, L"before")) << locale << ' ' << text;
    }
    for (const char character : {'a', '\xE9', '\xFF'}) {
      const char text[] = {character, '\0'};
      text_ = L"before";
      text_ = character;
      EXPECT_EQ(plain(text_), runtimesText(text, L"before")) << locale;
    }
  }
  EXPECT_GE(locales, 1);
}

// --- Access and sizing ---

TEST_F(StringTest, ItStandsForItsText) {
  text_ = L"text";
  const wchar_t* const pointer = text_;
  EXPECT_STREQ(pointer, L"text");
  EXPECT_EQ(pointer, text_.c_str());
}

TEST_F(StringTest, ElementsAreReadAndWritten) {
  text_ = L"abc";
  const _String& constant = text_;
  EXPECT_EQ(text_[0], L'a');
  EXPECT_EQ(text_[1u], L'b');
  EXPECT_EQ(constant[2], L'c');
  EXPECT_EQ(constant[2u], L'c');
  text_[0] = L'x';
  text_[2u] = L'z';
  EXPECT_EQ(plain(text_), L"xbz");
  const size_t last = 2;
  const unsigned char tiny = 1;
  EXPECT_EQ(text_[last], L'z');
  EXPECT_EQ(constant[tiny], L'b');
  static_assert(std::is_same_v<decltype(text_[0]), wchar_t&>);
  static_assert(std::is_same_v<decltype(constant[0u]), const wchar_t&>);
}

TEST_F(StringTest, GetBufferMakesRoomForOneCharacterMore) {
  wchar_t* const buffer = text_.GetBuffer(4);
  EXPECT_EQ(plain(text_), withNulls(L"\0\0\0\0\0"));
  EXPECT_EQ(buffer, text_.c_str());
}

TEST_F(StringTest, GetBufferPadsOrCuts) {
  text_ = L"abcdefgh";
  text_.GetBuffer(2);
  EXPECT_EQ(plain(text_), L"abc");
  text_.GetBuffer(4);
  EXPECT_EQ(plain(text_), withNulls(L"abc\0\0"));
  text_.GetBuffer(0);
  EXPECT_EQ(plain(text_), L"a");
}

TEST_F(StringTest, AShorterTextInTheBufferCountsUpToItsEnd) {
  wchar_t* const buffer = text_.GetBuffer(10);
  buffer[0] = L'h';
  buffer[1] = L'i';
  EXPECT_EQ(text_.length(), 11u);
  EXPECT_TRUE(text_ == _String(L"hi"));
  EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(text_)), L"hi");
}

// --- Formatting ---

TEST_F(StringTest, FormatStringReplacesTheContents) {
  text_ = L"before";
  text_.FormatString(L"%s%s%s-%d%s", L"C:", L"\\dir\\", L"Notes", 12, L".kxo");
  EXPECT_EQ(plain(text_), L"C:\\dir\\Notes-12.kxo");
  text_.FormatString(L"%ls %S %hs %5.1f|%-4d|%04x %c%%", L"wide", "narrow", "short", 2.25, 7, 255,
                     L'z');
  EXPECT_EQ(plain(text_), L"wide narrow short   2.2|7   |00ff z%");
  text_.FormatString(L"");
  EXPECT_TRUE(text_.empty());
}

TEST_F(StringTest, FormatStringTakesAnyLength) {
  const std::wstring longText(300000, L'\u4E2D');
  text_.FormatString(L"<%s>", longText.c_str());
  EXPECT_EQ(plain(text_), L"<" + longText + L">");
}

TEST_F(StringTest, FormatStringPrintsNullTextsAndTakesANullFormatAsEmpty) {
  text_.FormatString(L"%s-%S", kNoText, static_cast<const char*>(nullptr));
  EXPECT_EQ(plain(text_), L"(null)-(null)");
  text_.FormatString(kNoText);
  EXPECT_TRUE(text_.empty());
}

TEST_F(StringTest, FormatStringMayUseTheStringItself) {
  text_ = L"self";
  text_.FormatString(L"<%s|%s>", text_.c_str(), text_.c_str() + 2);
  EXPECT_EQ(plain(text_), L"<self|lf>");
  text_ = L"%d and %s";
  text_.FormatString(text_, 7, text_.c_str());
  EXPECT_EQ(plain(text_), L"7 and %d and %s");
}

TEST_F(StringTest, FormatStringKeepsCharactersOfAllPlanes) {
  text_.FormatString(L"%s\u20AC", L"\U0001F600\u4E2D");
  EXPECT_EQ(plain(text_), L"\U0001F600\u4E2D\u20AC");
}

// --- Resources ---

TEST_F(StringTest, LoadStringTakesAMessageText) {
  text_ = L"before";
  EXPECT_TRUE(text_.LoadStringW(8));
  EXPECT_EQ(plain(text_), L"File IO read error");
  EXPECT_TRUE(text_.LoadStringW(13));
  EXPECT_EQ(plain(text_),
            L"The db check code is different. This is not a .kxo file. Perhaps you renamed it from "
            L"a .kxo.pdb file? That won't work. ");
}

TEST_F(StringTest, AMissingResourceLeavesItUnchanged) {
  text_ = L"before";
  for (const unsigned int id : {0u, 26u, 0xFFFFu, 0x10000u, 0x10008u, kAll}) {
    EXPECT_FALSE(text_.LoadStringW(id)) << id;
    EXPECT_EQ(plain(text_), L"before");
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Trimming ---

TEST_F(StringTest, TrimLeftRemovesLeadingBlanksOnly) {
  for (const auto& [before, after] :
       std::initializer_list<std::pair<const wchar_t*, std::wstring>>{{L"   ", L""},
                                                                      {L"", L""},
                                                                      {L"  a b  ", L"a b  "},
                                                                      {L"a", L"a"},
                                                                      {L"\t ", L"\t "},
                                                                      {L" \t a", L"\t a"},
                                                                      {L"\n a", L"\n a"},
                                                                      {L"\u00A0a", L"\u00A0a"}}) {
    text_ = before;
    text_.TrimLeft();
    EXPECT_EQ(plain(text_), after);
  }
}

TEST_F(StringTest, TrimRightRemovesTrailingBlanksOnly) {
  for (const auto& [before, after] :
       std::initializer_list<std::pair<const wchar_t*, std::wstring>>{{L"   ", L""},
                                                                      {L"", L""},
                                                                      {L"  a b  ", L"  a b"},
                                                                      {L"a", L"a"},
                                                                      {L" \t", L" \t"},
                                                                      {L"a \t ", L"a \t"},
                                                                      {L"a \r", L"a \r"},
                                                                      {L"a\u3000", L"a\u3000"}}) {
    text_ = before;
    text_.TrimRight();
    EXPECT_EQ(plain(text_), after);
  }
}

TEST_F(StringTest, TrimmingStopsAtANull) {
  text_ = withNulls(L" \0 ");
  text_.TrimLeft();
  EXPECT_EQ(plain(text_), withNulls(L"\0 "));
  text_.TrimRight();
  EXPECT_EQ(plain(text_), withNulls(L"\0"));
}

// --- Line ends ---

TEST_F(StringTest, PalmToPlatformPutsAReturnBeforeEveryLineFeed) {
  text_ = L"\n\n";
  text_.palmToPlatform();
  EXPECT_EQ(plain(text_), L"\r\n\r\n");
  text_ = L"a\nb\rc\r\nd";
  text_.palmToPlatform();
  EXPECT_EQ(plain(text_), L"a\r\nb\rc\r\r\nd");
  text_ = L"";
  text_.palmToPlatform();
  EXPECT_TRUE(text_.empty());
}

TEST_F(StringTest, PlatformToPalmDropsEveryReturn) {
  text_ = L"\r\n\r\n";
  text_.platformToPalm();
  EXPECT_EQ(plain(text_), L"\n\n");
  text_ = L"\ra\rb\r\r\nc\r";
  text_.platformToPalm();
  EXPECT_EQ(plain(text_), L"ab\nc");
  text_ = L"\r";
  text_.platformToPalm();
  EXPECT_TRUE(text_.empty());
}

TEST_F(StringTest, LineEndsAreConvertedBehindANullToo) {
  text_ = withNulls(L"a\0b\n");
  text_.palmToPlatform();
  EXPECT_EQ(plain(text_), withNulls(L"a\0b\r\n"));
  text_.platformToPalm();
  EXPECT_EQ(plain(text_), withNulls(L"a\0b\n"));
}

// --- Comparison and concatenation ---

TEST_F(StringTest, TextsAreComparedUpToTheirFirstNull) {
  _String other;
  text_ = withNulls(L"ab\0cd");
  other = withNulls(L"ab\0xyz");
  EXPECT_TRUE(text_ == other);
  EXPECT_FALSE(text_ != other);
  EXPECT_TRUE(text_ == _String(L"ab"));
  other = withNulls(L"ac\0cd");
  EXPECT_FALSE(text_ == other);
  EXPECT_TRUE(text_ != other);
}

TEST_F(StringTest, OtherTextsDiffer) {
  EXPECT_TRUE(_String(L"") == text_);
  EXPECT_FALSE(_String(L"a") == _String(L"A"));
  EXPECT_FALSE(_String(L"a") == _String(L"ab"));
  EXPECT_TRUE(_String(L"ab") != _String(L"a"));
  EXPECT_TRUE(_String(L"\U0001F600") == _String(L"\U0001F600"));
}

TEST_F(StringTest, ItIsComparedWithPlainText) {
  text_ = withNulls(L"ab\0cd");
  EXPECT_TRUE(text_ == L"ab");
  EXPECT_TRUE(L"ab" == text_);
  EXPECT_TRUE(text_ != L"abc");
  EXPECT_TRUE(L"abc" != text_);
  EXPECT_FALSE(text_ != L"ab");
  EXPECT_TRUE(_String() == kNoText);
  EXPECT_TRUE(kNoText != text_);
}

TEST_F(StringTest, ConcatenationMakesANewString) {
  const _String left(L"left");
  const _String right(L" right");
  EXPECT_EQ(plain(left + right), L"left right");
  EXPECT_EQ(plain(left + L'!'), L"left!");
  EXPECT_EQ(plain(left + _String()), L"left");
  EXPECT_EQ(plain(_String() + L'x'), L"x");
  EXPECT_EQ(plain(left + right + L'.' + left), L"left right.left");
  static_assert(std::is_same_v<decltype(left + right), _String>);
  static_assert(std::is_same_v<decltype(left + L'x'), _String>);
  EXPECT_EQ(plain(left), L"left");
  EXPECT_EQ(plain(right), L" right");
}

}  // namespace
