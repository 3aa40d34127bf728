// Rows: flags, framing, copies; and the ordered set of them.

#include "Rowset.h"

#include <gmock/gmock.h>

#include <memory>
#include <type_traits>

#include "StorageSupport.h"

namespace {

using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;
using kx_gen::CFileStream;
using kx_test::Bytes;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;

class RowTest : public kx_test::KxTest {
 protected:
  /// A stream over a new file with these bytes, at its beginning.
  void open(CFileStream& stream, const Bytes& bytes) {
    kx_test::writeFile("row", bytes);
    stream.Open(path(L"row").c_str(), kx_test::kReadWrite);
  }
  Bytes written() { return kx_test::readFile("row"); }

  Thrown readRow(CDBRecord& record, const Bytes& bytes) {
    CFileStream stream;
    open(stream, bytes);
    Thrown thrown = thrownBy([&] { record.Read(stream); });
    positionAfter_ = stream.GetPosition();
    return thrown;
  }

  unsigned long positionAfter_ = 0;
};

// --- A new row ---

TEST_F(RowTest, ConstantsAreThoseOfTheFormat) {
  EXPECT_EQ(CDBRecord::kStartTagLen, 4);
  EXPECT_EQ(CDBRecord::kEndTagLen, 4);
  EXPECT_EQ(CDBRecord::kNewBitPos, 0);
  EXPECT_EQ(CDBRecord::kDelBitPos, 1);
  EXPECT_EQ(CDBRecord::kChangeBitPos, 2);
  EXPECT_EQ(CDBRecord::kEmptyBitPos, 3);
  EXPECT_EQ(CDBRecord::kArchivedBitPos, 4);
  EXPECT_EQ(CDBRecord::kMemBlock, 512);
}

TEST_F(RowTest, ANewRowHoldsTheFlagByteAndSortChangedOnly) {
  CDBRecord record;
  EXPECT_EQ(record.GetRecSize(), 32u);
  EXPECT_EQ(kx_test::blockOf(record), kx_test::join({kx_test::tag(1, {0}), kx_test::tag(2, {0})}));
  EXPECT_EQ(record.GetFlag(), 0);
  EXPECT_FALSE(record.IsSortChanged());
  EXPECT_EQ(record.GetPos(), kx_test::kNoPos);
  EXPECT_FALSE(record.IsFileRecord());
  EXPECT_FALSE(record.getTaggedDataManager().getSwap());
}

TEST_F(RowTest, TheVirtualTableHasReadWriteInit) {
  EXPECT_EQ(kx_test::virtualSlot(&CDBRecord::Read), 2);
  EXPECT_EQ(kx_test::virtualSlot(&CDBRecord::Write), 3);
  EXPECT_EQ(kx_test::virtualSlot(&CDBRecord::Init), 4);
  EXPECT_TRUE(std::has_virtual_destructor<CDBRecord>::value);
  EXPECT_TRUE((std::is_base_of<kx_gen::CBaseObject, CDBRecord>::value));
}

TEST_F(RowTest, InitOfTheBaseChangesNothing) {
  CDBRecord record;
  record.SetFlag(0xFF);
  const Bytes before = kx_test::blockOf(record);
  record.Init();
  EXPECT_EQ(kx_test::blockOf(record), before);
}

TEST_F(RowTest, IndexAndPositionAreThirtyTwoBitFields) {
  CDBRecord record;
  record.SetIndex(0xFFFFFFFE);
  EXPECT_EQ(record.GetIndex(), 0xFFFFFFFEul);
  record.SetPos(0);
  EXPECT_EQ(record.GetPos(), 0u);
  EXPECT_TRUE(record.IsFileRecord());
  record.SetPos(0xFFFFFFFF);
  EXPECT_FALSE(record.IsFileRecord());
}

// --- The flag byte ---

struct FlagCase {
  const char* name;
  unsigned char position;
  unsigned char mask;
  bool (CDBRecord::*is)();
  void (CDBRecord::*set)(bool);
};
void PrintTo(const FlagCase& flag, std::ostream* out) { *out << flag.name; }

class RowFlagTest : public RowTest, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(RowFlagTest, HasItsOwnBitOfTagOne) {
  const FlagCase& flag = GetParam();
  CDBRecord record;
  (record.*flag.set)(true);
  EXPECT_EQ(record.GetFlag(), flag.mask);
  EXPECT_TRUE((record.*flag.is)());
  EXPECT_EQ(kx_test::valueOf(record.getTaggedDataManager(), 1), Bytes{flag.mask});

  record.SetFlag(0xFF);
  (record.*flag.set)(false);
  EXPECT_EQ(record.GetFlag(), static_cast<unsigned char>(~flag.mask));
  EXPECT_FALSE((record.*flag.is)());
}

TEST_P(RowFlagTest, IsTestedAndSetByPosition) {
  const FlagCase& flag = GetParam();
  EXPECT_TRUE(CDBRecord::GetBit(flag.mask, flag.position));
  EXPECT_FALSE(CDBRecord::GetBit(static_cast<unsigned char>(~flag.mask), flag.position));
  unsigned char flags = 0;
  CDBRecord::SetBit(flags, flag.position, true);
  EXPECT_EQ(flags, flag.mask);
  flags = 0xFF;
  CDBRecord::SetBit(flags, flag.position, false);
  EXPECT_EQ(flags, static_cast<unsigned char>(~flag.mask));
}

INSTANTIATE_TEST_SUITE_P(
    Flags, RowFlagTest,
    ::testing::Values(FlagCase{"New", 0, 0x80, &CDBRecord::IsNew, &CDBRecord::SetNew},
                      FlagCase{"Deleted", 1, 0x40, &CDBRecord::IsDeleted, &CDBRecord::SetDeleted},
                      FlagCase{"Changed", 2, 0x20, &CDBRecord::IsChanged, &CDBRecord::SetChanged},
                      FlagCase{"Empty", 3, 0x10, &CDBRecord::IsEmpty, &CDBRecord::SetEmpty},
                      FlagCase{"Archived", 4, 0x08, &CDBRecord::IsArchived,
                               &CDBRecord::SetArchived}),
    [](const ::testing::TestParamInfo<FlagCase>& info) { return std::string(info.param.name); });

TEST_F(RowTest, FlagsAddUp) {
  CDBRecord record;
  record.SetDeleted(true);
  EXPECT_EQ(record.GetFlag(), 0x40);
  record.SetNew(true);
  EXPECT_EQ(record.GetFlag(), 0xC0);
}

TEST_F(RowTest, BitPositionsCountModuloEight) {
  EXPECT_TRUE(CDBRecord::GetBit(0x80, 8));
  EXPECT_TRUE(CDBRecord::GetBit(0x01, 7));
  unsigned char flags = 0;
  CDBRecord::SetBit(flags, 15, true);
  EXPECT_EQ(flags, 0x01);
}

TEST_F(RowTest, ClearChangesKeepsEmptyAndArchived) {
  CDBRecord record;
  record.SetFlag(0xFF);
  record.ClearChanges();
  EXPECT_EQ(record.GetFlag(), 0x1F);
}

TEST_F(RowTest, SortChangedIsTagTwo) {
  CDBRecord record;
  record.SetSortChanged(true);
  EXPECT_TRUE(record.IsSortChanged());
  EXPECT_EQ(kx_test::valueOf(record.getTaggedDataManager(), 2), Bytes{1});
  record.SetSortChanged(false);
  EXPECT_FALSE(record.IsSortChanged());
  EXPECT_EQ(kx_test::valueOf(record.getTaggedDataManager(), 2), Bytes{0});
}

TEST_F(RowTest, AnyStoredByteButZeroIsSortChanged) {
  CDBRecord record;
  kx_test::setBlock(record, kx_test::tag(2, {0x40}));
  EXPECT_TRUE(record.IsSortChanged());
}

TEST_F(RowTest, AnAbsentFlagTagThrowsMessage16WithItsPlace) {
  CDBRecord record;
  record.FreeData();
  const auto expectAbsent = [&](const Thrown& thrown) {
    EXPECT_EQ(thrown.kind, Thrown::kException) << thrown;
    EXPECT_EQ(thrown.number, 0xFFFFFFFFul);
    const std::wstring start = kx_test::messageText(16) + L"Error in file ";
    EXPECT_EQ(thrown.description.compare(0, start.size(), start), 0) << thrown;
  };
  expectAbsent(thrownBy([&] { record.GetFlag(); }));
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
  expectAbsent(thrownBy([&] { record.IsDeleted(); }));
  expectAbsent(thrownBy([&] { record.SetNew(true); }));
  expectAbsent(thrownBy([&] { record.ClearChanges(); }));
  expectAbsent(thrownBy([&] { record.IsSortChanged(); }));
  EXPECT_EQ(record.GetRecSize(), 0u);
}

TEST_F(RowTest, WritingAnAbsentFlagTagCreatesIt) {
  CDBRecord record;
  record.FreeData();
  record.SetSortChanged(true);
  record.SetFlag(0x81);
  EXPECT_EQ(kx_test::blockOf(record),
            kx_test::join({kx_test::tag(1, {0x81}), kx_test::tag(2, {1})}));
}

TEST_F(RowTest, ACorruptFlagTagThrowsMessage15) {
  CDBRecord record;
  kx_test::setBlock(record, Bytes(20, 0xEE));
  for (const Thrown& thrown :
       {thrownBy([&] { record.GetFlag(); }), thrownBy([&] { record.SetFlag(1); }),
        thrownBy([&] { record.IsSortChanged(); }),
        thrownBy([&] { record.SetSortChanged(true); })}) {
    EXPECT_EQ(thrown.kind, Thrown::kException) << thrown;
    const std::wstring start = kx_test::messageText(15) + L"Error in file ";
    EXPECT_EQ(thrown.description.compare(0, start.size(), start), 0) << thrown;
  }
  EXPECT_EQ(kx_test::blockOf(record), Bytes(20, 0xEE));
}

TEST_F(RowTest, AFlagTagOfTwoBytesThrowsMessage17) {
  CDBRecord record;
  kx_test::setBlock(record, kx_test::tag(1, {1, 2}));
  const Thrown thrown = thrownBy([&] { record.GetFlag(); });
  const std::wstring start = kx_test::messageText(17) + L"Error in file ";
  EXPECT_EQ(thrown.description.compare(0, start.size(), start), 0) << thrown;
}

TEST_F(RowTest, AFlagTagWithoutBytesReadsAsZero) {
  CDBRecord record;
  kx_test::setBlock(record, kx_test::join({kx_test::tag(1, {}), kx_test::tag(2, {})}));
  EXPECT_EQ(record.GetFlag(), 0);
  EXPECT_FALSE(record.IsSortChanged());
}

// --- Writing and reading ---

TEST_F(RowTest, WritesStartTagLengthBlockEndTag) {
  CFileStream stream;
  open(stream, {});
  CDBRecord record;
  record.SetFlag(0xE0);
  record.Write(stream);
  EXPECT_EQ(record.GetPos(), 0u);
  EXPECT_TRUE(record.IsFileRecord());
  EXPECT_EQ(record.GetFlag(), 0xE0);
  stream.Close();
  EXPECT_EQ(written(), kx_test::join({{0x50, 0x4B, 0x03, 0x04, 0x20, 0, 0, 0},
                                      kx_test::tag(1, {0xE0}),
                                      kx_test::tag(2, {0}),
                                      {0x50, 0x4B, 0x01, 0x02}}));
  EXPECT_EQ(written().size(), 12u + 32u);
}

TEST_F(RowTest, WritingRemembersThePositionOfTheStartTag) {
  CFileStream stream;
  open(stream, {});
  CDBRecord record;
  stream.Seek(5, 0);
  record.Write(stream);
  EXPECT_EQ(record.GetPos(), 5u);
  EXPECT_EQ(stream.GetPosition(), 5u + 44u);
}

TEST_F(RowTest, AnEmptyBlockTakesTwelveBytes) {
  CFileStream stream;
  open(stream, {});
  CDBRecord record;
  record.FreeData();
  EXPECT_EQ(record.GetRecSize(), 0u);
  record.Write(stream);
  stream.Close();
  EXPECT_EQ(written(), kx_test::fromHex("50 4B 03 04 00 00 00 00 50 4B 01 02"));

  CDBRecord back;
  EXPECT_EQ(readRow(back, written()).kind, Thrown::kNothing);
  EXPECT_EQ(back.GetRecSize(), 0u);
  EXPECT_EQ(positionAfter_, 12u);
}

TEST_F(RowTest, ReadingReplacesTheBlockByteForByteAndKeepsTheIndex) {
  const Bytes block =
      kx_test::join({kx_test::tag(1, {0x20}, 0, 4), kx_test::tag(77, {9, 8, 7}, 0xFFFFFFFF), {1}});
  CDBRecord record;
  record.SetIndex(12);
  EXPECT_EQ(readRow(record, kx_test::row(block)).kind, Thrown::kNothing);
  EXPECT_EQ(kx_test::blockOf(record), block);
  EXPECT_EQ(record.GetPos(), 0u);
  EXPECT_EQ(record.GetIndex(), 12u);
  EXPECT_TRUE(record.IsChanged());
  EXPECT_EQ(positionAfter_, 12u + block.size());
}

TEST_F(RowTest, AReadRowCanBeEditedAndWritten) {
  CDBRecord record;
  readRow(record, kx_test::row(kx_test::plainBlock()));
  const Bytes large(3000, 0x5A);
  EXPECT_EQ(record.getTaggedDataManager().setData(9, large.data(), large.size(), nullptr, 0), 0);
  record.SetDeleted(true);
  CFileStream stream;
  open(stream, {});
  record.Write(stream);
  stream.Close();
  EXPECT_EQ(written(),
            kx_test::row(kx_test::join({kx_test::plainBlock(0x40), kx_test::tag(9, large)})));
}

TEST_F(RowTest, AMissingStartTagThrowsMessage5AfterItsFourBytes) {
  Bytes bytes = kx_test::row(kx_test::plainBlock());
  for (size_t i = 0; i < 4; ++i) {
    Bytes damaged = bytes;
    damaged[i] ^= 0x01;
    CDBRecord record;
    record.SetPos(99);
    kx_test::clearLog();
    const Thrown thrown = readRow(record, damaged);
    EXPECT_TRUE(thrown.is(Thrown::kDbException, 5, 4)) << thrown;
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
    EXPECT_EQ(positionAfter_, 4u);
    EXPECT_EQ(record.GetPos(), 0u) << "the position is the last one read from";
    EXPECT_EQ(record.GetRecSize(), 0u) << "the old block is gone";
  }
}

TEST_F(RowTest, AMissingEndTagThrowsMessage6AndTheRowKeepsTheBlockRead) {
  const Bytes block = kx_test::plainBlock(0x80);
  Bytes bytes = kx_test::row(block);
  for (size_t i = bytes.size() - 4; i < bytes.size(); ++i) {
    Bytes damaged = bytes;
    damaged[i] ^= 0x80;
    CDBRecord record;
    kx_test::clearLog();
    const Thrown thrown = readRow(record, damaged);
    EXPECT_TRUE(thrown.is(Thrown::kDbException, 6, 5)) << thrown;
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
    EXPECT_EQ(positionAfter_, damaged.size());
    EXPECT_EQ(kx_test::blockOf(record), block);
  }
}

TEST_F(RowTest, EveryShorterFileThrowsMessage8AndEndsAtItsEnd) {
  const Bytes whole = kx_test::row(kx_test::plainBlock());
  for (size_t length = 0; length < whole.size(); ++length) {
    CDBRecord record;
    const Thrown thrown = readRow(record, kx_test::slice(whole, 0, length));
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << length << ": " << thrown;
    EXPECT_EQ(positionAfter_, length);
    EXPECT_EQ(record.GetPos(), 0u);
  }
}

TEST_F(RowTest, ALengthBeyondTheFileIsRefusedAsAShortRead) {
  for (uint32_t length : {0xFFFFFFFFu, 0x80000000u, 37u}) {
    const Bytes bytes = kx_test::join(
        {{0x50, 0x4B, 0x03, 0x04}, kx_test::le32(length), Bytes(32, 7), {0x50, 0x4B, 0x01, 0x02}});
    CDBRecord record;
    const Thrown thrown = readRow(record, bytes);
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
    EXPECT_EQ(record.GetRecSize(), 0u);
    EXPECT_EQ(positionAfter_, bytes.size());
  }
}

TEST_F(RowTest, AFileThatReadsShortWithoutThrowingIsRefusedToo) {
  const Bytes whole = kx_test::row(kx_test::plainBlock());
  for (size_t length = 0; length < whole.size(); ++length) {
    kx_test::ShortReadingFile memory(kx_test::slice(whole, 0, length));
    CFileStream stream(&memory);
    CDBRecord record;
    const Thrown thrown = thrownBy([&] { record.Read(stream); });
    EXPECT_TRUE(kx_test::isReadFailure(thrown)) << length << ": " << thrown;
  }
}

TEST_F(RowTest, ADamagedBlockIsNoticedOnFirstAccess) {
  CDBRecord record;
  EXPECT_EQ(readRow(record, kx_test::row(Bytes(16, 0))).kind, Thrown::kNothing);
  EXPECT_EQ(record.GetRecSize(), 16u);
  const std::wstring corrupt = kx_test::messageText(15) + L"Error in file ";
  EXPECT_EQ(thrownBy([&] { record.IsNew(); }).description.compare(0, corrupt.size(), corrupt), 0);
}

TEST_F(RowTest, ABlockTooShortForATagHasNoFlags) {
  CDBRecord record;
  EXPECT_EQ(readRow(record, kx_test::row(Bytes(14, 0))).kind, Thrown::kNothing);
  const std::wstring absent = kx_test::messageText(16) + L"Error in file ";
  EXPECT_EQ(thrownBy([&] { record.IsNew(); }).description.compare(0, absent.size(), absent), 0);
  record.SetFlag(3);
  EXPECT_EQ(kx_test::blockOf(record), kx_test::join({kx_test::tag(1, {3}), Bytes(14, 0)}));
}

TEST_F(RowTest, ReadsThroughTheStreamOperators) {
  CFileStream stream;
  open(stream, {});
  CDBRecord record;
  record.SetFlag(0x48);
  stream << record;
  stream.SeekToBegin();
  CDBRecord back;
  stream >> back;
  EXPECT_EQ(back.GetFlag(), 0x48);
}

// --- Copies ---

TEST_F(RowTest, ACopyConstructedRowSharesTheBlockUntilTheLastOneGoes) {
  auto first = std::make_unique<CDBRecord>();
  first->SetPos(8);
  first->SetIndex(3);
  CDBRecord second(*first);
  EXPECT_EQ(second.GetRawDataPtr(), first->GetRawDataPtr());
  EXPECT_EQ(second.GetPos(), 8u);
  EXPECT_EQ(second.GetIndex(), 3u);
  second.SetFlag(0x10);
  EXPECT_EQ(first->GetFlag(), 0x10);
  const Bytes large(2000, 1);
  first->getTaggedDataManager().setData(50, large.data(), large.size(), nullptr, 0);
  EXPECT_EQ(second.GetRawDataPtr(), first->GetRawDataPtr());
  first.reset();
  EXPECT_EQ(second.GetFlag(), 0x10);
  EXPECT_EQ(kx_test::valueOf(second.getTaggedDataManager(), 50), large);
}

TEST_F(RowTest, AssignmentCopiesTheBlockAndIsNoFileRecord) {
  CDBRecord source;
  EXPECT_EQ(readRow(source, kx_test::row(kx_test::plainBlock(0x28))).kind, Thrown::kNothing);
  source.SetIndex(5);
  CDBRecord target;
  target.SetIndex(9);
  target.SetPos(77);
  target = source;
  EXPECT_EQ(target.GetPos(), kx_test::kNoPos);
  EXPECT_EQ(target.GetIndex(), 9u);
  EXPECT_EQ(kx_test::blockOf(target), kx_test::blockOf(source));
  EXPECT_NE(target.GetRawDataPtr(), source.GetRawDataPtr());
  EXPECT_EQ(source.GetPos(), 0u);
  target.SetFlag(0);
  EXPECT_EQ(source.GetFlag(), 0x28);
}

TEST_F(RowTest, AssignmentOfAnEmptyRowEmpties) {
  CDBRecord source;
  source.FreeData();
  CDBRecord target;
  target = source;
  EXPECT_EQ(target.GetRecSize(), 0u);
  target.SetFlag(1);
  EXPECT_EQ(source.GetRecSize(), 0u);
}

TEST_F(RowTest, AssignmentDetachesFromASharedBlock) {
  CDBRecord first;
  first.SetFlag(1);
  CDBRecord shared(first);
  CDBRecord other;
  other.SetFlag(2);
  shared = other;
  EXPECT_EQ(first.GetFlag(), 1);
  EXPECT_EQ(shared.GetFlag(), 2);
  EXPECT_NE(shared.GetRawDataPtr(), other.GetRawDataPtr());
}

TEST_F(RowTest, SelfAssignmentKeepsTheData) {
  CDBRecord record;
  record.SetFlag(0x33);
  const CDBRecord& self = record;
  record = self;
  EXPECT_EQ(record.GetFlag(), 0x33);
}

TEST_F(RowTest, AssignmentBetweenSharersKeepsTheData) {
  CDBRecord record;
  record.SetFlag(0x33);
  CDBRecord sharer(record);
  sharer = record;
  EXPECT_EQ(sharer.GetFlag(), 0x33);
  EXPECT_EQ(record.GetFlag(), 0x33);
}

TEST_F(RowTest, FreeDataEmptiesAndResizeFitsTheBuffer) {
  CDBRecord record;
  const Bytes large(5000, 3);
  record.getTaggedDataManager().setData(9, large.data(), large.size(), nullptr, 0);
  record.getTaggedDataManager().deleteData(9);
  const unsigned char* before = record.GetRawDataPtr();
  record.resize();
  EXPECT_NE(record.GetRawDataPtr(), before) << "a smaller buffer took its place";
  EXPECT_EQ(kx_test::blockOf(record), kx_test::plainBlock());
  record.FreeData();
  EXPECT_EQ(record.GetRecSize(), 0u);
  record.FreeData();
  record.resize();
  EXPECT_EQ(record.GetRecSize(), 0u);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

// --- Recordset ---

/// A row that counts what happens to it.
class CountingRow : public CDBRecord {
 public:
  static int initialised;
  static int destroyed;
  ~CountingRow() override { ++destroyed; }
  void Init() override {
    ++initialised;
    SetFlag(0x01);
  }
};
int CountingRow::initialised = 0;
int CountingRow::destroyed = 0;

class CountingRowset : public CDBRecordset {
 public:
  CDBRecord* CreateDBRecord() override {
    CDBRecord* record = new CountingRow;
    record->Init();
    return record;
  }
};

class RowsetTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    CountingRow::initialised = 0;
    CountingRow::destroyed = 0;
  }
  /// A set of rows 0, 1, 2, ... by index.
  static void fill(CDBRecordset& set, unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) set.Append()->SetIndex(i);
  }
  static std::vector<unsigned long> indices(CDBRecordset& set) {
    std::vector<unsigned long> found;
    for (CDBRecord* record : set) found.push_back(record->GetIndex());
    return found;
  }
};

TEST_F(RowsetTest, TheVirtualTableHasTheFactory) {
  EXPECT_EQ(kx_test::virtualSlot(&CDBRecordset::CreateDBRecord), 2);
  EXPECT_TRUE(std::has_virtual_destructor<CDBRecordset>::value);
  EXPECT_FALSE(std::is_copy_constructible<CDBRecordset>::value);
  EXPECT_FALSE(std::is_copy_assignable<CDBRecordset>::value);
}

TEST_F(RowsetTest, ANewSetIsEmpty) {
  CDBRecordset set;
  EXPECT_EQ(set.getSize(), 0);
  EXPECT_EQ(set.getRecord(0), nullptr);
  EXPECT_EQ(set.begin(), set.end());
}

TEST_F(RowsetTest, GetRecordFromTheSizeOnIsNull) {
  CDBRecordset set;
  fill(set, 2);
  EXPECT_NE(set.getRecord(1), nullptr);
  EXPECT_EQ(set.getRecord(2), nullptr);
  EXPECT_EQ(set.getRecord(0xFFFFFFFF), nullptr);
}

TEST_F(RowsetTest, TheFactoryMakesAPlainRowThatIsNotInTheSet) {
  CDBRecordset set;
  CDBRecord* record = set.CreateDBRecord();
  EXPECT_TRUE(kx_test::isExactly<CDBRecord>(record));
  EXPECT_EQ(set.getSize(), 0);
  delete record;
}

TEST_F(RowsetTest, AppendMakesAnInitialisedRowOfTheSetsKind) {
  CountingRowset set;
  CDBRecord* record = set.Append();
  EXPECT_TRUE(kx_test::isExactly<CountingRow>(record));
  EXPECT_EQ(CountingRow::initialised, 1);
  EXPECT_EQ(record->GetFlag(), 0x01);
  EXPECT_EQ(set.getRecord(0), record);
  EXPECT_EQ(set.getSize(), 1);
}

TEST_F(RowsetTest, AddTakesARowAtTheEnd) {
  CDBRecordset set;
  fill(set, 1);
  auto* record = new CDBRecord;
  set.add(record);
  EXPECT_EQ(set.getSize(), 2);
  EXPECT_EQ(set.getRecord(1), record);
}

TEST_F(RowsetTest, InsertBeforeAndAfterMakeARowAtThePlace) {
  CountingRowset set;
  fill(set, 2);
  CDBRecord* first = set.getRecord(0);
  CDBRecord* second = set.getRecord(1);
  set.InsertBefore(first)->SetIndex(10);
  set.InsertBefore(second)->SetIndex(11);
  set.InsertAfter(first)->SetIndex(12);
  set.InsertAfter(second)->SetIndex(13);
  EXPECT_THAT(indices(set), ElementsAre(10, 0, 12, 11, 1, 13));
  EXPECT_EQ(CountingRow::initialised, 6);
}

TEST_F(RowsetTest, InsertingAtAnAbsentRowAppends) {
  CountingRowset set;
  fill(set, 2);
  CDBRecord stranger;
  set.InsertBefore(&stranger)->SetIndex(10);
  set.InsertAfter(&stranger)->SetIndex(11);
  set.InsertBefore(nullptr)->SetIndex(12);
  EXPECT_THAT(indices(set), ElementsAre(0, 1, 10, 11, 12));
}

TEST_F(RowsetTest, MoveBeforeMovesInBothDirections) {
  CDBRecordset set;
  fill(set, 5);
  set.MoveBefore(set.getRecord(3), set.getRecord(1));
  EXPECT_THAT(indices(set), ElementsAre(0, 3, 1, 2, 4));
  set.MoveBefore(set.getRecord(0), set.getRecord(4));
  EXPECT_THAT(indices(set), ElementsAre(3, 1, 2, 0, 4));
  EXPECT_EQ(set.getSize(), 5);
}

TEST_F(RowsetTest, MoveBeforeWithNoPlaceToGoMovesToTheEnd) {
  CDBRecordset set;
  fill(set, 4);
  CDBRecord stranger;
  set.MoveBefore(set.getRecord(1), nullptr);
  EXPECT_THAT(indices(set), ElementsAre(0, 2, 3, 1));
  set.MoveBefore(set.getRecord(0), &stranger);
  EXPECT_THAT(indices(set), ElementsAre(2, 3, 1, 0));
}

TEST_F(RowsetTest, GetRowPosFindsByPointerOrGivesTheEnd) {
  CDBRecordset set;
  fill(set, 3);
  EXPECT_EQ(set.GetRowPos(set.getRecord(2)), set.begin() + 2);
  CDBRecord stranger;
  EXPECT_EQ(set.GetRowPos(&stranger), set.end());
}

TEST_F(RowsetTest, DeletingGivesThePlaceBehindAndNeedsNoDestructor) {
  CountingRowset set;
  fill(set, 5);
  auto next = set.Delete(set.begin() + 1);
  EXPECT_EQ(next, set.begin() + 1);
  EXPECT_EQ((*next)->GetIndex(), 2u);
  next = set.Delete(set.getRecord(3));
  EXPECT_EQ(next, set.end());
  set.Delete(0);
  EXPECT_THAT(indices(set), ElementsAre(2, 3));
  EXPECT_EQ(CountingRow::destroyed, 0);
}

TEST_F(RowsetTest, DeletingTheLastIndexLeavesTheOthersInOrder) {
  CDBRecordset set;
  fill(set, 3);
  set.Delete(2);
  EXPECT_THAT(indices(set), ElementsAre(0, 1));
}

TEST_F(RowsetTest, DeletingWhatIsNotThereChangesNothing) {
  CDBRecordset set;
  fill(set, 2);
  CDBRecord stranger;
  stranger.SetFlag(7);
  EXPECT_EQ(set.Delete(&stranger), set.end());
  EXPECT_EQ(set.Delete(set.end()), set.end());
  set.Delete(2);
  set.Delete(-1);
  EXPECT_THAT(indices(set), ElementsAre(0, 1));
  EXPECT_EQ(stranger.GetFlag(), 7);
}

TEST_F(RowsetTest, DeleteDBRecordDeletesAnyRow) {
  CountingRowset set;
  fill(set, 3);
  set.DeleteDBRecord(set.getRecord(1));
  EXPECT_THAT(indices(set), ElementsAre(0, 2));
  EXPECT_EQ(CountingRow::destroyed, 1);
  set.DeleteDBRecord(new CountingRow);
  EXPECT_EQ(CountingRow::destroyed, 2);
  EXPECT_EQ(set.getSize(), 2);
  set.DeleteDBRecord(nullptr);
  EXPECT_EQ(set.getSize(), 2);
}

TEST_F(RowsetTest, EmptyRSHandsTheRowsToTheCaller) {
  CDBRecordset set;
  fill(set, 2);
  std::vector<CDBRecord*> rows(set.begin(), set.end());
  set.emptyRS();
  EXPECT_EQ(set.getSize(), 0);
  for (CDBRecord* record : rows) {
    EXPECT_EQ(record->GetFlag(), 0);
    delete record;
  }
}

TEST_F(RowsetTest, FreeReleasesEveryRowWithoutItsDestructor) {
  CountingRowset set;
  fill(set, 3);
  set.Free();
  EXPECT_EQ(set.getSize(), 0);
  EXPECT_EQ(CountingRow::destroyed, 0);
  set.Append()->SetIndex(4);
  EXPECT_THAT(indices(set), ElementsAre(4));
}

TEST_F(RowsetTest, DestroyingTheSetReleasesItsRows) {
  {
    CountingRowset set;
    fill(set, 3);
  }
  EXPECT_EQ(CountingRow::destroyed, 0);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(RowsetTest, ReleasingOneOfTwoSharersLeavesTheBlockToTheOther) {
  CDBRecordset set;
  set.Append()->SetFlag(0x44);
  CDBRecord copy(*set.getRecord(0));
  set.Free();
  EXPECT_EQ(copy.GetFlag(), 0x44);
}

TEST_F(RowsetTest, DeleteIfSettlesTheRowsBeforeTheOneThatThrows) {
  CDBRecordset set;
  fill(set, 5);
  EXPECT_THROW(set.DeleteIf([](CDBRecord* record) {
    if (record->GetIndex() == 3) throw 1;
    return record->GetIndex() != 1;
  }),
               int);
  EXPECT_THAT(indices(set), ElementsAre(1, 3, 4));
}

}  // namespace
