// Blocks as they may come from damaged files: nothing is read or written outside them, nothing runs
// forever, and what stands before the damage stays in reach.

#include "StorageSupport.h"

namespace {

using kx_gen::CTaggedDataManager;
using kx_gen::kTagErrCorrupt;
using kx_gen::kTagErrNotFound;
using kx_gen::kTagErrOverflow;
using kx_test::asserted;
using kx_test::assertionsOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::join;
using kx_test::narrow;
using kx_test::nothingLogged;
using kx_test::tag;
using kx_test::tagAlone;
using kx_test::TaggedBlock;
using kx_test::toHex;

constexpr char kSource[] = "TaggedDataManager";

class TaggedDataDamageTest : public kx_test::KxTest {};

long setText(TaggedBlock& block, unsigned long id, const std::string& text) {
  return block->setData(id, text.data(), static_cast<unsigned long>(text.size()), nullptr, 0);
}

// --- Entries without the code ---

Bytes withoutCode(uint32_t id) {
  Bytes bytes = tag(id, bytesOf("ab"), 0);
  bytes[0] = 0x75;
  return bytes;
}

TEST_F(TaggedDataDamageTest, AWalkThatMeetsABadCodeIsCorrupt) {
  const Bytes stored = join({tag(5, bytesOf("a"), 0), withoutCode(7), tag(9, bytesOf("b"), 0)});
  TaggedBlock block(stored);
  bool flag = true;
  unsigned char version = 0;
  unsigned long len = 10;
  char out[10];
  for (unsigned long id : {6ul, 7ul, 9ul, 0x10009ul}) {
    EXPECT_EQ(kTagErrCorrupt, block->hasTag(id, &flag));
    EXPECT_FALSE(flag);
    EXPECT_TRUE(asserted(kSource));
    EXPECT_EQ(kTagErrCorrupt, setText(block, id, "x"));
    EXPECT_EQ(kTagErrCorrupt, block->getData(id, out, &len, &version));
    EXPECT_EQ(nullptr, block->getDataPtr(id, 1));
    EXPECT_EQ(kTagErrCorrupt, block->getTagDataSize(id, &len));
    EXPECT_EQ(kTagErrCorrupt, block->deleteData(id));
    EXPECT_EQ(kTagErrCorrupt, block->getTagVersion(id, &version));
    EXPECT_EQ(kTagErrCorrupt, block->getTagChanged(id, &flag));
    EXPECT_EQ(kTagErrCorrupt, block->setTagChanged(id, true));
  }
  EXPECT_EQ(toHex(stored), block.hex());
}

TEST_F(TaggedDataDamageTest, StringsBehindABadCodeAreCorrupt) {
  const Bytes stored = join({withoutCode(7), tag(0x10009, narrow("b"), 0)});
  TaggedBlock block(stored);
  bool flag = true;
  unsigned char version = 0;
  kx_gen::_String text = L"before";
  EXPECT_EQ(kTagErrCorrupt, block->hasStringTag(9, &flag));
  EXPECT_EQ(kTagErrCorrupt, block->getString(9, text));
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(kTagErrCorrupt, block->setString(9, L"x", nullptr));
  EXPECT_EQ(kTagErrCorrupt, block->deleteStringData(9));
  EXPECT_EQ(kTagErrCorrupt, block->getStringTagVersion(9, &version));
  EXPECT_EQ(kTagErrCorrupt, block->getStringTagChanged(9, &flag));
  EXPECT_EQ(kTagErrCorrupt, block->setStringTagChanged(9, true));
  EXPECT_EQ(toHex(stored), block.hex());
}

TEST_F(TaggedDataDamageTest, ValuesBeforeABadCodeStayInReach) {
  TaggedBlock block(join({tag(5, bytesOf("a"), 0), withoutCode(7)}));
  bool found = false;
  EXPECT_EQ(0, block->hasTag(5, &found));
  EXPECT_TRUE(found);
  EXPECT_EQ(0, block->hasTag(4, &found));
  EXPECT_FALSE(found);
  EXPECT_TRUE(nothingLogged());
  EXPECT_EQ(0, setText(block, 5, "changed"));
  EXPECT_EQ(1, assertionsOf(kSource)) << "validating meets the damage, once";
  EXPECT_EQ(toHex(join({tag(5, bytesOf("changed")), withoutCode(7)})), block.hex());
}

// --- Entries that run past the block ---

/// An entry that announces `length` bytes while only "abc" follow.
Bytes overrunning(uint32_t id, uint32_t length) {
  return join({tagAlone(id, length), bytesOf("abc")});
}

/// Lengths that pass the end: by one, by far, and so that 32-bit sums wrap around to the entry's
/// own place, to the block's start and to its end.
const uint32_t kOverruns[] = {4, 100, 0x7FFFFFFF, 0xFFFFFFF1, 0xFFFFFFE1, 0xFFFFFFFF, 0xFFFFFFF4};

TEST_F(TaggedDataDamageTest, IdsBehindAnOverrunningEntryAreAbsent) {
  for (uint32_t length : kOverruns) {
    const Bytes stored = join({tag(5, bytesOf("a"), 0), overrunning(7, length)});
    TaggedBlock block(stored);
    bool flag = true;
    unsigned char version = 0;
    unsigned long len = 10;
    char out[10];
    EXPECT_EQ(0, block->hasTag(9, &flag)) << length;
    EXPECT_FALSE(flag);
    EXPECT_EQ(kTagErrNotFound, block->getData(9, out, &len, &version));
    EXPECT_EQ(nullptr, block->getDataPtr(9, 1));
    EXPECT_EQ(kTagErrNotFound, block->getTagVersion(9, &version));
    EXPECT_EQ(kTagErrNotFound, block->getTagChanged(9, &flag));
    EXPECT_EQ(kTagErrNotFound, block->setTagChanged(9, true));
    EXPECT_EQ(0, block->deleteData(9));
    EXPECT_EQ(toHex(stored), block.hex());
  }
}

TEST_F(TaggedDataDamageTest, AnIdBehindAnOverrunningEntryCannotBeSet) {
  for (uint32_t length : kOverruns) {
    const Bytes stored = join({tag(5, bytesOf("a"), 0), overrunning(7, length)});
    TaggedBlock block(stored);
    EXPECT_EQ(-1, setText(block, 9, "x")) << length;
    EXPECT_EQ(-1, setText(block, 9, "")) << length;
    EXPECT_EQ(-1, block->setString(1, L"text", nullptr)) << length;
    EXPECT_EQ(toHex(stored), block.hex()) << length;
  }
}

TEST_F(TaggedDataDamageTest, AnOverrunningEntryIsCorruptWhenItsValueIsWanted) {
  for (uint32_t length : kOverruns) {
    const Bytes stored = join({tag(5, bytesOf("a"), 0), overrunning(7, length)});
    TaggedBlock block(stored);
    unsigned long len = 10;
    char out[10];
    EXPECT_EQ(kTagErrCorrupt, block->getData(7, out, &len, nullptr)) << length;
    EXPECT_EQ(nullptr, block->getDataPtr(7, 1)) << length;
    EXPECT_EQ(kTagErrCorrupt, block->deleteData(7)) << length;
    EXPECT_NE(0, setText(block, 7, "abc")) << length;
    EXPECT_EQ(toHex(stored), block.hex()) << length;
  }
}

TEST_F(TaggedDataDamageTest, AnOverrunningStringIsCorrupt) {
  for (uint32_t length : kOverruns) {
    const Bytes stored = join({tagAlone(0x10007, length), narrow("ab")});
    TaggedBlock block(stored);
    kx_gen::_String text = L"before";
    EXPECT_EQ(kTagErrCorrupt, block->getString(7, text)) << length;
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(kTagErrCorrupt, block->deleteStringData(7)) << length;
    EXPECT_EQ(toHex(stored), block.hex());
  }
}

TEST_F(TaggedDataDamageTest, ValuesBeforeAnOverrunningEntryCanBeEdited) {
  for (uint32_t length : kOverruns) {
    TaggedBlock block(join({tag(5, bytesOf("a"), 0), overrunning(7, length)}));
    EXPECT_EQ(0, setText(block, 2, "new"));
    EXPECT_EQ(0, setText(block, 6, "also"));
    EXPECT_EQ(0, block->deleteData(5));
    EXPECT_EQ(
        toHex(join({tag(2, bytesOf("new")), tag(6, bytesOf("also")), overrunning(7, length)})),
        block.hex());
  }
}

TEST_F(TaggedDataDamageTest, AnEntryThatEndsWithTheBlockIsWhole) {
  TaggedBlock block(overrunning(7, 3));
  unsigned long len = 10;
  char out[10];
  EXPECT_EQ(0, block->getData(7, out, &len, nullptr));
  EXPECT_EQ(3ul, len);
}

TEST_F(TaggedDataDamageTest, ValidateEndsAtAnOverrunningEntry) {
  for (uint32_t length : kOverruns) {
    clearLog();
    TaggedBlock block(join({tag(5, bytesOf("a"), 0), overrunning(7, length)}));
    block->Validate();
    EXPECT_EQ(kx_test::logLines(), std::vector<std::string>{kx_test::assertionLine(kSource, 180)})
        << length;
  }
}

// --- Bytes behind the last entry ---

TEST_F(TaggedDataDamageTest, AFewBytesBehindTheLastEntryStayLast) {
  for (size_t count = 1; count <= 14; ++count) {
    Bytes trail = tagAlone(6, 0);  // a tag but for its last bytes
    trail.resize(count);
    TaggedBlock block(join({tag(5, bytesOf("a"), 0), trail}));
    bool found = true;
    EXPECT_EQ(0, block->hasTag(6, &found)) << count;
    EXPECT_FALSE(found);
    EXPECT_EQ(0, setText(block, 9, "nine"));
    EXPECT_EQ(0, setText(block, 2, "two"));
    EXPECT_EQ(0, block->deleteData(5));
    EXPECT_EQ(toHex(join({tag(2, bytesOf("two")), tag(9, bytesOf("nine")), trail})), block.hex())
        << count;
    block->Validate();
    EXPECT_TRUE(nothingLogged()) << count;
  }
}

TEST_F(TaggedDataDamageTest, ABlockOfAFewBytesHoldsNoTags) {
  for (size_t count = 1; count <= 14; ++count) {
    const Bytes trail(count, 0xEE);
    TaggedBlock block(trail);
    bool found = true;
    EXPECT_EQ(0, block->hasTag(5, &found)) << count;
    EXPECT_FALSE(found);
    unsigned long len = 77;
    EXPECT_EQ(0, block->getTagDataSize(5, &len));
    EXPECT_EQ(0ul, len);
    block->Validate();
    EXPECT_TRUE(nothingLogged()) << count;
    EXPECT_EQ(0, setText(block, 5, "five"));
    EXPECT_EQ(toHex(join({tag(5, bytesOf("five")), trail})), block.hex()) << count;
  }
}

// --- Any damage ---

bool isResult(long result) {
  return result == 0 || result == -1 || result == kTagErrCorrupt || result == kTagErrNotFound ||
         result == kTagErrOverflow;
}

/// Runs every operation for one id, each on a block of its own.
void useEverything(const Bytes& bytes, bool swap, unsigned long id) {
  const auto onCopy = [&](auto call) {
    TaggedBlock block(bytes, swap);
    const long result = call(block.manager());
    EXPECT_TRUE(isResult(result)) << result << " for id " << id << " of\n" << toHex(bytes);
    return result == 0 || block.bytes() == bytes;  // a refusal changes nothing
  };
  bool flag = false;
  unsigned char version = 0;
  char out[64];
  unsigned long len = sizeof(out);
  kx_gen::_String text;
  const auto n = static_cast<unsigned char>(id);
  EXPECT_TRUE(onCopy([&](auto& m) { return m.hasTag(id, &flag); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.getData(id, out, &len, &version); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.getTagDataSize(id, &len); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.setData(id, "abcd", 4, &flag, 0); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.deleteData(id); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.getTagVersion(id, &version); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.setTagChanged(id, true); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.getTagChanged(id, &flag); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.getString(n, text); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.setString(n, L"abcd", &flag); }));
  EXPECT_TRUE(onCopy([&](auto& m) { return m.deleteStringData(n); }));
  TaggedBlock block(bytes, swap);
  const char* inside = block->getDataPtr(id, 1);
  if (inside != nullptr) {
    EXPECT_GE(inside, block.data());
    EXPECT_LT(inside, block.data() + bytes.size());
  }
}

Bytes sample() {
  return join({tag(2, bytesOf("ab"), 0), tag(5, {}, 0), tag(0x10002, narrow("text"), 0)});
}

TEST_F(TaggedDataDamageTest, EveryPrefixOfABlockIsSafe) {
  const Bytes whole = sample();
  for (size_t size = 0; size <= whole.size(); ++size) {
    const Bytes prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    for (unsigned long id : {1ul, 2ul, 5ul, 9ul, 0x10002ul}) useEverything(prefix, false, id);
    useEverything(prefix, true, 2);
  }
}

TEST_F(TaggedDataDamageTest, EveryByteOfABlockMayBeAnything) {
  const Bytes whole = sample();
  for (size_t at = 0; at < whole.size(); ++at) {
    for (unsigned char value : {0x00, 0x01, 0x74, 0x80, 0xFF}) {
      Bytes damaged = whole;
      damaged[at] = value;
      for (unsigned long id : {1ul, 2ul, 9ul, 0x10002ul}) useEverything(damaged, false, id);
    }
  }
}

}  // namespace
