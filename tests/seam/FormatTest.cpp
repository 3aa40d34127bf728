// The formatter of wide text: every directive as the narrow printf has it, texts as Windows has
// them.
#include "Format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace {

std::wstring formatted(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::wstring text = kx_gen::formatWide(format, args);
  va_end(args);
  return text;
}

std::wstring widened(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// What the C runtime's narrow printf makes of one directive.
template <class Value>
std::wstring runtimes(const std::string& directive, Value value) {
  std::vector<char> text(1000);
  const int length = std::snprintf(text.data(), text.size(), directive.c_str(), value);
  EXPECT_GE(length, 0) << directive;
  EXPECT_LT(static_cast<size_t>(length), text.size()) << directive;
  return widened(text.data());
}

std::wstring inContext(const std::wstring& text) { return L"<" + text + L">"; }

std::vector<std::string> flagSets() {
  constexpr char kFlags[] = {'-', '+', ' ', '#', '0'};
  std::vector<std::string> sets;
  for (unsigned mask = 0; mask < 32; ++mask) {
    std::string set;
    for (unsigned bit = 0; bit < 5; ++bit) {
      if ((mask & (1u << bit)) != 0) set += kFlags[bit];
    }
    sets.push_back(set);
  }
  return sets;
}

// Every combination of flags, widths and precisions of a conversion must come out as the runtime
// has it; `runtimesLength` is the runtime's name for the length.
template <class Value>
void expectAsTheRuntime(const std::string& length, char conversion, Value value,
                        const std::string& runtimesLength) {
  for (const std::string& flags : flagSets()) {
    for (const char* width : {"", "8", "23"}) {
      for (const char* precision : {"", ".", ".5", ".17"}) {
        const std::string front = "%" + flags + width + precision;
        const std::string directive = front + length + conversion;
        const std::wstring format = inContext(widened(directive));
        EXPECT_EQ(formatted(format.c_str(), value),
                  inContext(runtimes(front + runtimesLength + conversion, value)))
            << directive;
      }
    }
  }
}

template <class Value>
void expectInteger(const std::string& length, std::initializer_list<Value> values) {
  for (const char conversion : {'d', 'i', 'o', 'u', 'x', 'X'}) {
    for (const Value value : values) expectAsTheRuntime(length, conversion, value, length);
  }
}

// --- Plain text ---

TEST(FormatTest, TextWithoutDirectivesIsCopied) {
  EXPECT_EQ(formatted(L""), L"");
  EXPECT_EQ(formatted(L"caf\u00E9 \U0001F600"), L"caf\u00E9 \U0001F600");
  EXPECT_EQ(formatted(L"%%"), L"%");
  EXPECT_EQ(formatted(L"100%% of %d%%", 5), L"100% of 5%");
}

TEST(FormatTest, ANullFormatIsEmpty) {
  const wchar_t* const none = nullptr;
  EXPECT_EQ(formatted(none), L"");
}

TEST(FormatTest, WhatIsNoDirectiveIsShownAsItStands) {
  EXPECT_EQ(formatted(L"100%"), L"100%");
  EXPECT_EQ(formatted(L"%-5"), L"%-5");
  EXPECT_EQ(formatted(L"%y %d", 7), L"%y 7");
  EXPECT_EQ(formatted(L"% %d", 7), L"%d") << "a percent sign with a flag, and a letter";
}

// --- Integers ---

TEST(FormatTest, IntegersOfEveryWidth) {
  expectInteger<int>("", {0, 1, -1, 12345, INT_MAX, INT_MIN});
  expectInteger<long>("l", {0, -1, 12345, LONG_MAX, LONG_MIN});
  expectInteger<long long>("ll", {0, -1, 1234567890123LL, LLONG_MAX, LLONG_MIN});
  expectInteger<intmax_t>("j", {-1, INTMAX_MAX});
  expectInteger<size_t>("z", {0, SIZE_MAX});
  expectInteger<std::ptrdiff_t>("t", {-5, PTRDIFF_MAX});
}

TEST(FormatTest, ShortIntegersAreCutToTheirWidth) {
  expectInteger<int>("h", {0, -1, 0x12345678, 0x18000});
  expectInteger<int>("hh", {0, -1, 0x12345678, 0x180});
  EXPECT_EQ(formatted(L"%hd %hu", 0x12345678, 0x18000), L"22136 32768");
  EXPECT_EQ(formatted(L"%hhd %hhx", 0x1FF, 0x1AB), L"-1 ab");
}

TEST(FormatTest, WindowsLengthsOfIntegers) {
  EXPECT_EQ(formatted(L"%I64d %I64x", 1LL << 40, ~0ULL), L"1099511627776 ffffffffffffffff");
  EXPECT_EQ(formatted(L"%I32d %I32u", -1, ~0u), L"-1 4294967295");
  EXPECT_EQ(formatted(L"%Id %Iu", std::ptrdiff_t{-3}, size_t{3}), L"-3 3");
}

TEST(FormatTest, ADecimalPrintsTheLow32BitsAsSigned) {
  EXPECT_EQ(formatted(L"%d %d", 0xFFFFFFFFul, 7), L"-1 7");
  EXPECT_EQ(formatted(L"%d", 0x80000000u), L"-2147483648");
  EXPECT_EQ(formatted(L"0x%lx", 0xFFFFFFFFul), L"0xffffffff");
}

// --- Real numbers ---

TEST(FormatTest, RealNumbers) {
  for (const char conversion : {'a', 'A', 'e', 'E', 'f', 'F', 'g', 'G'}) {
    for (const double value : {0.0, -0.0, 1.0, -2.5, 0.1, 123456789.125, 1e-10, 9.999999e20}) {
      expectAsTheRuntime("", conversion, value, "");
      expectAsTheRuntime("l", conversion, value, "");
    }
  }
}

TEST(FormatTest, WhatIsNoNumberPrintsAsTheRuntimeHasIt) {
  for (const char conversion : {'e', 'f', 'G'}) {
    expectAsTheRuntime("", conversion, std::numeric_limits<double>::infinity(), "");
    expectAsTheRuntime("", conversion, -std::numeric_limits<double>::infinity(), "");
    expectAsTheRuntime("", conversion, std::numeric_limits<double>::quiet_NaN(), "");
  }
}

TEST(FormatTest, LongDoublesPrintAsDoubles) {
  EXPECT_EQ(formatted(L"%Lf %d", 1.5L, 3), L"1.500000 3");
  EXPECT_EQ(formatted(L"%.3Le|%LG|%10.2Lf|%d", -2.5L, 0.25L, 1234.0L, 4),
            runtimes("%.3e", -2.5) + L"|0.25|   1234.00|4");
}

TEST(FormatTest, TheLargestNumberIsPrintedWhole) {
  const std::wstring text = formatted(L"%f", std::numeric_limits<double>::max());
  EXPECT_EQ(text, runtimes("%f", std::numeric_limits<double>::max()));
  EXPECT_EQ(text.size(), 309u + 7u);
}

// --- Texts ---

TEST(FormatTest, TextsAreWideUnlessSaidOtherwise) {
  EXPECT_EQ(formatted(L"%s|%ls", L"wide", L"long"), L"wide|long");
  EXPECT_EQ(formatted(L"%S|%hs", "narrow", "short"), L"narrow|short");
  EXPECT_EQ(formatted(L"%s", L""), L"");
  EXPECT_EQ(formatted(L"%s%S", L"\u4E2D\U0001F600", "!"), L"\u4E2D\U0001F600!");
}

TEST(FormatTest, NullTextsPrintAsNull) {
  const wchar_t* const wide = nullptr;
  const char* const narrow = nullptr;
  EXPECT_EQ(formatted(L"%s|%ls|%S|%hs", wide, wide, narrow, narrow),
            L"(null)|(null)|(null)|(null)");
  EXPECT_EQ(formatted(L"%8s|%-8S|", wide, narrow), L"  (null)|(null)  |");
}

TEST(FormatTest, TextsArePaddedAndCut) {
  EXPECT_EQ(formatted(L"%5s|%-5s|%2s|", L"abc", L"abc", L"abc"), L"  abc|abc  |abc|");
  EXPECT_EQ(formatted(L"%.2s|%.0s|%.s|%.9s|", L"abc", L"abc", L"abc", L"abc"), L"ab|||abc|");
  EXPECT_EQ(formatted(L"%5.2s|%-5.1s|", L"abc", L"abc"), L"   ab|a    |");
  EXPECT_EQ(formatted(L"%5S|%-5hs|%.2S|%5.1hs|", "abc", "abc", "abc", "abc"),
            L"  abc|abc  |ab|    a|");
}

TEST(FormatTest, ATextNeedsNoEndBehindItsPrecision) {
  const std::unique_ptr<wchar_t[]> wide(new wchar_t[3]{L'a', L'b', L'c'});
  const std::unique_ptr<char[]> narrow(new char[3]{'d', 'e', 'f'});
  EXPECT_EQ(formatted(L"%.3s%.3S", wide.get(), narrow.get()), L"abcdef");
}

TEST(FormatTest, WidthsAndPrecisionsCountUtf16Units) {
  const std::wstring half(1, static_cast<wchar_t>(0xD83D));
  EXPECT_EQ(formatted(L"%4s|%-4s|", L"\U0001F600x", L"\U0001F600"), L" \U0001F600x|\U0001F600  |");
  EXPECT_EQ(formatted(L"%.2s|", L"\U0001F600x"), L"\U0001F600|");
  EXPECT_EQ(formatted(L"%.1s|", L"\U0001F600x"), half + L"|");
  EXPECT_EQ(formatted(L"%.3s|", L"\U0001F600xy"), L"\U0001F600x|");
}

TEST(FormatTest, ATextMayBeOfAnyLength) {
  const std::wstring text(1000000, L'x');
  EXPECT_TRUE(formatted(L"%s", text.c_str()) == text);
}

// --- Characters, pointers, counts ---

TEST(FormatTest, Characters) {
  EXPECT_EQ(formatted(L"%c%lc%C%hc", L'a', L'b', 'c', 'd'), L"abcd");
  EXPECT_EQ(formatted(L"%c%lc", L'\u4E2D', L'\u20AC'), L"\u4E2D\u20AC");
  EXPECT_EQ(formatted(L"%3c|%-3c|", L'a', L'b'), L"  a|b  |");
  EXPECT_EQ(formatted(L"<%c>", 0), std::wstring(L"<\0>", 3));
}

TEST(FormatTest, Pointers) {
  int target = 0;
  void* const pointer = &target;
  EXPECT_EQ(formatted(L"%p|%d", pointer, 5), runtimes("%p", pointer) + L"|5");
  EXPECT_EQ(formatted(L"%30p", pointer), runtimes("%30p", pointer));
}

TEST(FormatTest, CountsAreNeverWritten) {
  int count = -1;
  EXPECT_EQ(formatted(L"abc%nd%d", &count, 5), L"abcd5");
  EXPECT_EQ(count, -1);
}

// --- Widths and precisions from arguments ---

TEST(FormatTest, WidthsAndPrecisionsFromArguments) {
  EXPECT_EQ(formatted(L"%*d|%-*d|", 5, 42, 5, 42), L"   42|42   |");
  EXPECT_EQ(formatted(L"%*d|", -5, 42), L"42   |");
  EXPECT_EQ(formatted(L"%.*f|%.*d|", 2, 1.5, 4, 7), L"1.50|0007|");
  EXPECT_EQ(formatted(L"%.*f|%.*s|", -1, 1.5, -1, L"abc"), L"1.500000|abc|")
      << "a negative precision is none";
  EXPECT_EQ(formatted(L"%*.*s|%-*.*S|", 5, 2, L"abc", 5, 1, "abc"), L"   ab|a    |");
}

TEST(FormatTest, WidthsOfNoUseAreBounded) {
  for (const int width : {INT_MAX, INT_MIN, INT_MIN + 1, 100000000}) {
    EXPECT_LE(formatted(L"%*d", width, 5).size(), 100000u) << width;
    EXPECT_LE(formatted(L"%*s", width, L"5").size(), 100000u) << width;
    EXPECT_LE(formatted(L"%.*d", width, 5).size(), 100000u) << width;
  }
  EXPECT_LE(formatted(L"%99999999999999d", 5).size(), 100000u);
  EXPECT_LE(formatted(L"%.99999999999999d", 5).size(), 100000u);
  EXPECT_EQ(formatted(L"%.99999999999999s", L"abc"), L"abc");
  EXPECT_EQ(formatted(L"%.*s", INT_MAX, L"abc"), L"abc");
  const std::wstring text(200000, L'x');
  EXPECT_TRUE(formatted(L"%.150000s", text.c_str()) == text.substr(0, 150000));
}

// --- Many arguments ---

TEST(FormatTest, ArgumentsKeepTheirOrder) {
  EXPECT_EQ(formatted(L"%d %f %s %lld %S %c %u %g %lx %d %f %s %hd %e %d", 1, 2.0, L"3", 4LL, "5",
                      L'6', 7u, 8.0, 9ul, 10, 11.0, L"12", 13, 14.0, 15),
            L"1 2.000000 3 4 5 6 7 8 9 10 11.000000 12 13 " + runtimes("%e", 14.0) + L" 15");
}

}  // namespace
