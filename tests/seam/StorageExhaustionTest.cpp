// What buffers, tagged data, headers and rows do when memory runs out, and how much they ask for
// when a file claims more than it has.

#include <memory>
#include <new>

#include "FailingNew.h"
#include "LimitedMalloc.h"
#include "StorageSupport.h"

namespace {

using kx_gen::CConduitHeader;
using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;
using kx_gen::CHeaderManager;
using kx_seam::AllocationLimit;
using kx_seam::LargestRequest;
using kx_test::blockOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::DiskFile;
using kx_test::fieldsOf;
using kx_test::headerTable;
using kx_test::isReadFailure;
using kx_test::join;
using kx_test::le32;
using kx_test::row;
using kx_test::slot;
using kx_test::tag;
using kx_test::TaggedBlock;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::throwsOf;
using kx_test::toHex;
using kx_test::zeros;

constexpr size_t kAllowed = 4000;  // enough for reports and exceptions
const std::string kLarge(5000, 'L');
constexpr auto kLargeSize = 5000ul;

class StorageExhaustionTest : public kx_test::KxTest {
 protected:
  ~StorageExhaustionTest() override { std::free(data_); }

  /// Gives the buffer a capacity of its own size exactly.
  void fillExactly(const std::string& text) {
    data_ = static_cast<char*>(std::malloc(text.size()));
    std::memcpy(data_, text.data(), text.size());
    const auto size = static_cast<unsigned long>(text.size());
    buffer_.assignBuffer(&data_, size, size, 512);
  }
  std::string text() const { return std::string(data_, buffer_.size()); }

  char* data_ = nullptr;
  kx_gen::CBufferManager buffer_{&data_, 0, 0, 512};
};

// --- Buffers ---

TEST_F(StorageExhaustionTest, AnEditWithoutMemoryFailsWithNothingChanged) {
  fillExactly("hello");
  const char* before = data_;
  {
    const LargestRequest limit(kAllowed);
    EXPECT_EQ(-1, buffer_.insert(5, kLarge.data(), kLargeSize));
    EXPECT_EQ(-1, buffer_.replace(0, 5, kLarge.data(), kLargeSize));
    EXPECT_EQ(-1, buffer_.reserve(kLargeSize));
  }
  EXPECT_EQ("hello", text());
  EXPECT_EQ(before, data_);
  EXPECT_EQ(5u, fieldsOf(buffer_).capacity);
  EXPECT_EQ(0, buffer_.insert(5, kLarge.data(), kLargeSize));
}

TEST_F(StorageExhaustionTest, ASourceInsideTheBufferThatCannotBeCopiedIsRefused) {
  fillExactly(std::string(8000, 'x'));
  {
    const LargestRequest limit(kAllowed);
    EXPECT_EQ(-1, buffer_.replace(0, 100, data_, kLargeSize));
  }
  EXPECT_EQ(std::string(8000, 'x'), text());
}

TEST_F(StorageExhaustionTest, ShrinkingWithoutMemoryChangesTheCapacityOnly) {
  fillExactly(std::string(10240, 'x'));
  buffer_.erase(0, 4240);
  const char* before = data_;
  {
    const LargestRequest limit(kAllowed);
    buffer_.resize();
  }
  EXPECT_EQ(before, data_);
  EXPECT_EQ(512u * (6000 / 512 + 1), fieldsOf(buffer_).capacity);
  EXPECT_EQ(std::string(6000, 'x'), text());
}

TEST_F(StorageExhaustionTest, GrowingByResizeWithoutMemoryLeavesABufferThatIsSafeToUse) {
  fillExactly(std::string(6000, 'x'));
  {
    const LargestRequest limit(kAllowed);
    buffer_.resize();
  }
  EXPECT_EQ(std::string(6000, 'x'), text());
  EXPECT_EQ(0, buffer_.insert(6000, kLarge.data(), 100));
  EXPECT_EQ(std::string(6000, 'x') + std::string(100, 'L'), text());
}

// --- Tagged data ---

TEST_F(StorageExhaustionTest, AValueWithoutMemoryLeavesTheBlockAsItWas) {
  const Bytes before = join({tag(5, bytesOf("five"), 0), tag(9, bytesOf("nine"), 0)});
  TaggedBlock block(before);
  {
    const LargestRequest limit(kAllowed);
    for (unsigned long id : {2ul, 5ul, 7ul, 9ul, 12ul}) {
      EXPECT_EQ(-1, block->setData(id, kLarge.data(), kLargeSize, nullptr, 0)) << id;
    }
  }
  EXPECT_EQ(toHex(before), block.hex());
}

TEST_F(StorageExhaustionTest, ATagIsNotLeftWithoutItsValue) {
  TaggedBlock block(tag(5, Bytes(470, 1)));  // room for a tag in the next block, not for the value
  const std::string value(3800, 'v');
  const Bytes before = block.bytes();
  {
    const LargestRequest limit(kAllowed);
    EXPECT_EQ(-1, block->setData(7, value.data(), 3800, nullptr, 0));
  }
  EXPECT_EQ(toHex(before), block.hex());
}

TEST_F(StorageExhaustionTest, ATextWithoutMemoryLeavesTheBlockAsItWas) {
  const Bytes before = join({tag(5, bytesOf("five"), 0), tag(0x10007, {'a', 0}, 0)});
  for (const std::wstring& text : {std::wstring(5000, L'x'), std::wstring(5000, L'\u4E2D')}) {
    TaggedBlock block(before);
    long result = -1;
    try {
      const LargestRequest limit(kAllowed);
      result = block->setString(7, text.c_str(), nullptr);
    } catch (const std::bad_alloc&) {
      result = -1;
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(toHex(before), block.hex());
  }
}

// --- Headers and rows ---

TEST_F(StorageExhaustionTest, AHeaderWithoutMemoryThrowsMessage11) {
  DiskFile file(path(L"slot"), slot(6000, tag(5, bytesOf("abc"))));
  CConduitHeader header;
  const Thrown thrown = thrownBy([&] {
    const LargestRequest limit(kAllowed);
    header.Read(file.stream(), 6000);
  });
  EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
  EXPECT_EQ(L"Out of memory", thrown.description);
  EXPECT_EQ(1, throwsOf("TaggedDataHeader"));
  EXPECT_TRUE(blockOf(header).empty());
  file.stream().SeekToBegin();
  header.Read(file.stream(), 6000);
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
}

TEST_F(StorageExhaustionTest, ARowWithoutMemoryThrowsMessage11) {
  DiskFile file(path(L"row"), row(tag(5, bytesOf(kLarge))));
  CDBRecord record;
  const Thrown thrown = thrownBy([&] {
    const LargestRequest limit(kAllowed);
    record.Read(file.stream());
  });
  EXPECT_TRUE(thrown.is(Thrown::kDbException, 11, 10)) << thrown;
  EXPECT_EQ(1, throwsOf(", LINE - "));
  EXPECT_EQ(0ul, record.GetRecSize());
  file.stream().SeekToBegin();
  record.Read(file.stream());
  EXPECT_EQ(toHex(tag(5, bytesOf(kLarge))), toHex(blockOf(record)));
}

TEST_F(StorageExhaustionTest, ARecordThatCannotBeMadeThrowsMessage11) {
  CDBRecordset set;
  const Thrown thrown = thrownBy([&] {
    const AllocationLimit once(0, 1);
    set.CreateDBRecord();
  });
  EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
  EXPECT_EQ(1, throwsOf(", LINE - "));
}

TEST_F(StorageExhaustionTest, ARowsetKeepsItsRowsWhenNoneCanBeMade) {
  constexpr long kMost = 50;  // allocations of a single call
  for (long allowed = 0; allowed < kMost; ++allowed) {
    CDBRecordset set;
    CDBRecord* first = set.Append();
    Thrown thrown;
    bool outOfMemory = false;
    try {
      thrown = thrownBy([&] {
        const AllocationLimit once(allowed, 1);
        set.InsertBefore(first);
      });
    } catch (const std::bad_alloc&) {
      outOfMemory = true;
    }
    if (thrown.kind == Thrown::kNothing && !outOfMemory) {
      EXPECT_EQ(2, set.getSize());
      return;
    }
    EXPECT_EQ(1, set.getSize()) << allowed;
    EXPECT_EQ(first, set.getRecord(0));
  }
  ADD_FAILURE() << "never succeeded";
}

TEST_F(StorageExhaustionTest, CopiesWithoutMemoryLeaveBothSides) {
  CDBRecord source;
  source.getTaggedDataManager().setData(9, kLarge.data(), kLargeSize, nullptr, 0);
  CDBRecord target;
  target.SetFlag(0x10);
  EXPECT_THROW(
      {
        const LargestRequest limit(kAllowed);
        target = source;
      },
      std::bad_alloc);
  EXPECT_EQ(0x10, target.GetFlag());
  EXPECT_TRUE(bytesOf(kLarge) == kx_test::valueOf(source.getTaggedDataManager(), 9));
}

// --- What a file claims ---

constexpr size_t kModest = 200000;  // bytes that any file may cost

TEST_F(StorageExhaustionTest, ALengthInARowIsComparedWithTheBytesThatAreLeft) {
  const LargestRequest watch(1u << 20);
  for (uint32_t length : {100000u, 0x01000000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    DiskFile file(path(L"row"), join({{0x50, 0x4B, 0x03, 0x04}, le32(length), zeros(50)}));
    CDBRecord record;
    EXPECT_TRUE(isReadFailure(thrownBy([&] { record.Read(file.stream()); }))) << length;
  }
  EXPECT_LT(watch.asked(), kModest);
}

TEST_F(StorageExhaustionTest, ALengthInASlotIsComparedWithTheBytesThatAreLeft) {
  const LargestRequest watch(1u << 20);
  for (uint32_t length : {100000u, 0x01000000u, 0xFFFFFFF0u}) {
    DiskFile file(path(L"slot"), join({le32(length), zeros(50)}));
    CConduitHeader header;
    EXPECT_TRUE(isReadFailure(thrownBy([&] { header.Read(file.stream(), 0xFFFFFFFF); }))) << length;
  }
  EXPECT_LT(watch.asked(), kModest);
}

TEST_F(StorageExhaustionTest, ASlotSizeIsComparedWithTheBytesThatAreLeft) {
  const LargestRequest watch(1u << 20);
  DiskFile file(path(L"slot"), slot(100, tag(5, bytesOf("abc"))));
  CConduitHeader header;
  header.Read(file.stream(), 0xFFFFFFFF);
  EXPECT_EQ(toHex(tag(5, bytesOf("abc"))), toHex(blockOf(header)));
  EXPECT_LT(watch.asked(), kModest);
}

TEST_F(StorageExhaustionTest, ATableIsComparedWithTheBytesThatAreLeft) {
  const LargestRequest watch(1u << 20);
  CHeaderManager manager(10);
  manager.RegisterHeader({1, 30}, new CConduitHeader);
  DiskFile file(path(L"headers"),
                join({zeros(10), headerTable({{1, 30}, {7, 0xFFFFFFFF}}), zeros(30), zeros(20)}));
  manager.Read(file.stream());
  manager.WriteAll(file.stream());
  EXPECT_LT(watch.asked(), kModest);
}

}  // namespace
