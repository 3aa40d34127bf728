// Texts of many lengths, loaded with the system's own call.
#include <gtest/gtest.h>

#include <string>

#include "KxString.h"
#include "LongTexts.h"
#include "WinApi.h"

namespace kx_seam {
namespace {

using kx_gen::_String;

constexpr unsigned int kFirstId = 1000;

/// The text of this length.
std::wstring letters(size_t length) {
  std::wstring text(length, L'a');
  for (size_t i = 0; i < length; ++i) text[i] = static_cast<wchar_t>(L'a' + i % 10);
  return text;
}

class ResourceTextsTest : public testing::Test {
 protected:
  ResourceTextsTest() : before_(kx_GetModule()) { kx_SetModule(moduleWithLongTexts()); }
  ~ResourceTextsTest() override { kx_SetModule(before_); }

 private:
  HINSTANCE before_;
};

TEST_F(ResourceTextsTest, ATextOf600CharactersFillsABufferOf512) {
  wchar_t buffer[512] = {};
  EXPECT_EQ(511, LoadStringW(kx_GetModule(), kFirstId + 600, buffer, 512));
  EXPECT_EQ(letters(511), buffer);
}

TEST_F(ResourceTextsTest, TextsOfAnyLengthAreLoadedWhole) {
  for (const unsigned int length : {1u, 2u, 509u, 510u, 511u, 512u, 513u, 600u, 766u, 768u, 1022u,
                                    1023u, 1024u, 1025u, 3000u}) {
    _String text(L"before");
    EXPECT_TRUE(text.LoadStringW(kFirstId + length)) << length;
    EXPECT_EQ(std::wstring(text), letters(length)) << length;
  }
}

TEST_F(ResourceTextsTest, AnAbsentTextChangesNothing) {
  _String text(L"before");
  EXPECT_FALSE(text.LoadStringW(kFirstId));
  EXPECT_EQ(std::wstring(text), L"before");
}

TEST_F(ResourceTextsTest, IdsHave16Bits) {
  _String text(L"before");
  EXPECT_FALSE(text.LoadStringW(0x10008));
  EXPECT_EQ(std::wstring(text), L"before");
  EXPECT_TRUE(text.LoadStringW(8));
  EXPECT_EQ(std::wstring(text), L"File IO read error");
  EXPECT_TRUE(text.LoadStringW(0xFFFF));
  EXPECT_EQ(std::wstring(text), L"last");
}

}  // namespace
}  // namespace kx_seam
