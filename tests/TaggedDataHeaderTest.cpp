// Headers and their slots.

#include <memory>
#include <type_traits>

#include "KxKinds.h"
#include "StorageSupport.h"

namespace {

using kx_gen::CConduitHeader;
using kx_gen::CTaggedDataHeader;
using kx_test::blockOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::DiskFile;
using kx_test::fieldsOf;
using kx_test::isReadFailure;
using kx_test::join;
using kx_test::le32;
using kx_test::narrow;
using kx_test::nothingLogged;
using kx_test::ShortReadingFile;
using kx_test::slot;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::throwsOf;
using kx_test::toHex;
using kx_test::zeros;

constexpr char kSource[] = "TaggedDataHeader";

class TaggedDataHeaderTest : public kx_test::KxTest {
 protected:
  static void store(CTaggedDataHeader& header, unsigned long id, const std::string& value) {
    ASSERT_EQ(0, header.getTaggedDataManager().setData(
                     id, value.data(), static_cast<unsigned long>(value.size()), nullptr, 0));
  }
  /// Makes the block `size` bytes long.
  static void fill(CTaggedDataHeader& header, size_t size) {
    header.FreeData();
    store(header, 5, std::string(size - 15, 'x'));
  }
  static unsigned long sizeOf(CTaggedDataHeader& header) {
    return header.getTaggedDataManager().size();
  }
  /// The place ahead of and behind a slot in the tests' files.
  static Bytes margin() { return Bytes(3, 0xEE); }
};

// --- A new header ---

TEST_F(TaggedDataHeaderTest, ANewHeaderIsEmpty) {
  CConduitHeader header;
  EXPECT_EQ(nullptr, header.GetHeaderDataPtr());
  EXPECT_EQ(0ul, sizeOf(header));
  EXPECT_FALSE(header.getTaggedDataManager().getSwap());
  EXPECT_EQ(0u, fieldsOf(header.getTaggedDataManager()).capacity);
  EXPECT_EQ(255u, fieldsOf(header.getTaggedDataManager()).block);
  EXPECT_EQ(255, CTaggedDataHeader::kHeaderMemBlock);
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataHeaderTest, TheBlockGrowsByItsStep) {
  CConduitHeader header;
  fill(header, 254);
  EXPECT_EQ(255u, fieldsOf(header.getTaggedDataManager()).capacity);
  fill(header, 255);
  EXPECT_EQ(510u, fieldsOf(header.getTaggedDataManager()).capacity);
}

TEST_F(TaggedDataHeaderTest, CreateNewFieldsIsTheOneVirtualOperation) {
  EXPECT_EQ(2, kx_test::virtualSlot(&CTaggedDataHeader::CreateNewFields));
  EXPECT_EQ(-1, kx_test::virtualSlot(
                    static_cast<void (CTaggedDataHeader::*)(kx_gen::CFileStream&, unsigned long)>(
                        &CTaggedDataHeader::Read)));
  EXPECT_TRUE(std::has_virtual_destructor<CTaggedDataHeader>::value);
  EXPECT_TRUE(std::is_abstract<CTaggedDataHeader>::value);
}

TEST_F(TaggedDataHeaderTest, TheConduitHeaderHasNoFields) {
  CConduitHeader header;
  header.CreateNewFields();
  EXPECT_EQ(0ul, sizeOf(header));
  store(header, 5, "abc");
  const Bytes before = blockOf(header);
  header.CreateNewFields();
  EXPECT_EQ(toHex(before), toHex(blockOf(header)));
}

TEST_F(TaggedDataHeaderTest, TheDataPointerIsTheBlock) {
  CConduitHeader header;
  store(header, 5, "abc");
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(bytesOf(header.GetHeaderDataPtr(), 18)));
  const CConduitHeader& constant = header;
  EXPECT_EQ(&header.getTaggedDataManager(), &constant.getTaggedDataManager());
}

TEST_F(TaggedDataHeaderTest, FreeDataEmptiesTheHeader) {
  CConduitHeader header;
  fill(header, 400);
  header.FreeData();
  EXPECT_EQ(0ul, sizeOf(header));
  EXPECT_EQ(nullptr, header.GetHeaderDataPtr());
  EXPECT_EQ(0u, fieldsOf(header.getTaggedDataManager()).capacity);
  EXPECT_EQ(255u, fieldsOf(header.getTaggedDataManager()).block);
  header.FreeData();
  store(header, 5, "abc");
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
  EXPECT_TRUE(nothingLogged());
}

// --- Tags ---

TEST_F(TaggedDataHeaderTest, TellsWhichTagsAreThere) {
  CConduitHeader header;
  store(header, 5, "abc");
  header.getTaggedDataManager().setString(7, L"text", nullptr);
  EXPECT_TRUE(header.hasTag(5));
  EXPECT_FALSE(header.hasTag(7));
  EXPECT_TRUE(header.hasTag(0x10007));
  EXPECT_TRUE(header.hasStringTag(7));
  EXPECT_FALSE(header.hasStringTag(5));
}

TEST_F(TaggedDataHeaderTest, AskingACorruptBlockThrowsMessage15WithItsPlace) {
  CConduitHeader header;
  store(header, 5, "abc");
  header.GetHeaderDataPtr()[0] = 0;
  for (const Thrown& thrown :
       {thrownBy([&] { header.hasTag(5); }), thrownBy([&] { header.hasStringTag(5); })}) {
    EXPECT_EQ(Thrown::kException, thrown.kind);
    EXPECT_EQ(0xFFFFFFFFul, thrown.number);
    const std::wstring start = L"Data corruption errorError in file ";
    EXPECT_EQ(start, thrown.description.substr(0, start.size()));
    EXPECT_NE(std::wstring::npos, thrown.description.find(L"TaggedDataHeader line "));
  }
  EXPECT_EQ(2, throwsOf(", LINE - "));
}

// --- Writing a slot ---

TEST_F(TaggedDataHeaderTest, AnEmptyHeaderIsASlotOfZeros) {
  DiskFile file(path(L"slot"));
  CConduitHeader header;
  header.Write(file.stream(), 255);
  EXPECT_EQ(toHex(zeros(4 + 251)), file.hex());
  EXPECT_EQ(255ul, file.stream().GetPosition());
}

TEST_F(TaggedDataHeaderTest, ASlotIsLengthBlockAndZeros) {
  DiskFile file(path(L"slot"), margin());
  file.stream().SeekToEnd();
  CConduitHeader header;
  store(header, 5, "abc");
  header.Write(file.stream(), 30);
  EXPECT_EQ(toHex(join({margin(), {18, 0, 0, 0}, tag(5, bytesOf("abc")), zeros(8)})), file.hex());
  EXPECT_EQ(33ul, file.stream().GetPosition());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataHeaderTest, ABlockMayFillItsSlot) {
  DiskFile file(path(L"slot"));
  CConduitHeader header;
  fill(header, 251);
  header.Write(file.stream(), 255);
  EXPECT_EQ(toHex(join({le32(251), blockOf(header)})), file.hex());
}

TEST_F(TaggedDataHeaderTest, AHeaderTooLargeForItsSlotThrowsMessage12BeforeAByteIsWritten) {
  DiskFile file(path(L"slot"), margin());
  CConduitHeader header;
  for (size_t size : {size_t{252}, size_t{255}, size_t{256}, size_t{1000}}) {
    fill(header, size);
    clearLog();
    const Thrown thrown = thrownBy([&] { header.Write(file.stream(), 255); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 12, 11)) << size << ": " << thrown;
    EXPECT_EQ(L"The default header size is less than the Header object", thrown.description);
    EXPECT_EQ(1, throwsOf(kSource));
    EXPECT_EQ(toHex(margin()), file.hex());
    EXPECT_EQ(0ul, file.stream().GetPosition());
  }
}

TEST_F(TaggedDataHeaderTest, ASlotMustHoldTheLengthItself) {
  DiskFile file(path(L"slot"));
  CConduitHeader header;
  for (unsigned long size : {0ul, 1ul, 2ul, 3ul}) {
    const Thrown thrown = thrownBy([&] { header.Write(file.stream(), size); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 12, 11)) << size << ": " << thrown;
  }
  EXPECT_TRUE(file.contents().empty());
  header.Write(file.stream(), 4);
  EXPECT_EQ(toHex(zeros(4)), file.hex());
}

TEST_F(TaggedDataHeaderTest, CheckFitsThrowsWhatWritingWould) {
  CConduitHeader header;
  fill(header, 251);
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { header.CheckFits(255); }).kind);
  clearLog();
  EXPECT_TRUE(thrownBy([&] { header.CheckFits(254); }).is(Thrown::kException, 12, 11));
  EXPECT_EQ(1, throwsOf(kSource));
}

TEST_F(TaggedDataHeaderTest, ASlotIsWrittenInOneTransfer) {
  ShortReadingFile file;
  kx_gen::CFileStream stream(&file);
  CConduitHeader header;
  store(header, 5, "abc");
  header.Write(stream, 512);
  EXPECT_EQ(1, file.writes);
  EXPECT_EQ(toHex(slot(512, tag(5, bytesOf("abc")))), toHex(file.bytes));
}

TEST_F(TaggedDataHeaderTest, ALargeSlotIsPaddedToItsLastByteAndNotBeyond) {
  constexpr size_t kMiB = size_t{1} << 20;
  for (const size_t size : {kMiB - 1, kMiB, kMiB + 1, 2 * kMiB, 3 * kMiB + 12345}) {
    ShortReadingFile file(Bytes(size + 9, 0xEE));
    kx_gen::CFileStream stream(&file);
    CConduitHeader header;
    store(header, 5, "abc");
    header.Write(stream, static_cast<unsigned long>(size));
    EXPECT_EQ(file.position, size);
    EXPECT_TRUE(file.bytes == join({slot(size, tag(5, bytesOf("abc"))), Bytes(9, 0xEE)})) << size;
  }
}

TEST_F(TaggedDataHeaderTest, ABlockOfMoreThanAMegabyteFillsItsSlot) {
  ShortReadingFile file;
  kx_gen::CFileStream stream(&file);
  CConduitHeader header;
  fill(header, (size_t{1} << 20) + 100);
  const Bytes block = blockOf(header);
  header.Write(stream, static_cast<unsigned long>(block.size() + 4 + 50));
  EXPECT_TRUE(file.bytes == slot(block.size() + 4 + 50, block));
}

TEST_F(TaggedDataHeaderTest, AWriteFailurePasses) {
  kx_test::writeFile("slot", zeros(300));
  kx_gen::CFile readOnly;
  readOnly.Open(path(L"slot").c_str(), kx_gen::CFile::modeRead);
  kx_gen::CFileStream stream(&readOnly);
  CConduitHeader header;
  const Thrown thrown = thrownBy([&] { header.Write(stream, 255); });
  EXPECT_EQ(Thrown::kFileException, thrown.kind);
  EXPECT_EQ(kx_gen::CFileException::accessDenied, thrown.cause);
}

// --- Reading a slot ---

TEST_F(TaggedDataHeaderTest, ReadingTakesTheBlockAndLeavesThePadding) {
  const Bytes block = join({tag(5, bytesOf("abc"), 0xFFFFFFFE, 9), tag(0x10001, narrow("x"))});
  DiskFile file(path(L"slot"), join({margin(), slot(100, block), margin()}));
  file.stream().Seek(3, 0);
  CConduitHeader header;
  store(header, 77, "what was there before");
  header.Read(file.stream(), 100);
  EXPECT_EQ(toHex(block), toHex(blockOf(header)));
  EXPECT_EQ(3ul + 4 + block.size(), file.stream().GetPosition());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataHeaderTest, AReadHeaderHasTheCapacityOfItsSlot) {
  DiskFile file(path(L"slot"), slot(100, tag(5, bytesOf("abc"))));
  CConduitHeader header;
  header.Read(file.stream(), 100);
  EXPECT_EQ(100u, fieldsOf(header.getTaggedDataManager()).capacity);
  EXPECT_EQ(18u, fieldsOf(header.getTaggedDataManager()).size);
  EXPECT_EQ(255u, fieldsOf(header.getTaggedDataManager()).block);
  fill(header, 3000);
  EXPECT_EQ(3000ul, sizeOf(header));
  DiskFile large(path(L"large"), slot(100000, tag(5, bytesOf("abc"))));
  header.Read(large.stream(), 100000);
  EXPECT_EQ(100000u, fieldsOf(header.getTaggedDataManager()).capacity);
}

TEST_F(TaggedDataHeaderTest, AnEmptySlotGivesAnEmptyHeader) {
  DiskFile file(path(L"slot"), zeros(255));
  CConduitHeader header;
  store(header, 5, "abc");
  header.Read(file.stream(), 255);
  EXPECT_EQ(0ul, sizeOf(header));
  store(header, 6, "xyz");
  EXPECT_EQ(toHex(tag(6, bytesOf("xyz"))), toHex(blockOf(header)));
}

TEST_F(TaggedDataHeaderTest, ASlotOfNothingReadsNothing) {
  DiskFile file(path(L"slot"), Bytes(20, 0xFF));
  CConduitHeader header;
  store(header, 5, "abc");
  header.Read(file.stream(), 0);
  EXPECT_EQ(0ul, sizeOf(header));
  EXPECT_EQ(0u, fieldsOf(header.getTaggedDataManager()).capacity);
  EXPECT_EQ(0ul, file.stream().GetPosition());
}

TEST_F(TaggedDataHeaderTest, ABlockMayFillTheSlotThatIsRead) {
  DiskFile file(path(L"slot"), slot(255, Bytes(251, 0x55)));
  CConduitHeader header;
  header.Read(file.stream(), 255);
  EXPECT_EQ(toHex(Bytes(251, 0x55)), toHex(blockOf(header)));
}

TEST_F(TaggedDataHeaderTest, ARecordedLengthBeyondTheSlotThrowsMessage14) {
  for (uint32_t length : {252u, 255u, 256u, 0x7FFFFFFFu, 0xFFFFFFFBu, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
    DiskFile file(path(L"slot"), join({le32(length), zeros(1000)}));
    CConduitHeader header;
    store(header, 5, "abc");
    clearLog();
    const Thrown thrown = thrownBy([&] { header.Read(file.stream(), 255); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 14, 13)) << length << ": " << thrown;
    EXPECT_EQ(L"The recorded header size is bigger than the default header size",
              thrown.description);
    EXPECT_EQ(1, throwsOf(kSource));
    EXPECT_EQ(0ul, sizeOf(header)) << "what was there is gone";
    store(header, 6, "still usable");
  }
}

TEST_F(TaggedDataHeaderTest, ASlotTooSmallForItsLengthThrowsMessage14) {
  for (unsigned long size : {1ul, 2ul, 3ul}) {
    DiskFile file(path(L"slot"), zeros(100));
    CConduitHeader header;
    const Thrown thrown = thrownBy([&] { header.Read(file.stream(), size); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 14, 13)) << size << ": " << thrown;
  }
}

TEST_F(TaggedDataHeaderTest, AFileThatEndsInTheBlockThrowsMessage8) {
  const Bytes whole = join({le32(18), tag(5, bytesOf("abc"))});
  for (size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    DiskFile file(path(L"slot"), cut);
    CConduitHeader header;
    store(header, 7, "before");
    EXPECT_TRUE(isReadFailure(thrownBy([&] { header.Read(file.stream(), 255); }))) << size;
    store(header, 6, "still usable");
    ShortReadingFile silent(cut);
    kx_gen::CFileStream stream(&silent);
    CConduitHeader other;
    EXPECT_TRUE(isReadFailure(thrownBy([&] { other.Read(stream, 255); }))) << size;
  }
}

TEST_F(TaggedDataHeaderTest, AHugeSlotIsNotBelieved) {
  DiskFile file(path(L"slot"), join({le32(0xF0000000), zeros(100)}));
  CConduitHeader header;
  EXPECT_TRUE(isReadFailure(thrownBy([&] { header.Read(file.stream(), 0xFFFFFFF0); })));
  store(header, 6, "still usable");
}

TEST_F(TaggedDataHeaderTest, AFileThatEndsInThePaddingIsRead) {
  for (unsigned long slotSize : {100ul, 0xFFFFFFFFul}) {
    DiskFile file(path(L"slot"), join({le32(18), tag(5, bytesOf("abc"))}));
    CConduitHeader header;
    header.Read(file.stream(), slotSize);
    EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
    fill(header, 2000);
  }
}

TEST_F(TaggedDataHeaderTest, WhatIsWrittenIsReadBack) {
  DiskFile file(path(L"slot"));
  CConduitHeader header;
  store(header, 5, "abc");
  header.getTaggedDataManager().setString(1, L"text", nullptr);
  header.Write(file.stream(), 255);
  file.stream().SeekToBegin();
  CConduitHeader back;
  back.Read(file.stream(), 255);
  EXPECT_EQ(toHex(blockOf(header)), toHex(blockOf(back)));
}

// --- Copies ---

TEST_F(TaggedDataHeaderTest, ACopyConstructedHeaderSharesTheBlock) {
  auto header = std::make_unique<CConduitHeader>();
  store(*header, 5, "abc");
  auto copy = std::make_unique<CConduitHeader>(*header);
  EXPECT_EQ(header->GetHeaderDataPtr(), copy->GetHeaderDataPtr());
  store(*copy, 6, std::string(3000, 'x'));
  EXPECT_EQ(header->GetHeaderDataPtr(), copy->GetHeaderDataPtr());
  EXPECT_EQ(toHex(blockOf(*header)), toHex(blockOf(*copy)));
  const Bytes block = blockOf(*copy);
  header.reset();
  EXPECT_EQ(toHex(block), toHex(blockOf(*copy)));
}

TEST_F(TaggedDataHeaderTest, TheCopyMayGoFirst) {
  CConduitHeader header;
  store(header, 5, "abc");
  EXPECT_EQ(header.GetHeaderDataPtr(), CConduitHeader(header).GetHeaderDataPtr());
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
  const CConduitHeader empty;
  EXPECT_EQ(nullptr, CConduitHeader(empty).GetHeaderDataPtr());
}

TEST_F(TaggedDataHeaderTest, EmptyingOneOfTwoSharersLeavesTheBlockToTheOther) {
  CConduitHeader header;
  store(header, 5, "abc");
  CConduitHeader copy(header);
  copy.FreeData();
  EXPECT_EQ(0ul, sizeOf(copy));
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
  DiskFile file(path(L"slot"), slot(100, tag(6, bytesOf("read"))));
  CConduitHeader reader(header);
  reader.Read(file.stream(), 100);
  EXPECT_EQ(toHex(tag(6, bytesOf("read"))), toHex(blockOf(reader)));
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
}

TEST_F(TaggedDataHeaderTest, AssignmentCopiesTheBlock) {
  CConduitHeader source;
  store(source, 5, "abc");
  CConduitHeader target;
  fill(target, 300);
  target = source;
  EXPECT_NE(source.GetHeaderDataPtr(), target.GetHeaderDataPtr());
  EXPECT_EQ(toHex(blockOf(source)), toHex(blockOf(target)));
  EXPECT_EQ(18u, fieldsOf(target.getTaggedDataManager()).size);
  EXPECT_EQ(18u, fieldsOf(target.getTaggedDataManager()).capacity);
  EXPECT_EQ(255u, fieldsOf(target.getTaggedDataManager()).block);
  store(target, 5, "changed");
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(source)));
}

TEST_F(TaggedDataHeaderTest, AssignmentOfAnEmptyHeaderEmpties) {
  const CConduitHeader source;
  CConduitHeader target;
  store(target, 5, "abc");
  target = source;
  EXPECT_EQ(0ul, sizeOf(target));
  store(target, 6, "xyz");
  EXPECT_EQ(toHex(tag(6, bytesOf("xyz"))), toHex(blockOf(target)));
}

TEST_F(TaggedDataHeaderTest, AssignmentDetachesFromASharedBlock) {
  CConduitHeader first;
  store(first, 5, "first");
  CConduitHeader shared(first);
  CConduitHeader other;
  store(other, 5, "other");
  shared = other;
  EXPECT_EQ(toHex(tag(5, bytesOf("first"))), toHex(blockOf(first)));
  EXPECT_EQ(toHex(tag(5, bytesOf("other"))), toHex(blockOf(shared)));
  store(shared, 5, "changed");
  EXPECT_EQ(toHex(tag(5, bytesOf("first"))), toHex(blockOf(first)));
  EXPECT_EQ(toHex(tag(5, bytesOf("other"))), toHex(blockOf(other)));
}

TEST_F(TaggedDataHeaderTest, SelfAssignmentKeepsTheData) {
  CConduitHeader header;
  store(header, 5, "abc");
  const CConduitHeader& self = header;
  header = self;
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
  CConduitHeader sharer(header);
  sharer = header;
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(sharer)));
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
}

TEST_F(TaggedDataHeaderTest, HeadersOfOtherKindsInheritAllOfIt) {
  kx_test::FieldHeader header;
  header.CreateNewFields();
  EXPECT_TRUE(header.hasTag(kx_test::FieldHeader::kField));
  DiskFile file(path(L"slot"));
  CTaggedDataHeader& base = header;
  base.Write(file.stream(), 40);
  EXPECT_EQ(toHex(slot(40, tag(5, le32(42)))), file.hex());
}

}  // namespace
