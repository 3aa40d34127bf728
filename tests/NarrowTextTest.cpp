// The narrow text of string tags: a code page where that gives the same text back, else UTF-8.

#include <array>
#include <clocale>
#include <random>

#include "StorageSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::setNarrowCodePage;
using kx_test::Bytes;
using kx_test::fromHex;
using kx_test::TaggedBlock;
using kx_test::toHex;

constexpr unsigned int kWestern = 1252;

/// What code page 1252 has from 0x80 to 0x9F; the five bytes that it leaves undefined stand for the
/// control characters of the same number.
constexpr std::array<wchar_t, 32> kWesternSpecials = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

wchar_t westernCharacter(unsigned byte) {
  return byte >= 0x80 && byte < 0xA0 ? kWesternSpecials[byte - 0x80] : static_cast<wchar_t>(byte);
}

/// Text of UTF-16 units as the library has it: surrogate pairs are one character where `wchar_t`
/// has 32 bits.
std::wstring wide(const std::u16string& units) {
  std::wstring text;
  for (size_t i = 0; i < units.size(); ++i) {
    const bool isPair = units[i] >= 0xD800 && units[i] < 0xDC00 && i + 1 < units.size() &&
                        units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000;
    if (isPair && sizeof(wchar_t) == 4) {
      text += static_cast<wchar_t>(0x10000 + ((units[i] - 0xD800) << 10) + (units[i + 1] - 0xDC00));
      ++i;
    } else {
      text += static_cast<wchar_t>(units[i]);
    }
  }
  return text;
}

class NarrowTextTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    setNarrowCodePage(kWestern);
  }
  void TearDown() override {
    setNarrowCodePage(0);
    kx_test::KxTest::TearDown();
  }

  /// The bytes that a text is stored as, its terminator included.
  static Bytes stored(const std::wstring& text) {
    TaggedBlock block;
    EXPECT_EQ(0, block->setString(1, text.c_str(), nullptr));
    return kx_test::valueOf(block.manager(), 0x10001);
  }
  /// The text that stored bytes (without the terminator) stand for.
  static std::wstring decoded(Bytes bytes) {
    bytes.push_back(0);
    TaggedBlock block(kx_test::tag(0x10001, bytes));
    _String text;
    EXPECT_EQ(0, block->getString(1, text));
    return text;
  }
  static void expectStored(const std::wstring& text, const std::string& hex) {
    const Bytes bytes = stored(text);
    EXPECT_EQ(toHex(fromHex(hex + " 00")), toHex(bytes));
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(text, decoded(Bytes(bytes.begin(), bytes.end() - 1)));
  }
  static bool survives(const std::wstring& text) {
    const Bytes bytes = stored(text);
    return !bytes.empty() && bytes.back() == 0 &&
           decoded(Bytes(bytes.begin(), bytes.end() - 1)) == text;
  }
};

// --- The code page ---

TEST_F(NarrowTextTest, AsciiIsItself) {
  expectStored(L"The quick brown fox\t~\x7F\x01",
               "54 68 65 20 71 75 69 63 6B 20 62 72 6F 77 6E 20 "
               "66 6F 78 09 7E 7F 01");
}

TEST_F(NarrowTextTest, WesternTextTakesOneByteACharacter) {
  expectStored(L"\u00E9\u20AC\u0153 \u2013\u00FF", "E9 80 9C 20 96 FF");
  TaggedBlock block;
  EXPECT_EQ(0, block->setString(1, L"caf\u00E9", nullptr));
  unsigned long length = 0;
  EXPECT_EQ(0, block->getTagDataSize(0x10001, &length));
  EXPECT_EQ(5ul, length) << "the wide length plus one";
}

TEST_F(NarrowTextTest, TheDefaultCodePageIsWestern) {
  setNarrowCodePage(0);
  expectStored(L"\u00E9\u20AC", "E9 80");
}

TEST_F(NarrowTextTest, EveryByteStandsForItsCharacter) {
  for (unsigned byte = 1; byte < 0x100; ++byte) {
    const std::wstring text(1, westernCharacter(byte));
    const Bytes expected = {static_cast<unsigned char>(byte), 0};
    EXPECT_EQ(toHex(expected), toHex(stored(text))) << byte;
    EXPECT_EQ(text, decoded({static_cast<unsigned char>(byte)})) << byte;
  }
}

TEST_F(NarrowTextTest, TheFiveUndefinedBytesAreControlCharacters) {
  expectStored(L"\x81\x8D\x8F\x90\x9D", "81 8D 8F 90 9D");
}

TEST_F(NarrowTextTest, TextOutsideTheCodePageIsUtf8) {
  expectStored(L"\u4E2D", "E4 B8 AD");
  expectStored(L"\u00E9\u4E2D", "C3 A9 E4 B8 AD");  // the whole text, not a part of it
  expectStored(L"\x80", "C2 80");                   // byte 80 is the euro sign
  expectStored(L"\u07FF\u0800\uFFFD\uFFFF", "DF BF E0 A0 80 EF BF BD EF BF BF");
}

TEST_F(NarrowTextTest, SimilarCharactersAreNoSubstitute) {
  expectStored(L"\u0100", "C4 80");     // not A
  expectStored(L"\u221E", "E2 88 9E");  // not 8
  expectStored(L"\uFF21", "EF BC A1");  // not A
  expectStored(L"?\u0410", "3F D0 90");
}

TEST_F(NarrowTextTest, TextWhoseBytesWouldReadAsUtf8IsUtf8) {
  expectStored(L"\u00C3\u00A9", "C3 83 C2 A9");
  expectStored(L"a\u00C2\u00B0b", "61 C3 82 C2 B0 62");
  expectStored(L"\u00E2\u201A\u00AC", "C3 A2 E2 80 9A C2 AC");
  expectStored(L"\u00F0\u0178\u02DC\u20AC", "C3 B0 C5 B8 CB 9C E2 82 AC");  // F0 9F 98 80
}

TEST_F(NarrowTextTest, TextWhoseBytesOnlyPartlyReadAsUtf8StaysInTheCodePage) {
  expectStored(L"\u00C3\u00A9\u00E9", "C3 A9 E9");
  expectStored(L"\u00E9\u00C3\u00A9", "E9 C3 A9");
}

TEST_F(NarrowTextTest, EveryPairOfWesternCharactersSurvives) {
  for (unsigned first = 0x80; first < 0x100; ++first) {
    for (unsigned second = 0x80; second < 0x100; ++second) {
      const std::wstring text = {westernCharacter(first), westernCharacter(second)};
      const bool readsAsUtf8 = first >= 0xC2 && first <= 0xDF && second < 0xC0;
      const Bytes bytes = stored(text);
      if (!readsAsUtf8) {
        ASSERT_EQ(toHex({static_cast<unsigned char>(first), static_cast<unsigned char>(second), 0}),
                  toHex(bytes));
      }
      ASSERT_EQ(text, decoded(Bytes(bytes.begin(), bytes.end() - 1)));
    }
  }
}

// --- UTF-8 ---

TEST_F(NarrowTextTest, CharactersBeyondSixteenBitsTakeFourBytes) {
  expectStored(L"\U0001F600", "F0 9F 98 80");
  expectStored(L"\U00010000", "F0 90 80 80");
  expectStored(L"\U0010FFFF", "F4 8F BF BF");
}

TEST_F(NarrowTextTest, APairOfSurrogatesIsOneCharacter) {
  const wchar_t pair[] = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00), 0};
  EXPECT_EQ(toHex(fromHex("F0 9F 98 80 00")), toHex(stored(pair)));
  EXPECT_EQ(std::wstring(L"\U0001F600"), decoded(fromHex("F0 9F 98 80")));
}

TEST_F(NarrowTextTest, LoneSurrogatesKeepTheirThreeByteForm) {
  const auto text = [](std::initializer_list<unsigned> characters) {
    std::wstring result;
    for (unsigned character : characters) result += static_cast<wchar_t>(character);
    return result;
  };
  expectStored(text({0xD800}), "ED A0 80");
  expectStored(text({0xDBFF, 'x'}), "ED AF BF 78");
  expectStored(text({'a', 0xDC00, 'b'}), "61 ED B0 80 62");
  expectStored(text({0xDFFF}), "ED BF BF");
  expectStored(text({0xDE00, 0xD83D}), "ED B8 80 ED A0 BD");  // the wrong way round
}

TEST_F(NarrowTextTest, CharactersBeyondUnicodeBecomeTheReplacement) {
  if (sizeof(wchar_t) == 4) {
    for (uint32_t character : {0x110000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
      wchar_t text[2] = {};
      text[0] = static_cast<wchar_t>(character);
      EXPECT_EQ(toHex(fromHex("EF BF BD 00")), toHex(stored(text))) << character;
    }
  }
  EXPECT_EQ(L"\uFFFD", decoded(fromHex("EF BF BD")));
}

TEST_F(NarrowTextTest, ValidUtf8IsReadAsSuch) {
  EXPECT_EQ(L"\u00E9", decoded(fromHex("C3 A9")));
  EXPECT_EQ(L"a\u4E2D\u20ACz", decoded(fromHex("61 E4 B8 AD E2 82 AC 7A")));
  EXPECT_EQ(L"\uFEFFx", decoded(fromHex("EF BB BF 78")));
}

TEST_F(NarrowTextTest, InvalidUtf8IsReadInTheCodePage) {
  EXPECT_EQ(L"\u00C3", decoded(fromHex("C3")));                    // cut short
  EXPECT_EQ(L"\u00E2\u201A", decoded(fromHex("E2 82")));           // cut short
  EXPECT_EQ(L"\u00F0\u0178\u02DC", decoded(fromHex("F0 9F 98")));  // cut short
  EXPECT_EQ(L"\u20AC", decoded(fromHex("80")));                    // nothing to continue
  EXPECT_EQ(L"\u00C0\u20AC", decoded(fromHex("C0 80")));           // longer than needed
  EXPECT_EQ(L"\u00C1\u00BF", decoded(fromHex("C1 BF")));           // longer than needed
  EXPECT_EQ(L"\u00E0\u20AC\u00AF", decoded(fromHex("E0 80 AF")));  // longer than needed
  EXPECT_EQ(L"\u00F0\u20AC\u20AC\u00AF", decoded(fromHex("F0 80 80 AF")));
  EXPECT_EQ(L"\u00F4\x90\u20AC\u20AC", decoded(fromHex("F4 90 80 80")));  // beyond Unicode
  EXPECT_EQ(L"\u00F5\u20AC\u20AC\u20AC", decoded(fromHex("F5 80 80 80")));
  // A pair of surrogates takes four bytes; its halves in three each are no text of ours.
  EXPECT_EQ(L"\u00ED\u00A0\u00BD\u00ED\u00B8\u20AC", decoded(fromHex("ED A0 BD ED B8 80")));
  EXPECT_EQ(L"\u00C3a\u00A9", decoded(fromHex("C3 61 A9")));
  EXPECT_EQ(L"\u00FE\u00FF", decoded(fromHex("FE FF")));
}

TEST_F(NarrowTextTest, OnlyTheBytesBeforeTheTerminatorCount) {
  EXPECT_EQ(L"\u00E9", decoded(fromHex("C3 A9 00 E9 41")));
  EXPECT_EQ(L"\u00C3", decoded(fromHex("C3 00 A9")));
}

// --- Nothing is lost ---

TEST_F(NarrowTextTest, EveryCharacterOfSixteenBitsSurvives) {
  for (unsigned character = 1; character < 0x10000; ++character) {
    ASSERT_TRUE(survives(std::wstring(1, static_cast<wchar_t>(character)))) << character;
  }
}

TEST_F(NarrowTextTest, RandomTextSurvivesInEveryCodePage) {
  std::mt19937 random(99);
  const auto unit = [&]() -> char16_t {
    switch (random() % 6) {
      case 0:
        return static_cast<char16_t>(1 + random() % 0x7F);
      case 1:
        return static_cast<char16_t>(0x80 + random() % 0x80);
      case 2:
        return static_cast<char16_t>(kWesternSpecials[random() % 32]);
      case 3:
        return static_cast<char16_t>(0x400 + random() % 0x60);
      case 4:
        return static_cast<char16_t>(0xD800 + random() % 0x800);
      default:
        return static_cast<char16_t>(1 + random() % 0xFFFF);
    }
  };
  for (unsigned int page : {0u, 1250u, 1251u, 1252u, 932u, 936u, 65001u, 54321u}) {
    setNarrowCodePage(page);
    for (int round = 0; round < 1500; ++round) {
      std::u16string units;
      for (size_t count = 1 + random() % 4; count > 0; --count) units += unit();
      ASSERT_TRUE(survives(wide(units))) << "code page " << page << " round " << round;
    }
  }
}

TEST_F(NarrowTextTest, AnyBytesCanBeReadInEveryCodePage) {
  std::mt19937 random(100);
  for (unsigned int page : {0u, 1251u, 932u, 936u, 65001u, 54321u}) {
    setNarrowCodePage(page);
    for (int round = 0; round < 1500; ++round) {
      Bytes bytes;
      for (size_t count = 1 + random() % 5; count > 0; --count) {
        bytes.push_back(static_cast<unsigned char>(0x70 + random() % 0x90));
      }
      ASSERT_LE(decoded(bytes).size(), bytes.size()) << "code page " << page;
    }
  }
}

TEST_F(NarrowTextTest, LongTextSurvives) {
  EXPECT_TRUE(survives(std::wstring(100000, L'x')));
  EXPECT_TRUE(survives(std::wstring(100000, L'\u00E9')));
  EXPECT_TRUE(survives(std::wstring(100000, L'\u4E2D')));
}

// --- Other code pages ---

TEST_F(NarrowTextTest, AnotherCodePageStoresItsOwnLetters) {
  setNarrowCodePage(1251);
  expectStored(L"\u041F\u0440\u0438\u0432\u0435\u0442", "CF F0 E8 E2 E5 F2");
  setNarrowCodePage(1250);
  expectStored(L"\u017E\u0159", "9E F8");
}

TEST_F(NarrowTextTest, SettingACodePageTellsWhetherTheSystemKnowsIt) {
  for (const unsigned int known : {0u, 437u, 932u, 1251u, 65001u}) {
    EXPECT_TRUE(setNarrowCodePage(known)) << known;
  }
  EXPECT_FALSE(setNarrowCodePage(54321));
}

TEST_F(NarrowTextTest, TheSameBytesReadDifferentlyInAnotherCodePage) {
  const Bytes bytes = fromHex("CF F0 E8 E2 E5 F2");
  EXPECT_EQ(L"\u00CF\u00F0\u00E8\u00E2\u00E5\u00F2", decoded(bytes));
  setNarrowCodePage(1251);
  EXPECT_EQ(L"\u041F\u0440\u0438\u0432\u0435\u0442", decoded(bytes));
  setNarrowCodePage(0);
  EXPECT_EQ(L"\u00CF\u00F0\u00E8\u00E2\u00E5\u00F2", decoded(bytes));
}

TEST_F(NarrowTextTest, WesternLettersAreUtf8InACodePageWithoutThem) {
  setNarrowCodePage(1251);
  expectStored(L"\u00E9", "C3 A9");
}

TEST_F(NarrowTextTest, TextWhoseBytesWouldReadAsUtf8IsUtf8InEveryCodePage) {
  setNarrowCodePage(1251);
  expectStored(L"\u0420\u045F", "D0 A0 D1 9F");  // D0 9F in the code page, a letter in UTF-8
}

TEST_F(NarrowTextTest, CodePagesOfTwoBytesWork) {
  setNarrowCodePage(932);
  expectStored(L"\u65E5\u672C", "93 FA 96 7B");
  setNarrowCodePage(936);
  expectStored(L"\u4E2D\u6587", "D6 D0 CE C4");
}

TEST_F(NarrowTextTest, AsciiIsItselfInEveryCodePage) {
  for (unsigned int page : {1250u, 1251u, 932u, 936u, 65001u, 54321u}) {
    setNarrowCodePage(page);
    expectStored(L"a\\~|z", "61 5C 7E 7C 7A");
  }
}

TEST_F(NarrowTextTest, AnUnknownCodePageLeavesUtf8) {
  setNarrowCodePage(54321);
  expectStored(L"\u00E9", "C3 A9");
}

TEST_F(NarrowTextTest, TheLocalePlaysNoPart) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* locale : {"C", "C.UTF-8", "POSIX", ""}) {
    std::setlocale(LC_ALL, locale);
    expectStored(L"\u00E9\u20AC", "E9 80");
    expectStored(L"\u4E2D", "E4 B8 AD");
  }
  std::setlocale(LC_ALL, before.c_str());
}

}  // namespace
