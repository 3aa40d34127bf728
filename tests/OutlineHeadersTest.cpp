// The shared and the private header of outlines: fields, defaults, changed flags.

#include <memory>

#include "StorageSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CPrivateOutlineHeader;
using kx_gen::CSharedHeader;
using kx_gen::CTaggedDataHeader;
using kx_gen::TStoredFontInfo;
using kx_gen::TStoredWindowPos;
using kx_test::asserted;
using kx_test::blockOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::changedFlag;
using kx_test::DiskFile;
using kx_test::isTagError;
using kx_test::join;
using kx_test::narrow;
using kx_test::slot;
using kx_test::stringTag;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::toHex;
using kx_test::valueOf;
using kx_test::zeros;

/// The header's own block replaced by `block`.
void setBlock(CTaggedDataHeader& header, const Bytes& block) {
  header.FreeData();
  ASSERT_EQ(0, header.getTaggedDataManager().insert(0, reinterpret_cast<const char*>(block.data()),
                                                    static_cast<unsigned long>(block.size())));
}

/// True for what a field's access throws: this message, and one of the headers' sources as its
/// place.
bool isFieldError(const Thrown& thrown, unsigned long messageId) {
  return isTagError(thrown, messageId, L"TaggedDataHeader") ||
         isTagError(thrown, messageId, L"OutlineDB") ||
         isTagError(thrown, messageId, L".\\OutlineDB");
}
bool isCorruptBlock(const Thrown& thrown) { return isFieldError(thrown, 15); }
bool isAbsentField(const Thrown& thrown) { return isFieldError(thrown, 16); }
bool isTooLongField(const Thrown& thrown) { return isFieldError(thrown, 17); }

/// The unfiled category has its name before the first header is made.
class OutlineHeadersTest : public kx_test::KxTest {
 protected:
  OutlineHeadersTest() : unfiledBefore_(CCategoryDB::getUnfiledCategoryName()) {
    CCategoryDB::setUnfiledCategoryName(L"Unfiled");
  }
  ~OutlineHeadersTest() override { CCategoryDB::setUnfiledCategoryName(unfiledBefore_.c_str()); }

 private:
  std::wstring unfiledBefore_;
};

class SharedHeaderTest : public OutlineHeadersTest {
 protected:
  Bytes value(unsigned long id) { return valueOf(header_.getTaggedDataManager(), id); }
  bool changed(unsigned long id) { return changedFlag(header_.getTaggedDataManager(), id); }
  void clean(unsigned long id) { header_.getTaggedDataManager().setTagChanged(id, false); }

  CSharedHeader header_;
};

class PrivateHeaderTest : public OutlineHeadersTest {
 protected:
  Bytes value(unsigned long id) { return valueOf(header_.getTaggedDataManager(), id); }
  CPrivateOutlineHeader header_;
};

// --- The shared header ---

TEST_F(OutlineHeadersTest, ANewSharedHeaderHoldsEveryField) {
  CSharedHeader header;
  EXPECT_EQ(toHex(join({tag(3, {1}), tag(4, {0}), tag(5, {0}), tag(8, zeros(10)), tag(9, {0, 0}),
                        stringTag(1, narrow("Unfiled")), stringTag(2, narrow(""))})),
            toHex(blockOf(header)));
  _String text;
  header.GetCategoryName(text);
  EXPECT_EQ(L"Unfiled", std::wstring(text));
  EXPECT_TRUE(header.GetOutlineChanged());
  EXPECT_FALSE(header.GetSynchronized());
  EXPECT_FALSE(header.GetPrivate());
  header.GetPalmMatchName(text);
  EXPECT_TRUE(text.empty());
  unsigned char numbering[10];
  std::fill(std::begin(numbering), std::end(numbering), 7);
  header.getNumbering(numbering);
  EXPECT_EQ(toHex(zeros(10)), toHex(bytesOf(numbering, 10)));
  EXPECT_EQ(0, header.getNumberingDivider());
  EXPECT_TRUE(kx_test::nothingLogged());
}

TEST_F(OutlineHeadersTest, ANewSharedHeaderIsInTheUnfiledCategory) {
  CCategoryDB::setUnfiledCategoryName(L"Ohne");
  CSharedHeader header;
  _String name;
  header.GetCategoryName(name);
  EXPECT_EQ(L"Ohne", std::wstring(name));
}

TEST_F(SharedHeaderTest, CategoryNameIsStringOne) {
  clean(0x10001);
  EXPECT_FALSE(header_.GetCategoryChanged());
  header_.SetCategoryName(L"Work");
  EXPECT_EQ(toHex(narrow("Work")), toHex(value(0x10001)));
  _String name = L"before";
  header_.GetCategoryName(name);
  EXPECT_EQ(L"Work", std::wstring(name));
  EXPECT_TRUE(header_.GetCategoryChanged());
  header_.SetCategoryChanged(false);
  EXPECT_FALSE(header_.GetCategoryChanged());
  EXPECT_FALSE(changed(0x10001));
  header_.SetCategoryChanged(true);
  EXPECT_TRUE(changed(0x10001));
}

TEST_F(SharedHeaderTest, GivingACategoryChangesTheOutline) {
  header_.SetOutlineChanged(false);
  header_.SetCategoryName(L"Work");
  EXPECT_TRUE(header_.GetOutlineChanged());
  EXPECT_EQ(toHex({1}), toHex(value(3)));
}

TEST_F(SharedHeaderTest, MatchNameIsStringTwo) {
  header_.SetOutlineChanged(false);
  header_.SetPalmMatchName(L"Match");
  EXPECT_EQ(toHex(narrow("Match")), toHex(value(0x10002)));
  _String name;
  header_.GetPalmMatchName(name);
  EXPECT_EQ(L"Match", std::wstring(name));
  EXPECT_FALSE(header_.GetOutlineChanged()) << "only the category does that";
}

TEST_F(SharedHeaderTest, ANullNameIsAnEmptyName) {
  header_.SetCategoryName(nullptr);
  header_.SetPalmMatchName(nullptr);
  EXPECT_EQ(toHex({0}), toHex(value(0x10001)));
  EXPECT_EQ(toHex({0}), toHex(value(0x10002)));
}

TEST_F(SharedHeaderTest, TheTruthFieldsAreOneByteEach) {
  struct Field {
    unsigned long tag;
    bool (CSharedHeader::*get)();
    void (CSharedHeader::*set)(bool);
  };
  const Field fields[] = {{3, &CSharedHeader::GetOutlineChanged, &CSharedHeader::SetOutlineChanged},
                          {4, &CSharedHeader::GetSynchronized, &CSharedHeader::SetSynchronized},
                          {5, &CSharedHeader::GetPrivate, &CSharedHeader::SetPrivate}};
  for (const Field& field : fields) {
    for (bool on : {true, false}) {
      (header_.*field.set)(on);
      EXPECT_EQ(on, (header_.*field.get)()) << field.tag;
      EXPECT_EQ(toHex({static_cast<unsigned char>(on)}), toHex(value(field.tag)));
    }
    const unsigned char other = 0x40;
    header_.getTaggedDataManager().setData(field.tag, &other, 1, nullptr, 0);
    EXPECT_TRUE((header_.*field.get)()) << "any byte but 0 is true";
  }
}

TEST_F(SharedHeaderTest, NumberingIsTenBytes) {
  unsigned char numbering[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 255};
  header_.setNumbering(numbering);
  EXPECT_EQ(toHex(bytesOf(numbering, 10)), toHex(value(8)));
  unsigned char back[11] = {};
  back[10] = 0x77;
  header_.getNumbering(back);
  EXPECT_EQ(toHex(bytesOf(numbering, 10)), toHex(bytesOf(back, 10)));
  EXPECT_EQ(0x77, back[10]);
}

TEST_F(SharedHeaderTest, NumberingThroughNullChangesNothing) {
  const Bytes before = blockOf(header_);
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { header_.setNumbering(nullptr); }).kind);
  EXPECT_TRUE(asserted("Tagged"));
  thrownBy([&] { header_.getNumbering(nullptr); });
  EXPECT_EQ(toHex(before), toHex(blockOf(header_)));
}

TEST_F(SharedHeaderTest, TheDividerIsTwoBytes) {
  header_.setNumberingDivider(0xFEDC);
  EXPECT_EQ(0xFEDC, header_.getNumberingDivider());
  EXPECT_EQ(toHex({0xDC, 0xFE}), toHex(value(9)));
}

TEST_F(SharedHeaderTest, TheChangedFlagsAreThoseOfTheirTags) {
  struct Field {
    unsigned long tag;
    bool (CSharedHeader::*get)();
    void (CSharedHeader::*set)(bool);
  };
  const Field fields[] = {
      {0x10001, &CSharedHeader::GetCategoryChanged, &CSharedHeader::SetCategoryChanged},
      {5, &CSharedHeader::GetPrivateTagChanged, &CSharedHeader::SetPrivateTagChanged},
      {8, &CSharedHeader::getNumberingChanged, &CSharedHeader::setNumberingChanged},
      {9, &CSharedHeader::getNumberingDividerChanged, &CSharedHeader::setNumberingDividerChanged}};
  for (const Field& field : fields) {
    const Bytes before = value(field.tag);
    for (bool on : {false, true, false}) {
      (header_.*field.set)(on);
      EXPECT_EQ(on, (header_.*field.get)()) << field.tag;
      EXPECT_EQ(on, changed(field.tag)) << field.tag;
    }
    EXPECT_EQ(toHex(before), toHex(value(field.tag)));
  }
}

TEST_F(SharedHeaderTest, SettingAFieldMarksIt) {
  for (unsigned long id : {5ul, 8ul, 9ul}) clean(id);
  unsigned char numbering[10] = {1};
  header_.SetPrivate(true);
  header_.setNumbering(numbering);
  header_.setNumberingDivider(3);
  EXPECT_TRUE(header_.GetPrivateTagChanged());
  EXPECT_TRUE(header_.getNumberingChanged());
  EXPECT_TRUE(header_.getNumberingDividerChanged());
}

TEST_F(SharedHeaderTest, StoringTheSameValueAgainMarksNothing) {
  for (unsigned long id : {5ul, 8ul, 9ul, 0x10001ul}) clean(id);
  unsigned char numbering[10] = {};
  header_.SetPrivate(false);
  header_.setNumbering(numbering);
  header_.setNumberingDivider(0);
  header_.SetCategoryName(L"Unfiled");
  EXPECT_FALSE(header_.GetPrivateTagChanged());
  EXPECT_FALSE(header_.getNumberingChanged());
  EXPECT_FALSE(header_.getNumberingDividerChanged());
  EXPECT_FALSE(header_.GetCategoryChanged());
}

TEST_F(SharedHeaderTest, CreateNewFieldsAddsOnlyWhatLaterVersionsBrought) {
  header_.FreeData();
  header_.CreateNewFields();
  EXPECT_EQ(toHex(join({tag(5, {0}), tag(8, zeros(10)), tag(9, {0, 0}), stringTag(2, narrow(""))})),
            toHex(blockOf(header_)));
}

TEST_F(SharedHeaderTest, CreateNewFieldsLeavesWhatIsThere) {
  const Bytes own[] = {tag(5, {1}, 0), tag(8, Bytes(10, 3), 0), tag(9, {4, 5}, 0),
                       stringTag(2, narrow("match"), 0)};
  const Bytes added[] = {tag(5, {0}), tag(8, zeros(10)), tag(9, {0, 0}), stringTag(2, narrow(""))};
  for (unsigned present = 0; present < 16; ++present) {
    Bytes before;
    Bytes after;
    for (unsigned i = 0; i < 4; ++i) {
      const bool isPresent = (present & (1u << i)) != 0;
      if (isPresent) before = join({before, own[i]});
      after = join({after, isPresent ? own[i] : added[i]});
    }
    setBlock(header_, before);
    header_.CreateNewFields();
    EXPECT_EQ(toHex(after), toHex(blockOf(header_))) << present;
  }
}

TEST_F(SharedHeaderTest, AnOlderFilesHeaderGainsItsNewFields) {
  const Bytes old = join({tag(3, {0}, 0), tag(4, {1}, 0), tag(5, {1}, 0),
                          stringTag(1, narrow("Work"), 0), stringTag(2, narrow("m"), 0)});
  DiskFile file(path(L"slot"), slot(512, old));
  header_.Read(file.stream(), 512);
  EXPECT_EQ(toHex(old), toHex(blockOf(header_)));
  header_.CreateNewFields();
  EXPECT_EQ(
      toHex(join({tag(3, {0}, 0), tag(4, {1}, 0), tag(5, {1}, 0), tag(8, zeros(10)), tag(9, {0, 0}),
                  stringTag(1, narrow("Work"), 0), stringTag(2, narrow("m"), 0)})),
      toHex(blockOf(header_)));
}

TEST_F(SharedHeaderTest, AnAbsentFieldThrowsMessage16WithItsPlace) {
  header_.FreeData();
  _String text = L"before";
  unsigned char numbering[10];
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetCategoryName(text); })));
  EXPECT_TRUE(text.empty());
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetPalmMatchName(text); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetOutlineChanged(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetSynchronized(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetPrivate(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.getNumbering(numbering); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.getNumberingDivider(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetCategoryChanged(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.SetCategoryChanged(true); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetPrivateTagChanged(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.SetPrivateTagChanged(true); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.getNumberingChanged(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.setNumberingChanged(true); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.getNumberingDividerChanged(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.setNumberingDividerChanged(true); })));
  EXPECT_EQ(15, kx_test::throwsOf(", LINE - "));
  EXPECT_TRUE(blockOf(header_).empty());
}

TEST_F(SharedHeaderTest, ShorterFieldsReadAsIfPaddedWithZeros) {
  setBlock(header_, join({tag(3, {}), tag(8, {1, 2, 3}), tag(9, {0xFF})}));
  EXPECT_FALSE(header_.GetOutlineChanged());
  EXPECT_EQ(0xFF, header_.getNumberingDivider());
  unsigned char numbering[10];
  std::fill(std::begin(numbering), std::end(numbering), 0x77);
  header_.getNumbering(numbering);
  EXPECT_EQ(toHex({1, 2, 3, 0, 0, 0, 0, 0, 0, 0}), toHex(bytesOf(numbering, 10)));
}

TEST_F(SharedHeaderTest, LongerFieldsThrowMessage17) {
  setBlock(header_, join({tag(3, {1, 0}), tag(8, zeros(11)), tag(9, {1, 2, 3})}));
  unsigned char numbering[10];
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.GetOutlineChanged(); })));
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.getNumbering(numbering); })));
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.getNumberingDivider(); })));
}

TEST_F(SharedHeaderTest, ACorruptBlockThrowsMessage15Everywhere) {
  setBlock(header_, Bytes(40, 0xEE));
  _String text;
  unsigned char numbering[10] = {};
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.GetCategoryName(text); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.SetCategoryName(L"x"); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.SetPalmMatchName(L"x"); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.SetOutlineChanged(true); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.SetSynchronized(true); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.SetPrivate(true); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.setNumbering(numbering); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.setNumberingDivider(1); })));
  EXPECT_TRUE(isCorruptBlock(thrownBy([&] { header_.CreateNewFields(); })));
  EXPECT_EQ(toHex(Bytes(40, 0xEE)), toHex(blockOf(header_)));
}

TEST_F(SharedHeaderTest, CopiesShareAndAssignmentsCopy) {
  CSharedHeader sharer(header_);
  EXPECT_EQ(header_.GetHeaderDataPtr(), sharer.GetHeaderDataPtr());
  sharer.SetPrivate(true);
  EXPECT_TRUE(header_.GetPrivate());
  CSharedHeader assigned;
  assigned = header_;
  EXPECT_EQ(toHex(blockOf(header_)), toHex(blockOf(assigned)));
  assigned.SetPrivate(false);
  EXPECT_TRUE(header_.GetPrivate());
}

TEST_F(OutlineHeadersTest, TheHeadersOverrideCreateNewFieldsInItsSlot) {
  EXPECT_EQ(2, kx_test::virtualSlot(&CSharedHeader::CreateNewFields));
  EXPECT_EQ(2, kx_test::virtualSlot(&CPrivateOutlineHeader::CreateNewFields));
  EXPECT_EQ(sizeof(CTaggedDataHeader), sizeof(CSharedHeader));
  EXPECT_EQ(sizeof(CTaggedDataHeader), sizeof(CPrivateOutlineHeader));
}

// --- The private header ---

TEST_F(OutlineHeadersTest, ANewPrivateHeaderHoldsEveryField) {
  CPrivateOutlineHeader header;
  EXPECT_EQ(toHex(join({tag(1, {1}), tag(2, zeros(4)), tag(3, zeros(4)), tag(4, zeros(40)),
                        tag(5, zeros(28)), tag(6, zeros(4)), tag(7, {10}), stringTag(1, narrow("")),
                        stringTag(2, narrow("Untitled"))})),
            toHex(blockOf(header)));
  _String text;
  header.GetOutlineTitle(text);
  EXPECT_EQ(L"Untitled", std::wstring(text));
  header.GetFontName(text);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(1, header.GetShowCheckedItems());
  EXPECT_TRUE(header.ShowCheckedItemsChanged());
  EXPECT_EQ(10, header.GetShowHeadingsMode());
  EXPECT_EQ(0ul, header.GetSelectedIndex());
  EXPECT_EQ(0ul, header.GetTopIndex());
  EXPECT_EQ(0ul, header.GetFontColor());
  EXPECT_TRUE(kx_test::nothingLogged());
}

TEST_F(PrivateHeaderTest, TheModesAreOneByteEach) {
  header_.SetShowCheckedItems(200);
  EXPECT_EQ(200, header_.GetShowCheckedItems());
  EXPECT_EQ(toHex({200}), toHex(value(1)));
  header_.SetShowHeadingsMode(255);
  EXPECT_EQ(255, header_.GetShowHeadingsMode());
  EXPECT_EQ(toHex({255}), toHex(value(7)));
}

TEST_F(PrivateHeaderTest, TheChangedFlagOfTheCheckedItems) {
  header_.setCheckedItemsChanged(false);
  EXPECT_FALSE(header_.ShowCheckedItemsChanged());
  EXPECT_FALSE(changedFlag(header_.getTaggedDataManager(), 1));
  header_.SetShowCheckedItems(1);
  EXPECT_FALSE(header_.ShowCheckedItemsChanged()) << "the same value";
  header_.SetShowCheckedItems(2);
  EXPECT_TRUE(header_.ShowCheckedItemsChanged());
  header_.setCheckedItemsChanged(false);
  header_.setCheckedItemsChanged(true);
  EXPECT_TRUE(changedFlag(header_.getTaggedDataManager(), 1));
}

TEST_F(PrivateHeaderTest, TheNumbersAreFourBytesEach) {
  struct Field {
    unsigned long tag;
    unsigned long (CPrivateOutlineHeader::*get)();
    void (CPrivateOutlineHeader::*set)(unsigned long);
  };
  const Field fields[] = {
      {2, &CPrivateOutlineHeader::GetSelectedIndex, &CPrivateOutlineHeader::SetSelectedIndex},
      {3, &CPrivateOutlineHeader::GetTopIndex, &CPrivateOutlineHeader::SetTopIndex},
      {6, &CPrivateOutlineHeader::GetFontColor, &CPrivateOutlineHeader::SetFontColor}};
  for (const Field& field : fields) {
    (header_.*field.set)(0x01020304);
    EXPECT_EQ(0x01020304ul, (header_.*field.get)());
    EXPECT_EQ(toHex({4, 3, 2, 1}), toHex(value(field.tag)));
    (header_.*field.set)(0xFFFFFFFF);
    EXPECT_EQ(0xFFFFFFFFul, (header_.*field.get)());
    (header_.*field.set)(static_cast<unsigned long>(0x500000007ull));
    EXPECT_EQ(7ul, (header_.*field.get)());
  }
}

TEST_F(PrivateHeaderTest, TheWindowPositionIsTenLittleEndianNumbers) {
  TStoredWindowPos pos = {0x01020304, 2, -3, 4, -5, 6, -7, 8, 9, -2147483647 - 1};
  header_.SetStoredWndPos(&pos);
  EXPECT_EQ(toHex(kx_test::fromHex("04 03 02 01  02 00 00 00"
                                   "FD FF FF FF  04 00 00 00"
                                   "FB FF FF FF  06 00 00 00"
                                   "F9 FF FF FF  08 00 00 00"
                                   "09 00 00 00  00 00 00 80")),
            toHex(value(4)));
  TStoredWindowPos back = {};
  header_.GetStoredWndPos(&back);
  EXPECT_EQ(0x01020304u, back.flags);
  EXPECT_EQ(2u, back.showCmd);
  EXPECT_EQ(-3, back.minPositionX);
  EXPECT_EQ(4, back.minPositionY);
  EXPECT_EQ(-5, back.maxPositionX);
  EXPECT_EQ(6, back.maxPositionY);
  EXPECT_EQ(-7, back.normalLeft);
  EXPECT_EQ(8, back.normalTop);
  EXPECT_EQ(9, back.normalRight);
  EXPECT_EQ(-2147483647 - 1, back.normalBottom);
}

TEST_F(PrivateHeaderTest, TheFontIsFiveNumbersAndEightBytes) {
  TStoredFontInfo font = {-12, 7, 900, -900, 400, 1, 2, 3, 4, 5, 6, 7, 0x80};
  header_.SetStoredFontInfo(&font);
  EXPECT_EQ(toHex(kx_test::fromHex("F4 FF FF FF  07 00 00 00  84 03 00 00  7C FC FF FF"
                                   "90 01 00 00  01 02 03 04 05 06 07 80")),
            toHex(value(5)));
  TStoredFontInfo back = {};
  header_.GetStoredFontInfo(&back);
  EXPECT_EQ(-12, back.height);
  EXPECT_EQ(7, back.width);
  EXPECT_EQ(900, back.escapement);
  EXPECT_EQ(-900, back.orientation);
  EXPECT_EQ(400, back.weight);
  EXPECT_EQ(1, back.italic);
  EXPECT_EQ(2, back.underline);
  EXPECT_EQ(3, back.strikeOut);
  EXPECT_EQ(4, back.charSet);
  EXPECT_EQ(5, back.outPrecision);
  EXPECT_EQ(6, back.clipPrecision);
  EXPECT_EQ(7, back.quality);
  EXPECT_EQ(0x80, back.pitchAndFamily);
}

TEST_F(PrivateHeaderTest, NullStructuresChangeNothing) {
  TStoredWindowPos pos = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  TStoredFontInfo font = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
  header_.SetStoredWndPos(&pos);
  header_.SetStoredFontInfo(&font);
  const Bytes before = blockOf(header_);
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { header_.SetStoredWndPos(nullptr); }).kind);
  EXPECT_TRUE(asserted("Tagged"));
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { header_.SetStoredFontInfo(nullptr); }).kind);
  EXPECT_TRUE(asserted("Tagged"));
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { header_.GetStoredWndPos(nullptr); }).kind);
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { header_.GetStoredFontInfo(nullptr); }).kind);
  EXPECT_EQ(toHex(before), toHex(blockOf(header_)));
}

TEST_F(PrivateHeaderTest, FontNameAndTitleAreStringsOneAndTwo) {
  header_.SetFontName(L"Tahoma");
  header_.SetOutlineTitle(L"Pl\u00E4ne");
  EXPECT_EQ(toHex(narrow("Tahoma")), toHex(value(0x10001)));
  EXPECT_EQ(toHex(narrow("Pl\xE4ne")), toHex(value(0x10002)));
  _String text;
  header_.GetFontName(text);
  EXPECT_EQ(L"Tahoma", std::wstring(text));
  header_.GetOutlineTitle(text);
  EXPECT_EQ(L"Pl\u00E4ne", std::wstring(text));
  header_.SetFontName(nullptr);
  header_.GetFontName(text);
  EXPECT_TRUE(text.empty());
}

TEST_F(PrivateHeaderTest, CreateNewFieldsAddsTheHeadingsModeOnly) {
  header_.FreeData();
  header_.CreateNewFields();
  EXPECT_EQ(toHex(tag(7, {10})), toHex(blockOf(header_)));
  setBlock(header_, tag(7, {3}, 0));
  header_.CreateNewFields();
  EXPECT_EQ(toHex(tag(7, {3}, 0)), toHex(blockOf(header_)));
}

TEST_F(PrivateHeaderTest, AnAbsentFieldThrowsMessage16WithItsPlace) {
  header_.FreeData();
  _String text;
  TStoredWindowPos pos = {};
  TStoredFontInfo font = {};
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetShowCheckedItems(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.ShowCheckedItemsChanged(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.setCheckedItemsChanged(true); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetSelectedIndex(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetTopIndex(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetStoredWndPos(&pos); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetStoredFontInfo(&font); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetFontColor(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetShowHeadingsMode(); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetFontName(text); })));
  EXPECT_TRUE(isAbsentField(thrownBy([&] { header_.GetOutlineTitle(text); })));
  EXPECT_EQ(11, kx_test::throwsOf(", LINE - "));
}

TEST_F(PrivateHeaderTest, ShorterFieldsReadAsIfPaddedWithZeros) {
  setBlock(header_, join({tag(2, {1, 2}), tag(4, {9}), tag(5, {0xFF, 0xFF, 0xFF, 0xFF, 3})}));
  EXPECT_EQ(0x0201ul, header_.GetSelectedIndex());
  TStoredWindowPos pos = {};
  std::memset(&pos, 0x77, sizeof(pos));
  header_.GetStoredWndPos(&pos);
  EXPECT_EQ(9u, pos.flags);
  EXPECT_EQ(0u, pos.showCmd);
  EXPECT_EQ(0, pos.normalBottom);
  TStoredFontInfo font = {};
  std::memset(&font, 0x77, sizeof(font));
  header_.GetStoredFontInfo(&font);
  EXPECT_EQ(-1, font.height);
  EXPECT_EQ(3, font.width);
  EXPECT_EQ(0, font.weight);
  EXPECT_EQ(0, font.pitchAndFamily);
}

TEST_F(PrivateHeaderTest, LongerFieldsThrowMessage17) {
  setBlock(header_, join({tag(1, {1, 0}), tag(2, zeros(5)), tag(4, zeros(41)), tag(5, zeros(29))}));
  TStoredWindowPos pos = {};
  TStoredFontInfo font = {};
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.GetShowCheckedItems(); })));
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.GetSelectedIndex(); })));
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.GetStoredWndPos(&pos); })));
  EXPECT_TRUE(isTooLongField(thrownBy([&] { header_.GetStoredFontInfo(&font); })));
}

TEST_F(PrivateHeaderTest, CopiesShareAndAssignmentsCopy) {
  auto sharer = std::make_unique<CPrivateOutlineHeader>(header_);
  EXPECT_EQ(header_.GetHeaderDataPtr(), sharer->GetHeaderDataPtr());
  CPrivateOutlineHeader assigned;
  assigned.SetTopIndex(9);
  assigned = *sharer;
  EXPECT_EQ(toHex(blockOf(header_)), toHex(blockOf(assigned)));
  EXPECT_NE(header_.GetHeaderDataPtr(), assigned.GetHeaderDataPtr());
  sharer.reset();
  EXPECT_EQ(0ul, header_.GetTopIndex());
}

}  // namespace
