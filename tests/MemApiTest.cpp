// Memory handles: blocks that know the size of their data.
#include "MemAPI.h"

#include <gmock/gmock.h>

#include <cstring>
#include <numeric>

#include "Pictures.h"

namespace {

using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::dataOf;
using kx_test::Handle;
using kx_test::handleOf;
using kx_test::logLines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long kHeaderSize = 4;
// The largest size whose block, header included, 32 bits can count.
constexpr unsigned long kSizeMax = 0xFFFFFFFF - kHeaderSize;

std::string asserted(int line) { return assertionLine(".\\MemAPI", line); }

/// `count` bytes 1, 2, 3 and so on.
Bytes counted(size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
  return bytes;
}

class MemApiTest : public kx_test::KxTest {};

// --- Blocks ---

TEST_F(MemApiTest, AHandleIsABlockOfTheSizeAndTheData) {
  const Handle handle(MemAlloc(300));
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(MemGetSize(handle.get()), 300ul);
  EXPECT_EQ(MemGetPtr(handle.get()), static_cast<unsigned char*>(handle.get()) + kHeaderSize);
  const uint32_t size = 300;
  EXPECT_EQ(bytesOf(handle.get(), kHeaderSize), bytesOf(&size, sizeof(size)));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemApiTest, EveryByteOfTheDataIsTheCallers) {
  for (const unsigned long size : {1ul, 3ul, 4ul, 5ul, 4096ul}) {
    const Handle handle(MemAlloc(size));
    ASSERT_NE(handle, nullptr);
    std::memset(MemGetPtr(handle.get()), 0xA5, size);
    EXPECT_EQ(MemGetSize(handle.get()), size);
    EXPECT_EQ(dataOf(handle), Bytes(size, 0xA5));
  }
}

TEST_F(MemApiTest, AskingForNothingIsAssertedAndGivesAnEmptyHandle) {
  const Handle handle(MemAlloc(0));
  EXPECT_THAT(logLines(), ElementsAre(asserted(40)));
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(MemGetSize(handle.get()), 0ul);
  EXPECT_NE(MemGetPtr(handle.get()), nullptr);
}

TEST_F(MemApiTest, ReleasingThePointerChangesNothing) {
  const Handle handle = handleOf(counted(10));
  void* const data = MemGetPtr(handle.get());
  MemReleasePtr(handle.get());
  MemReleasePtr(handle.get());
  EXPECT_EQ(MemGetPtr(handle.get()), data);
  EXPECT_EQ(dataOf(handle), counted(10));
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Sizes ---

TEST_F(MemApiTest, BlocksThatThirtyTwoBitsCannotCountGiveNull) {
  constexpr bool kHasMore = sizeof(unsigned long) > 4;
  const auto more = static_cast<unsigned long>(kHasMore ? 0x100000010 : 0xFFFFFFFF);
  for (const unsigned long size : {kSizeMax + 1, kSizeMax + 2, 0xFFFFFFFFul, more, ~0ul}) {
    EXPECT_EQ(MemAlloc(size), nullptr) << size;
    const Handle handle = handleOf(counted(10));
    EXPECT_EQ(MemRealloc(handle.get(), size), nullptr) << size;
    EXPECT_EQ(dataOf(handle), counted(10)) << "the old handle is still valid";
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Other sizes ---

TEST_F(MemApiTest, AReallocatedHandleKeepsWhatFits) {
  Handle handle = handleOf(counted(10));
  for (const unsigned long size : {100ul, 100000ul, 4ul}) {
    handle.reset(MemRealloc(handle.release(), size));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(MemGetSize(handle.get()), size);
    const size_t kept = std::min<size_t>(size, 10);
    EXPECT_EQ(kx_test::slice(dataOf(handle), 0, kept), counted(kept));
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemApiTest, AHandleShrinksToNothingWithoutAnAssertion) {
  Handle handle = handleOf(counted(10));
  handle.reset(MemRealloc(handle.release(), 0));
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(MemGetSize(handle.get()), 0ul);
  handle.reset(MemRealloc(handle.release(), 3));
  EXPECT_EQ(MemGetSize(handle.get()), 3ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Copies ---

TEST_F(MemApiTest, ADuplicateHasAllButTheLastFourBytesWhichAreZero) {
  const Handle source = handleOf(counted(10));
  const Handle copy(MemDuplicate(source.get()));
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, source);
  EXPECT_EQ(MemGetSize(copy.get()), 10ul);
  EXPECT_EQ(dataOf(copy), (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 0, 0}));
  EXPECT_EQ(dataOf(source), counted(10));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemApiTest, ADuplicateOfUpToFourBytesIsZero) {
  for (const size_t size : {1, 2, 3, 4}) {
    const Handle source = handleOf(counted(size));
    const Handle copy(MemDuplicate(source.get()));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(MemGetSize(copy.get()), size);
    EXPECT_EQ(dataOf(copy), Bytes(size, 0));
  }
}

TEST_F(MemApiTest, ADuplicateStandsOnItsOwn) {
  Handle source = handleOf(counted(10));
  const Handle copy(MemDuplicate(source.get()));
  std::memset(MemGetPtr(source.get()), 0xEE, 10);
  source.reset();
  EXPECT_EQ(dataOf(copy), (Bytes{1, 2, 3, 4, 5, 6, 0, 0, 0, 0}));
}

// --- Null ---

TEST_F(MemApiTest, APointerToNoHandleIsAssertedAndNull) {
  EXPECT_EQ(MemGetPtr(nullptr), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(23)));
  clearLog();
  MemReleasePtr(nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(33)));
}

TEST_F(MemApiTest, TheOtherFunctionsTakeNoHandleWithoutAWord) {
  MemFree(nullptr);
  EXPECT_EQ(MemRealloc(nullptr, 10), nullptr);
  EXPECT_EQ(MemDuplicate(nullptr), nullptr);
  EXPECT_EQ(MemGetSize(nullptr), 0ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

}  // namespace
