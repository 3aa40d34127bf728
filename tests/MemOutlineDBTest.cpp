// The memory outline database: linked rows right behind the information block, and nothing else.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <type_traits>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "OutlineDB.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::join;
using kx_test::logLines;
using kx_test::stringTag;
using kx_test::tag;
using kx_test::throwLine;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint16_t kVersion = 10;
constexpr unsigned long kRowsStart = 10;

/// Shows where its rows begin.
class OpenDb : public CMemOutlDB {
 public:
  OpenDb() = default;
  ~OpenDb() override = default;
  using CMemOutlDB::getFirstRowStartPosReading;
  using CMemOutlDB::getFirstRowStartPosWriting;
  using CMemOutlDB::SetVersionNum;
};

/// The block of an item with these ids.
Bytes itemBlock(uint32_t own, uint32_t parent, const std::string& text) {
  return join({tag(1, {0}), tag(2, {0}), tag(5, {0, 0, 0, 0}), tag(6, {0}), tag(9, {1}),
               tag(10, {0}), tag(17, kx_test::le32(own)), tag(18, kx_test::le32(parent)),
               stringTag(7, kx_test::narrow(text)), stringTag(8, {0})});
}

class MemOutlineDBTest : public kx_test::KxTest {
 protected:
  std::wstring file() const { return path(L"memory"); }
  void put(const Bytes& bytes) { kx_test::writeFile("memory", bytes); }
  void put(const std::string& name) { put(kx_test::golden(name)); }
  Bytes content() { return kx_test::readFile("memory"); }

  template <class Db>
  int open(Db& db, unsigned int mode = kx_test::kReadWrite) {
    return db.Open(file().c_str(), mode);
  }
  static void save(kx_gen::CDatabase& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }
  void read(CMemOutlDB& db) {
    ASSERT_EQ(open(db), 1);
    db.ReadRows();
  }

  static CLinkedOutlRec* item(CMemOutlDB& db, unsigned long i) {
    EXPECT_TRUE(kx_test::isExactly<CLinkedOutlRec>(db.getRecord(i)));
    return static_cast<CLinkedOutlRec*>(db.getRecord(i));
  }
  static CLinkedOutlRec* addItem(CMemOutlDB& db, unsigned long own, unsigned long parent,
                                 const wchar_t* text) {
    auto* added = static_cast<CLinkedOutlRec*>(db.GetRecordset()->Append());
    added->setInternalId(own);
    added->setParentId(parent);
    added->SetText(text);
    return added;
  }
  static std::wstring textOf(CLinkedOutlRec* record) {
    _String text;
    record->GetText(text);
    return text;
  }
};

// --- The class ---

TEST_F(MemOutlineDBTest, IsADatabaseOfItsOwnThatAddsNoField) {
  EXPECT_TRUE((std::is_base_of<kx_gen::CDatabase, CMemOutlDB>::value));
  EXPECT_FALSE((std::is_base_of<COutlineDB, CMemOutlDB>::value));
  EXPECT_EQ(sizeof(CMemOutlDB), sizeof(kx_gen::CDatabase));
  EXPECT_FALSE(std::is_copy_constructible<CMemOutlDB>::value);
}

TEST_F(MemOutlineDBTest, TheVirtualTableIsThatOfDatabases) {
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::Open), 2);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::Close), 3);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::CheckDbInfo), 4);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::InitNewDatabase), 5);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::WriteDbInfo), 6);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::ReadExtraRows), 7);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::WriteExtraRows), 8);
  EXPECT_EQ(kx_test::virtualSlot(&CMemOutlDB::CreateRecordset), 9);
  EXPECT_EQ(kx_test::virtualSlot(&OpenDb::getFirstRowStartPosReading), 10);
  EXPECT_EQ(kx_test::virtualSlot(&OpenDb::getFirstRowStartPosWriting), 11);
}

TEST_F(MemOutlineDBTest, ANewDatabaseTracesItselfAndIsOfVersionTen) {
  CMemOutlDB db;
  EXPECT_THAT(logLines(), ElementsAre("CMemOutlDB::CMemOutlDB"));
  EXPECT_FALSE(db.IsOpen());
  EXPECT_EQ(db.GetVersionNum(), kVersion);
  EXPECT_EQ(db.GetRowCount(), 0u);
  EXPECT_TRUE(kx_test::isExactly<kx_gen::CLinkedOutlRS>(db.GetRecordset()));
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
}

TEST_F(MemOutlineDBTest, ItRegistersNoHeaderOfItsOwn) {
  CMemOutlDB db;
  EXPECT_NE(db.GetConduitHeader(), nullptr) << "every database has that one";
  for (unsigned short id = 2; id < 10; ++id) {
    EXPECT_EQ(db.GetHeaderManager().GetHeaderPtr(id), nullptr) << id;
  }
}

TEST_F(MemOutlineDBTest, RowsStartAtTenAlways) {
  OpenDb db;
  EXPECT_EQ(db.getFirstRowStartPosReading(), kRowsStart);
  EXPECT_EQ(db.getFirstRowStartPosWriting(), kRowsStart);
  open(db, kx_test::kCreate);
  db.InitNewDatabase();
  EXPECT_EQ(db.getFirstRowStartPosReading(), kRowsStart);
  EXPECT_EQ(db.getFirstRowStartPosWriting(), kRowsStart);
}

TEST_F(MemOutlineDBTest, CreateRecordsetReplacesTheRowsByAnEmptyLinkedSet) {
  CMemOutlDB db;
  addItem(db, 1, 0, L"gone");
  db.CreateRecordset();
  EXPECT_TRUE(kx_test::isExactly<kx_gen::CLinkedOutlRS>(db.GetRecordset()));
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
}

TEST_F(MemOutlineDBTest, NothingStandsAheadOfTheRows) {
  put("memory-outline");
  CMemOutlDB db;
  open(db);
  db.Seek(17, 0);
  clearLog();
  db.ReadExtraRows();
  db.WriteExtraRows();
  EXPECT_EQ(db.GetPosition(), 17ul);
  EXPECT_THAT(logLines(), IsEmpty());
  db.Close();
  EXPECT_EQ(content(), kx_test::golden("memory-outline"));
}

// --- Writing ---

TEST_F(MemOutlineDBTest, ANewFileIsItsInformationBlock) {
  CMemOutlDB db;
  EXPECT_EQ(open(db, kx_test::kCreate), 1);
  db.InitNewDatabase();
  clearLog();
  save(db);
  EXPECT_EQ(content(), kx_test::dbInfo(kVersion, 0));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemOutlineDBTest, WritingAllHeadersWritesTheInformationBlockAlone) {
  CMemOutlDB db;
  open(db, kx_test::kCreate);
  db.WriteAllHeaders();
  EXPECT_EQ(db.GetLength(), kRowsStart);
}

TEST_F(MemOutlineDBTest, ItemsAreWrittenByteForByte) {
  CMemOutlDB db;
  open(db, kx_test::kCreate);
  db.InitNewDatabase();
  addItem(db, 1, 0, L"Trip");
  addItem(db, 2, 1, L"Paris")->SetIndent(1);
  save(db);
  EXPECT_EQ(kx_test::toHex(content()), kx_test::toHex(kx_test::golden("memory-outline")));
}

TEST_F(MemOutlineDBTest, RowsStandBehindOneAnotherFromTenOn) {
  CMemOutlDB db;
  open(db, kx_test::kCreate);
  addItem(db, 1, 0, L"one");
  addItem(db, 2, 1, L"two");
  save(db);
  const Bytes first = kx_test::row(itemBlock(1, 0, "one"));
  const Bytes second = kx_test::row(itemBlock(2, 1, "two"));
  EXPECT_EQ(content(), join({kx_test::dbInfo(kVersion, 2), first, second}));
  EXPECT_EQ(db.getRecord(0)->GetPos(), kRowsStart);
  EXPECT_EQ(db.getRecord(1)->GetPos(), kRowsStart + first.size());
}

TEST_F(MemOutlineDBTest, RowsAloneMakeAFile) {
  CMemOutlDB db;
  open(db, kx_test::kCreate);
  addItem(db, 1, 0, L"one");
  db.WriteRows();
  db.Close();
  EXPECT_EQ(content(), join({kx_test::dbInfo(kVersion, 1), kx_test::row(itemBlock(1, 0, "one"))}));
}

TEST_F(MemOutlineDBTest, AShorterDocumentCutsTheFile) {
  put("memory-outline");
  CMemOutlDB db;
  read(db);
  item(db, 0)->SetDeleted(true);
  db.purgeDeletedRecs();
  save(db);
  const Bytes whole = kx_test::golden("memory-outline");
  EXPECT_EQ(content(),
            join({kx_test::dbInfo(kVersion, 1), kx_test::slice(whole, 0xC3, whole.size() - 0xC3)}));
}

// --- Reading ---

TEST_F(MemOutlineDBTest, ItOpensWhatItWroteAndItemsKeepTheirIds) {
  constexpr unsigned long kIds[] = {0, 1, 0x80000000, 0xFFFFFFFF};
  {
    CMemOutlDB db;
    open(db, kx_test::kCreate);
    db.InitNewDatabase();
    for (const unsigned long id : kIds) addItem(db, id, ~id & 0xFFFFFFFF, L"item");
    save(db);
  }
  CMemOutlDB db;
  clearLog();
  read(db);
  EXPECT_THAT(logLines(), IsEmpty());
  ASSERT_EQ(db.GetRecordset()->getSize(), 4);
  for (unsigned long i = 0; i < 4; ++i) {
    EXPECT_EQ(item(db, i)->getInternalId(), kIds[i]);
    EXPECT_EQ(item(db, i)->getParentId(), ~kIds[i] & 0xFFFFFFFF);
    EXPECT_EQ(textOf(item(db, i)), L"item");
  }
}

TEST_F(MemOutlineDBTest, OneObjectWritesClosesAndReads) {
  CMemOutlDB db;
  open(db, kx_test::kCreate);
  db.InitNewDatabase();
  addItem(db, 5, 4, L"item");
  save(db);
  read(db);
  ASSERT_EQ(db.GetRecordset()->getSize(), 1);
  EXPECT_EQ(item(db, 0)->getInternalId(), 5u);
  save(db);
  EXPECT_EQ(content(), join({kx_test::dbInfo(kVersion, 1), kx_test::row(itemBlock(5, 4, "item"))}));
}

TEST_F(MemOutlineDBTest, AFileIsSavedAsItWasRead) {
  for (const char* name : {"memory-outline", "memory-outline-all-fields"}) {
    put(name);
    CMemOutlDB db;
    read(db);
    save(db);
    EXPECT_EQ(kx_test::toHex(content()), kx_test::toHex(kx_test::golden(name))) << name;
  }
}

TEST_F(MemOutlineDBTest, EveryFieldIsRead) {
  put("memory-outline-all-fields");
  CMemOutlDB db;
  read(db);
  ASSERT_EQ(db.GetRecordset()->getSize(), 4);
  CLinkedOutlRec* full = item(db, 0);
  EXPECT_TRUE(full->IsNew());
  EXPECT_TRUE(full->IsSortChanged());
  EXPECT_EQ(full->GetId(), 0x01020304u);
  EXPECT_EQ(full->GetIndent(), 255);
  EXPECT_FALSE(full->GetExpanded());
  EXPECT_TRUE(full->GetChecked());
  EXPECT_EQ(full->getInternalId(), 0xFFFFFFFEul);
  EXPECT_EQ(full->getParentId(), 0xFFFFFFFEul);
  EXPECT_EQ(textOf(full), L"Caf\u00E9");
  _String note;
  full->GetNote(note);
  EXPECT_EQ(note, L"\u4E2D");
  long width = 0;
  long height = 0;
  full->GetDrawingSize(width, height);
  EXPECT_EQ(width, 1);
  EXPECT_EQ(height, 1);
  EXPECT_EQ(item(db, 1)->GetFlag(), 0x60);
  EXPECT_EQ(item(db, 2)->getParentId(), 0xFFFFFFFFul);
}

TEST_F(MemOutlineDBTest, AFieldThatARowLacksThrowsMessage16) {
  put("memory-outline-all-fields");
  CMemOutlDB db;
  read(db);
  CLinkedOutlRec* lacking = item(db, 1);
  for (const auto& get : std::initializer_list<std::function<void()>>{
           [&] { lacking->getInternalId(); }, [&] { lacking->getParentId(); },
           [&] { lacking->GetIndent(); }, [&] { item(db, 3)->GetFlag(); }}) {
    EXPECT_EQ(thrownBy(get).description.rfind(kx_test::messageText(16), 0), 0u);
  }
  lacking->setInternalId(9);
  lacking->setParentId(8);
  EXPECT_EQ(lacking->getInternalId(), 9u);
  EXPECT_EQ(lacking->getParentId(), 8u);
}

TEST_F(MemOutlineDBTest, WhatOtherProgramsKeptSurvivesAnEdit) {
  put("memory-outline-all-fields");
  CMemOutlDB db;
  read(db);
  item(db, 2)->setParentId(5);
  save(db);
  Bytes expected = kx_test::golden("memory-outline-all-fields");
  const Bytes before = tag(18, {0xFF, 0xFF, 0xFF, 0xFF}, 1, 2);
  const auto at = std::search(expected.begin(), expected.end(), before.begin(), before.end());
  ASSERT_NE(at, expected.end());
  const Bytes after = tag(18, {5, 0, 0, 0});
  std::copy(after.begin(), after.end(), at);
  EXPECT_EQ(kx_test::toHex(content()), kx_test::toHex(expected));
}

TEST_F(MemOutlineDBTest, ARowIsReadAtItsOffset) {
  put("memory-outline");
  CMemOutlDB db;
  open(db);
  CLinkedOutlRec record;
  db.ReadRow(0xC3, &record);
  EXPECT_EQ(record.getInternalId(), 2u);
  EXPECT_EQ(textOf(&record), L"Paris");
  db.ReadRow(kRowsStart, &record);
  EXPECT_EQ(record.getInternalId(), 1u);
}

TEST_F(MemOutlineDBTest, AFileCutShortThrowsAndKeepsTheRowsBefore) {
  const Bytes whole = kx_test::golden("memory-outline");
  for (size_t length = kRowsStart; length < whole.size(); ++length) {
    put(kx_test::slice(whole, 0, length));
    CMemOutlDB db;
    ASSERT_EQ(open(db), 1);
    const Thrown thrown = thrownBy([&] { db.ReadRows(); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << length << ": " << thrown;
    EXPECT_EQ(db.GetRecordset()->getSize(), length < 0xC3 ? 1 : 2);
  }
}

// --- No header table ---

TEST_F(MemOutlineDBTest, ThereIsNoTableToRead) {
  put("memory-outline");
  CMemOutlDB db;
  open(db);
  EXPECT_THAT(db.GetHeaderManager().GetReadList(), IsEmpty());
  EXPECT_EQ(db.GetPosition(), kRowsStart) << "only the information block was read";
}

TEST_F(MemOutlineDBTest, ReadingAHeaderIsFalseAndReadsNothing) {
  put("memory-outline");
  CMemOutlDB db;
  open(db);
  clearLog();
  for (const unsigned short id : {0, 1, 2, 3}) EXPECT_FALSE(db.ReadHeader(id)) << id;
  db.ReadConduitHeader();
  EXPECT_EQ(db.GetPosition(), kRowsStart);
  EXPECT_EQ(kx_test::blockOf(*db.GetConduitHeader()), Bytes());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemOutlineDBTest, WritingAHeaderIsRefusedWithAnAssertion) {
  put("memory-outline");
  CMemOutlDB db;
  open(db);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, "A", 1, nullptr, 0);
  clearLog();
  db.WriteConduitHeader();
  EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine("Database", 103)));
  db.WriteHeader(2);
  db.Close();
  EXPECT_EQ(content(), kx_test::golden("memory-outline"));
}

TEST_F(MemOutlineDBTest, AHeaderThatOutgrewItsSlotIsNoConcernOfASave) {
  put("memory-outline");
  CMemOutlDB db;
  read(db);
  const Bytes large(1000, 1);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, large.data(), 1000, nullptr, 0);
  EXPECT_EQ(thrownBy([&] { save(db); }).kind, Thrown::kNothing);
  EXPECT_EQ(content(), kx_test::golden("memory-outline"));
}

// --- Versions and other kinds ---

Thrown openThrows(const Bytes& bytes) {
  kx_test::writeFile("memory", bytes);
  CMemOutlDB db;
  clearLog();
  return thrownBy([&] { db.Open(L"memory", kx_test::kReadWrite); });
}

TEST_F(MemOutlineDBTest, OnlyVersionTenIsAccepted) {
  for (const unsigned int version : {0u, 1u, 9u, 11u, 0x0A00u, 0x010Au, 0xFFFFu}) {
    const Thrown thrown = openThrows(kx_test::dbInfo(static_cast<uint16_t>(version), 0));
    EXPECT_TRUE(thrown.is(Thrown::kDbException, 25, 21)) << version << ": " << thrown;
    EXPECT_THAT(logLines(), ElementsAre(throwLine(".\\OutlineDB", 529)));
  }
  EXPECT_EQ(openThrows(kx_test::dbInfo(kVersion, 0)).kind, Thrown::kNothing);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemOutlineDBTest, AWrongVersionIsToldInItsOwnWords) {
  const Thrown thrown = openThrows(kx_test::dbInfo(0, 0));
  EXPECT_EQ(thrown.description,
            L"The memory outline database version is not correct. Please contact Pellworth "
            L"technical support!");
}

TEST_F(MemOutlineDBTest, TheCheckLooksAtTheVersionAlone) {
  OpenDb db;
  EXPECT_EQ(thrownBy([&] { db.CheckDbInfo(); }).kind, Thrown::kNothing);
  db.SetVersionNum(11);
  EXPECT_TRUE(thrownBy([&] { db.CheckDbInfo(); }).is(Thrown::kDbException, 25, 21));
}

TEST_F(MemOutlineDBTest, AnotherCheckCodeIsMessage13BeforeTheVersionIsLookedAt) {
  Bytes foreign = kx_test::dbInfo(0, 0);
  foreign[0] ^= 1;
  EXPECT_TRUE(openThrows(foreign).is(Thrown::kDbException, 13, 12));
  for (size_t length = 0; length < kRowsStart; ++length) {
    const Thrown thrown = openThrows(kx_test::slice(kx_test::dbInfo(kVersion, 0), 0, length));
    EXPECT_TRUE(thrown.is(Thrown::kDbException, 13, 12)) << length << ": " << thrown;
  }
}

TEST_F(MemOutlineDBTest, AMissingFileIsThrown) {
  CMemOutlDB db;
  const Thrown thrown = thrownBy([&] { open(db); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.cause, 2);
}

TEST_F(MemOutlineDBTest, AfterARefusalAnotherFileOpens) {
  CMemOutlDB db;
  put(kx_test::dbInfo(11, 0));
  EXPECT_TRUE(thrownBy([&] { open(db); }).is(Thrown::kDbException, 25, 21));
  EXPECT_EQ(db.GetVersionNum(), 11u) << "as read";
  db.Close();
  put("memory-outline");
  read(db);
  EXPECT_EQ(db.GetRecordset()->getSize(), 2);
  db.Close();
  put(kx_test::dbInfo(11, 0));
  EXPECT_TRUE(thrownBy([&] { open(db); }).is(Thrown::kDbException, 25, 21));
  open(db, kx_test::kCreate);
  EXPECT_EQ(db.GetVersionNum(), kVersion) << "a new file gets the kind's own";
}

template <class Db>
void makeFile(const std::wstring& file) {
  Db db;
  ASSERT_EQ(db.Open(file.c_str(), kx_test::kCreate), 1);
  db.InitNewDatabase();
  db.WriteAllHeaders();
  db.WriteRows();
}

TEST_F(MemOutlineDBTest, FilesOfOtherKindsAreRefusedWithMessage25) {
  makeFile<COutlineDB>(file());
  CMemOutlDB db;
  EXPECT_TRUE(thrownBy([&] { open(db); }).is(Thrown::kDbException, 25, 21));
  db.Close();
  makeFile<CCategoryDB>(file());
  EXPECT_TRUE(thrownBy([&] { open(db); }).is(Thrown::kDbException, 25, 21));
}

TEST_F(MemOutlineDBTest, AnOutlineDatabaseAnswersZeroForAMemoryOutline) {
  makeFile<CMemOutlDB>(file());
  COutlineDB db;
  clearLog();
  EXPECT_EQ(open(db), 0);
  EXPECT_FALSE(db.IsOpen());
  EXPECT_EQ(kx_test::logCount(throwLine(".\\OutlineDB", 85)), 1);
  EXPECT_EQ(kx_test::logCount("exception The db version is newer than your application."), 1)
      << "message 4";
}

TEST_F(MemOutlineDBTest, ACategoryDatabaseRefusesAMemoryOutlineWithMessage4) {
  makeFile<CMemOutlDB>(file());
  CCategoryDB db;
  const Thrown thrown = thrownBy([&] { open(db); });
  EXPECT_EQ(thrown.description, kx_test::messageText(4));
  EXPECT_EQ(thrown.number, 3u);
}

TEST_F(MemOutlineDBTest, AnyFileCanBeOverwritten) {
  makeFile<COutlineDB>(file());
  makeFile<CMemOutlDB>(file());
  EXPECT_EQ(content(), kx_test::dbInfo(kVersion, 0));
  makeFile<COutlineDB>(file());
  COutlineDB db;
  EXPECT_EQ(open(db), 1);
}

}  // namespace
