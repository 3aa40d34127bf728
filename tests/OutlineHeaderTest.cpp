// The two headers of an outline: fields, defaults, what an older file gains.

#include <gmock/gmock.h>

#include <functional>
#include <type_traits>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "TaggedDataHeader.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CPrivateOutlineHeader;
using kx_gen::CSharedHeader;
using kx_test::Bytes;
using kx_test::join;
using kx_test::stringTag;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;

constexpr unsigned long kCategoryName = 0x00010001;
constexpr unsigned long kMatchName = 0x00010002;
constexpr unsigned long kFontName = 0x00010001;
constexpr unsigned long kTitle = 0x00010002;

class OutlineHeaderTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    CCategoryDB::setUnfiledCategoryName(L"Unfiled");
  }
  void TearDown() override {
    CCategoryDB::setUnfiledCategoryName(L"");
    kx_test::KxTest::TearDown();
  }
  static Bytes stored(kx_gen::CTaggedDataHeader& header, unsigned long id) {
    return kx_test::valueOf(header.getTaggedDataManager(), id);
  }
  static void setBlock(kx_gen::CTaggedDataHeader& header, const Bytes& block) {
    header.FreeData();
    const char* bytes = reinterpret_cast<const char*>(block.data());
    ASSERT_EQ(header.getTaggedDataManager().insert(0, bytes, block.size()), 0);
  }
  template <class Header>
  static std::wstring text(Header& header, void (Header::*get)(_String&)) {
    _String value;
    (header.*get)(value);
    return value;
  }
};

// --- Shared header ---

TEST_F(OutlineHeaderTest, TheVirtualTablesHaveCreateNewFields) {
  EXPECT_EQ(kx_test::virtualSlot(&CSharedHeader::CreateNewFields), 2);
  EXPECT_EQ(kx_test::virtualSlot(&CPrivateOutlineHeader::CreateNewFields), 2);
  EXPECT_EQ(sizeof(CSharedHeader), sizeof(kx_gen::CTaggedDataHeader));
  EXPECT_EQ(sizeof(CPrivateOutlineHeader), sizeof(kx_gen::CTaggedDataHeader));
}

TEST_F(OutlineHeaderTest, ANewSharedHeaderHoldsItsDefaults) {
  CSharedHeader header;
  EXPECT_EQ(kx_test::blockOf(header),
            join({tag(3, {1}), tag(4, {0}), tag(5, {0}), tag(8, kx_test::zeros(10)), tag(9, {0, 0}),
                  stringTag(1, kx_test::narrow("Unfiled")), stringTag(2, {0})}));
}

TEST_F(OutlineHeaderTest, ANewSharedHeaderReadsItsDefaults) {
  CSharedHeader header;
  EXPECT_EQ(text(header, &CSharedHeader::GetCategoryName), L"Unfiled");
  EXPECT_EQ(text(header, &CSharedHeader::GetPalmMatchName), L"");
  EXPECT_TRUE(header.GetOutlineChanged());
  EXPECT_FALSE(header.GetSynchronized());
  EXPECT_FALSE(header.GetPrivate());
  unsigned char numbering[10];
  std::fill(std::begin(numbering), std::end(numbering), static_cast<unsigned char>(0xEE));
  header.getNumbering(numbering);
  for (unsigned char byte : numbering) EXPECT_EQ(byte, 0);
  EXPECT_EQ(header.getNumberingDivider(), 0);
}

TEST_F(OutlineHeaderTest, TheCategoryOfANewHeaderIsTheUnfiledNameOfTheMoment) {
  CCategoryDB::setUnfiledCategoryName(L"Sans cat\u00E9gorie");
  CSharedHeader header;
  EXPECT_EQ(text(header, &CSharedHeader::GetCategoryName), L"Sans cat\u00E9gorie");
}

TEST_F(OutlineHeaderTest, SharedFieldsAreStoredUnderTheirTags) {
  CSharedHeader header;
  header.SetCategoryName(L"Work");
  header.SetPalmMatchName(L"match");
  header.SetOutlineChanged(false);
  header.SetSynchronized(true);
  header.SetPrivate(true);
  unsigned char numbering[10] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 255};
  header.setNumbering(numbering);
  header.setNumberingDivider(0xABCD);
  EXPECT_EQ(stored(header, kCategoryName), kx_test::narrow("Work"));
  EXPECT_EQ(stored(header, kMatchName), kx_test::narrow("match"));
  EXPECT_EQ(stored(header, 3), Bytes{0});
  EXPECT_EQ(stored(header, 4), Bytes{1});
  EXPECT_EQ(stored(header, 5), Bytes{1});
  EXPECT_EQ(stored(header, 8), Bytes(numbering, numbering + 10));
  EXPECT_EQ(stored(header, 9), (Bytes{0xCD, 0xAB}));

  EXPECT_EQ(text(header, &CSharedHeader::GetCategoryName), L"Work");
  EXPECT_EQ(text(header, &CSharedHeader::GetPalmMatchName), L"match");
  EXPECT_FALSE(header.GetOutlineChanged());
  EXPECT_TRUE(header.GetSynchronized());
  EXPECT_TRUE(header.GetPrivate());
  unsigned char back[10] = {};
  header.getNumbering(back);
  EXPECT_EQ(Bytes(back, back + 10), Bytes(numbering, numbering + 10));
  EXPECT_EQ(header.getNumberingDivider(), 0xABCD);
}

TEST_F(OutlineHeaderTest, AnyStoredByteButZeroIsTrue) {
  CSharedHeader header;
  setBlock(header, join({tag(3, {2}), tag(4, {0x80}), tag(5, {0xFF})}));
  EXPECT_TRUE(header.GetOutlineChanged());
  EXPECT_TRUE(header.GetSynchronized());
  EXPECT_TRUE(header.GetPrivate());
}

TEST_F(OutlineHeaderTest, GivingACategoryChangesTheOutline) {
  CSharedHeader header;
  header.SetOutlineChanged(false);
  header.SetCategoryName(L"Work");
  EXPECT_TRUE(header.GetOutlineChanged());
  EXPECT_EQ(stored(header, 3), Bytes{1});
}

TEST_F(OutlineHeaderTest, NoOtherSharedSetterChangesTheOutline) {
  CSharedHeader header;
  header.SetOutlineChanged(false);
  unsigned char numbering[10] = {1};
  header.SetPalmMatchName(L"x");
  header.SetSynchronized(true);
  header.SetPrivate(true);
  header.setNumbering(numbering);
  header.setNumberingDivider(3);
  EXPECT_FALSE(header.GetOutlineChanged());
}

struct ChangedFlagCase {
  const char* name;
  unsigned long tag;
  bool (CSharedHeader::*get)();
  void (CSharedHeader::*set)(bool);
};
void PrintTo(const ChangedFlagCase& flag, std::ostream* out) { *out << flag.name; }

class SharedChangedFlagTest : public OutlineHeaderTest,
                              public ::testing::WithParamInterface<ChangedFlagCase> {};

TEST_P(SharedChangedFlagTest, IsTheChangedFlagOfItsTag) {
  const ChangedFlagCase& flag = GetParam();
  CSharedHeader header;
  EXPECT_TRUE((header.*flag.get)()) << "just written";
  (header.*flag.set)(false);
  EXPECT_FALSE((header.*flag.get)());
  for (unsigned long id : {3ul, 4ul, 5ul, 8ul, 9ul, kCategoryName, kMatchName}) {
    EXPECT_EQ(kx_test::changedFlag(header.getTaggedDataManager(), id), id != flag.tag) << id;
  }
  (header.*flag.set)(true);
  EXPECT_TRUE((header.*flag.get)());
}
INSTANTIATE_TEST_SUITE_P(
    Flags, SharedChangedFlagTest,
    ::testing::Values(ChangedFlagCase{"Category", kCategoryName, &CSharedHeader::GetCategoryChanged,
                                      &CSharedHeader::SetCategoryChanged},
                      ChangedFlagCase{"Private", 5, &CSharedHeader::GetPrivateTagChanged,
                                      &CSharedHeader::SetPrivateTagChanged},
                      ChangedFlagCase{"Numbering", 8, &CSharedHeader::getNumberingChanged,
                                      &CSharedHeader::setNumberingChanged},
                      ChangedFlagCase{"NumberingDivider", 9,
                                      &CSharedHeader::getNumberingDividerChanged,
                                      &CSharedHeader::setNumberingDividerChanged}),
    [](const ::testing::TestParamInfo<ChangedFlagCase>& info) {
      return std::string(info.param.name);
    });

TEST_F(OutlineHeaderTest, AnEmptySharedHeaderGainsFourFieldsOnly) {
  CSharedHeader header;
  header.FreeData();
  header.CreateNewFields();
  EXPECT_EQ(kx_test::blockOf(header),
            join({tag(5, {0}), tag(8, kx_test::zeros(10)), tag(9, {0, 0}), stringTag(2, {0})}));
}

TEST_F(OutlineHeaderTest, AnOlderSharedHeaderGainsNumberingAndKeepsTheRest) {
  const Bytes category = stringTag(1, kx_test::narrow("Work"), 0);
  const Bytes match = stringTag(2, kx_test::narrow("m"), 0);
  CSharedHeader header;
  setBlock(header, join({tag(3, {0}, 0), tag(4, {1}, 0), tag(5, {1}, 0), category, match}));
  header.CreateNewFields();
  EXPECT_EQ(kx_test::blockOf(header),
            join({tag(3, {0}, 0), tag(4, {1}, 0), tag(5, {1}, 0), tag(8, kx_test::zeros(10)),
                  tag(9, {0, 0}), category, match}));
}

TEST_F(OutlineHeaderTest, PresentSharedFieldsAreLeftAlone) {
  CSharedHeader header;
  const Bytes block = join({tag(5, {1}, 0, 3), tag(8, Bytes(10, 7), 0), tag(9, {1, 2}, 0),
                            stringTag(2, kx_test::narrow("m"), 0)});
  setBlock(header, block);
  header.CreateNewFields();
  EXPECT_EQ(kx_test::blockOf(header), block);
}

// --- Private header ---

Bytes privateDefaults() {
  return join({tag(1, {1}), tag(2, {0, 0, 0, 0}), tag(3, {0, 0, 0, 0}), tag(4, kx_test::zeros(40)),
               tag(5, kx_test::zeros(28)), tag(6, {0, 0, 0, 0}), tag(7, {10}), stringTag(1, {0}),
               stringTag(2, kx_test::narrow("Untitled"))});
}

TEST_F(OutlineHeaderTest, ANewPrivateHeaderHoldsItsDefaults) {
  CPrivateOutlineHeader header;
  EXPECT_EQ(kx_test::blockOf(header), privateDefaults());
}

TEST_F(OutlineHeaderTest, ANewPrivateHeaderReadsItsDefaults) {
  CPrivateOutlineHeader header;
  EXPECT_EQ(text(header, &CPrivateOutlineHeader::GetOutlineTitle), L"Untitled");
  EXPECT_EQ(text(header, &CPrivateOutlineHeader::GetFontName), L"");
  EXPECT_EQ(header.GetShowCheckedItems(), 1);
  EXPECT_TRUE(header.ShowCheckedItemsChanged());
  EXPECT_EQ(header.GetShowHeadingsMode(), 10);
  EXPECT_EQ(header.GetSelectedIndex(), 0u);
  EXPECT_EQ(header.GetTopIndex(), 0u);
  EXPECT_EQ(header.GetFontColor(), 0u);
}

TEST_F(OutlineHeaderTest, PrivateFieldsAreStoredUnderTheirTags) {
  CPrivateOutlineHeader header;
  header.SetShowCheckedItems(200);
  header.SetSelectedIndex(0xFFFFFFFE);
  header.SetTopIndex(0x01020304);
  header.SetFontColor(0x00ABCDEF);
  header.SetShowHeadingsMode(255);
  header.SetFontName(L"Tahoma");
  header.SetOutlineTitle(L"Title");
  EXPECT_EQ(stored(header, 1), Bytes{200});
  EXPECT_EQ(stored(header, 2), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(stored(header, 3), (Bytes{4, 3, 2, 1}));
  EXPECT_EQ(stored(header, 6), (Bytes{0xEF, 0xCD, 0xAB, 0}));
  EXPECT_EQ(stored(header, 7), Bytes{255});
  EXPECT_EQ(stored(header, kFontName), kx_test::narrow("Tahoma"));
  EXPECT_EQ(stored(header, kTitle), kx_test::narrow("Title"));

  EXPECT_EQ(header.GetShowCheckedItems(), 200);
  EXPECT_EQ(header.GetSelectedIndex(), 0xFFFFFFFEul);
  EXPECT_EQ(header.GetTopIndex(), 0x01020304ul);
  EXPECT_EQ(header.GetFontColor(), 0x00ABCDEFul);
  EXPECT_EQ(header.GetShowHeadingsMode(), 255);
  EXPECT_EQ(text(header, &CPrivateOutlineHeader::GetFontName), L"Tahoma");
  EXPECT_EQ(text(header, &CPrivateOutlineHeader::GetOutlineTitle), L"Title");
}

TEST_F(OutlineHeaderTest, TheWindowPositionIsTenLittleEndianNumbers) {
  CPrivateOutlineHeader header;
  kx_gen::TStoredWindowPos pos = {1, 2, -3, 4, -5, 6, 7, 8, 9, -10};
  header.SetStoredWndPos(&pos);
  EXPECT_EQ(stored(header, 4), kx_test::fromHex("01000000 02000000 FDFFFFFF 04000000 FBFFFFFF"
                                                "06000000 07000000 08000000 09000000 F6FFFFFF"));
  kx_gen::TStoredWindowPos back = {};
  header.GetStoredWndPos(&back);
  EXPECT_EQ(back.flags, 1u);
  EXPECT_EQ(back.showCmd, 2u);
  EXPECT_EQ(back.minPositionX, -3);
  EXPECT_EQ(back.minPositionY, 4);
  EXPECT_EQ(back.maxPositionX, -5);
  EXPECT_EQ(back.maxPositionY, 6);
  EXPECT_EQ(back.normalLeft, 7);
  EXPECT_EQ(back.normalTop, 8);
  EXPECT_EQ(back.normalRight, 9);
  EXPECT_EQ(back.normalBottom, -10);
}

TEST_F(OutlineHeaderTest, TheFontIsFiveLittleEndianNumbersAndEightBytes) {
  CPrivateOutlineHeader header;
  kx_gen::TStoredFontInfo font = {-12, 2, 3, -4, 700, 11, 12, 13, 14, 15, 16, 17, 18};
  header.SetStoredFontInfo(&font);
  EXPECT_EQ(stored(header, 5), kx_test::fromHex("F4FFFFFF 02000000 03000000 FCFFFFFF BC020000"
                                                "0B 0C 0D 0E 0F 10 11 12"));
  kx_gen::TStoredFontInfo back = {};
  header.GetStoredFontInfo(&back);
  EXPECT_EQ(back.height, -12);
  EXPECT_EQ(back.width, 2);
  EXPECT_EQ(back.escapement, 3);
  EXPECT_EQ(back.orientation, -4);
  EXPECT_EQ(back.weight, 700);
  EXPECT_EQ(back.italic, 11);
  EXPECT_EQ(back.underline, 12);
  EXPECT_EQ(back.strikeOut, 13);
  EXPECT_EQ(back.charSet, 14);
  EXPECT_EQ(back.outPrecision, 15);
  EXPECT_EQ(back.clipPrecision, 16);
  EXPECT_EQ(back.quality, 17);
  EXPECT_EQ(back.pitchAndFamily, 18);
}

TEST_F(OutlineHeaderTest, TheChangedFlagOfTagOneIsShowCheckedItemsChanged) {
  CPrivateOutlineHeader header;
  header.setCheckedItemsChanged(false);
  EXPECT_FALSE(header.ShowCheckedItemsChanged());
  EXPECT_FALSE(kx_test::changedFlag(header.getTaggedDataManager(), 1));
  EXPECT_TRUE(kx_test::changedFlag(header.getTaggedDataManager(), 2));
  header.SetShowCheckedItems(1);
  EXPECT_FALSE(header.ShowCheckedItemsChanged()) << "the same value";
  header.SetShowCheckedItems(2);
  EXPECT_TRUE(header.ShowCheckedItemsChanged());
}

TEST_F(OutlineHeaderTest, AnEmptyPrivateHeaderGainsTheHeadingsModeOnly) {
  CPrivateOutlineHeader header;
  header.FreeData();
  header.CreateNewFields();
  EXPECT_EQ(kx_test::blockOf(header), tag(7, {10}));
  header.SetShowHeadingsMode(3);
  header.CreateNewFields();
  EXPECT_EQ(header.GetShowHeadingsMode(), 3);
}

// --- Copies, failures ---

TEST_F(OutlineHeaderTest, CopiesShareAndAssignmentsDoNot) {
  CSharedHeader header;
  CSharedHeader sharing(header);
  EXPECT_EQ(sharing.GetHeaderDataPtr(), header.GetHeaderDataPtr());
  CSharedHeader assigned;
  assigned = header;
  EXPECT_EQ(kx_test::blockOf(assigned), kx_test::blockOf(header));
  assigned.SetCategoryName(L"other");
  EXPECT_EQ(text(header, &CSharedHeader::GetCategoryName), L"Unfiled");

  CPrivateOutlineHeader privateHeader;
  CPrivateOutlineHeader privateCopy;
  privateHeader.SetOutlineTitle(L"copied");
  privateCopy = privateHeader;
  EXPECT_EQ(kx_test::blockOf(privateCopy), kx_test::blockOf(privateHeader));
}

template <class Header>
void expectAbsent(const std::vector<std::function<void(Header&)>>& accesses) {
  for (size_t i = 0; i < accesses.size(); ++i) {
    Header header;
    header.FreeData();
    const Thrown thrown = thrownBy([&] { accesses[i](header); });
    EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"TaggedDataHeader")) << i << ": " << thrown;
  }
}

TEST_F(OutlineHeaderTest, AnAbsentSharedFieldThrowsMessage16) {
  _String name;
  unsigned char numbering[10];
  expectAbsent<CSharedHeader>({
      [&](CSharedHeader& h) { h.GetCategoryName(name); },
      [&](CSharedHeader& h) { h.GetPalmMatchName(name); },
      [](CSharedHeader& h) { h.GetCategoryChanged(); },
      [](CSharedHeader& h) { h.SetCategoryChanged(true); },
      [](CSharedHeader& h) { h.GetOutlineChanged(); },
      [](CSharedHeader& h) { h.GetSynchronized(); },
      [](CSharedHeader& h) { h.GetPrivate(); },
      [](CSharedHeader& h) { h.GetPrivateTagChanged(); },
      [](CSharedHeader& h) { h.SetPrivateTagChanged(false); },
      [&](CSharedHeader& h) { h.getNumbering(numbering); },
      [](CSharedHeader& h) { h.getNumberingChanged(); },
      [](CSharedHeader& h) { h.setNumberingChanged(true); },
      [](CSharedHeader& h) { h.getNumberingDivider(); },
      [](CSharedHeader& h) { h.getNumberingDividerChanged(); },
      [](CSharedHeader& h) { h.setNumberingDividerChanged(true); },
  });
}

TEST_F(OutlineHeaderTest, AnAbsentPrivateFieldThrowsMessage16) {
  _String name;
  kx_gen::TStoredWindowPos pos;
  kx_gen::TStoredFontInfo font;
  expectAbsent<CPrivateOutlineHeader>({
      [](CPrivateOutlineHeader& h) { h.GetShowCheckedItems(); },
      [](CPrivateOutlineHeader& h) { h.ShowCheckedItemsChanged(); },
      [](CPrivateOutlineHeader& h) { h.setCheckedItemsChanged(true); },
      [](CPrivateOutlineHeader& h) { h.GetSelectedIndex(); },
      [](CPrivateOutlineHeader& h) { h.GetTopIndex(); },
      [&](CPrivateOutlineHeader& h) { h.GetStoredWndPos(&pos); },
      [&](CPrivateOutlineHeader& h) { h.GetStoredFontInfo(&font); },
      [](CPrivateOutlineHeader& h) { h.GetFontColor(); },
      [](CPrivateOutlineHeader& h) { h.GetShowHeadingsMode(); },
      [&](CPrivateOutlineHeader& h) { h.GetFontName(name); },
      [&](CPrivateOutlineHeader& h) { h.GetOutlineTitle(name); },
  });
}

TEST_F(OutlineHeaderTest, SettersOnACorruptBlockThrowMessage15) {
  const auto expectCorrupt = [](const Thrown& thrown) {
    EXPECT_TRUE(kx_test::isTagError(thrown, 15, L"TaggedDataHeader")) << thrown;
  };
  unsigned char numbering[10] = {};
  CSharedHeader shared;
  setBlock(shared, Bytes(40, 0xEE));
  expectCorrupt(thrownBy([&] { shared.SetCategoryName(L"x"); }));
  expectCorrupt(thrownBy([&] { shared.SetPalmMatchName(L"x"); }));
  expectCorrupt(thrownBy([&] { shared.SetOutlineChanged(true); }));
  expectCorrupt(thrownBy([&] { shared.SetSynchronized(true); }));
  expectCorrupt(thrownBy([&] { shared.SetPrivate(true); }));
  expectCorrupt(thrownBy([&] { shared.setNumbering(numbering); }));
  expectCorrupt(thrownBy([&] { shared.setNumberingDivider(1); }));
  expectCorrupt(thrownBy([&] { shared.CreateNewFields(); }));
  CPrivateOutlineHeader own;
  kx_gen::TStoredWindowPos pos = {};
  kx_gen::TStoredFontInfo font = {};
  setBlock(own, Bytes(40, 0xEE));
  expectCorrupt(thrownBy([&] { own.SetShowCheckedItems(1); }));
  expectCorrupt(thrownBy([&] { own.SetSelectedIndex(1); }));
  expectCorrupt(thrownBy([&] { own.SetTopIndex(1); }));
  expectCorrupt(thrownBy([&] { own.SetStoredWndPos(&pos); }));
  expectCorrupt(thrownBy([&] { own.SetStoredFontInfo(&font); }));
  expectCorrupt(thrownBy([&] { own.SetFontColor(1); }));
  expectCorrupt(thrownBy([&] { own.SetShowHeadingsMode(1); }));
  expectCorrupt(thrownBy([&] { own.SetFontName(L"x"); }));
  expectCorrupt(thrownBy([&] { own.SetOutlineTitle(L"x"); }));
  expectCorrupt(thrownBy([&] { own.CreateNewFields(); }));
}

TEST_F(OutlineHeaderTest, AShorterStoredFieldReadsZeroPaddedALongerOneThrowsMessage17) {
  CPrivateOutlineHeader header;
  setBlock(header, join({tag(2, {1, 2}), tag(4, {9}), tag(6, Bytes(5, 1))}));
  EXPECT_EQ(header.GetSelectedIndex(), 0x0201u);
  kx_gen::TStoredWindowPos pos = {5, 5, 5, 5, 5, 5, 5, 5, 5, 5};
  header.GetStoredWndPos(&pos);
  EXPECT_EQ(pos.flags, 9u);
  EXPECT_EQ(pos.normalBottom, 0);
  EXPECT_TRUE(
      kx_test::isTagError(thrownBy([&] { header.GetFontColor(); }), 17, L"TaggedDataHeader"));
}

}  // namespace
