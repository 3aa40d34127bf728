// Renaming a category in the outline files of a folder.

#include <gmock/gmock.h>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "OutlineDB.h"

namespace {

namespace fs = std::filesystem;
using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::COutlineDB;
using kx_gen::updateCategory;
using kx_gen::updateFileCategory;
using kx_test::Bytes;
using kx_test::join;
using kx_test::Thrown;
using kx_test::thrownBy;

constexpr size_t kSharedSlot = 10 + 2 + 18 + 255;
constexpr size_t kBehindShared = kSharedSlot + 512;

class CategoryUpdateTest : public kx_test::NamedUnfiledTest {
 protected:
  /// A saved outline of this category with an item and a deleted id; nothing in it is changed.
  void make(const std::wstring& name, const wchar_t* category) {
    COutlineDB db;
    ASSERT_EQ(db.Open(path(name).c_str(), kx_test::kCreate), 1);
    db.InitNewDatabase();
    db.SetCategoryName(category);
    db.SetCategoryChanged(false);
    db.SetOutlineChanged(false);
    db.AddDeletedId(7);
    static_cast<kx_gen::COutlineRecord*>(db.GetRecordset()->Append())->SetText(L"kept");
    db.WriteAllHeaders();
    db.WriteRows();
  }
  Bytes content(const std::wstring& name) { return kx_test::readFile(folder() / name); }
  std::wstring category(const std::wstring& name) {
    COutlineDB db;
    EXPECT_EQ(db.Open(path(name).c_str(), 0), 1);
    db.ReadSharedHeader();
    _String category;
    db.GetCategoryName(category);
    return category;
  }
  bool update(const std::wstring& name, bool always, const wchar_t* oldName,
              const wchar_t* newName) {
    return updateFileCategory(path(name).c_str(), always, oldName, newName);
  }
  /// The test's folder as a library path without a separator at its end.
  std::wstring here() const { return folder().wstring(); }
};

// --- One file ---

TEST_F(CategoryUpdateTest, AFileOfTheOldCategoryGetsTheNewOneAndCountsAsChanged) {
  make(L"a.kxo", L"Work");
  EXPECT_TRUE(update(L"a.kxo", false, L"Work", L"Home"));
  COutlineDB db;
  db.Open(path(L"a.kxo").c_str(), 0);
  db.ReadSharedHeader();
  _String name;
  db.GetCategoryName(name);
  EXPECT_EQ(name, L"Home");
  EXPECT_TRUE(db.GetCategoryChanged());
  EXPECT_TRUE(db.GetOutlineChanged());
}

TEST_F(CategoryUpdateTest, OnlyTheSharedHeadersSlotChanges) {
  make(L"a.kxo", L"Work");
  const Bytes before = content(L"a.kxo");
  update(L"a.kxo", false, L"Work", L"Home");
  const Bytes after = content(L"a.kxo");
  EXPECT_EQ(after.size(), before.size());
  EXPECT_EQ(kx_test::slice(after, 0, kSharedSlot), kx_test::slice(before, 0, kSharedSlot));
  EXPECT_EQ(kx_test::slice(after, kBehindShared, after.size() - kBehindShared),
            kx_test::slice(before, kBehindShared, before.size() - kBehindShared));
  EXPECT_NE(after, before);
}

TEST_F(CategoryUpdateTest, AFileOfAnotherCategoryStaysByteForByte) {
  for (const wchar_t* other : {L"Play", L"work", L"Work ", L"Wor", L""}) {
    make(L"a.kxo", other);
    const Bytes before = content(L"a.kxo");
    EXPECT_TRUE(update(L"a.kxo", false, L"Work", L"Home"));
    EXPECT_EQ(content(L"a.kxo"), before);
  }
}

TEST_F(CategoryUpdateTest, AlwaysMeansWhateverTheCategoryIs) {
  make(L"a.kxo", L"Play");
  EXPECT_TRUE(update(L"a.kxo", true, L"Work", L"Home"));
  EXPECT_EQ(category(L"a.kxo"), L"Home");
  EXPECT_TRUE(update(L"a.kxo", true, nullptr, L"Club"));
  EXPECT_EQ(category(L"a.kxo"), L"Club");
}

TEST_F(CategoryUpdateTest, TheFileIsClosedAfterwards) {
  make(L"a.kxo", L"Work");
  update(L"a.kxo", false, L"Work", L"Home");
  update(L"a.kxo", false, L"Other", L"Home");
  kx_gen::CFile file;
  EXPECT_EQ(file.Open(path(L"a.kxo").c_str(), kx_test::kReadWrite), 1);
}

TEST_F(CategoryUpdateTest, DamagedRowsDoNotHinderIt) {
  make(L"a.kxo", L"Work");
  Bytes bytes = content(L"a.kxo");
  bytes.resize(bytes.size() - 30);
  bytes[bytes.size() - 20] ^= 0xFF;
  kx_test::writeFile("a.kxo", bytes);
  EXPECT_TRUE(update(L"a.kxo", false, L"Work", L"Home"));
  EXPECT_EQ(category(L"a.kxo"), L"Home");
  const Bytes after = content(L"a.kxo");
  EXPECT_EQ(after.size(), bytes.size());
  EXPECT_EQ(kx_test::slice(after, kBehindShared, 100), kx_test::slice(bytes, kBehindShared, 100));
}

TEST_F(CategoryUpdateTest, UnknownHeadersStayWhereTheyAre) {
  const Bytes before = kx_test::golden("outline-unknown");
  kx_test::writeFile("a.kxo", before);
  EXPECT_TRUE(update(L"a.kxo", false, L"Work", L"Home"));
  EXPECT_EQ(category(L"a.kxo"), L"Home");
  const Bytes after = content(L"a.kxo");
  constexpr size_t kSlot = 10 + 2 + 5 * 6 + 255 + 20;
  EXPECT_EQ(kx_test::slice(after, 0, kSlot), kx_test::slice(before, 0, kSlot));
  EXPECT_EQ(kx_test::slice(after, kSlot + 512, 2000), kx_test::slice(before, kSlot + 512, 2000));
  EXPECT_EQ(after.size(), before.size());
}

TEST_F(CategoryUpdateTest, AFileThatCannotBeOpenedThrowsMessage8AndChangesNothing) {
  const Thrown missing = thrownBy([&] { update(L"missing.kxo", true, L"Work", L"Home"); });
  EXPECT_TRUE(missing.is(Thrown::kException, 8, 7)) << missing;
  EXPECT_FALSE(fs::exists(folder() / "missing.kxo"));

  kx_test::writeFile("foreign.kxo", Bytes(600, 'x'));
  const Thrown foreign = thrownBy([&] { update(L"foreign.kxo", true, L"Work", L"Home"); });
  EXPECT_TRUE(foreign.is(Thrown::kException, 8, 7)) << foreign;
  EXPECT_EQ(content(L"foreign.kxo"), Bytes(600, 'x'));

  make(L"newer.kxo", L"Work");
  Bytes newer = content(L"newer.kxo");
  newer[4] = 1;
  kx_test::writeFile("newer.kxo", newer);
  const Thrown refused = thrownBy([&] { update(L"newer.kxo", true, L"Work", L"Home"); });
  EXPECT_TRUE(refused.is(Thrown::kException, 8, 7)) << refused;
  EXPECT_EQ(content(L"newer.kxo"), newer);
}

TEST_F(CategoryUpdateTest, ALockedFileThrowsMessage8) {
  make(L"a.kxo", L"Work");
  const Bytes before = content(L"a.kxo");
  {
    kx_gen::CFile lock;
    lock.Open(path(L"a.kxo").c_str(), kx_test::kReadWrite);
    const Thrown thrown = thrownBy([&] { update(L"a.kxo", true, L"Work", L"Home"); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
  }
  EXPECT_EQ(content(L"a.kxo"), before);
}

TEST_F(CategoryUpdateTest, ASharedHeaderThatCannotBeReadThrowsItsExceptionAndChangesNothing) {
  make(L"a.kxo", L"Work");
  Bytes bytes = content(L"a.kxo");
  for (size_t i = 0; i < 4; ++i) bytes[kSharedSlot + i] = 0xFF;
  kx_test::writeFile("a.kxo", bytes);
  const Thrown thrown = thrownBy([&] { update(L"a.kxo", true, L"Work", L"Home"); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 14, 13)) << thrown;
  EXPECT_EQ(content(L"a.kxo"), bytes);
}

// --- A file whose table must grow ---

class GrowingTableTest : public CategoryUpdateTest {
 protected:
  const Bytes conduit_ = kx_test::slot(255, kx_test::tag(1, {0xC0, 0xDE}));
  const Bytes unknown_ = {1, 2, 3, 4, 5};
  const Bytes privateSlot_ =
      kx_test::slot(512, join({kx_test::tag(1, {3}), kx_test::tag(7, {4}),
                               kx_test::stringTag(2, kx_test::narrow("Old"))}));
  const Bytes behind_ =
      join({kx_test::le32(2), kx_test::le32(11), kx_test::le32(12),
            kx_test::row(join({kx_test::plainBlock(), kx_test::tag(5, {1, 0, 0, 0}),
                               kx_test::stringTag(7, kx_test::narrow("kept"))}))});

  /// An outline without a shared header.
  Bytes oldFile() const {
    return join({kx_test::dbInfo(0, 1), kx_test::headerTable({{1, 255}, {7, 5}, {3, 512}}),
                 conduit_, unknown_, privateSlot_, behind_});
  }
  /// The same with one.
  Bytes grownFile(const Bytes& sharedBlock) const {
    return join({kx_test::dbInfo(0, 1),
                 kx_test::headerTable({{1, 255}, {7, 5}, {3, 512}, {2, 512}}), conduit_, unknown_,
                 privateSlot_, kx_test::slot(512, sharedBlock), behind_});
  }
  static Bytes newShared(const std::string& name) {
    return join({kx_test::tag(3, {1}), kx_test::tag(4, {0}), kx_test::tag(5, {0}),
                 kx_test::tag(8, kx_test::zeros(10)), kx_test::tag(9, {0, 0}),
                 kx_test::stringTag(1, kx_test::narrow(name)), kx_test::stringTag(2, {0})});
  }
};

TEST_F(GrowingTableTest, AFileWithoutASharedHeaderIsRewrittenWithEverythingElseKept) {
  kx_test::writeFile("a.kxo", oldFile());
  EXPECT_TRUE(update(L"a.kxo", true, L"Work", L"Home"));
  EXPECT_EQ(kx_test::toHex(content(L"a.kxo")), kx_test::toHex(grownFile(newShared("Home"))));
}

TEST_F(GrowingTableTest, SuchAFileIsOfTheUnfiledCategory) {
  kx_test::writeFile("a.kxo", oldFile());
  EXPECT_TRUE(update(L"a.kxo", false, L"Work", L"Home"));
  EXPECT_EQ(content(L"a.kxo"), oldFile());
  EXPECT_TRUE(update(L"a.kxo", false, L"Unfiled", L"Home"));
  EXPECT_EQ(content(L"a.kxo"), grownFile(newShared("Home")));
}

TEST_F(GrowingTableTest, WhatCannotBeReadWholeIsNotRewritten) {
  const Bytes cut = kx_test::slice(oldFile(), 0, oldFile().size() - 3);
  kx_test::writeFile("a.kxo", cut);
  const Thrown thrown = thrownBy([&] { update(L"a.kxo", true, L"Work", L"Home"); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
  EXPECT_EQ(content(L"a.kxo"), cut);
}

TEST_F(GrowingTableTest, AFileThatLacksOnlyThePrivateHeaderKeepsItsTable) {
  const Bytes shared =
      join({kx_test::tag(3, {0}, 0), kx_test::tag(5, {0}, 0), kx_test::tag(8, Bytes(10, 0), 0),
            kx_test::tag(9, {0, 0}, 0), kx_test::stringTag(1, kx_test::narrow("Work"), 0),
            kx_test::stringTag(2, {0}, 0)});
  const auto file = [&](const Bytes& block) {
    return join({kx_test::dbInfo(0, 1), kx_test::headerTable({{1, 255}, {2, 512}}), conduit_,
                 kx_test::slot(512, block), behind_});
  };
  kx_test::writeFile("a.kxo", file(shared));
  EXPECT_TRUE(update(L"a.kxo", false, L"Work", L"Home"));
  const Bytes renamed =
      join({kx_test::tag(3, {1}), kx_test::tag(5, {0}, 0), kx_test::tag(8, Bytes(10, 0), 0),
            kx_test::tag(9, {0, 0}, 0), kx_test::stringTag(1, kx_test::narrow("Home")),
            kx_test::stringTag(2, {0}, 0)});
  EXPECT_EQ(kx_test::toHex(content(L"a.kxo")), kx_test::toHex(file(renamed)));
}

// --- A folder ---

TEST_F(CategoryUpdateTest, EveryFileOfTheFolderWithTheOldCategoryIsRenamed) {
  make(L"a.kxo", L"Work");
  make(L"b.kxo", L"Play");
  make(L"c.kxo", L"Work");
  const Bytes play = content(L"b.kxo");
  updateCategory(here().c_str(), L"kxo", L"Work", L"Home");
  EXPECT_EQ(category(L"a.kxo"), L"Home");
  EXPECT_EQ(category(L"c.kxo"), L"Home");
  EXPECT_EQ(content(L"b.kxo"), play);
}

TEST_F(CategoryUpdateTest, TheFolderMayEndInASeparatorOrNot) {
  for (const wchar_t* end : {L"", L"\\", L"/"}) {
    make(L"a.kxo", L"Work");
    updateCategory((here() + end).c_str(), L"kxo", L"Work", L"Home");
    EXPECT_EQ(category(L"a.kxo"), L"Home");
  }
}

TEST_F(CategoryUpdateTest, OtherExtensionsFoldersAndLongerExtensionsAreSkipped) {
  make(L"a.kxo", L"Work");
  make(L"a.kxob", L"Work");
  make(L"a.kx", L"Work");
  make(L"kxo", L"Work");
  fs::create_directory(folder() / "folder.kxo");
  make(L"folder.kxo/inside.kxo", L"Work");
  updateCategory(here().c_str(), L"kxo", L"Work", L"Home");
  EXPECT_EQ(category(L"a.kxo"), L"Home");
  EXPECT_EQ(category(L"a.kxob"), L"Work");
  EXPECT_EQ(category(L"a.kx"), L"Work");
  EXPECT_EQ(category(L"kxo"), L"Work");
  EXPECT_EQ(category(L"folder.kxo/inside.kxo"), L"Work");
}

TEST_F(CategoryUpdateTest, TheExtensionMatchesIgnoringCase) {
  make(L"a.KXO", L"Work");
  updateCategory(here().c_str(), L"kxo", L"Work", L"Home");
  EXPECT_EQ(category(L"a.KXO"), L"Home");
}

TEST_F(CategoryUpdateTest, WithoutANewNameTheFilesBecomeUnfiled) {
  make(L"a.kxo", L"Work");
  updateCategory(here().c_str(), L"kxo", L"Work", nullptr);
  EXPECT_EQ(category(L"a.kxo"), L"Unfiled");
}

TEST_F(CategoryUpdateTest, ALockedFileStopsItAndLaterFilesAreUntouched) {
  make(L"a.kxo", L"Work");
  make(L"b.kxo", L"Work");
  make(L"c.kxo", L"Work");
  kx_gen::CFile lock;
  lock.Open(path(L"b.kxo").c_str(), kx_test::kReadWrite);
  const Thrown thrown = thrownBy([&] { updateCategory(here().c_str(), L"kxo", L"Work", L"Home"); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
  lock.Close();
  EXPECT_EQ(category(L"a.kxo"), L"Home");
  EXPECT_EQ(category(L"b.kxo"), L"Work");
  EXPECT_EQ(category(L"c.kxo"), L"Work");
}

TEST_F(CategoryUpdateTest, AnEmptyOrMissingFolderIsNoFailure) {
  updateCategory(here().c_str(), L"kxo", L"Work", L"Home");
  updateCategory((here() + L"/missing").c_str(), L"kxo", L"Work", L"Home");
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(CategoryUpdateTest, NullArgumentsAssertInOrder) {
  make(L"a.kxo", L"Work");
  const Bytes before = content(L"a.kxo");
  kx_test::clearLog();
  updateCategory((here() + L"/none").c_str(), nullptr, nullptr, L"Home");
  ASSERT_EQ(kx_test::logLines().size(), 2u);
  EXPECT_THAT(kx_test::logLines()[0],
              ::testing::EndsWith("OutlineDB Line 226 quiting application"));
  EXPECT_THAT(kx_test::logLines()[1],
              ::testing::EndsWith("OutlineDB Line 227 quiting application"));
  kx_test::clearLog();
  updateCategory(nullptr, L"no such extension", L"Work", L"Home");
  ASSERT_EQ(kx_test::logLines().size(), 1u);
  EXPECT_THAT(kx_test::logLines()[0],
              ::testing::EndsWith("OutlineDB Line 225 quiting application"));
  EXPECT_EQ(content(L"a.kxo"), before);
}

TEST_F(CategoryUpdateTest, ANullOldNameIsAnEmptyOne) {
  make(L"a.kxo", L"Work");
  make(L"b.kxo", L"");
  updateCategory(here().c_str(), L"kxo", nullptr, L"Home");
  EXPECT_EQ(category(L"a.kxo"), L"Work");
  EXPECT_EQ(category(L"b.kxo"), L"Home");
}

}  // namespace
