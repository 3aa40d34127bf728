// The file of a database: information block, header table, slots, and how a kind takes part.

#include "Database.h"

#include <gmock/gmock.h>

#include <memory>
#include <type_traits>

#include "KxKinds.h"
#include "KxLayout.h"

namespace {

using kx_gen::CDatabase;
using kx_test::Bytes;
using kx_test::ExtraDb;
using kx_test::FieldHeader;
using kx_test::join;
using kx_test::PlainDb;
using kx_test::TablelessDb;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DatabaseTest : public kx_test::KxTest {
 protected:
  std::wstring file() const { return path(L"file.db"); }
  void put(const Bytes& bytes) { kx_test::writeFile("file.db", bytes); }
  Bytes content() { return kx_test::readFile("file.db"); }

  int open(CDatabase& db, unsigned int mode = kx_test::kReadWrite) {
    return db.Open(file().c_str(), mode);
  }
  void create(CDatabase& db) {
    open(db, kx_test::kCreate);
    db.InitNewDatabase();
  }
  void save(CDatabase& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }
  static Bytes plainFile(const Bytes& rows = {}, uint32_t rowCount = 0, uint16_t version = 0) {
    return join({kx_test::dbInfo(version, rowCount), kx_test::headerTable({{1, 255}}),
                 kx_test::slot(255, {}), rows});
  }
  static Bytes row(uint8_t flagByte) { return kx_test::row(kx_test::plainBlock(flagByte)); }
  static unsigned long slotSize(CDatabase& db, size_t entry) {
    return db.GetHeaderManager().GetReadList().at(entry)->record.size;
  }
};

// --- Construction ---

TEST_F(DatabaseTest, TheVirtualTableFollowsTheStreams) {
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::Open), 2);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::Close), 3);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::CheckDbInfo), 4);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::InitNewDatabase), 5);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::WriteDbInfo), 6);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::ReadExtraRows), 7);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::WriteExtraRows), 8);
  EXPECT_EQ(kx_test::virtualSlot(&CDatabase::CreateRecordset), 9);
  EXPECT_EQ(kx_test::virtualSlot(&PlainDb::getFirstRowStartPosReading), 10);
  EXPECT_EQ(kx_test::virtualSlot(&PlainDb::getFirstRowStartPosWriting), 11);
}

TEST_F(DatabaseTest, DestroyingADatabaseClosesItsFileAnAttachedOneToo) {
  kx_gen::CFile attached;
  attached.Open(file().c_str(), kx_test::kCreate);
  {
    PlainDb db;
    db.Attach(&attached);
  }
  EXPECT_FALSE(attached.IsOpen());
  {
    PlainDb db;
    create(db);
  }
  kx_gen::CFile::Remove(file().c_str());
}

TEST_F(DatabaseTest, IsAnAbstractStreamThatCannotBeCopied) {
  EXPECT_TRUE((std::is_base_of<kx_gen::CFileStream, CDatabase>::value));
  EXPECT_TRUE(std::is_abstract<CDatabase>::value);
  EXPECT_TRUE(std::has_virtual_destructor<CDatabase>::value);
  EXPECT_FALSE(std::is_copy_constructible<CDatabase>::value);
  EXPECT_FALSE(std::is_copy_assignable<CDatabase>::value);
}

TEST_F(DatabaseTest, ANewDatabaseIsClosedAndEmpty) {
  PlainDb db;
  EXPECT_FALSE(db.IsOpen());
  EXPECT_EQ(db.GetVersionNum(), 0u);
  EXPECT_EQ(db.GetRowCount(), 0u);
  ASSERT_NE(db.GetRecordset(), nullptr);
  EXPECT_TRUE(kx_test::isExactly<kx_gen::CDBRecordset>(db.GetRecordset()));
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  EXPECT_EQ(db.getRecord(0), nullptr);
  EXPECT_NE(db.GetConduitHeader(), nullptr);
  EXPECT_EQ(db.GetHeaderManager().GetHeaderPtr(2), nullptr);
  EXPECT_THAT(db.GetHeaderManager().GetReadList(), IsEmpty());
  EXPECT_THAT(kx_test::logLines(), IsEmpty());
}

TEST_F(DatabaseTest, WithoutTheFlagThereIsNoRecordset) {
  PlainDb db(false);
  EXPECT_EQ(db.GetRecordset(), nullptr);
  EXPECT_EQ(db.getRecord(0), nullptr);
  db.CreateRecordset();
  EXPECT_NE(db.GetRecordset(), nullptr);
}

TEST_F(DatabaseTest, CreateRecordsetAgainReplacesTheSet) {
  PlainDb db;
  db.GetRecordset()->Append();
  db.CreateRecordset();
  ASSERT_NE(db.GetRecordset(), nullptr);
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
}

TEST_F(DatabaseTest, GetRecordGivesTheRowsInOrder) {
  PlainDb db;
  kx_gen::CDBRecord* first = db.GetRecordset()->Append();
  kx_gen::CDBRecord* second = db.GetRecordset()->Append();
  EXPECT_EQ(db.getRecord(0), first);
  EXPECT_EQ(db.getRecord(1), second);
  EXPECT_EQ(db.getRecord(2), nullptr);
}

TEST_F(DatabaseTest, DestroyingClosesTheFile) {
  {
    PlainDb db;
    create(db);
  }
  PlainDb again;
  EXPECT_EQ(open(again, kx_test::kCreate), 1);
}

// --- A new file ---

TEST_F(DatabaseTest, ANewFileWithoutRowsHas273Bytes) {
  PlainDb db;
  create(db);
  save(db);
  EXPECT_EQ(content(), join({kx_test::fromHex("78 56 34 12  00 00  00 00 00 00  01 00"
                                              "01 00 FF 00 00 00  00 00 00 00"),
                             kx_test::zeros(251)}));
  EXPECT_EQ(content().size(), 273u);
}

TEST_F(DatabaseTest, ExtraRowsFollowTheSlots) {
  ExtraDb db;
  create(db);
  db.extra = 0x1234;
  save(db);
  EXPECT_EQ(content(), join({plainFile(), {0x34, 0x12}}));
}

TEST_F(DatabaseTest, CreatingReadsNothing) {
  put(Bytes(5, 0xEE));
  PlainDb db;
  constexpr unsigned int kKeep = 0x2000;
  EXPECT_EQ(open(db, kx_test::kCreate | kKeep), 1);
  EXPECT_THAT(db.calls, IsEmpty());
  EXPECT_EQ(db.GetLength(), 5u);
}

TEST_F(DatabaseTest, CreatingStartsFromAnEmptyTableNoRowsAndTheKindsVersion) {
  put(join({kx_test::dbInfo(7, 9),
            kx_test::headerTable({{1, 300}, {9, 4}}),
            kx_test::slot(300, {}),
            {1, 2, 3, 4}}));
  PlainDb db;
  db.SetVersionNum(3);
  EXPECT_EQ(open(db), 1);
  EXPECT_EQ(db.GetVersionNum(), 7u);
  EXPECT_EQ(db.GetRowCount(), 9u);
  EXPECT_EQ(db.GetHeaderManager().GetReadList().size(), 2u);
  create(db);
  EXPECT_EQ(db.GetVersionNum(), 3u);
  EXPECT_EQ(db.GetRowCount(), 0u);
  EXPECT_THAT(db.GetHeaderManager().GetReadList(), IsEmpty());
  save(db);
  EXPECT_EQ(content(), plainFile({}, 0, 3));
}

TEST_F(DatabaseTest, InitNewDatabaseMatchesRegisteredHeadersWithTheTable) {
  PlainDb db;
  open(db, kx_test::kCreate);
  db.GetHeaderManager().AddHeader({1, 300});
  db.InitNewDatabase();
  db.WriteAllHeaders();
  db.Close();
  EXPECT_EQ(content(), join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 300}}),
                             kx_test::slot(300, {})}));
}

TEST_F(DatabaseTest, AfterCreatingAndWritingAReopenedFileHasItsOwnTable) {
  PlainDb db;
  create(db);
  save(db);
  EXPECT_EQ(open(db), 1);
  ASSERT_EQ(db.GetHeaderManager().GetReadList().size(), 1u);
  EXPECT_EQ(slotSize(db, 0), 255u);
  EXPECT_TRUE(db.ReadHeader(1));
}

// --- Opening ---

TEST_F(DatabaseTest, OpeningReadsInfoThenAsksTheKindThenReadsTheTable) {
  put(plainFile(row(0x80), 1, 5));
  PlainDb db;
  EXPECT_EQ(open(db), 1);
  EXPECT_THAT(db.calls, ElementsAre("CheckDbInfo"));
  EXPECT_EQ(db.GetVersionNum(), 5u);
  EXPECT_EQ(db.GetRowCount(), 1u);
  EXPECT_EQ(db.GetHeaderManager().GetReadList().size(), 1u);
  EXPECT_EQ(db.GetRecordset()->getSize(), 0) << "rows are read by ReadRows";
  EXPECT_TRUE(db.IsOpen());
}

TEST_F(DatabaseTest, AMissingFileThrowsTheFileException) {
  PlainDb db;
  const Thrown thrown = thrownBy([&] { open(db); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException) << thrown;
  EXPECT_EQ(thrown.cause, 2);
  EXPECT_EQ(thrown.fileName, file());
  EXPECT_THAT(db.calls, IsEmpty());
  EXPECT_FALSE(db.IsOpen());
}

TEST_F(DatabaseTest, AnotherCheckCodeIsMessage13BeforeTheKindIsAsked) {
  for (size_t i = 0; i < 4; ++i) {
    Bytes bytes = plainFile();
    bytes[i] ^= 0x10;
    put(bytes);
    kx_test::clearLog();
    PlainDb db;
    const Thrown thrown = thrownBy([&] { open(db); });
    EXPECT_TRUE(thrown.is(Thrown::kDbException, 13, 12)) << thrown;
    EXPECT_THAT(db.calls, IsEmpty());
    EXPECT_EQ(kx_test::logLines().size(), 1u);
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
  }
}

TEST_F(DatabaseTest, FewerThanTenBytesAreMessage13AndNoReadFailureIsLogged) {
  const Bytes whole = plainFile();
  for (size_t length = 0; length < 10; ++length) {
    put(kx_test::slice(whole, 0, length));
    kx_test::clearLog();
    PlainDb db;
    const Thrown thrown = thrownBy([&] { open(db); });
    EXPECT_TRUE(thrown.is(Thrown::kDbException, 13, 12)) << length << ": " << thrown;
    EXPECT_THAT(db.calls, IsEmpty());
    EXPECT_EQ(kx_test::logLines().size(), 1u);
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
  }
}

TEST_F(DatabaseTest, AfterARefusalTheCheckCodeIsRestoredVersionAndCountStayAsRead) {
  put(join({{1, 2, 3, 4}, kx_test::le16(7), kx_test::le32(3)}));
  PlainDb db;
  EXPECT_TRUE(thrownBy([&] { open(db); }).is(Thrown::kDbException, 13, 12));
  EXPECT_EQ(db.GetVersionNum(), 7u);
  EXPECT_EQ(db.GetRowCount(), 3u);
  db.WriteDbInfo();
  db.Close();
  EXPECT_EQ(content(), kx_test::dbInfo(7, 3));
}

TEST_F(DatabaseTest, AVersionThatTheKindRefusesIsItsException) {
  put(plainFile());
  PlainDb db;
  db.refuse = true;
  EXPECT_TRUE(thrownBy([&] { open(db); }).is(Thrown::kDbException, 4, 3));
  EXPECT_THAT(db.GetHeaderManager().GetReadList(), IsEmpty());
}

TEST_F(DatabaseTest, ATableThatEndsEarlyLeavesNoTableBehind) {
  const Bytes whole = plainFile();
  for (size_t length = 10; length < 18; ++length) {
    put(plainFile());
    PlainDb db;
    EXPECT_EQ(open(db), 1);
    db.Close();
    put(kx_test::slice(whole, 0, length));
    const Thrown thrown = thrownBy([&] { open(db); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << length << ": " << thrown;
    EXPECT_THAT(db.GetHeaderManager().GetReadList(), IsEmpty());
  }
}

TEST_F(DatabaseTest, ASlotSmallerThanItsRegisteredHeaderIsMessage20) {
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 254}}), kx_test::slot(254, {})}));
  PlainDb db;
  const Thrown thrown = thrownBy([&] { open(db); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 20, 19)) << thrown;
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
  EXPECT_THAT(db.GetHeaderManager().GetReadList(), IsEmpty());
}

TEST_F(DatabaseTest, ALargerSlotIsReadAndWrittenBackAtItsSize) {
  const Bytes bytes = join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 300}}),
                            kx_test::slot(300, kx_test::tag(8, {1}))});
  put(bytes);
  PlainDb db;
  EXPECT_EQ(open(db), 1);
  db.ReadConduitHeader();
  EXPECT_EQ(db.getFirstRowStartPosReading(), 10u + 8 + 300);
  save(db);
  EXPECT_EQ(content(), bytes);
}

// --- Information block ---

TEST_F(DatabaseTest, TheInformationBlockIsReadAndWrittenAtOffsetZero) {
  put(plainFile());
  PlainDb db;
  open(db);
  db.SetVersionNum(0xABCD);
  db.Seek(100, 0);
  db.WriteDbInfo();
  EXPECT_EQ(db.GetPosition(), 10u);
  db.Seek(4, 0);
  db << static_cast<unsigned short>(0x0102) << 0x0A0B0C0Du;
  db.ReadDbInfo();
  EXPECT_EQ(db.GetPosition(), 10u);
  EXPECT_EQ(db.GetVersionNum(), 0x0102u);
  EXPECT_EQ(db.GetRowCount(), 0x0A0B0C0Du);
  EXPECT_THAT(db.calls, ElementsAre("CheckDbInfo", "WriteDbInfo", "CheckDbInfo"));
  db.Close();
  EXPECT_EQ(kx_test::slice(content(), 0, 10), kx_test::fromHex("78 56 34 12  02 01  0D 0C 0B 0A"));
}

TEST_F(DatabaseTest, TheVersionIsStoredLittleEndian) {
  PlainDb db;
  db.SetVersionNum(0xABCD);
  create(db);
  save(db);
  EXPECT_EQ(kx_test::slice(content(), 4, 2), (Bytes{0xCD, 0xAB}));
}

// --- Headers ---

TEST_F(DatabaseTest, HeaderInfoIsTheTableAlone) {
  PlainDb db;
  create(db);
  db.WriteDbInfo();
  db.WriteHeaderInfo();
  db.Close();
  EXPECT_EQ(content(), join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}})}));
  PlainDb reader;
  open(reader, kx_test::kReadWrite | 0x3000);
  reader.ReadHeaderInfo();
  ASSERT_EQ(reader.GetHeaderManager().GetReadList().size(), 1u);
  EXPECT_EQ(slotSize(reader, 0), 255u);
}

TEST_F(DatabaseTest, OneHeaderIsWrittenAndReadInItsSlot) {
  put(plainFile(row(0), 1));
  PlainDb db;
  open(db);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, "AB", 2, nullptr, 0);
  db.WriteConduitHeader();
  db.Close();
  const Bytes slot = kx_test::slot(255, kx_test::tag(6, {'A', 'B'}));
  EXPECT_EQ(content(),
            join({kx_test::dbInfo(0, 1), kx_test::headerTable({{1, 255}}), slot, row(0)}));
  PlainDb reader;
  open(reader);
  reader.ReadConduitHeader();
  EXPECT_EQ(kx_test::blockOf(*reader.GetConduitHeader()), kx_test::tag(6, {'A', 'B'}));
}

TEST_F(DatabaseTest, HeadersByIdAreThoseOfTheirSlots) {
  const Bytes field = kx_test::tag(FieldHeader::kField, {7, 0, 0, 0});
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {4, 40}}),
            kx_test::slot(255, kx_test::tag(6, {1})), kx_test::slot(40, field)}));
  PlainDb db;
  auto* header = new FieldHeader;
  db.registerHeader(4, 40, header);
  open(db);
  EXPECT_TRUE(db.ReadHeader(4));
  EXPECT_EQ(kx_test::blockOf(*header), field);
  EXPECT_FALSE(db.ReadHeader(5));
  header->getTaggedDataManager().setValue<uint32_t>(FieldHeader::kField, 9, nullptr);
  db.WriteHeader(4);
  db.Close();
  EXPECT_EQ(kx_test::slice(content(), 10 + 2 + 12 + 255, 40),
            kx_test::slot(40, kx_test::tag(FieldHeader::kField, {9, 0, 0, 0})));
}

TEST_F(DatabaseTest, AHeaderThatLacksAFieldGetsItWhenRead) {
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {4, 40}}),
            kx_test::slot(255, {}), kx_test::slot(40, {})}));
  PlainDb db;
  auto* header = new FieldHeader;
  db.registerHeader(4, 40, header);
  open(db);
  EXPECT_TRUE(db.ReadHeader(4));
  EXPECT_EQ(kx_test::valueOf(header->getTaggedDataManager(), FieldHeader::kField),
            (Bytes{42, 0, 0, 0}));
}

TEST_F(DatabaseTest, WriteAllHeadersWritesInfoThenTableThenSlots) {
  put(Bytes(400, 0xEE));
  PlainDb db;
  open(db, kx_test::kCreate | 0x2000);
  db.InitNewDatabase();
  db.WriteAllHeaders();
  EXPECT_THAT(db.calls, ElementsAre("WriteDbInfo"));
  db.Close();
  EXPECT_EQ(content(), join({plainFile(), Bytes(400 - 273, 0xEE)}));
}

TEST_F(DatabaseTest, HeadersOfTheFileKeepTheirOrderAndNewOnesFollow) {
  put(join({kx_test::dbInfo(0, 1), kx_test::headerTable({{4, 50}, {1, 255}}),
            kx_test::slot(50, kx_test::tag(5, {1, 0, 0, 0})), kx_test::slot(255, {}), row(1)}));
  PlainDb db;
  db.registerHeader(6, 30, new FieldHeader);
  db.registerHeader(4, 40, new FieldHeader);
  open(db);
  EXPECT_EQ(db.getFirstRowStartPosReading(), 10u + 2 + 12 + 305);
  EXPECT_EQ(db.getFirstRowStartPosWriting(), 10u + 2 + 18 + 305 + 30);
  EXPECT_TRUE(db.ReadHeader(4));
  EXPECT_FALSE(db.ReadHeader(6));
  db.ReadRows();
  save(db);
  EXPECT_EQ(content(),
            join({kx_test::dbInfo(0, 1), kx_test::headerTable({{4, 50}, {1, 255}, {6, 30}}),
                  kx_test::slot(50, kx_test::tag(5, {1, 0, 0, 0})), kx_test::slot(255, {}),
                  kx_test::slot(30, {}), row(1)}));
}

TEST_F(DatabaseTest, WhileTheTableMustGrowAHeaderOfTheFileIsWrittenWhereItStands) {
  put(plainFile(row(1), 1));
  PlainDb db;
  db.registerHeader(4, 40, new FieldHeader);
  open(db);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, "A", 1, nullptr, 0);
  db.WriteHeader(1);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
  db.Close();
  EXPECT_EQ(content(), join({kx_test::dbInfo(0, 1), kx_test::headerTable({{1, 255}}),
                             kx_test::slot(255, kx_test::tag(6, {'A'})), row(1)}));
}

TEST_F(DatabaseTest, WhileTheTableMustGrowAHeaderThatItLacksIsRefused) {
  put(plainFile(row(1), 1));
  PlainDb db;
  db.registerHeader(4, 40, new FieldHeader);
  open(db);
  db.WriteHeader(4);
  EXPECT_EQ(kx_test::logCount("Assertion Failed!"), 1);
  db.Close();
  EXPECT_EQ(content(), plainFile(row(1), 1));
}

TEST_F(DatabaseTest, OnceTheTableIsWrittenEveryHeaderGoesToItsWritePosition) {
  put(plainFile());
  PlainDb db;
  auto* header = new FieldHeader;
  db.registerHeader(4, 40, header);
  open(db);
  db.WriteAllHeaders();
  header->getTaggedDataManager().setValue<uint32_t>(5, 6, nullptr);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, "A", 1, nullptr, 0);
  db.WriteHeader(4);
  db.WriteHeader(1);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
  db.Close();
  EXPECT_EQ(content(), join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {4, 40}}),
                             kx_test::slot(255, kx_test::tag(6, {'A'})),
                             kx_test::slot(40, kx_test::tag(5, {6, 0, 0, 0}))}));
}

TEST_F(DatabaseTest, WritingAHeaderThatNobodyKnowsLogsAndWritesNothing) {
  put(plainFile(row(1), 1));
  PlainDb db;
  open(db);
  db.WriteHeader(99);
  EXPECT_EQ(kx_test::logCount("Assertion Failed! File "), 1);
  db.Close();
  EXPECT_EQ(content(), plainFile(row(1), 1));
}

// --- Headers that nobody registered ---

class UnknownHeaderTest : public DatabaseTest {
 protected:
  const Bytes first_ = {0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5};
  const Bytes second_ = {0xA0, 0xA1, 0xA2};
  Bytes fileWithUnknown() const {
    return join({kx_test::dbInfo(0, 1), kx_test::headerTable({{7, 6}, {1, 255}, {8, 3}}), first_,
                 kx_test::slot(255, {}), second_, row(1)});
  }
};

TEST_F(UnknownHeaderTest, AreKeptAndLogOneAssertionEach) {
  put(fileWithUnknown());
  PlainDb db;
  open(db);
  db.ReadRows();
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
  save(db);
  EXPECT_EQ(content(), fileWithUnknown());
  EXPECT_EQ(kx_test::logCount("Assertion Failed! File "), 2);
}

TEST_F(UnknownHeaderTest, MoveWithTheTable) {
  put(fileWithUnknown());
  PlainDb db;
  db.registerHeader(4, 40, new FieldHeader);
  open(db);
  db.ReadRows();
  save(db);
  EXPECT_EQ(content(),
            join({kx_test::dbInfo(0, 1), kx_test::headerTable({{7, 6}, {1, 255}, {8, 3}, {4, 40}}),
                  first_, kx_test::slot(255, {}), second_, kx_test::slot(40, {}), row(1)}));
}

TEST_F(UnknownHeaderTest, CannotBeReadOrWrittenByThemselves) {
  put(fileWithUnknown());
  PlainDb db;
  open(db);
  EXPECT_FALSE(db.ReadHeader(7));
  kx_test::clearLog();
  db.WriteHeader(7);
  EXPECT_EQ(kx_test::logCount("Assertion Failed! File "), 1);
  db.Close();
  EXPECT_EQ(content(), fileWithUnknown());
}

TEST_F(UnknownHeaderTest, CutShortByTheEndOfTheFileAreRememberedAsFarAsTheyGo) {
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {7, 6}}), kx_test::slot(255, {}),
            kx_test::slice(first_, 0, 4)}));
  PlainDb db;
  EXPECT_EQ(open(db), 1);
  save(db);
  EXPECT_EQ(kx_test::slice(content(), 10 + 2 + 12 + 255, 4), kx_test::slice(first_, 0, 4));
  EXPECT_LE(content().size(), 10u + 2 + 12 + 255 + 6);
  EXPECT_EQ(open(db), 1);
}

TEST_F(UnknownHeaderTest, WithAnAbsurdSizeAreNoReasonToGrowTheFile) {
  for (uint32_t size : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x01000000u}) {
    put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {7, size}}),
              kx_test::slot(255, {}), first_}));
    PlainDb db;
    EXPECT_EQ(open(db), 1) << "reading the table never fails for a slot";
    thrownBy([&] { save(db); });
    db.Close();
    EXPECT_LT(content().size(), 1000u);
  }
}

TEST_F(UnknownHeaderTest, ARegisteredHeaderWithAnAbsurdSizeDoesNotGrowTheFileEither) {
  for (uint32_t size : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x01000000u}) {
    put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, size}}), kx_test::slot(255, {})}));
    PlainDb db;
    EXPECT_EQ(open(db), 1);
    db.ReadConduitHeader();
    thrownBy([&] { save(db); });
    db.Close();
    EXPECT_LT(content().size(), 1000u);
  }
}

TEST_F(DatabaseTest, ARepeatedIdInTheTableKeepsItsFirstEntry) {
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}, {1, 300}}),
            kx_test::slot(255, kx_test::tag(6, {1}))}));
  PlainDb db;
  open(db);
  ASSERT_EQ(db.GetHeaderManager().GetReadList().size(), 1u);
  EXPECT_EQ(slotSize(db, 0), 255u);
}

// --- Slots ---

TEST_F(DatabaseTest, ABlockThatDoesNotFitItsSlotIsMessage14OnReading) {
  for (uint32_t length : {252u, 255u, 0xFFFFFFFFu}) {
    put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}}), kx_test::le32(length),
              kx_test::zeros(300)}));
    PlainDb db;
    open(db);
    const Thrown thrown = thrownBy([&] { db.ReadConduitHeader(); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 14, 13)) << thrown;
    EXPECT_EQ(kx_test::blockOf(*db.GetConduitHeader()), Bytes());
  }
}

TEST_F(DatabaseTest, ABlockThatFillsItsSlotIsReadAndWritten) {
  const Bytes block = kx_test::tag(6, Bytes(251 - 15, 0x3C));
  const Bytes bytes =
      join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}}), kx_test::slot(255, block)});
  put(bytes);
  PlainDb db;
  open(db);
  db.ReadConduitHeader();
  EXPECT_EQ(kx_test::blockOf(*db.GetConduitHeader()), block);
  save(db);
  EXPECT_EQ(content(), bytes);
}

TEST_F(DatabaseTest, AHeaderThatOutgrewItsSlotIsMessage12BeforeAByteIsWritten) {
  put(plainFile(row(1), 1));
  PlainDb db;
  open(db);
  const Bytes large(252 - 15, 1);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, large.data(), large.size(), nullptr, 0);
  const Thrown thrown = thrownBy([&] { db.WriteConduitHeader(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 12, 11)) << thrown;
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - TaggedDataHeader, LINE - "), 1);
  db.Close();
  EXPECT_EQ(content(), plainFile(row(1), 1));
}

TEST_F(DatabaseTest, AllHeadersAreCheckedBeforeTheFirstIsWritten) {
  put(plainFile(row(1), 1));
  PlainDb db;
  auto* header = new FieldHeader;
  db.registerHeader(4, 40, header);
  open(db);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, "A", 1, nullptr, 0);
  const Bytes large(100, 1);
  header->getTaggedDataManager().setData(9, large.data(), large.size(), nullptr, 0);
  db.SetVersionNum(7);
  db.calls.clear();
  const Thrown thrown = thrownBy([&] { db.WriteAllHeaders(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 12, 11)) << thrown;
  EXPECT_THAT(db.calls, IsEmpty());
  db.Close();
  EXPECT_EQ(content(), plainFile(row(1), 1)) << "the information block is the old one, too";
}

TEST_F(DatabaseTest, ASlotThatTheFileDoesNotHoldIsAShortRead) {
  const Bytes whole = join(
      {kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}}), kx_test::le32(200), Bytes(100, 1)});
  for (size_t length = 18; length < whole.size(); length += 7) {
    put(kx_test::slice(whole, 0, length));
    PlainDb db;
    EXPECT_EQ(open(db), 1);
    const Thrown thrown = thrownBy([&] { db.ReadConduitHeader(); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << length << ": " << thrown;
  }
}

TEST_F(DatabaseTest, PaddingIsNotNeededForReading) {
  put(join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 255}}), kx_test::le32(16),
            kx_test::tag(6, {1})}));
  PlainDb db;
  open(db);
  db.ReadConduitHeader();
  EXPECT_EQ(kx_test::blockOf(*db.GetConduitHeader()), kx_test::tag(6, {1}));
}

// --- A kind without a table ---

TEST_F(DatabaseTest, AKindWhoseRowsStandAtTheTableHasNoTable) {
  TablelessDb db;
  create(db);
  db.GetRecordset()->Append()->SetFlag(0x80);
  db.WriteAllHeaders();
  EXPECT_EQ(db.GetLength(), 10u);
  db.WriteRows();
  db.Close();
  const Bytes expected = join({kx_test::dbInfo(0, 1), row(0x80)});
  EXPECT_EQ(content(), expected);

  TablelessDb reader;
  EXPECT_EQ(open(reader), 1);
  EXPECT_THAT(reader.GetHeaderManager().GetReadList(), IsEmpty());
  EXPECT_FALSE(reader.ReadHeader(1));
  reader.ReadRows();
  ASSERT_EQ(reader.GetRecordset()->getSize(), 1);
  EXPECT_EQ(reader.getRecord(0)->GetPos(), 10u);
  EXPECT_TRUE(reader.getRecord(0)->IsNew());
  save(reader);
  EXPECT_EQ(content(), expected);
}

TEST_F(DatabaseTest, AKindWithoutATableRefusesToWriteAHeaderOnItsRows) {
  const Bytes before = join({kx_test::dbInfo(0, 8), Bytes(8 * 44, 0)});
  put(before);
  TablelessDb db;
  open(db);
  db.GetConduitHeader()->getTaggedDataManager().setData(6, "A", 1, nullptr, 0);
  db.WriteHeader(1);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::assertionLine("Database", 103)));
  db.Close();
  EXPECT_EQ(content(), before);
}

TEST_F(DatabaseTest, AFileOfTenBytesIsAnEmptyKindWithoutATable) {
  put(kx_test::dbInfo(0, 0));
  TablelessDb db;
  EXPECT_EQ(open(db), 1);
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
}

}  // namespace
