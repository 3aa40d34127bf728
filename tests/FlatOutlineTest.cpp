// The flat interface over outline databases and outline records: what each function forwards to,
// what it logs, and what some of them do beyond that.

#include <gmock/gmock.h>

#include <cstring>
#include <functional>

#include "FlatSupport.h"
#include "Pictures.h"

namespace {

using kx_gen::_String;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::FlatItem;
using kx_test::FlatOutline;
using kx_test::flatText;
using kx_test::handleOf;
using kx_test::itemOf;
using kx_test::logLines;
using kx_test::noteOf;
using kx_test::outlineOf;
using kx_test::textOf;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t kSharedSlot = 10 + 2 + 18 + 255;
constexpr size_t kPrivateSlot = kSharedSlot + 512;
constexpr size_t kRowsStart = kPrivateSlot + 512;

/// An outline that remembers which of its virtual operations ran.
class WatchedOutline : public COutlineDB {
 public:
  explicit WatchedOutline(std::vector<std::string>& calls) : calls_(calls) {}
  ~WatchedOutline() override { calls_.emplace_back("destructor"); }

  int Open(const wchar_t*, unsigned int mode) override {
    calls_.emplace_back("Open");
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

/// An outline that logs when it is closed.
class TalkingOutline : public COutlineDB {
 public:
  void Close() override { WriteLogLine("closed"); }
};

/// An outline of another version.
class VersionedOutline : public COutlineDB {
 public:
  explicit VersionedOutline(unsigned short version) { SetVersionNum(version); }
};

class FlatOutlineTest : public kx_test::FlatTest {
 protected:
  Bytes content() { return kx_test::readFile("outline.kxo"); }
  std::wstring file() const { return path(L"outline.kxo"); }
  void create(RV_DB db) { createOutline(db, L"outline.kxo"); }
  void open(RV_DB db, unsigned int mode = kx_test::kReadWrite) {
    ASSERT_EQ(RV_Open(db, file().c_str(), mode), 1);
  }
  /// The file with these items.
  void make(const std::vector<const wchar_t*>& texts) {
    FlatOutline db;
    create(db);
    unsigned long id = 1;
    for (const wchar_t* text : texts) addItem(db, id++, text);
    saveOutline(db);
  }
  static std::wstring categoryOf(RV_DB db) {
    return flatText([&](wchar_t* out) { return RV_GetCategoryName(db, out); });
  }
  static std::wstring titleOf(RV_DB db) {
    return flatText([&](wchar_t* out) { return RV_GetOutlineTitle(db, out); });
  }
  static std::vector<unsigned long> idsOf(RV_DB db) {
    std::vector<unsigned long> ids(static_cast<size_t>(RV_GetSize(db)));
    for (unsigned long i = 0; i < ids.size(); ++i) ids[i] = RV_GetRecordId(db, i);
    return ids;
  }
  static void draw(RV_REC rec, int32_t width, int32_t height, uint16_t bits = 24) {
    RV_SetDrawing(rec, kx_test::handleOf(kx_test::picture(width, height, bits)).release());
  }
};

// --- Life ---

TEST_F(FlatOutlineTest, ANewOutlineIsClosedAndHasItsDefaults) {
  FlatOutline db;
  ASSERT_NE(static_cast<RV_DB>(db), nullptr);
  EXPECT_THAT(logLines(), ElementsAre("COutlineDB::COutlineDB"));
  EXPECT_FALSE(outlineOf(db).IsOpen());
  EXPECT_EQ(RV_GetSize(db), 0);
  EXPECT_EQ(categoryOf(db), L"Unfiled");
  EXPECT_EQ(titleOf(db), L"Untitled");
  EXPECT_EQ(RV_GetOutlineChanged(db), 1);
  EXPECT_EQ(RV_GetShowHeadingsMode(db), 10u);
}

TEST_F(FlatOutlineTest, DeletingNothingDoesNothing) {
  RV_DeleteOutlineDB(nullptr);
  RV_DeleteCOutlineRecord(nullptr);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatOutlineTest, ADatabaseIsDestroyedAsWhatItIs) {
  std::vector<std::string> calls;
  RV_DeleteOutlineDB(handleOf(*new WatchedOutline(calls)));
  EXPECT_THAT(calls, ElementsAre("destructor"));
  RV_DeleteOutlineDB(handleOf(*new CMemOutlDB));
}

TEST_F(FlatOutlineTest, ANewRecordHasNoFieldsUntilInit) {
  RV_REC rec = RV_CreateOutlineRecord();
  EXPECT_EQ(RV_HasNote(rec), 0);
  const Thrown thrown = thrownBy([&] { RV_GetId(rec); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineRecord")) << thrown;
  RV_Init(rec);
  EXPECT_EQ(RV_GetId(rec), 0ul);
  EXPECT_EQ(RV_GetIndent(rec), 0u);
  EXPECT_EQ(textOf(rec), L"");
  EXPECT_EQ(noteOf(rec), L"");
  EXPECT_EQ(RV_HasNote(rec), 1);
  EXPECT_EQ(RV_GetExpanded(rec), 1);
  EXPECT_EQ(RV_GetChecked(rec), 0);
  EXPECT_EQ(RV_HasDrawing(rec), 0);
  RV_DeleteCOutlineRecord(rec);
}

TEST_F(FlatOutlineTest, InitIsThatOfTheRecordsKind) {
  CLinkedOutlRec linked;
  RV_Init(handleOf(linked));
  EXPECT_EQ(linked.getInternalId(), 0ul);
  EXPECT_EQ(linked.getParentId(), 0ul);
}

// --- The database file ---

TEST_F(FlatOutlineTest, VirtualOperationsAreThoseOfTheDatabasesKind) {
  std::vector<std::string> calls;
  WatchedOutline watched(calls);
  RV_DB db = handleOf(static_cast<CDatabase&>(watched));
  EXPECT_EQ(RV_Open(db, L"a.kxo", 7), 12) << "what Open answers comes through";
  RV_Close(db);
  RV_CheckDbInfo(db);
  RV_InitNewDataBase(db);
  RV_ReadExtraRows(db);
  RV_WriteExtraRows(db);
  RV_CreateRecordset(db);
  EXPECT_THAT(calls, ElementsAre("Open", "Close", "CheckDbInfo", "InitNewDatabase", "ReadExtraRows",
                                 "WriteExtraRows", "CreateRecordset"));
}

TEST_F(FlatOutlineTest, SomeCallsLeaveALineInTheLog) {
  make({L"one"});
  FlatOutline db;
  clearLog();
  open(db);
  RV_WriteAllHeaders(db);
  RV_WriteRows(db);
  RV_Close(db);
  RV_GetCategoryName(db, nullptr);
  RV_GetOutlineTitle(db, nullptr);
  RV_GetPrivate(db);
  const std::string name = (folder() / "outline.kxo").string();
  EXPECT_THAT(logLines(), ElementsAre("Opening db of " + name, "COutlineDB::Open " + name + " 2",
                                      "writing all headers", "writing rows", "closing database",
                                      "Get category name", "Get outline title", "Get Private"));
}

TEST_F(FlatOutlineTest, TheLineStandsAheadOfTheWork) {
  TalkingOutline talking;
  clearLog();
  RV_Close(handleOf(talking));
  EXPECT_THAT(logLines(), ElementsAre("closing database", "closed"));

  FlatOutline closed;
  const std::string noFile = kx_test::assertionLine("FileStream", 90);
  const auto expectAhead = [&](const char* line, const std::function<void()>& call) {
    clearLog();
    EXPECT_EQ(thrownBy(call).kind, Thrown::kException) << line;
    ASSERT_GE(logLines().size(), 2u);
    EXPECT_EQ(logLines()[0], line);
    EXPECT_EQ(logLines()[1], noFile);
  };
  expectAhead("writing rows", [&] { RV_WriteRows(closed); });
  expectAhead("writing all headers", [&] { RV_WriteAllHeaders(closed); });
}

TEST_F(FlatOutlineTest, TheLineIsWrittenThoughTheHeaderIsDamaged) {
  const Bytes damaged = kx_test::slot(512, Bytes(20, 'q'));
  kx_test::writeFile("outline.kxo", kx_test::join({kx_test::dbInfo(0, 0),
                                                   kx_test::headerTable({{2, 512}, {3, 512}}),
                                                   damaged, damaged, kx_test::le32(0)}));
  FlatOutline db;
  open(db);
  EXPECT_EQ(thrownBy([&] { RV_ReadSharedHeader(db); }).kind, Thrown::kException);
  EXPECT_EQ(thrownBy([&] { RV_ReadPrivateHeader(db); }).kind, Thrown::kException);
  const std::string thrown = kx_test::throwLine("TaggedDataManager", 202);
  clearLog();
  EXPECT_EQ(thrownBy([&] { RV_GetCategoryName(db, nullptr); }).kind, Thrown::kException);
  ASSERT_FALSE(logLines().empty());
  EXPECT_EQ(logLines().front(), "Get category name");
  EXPECT_EQ(logLines().back(), thrown);
  clearLog();
  EXPECT_EQ(thrownBy([&] { RV_GetOutlineTitle(db, nullptr); }).kind, Thrown::kException);
  ASSERT_FALSE(logLines().empty());
  EXPECT_EQ(logLines().front(), "Get outline title");
  clearLog();
  EXPECT_EQ(thrownBy([&] { RV_GetPrivate(db); }).kind, Thrown::kException);
  ASSERT_FALSE(logLines().empty());
  EXPECT_EQ(logLines().front(), "Get Private");
}

TEST_F(FlatOutlineTest, TheOpenedPathIsLoggedInNarrowCharacters) {
  FlatOutline db;
  clearLog();
  EXPECT_EQ(RV_Open(db, L"caf\u00E9 \u4E2D.kxo", 0), 0);
  ASSERT_FALSE(logLines().empty());
  EXPECT_EQ(logLines().front(), "Opening db of caf\xE9 ?.kxo");
}

TEST_F(FlatOutlineTest, ANullPathIsLoggedAsNothingAndRefusedByTheFile) {
  FlatOutline db;
  clearLog();
  EXPECT_EQ(RV_Open(db, nullptr, 0), 0);
  ASSERT_GE(logLines().size(), 2u);
  EXPECT_EQ(logLines()[0], "Opening db of ");
  EXPECT_EQ(logLines()[1], "COutlineDB::Open (null) 0");
}

TEST_F(FlatOutlineTest, AllOtherCallsLogNothing) {
  FlatOutline db;
  FlatItem rec;
  FlatItem other;
  clearLog();
  RV_CheckDbInfo(db);
  RV_InitNewDataBase(db);
  RV_GetSize(db);
  RV_DeleteAll(db, 1);
  RV_AddDeletedId(db, 1);
  RV_SetCategoryName(db, L"Work");
  RV_SetOutlineTitle(db, L"Trip");
  RV_SetPrivate(db, 1);
  RV_GetPrivateTagChanged(db);
  RV_GetSynchronized(db);
  RV_GetText(rec, nullptr);
  RV_GetDrawingSize(rec, nullptr, nullptr);
  RV_UpdateChangedFields(rec, other);
  RV_CopyRecord(db, rec, other);
  RV_DuplicateRecord(db, rec);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FlatOutlineTest, AnOutlineThatCannotBeOpenedIsZero) {
  FlatOutline db;
  EXPECT_EQ(RV_Open(db, path(L"missing.kxo").c_str(), 0), 0);
  kx_test::writeFile("outline.kxo", kx_test::dbInfo(1, 0));
  EXPECT_EQ(RV_Open(db, file().c_str(), 0), 0);
  EXPECT_FALSE(outlineOf(db).IsOpen());
}

TEST_F(FlatOutlineTest, AMemoryOutlineThatCannotBeOpenedThrows) {
  CMemOutlDB mem;
  const Thrown missing = thrownBy([&] { RV_Open(handleOf(mem), path(L"missing").c_str(), 0); });
  EXPECT_EQ(missing.kind, Thrown::kFileException);
  make({});
  const Thrown foreign = thrownBy([&] { RV_Open(handleOf(mem), file().c_str(), 0); });
  EXPECT_TRUE(foreign.is(Thrown::kDbException, 25, 21)) << foreign;
}

TEST_F(FlatOutlineTest, TheVersionCheckThrowsMessage4) {
  FlatOutline good;
  RV_CheckDbInfo(good);
  VersionedOutline newer(1);
  const Thrown thrown = thrownBy([&] { RV_CheckDbInfo(handleOf(newer)); });
  EXPECT_TRUE(thrown.is(Thrown::kDbException, 4, 3)) << thrown;
}

TEST_F(FlatOutlineTest, ADocumentIsTheOneThatTheClassesWrite) {
  {
    FlatOutline db;
    create(db);
    for (unsigned long id : {3ul, 0xFFFFFFFFul, 3ul}) RV_AddDeletedId(db, id);
    RV_SetId(addItem(db, 0), 4);
    RV_SetText(RV_GetRecord(db, 0), L"Rest");
    saveOutline(db);
  }
  EXPECT_EQ(kx_test::toHex(content()), kx_test::toHex(kx_test::golden("outline-deleted-ids")));
}

TEST_F(FlatOutlineTest, RowsComeBackWithDeletedIdsAndPositions) {
  make({L"one", L"two"});
  {
    FlatOutline db;
    open(db);
    RV_ReadRows(db);
    RV_AddDeletedId(db, 9);
    RV_WriteRows(db);
  }
  FlatOutline db;
  open(db, kx_test::kShared);
  EXPECT_EQ(RV_GetSize(db), 0) << "opening reads no rows";
  RV_ReadRows(db);
  EXPECT_EQ(outlineOf(db).GetPosition(), content().size()) << "behind the last row";
  EXPECT_EQ(RV_GetSize(db), 2);
  EXPECT_EQ(RV_IsDeletedId(db, 9), 1);
  EXPECT_EQ(textOf(RV_GetRecord(db, 1)), L"two");
  EXPECT_EQ(RV_GetPos(RV_GetRecord(db, 0)), kRowsStart + 8);
}

TEST_F(FlatOutlineTest, ExtraRowsAreReadAndWrittenWhereTheFileStands) {
  FlatOutline db;
  create(db);
  RV_AddDeletedId(db, 0x01020304);
  RV_WriteExtraRows(db);
  outlineOf(db).Seek(0, 0);
  RV_DeleteAll(db, 0);
  EXPECT_EQ(RV_IsDeletedId(db, 0x01020304), 0);
  RV_ReadExtraRows(db);
  EXPECT_EQ(RV_IsDeletedId(db, 0x01020304), 1);
  RV_Close(db);
  EXPECT_EQ(content(), kx_test::join({kx_test::le32(1), kx_test::le32(0x01020304)}));
}

TEST_F(FlatOutlineTest, ANewRecordsetReplacesTheOldOne) {
  FlatOutline db;
  addItem(db, 1);
  RV_CreateRecordset(db);
  EXPECT_EQ(RV_GetSize(db), 0);
  EXPECT_NE(dynamic_cast<kx_gen::COutlineRecordset*>(outlineOf(db).GetRecordset()), nullptr);
}

TEST_F(FlatOutlineTest, HeadersAreReadAndWrittenOneByOne) {
  make({L"row"});
  const Bytes before = content();
  {
    FlatOutline db;
    open(db);
    EXPECT_EQ(RV_ReadSharedHeader(db), 1);
    EXPECT_EQ(RV_ReadPrivateHeader(db), 1);
    RV_SetCategoryName(db, L"Work");
    RV_SetOutlineTitle(db, L"Trip");
    RV_WriteSharedHeader(db);
  }
  const Bytes shared = content();
  EXPECT_EQ(kx_test::slice(shared, 0, kSharedSlot), kx_test::slice(before, 0, kSharedSlot));
  EXPECT_NE(kx_test::slice(shared, kSharedSlot, 512), kx_test::slice(before, kSharedSlot, 512));
  EXPECT_EQ(kx_test::slice(shared, kPrivateSlot, before.size() - kPrivateSlot),
            kx_test::slice(before, kPrivateSlot, before.size() - kPrivateSlot));
  {
    FlatOutline db;
    open(db);
    EXPECT_EQ(RV_ReadSharedHeader(db), 1);
    EXPECT_EQ(categoryOf(db), L"Work");
    EXPECT_EQ(titleOf(db), L"Untitled");
    RV_SetOutlineTitle(db, L"Trip");
    RV_WritePrivateHeader(db);
  }
  FlatOutline db;
  open(db, kx_test::kShared);
  RV_ReadPrivateHeader(db);
  EXPECT_EQ(titleOf(db), L"Trip");
  EXPECT_EQ(kx_test::slice(content(), 0, kPrivateSlot), kx_test::slice(shared, 0, kPrivateSlot));
}

TEST_F(FlatOutlineTest, AHeaderThatTheFileLacksIsZero) {
  kx_test::writeFile("outline.kxo",
                     kx_test::join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}}),
                                    kx_test::slot(255, {}), kx_test::le32(0)}));
  FlatOutline db;
  open(db);
  EXPECT_EQ(RV_ReadSharedHeader(db), 0);
  EXPECT_EQ(RV_ReadPrivateHeader(db), 0);
}

TEST_F(FlatOutlineTest, ARowIsReadFromItsPosition) {
  make({L"one", L"two"});
  FlatOutline db;
  open(db);
  RV_ReadRows(db);
  FlatItem rec;
  RV_ReadRow(db, RV_GetPos(RV_GetRecord(db, 1)), rec);
  EXPECT_EQ(textOf(rec), L"two");
  EXPECT_EQ(RV_IsFileRecord(rec), 1);
  EXPECT_EQ(RV_GetPos(rec), RV_GetPos(RV_GetRecord(db, 1)));
  const Thrown thrown = thrownBy([&] { RV_ReadRow(db, 0, rec); });
  EXPECT_TRUE(thrown.is(Thrown::kDbException, 5, 4)) << thrown;
}

TEST_F(FlatOutlineTest, MembersOfEveryDatabaseWorkOnAMemoryOutline) {
  CMemOutlDB mem;
  RV_DB db = handleOf(mem);
  ASSERT_EQ(RV_Open(db, path(L"mem").c_str(), kx_test::kCreate), 1);
  RV_InitNewDataBase(db);
  RV_REC rec = addItem(db, 5, L"leaf");
  EXPECT_NE(dynamic_cast<CLinkedOutlRec*>(static_cast<CDBRecord*>(rec)), nullptr);
  RV_WriteAllHeaders(db);
  RV_WriteRows(db);
  RV_Close(db);
  RV_CreateRecordset(db);
  ASSERT_EQ(RV_Open(db, path(L"mem").c_str(), 0), 1);
  RV_ReadRows(db);
  EXPECT_EQ(RV_GetSize(db), 1);
  EXPECT_EQ(RV_GetPos(RV_GetRecord(db, 0)), 10ul);
  EXPECT_STREQ(RV_GetRecordString(db, 0), L"leaf");
}

TEST_F(FlatOutlineTest, APositionBehindTheFileFailsAsReadingOrSeekingDoes) {
  make({L"one"});
  FlatOutline db;
  FlatItem rec;
  open(db);
  const Thrown behind = thrownBy([&] { RV_ReadRow(db, 0x7FFFFFFF, rec); });
  EXPECT_TRUE(behind.is(Thrown::kException, 8, 7)) << behind;
  const Thrown none = thrownBy([&] { RV_ReadRow(db, 0xFFFFFFFF, rec); });
  EXPECT_TRUE(none.is(Thrown::kException, 10, 9)) << none;
}

// --- Recordset ---

TEST_F(FlatOutlineTest, RecordsAreThoseOfTheRecordset) {
  FlatOutline db;
  RV_REC first = addItem(db, 1);
  RV_REC second = addItem(db, 2);
  EXPECT_EQ(RV_GetSize(db), 2);
  EXPECT_EQ(RV_GetRecord(db, 0), first);
  EXPECT_EQ(RV_GetRecord(db, 1), second);
  EXPECT_EQ(RV_GetRecord(db, 2), nullptr);
  EXPECT_EQ(RV_GetRecord(db, 0xFFFFFFFF), nullptr);
  EXPECT_EQ(RV_GetRecordSet(db), outlineOf(db).GetRecordset());
  EXPECT_EQ(first, handleOf(*outlineOf(db).getRecord(0)));
  // Beyond 32 bits where there are more.
  const auto beyond = static_cast<unsigned long>(0x100000000ull);
  EXPECT_EQ(RV_GetRecord(db, beyond), beyond == 0 ? first : nullptr);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(FlatOutlineTest, AnAppendedRecordIsInitialised) {
  FlatOutline db;
  RV_REC rec = RV_AppendRecordSet(db);
  EXPECT_EQ(RV_GetExpanded(rec), 1);
  EXPECT_EQ(RV_HasNote(rec), 1);
}

TEST_F(FlatOutlineTest, AMadeRecordEntersTheSetWhenItIsAdded) {
  FlatOutline db;
  RV_REC made = RV_CreateDBRecord(db);
  EXPECT_EQ(RV_GetExpanded(made), 1);
  EXPECT_EQ(RV_GetSize(db), 0);
  RV_AddtoRS(db, made);
  EXPECT_EQ(RV_GetSize(db), 1);
  EXPECT_EQ(RV_GetRecord(db, 0), made);

  CMemOutlDB mem;
  RV_REC linked = RV_CreateDBRecord(handleOf(mem));
  EXPECT_NE(dynamic_cast<CLinkedOutlRec*>(static_cast<CDBRecord*>(linked)), nullptr);
  RV_AddtoRS(handleOf(mem), linked);
}

TEST_F(FlatOutlineTest, AnEmptiedSetLeavesItsRecordsToTheCaller) {
  FlatOutline db;
  RV_REC kept = addItem(db, 7);
  RV_EmptyRS(db);
  EXPECT_EQ(RV_GetSize(db), 0);
  EXPECT_EQ(RV_GetId(kept), 7ul);
  RV_DeleteCOutlineRecord(kept);
}

TEST_F(FlatOutlineTest, DeletingARecordTakesItOutOfTheSet) {
  FlatOutline db;
  addItem(db, 1);
  RV_REC second = addItem(db, 2);
  addItem(db, 3);
  RV_Delete(db, second);
  EXPECT_THAT(idsOf(db), ElementsAre(1ul, 3ul));
  EXPECT_EQ(RV_IsDeletedId(db, 2), 0) << "the id is not remembered";
  RV_DeleteDBRecord(db, RV_GetRecord(db, 0));
  EXPECT_THAT(idsOf(db), ElementsAre(3ul));
  RV_DeleteDBRecord(db, RV_CreateDBRecord(db));
  EXPECT_THAT(idsOf(db), ElementsAre(3ul)) << "records outside the set are deleted too";
}

TEST_F(FlatOutlineTest, ARecordOutsideTheSetIsDestroyedAsWhatItIs) {
  class Watched : public COutlineRecord {
   public:
    explicit Watched(int& destroyed) : destroyed_(destroyed) {}
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    ~Watched() override { ++destroyed_; }

   private:
    int& destroyed_;
  };
  FlatOutline db;
  int destroyed = 0;
  RV_DeleteDBRecord(db, handleOf(*new Watched(destroyed)));
  EXPECT_EQ(destroyed, 1);
  RV_DeleteCOutlineRecord(handleOf(*new Watched(destroyed)));
  EXPECT_EQ(destroyed, 2);
}

TEST_F(FlatOutlineTest, DeletingAllRemembersIdsOnRequest) {
  FlatOutline db;
  for (unsigned long id : {4ul, 0ul, 6ul}) addItem(db, id);
  RV_DeleteAll(db, 2);
  EXPECT_EQ(RV_GetSize(db), 0);
  EXPECT_EQ(RV_IsDeletedId(db, 4), 1);
  EXPECT_EQ(RV_IsDeletedId(db, 0), 0);
  EXPECT_EQ(RV_IsDeletedId(db, 6), 1);
  addItem(db, 8);
  RV_DeleteAll(db, 0);
  EXPECT_EQ(RV_IsDeletedId(db, 4), 0);
  EXPECT_EQ(RV_IsDeletedId(db, 8), 0);
  for (const int rememberIds : {1, -1, 256, 0x10000}) {
    addItem(db, 8);
    RV_DeleteAll(db, rememberIds);
    EXPECT_EQ(RV_IsDeletedId(db, 8), 1) << rememberIds;
    RV_DeleteAll(db, 0);
  }
}

// --- Deleted ids ---

TEST_F(FlatOutlineTest, DeletedIdsAreKeptWithDuplicates) {
  FlatOutline db;
  FlatItem rec;
  RV_SetId(rec, 7);
  EXPECT_EQ(RV_IsDeletedId(db, 7), 0);
  EXPECT_EQ(RV_IsDeletedRec(db, rec), 0);
  RV_AddDeletedId(db, 7);
  RV_AddDeletedId(db, 7);
  RV_removeDeletedId(db, 7);
  EXPECT_EQ(RV_IsDeletedId(db, 7), 1);
  EXPECT_EQ(RV_IsDeletedRec(db, rec), 1);
  RV_removeDeletedId(db, 7);
  EXPECT_EQ(RV_IsDeletedRec(db, rec), 0);
  RV_removeDeletedId(db, 7);
  EXPECT_EQ(outlineOf(db).GetDeletedThoughts().GetCount(), 0u);
  RV_SetId(rec, 0);
  EXPECT_EQ(RV_IsDeletedRec(db, rec), 0);
  RV_AddDeletedId(db, 0);
  EXPECT_EQ(RV_IsDeletedRec(db, rec), 1) << "an id of 0 is looked for like any other";
}

TEST_F(FlatOutlineTest, DeletedIdsHave32Bits) {
  FlatOutline db;
  const auto wide = static_cast<unsigned long>(0x700000009ull);
  RV_AddDeletedId(db, wide);
  EXPECT_EQ(RV_IsDeletedId(db, 9), 1);
  EXPECT_EQ(RV_IsDeletedId(db, wide), 1);
  RV_removeDeletedId(db, wide);
  EXPECT_EQ(RV_IsDeletedId(db, 9), 0);
}

// --- Headers ---

TEST_F(FlatOutlineTest, NameAndTitleAreCopiedInAndOut) {
  FlatOutline db;
  wchar_t text[] = L"B\u00FCro \u6771";
  RV_SetCategoryName(db, text);
  RV_SetOutlineTitle(db, text);
  text[0] = L'x';
  EXPECT_EQ(categoryOf(db), L"B\u00FCro \u6771");
  EXPECT_EQ(titleOf(db), L"B\u00FCro \u6771");
  RV_SetCategoryName(db, nullptr);
  RV_SetOutlineTitle(db, nullptr);
  EXPECT_EQ(categoryOf(db), L"");
  EXPECT_EQ(titleOf(db), L"");
}

TEST_F(FlatOutlineTest, GivingACategoryChangesTheOutline) {
  FlatOutline db;
  RV_SetOutlineChanged(db, 0);
  RV_SetCategoryName(db, L"Work");
  EXPECT_EQ(RV_GetOutlineChanged(db), 1);
  EXPECT_EQ(RV_GetCategoryChanged(db), 1);
}

struct TruthField {
  const char* name;
  int (*get)(RV_DB);
  void (*set)(RV_DB, int);
  bool (COutlineDB::*member)();
};

std::vector<TruthField> truthFields() {
  return {
      {"category changed", RV_GetCategoryChanged, RV_SetCategoryChanged,
       &COutlineDB::GetCategoryChanged},
      {"outline changed", RV_GetOutlineChanged, RV_SetOutlineChanged,
       &COutlineDB::GetOutlineChanged},
      {"private", RV_GetPrivate, RV_SetPrivate, &COutlineDB::GetPrivate},
      {"private changed", RV_GetPrivateTagChanged, RV_SetPrivateTagChanged,
       &COutlineDB::GetPrivateTagChanged},
      {"synchronized", RV_GetSynchronized, RV_SetSynchronized, &COutlineDB::GetSynchronized},
      {"checked items changed", RV_ShowCheckedItemsChanged, RV_setCheckedItemsChanged,
       &COutlineDB::ShowCheckedItemsChanged},
      {"numbering changed", RV_getNumberingChanged, RV_setNumberingChanged,
       &COutlineDB::getNumberingChanged},
      {"divider changed", RV_getNumberingDividerChanged, RV_setNumberingDividerChanged,
       &COutlineDB::getNumberingDividerChanged},
  };
}

TEST_F(FlatOutlineTest, TruthsOfHeadersAreOneOrZeroAndTakeAnything) {
  for (const TruthField& field : truthFields()) {
    FlatOutline db;
    for (const int given : {0, 1, 0, -1, 0, 256, 0, 0x10000, 0}) {
      field.set(db, given);
      EXPECT_EQ(field.get(db), given != 0 ? 1 : 0) << field.name << " set to " << given;
      EXPECT_EQ((outlineOf(db).*field.member)(), given != 0) << field.name;
    }
  }
}

TEST_F(FlatOutlineTest, EachTruthIsItsOwn) {
  for (const TruthField& one : truthFields()) {
    FlatOutline db;
    for (const TruthField& field : truthFields()) field.set(db, 0);
    // Values first: setting one marks its tag as changed.
    one.set(db, 1);
    for (const TruthField& other : truthFields()) {
      const bool isMark =
          std::string(one.name) == "private" && std::string(other.name) == "private changed";
      const bool expected = one.get == other.get || isMark;
      EXPECT_EQ(other.get(db), expected ? 1 : 0) << one.name << " -> " << other.name;
    }
    for (const TruthField& field : truthFields()) field.set(db, 1);
    one.set(db, 0);
    for (const TruthField& other : truthFields()) {
      EXPECT_EQ(other.get(db), other.get == one.get ? 0 : 1) << one.name << " -> " << other.name;
    }
  }
}

TEST_F(FlatOutlineTest, NarrowNumbersAreCut) {
  FlatOutline db;
  RV_SetShowCheckedItems(db, 0x1FF02);
  EXPECT_EQ(RV_GetShowCheckedItems(db), 2u);
  RV_SetShowCheckedItems(db, 255);
  EXPECT_EQ(RV_GetShowCheckedItems(db), 255u);
  RV_SetShowHeadingsMode(db, 0x103);
  EXPECT_EQ(RV_GetShowHeadingsMode(db), 3u);
  RV_SetShowHeadingsMode(db, 0xFFFFFFFF);
  EXPECT_EQ(RV_GetShowHeadingsMode(db), 255u);
  RV_setNumberingDivider(db, 0x12E29);
  EXPECT_EQ(RV_getNumberingDivider(db), 0x2E29u);
  RV_setNumberingDivider(db, 0xFFFF);
  EXPECT_EQ(RV_getNumberingDivider(db), 0xFFFFu);
}

TEST_F(FlatOutlineTest, IndicesHave32Bits) {
  FlatOutline db;
  RV_SetSelectedIndex(db, 0xFFFFFFFF);
  RV_SetTopIndex(db, 0x80000000);
  EXPECT_EQ(RV_GetSelectedIndex(db), 0xFFFFFFFFul);
  EXPECT_EQ(RV_GetTopIndex(db), 0x80000000ul);
  RV_SetSelectedIndex(db, static_cast<unsigned long>(0x500000001ull));
  EXPECT_EQ(RV_GetSelectedIndex(db), 1ul);
  EXPECT_EQ(RV_GetTopIndex(db), 0x80000000ul);
}

TEST_F(FlatOutlineTest, NumberingIsTenBytes) {
  FlatOutline db;
  const unsigned char given[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 250};
  RV_setNumbering(db, given);
  unsigned char got[12] = {};
  got[10] = 99;
  RV_getNumbering(db, got);
  EXPECT_EQ(std::memcmp(got, given, sizeof(given)), 0);
  EXPECT_EQ(got[10], 99);
  RV_getNumbering(db, nullptr);
  RV_setNumbering(db, nullptr);
  std::memset(got, 0, sizeof(got));
  RV_getNumbering(db, got);
  EXPECT_EQ(std::memcmp(got, given, sizeof(given)), 0) << "storing null changes nothing";
}

TEST_F(FlatOutlineTest, TheFontTravelsWithoutItsFace) {
  FlatOutline db;
  LOGFONTW font = {};
  font.lfHeight = -12;
  font.lfWeight = 700;
  font.lfItalic = 1;
  font.lfPitchAndFamily = 34;
  font.lfFaceName[0] = L'T';
  RV_SetOutlineFont(db, &font, 0xFF336699);
  LOGFONTW got = {};
  got.lfFaceName[0] = L'x';
  unsigned long color = 0;
  RV_GetOutlineFont(db, &got, &color);
  EXPECT_EQ(got.lfHeight, -12);
  EXPECT_EQ(got.lfWeight, 700);
  EXPECT_EQ(got.lfItalic, 1);
  EXPECT_EQ(got.lfPitchAndFamily, 34);
  EXPECT_EQ(got.lfFaceName[0], L'x');
  EXPECT_EQ(color, 0xFF336699ul);
}

TEST_F(FlatOutlineTest, FontAndColourMayBeAskedForAlone) {
  FlatOutline db;
  LOGFONTW font = {};
  font.lfHeight = 9;
  RV_SetOutlineFont(db, &font, 5);
  clearLog();
  RV_SetOutlineFont(db, nullptr, 6);
  EXPECT_THAT(logLines(), ElementsAre(kx_test::refusal(kx_test::kNullArgument)));
  unsigned long color = 0;
  RV_GetOutlineFont(db, nullptr, &color);
  EXPECT_EQ(color, 5ul) << "a null font stores nothing, the colour neither";
  font.lfHeight = 0;
  RV_GetOutlineFont(db, &font, nullptr);
  EXPECT_EQ(font.lfHeight, 9);
  RV_GetOutlineFont(db, nullptr, nullptr);
}

TEST_F(FlatOutlineTest, AFontOfHeightZeroIsAssertedAndStored) {
  FlatOutline db;
  const LOGFONTW font = {};
  clearLog();
  RV_SetOutlineFont(db, &font, 3);
  EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine("OutlineDB", 83)));
  unsigned long color = 0;
  RV_GetOutlineFont(db, nullptr, &color);
  EXPECT_EQ(color, 3ul);
}

TEST_F(FlatOutlineTest, TheWindowPositionTravelsWithoutItsLength) {
  FlatOutline db;
  WINDOWPLACEMENT given = {};
  given.length = 44;
  given.flags = 2;
  given.showCmd = 3;
  given.ptMinPosition.x = -1;
  given.rcNormalPosition.bottom = 80;
  RV_SetOultineWindowPos(db, &given);
  clearLog();
  RV_SetOultineWindowPos(db, nullptr);
  EXPECT_THAT(logLines(), ElementsAre(kx_test::refusal(kx_test::kNullArgument)));
  WINDOWPLACEMENT got = {};
  got.length = 7;
  RV_GetOutlineWindowPos(db, &got);
  RV_GetOutlineWindowPos(db, nullptr);
  EXPECT_EQ(got.length, 7u);
  EXPECT_EQ(got.flags, 2u);
  EXPECT_EQ(got.showCmd, 3u);
  EXPECT_EQ(got.ptMinPosition.x, -1);
  EXPECT_EQ(got.rcNormalPosition.bottom, 80);
}

TEST_F(FlatOutlineTest, HeadersAreCopiedFromTheOtherDatabase) {
  FlatOutline from;
  FlatOutline to;
  RV_SetCategoryName(from, L"Work");
  RV_SetOutlineTitle(from, L"Trip");
  RV_copySharedHeader(to, from);
  EXPECT_EQ(categoryOf(to), L"Work");
  EXPECT_EQ(titleOf(to), L"Untitled");
  RV_SetCategoryName(to, L"Play");
  RV_copyPrivateHeader(to, from);
  EXPECT_EQ(titleOf(to), L"Trip");
  EXPECT_EQ(categoryOf(to), L"Play");
  EXPECT_EQ(categoryOf(from), L"Work");
}

TEST_F(FlatOutlineTest, SharedHeadersAreComparedByFourFields) {
  FlatOutline one;
  FlatOutline two;
  EXPECT_EQ(RV_compareSharedHeader(one, two), 1);
  const unsigned char numbering[10] = {1};
  const std::vector<std::pair<const char*, std::function<void(RV_DB)>>> differing = {
      {"name", [](RV_DB db) { RV_SetCategoryName(db, L"Work"); }},
      {"private", [](RV_DB db) { RV_SetPrivate(db, 1); }},
      {"numbering", [&](RV_DB db) { RV_setNumbering(db, numbering); }},
      {"divider", [](RV_DB db) { RV_setNumberingDivider(db, 1); }},
  };
  for (const auto& [name, change] : differing) {
    change(one);
    EXPECT_EQ(RV_compareSharedHeader(one, two), 0) << name;
    change(two);
    EXPECT_EQ(RV_compareSharedHeader(one, two), 1) << name;
  }
  RV_SetSynchronized(one, 1);
  RV_SetOutlineChanged(one, 0);
  EXPECT_EQ(RV_compareSharedHeader(one, two), 1);
}

TEST_F(FlatOutlineTest, PrivateHeadersAreComparedByTwoFields) {
  FlatOutline one;
  FlatOutline two;
  EXPECT_EQ(RV_comparePrivateHeader(one, two), 1);
  RV_SetShowCheckedItems(one, 7);
  EXPECT_EQ(RV_comparePrivateHeader(one, two), 0);
  RV_SetShowCheckedItems(two, 7);
  RV_SetOutlineTitle(one, L"Trip");
  EXPECT_EQ(RV_comparePrivateHeader(one, two), 0);
  RV_SetOutlineTitle(two, L"Trip");
  RV_SetSelectedIndex(one, 3);
  RV_SetTopIndex(one, 3);
  EXPECT_EQ(RV_comparePrivateHeader(one, two), 1);
}

// --- Records by index ---

TEST_F(FlatOutlineTest, ARecordIsReadByItsIndex) {
  FlatOutline db;
  addItem(db, 5, L"one");
  RV_REC second = addItem(db, 0xFFFFFFFF, L"two");
  RV_SetIndent(second, 255);
  RV_SetChecked(second, 1);
  EXPECT_STREQ(RV_GetRecordString(db, 1), L"two");
  EXPECT_EQ(RV_GetRecordLevel(db, 1), 255u);
  EXPECT_EQ(RV_GetRecordChecked(db, 1), 1);
  EXPECT_EQ(RV_GetRecordId(db, 1), 0xFFFFFFFFul);
  EXPECT_STREQ(RV_GetRecordString(db, 0), L"one");
  EXPECT_EQ(RV_GetRecordLevel(db, 0), 0u);
  EXPECT_EQ(RV_GetRecordChecked(db, 0), 0);
  EXPECT_EQ(RV_GetRecordId(db, 0), 5ul);
}

TEST_F(FlatOutlineTest, ARecordsStringLivesUntilTheNextOneOfItsDatabase) {
  FlatOutline db;
  FlatOutline other;
  addItem(db, 1, L"a text that is longer than what a string keeps in itself");
  addItem(db, 2, L"two");
  addItem(other, 1, L"other");
  const wchar_t* text = RV_GetRecordString(db, 0);
  EXPECT_STREQ(RV_GetRecordString(other, 0), L"other");
  RV_SetText(RV_GetRecord(db, 0), L"changed");
  RV_DeleteAll(db, 0);
  EXPECT_STREQ(text, L"a text that is longer than what a string keeps in itself");
  addItem(db, 3, L"three");
  EXPECT_STREQ(RV_GetRecordString(db, 0), L"three");
}

TEST_F(FlatOutlineTest, AnIndexWithoutARecordIsRefused) {
  FlatOutline db;
  clearLog();
  EXPECT_EQ(RV_GetRecordString(db, 0), nullptr);
  EXPECT_EQ(RV_GetRecordChecked(db, 0), 0);
  EXPECT_EQ(RV_GetRecordLevel(db, 0), 0u);
  EXPECT_EQ(RV_GetRecordId(db, 0), 0ul);
  EXPECT_THAT(logLines(), ::testing::Each(kx_test::refusal(kx_test::kItemRefused)));
  EXPECT_EQ(logLines().size(), 4u);
}

// --- Records ---

TEST_F(FlatOutlineTest, FieldsAreThoseOfTheRecord) {
  FlatItem rec;
  RV_SetId(rec, 0xFFFFFFFE);
  RV_SetIndent(rec, 0x1FE);
  RV_SetExpanded(rec, 0);
  RV_SetChecked(rec, 256);
  EXPECT_EQ(itemOf(rec).GetId(), 0xFFFFFFFEul);
  EXPECT_EQ(RV_GetId(rec), 0xFFFFFFFEul);
  EXPECT_EQ(itemOf(rec).GetIndent(), 0xFE);
  EXPECT_EQ(RV_GetIndent(rec), 0xFEu);
  EXPECT_FALSE(itemOf(rec).GetExpanded());
  EXPECT_EQ(RV_GetExpanded(rec), 0);
  EXPECT_TRUE(itemOf(rec).GetChecked());
  EXPECT_EQ(RV_GetChecked(rec), 1);
  RV_SetExpanded(rec, -1);
  RV_SetChecked(rec, 0);
  EXPECT_EQ(RV_GetExpanded(rec), 1);
  EXPECT_EQ(RV_GetChecked(rec), 0);
  RV_SetId(rec, static_cast<unsigned long>(0x700000009ull));
  EXPECT_EQ(RV_GetId(rec), 9ul);
}

TEST_F(FlatOutlineTest, TruthsOfRecordsAreOneForAnyStoredByte) {
  FlatItem rec;
  const unsigned char two = 2;
  kx_gen::CTaggedDataManager& tags = itemOf(rec).getTaggedDataManager();
  for (unsigned long id : {9ul, 10ul}) tags.setData(id, &two, 1, nullptr, 0);
  EXPECT_EQ(RV_GetExpanded(rec), 1);
  EXPECT_EQ(RV_GetChecked(rec), 1);
}

TEST_F(FlatOutlineTest, ANullBufferAsksForTheLength) {
  FlatItem rec;
  EXPECT_EQ(RV_GetText(rec, nullptr), 0ul);
  EXPECT_EQ(RV_GetNote(rec, nullptr), 0ul);
  wchar_t text[] = L"Caf\u00E9 \u6771\u4EAC";
  RV_SetText(rec, text);
  RV_SetNote(rec, L"Line 1\nLine 2");
  text[0] = L'x';
  EXPECT_EQ(RV_GetText(rec, nullptr), 7ul);
  EXPECT_EQ(textOf(rec), L"Caf\u00E9 \u6771\u4EAC");
  EXPECT_EQ(RV_GetNote(rec, nullptr), 13ul);
  EXPECT_EQ(noteOf(rec), L"Line 1\nLine 2");
  RV_SetText(rec, nullptr);
  RV_SetNote(rec, nullptr);
  EXPECT_EQ(textOf(rec), L"");
  EXPECT_EQ(noteOf(rec), L"");
}

TEST_F(FlatOutlineTest, LongTextsTravelWhole) {
  FlatItem rec;
  const std::wstring text(100000, L'\u00FC');
  RV_SetText(rec, text.c_str());
  EXPECT_EQ(textOf(rec), text);
}

TEST_F(FlatOutlineTest, DeletedFieldsAreAbsent) {
  FlatItem rec;
  RV_DeleteNote(rec);
  EXPECT_EQ(RV_HasNote(rec), 0);
  RV_DeleteText(rec);
  const Thrown thrown = thrownBy([&] { RV_GetText(rec, nullptr); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineRecord")) << thrown;
  draw(rec, 2, 2);
  EXPECT_EQ(RV_HasDrawing(rec), 1);
  RV_DeleteBitmap(rec);
  EXPECT_EQ(RV_HasDrawing(rec), 0);
}

TEST_F(FlatOutlineTest, ADrawingGoesInAndComesOut) {
  FlatItem rec;
  const Bytes picture = kx_test::picture(5, 3, 24);
  RV_SetDrawing(rec, kx_test::handleOf(picture).release());
  EXPECT_EQ(RV_HasDrawing(rec), 1);
  const kx_test::Handle drawing(RV_GetDrawing(rec));
  ASSERT_NE(drawing, nullptr);
  EXPECT_EQ(kx_test::pixelsOf(kx_test::dataOf(drawing)), kx_test::pixelsOf(picture));
}

TEST_F(FlatOutlineTest, ABitmapThatCannotBeStoredStaysWithItsCaller) {
  FlatItem rec;
  draw(rec, 5, 3);
  const kx_test::Handle bad = kx_test::handleOf(Bytes(10, 0));
  RV_SetDrawing(rec, bad.get());
  RV_SetDrawing(rec, nullptr);
  EXPECT_EQ(kx_test::dataOf(bad), Bytes(10, 0));
  long width = 0;
  RV_GetDrawingSize(rec, &width, nullptr);
  EXPECT_EQ(width, 5) << "the drawing stays as it was";
}

// The leak check of the sanitized build sees whether the bitmap is freed.
TEST_F(FlatOutlineTest, ABitmapIsFreedThoughTheRecordCannotTakeItsDrawing) {
  FlatItem damaged;
  kx_test::setBlock(itemOf(damaged), Bytes(40, 'q'));
  const Thrown thrown = thrownBy([&] { draw(damaged, 5, 3); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 15, L".\\OutlineRecord")) << thrown;
  EXPECT_EQ(kx_test::blockOf(itemOf(damaged)), Bytes(40, 'q'));
}

TEST_F(FlatOutlineTest, WithoutADrawingGettingItThrowsMessage16) {
  FlatItem rec;
  const Thrown thrown = thrownBy([&] { RV_GetDrawing(rec); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L".\\OutlineRecord")) << thrown;
}

TEST_F(FlatOutlineTest, TheLastDrawingSizeIsKeptForTheProcess) {
  FlatItem drawn;
  FlatItem plain;
  draw(drawn, 5, 3);
  long width = -1;
  long height = -1;
  RV_GetDrawingSize(drawn, &width, &height);
  EXPECT_EQ(width, 5);
  EXPECT_EQ(height, 3);
  EXPECT_EQ(RV_GetSizeX(), 5);
  EXPECT_EQ(RV_GetSizeY(), 3);
  RV_GetDrawingSize(plain, &width, &height);
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
  EXPECT_EQ(RV_GetSizeX(), 0);
  EXPECT_EQ(RV_GetSizeY(), 0);
  RV_GetDrawingSize(drawn, nullptr, nullptr);
  EXPECT_EQ(RV_GetSizeX(), 5);
  EXPECT_EQ(RV_GetSizeY(), 3);
}

TEST_F(FlatOutlineTest, ADrawingTooShortForItsSizeKeepsTheLastOne) {
  FlatItem drawn;
  FlatItem cut;
  draw(drawn, 5, 3);
  RV_GetDrawingSize(drawn, nullptr, nullptr);
  itemOf(cut).getTaggedDataManager().setData(12, "\2", 1, nullptr, 0);
  long width = -1;
  long height = -1;
  const Thrown thrown = thrownBy([&] { RV_GetDrawingSize(cut, &width, &height); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 16, L"OutlineRecord")) << thrown;
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
  EXPECT_EQ(RV_GetSizeX(), 5);
  EXPECT_EQ(RV_GetSizeY(), 3);
}

TEST_F(FlatOutlineTest, NegativeDrawingSizesKeepTheirSign) {
  FlatItem rec;
  const Bytes block =
      kx_test::join({{2}, kx_test::le32(0xFFFFFFFE), kx_test::le32(0x80000000), kx_test::zeros(5)});
  itemOf(rec).getTaggedDataManager().setData(12, block.data(), 14, nullptr, 0);
  RV_GetDrawingSize(rec, nullptr, nullptr);
  EXPECT_EQ(RV_GetSizeX(), -2);
  EXPECT_EQ(RV_GetSizeY(), -2147483647L - 1);
}

TEST_F(FlatOutlineTest, ChangedFieldsComeFromTheStoredCopy) {
  FlatOutline db;
  FlatItem stored;
  FlatItem rec;
  RV_SetText(rec, L"new");
  RV_UpdateChangedFields(rec, stored);
  RV_updateRecordChanged(rec);
  EXPECT_EQ(RV_IsChanged(rec), 1);
  RV_SetText(stored, L"new");
  RV_UpdateChangedFields(rec, stored);
  RV_updateRecordChanged(rec);
  EXPECT_EQ(RV_IsChanged(rec), 0);
  RV_SetExpanded(rec, 0);
  RV_updateRecordChanged(rec);
  EXPECT_EQ(RV_IsChanged(rec), 0) << "folding is no change";
  RV_SetChecked(rec, 1);
  RV_updateRecordChanged(rec);
  EXPECT_EQ(RV_IsChanged(rec), 1);
}

TEST_F(FlatOutlineTest, FlagsAreThoseOfTheRecord) {
  FlatItem rec;
  EXPECT_EQ(RV_IsChanged(rec), 0);
  itemOf(rec).SetChanged(true);
  EXPECT_EQ(RV_IsChanged(rec), 1);
  RV_SetNew(rec, 8);
  EXPECT_TRUE(itemOf(rec).IsNew());
  RV_SetNew(rec, 0);
  EXPECT_FALSE(itemOf(rec).IsNew());
  RV_SetSortChanged(rec, 8);
  EXPECT_TRUE(itemOf(rec).IsSortChanged());
  RV_SetSortChanged(rec, 0);
  EXPECT_FALSE(itemOf(rec).IsSortChanged());
}

TEST_F(FlatOutlineTest, InitLeavesFlagsAsTheyAre) {
  FlatItem rec;
  itemOf(rec).SetFlag(0xE8);
  RV_SetSortChanged(rec, 1);
  RV_SetText(rec, L"text");
  RV_Init(rec);
  EXPECT_EQ(textOf(rec), L"");
  EXPECT_EQ(itemOf(rec).GetFlag(), 0xE8);
  EXPECT_TRUE(itemOf(rec).IsSortChanged());
}

TEST_F(FlatOutlineTest, IndexAndPositionAreThoseOfTheRecord) {
  FlatItem rec;
  EXPECT_EQ(RV_IsFileRecord(rec), 0);
  EXPECT_EQ(RV_GetPos(rec), 0xFFFFFFFFul);
  EXPECT_EQ(RV_GetIndex(rec), 0ul);
  itemOf(rec).SetIndex(0xFFFFFFFF);
  itemOf(rec).SetPos(0);
  EXPECT_EQ(RV_GetIndex(rec), 0xFFFFFFFFul);
  EXPECT_EQ(RV_GetPos(rec), 0ul);
  EXPECT_EQ(RV_IsFileRecord(rec), 1);
}

TEST_F(FlatOutlineTest, ARecordBecomesAFileRecordWhenItIsWritten) {
  FlatOutline db;
  create(db);
  RV_REC rec = addItem(db, 1);
  EXPECT_EQ(RV_IsFileRecord(rec), 0);
  saveOutline(db);
  EXPECT_EQ(RV_IsFileRecord(rec), 1);
  EXPECT_EQ(RV_GetPos(rec), kRowsStart + 4);
}

TEST_F(FlatOutlineTest, ACopiedRecordIsEqualAndItsOwn) {
  FlatItem from;
  FlatItem to;
  RV_SetId(from, 12);
  RV_SetText(from, L"text");
  itemOf(from).SetPos(100);
  EXPECT_EQ(RV_CopyRecord(nullptr, to, from), static_cast<RV_REC>(to)) << "without a database";
  EXPECT_EQ(kx_test::blockOf(itemOf(to)), kx_test::blockOf(itemOf(from)));
  EXPECT_EQ(RV_IsFileRecord(to), 0);
  RV_SetText(from, L"other");
  EXPECT_EQ(textOf(to), L"text");
  EXPECT_EQ(RV_CopyRecord(nullptr, to, to), static_cast<RV_REC>(to));
  EXPECT_EQ(textOf(to), L"text");
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(FlatOutlineTest, ADuplicateIsANewThoughtAtTheEnd) {
  FlatOutline db;
  RV_REC rec = addItem(db, 12, L"text");
  RV_SetNote(rec, L"note");
  RV_SetIndent(rec, 3);
  RV_SetChecked(rec, 1);
  draw(rec, 2, 2);
  addItem(db, 13);
  RV_REC copy = RV_DuplicateRecord(db, rec);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(RV_GetSize(db), 3);
  EXPECT_EQ(RV_GetRecord(db, 2), copy);
  EXPECT_EQ(RV_GetId(copy), 0ul);
  EXPECT_EQ(RV_GetId(rec), 12ul);
  RV_SetId(copy, 12);
  EXPECT_EQ(kx_test::blockOf(itemOf(copy)), kx_test::blockOf(itemOf(rec)));
}

TEST_F(FlatOutlineTest, ARecordOfNoDatabaseCanBeDuplicatedIntoOne) {
  FlatOutline db;
  FlatItem rec;
  RV_SetId(rec, 12);
  RV_SetText(rec, L"text");
  RV_REC copy = RV_DuplicateRecord(db, rec);
  EXPECT_EQ(textOf(copy), L"text");
  EXPECT_THAT(idsOf(db), ElementsAre(0ul));
  CMemOutlDB mem;
  RV_REC linked = RV_DuplicateRecord(handleOf(mem), rec);
  EXPECT_NE(dynamic_cast<CLinkedOutlRec*>(static_cast<CDBRecord*>(linked)), nullptr);
}

TEST_F(FlatOutlineTest, ADuplicateIsEqualInAllFieldsButItsId) {
  FlatOutline db;
  RV_REC rec = addItem(db, 12, L"text");
  itemOf(rec).SetFlag(0xE8);
  RV_SetSortChanged(rec, 1);
  RV_DeleteNote(rec);
  itemOf(rec).getTaggedDataManager().setData(99, "unknown", 7, nullptr, 3);
  itemOf(rec).getTaggedDataManager().setTagChanged(0x00010007, false);
  itemOf(rec).SetPos(100);
  const Bytes before = kx_test::blockOf(itemOf(rec));
  RV_REC copy = RV_DuplicateRecord(db, rec);
  EXPECT_EQ(kx_test::blockOf(itemOf(rec)), before);
  EXPECT_EQ(RV_IsFileRecord(copy), 0);
  RV_SetId(rec, 0);
  EXPECT_EQ(kx_test::blockOf(itemOf(copy)), kx_test::blockOf(itemOf(rec)));
}

TEST_F(FlatOutlineTest, ADuplicateOfARecordWithoutFieldsHasAnIdAlone) {
  FlatOutline db;
  RV_REC bare = RV_CreateOutlineRecord();
  RV_REC copy = RV_DuplicateRecord(db, bare);
  EXPECT_EQ(kx_test::blockOf(itemOf(copy)),
            kx_test::join({kx_test::plainBlock(), kx_test::tag(5, kx_test::le32(0))}));
  RV_DeleteCOutlineRecord(bare);
}

TEST_F(FlatOutlineTest, ADamagedRecordIsNotDuplicatedByHalves) {
  FlatOutline db;
  FlatItem damaged;
  kx_test::setBlock(itemOf(damaged), Bytes(40, 'q'));
  const Thrown thrown = thrownBy([&] { RV_DuplicateRecord(db, damaged); });
  EXPECT_TRUE(kx_test::isTagError(thrown, 15, L"OutlineRecord")) << thrown;
  EXPECT_EQ(RV_GetSize(db), 0);
}

/// A database whose set makes rows of `Kind`.
template <class Kind>
class RowsOf : public CDatabase {
 public:
  RowsOf() : CDatabase(false) { InstallRecordset(new Kind); }
  void CheckDbInfo() override {}
  void ReadExtraRows() override {}
  void WriteExtraRows() override {}
};

TEST_F(FlatOutlineTest, ADuplicateIsOfTheSetsKindWhichNeedNotBeAnItems) {
  RowsOf<kx_gen::CDBRecordset> plain;
  FlatItem rec;
  RV_SetId(rec, 12);
  RV_SetText(rec, L"text");
  clearLog();
  RV_REC copy = RV_DuplicateRecord(handleOf(plain), rec);
  EXPECT_THAT(logLines(), IsEmpty());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(RV_GetSize(handleOf(plain)), 1);
  EXPECT_EQ(RV_GetRecord(handleOf(plain), 0), copy);
  CDBRecord& row = *static_cast<CDBRecord*>(copy);
  EXPECT_TRUE(kx_test::isExactly<CDBRecord>(&row));
  RV_SetId(rec, 0);
  EXPECT_EQ(kx_test::blockOf(row), kx_test::blockOf(itemOf(rec)));
}

TEST_F(FlatOutlineTest, WithoutANewRowADuplicateIsNull) {
  class NoRows : public kx_gen::CDBRecordset {
   public:
    CDBRecord* CreateDBRecord() override { return nullptr; }
  };
  RowsOf<NoRows> none;
  FlatItem rec;
  clearLog();
  EXPECT_EQ(RV_DuplicateRecord(handleOf(none), rec), nullptr);
  EXPECT_EQ(RV_GetSize(handleOf(none)), 0);
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Categories of outline files ---

TEST_F(FlatOutlineTest, TheUnfiledNameIsThatOfNewOutlines) {
  KX_SetUnfiledCategoryName(L"Sans cat\u00E9gorie");
  FlatOutline db;
  EXPECT_EQ(categoryOf(db), L"Sans cat\u00E9gorie");
  KX_SetUnfiledCategoryName(std::wstring(40, L'u').c_str());
  FlatOutline next;
  EXPECT_EQ(categoryOf(next), std::wstring(31, L'u'));
}

TEST_F(FlatOutlineTest, ACategoryIsRenamedInEveryFileOfAFolder) {
  for (const wchar_t* name : {L"a.kxo", L"b.kxo", L"c.txt"}) {
    FlatOutline db;
    createOutline(db, name);
    RV_SetCategoryName(db, name[0] == L'b' ? L"Play" : L"Work");
    saveOutline(db);
  }
  KX_UpdateCategory(folder().wstring().c_str(), L"kxo", L"Work", L"Home");
  KX_UpdateCategory(folder().wstring().c_str(), L"kxo", L"Play", nullptr);
  const auto categoryIn = [&](const wchar_t* name) {
    FlatOutline db;
    EXPECT_EQ(RV_Open(db, path(name).c_str(), 0), 1);
    RV_ReadSharedHeader(db);
    return categoryOf(db);
  };
  EXPECT_EQ(categoryIn(L"a.kxo"), L"Home");
  EXPECT_EQ(categoryIn(L"b.kxo"), L"Unfiled");
  EXPECT_EQ(categoryIn(L"c.txt"), L"Work");
}

// --- All of it, as a caller who cannot catch exceptions works ---

class FlatLifeTest : public FlatOutlineTest {
 protected:
  static constexpr int kDocuments = 50;

  static std::wstring nameOf(int i) { return L"doc" + std::to_wstring(i) + L".kxo"; }
  static bool failed() { return KX_FlatLastError(nullptr, 0, nullptr) != 0; }

  /// A document with a note, a drawing and deleted ids.
  void makeDocument(int i) {
    FlatOutline db;
    createOutline(db, nameOf(i));
    RV_SetCategoryName(db, i % 2 == 0 ? L"Work" : L"Play");
    RV_SetNote(addItem(db, 1, nameOf(i).c_str()), L"note");
    draw(addItem(db, 2), 3 + i, 2);
    RV_REC gone = addItem(db, 3);
    RV_AddDeletedId(db, RV_GetId(gone));
    RV_Delete(db, gone);
    saveOutline(db);
    EXPECT_FALSE(failed());
  }
  void expectDocument(int i, const wchar_t* category) {
    FlatOutline db;
    ASSERT_EQ(RV_Open(db, path(nameOf(i)).c_str(), 0), 1);
    EXPECT_EQ(RV_ReadSharedHeader(db), 1);
    RV_ReadRows(db);
    ASSERT_FALSE(failed());
    EXPECT_EQ(categoryOf(db), category);
    ASSERT_EQ(RV_GetSize(db), 2);
    EXPECT_EQ(RV_GetRecordString(db, 0), nameOf(i));
    EXPECT_EQ(noteOf(RV_GetRecord(db, 0)), L"note");
    const kx_test::Handle drawing(RV_GetDrawing(RV_GetRecord(db, 1)));
    EXPECT_EQ(kx_test::pixelsOf(kx_test::dataOf(drawing)),
              kx_test::pixelsOf(kx_test::picture(3 + i, 2, 24)));
    EXPECT_EQ(RV_IsDeletedId(db, 3), 1);
  }
};

TEST_F(FlatLifeTest, FiftyDocumentsAreMadeRenamedAndReadAndDamageIsAnError) {
  KX_FlatGuard(1);
  for (int i = 0; i < kDocuments; ++i) makeDocument(i);
  KX_UpdateCategory(folder().wstring().c_str(), L"kxo", L"Work", L"Labour");
  EXPECT_FALSE(failed());
  for (int i = 0; i < kDocuments; ++i) expectDocument(i, i % 2 == 0 ? L"Labour" : L"Play");

  Bytes bytes = kx_test::readFile(folder() / nameOf(0));
  bytes.resize(bytes.size() - 10);
  kx_test::writeFile(folder() / nameOf(0), bytes);
  FlatOutline damaged;
  EXPECT_EQ(RV_Open(damaged, path(nameOf(0)).c_str(), 0), 1);
  RV_ReadRows(damaged);
  wchar_t text[32];
  EXPECT_EQ(KX_FlatLastError(text, 32, nullptr), 18ul);
  EXPECT_STREQ(text, L"File IO read error");
  EXPECT_STREQ(RV_GetRecordString(damaged, 0), nameOf(0).c_str());
  expectDocument(1, L"Play");
}

}  // namespace
