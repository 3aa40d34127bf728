// The category database: slots and holes, ids, limits, the iterator, its file.

#include "CategoryDB.h"

#include <gmock/gmock.h>

#include <ctime>
#include <type_traits>

#include "KxLayout.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryIterator;
using kx_gen::CCategoryRecord;
using kx_test::Bytes;
using kx_test::join;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t kExtraRows = 10 + 2 + 6 + 255;
constexpr unsigned long kTime = 1000000000;

constexpr char kSourceFile[] = ".\\CategoryDB";

/// The log's line of a check that names its source file so.
std::string assertion(int line) { return kx_test::assertionLine(kSourceFile, line); }
std::string throwing(int line) { return kx_test::throwLine(kSourceFile, line); }

class OpenDb : public CCategoryDB {
 public:
  using CCategoryDB::SetVersionNum;
};

class CategoryDBTest : public kx_test::NamedUnfiledTest {
 protected:
  std::wstring file() const { return path(L"categories.db"); }
  void put(const Bytes& bytes) { kx_test::writeFile("categories.db", bytes); }
  Bytes content() { return kx_test::readFile("categories.db"); }
  void open(CCategoryDB& db, unsigned int mode = kx_test::kReadWrite) {
    ASSERT_EQ(db.Open(file().c_str(), mode), 1);
  }
  void create(CCategoryDB& db) {
    open(db, kx_test::kCreate);
    db.InitNewDatabase();
  }
  void save(CCategoryDB& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }

  static Bytes categoryRow(const std::string& name, uint32_t id, uint8_t flags = 0) {
    return kx_test::row(join({kx_test::plainBlock(flags), kx_test::tag(5, kx_test::le32(id)),
                              kx_test::tag(7, kx_test::le32(kTime)),
                              kx_test::stringTag(6, kx_test::narrow(name))}));
  }
  static Bytes front(uint16_t version, uint32_t rows) {
    return join(
        {kx_test::dbInfo(version, rows), kx_test::headerTable({{1, 255}}), kx_test::slot(255, {})});
  }
  /// A database read from a file with this last id.
  void readWithLastId(CCategoryDB& db, uint32_t lastId) {
    put(join({front(1, 0), kx_test::le32(lastId), {0}}));
    open(db);
    db.ReadRows();
  }
  /// The last id as it would be saved.
  uint32_t lastId(CCategoryDB& db) {
    db.Close();
    open(db, kx_test::kCreate);
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
    const Bytes id = kx_test::slice(content(), kExtraRows, 4);
    return kx_gen::getLe32(id.data());
  }

  static CCategoryRecord* slot(CCategoryDB& db, unsigned long i) {
    return static_cast<CCategoryRecord*>(db.getRecord(i));
  }
  static std::wstring name(CCategoryRecord* record) {
    _String name;
    record->GetCategoryName(name);
    return name;
  }
  static std::vector<unsigned long> liveIds(CCategoryDB& db) {
    std::vector<unsigned long> found;
    for (CCategoryIterator it = db.GetIterator(); it != db.End(); ++it) {
      found.push_back((*it)->GetCategoryId());
    }
    return found;
  }
  /// Adds live categories with ids from 129 on until there are `count` live ones.
  static void fillTo(CCategoryDB& db, int count) {
    unsigned long time = kTime;
    while (db.GetCategoryCount() < count) db.AddNewCategory(L"x", &time);
  }
};

// --- Construction and constants ---

TEST_F(CategoryDBTest, TheVirtualTableIsThatOfDatabases) {
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryDB::CheckDbInfo), 4);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryDB::InitNewDatabase), 5);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryDB::WriteDbInfo), 6);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryDB::ReadExtraRows), 7);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryDB::WriteExtraRows), 8);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryDB::CreateRecordset), 9);
}

TEST_F(CategoryDBTest, AtMostSixteenCategoriesLive) {
  EXPECT_EQ(CCategoryDB::kMaxCategoryAmount, 16);
  CCategoryDB db;
  EXPECT_EQ(db.GetMaxCategoryAmount(), 16);
}

TEST_F(CategoryDBTest, ANewObjectIsEmptyAndNew) {
  CCategoryDB db;
  EXPECT_EQ(db.GetVersionNum(), 1u);
  EXPECT_TRUE(db.isNew());
  ASSERT_NE(db.GetCatRecordset(), nullptr);
  EXPECT_TRUE(kx_test::isExactly<kx_gen::CCategoryRecordset>(db.GetCatRecordset()));
  EXPECT_EQ(db.GetCatRecordset(), db.GetRecordset());
  EXPECT_EQ(db.GetCategoryCount(), 0);
  EXPECT_FALSE(db.isFull());
  EXPECT_FALSE(db.GetIterator() != db.End());
  EXPECT_EQ(db.GetNewCategoryId(), 129u) << "the last id was 128";
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CategoryDBTest, ANewFileHoldsTheUnfiledCategory) {
  const auto before = static_cast<unsigned long>(std::time(nullptr));
  CCategoryDB db;
  create(db);
  const auto after = static_cast<unsigned long>(std::time(nullptr));
  ASSERT_EQ(db.GetRecordset()->getSize(), 1);
  CCategoryRecord* unfiled = slot(db, 0);
  EXPECT_EQ(unfiled->GetCategoryId(), 0u);
  EXPECT_EQ(name(unfiled), L"Unfiled");
  EXPECT_GE(unfiled->GetLastChangedTime(), before);
  EXPECT_LE(unfiled->GetLastChangedTime(), after);
  EXPECT_EQ(unfiled->GetFlag(), 0x80);
  EXPECT_EQ(db.GetCategoryCount(), 1);
  unsigned long time = kTime;
  EXPECT_EQ(db.AddNewCategory(L"Work", &time)->GetCategoryId(), 129u);
}

TEST_F(CategoryDBTest, InitialisingANewFileStartsIdsAndNewFlagAfresh) {
  CCategoryDB db;
  readWithLastId(db, 200);
  EXPECT_FALSE(db.isNew());
  db.InitNewDatabase();
  EXPECT_TRUE(db.isNew());
  EXPECT_EQ(db.GetNewCategoryId(), 129u);
}

TEST_F(CategoryDBTest, InitialisingMatchesTheHeadersToo) {
  CCategoryDB db;
  open(db, kx_test::kCreate);
  db.GetHeaderManager().AddHeader({1, 300});
  db.InitNewDatabase();
  db.WriteAllHeaders();
  db.Close();
  EXPECT_EQ(kx_test::slice(content(), 10, 8), kx_test::headerTable({{1, 300}}));
}

// --- The unfiled category's name ---

TEST_F(CategoryDBTest, TheUnfiledNameIsWhatTheApplicationSet) {
  CCategoryDB::setUnfiledCategoryName(L"Sans cat\u00E9gorie");
  EXPECT_STREQ(CCategoryDB::getUnfiledCategoryName(), L"Sans cat\u00E9gorie");
  EXPECT_EQ(CCategoryDB::getUnfiledCategoryName(), CCategoryDB::kUnfiledCategoryName);
  EXPECT_EQ(std::extent<decltype(CCategoryDB::kUnfiledCategoryName)>::value, 32u);
  CCategoryDB::setUnfiledCategoryName(L"x");
  EXPECT_STREQ(CCategoryDB::getUnfiledCategoryName(), L"x");
}

TEST_F(CategoryDBTest, TheUnfiledNameKeepsAtMost31Characters) {
  CCategoryDB::setUnfiledCategoryName(std::wstring(31, L'a').c_str());
  EXPECT_EQ(CCategoryDB::getUnfiledCategoryName(), std::wstring(31, L'a'));
  CCategoryDB::setUnfiledCategoryName(std::wstring(500, L'b').c_str());
  EXPECT_EQ(CCategoryDB::getUnfiledCategoryName(), std::wstring(31, L'b'));
}

TEST_F(CategoryDBTest, CharactersOfTwoUtf16UnitsCountTwiceInTheUnfiledName) {
  std::wstring pairs;
  for (int i = 0; i < 15; ++i) pairs += L"\U0001F600";
  CCategoryDB::setUnfiledCategoryName((pairs + L"xy").c_str());
  EXPECT_EQ(CCategoryDB::getUnfiledCategoryName(), pairs + L"x");
}

TEST_F(CategoryDBTest, ANullUnfiledNameAssertsAndKeepsTheName) {
  CCategoryDB::setUnfiledCategoryName(nullptr);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(386)));
  EXPECT_STREQ(CCategoryDB::getUnfiledCategoryName(), L"Unfiled");
}

TEST_F(CategoryDBTest, TheUnfiledNameMayBeMadeOfItself) {
  const wchar_t* present = CCategoryDB::getUnfiledCategoryName();
  CCategoryDB::setUnfiledCategoryName(present);
  EXPECT_STREQ(present, L"Unfiled");
  CCategoryDB::setUnfiledCategoryName(present + 2);
  EXPECT_STREQ(present, L"filed");
  CCategoryDB::setUnfiledCategoryName(std::wstring(31, L'a').append(L"b").c_str());
  CCategoryDB::setUnfiledCategoryName(present + 1);
  EXPECT_EQ(present, std::wstring(30, L'a'));
  CCategoryDB::setUnfiledCategoryName(present + 30);
  EXPECT_STREQ(present, L"");
}

// --- The file ---

TEST_F(CategoryDBTest, LastIdAndNewFlagStandAheadOfTheRows) {
  CCategoryDB db;
  create(db);
  slot(db, 0)->SetLastChangedTime(kTime);
  unsigned long time = kTime;
  db.AddNewCategory(L"Work", &time);
  CCategoryRecord* home = db.AddNewCategory(L"Home", &time);
  db.DeleteCategory(home, kTime);
  save(db);
  EXPECT_EQ(content(), join({front(1, 3),
                             kx_test::le32(130),
                             {1},
                             categoryRow("Unfiled", 0, 0x80),
                             categoryRow("Work", 129, 0x80),
                             categoryRow("Home", 130, 0xD0)}));
}

TEST_F(CategoryDBTest, TheNewFlagIsReadAndWritten) {
  for (bool on : {false, true}) {
    CCategoryDB db;
    create(db);
    db.setNewFlag(on);
    EXPECT_EQ(db.isNew(), on);
    save(db);
    EXPECT_EQ(content().at(kExtraRows + 4), on ? 1 : 0);
    CCategoryDB reader;
    reader.setNewFlag(!on);
    open(reader);
    EXPECT_EQ(reader.isNew(), !on) << "read with the rows";
    reader.ReadRows();
    EXPECT_EQ(reader.isNew(), on);
  }
}

TEST_F(CategoryDBTest, AnyStoredNewFlagButZeroIsTrue) {
  put(join({front(1, 0), kx_test::le32(128), {0x40}}));
  CCategoryDB db;
  db.setNewFlag(false);
  open(db);
  db.ReadRows();
  EXPECT_TRUE(db.isNew());
}

TEST_F(CategoryDBTest, AFileOfVersionZeroHasNoNewFlagAndIsSavedAsVersionOne) {
  for (bool before : {false, true}) {
    put(join({front(0, 1), kx_test::le32(140), categoryRow("Work", 129)}));
    CCategoryDB db;
    db.setNewFlag(before);
    open(db);
    db.ReadConduitHeader();
    db.ReadRows();
    EXPECT_EQ(db.isNew(), before);
    EXPECT_EQ(db.GetVersionNum(), 0u);
    ASSERT_EQ(db.GetCategoryCount(), 1);
    save(db);
    EXPECT_EQ(db.GetVersionNum(), 1u);
    EXPECT_EQ(content(), join({front(1, 1),
                               kx_test::le32(140),
                               {static_cast<unsigned char>(before ? 1 : 0)},
                               categoryRow("Work", 129)}));
  }
}

TEST_F(CategoryDBTest, ANewerVersionIsMessage4) {
  for (uint16_t version : {2, 10, 0xFFFF}) {
    put(join({front(version, 0), kx_test::le32(128), {0}}));
    CCategoryDB db;
    kx_test::clearLog();
    const Thrown thrown = thrownBy([&] { db.Open(file().c_str(), kx_test::kReadWrite); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 4, 3)) << thrown;
    EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::throwLine("CategoryDB", 128)));
  }
}

TEST_F(CategoryDBTest, VersionsZeroAndOneAreAccepted) {
  OpenDb db;
  for (unsigned short version : {0, 1}) {
    db.SetVersionNum(version);
    db.CheckDbInfo();
  }
  db.SetVersionNum(2);
  EXPECT_TRUE(thrownBy([&] { db.CheckDbInfo(); }).is(Thrown::kException, 4, 3));
}

TEST_F(CategoryDBTest, AFailureToOpenPassesToTheCaller) {
  CCategoryDB db;
  EXPECT_EQ(thrownBy([&] { db.Open(file().c_str(), 0); }).kind, Thrown::kFileException);
  put(Bytes(20, 'x'));
  EXPECT_TRUE(thrownBy([&] { db.Open(file().c_str(), 0); }).is(Thrown::kDbException, 13, 12));
}

TEST_F(CategoryDBTest, ExtraRowsCutShortAreAShortRead) {
  for (size_t length = 0; length < 5; ++length) {
    put(join({front(1, 0), Bytes(length, 1)}));
    CCategoryDB db;
    open(db);
    EXPECT_TRUE(thrownBy([&] { db.ReadRows(); }).is(Thrown::kException, 8, 7)) << length;
    db.Close();
  }
}

TEST_F(CategoryDBTest, WriteDbInfoAlwaysWritesVersionOne) {
  OpenDb db;
  open(db, kx_test::kCreate);
  db.SetVersionNum(0);
  db.WriteDbInfo();
  db.Close();
  EXPECT_EQ(content(), kx_test::dbInfo(1, 0));
}

// --- Access ---

TEST_F(CategoryDBTest, SlotsAreReachedByIndex) {
  CCategoryDB db;
  create(db);
  fillTo(db, 3);
  EXPECT_EQ(db.GetByIndex(0), slot(db, 0));
  EXPECT_EQ(db.GetByIndex(2), slot(db, 2));
  EXPECT_EQ(db.GetByIndex(3), nullptr);
  EXPECT_EQ(db.GetByIndex(15), nullptr);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
  EXPECT_EQ(db.GetByIndex(16), nullptr);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::assertionLine("CategoryDB", 183)));
}

TEST_F(CategoryDBTest, CategoriesAreFoundByIdAndExactNameInSlotOrder) {
  CCategoryDB db;
  create(db);
  unsigned long time = kTime;
  CCategoryRecord* work = db.AddNewCategory(150ul, L"Work", &time);
  CCategoryRecord* again = db.AddNewCategory(151ul, L"Work", &time);
  EXPECT_EQ(db.FindCategory(150), work);
  EXPECT_EQ(db.FindCategory(151ul), again);
  EXPECT_EQ(db.FindCategory(152), nullptr);
  EXPECT_EQ(db.FindCategory(0), slot(db, 0));
  EXPECT_EQ(db.FindCategory(L"Work"), work);
  EXPECT_EQ(db.FindCategory(L"work"), nullptr);
  EXPECT_EQ(db.FindCategory(L"Wor"), nullptr);
  db.DeleteCategory(work, kTime);
  EXPECT_EQ(db.FindCategory(150), nullptr) << "a hole is not found";
  EXPECT_EQ(db.FindCategory(L"Work"), again);
}

TEST_F(CategoryDBTest, IdsHaveThirtyTwoBits) {
  CCategoryDB db;
  unsigned long time = kTime;
  CCategoryRecord* record = db.AddNewCategory(0xFFFFFFFFul, L"x", &time);
  EXPECT_EQ(db.FindCategory(-1), record);
}

TEST_F(CategoryDBTest, NameAndIdAreThoseOfTheRecord) {
  CCategoryDB db;
  unsigned long time = kTime;
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", &time);
  _String found;
  db.GetCategoryName(record, found);
  EXPECT_EQ(found, L"Work");
  EXPECT_EQ(db.GetCategoryID(record), 150u);
}

TEST_F(CategoryDBTest, CountsTheLiveOnes) {
  CCategoryDB db;
  db.ResizeDB(4);
  EXPECT_EQ(db.GetCategoryCount(), 0);
  EXPECT_FALSE(db.GetIterator() != db.End());
  slot(db, 1)->SetEmpty(false);
  slot(db, 4)->SetEmpty(false);
  EXPECT_EQ(db.GetCategoryCount(), 2);
  EXPECT_FALSE(db.isFull());
}

TEST_F(CategoryDBTest, IsFullFromSixteenOn) {
  CCategoryDB db;
  fillTo(db, 15);
  EXPECT_FALSE(db.isFull());
  fillTo(db, 16);
  EXPECT_TRUE(db.isFull());
  db.GetRecordset()->Append();
  EXPECT_TRUE(db.isFull());
}

// --- Ids ---

TEST_F(CategoryDBTest, IdsCountFrom129) {
  CCategoryDB db;
  EXPECT_EQ(db.GetNewCategoryId(), 129u);
  EXPECT_EQ(db.GetNewCategoryId(), 130u);
  EXPECT_EQ(lastId(db), 130u);
}

TEST_F(CategoryDBTest, IdsOfLiveCategoriesAreSteppedOverThoseOfHolesAreNot) {
  CCategoryDB db;
  unsigned long time = kTime;
  db.AddNewCategory(129ul, L"a", &time);
  db.AddNewCategory(130ul, L"b", &time);
  CCategoryRecord* hole = db.AddNewCategory(131ul, L"c", &time);
  db.DeleteCategory(hole, kTime);
  EXPECT_EQ(db.GetNewCategoryId(), 131u);
}

TEST_F(CategoryDBTest, After255TheNextIdIs128) {
  CCategoryDB db;
  readWithLastId(db, 254);
  EXPECT_EQ(db.GetNewCategoryId(), 255u);
  EXPECT_EQ(db.GetNewCategoryId(), 128u);
  EXPECT_EQ(db.GetNewCategoryId(), 129u);
}

TEST_F(CategoryDBTest, ALastIdBeyondTheRangeCountsOnTo128) {
  for (uint32_t last : {256u, 300u, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    CCategoryDB db;
    readWithLastId(db, last);
    EXPECT_EQ(db.GetNewCategoryId(), 128u) << last;
  }
}

TEST_F(CategoryDBTest, ALastIdBelow128CountsOnFromWhereItIs) {
  CCategoryDB db;
  readWithLastId(db, 0);
  EXPECT_EQ(db.GetNewCategoryId(), 1u);
  EXPECT_EQ(db.GetNewCategoryId(), 2u);
}

TEST_F(CategoryDBTest, WithEveryIdTakenMessage19IsThrownAnd256StaysStored) {
  CCategoryDB db;
  for (unsigned long id = 128; id <= 255; ++id) {
    static_cast<CCategoryRecord*>(db.GetRecordset()->Append())->SetCategoryId(id);
  }
  const Thrown thrown = thrownBy([&] { db.GetNewCategoryId(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 19, 18)) << thrown;
  EXPECT_THAT(kx_test::logLines(), ElementsAre(throwing(97)));
  EXPECT_EQ(lastId(db), 256u);
  slot(db, 0)->SetEmpty(true);
  EXPECT_EQ(db.GetNewCategoryId(), 128u);
}

TEST_F(CategoryDBTest, SteppingOverTakenIdsDoesNotWrap) {
  CCategoryDB db;
  readWithLastId(db, 254);
  static_cast<CCategoryRecord*>(db.GetRecordset()->Append())->SetCategoryId(255);
  EXPECT_TRUE(thrownBy([&] { db.GetNewCategoryId(); }).is(Thrown::kException, 19, 18));
  EXPECT_EQ(db.GetNewCategoryId(), 128u) << "counting on from 256";
}

// --- Holes ---

TEST_F(CategoryDBTest, TheFirstHoleIsTheFirstEmptySlot) {
  CCategoryDB db;
  create(db);
  fillTo(db, 4);
  slot(db, 1)->SetDeleted(true);
  slot(db, 2)->SetEmpty(true);
  slot(db, 3)->SetEmpty(true);
  EXPECT_EQ(db.FindFirstHole(), 2) << "the deleted flag is not looked at";
  EXPECT_EQ(db.GetRecordset()->getSize(), 4);
}

TEST_F(CategoryDBTest, WithoutAHoleARecordIsAppendedThatIsNotEmpty) {
  CCategoryDB db;
  create(db);
  EXPECT_EQ(db.FindFirstHole(), 1);
  ASSERT_EQ(db.GetRecordset()->getSize(), 2);
  EXPECT_FALSE(slot(db, 1)->IsEmpty());
  EXPECT_EQ(slot(db, 1)->GetCategoryId(), 0u);
  EXPECT_EQ(name(slot(db, 1)), L"");
  EXPECT_EQ(db.FindFirstHole(), 2) << "the appended record is no hole";
}

TEST_F(CategoryDBTest, ResizingAddsHolesUntilThereAreMoreSlots) {
  CCategoryDB db;
  db.ResizeDB(0);
  EXPECT_EQ(db.GetRecordset()->getSize(), 1);
  db.ResizeDB(3);
  ASSERT_EQ(db.GetRecordset()->getSize(), 4);
  for (unsigned long i = 0; i < 4; ++i) {
    EXPECT_TRUE(slot(db, i)->IsEmpty());
    EXPECT_EQ(slot(db, i)->GetFlag(), 0x10);
    EXPECT_EQ(slot(db, i)->GetCategoryId(), 0u);
  }
  db.ResizeDB(2);
  EXPECT_EQ(db.GetRecordset()->getSize(), 4);
  db.ResizeDB(20);
  EXPECT_EQ(db.GetRecordset()->getSize(), 21);
}

TEST_F(CategoryDBTest, AbsurdSizesAreRefusedWithAnAssertion) {
  CCategoryDB db;
  for (unsigned long size : {65535ul, 0x7FFFFFFFul, 0xFFFFFFFFul}) {
    kx_test::clearLog();
    db.ResizeDB(size);
    EXPECT_EQ(db.GetRecordset()->getSize(), 0);
    EXPECT_EQ(kx_test::logCount("Assertion Failed! File "), 1);
  }
}

// --- Adding ---

TEST_F(CategoryDBTest, AddingByNameTakesTheFirstHoleAndANewId) {
  CCategoryDB db;
  create(db);
  unsigned long time = 7;
  CCategoryRecord* work = db.AddNewCategory(L"Work", &time);
  EXPECT_EQ(work, slot(db, 1));
  EXPECT_EQ(work->GetCategoryId(), 129u);
  EXPECT_EQ(name(work), L"Work");
  EXPECT_EQ(work->GetLastChangedTime(), 7u);
  EXPECT_EQ(work->GetFlag(), 0x80);
  db.AddNewCategory(L"Home", &time);
  db.DeleteCategory(work, 8);
  CCategoryRecord* club = db.AddNewCategory(L"Club", &time);
  EXPECT_EQ(club, slot(db, 1)) << "the deleted slot";
  EXPECT_EQ(club->GetCategoryId(), 131u) << "not the deleted id";
  EXPECT_EQ(name(club), L"Club");
  EXPECT_EQ(club->GetFlag(), 0xC0) << "the deleted flag stays";
  EXPECT_EQ(db.GetRecordset()->getSize(), 3);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CategoryDBTest, AddingByNameNeverGivesTheOldIdOfItsHole) {
  CCategoryDB db;
  readWithLastId(db, 149);
  CCategoryRecord* hole = db.AddNewCategory(150ul, L"Work", kTime, 0);
  db.DeleteCategory(hole, 9);
  unsigned long time = 10;
  EXPECT_EQ(db.AddNewCategory(L"Home", &time), hole);
  EXPECT_EQ(hole->GetCategoryId(), 151u) << "it lives before its id is drawn";
}

TEST_F(CategoryDBTest, WithoutAFreeIdAnAddedCategoryLivesWithItsOldFields) {
  CCategoryDB db;
  readWithLastId(db, 254);
  CCategoryRecord* hole = db.AddNewCategory(140ul, L"Work", 7ul, 0);
  hole->SetFlag(0x50);
  db.AddNewCategory(255ul, L"Last", kTime, 1);
  unsigned long time = 10;
  const Thrown thrown = thrownBy([&] { db.AddNewCategory(L"Home", &time); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 19, 18)) << thrown;
  EXPECT_EQ(hole->GetFlag(), 0xC0) << "new and no longer empty, still deleted";
  EXPECT_EQ(hole->GetCategoryId(), 140u);
  EXPECT_EQ(name(hole), L"Work");
  EXPECT_EQ(hole->GetLastChangedTime(), 7u);
}

TEST_F(CategoryDBTest, AddingWithAnIdLeavesTheLastIdAlone) {
  CCategoryDB db;
  unsigned long time = 7;
  db.ResizeDB(1);
  slot(db, 0)->SetFlag(0x70);
  CCategoryRecord* record = db.AddNewCategory(200ul, L"Work", &time);
  EXPECT_EQ(record, slot(db, 0));
  EXPECT_EQ(record->GetCategoryId(), 200u);
  EXPECT_EQ(name(record), L"Work");
  EXPECT_EQ(record->GetLastChangedTime(), 7u);
  EXPECT_EQ(record->GetFlag(), 0xE0) << "empty cleared, new set, deleted and changed left";
  EXPECT_EQ(db.GetNewCategoryId(), 129u);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CategoryDBTest, ANullTimeMeansNow) {
  CCategoryDB db;
  const auto before = static_cast<unsigned long>(std::time(nullptr));
  const CCategoryRecord* records[] = {db.AddNewCategory(L"a", nullptr),
                                      db.AddNewCategory(200ul, L"b", nullptr)};
  const auto after = static_cast<unsigned long>(std::time(nullptr));
  for (const CCategoryRecord* record : records) {
    const unsigned long time = const_cast<CCategoryRecord*>(record)->GetLastChangedTime();
    EXPECT_GE(time, before);
    EXPECT_LE(time, after);
  }
}

TEST_F(CategoryDBTest, AddingAnIdThatLivesAssertsAndGoesOn) {
  CCategoryDB db;
  unsigned long time = kTime;
  db.AddNewCategory(200ul, L"a", &time);
  CCategoryRecord* twin = db.AddNewCategory(200ul, L"b", &time);
  EXPECT_EQ(twin, slot(db, 1));
  EXPECT_EQ(twin->GetCategoryId(), 200u);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(142)));
}

TEST_F(CategoryDBTest, TheSeventeenthByNameAssertsAndThrowsMessage21AfterAppending) {
  CCategoryDB db;
  fillTo(db, 16);
  unsigned long time = kTime;
  const Thrown thrown = thrownBy([&] { db.AddNewCategory(L"x", &time); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 21, 20)) << thrown;
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(200), throwing(213)));
  EXPECT_EQ(db.GetRecordset()->getSize(), 17) << "the record appended in the search stays";
  EXPECT_FALSE(slot(db, 16)->IsEmpty());
  EXPECT_EQ(db.GetNewCategoryId(), 145u) << "no id was spent";
}

TEST_F(CategoryDBTest, TheSeventeenthWithAnIdAssertsAndThrowsMessage21AfterAppending) {
  CCategoryDB db;
  fillTo(db, 16);
  unsigned long time = kTime;
  const Thrown thrown = thrownBy([&] { db.AddNewCategory(129ul, L"x", &time); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 21, 20)) << thrown;
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(141), assertion(142), throwing(155)));
  EXPECT_EQ(db.GetRecordset()->getSize(), 17);
}

TEST_F(CategoryDBTest, AHoleBeyondTheSixteenthSlotIsNoPlace) {
  CCategoryDB db;
  fillTo(db, 15);
  db.GetRecordset()->Append();
  db.ResizeDB(16);
  unsigned long time = kTime;
  EXPECT_TRUE(thrownBy([&] { db.AddNewCategory(L"x", &time); }).is(Thrown::kException, 21, 20));
  EXPECT_EQ(db.GetRecordset()->getSize(), 17) << "nothing was appended";
  EXPECT_TRUE(slot(db, 16)->IsEmpty());
}

TEST_F(CategoryDBTest, WithSixteenLiveAHoleIsStillTakenAfterTheAssertion) {
  CCategoryDB db;
  db.ResizeDB(0);
  for (int i = 0; i < 16; ++i) db.GetRecordset()->Append();
  unsigned long time = kTime;
  EXPECT_EQ(db.AddNewCategory(L"x", &time), slot(db, 0));
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(200)));
}

TEST_F(CategoryDBTest, AddingInASlotOverwritesWhateverIsThere) {
  CCategoryDB db;
  create(db);
  fillTo(db, 2);
  slot(db, 1)->SetFlag(0x70);
  CCategoryRecord* record = db.AddNewCategory(0ul, L"Work", 5ul, 1);
  EXPECT_EQ(record, slot(db, 1));
  EXPECT_EQ(record->GetCategoryId(), 0u) << "no uniqueness test";
  EXPECT_EQ(name(record), L"Work");
  EXPECT_EQ(record->GetLastChangedTime(), 5u);
  EXPECT_EQ(record->GetFlag(), 0xE0);
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CategoryDBTest, AddingInALaterSlotFillsUpWithHoles) {
  CCategoryDB db;
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", 5ul, 15);
  ASSERT_EQ(db.GetRecordset()->getSize(), 16);
  EXPECT_EQ(record, slot(db, 15));
  EXPECT_THAT(liveIds(db), ElementsAre(150));
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(CategoryDBTest, AddingInASlotAssertsItsRange) {
  CCategoryDB db;
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", 5ul, 16);
  EXPECT_EQ(record, slot(db, 16)) << "it goes on";
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(174)));
  kx_test::clearLog();
  EXPECT_EQ(db.AddNewCategory(151ul, L"Work", 5ul, -1), nullptr);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(174)));
  EXPECT_THAT(liveIds(db), ElementsAre(150));
  EXPECT_EQ(db.AddNewCategory(151ul, L"Work", 5ul, 70000), nullptr);
  EXPECT_EQ(db.GetRecordset()->getSize(), 17);
}

TEST_F(CategoryDBTest, AddingInASlotAssertsThatThereIsRoom) {
  CCategoryDB db;
  fillTo(db, 16);
  CCategoryRecord* record = db.AddNewCategory(200ul, L"Work", 5ul, 3);
  EXPECT_EQ(record, slot(db, 3));
  EXPECT_EQ(record->GetCategoryId(), 200u);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(171)));
}

// --- Changing ---

TEST_F(CategoryDBTest, DeletingLeavesAHoleWithItsIdAndName) {
  CCategoryDB db;
  unsigned long time = kTime;
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", &time);
  record->SetFlag(0x08);
  db.DeleteCategory(record, 9);
  EXPECT_EQ(record->GetFlag(), 0x58);
  EXPECT_EQ(record->GetCategoryId(), 150u);
  EXPECT_EQ(name(record), L"Work");
  EXPECT_EQ(record->GetLastChangedTime(), 9u);
  EXPECT_EQ(db.GetCategoryCount(), 0);
  EXPECT_EQ(db.GetRecordset()->getSize(), 1);
}

TEST_F(CategoryDBTest, UndeletingGivesAFreshId) {
  CCategoryDB db;
  unsigned long time = kTime;
  CCategoryRecord* record = db.AddNewCategory(L"Work", &time);
  record->SetFlag(0x08);
  db.DeleteCategory(record, 9);
  db.UndeleteCategory(record, 10);
  EXPECT_EQ(record->GetFlag(), 0xA8) << "new and changed, neither empty nor deleted";
  EXPECT_EQ(record->GetCategoryId(), 130u);
  EXPECT_EQ(name(record), L"Work");
  EXPECT_EQ(record->GetLastChangedTime(), 10u);
}

TEST_F(CategoryDBTest, UndeletingNeverGivesTheOldIdBack) {
  CCategoryDB db;
  readWithLastId(db, 149);
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", kTime, 0);
  db.DeleteCategory(record, 9);
  db.UndeleteCategory(record, 10);
  EXPECT_EQ(record->GetCategoryId(), 151u)
      << "it lives again before its id is drawn, so its old one is taken";
}

TEST_F(CategoryDBTest, WithoutAFreeIdAnUndeletedCategoryLivesWithItsOldOne) {
  CCategoryDB db;
  readWithLastId(db, 254);
  CCategoryRecord* record = db.AddNewCategory(140ul, L"Work", 7ul, 0);
  db.DeleteCategory(record, 9);
  record->SetNew(false);
  db.AddNewCategory(255ul, L"Last", kTime, 1);
  const Thrown thrown = thrownBy([&] { db.UndeleteCategory(record, 10); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 19, 18)) << thrown;
  EXPECT_EQ(record->GetFlag(), 0xA0) << "new and changed, neither empty nor deleted";
  EXPECT_EQ(record->GetCategoryId(), 140u);
  EXPECT_EQ(record->GetLastChangedTime(), 10u);
}

TEST_F(CategoryDBTest, RenamingMarksAndDatesTheRecord) {
  CCategoryDB db;
  unsigned long time = kTime;
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", &time);
  record->SetFlag(0);
  db.RenameCategory(record, L"Home", 9);
  EXPECT_EQ(name(record), L"Home");
  EXPECT_EQ(record->GetFlag(), 0x20);
  EXPECT_EQ(record->GetLastChangedTime(), 9u);
  EXPECT_EQ(record->GetCategoryId(), 150u);
}

TEST_F(CategoryDBTest, SettingAnIdMarksTheRecordWithoutDatingIt) {
  CCategoryDB db;
  unsigned long time = kTime;
  CCategoryRecord* record = db.AddNewCategory(150ul, L"Work", &time);
  record->SetFlag(0);
  db.SetCategoryID(record, 160);
  EXPECT_EQ(record->GetCategoryId(), 160u);
  EXPECT_EQ(record->GetFlag(), 0x20);
  EXPECT_EQ(record->GetLastChangedTime(), kTime);
}

TEST_F(CategoryDBTest, DeletingAllFreesTheRowsAndStartsIdsAfresh) {
  CCategoryDB db;
  create(db);
  fillTo(db, 5);
  db.deleteAllCategories();
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  EXPECT_EQ(db.GetNewCategoryId(), 129u);
}

TEST_F(CategoryDBTest, NullRecordsAssertAndChangeNothing) {
  CCategoryDB db;
  _String out(L"kept");
  db.DeleteCategory(nullptr, 1);
  db.UndeleteCategory(nullptr, 1);
  db.RenameCategory(nullptr, L"x", 1);
  db.SetCategoryID(nullptr, 1);
  db.GetCategoryName(nullptr, out);
  EXPECT_EQ(db.GetCategoryID(nullptr), 0u);
  EXPECT_EQ(kx_test::logCount("Assertion Failed! File "), 6);
  EXPECT_EQ(db.GetNewCategoryId(), 129u);
}

// --- Renumbering ---

TEST_F(CategoryDBTest, RenumberingGives129AndOnInSlotOrderAndUnfiledZero) {
  CCategoryDB db;
  unsigned long time = kTime;
  db.AddNewCategory(200ul, L"Work", &time);
  db.AddNewCategory(77ul, L"Unfiled", &time);
  CCategoryRecord* hole = db.AddNewCategory(201ul, L"Hole", &time);
  db.AddNewCategory(130ul, L"Home", &time);
  db.DeleteCategory(hole, 3);
  for (unsigned long i = 0; i < 4; ++i) slot(db, i)->SetChanged(false);
  const unsigned char flags = slot(db, 0)->GetFlag();
  db.setDesktopCategoryIDs();
  EXPECT_THAT(liveIds(db), ElementsAre(129, 0, 130));
  EXPECT_EQ(hole->GetCategoryId(), 201u);
  EXPECT_EQ(slot(db, 0)->GetFlag(), flags) << "no changed flag";
  EXPECT_FALSE(slot(db, 1)->IsChanged());
  EXPECT_EQ(slot(db, 0)->GetLastChangedTime(), kTime);
  EXPECT_EQ(db.GetNewCategoryId(), 131u);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(CategoryDBTest, RenumberingGivesAnIdToOthersWithIdZeroOrTheUnfiledName) {
  CCategoryDB db;
  db.AddNewCategory(0ul, L"unfiled", kTime, 0);
  db.AddNewCategory(0ul, L"Unfiled", kTime, 1);
  db.AddNewCategory(5ul, L"Unfiled", kTime, 2);
  db.setDesktopCategoryIDs();
  EXPECT_THAT(liveIds(db), ElementsAre(129, 0, 130));
}

TEST_F(CategoryDBTest, RenumberingWithoutAnUnfiledCategoryAssertsAndGoesOn) {
  CCategoryDB db;
  unsigned long time = kTime;
  db.AddNewCategory(200ul, L"Work", &time);
  db.setDesktopCategoryIDs();
  EXPECT_THAT(kx_test::logLines(), ElementsAre(assertion(406)));
  EXPECT_THAT(liveIds(db), ElementsAre(129));
}

// --- The iterator ---

TEST_F(CategoryDBTest, TheIteratorRestsOnLiveCategoriesOnly) {
  CCategoryDB db;
  db.ResizeDB(5);
  for (unsigned long i : {1ul, 2ul, 4ul}) {
    slot(db, i)->SetEmpty(false);
    slot(db, i)->SetCategoryId(i);
  }
  CCategoryIterator it = db.GetIterator();
  EXPECT_EQ(*it, slot(db, 1));
  EXPECT_EQ(it.GetRowIterator(), db.GetRecordset()->begin() + 1);
  ++it;
  EXPECT_EQ(*it, slot(db, 2));
  ++it;
  EXPECT_EQ(*it, slot(db, 4));
  EXPECT_TRUE(it != db.End());
  ++it;
  EXPECT_FALSE(it != db.End());
  EXPECT_EQ(it.GetRowIterator(), db.End());
  EXPECT_EQ(*it, nullptr) << "the end";
}

TEST_F(CategoryDBTest, AnIteratorFromARowMovesToTheFirstLiveOneFromThere) {
  CCategoryDB db;
  db.ResizeDB(5);
  slot(db, 1)->SetEmpty(false);
  slot(db, 4)->SetEmpty(false);
  const auto rows = db.GetRecordset()->begin();
  EXPECT_EQ(*CCategoryIterator(&db, rows), slot(db, 1));
  EXPECT_EQ(*CCategoryIterator(&db, rows + 1), slot(db, 1));
  EXPECT_EQ(*CCategoryIterator(&db, rows + 2), slot(db, 4));
  EXPECT_FALSE(CCategoryIterator(&db, rows + 5) != db.End());
}

TEST_F(CategoryDBTest, IteratorsCompareByPositionAndCopy) {
  CCategoryDB db;
  fillTo(db, 3);
  CCategoryIterator first = db.GetIterator();
  CCategoryIterator second(first);
  EXPECT_FALSE(first != second);
  ++second;
  EXPECT_TRUE(first != second);
  first = second;
  EXPECT_FALSE(first != second);
  EXPECT_EQ(*first, slot(db, 1));
  EXPECT_TRUE(first != db.GetRecordset()->begin());
  EXPECT_FALSE(first != db.GetRecordset()->begin() + 1);
  CCategoryIterator none;
  EXPECT_EQ(*none, nullptr);
  none = first;
  EXPECT_EQ(*none, slot(db, 1));
  EXPECT_TRUE(std::is_trivially_copyable<CCategoryIterator>::value);
}

TEST_F(CategoryDBTest, SteppingAfterwardsGivesThePlaceOfBefore) {
  CCategoryDB db;
  fillTo(db, 2);
  CCategoryIterator it = db.GetIterator();
  EXPECT_EQ(*it++, slot(db, 0));
  EXPECT_EQ(*it++, slot(db, 1));
  EXPECT_FALSE(it != db.End());
  EXPECT_EQ(*it++, nullptr);
  EXPECT_FALSE(it != db.End()) << "the end stays the end";
}

TEST_F(CategoryDBTest, SteppingBeyondTheEndStaysThere) {
  CCategoryDB db;
  fillTo(db, 2);
  CCategoryIterator it = db.GetIterator();
  for (int i = 0; i < 5; ++i) ++it;
  EXPECT_EQ(*it, nullptr);
  EXPECT_FALSE(it != db.End());
  EXPECT_EQ(it.GetRowIterator(), db.End());
  CCategoryIterator none;
  EXPECT_EQ(*++none, nullptr);
  EXPECT_EQ(*none++, nullptr);
}

TEST_F(CategoryDBTest, AnIteratorIsAtTheEndWhenAllCategoriesAreGone) {
  CCategoryDB db;
  fillTo(db, 3);
  CCategoryIterator it = db.GetIterator();
  ++it;
  db.deleteAllCategories();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(*it, nullptr) << i;
    EXPECT_FALSE(it != db.End()) << i;
    EXPECT_EQ(it.GetRowIterator(), db.End()) << i;
    ++it;
  }
}

TEST_F(CategoryDBTest, AnIteratorStaysValidWhenTheDatabaseGrows) {
  CCategoryDB db;
  fillTo(db, 2);
  CCategoryIterator it = db.GetIterator();
  ++it;
  db.ResizeDB(1000);
  slot(db, 900)->SetEmpty(false);
  EXPECT_EQ(*it, slot(db, 1));
  ++it;
  EXPECT_EQ(*it, slot(db, 900));
  ++it;
  EXPECT_FALSE(it != db.End());
}

TEST_F(CategoryDBTest, ASlotWithoutAFlagTagThrowsWhenItIsMet) {
  CCategoryDB db;
  fillTo(db, 2);
  slot(db, 0)->FreeData();
  const Thrown thrown = thrownBy([&] { db.GetCategoryCount(); });
  EXPECT_EQ(thrown.kind, Thrown::kException) << thrown;
  EXPECT_EQ(thrown.description.rfind(kx_test::messageText(16), 0), 0u);
}

TEST_F(CategoryDBTest, AnIteratorAtTheEndStaysThereWhenSlotsAreAdded) {
  CCategoryDB db;
  db.InitNewDatabase();
  auto end = db.GetIterator();
  ++end;
  ASSERT_EQ(*end, nullptr);
  db.ResizeDB(3);
  EXPECT_EQ(*end, nullptr);
  EXPECT_FALSE(end != db.End());
}

TEST_F(CategoryDBTest, IteratorsOfTwoDatabasesDiffer) {
  CCategoryDB db;
  CCategoryDB other;
  db.InitNewDatabase();
  other.InitNewDatabase();
  EXPECT_TRUE(db.GetIterator() != other.GetIterator());
  EXPECT_FALSE(db.GetIterator() != db.GetIterator());
  EXPECT_TRUE(kx_gen::CCategoryIterator() != db.GetIterator());
}

TEST_F(CategoryDBTest, CategoriesAreFoundByNumbersOfAnyType) {
  CCategoryDB db;
  db.InitNewDatabase();
  EXPECT_NE(db.FindCategory(0), nullptr);
  EXPECT_NE(db.FindCategory(0u), nullptr);
  EXPECT_NE(db.FindCategory(uint32_t{0}), nullptr);
  EXPECT_NE(db.FindCategory(0L), nullptr);
  EXPECT_EQ(db.FindCategory(uint8_t{129}), nullptr);
}

TEST_F(CategoryDBTest, ManyLiveIdsInARowEndInMessage19) {
  constexpr int kRows = 20000;
  CCategoryDB db;
  for (int i = 0; i < kRows; ++i) {
    static_cast<CCategoryRecord*>(db.GetRecordset()->Append())
        ->SetCategoryId(128 + static_cast<unsigned long>(i));
  }
  const Thrown thrown = thrownBy([&] { db.GetNewCategoryId(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 19, 18)) << thrown;
}

}  // namespace
