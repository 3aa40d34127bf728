// Resource texts of any length, from a module of the test's own.
#include <gtest/gtest.h>

#include <iterator>

#include "KxString.h"
#include "KxTest.h"
#include "Module.h"

namespace {

using kx_gen::_String;

class ResourceTableTest : public testing::Test {
 protected:
  ResourceTableTest() : before_(kx_GetModule()) {}
  ~ResourceTableTest() override { kx_SetModule(before_); }

  // Makes the texts the module's, with the ids 1, 2, ...
  void setTexts(const std::vector<std::wstring>& texts) {
    entries_.clear();
    for (const std::wstring& text : texts) {
      entries_.push_back({static_cast<unsigned int>(entries_.size() + 1), text.c_str()});
    }
    resources_ = {entries_.data(), entries_.size()};
    kx_SetModule(&resources_);
  }

 private:
  HINSTANCE before_;
  std::vector<kx_StringResource> entries_;
  kx_StringResources resources_ = {nullptr, 0};
};

std::wstring textOf(size_t length) {
  std::wstring text(length, L'x');
  for (size_t i = 0; i < length; ++i) text[i] = static_cast<wchar_t>(L'a' + i % 26);
  return text;
}

TEST_F(ResourceTableTest, TextsOfAnyLengthAreLoadedWhole) {
  std::vector<std::wstring> texts;
  for (const size_t length : {1,   2,   509, 510,  511,  512,  513,  600,  765,  766,
                              767, 768, 769, 1021, 1022, 1023, 1024, 1025, 5000, 65535}) {
    texts.push_back(textOf(length));
  }
  setTexts(texts);
  for (unsigned int id = 1; id <= texts.size(); ++id) {
    _String text(L"before");
    EXPECT_TRUE(text.LoadStringW(id)) << texts[id - 1].size();
    EXPECT_TRUE(std::wstring(text) == texts[id - 1]) << texts[id - 1].size();
  }
}

TEST_F(ResourceTableTest, AnEmptyTextCountsAsMissing) {
  const std::vector<std::wstring> texts = {L""};
  setTexts(texts);
  _String text(L"before");
  EXPECT_FALSE(text.LoadStringW(1));
  EXPECT_EQ(std::wstring(text), L"before");
}

TEST_F(ResourceTableTest, IdsHave16Bits) {
  const kx_StringResource entries[] = {{8, L"eight"}, {0xFFFF, L"last"}, {0x10008, L"beyond"}};
  kx_StringResources resources = {entries, std::size(entries)};
  kx_SetModule(&resources);
  _String text(L"before");
  EXPECT_FALSE(text.LoadStringW(0x10008));
  EXPECT_EQ(std::wstring(text), L"before");
  EXPECT_TRUE(text.LoadStringW(0xFFFF));
  EXPECT_EQ(std::wstring(text), L"last");
}

}  // namespace
