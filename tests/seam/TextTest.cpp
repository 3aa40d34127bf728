// Library text at its exits: UTF-16 both ways, the log's narrow text, the narrow text of tags.
#include "Text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <vector>

#include "KxString.h"
#include "KxTest.h"

namespace {

using kx_gen::cutToUnits;
using kx_gen::decodeNarrow;
using kx_gen::encodeNarrow;
using kx_gen::fromUtf16;
using kx_gen::toLogText;
using kx_gen::toUtf16;
using kx_gen::unitsOf;
using kx_test::Bytes;
using kx_test::fromHex;
using kx_test::toHex;

constexpr bool kWideHas32Bits = sizeof(wchar_t) == 4;

std::u16string units(const std::wstring& text) { return toUtf16(text.data(), text.size()); }
std::wstring wide(const std::u16string& text) { return fromUtf16(text.data(), text.size()); }
std::string logged(const std::wstring& text) { return toLogText(text.data(), text.size()); }

// A character where `wchar_t` holds it, else its surrogate pair.
std::wstring character(uint32_t c) {
  if (kWideHas32Bits || c < 0x10000) return std::wstring(1, static_cast<wchar_t>(c));
  return {static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)),
          static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF))};
}

std::string hexOf(const std::string& bytes) { return toHex(Bytes(bytes.begin(), bytes.end())); }

std::wstring decoded(const std::string& hex) {
  const Bytes bytes = fromHex(hex);
  const std::string text(bytes.begin(), bytes.end());
  return decodeNarrow(text.data(), text.size());
}

// --- UTF-16 ---

TEST(Utf16Test, LengthsAreThoseOfUtf16AndCutsMayHalveAPair) {
  EXPECT_EQ(unitsOf(L""), 0u);
  EXPECT_EQ(unitsOf(L"a\u4E2D\U0001F600"), 4u);
  std::wstring text = L"a\U0001F600b";
  EXPECT_FALSE(cutToUnits(text, 4));
  EXPECT_EQ(text, L"a\U0001F600b");
  EXPECT_TRUE(cutToUnits(text, 3));
  EXPECT_EQ(text, L"a\U0001F600");
  EXPECT_TRUE(cutToUnits(text, 2));
  EXPECT_EQ(text, std::wstring(L"a") + static_cast<wchar_t>(0xD83D));
  EXPECT_TRUE(cutToUnits(text, 0));
  EXPECT_EQ(text, L"");
}

TEST(Utf16Test, TextOfTheFirstPlaneKeepsItsUnits) {
  EXPECT_EQ(units(L""), u"");
  EXPECT_EQ(units(L"Ab\u00E9\u20AC\u4E2D\uFFFF"), u"Ab\u00E9\u20AC\u4E2D\uFFFF");
  EXPECT_EQ(wide(u"Ab\u00E9\u20AC\u4E2D\uFFFF"), L"Ab\u00E9\u20AC\u4E2D\uFFFF");
  EXPECT_EQ(wide(u""), L"");
}

TEST(Utf16Test, NullsAreUnitsLikeOthers) {
  EXPECT_EQ(units(std::wstring(L"a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_EQ(wide(std::u16string(u"a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(Utf16Test, CharactersAboveTheFirstPlaneArePairs) {
  EXPECT_EQ(units(L"\U00010000\U0001F600\U0010FFFF"),
            (std::u16string{0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF}));
  EXPECT_EQ(wide({0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF}),
            L"\U00010000\U0001F600\U0010FFFF");
}

TEST(Utf16Test, LoneSurrogatesPass) {
  const std::u16string lone = {u'a', 0xD83D, u'b', 0xDE00, 0xD800, 0xD801};
  EXPECT_EQ(wide(lone),
            (std::wstring{L'a', static_cast<wchar_t>(0xD83D), L'b', static_cast<wchar_t>(0xDE00),
                          static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0xD801)}));
  EXPECT_EQ(units(wide(lone)), lone);
}

TEST(Utf16Test, APairBehindALoneSurrogateIsStillAPair) {
  EXPECT_EQ(wide({0xD83D, 0xD83D, 0xDE00}),
            std::wstring(1, static_cast<wchar_t>(0xD83D)) + character(0x1F600));
  EXPECT_EQ(wide({0xD83D, 0xDE00, 0xDE00}),
            character(0x1F600) + std::wstring(1, static_cast<wchar_t>(0xDE00)));
}

TEST(Utf16Test, WhatIsNoCharacterIsTheReplacementCharacter) {
  if constexpr (kWideHas32Bits) {
    for (const uint32_t c : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
      EXPECT_EQ(units(std::wstring(1, static_cast<wchar_t>(c))), u"\uFFFD") << c;
    }
  }
  EXPECT_EQ(units(L"\uFFFD"), u"\uFFFD");
}

TEST(Utf16Test, EveryCharacterGoesThereAndBack) {
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::wstring text = character(c);
    const std::u16string there = units(text);
    ASSERT_EQ(there.size(), c < 0x10000 ? 1u : 2u) << c;
    ASSERT_TRUE(wide(there) == text) << c;
  }
}

// --- The log's text ---

TEST(LogTextTest, AsciiIsItself) {
  EXPECT_EQ(logged(L""), "");
  EXPECT_EQ(logged(L"Opening db of a.kxo\t~\x7F"), "Opening db of a.kxo\t~\x7F");
}

TEST(LogTextTest, EveryUnitIsOneByte) {
  EXPECT_EQ(logged(L"\u00E9\u20AC\u0080\u4E2D\u0153"), "\xE9\x80??\x9C");
  EXPECT_EQ(logged(L"\U0001F600"), "??");
  EXPECT_EQ(logged(L"a\U0010FFFFb"), "a??b");
  EXPECT_EQ(logged(std::wstring(1, static_cast<wchar_t>(0xD800))), "?");
  EXPECT_EQ(logged(L"\u0100\uFF21\u2260"), "???") << "nothing takes the place of what only looks "
                                                     "alike";
}

TEST(LogTextTest, WhatIsNoCharacterIsAQuestionMark) {
  if constexpr (kWideHas32Bits) {
    EXPECT_EQ(logged(std::wstring(1, static_cast<wchar_t>(0x110000))), "?");
    EXPECT_EQ(logged(std::wstring(1, static_cast<wchar_t>(0xFFFFFFFF))), "?");
  }
  EXPECT_EQ(logged(L"\uFFFD"), "?");
}

TEST(LogTextTest, EveryWesternByteIsReached) {
  std::string expected;
  std::wstring text;
  for (unsigned byte = 1; byte < 0x100; ++byte) {
    const char bytes[] = {static_cast<char>(byte)};
    text += decodeNarrow(bytes, 1);
    expected += bytes[0];
  }
  EXPECT_EQ(hexOf(logged(text)), hexOf(expected));
}

// --- The narrow text of tags ---

class NarrowTextSeamTest : public testing::Test {
 protected:
  NarrowTextSeamTest() { kx_gen::setNarrowCodePage(1252); }
  ~NarrowTextSeamTest() override { kx_gen::setNarrowCodePage(0); }
};

TEST_F(NarrowTextSeamTest, TheCodePageIsTakenWhereItGivesTheSameTextBack) {
  EXPECT_EQ(hexOf(encodeNarrow(L"")), "");
  EXPECT_EQ(hexOf(encodeNarrow(L"plain")), "70 6C 61 69 6E");
  EXPECT_EQ(hexOf(encodeNarrow(L"\u0153\u00E9\u20AC")), "9C E9 80");
  EXPECT_EQ(hexOf(encodeNarrow(L"\u00E9\u20AC\u0153")), "C3 A9 E2 82 AC C5 93")
      << "E9 80 9C would read as UTF-8";
  EXPECT_EQ(hexOf(encodeNarrow(L"\u00C3\u00A9")), "C3 83 C2 A9") << "its bytes would read as UTF-8";
  EXPECT_EQ(hexOf(encodeNarrow(L"\u00E9\u4E2D")), "C3 A9 E4 B8 AD");
  EXPECT_EQ(hexOf(encodeNarrow(L"\u0100")), "C4 80") << "never what only looks alike";
}

TEST_F(NarrowTextSeamTest, SurrogatesAreStoredInTheirOwnForm) {
  EXPECT_EQ(hexOf(encodeNarrow(L"\U0001F600")), "F0 9F 98 80");
  const std::wstring lone(1, static_cast<wchar_t>(0xD800));
  EXPECT_EQ(hexOf(encodeNarrow(lone.c_str())), "ED A0 80");
  EXPECT_EQ(decoded("ED A0 80"), lone);
  EXPECT_EQ(decoded("F0 9F 98 80"), L"\U0001F600");
}

TEST_F(NarrowTextSeamTest, WhatIsNoUtf8IsTheCodePages) {
  EXPECT_EQ(decoded("E9"), L"\u00E9");
  EXPECT_EQ(decoded("C3"), L"\u00C3") << "cut short";
  EXPECT_EQ(decoded("41 C3 A9 C3"), L"A\u00C3\u00A9\u00C3") << "as a whole";
  EXPECT_EQ(decoded("C0 80"), L"\u00C0\u20AC") << "longer than needed";
  EXPECT_EQ(decoded("E0 80 AF"), L"\u00E0\u20AC\u00AF") << "longer than needed";
  EXPECT_EQ(decoded("F4 90 80 80"), L"\u00F4\u0090\u20AC\u20AC") << "above the last character";
  EXPECT_EQ(decoded("80 41"), L"\u20ACA") << "without a start";
  EXPECT_EQ(decoded("F8 88 80 80 80"), L"\u00F8\u02C6\u20AC\u20AC\u20AC");
  EXPECT_EQ(decoded("81 8D 8F 90 9D"), L"\u0081\u008D\u008F\u0090\u009D");
}

TEST_F(NarrowTextSeamTest, DecodingTakesItsLengthNotATerminator) {
  EXPECT_EQ(decoded(""), L"");
  EXPECT_EQ(decoded("61 00 62"), std::wstring(L"a\0b", 3));
  const std::string bytes = "ab\xC3\xA9";
  EXPECT_EQ(decodeNarrow(bytes.data(), 2), L"ab");
}

// Random text of every kind of character, surrogates that stand alone included.
std::wstring randomText(std::mt19937& random) {
  constexpr uint32_t kStarts[] = {1,      0x80,   0xA0,   0xC0,   0x100,
                                  0x2010, 0x4E00, 0xD7F0, 0xFFF0, 0x1F600};
  std::u16string text;
  for (auto length = random() % 12; length > 0; --length) {
    const std::u16string next =
        units(character(kStarts[random() % std::size(kStarts)] + random() % 0x40));
    text += next;
    if (random() % 10 == 0) text += static_cast<char16_t>(0xD800 + random() % 0x800);
  }
  return wide(text);
}

TEST_F(NarrowTextSeamTest, NothingIsLost) {
  std::mt19937 random(7);
  for (const unsigned int page : {1252u, 1251u, 65001u, 1u}) {
    kx_gen::setNarrowCodePage(page);
    for (int i = 0; i < 10000; ++i) {
      const std::wstring text = randomText(random);
      const std::string bytes = encodeNarrow(text.c_str());
      ASSERT_TRUE(decodeNarrow(bytes.data(), bytes.size()) == text) << page << ' ' << hexOf(bytes);
    }
  }
}

TEST_F(NarrowTextSeamTest, AnyBytesDecodeToSomething) {
  std::mt19937 random(8);
  for (int i = 0; i < 10000; ++i) {
    std::string bytes(1 + random() % 8, '\0');
    for (char& byte : bytes)
      byte = static_cast<char>(random() % 3 == 0 ? random() : 0x80 | random());
    const std::wstring text = decodeNarrow(bytes.data(), bytes.size());
    ASSERT_FALSE(text.empty()) << hexOf(bytes);
    ASSERT_LE(text.size(), bytes.size()) << hexOf(bytes);
  }
}

TEST_F(NarrowTextSeamTest, TheLocaleDoesNotMatter) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* locale : {"C", "C.UTF-8", ""}) {
    std::setlocale(LC_ALL, locale);
    EXPECT_EQ(hexOf(encodeNarrow(L"\u00E9\u20AC")), "E9 80");
    EXPECT_EQ(hexOf(encodeNarrow(L"\u4E2D")), "E4 B8 AD");
    EXPECT_EQ(decoded("E9 80"), L"\u00E9\u20AC");
    EXPECT_EQ(logged(L"\u00E9\u4E2D"), "\xE9?");
  }
  std::setlocale(LC_ALL, before.c_str());
}

}  // namespace
