// Rows on unusual streams, on damaged blocks and while their block is shared; their buffers.

#include <memory>

#include "StorageSupport.h"

namespace {

using kx_gen::CDBRecord;
using kx_gen::CFileStream;
using kx_test::blockOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::DiskFile;
using kx_test::fieldsOf;
using kx_test::isReadFailure;
using kx_test::join;
using kx_test::le32;
using kx_test::plainBlock;
using kx_test::row;
using kx_test::setBlock;
using kx_test::ShortReadingFile;
using kx_test::tag;
using kx_test::tagAlone;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::throwsOf;
using kx_test::toHex;

class RecordTest : public kx_test::KxTest {
 protected:
  static kx_test::BufferFields buffer(const CDBRecord& record) {
    return fieldsOf(record.getTaggedDataManager());
  }
  static void store(CDBRecord& record, unsigned long id, const std::string& value) {
    ASSERT_EQ(0, record.getTaggedDataManager().setData(
                     id, value.data(), static_cast<unsigned long>(value.size()), nullptr, 0));
  }
};

// --- The buffer ---

TEST_F(RecordTest, ASmallBlockStandsInTheRecordsOwnStorage) {
  CDBRecord record;
  const size_t room = buffer(record).capacity;
  const unsigned char* const block = record.GetRawDataPtr();
  EXPECT_GE(room, record.GetRecSize());
  store(record, 9, std::string(room - 32 - 15, 'x'));
  EXPECT_EQ(block, record.GetRawDataPtr()) << "exactly full";
  store(record, 9, std::string(room - 32 - 15 + 1, 'x'));
  EXPECT_NE(block, record.GetRawDataPtr());
  EXPECT_EQ(512u, buffer(record).capacity);
}

TEST_F(RecordTest, TheBlockGrowsByItsStep) {
  CDBRecord record;
  EXPECT_EQ(512u, buffer(record).block);
  store(record, 9, std::string(512 - 32 - 15 - 1, 'x'));
  EXPECT_EQ(512u, buffer(record).capacity);
  store(record, 9, std::string(512 - 32 - 15, 'x'));
  EXPECT_EQ(512u, buffer(record).capacity) << "exactly full";
  store(record, 9, std::string(512 - 32 - 15 + 1, 'x'));
  EXPECT_EQ(1024u, buffer(record).capacity);
}

TEST_F(RecordTest, AReadRowHasTheCapacityOfItsBlock) {
  DiskFile file(path(L"row"), row(plainBlock()));
  CDBRecord record;
  record.Read(file.stream());
  EXPECT_EQ(32u, buffer(record).capacity);
  EXPECT_EQ(512u, buffer(record).block);
  record.resize();
  EXPECT_EQ(512u, buffer(record).capacity);
  EXPECT_EQ(toHex(plainBlock()), toHex(blockOf(record)));
}

TEST_F(RecordTest, AnAssignedRowHasTheCapacityOfItsBlock) {
  CDBRecord source;
  store(source, 9, "value");
  CDBRecord target;
  store(target, 9, std::string(2000, 'x'));
  target = source;
  EXPECT_EQ(32u + 20, buffer(target).capacity);
  EXPECT_EQ(32u + 20, buffer(target).size);
  EXPECT_EQ(512u, buffer(target).block);
}

TEST_F(RecordTest, AnEmptiedRowHasNoBuffer) {
  CDBRecord record;
  record.FreeData();
  EXPECT_EQ(nullptr, record.GetRawDataPtr());
  EXPECT_EQ(0u, buffer(record).capacity);
  EXPECT_EQ(0u, buffer(record).size);
  EXPECT_EQ(512u, buffer(record).block);
}

TEST_F(RecordTest, IndexAndPositionKeepThirtyTwoBits) {
  CDBRecord record;
  record.SetIndex(static_cast<unsigned long>(0x100000005ull));
  record.SetPos(static_cast<unsigned long>(0x100000006ull));
  EXPECT_EQ(5ul, record.GetIndex());
  EXPECT_EQ(6ul, record.GetPos());
}

// --- Flags ---

TEST_F(RecordTest, TheFlagsWithoutANameStay) {
  CDBRecord record;
  record.SetFlag(0x07);
  record.SetNew(true);
  record.SetArchived(true);
  record.ClearChanges();
  record.SetArchived(false);
  EXPECT_EQ(0x07, record.GetFlag());
}

TEST_F(RecordTest, StoringTheSameFlagsLeavesAnUnmarkedTag) {
  CDBRecord record;
  setBlock(record, join({tag(1, {0x40}, 0), tag(2, {1}, 0)}));
  const Bytes before = blockOf(record);
  record.SetFlag(0x40);
  record.SetDeleted(true);
  record.SetSortChanged(true);
  EXPECT_EQ(toHex(before), toHex(blockOf(record)));
  record.SetSortChanged(false);
  EXPECT_EQ(toHex(join({tag(1, {0x40}, 0), tag(2, {0})})), toHex(blockOf(record)));
}

TEST_F(RecordTest, AnOverrunningFlagTagThrowsMessage15) {
  const Bytes damaged = tagAlone(1, 1);
  CDBRecord record;
  setBlock(record, damaged);
  for (const Thrown& thrown :
       {thrownBy([&] { record.GetFlag(); }), thrownBy([&] { record.SetFlag(1); }),
        thrownBy([&] { record.ClearChanges(); })}) {
    EXPECT_EQ(Thrown::kException, thrown.kind) << thrown;
    EXPECT_EQ(0u, thrown.description.find(L"Data corruption errorError in file ")) << thrown;
  }
  EXPECT_EQ(toHex(damaged), toHex(blockOf(record)));
}

// --- Streams ---

TEST_F(RecordTest, RowsFollowEachOther) {
  DiskFile file(path(L"rows"), bytesOf("head"));
  file.stream().SeekToEnd();
  CDBRecord first;
  CDBRecord second;
  second.FreeData();
  first.Write(file.stream());
  second.Write(file.stream());
  EXPECT_EQ(4ul, first.GetPos());
  EXPECT_EQ(4ul + 44, second.GetPos());
  EXPECT_EQ(toHex(join({bytesOf("head"), row(plainBlock()), row({})})), file.hex());
  file.stream().Seek(4, 0);
  CDBRecord back;
  back.Read(file.stream());
  back.Read(file.stream());
  EXPECT_EQ(48ul, back.GetPos());
  EXPECT_EQ(0ul, back.GetRecSize());
  EXPECT_EQ(file.contents().size(), file.stream().GetPosition());
}

TEST_F(RecordTest, FramingFailuresHaveTheirTexts) {
  Bytes noStart = row(plainBlock());
  noStart[3] = 5;
  DiskFile first(path(L"first"), noStart);
  CDBRecord record;
  EXPECT_EQ(L"Missing new record identifier",
            thrownBy([&] { record.Read(first.stream()); }).description);
  Bytes noEnd = row(plainBlock());
  noEnd.back() = 3;
  DiskFile second(path(L"second"), noEnd);
  EXPECT_EQ(L"Missing end record identifier",
            thrownBy([&] { record.Read(second.stream()); }).description);
}

TEST_F(RecordTest, AFileThatGivesFewerBytesSilentlyThrowsMessage8) {
  const Bytes whole = row(plainBlock());
  for (size_t size = 0; size < whole.size(); ++size) {
    ShortReadingFile file(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    CFileStream stream(&file);
    CDBRecord record;
    kx_test::clearLog();
    EXPECT_TRUE(isReadFailure(thrownBy([&] { record.Read(stream); }))) << size;
    EXPECT_EQ(1, throwsOf(", LINE - ")) << size;
    store(record, 9, "still usable");
  }
}

TEST_F(RecordTest, AHugeLengthInASilentFileThrowsMessage8) {
  ShortReadingFile file(
      join({bytesOf(kx_gen::format::kRowStartTag, 4), le32(0xFFFFFFFF), Bytes(100, 1)}));
  CFileStream stream(&file);
  CDBRecord record;
  EXPECT_TRUE(isReadFailure(thrownBy([&] { record.Read(stream); })));
}

TEST_F(RecordTest, AWriteFailurePasses) {
  kx_test::writeFile("row", Bytes(3, 0));
  kx_gen::CFile readOnly;
  readOnly.Open(path(L"row").c_str(), kx_gen::CFile::modeRead);
  CFileStream stream(&readOnly);
  stream.Seek(2, 0);
  CDBRecord record;
  EXPECT_EQ(Thrown::kFileException, thrownBy([&] { record.Write(stream); }).kind);
  EXPECT_EQ(2ul, record.GetPos());
}

// --- Sharing ---

TEST_F(RecordTest, ACopyOutlivesTheRowInWhoseAllocationTheBlockStands) {
  auto* original = new CDBRecord;
  store(*original, 9, "kept");
  CDBRecord copy(*original);
  auto* heapCopy = new CDBRecord(copy);
  const unsigned char* const block = original->GetRawDataPtr();
  delete original;
  EXPECT_EQ(block, copy.GetRawDataPtr());
  EXPECT_EQ(block, heapCopy->GetRawDataPtr());
  store(copy, 9, std::string(1000, 'x'));
  EXPECT_EQ(copy.GetRawDataPtr(), heapCopy->GetRawDataPtr());
  delete heapCopy;
  EXPECT_EQ(32u + 15 + 1000, copy.GetRecSize());
}

/// A row behind another base, so that it does not begin where its allocation does.
struct Neighbour {
  virtual ~Neighbour() = default;
  int number = 7;
};
struct RowBehindAnother : Neighbour, CDBRecord {};

TEST_F(RecordTest, RowsLiveInAnyStorage) {
  kx_gen::CDBRecordset set;
  set.add(new RowBehindAnother);
  set.add(new (std::nothrow) CDBRecord);
  store(*set.getRecord(0), 9, "first");
  store(*set.getRecord(1), 9, std::string(1000, 'x'));
  EXPECT_EQ(32u + 15 + 5, set.getRecord(0)->GetRecSize());
  EXPECT_EQ(32u + 15 + 1000, set.getRecord(1)->GetRecSize());

  const auto several = std::make_unique<CDBRecord[]>(3);
  several[2] = *set.getRecord(0);
  EXPECT_EQ(32u + 15 + 5, several[2].GetRecSize());

  alignas(CDBRecord) unsigned char place[sizeof(CDBRecord)];
  auto* placed = new (place) CDBRecord(several[2]);
  EXPECT_EQ(several[2].GetRawDataPtr(), placed->GetRawDataPtr());
  placed->~CDBRecord();
}

TEST_F(RecordTest, EmptyingOneOfTwoSharersLeavesTheBlockToTheOther) {
  CDBRecord record;
  record.SetFlag(0x10);
  CDBRecord sharer(record);
  sharer.FreeData();
  EXPECT_EQ(0ul, sharer.GetRecSize());
  EXPECT_EQ(0x10, record.GetFlag());
}

TEST_F(RecordTest, ReadingOneOfTwoSharersLeavesTheBlockToTheOther) {
  DiskFile file(path(L"row"), row(plainBlock(0x80)));
  auto record = std::make_unique<CDBRecord>();
  record->SetFlag(0x10);
  CDBRecord sharer(*record);
  sharer.Read(file.stream());
  EXPECT_EQ(0x80, sharer.GetFlag());
  EXPECT_EQ(0x10, record->GetFlag());
  record.reset();
  EXPECT_EQ(0x80, sharer.GetFlag());
}

}  // namespace
