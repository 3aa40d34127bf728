// The outline database: opening, header fields, deleted ids, deleting rows, comparing headers.

#include "OutlineDB.h"

#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <iterator>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "StorageSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CDeletedThoughts;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;
using kx_test::join;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t kSharedSlot = 10 + 2 + 18 + 255;
constexpr size_t kPrivateSlot = kSharedSlot + 512;
constexpr size_t kRowsStart = kPrivateSlot + 512;

/// An outline database whose protected headers can be looked at.
class OpenDb : public COutlineDB {
 public:
  OpenDb() = default;
  ~OpenDb() override = default;
  using COutlineDB::GetPrivateOutlineHeaderPtr;
  using COutlineDB::GetSharedHeaderPtr;
  using COutlineDB::SetVersionNum;

  kx_gen::CTaggedDataManager& sharedTags() { return GetSharedHeaderPtr()->getTaggedDataManager(); }
  kx_gen::CTaggedDataManager& privateTags() {
    return GetPrivateOutlineHeaderPtr()->getTaggedDataManager();
  }
};

class OutlineDBTest : public kx_test::NamedUnfiledTest {
 protected:
  std::wstring file() const { return path(L"outline.kxo"); }
  void put(const Bytes& bytes) { kx_test::writeFile("outline.kxo", bytes); }
  Bytes content() { return kx_test::readFile("outline.kxo"); }

  int open(COutlineDB& db, unsigned int mode = kx_test::kReadWrite) {
    return db.Open(file().c_str(), mode);
  }
  void create(COutlineDB& db) {
    ASSERT_EQ(open(db, kx_test::kCreate), 1);
    db.InitNewDatabase();
  }
  void save(COutlineDB& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }
  static COutlineRecord* addItem(COutlineDB& db, unsigned long id, const wchar_t* text = L"") {
    auto* item = static_cast<COutlineRecord*>(db.GetRecordset()->Append());
    item->SetId(id);
    item->SetText(text);
    return item;
  }
  static std::vector<unsigned long> ids(COutlineDB& db) {
    std::vector<unsigned long> found;
    for (kx_gen::CDBRecord* record : *db.GetRecordset()) {
      found.push_back(static_cast<COutlineRecord*>(record)->GetId());
    }
    return found;
  }
  static std::vector<unsigned long> deletedIds(const COutlineDB& db) {
    std::vector<unsigned long> found;
    for (size_t i = 0; i < db.GetDeletedThoughts().GetCount(); ++i) {
      found.push_back(db.GetDeletedThoughts().GetId(i));
    }
    return found;
  }
  template <class Db>
  static std::wstring text(Db& db, void (COutlineDB::*get)(_String&)) {
    _String value;
    (db.*get)(value);
    return value;
  }
};

// --- Construction ---

TEST_F(OutlineDBTest, TheVirtualTableIsThatOfDatabases) {
  EXPECT_EQ(kx_test::virtualSlot(&COutlineDB::Open), 2);
  EXPECT_EQ(kx_test::virtualSlot(&COutlineDB::CheckDbInfo), 4);
  EXPECT_EQ(kx_test::virtualSlot(&COutlineDB::ReadExtraRows), 7);
  EXPECT_EQ(kx_test::virtualSlot(&COutlineDB::WriteExtraRows), 8);
  EXPECT_EQ(kx_test::virtualSlot(&COutlineDB::CreateRecordset), 9);
}

TEST_F(OutlineDBTest, ANewDatabaseTracesItselfAndHasTwoHeaders) {
  OpenDb db;
  EXPECT_THAT(kx_test::logLines(), ElementsAre("COutlineDB::COutlineDB"));
  EXPECT_FALSE(db.IsOpen());
  EXPECT_EQ(db.GetVersionNum(), 0u);
  ASSERT_NE(db.GetRecordset(), nullptr);
  EXPECT_TRUE(kx_test::isExactly<kx_gen::COutlineRecordset>(db.GetRecordset()));
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  EXPECT_THAT(deletedIds(db), IsEmpty());
  ASSERT_NE(db.GetSharedHeaderPtr(), nullptr);
  ASSERT_NE(db.GetPrivateOutlineHeaderPtr(), nullptr);
  EXPECT_EQ(db.GetSharedHeaderPtr(), db.GetHeaderManager().GetHeaderPtr(2));
  EXPECT_EQ(db.GetPrivateOutlineHeaderPtr(), db.GetHeaderManager().GetHeaderPtr(3));
}

TEST_F(OutlineDBTest, HeadersStandAsConduitSharedPrivate) {
  COutlineDB db;
  create(db);
  save(db);
  EXPECT_EQ(kx_test::slice(content(), 10, 20),
            kx_test::headerTable({{1, 255}, {2, 512}, {3, 512}}));
  EXPECT_EQ(content().size(), kRowsStart + 4);
}

// --- Opening ---

TEST_F(OutlineDBTest, OpeningTracesPathAndMode) {
  COutlineDB db;
  create(db);
  save(db);
  kx_test::clearLog();
  EXPECT_EQ(open(db, kx_test::kShared), 1);
  EXPECT_THAT(kx_test::logLines(),
              ElementsAre("COutlineDB::Open " + (folder() / "outline.kxo").string() + " 66"));
}

TEST_F(OutlineDBTest, OpeningReadsNeitherHeadersNorRows) {
  {
    COutlineDB db;
    create(db);
    db.SetCategoryName(L"Work");
    db.AddDeletedId(5);
    addItem(db, 1);
    save(db);
  }
  COutlineDB db;
  EXPECT_EQ(open(db), 1);
  EXPECT_EQ(text(db, &COutlineDB::GetCategoryName), L"Unfiled");
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  EXPECT_TRUE(db.ReadSharedHeader());
  EXPECT_EQ(text(db, &COutlineDB::GetCategoryName), L"Work");
  db.ReadRows();
  EXPECT_THAT(ids(db), ElementsAre(1));
  EXPECT_THAT(deletedIds(db), ElementsAre(5));
}

TEST_F(OutlineDBTest, AnotherVersionIsRefusedTracedAndLeavesTheFileClosed) {
  COutlineDB writer;
  create(writer);
  save(writer);
  for (uint16_t version : {1, 10, 0x100, 0xFFFF}) {
    Bytes bytes = content();
    bytes[4] = static_cast<unsigned char>(version);
    bytes[5] = static_cast<unsigned char>(version >> 8);
    put(bytes);
    COutlineDB db;
    kx_test::clearLog();
    EXPECT_EQ(open(db), 0);
    EXPECT_FALSE(db.IsOpen());
    const std::vector<std::string> log = kx_test::logLines();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_THAT(log[1], ::testing::AnyOf(kx_test::throwLine("OutlineDB", 85),
                                         kx_test::throwLine(".\\OutlineDB", 85)));
    EXPECT_EQ(log[2],
              "line 364 exception The db version is newer than your application. Please update "
              "your application! nm 3");
  }
}

TEST_F(OutlineDBTest, TheVersionTestThrowsMessage4) {
  OpenDb db;
  db.CheckDbInfo();
  db.SetVersionNum(1);
  EXPECT_TRUE(thrownBy([&] { db.CheckDbInfo(); }).is(Thrown::kDbException, 4, 3));
}

TEST_F(OutlineDBTest, AMissingFileGivesZeroAndALine) {
  COutlineDB db;
  kx_test::clearLog();
  EXPECT_EQ(open(db), 0);
  EXPECT_FALSE(db.IsOpen());
  EXPECT_THAT(kx_test::logLines(),
              ElementsAre("COutlineDB::Open " + (folder() / "outline.kxo").string() + " 2",
                          kx_test::throwLine(".\\File", 399), "ERROR_FILE_NOT_FOUND",
                          "line 364 exception fileNotFound nm -1"));
}

TEST_F(OutlineDBTest, EveryRefusalOfTheFileGivesZeroAndItsLine) {
  const struct {
    Bytes bytes;
    std::string line;
  } cases[] = {
      {{},
       "line 364 exception The db check code is different. This is not a .kxo file. Perhaps "
       "you renamed it from a .kxo.pdb file? That won't work.  nm 12"},
      {Bytes(100, 'x'),
       "line 364 exception The db check code is different. This is not a .kxo "
       "file. Perhaps you renamed it from a .kxo.pdb file? That won't work.  "
       "nm 12"},
      {kx_test::dbInfo(0, 0), "line 364 exception File IO read error nm 7"},
      {join({kx_test::dbInfo(0, 0), kx_test::headerTable({{2, 511}}), kx_test::zeros(511)}),
       "line 364 exception The header size is changed, but the db version not nm 19"},
  };
  for (const auto& refused : cases) {
    put(refused.bytes);
    COutlineDB db;
    EXPECT_EQ(open(db), 0);
    EXPECT_FALSE(db.IsOpen());
    EXPECT_EQ(kx_test::logLines().back(), refused.line);
  }
}

TEST_F(OutlineDBTest, ARefusedDatabaseCanOpenAnotherFile) {
  COutlineDB writer;
  create(writer);
  save(writer);
  COutlineDB db;
  EXPECT_EQ(db.Open(path(L"missing.kxo").c_str(), 2), 0);
  EXPECT_EQ(open(db), 1);
  EXPECT_TRUE(db.ReadPrivateHeader());
}

// --- Rows and deleted ids in the file ---

TEST_F(OutlineDBTest, AnEmptyListIsFourZeroBytesAheadOfTheFirstRow) {
  COutlineDB db;
  create(db);
  addItem(db, 1);
  save(db);
  EXPECT_EQ(kx_test::slice(content(), kRowsStart, 8), (Bytes{0, 0, 0, 0, 0x50, 0x4B, 3, 4}));
}

TEST_F(OutlineDBTest, IdsStandBetweenCountAndFirstRowInListOrder) {
  COutlineDB db;
  create(db);
  db.AddDeletedId(0x0A0B0C0D);
  db.AddDeletedId(7);
  db.AddDeletedId(7);
  addItem(db, 1);
  save(db);
  EXPECT_EQ(kx_test::slice(content(), kRowsStart, 20),
            kx_test::fromHex("03000000 0D0C0B0A 07000000 07000000 504B0304"));
  COutlineDB reader;
  open(reader);
  reader.AddDeletedId(99);
  reader.ReadRows();
  EXPECT_THAT(deletedIds(reader), ElementsAre(0x0A0B0C0D, 7, 7));
}

TEST_F(OutlineDBTest, MoreIdsCountedThanThereAreIsAShortRead) {
  COutlineDB writer;
  create(writer);
  save(writer);
  for (uint32_t count : {1u, 0x10000u, 0xFFFFFFFFu}) {
    Bytes bytes = kx_test::slice(content(), 0, kRowsStart);
    put(join({bytes, kx_test::le32(count), {1, 2, 3}}));
    COutlineDB db;
    open(db);
    EXPECT_TRUE(thrownBy([&] { db.ReadRows(); }).is(Thrown::kException, 8, 7)) << count;
  }
}

// --- Deleted ids in memory ---

TEST_F(OutlineDBTest, IdsAreRememberedWithDuplicatesAndForgottenOneByOne) {
  COutlineDB db;
  EXPECT_FALSE(db.IsDeleted(7));
  db.AddDeletedId(7);
  db.AddDeletedId(7);
  db.removeDeletedId(7);
  EXPECT_TRUE(db.IsDeleted(7));
  db.removeDeletedId(7);
  EXPECT_FALSE(db.IsDeleted(7));
  db.removeDeletedId(7);
  EXPECT_THAT(deletedIds(db), IsEmpty());
}

TEST_F(OutlineDBTest, RemovingTakesTheFirstOccurrenceAndKeepsTheOrder) {
  COutlineDB db;
  for (unsigned long id : {1ul, 2ul, 3ul, 2ul}) db.AddDeletedId(id);
  db.removeDeletedId(2);
  EXPECT_THAT(deletedIds(db), ElementsAre(1, 3, 2));
}

TEST_F(OutlineDBTest, AnItemIsDeletedWhenItsIdIs) {
  COutlineDB db;
  COutlineRecord* item = addItem(db, 4);
  EXPECT_FALSE(db.IsDeleted(item));
  db.AddDeletedId(4);
  EXPECT_TRUE(db.IsDeleted(item));
}

TEST_F(OutlineDBTest, LiteralsAreIds) {
  COutlineDB db;
  EXPECT_FALSE(db.IsDeleted(0));
  db.AddDeletedId(0);
  EXPECT_TRUE(db.IsDeleted(0));
}

TEST_F(OutlineDBTest, IdsHaveThirtyTwoBits) {
  COutlineDB db;
  db.AddDeletedId(0xFFFFFFFF);
  EXPECT_TRUE(db.IsDeleted(-1));
  db.removeDeletedId(static_cast<unsigned long>(-1));
  EXPECT_FALSE(db.IsDeleted(-1));
}

TEST_F(OutlineDBTest, AListIsCopiedWithItsIds) {
  CDeletedThoughts list;
  list.AddId(3);
  CDeletedThoughts copy(list);
  copy.AddId(4);
  EXPECT_EQ(list.GetCount(), 1u);
  EXPECT_EQ(copy.GetCount(), 2u);
  list = copy;
  EXPECT_TRUE(list.IsDeleted(4));
  list.Clear();
  EXPECT_EQ(list.GetCount(), 0u);
  EXPECT_FALSE(std::is_polymorphic<CDeletedThoughts>::value);
}

TEST_F(OutlineDBTest, AListReadsAndWritesItselfAtTheStreamsPosition) {
  kx_test::DiskFile disk(path(L"list"));
  disk.stream() << 0xEEEEEEEEu;
  CDeletedThoughts list;
  for (unsigned long id = 1; id <= 3; ++id) list.AddId(id * 0x01000000);
  list.Write(disk.stream());
  EXPECT_EQ(disk.contents(), kx_test::fromHex("EEEEEEEE 03000000 00000001 00000002 00000003"));
  disk.stream().Seek(4, 0);
  CDeletedThoughts back;
  back.AddId(9);
  back.Read(disk.stream());
  EXPECT_EQ(back.GetCount(), 3u);
  EXPECT_EQ(back.GetId(2), 0x03000000u);
  EXPECT_EQ(disk.stream().GetPosition(), 20u);
}

TEST_F(OutlineDBTest, AListFromAFileThatReadsShortIsRefused) {
  const Bytes whole = kx_test::fromHex("02000000 01000000 02000000");
  for (size_t length = 0; length < whole.size(); ++length) {
    kx_test::ShortReadingFile memory(kx_test::slice(whole, 0, length));
    kx_gen::CFileStream stream(&memory);
    CDeletedThoughts list;
    EXPECT_TRUE(kx_test::isReadFailure(thrownBy([&] { list.Read(stream); }))) << length;
  }
}

TEST_F(OutlineDBTest, ManyIdsSurviveTheFile) {
  COutlineDB db;
  create(db);
  for (unsigned long id = 0; id < 50000; ++id) db.AddDeletedId(id * 7);
  addItem(db, 3);
  save(db);
  COutlineDB reader;
  open(reader);
  reader.ReadRows();
  EXPECT_EQ(deletedIds(reader), deletedIds(db));
  EXPECT_THAT(ids(reader), ElementsAre(3));
}

// --- Deleting rows ---

TEST_F(OutlineDBTest, DeletingARowDoesNotRememberItsId) {
  COutlineDB db;
  addItem(db, 1);
  COutlineRecord* second = addItem(db, 2);
  addItem(db, 3);
  db.Delete(second);
  EXPECT_THAT(ids(db), ElementsAre(1, 3));
  EXPECT_THAT(deletedIds(db), IsEmpty());
}

TEST_F(OutlineDBTest, DeletingNullAsserts) {
  COutlineDB db;
  addItem(db, 1);
  kx_test::clearLog();
  db.Delete(nullptr);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::assertionLine("OutlineDB", 359)));
  EXPECT_THAT(ids(db), ElementsAre(1));
}

TEST_F(OutlineDBTest, DeleteAllRemembersTheNonZeroIdsInOrder) {
  COutlineDB db;
  db.AddDeletedId(99);
  for (unsigned long id : {5ul, 0ul, 3ul, 5ul, 0ul}) addItem(db, id);
  db.DeleteAll(true);
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  EXPECT_THAT(deletedIds(db), ElementsAre(5, 3, 5));
}

TEST_F(OutlineDBTest, DeleteAllWithoutRememberingEmptiesTheList) {
  COutlineDB db;
  db.AddDeletedId(99);
  addItem(db, 5);
  db.DeleteAll(false);
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  EXPECT_THAT(deletedIds(db), IsEmpty());
}

TEST_F(OutlineDBTest, DeleteAllStopsAtARowWhoseIdCannotBeRead) {
  COutlineDB db;
  for (unsigned long id : {1ul, 2ul, 3ul, 4ul}) addItem(db, id);
  db.getRecord(2)->FreeData();
  const Thrown thrown = thrownBy([&] { db.DeleteAll(true); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineRecord")) << thrown;
  ASSERT_EQ(db.GetRecordset()->getSize(), 2);
  EXPECT_EQ(db.getRecord(0)->GetRecSize(), 0u);
  EXPECT_EQ(static_cast<COutlineRecord*>(db.getRecord(1))->GetId(), 4u);
  EXPECT_THAT(deletedIds(db), ElementsAre(1, 2));
}

TEST_F(OutlineDBTest, DeleteAllWithoutRememberingReadsNoIds) {
  COutlineDB db;
  addItem(db, 1)->FreeData();
  db.DeleteAll(false);
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
}

TEST_F(OutlineDBTest, DeleteAllRemembersTheIdsOfManyRowsInOrder) {
  constexpr unsigned long kRows = 20000;
  COutlineDB db;
  for (unsigned long i = 0; i < kRows; ++i) addItem(db, i);
  db.DeleteAll(true);
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  ASSERT_EQ(db.GetDeletedThoughts().GetCount(), kRows - 1) << "id 0 is not remembered";
  for (unsigned long i = 1; i < kRows; ++i) EXPECT_EQ(db.GetDeletedThoughts().GetId(i - 1), i);
}

// --- Header fields through the database ---

TEST_F(OutlineDBTest, SharedFieldsAreThoseOfTheSharedHeader) {
  OpenDb db;
  db.SetOutlineChanged(false);
  EXPECT_FALSE(db.GetOutlineChanged());
  db.SetCategoryName(L"Work");
  EXPECT_EQ(text(db, &COutlineDB::GetCategoryName), L"Work");
  EXPECT_TRUE(db.GetOutlineChanged()) << "another category changes the outline";
  db.SetSynchronized(true);
  EXPECT_TRUE(db.GetSynchronized());
  db.SetPrivate(true);
  EXPECT_TRUE(db.GetPrivate());
  unsigned char numbering[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  db.setNumbering(numbering);
  unsigned char back[10] = {};
  db.getNumbering(back);
  EXPECT_EQ(Bytes(back, back + 10), Bytes(numbering, numbering + 10));
  db.setNumberingDivider(0x1234);
  EXPECT_EQ(db.getNumberingDivider(), 0x1234);

  EXPECT_EQ(kx_test::valueOf(db.sharedTags(), 0x00010001), kx_test::narrow("Work"));
  EXPECT_EQ(kx_test::valueOf(db.sharedTags(), 3), Bytes{1});
  EXPECT_EQ(kx_test::valueOf(db.sharedTags(), 4), Bytes{1});
  EXPECT_EQ(kx_test::valueOf(db.sharedTags(), 5), Bytes{1});
  EXPECT_EQ(kx_test::valueOf(db.sharedTags(), 8), Bytes(numbering, numbering + 10));
  EXPECT_EQ(kx_test::valueOf(db.sharedTags(), 9), (Bytes{0x34, 0x12}));
}

TEST_F(OutlineDBTest, ChangedFlagsAreThoseOfTheirTags) {
  const struct {
    unsigned long tag;
    bool (COutlineDB::*get)();
    void (COutlineDB::*set)(bool);
  } flags[] = {
      {0x00010001, &COutlineDB::GetCategoryChanged, &COutlineDB::SetCategoryChanged},
      {5, &COutlineDB::GetPrivateTagChanged, &COutlineDB::SetPrivateTagChanged},
      {8, &COutlineDB::getNumberingChanged, &COutlineDB::setNumberingChanged},
      {9, &COutlineDB::getNumberingDividerChanged, &COutlineDB::setNumberingDividerChanged},
  };
  OpenDb db;
  for (const auto& flag : flags) {
    EXPECT_TRUE((db.*flag.get)());
    (db.*flag.set)(false);
    EXPECT_FALSE((db.*flag.get)());
    EXPECT_FALSE(kx_test::changedFlag(db.sharedTags(), flag.tag));
    (db.*flag.set)(true);
    EXPECT_TRUE((db.*flag.get)());
    EXPECT_TRUE(kx_test::changedFlag(db.sharedTags(), flag.tag));
  }
  EXPECT_TRUE(db.ShowCheckedItemsChanged());
  db.setCheckedItemsChanged(false);
  EXPECT_FALSE(db.ShowCheckedItemsChanged());
  EXPECT_FALSE(kx_test::changedFlag(db.privateTags(), 1));
}

TEST_F(OutlineDBTest, PrivateFieldsAreThoseOfThePrivateHeader) {
  OpenDb db;
  db.SetOutlineTitle(L"Trip");
  db.SetShowCheckedItems(2);
  db.SetSelectedIndex(0xFFFFFFFF);
  db.SetTopIndex(0x00010203);
  db.SetShowHeadingsMode(4);
  EXPECT_EQ(text(db, &COutlineDB::GetOutlineTitle), L"Trip");
  EXPECT_EQ(db.GetShowCheckedItems(), 2);
  EXPECT_EQ(db.GetSelectedIndex(), 0xFFFFFFFFul);
  EXPECT_EQ(db.GetTopIndex(), 0x00010203ul);
  EXPECT_EQ(db.GetShowHeadingsMode(), 4);
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 0x00010002), kx_test::narrow("Trip"));
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 1), Bytes{2});
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 2), (Bytes{255, 255, 255, 255}));
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 3), (Bytes{3, 2, 1, 0}));
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 7), Bytes{4});
}

WINDOWPLACEMENT somePlacement() {
  WINDOWPLACEMENT placement = {};
  placement.length = 0x77;
  placement.flags = 0x80000001;
  placement.showCmd = 3;
  placement.ptMinPosition.x = -1;
  placement.ptMinPosition.y = -2;
  placement.ptMaxPosition.x = 30;
  placement.ptMaxPosition.y = -40;
  placement.rcNormalPosition.left = 5;
  placement.rcNormalPosition.top = 6;
  placement.rcNormalPosition.right = 0x01020304;
  placement.rcNormalPosition.bottom = -8;
  return placement;
}

TEST_F(OutlineDBTest, TheWindowPositionIsStoredWithoutItsLength) {
  OpenDb db;
  db.SetOutlineWindowPos(somePlacement());
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 4),
            kx_test::fromHex("01000080 03000000 FFFFFFFF FEFFFFFF 1E000000"
                             "D8FFFFFF 05000000 06000000 04030201 F8FFFFFF"));
  WINDOWPLACEMENT back = {};
  back.length = 0x55;
  db.GetOutlineWindowPos(back);
  const WINDOWPLACEMENT expected = somePlacement();
  EXPECT_EQ(back.length, 0x55u) << "not stored, not touched";
  EXPECT_EQ(back.flags, expected.flags);
  EXPECT_EQ(back.showCmd, expected.showCmd);
  EXPECT_EQ(back.ptMinPosition.x, -1);
  EXPECT_EQ(back.ptMinPosition.y, -2);
  EXPECT_EQ(back.ptMaxPosition.x, 30);
  EXPECT_EQ(back.ptMaxPosition.y, -40);
  EXPECT_EQ(back.rcNormalPosition.left, 5);
  EXPECT_EQ(back.rcNormalPosition.top, 6);
  EXPECT_EQ(back.rcNormalPosition.right, 0x01020304);
  EXPECT_EQ(back.rcNormalPosition.bottom, -8);
}

LOGFONTW someFont() {
  LOGFONTW font = {};
  font.lfHeight = -13;
  font.lfWidth = 7;
  font.lfEscapement = 900;
  font.lfOrientation = -900;
  font.lfWeight = 400;
  font.lfItalic = 1;
  font.lfUnderline = 2;
  font.lfStrikeOut = 3;
  font.lfCharSet = 238;
  font.lfOutPrecision = 5;
  font.lfClipPrecision = 6;
  font.lfQuality = 7;
  font.lfPitchAndFamily = 34;
  font.lfFaceName[0] = L'A';
  return font;
}

TEST_F(OutlineDBTest, TheFontIsStoredWithItsColourAndWithoutItsFace) {
  OpenDb db;
  db.GetPrivateOutlineHeaderPtr()->SetFontName(L"Tahoma");
  db.SetOutlineFont(someFont(), 0x00336699);
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 5),
            kx_test::fromHex("F3FFFFFF 07000000 84030000 7CFCFFFF 90010000"
                             "01 02 03 EE 05 06 07 22"));
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 6), (Bytes{0x99, 0x66, 0x33, 0}));
  EXPECT_EQ(kx_test::valueOf(db.privateTags(), 0x00010001), kx_test::narrow("Tahoma"));

  LOGFONTW back = {};
  back.lfFaceName[0] = L'Z';
  unsigned long color = 0;
  db.GetOutlineFont(back, &color);
  EXPECT_EQ(color, 0x00336699u);
  EXPECT_EQ(back.lfHeight, -13);
  EXPECT_EQ(back.lfWidth, 7);
  EXPECT_EQ(back.lfEscapement, 900);
  EXPECT_EQ(back.lfOrientation, -900);
  EXPECT_EQ(back.lfWeight, 400);
  EXPECT_EQ(back.lfItalic, 1);
  EXPECT_EQ(back.lfUnderline, 2);
  EXPECT_EQ(back.lfStrikeOut, 3);
  EXPECT_EQ(back.lfCharSet, 238);
  EXPECT_EQ(back.lfOutPrecision, 5);
  EXPECT_EQ(back.lfClipPrecision, 6);
  EXPECT_EQ(back.lfQuality, 7);
  EXPECT_EQ(back.lfPitchAndFamily, 34);
  EXPECT_EQ(back.lfFaceName[0], L'Z') << "the face is not touched";
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(OutlineDBTest, AColourNobodyAsksForIsNotWritten) {
  OpenDb db;
  LOGFONTW font = {};
  db.SetOutlineFont(someFont(), 5);
  db.GetOutlineFont(font, nullptr);
  EXPECT_EQ(font.lfHeight, -13);
}

TEST_F(OutlineDBTest, AFontOfHeightZeroAssertsAndIsStored) {
  OpenDb db;
  LOGFONTW font = someFont();
  font.lfHeight = 0;
  kx_test::clearLog();
  db.SetOutlineFont(font, 1);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::assertionLine("OutlineDB", 83)));
  EXPECT_EQ(kx_test::slice(kx_test::valueOf(db.privateTags(), 5), 0, 8),
            (Bytes{0, 0, 0, 0, 7, 0, 0, 0}));
}

TEST_F(OutlineDBTest, AbsentFieldsAreReportedUnderTheDatabasesOrTheHeadersName) {
  using Access = std::function<void(COutlineDB&)>;
  _String name;
  unsigned char numbering[10];
  unsigned long color = 0;
  WINDOWPLACEMENT placement;
  LOGFONTW font;
  const Access accesses[] = {
      [&](COutlineDB& db) { db.GetCategoryName(name); },
      [](COutlineDB& db) { db.GetCategoryChanged(); },
      [](COutlineDB& db) { db.SetCategoryChanged(true); },
      [](COutlineDB& db) { db.GetOutlineChanged(); },
      [](COutlineDB& db) { db.GetSynchronized(); },
      [](COutlineDB& db) { db.GetPrivate(); },
      [](COutlineDB& db) { db.GetPrivateTagChanged(); },
      [](COutlineDB& db) { db.SetPrivateTagChanged(true); },
      [&](COutlineDB& db) { db.getNumbering(numbering); },
      [](COutlineDB& db) { db.getNumberingChanged(); },
      [](COutlineDB& db) { db.setNumberingChanged(true); },
      [](COutlineDB& db) { db.getNumberingDivider(); },
      [](COutlineDB& db) { db.getNumberingDividerChanged(); },
      [](COutlineDB& db) { db.setNumberingDividerChanged(true); },
      [&](COutlineDB& db) { db.GetOutlineTitle(name); },
      [](COutlineDB& db) { db.GetShowCheckedItems(); },
      [](COutlineDB& db) { db.ShowCheckedItemsChanged(); },
      [](COutlineDB& db) { db.setCheckedItemsChanged(true); },
      [](COutlineDB& db) { db.GetSelectedIndex(); },
      [](COutlineDB& db) { db.GetTopIndex(); },
      [](COutlineDB& db) { db.GetShowHeadingsMode(); },
      [&](COutlineDB& db) { db.GetOutlineFont(font, &color); },
      [&](COutlineDB& db) { db.GetOutlineWindowPos(placement); },
  };
  OpenDb db;
  db.GetSharedHeaderPtr()->FreeData();
  db.GetPrivateOutlineHeaderPtr()->FreeData();
  for (size_t i = 0; i < std::size(accesses); ++i) {
    const Thrown thrown = thrownBy([&] { accesses[i](db); });
    EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineDB") ||
                kx_test::isTagError(thrown, 16, L"TaggedDataHeader"))
        << i << ": " << thrown;
  }
}

// --- Headers of a file ---

TEST_F(OutlineDBTest, HeadersAreWrittenAndReadOneByOne) {
  COutlineDB db;
  create(db);
  save(db);
  EXPECT_EQ(open(db, kx_test::kShared), 1);
  db.ReadSharedHeader();
  db.ReadPrivateHeader();
  const Bytes before = content();
  db.SetCategoryName(L"Work");
  db.SetOutlineTitle(L"Trip");
  db.WriteSharedHeader();
  db.Flush();
  EXPECT_NE(kx_test::slice(content(), kSharedSlot, 512), kx_test::slice(before, kSharedSlot, 512));
  EXPECT_EQ(kx_test::slice(content(), kPrivateSlot, 512),
            kx_test::slice(before, kPrivateSlot, 512));
  db.WritePrivateHeader();
  db.Close();
  EXPECT_EQ(content().size(), before.size());

  COutlineDB reader;
  open(reader);
  EXPECT_TRUE(reader.ReadSharedHeader());
  EXPECT_TRUE(reader.ReadPrivateHeader());
  EXPECT_EQ(text(reader, &COutlineDB::GetCategoryName), L"Work");
  EXPECT_EQ(text(reader, &COutlineDB::GetOutlineTitle), L"Trip");
}

TEST_F(OutlineDBTest, AFileWithoutTheHeadersSaysSo) {
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}}), kx_test::slot(255, {}),
            kx_test::le32(0)}));
  COutlineDB db;
  EXPECT_EQ(open(db), 1);
  EXPECT_FALSE(db.ReadSharedHeader());
  EXPECT_FALSE(db.ReadPrivateHeader());
  EXPECT_EQ(text(db, &COutlineDB::GetOutlineTitle), L"Untitled");
}

TEST_F(OutlineDBTest, ACategoryReadFromTheFileIsNotTouchedByNewFields) {
  const Bytes old = join({kx_test::tag(3, {0}, 0), kx_test::tag(4, {0}, 0),
                          kx_test::stringTag(1, kx_test::narrow("Work"), 0)});
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {2, 512}, {3, 512}}),
            kx_test::slot(255, {}), kx_test::slot(512, old),
            kx_test::slot(512, kx_test::stringTag(2, kx_test::narrow("T"))), kx_test::le32(0)}));
  COutlineDB db;
  EXPECT_EQ(open(db), 1);
  EXPECT_TRUE(db.ReadSharedHeader());
  EXPECT_EQ(text(db, &COutlineDB::GetCategoryName), L"Work");
  EXPECT_FALSE(db.GetCategoryChanged());
  EXPECT_EQ(db.getNumberingDivider(), 0);
  EXPECT_FALSE(db.GetPrivate());
  EXPECT_TRUE(db.ReadPrivateHeader());
  EXPECT_EQ(db.GetShowHeadingsMode(), 10);
}

// --- Two databases ---

TEST_F(OutlineDBTest, HeadersAreCopiedFromTheOtherDatabase) {
  OpenDb from;
  OpenDb to;
  from.SetCategoryName(L"Work");
  from.SetOutlineTitle(L"Trip");
  to.copySharedHeader(&from);
  EXPECT_EQ(kx_test::blockOf(*to.GetSharedHeaderPtr()),
            kx_test::blockOf(*from.GetSharedHeaderPtr()));
  EXPECT_EQ(text(to, &COutlineDB::GetOutlineTitle), L"Untitled");
  to.copyPrivateHeader(&from);
  EXPECT_EQ(kx_test::blockOf(*to.GetPrivateOutlineHeaderPtr()),
            kx_test::blockOf(*from.GetPrivateOutlineHeaderPtr()));
  to.SetCategoryName(L"Home");
  EXPECT_EQ(text(from, &COutlineDB::GetCategoryName), L"Work");
}

TEST_F(OutlineDBTest, SharedHeadersDifferInFourFieldsOnly) {
  using Edit = std::function<void(OpenDb&)>;
  unsigned char numbering[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  const Edit differ[] = {
      [](OpenDb& db) { db.SetCategoryName(L"unfiled"); },
      [](OpenDb& db) { db.SetPrivate(true); },
      [&](OpenDb& db) { db.setNumbering(numbering); },
      [](OpenDb& db) { db.setNumberingDivider(1); },
  };
  const Edit equal[] = {
      [](OpenDb& db) { db.SetSynchronized(true); },
      [](OpenDb& db) { db.GetSharedHeaderPtr()->SetPalmMatchName(L"x"); },
      [](OpenDb& db) { db.SetOutlineChanged(false); },
      [](OpenDb& db) { db.SetCategoryChanged(false); },
      [](OpenDb& db) { db.SetPrivateTagChanged(false); },
      [](OpenDb& db) { db.SetOutlineTitle(L"x"); },
  };
  for (const Edit& edit : differ) {
    OpenDb db;
    OpenDb other;
    EXPECT_TRUE(db.compareSharedHeader(&other));
    edit(other);
    EXPECT_FALSE(db.compareSharedHeader(&other));
    EXPECT_FALSE(other.compareSharedHeader(&db));
  }
  for (const Edit& edit : equal) {
    OpenDb db;
    OpenDb other;
    edit(other);
    EXPECT_TRUE(db.compareSharedHeader(&other));
  }
}

TEST_F(OutlineDBTest, ComparingSharedHeadersStopsAtTheFirstDifference) {
  OpenDb db;
  OpenDb other;
  // Everything behind the private flag is absent, so that looking at it would throw.
  kx_gen::CTaggedDataManager& tags = other.sharedTags();
  tags.deleteData(8);
  tags.deleteData(9);
  other.SetPrivate(true);
  EXPECT_FALSE(db.compareSharedHeader(&other));
  tags.deleteData(5);
  other.SetCategoryName(L"Work");
  EXPECT_FALSE(db.compareSharedHeader(&other));
}

TEST_F(OutlineDBTest, PrivateHeadersDifferInTwoFieldsOnly) {
  OpenDb db;
  OpenDb other;
  EXPECT_TRUE(db.comparePrivateHeader(&other));
  other.SetSelectedIndex(4);
  other.SetTopIndex(4);
  other.SetShowHeadingsMode(1);
  other.SetOutlineWindowPos(somePlacement());
  other.SetOutlineFont(someFont(), 3);
  other.GetPrivateOutlineHeaderPtr()->SetFontName(L"x");
  other.setCheckedItemsChanged(false);
  EXPECT_TRUE(db.comparePrivateHeader(&other));
  other.SetOutlineTitle(L"untitled");
  EXPECT_FALSE(db.comparePrivateHeader(&other));
  other.SetOutlineTitle(L"Untitled");
  other.SetShowCheckedItems(0);
  EXPECT_FALSE(db.comparePrivateHeader(&other));
  other.privateTags().deleteStringData(2);
  EXPECT_FALSE(db.comparePrivateHeader(&other)) << "the title is not looked at any more";
}

// --- File titles ---

TEST_F(OutlineDBTest, AFileTitleIsMadeUsable) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"Trip", L"Trip"},
      {L"  Trip to Paris ", L"Trip to Paris"},
      {L"\tTrip ", L"\tTrip"},
      {L"a\\b/c:d*e?f\"g<h>i|j", L"abcdefghij"},
      {L"// a", L" a"},
      {L"", L"Unfilled"},
      {L"   ", L"Unfilled"},
      {L"\\/:*?\"<>|", L"Unfilled"},
      {L"123456789012345678901234567", L"123456789012345678901234567"},
      {L"1234567890123456789012345678", L"123456789012345678901234567"},
      {L"?123456789012345678901234567?", L"123456789012345678901234567"},
      {L"Caf\u00E9 \u6771", L"Caf\u00E9 \u6771"},
  };
  for (const auto& [proposed, usable] : cases) {
    _String title(proposed);
    EXPECT_TRUE(kx_gen::ValidateFileTitle(title));
    EXPECT_EQ(std::wstring(title), usable);
  }
}

TEST_F(OutlineDBTest, AFileTitleHas27Utf16UnitsWhateverWideCharactersHold) {
  std::wstring pairs;
  for (int i = 0; i < 13; ++i) pairs += L"\U0001F600";
  _String title((pairs + L"xy").c_str());
  kx_gen::ValidateFileTitle(title);
  EXPECT_EQ(std::wstring(title), pairs + L"x");
  title = (pairs + L"\U0001F600\U0001F600").c_str();
  kx_gen::ValidateFileTitle(title);
  EXPECT_EQ(std::wstring(title), pairs + static_cast<wchar_t>(0xD83D)) << "the 14th is halved";
}

}  // namespace
