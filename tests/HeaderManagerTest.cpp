// The header table of a file: matching what is there with what is registered.

#include <type_traits>

#include "KxKinds.h"
#include "StorageSupport.h"

namespace {

using kx_gen::CConduitHeader;
using kx_gen::CFileStream;
using kx_gen::CHeaderManager;
using kx_gen::CTaggedDataHeader;
using kx_gen::THeaderInfo;
using kx_gen::THeaderRecord;
using kx_test::asserted;
using kx_test::assertionsOf;
using kx_test::blockOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::DiskFile;
using kx_test::FieldHeader;
using kx_test::headerTable;
using kx_test::isReadFailure;
using kx_test::join;
using kx_test::le16;
using kx_test::le32;
using kx_test::nothingLogged;
using kx_test::ShortReadingFile;
using kx_test::slot;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::throwsOf;
using kx_test::toHex;
using kx_test::zeros;

constexpr char kSource[] = "HeaderManager";
constexpr unsigned short kTablePos = 10;
constexpr unsigned long kUnknown = 0xFFFFFFFF;

/// What stands ahead of the table in the tests' files.
Bytes front() { return Bytes(kTablePos, 0xAA); }

/// A header that counts how often objects of its kind are destroyed.
class CountedHeader : public CTaggedDataHeader {
 public:
  explicit CountedHeader(int& destroyed) : destroyed_(destroyed) {}
  CountedHeader(const CountedHeader&) = delete;
  CountedHeader& operator=(const CountedHeader&) = delete;
  ~CountedHeader() override { ++destroyed_; }
  void CreateNewFields() override {}

 private:
  int& destroyed_;
};

/// The manager with its helpers in reach; it counts how often the table is written.
class OpenManager : public CHeaderManager {
 public:
  OpenManager() : CHeaderManager(kTablePos) {}
  explicit OpenManager(unsigned short tablePos) : CHeaderManager(tablePos) {}
  void Write(CFileStream& stream) override {
    ++tablesWritten;
    CHeaderManager::Write(stream);
  }

  /// Registers a header that holds tag 5 with `value`, or nothing for an empty one.
  CTaggedDataHeader* add(uint16_t id, uint32_t size, const std::string& value = {}) {
    auto* header = new CConduitHeader;
    if (!value.empty()) {
      header->getTaggedDataManager().setData(5, value.data(),
                                             static_cast<unsigned long>(value.size()), nullptr, 0);
    }
    RegisterHeader({id, size}, header);
    return header;
  }

  using CHeaderManager::AddHeader;
  using CHeaderManager::ClearPresentFlag;
  using CHeaderManager::CountNonPresent;
  using CHeaderManager::Find;
  using CHeaderManager::GetHeaderPos;
  using CHeaderManager::GetHeadersSize;
  using CHeaderManager::GetReadHeaderBlockSize;
  using CHeaderManager::GetWriteHeaderBlockSize;
  using CHeaderManager::RemoveAll;
  using CHeaderManager::WriteAll;
  using CHeaderManager::WriteHeadersInfo;

  int tablesWritten = 0;
};

/// The ids of a list, in order.
std::vector<int> ids(const CHeaderManager::HeaderList& list) {
  std::vector<int> found;
  for (const THeaderInfo* info : list) found.push_back(info->record.id);
  return found;
}

/// The size of an entry's slot, by value: the field is packed.
uint32_t slotSize(const CHeaderManager::HeaderList& list, size_t index) {
  return list.at(index)->record.size;
}

class HeaderManagerTest : public kx_test::KxTest {
 protected:
  static std::vector<int> readIds(const CHeaderManager& manager) {
    return ids(manager.GetReadList());
  }
  static Bytes value(const std::string& text) { return tag(5, bytesOf(text)); }
};

// --- Construction and registration ---

TEST_F(HeaderManagerTest, TheVirtualTableHasReadAndWrite) {
  EXPECT_EQ(2, kx_test::virtualSlot(&CHeaderManager::Read));
  EXPECT_EQ(3, kx_test::virtualSlot(&CHeaderManager::Write));
  EXPECT_TRUE((std::is_base_of<kx_gen::CBaseObject, CHeaderManager>::value));
  EXPECT_FALSE(std::is_copy_constructible<CHeaderManager>::value);
  EXPECT_FALSE(std::is_copy_assignable<CHeaderManager>::value);
}

TEST_F(HeaderManagerTest, ATableEntryTakesSixBytes) {
  EXPECT_EQ(6u, sizeof(THeaderRecord));
  EXPECT_EQ(0u, offsetof(THeaderRecord, id));
  EXPECT_EQ(2u, offsetof(THeaderRecord, size));
}

TEST_F(HeaderManagerTest, ANewManagerKnowsNoHeaders) {
  OpenManager manager;
  EXPECT_TRUE(manager.GetReadList().empty());
  EXPECT_EQ(nullptr, manager.GetHeaderPtr(1));
  EXPECT_EQ(kUnknown, manager.GetHeaderReadPos(1));
  EXPECT_EQ(kUnknown, manager.GetHeaderWritePos(1));
  EXPECT_EQ(2, manager.GetReadHeaderBlockSize());
  EXPECT_EQ(2, manager.GetWriteHeaderBlockSize());
  EXPECT_EQ(12ul, manager.GetReadHeadersEnd());
  EXPECT_EQ(12ul, manager.GetWriteHeadersEnd());
}

TEST_F(HeaderManagerTest, RegisteredHeadersAreFoundById) {
  OpenManager manager;
  CTaggedDataHeader* first = manager.add(1, 255);
  CTaggedDataHeader* third = manager.add(3, 512);
  EXPECT_EQ(first, manager.GetHeaderPtr(1));
  EXPECT_EQ(third, manager.GetHeaderPtr(3));
  EXPECT_EQ(nullptr, manager.GetHeaderPtr(2));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(HeaderManagerTest, HeadersOfTheReadListAloneAreNotRegistered) {
  OpenManager manager;
  manager.AddHeader({7, 20});
  EXPECT_EQ(nullptr, manager.GetHeaderPtr(7));
}

TEST_F(HeaderManagerTest, RegisteringNullIsAsserted) {
  OpenManager manager;
  manager.RegisterHeader({1, 255}, nullptr);
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(nullptr, manager.GetHeaderPtr(1));
  EXPECT_EQ(273ul, manager.GetWriteHeadersEnd()) << "the entry is there all the same";
}

TEST_F(HeaderManagerTest, AnEntryWithoutHeaderIsAssertedWhenItIsUsed) {
  OpenManager manager;
  manager.RegisterHeader({1, 20}, nullptr);
  manager.add(3, 30, "abc");
  DiskFile file(path(L"headers"), front());
  clearLog();
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.WriteAll(file.stream()); }).kind);
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.WriteHeader(file.stream(), 1); }).kind);
  EXPECT_TRUE(asserted(kSource));
  manager.Read(file.stream());
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.ReadHeader(file.stream(), 1); }).kind);
}

TEST_F(HeaderManagerTest, ARepeatedIdGivesItsHeaderToTheLastEntry) {
  OpenManager manager;
  CTaggedDataHeader* first = manager.add(1, 255);
  manager.add(2, 300);
  CTaggedDataHeader* again = manager.add(1, 999);
  EXPECT_EQ(first, manager.GetHeaderPtr(1));
  EXPECT_EQ(again, manager.GetHeaderPtr(2));
  EXPECT_EQ(10ul + 14 + 255 + 300, manager.GetWriteHeadersEnd()) << "the first size stays";
}

TEST_F(HeaderManagerTest, RegisteredHeadersAreDestroyedOnceWithTheManager) {
  int destroyed = 0;
  {
    OpenManager manager;
    manager.RegisterHeader({1, 255}, new CountedHeader(destroyed));
    manager.RegisterHeader({2, 255}, new CountedHeader(destroyed));
    DiskFile file(path(L"headers"), join({front(), headerTable({{1, 255}}), zeros(255)}));
    manager.Read(file.stream());
    manager.ForgetRead();
    manager.Read(file.stream());
    EXPECT_EQ(0, destroyed) << "forgetting what was read keeps them";
  }
  EXPECT_EQ(2, destroyed);
}

TEST_F(HeaderManagerTest, AHeaderRegisteredTwiceIsDestroyedOnce) {
  int destroyed = 0;
  {
    OpenManager manager;
    auto* header = new CountedHeader(destroyed);
    manager.RegisterHeader({1, 255}, header);
    manager.RegisterHeader({1, 255}, header);
    EXPECT_EQ(header, manager.GetHeaderPtr(1));
    EXPECT_EQ(0, destroyed);
  }
  EXPECT_EQ(1, destroyed);
}

TEST_F(HeaderManagerTest, AHeaderThatLostItsEntryIsDestroyedToo) {
  int destroyed = 0;
  {
    OpenManager manager;
    manager.RegisterHeader({1, 255}, new CountedHeader(destroyed));
    manager.RegisterHeader({1, 255}, new CountedHeader(destroyed));
  }
  EXPECT_EQ(2, destroyed);
}

TEST_F(HeaderManagerTest, ReplacingAHeaderThatStandsInTheFileIsSafe) {
  int destroyed = 0;
  {
    OpenManager manager;
    manager.RegisterHeader({1, 30}, new CountedHeader(destroyed));
    DiskFile file(path(L"headers"),
                  join({front(), headerTable({{1, 30}}), slot(30, value("one"))}));
    manager.Read(file.stream());
    auto* replacement = new CountedHeader(destroyed);
    manager.RegisterHeader({1, 30}, replacement);
    EXPECT_EQ(replacement, manager.GetHeaderPtr(1));
    EXPECT_TRUE(manager.ReadHeader(file.stream(), 1));
    manager.WriteAll(file.stream());
  }
  EXPECT_EQ(2, destroyed);
}

// --- The helpers on lists ---

TEST_F(HeaderManagerTest, AddingAKnownIdToAListIsIgnored) {
  OpenManager manager;
  CHeaderManager::HeaderList list;
  manager.AddHeader(list, {7, 20});
  manager.AddHeader(list, {1, 30});
  manager.AddHeader(list, {7, 99});
  ASSERT_EQ(2u, list.size());
  EXPECT_EQ((std::vector<int>{7, 1}), ids(list));
  EXPECT_EQ(20u, slotSize(list, 0));
  EXPECT_EQ(nullptr, list[0]->header);
  EXPECT_FALSE(list[0]->present);
  EXPECT_EQ(list.begin() + 1, manager.Find(list, 1));
  EXPECT_EQ(list.end(), manager.Find(list, 2));
  manager.RemoveAll(list, false);
  EXPECT_TRUE(list.empty());
}

TEST_F(HeaderManagerTest, PresentEntriesTakeNoRoom) {
  OpenManager manager;
  CHeaderManager::HeaderList list;
  manager.AddHeader(list, {1, 100});
  manager.AddHeader(list, {2, 20});
  manager.AddHeader(list, {3, 3});
  EXPECT_EQ(123ul, manager.GetHeadersSize(list));
  EXPECT_EQ(120ul, manager.GetHeaderPos(list, 3));
  list[0]->present = true;
  EXPECT_EQ(23ul, manager.GetHeadersSize(list));
  EXPECT_EQ(2, manager.CountNonPresent(list));
  EXPECT_EQ(0ul, manager.GetHeaderPos(list, 1));
  EXPECT_EQ(0ul, manager.GetHeaderPos(list, 2));
  EXPECT_EQ(20ul, manager.GetHeaderPos(list, 3));
  EXPECT_EQ(kUnknown, manager.GetHeaderPos(list, 4));
  manager.ClearPresentFlag(list);
  EXPECT_EQ(3, manager.CountNonPresent(list));
  manager.RemoveAll(list, false);
}

TEST_F(HeaderManagerTest, WritingAListsEntriesSkipsThePresentOnes) {
  OpenManager manager;
  CHeaderManager::HeaderList list;
  manager.AddHeader(list, {1, 100});
  manager.AddHeader(list, {0x0203, 0x04050607});
  list[0]->present = true;
  DiskFile file(path(L"headers"));
  manager.WriteHeadersInfo(file.stream(), list);
  EXPECT_EQ(toHex({3, 2, 7, 6, 5, 4}), file.hex());
  manager.RemoveAll(list, false);
}

TEST_F(HeaderManagerTest, WritingAListsSlotsSkipsThePresentOnes) {
  OpenManager manager;
  CHeaderManager::HeaderList list;
  CConduitHeader first;
  FieldHeader second;
  second.CreateNewFields();
  manager.AddHeader(list, {1, 30});
  manager.AddHeader(list, {2, 40});
  list[0]->header = &first;
  list[0]->present = true;
  list[1]->header = &second;
  DiskFile file(path(L"headers"));
  manager.WriteAll(file.stream(), list);
  EXPECT_EQ(toHex(slot(40, tag(5, le32(42)))), file.hex());
  manager.RemoveAll(list, false);
}

TEST_F(HeaderManagerTest, RemovingAListMayDeleteTheHeaders) {
  OpenManager manager;
  int destroyed = 0;
  CountedHeader kept(destroyed);
  CHeaderManager::HeaderList list;
  manager.AddHeader(list, {1, 30});
  list[0]->header = &kept;
  manager.RemoveAll(list, false);
  EXPECT_EQ(0, destroyed);
  manager.AddHeader(list, {1, 30});
  list[0]->header = new CountedHeader(destroyed);
  manager.RemoveAll(list, true);
  EXPECT_EQ(1, destroyed);
  EXPECT_TRUE(list.empty());
}

// --- A new file ---

TEST_F(HeaderManagerTest, ANewFilesTableHasTheRegisteredHeaders) {
  OpenManager manager;
  manager.add(1, 255);
  EXPECT_EQ(8, manager.GetWriteHeaderBlockSize());
  EXPECT_EQ(18ul, manager.GetHeaderWritePos(1));
  EXPECT_EQ(273ul, manager.GetWriteHeadersEnd());
  EXPECT_EQ(kUnknown, manager.GetHeaderReadPos(1));
  EXPECT_EQ(12ul, manager.GetReadHeadersEnd());
  DiskFile file(path(L"headers"), front());
  manager.Write(file.stream());
  EXPECT_EQ(toHex(join({front(), kx_test::fromHex("01 00  01 00 FF 00 00 00")})), file.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(HeaderManagerTest, WriteAllWritesTableAndSlotsInRegistrationOrder) {
  OpenManager manager;
  manager.add(3, 40, "three");
  manager.add(1, 30, "one");
  manager.AddRegistered();  // as for a file just created
  DiskFile file(path(L"headers"), front());
  manager.WriteAll(file.stream());
  EXPECT_EQ(toHex(join({front(), headerTable({{3, 40}, {1, 30}}), slot(40, value("three")),
                        slot(30, value("one"))})),
            file.hex());
  EXPECT_EQ(1, manager.tablesWritten) << "through the virtual operation";
  EXPECT_TRUE(nothingLogged());
}

TEST_F(HeaderManagerTest, TheTableStandsWhereTheManagerWasTold) {
  OpenManager manager(100);
  manager.add(1, 30, "one");
  EXPECT_EQ(108ul, manager.GetHeaderWritePos(1));
  EXPECT_EQ(138ul, manager.GetWriteHeadersEnd());
  DiskFile file(path(L"headers"), Bytes(100, 0xAA));
  manager.WriteAll(file.stream());
  EXPECT_EQ(toHex(join({Bytes(100, 0xAA), headerTable({{1, 30}}), slot(30, value("one"))})),
            file.hex());
  OpenManager reader(100);
  reader.add(1, 30);
  reader.Read(file.stream());
  EXPECT_TRUE(reader.ReadHeader(file.stream(), 1));
  EXPECT_EQ(toHex(value("one")), toHex(blockOf(*reader.GetHeaderPtr(1))));
}

TEST_F(HeaderManagerTest, InANewFileAHeaderIsWrittenAtItsWritePosition) {
  OpenManager manager;
  manager.add(1, 30, "one");
  manager.add(3, 40, "three");
  DiskFile file(path(L"headers"), front());
  manager.Write(file.stream());
  manager.WriteHeader(file.stream(), 3);
  manager.WriteHeader(file.stream(), 1);
  EXPECT_EQ(toHex(join({front(), headerTable({{1, 30}, {3, 40}}), slot(30, value("one")),
                        slot(40, value("three"))})),
            file.hex());
  EXPECT_TRUE(nothingLogged());
}

// --- Reading the table ---

TEST_F(HeaderManagerTest, ReadingMatchesTheTableWithTheRegisteredHeaders) {
  OpenManager manager;
  CTaggedDataHeader* first = manager.add(1, 255);
  manager.add(3, 512);
  DiskFile file(path(L"headers"),
                join({front(), headerTable({{7, 20}, {1, 300}}), zeros(20 + 300)}));
  manager.Read(file.stream());
  ASSERT_EQ((std::vector<int>{7, 1}), readIds(manager));
  const CHeaderManager::HeaderList& list = manager.GetReadList();
  EXPECT_EQ(20u, slotSize(list, 0));
  EXPECT_EQ(nullptr, list[0]->header);
  EXPECT_FALSE(list[0]->present);
  EXPECT_EQ(300u, slotSize(list, 1)) << "larger than the default";
  EXPECT_EQ(first, list[1]->header);
  EXPECT_FALSE(list[1]->present);
}

TEST_F(HeaderManagerTest, PositionsAfterReading) {
  OpenManager manager;
  manager.add(1, 255);
  manager.add(3, 512);
  manager.add(4, 50);
  DiskFile file(path(L"headers"),
                join({front(), headerTable({{1, 255}, {7, 20}}), zeros(255 + 20)}));
  manager.Read(file.stream());
  EXPECT_EQ(14, manager.GetReadHeaderBlockSize());
  EXPECT_EQ(24ul, manager.GetHeaderReadPos(1));
  EXPECT_EQ(279ul, manager.GetHeaderReadPos(7));
  EXPECT_EQ(kUnknown, manager.GetHeaderReadPos(3));
  EXPECT_EQ(299ul, manager.GetReadHeadersEnd());
  EXPECT_EQ(26, manager.GetWriteHeaderBlockSize());
  EXPECT_EQ(36ul, manager.GetHeaderWritePos(1));
  EXPECT_EQ(291ul, manager.GetHeaderWritePos(7));
  EXPECT_EQ(311ul, manager.GetHeaderWritePos(3));
  EXPECT_EQ(823ul, manager.GetHeaderWritePos(4));
  EXPECT_EQ(kUnknown, manager.GetHeaderWritePos(9));
  EXPECT_EQ(873ul, manager.GetWriteHeadersEnd());
}

TEST_F(HeaderManagerTest, ARepeatedIdKeepsItsFirstEntry) {
  OpenManager manager;
  manager.add(1, 20);
  DiskFile file(path(L"headers"),
                join({front(), headerTable({{1, 30}, {7, 10}, {1, 99}, {7, 11}}), zeros(300)}));
  manager.Read(file.stream());
  ASSERT_EQ((std::vector<int>{1, 7}), readIds(manager));
  EXPECT_EQ(30u, slotSize(manager.GetReadList(), 0));
  EXPECT_EQ(10u, slotSize(manager.GetReadList(), 1));
  EXPECT_EQ(14, manager.GetReadHeaderBlockSize());
}

TEST_F(HeaderManagerTest, ReadingAgainStartsAfresh) {
  OpenManager manager;
  manager.add(1, 20);
  manager.add(3, 20);
  DiskFile both(path(L"both"), join({front(), headerTable({{3, 20}, {1, 20}}), zeros(40)}));
  DiskFile one(path(L"one"), join({front(), headerTable({{1, 25}}), zeros(25)}));
  manager.Read(both.stream());
  EXPECT_FALSE(manager.MustGrowTable());
  manager.Read(one.stream());
  ASSERT_EQ((std::vector<int>{1}), readIds(manager));
  EXPECT_EQ(25u, slotSize(manager.GetReadList(), 0));
  EXPECT_TRUE(manager.MustGrowTable());
  DiskFile target(path(L"target"), front());
  manager.Write(target.stream());
  EXPECT_EQ(toHex(join({front(), headerTable({{1, 25}, {3, 20}})})), target.hex());
}

TEST_F(HeaderManagerTest, ForgettingWhatWasReadLeavesTheRegisteredHeaders) {
  OpenManager manager;
  manager.add(1, 20);
  DiskFile file(path(L"headers"), join({front(), headerTable({{7, 20}, {1, 30}}), zeros(50)}));
  manager.Read(file.stream());
  manager.ForgetRead();
  EXPECT_TRUE(manager.GetReadList().empty());
  EXPECT_EQ(18ul, manager.GetHeaderWritePos(1));
  DiskFile target(path(L"target"), front());
  manager.Write(target.stream());
  EXPECT_EQ(toHex(join({front(), headerTable({{1, 20}})})), target.hex());
}

TEST_F(HeaderManagerTest, MatchingAgainChangesNothing) {
  OpenManager manager;
  CTaggedDataHeader* header = manager.add(1, 20);
  manager.AddHeader({1, 30});
  manager.AddHeader({1, 40});
  manager.AddRegistered();
  manager.AddRegistered();
  ASSERT_EQ((std::vector<int>{1}), readIds(manager));
  EXPECT_EQ(header, manager.GetReadList()[0]->header);
  EXPECT_EQ(30u, slotSize(manager.GetReadList(), 0));
  EXPECT_EQ(10ul + 8 + 30, manager.GetWriteHeadersEnd());
}

TEST_F(HeaderManagerTest, ATableCutShortThrowsMessage8AndLeavesTheReadListEmpty) {
  const Bytes whole = join({front(), headerTable({{1, 20}, {7, 20}})});
  for (size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    OpenManager manager;
    manager.add(1, 20);
    manager.AddHeader({9, 5});
    DiskFile file(path(L"headers"), cut);
    EXPECT_TRUE(isReadFailure(thrownBy([&] { manager.Read(file.stream()); }))) << size;
    EXPECT_TRUE(manager.GetReadList().empty()) << size;
    EXPECT_NE(nullptr, manager.GetHeaderPtr(1));
    ShortReadingFile silent(cut);
    CFileStream stream(&silent);
    EXPECT_TRUE(isReadFailure(thrownBy([&] { manager.Read(stream); }))) << size;
    EXPECT_TRUE(manager.GetReadList().empty()) << size;
  }
}

TEST_F(HeaderManagerTest, ALargeCountInASmallFileIsNotBelieved) {
  OpenManager manager;
  DiskFile file(path(L"headers"), join({front(), {0xFF, 0xFF}, zeros(60)}));
  EXPECT_TRUE(isReadFailure(thrownBy([&] { manager.Read(file.stream()); })));
  EXPECT_TRUE(manager.GetReadList().empty());
}

// --- Sizes ---

TEST_F(HeaderManagerTest, ASmallerRecordedSizeThrowsMessage20) {
  OpenManager manager;
  manager.add(1, 255);
  DiskFile file(path(L"headers"), join({front(), headerTable({{1, 200}}), zeros(200)}));
  const Thrown thrown = thrownBy([&] { manager.Read(file.stream()); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 20, 19)) << thrown;
  EXPECT_EQ(L"The header size is changed, but the db version not", thrown.description);
  EXPECT_EQ(1, throwsOf(kSource));
  EXPECT_TRUE(manager.GetReadList().empty());
}

TEST_F(HeaderManagerTest, MatchingASmallerSizeByHandThrowsMessage20) {
  OpenManager manager;
  manager.add(1, 255);
  manager.AddHeader({1, 254});
  EXPECT_TRUE(thrownBy([&] { manager.AddRegistered(); }).is(Thrown::kException, 20, 19));
  EXPECT_EQ(1, throwsOf(kSource));
}

TEST_F(HeaderManagerTest, WithoutReportingASmallerSizeIsAcceptedAndKept) {
  OpenManager manager;
  CTaggedDataHeader* header = manager.add(1, 255);
  manager.SetReportSizeProblem(0);
  const Bytes whole = join({front(), headerTable({{1, 200}}), slot(200, value("one"))});
  DiskFile file(path(L"headers"), whole);
  manager.Read(file.stream());
  ASSERT_EQ((std::vector<int>{1}), readIds(manager));
  EXPECT_EQ(200u, slotSize(manager.GetReadList(), 0));
  EXPECT_EQ(header, manager.GetReadList()[0]->header);
  EXPECT_TRUE(manager.ReadHeader(file.stream(), 1));
  EXPECT_EQ(toHex(value("one")), toHex(blockOf(*header)));
  manager.WriteAll(file.stream());
  EXPECT_EQ(toHex(whole), file.hex());
}

TEST_F(HeaderManagerTest, ResizingRaisesRecordedSizesToTheDefaults) {
  OpenManager manager;
  manager.add(1, 255);
  manager.add(3, 40);
  manager.add(4, 60);
  manager.SetReportSizeProblem(0);
  DiskFile file(path(L"headers"),
                join({front(), headerTable({{1, 200}, {3, 50}, {7, 10}}), zeros(260)}));
  manager.Read(file.stream());
  manager.ResizeHeaders();
  const CHeaderManager::HeaderList& list = manager.GetReadList();
  ASSERT_EQ((std::vector<int>{1, 3, 7}), readIds(manager));
  EXPECT_EQ(255u, slotSize(list, 0));
  EXPECT_EQ(50u, slotSize(list, 1)) << "a larger one stays";
  EXPECT_EQ(10u, slotSize(list, 2));
}

TEST_F(HeaderManagerTest, ResizingWhileReportingThrowsMessage20) {
  OpenManager manager;
  manager.add(1, 255);
  manager.SetReportSizeProblem(0);
  DiskFile file(path(L"headers"), join({front(), headerTable({{1, 200}}), zeros(200)}));
  manager.Read(file.stream());
  manager.SetReportSizeProblem(1);
  EXPECT_TRUE(thrownBy([&] { manager.ResizeHeaders(); }).is(Thrown::kException, 20, 19));
  EXPECT_EQ(1, throwsOf(kSource));
  EXPECT_EQ(200u, slotSize(manager.GetReadList(), 0));
}

TEST_F(HeaderManagerTest, ResizingWithNothingToRaiseIsQuiet) {
  OpenManager manager;
  manager.add(1, 255);
  manager.add(3, 40);
  manager.AddHeader({1, 255});
  manager.ResizeHeaders();
  EXPECT_EQ(255u, slotSize(manager.GetReadList(), 0));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(HeaderManagerTest, ALargerRecordedSizeIsReadAndWrittenBack) {
  OpenManager manager;
  CTaggedDataHeader* header = manager.add(1, 255);
  const Bytes whole = join({front(), headerTable({{1, 300}}), slot(300, value("one"))});
  DiskFile file(path(L"headers"), whole);
  manager.Read(file.stream());
  EXPECT_TRUE(manager.ReadHeader(file.stream(), 1));
  EXPECT_EQ(toHex(value("one")), toHex(blockOf(*header)));
  DiskFile target(path(L"target"), front());
  manager.WriteAll(target.stream());
  EXPECT_EQ(toHex(whole), target.hex());
}

TEST_F(HeaderManagerTest, AHeaderTooLargeForItsSlotThrowsMessage12BeforeAByteIsWritten) {
  OpenManager manager;
  manager.add(1, 30, "one");
  manager.add(3, 40, std::string(22, 'x'));  // 37 bytes, one more than the slot takes
  const Bytes before = join({front(), Bytes(200, 0x55)});
  DiskFile file(path(L"headers"), before);
  Thrown thrown = thrownBy([&] { manager.WriteAll(file.stream()); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 12, 11)) << thrown;
  EXPECT_EQ(toHex(before), file.hex());
  thrown = thrownBy([&] { manager.WriteHeader(file.stream(), 3); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 12, 11)) << thrown;
  EXPECT_EQ(toHex(before), file.hex());
}

TEST_F(HeaderManagerTest, ARecordedSlotTooSmallForTheHeaderThrowsMessage12) {
  OpenManager manager;
  manager.add(1, 255, std::string(50, 'x'));
  manager.SetReportSizeProblem(0);
  const Bytes before = join({front(), headerTable({{1, 60}}), zeros(60)});
  DiskFile file(path(L"headers"), before);
  manager.Read(file.stream());
  EXPECT_TRUE(thrownBy([&] { manager.WriteAll(file.stream()); }).is(Thrown::kException, 12, 11));
  EXPECT_TRUE(
      thrownBy([&] { manager.WriteHeader(file.stream(), 1); }).is(Thrown::kException, 12, 11));
  EXPECT_EQ(toHex(before), file.hex());
  manager.ResizeHeaders();
  manager.WriteAll(file.stream());
  EXPECT_EQ(toHex(join({front(), headerTable({{1, 255}}), slot(255, value(std::string(50, 'x')))})),
            file.hex());
}

TEST_F(HeaderManagerTest, AHeaderOfTheFileThatOutgrewItsSlotKeepsAllOthersUnwritten) {
  OpenManager manager;
  manager.add(1, 30, "changed");
  manager.add(3, 60, std::string(50, 'x'));
  manager.SetReportSizeProblem(0);
  const Bytes before =
      join({front(), headerTable({{1, 30}, {3, 50}}), slot(30, value("one")), zeros(50)});
  DiskFile file(path(L"headers"), before);
  manager.Read(file.stream());
  EXPECT_TRUE(thrownBy([&] { manager.WriteAll(file.stream()); }).is(Thrown::kException, 12, 11));
  EXPECT_EQ(0, manager.tablesWritten);
  EXPECT_EQ(toHex(before), file.hex());
}

// --- Single headers ---

TEST_F(HeaderManagerTest, ReadingAHeaderAddsTheFieldsThatItLacks) {
  CHeaderManager manager(kTablePos);
  auto* header = new FieldHeader;
  manager.RegisterHeader({3, 40}, header);
  DiskFile file(path(L"headers"),
                join({front(), headerTable({{1, 30}, {3, 50}}), slot(30, value("one")),
                      slot(50, tag(6, bytesOf("old"), 0))}));
  manager.Read(file.stream());
  EXPECT_TRUE(manager.ReadHeader(file.stream(), 3));
  EXPECT_EQ(toHex(join({tag(5, le32(42)), tag(6, bytesOf("old"), 0)})), toHex(blockOf(*header)));
}

TEST_F(HeaderManagerTest, AHeaderThatTheFileLacksIsNotRead) {
  OpenManager manager;
  CTaggedDataHeader* header = manager.add(3, 40, "kept");
  DiskFile file(path(L"headers"), join({front(), headerTable({{1, 30}}), zeros(30)}));
  manager.Read(file.stream());
  EXPECT_FALSE(manager.ReadHeader(file.stream(), 3));
  EXPECT_FALSE(manager.ReadHeader(file.stream(), 9));
  EXPECT_EQ(toHex(value("kept")), toHex(blockOf(*header)));
}

TEST_F(HeaderManagerTest, ADamagedSlotThrowsAsTheHeaderDoes) {
  OpenManager manager;
  manager.add(1, 30);
  DiskFile tooLong(path(L"long"), join({front(), headerTable({{1, 30}}), le32(27), zeros(26)}));
  manager.Read(tooLong.stream());
  EXPECT_TRUE(
      thrownBy([&] { manager.ReadHeader(tooLong.stream(), 1); }).is(Thrown::kException, 14, 13));
  DiskFile cut(path(L"cut"), join({front(), headerTable({{1, 30}}), le32(18), zeros(10)}));
  manager.Read(cut.stream());
  EXPECT_TRUE(isReadFailure(thrownBy([&] { manager.ReadHeader(cut.stream(), 1); })));
}

TEST_F(HeaderManagerTest, AnUnknownHeaderIsNotWritten) {
  OpenManager manager;
  manager.add(1, 30);
  const Bytes before = join({front(), headerTable({{1, 30}}), zeros(30)});
  DiskFile file(path(L"headers"), before);
  manager.Read(file.stream());
  clearLog();
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.WriteHeader(file.stream(), 9); }).kind);
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(toHex(before), file.hex());
}

TEST_F(HeaderManagerTest, WithACompleteTableAHeaderIsWrittenInItsPlace) {
  OpenManager manager;
  manager.add(1, 30, "one");
  manager.add(3, 40, "three");
  const Bytes table = headerTable({{3, 40}, {1, 30}});
  DiskFile file(path(L"headers"), join({front(), table, zeros(70), bytesOf("rows")}));
  manager.Read(file.stream());
  EXPECT_FALSE(manager.MustGrowTable());
  manager.WriteHeader(file.stream(), 1);
  EXPECT_EQ(toHex(join({front(), table, zeros(40), slot(30, value("one")), bytesOf("rows")})),
            file.hex());
  manager.WriteHeader(file.stream(), 3);
  EXPECT_EQ(toHex(join({front(), table, slot(40, value("three")), slot(30, value("one")),
                        bytesOf("rows")})),
            file.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(HeaderManagerTest, WhileTheTableMustGrowHeadersStayInTheirPlaceOrAreRefused) {
  OpenManager manager;
  manager.add(1, 30, "one");
  manager.add(3, 40, "three");
  const Bytes table = headerTable({{1, 30}});
  DiskFile file(path(L"headers"), join({front(), table, zeros(30), bytesOf("rows and more rows")}));
  manager.Read(file.stream());
  EXPECT_TRUE(manager.MustGrowTable());
  const Bytes expected =
      join({front(), table, slot(30, value("one")), bytesOf("rows and more rows")});
  manager.WriteHeader(file.stream(), 1);
  EXPECT_EQ(toHex(expected), file.hex());
  EXPECT_TRUE(nothingLogged());
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.WriteHeader(file.stream(), 3); }).kind);
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(toHex(expected), file.hex());
}

TEST_F(HeaderManagerTest, AfterTheTableHasGrownEveryHeaderIsWrittenAtItsWritePosition) {
  OpenManager manager;
  manager.add(1, 30, "one");
  manager.add(3, 40, "three");
  DiskFile file(path(L"headers"), join({front(), headerTable({{1, 30}}), zeros(30)}));
  manager.Read(file.stream());
  manager.WriteAll(file.stream());
  EXPECT_FALSE(manager.MustGrowTable());
  const Bytes grown = join(
      {front(), headerTable({{1, 30}, {3, 40}}), slot(30, value("one")), slot(40, value("three"))});
  EXPECT_EQ(toHex(grown), file.hex());
  manager.WriteHeader(file.stream(), 1);
  manager.WriteHeader(file.stream(), 3);
  EXPECT_EQ(toHex(grown), file.hex());
  EXPECT_TRUE(nothingLogged());
}

// --- Headers of the file that nobody registered ---

TEST_F(HeaderManagerTest, AnUnregisteredHeaderIsWrittenBackAtItsNewPlace) {
  OpenManager manager;
  manager.add(1, 30, "one");
  manager.add(3, 40, "three");
  const Bytes unknown = join({le32(0xFFFFFFFF), Bytes(15, 0xDB), {0}});  // no header would read it
  DiskFile file(path(L"headers"), join({front(), headerTable({{1, 30}, {7, 20}}),
                                        slot(30, value("old")), unknown, bytesOf("rows")}));
  manager.Read(file.stream());
  clearLog();
  manager.WriteAll(file.stream());
  EXPECT_EQ(toHex(join({front(), headerTable({{1, 30}, {7, 20}, {3, 40}}), slot(30, value("one")),
                        unknown, slot(40, value("three"))})),
            file.hex());
  EXPECT_EQ(1, assertionsOf(kSource));
}

TEST_F(HeaderManagerTest, EachUnregisteredHeaderIsAssertedOnce) {
  OpenManager manager;
  manager.add(1, 30);
  const Bytes whole =
      join({front(), headerTable({{8, 5}, {1, 30}, {7, 6}}), Bytes(5, 8), zeros(30), Bytes(6, 7)});
  DiskFile file(path(L"headers"), whole);
  manager.Read(file.stream());
  clearLog();
  manager.WriteAll(file.stream());
  EXPECT_EQ(2, assertionsOf(kSource));
  EXPECT_EQ(toHex(whole), file.hex());
}

TEST_F(HeaderManagerTest, AnUnregisteredHeaderIsNeitherReadNorWrittenAlone) {
  OpenManager manager;
  manager.add(1, 30);
  const Bytes whole = join({front(), headerTable({{1, 30}, {7, 20}}), zeros(30), Bytes(20, 0x77)});
  DiskFile file(path(L"headers"), whole);
  manager.Read(file.stream());
  EXPECT_FALSE(manager.ReadHeader(file.stream(), 7));
  clearLog();
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.WriteHeader(file.stream(), 7); }).kind);
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(toHex(whole), file.hex());
}

TEST_F(HeaderManagerTest, AnUnregisteredHeaderMayBeLargerThanAnyBuffer) {
  OpenManager manager;
  manager.add(1, 30, "one");
  Bytes unknown(200000, 0);
  for (size_t i = 0; i < unknown.size(); ++i) unknown[i] = static_cast<unsigned char>(i % 251);
  DiskFile file(path(L"headers"),
                join({front(), headerTable({{7, 200000}, {1, 30}}), unknown, zeros(30)}));
  manager.Read(file.stream());
  DiskFile target(path(L"target"), front());
  manager.WriteAll(target.stream());
  EXPECT_TRUE(join({front(), headerTable({{7, 200000}, {1, 30}}), unknown,
                    slot(30, value("one"))}) == target.contents());
}

/// Writes everything of `manager` to a new file, reads that with another manager that registers 1
/// and 3, and gives what stands in the slot of the unregistered header 7, at most `count` bytes.
Bytes slotOfSevenAfterRewriting(OpenManager& manager, const std::wstring& path, size_t count) {
  DiskFile target(path, front());
  manager.WriteAll(target.stream());
  EXPECT_LT(target.contents().size(), 100000u);
  OpenManager reader;
  reader.add(1, 30);
  reader.add(3, 40);
  reader.Read(target.stream());
  EXPECT_TRUE(reader.ReadHeader(target.stream(), 1));
  EXPECT_EQ(toHex(tag(5, bytesOf("one"))), toHex(blockOf(*reader.GetHeaderPtr(1))));
  EXPECT_TRUE(reader.ReadHeader(target.stream(), 3));
  EXPECT_EQ(toHex(tag(5, bytesOf("three"))), toHex(blockOf(*reader.GetHeaderPtr(3))));
  const Bytes all = target.contents();
  return kx_test::slice(all, reader.GetHeaderReadPos(7), count);
}

TEST_F(HeaderManagerTest, AnUnregisteredHeaderCutShortIsRememberedAsFarAsItGoes) {
  for (uint32_t recorded : {100u, 0x7FFFFFFFu, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
    OpenManager manager;
    manager.add(1, 30, "one");
    manager.add(3, 40, "three");
    DiskFile file(path(L"headers"), join({front(), headerTable({{1, 30}, {7, recorded}}), zeros(30),
                                          Bytes(25, 0x77)}));
    EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.Read(file.stream()); }).kind) << recorded;
    EXPECT_EQ((std::vector<int>{1, 7}), readIds(manager));
    EXPECT_EQ(recorded, slotSize(manager.GetReadList(), 1));
    EXPECT_EQ(toHex(Bytes(25, 0x77)),
              toHex(slotOfSevenAfterRewriting(manager, path(L"target"), 25)))
        << recorded;
  }
}

TEST_F(HeaderManagerTest, ReadingTheTableNeverFailsForASlot) {
  const Bytes table = headerTable({{7, 20}, {8, 0xFFFFFFFF}, {9, 0xFFFFFFFF}, {1, 30}});
  for (size_t behind : {size_t{0}, size_t{1}, size_t{10}, size_t{20}, size_t{21}, size_t{60}}) {
    OpenManager manager;
    manager.add(1, 30);
    DiskFile file(path(L"headers"), join({front(), table, Bytes(behind, 0x77)}));
    EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.Read(file.stream()); }).kind) << behind;
    EXPECT_EQ((std::vector<int>{7, 8, 9, 1}), readIds(manager));
    ShortReadingFile silent(join({front(), table, Bytes(behind, 0x77)}));
    CFileStream stream(&silent);
    EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.Read(stream); }).kind) << behind;
    thrownBy([&] { manager.ReadHeader(file.stream(), 1); });  // wherever sizes beyond 32 bits lead
    thrownBy([&] { manager.WriteAll(file.stream()); });
    EXPECT_LT(file.contents().size(), 100000u);
  }
}

/// A file whose bytes from `damage` on cannot be read, though they are there.
class DamagedFile : public ShortReadingFile {
 public:
  DamagedFile(const Bytes& contents, size_t damage) : ShortReadingFile(contents), damage_(damage) {}
  unsigned int Read(void* buffer, unsigned int count) override {
    if (position + count > damage_) throw new kx_gen::CException(kx_gen::kMsgReadError, 7);
    return ShortReadingFile::Read(buffer, count);
  }

 private:
  size_t damage_;
};

TEST_F(HeaderManagerTest, AnUnregisteredSlotThatCannotBeReadDoesNotFailTheTable) {
  const Bytes ahead = join({front(), headerTable({{7, 20}, {1, 30}})});
  DamagedFile file(join({ahead, zeros(50)}), ahead.size());
  CFileStream stream(&file);
  OpenManager manager;
  manager.add(1, 30);
  EXPECT_EQ(Thrown::kNothing, thrownBy([&] { manager.Read(stream); }).kind);
  EXPECT_EQ((std::vector<int>{7, 1}), readIds(manager));
}

// --- Many headers ---

TEST_F(HeaderManagerTest, ATableMayBeFull) {
  Bytes table = {0xFF, 0xFF};
  table.reserve(2 + 65535 * 6);
  for (uint32_t i = 0; i < 65535; ++i) {
    const Bytes record = join({le16(static_cast<uint16_t>(i)), le32(0)});
    table.insert(table.end(), record.begin(), record.end());
  }
  const Bytes whole = join({front(), table});
  OpenManager manager;
  manager.add(7, 0);
  manager.SetReportSizeProblem(0);
  DiskFile file(path(L"headers"), whole);
  manager.Read(file.stream());
  EXPECT_EQ(65535u, manager.GetReadList().size());
  EXPECT_NE(nullptr, manager.GetReadList()[7]->header);
  EXPECT_EQ(65532, manager.GetReadHeaderBlockSize()) << "kept in 16 bits";
  DiskFile target(path(L"target"), front());
  manager.Write(target.stream());
  EXPECT_TRUE(whole == target.contents());
}

TEST_F(HeaderManagerTest, ATableOfOneIdOverAndOverHasOneHeader) {
  Bytes table = le16(65535);
  for (int i = 0; i < 65535; ++i) {
    const Bytes record = join({le16(5), le32(0)});
    table.insert(table.end(), record.begin(), record.end());
  }
  DiskFile file(path(L"headers"), join({front(), table}));
  CHeaderManager manager(kTablePos);
  manager.Read(file.stream());
  ASSERT_EQ(1u, manager.GetReadList().size());
  EXPECT_EQ(5, manager.GetReadList()[0]->record.id);
}

TEST_F(HeaderManagerTest, ASlotThatTheFileOnlyClaimsIsNotFilled) {
  constexpr uint32_t kClaimed = 0x20000000;
  const Bytes table = join({le16(1), le16(1), le32(kClaimed), le32(0)});
  DiskFile file(path(L"headers"), join({front(), table}));
  CHeaderManager manager(kTablePos);
  manager.RegisterHeader({1, 255}, new kx_gen::CConduitHeader);
  manager.Read(file.stream());
  manager.WriteHeader(file.stream(), 1);
  EXPECT_EQ(front().size() + 8 + 255, file.contents().size());
}

}  // namespace
