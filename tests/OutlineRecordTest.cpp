// The fields of outline items, their defaults, and what makes an item a changed one.

#include "OutlineRecord.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>

#include "KxLayout.h"

namespace {

using kx_gen::_String;
using kx_gen::CLinkedOutlRec;
using kx_gen::COutlineRecord;
using kx_test::Bytes;
using kx_test::join;
using kx_test::stringTag;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;

// Plain ids of the string tags.
constexpr unsigned long kText = 0x00010007;
constexpr unsigned long kNote = 0x00010008;

class OutlineRecordTest : public kx_test::KxTest {
 protected:
  OutlineRecordTest() { record_.Init(); }

  static Bytes stored(COutlineRecord& record, unsigned long id) {
    return kx_test::valueOf(record.getTaggedDataManager(), id);
  }
  Bytes stored(unsigned long id) { return stored(record_, id); }
  static bool has(COutlineRecord& record, unsigned long id) {
    bool found = false;
    EXPECT_EQ(record.getTaggedDataManager().hasTag(id, &found), 0);
    return found;
  }
  static void clearChanged(COutlineRecord& record) {
    for (unsigned long id : {1ul, 2ul, 5ul, 6ul, 9ul, 10ul, 12ul, kText, kNote}) {
      if (has(record, id)) record.getTaggedDataManager().setTagChanged(id, false);
    }
  }
  static void setChanged(COutlineRecord& record, unsigned long id) {
    EXPECT_EQ(record.getTaggedDataManager().setTagChanged(id, true), 0);
  }
  static bool changed(COutlineRecord& record, unsigned long id) {
    return kx_test::changedFlag(record.getTaggedDataManager(), id);
  }
  static std::wstring text(COutlineRecord& record) {
    _String text;
    record.GetText(text);
    return text;
  }
  static std::wstring note(COutlineRecord& record) {
    _String note;
    record.GetNote(note);
    return note;
  }
  static Bytes drawing(int32_t width, int32_t height) {
    return join({{2},
                 kx_test::le32(static_cast<uint32_t>(width)),
                 kx_test::le32(static_cast<uint32_t>(height)),
                 kx_test::le32(4),
                 {24},
                 kx_test::le32(8),
                 {1, 0, 0, 0, 9, 9, 9, 0}});
  }
  static void draw(COutlineRecord& record, const Bytes& block) {
    ASSERT_EQ(record.getTaggedDataManager().setData(12, block.data(), block.size(), nullptr, 0), 0);
  }

  COutlineRecord record_;
};

// --- Construction and defaults ---

TEST_F(OutlineRecordTest, TheVirtualTableIsThatOfRows) {
  EXPECT_EQ(kx_test::virtualSlot(&COutlineRecord::Init), 4);
  EXPECT_EQ(kx_test::virtualSlot(&CLinkedOutlRec::Init), 4);
  EXPECT_TRUE((std::is_base_of<kx_gen::CDBRecord, COutlineRecord>::value));
  EXPECT_TRUE((std::is_base_of<COutlineRecord, CLinkedOutlRec>::value));
  EXPECT_EQ(sizeof(COutlineRecord), sizeof(kx_gen::CDBRecord));
  EXPECT_EQ(sizeof(CLinkedOutlRec), sizeof(kx_gen::CDBRecord));
}

TEST_F(OutlineRecordTest, AFreshRecordHasNoFieldsUntilInit) {
  COutlineRecord fresh;
  CLinkedOutlRec linked;
  EXPECT_EQ(kx_test::blockOf(fresh), kx_test::plainBlock());
  EXPECT_EQ(kx_test::blockOf(linked), kx_test::plainBlock());
}

Bytes initialisedBlock(const Bytes& links = {}) {
  return join({tag(1, {0}), tag(2, {0}), tag(5, {0, 0, 0, 0}), tag(6, {0}), tag(9, {1}),
               tag(10, {0}), links, stringTag(7, {0}), stringTag(8, {0})});
}

TEST_F(OutlineRecordTest, InitWritesEveryDefaultAndNoDrawing) {
  EXPECT_EQ(kx_test::blockOf(record_), initialisedBlock());
}

TEST_F(OutlineRecordTest, InitOfALinkedRecordAddsBothIds) {
  CLinkedOutlRec linked;
  linked.Init();
  EXPECT_EQ(kx_test::blockOf(linked),
            initialisedBlock(join({tag(17, {0, 0, 0, 0}), tag(18, {0, 0, 0, 0})})));
}

TEST_F(OutlineRecordTest, ReadsItsDefaultsAfterInit) {
  EXPECT_EQ(record_.GetId(), 0u);
  EXPECT_EQ(record_.GetIndent(), 0);
  EXPECT_EQ(text(record_), L"");
  EXPECT_EQ(note(record_), L"");
  EXPECT_TRUE(record_.HasNote());
  EXPECT_TRUE(record_.GetExpanded());
  EXPECT_FALSE(record_.GetChecked());
  EXPECT_FALSE(record_.HasDrawing());
  long width = 5;
  long height = 5;
  record_.GetDrawingSize(width, height);
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
  EXPECT_THAT(kx_test::logLines(), ::testing::IsEmpty());
}

TEST_F(OutlineRecordTest, InitResetsWhatWasSet) {
  record_.SetId(7);
  record_.SetIndent(3);
  record_.SetText(L"x");
  record_.SetNote(L"y");
  record_.SetExpanded(false);
  record_.SetChecked(true);
  record_.Init();
  EXPECT_EQ(kx_test::blockOf(record_), initialisedBlock());
}

// --- Fields ---

TEST_F(OutlineRecordTest, TheIdIsFourBytesUnderTagFive) {
  record_.SetId(0xFEDCBA98);
  EXPECT_EQ(record_.GetId(), 0xFEDCBA98ul);
  EXPECT_EQ(stored(5), (Bytes{0x98, 0xBA, 0xDC, 0xFE}));
}

TEST_F(OutlineRecordTest, TheIndentIsOneByteUnderTagSix) {
  record_.SetIndent(255);
  EXPECT_EQ(record_.GetIndent(), 255);
  EXPECT_EQ(stored(6), Bytes{255});
}

TEST_F(OutlineRecordTest, TextAndNoteAreStringTagsSevenAndEight) {
  record_.SetText(L"Paris");
  record_.SetNote(L"a\nb");
  EXPECT_EQ(text(record_), L"Paris");
  EXPECT_EQ(note(record_), L"a\nb");
  EXPECT_EQ(stored(kText), kx_test::narrow("Paris"));
  EXPECT_EQ(stored(kNote), kx_test::narrow("a\nb"));
}

TEST_F(OutlineRecordTest, TextKeepsEveryCharacter) {
  for (const wchar_t* original : {L"Caf\u00E9 \u20AC", L"\u6771\u4EAC", L"\u0416\u0436 \u05D0"}) {
    record_.SetText(original);
    record_.SetNote(original);
    EXPECT_EQ(text(record_), original);
    EXPECT_EQ(note(record_), original);
  }
  record_.SetText(L"Caf\u00E9");
  EXPECT_EQ(stored(kText), (Bytes{'C', 'a', 'f', 0xE9, 0})) << "one byte a Western character";
  record_.SetText(L"\u4E2D");
  EXPECT_EQ(stored(kText), (Bytes{0xE4, 0xB8, 0xAD, 0})) << "UTF-8 for what the code page lacks";
}

TEST_F(OutlineRecordTest, GettingReplacesTheOutputString) {
  _String out(L"before");
  record_.GetText(out);
  EXPECT_EQ(out, L"");
  out = L"before";
  record_.GetNote(out);
  EXPECT_EQ(out, L"");
}

TEST_F(OutlineRecordTest, ANullTextIsAnEmptyOne) {
  record_.SetText(L"x");
  record_.SetText(nullptr);
  EXPECT_EQ(stored(kText), Bytes{0});
  record_.SetNote(L"x");
  record_.SetNote(nullptr);
  EXPECT_EQ(stored(kNote), Bytes{0});
}

TEST_F(OutlineRecordTest, ExpandedIsTagNineAndStoredAsOneOrZero) {
  record_.SetExpanded(false);
  EXPECT_FALSE(record_.GetExpanded());
  EXPECT_EQ(stored(9), Bytes{0});
  record_.SetExpanded(true);
  EXPECT_TRUE(record_.GetExpanded());
  EXPECT_EQ(stored(9), Bytes{1});
}

TEST_F(OutlineRecordTest, CheckedIsTagTenAndStoredAsOneOrZero) {
  record_.SetChecked(true);
  EXPECT_TRUE(record_.GetChecked());
  EXPECT_EQ(stored(10), Bytes{1});
  record_.SetChecked(false);
  EXPECT_FALSE(record_.GetChecked());
  EXPECT_EQ(stored(10), Bytes{0});
}

TEST_F(OutlineRecordTest, AnyStoredByteButZeroIsTrue) {
  for (unsigned char byte : {2, 0x80, 0xFF}) {
    kx_test::setBlock(record_, join({tag(9, {byte}), tag(10, {byte})}));
    EXPECT_TRUE(record_.GetExpanded());
    EXPECT_TRUE(record_.GetChecked());
  }
}

TEST_F(OutlineRecordTest, LinkedIdsAreTagsSeventeenAndEighteen) {
  CLinkedOutlRec linked;
  linked.Init();
  linked.setInternalId(0x80000001);
  linked.setParentId(0xFFFFFFFF);
  EXPECT_EQ(linked.getInternalId(), 0x80000001ul);
  EXPECT_EQ(linked.getParentId(), 0xFFFFFFFFul);
  EXPECT_EQ(stored(linked, 17), (Bytes{1, 0, 0, 0x80}));
  EXPECT_EQ(stored(linked, 18), (Bytes{255, 255, 255, 255}));
}

TEST_F(OutlineRecordTest, SettersMarkTheTagAsChanged) {
  clearChanged(record_);
  record_.SetId(1);
  record_.SetIndent(1);
  record_.SetText(L"1");
  record_.SetNote(L"1");
  record_.SetExpanded(false);
  record_.SetChecked(true);
  for (unsigned long id : {5ul, 6ul, kText, kNote, 9ul, 10ul}) {
    EXPECT_TRUE(changed(record_, id)) << id;
  }
}

TEST_F(OutlineRecordTest, SettingTheSameValueMarksNothing) {
  clearChanged(record_);
  record_.SetId(0);
  record_.SetIndent(0);
  record_.SetText(L"");
  record_.SetNote(L"");
  record_.SetExpanded(true);
  record_.SetChecked(false);
  for (unsigned long id : {5ul, 6ul, kText, kNote, 9ul, 10ul}) {
    EXPECT_FALSE(changed(record_, id)) << id;
  }
}

// --- Deleting fields ---

TEST_F(OutlineRecordTest, DeletingTheNoteMakesItAbsent) {
  record_.DeleteNote();
  EXPECT_FALSE(record_.HasNote());
  EXPECT_FALSE(has(record_, kNote));
  EXPECT_TRUE(has(record_, kText));
  record_.DeleteNote();
  EXPECT_FALSE(record_.HasNote());
  record_.SetNote(L"");
  EXPECT_TRUE(record_.HasNote());
}

TEST_F(OutlineRecordTest, DeletingTheTextMakesItAbsent) {
  record_.DeleteText();
  EXPECT_FALSE(has(record_, kText));
  EXPECT_TRUE(has(record_, kNote));
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { text(record_); }), 16, L"OutlineRecord"));
}

TEST_F(OutlineRecordTest, DeletingTheBitmapMakesTheDrawingAbsent) {
  draw(record_, drawing(3, 4));
  EXPECT_TRUE(record_.HasDrawing());
  record_.DeleteBitmap();
  EXPECT_FALSE(record_.HasDrawing());
  EXPECT_EQ(kx_test::blockOf(record_), initialisedBlock());
}

TEST_F(OutlineRecordTest, DeletingAFieldShrinksTheBuffer) {
  const std::wstring longText(5000, L'x');
  const auto shrinks = [&](const std::function<void()>& remove) {
    const unsigned char* before = record_.GetRawDataPtr();
    remove();
    return record_.GetRawDataPtr() != before;  // another, smaller buffer
  };
  record_.SetText(longText.c_str());
  EXPECT_TRUE(shrinks([&] { record_.DeleteText(); }));
  record_.SetNote(longText.c_str());
  EXPECT_TRUE(shrinks([&] { record_.DeleteNote(); }));
  draw(record_, Bytes(5000, 1));
  EXPECT_TRUE(shrinks([&] { record_.DeleteBitmap(); }));
}

// --- Drawing size ---

TEST_F(OutlineRecordTest, DrawingSizeIsReadFromTheStoredBlock) {
  draw(record_, drawing(0x01020304, 7));
  long width = 0;
  long height = 0;
  record_.GetDrawingSize(width, height);
  EXPECT_EQ(width, 0x01020304);
  EXPECT_EQ(height, 7);
}

TEST_F(OutlineRecordTest, DrawingSizeKeepsItsSign) {
  draw(record_, drawing(-5, INT32_MIN));
  long width = 0;
  long height = 0;
  record_.GetDrawingSize(width, height);
  EXPECT_EQ(width, -5);
  EXPECT_EQ(height, static_cast<long>(INT32_MIN));
}

TEST_F(OutlineRecordTest, ADrawingTooShortForItsSizeIsReportedAsNotFound) {
  draw(record_, Bytes(8, 1));
  long width = 5;
  long height = 5;
  const Thrown thrown = thrownBy([&] { record_.GetDrawingSize(width, height); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineRecord")) << thrown;
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
}

TEST_F(OutlineRecordTest, ABlockOfFourteenBytesHasASize) {
  draw(record_, kx_test::slice(drawing(2, 3), 0, 14));
  long width = 0;
  long height = 0;
  record_.GetDrawingSize(width, height);
  EXPECT_EQ(width, 2);
  EXPECT_EQ(height, 3);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

// --- Failures ---

struct Access {
  const char* name;
  std::function<void(CLinkedOutlRec&)> call;
};
void PrintTo(const Access& access, std::ostream* out) { *out << access.name; }

std::string accessName(const ::testing::TestParamInfo<Access>& info) { return info.param.name; }

const Access kGetters[] = {
    {"GetId", [](CLinkedOutlRec& r) { r.GetId(); }},
    {"GetIndent", [](CLinkedOutlRec& r) { r.GetIndent(); }},
    {"GetText",
     [](CLinkedOutlRec& r) {
       _String text;
       r.GetText(text);
     }},
    {"GetNote",
     [](CLinkedOutlRec& r) {
       _String note;
       r.GetNote(note);
     }},
    {"GetExpanded", [](CLinkedOutlRec& r) { r.GetExpanded(); }},
    {"GetChecked", [](CLinkedOutlRec& r) { r.GetChecked(); }},
    {"getInternalId", [](CLinkedOutlRec& r) { r.getInternalId(); }},
    {"getParentId", [](CLinkedOutlRec& r) { r.getParentId(); }},
};

const Access kOthers[] = {
    {"SetId", [](CLinkedOutlRec& r) { r.SetId(1); }},
    {"SetIndent", [](CLinkedOutlRec& r) { r.SetIndent(1); }},
    {"SetText", [](CLinkedOutlRec& r) { r.SetText(L"x"); }},
    {"SetNote", [](CLinkedOutlRec& r) { r.SetNote(L"x"); }},
    {"SetExpanded", [](CLinkedOutlRec& r) { r.SetExpanded(true); }},
    {"SetChecked", [](CLinkedOutlRec& r) { r.SetChecked(true); }},
    {"setInternalId", [](CLinkedOutlRec& r) { r.setInternalId(1); }},
    {"setParentId", [](CLinkedOutlRec& r) { r.setParentId(1); }},
    {"HasNote", [](CLinkedOutlRec& r) { r.HasNote(); }},
    {"HasDrawing", [](CLinkedOutlRec& r) { r.HasDrawing(); }},
    {"DeleteText", [](CLinkedOutlRec& r) { r.DeleteText(); }},
    {"DeleteNote", [](CLinkedOutlRec& r) { r.DeleteNote(); }},
    {"DeleteBitmap", [](CLinkedOutlRec& r) { r.DeleteBitmap(); }},
    {"GetDrawingSize",
     [](CLinkedOutlRec& r) {
       long width = 0;
       long height = 0;
       r.GetDrawingSize(width, height);
     }},
};

class OutlineAccessTest : public OutlineRecordTest, public ::testing::WithParamInterface<Access> {
 protected:
  CLinkedOutlRec linked_;
};

using OutlineGetterTest = OutlineAccessTest;

TEST_P(OutlineGetterTest, OfAnAbsentFieldThrowsMessage16) {
  const Thrown thrown = thrownBy([&] { GetParam().call(linked_); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineRecord")) << thrown;
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
}
INSTANTIATE_TEST_SUITE_P(Getters, OutlineGetterTest, ::testing::ValuesIn(kGetters), accessName);

using OutlineDamageTest = OutlineAccessTest;

TEST_P(OutlineDamageTest, OnACorruptBlockThrowsMessage15) {
  kx_test::setBlock(linked_, Bytes(40, 0xEE));
  const Thrown thrown = thrownBy([&] { GetParam().call(linked_); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 15, L"OutlineRecord")) << thrown;
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
  EXPECT_EQ(kx_test::blockOf(linked_), Bytes(40, 0xEE));
}
INSTANTIATE_TEST_SUITE_P(Getters, OutlineDamageTest, ::testing::ValuesIn(kGetters), accessName);
INSTANTIATE_TEST_SUITE_P(Others, OutlineDamageTest, ::testing::ValuesIn(kOthers), accessName);

TEST_F(OutlineRecordTest, AFieldLongerThanItsTypeThrowsMessage17) {
  kx_test::setBlock(record_, join({tag(5, Bytes(5, 1)), tag(6, {1, 2})}));
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { record_.GetId(); }), 17, L"OutlineRecord"));
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { record_.GetIndent(); }), 17, L"OutlineRecord"));
}

TEST_F(OutlineRecordTest, AFieldShorterThanItsTypeReadsZeroPadded) {
  kx_test::setBlock(record_, join({tag(5, {1, 2}), tag(6, {}), tag(9, {})}));
  EXPECT_EQ(record_.GetId(), 0x0201u);
  EXPECT_EQ(record_.GetIndent(), 0);
  EXPECT_FALSE(record_.GetExpanded());
}

TEST_F(OutlineRecordTest, ATextWithoutItsTerminatorThrowsMessage15) {
  kx_test::setBlock(record_, join({stringTag(7, {'a', 'b'}), stringTag(8, {'c'})}));
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { text(record_); }), 15, L"OutlineRecord"));
  EXPECT_TRUE(kx_test::isTagError(thrownBy([&] { note(record_); }), 15, L"OutlineRecord"));
}

// --- The changed flag of the record ---

class RecordChangedTest : public OutlineRecordTest,
                          public ::testing::WithParamInterface<unsigned long> {};

TEST_F(OutlineRecordTest, WithNoTagChangedTheRecordIsUnchanged) {
  clearChanged(record_);
  record_.SetChanged(true);
  record_.updateRecordChanged();
  EXPECT_FALSE(record_.IsChanged());
}

using ChangingTagTest = RecordChangedTest;

TEST_P(ChangingTagTest, AloneMakesTheRecordChanged) {
  draw(record_, drawing(1, 1));
  clearChanged(record_);
  setChanged(record_, GetParam());
  record_.updateRecordChanged();
  EXPECT_TRUE(record_.IsChanged());
}
INSTANTIATE_TEST_SUITE_P(Tags, ChangingTagTest, ::testing::Values(6, kText, kNote, 10, 12));

using NeutralTagTest = RecordChangedTest;

TEST_P(NeutralTagTest, DoesNotMakeTheRecordChanged) {
  clearChanged(record_);
  record_.SetChanged(true);
  setChanged(record_, GetParam());
  record_.updateRecordChanged();
  EXPECT_FALSE(record_.IsChanged());
}
INSTANTIATE_TEST_SUITE_P(Tags, NeutralTagTest, ::testing::Values(1, 2, 5, 9));

TEST_F(OutlineRecordTest, ADrawingThatDidNotChangeLeavesTheRecordUnchanged) {
  draw(record_, drawing(1, 1));
  clearChanged(record_);
  record_.updateRecordChanged();
  EXPECT_FALSE(record_.IsChanged());
}

TEST_F(OutlineRecordTest, TogglingExpandedIsNoChangeTogglingCheckedIs) {
  clearChanged(record_);
  record_.SetExpanded(false);
  record_.updateRecordChanged();
  EXPECT_FALSE(record_.IsChanged());
  record_.SetChecked(true);
  record_.updateRecordChanged();
  EXPECT_TRUE(record_.IsChanged());
}

TEST_F(OutlineRecordTest, OtherFlagsAreKeptWhenTheChangedFlagIsRecomputed) {
  record_.SetFlag(0xDF);
  record_.updateRecordChanged();
  EXPECT_EQ(record_.GetFlag(), 0xFF);
  clearChanged(record_);
  record_.updateRecordChanged();
  EXPECT_EQ(record_.GetFlag(), 0xDF);
}

TEST_F(OutlineRecordTest, TheTagsAreLookedAtInOrderUpToTheFirstChangedOne) {
  // In the order of the test; each block ends with the first tag that changed.
  const Bytes indent = tag(6, {0}, 0);
  const Bytes unchangedText = stringTag(7, {0}, 0);
  const Bytes flags = tag(1, {0});
  kx_test::setBlock(record_, join({flags, tag(6, {0}, 1)}));
  record_.updateRecordChanged();
  EXPECT_TRUE(record_.IsChanged());
  kx_test::setBlock(record_, join({flags, indent, stringTag(7, {0}, 1)}));
  record_.updateRecordChanged();
  EXPECT_TRUE(record_.IsChanged());
  kx_test::setBlock(record_, join({flags, indent, unchangedText, stringTag(8, {0}, 1)}));
  record_.updateRecordChanged();
  EXPECT_TRUE(record_.IsChanged());
}

TEST_F(OutlineRecordTest, AnAbsentTagOfTheTestThrowsMessage16) {
  const Bytes flags = tag(1, {0});
  for (const Bytes& block :
       {flags, join({flags, tag(6, {0}, 0)}), join({flags, tag(6, {0}, 0), stringTag(7, {0}, 0)}),
        join({flags, tag(6, {0}, 0), stringTag(7, {0}, 0), stringTag(8, {0}, 0)})}) {
    kx_test::setBlock(record_, block);
    const Thrown thrown = thrownBy([&] { record_.updateRecordChanged(); });
    EXPECT_TRUE(kx_test::isTagError(thrown, 16, L".\\OutlineRecord")) << thrown;
    EXPECT_EQ(kx_test::blockOf(record_), block);
  }
}

// --- Comparing with the stored copy ---

class ChangedFieldsTest : public OutlineRecordTest {
 protected:
  ChangedFieldsTest() { stored_.Init(); }

  /// Compares with every changed flag set or clear beforehand.
  void compare(bool before) {
    for (unsigned long id : {5ul, 6ul, 9ul, 10ul, kText, kNote}) {
      if (has(record_, id)) record_.getTaggedDataManager().setTagChanged(id, before);
    }
    record_.UpdateChangedFields(&stored_);
  }
  COutlineRecord stored_;
};

TEST_F(ChangedFieldsTest, EqualFieldsAreUnchangedWhateverTheyWere) {
  compare(true);
  for (unsigned long id : {6ul, kText, kNote, 9ul, 10ul}) EXPECT_FALSE(changed(record_, id)) << id;
  EXPECT_TRUE(changed(record_, 5)) << "the id is not compared";
}

TEST_F(ChangedFieldsTest, ADifferentFieldAloneIsChanged) {
  const std::pair<unsigned long, std::function<void()>> edits[] = {
      {6ul, [&] { stored_.SetIndent(4); }},        {kText, [&] { stored_.SetText(L"other"); }},
      {kNote, [&] { stored_.SetNote(L"other"); }}, {9ul, [&] { stored_.SetExpanded(false); }},
      {10ul, [&] { stored_.SetChecked(true); }},
  };
  for (const auto& [edited, edit] : edits) {
    stored_.Init();
    edit();
    for (bool before : {false, true}) {
      compare(before);
      for (unsigned long id : {6ul, kText, kNote, 9ul, 10ul}) {
        EXPECT_EQ(changed(record_, id), id == edited) << id << " with " << edited << " different";
      }
    }
  }
}

TEST_F(ChangedFieldsTest, IdAndDrawingAreNotCompared) {
  stored_.SetId(9);
  draw(record_, drawing(1, 1));
  draw(stored_, drawing(2, 2));
  clearChanged(record_);
  record_.UpdateChangedFields(&stored_);
  EXPECT_FALSE(changed(record_, 5));
  EXPECT_FALSE(changed(record_, 12));
}

TEST_F(ChangedFieldsTest, TheValuesOfBothStayAsTheyWere) {
  record_.SetText(L"mine");
  stored_.SetText(L"stored");
  const Bytes other = kx_test::blockOf(stored_);
  record_.UpdateChangedFields(&stored_);
  EXPECT_EQ(text(record_), L"mine");
  EXPECT_EQ(kx_test::blockOf(stored_), other);
}

TEST_F(ChangedFieldsTest, WithoutANoteInEitherThisGetsAnEmptyOne) {
  record_.DeleteNote();
  stored_.DeleteNote();
  compare(false);
  EXPECT_TRUE(record_.HasNote());
  EXPECT_EQ(note(record_), L"");
  EXPECT_FALSE(stored_.HasNote());
}

TEST_F(ChangedFieldsTest, ANoteThatTheStoredCopyLacksIsChanged) {
  stored_.DeleteNote();
  compare(false);
  EXPECT_TRUE(changed(record_, kNote));
}

TEST_F(ChangedFieldsTest, ANoteThatOnlyTheStoredCopyHasChangesNothing) {
  record_.DeleteNote();
  stored_.SetNote(L"theirs");
  compare(false);
  EXPECT_FALSE(record_.HasNote());
  for (unsigned long id : {6ul, kText, 9ul, 10ul}) EXPECT_FALSE(changed(record_, id)) << id;
}

TEST_F(ChangedFieldsTest, AnAbsentFieldThrowsMessage16) {
  COutlineRecord fresh;
  const Thrown mine = thrownBy([&] { fresh.UpdateChangedFields(&stored_); });
  EXPECT_EQ(mine.kind, Thrown::kException) << mine;
  const Thrown theirs = thrownBy([&] { record_.UpdateChangedFields(&fresh); });
  EXPECT_EQ(theirs.kind, Thrown::kException) << theirs;
  const std::wstring absent = kx_test::messageText(16) + L"Error in file ";
  EXPECT_EQ(theirs.description.compare(0, absent.size(), absent), 0);
}

// --- Copies ---

TEST_F(OutlineRecordTest, AssignmentCopiesEveryField) {
  record_.SetText(L"copied");
  record_.SetId(4);
  draw(record_, drawing(1, 1));
  COutlineRecord copy;
  copy = record_;
  EXPECT_EQ(kx_test::blockOf(copy), kx_test::blockOf(record_));
  copy.SetText(L"other");
  EXPECT_EQ(text(record_), L"copied");
  COutlineRecord sharing(record_);
  sharing.SetId(5);
  EXPECT_EQ(record_.GetId(), 5u);
}

// --- Recordsets ---

template <class Set, class Record>
void expectFactory(const Bytes& block) {
  Set set;
  EXPECT_EQ(kx_test::virtualSlot(&Set::CreateDBRecord), 2);
  std::unique_ptr<kx_gen::CDBRecord> made(set.CreateDBRecord());
  EXPECT_TRUE(kx_test::isExactly<Record>(made.get()));
  EXPECT_EQ(kx_test::blockOf(*made), block);
  EXPECT_EQ(set.getSize(), 0);
  EXPECT_TRUE(kx_test::isExactly<Record>(set.Append()));
  EXPECT_EQ(kx_test::blockOf(*set.getRecord(0)), block);
}

TEST_F(OutlineRecordTest, TheOutlineSetMakesInitialisedOutlineRecords) {
  expectFactory<kx_gen::COutlineRecordset, COutlineRecord>(initialisedBlock());
}

TEST_F(OutlineRecordTest, TheLinkedSetMakesInitialisedLinkedRecords) {
  expectFactory<kx_gen::CLinkedOutlRS, CLinkedOutlRec>(
      initialisedBlock(join({tag(17, {0, 0, 0, 0}), tag(18, {0, 0, 0, 0})})));
}

}  // namespace
