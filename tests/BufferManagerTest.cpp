#include <algorithm>
#include <random>

#include "StorageSupport.h"

namespace {

using kx_gen::CBufferManager;
using kx_test::asserted;
using kx_test::clearLog;
using kx_test::fieldsOf;
using kx_test::nothingLogged;

/// An empty buffer with a growth step of 512 bytes.
class BufferManagerTest : public kx_test::KxTest {
 protected:
  ~BufferManagerTest() override { std::free(data_); }

  std::string text() const {
    return data_ == nullptr ? std::string() : std::string(data_, manager_.size());
  }
  void fill(const std::string& text) {
    ASSERT_EQ(0, manager_.insert(0, text.data(), static_cast<unsigned long>(text.size())));
  }
  uint32_t capacity() const { return fieldsOf(manager_).capacity; }
  /// Gives the manager a buffer of exactly `capacity` bytes that holds `text`.
  void fillExactly(const std::string& text, size_t capacity, unsigned long block) {
    data_ = static_cast<char*>(std::malloc(capacity));
    std::memcpy(data_, text.data(), text.size());
    manager_.assignBuffer(&data_, static_cast<unsigned long>(text.size()),
                          static_cast<unsigned long>(capacity), block);
  }

  char* data_ = nullptr;
  CBufferManager manager_{&data_, 0, 0, 512};
};

// --- Fields ---

TEST_F(BufferManagerTest, HoldsSlotCapacitySizeAndBlockInThisOrder) {
  char bytes[8] = "abcdefg";
  char* slot = bytes;
  const CBufferManager manager(&slot, 5, 8, 16);
  const kx_test::BufferFields fields = fieldsOf(manager);
  EXPECT_EQ(&slot, fields.slot);
  EXPECT_EQ(8u, fields.capacity);
  EXPECT_EQ(5u, fields.size);
  EXPECT_EQ(16u, fields.block);
  EXPECT_EQ(5ul, manager.size());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, AssignBufferStoresTheFourValues) {
  char bytes[8] = "abcdefg";
  char* slot = bytes;
  CBufferManager manager(&data_, 0, 0, 512);
  manager.assignBuffer(&slot, 7, 8, 33);
  EXPECT_EQ(&slot, fieldsOf(manager).slot);
  EXPECT_EQ(8u, fieldsOf(manager).capacity);
  EXPECT_EQ(7u, fieldsOf(manager).size);
  EXPECT_EQ(33u, fieldsOf(manager).block);
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, FieldsHaveThirtyTwoBits) {
  char bytes[8] = "abcdefg";
  char* slot = bytes;
  CBufferManager manager(&data_, 0, 0, 512);
  manager.assignBuffer(&slot, static_cast<unsigned long>(0x100000003ull),
                       static_cast<unsigned long>(0x100000008ull),
                       static_cast<unsigned long>(0x100000010ull));
  EXPECT_EQ(3ul, manager.size());
  EXPECT_EQ(8u, fieldsOf(manager).capacity);
  EXPECT_EQ(16u, fieldsOf(manager).block);
}

TEST_F(BufferManagerTest, ACapacityWithoutBytesIsAsserted) {
  manager_.assignBuffer(&data_, 0, 16, 512);
  EXPECT_TRUE(asserted("BufferManager"));
  const CBufferManager constructed(&data_, 0, 16, 512);
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ(16u, fieldsOf(constructed).capacity);
}

TEST_F(BufferManagerTest, NoCapacityNeedsNoBytes) {
  manager_.assignBuffer(&data_, 0, 0, 1);
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, ABlockOfZeroIsAsserted) {
  manager_.assignBuffer(&data_, 0, 0, 0);
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ(0u, fieldsOf(manager_).block);
}

TEST_F(BufferManagerTest, ABlockOfZeroCannotGrow) {
  manager_.assignBuffer(&data_, 0, 0, 0);
  EXPECT_EQ(-1, manager_.insert(0, "abc", 3));
  manager_.resize();
  EXPECT_EQ(0ul, manager_.size());
}

TEST_F(BufferManagerTest, CopyAssignmentCopiesTheFieldsAndEditsTheSameSlot) {
  fill("hello");
  char* other = nullptr;
  CBufferManager copy(&other, 0, 0, 7);
  copy = manager_;
  EXPECT_EQ(fieldsOf(manager_).slot, fieldsOf(copy).slot);
  EXPECT_EQ(fieldsOf(manager_).capacity, fieldsOf(copy).capacity);
  EXPECT_EQ(fieldsOf(manager_).size, fieldsOf(copy).size);
  EXPECT_EQ(fieldsOf(manager_).block, fieldsOf(copy).block);
  copy.write(0, "J", 1);
  EXPECT_EQ("Jello", text());
  EXPECT_EQ(nullptr, other);
}

TEST_F(BufferManagerTest, DestroyingAManagerLeavesTheBytesToTheOwner) {
  fill("hello");
  EXPECT_EQ(data_, CBufferManager(manager_).get(0));
  EXPECT_EQ("hello", text());
}

// --- get and read ---

TEST_F(BufferManagerTest, GetPointsIntoTheOwnersBuffer) {
  fill("hello");
  EXPECT_EQ(data_, manager_.get(0));
  EXPECT_EQ(data_ + 4, manager_.get(4));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, GetFollowsTheOwnersPointer) {
  fill("hello");
  char* before = data_;
  char other[5] = {'w', 'o', 'r', 'l', 'd'};
  data_ = other;
  EXPECT_EQ(other + 1, manager_.get(1));
  data_ = before;
}

TEST_F(BufferManagerTest, GetAtOrBehindTheSizeIsNullAfterAnAssertion) {
  fill("hello");
  EXPECT_EQ(nullptr, manager_.get(5));
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ(nullptr, manager_.get(0xFFFFFFFF));
  EXPECT_TRUE(asserted("BufferManager"));
}

TEST_F(BufferManagerTest, GetWithoutABufferIsNullAfterAnAssertion) {
  EXPECT_EQ(nullptr, manager_.get(0));
  EXPECT_TRUE(asserted("BufferManager"));
}

TEST_F(BufferManagerTest, ReadCopiesFromAPosition) {
  fill("hello");
  char out[4] = {};
  manager_.read(1, out, 3);
  EXPECT_STREQ("ell", out);
  manager_.read(5, out, 0);
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, ReadOutsideTheSizeGivesZerosAfterAnAssertion) {
  fill("hello");
  for (unsigned long pos : {2ul, 5ul, 6ul, 0xFFFFFFFEul}) {
    char out[6] = "xxxxx";
    manager_.read(pos, out, 4);
    EXPECT_EQ(std::string("\0\0\0\0x", 5), std::string(out, 5)) << pos;
    EXPECT_TRUE(asserted("BufferManager")) << pos;
  }
}

TEST_F(BufferManagerTest, ReadWithoutABufferGivesZeros) {
  char out[4] = "xxx";
  manager_.read(0, out, 2);
  EXPECT_EQ(std::string("\0\0x", 3), std::string(out, 3));
  EXPECT_TRUE(asserted("BufferManager"));
}

TEST_F(BufferManagerTest, ReadIntoNullIsAsserted) {
  fill("hello");
  manager_.read(0, nullptr, 3);
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ("hello", text());
}

// --- replace and its short forms ---

TEST_F(BufferManagerTest, ReplaceMovesTheTail) {
  struct Case {
    unsigned long pos, oldLen;
    std::string with, expected;
  };
  const Case cases[] = {
      {0, 0, "XY", "XYhello"}, {5, 0, "XY", "helloXY"}, {2, 0, "XY", "heXYllo"},
      {0, 2, "X", "Xllo"},     {1, 3, "XYZ", "hXYZo"},  {1, 1, "WXYZ", "hWXYZllo"},
      {3, 2, "", "hel"},       {0, 5, "", ""},          {0, 5, "goodbye", "goodbye"},
      {5, 0, "", "hello"},
  };
  for (const Case& c : cases) {
    std::free(data_);
    data_ = nullptr;
    manager_.assignBuffer(&data_, 0, 0, 512);
    fill("hello");
    EXPECT_EQ(0, manager_.replace(c.pos, c.oldLen, c.with.data(),
                                  static_cast<unsigned long>(c.with.size())));
    EXPECT_EQ(c.expected, text());
    EXPECT_EQ(c.expected.size(), manager_.size());
  }
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, AnExactMultipleOfTheBlockGetsOneBlockToSpare) {
  const std::string bytes(512, 'a');
  fill(bytes);
  EXPECT_EQ(1024u, capacity());
  EXPECT_EQ(512ul, manager_.size());
  EXPECT_EQ(bytes, text());
}

TEST_F(BufferManagerTest, GrowthGoesInWholeBlocks) {
  fill("a");
  EXPECT_EQ(512u, capacity());
  fill(std::string(511, 'b'));
  EXPECT_EQ(512u, capacity()) << "a size equal to the capacity fits";
  fill("c");
  EXPECT_EQ(1024u, capacity());
  fill(std::string(2000, 'd'));
  EXPECT_EQ(512u * (2513 / 512 + 1), capacity());
  EXPECT_EQ(std::string(2000, 'd') + "c" + std::string(511, 'b') + "a", text());
}

TEST_F(BufferManagerTest, WithinTheCapacityTheBufferStays) {
  fill("hello");
  char* before = data_;
  fill(std::string(507, 'x'));
  EXPECT_EQ(before, data_);
}

TEST_F(BufferManagerTest, ReplaceNeverShrinksTheBuffer) {
  fill(std::string(2000, 'x'));
  char* before = data_;
  manager_.erase(0, 2000);
  EXPECT_EQ(0ul, manager_.size());
  EXPECT_EQ(2048u, capacity());
  EXPECT_EQ(before, data_);
}

TEST_F(BufferManagerTest, GrowingAnEmptyBufferFreesTheOldOne) {
  fillExactly("", 16, 8);
  fill(std::string(20, 'x'));  // the leak check watches the 16 bytes
  EXPECT_EQ(24u, capacity());
  EXPECT_EQ(std::string(20, 'x'), text());
}

TEST_F(BufferManagerTest, ReplaceOutsideTheSizeIsAssertedAndChangesNothing) {
  fill("hello");
  const struct {
    unsigned long pos, oldLen;
  } places[] = {{6, 0}, {5, 1}, {0, 6}, {2, 4}, {0xFFFFFFFF, 1}, {1, 0xFFFFFFFF}};
  for (const auto& place : places) {
    EXPECT_EQ(-1, manager_.replace(place.pos, place.oldLen, "XYZ", 3));
    EXPECT_TRUE(asserted("BufferManager")) << place.pos << "+" << place.oldLen;
    EXPECT_EQ("hello", text());
  }
}

TEST_F(BufferManagerTest, InsertBehindTheSizeIsRefused) {
  EXPECT_EQ(-1, manager_.insert(1, "x", 1));
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ(0ul, manager_.size());
}

TEST_F(BufferManagerTest, GrowthBeyondThirtyTwoBitsFailsWithNothingChanged) {
  fill("hello");
  const char* before = data_;
  EXPECT_EQ(-1, manager_.insert(0, "x", 0xFFFFFFFF));
  EXPECT_EQ(-1, manager_.insert(5, "x", 0xFFFFFFFB));
  EXPECT_EQ(-1, manager_.replace(0, 2, "x", 0xFFFFFFFD));
  EXPECT_EQ("hello", text());
  EXPECT_EQ(before, data_);
  EXPECT_EQ(512u, capacity());
}

TEST_F(BufferManagerTest, BlocksBeyondThirtyTwoBitsFail) {
  fillExactly("hello", 5, 0xFFFFFFFF);
  // The size would fit, but in two blocks of nearly 4 GiB.
  EXPECT_EQ(-1, manager_.insert(0, "x", 0xFFFFFFFA));
  EXPECT_EQ("hello", text());
  EXPECT_EQ(5u, capacity());
}

TEST_F(BufferManagerTest, ReplaceOfNothingInAnEmptyBufferAssertsTheMissingBuffer) {
  EXPECT_EQ(0, manager_.replace(0, 0, nullptr, 0));
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ(0ul, manager_.size());
}

TEST_F(BufferManagerTest, BytesFromNullAreRefused) {
  fill("hello");
  EXPECT_EQ(-1, manager_.replace(0, 2, nullptr, 3));
  EXPECT_EQ("hello", text());
}

TEST_F(BufferManagerTest, EraseClosesTheGap) {
  fill("hello");
  manager_.erase(1, 2);
  EXPECT_EQ("hlo", text());
  manager_.erase(2, 1);
  EXPECT_EQ("hl", text());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, EraseOfZeroOrLessDoesNothing) {
  manager_.erase(0, 0);
  fill("hello");
  manager_.erase(2, 0);
  manager_.erase(2, -1);
  manager_.erase(2, -0x7FFFFFFFl - 1);
  EXPECT_EQ("hello", text());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, EraseOutsideTheSizeIsAssertedAndChangesNothing) {
  fill("hello");
  manager_.erase(3, 3);
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ("hello", text());
}

TEST_F(BufferManagerTest, WriteOverwritesInPlace) {
  fill("hello");
  const char* before = data_;
  manager_.write(3, "p!", 2);
  EXPECT_EQ("help!", text());
  EXPECT_EQ(before, data_);
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, WriteNeverExtendsTheBuffer) {
  fill("hello");
  manager_.write(3, "XYZ", 3);
  EXPECT_TRUE(asserted("BufferManager"));
  EXPECT_EQ("hello", text());
}

TEST_F(BufferManagerTest, ASourceInsideTheBufferIsCopiedFirst) {
  const std::string start = "0123456789";
  for (size_t capacity : {size_t{10}, size_t{64}}) {  // with and without a new buffer
    for (size_t from = 0; from < 10; ++from) {
      for (size_t pos = 0; pos <= 10; ++pos) {
        std::free(data_);
        fillExactly(start, capacity, 16);
        const size_t count = std::min<size_t>(4, 10 - from);
        const size_t oldLen = std::min<size_t>(2, 10 - pos);
        std::string expected = start;
        expected.replace(pos, oldLen, start.substr(from, count));
        ASSERT_EQ(
            0, manager_.replace(static_cast<unsigned long>(pos), static_cast<unsigned long>(oldLen),
                                data_ + from, static_cast<unsigned long>(count)));
        ASSERT_EQ(expected, text()) << "from " << from << " to " << pos;
      }
    }
  }
}

TEST_F(BufferManagerTest, BehavesAsAStringUnderRandomEdits) {
  std::mt19937 random(20240611);
  std::string model;
  manager_.assignBuffer(&data_, 0, 0, 7);
  for (int step = 0; step < 5000; ++step) {
    const size_t pos = random() % (model.size() + 1);
    const size_t oldLen = random() % (model.size() - pos + 1);
    const std::string with(random() % 12, static_cast<char>('a' + random() % 26));
    model.replace(pos, oldLen, with);
    ASSERT_EQ(0,
              manager_.replace(static_cast<unsigned long>(pos), static_cast<unsigned long>(oldLen),
                               with.data(), static_cast<unsigned long>(with.size())));
    if (random() % 16 == 0) manager_.resize();
    ASSERT_EQ(model, text());
    if (model.size() > 300) {
      model.clear();
      manager_.erase(0, static_cast<long>(manager_.size()));
    }
  }
}

// --- resize, deleteBuff, reserve ---

TEST_F(BufferManagerTest, ResizeOfAnEmptyBufferAllocatesOneBlock) {
  manager_.resize();
  EXPECT_EQ(512u, capacity());
  ASSERT_NE(nullptr, data_);
  std::memset(data_, 0x55, 512);  // all of it is there
  EXPECT_EQ(0ul, manager_.size());
}

TEST_F(BufferManagerTest, ResizeGrowsAndShrinks) {
  fillExactly(std::string(512, 'x'), 512, 512);
  manager_.resize();
  EXPECT_EQ(1024u, capacity());
  std::memset(data_ + 512, 'y', 512);
  EXPECT_EQ(std::string(512, 'x'), text());
  manager_.erase(3, 509);
  manager_.resize();
  EXPECT_EQ(512u, capacity());
  EXPECT_EQ("xxx", text());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(BufferManagerTest, ResizeOfAFittingBufferKeepsIt) {
  fill("hello");
  const char* before = data_;
  manager_.resize();
  EXPECT_EQ(before, data_);
  EXPECT_EQ(512u, capacity());
  EXPECT_EQ("hello", text());
}

TEST_F(BufferManagerTest, ABufferThatResizeCouldNotFitIsSafeToUse) {
  fillExactly("hello", 5, 0xFFFFFFF0);
  manager_.resize();  // whether nearly 4 GiB can be had depends on the system
  EXPECT_EQ("hello", text());
  if (manager_.insert(5, " world", 6) == 0) {
    EXPECT_EQ("hello world", text());
  } else {
    EXPECT_EQ("hello", text());
  }
}

TEST_F(BufferManagerTest, DeleteBuffFreesTheBufferAndKeepsTheNumbers) {
  fill("hello");
  manager_.deleteBuff();
  EXPECT_EQ(nullptr, data_);
  EXPECT_EQ(5ul, manager_.size());
  EXPECT_EQ(512u, capacity());
  manager_.deleteBuff();
  EXPECT_EQ(nullptr, data_);
}

TEST_F(BufferManagerTest, ADeletedBufferIsNeverTouched) {
  fill("hello");
  manager_.deleteBuff();
  clearLog();
  EXPECT_EQ(nullptr, manager_.get(0));
  EXPECT_TRUE(asserted("BufferManager"));
  char out[3] = "xx";
  manager_.read(0, out, 2);
  EXPECT_EQ(std::string(2, '\0'), std::string(out, 2));
  EXPECT_EQ(-1, manager_.insert(0, "x", 1));
  EXPECT_TRUE(asserted("BufferManager"));
  manager_.write(0, "x", 1);
  manager_.erase(0, 1);
  manager_.resize();
}

TEST_F(BufferManagerTest, ReserveMakesRoomWithoutChangingTheSize) {
  fill("hello");
  EXPECT_EQ(0, manager_.reserve(600));
  EXPECT_EQ(5ul, manager_.size());
  EXPECT_EQ("hello", text());
  const char* before = data_;
  fill(std::string(600, 'x'));
  EXPECT_EQ(before, data_);
}

TEST_F(BufferManagerTest, ReserveBeyondThirtyTwoBitsFailsWithNothingChanged) {
  fill("hello");
  EXPECT_EQ(-1, manager_.reserve(0xFFFFFFFF));
  EXPECT_EQ("hello", text());
  EXPECT_EQ(512u, capacity());
}

}  // namespace
