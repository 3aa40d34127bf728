// Files in memory whose block is a memory handle.
#include <gmock/gmock.h>

#include <cstring>
#include <type_traits>

#include "File.h"
#include "MemAPI.h"
#include "Pictures.h"

namespace {

using kx_gen::MemFile;
using kx_gen::SharedFile;
using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::dataOf;
using kx_test::Handle;
using kx_test::handleOf;
using kx_test::logLines;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

std::string asserted(int line) { return assertionLine(".\\File", line); }
std::string assertedByHandles(int line) { return assertionLine(".\\MemAPI", line); }
std::string threw(int line) { return kx_test::throwLine(".\\File", line); }

bool isOutOfMemory(const Thrown& thrown) { return thrown.is(Thrown::kException, 11, 10); }

/// Shows its fields.
class OpenFile : public SharedFile {
 public:
  using SharedFile::SharedFile;
  ~OpenFile() override = default;

  using SharedFile::autoDelete_;
  using SharedFile::buffer_;
  using SharedFile::capacity_;
  using SharedFile::growBytes_;
  using SharedFile::length_;
  using SharedFile::position_;

  bool isAt(uint32_t position, uint32_t capacity, uint32_t length) const {
    return position_ == position && capacity_ == capacity && length_ == length;
  }
};

unsigned int write(MemFile& file, const std::string& text) {
  return file.Write(text.data(), static_cast<unsigned int>(text.size()));
}

std::string readText(MemFile& file, unsigned int count) {
  std::string text(count, '?');
  text.resize(file.Read(text.data(), count));
  return text;
}

Handle handleOfText(const std::string& text) { return handleOf(bytesOf(text)); }

class SharedFileTest : public kx_test::KxTest {};

static_assert(std::is_base_of_v<MemFile, SharedFile> && std::has_virtual_destructor_v<SharedFile>);
static_assert(!std::is_copy_constructible_v<SharedFile> && !std::is_copy_assignable_v<SharedFile>);
static_assert(!std::is_convertible_v<unsigned int, SharedFile>);

TEST_F(SharedFileTest, TheVirtualTableIsThatOfMemoryFiles) {
  using kx_test::virtualSlot;
  EXPECT_EQ(virtualSlot(&SharedFile::Alloc), 13);
  EXPECT_EQ(virtualSlot(&SharedFile::Realloc), 14);
  EXPECT_EQ(virtualSlot(&SharedFile::Free), 15);
  EXPECT_EQ(virtualSlot(&SharedFile::GetBufferPtr), 19);
  EXPECT_EQ(virtualSlot(&SharedFile::SetHandle), -1);
  EXPECT_EQ(virtualSlot(&SharedFile::Detach), -1);
}

TEST_F(SharedFileTest, ItAddsFlagsHandleAndLeaveToGrow) {
  struct Added {
    unsigned int allocFlags;
    void* handle;
    bool allowGrow;
  };
  EXPECT_GT(sizeof(SharedFile), sizeof(MemFile));
  EXPECT_LE(sizeof(SharedFile), sizeof(MemFile) + sizeof(Added));
}

TEST_F(SharedFileTest, ADefaultFileGrowsByFourKilobytes) {
  OpenFile file;
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(file.growBytes_, 4096u);
  write(file, "x");
  EXPECT_EQ(file.capacity_, 4096u);
  write(file, std::string(4096, 'y'));
  EXPECT_EQ(file.capacity_, 8192u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, FlagsDoNotChangeWhatItDoes) {
  for (const unsigned int flags : {0u, 2u, 0xFFFFFFFFu}) {
    OpenFile file(flags, 16);
    write(file, "0123456789abcdefX");
    EXPECT_EQ(file.capacity_, 32u);
    const Handle handle(file.Detach());
    EXPECT_EQ(kx_test::slice(dataOf(handle), 0, 17), bytesOf("0123456789abcdefX"));
  }
}

// --- Its block ---

TEST_F(SharedFileTest, TheBlockIsAHandleOfTheCapacity) {
  OpenFile file(2, 16);
  write(file, "abc");
  const unsigned char* const block = file.buffer_;
  const Handle handle(file.Detach());
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(MemGetPtr(handle.get()), block);
  EXPECT_EQ(MemGetSize(handle.get()), 16ul);
  EXPECT_EQ(dataOf(handle), kx_test::join({bytesOf("abc"), kx_test::zeros(13)}));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, GrowingKeepsOneHandleWithTheContents) {
  OpenFile file(2, 8);
  for (int i = 0; i < 1000; ++i) write(file, "0123456789");
  const Handle handle(file.Detach());
  EXPECT_EQ(MemGetSize(handle.get()), 10000ul);
  std::string expected;
  while (expected.size() < 10000) expected += "0123456789";
  EXPECT_EQ(dataOf(handle), bytesOf(expected));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, NewBytesAreZero) {
  OpenFile file(2, 16);
  file.SetLength(5);
  std::memset(file.buffer_, 0xEE, 16);
  file.SetLength(20);
  EXPECT_EQ(bytesOf(file.buffer_, 32), kx_test::join({Bytes(16, 0xEE), kx_test::zeros(16)}));
}

TEST_F(SharedFileTest, ItFreesItsHandleWhenItIsClosedOrDestroyed) {
  OpenFile closed(2, 16);
  write(closed, "abc");
  closed.Close();
  EXPECT_TRUE(closed.isAt(0, 0, 0));
  EXPECT_EQ(closed.buffer_, nullptr);
  clearLog();
  EXPECT_EQ(closed.Detach(), nullptr) << "the handle is gone";
  EXPECT_THAT(logLines(), ElementsAre(asserted(1584)));

  clearLog();
  OpenFile aborted(2, 16);
  write(aborted, "abc");
  aborted.Abort();
  EXPECT_EQ(aborted.buffer_, nullptr);
  {
    OpenFile destroyed(2, 16);
    write(destroyed, "abc");
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, AClosedFileCannotGrow) {
  OpenFile file(2, 16);
  write(file, "abc");
  file.Close();
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "x"); }));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1321), threw(1324)));
}

TEST_F(SharedFileTest, ABlockBeyondThirtyTwoBitsIsOutOfMemory) {
  // The handle's own header does not fit any more.
  OpenFile file(2, 0xFFFFFFFE);
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "x"); }));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
  EXPECT_TRUE(file.isAt(0, 0, 0));
}

// --- Handles of others ---

TEST_F(SharedFileTest, AHandleComesWithItsContents) {
  OpenFile file;
  Handle handle = handleOfText("12345678");
  void* const data = MemGetPtr(handle.get());
  file.SetHandle(handle.release(), 1);
  EXPECT_EQ(file.buffer_, data);
  EXPECT_TRUE(file.isAt(0, 8, 8));
  EXPECT_EQ(readText(file, 10), "12345678");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, AHandleThatMayGrowDoes) {
  OpenFile file(2, 16);
  file.SetHandle(handleOfText("12345678").release(), 1);
  file.Seek(0, 2);
  write(file, "9");
  EXPECT_TRUE(file.isAt(9, 24, 9));
  const Handle handle(file.Detach());
  EXPECT_EQ(dataOf(handle), kx_test::join({bytesOf("123456789"), kx_test::zeros(15)}));
}

TEST_F(SharedFileTest, AHandleThatMayNotGrowIsOutOfMemory) {
  OpenFile file;
  file.SetHandle(handleOfText("12345678").release(), 0);
  file.Seek(6, 0);
  EXPECT_EQ(write(file, "XY"), 2u);
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "Z"); }));
  EXPECT_THAT(logLines(), ElementsAre(threw(1340)));
  EXPECT_TRUE(file.isAt(8, 8, 8));
  EXPECT_EQ(file.Realloc(file.buffer_, 4), nullptr) << "not even a smaller one";
  const Handle handle(file.Detach());
  EXPECT_EQ(dataOf(handle), bytesOf("123456XY"));
}

TEST_F(SharedFileTest, LeaveToGrowIsAnythingButZero) {
  for (const int allowGrow : {1, -1, 0x100}) {
    OpenFile file;
    file.SetHandle(handleOfText("1").release(), allowGrow);
    file.SetLength(100);
    EXPECT_EQ(file.length_, 100u) << allowGrow;
  }
}

TEST_F(SharedFileTest, TheFileOwnsTheHandleUntilItIsDetached) {
  // A leak or a second release of either handle shows in the sanitizer's build.
  {
    OpenFile file;
    file.SetHandle(handleOfText("abc").release(), 0);
  }
  OpenFile file;
  file.SetHandle(handleOfText("abc").release(), 0);
  const Handle handle(file.Detach());
  file.Close();
  EXPECT_EQ(dataOf(handle), bytesOf("abc"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, AfterABlockOfTheCallersAHandleIsOwnedAgain) {
  unsigned char block[] = {'a', 'b'};
  OpenFile file;
  file.Attach(block, sizeof(block), 0);
  EXPECT_FALSE(file.autoDelete_);
  EXPECT_EQ(static_cast<MemFile&>(file).Detach(), block);
  file.SetHandle(handleOfText("abc").release(), 1);
  EXPECT_TRUE(file.autoDelete_);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, ASecondHandleIsAssertedAndReplacesTheFirst) {
  OpenFile file;
  file.SetHandle(handleOfText("first").release(), 1);
  file.Seek(2, 0);
  file.SetHandle(handleOfText("second").release(), 0);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1541), asserted(1542), asserted(1543)));
  EXPECT_TRUE(file.isAt(2, 6, 6)) << "the position is left alone";
  EXPECT_EQ(readText(file, 10), "cond");
  EXPECT_EQ(file.growBytes_, 4096u);
}

TEST_F(SharedFileTest, TheSameHandleAgainIsAssertedAndKept) {
  OpenFile file;
  void* const handle = handleOfText("same").release();
  file.SetHandle(handle, 1);
  file.SetHandle(handle, 1);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1541), asserted(1542)));
  EXPECT_EQ(readText(file, 10), "same");
}

TEST_F(SharedFileTest, AHandleForAPositionIsAsserted) {
  OpenFile file;
  file.Seek(100, 0);
  file.SetHandle(handleOfText("abc").release(), 1);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1543)));
  EXPECT_TRUE(file.isAt(100, 3, 3));
  EXPECT_EQ(readText(file, 1), "");
}

TEST_F(SharedFileTest, AHandleForAnAttachedBlockReplacesIt) {
  unsigned char block[] = {'a', 'b'};
  OpenFile file;
  file.Attach(block, sizeof(block), 0);
  file.SetHandle(handleOfText("abc").release(), 1);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1542)));
  EXPECT_EQ(readText(file, 10), "abc");
  EXPECT_EQ(bytesOf(block, 2), bytesOf("ab"));
}

TEST_F(SharedFileTest, NoHandleIsAssertedAndGivesAnEmptyFile) {
  OpenFile file(2, 16);
  file.SetHandle(nullptr, 1);
  EXPECT_THAT(logLines(), ElementsAre(assertedByHandles(23)));
  EXPECT_TRUE(file.isAt(0, 0, 0));
  write(file, "abc");
  EXPECT_TRUE(file.isAt(3, 16, 3));
}

// --- Detaching ---

TEST_F(SharedFileTest, DetachEmptiesTheFileAndLeavesThePosition) {
  OpenFile file(2, 16);
  write(file, "abc");
  const Handle handle(file.Detach());
  EXPECT_NE(handle, nullptr);
  EXPECT_TRUE(file.isAt(3, 0, 0));
  EXPECT_EQ(file.buffer_, nullptr);
  EXPECT_EQ(readText(file, 10), "");
  file.Close();
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, AfterDetachingTheFileMakesAnotherHandle) {
  OpenFile file(2, 16);
  write(file, "abc");
  const Handle first(file.Detach());
  file.Seek(0, 0);
  write(file, "other");
  const Handle second(file.Detach());
  EXPECT_EQ(kx_test::slice(dataOf(first), 0, 3), bytesOf("abc"));
  EXPECT_EQ(kx_test::slice(dataOf(second), 0, 5), bytesOf("other"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, DetachingWithoutAHandleIsAssertedAndEmptiesTheFile) {
  unsigned char block[] = {'a', 'b'};
  OpenFile file;
  file.Attach(block, sizeof(block), 0);
  EXPECT_EQ(file.Detach(), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1584)));
  EXPECT_TRUE(file.isAt(0, 0, 0));
  EXPECT_EQ(file.buffer_, nullptr);
}

// --- The operations on the handle ---

TEST_F(SharedFileTest, AllocGivesTheDataOfANewHandle) {
  OpenFile file;
  unsigned char* const data = file.Alloc(10);
  ASSERT_NE(data, nullptr);
  const Handle handle(file.Detach());
  EXPECT_EQ(MemGetPtr(handle.get()), data);
  EXPECT_EQ(MemGetSize(handle.get()), 10ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, AllocBesideAHandleIsAssertedAndLeavesTheFirstToTheCaller) {
  OpenFile file;
  file.Alloc(10);
  const Handle first(file.Detach());
  file.SetHandle(first.get(), 1);
  ASSERT_NE(file.Alloc(20), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1553)));
  const Handle second(file.Detach());
  EXPECT_NE(second, first);
  EXPECT_EQ(MemGetSize(second.get()), 20ul);
  EXPECT_EQ(MemGetSize(first.get()), 10ul);
}

TEST_F(SharedFileTest, ReallocGivesTheDataOfTheHandleAtItsOtherSize) {
  OpenFile file;
  file.SetHandle(handleOfText("12345678").release(), 1);
  unsigned char* const data = file.Realloc(nullptr, 100000);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(bytesOf(data, 8), bytesOf("12345678"));
  const Handle handle(file.Detach());
  EXPECT_EQ(MemGetPtr(handle.get()), data);
  EXPECT_EQ(MemGetSize(handle.get()), 100000ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SharedFileTest, ReallocWithoutAHandleIsAssertedAndNull) {
  unsigned char block[] = {'a'};
  OpenFile file;
  EXPECT_EQ(file.Realloc(block, 10), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1564), assertedByHandles(33)));
}

TEST_F(SharedFileTest, ABlockOfTheCallersHasNoHandleToGrow) {
  unsigned char block[] = {'a'};
  OpenFile file;
  file.Attach(block, sizeof(block), 16);
  write(file, "b");
  EXPECT_PRED1(isOutOfMemory, thrownBy([&] { write(file, "c"); }));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1564), assertedByHandles(33), threw(1340)));
  EXPECT_TRUE(file.isAt(1, 1, 1));
}

TEST_F(SharedFileTest, FreeFreesTheHandle) {
  OpenFile file;
  unsigned char* const data = file.Alloc(10);
  file.Free(data);
  EXPECT_THAT(logLines(), IsEmpty());
  file.Free(data);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1576), assertedByHandles(33)))
      << "there is none any more";
}

}  // namespace
