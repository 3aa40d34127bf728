// Whole files, byte for byte: what the library writes, what it makes of them, what it keeps.

#include <gmock/gmock.h>

#include <algorithm>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "OutlineDB.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;

class OpenDb : public COutlineDB {
 public:
  OpenDb() = default;
  ~OpenDb() override = default;
  using COutlineDB::GetPrivateOutlineHeaderPtr;
  using COutlineDB::GetSharedHeaderPtr;
};

class GoldenFileTest : public kx_test::NamedUnfiledTest {
 protected:
  std::wstring file() const { return path(L"golden"); }
  void put(const std::string& name) { kx_test::writeFile("golden", kx_test::golden(name)); }
  /// The file is the golden one; a difference shows as hex, with the first differing offset.
  void expectFile(const std::string& name) {
    const Bytes actual = kx_test::readFile("golden");
    const Bytes expected = kx_test::golden(name);
    ASSERT_FALSE(expected.empty()) << name;
    const auto differ =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    EXPECT_EQ(kx_test::toHex(actual), kx_test::toHex(expected))
        << name << " differs from offset " << differ.first - actual.begin();
  }

  template <class Db>
  void create(Db& db) {
    ASSERT_EQ(db.Open(file().c_str(), kx_test::kCreate), 1);
    db.InitNewDatabase();
  }
  template <class Db>
  void save(Db& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }
  void read(COutlineDB& db) {
    ASSERT_EQ(db.Open(file().c_str(), kx_test::kReadWrite), 1);
    db.ReadConduitHeader();
    ASSERT_TRUE(db.ReadSharedHeader());
    ASSERT_TRUE(db.ReadPrivateHeader());
    db.ReadRows();
  }
  void read(CCategoryDB& db) {
    ASSERT_EQ(db.Open(file().c_str(), kx_test::kReadWrite), 1);
    db.ReadConduitHeader();
    db.ReadRows();
  }
  static COutlineRecord* item(COutlineDB& db, unsigned long i) {
    return static_cast<COutlineRecord*>(db.getRecord(i));
  }
  static COutlineRecord* append(COutlineDB& db) {
    return static_cast<COutlineRecord*>(db.GetRecordset()->Append());
  }
  template <class Object, class Class>
  static std::wstring text(Object& object, void (Class::*get)(_String&)) {
    _String value;
    (object.*get)(value);
    return value;
  }
};

// --- Writing ---

TEST_F(GoldenFileTest, ANewEmptyOutline) {
  COutlineDB db;
  create(db);
  save(db);
  expectFile("outline-empty");
}

TEST_F(GoldenFileTest, AnOutlineWithDeletedIds) {
  COutlineDB db;
  create(db);
  for (unsigned long id : {3ul, 0xFFFFFFFFul, 3ul}) db.AddDeletedId(id);
  COutlineRecord* rest = append(db);
  rest->SetId(4);
  rest->SetText(L"Rest");
  save(db);
  expectFile("outline-deleted-ids");
}

const unsigned char kDrawing[] = {2,  1, 0, 0, 0, 1, 0, 0, 0, 4,    0,    0,    0,
                                  24, 8, 0, 0, 0, 1, 0, 0, 0, 0x10, 0x20, 0x30, 0};

void fillShared(OpenDb& db) {
  db.SetCategoryName(L"B\u00FCro");
  db.SetCategoryChanged(false);
  db.SetOutlineChanged(false);
  db.SetSynchronized(true);
  db.SetPrivate(true);
  db.SetPrivateTagChanged(false);
  unsigned char numbering[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  db.setNumbering(numbering);
  db.setNumberingChanged(false);
  db.setNumberingDivider(0x2E29);
  db.GetSharedHeaderPtr()->SetPalmMatchName(L"Trip");
  db.GetConduitHeader()->getTaggedDataManager().setData(1, "\xC0\xDE", 2, nullptr, 5);
}

WINDOWPLACEMENT storedPlacement() {
  WINDOWPLACEMENT placement = {};
  placement.flags = 2;
  placement.showCmd = 3;
  placement.ptMinPosition.x = -1;
  placement.ptMinPosition.y = -2;
  placement.ptMaxPosition.x = 30;
  placement.ptMaxPosition.y = 40;
  placement.rcNormalPosition.left = -50;
  placement.rcNormalPosition.top = 60;
  placement.rcNormalPosition.right = 70;
  placement.rcNormalPosition.bottom = 80;
  return placement;
}

LOGFONTW storedFont() {
  LOGFONTW font = {};
  font.lfHeight = -12;
  font.lfWidth = 5;
  font.lfEscapement = 900;
  font.lfOrientation = -900;
  font.lfWeight = 700;
  font.lfItalic = 1;
  font.lfUnderline = 0;
  font.lfStrikeOut = 1;
  font.lfCharSet = 238;
  font.lfOutPrecision = 3;
  font.lfClipPrecision = 2;
  font.lfQuality = 1;
  font.lfPitchAndFamily = 34;
  return font;
}

void fillPrivate(OpenDb& db) {
  db.SetShowCheckedItems(2);
  db.setCheckedItemsChanged(false);
  db.SetSelectedIndex(1);
  db.SetTopIndex(0x00010203);
  db.SetOutlineWindowPos(storedPlacement());
  db.SetOutlineFont(storedFont(), 0x00336699);
  db.SetShowHeadingsMode(3);
  db.GetPrivateOutlineHeaderPtr()->SetFontName(L"Tahoma");
  db.SetOutlineTitle(L"Reise \u6771\u4EAC");
}

TEST_F(GoldenFileTest, AnOutlineWithAValueInEveryField) {
  OpenDb db;
  create(db);
  fillShared(db);
  fillPrivate(db);
  db.AddDeletedId(9);

  COutlineRecord* first = append(db);
  first->SetNew(true);
  first->SetId(0x01020304);
  first->SetText(L"Paris");
  first->SetNote(L"Line 1\nLine 2");

  COutlineRecord* second = append(db);
  second->SetChanged(true);
  second->SetSortChanged(true);
  second->SetId(7);
  second->SetIndent(1);
  second->SetExpanded(false);
  second->SetChecked(true);
  second->SetText(L"Caf\u00E9");
  second->getTaggedDataManager().setStringTagChanged(7, false);
  second->DeleteNote();

  COutlineRecord* third = append(db);
  third->SetEmpty(true);
  third->SetArchived(true);
  third->SetId(0xFFFFFFFE);
  third->SetIndent(255);
  third->SetText(L"\u4E2D");
  third->getTaggedDataManager().setData(12, kDrawing, sizeof(kDrawing), nullptr, 0);
  save(db);
  expectFile("outline-all-fields");
}

TEST_F(GoldenFileTest, ACategoryFile) {
  CCategoryDB db;
  create(db);
  db.GetByIndex(0)->SetLastChangedTime(1000000000);
  unsigned long time = 1000000001;
  db.AddNewCategory(L"Work", &time);
  CCategoryRecord* home = db.AddNewCategory(L"Home", &time);
  CCategoryRecord* office = db.AddNewCategory(L"Office", &time);
  db.DeleteCategory(home, 1000000009);
  db.RenameCategory(office, L"B\u00FCro", 0xFFFFFFFF);
  db.setNewFlag(false);
  save(db);
  expectFile("category-v1");
}

// --- Reading ---

TEST_F(GoldenFileTest, EveryFieldOfTheHeadersIsRead) {
  put("outline-all-fields");
  OpenDb db;
  read(db);
  EXPECT_EQ(kx_test::valueOf(db.GetConduitHeader()->getTaggedDataManager(), 1),
            (Bytes{0xC0, 0xDE}));
  EXPECT_EQ(text(db, &COutlineDB::GetCategoryName), L"B\u00FCro");
  EXPECT_FALSE(db.GetCategoryChanged());
  EXPECT_EQ(text(*db.GetSharedHeaderPtr(), &kx_gen::CSharedHeader::GetPalmMatchName), L"Trip");
  EXPECT_FALSE(db.GetOutlineChanged());
  EXPECT_TRUE(db.GetSynchronized());
  EXPECT_TRUE(db.GetPrivate());
  EXPECT_FALSE(db.GetPrivateTagChanged());
  unsigned char numbering[10] = {};
  db.getNumbering(numbering);
  EXPECT_EQ(Bytes(numbering, numbering + 10), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  EXPECT_FALSE(db.getNumberingChanged());
  EXPECT_EQ(db.getNumberingDivider(), 0x2E29);
  EXPECT_TRUE(db.getNumberingDividerChanged());

  EXPECT_EQ(text(db, &COutlineDB::GetOutlineTitle), L"Reise \u6771\u4EAC");
  EXPECT_EQ(db.GetShowCheckedItems(), 2);
  EXPECT_FALSE(db.ShowCheckedItemsChanged());
  EXPECT_EQ(db.GetSelectedIndex(), 1u);
  EXPECT_EQ(db.GetTopIndex(), 0x00010203u);
  EXPECT_EQ(db.GetShowHeadingsMode(), 3);
  EXPECT_EQ(text(*db.GetPrivateOutlineHeaderPtr(), &kx_gen::CPrivateOutlineHeader::GetFontName),
            L"Tahoma");
  WINDOWPLACEMENT placement = {};
  db.GetOutlineWindowPos(placement);
  EXPECT_EQ(placement.rcNormalPosition.left, -50);
  EXPECT_EQ(placement.rcNormalPosition.bottom, 80);
  LOGFONTW font = {};
  unsigned long color = 0;
  db.GetOutlineFont(font, &color);
  EXPECT_EQ(font.lfHeight, -12);
  EXPECT_EQ(font.lfCharSet, 238);
  EXPECT_EQ(color, 0x00336699u);
}

TEST_F(GoldenFileTest, EveryFieldOfTheItemsIsRead) {
  put("outline-all-fields");
  COutlineDB db;
  read(db);
  ASSERT_EQ(db.GetRecordset()->getSize(), 3);
  EXPECT_TRUE(db.IsDeleted(9));
  EXPECT_EQ(db.GetDeletedThoughts().GetCount(), 1u);

  COutlineRecord* first = item(db, 0);
  EXPECT_TRUE(first->IsNew());
  EXPECT_FALSE(first->IsSortChanged());
  EXPECT_EQ(first->GetId(), 0x01020304u);
  EXPECT_EQ(text(*first, &COutlineRecord::GetText), L"Paris");
  EXPECT_EQ(text(*first, &COutlineRecord::GetNote), L"Line 1\nLine 2");
  EXPECT_TRUE(first->GetExpanded());
  EXPECT_FALSE(first->GetChecked());
  EXPECT_FALSE(first->HasDrawing());

  COutlineRecord* second = item(db, 1);
  EXPECT_TRUE(second->IsChanged());
  EXPECT_TRUE(second->IsSortChanged());
  EXPECT_EQ(second->GetId(), 7u);
  EXPECT_EQ(second->GetIndent(), 1);
  EXPECT_FALSE(second->GetExpanded());
  EXPECT_TRUE(second->GetChecked());
  EXPECT_EQ(text(*second, &COutlineRecord::GetText), L"Caf\u00E9");
  EXPECT_FALSE(second->HasNote());

  COutlineRecord* third = item(db, 2);
  EXPECT_EQ(third->GetFlag(), 0x18);
  EXPECT_EQ(third->GetId(), 0xFFFFFFFEul);
  EXPECT_EQ(third->GetIndent(), 255);
  EXPECT_EQ(text(*third, &COutlineRecord::GetText), L"\u4E2D");
  EXPECT_TRUE(third->HasNote());
  long width = 0;
  long height = 0;
  third->GetDrawingSize(width, height);
  EXPECT_EQ(width, 1);
  EXPECT_EQ(height, 1);
}

TEST_F(GoldenFileTest, ACategoryFileIsRead) {
  put("category-v1");
  CCategoryDB db;
  read(db);
  EXPECT_FALSE(db.isNew());
  EXPECT_EQ(db.GetVersionNum(), 1u);
  ASSERT_EQ(db.GetRecordset()->getSize(), 4);
  EXPECT_EQ(db.GetCategoryCount(), 3);
  EXPECT_EQ(db.FindCategory(L"B\u00FCro"), db.GetByIndex(3));
  EXPECT_EQ(db.GetByIndex(3)->GetLastChangedTime(), 0xFFFFFFFFul);
  EXPECT_EQ(db.FindCategory(L"Home"), nullptr);
  EXPECT_EQ(text(*db.GetByIndex(2), &CCategoryRecord::GetCategoryName), L"Home");
  EXPECT_EQ(db.FindFirstHole(), 2);
  EXPECT_EQ(db.GetNewCategoryId(), 132u);
}

TEST_F(GoldenFileTest, ACategoryFileOfVersionZeroIsRead) {
  put("category-v0");
  CCategoryDB db;
  db.setNewFlag(false);
  read(db);
  EXPECT_FALSE(db.isNew());
  EXPECT_EQ(db.GetVersionNum(), 0u);
  EXPECT_EQ(db.GetCategoryCount(), 2);
  EXPECT_EQ(db.FindCategory(129), db.GetByIndex(1));
  EXPECT_EQ(db.GetNewCategoryId(), 130u);
}

TEST_F(GoldenFileTest, ACategoryFileOfVersionZeroIsSavedAsVersionOneWithTheNewFlag) {
  put("category-v0");
  CCategoryDB db;
  read(db);
  save(db);
  Bytes expected = kx_test::golden("category-v0");
  expected[4] = 1;
  constexpr size_t kBehindLastId = 10 + 2 + 6 + 255 + 4;
  expected.insert(expected.begin() + kBehindLastId, 1);
  EXPECT_EQ(kx_test::readFile("golden"), expected);
}

// --- Keeping ---

class GoldenOutlineTest : public GoldenFileTest,
                          public ::testing::WithParamInterface<const char*> {};

TEST_P(GoldenOutlineTest, IsSavedAsItWasRead) {
  put(GetParam());
  COutlineDB db;
  read(db);
  save(db);
  expectFile(GetParam());
}

TEST_P(GoldenOutlineTest, RowsStandWhereTheirPositionsSay) {
  put(GetParam());
  COutlineDB db;
  read(db);
  const Bytes bytes = kx_test::golden(GetParam());
  for (kx_gen::CDBRecord* record : *db.GetRecordset()) {
    EXPECT_EQ(kx_test::slice(bytes, record->GetPos(), 12 + record->GetRecSize()),
              kx_test::row(kx_test::blockOf(*record)));
  }
  EXPECT_EQ(db.GetPosition(), bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Files, GoldenOutlineTest,
                         ::testing::Values("outline-empty", "outline-deleted-ids",
                                           "outline-all-fields", "outline-unknown",
                                           "outline-unknown-edited"));

TEST_F(GoldenFileTest, ACategoryFileIsSavedAsItWasRead) {
  put("category-v1");
  CCategoryDB db;
  read(db);
  save(db);
  expectFile("category-v1");
}

TEST_F(GoldenFileTest, UnknownHeadersAndTagsSurviveOpenEditSave) {
  put("outline-unknown");
  COutlineDB db;
  read(db);
  kx_test::clearLog();
  db.SetOutlineTitle(L"Other title");
  item(db, 0)->SetText(L"After the edit");
  item(db, 1)->SetChecked(true);
  db.AddDeletedId(11);
  save(db);
  expectFile("outline-unknown-edited");
  EXPECT_EQ(kx_test::logCount("Assertion Failed! File "), 2) << "one for each unknown header";
  EXPECT_EQ(kx_test::logLines().size(), 2u);
}

TEST_F(GoldenFileTest, FieldsBesideUnknownTagsAreRead) {
  put("outline-unknown");
  COutlineDB db;
  read(db);
  EXPECT_EQ(text(db, &COutlineDB::GetOutlineTitle), L"From afar");
  EXPECT_EQ(text(db, &COutlineDB::GetCategoryName), L"Work");
  EXPECT_TRUE(db.GetSynchronized());
  ASSERT_EQ(db.GetRecordset()->getSize(), 2);
  EXPECT_EQ(item(db, 0)->GetId(), 11u);
  EXPECT_EQ(item(db, 0)->GetIndent(), 2);
  EXPECT_EQ(text(*item(db, 0), &COutlineRecord::GetText), L"Before");
  EXPECT_EQ(text(*item(db, 0), &COutlineRecord::GetNote), L"kept");
  unsigned char version = 0;
  EXPECT_EQ(item(db, 0)->getTaggedDataManager().getTagVersion(11, &version), 0);
  EXPECT_EQ(version, 9);
  EXPECT_EQ(kx_test::valueOf(item(db, 0)->getTaggedDataManager(), 0xFFFFFFFF),
            (Bytes{0x74, 0x61, 0}));
}

}  // namespace
