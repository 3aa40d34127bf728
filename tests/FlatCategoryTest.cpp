// The flat interface over category databases: what each function forwards to, and the walks by name
// that behave unlike the members of the same purpose.

#include <gmock/gmock.h>

#include <cstring>

#include "FlatSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryIterator;
using kx_gen::CCategoryRecord;
using kx_test::Bytes;
using kx_test::categoriesOf;
using kx_test::categoryOf;
using kx_test::clearLog;
using kx_test::FlatCategories;
using kx_test::flatText;
using kx_test::handleOf;
using kx_test::join;
using kx_test::logLines;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned long kTime = 1000000000;

/// A category database that remembers which of its virtual operations ran.
class WatchedCategories : public CCategoryDB {
 public:
  explicit WatchedCategories(std::vector<std::string>& calls) : calls_(calls) {}
  ~WatchedCategories() override { calls_.emplace_back("destructor"); }

  int Open(const wchar_t* path, unsigned int mode) override {
    if (path != nullptr) calls_.push_back("Open " + std::to_string(mode));
    return static_cast<int>(mode) + 5;
  }
  void Close() override { calls_.emplace_back("Close"); }
  void CheckDbInfo() override { calls_.emplace_back("CheckDbInfo"); }
  void InitNewDatabase() override { calls_.emplace_back("InitNewDatabase"); }
  void ReadExtraRows() override { calls_.emplace_back("ReadExtraRows"); }
  void WriteExtraRows() override { calls_.emplace_back("WriteExtraRows"); }
  void CreateRecordset() override { calls_.emplace_back("CreateRecordset"); }

 private:
  std::vector<std::string>& calls_;
};

class FlatCategoryTest : public kx_test::FlatTest {
 protected:
  std::wstring file() const { return path(L"categories.db"); }
  Bytes content() { return kx_test::readFile("categories.db"); }

  static CCategoryRecord& slot(RV_CAT cat, unsigned long i) {
    return *static_cast<CCategoryRecord*>(categoriesOf(cat).getRecord(i));
  }
  static std::wstring nameIn(RV_CAT cat, unsigned long i) {
    _String name;
    slot(cat, i).GetCategoryName(name);
    return name;
  }
  static std::wstring iterName(RV_CAT cat, unsigned long i) {
    return flatText([&](wchar_t* out) { return RV_GetIterCategoryName(cat, out, i); });
  }
  /// A live category with a time.
  static RV_CREC add(RV_CAT cat, const wchar_t* name) {
    RV_CREC rec = RV_AddNewCategorybyName(cat, name);
    categoryOf(rec).SetLastChangedTime(kTime);
    return rec;
  }
  /// Slots with these names; a name that begins with '-' is a deleted category's.
  static void fill(RV_CAT cat, const std::vector<std::wstring>& names) {
    for (const std::wstring& name : names) {
      const bool isDeleted = !name.empty() && name[0] == L'-';
      auto* record = static_cast<CCategoryRecord*>(categoriesOf(cat).GetRecordset()->Append());
      record->SetCategoryName(isDeleted ? name.substr(1).c_str() : name.c_str());
      record->SetDeleted(isDeleted);
      record->SetEmpty(isDeleted);
      record->SetLastChangedTime(kTime);
    }
  }
  static int found(RV_CAT cat, const wchar_t* name) {
    RV_CREC rec = RV_FindCategorybyName(cat, name);
    for (int i = 0; i < RV_GetCategoryRecordSize(cat); ++i) {
      if (handleOf(slot(cat, static_cast<unsigned long>(i))) == rec) return i;
    }
    return -1;
  }
};

// --- Life and file ---

TEST_F(FlatCategoryTest, ANewDatabaseIsClosedAndEmpty) {
  FlatCategories cat;
  ASSERT_NE(static_cast<RV_CAT>(cat), nullptr);
  EXPECT_FALSE(categoriesOf(cat).IsOpen());
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 0);
  EXPECT_EQ(RV_GetMaxCategoryAmount(cat), 16u);
  EXPECT_EQ(RV_GetCatRecordset(cat), categoriesOf(cat).GetCatRecordset());
  EXPECT_EQ(RV_isFull(cat), 0);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatCategoryTest, DeletingNothingDoesNothing) {
  RV_DeleteCategoryDB(nullptr);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatCategoryTest, VirtualOperationsAreThoseOfTheDatabasesKind) {
  std::vector<std::string> calls;
  RV_CAT cat = handleOf(static_cast<kx_gen::CDatabase&>(*new WatchedCategories(calls)));
  RV_CategoryClose(cat);
  RV_CheckCategoryDbInfo(cat);
  RV_CategoryInitNewDataBase(cat);
  RV_CreateCategoryRecordset(cat);
  RV_CategoryReadExtraRows(cat);
  RV_CategoryWriteExtraRows(cat);
  RV_DeleteCategoryDB(cat);
  EXPECT_THAT(calls, ElementsAre("Close", "CheckDbInfo", "InitNewDatabase", "CreateRecordset",
                                 "ReadExtraRows", "WriteExtraRows", "destructor"));
}

TEST_F(FlatCategoryTest, ThereAreThreeModes) {
  std::vector<std::string> calls;
  WatchedCategories watched(calls);
  RV_CAT cat = handleOf(static_cast<kx_gen::CDatabase&>(watched));
  EXPECT_EQ(RV_OpenCategoryFile(cat, L"a", 1), 32 + 5);
  EXPECT_EQ(RV_OpenCategoryFile(cat, L"a", 2), 4097 + 5);
  EXPECT_EQ(RV_OpenCategoryFile(cat, L"a", 3), 2 + 5);
  for (unsigned int mode = 4; mode <= 5000; ++mode) {
    EXPECT_EQ(RV_OpenCategoryFile(cat, L"a", mode), 0) << mode;
  }
  for (unsigned int mode : {0u, 0xFFFFFFFFu, 0x10001u, 0x80000002u}) {
    EXPECT_EQ(RV_OpenCategoryFile(cat, L"a", mode), 0) << mode;
  }
  EXPECT_THAT(calls, ElementsAre("Open 32", "Open 4097", "Open 2"));
}

TEST_F(FlatCategoryTest, AnyOtherModeLeavesTheDatabaseClosed) {
  FlatCategories cat;
  EXPECT_EQ(RV_OpenCategoryFile(cat, file().c_str(), 0), 0);
  EXPECT_EQ(RV_OpenCategoryFile(cat, file().c_str(), 4), 0);
  EXPECT_FALSE(categoriesOf(cat).IsOpen());
  EXPECT_FALSE(std::filesystem::exists("categories.db"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatCategoryTest, AnyOtherModeLeavesAnOpenFileOpen) {
  FlatCategories cat;
  ASSERT_EQ(RV_OpenCategoryFile(cat, file().c_str(), 2), 1);
  EXPECT_EQ(RV_OpenCategoryFile(cat, file().c_str(), 4), 0);
  EXPECT_TRUE(categoriesOf(cat).IsOpen());
}

TEST_F(FlatCategoryTest, TheFileIsTheOneThatTheLayoutTells) {
  FlatCategories cat;
  ASSERT_EQ(RV_OpenCategoryFile(cat, file().c_str(), 2), 1);
  RV_CategoryInitNewDataBase(cat);
  slot(cat, 0).SetLastChangedTime(kTime);
  RV_CREC gone = RV_AddNewCategorybyName(cat, L"Work");
  RV_DeleteCategorybyName(cat, L"Work");
  RV_SetCategoryID(cat, gone, 200);
  RV_WriteAllCategoryHeaders(cat);
  RV_CategoryWriteRows(cat);
  RV_CategoryClose(cat);
  const auto categoryRow = [](uint8_t flags, uint32_t id, const std::string& name, uint32_t time) {
    return kx_test::row(
        join({kx_test::plainBlock(flags), kx_test::tag(5, kx_test::le32(id)),
              kx_test::tag(7, kx_test::le32(time)), kx_test::stringTag(6, kx_test::narrow(name))}));
  };
  const Bytes expected =
      join({kx_test::dbInfo(1, 2), kx_test::headerTable({{1, 255}}), kx_test::slot(255, {}),
            kx_test::le32(129), kx_test::u8(1), categoryRow(0x80, 0, "Unfiled", kTime),
            categoryRow(0xF0, 200, "Work", 0)});
  EXPECT_EQ(kx_test::toHex(content()), kx_test::toHex(expected));
}

TEST_F(FlatCategoryTest, TheNewFlagTravelsWithTheRows) {
  for (const bool isNew : {false, true}) {
    FlatCategories made;
    ASSERT_EQ(RV_OpenCategoryFile(made, file().c_str(), 2), 1);
    RV_CategoryInitNewDataBase(made);
    categoriesOf(made).setNewFlag(isNew);
    RV_WriteAllCategoryHeaders(made);
    RV_CategoryWriteRows(made);
    EXPECT_EQ(categoriesOf(made).isNew(), isNew);
    RV_CategoryClose(made);
    FlatCategories reader;
    categoriesOf(reader).setNewFlag(!isNew);
    ASSERT_EQ(RV_OpenCategoryFile(reader, file().c_str(), 1), 1);
    RV_CategoryReadRows(reader);
    EXPECT_EQ(categoriesOf(reader).isNew(), isNew);
  }
}

TEST_F(FlatCategoryTest, AFileOpenedForReadingLetsOthersReadAndNotWrite) {
  FlatCategories made;
  ASSERT_EQ(RV_OpenCategoryFile(made, file().c_str(), 2), 1);
  RV_WriteAllCategoryHeaders(made);
  RV_CategoryWriteRows(made);
  RV_CategoryClose(made);
  FlatCategories reader;
  FlatCategories other;
  ASSERT_EQ(RV_OpenCategoryFile(reader, file().c_str(), 1), 1);
  EXPECT_EQ(RV_OpenCategoryFile(other, file().c_str(), 1), 1);
  RV_CategoryClose(other);
  const Thrown refused = thrownBy([&] { RV_OpenCategoryFile(other, file().c_str(), 3); });
  EXPECT_EQ(refused.cause, kx_gen::CFileException::sharingViolation);
}

TEST_F(FlatCategoryTest, AFileIsCreatedReadAndEdited) {
  FlatCategories made;
  ASSERT_EQ(RV_OpenCategoryFile(made, file().c_str(), 2), 1);
  RV_CategoryInitNewDataBase(made);
  RV_AddNewCategorybyName(made, L"Work");
  RV_WriteAllCategoryHeaders(made);
  RV_CategoryWriteRows(made);
  RV_CategoryClose(made);
  const Bytes before = content();

  FlatCategories reader;
  ASSERT_EQ(RV_OpenCategoryFile(reader, file().c_str(), 1), 1);
  RV_CategoryReadRows(reader);
  EXPECT_EQ(RV_GetCategoryRecordSize(reader), 2);
  EXPECT_EQ(iterName(reader, 0), L"Unfiled");
  EXPECT_EQ(iterName(reader, 1), L"Work");
  EXPECT_EQ(thrownBy([&] { RV_CategoryWriteRows(reader); }).kind, Thrown::kFileException);
  RV_CategoryClose(reader);
  EXPECT_EQ(content(), before);

  FlatCategories editor;
  ASSERT_EQ(RV_OpenCategoryFile(editor, file().c_str(), 3), 1);
  RV_CategoryReadRows(editor);
  RV_RenameCategory(editor, L"Work", L"Home");
  RV_CategoryWriteRows(editor);
  RV_CategoryClose(editor);
  FlatCategories again;
  RV_OpenCategoryFile(again, file().c_str(), 1);
  RV_CategoryReadRows(again);
  EXPECT_EQ(iterName(again, 1), L"Home");
}

TEST_F(FlatCategoryTest, ExceptionsOfTheFileReachTheCaller) {
  FlatCategories cat;
  const Thrown missing = thrownBy([&] { RV_OpenCategoryFile(cat, file().c_str(), 3); });
  EXPECT_EQ(missing.kind, Thrown::kFileException);
  EXPECT_EQ(missing.cause, kx_gen::CFileException::fileNotFound);
  kx_test::writeFile("categories.db", join({kx_test::dbInfo(2, 0), kx_test::zeros(100)}));
  const Thrown newer = thrownBy([&] { RV_OpenCategoryFile(cat, file().c_str(), 1); });
  EXPECT_TRUE(newer.is(Thrown::kException, 4, 3)) << newer;
}

TEST_F(FlatCategoryTest, ExtraRowsAreReadAndWrittenWhereTheFileStands) {
  FlatCategories cat;
  ASSERT_EQ(categoriesOf(cat).Open(file().c_str(), kx_test::kCreate), 1);
  RV_AddNewCategorybyName(cat, L"Work");
  RV_CategoryWriteExtraRows(cat);
  RV_deleteAllCategories(cat);
  categoriesOf(cat).Seek(0, 0);
  RV_CategoryReadExtraRows(cat);
  EXPECT_EQ(RV_GetCategoryID(cat, RV_AddNewCategorybyName(cat, L"Home")), 130ul);
  RV_CategoryClose(cat);
  EXPECT_EQ(content(), join({kx_test::le32(129), {1}}));
}

TEST_F(FlatCategoryTest, ANewRecordsetReplacesTheOldOne) {
  FlatCategories cat;
  add(cat, L"Work");
  RV_CreateCategoryRecordset(cat);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 0);
  EXPECT_NE(dynamic_cast<kx_gen::CCategoryRecordset*>(categoriesOf(cat).GetRecordset()), nullptr);
}

TEST_F(FlatCategoryTest, NothingIsLogged) {
  FlatCategories cat;
  ASSERT_EQ(RV_OpenCategoryFile(cat, file().c_str(), 2), 1);
  RV_CategoryInitNewDataBase(cat);
  RV_CREC rec = add(cat, L"Work");
  RV_WriteAllCategoryHeaders(cat);
  RV_CategoryWriteRows(cat);
  RV_DeleteCategory(cat, rec, 5);
  RV_UndeleteCategory(cat, rec, 6);
  RV_RenameCategory(cat, L"Work", L"Home");
  RV_DeleteCategorybyName(cat, L"Home");
  RV_FindFirstHole(cat);
  RV_ResizeDB(cat, 5);
  RV_GetNext(cat);
  RV_deleteAllCategories(cat);
  RV_CategoryClose(cat);
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- What forwards to the members ---

TEST_F(FlatCategoryTest, TheRecordSizeCountsHolesToo) {
  FlatCategories cat;
  RV_ResizeDB(cat, 3);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 4);
  EXPECT_EQ(categoriesOf(cat).GetCategoryCount(), 0);
  RV_deleteAllCategories(cat);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 0);
}

TEST_F(FlatCategoryTest, AfterDeletingAllIdsCountFrom129Again) {
  FlatCategories cat;
  add(cat, L"a");
  add(cat, L"b");
  RV_deleteAllCategories(cat);
  EXPECT_EQ(RV_GetCategoryID(cat, add(cat, L"c")), 129ul);
}

TEST_F(FlatCategoryTest, SlotsBeyond16BitsAreAssertedAndNotMade) {
  FlatCategories cat;
  for (unsigned long count : {65535ul, 0x10002ul, 0xFFFFFFFFul}) {
    clearLog();
    RV_ResizeDB(cat, count);
    EXPECT_EQ(RV_GetCategoryRecordSize(cat), 0) << count;
    EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine("CategoryDB", 320)));
  }
}

TEST_F(FlatCategoryTest, ADatabaseIsFullFromSixteenOn) {
  FlatCategories cat;
  for (int i = 0; i < 15; ++i) add(cat, L"x");
  EXPECT_EQ(RV_isFull(cat), 0);
  add(cat, L"x");
  EXPECT_EQ(RV_isFull(cat), 1);
  RV_DeleteCategory(cat, handleOf(slot(cat, 3)), 1);
  EXPECT_EQ(RV_isFull(cat), 0);
}

TEST_F(FlatCategoryTest, TheFirstHoleMayBeAppended) {
  FlatCategories cat;
  add(cat, L"a");
  EXPECT_EQ(RV_FindFirstHole(cat), 1);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 2);
  EXPECT_FALSE(slot(cat, 1).IsEmpty());
  RV_DeleteCategory(cat, handleOf(slot(cat, 0)), 1);
  EXPECT_EQ(RV_FindFirstHole(cat), 0);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 2);
}

TEST_F(FlatCategoryTest, CategoriesAreDeletedAndUndeletedWithATime) {
  FlatCategories cat;
  RV_CREC rec = add(cat, L"Work");
  RV_DeleteCategory(cat, rec, 5);
  EXPECT_TRUE(categoryOf(rec).IsEmpty());
  EXPECT_TRUE(categoryOf(rec).IsDeleted());
  EXPECT_EQ(categoryOf(rec).GetLastChangedTime(), 5ul);
  EXPECT_EQ(RV_GetCategoryID(cat, rec), 129ul);
  RV_DeleteCategory(cat, rec, 0xFFFFFFFE);
  EXPECT_EQ(categoryOf(rec).GetLastChangedTime(), 0xFFFFFFFEul);
  RV_UndeleteCategory(cat, rec, 0xFFFFFFFF);
  EXPECT_FALSE(categoryOf(rec).IsEmpty());
  EXPECT_FALSE(categoryOf(rec).IsDeleted());
  EXPECT_TRUE(categoryOf(rec).IsChanged());
  EXPECT_EQ(categoryOf(rec).GetLastChangedTime(), 0xFFFFFFFFul);
  EXPECT_EQ(RV_GetCategoryID(cat, rec), 130ul);
}

TEST_F(FlatCategoryTest, NameAndIdAreThoseOfTheRecord) {
  FlatCategories cat;
  RV_CREC rec = add(cat, L"B\u00FCro");
  RV_STR name = KX_StringCreate();
  *static_cast<_String*>(name) = L"what was there";
  RV_GetCatCategoryName(cat, rec, *static_cast<_String*>(name));
  EXPECT_STREQ(KX_StringText(name), L"B\u00FCro");
  RV_DeleteCategory(cat, rec, kTime);
  RV_GetCatCategoryName(cat, rec, *static_cast<_String*>(name));
  EXPECT_STREQ(KX_StringText(name), L"B\u00FCro") << "a deleted category's own, too";
  KX_StringDelete(name);
  categoryOf(rec).SetChanged(false);
  RV_SetCategoryID(cat, rec, 0xFFFFFFFF);
  EXPECT_EQ(RV_GetCategoryID(cat, rec), 0xFFFFFFFFul);
  EXPECT_TRUE(categoryOf(rec).IsChanged());
  EXPECT_EQ(categoryOf(rec).GetLastChangedTime(), kTime);
}

// --- Iteration ---

TEST_F(FlatCategoryTest, TheIteratorHasTheFormThatCallersInCSee) {
  FlatCategories cat;
  fill(cat, {L"-gone", L"a", L"-gone", L"b"});
  const auto formOf = [](const CCategoryIterator& it) {
    RV_ITER form = {};
    std::memcpy(&form, &it, sizeof(form));
    return form;
  };
  const RV_ITER first = formOf(RV_GetIterator(cat));
  EXPECT_EQ(first.slot, 1u);
  EXPECT_EQ(first.db, static_cast<RV_CAT>(cat));
  const RV_ITER next = formOf(RV_GetNext(cat));
  EXPECT_EQ(next.slot, 3u);
  EXPECT_EQ(next.db, static_cast<RV_CAT>(cat));
  EXPECT_EQ(formOf(RV_GetIterator(nullptr)).db, nullptr);
  EXPECT_EQ(formOf(RV_GetIterator(nullptr)).slot, 0u);
}

TEST_F(FlatCategoryTest, TheIteratorStartsAtTheFirstLiveCategory) {
  FlatCategories cat;
  EXPECT_EQ(*RV_GetIterator(cat), nullptr);
  fill(cat, {L"-gone", L"a", L"b"});
  EXPECT_EQ(handleOf(**RV_GetIterator(cat)), handleOf(slot(cat, 1)));
}

TEST_F(FlatCategoryTest, NextIsAlwaysTheSecondLiveCategory) {
  FlatCategories cat;
  fill(cat, {L"-gone", L"a", L"-gone", L"b", L"c"});
  EXPECT_EQ(*RV_GetNext(cat), &slot(cat, 3));
  EXPECT_EQ(*RV_GetNext(cat), &slot(cat, 3));
  CCategoryIterator it = RV_GetIterator(cat);
  ++it;
  ++it;
  EXPECT_EQ(*it, &slot(cat, 4)) << "the class's iterator walks on";
  EXPECT_EQ(*RV_GetNext(cat), &slot(cat, 3));
}

TEST_F(FlatCategoryTest, NextIsTheEndWhenFewerThanTwoLive) {
  FlatCategories cat;
  EXPECT_EQ(*RV_GetNext(cat), nullptr);
  fill(cat, {L"-gone", L"a", L"-gone"});
  EXPECT_EQ(*RV_GetNext(cat), nullptr);
  EXPECT_FALSE(RV_GetNext(cat) != categoriesOf(cat).End());
}

// --- Names by slot ---

TEST_F(FlatCategoryTest, NamesAreReadBySlot) {
  FlatCategories cat;
  fill(cat, {L"B\u00FCro", L"-gone", L"hole"});
  slot(cat, 2).SetEmpty(true);
  EXPECT_EQ(iterName(cat, 0), L"B\u00FCro");
  EXPECT_EQ(iterName(cat, 1), L"") << "a deleted category has none";
  EXPECT_EQ(iterName(cat, 2), L"hole") << "a hole that is not deleted keeps its own";
  EXPECT_EQ(RV_GetIterCategoryName(cat, nullptr, 0), 4ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatCategoryTest, ADeletedSlotsNameIsALoneTerminator) {
  FlatCategories cat;
  fill(cat, {L"-gone"});
  wchar_t buffer[3] = {L'x', L'y', L'z'};
  EXPECT_EQ(RV_GetIterCategoryName(cat, buffer, 0), 0ul);
  EXPECT_EQ(std::wstring(buffer, 3), std::wstring(L"\0yz", 3));
}

TEST_F(FlatCategoryTest, NamesAreReadBeyondTheSixteenthSlotToo) {
  FlatCategories cat;
  RV_ResizeDB(cat, 20);
  slot(cat, 20).SetCategoryName(L"far");
  EXPECT_EQ(iterName(cat, 20), L"far");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatCategoryTest, ASlotThatIsNotThereHasAnEmptyNameAfterAnAssertion) {
  FlatCategories cat;
  wchar_t buffer[2] = {L'x', L'y'};
  EXPECT_EQ(RV_GetIterCategoryName(cat, buffer, 0), 0ul);
  EXPECT_EQ(buffer[0], L'\0');
  EXPECT_EQ(buffer[1], L'y');
  EXPECT_THAT(logLines(), ElementsAre(kx_test::refusal(kx_test::kCategoryRefused)));
}

// --- Adding by name ---

TEST_F(FlatCategoryTest, AddingTakesTheFirstHoleANewIdAndNoTime) {
  FlatCategories cat;
  RV_CREC rec = RV_AddNewCategorybyName(cat, L"Work");
  ASSERT_NE(rec, nullptr);
  EXPECT_EQ(rec, handleOf(slot(cat, 0)));
  EXPECT_EQ(nameIn(cat, 0), L"Work");
  EXPECT_EQ(RV_GetCategoryID(cat, rec), 129ul);
  EXPECT_EQ(categoryOf(rec).GetFlag(), 0x80) << "new, and nothing else";
  EXPECT_EQ(categoryOf(rec).GetLastChangedTime(), 0ul);
  RV_CREC nameless = RV_AddNewCategorybyName(cat, nullptr);
  EXPECT_EQ(nameless, handleOf(slot(cat, 1)));
  EXPECT_EQ(nameIn(cat, 1), L"");
}

TEST_F(FlatCategoryTest, AReusedSlotLosesItsDeletedFlagAndKeepsItsTime) {
  FlatCategories cat;
  add(cat, L"a");
  add(cat, L"b");
  RV_DeleteCategory(cat, handleOf(slot(cat, 0)), 77);
  RV_CREC rec = RV_AddNewCategorybyName(cat, L"c");
  EXPECT_EQ(rec, handleOf(slot(cat, 0)));
  EXPECT_FALSE(categoryOf(rec).IsDeleted());
  EXPECT_FALSE(categoryOf(rec).IsEmpty());
  EXPECT_TRUE(categoryOf(rec).IsNew());
  EXPECT_EQ(RV_GetCategoryID(cat, rec), 131ul);
  EXPECT_EQ(categoryOf(rec).GetLastChangedTime(), 77ul);
}

TEST_F(FlatCategoryTest, AddingTouchesNoOtherFlag) {
  FlatCategories cat;
  add(cat, L"a");
  for (const int flags : {0x10, 0x50, 0x78, 0x7F}) {
    slot(cat, 0).SetFlag(static_cast<unsigned char>(flags));
    RV_AddNewCategorybyName(cat, L"b");
    EXPECT_EQ(slot(cat, 0).GetFlag(), (flags & ~0x50) | 0x80) << flags;
  }
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 1);
}

TEST_F(FlatCategoryTest, TheSeventeenthIsAssertedAndAddedAllTheSame) {
  FlatCategories cat;
  for (int i = 0; i < 16; ++i) add(cat, L"x");
  clearLog();
  RV_CREC rec = RV_AddNewCategorybyName(cat, L"one too many");
  EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine("CategoryDB", 183)));
  ASSERT_NE(rec, nullptr);
  EXPECT_EQ(rec, handleOf(slot(cat, 16)));
  EXPECT_EQ(nameIn(cat, 16), L"one too many");
  EXPECT_EQ(RV_GetCategoryID(cat, rec), 145ul);
}

TEST_F(FlatCategoryTest, WithoutAFreeIdMessage19IsThrownBehindTheFlags) {
  FlatCategories cat;
  RV_ResizeDB(cat, 128);
  for (unsigned long i = 0; i < 128; ++i) {
    slot(cat, i).SetEmpty(false);
    slot(cat, i).SetCategoryId(128 + i);
  }
  clearLog();
  const Thrown thrown = thrownBy([&] { RV_AddNewCategorybyName(cat, L"x"); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 19, 18)) << thrown;
  EXPECT_FALSE(slot(cat, 128).IsEmpty()) << "the hole was taken";
  EXPECT_TRUE(slot(cat, 128).IsNew());
  EXPECT_EQ(nameIn(cat, 128), L"");
}

// --- The scan by name ---

TEST_F(FlatCategoryTest, NothingIsFoundInAnEmptyDatabase) {
  FlatCategories cat;
  EXPECT_EQ(RV_FindCategorybyName(cat, L""), nullptr);
  EXPECT_EQ(RV_FindCategorybyName(cat, nullptr), nullptr);
  RV_RenameCategory(cat, L"", L"x");
  RV_DeleteCategorybyName(cat, L"");
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 0);
}

TEST_F(FlatCategoryTest, NamesAreComparedExactlyAndTheFirstCounts) {
  FlatCategories cat;
  fill(cat, {L"work", L"Work", L"Work ", L"Work"});
  EXPECT_EQ(found(cat, L"Work"), 1);
  EXPECT_EQ(found(cat, L"Work "), 2);
  EXPECT_EQ(found(cat, L"Wor"), -1);
  EXPECT_EQ(found(cat, L"WORK"), -1);
  EXPECT_EQ(found(cat, L""), -1);
  EXPECT_EQ(found(cat, nullptr), -1);
}

TEST_F(FlatCategoryTest, HolesThatAreNotDeletedAreFound) {
  FlatCategories cat;
  fill(cat, {L"a", L"hole"});
  slot(cat, 1).SetEmpty(true);
  EXPECT_EQ(found(cat, L"hole"), 1);
  EXPECT_EQ(categoriesOf(cat).FindCategory(L"hole"), nullptr) << "the class passes it over";
  RV_ResizeDB(cat, 3);
  EXPECT_EQ(found(cat, L""), 2) << "so are slots that were never used";
}

TEST_F(FlatCategoryTest, ADeletedSlotCountsUnderTheNameOfTheOneBeforeIt) {
  FlatCategories cat;
  fill(cat, {L"-gone", L"a", L"-b", L"c"});
  EXPECT_EQ(found(cat, L""), 0) << "no name stands before the first slot";
  EXPECT_EQ(found(cat, nullptr), 0) << "null means no name";
  EXPECT_EQ(found(cat, L"gone"), -1);
  EXPECT_EQ(found(cat, L"b"), -1);
  EXPECT_EQ(found(cat, L"a"), 1);
  EXPECT_EQ(found(cat, L"c"), 3);
}

TEST_F(FlatCategoryTest, ADeletedSlotBehindAnotherIsNotNameless) {
  FlatCategories cat;
  fill(cat, {L"a", L"-b", L"-c"});
  EXPECT_EQ(found(cat, L""), -1);
  FlatCategories gone;
  fill(gone, {L"-a", L"-b", L"c"});
  RV_RenameCategory(gone, L"", L"renamed");
  EXPECT_EQ(nameIn(gone, 0), L"renamed");
  EXPECT_EQ(slot(gone, 0).GetFlag(), 0x70) << "changed now, and still a deleted hole";
  EXPECT_EQ(nameIn(gone, 1), L"b");
}

TEST_F(FlatCategoryTest, ADeletedSlotsNameIsNotEvenRead) {
  FlatCategories cat;
  fill(cat, {L"-gone", L"a"});
  slot(cat, 0).getTaggedDataManager().deleteData(0x00010006);
  EXPECT_EQ(found(cat, L"a"), 1);
  EXPECT_EQ(iterName(cat, 0), L"");
}

TEST_F(FlatCategoryTest, TheFirstMatchIsNeverADeletedSlotBehindItsName) {
  FlatCategories cat;
  fill(cat, {L"a", L"-a", L"a"});
  EXPECT_EQ(found(cat, L"a"), 0);
  RV_DeleteCategorybyName(cat, L"a");
  // Slot 0 is deleted now, and slot 1 still: only slot 2 has the name.
  EXPECT_EQ(found(cat, L"a"), 2);
}

TEST_F(FlatCategoryTest, RenamingMarksTheRecordWithoutDatingIt) {
  FlatCategories cat;
  fill(cat, {L"a", L"b", L"b"});
  RV_RenameCategory(cat, L"b", L"c");
  EXPECT_EQ(nameIn(cat, 0), L"a");
  EXPECT_EQ(nameIn(cat, 1), L"c");
  EXPECT_EQ(nameIn(cat, 2), L"b");
  EXPECT_EQ(slot(cat, 1).GetFlag(), 0x20) << "changed, and nothing else";
  EXPECT_FALSE(slot(cat, 2).IsChanged());
  EXPECT_EQ(slot(cat, 1).GetLastChangedTime(), kTime);
  RV_RenameCategory(cat, L"b", nullptr);
  EXPECT_EQ(nameIn(cat, 2), L"");
}

TEST_F(FlatCategoryTest, RenamingWhatIsNotThereChangesNothing) {
  FlatCategories cat;
  fill(cat, {L"a", L"-b"});
  RV_RenameCategory(cat, L"b", L"c");
  EXPECT_EQ(nameIn(cat, 0), L"a");
  EXPECT_EQ(nameIn(cat, 1), L"b");
  EXPECT_FALSE(slot(cat, 0).IsChanged());
  EXPECT_FALSE(slot(cat, 1).IsChanged());
}

TEST_F(FlatCategoryTest, DeletingByNameMakesAHoleWithoutDatingIt) {
  FlatCategories cat;
  fill(cat, {L"a", L"b"});
  RV_DeleteCategorybyName(cat, L"b");
  EXPECT_EQ(slot(cat, 1).GetFlag(), 0x50) << "empty and deleted, and nothing else";
  EXPECT_EQ(slot(cat, 1).GetLastChangedTime(), kTime);
  EXPECT_EQ(nameIn(cat, 1), L"b");
  EXPECT_FALSE(slot(cat, 0).IsEmpty());
  RV_DeleteCategorybyName(cat, L"none");
  EXPECT_EQ(categoriesOf(cat).GetCategoryCount(), 1);
  slot(cat, 1).SetFlag(0x10);
  RV_DeleteCategorybyName(cat, L"b");
  EXPECT_EQ(slot(cat, 1).GetFlag(), 0x50) << "a hole that was not deleted is now";
}

TEST_F(FlatCategoryTest, TheScanGoesBeyondTheSixteenthSlot) {
  FlatCategories cat;
  RV_ResizeDB(cat, 40);
  slot(cat, 40).SetCategoryName(L"far");
  EXPECT_EQ(found(cat, L"far"), 40);
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Damage ---

TEST_F(FlatCategoryTest, DamagedRecordsThrowUnderTheAccessorsLine) {
  FlatCategories cat;
  RV_CREC rec = add(cat, L"a");
  CCategoryRecord& record = categoryOf(rec);
  const auto lineOf = [](const Thrown& thrown) {
    EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"CategoryRecord") ||
                kx_test::isTagError(thrown, 15, L"CategoryRecord"))
        << thrown;
    const size_t line = thrown.description.rfind(L"line ");
    return line == std::wstring::npos ? 0 : std::stoi(thrown.description.substr(line + 5));
  };
  record.getTaggedDataManager().deleteData(0x00010006);
  EXPECT_EQ(lineOf(thrownBy([&] { RV_FindCategorybyName(cat, L"a"); })), 83);
  EXPECT_EQ(lineOf(thrownBy([&] { RV_GetIterCategoryName(cat, nullptr, 0); })), 83);
  EXPECT_EQ(lineOf(thrownBy([&] { RV_RenameCategory(cat, L"a", L"b"); })), 83);
  EXPECT_EQ(lineOf(thrownBy([&] { RV_DeleteCategorybyName(cat, L"a"); })), 83);

  // Flags that can be read, and an entry behind them that cannot.
  kx_test::setBlock(record, join({kx_test::plainBlock(0x10), Bytes(20, 0)}));
  EXPECT_EQ(lineOf(thrownBy([&] { RV_SetCategoryID(cat, rec, 7); })), 43);
  EXPECT_EQ(lineOf(thrownBy([&] { RV_AddNewCategorybyName(cat, L"b"); })), 51)
      << "looking for a free id reads those that live";
  kx_test::setBlock(record, join({kx_test::plainBlock(0x10), kx_test::tag(5, {1, 0, 0, 0}),
                                  kx_test::tag(6, Bytes(5, 0)), Bytes(20, 0)}));
  EXPECT_EQ(lineOf(thrownBy([&] { RV_AddNewCategorybyName(cat, L"b"); })), 76);
}

}  // namespace
