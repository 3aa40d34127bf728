// Files in memory: their block and how it grows, transfers, positions, lengths, direct access.
#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "File.h"
#include "KxLayout.h"

namespace {

using kx_gen::CException;
using kx_gen::CFile;
using kx_gen::CFileException;
using kx_gen::MemFile;
using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSource[] = ".\\File";
constexpr unsigned long kFailed = 0xFFFFFFFF;
constexpr unsigned int kBegin = 0;
constexpr unsigned int kCurrent = 1;
constexpr unsigned int kEnd = 2;

std::string asserted(int line) { return assertionLine(kSource, line); }
std::string threw(int line) { return kx_test::throwLine(kSource, line); }

bool isOutOfMemory(const Thrown& thrown) { return thrown.is(Thrown::kException, 11, 10); }

/// Shows its fields, notes what it asks the heap for, and can be refused.
class WatchedFile : public MemFile {
 public:
  explicit WatchedFile(unsigned int growBytes) : MemFile(growBytes) {}
  WatchedFile(unsigned char* buffer, unsigned int size, unsigned int growBytes)
      : MemFile(buffer, size, growBytes) {}
  ~WatchedFile() override {
    if (buffer_ != nullptr) Close();
  }

  unsigned char* Alloc(unsigned long size) override {
    allocated.push_back(size);
    return refuses ? nullptr : MemFile::Alloc(size);
  }
  unsigned char* Realloc(unsigned char* block, unsigned long size) override {
    reallocated.push_back(size);
    return refuses ? nullptr : MemFile::Realloc(block, size);
  }
  void Free(unsigned char* block) override {
    ++freed;
    MemFile::Free(block);
  }

  using MemFile::autoDelete_;
  using MemFile::buffer_;
  using MemFile::capacity_;
  using MemFile::growBytes_;
  using MemFile::length_;
  using MemFile::position_;

  /// Whether position, capacity and length are these.
  bool isAt(uint32_t position, uint32_t capacity, uint32_t length) const {
    return position_ == position && capacity_ == capacity && length_ == length;
  }

  std::vector<unsigned long> allocated;
  std::vector<unsigned long> reallocated;
  int freed = 0;
  bool refuses = false;
};

unsigned int write(CFile& file, const std::string& text) {
  return file.Write(text.data(), static_cast<unsigned int>(text.size()));
}

/// What a read of up to `count` bytes gives.
std::string readText(CFile& file, unsigned int count) {
  std::string text(count, '?');
  text.resize(file.Read(text.data(), count));
  return text;
}

std::string contentOf(const WatchedFile& file) {
  return {file.buffer_, file.buffer_ + file.length_};
}

/// Moves as far as positions go: to 0xFFFFFFFE.
void seekToTheLastPosition(MemFile& file) {
  file.Seek(0x7FFFFFFF, kBegin);
  EXPECT_EQ(file.Seek(0x7FFFFFFF, kCurrent), 0xFFFFFFFEul);
}

class MemFileTest : public kx_test::KxTest {};

// --- The class ---

static_assert(std::is_base_of_v<CFile, MemFile> && std::has_virtual_destructor_v<MemFile>);
static_assert(!std::is_copy_constructible_v<MemFile> && !std::is_copy_assignable_v<MemFile>);
static_assert(!std::is_convertible_v<unsigned int, MemFile>);

TEST_F(MemFileTest, TheVirtualTableFollowsThatOfDiskFiles) {
  using kx_test::virtualSlot;
  EXPECT_EQ(virtualSlot(&MemFile::Open), 2);
  EXPECT_EQ(virtualSlot(&MemFile::Close), 3);
  EXPECT_EQ(virtualSlot(&MemFile::SetFilePath), 4);
  EXPECT_EQ(virtualSlot(&MemFile::Write), 5);
  EXPECT_EQ(virtualSlot(&MemFile::Read), 6);
  EXPECT_EQ(virtualSlot(&MemFile::Seek), 7);
  EXPECT_EQ(virtualSlot(&MemFile::GetPosition), 8);
  EXPECT_EQ(virtualSlot(&MemFile::Flush), 9);
  EXPECT_EQ(virtualSlot(&MemFile::IsOpen), 10);
  EXPECT_EQ(virtualSlot(&MemFile::SetLength), 11);
  EXPECT_EQ(virtualSlot(&MemFile::GetLength), 12);
  EXPECT_EQ(virtualSlot(&MemFile::Alloc), 13);
  EXPECT_EQ(virtualSlot(&MemFile::Realloc), 14);
  EXPECT_EQ(virtualSlot(&MemFile::Free), 15);
  EXPECT_EQ(virtualSlot(&MemFile::GrowFile), 16);
  EXPECT_EQ(virtualSlot(&MemFile::AssertValid), 17);
  EXPECT_EQ(virtualSlot(&MemFile::Abort), 18);
  EXPECT_EQ(virtualSlot(&MemFile::GetBufferPtr), 19);
  EXPECT_EQ(virtualSlot(&MemFile::Detach), -1);
}

TEST_F(MemFileTest, ItsFieldsFollowThoseOfTheDiskFileInOrder) {
  WatchedFile file(16);
  const auto offset = [&](const void* field) {
    return static_cast<const char*>(field) -
           reinterpret_cast<const char*>(static_cast<CFile*>(&file));
  };
  EXPECT_GE(offset(&file.growBytes_), static_cast<std::ptrdiff_t>(sizeof(CFile)));
  EXPECT_EQ(offset(&file.position_) - offset(&file.growBytes_), 4);
  EXPECT_EQ(offset(&file.capacity_) - offset(&file.position_), 4);
  EXPECT_EQ(offset(&file.length_) - offset(&file.capacity_), 4);
  EXPECT_GE(offset(&file.buffer_) - offset(&file.length_), 4);
  EXPECT_EQ(offset(&file.autoDelete_) - offset(&file.buffer_),
            static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST_F(MemFileTest, ANewFileIsEmptyAndHasNoBlock) {
  const WatchedFile file(1024);
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(file.growBytes_, 1024u);
  EXPECT_EQ(file.buffer_, nullptr);
  EXPECT_TRUE(file.autoDelete_);
  EXPECT_EQ(file.GetPosition(), 0ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, ItReportsClosedAndWorksAllTheSame) {
  MemFile file(16);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetFileHandle(), 0xFFFFFFFFu);
  EXPECT_EQ(write(file, "abc"), 3u);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_THAT(logLines(), IsEmpty());

  EXPECT_EQ(file.GetLength(), 3ul);
  EXPECT_THAT(logLines(), ElementsAre(asserted(465))) << "the disk file's check of being open";
  clearLog();
  file.SeekToBegin();
  EXPECT_THAT(logLines(), ElementsAre(asserted(458)));
  EXPECT_EQ(readText(file, 3), "abc");
  clearLog();
  EXPECT_EQ(file.SeekToEnd(), 3ul);
  EXPECT_TRUE(file.IsEOF());
  EXPECT_THAT(logLines(), ElementsAre(asserted(465), asserted(548), asserted(465)));
}

TEST_F(MemFileTest, LengthAndEndLeaveThePositionAlone) {
  MemFile file(16);
  write(file, "12345678");
  for (const long position : {0L, 3L, 8L, 100L}) {
    file.Seek(position, kBegin);
    EXPECT_EQ(file.GetLength(), 8ul);
    EXPECT_EQ(file.IsEOF(), position == 8);
    EXPECT_EQ(file.GetPosition(), static_cast<unsigned long>(position));
  }
}

TEST_F(MemFileTest, ItCanHaveAName) {
  MemFile file(16);
  file.SetFilePath(L"memory");
  EXPECT_EQ(file.GetFilePath(), L"memory");
  kx_gen::CFileStatus status;
  EXPECT_TRUE(file.GetStatus(status));
  EXPECT_EQ(std::wstring(status.fullName), L"memory");
  EXPECT_EQ(status.size, 0u);
}

// --- Growing ---

TEST_F(MemFileTest, TheBlockGrowsInWholeSteps) {
  WatchedFile file(1024);
  write(file, "x");
  EXPECT_EQ(file.capacity_, 1024u);
  write(file, std::string(1023, 'y'));
  EXPECT_EQ(file.capacity_, 1024u);
  write(file, "z");
  EXPECT_TRUE(file.isAt(1025, 2048, 1025));
  EXPECT_THAT(file.allocated, ElementsAre(1024ul));
  EXPECT_THAT(file.reallocated, ElementsAre(2048ul));
  EXPECT_EQ(contentOf(file), "x" + std::string(1023, 'y') + "z");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, ManyStepsAreOneAllocation) {
  WatchedFile file(7);
  file.SetLength(5000000);
  EXPECT_THAT(file.allocated, ElementsAre(5000002ul));
  file.SetLength(10000000);
  EXPECT_THAT(file.reallocated, ElementsAre(10000004ul));
  EXPECT_EQ(file.capacity_ % 7, 0u);
}

TEST_F(MemFileTest, StepsCountFromTheCapacityAsItIs) {
  auto* block = static_cast<unsigned char*>(std::malloc(10));
  WatchedFile file(block, 10, 16);
  file.SetLength(11);
  EXPECT_EQ(file.capacity_, 26u);
  file.SetLength(43);
  EXPECT_EQ(file.capacity_, 58u);
  std::free(file.Detach());
}

TEST_F(MemFileTest, WhatFitsDoesNotGrowTheBlock) {
  WatchedFile file(16);
  file.GrowFile(0);
  EXPECT_EQ(file.buffer_, nullptr);
  file.GrowFile(16);
  file.GrowFile(16);
  file.GrowFile(1);
  EXPECT_TRUE(file.isAt(0, 16, 0)) << "room is not content";
  EXPECT_THAT(file.allocated, ElementsAre(16ul));
  EXPECT_THAT(file.reallocated, IsEmpty());
}

TEST_F(MemFileTest, NewBytesOfTheBlockAreZero) {
  WatchedFile file(64);
  file.GrowFile(1);
  EXPECT_EQ(bytesOf(file.buffer_, 64), Bytes(64, 0));
  std::memset(file.buffer_, 0xEE, 64);
  file.GrowFile(65);
  EXPECT_EQ(bytesOf(file.buffer_, 64), Bytes(64, 0xEE));
  EXPECT_EQ(bytesOf(file.buffer_ + 64, 64), Bytes(64, 0));
}

TEST_F(MemFileTest, AGapHoldsWhatTheBlockHeld) {
  WatchedFile file(16);
  write(file, "abcdefgh");
  file.SetLength(2);
  file.Seek(6, kBegin);
  write(file, "X");
  EXPECT_EQ(contentOf(file), "abcdefX");
  file.Seek(20, kBegin);
  write(file, "Y");
  EXPECT_EQ(contentOf(file), "abcdefXh" + std::string(12, '\0') + "Y");
}

TEST_F(MemFileTest, AFileThatMayNotGrowIsOutOfMemory) {
  WatchedFile file(0);
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "x"); }));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1321), threw(1324)));
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_THAT(file.allocated, IsEmpty());
}

TEST_F(MemFileTest, WithoutMemoryTheOldBlockStays) {
  WatchedFile file(16);
  file.refuses = true;
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "x"); }));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
  EXPECT_TRUE(file.isAt(0, 0, 0));

  file.refuses = false;
  write(file, "0123456789abcdef");
  unsigned char* const block = file.buffer_;
  file.refuses = true;
  clearLog();
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "x"); }));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
  EXPECT_EQ(file.buffer_, block);
  EXPECT_TRUE(file.isAt(16, 16, 16));
  EXPECT_EQ(contentOf(file), "0123456789abcdef");
}

TEST_F(MemFileTest, ACapacityBeyondThirtyTwoBitsIsOutOfMemory) {
  WatchedFile file(0x60000000);
  file.refuses = true;
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { file.GrowFile(0xC0000000); }));
  EXPECT_THAT(file.allocated, ElementsAre(0xC0000000ul)) << "two steps are enough";
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { file.GrowFile(0xC0000001); }));
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { file.GrowFile(~0ul); }));
  EXPECT_EQ(file.allocated.size(), 1u) << "three steps are too many to ask for";
  EXPECT_THAT(logLines(), ElementsAre(threw(1340), threw(1340), threw(1340)));
}

TEST_F(MemFileTest, TheLargestCapacityIsAskedFor) {
  WatchedFile file(0xFFFFFFFF);
  file.refuses = true;
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { file.GrowFile(1); }));
  WatchedFile bytewise(1);
  bytewise.refuses = true;
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { bytewise.GrowFile(0xFFFFFFFF); }));
  EXPECT_THAT(file.allocated, ElementsAre(0xFFFFFFFFul));
  EXPECT_THAT(bytewise.allocated, ElementsAre(0xFFFFFFFFul));
}

// --- A block of the caller's ---

TEST_F(MemFileTest, AFixedBlockIsFullOfContent) {
  unsigned char block[] = {'a', 'b', 'c', 'd'};
  WatchedFile file(block, sizeof(block), 0);
  EXPECT_TRUE(file.isAt(0, 4, 4));
  EXPECT_EQ(file.buffer_, block);
  EXPECT_FALSE(file.autoDelete_);
  EXPECT_EQ(readText(file, 10), "abcd");
  file.Seek(1, kBegin);
  EXPECT_EQ(write(file, "XYZ"), 3u);
  EXPECT_EQ(bytesOf(block, 4), kx_test::bytesOf("aXYZ"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, AWritePastTheEndOfAFixedBlockIsOutOfMemory) {
  unsigned char block[] = {'a', 'b', 'c', 'd'};
  WatchedFile file(block, sizeof(block), 0);
  file.Seek(2, kBegin);
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "xyz"); }));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1321), threw(1324)));
  EXPECT_TRUE(file.isAt(2, 4, 4));
  EXPECT_EQ(bytesOf(block, 4), kx_test::bytesOf("abcd"));
}

TEST_F(MemFileTest, AGrowableBlockIsEmptyAndGrowsThroughTheVirtualRealloc) {
  auto* block = static_cast<unsigned char*>(std::malloc(4));
  std::memcpy(block, "abcd", 4);
  WatchedFile file(block, 4, 8);
  EXPECT_TRUE(file.isAt(0, 4, 0));
  EXPECT_EQ(readText(file, 4), "");
  write(file, "12345");
  EXPECT_THAT(file.reallocated, ElementsAre(12ul));
  EXPECT_THAT(file.allocated, IsEmpty());
  EXPECT_EQ(contentOf(file), "12345");
  EXPECT_FALSE(file.autoDelete_) << "still the caller's";
  unsigned char* const grown = file.Detach();
  EXPECT_EQ(bytesOf(grown, 5), kx_test::bytesOf("12345"));
  std::free(grown);
  EXPECT_EQ(file.freed, 0);
}

TEST_F(MemFileTest, AttachMakesTheFileOneOverThatBlock) {
  unsigned char block[] = {'a', 'b', 'c'};
  WatchedFile file(64);
  file.Attach(block, sizeof(block), 0);
  EXPECT_TRUE(file.isAt(0, 3, 3));
  EXPECT_EQ(file.growBytes_, 0u);
  EXPECT_FALSE(file.autoDelete_);
  EXPECT_EQ(file.Detach(), block);
  file.Seek(2, kBegin);
  file.Attach(block, 2, 0);
  EXPECT_TRUE(file.isAt(0, 2, 2));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, AttachingASecondBlockIsAssertedAndReplacesTheFirst) {
  unsigned char block[] = {'a', 'b', 'c'};
  WatchedFile file(16);
  write(file, "own");
  file.Attach(block, sizeof(block), 0);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1253)));
  EXPECT_EQ(file.freed, 1) << "the file's own block";
  EXPECT_EQ(contentOf(file), "abc");
  unsigned char other[] = {'d'};
  file.Attach(other, sizeof(other), 0);
  EXPECT_EQ(file.freed, 1) << "not the caller's";
  EXPECT_EQ(contentOf(file), "d");
}

TEST_F(MemFileTest, WithoutABlockAttachGivesAnEmptyFile) {
  WatchedFile file(16);
  file.Attach(nullptr, 100, 0);
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(readText(file, 10), "");
  file.Attach(nullptr, 100, 8);
  write(file, "abc");
  EXPECT_EQ(file.capacity_, 8u);
  EXPECT_TRUE(file.autoDelete_) << "the block is the file's own";
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, DetachGivesTheBlockAndEmptiesTheFile) {
  WatchedFile file(16);
  write(file, "abc");
  unsigned char* const block = file.Detach();
  EXPECT_EQ(bytesOf(block, 3), kx_test::bytesOf("abc"));
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(file.buffer_, nullptr);
  EXPECT_EQ(file.Detach(), nullptr);
  write(file, "again");
  EXPECT_EQ(contentOf(file), "again") << "the growth step stays";
  EXPECT_EQ(bytesOf(block, 3), kx_test::bytesOf("abc"));
  std::free(block);
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- The heap ---

TEST_F(MemFileTest, BlocksComeFromTheRuntimesHeap) {
  MemFile file(16);
  unsigned char* block = file.Alloc(10);
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "0123456789", 10);
  block = file.Realloc(block, 1000);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(bytesOf(block, 10), kx_test::bytesOf("0123456789"));
  file.Free(block);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, FreeingNothingIsAsserted) {
  MemFile file(16);
  file.Free(nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1300)));
}

// --- Reading ---

TEST_F(MemFileTest, AShortReadIsNoError) {
  MemFile file(16);
  write(file, "12345678");
  file.Seek(5, kBegin);
  EXPECT_EQ(readText(file, 10), "678");
  EXPECT_EQ(file.GetPosition(), 8ul);
  EXPECT_EQ(readText(file, 10), "");
  EXPECT_EQ(file.GetPosition(), 8ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, ReadingBeyondTheLengthGivesNothing) {
  MemFile file(16);
  write(file, "12345678");
  file.Seek(9, kBegin);
  EXPECT_EQ(readText(file, 10), "");
  EXPECT_EQ(file.GetPosition(), 9ul);
  MemFile empty(16);
  EXPECT_EQ(readText(empty, 10), "");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, OnlyTheBytesThatThereAreAreStored) {
  MemFile file(16);
  write(file, "123");
  file.Seek(0, kBegin);
  std::string room = "......";
  EXPECT_EQ(file.Read(room.data(), 5), 3u);
  EXPECT_EQ(room, "123...");
}

TEST_F(MemFileTest, ReadingIntoNothingIsAssertedAndGivesNothing) {
  MemFile file(16);
  write(file, "123");
  file.Seek(1, kBegin);
  EXPECT_EQ(file.Read(nullptr, 2), 0u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1370), asserted(1371)));
  EXPECT_EQ(file.GetPosition(), 1ul);
  clearLog();
  EXPECT_EQ(file.Read(nullptr, 0), 0u);
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Writing ---

TEST_F(MemFileTest, WritingAdvancesThePositionAndTheLengthAsFarAsItGoes) {
  WatchedFile file(16);
  EXPECT_EQ(write(file, "12345678"), 8u);
  EXPECT_TRUE(file.isAt(8, 16, 8));
  file.Seek(2, kBegin);
  EXPECT_EQ(write(file, "abc"), 3u);
  EXPECT_TRUE(file.isAt(5, 16, 8));
  EXPECT_EQ(write(file, "DEFG"), 4u);
  EXPECT_TRUE(file.isAt(9, 16, 9));
  EXPECT_EQ(contentOf(file), "12abcDEFG");
}

TEST_F(MemFileTest, WritingNothingDoesNothing) {
  WatchedFile file(16);
  file.Seek(100, kBegin);
  EXPECT_EQ(file.Write(nullptr, 0), 0u);
  EXPECT_TRUE(file.isAt(100, 0, 0));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, WritingFromNothingIsAssertedAndDoesNothing) {
  WatchedFile file(16);
  EXPECT_EQ(file.Write(nullptr, 5), 0u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1397), asserted(1398)));
  EXPECT_TRUE(file.isAt(0, 0, 0));
}

TEST_F(MemFileTest, TheFilesOwnBytesCanBeWrittenBehindThemselves) {
  WatchedFile file(8);
  write(file, "12345678");
  for (int i = 0; i < 10; ++i) {
    void* start = nullptr;
    void* end = nullptr;
    file.Seek(0, kBegin);
    const unsigned int size = file.GetBufferPtr(MemFile::bufferRead, 0xFFFFFFFF, &start, &end);
    file.Write(start, size);
  }
  std::string expected;
  while (expected.size() < 8192) expected += "12345678";
  EXPECT_EQ(contentOf(file), expected);
}

TEST_F(MemFileTest, AWriteBeyondThirtyTwoBitsIsOutOfMemory) {
  WatchedFile file(16);
  write(file, "abc");
  seekToTheLastPosition(file);
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "xyz"); }));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
  EXPECT_TRUE(file.isAt(0xFFFFFFFE, 16, 3));
  EXPECT_THAT(file.reallocated, IsEmpty());
}

TEST_F(MemFileTest, AWriteBeyondThirtyTwoBitsOfAFixedBlockSaysThatItMayNotGrow) {
  unsigned char block[] = {'a'};
  MemFile file(block, sizeof(block), 0);
  seekToTheLastPosition(file);
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "xyz"); }));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1321), threw(1324)));
}

// --- Positions ---

TEST_F(MemFileTest, SeekCountsFromBeginPositionAndLength) {
  WatchedFile file(64);
  write(file, "12345678");
  EXPECT_EQ(file.Seek(2, kBegin), 2ul);
  EXPECT_EQ(file.Seek(3, kCurrent), 5ul);
  EXPECT_EQ(file.Seek(-5, kCurrent), 0ul);
  EXPECT_EQ(file.Seek(0, kEnd), 8ul) << "the length, not the capacity";
  EXPECT_EQ(file.Seek(-8, kEnd), 0ul);
  EXPECT_EQ(file.Seek(4, kEnd), 12ul);
  EXPECT_EQ(file.GetPosition(), 12ul);
  EXPECT_TRUE(file.isAt(12, 64, 8)) << "seeking does not grow the file";
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, APositionBeyondTheLengthIsLegal) {
  MemFile file(16);
  write(file, "12345678");
  EXPECT_EQ(file.Seek(100, kBegin), 100ul);
  EXPECT_EQ(file.GetPosition(), 100ul);
}

TEST_F(MemFileTest, ANegativePositionThrowsBadSeekAndKeepsThePosition) {
  MemFile file(16);
  write(file, "12345678");
  struct Case {
    long offset;
    unsigned int from;
  };
  constexpr long kMin = std::numeric_limits<long>::min();
  for (const Case& c : {Case{-1, kBegin}, Case{-9, kCurrent}, Case{-9, kEnd}, Case{kMin, kBegin},
                        Case{kMin, kCurrent}, Case{kMin, kEnd}}) {
    clearLog();
    const Thrown thrown = thrownBy([&] { file.Seek(c.offset, c.from); });
    EXPECT_EQ(thrown.kind, Thrown::kFileException) << thrown;
    EXPECT_EQ(thrown.cause, CFileException::badSeek);
    EXPECT_EQ(thrown.cause, 9);
    EXPECT_EQ(thrown.osError, 0);
    EXPECT_EQ(thrown.fileName, L"");
    EXPECT_EQ(file.GetPosition(), 8ul);
    EXPECT_EQ(logLines().size(), 1u);
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - .\\File, LINE - "), 1);
  }
}

TEST_F(MemFileTest, PositionsEndWhereFailureBegins) {
  MemFile file(16);
  write(file, "1");
  seekToTheLastPosition(file);
  constexpr long kMax = std::numeric_limits<long>::max();
  for (const long offset : {1L, 2L, kMax}) {
    const Thrown thrown = thrownBy([&] { file.Seek(offset, kCurrent); });
    EXPECT_EQ(thrown.cause, CFileException::badSeek) << offset;
  }
  EXPECT_EQ(file.GetPosition(), 0xFFFFFFFEul);
  constexpr bool kHasMore = sizeof(long) > 4;
  EXPECT_EQ(thrownBy([&] { file.Seek(kMax, kEnd); }).kind,
            kHasMore ? Thrown::kFileException : Thrown::kNothing);
}

TEST_F(MemFileTest, AnUnknownOriginIsAssertedAndFails) {
  MemFile file(16);
  write(file, "12345678");
  for (const unsigned int from : {3u, 4u, 0xFFFFFFFFu}) {
    clearLog();
    EXPECT_EQ(file.Seek(1, from), kFailed);
    EXPECT_THAT(logLines(), ElementsAre(asserted(1420)));
    EXPECT_EQ(file.GetPosition(), 8ul);
  }
}

TEST_F(MemFileTest, FlushDoesNothing) {
  WatchedFile file(16);
  file.Flush();
  write(file, "abc");
  file.Flush();
  EXPECT_TRUE(file.isAt(3, 16, 3));
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Lengths ---

TEST_F(MemFileTest, TheLengthGrowsTheBlockWhereItMust) {
  WatchedFile file(16);
  file.SetLength(0);
  EXPECT_EQ(file.buffer_, nullptr);
  file.SetLength(10);
  EXPECT_TRUE(file.isAt(0, 16, 10));
  file.SetLength(17);
  EXPECT_TRUE(file.isAt(0, 32, 17));
  EXPECT_EQ(contentOf(file), std::string(17, '\0'));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, AShorterLengthPullsThePositionBack) {
  WatchedFile file(16);
  write(file, "12345678");
  file.SetLength(5);
  EXPECT_TRUE(file.isAt(5, 16, 5));
  file.Seek(3, kBegin);
  file.SetLength(4);
  EXPECT_TRUE(file.isAt(3, 16, 4));
  file.Seek(100, kBegin);
  file.SetLength(10);
  EXPECT_TRUE(file.isAt(10, 16, 10));
}

TEST_F(MemFileTest, ALengthThatCannotBeLeavesTheFileAsItWas) {
  unsigned char block[] = {'a', 'b', 'c', 'd'};
  WatchedFile fixed(block, sizeof(block), 0);
  fixed.SetLength(2);
  fixed.SetLength(4);
  EXPECT_EQ(contentOf(fixed), "abcd");
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { fixed.SetLength(5); }));
  EXPECT_TRUE(fixed.isAt(0, 4, 4));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1321), threw(1324)));

  clearLog();
  WatchedFile growing(16);
  growing.refuses = true;
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { growing.SetLength(~0ul); }));
  EXPECT_TRUE(growing.isAt(0, 0, 0));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
}

// --- Closing ---

TEST_F(MemFileTest, CloseFreesTheFilesOwnBlock) {
  WatchedFile file(16);
  write(file, "abc");
  file.Close();
  EXPECT_EQ(file.freed, 1);
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(file.buffer_, nullptr);
  file.Close();
  EXPECT_EQ(file.freed, 1);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, CloseLeavesTheCallersBlock) {
  unsigned char block[] = {'a', 'b', 'c'};
  WatchedFile file(block, sizeof(block), 0);
  file.Close();
  EXPECT_EQ(file.freed, 0);
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(file.buffer_, nullptr);
  EXPECT_EQ(bytesOf(block, 3), kx_test::bytesOf("abc"));
}

TEST_F(MemFileTest, AClosedFileCannotGrow) {
  WatchedFile file(16);
  write(file, "abc");
  file.Close();
  EXPECT_EQ(file.growBytes_, 0u);
  EXPECT_EQ(readText(file, 3), "");
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "x"); }));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1321), threw(1324)));
}

TEST_F(MemFileTest, AClosedFileTakesAnotherBlock) {
  WatchedFile file(16);
  write(file, "abc");
  file.Close();
  file.Attach(nullptr, 0, 32);
  write(file, "de");
  EXPECT_TRUE(file.isAt(2, 32, 2));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemFileTest, CloseAssertsThatTheFieldsFitEachOther) {
  WatchedFile file(16);
  file.capacity_ = 5;
  file.Close();
  EXPECT_THAT(logLines(), ElementsAre(asserted(1453)));
  clearLog();
  file.length_ = 1;
  file.Close();
  EXPECT_THAT(logLines(), ElementsAre(asserted(1454)));
  EXPECT_TRUE(file.isAt(0, 0, 0));
}

TEST_F(MemFileTest, AssertValidLogsAndChangesNothing) {
  WatchedFile file(16);
  write(file, "abc");
  file.AssertValid();
  EXPECT_THAT(logLines(), IsEmpty());
  file.length_ = 17;
  file.AssertValid();
  EXPECT_EQ(logLines().size(), 1u);
  EXPECT_EQ(kx_test::logCount("Assertion Failed! File .\\File Line "), 1);
  EXPECT_TRUE(file.isAt(3, 16, 17));
  file.length_ = 3;
}

/// Its block cannot be freed without throwing.
template <class Throw>
class ThrowingFile : public MemFile {
 public:
  explicit ThrowingFile(Throw how) : MemFile(16), how_(how) {}
  ~ThrowingFile() override = default;
  void Free(unsigned char* block) override {
    MemFile::Free(block);
    how_();
  }

 private:
  Throw how_;
};

template <class Throw>
void expectAborted(Throw how) {
  ThrowingFile<Throw> file(how);
  write(file, "abc");
  EXPECT_NO_THROW(file.Abort());
  EXPECT_EQ(readText(file, 3), "");
  EXPECT_EQ(file.GetPosition(), 0ul);
  EXPECT_NO_THROW(file.Abort());
}

TEST_F(MemFileTest, AbortClosesAndNeverThrows) {
  WatchedFile file(16);
  write(file, "abc");
  file.Abort();
  EXPECT_EQ(file.freed, 1);
  EXPECT_EQ(file.growBytes_, 0u);
  EXPECT_TRUE(file.isAt(0, 0, 0));
  expectAborted([] { throw new CException(11ul, 10); });
  expectAborted([] { throw static_cast<CException*>(nullptr); });
  expectAborted([] { throw std::bad_alloc(); });
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Direct access ---

struct Range {
  void* start = nullptr;
  void* end = nullptr;
};

class BufferAccessTest : public MemFileTest {
 protected:
  void SetUp() override {
    MemFileTest::SetUp();
    write(file_, "12345678");
    file_.Seek(2, kBegin);
  }

  unsigned int access(unsigned int command, unsigned int count) {
    return file_.GetBufferPtr(command, count, &range_.start, &range_.end);
  }
  bool rangeIs(size_t from, size_t to) const {
    return range_.start == file_.buffer_ + from && range_.end == file_.buffer_ + to;
  }

  WatchedFile file_{16};
  Range range_;
};

TEST_F(BufferAccessTest, TheCommandsHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(MemFile::bufferRead), 0);
  EXPECT_EQ(static_cast<int>(MemFile::bufferWrite), 1);
  EXPECT_EQ(static_cast<int>(MemFile::bufferCommit), 2);
  EXPECT_EQ(static_cast<int>(MemFile::bufferCheck), 3);
}

TEST_F(BufferAccessTest, DirectAccessIsSupported) {
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferCheck, 0, nullptr, nullptr), 1u);
  EXPECT_EQ(access(MemFile::bufferCheck, 5), 1u);
  EXPECT_EQ(range_.start, nullptr);
  EXPECT_TRUE(file_.isAt(2, 16, 8));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(BufferAccessTest, ReadGivesTheContentAndMovesBehindIt) {
  EXPECT_EQ(access(MemFile::bufferRead, 3), 3u);
  EXPECT_TRUE(rangeIs(2, 5));
  EXPECT_TRUE(file_.isAt(5, 16, 8));
  EXPECT_EQ(access(MemFile::bufferRead, 100), 3u) << "no further than the length";
  EXPECT_TRUE(rangeIs(5, 8));
  EXPECT_TRUE(file_.isAt(8, 16, 8));
  EXPECT_EQ(access(MemFile::bufferRead, 1), 0u);
  EXPECT_TRUE(rangeIs(8, 8));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(BufferAccessTest, ReadOfAllOnesGivesAllThereIs) {
  EXPECT_EQ(access(MemFile::bufferRead, 0xFFFFFFFF), 6u);
  EXPECT_TRUE(rangeIs(2, 8));
  file_.Seek(0, kBegin);
  EXPECT_EQ(access(MemFile::bufferRead, 0xFFFFFFFE), 8u) << "sums do not wrap";
  EXPECT_TRUE(rangeIs(0, 8));
}

TEST_F(BufferAccessTest, ReadBeyondTheLengthGivesNothingAndMovesToTheLength) {
  file_.Seek(100, kBegin);
  EXPECT_EQ(access(MemFile::bufferRead, 10), 0u);
  EXPECT_TRUE(rangeIs(8, 8));
  EXPECT_EQ(file_.GetPosition(), 8ul);
}

TEST_F(BufferAccessTest, ReadOfAFileWithoutABlockGivesNothing) {
  WatchedFile empty(16);
  EXPECT_EQ(empty.GetBufferPtr(MemFile::bufferRead, 0xFFFFFFFF, &range_.start, &range_.end), 0u);
  EXPECT_EQ(range_.start, range_.end);
}

TEST_F(BufferAccessTest, WriteGivesRoomAndLeavesThePosition) {
  EXPECT_EQ(access(MemFile::bufferWrite, 14), 14u);
  EXPECT_TRUE(rangeIs(2, 16));
  EXPECT_TRUE(file_.isAt(2, 16, 8));
  EXPECT_EQ(access(MemFile::bufferWrite, 15), 15u);
  EXPECT_TRUE(rangeIs(2, 17));
  EXPECT_TRUE(file_.isAt(2, 32, 8)) << "room is not content";
  EXPECT_EQ(access(MemFile::bufferWrite, 0), 0u);
  EXPECT_TRUE(rangeIs(2, 2));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(BufferAccessTest, WriteBeyondTheLengthMakesRoomForTheGapToo) {
  file_.Seek(40, kBegin);
  EXPECT_EQ(access(MemFile::bufferWrite, 3), 3u);
  EXPECT_TRUE(rangeIs(40, 43));
  EXPECT_TRUE(file_.isAt(40, 48, 8));
}

TEST_F(BufferAccessTest, WriteThatCannotHaveItsRoomIsOutOfMemory) {
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { access(MemFile::bufferWrite, 0xFFFFFFFF); }));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
  file_.refuses = true;
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { access(MemFile::bufferWrite, 100); }));
  EXPECT_TRUE(file_.isAt(2, 16, 8));
  EXPECT_EQ(range_.start, nullptr);
}

TEST_F(BufferAccessTest, CommitAdvancesPositionAndLengthWithinTheBlock) {
  ASSERT_EQ(access(MemFile::bufferWrite, 10), 10u);
  std::memcpy(range_.start, "abcdefghij", 10);
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferCommit, 4, nullptr, nullptr), 0u);
  EXPECT_TRUE(file_.isAt(6, 16, 8));
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferCommit, 6, nullptr, nullptr), 0u);
  EXPECT_TRUE(file_.isAt(12, 16, 12));
  EXPECT_EQ(contentOf(file_), "12abcdefghij");
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferCommit, 0xFFFFFFFF, nullptr, nullptr), 0u);
  EXPECT_TRUE(file_.isAt(16, 16, 16)) << "no further than the capacity";
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(BufferAccessTest, CommitOfNothingDoesNothing) {
  file_.Seek(12, kBegin);
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferCommit, 0, nullptr, nullptr), 0u);
  EXPECT_TRUE(file_.isAt(12, 16, 8));
  file_.Seek(100, kBegin);
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferCommit, 5, nullptr, nullptr), 0u);
  EXPECT_TRUE(file_.isAt(100, 16, 8)) << "there is no block to commit there";
}

TEST_F(BufferAccessTest, CommitAssertsThatItGetsNoStart) {
  EXPECT_EQ(access(MemFile::bufferCommit, 3), 0u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1485)));
  EXPECT_TRUE(file_.isAt(5, 16, 8));
  EXPECT_EQ(range_.start, nullptr);
}

TEST_F(BufferAccessTest, UnknownCommandsAreAssertedTwiceAndGiveNothing) {
  for (const unsigned int command : {4u, 0xFFFFFFFFu}) {
    clearLog();
    EXPECT_EQ(access(command, 3), 0u);
    EXPECT_THAT(logLines(), ElementsAre(asserted(1477), asserted(1493)));
    EXPECT_TRUE(file_.isAt(2, 16, 8));
    EXPECT_EQ(range_.start, nullptr);
  }
}

TEST_F(BufferAccessTest, WithoutAPlaceForItAnAddressIsAssertedAndNotStored) {
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferRead, 2, nullptr, &range_.end), 2u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1494)));
  EXPECT_EQ(range_.end, file_.buffer_ + 4);
  EXPECT_EQ(file_.GetPosition(), 4ul);
  clearLog();
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferWrite, 2, &range_.start, nullptr), 2u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1495)));
  EXPECT_EQ(range_.start, file_.buffer_ + 4);
  clearLog();
  EXPECT_EQ(file_.GetBufferPtr(MemFile::bufferRead, 2, nullptr, nullptr), 2u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1494), asserted(1495)));
}

}  // namespace
